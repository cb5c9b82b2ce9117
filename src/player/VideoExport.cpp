#include "VideoExport.h"

#include "ImageDecoder.h"
#include "PcmSource.h"
#include "SoundService.h"

#include <QFile>
#include <QFileInfo>

#include <gst/app/gstappsrc.h>
#include <gst/gst.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace {

// How long the end of the file may take once the last frame is in (the encoder's queue).
constexpr GstClockTime FinishTimeout = 120 * GST_SECOND;

bool initGStreamer(QString* error)
{
    GError* failure = nullptr;
    if (gst_is_initialized() || gst_init_check(nullptr, nullptr, &failure))
        return true;
    *error = QString::fromUtf8(failure ? failure->message : "gst_init");
    g_clear_error(&failure);
    return false;
}

QString errorOf(GstMessage* message)
{
    GError* error = nullptr;
    gchar* debug = nullptr;
    gst_message_parse_error(message, &error, &debug);
    QString text = QString::fromUtf8(error ? error->message : "error");
    g_clear_error(&error);
    g_free(debug);
    return text;
}

// The sound of the show, mixed a video frame at a time.
class SoundMix
{
public:
    SoundMix(const SlideshowPlan& plan, const VideoExport::TraceSink& trace)
        : m_plan(plan)
        , m_trace(trace)
    { }

    void enterSlide(int slide)
    {
        const PlannedSlide& planned = m_plan.slide(slide);
        if (planned.music != m_cue) {
            m_cue = planned.music;
            m_music.close();
            if (m_cue >= 0)
                openSound(m_music, m_plan.musics().at(m_cue).path, QStringLiteral("Music"));
        }
        m_comment.close();
        m_commentSlide = slide;
        if (!planned.comment.path.isEmpty())
            openSound(m_comment, planned.comment.path, QStringLiteral("Comment"));
    }

    // Mixes the next `frames` frames into `out` (interleaved stereo).
    void mix(float* out, qsizetype frames)
    {
        std::fill(out, out + frames * PcmSource::Channels, 0.0f);
        m_scratch.resize(size_t(frames) * PcmSource::Channels);
        bool speaking = false;
        if (m_comment.isOpen()) {
            const SlideComment& comment = m_plan.slide(m_commentSlide).comment;
            speaking = addFrom(m_comment, comment.path, comment.repeat, comment.volume, out, frames);
        }
        if (m_cue >= 0 && m_music.isOpen()) {
            const MusicCue& cue = m_plan.musics().at(m_cue);
            addFrom(m_music, cue.path, cue.repeat, SlideshowPlan::musicVolume(cue, speaking), out, frames);
        }
    }

private:
    bool openSound(PcmSource& source, const QString& path, const QString& kind)
    {
        QString why = SoundService::unplayable(path);
        if (why.isEmpty() && source.open(path, &why))
            return true;
        if (m_trace)
            m_trace(QStringLiteral("DF Export %1 skipped %2: %3").arg(kind, path, why));
        return false;
    }

    // Adds `frames` frames of `source` at `volume`, starting it again at its end when `repeat`.
    // True when the source gave sound for the whole piece.
    bool addFrom(PcmSource& source, const QString& path, bool repeat, int volume, float* out, qsizetype frames)
    {
        qsizetype done = 0;
        bool restarted = false;
        while (done < frames && source.isOpen()) {
            const qsizetype got = source.read(m_scratch.data(), frames - done);
            const float gain = volume / 100.0f;
            for (qsizetype i = 0; i < got * PcmSource::Channels; ++i)
                out[done * PcmSource::Channels + i] += m_scratch[size_t(i)] * gain;
            done += got;
            if (done < frames) {
                // A sound that gives nothing right after a start again would loop forever.
                if (!repeat || (restarted && got == 0) || !source.open(path))
                    source.close();
                restarted = true;
            }
        }
        return done == frames;
    }

    const SlideshowPlan& m_plan;
    const VideoExport::TraceSink& m_trace;
    PcmSource m_music;
    PcmSource m_comment;
    int m_cue = -1;
    int m_commentSlide = -1;
    std::vector<float> m_scratch;
};

// The encoding pipeline and its two inputs.
struct Pipeline
{
    GstElement* pipeline = nullptr;
    GstAppSrc* video = nullptr;
    GstAppSrc* audio = nullptr;

