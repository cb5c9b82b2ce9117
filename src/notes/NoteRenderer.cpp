#include "NoteRenderer.h"

#include <QBitmap>
#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>

#include <cmath>

namespace NoteRenderer {

namespace {

constexpr qreal Margin = 8;

QRectF measuredText(const ClsTxtData& text, const QRectF& area)
{
    const QFontMetricsF metrics(font(text));
    const int flags = int(alignment(text.TxtAlign)) | (text.TxtWordWrap ? Qt::TextWordWrap : 0);
    return metrics.boundingRect(area, flags, text.Texte);
}

// One coordinate of a moving text: `travel` pixels done along a track of `track` pixels for a
// text `length` long, starting where the text stands.
qreal along(qint64 travel, qreal track, qreal length, bool bounce)
{
    const qreal span = track + length;
    if (span <= 0)
        return 0;
    if (!bounce)
        return std::fmod(qreal(travel), span);
    const qreal room = std::max<qreal>(1, std::abs(track - length));
    const qreal phase = std::fmod(qreal(travel), 2 * room);
    return phase <= room ? phase : 2 * room - phase;
}

} // namespace

QColor colour(qint32 stored)
{
    const quint32 value = quint32(stored);
    return QColor(int(value & 0xff), int((value >> 8) & 0xff), int((value >> 16) & 0xff));
}

qint32 stored(const QColor& colour)
{
    return qint32(quint32(colour.red()) | quint32(colour.green()) << 8 | quint32(colour.blue()) << 16);
}

QFont font(const ClsTxtData& text)
{
    QFont font(text.TxtFontName.isEmpty() ? QStringLiteral("Sans Serif") : text.TxtFontName);
    font.setPointSizeF(text.TxtFontSize > 0 ? double(text.TxtFontSize) : 12.0);
    font.setBold(text.TxtFontBold);
    font.setItalic(text.TxtFontItalic);
    font.setUnderline(text.TxtFontUnderline);
    return font;
}

Qt::Alignment alignment(int code)
{
    if (code < 1 || code > 9)
        code = 1;
    const int row = (code - 1) / 3;
    const int column = (code - 1) % 3;
    const Qt::Alignment vertical[] = {Qt::AlignTop, Qt::AlignVCenter, Qt::AlignBottom};
    const Qt::Alignment horizontal[] = {Qt::AlignLeft, Qt::AlignHCenter, Qt::AlignRight};
    return vertical[row] | horizontal[column];
}

QRectF textArea(const ClsTxtData& text, const QSizeF& size)
{
    if (text.TxtDimX > 0 && text.TxtDimY > 0)
        return QRectF(text.TxtPosX, text.TxtPosY, text.TxtDimX, text.TxtDimY);
    return QRectF(QPointF(0, 0), size).adjusted(Margin, Margin, -Margin, -Margin);
}

bool moves(const ClsTxtData& text)
{
    return (text.TxtMoving == 0 || text.TxtMoving == 2) && text.TxtSclAmount > 0 && !text.Texte.isEmpty();
}

int stepMilliseconds(const ClsTxtData& text)
{
    return std::max(10, int(text.TxtInterval) * 10);
}

QPointF offsetAfter(const ClsTxtData& text, qint64 steps, const QSizeF& area, const QSizeF& extent)
{
    if (!moves(text))
        return {};
    const bool bounce = text.TxtMoving == 2;
    const qint64 travel = steps * text.TxtSclAmount;
    switch (text.TxtDirection) {
    case 0: // to the left
        return {-along(travel, area.width(), extent.width(), bounce), 0};
    case 1:
        return {along(travel, area.width(), extent.width(), bounce), 0};
    case 3:
        return {0, along(travel, area.height(), extent.height(), bounce)};
    default: // upwards
        return {0, -along(travel, area.height(), extent.height(), bounce)};
    }
}

void paint(QPainter& painter, const QRect& rect, const Note& note, const QImage& picture, QPointF offset)
{
    static const ClsWinData plainWindow {NoteDefaults {}};
    const ClsWinData& window = note.objects.window() ? *note.objects.window() : plainWindow;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);
    painter.fillRect(rect, window.WinBackColorApply ? colour(window.WinBackColor) : QColor(Qt::white));
    if (!picture.isNull()) {
        const QSize fitted = picture.size().scaled(rect.size(), Qt::KeepAspectRatio);
        const QRect target(
            rect.topLeft() + QPoint((rect.width() - fitted.width()) / 2, (rect.height() - fitted.height()) / 2),
            fitted);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(target, picture);
    }
    if (const ClsTxtData* text = note.objects.text(); text && !text->Texte.isEmpty()) {
        const QRectF area = textArea(*text, rect.size()).translated(rect.topLeft());
        painter.setClipRect(area.adjusted(-2, -2, 2, 2));
        painter.setFont(font(*text));
        const int flags = int(alignment(text->TxtAlign)) | (text->TxtWordWrap ? Qt::TextWordWrap : 0);
        const QRectF moved = area.translated(offset);
        if (text->TxtShowShadow && text->TxtShadowOffset > 0) {
            painter.setPen(colour(text->TxtShadowColor));
            painter.drawText(moved.translated(text->TxtShadowOffset, text->TxtShadowOffset), flags, text->Texte);
        }
        painter.setPen(colour(text->TxtForeColor));
        painter.drawText(moved, flags, text->Texte);
        painter.setClipping(false);
        if (text->TxtBorder == 1 || text->TxtBorder == 2) {
            const qreal width = text->TxtBorder == 1 ? 1 : 3;
            painter.setPen(QPen(colour(text->TxtForeColor), width));
            painter.setBrush(Qt::NoBrush);
            painter.drawRect(area.adjusted(width / 2, width / 2, -width / 2, -width / 2));
        }
    }
    painter.restore();
}

QImage render(const QSize& size, const Note& note, const QImage& picture, QPointF offset)
{
    QImage image(size, QImage::Format_RGB32);
    QPainter painter(&image);
    paint(painter, QRect(QPoint(0, 0), size), note, picture, offset);
    return image;
}

QRegion shape(const QImage& rendered, const QColor& cutOut)
{
    // Anti-aliased edges of a drawn text are never exactly the cut-out colour, so they stay. The
    // bitmap's region is the complement of the in-colour mask (checked by the tests).
    const QImage mask = rendered.createMaskFromColor(cutOut.rgb(), Qt::MaskInColor);
    return QRegion(QBitmap::fromImage(mask));
}

} // namespace NoteRenderer
