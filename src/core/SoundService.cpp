#include "SoundService.h"

#include "AppState.h"
#include "Trace.h"

#include <QAudioOutput>
#include <QFileInfo>
#include <QMediaPlayer>
#include <QMimeDatabase>
#include <QUrl>

SoundService& SoundService::instance()
{
    static SoundService service;
    return service;
}

QString SoundService::unplayable(const QString& file)
{
    const QFileInfo info(file);
    if (file.isEmpty() || !info.isFile())
        return QStringLiteral("missing");
    if (info.size() == 0)
        return QStringLiteral("empty");
    const QString type = QMimeDatabase().mimeTypeForFile(file).name();
    if (!type.startsWith(QLatin1String("audio/")) && type != QLatin1String("video/ogg")
        && type != QLatin1String("application/ogg"))
        return QStringLiteral("not a sound (%1)").arg(type);
    return {};
}

bool SoundService::playItem(const QString& tabSeparated, int item, int volume)
{
    const QStringList files = tabSeparated.split(QLatin1Char('\t'));
    if (item < 1 || item > files.size())
        return false;
    return play({files.at(item - 1)}, 0, volume);
}

bool SoundService::play(const QStringList& files, int startIndex, int volume)
{
    if (m_quietAll || !appState().soundCard || startIndex < 0 || startIndex >= files.size())
        return false;
    QStringList playable;
    for (const QString& file : files.mid(startIndex)) {
        if (const QString why = unplayable(file); !why.isEmpty())
            TAPISOL_TRACE(QStringLiteral("SND %1 : %2").arg(file, why));
        else
            playable << file;
    }
    if (playable.isEmpty())
        return false;
    if (!m_player) {
        m_player = new QMediaPlayer(this);
        m_player->setAudioOutput(new QAudioOutput(m_player));
        connect(m_player, &QMediaPlayer::mediaStatusChanged, this, [this](QMediaPlayer::MediaStatus status) {
            if (status != QMediaPlayer::EndOfMedia && status != QMediaPlayer::InvalidMedia)
                return;
            if (m_queue.isEmpty()) {
                m_current.clear();
                emit finished();
            } else {
                playNext();
            }
        });
    }
    m_player->audioOutput()->setVolume(qBound(0, volume, 100) / 100.0f);
    m_queue = playable;
    playNext();
    return true;
}

void SoundService::playNext()
{
    if (m_queue.isEmpty() || m_quietAll)
        return;
    const QString file = m_queue.takeFirst();
    m_current = file;
    TAPISOL_TRACE(QStringLiteral("SND Play ") + file);
    m_player->setSource(QUrl::fromLocalFile(file));
    m_player->play();
}

void SoundService::stopAll()
{
    m_queue.clear();
    m_current.clear();
    if (m_player)
        m_player->stop();
}

void SoundService::setQuietAll(bool quiet)
{
    m_quietAll = quiet;
    if (quiet)
        stopAll();
}

QString SoundService::currentFile() const
{
    return m_current;
}

bool SoundService::isPlaying() const
{
    return m_player && m_player->playbackState() == QMediaPlayer::PlayingState;
}