    ~Pipeline()
    {
        if (pipeline) {
            gst_element_set_state(pipeline, GST_STATE_NULL);
            if (video)
                gst_object_unref(video);
            if (audio)
                gst_object_unref(audio);
            gst_object_unref(pipeline);
        }
    }

    // The first error on the bus, or empty.
    QString pendingError(GstClockTime wait = 0) const
    {
        GstBus* bus = gst_element_get_bus(pipeline);
        GstMessage* message = gst_bus_timed_pop_filtered(bus, wait, GST_MESSAGE_ERROR);
        QString text = message ? errorOf(message) : QString();
        if (message)
            gst_message_unref(message);
        gst_object_unref(bus);
        return text;
    }
};

bool push(GstAppSrc* source, const void* data, size_t bytes, GstClockTime pts, GstClockTime duration)
{
    GstBuffer* buffer = gst_buffer_new_allocate(nullptr, bytes, nullptr);
    gst_buffer_fill(buffer, 0, data, bytes);
    GST_BUFFER_PTS(buffer) = pts;
    GST_BUFFER_DURATION(buffer) = duration;
    return gst_app_src_push_buffer(source, buffer) == GST_FLOW_OK;
}

} // namespace

VideoExport::VideoExport(const SlideshowPlan& plan, const SlideRenderer& renderer, Options options)
    : m_plan(plan)
    , m_renderer(renderer)
    , m_options(std::move(options))
{ }

QStringList VideoExport::missingElements()
{
    QString ignored;
    if (!initGStreamer(&ignored))
        return {QStringLiteral("gstreamer")};
    QStringList missing;
    for (const char* name : {"appsrc", "appsink", "videoconvert", "vp8enc", "webmmux", "vorbisenc", "audioconvert",
             "audioresample", "uridecodebin", "filesink"}) {
        if (GstElementFactory* factory = gst_element_factory_find(name))
            gst_object_unref(factory);
        else
            missing << QString::fromLatin1(name);
    }
    return missing;
}

