#include "FrmAlarme.h"

#include "InterfaceTexts.h"
#include "NoteRenderer.h"
#include "SoundService.h"
#include "Trace.h"

#include <QCloseEvent>
#include <QContextMenuEvent>
#include <QFontMetrics>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>
#include <QSizeGrip>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

constexpr int TextClose = 2705;
constexpr int TextLater = 2706;
constexpr int TextLaterMinutes[] = {2707, 2708, 2709, 2710};
constexpr int LaterMinutes[] = {5, 10, 30, 60};
constexpr int TextChangeAlarm = 2711;
constexpr int TextPictureMissing = 2712;
constexpr int TextTitle = 2713;
constexpr int TextOpenNote = 2714;
constexpr int TextHandling = 2715;
constexpr int GeometrySettleMs = 600;

} // namespace

FrmAlarme::FrmAlarme(const Note& note, const QRect& place, Actions actions)
    : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint)
    , m_note(note)
    , m_actions(std::move(actions))
{
    setObjectName(QStringLiteral("FrmAlarme"));
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(langText(TextTitle) + QStringLiteral(" — ") + m_note.text().section(QLatin1Char('\n'), 0, 0));
    setMinimumSize(80, 60);
    setGeometry(place);
    setFocusPolicy(Qt::StrongFocus);
    buildControls();
    applyLook();
    connect(&m_motion, &QTimer::timeout, this, &FrmAlarme::step);
    m_geometrySettle.setSingleShot(true);
    m_geometrySettle.setInterval(GeometrySettleMs);
    connect(&m_geometrySettle, &QTimer::timeout, this, [this] {
        if (m_actions.moved)
            m_actions.moved(this, geometry());
    });
    connect(&SoundService::instance(), &SoundService::finished, this, &FrmAlarme::soundFinished);
}

FrmAlarme::~FrmAlarme()
{
    stopSound();
}

void FrmAlarme::buildControls()
{
    m_close = new QToolButton(this);
    m_close->setObjectName(QStringLiteral("close"));
    m_close->setText(QStringLiteral("✕"));
    m_close->setToolTip(langText(TextClose));
    m_close->setAutoRaise(true);
    connect(m_close, &QToolButton::clicked, this, &QWidget::close);

    m_menu = new QMenu(this);
    QMenu* later = m_menu->addMenu(langText(TextLater));
    for (int i = 0; i < 4; ++i) {
        QAction* action = later->addAction(langText(TextLaterMinutes[i]));
        action->setObjectName(QStringLiteral("later%1").arg(LaterMinutes[i]));
        const int minutes = LaterMinutes[i];
        connect(action, &QAction::triggered, this, [this, minutes] {
            if (m_actions.snooze)
                m_actions.snooze(this, minutes);
        });
    }
    QAction* change = m_menu->addAction(langText(TextChangeAlarm));
    change->setObjectName(QStringLiteral("changeAlarm"));
    change->setEnabled(bool(m_actions.changeAlarm));
    connect(change, &QAction::triggered, this, [this] { m_actions.changeAlarm(this); });
    QAction* open = m_menu->addAction(langText(TextOpenNote));
    open->setObjectName(QStringLiteral("openNote"));
    open->setEnabled(bool(m_actions.openNote));
    connect(open, &QAction::triggered, this, [this] { m_actions.openNote(this); });
    m_menu->addSeparator();
    m_menu->addAction(langText(TextClose), this, &QWidget::close);

    m_later = new QToolButton(this);
    m_later->setObjectName(QStringLiteral("later"));
    m_later->setText(QStringLiteral("Zz"));
    m_later->setToolTip(langText(TextLater));
    m_later->setAutoRaise(true);
    m_later->setPopupMode(QToolButton::InstantPopup);
    m_later->setStyleSheet(QStringLiteral("QToolButton::menu-indicator { image: none; }")); // room for "Zz"
    m_later->setMenu(later);

    auto* grip = new QSizeGrip(this);
    grip->setObjectName(QStringLiteral("grip"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(2, 2, 2, 2);
    auto* top = new QHBoxLayout;
    top->addStretch();
    top->addWidget(m_later);
    top->addWidget(m_close);
    layout->addLayout(top);
    layout->addStretch();
    layout->addWidget(grip, 0, Qt::AlignBottom | Qt::AlignRight);
    setToolTip(langText(TextHandling));
}

void FrmAlarme::setNote(const Note& note)
{
    m_note = note;
    applyLook();
}

void FrmAlarme::applyLook()
{
    const ClsWinData* window = m_note.objects.window();
    setWindowOpacity(window && window->TransparenceApply ? window->Transparence / 255.0 : 1.0);
    loadPicture();
    const ClsTxtData* text = m_note.objects.text();
    m_steps = 0;
    if (text && NoteRenderer::moves(*text))
        m_motion.start(NoteRenderer::stepMilliseconds(*text));
    else
        m_motion.stop();
    updateShape();
    update();
}

void FrmAlarme::loadPicture()
{
    m_picture = {};
    m_pictureProblem.clear();
    const ClsImgData* image = m_note.objects.image();
    if (!image || image->Texte.isEmpty() || !m_actions.picture)
        return;
    m_picture = m_actions.picture(image->Texte, size());
    if (m_picture.isNull()) {
        m_pictureProblem = langText(TextPictureMissing).arg(image->Texte);
        TAPISOL_TRACE(QStringLiteral("AL ") + m_pictureProblem);
    }
}

void FrmAlarme::updateShape()
{
    const ClsWinData* window = m_note.objects.window();
    if (!window || !window->Decoupage) {
        clearMask();
        return;
    }
    const QImage content = NoteRenderer::render(size(), m_note, m_picture, {});
    QRegion region = NoteRenderer::shape(content, NoteRenderer::colour(window->DecoupBkColor));
    if (region.isEmpty()) {
        clearMask();
        return;
    }
    // The controls stay reachable whatever the cut leaves.
    for (QWidget* control : {static_cast<QWidget*>(m_close), static_cast<QWidget*>(m_later)})
        region += control->geometry();
    setMask(region);
}

void FrmAlarme::step()
{
    ++m_steps;
    update();
}

void FrmAlarme::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    QPointF offset;
    if (const ClsTxtData* text = m_note.objects.text(); text && NoteRenderer::moves(*text)) {
        const QRectF area = NoteRenderer::textArea(*text, size());
        const QSizeF extent = QFontMetricsF(NoteRenderer::font(*text))
                                  .boundingRect(area, text->TxtWordWrap ? Qt::TextWordWrap : 0, text->Texte)
                                  .size();
        offset = NoteRenderer::offsetAfter(*text, m_steps, area.size(), extent);
    }
    NoteRenderer::paint(painter, rect(), m_note, m_picture, offset);
    if (!m_pictureProblem.isEmpty()) {
        painter.setPen(Qt::darkRed);
        painter.drawText(
            rect().adjusted(6, 6, -6, -6), Qt::AlignBottom | Qt::AlignLeft | Qt::TextWordWrap, m_pictureProblem);
    }
}

void FrmAlarme::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    loadPicture();
    updateShape();
    if (isVisible())
        m_geometrySettle.start();
}

