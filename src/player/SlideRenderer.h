#pragma once

#include "SlideshowPlan.h"

#include <QImage>

class QPainter;

/// How the player's settings dress every slide.
struct RenderOptions
{
    QColor background = Qt::black; // `BackColor`: around the picture
    bool throughBlack = false;     // `FromBlack`: fade out to black, then in, instead of a cross-fade
    bool showFileName = false;     // `ShowFileName`
    bool fileNameFull = false;     // `FileNameFull`: the whole path rather than the name
    CaptionStyle fileNameStyle;    // the `Top…` settings: the file name at the top of the screen
};

// Draws the player's frames without a window, for the screen and for the video export alike. A
// slide is composed once into a layer of the screen's size (the picture fitted whole on the
// background, its caption, the file name); a transition frame is two layers blended, which is
// cheap enough for every frame of the screen's refresh.
class SlideRenderer
{
public:
    explicit SlideRenderer(RenderOptions options = {});

    const RenderOptions& options() const { return m_options; }

    /// The size a picture of `picture` is shown at on `screen`: whole, its proportions kept,
    /// enlarged or reduced to touch two opposite edges.
    static QSize shownSize(QSize picture, QSize screen);

    /// The slide once its transition is over. `picture` is scaled when it is not at shownSize()
    /// already; a null `picture` shows `placeholder` (the notice of the missing file) instead.
    QImage composeSlide(
        const QImage& picture, const PlannedSlide& slide, QSize screen, const QString& placeholder = {}) const;

    /// The screen before the first slide: the background alone.
    QImage emptyScreen(QSize screen) const;

    /// Paints the transition from layer `from` to layer `to` at `progress` (0 to 1) over `target`.
    void paintTransition(
        QPainter& painter, const QRect& target, const QImage& from, const QImage& to, double progress) const;

    /// The same into a new image of the layers' size.
    QImage frame(const QImage& from, const QImage& to, double progress) const;

    /// Draws `caption` inside `area`: at its bottom, or at its top when `atTop`.
    static void paintCaption(QPainter& painter, const QRect& area, const Caption& caption, bool atTop);

private:
    RenderOptions m_options;
};
