#pragma once

#include "SlideClock.h"
#include "SlideRenderer.h"

#include <QElapsedTimer>
#include <QImage>
#include <QTimer>
#include <QWidget>

class AudioDirector;
class PictureLoader;
class QFrame;
class QToolButton;

// The full-screen window of the show. It follows the show's clock: between slides it sleeps until
// the next one is due; during a transition it paints at the screen's refresh. The layer of the next
// slide is made ahead on the loader's thread once a transition is over, so at most two layers are
// held (the slide showing and the next, or the two of a transition). A slide whose layer is late
// holds the clock at its start, so it still gets its whole time.
//
// Keys: Space pauses and resumes, Left and Right go to the previous and next slide, Escape ends.
// Moving the mouse shows a small tool bar with the same four commands, which hides again after
// `toolsSeconds` when `toolsHide` is set.
class PlayerWindow : public QWidget
{
    Q_OBJECT

public:
    struct Options
    {
        bool toolsHide = true;
        int toolsSeconds = 5;
        bool cycle = false;   // after the last slide the show starts again, until Escape
        bool timings = false; // print on stderr when each slide reaches the screen
    };

    PlayerWindow(const SlideshowPlan& plan, const SlideRenderer& renderer, PictureLoader& loader, Options options,
        QWidget* parent = nullptr);
    ~PlayerWindow() override;

    /// Starts the show: its first slide comes as soon as its layer is made.
    void start();
    /// What plays the sound of the slides from now on (none before).
    void setAudio(AudioDirector* audio);

signals:
    /// The show is over: its end, Escape, or the project deleted (`exitCode` for the process).
    void finished(int exitCode);

protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct Layer
    {
        int slide = -1;
        QImage image;
    };

    qint64 now() const { return m_monotonic.elapsed(); }
    void tick();
    void prefetch(int slide);
    void onLoaded(int slide, const QImage& layer, const QString& error);
    void onProjectGone(int slide);
    void togglePause();
    void next();
    void previous();
    void end(int exitCode, const QString& why);
    void buildTools();
    void showTools();
    void hideTools();

    const SlideshowPlan& m_plan;
    const SlideRenderer& m_renderer;
    PictureLoader& m_loader;
    AudioDirector* m_audio = nullptr;
    const Options m_options;
    SlideClock m_clock;
    QElapsedTimer m_monotonic;

    Layer m_shown; // the slide showing, or coming in
    Layer m_next;  // made ahead
    QImage m_from; // what the transition of m_shown starts from
    int m_requested = -1;
    int m_paintedSlide = -1;
    bool m_ended = false;

    QTimer m_frameTimer; // the screen's refresh, during transitions
    QTimer m_slideTimer; // the next slide's time
    QTimer m_toolsTimer;
    QFrame* m_tools = nullptr;
    QToolButton* m_pauseButton = nullptr;
    QPoint m_lastMouse;
};
