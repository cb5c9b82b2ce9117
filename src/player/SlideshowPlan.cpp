#include "SlideshowPlan.h"

#include <algorithm>

namespace {

// A slide is never longer than a day: a wild ExpoTime must not overflow the show's arithmetic.
constexpr qint64 MaxExposureSeconds = 24 * 3600;

int percent(int value)
{
    return std::clamp(value, 0, 100);
}

CaptionStyle captionStyle(const SlideRow& row, const CaptionStyle& defaults)
{
    CaptionStyle style = defaults;
    if (!row.FontName.trimmed().isEmpty())
        style.fontName = row.FontName.trimmed();
    if (row.FontSize > 0)
        style.pointSize = row.FontSize;
    style.bold = row.FontBold;
    style.italic = row.FontItalic;
    style.underline = row.FontUnderline;
    style.fore = colourFromBgr(row.ForeColor);
    style.back = colourFromBgr(row.BackColor);
    style.opaque = row.BackStyle == 1;
    style.align = row.TexteAlign >= 0 && row.TexteAlign <= 2 ? row.TexteAlign : 2;
    style.marginTwips = std::max(0, row.TexteMarge);
    return style;
}

} // namespace

QColor colourFromBgr(qint64 value)
{
    // Negative values are the old system colours; no screen here has them, black stands in.
    if (value < 0)
        return Qt::black;
    return QColor(int(value & 0xff), int((value >> 8) & 0xff), int((value >> 16) & 0xff));
}

SlideshowPlan::SlideshowPlan(const ProjectRow& project, const QList<SlideRow>& slides, const PlanSettings& settings)
{
    const qint64 exposure = exposureMs(project, settings.delaySeconds);
    const qint64 transition = std::min<qint64>(std::max(0, settings.transitionMs), exposure / 2);
    m_slides.reserve(slides.size());
    qint64 start = 0;
    int music = -1;
    for (const SlideRow& row : slides) {
        PlannedSlide slide;
        slide.picture = row.Path;
        slide.startMs = start;
        slide.exposureMs = exposure;
        slide.transitionMs = transition;
        const QString musicPath = row.PathMusic.trimmed();
        if (!musicPath.isEmpty() && (music < 0 || m_musics.at(music).path != musicPath)) {
            m_musics << MusicCue {
                musicPath, percent(row.VolMusic), percent(row.VolMusicComment), row.RepetMusic, int(m_slides.size())};
            music = int(m_musics.size()) - 1;
        }
        slide.music = music;
        slide.comment = {row.PathComment.trimmed(), percent(row.VolComment), row.RepetComment};
        slide.caption = {row.Texte, captionStyle(row, settings.captionDefaults)};
        m_slides << slide;
        start += exposure;
    }
}

qint64 SlideshowPlan::exposureMs(const ProjectRow& project, int delaySeconds)
{
    const qint64 seconds = project.ExpoTime > 0 ? project.ExpoTime : std::max(1, delaySeconds);
    return std::min(seconds, MaxExposureSeconds) * 1000;
}

int SlideshowPlan::transitionMsForSpeed(int speed)
{
    return 12000 / std::clamp(speed, 1, 50);
}

int SlideshowPlan::musicVolume(const MusicCue& cue, bool commentSpeaking)
{
    return commentSpeaking ? std::min(cue.volume, cue.volumeUnderComment) : cue.volume;
}

qint64 SlideshowPlan::durationMs() const
{
    return m_slides.isEmpty() ? 0 : m_slides.last().startMs + m_slides.last().exposureMs;
}

bool SlideshowPlan::hasSound() const
{
    return !m_musics.isEmpty() || std::any_of(m_slides.begin(), m_slides.end(), [](const PlannedSlide& s) {
        return !s.comment.path.isEmpty();
    });
}

SlideshowPlan::Moment SlideshowPlan::at(qint64 showMs) const
{
    Moment moment;
    if (m_slides.isEmpty()) {
        moment.ended = true;
        return moment;
    }
    if (showMs >= durationMs()) {
        moment.slide = count() - 1;
        moment.intoSlideMs = m_slides.last().exposureMs;
        moment.ended = true;
        return moment;
    }
    showMs = std::max<qint64>(0, showMs);
    const auto after = std::upper_bound(m_slides.begin(), m_slides.end(), showMs,
        [](qint64 t, const PlannedSlide& slide) { return t < slide.startMs; });
    moment.slide = int(after - m_slides.begin()) - 1;
    const PlannedSlide& slide = m_slides.at(moment.slide);
    moment.intoSlideMs = showMs - slide.startMs;
    moment.transition
        = slide.transitionMs > 0 ? std::min(1.0, double(moment.intoSlideMs) / double(slide.transitionMs)) : 1.0;
    return moment;
}

qint64 SlideshowPlan::musicPositionMs(int slide, qint64 intoSlideMs) const
{
    if (slide < 0 || slide >= count() || m_slides.at(slide).music < 0)
        return -1;
    const MusicCue& cue = m_musics.at(m_slides.at(slide).music);
    return m_slides.at(slide).startMs + intoSlideMs - m_slides.at(cue.firstSlide).startMs;
}
