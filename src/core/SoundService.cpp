#include "SoundService.h"

#include "AppState.h"
#include "Trace.h"

#include <QAudioOutput>
#include <QMediaPlayer>
#include <QUrl>

SoundService& SoundService::instance()
{
    static SoundService service;
    return service;
}

bool SoundService::play(const QStringList& files, int startIndex, int volume)
{
    if (m_quietAll || !appState().soundCard || startIndex < 0 || startIndex >= files.size())
        return false;
    if (!m_player) {
        m_player = new QMediaPlayer(this);
        m_player->setAudioOutput(new QAudioOutput(m_player));
        connect(m_player, &QMediaPlayer::mediaStatusChanged, this, [this](QMediaPlayer::MediaStatus status) {
            if (status == QMediaPlayer::EndOfMedia || status == QMediaPlayer::InvalidMedia)
                playNext();
        });
    }
    m_player->audioOutput()->setVolume(qBound(0, volume, 100) / 100.0f);
    m_queue = files.mid(startIndex);
    playNext();
    return true;
}

void SoundService::playNext()
{
    if (m_queue.isEmpty() || m_quietAll)
        return;
    const QString file = m_queue.takeFirst();
    TAPISOL_TRACE(QStringLiteral("SND Play ") + file);
    m_player->setSource(QUrl::fromLocalFile(file));
    m_player->play();
}

void SoundService::stopAll()
{
    m_queue.clear();
    if (m_player)
        m_player->stop();
}

void SoundService::setQuietAll(bool quiet)
{
    m_quietAll = quiet;
    if (quiet)
        stopAll();
}

bool SoundService::isPlaying() const
{
    return m_player && m_player->playbackState() == QMediaPlayer::PlayingState;
}
