#include "CommentRecorder.h"

#include "InterfaceTexts.h"
#include "Trace.h"

#include <QAudioDevice>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMediaDevices>
#include <QRegularExpression>
#include <QTimer>

#include <gst/gst.h>

namespace {

// How long the file's end may take once the source has stopped (encoder and muxer drain).
constexpr GstClockTime DrainTimeout = 5 * GST_SECOND;

QString gstreamerError(GstMessage* message)
{
    GError* error = nullptr;
    gst_message_parse_error(message, &error, nullptr);
    QString text = QString::fromUtf8(error ? error->message : "GStreamer");
    g_clear_error(&error);
    return text;
}

GstPadProbeReturn noteSample(GstPad*, GstPadProbeInfo* info, gpointer data)
{
    const GstBuffer* buffer = GST_PAD_PROBE_INFO_BUFFER(info);
    if (!buffer || !GST_BUFFER_PTS_IS_VALID(buffer))
        return GST_PAD_PROBE_OK;
    auto* times = static_cast<RecordedSpan*>(data);
    const qint64 end = qint64(GST_BUFFER_PTS(buffer))
        + (GST_BUFFER_DURATION_IS_VALID(buffer) ? qint64(GST_BUFFER_DURATION(buffer)) : 0);
    qint64 unset = -1;
    times->firstNs.compare_exchange_strong(unset, qint64(GST_BUFFER_PTS(buffer)));
    times->lastNs.store(end);
    return GST_PAD_PROBE_OK;
}

} // namespace

CommentRecorder::CommentRecorder(QObject* parent)
    : QObject(parent)
    , m_poll(new QTimer(this))
{
    m_poll->setInterval(100);
    connect(m_poll, &QTimer::timeout, this, &CommentRecorder::poll);
}

CommentRecorder::~CommentRecorder()
{
    if (!m_pipeline)
        return;
    // The program or the window is going: the comment spoken so far is still a complete file.
    if (!m_stopping)
        gst_element_send_event(m_pipeline, gst_event_new_eos());
    GstBus* bus = gst_element_get_bus(m_pipeline);
    if (GstMessage* last
        = gst_bus_timed_pop_filtered(bus, DrainTimeout, GstMessageType(GST_MESSAGE_EOS | GST_MESSAGE_ERROR)))
        gst_message_unref(last);
    gst_object_unref(bus);
    gst_element_set_state(m_pipeline, GST_STATE_NULL);
    gst_object_unref(m_pipeline);
    TAPISOL_TRACE(QStringLiteral("DI Record end ") + m_file + QStringLiteral(" (closing)"));
}

bool CommentRecorder::hasMicrophone()
{
    return !QMediaDevices::audioInputs().isEmpty();
}

bool CommentRecorder::start(const QString& file, QString* error)
{
    const auto fail = [&](const QString& why) {
        if (error)
            *error = why;
        TAPISOL_TRACE(QStringLiteral("DI Record refused: ") + why);
        return false;
    };
    if (isRecording())
        return fail(langText(3263).arg(file));
    if (!hasMicrophone())
        return fail(langText(3262));
    if (!QDir().mkpath(QFileInfo(file).absolutePath()))
        return fail(langText(3264).arg(QFileInfo(file).absolutePath()));
    GError* initError = nullptr;
    if (!gst_is_initialized() && !gst_init_check(nullptr, nullptr, &initError)) {
        const QString why = QString::fromUtf8(initError ? initError->message : "gst_init");
        g_clear_error(&initError);
        return fail(langText(3263).arg(why));
    }

    // The default source each time: a microphone plugged in since is then the one used.
    GstElement* pipeline = gst_pipeline_new("comment");
    GstElement* source = gst_element_factory_make("autoaudiosrc", nullptr);
    GstElement* queue = gst_element_factory_make("queue", nullptr);
    GstElement* convert = gst_element_factory_make("audioconvert", nullptr);
    GstElement* resample = gst_element_factory_make("audioresample", nullptr);
    GstElement* encoder = gst_element_factory_make("vorbisenc", nullptr);
    GstElement* muxer = gst_element_factory_make("oggmux", nullptr);
    GstElement* sink = gst_element_factory_make("filesink", nullptr);
    if (!pipeline || !source || !queue || !convert || !resample || !encoder || !muxer || !sink) {
        for (GstElement* element : {pipeline, source, queue, convert, resample, encoder, muxer, sink})
            if (element)
                gst_object_unref(element);
        return fail(langText(3263).arg(QStringLiteral("autoaudiosrc, vorbisenc, oggmux")));
    }
    g_object_set(encoder, "quality", 0.5, nullptr);
    g_object_set(sink, "location", QFile::encodeName(file).constData(), nullptr);
    gst_bin_add_many(GST_BIN(pipeline), source, queue, convert, resample, encoder, muxer, sink, nullptr);
    if (!gst_element_link_many(source, queue, convert, resample, encoder, muxer, sink, nullptr)) {
        gst_object_unref(pipeline);
        return fail(langText(3263).arg(QStringLiteral("link")));
    }
    m_samples.firstNs = -1;
    m_samples.lastNs = -1;
    GstPad* encoderInput = gst_element_get_static_pad(encoder, "sink");
    gst_pad_add_probe(encoderInput, GST_PAD_PROBE_TYPE_BUFFER, noteSample, &m_samples, nullptr);
    gst_object_unref(encoderInput);

    m_pipeline = pipeline;
    m_file = file;
    m_error.clear();
    m_stopping = false;
    m_reported = 0;
    if (gst_element_set_state(m_pipeline, GST_STATE_PLAYING) == GST_STATE_CHANGE_FAILURE) {
        readMessages();
        const QString why = m_error.isEmpty() ? langText(3263).arg(file) : m_error;
        gst_element_set_state(m_pipeline, GST_STATE_NULL);
        gst_object_unref(m_pipeline);
        m_pipeline = nullptr;
        QFile::remove(file);
        return fail(why);
    }
    m_poll->start();
    TAPISOL_TRACE(QStringLiteral("DI Record start ") + file);
    return true;
}

