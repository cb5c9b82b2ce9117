#include "SlideRenderer.h"

#include <QFileInfo>
#include <QPainter>

#include <algorithm>

namespace {

// Captions keep a little air from the edge even with no margin, so no letter is cut.
constexpr int CaptionPadding = 4;

int twipsToPixels(int twips, const QPaintDevice* device)
{
    const int dpi = device ? device->logicalDpiY() : 96;
    return twips * dpi / 1440;
}

Qt::Alignment horizontal(int align)
{
    switch (align) {
    case 0:
        return Qt::AlignLeft;
    case 1:
        return Qt::AlignRight;
    default:
        return Qt::AlignHCenter;
    }
}

} // namespace

SlideRenderer::SlideRenderer(RenderOptions options)
    : m_options(std::move(options))
{ }

QSize SlideRenderer::shownSize(QSize picture, QSize screen)
{
    if (picture.isEmpty() || screen.isEmpty())
        return {};
    QSize shown = picture.scaled(screen, Qt::KeepAspectRatio);
    return shown.expandedTo(QSize(1, 1));
}

QImage SlideRenderer::emptyScreen(QSize screen) const
{
    QImage image(screen, QImage::Format_RGB32);
    image.fill(m_options.background);
    return image;
}

QImage SlideRenderer::composeSlide(
    const QImage& picture, const PlannedSlide& slide, QSize screen, const QString& placeholder) const
{
    QImage layer = emptyScreen(screen);
    if (layer.isNull())
        return layer;
    QPainter painter(&layer);
    const QRect whole(QPoint(0, 0), screen);
    if (!picture.isNull()) {
        const QSize size = shownSize(picture.size(), screen);
        QRect placed(QPoint(0, 0), size);
        placed.moveCenter(whole.center());
        if (picture.size() == size) {
            painter.drawImage(placed.topLeft(), picture);
        } else {
            painter.setRenderHint(QPainter::SmoothPixmapTransform);
            painter.drawImage(placed, picture);
        }
    } else {
        // A grey card in the middle, the missing file named on it.
        QRect card(0, 0, screen.width() * 2 / 3, screen.height() / 3);
        card.moveCenter(whole.center());
        painter.fillRect(card, QColor(48, 48, 48));
        QFont font = painter.font();
        font.setPixelSize(std::max(12, screen.height() / 40));
        painter.setFont(font);
        painter.setPen(QColor(230, 230, 230));
        painter.drawText(card.adjusted(16, 16, -16, -16), Qt::AlignCenter | Qt::TextWordWrap, placeholder);
    }
    if (!slide.caption.text.isEmpty())
        paintCaption(painter, whole, slide.caption, false);
    if (m_options.showFileName && !slide.picture.isEmpty()) {
        const QString name = m_options.fileNameFull ? slide.picture : QFileInfo(slide.picture).fileName();
        paintCaption(painter, whole, {name, m_options.fileNameStyle}, true);
    }
    return layer;
}

void SlideRenderer::paintCaption(QPainter& painter, const QRect& area, const Caption& caption, bool atTop)
{
    const CaptionStyle& style = caption.style;
    QFont font(style.fontName.isEmpty() ? painter.font().family() : style.fontName);
    font.setPointSizeF(std::clamp(style.pointSize, 1.0, 400.0));
    font.setBold(style.bold);
    font.setItalic(style.italic);
    font.setUnderline(style.underline);
    painter.save();
    painter.setFont(font);
    const int margin = twipsToPixels(style.marginTwips, painter.device()) + CaptionPadding;
    const QRect room = area.adjusted(margin, margin, -margin, -margin);
    const int flags = int(horizontal(style.align) | (atTop ? Qt::AlignTop : Qt::AlignBottom)) | Qt::TextWordWrap;
    const QRect text = painter.boundingRect(room, flags, caption.text);
    if (style.opaque)
        painter.fillRect(text.adjusted(-CaptionPadding, -CaptionPadding, CaptionPadding, CaptionPadding), style.back);
    painter.setPen(style.fore);
    painter.drawText(room, flags, caption.text);
    painter.restore();
}

void SlideRenderer::paintTransition(
    QPainter& painter, const QRect& target, const QImage& from, const QImage& to, double progress) const
{
    progress = std::clamp(progress, 0.0, 1.0);
    painter.save();
    if (progress >= 1.0) {
        painter.drawImage(target, to);
    } else if (m_options.throughBlack) {
        painter.fillRect(target, Qt::black);
        painter.setOpacity(progress < 0.5 ? 1.0 - 2 * progress : 2 * progress - 1.0);
        painter.drawImage(target, progress < 0.5 ? from : to);
    } else {
        painter.drawImage(target, from);
        painter.setOpacity(progress);
        painter.drawImage(target, to);
    }
    painter.restore();
}

QImage SlideRenderer::frame(const QImage& from, const QImage& to, double progress) const
{
    QImage image(to.size(), QImage::Format_RGB32);
    if (image.isNull())
        return image;
    QPainter painter(&image);
    paintTransition(painter, image.rect(), from, to, progress);
    return image;
}
