#pragma once

#include <QObject>
#include <QString>

class QAudioInput;
class QMediaCaptureSession;
class QMediaRecorder;

// Records a spoken comment from the default microphone into a file, as Ogg Vorbis (Qt's recorder
// here has no plain PCM writer; Vorbis is what the player reads best after MP3). The recording
// ends on stop(), or on an error, and finished() says which.
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
    QMediaCaptureSession* m_session = nullptr;
    QAudioInput* m_input = nullptr;
    QMediaRecorder* m_recorder = nullptr;
    QString m_file;
    QString m_error;
};
