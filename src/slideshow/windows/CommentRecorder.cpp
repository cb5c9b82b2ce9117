#include "CommentRecorder.h"

#include "InterfaceTexts.h"
#include "Trace.h"

#include <QAudioDevice>
#include <QAudioInput>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMediaCaptureSession>
#include <QMediaDevices>
#include <QMediaFormat>
#include <QMediaRecorder>
#include <QRegularExpression>
#include <QUrl>

CommentRecorder::CommentRecorder(QObject* parent)
    : QObject(parent)
{ }

CommentRecorder::~CommentRecorder()
{
    if (isRecording())
        m_recorder->stop();
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

    // A fresh session each time: a microphone plugged in since is then the default one.
    delete m_recorder;
    delete m_input;
    delete m_session;
    m_session = new QMediaCaptureSession(this);
    m_input = new QAudioInput(QMediaDevices::defaultAudioInput(), this);
    m_recorder = new QMediaRecorder(this);
    m_session->setAudioInput(m_input);
    m_session->setRecorder(m_recorder);
    QMediaFormat format(QMediaFormat::Ogg);
    format.setAudioCodec(QMediaFormat::AudioCodec::Vorbis);
    m_recorder->setMediaFormat(format);
    m_recorder->setQuality(QMediaRecorder::HighQuality);
    m_recorder->setOutputLocation(QUrl::fromLocalFile(file));
    m_file = file;
    m_error.clear();

    connect(m_recorder, &QMediaRecorder::durationChanged, this, &CommentRecorder::durationChanged);
    connect(m_recorder, &QMediaRecorder::errorOccurred, this,
        [this](QMediaRecorder::Error, const QString& text) { m_error = langText(3263).arg(text); });
    connect(m_recorder, &QMediaRecorder::recorderStateChanged, this, [this](QMediaRecorder::RecorderState state) {
        if (state != QMediaRecorder::StoppedState)
            return;
        QString why = m_error;
        const QString written = m_recorder->actualLocation().toLocalFile();
        QString made = written.isEmpty() ? m_file : written;
        // WORKAROUND(gstreamer): Qt's GStreamer recorder takes any Ogg for video and appends ".ogv".
        if (made != m_file && !QFileInfo::exists(m_file) && QFile::rename(made, m_file))
            made = m_file;
        if (why.isEmpty() && QFileInfo(made).size() == 0)
            why = langText(3263).arg(made);
        TAPISOL_TRACE(QStringLiteral("DI Record end ") + made + QStringLiteral(" ") + (why.isEmpty() ? "Ok" : why));
        emit finished(made, why);
    });
    m_recorder->record();
    if (m_recorder->error() != QMediaRecorder::NoError)
        return fail(langText(3263).arg(m_recorder->errorString()));
    TAPISOL_TRACE(QStringLiteral("DI Record start ") + file);
    return true;
}

void CommentRecorder::stop()
{
    if (m_recorder)
        m_recorder->stop();
}

bool CommentRecorder::isRecording() const
{
    return m_recorder && m_recorder->recorderState() != QMediaRecorder::StoppedState;
}

qint64 CommentRecorder::duration() const
{
    return m_recorder ? m_recorder->duration() : 0;
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
