#pragma once

#include <QObject>
#include <QString>

#include <atomic>

class QTimer;
typedef struct _GstElement GstElement;

// The time stamps of the first and the latest sample recorded, written by the streaming thread.
struct RecordedSpan
{
    std::atomic<qint64> firstNs {-1};
    std::atomic<qint64> lastNs {-1};
};

// Records a spoken comment from the default microphone into a file, as Ogg Vorbis (what the
// player reads best after MP3), through a GStreamer pipeline of our own: the system's audio
// source, conversion, the Vorbis encoder, the Ogg muxer and the file. The recording ends on
// stop(), or on an error, and finished() says which; a recorder destroyed while recording
// finishes its file first.
class CommentRecorder : public QObject
{
    Q_OBJECT

public:
    explicit CommentRecorder(QObject* parent = nullptr);
    ~CommentRecorder() override;

    /// Whether the system offers a microphone at all.
    static bool hasMicrophone();

    /// Starts recording into `file` (its folder is made); false, with `error` in words the user
    /// understands, when no microphone exists or the recorder refuses at once.
    bool start(const QString& file, QString* error = nullptr);
    void stop();
    bool isRecording() const;
    /// Milliseconds recorded so far.
    qint64 duration() const;

    /// The name for the next comment in `folder`: `base` and the first free number on three digits
    /// ("Vacances 001.ogg"). `base` loses the characters a file name cannot hold.
    static QString nextFileName(const QString& folder, const QString& base);
    /// `base` without the characters a file name cannot hold; the default comment name when
    /// nothing is left.
    static QString safeName(const QString& base);

signals:
    void durationChanged(qint64 ms);
    /// The recording ended: `error` empty when `file` is complete.
    void finished(const QString& file, const QString& error);

private:
    void poll();
    /// Drains the pipeline's messages; true once the recording has ended (end of stream or error).
    bool readMessages();
    void finish();

    GstElement* m_pipeline = nullptr;
    QTimer* m_poll = nullptr;
    QString m_file;
    QString m_error;
    bool m_stopping = false;
    qint64 m_reported = 0;
    RecordedSpan m_samples;
};
