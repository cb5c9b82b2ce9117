#pragma once

#include <QString>

#include <vector>

typedef struct _GstElement GstElement;
typedef struct _GstAppSink GstAppSink;

// A sound file decoded by GStreamer into interleaved 32-bit float stereo at 44.1 kHz, pulled a
// piece at a time, so that a long music never sits whole in memory.
class PcmSource
{
public:
    static constexpr int Rate = 44100;
    static constexpr int Channels = 2;

    PcmSource() = default;
    ~PcmSource();
    PcmSource(const PcmSource&) = delete;
    PcmSource& operator=(const PcmSource&) = delete;

    /// Starts decoding `path` from its beginning (again, when it was open). False, with GStreamer's
    /// reason in `error`, when the file cannot be decoded.
    bool open(const QString& path, QString* error = nullptr);
    void close();
    bool isOpen() const { return m_pipeline != nullptr; }

    /// Reads up to `frames` frames into `out`; fewer only at the end of the sound (or on an error,
    /// which `error()` then tells).
    qsizetype read(float* out, qsizetype frames);
    bool atEnd() const { return m_ended && m_offset >= m_pending.size(); }
    QString error() const { return m_error; }

private:
    bool pull();

    GstElement* m_pipeline = nullptr;
    GstAppSink* m_sink = nullptr;
    std::vector<float> m_pending;
    size_t m_offset = 0;
    bool m_ended = false;
    QString m_error;
};
