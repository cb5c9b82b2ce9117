#include "PlayerWindow.h"

#include "AudioDirector.h"
#include "InterfaceTexts.h"
#include "PictureLoader.h"
#include "PlayerTrace.h"

#include <QCloseEvent>
#include <QCursor>
#include <QDateTime>
#include <QFrame>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QPainter>
#include <QScreen>
#include <QStyle>
#include <QToolButton>

#include <cstdio>
#include <functional>

namespace {

constexpr int TextPrevious = 3141;
constexpr int TextPause = 3142;
constexpr int TextResume = 3143;
constexpr int TextNext = 3144;
constexpr int TextQuit = 3145;

// A mouse that moved less than this is a jitter of the pointer, not a user.
constexpr int MouseSlack = 3;

} // namespace

PlayerWindow::PlayerWindow(
    const SlideshowPlan& plan, const SlideRenderer& renderer, PictureLoader& loader, Options options, QWidget* parent)
    : QWidget(parent)
    , m_plan(plan)
    , m_renderer(renderer)
    , m_loader(loader)
    , m_options(options)
    , m_clock(plan)
{
    setAttribute(Qt::WA_OpaquePaintEvent);
    setAttribute(Qt::WA_NoSystemBackground);
    setMouseTracking(true);
    setCursor(Qt::BlankCursor);
    setFocusPolicy(Qt::StrongFocus);
    m_frameTimer.setTimerType(Qt::PreciseTimer);
    m_slideTimer.setTimerType(Qt::PreciseTimer);
    m_slideTimer.setSingleShot(true);
    m_toolsTimer.setSingleShot(true);
    connect(&m_frameTimer, &QTimer::timeout, this, &PlayerWindow::tick);
    connect(&m_slideTimer, &QTimer::timeout, this, &PlayerWindow::tick);
    connect(&m_toolsTimer, &QTimer::timeout, this, &PlayerWindow::hideTools);
    connect(&m_loader, &PictureLoader::loaded, this, &PlayerWindow::onLoaded);
    connect(&m_loader, &PictureLoader::projectGone, this, &PlayerWindow::onProjectGone);
    buildTools();
}

PlayerWindow::~PlayerWindow() = default;

void PlayerWindow::start()
{
    const double refresh = screen() ? screen()->refreshRate() : 0;
    m_frameTimer.setInterval(std::max(4, int(1000.0 / (refresh >= 20 ? refresh : 60.0))));
    m_lastMouse = QCursor::pos();
    m_monotonic.start();
    m_clock.start(now());
    tick();
}

void PlayerWindow::setAudio(AudioDirector* audio)
{
    m_audio = audio;
    if (m_audio && m_shown.slide >= 0)
        m_audio->enterSlide(m_shown.slide, m_clock.at(now()).intoSlideMs);
}

void PlayerWindow::tick()
{
    if (m_ended)
        return;
    const qint64 t = now();
    SlideshowPlan::Moment moment = m_clock.at(t);
    if (moment.ended && m_options.cycle && m_plan.count() > 0) {
        DEFILOR_TRACE(QStringLiteral("DF Show starts again"));
        m_clock.start(t);
        moment = m_clock.at(t);
    }
    if (moment.ended) {
        end(0, QStringLiteral("DF End of show"));
        return;
    }
    if (moment.slide != m_shown.slide) {
        if (m_next.slide != moment.slide) {
            // Its layer is not made yet: the slide waits for it, keeping its time.
            m_next = {};
            m_clock.hold(t);
            prefetch(moment.slide);
            m_frameTimer.stop();
            m_slideTimer.stop();
            update();
            return;
        }
        m_from = m_shown.image.isNull() ? m_renderer.emptyScreen(m_next.image.size()) : m_shown.image;
        m_shown = std::move(m_next);
        m_next = {};
        if (m_clock.isHeld()) {
            m_clock.release(t);
            moment = m_clock.at(t);
        }
        DEFILOR_TRACE(QStringLiteral("DF Slide %1/%2 %3")
                          .arg(moment.slide + 1)
                          .arg(m_plan.count())
                          .arg(m_plan.slide(moment.slide).picture));
        if (m_audio)
            m_audio->enterSlide(moment.slide, moment.intoSlideMs);
    }
    if (moment.transition < 1.0) {
        if (!m_frameTimer.isActive())
            m_frameTimer.start();
    } else {
        m_frameTimer.stop();
        m_from = QImage();
        // Only now: during a transition two layers are held already.
        prefetch(m_options.cycle && moment.slide + 1 == m_plan.count() ? 0 : moment.slide + 1);
    }
    const PlannedSlide& slide = m_plan.slide(moment.slide);
    const qint64 wait = m_clock.untilShowTime(t, slide.startMs + slide.exposureMs);
    if (wait >= 0)
        m_slideTimer.start(int(std::min<qint64>(wait, 24 * 3600 * 1000)));
    else
        m_slideTimer.stop();
    update();
}

void PlayerWindow::prefetch(int slide)
{
    if (slide >= m_plan.count() || m_next.slide == slide || m_requested == slide)
        return;
    m_requested = slide;
    m_loader.setWanted({slide});
    m_loader.request(slide);
}

void PlayerWindow::onLoaded(int slide, const QImage& layer, const QString& error)
{
    if (slide != m_requested)
        return; // asked for before a jump
    m_requested = -1;
    if (!error.isEmpty())
        DEFILOR_TRACE(QStringLiteral("DF Picture unreadable %1").arg(error));
    m_next = {slide, layer};
    if (m_clock.isHeld())
        tick();
}