void FrmAlarme::moveEvent(QMoveEvent* event)
{
    QWidget::moveEvent(event);
    if (isVisible())
        m_geometrySettle.start();
}

void FrmAlarme::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape) {
        close();
        return;
    }
    QWidget::keyPressEvent(event);
}

void FrmAlarme::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton) {
        m_dragging = true;
        m_dragOffset = event->globalPosition().toPoint() - frameGeometry().topLeft();
        event->accept();
        return;
    }
    QWidget::mousePressEvent(event);
}

void FrmAlarme::mouseMoveEvent(QMouseEvent* event)
{
    if (m_dragging && (event->buttons() & Qt::LeftButton)) {
        move(event->globalPosition().toPoint() - m_dragOffset);
        event->accept();
        return;
    }
    QWidget::mouseMoveEvent(event);
}

void FrmAlarme::mouseReleaseEvent(QMouseEvent* event)
{
    m_dragging = false;
    QWidget::mouseReleaseEvent(event);
}

void FrmAlarme::contextMenuEvent(QContextMenuEvent* event)
{
    m_menu->popup(event->globalPos());
}

void FrmAlarme::closeEvent(QCloseEvent* event)
{
    if (m_geometrySettle.isActive()) {
        m_geometrySettle.stop();
        if (m_actions.moved)
            m_actions.moved(this, geometry());
    }
    stopSound();
    if (!m_closingHandled) {
        m_closingHandled = true;
        if (m_actions.dismiss)
            m_actions.dismiss(this);
    }
    event->accept();
}

void FrmAlarme::closeWithoutRules()
{
    m_closingHandled = true;
    close();
}

void FrmAlarme::startSound(const QString& file, bool repeat)
{
    m_soundFile = file;
    m_soundRepeats = repeat;
    if (!SoundService::instance().play({file}))
        m_soundFile.clear(); // muted, no output, or not a sound: traced by the service
}

void FrmAlarme::stopSound()
{
    if (m_soundFile.isEmpty())
        return;
    if (SoundService::instance().currentFile() == m_soundFile)
        SoundService::instance().stopAll();
    m_soundFile.clear();
}

void FrmAlarme::soundFinished()
{
    if (m_soundRepeats && !m_soundFile.isEmpty() && isVisible())
        SoundService::instance().play({m_soundFile});
}
