#pragma once

#include "SlideshowPlan.h"

#include <QObject>

class QAudioOutput;
class QMediaPlayer;

// Plays the music and the comments of a show as its plan says: the music in force carried from
// slide to slide, looped when asked, lowered while a comment speaks; the comment of a slide
// stopped when the slide goes. A file that is missing or cannot be played is traced and skipped:
// the show goes on in silence.
class AudioDirector : public QObject
{
    Q_OBJECT

public:
    explicit AudioDirector(const SlideshowPlan& plan, QObject* parent = nullptr);
    ~AudioDirector() override;

    /// Slide `slide` comes, `intoSlideMs` into its time (0 unless the user jumped into a paused
    /// show or a picture was late).
    void enterSlide(int slide, qint64 intoSlideMs = 0);
    void setPaused(bool paused);
    void stop();

private:
    void startMusic(int cue, qint64 positionMs);
    void startComment(const SlideComment& comment);
    void applyMusicVolume();
    bool commentSpeaking() const;

    const SlideshowPlan& m_plan;
    QMediaPlayer* m_music;
    QAudioOutput* m_musicOut;
    QMediaPlayer* m_comment;
    QAudioOutput* m_commentOut;
    int m_cue = -1;
    qint64 m_pendingSeek = 0; // where the music starts once its file is loaded
    bool m_paused = false;
};
