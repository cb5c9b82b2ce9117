#include "AudioDirector.h"

#include "PlayerTrace.h"
#include "SoundService.h"

#include <QAudioOutput>
#include <QMediaPlayer>
#include <QUrl>

AudioDirector::AudioDirector(const SlideshowPlan& plan, QObject* parent)
    : QObject(parent)
    , m_plan(plan)
    , m_music(new QMediaPlayer(this))
    , m_musicOut(new QAudioOutput(this))
    , m_comment(new QMediaPlayer(this))
    , m_commentOut(new QAudioOutput(this))
{
    m_music->setAudioOutput(m_musicOut);
    m_comment->setAudioOutput(m_commentOut);
    connect(m_music, &QMediaPlayer::mediaStatusChanged, this, [this](QMediaPlayer::MediaStatus status) {
        // A jump into the middle of a music: its place is known once the file's length is.
        if ((status == QMediaPlayer::LoadedMedia || status == QMediaPlayer::BufferedMedia) && m_pendingSeek > 0) {
            const qint64 duration = m_music->duration();
            const qint64 at = m_pendingSeek;
            m_pendingSeek = 0;
            if (duration <= 0)
                return;
            if (m_music->loops() == QMediaPlayer::Infinite)
                m_music->setPosition(at % duration);
            else if (at < duration)
                m_music->setPosition(at);
            else
                m_music->stop(); // played to its end before the slide the user jumped to
        }
    });
    connect(m_comment, &QMediaPlayer::playbackStateChanged, this, [this] { applyMusicVolume(); });
    auto traceError = [](const QString& kind, QMediaPlayer* player) {
        return [kind, player](QMediaPlayer::Error, const QString& message) {
            DEFILOR_TRACE(QStringLiteral("DF %1 Err %2: %3").arg(kind, player->source().toLocalFile(), message));
        };
    };
    connect(m_music, &QMediaPlayer::errorOccurred, this, traceError(QStringLiteral("Music"), m_music));
    connect(m_comment, &QMediaPlayer::errorOccurred, this, traceError(QStringLiteral("Comment"), m_comment));
}

AudioDirector::~AudioDirector()
{
    stop();
}

void AudioDirector::enterSlide(int slide, qint64 intoSlideMs)
{
    if (slide < 0 || slide >= m_plan.count())
        return;
    const PlannedSlide& planned = m_plan.slide(slide);
    m_comment->stop();
    if (planned.music != m_cue)
        startMusic(planned.music, m_plan.musicPositionMs(slide, intoSlideMs));
    // A comment is heard from its start: a user jumping to its slide wants to hear it.
    if (!planned.comment.path.isEmpty())
        startComment(planned.comment);
    applyMusicVolume();
}

void AudioDirector::startMusic(int cue, qint64 positionMs)
{
    m_music->stop();
    m_cue = cue;
    m_pendingSeek = 0;
    if (cue < 0)
        return;
    const MusicCue& music = m_plan.musics().at(cue);
    if (const QString why = SoundService::unplayable(music.path); !why.isEmpty()) {
        DEFILOR_TRACE(QStringLiteral("DF Music skipped %1: %2").arg(music.path, why));
        m_music->setSource(QUrl());
        return;
    }
    DEFILOR_TRACE(QStringLiteral("DF Music %1, volume %2%3")
                      .arg(music.path)
                      .arg(music.volume)
                      .arg(music.repeat ? QStringLiteral(", loop") : QString()));
    m_music->setLoops(music.repeat ? QMediaPlayer::Infinite : QMediaPlayer::Once);
    m_music->setSource(QUrl::fromLocalFile(music.path));
    m_pendingSeek = std::max<qint64>(0, positionMs);
    m_music->play();
    if (m_paused)
        m_music->pause(); // ready to go on with the show
}

void AudioDirector::startComment(const SlideComment& comment)
{
    if (const QString why = SoundService::unplayable(comment.path); !why.isEmpty()) {
        DEFILOR_TRACE(QStringLiteral("DF Comment skipped %1: %2").arg(comment.path, why));
        m_comment->setSource(QUrl());
        return;
    }
    DEFILOR_TRACE(QStringLiteral("DF Comment %1, volume %2").arg(comment.path).arg(comment.volume));
    m_commentOut->setVolume(comment.volume / 100.0f);
    m_comment->setLoops(comment.repeat ? QMediaPlayer::Infinite : QMediaPlayer::Once);
    m_comment->setSource(QUrl::fromLocalFile(comment.path));
    m_comment->play();
    if (m_paused)
        m_comment->pause();
}

bool AudioDirector::commentSpeaking() const
{
    // Paused, the comment still holds the music down: it speaks on when the show goes on.
    return m_comment->playbackState() != QMediaPlayer::StoppedState;
}

void AudioDirector::applyMusicVolume()
{
    if (m_cue < 0)
        return;
    m_musicOut->setVolume(SlideshowPlan::musicVolume(m_plan.musics().at(m_cue), commentSpeaking()) / 100.0f);
}

void AudioDirector::setPaused(bool paused)
{
    if (paused == m_paused)
        return;
    m_paused = paused;
    for (QMediaPlayer* player : {m_music, m_comment}) {
        if (paused && player->playbackState() == QMediaPlayer::PlayingState)
            player->pause();
        else if (!paused && player->playbackState() == QMediaPlayer::PausedState)
            player->play();
    }
}

void AudioDirector::stop()
{
    m_comment->stop();
    m_music->stop();
    m_cue = -1;
}