void PlayerWindow::onProjectGone(int slide)
{
    end(0, QStringLiteral("DF Project deleted while playing, end of show before slide %1").arg(slide + 1));
}

void PlayerWindow::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    if (m_shown.image.isNull()) {
        painter.fillRect(rect(), m_renderer.options().background);
        return;
    }
    const SlideshowPlan::Moment moment = m_clock.at(now());
    const bool inTransition = !m_from.isNull() && moment.slide == m_shown.slide && moment.transition < 1.0;
    if (inTransition)
        m_renderer.paintTransition(painter, rect(), m_from, m_shown.image, moment.transition);
    else
        painter.drawImage(rect(), m_shown.image);
    if (m_options.timings && m_paintedSlide != m_shown.slide) {
        m_paintedSlide = m_shown.slide;
        std::fprintf(stderr, "defilor-timing slide %d %lld\n", m_shown.slide,
            static_cast<long long>(QDateTime::currentMSecsSinceEpoch()));
        std::fflush(stderr);
    }
}

void PlayerWindow::keyPressEvent(QKeyEvent* event)
{
    switch (event->key()) {
    case Qt::Key_Space:
        togglePause();
        break;
    case Qt::Key_Right:
        next();
        break;
    case Qt::Key_Left:
        previous();
        break;
    case Qt::Key_Escape:
        end(0, QStringLiteral("DF Escape"));
        break;
    default:
        QWidget::keyPressEvent(event);
    }
}

void PlayerWindow::togglePause()
{
    const qint64 t = now();
    const bool pause = !m_clock.isPaused();
    if (pause)
        m_clock.pause(t);
    else
        m_clock.resume(t);
    if (m_audio)
        m_audio->setPaused(pause);
    m_pauseButton->setIcon(style()->standardIcon(pause ? QStyle::SP_MediaPlay : QStyle::SP_MediaPause));
    m_pauseButton->setToolTip(langText(pause ? TextResume : TextPause));
    DEFILOR_TRACE(pause ? QStringLiteral("DF Pause") : QStringLiteral("DF Resume"));
    tick();
}

void PlayerWindow::next()
{
    m_clock.next(now());
    tick();
}

void PlayerWindow::previous()
{
    m_clock.previous(now());
    tick();
}

void PlayerWindow::end(int exitCode, const QString& why)
{
    if (m_ended)
        return;
    m_ended = true;
    DEFILOR_TRACE(why);
    m_frameTimer.stop();
    m_slideTimer.stop();
    m_loader.setWanted({});
    if (m_audio)
        m_audio->stop();
    emit finished(exitCode);
}

void PlayerWindow::closeEvent(QCloseEvent* event)
{
    end(0, QStringLiteral("DF Closed"));
    event->accept();
}

void PlayerWindow::buildTools()
{
    m_tools = new QFrame(this);
    m_tools->setObjectName(QStringLiteral("tools"));
    // Light, so that the style's dark media icons read on it whatever the slide.
    m_tools->setStyleSheet(QStringLiteral("#tools { background: rgba(235, 235, 235, 235); border-radius: 6px; }"));
    m_tools->setCursor(Qt::ArrowCursor);
    auto* layout = new QHBoxLayout(m_tools);
    auto add = [&](QStyle::StandardPixmap icon, int tip, std::function<void()> action) {
        auto* button = new QToolButton(m_tools);
        button->setIcon(style()->standardIcon(icon));
        button->setIconSize(QSize(32, 32));
        button->setToolTip(langText(tip));
        button->setFocusPolicy(Qt::NoFocus); // the keys stay with the show
        button->setAutoRaise(true);
        connect(button, &QToolButton::clicked, this, std::move(action));
        layout->addWidget(button);
        return button;
    };
    add(QStyle::SP_MediaSkipBackward, TextPrevious, [this] { previous(); });
    m_pauseButton = add(QStyle::SP_MediaPause, TextPause, [this] { togglePause(); });
    add(QStyle::SP_MediaSkipForward, TextNext, [this] { next(); });
    add(QStyle::SP_DialogCloseButton, TextQuit, [this] { end(0, QStringLiteral("DF Quit")); });
    m_tools->adjustSize();
    m_tools->hide();
    m_tools->installEventFilter(this);
}

void PlayerWindow::mouseMoveEvent(QMouseEvent* event)
{
    const QPoint at = event->globalPosition().toPoint();
    if ((at - m_lastMouse).manhattanLength() > MouseSlack)
        showTools();
    m_lastMouse = at;
    QWidget::mouseMoveEvent(event);
}

bool PlayerWindow::eventFilter(QObject* watched, QEvent* event)
{
    // The bar stays while the mouse is on it.
    if (watched == m_tools && event->type() == QEvent::Enter)
        m_toolsTimer.stop();
    else if (watched == m_tools && event->type() == QEvent::Leave && m_options.toolsHide)
        m_toolsTimer.start(m_options.toolsSeconds * 1000);
    return QWidget::eventFilter(watched, event);
}

void PlayerWindow::showTools()
{
    m_tools->move((width() - m_tools->width()) / 2, height() - m_tools->height() - 24);
    m_tools->show();
    m_tools->raise();
    unsetCursor();
    if (m_options.toolsHide)
        m_toolsTimer.start(m_options.toolsSeconds * 1000);
}

void PlayerWindow::hideTools()
{
    m_tools->hide();
    setCursor(Qt::BlankCursor);
}
