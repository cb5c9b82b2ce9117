#pragma once

#include "ProjectTypes.h"

#include <QColor>
#include <QList>
#include <QString>

// What the player does with a project, worked out once before the first slide shows: when each
// slide comes and goes, which music and comment sound over it, and how its caption looks. The
// player's window and the video export both follow it, so what is exported is what is played.
//
// How the columns are read:
//  - Exposure: the slide rows have no time of their own; the project's ExpoTime (seconds) is every
//    slide's time when it is above 0, otherwise the player's `Delay` setting.
//  - Transitions: each slide's time begins with its transition from the slide before (from the
//    empty background for the first one), so the show lasts the sum of the exposures exactly. A
//    transition takes at most half of its slide's time.
//  - Music: a slide with PathMusic starts that music; it plays on over the following slides until
//    a slide names another file. A slide naming the file already playing lets it play on, with the
//    volumes of the slide that started it. RepetMusic loops it; otherwise it plays once and
//    silence follows until the next music. RehausMusic is kept by the store but has no effect.
//  - Comment: PathComment speaks when its slide comes and stops when the slide goes; RepetComment
//    repeats it while the slide shows. While it speaks the music in force is lowered to its
//    VolMusicComment (never raised by it) and comes back to VolMusic after.
//  - Caption: Texte in its font and colours; TexteAlign 0 left, 1 right, 2 centred (the numbers of
//    the captions' settings), at the bottom of the screen, TexteMarge (twips) from the bottom and
//    the sides; BackStyle 1 lays it on a band of BackColor, 0 leaves it over the picture.

/// A colour as the tables and the settings keep it: 0x00BBGGRR.
QColor colourFromBgr(qint64 value);

/// How a caption is drawn.
struct CaptionStyle
{
    QString fontName;
    double pointSize = 12;
    bool bold = false;
    bool italic = false;
    bool underline = false;
    QColor fore = Qt::white;
    QColor back = Qt::black;
    bool opaque = false; // on a band of `back`
    int align = 2;       // 0 left, 1 right, 2 centred
    int marginTwips = 0; // from the bottom (from the top for the file name) and the sides

    friend bool operator==(const CaptionStyle&, const CaptionStyle&) = default;
};

struct Caption
{
    QString text;
    CaptionStyle style;
};

/// A music as it starts on a slide.
struct MusicCue
{
    QString path;
    int volume = 100;             // percent
    int volumeUnderComment = 100; // percent, while a comment speaks
    bool repeat = false;
    int firstSlide = 0; // the slide that starts it
};

/// A slide's spoken comment.
struct SlideComment
{
    QString path; // empty: none
    int volume = 100;
    bool repeat = false;
};

struct PlannedSlide
{
    QString picture;
    qint64 startMs = 0;      // from the start of the show
    qint64 exposureMs = 0;   // transition included
    qint64 transitionMs = 0; // at the start of the exposure
    int music = -1;          // the music in force: index in SlideshowPlan::musics(), -1 for none
    SlideComment comment;
    Caption caption;
};

/// The player's settings that shape the plan.
struct PlanSettings
{
    int delaySeconds = 5;         // `Delay`: a slide's time when the project sets none
    int transitionMs = 800;       // longest transition
    CaptionStyle captionDefaults; // the font when a slide names none
};

class SlideshowPlan
{
public:
    SlideshowPlan() = default;
    SlideshowPlan(const ProjectRow& project, const QList<SlideRow>& slides, const PlanSettings& settings);

    /// A slide's time in milliseconds: the project's ExpoTime in seconds when above 0, else `delaySeconds`.
    static qint64 exposureMs(const ProjectRow& project, int delaySeconds);
    /// The transition's length for the `Speed` setting (1 slow to 50 fast; 15 gives 800 ms).
    static int transitionMsForSpeed(int speed);
    /// The music's volume in percent: its own, or lowered to its volume under a comment.
    static int musicVolume(const MusicCue& cue, bool commentSpeaking);

    const QList<PlannedSlide>& slides() const { return m_slides; }
    const PlannedSlide& slide(int index) const { return m_slides.at(index); }
    const QList<MusicCue>& musics() const { return m_musics; }
    int count() const { return int(m_slides.size()); }
    bool isEmpty() const { return m_slides.isEmpty(); }
    qint64 durationMs() const;
    /// Whether any slide names a music or a comment.
    bool hasSound() const;

    /// What shows at `showMs` from the start of the show.
    struct Moment
    {
        int slide = 0;
        qint64 intoSlideMs = 0;
        double transition = 1.0; // progress of the slide's transition, 1 once it is over
        bool ended = false;      // past the last slide's time
    };
    Moment at(qint64 showMs) const;

    /// How far the music in force at `slide` has played, `intoSlideMs` into that slide, counted
    /// from the slide that started it (loops not folded); -1 when no music is in force.
    qint64 musicPositionMs(int slide, qint64 intoSlideMs) const;

private:
    QList<PlannedSlide> m_slides;
    QList<MusicCue> m_musics;
};
