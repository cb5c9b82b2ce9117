#include "NotePreview.h"

#include "ClsRegistry.h"
#include "NoteRenderer.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QScreen>

namespace {

// Settings keep the default window size in twips.
int twipsToPixels(int twips, qreal dpi)
{
    return qRound(twips * dpi / 1440.0);
}

void paintCheckerboard(QPainter& painter, const QRect& rect)
{
    constexpr int Cell = 8;
    painter.fillRect(rect, QColor(0xe0, 0xe0, 0xe0));
    for (int y = rect.top(); y < rect.bottom(); y += Cell) {
        for (int x = rect.left() + ((y - rect.top()) / Cell % 2) * Cell; x < rect.right(); x += 2 * Cell)
            painter.fillRect(QRect(x, y, Cell, Cell).intersected(rect), QColor(0xb0, 0xb0, 0xb0));
    }
}

} // namespace

NotePreview::NotePreview(QWidget* parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("preview"));
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    connect(&m_timer, &QTimer::timeout, this, qOverload<>(&QWidget::update));
}

void NotePreview::setNote(const Note& note, const QImage& picture)
{
    m_note = note;
    m_picture = picture;
    restartMotion();
    update();
}

QSize NotePreview::windowSize() const
{
    if (const ClsWinData* window = m_note.objects.window(); window && window->hasSize())
        return QSize(int(window->WinLargeur), int(window->WinHauteur));
    const qreal dpi = screen() ? screen()->logicalDotsPerInch() : 96;
    const QSize fromSettings(twipsToPixels(registry().get(SettingNo::AlmLargeur).toInt(), dpi),
        twipsToPixels(registry().get(SettingNo::AlmHauteur).toInt(), dpi));
    return fromSettings.width() > 20 && fromSettings.height() > 20 ? fromSettings : QSize(400, 240);
}

void NotePreview::restartMotion()
{
    const ClsTxtData* text = m_note.objects.text();
    if (isVisible() && text && NoteRenderer::moves(*text)) {
        // Painting more often than the screen refreshes gains nothing; the offset follows the
        // elapsed time, so a slower timer shows the same speed.
        m_timer.start(std::max(NoteRenderer::stepMilliseconds(*text), 30));
        m_clock.start();
    } else {
        m_timer.stop();
    }
}

void NotePreview::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    restartMotion();
}

void NotePreview::hideEvent(QHideEvent* event)
{
    QWidget::hideEvent(event);
    m_timer.stop();
}

void NotePreview::paintEvent(QPaintEvent*)
{
    const QSize full = windowSize();
    QPointF offset;
    const ClsTxtData* text = m_note.objects.text();
    if (text && m_timer.isActive()) {
        const QRectF area = NoteRenderer::textArea(*text, full);
        const int flags = text->TxtWordWrap ? Qt::TextWordWrap : 0;
        const QSizeF extent = QFontMetricsF(NoteRenderer::font(*text)).boundingRect(area, flags, text->Texte).size();
        const qint64 steps = m_clock.elapsed() / NoteRenderer::stepMilliseconds(*text);
        offset = NoteRenderer::offsetAfter(*text, steps, area.size(), extent);
    }
    QImage image = NoteRenderer::render(full, m_note, m_picture, offset).convertToFormat(QImage::Format_ARGB32);
    const ClsWinData* window = m_note.objects.window();
    if (window && window->Decoupage) {
        const QRgb cut = NoteRenderer::colour(window->DecoupBkColor).rgb() & 0xffffff;
        for (int y = 0; y < image.height(); ++y) {
            auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
            for (int x = 0; x < image.width(); ++x) {
                if ((line[x] & 0xffffff) == cut)
                    line[x] = 0;
            }
        }
    }

    QPainter painter(this);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    const QSize shown = full.scaled(size() - QSize(4, 4), Qt::KeepAspectRatio);
    const QRect target(QPoint((width() - shown.width()) / 2, (height() - shown.height()) / 2), shown);
    paintCheckerboard(painter, target);
    if (window && window->TransparenceApply)
        painter.setOpacity(window->Transparence / 255.0);
    painter.drawImage(target, image);
    painter.setOpacity(1);
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawRect(target.adjusted(0, 0, -1, -1));
}
