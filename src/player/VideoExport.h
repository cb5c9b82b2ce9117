#pragma once

#include "SlideRenderer.h"

#include <QSize>
#include <QString>

#include <functional>

// Renders a show into a WebM file with GStreamer: the frames of the slide renderer, as the player
// would show them on a screen of the chosen size, pushed at 25 frames a second into VP8, and the
// plan's music and comments mixed here at their times and volumes into Vorbis. The file is written
// beside its final name and takes it only once complete; a failed export leaves no file behind and
// an older file of that name untouched.
//
// The mix follows the player: the music in force carried and looped as the plan says, a comment
// from the start of its slide to its end or the slide's, the music lowered while it speaks. A show
// without any sound has no audio track.
class VideoExport
{
public:
    struct Options
    {
        QString file;
        QSize size {1280, 720};
        int framesPerSecond = 25;
        QString placeholder; // the notice of a missing picture, "%1" for its file
    };

    /// Called once per second of video: seconds done, seconds in all.
    using Progress = std::function<void(int done, int total)>;
    /// Receives a trace line (missing pictures and sounds).
    using TraceSink = std::function<void(const QString& line)>;

    VideoExport(const SlideshowPlan& plan, const SlideRenderer& renderer, Options options);

    /// GStreamer's elements that the export needs and that are not installed; empty when all are.
    static QStringList missingElements();

    /// Renders the whole show. False, with the reason in `error`, on any failure.
    bool run(QString* error, const Progress& progress = {}, const TraceSink& trace = {});

private:
    const SlideshowPlan& m_plan;
    const SlideRenderer& m_renderer;
    Options m_options;
};