void CommentRecorder::stop()
{
    if (!m_pipeline || m_stopping)
        return;
    // The end of stream flows through the encoder and the muxer, which then close the file.
    m_stopping = true;
    gst_element_send_event(m_pipeline, gst_event_new_eos());
}

bool CommentRecorder::isRecording() const
{
    return m_pipeline != nullptr;
}

qint64 CommentRecorder::duration() const
{
    const qint64 first = m_samples.firstNs.load();
    const qint64 last = m_samples.lastNs.load();
    return first < 0 || last < first ? 0 : (last - first) / 1000000;
}

void CommentRecorder::poll()
{
    if (readMessages()) {
        finish();
        return;
    }
    const qint64 ms = duration();
    if (ms != m_reported) {
        m_reported = ms;
        emit durationChanged(ms);
    }
}

bool CommentRecorder::readMessages()
{
    GstBus* bus = gst_element_get_bus(m_pipeline);
    bool ended = false;
    while (GstMessage* message = gst_bus_pop_filtered(bus, GstMessageType(GST_MESSAGE_EOS | GST_MESSAGE_ERROR))) {
        if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR && m_error.isEmpty())
            m_error = langText(3263).arg(gstreamerError(message));
        gst_message_unref(message);
        ended = true;
    }
    gst_object_unref(bus);
    return ended;
}

void CommentRecorder::finish()
{
    m_poll->stop();
    gst_element_set_state(m_pipeline, GST_STATE_NULL);
    gst_object_unref(m_pipeline);
    m_pipeline = nullptr;
    QString why = m_error;
    if (why.isEmpty() && QFileInfo(m_file).size() == 0)
        why = langText(3263).arg(m_file);
    if (!why.isEmpty() && QFileInfo(m_file).size() == 0)
        QFile::remove(m_file); // nothing was recorded: no empty file is left behind
    TAPISOL_TRACE(QStringLiteral("DI Record end ") + m_file + QStringLiteral(" ") + (why.isEmpty() ? "Ok" : why));
    emit finished(m_file, why);
}

QString CommentRecorder::safeName(const QString& base)
{
    QString name = base;
    name.replace(QRegularExpression(QStringLiteral("[/\\\\:*?\"<>|\\x00-\\x1f]")), QStringLiteral("_"));
    name = name.trimmed();
    return name.isEmpty() || name.startsWith(QLatin1Char('.')) ? langText(3265) : name;
}

QString CommentRecorder::nextFileName(const QString& folder, const QString& base)
{
    const QString name = safeName(base);
    const QDir dir(folder);
    for (int n = 1;; ++n) {
        const QString candidate = QStringLiteral("%1 %2.ogg").arg(name).arg(n, 3, 10, QLatin1Char('0'));
        if (!dir.exists(candidate))
            return dir.filePath(candidate);
    }
}
