#include "PcmSource.h"

#include <gst/app/gstappsink.h>
#include <gst/gst.h>

#include <algorithm>
#include <cstring>

namespace {

// A decoder that gives nothing for this long is stuck; the sound is taken as ended.
constexpr GstClockTime PullTimeout = 10 * GST_SECOND;

QString messageError(GstMessage* message)
{
    GError* error = nullptr;
    gst_message_parse_error(message, &error, nullptr);
    const QString text = QString::fromUtf8(error ? error->message : "error");
    g_clear_error(&error);
    return text;
}

} // namespace

PcmSource::~PcmSource()
{
    close();
}

void PcmSource::close()
{
    if (m_pipeline) {
        gst_element_set_state(m_pipeline, GST_STATE_NULL);
        gst_object_unref(m_sink);
        gst_object_unref(m_pipeline);
    }
    m_pipeline = nullptr;
    m_sink = nullptr;
    m_pending.clear();
    m_offset = 0;
    m_ended = false;
}

bool PcmSource::open(const QString& path, QString* error)
{
    close();
    m_error.clear();
    GError* parseError = nullptr;
    m_pipeline = gst_parse_launch("uridecodebin name=source ! audioconvert ! audioresample ! "
                                  "audio/x-raw,format=F32LE,rate=44100,channels=2,layout=interleaved ! "
                                  "appsink name=sink sync=false max-buffers=8",
        &parseError);
    if (!m_pipeline) {
        m_error = QString::fromUtf8(parseError ? parseError->message : "gst_parse_launch");
        g_clear_error(&parseError);
    } else {
        g_clear_error(&parseError);
        GstElement* source = gst_bin_get_by_name(GST_BIN(m_pipeline), "source");
        gchar* uri = gst_filename_to_uri(path.toLocal8Bit().constData(), nullptr);
        g_object_set(source, "uri", uri, nullptr);
        g_free(uri);
        gst_object_unref(source);
        m_sink = GST_APP_SINK(gst_bin_get_by_name(GST_BIN(m_pipeline), "sink"));
        if (gst_element_set_state(m_pipeline, GST_STATE_PLAYING) == GST_STATE_CHANGE_FAILURE
            || gst_element_get_state(m_pipeline, nullptr, nullptr, PullTimeout) == GST_STATE_CHANGE_FAILURE) {
            GstBus* bus = gst_element_get_bus(m_pipeline);
            GstMessage* message = gst_bus_pop_filtered(bus, GST_MESSAGE_ERROR);
            m_error = message ? messageError(message) : QStringLiteral("cannot be decoded");
            if (message)
                gst_message_unref(message);
            gst_object_unref(bus);
        }
    }
    if (!m_error.isEmpty()) {
        close();
        if (error)
            *error = m_error;
        return false;
    }
    return true;
}

bool PcmSource::pull()
{
    if (!m_pipeline || m_ended)
        return false;
    GstSample* sample = gst_app_sink_try_pull_sample(m_sink, PullTimeout);
    if (!sample) {
        if (!gst_app_sink_is_eos(m_sink)) {
            GstBus* bus = gst_element_get_bus(m_pipeline);
            GstMessage* message = gst_bus_pop_filtered(bus, GST_MESSAGE_ERROR);
            m_error = message ? messageError(message) : QStringLiteral("the decoder stopped");
            if (message)
                gst_message_unref(message);
            gst_object_unref(bus);
        }
        m_ended = true;
        return false;
    }
    GstBuffer* buffer = gst_sample_get_buffer(sample);
    GstMapInfo map;
    if (buffer && gst_buffer_map(buffer, &map, GST_MAP_READ)) {
        m_pending.erase(m_pending.begin(), m_pending.begin() + qsizetype(m_offset));
        m_offset = 0;
        const size_t count = map.size / sizeof(float);
        const size_t before = m_pending.size();
        m_pending.resize(before + count);
        std::memcpy(m_pending.data() + before, map.data, count * sizeof(float));
        gst_buffer_unmap(buffer, &map);
    }
    gst_sample_unref(sample);
    return true;
}

qsizetype PcmSource::read(float* out, qsizetype frames)
{
    const size_t wanted = size_t(frames) * Channels;
    size_t done = 0;
    while (done < wanted) {
        if (m_offset >= m_pending.size() && !pull())
            break;
        const size_t take = std::min(wanted - done, m_pending.size() - m_offset);
        std::memcpy(out + done, m_pending.data() + m_offset, take * sizeof(float));
        done += take;
        m_offset += take;
    }
    return qsizetype(done / Channels);
}