bool VideoExport::run(QString* error, const Progress& progress, const TraceSink& trace)
{
    QString failure;
    auto fail = [&](const QString& why) {
        if (error)
            *error = why;
        return false;
    };
    if (!initGStreamer(&failure))
        return fail(failure);
    if (m_plan.isEmpty())
        return fail(QStringLiteral("empty show"));

    const QSize size = m_options.size;
    const int fps = m_options.framesPerSecond;
    const bool withSound = m_plan.hasSound();
    const QString partial = m_options.file + QStringLiteral(".part");
    QString description = QStringLiteral(
        "appsrc name=video format=time block=true max-bytes=%1 caps=video/x-raw,format=BGRx,width=%2,height=%3,"
        "framerate=%4/1 ! queue ! videoconvert ! vp8enc deadline=1 threads=2 lag-in-frames=0 target-bitrate=2000000 ! "
        "queue ! "
        "webmmux name=mux ! filesink name=out")
                              .arg(qint64(size.width()) * size.height() * 4 * 2)
                              .arg(size.width())
                              .arg(size.height())
                              .arg(fps);
    if (withSound)
        description += QStringLiteral(
            " appsrc name=audio format=time block=true caps=audio/x-raw,format=F32LE,rate=%1,channels=%2,"
            "layout=interleaved ! queue max-size-time=5000000000 max-size-bytes=0 max-size-buffers=0 ! audioconvert ! "
            "vorbisenc ! queue ! mux.")
                           .arg(PcmSource::Rate)
                           .arg(PcmSource::Channels);

    Pipeline p;
    GError* parseError = nullptr;
    p.pipeline = gst_parse_launch(description.toUtf8().constData(), &parseError);
    if (parseError) {
        failure = QString::fromUtf8(parseError->message);
        g_clear_error(&parseError);
        return fail(failure);
    }
    GstElement* sink = gst_bin_get_by_name(GST_BIN(p.pipeline), "out");
    g_object_set(sink, "location", QFile::encodeName(partial).constData(), nullptr);
    gst_object_unref(sink);
    p.video = GST_APP_SRC(gst_bin_get_by_name(GST_BIN(p.pipeline), "video"));
    if (withSound)
        p.audio = GST_APP_SRC(gst_bin_get_by_name(GST_BIN(p.pipeline), "audio"));

    auto removePartial = [&] { QFile::remove(partial); };
    if (gst_element_set_state(p.pipeline, GST_STATE_PLAYING) == GST_STATE_CHANGE_FAILURE) {
        failure = p.pendingError();
        removePartial();
        return fail(failure.isEmpty() ? QStringLiteral("the encoder did not start") : failure);
    }

    ImageDecoder decoder;
    SoundMix sound(m_plan, trace);
    // Two layers at most: the slide showing and the one it came from.
    QImage from = m_renderer.emptyScreen(size);
    QImage shown;
    int shownSlide = -1;
    const qint64 frames = (m_plan.durationMs() * fps + 999) / 1000;
    const int totalSeconds = int((m_plan.durationMs() + 999) / 1000);
    const GstClockTime frameDuration = gst_util_uint64_scale_int(GST_SECOND, 1, fps);
    std::vector<float> pcm;
    qint64 samplesDone = 0;
    int secondsReported = -1;
    for (qint64 f = 0; f < frames; ++f) {
        const qint64 t = f * 1000 / fps;
        const SlideshowPlan::Moment moment = m_plan.at(t);
        if (moment.slide != shownSlide) {
            if (!shown.isNull())
                from = shown;
            const PlannedSlide& slide = m_plan.slide(moment.slide);
            QString why;
            QImage picture;
            if (const auto info = decoder.probe(slide.picture, &why))
                picture = decoder.decode(
                    slide.picture, SlideRenderer::shownSize(info->size, size), m_renderer.options().background, &why);
            if (picture.isNull() && trace)
                trace(QStringLiteral("DF Export picture unreadable %1").arg(why.isEmpty() ? slide.picture : why));
            shown = m_renderer.composeSlide(
                picture, slide, size, m_options.placeholder.arg(QFileInfo(slide.picture).fileName()));
            shownSlide = moment.slide;
            if (withSound)
                sound.enterSlide(moment.slide);
        }
        if (moment.transition >= 1.0)
            from = QImage(); // the transition is over: one layer is enough
        const QImage image = moment.transition < 1.0 ? m_renderer.frame(from, shown, moment.transition) : shown;
        const GstClockTime pts = gst_util_uint64_scale(guint64(f), GST_SECOND, guint64(fps));
        if (!push(p.video, image.constBits(), size_t(image.sizeInBytes()), pts, frameDuration)) {
            failure = p.pendingError(GST_SECOND);
            break;
        }
        if (withSound) {
            // Samples up to the end of this frame, so that rounding never drifts.
            const qint64 until = (f + 1) * PcmSource::Rate / fps;
            const qsizetype count = qsizetype(until - samplesDone);
            pcm.resize(size_t(count) * PcmSource::Channels);
            sound.mix(pcm.data(), count);
            const GstClockTime at = gst_util_uint64_scale(guint64(samplesDone), GST_SECOND, PcmSource::Rate);
            const GstClockTime next = gst_util_uint64_scale(guint64(until), GST_SECOND, PcmSource::Rate);
            if (!push(p.audio, pcm.data(), pcm.size() * sizeof(float), at, next - at)) {
                failure = p.pendingError(GST_SECOND);
                break;
            }
            samplesDone = until;
        }
        if (failure = p.pendingError(); !failure.isEmpty())
            break;
        const int seconds = int((f + 1) / fps);
        if (progress && seconds != secondsReported && ((f + 1) % fps == 0 || f + 1 == frames)) {
            secondsReported = seconds;
            progress(std::min(seconds, totalSeconds), totalSeconds);
        }
    }
    if (failure.isEmpty()) {
        gst_app_src_end_of_stream(p.video);
        if (p.audio)
            gst_app_src_end_of_stream(p.audio);
        GstBus* bus = gst_element_get_bus(p.pipeline);
        GstMessage* message
            = gst_bus_timed_pop_filtered(bus, FinishTimeout, GstMessageType(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
        if (!message)
            failure = QStringLiteral("the encoder did not finish");
        else if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR)
            failure = errorOf(message);
        if (message)
            gst_message_unref(message);
        gst_object_unref(bus);
    }
    gst_element_set_state(p.pipeline, GST_STATE_NULL);
    if (!failure.isEmpty()) {
        removePartial();
        return fail(failure);
    }
    // Only a complete file takes the name, in one step.
    if (std::rename(QFile::encodeName(partial).constData(), QFile::encodeName(m_options.file).constData()) != 0) {
        removePartial();
        return fail(QString::fromLocal8Bit(std::strerror(errno)));
    }
    return true;
}
