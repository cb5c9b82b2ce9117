#include "ThumbnailView.h"

#include "ClsImage.h"
#include "ThumbnailGridModel.h"

#include <QApplication>
#include <QDrag>
#include <QDragEnterEvent>
#include <QMimeData>
#include <QPainter>
#include <QScrollBar>

namespace {

constexpr int Margin = 6;

QSize scaledBox(int percent)
{
    return ClsImage::kThumbnailBox * (percent / 100.0);
}

} // namespace

ThumbnailDelegate::ThumbnailDelegate(QObject* parent)
    : QStyledItemDelegate(parent)
    , m_box(ClsImage::kThumbnailBox)
{ }

QSize ThumbnailDelegate::cellSize(const QFontMetrics& metrics) const
{
    return {m_box.width() + 2 * Margin, m_box.height() + metrics.height() + 3 * Margin};
}

QSize ThumbnailDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const
{
    return cellSize(option.fontMetrics);
}

void ThumbnailDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    // The style draws no selection behind an icon view's cells: the cell is filled here, in
    // the window's colours whether or not the grid has the focus.
    const bool selected = option.state & QStyle::State_Selected;
    const QPalette::ColorGroup group = !(option.state & QStyle::State_Enabled) ? QPalette::Disabled
        : (option.state & QStyle::State_Active)                                ? QPalette::Normal
                                                                               : QPalette::Inactive;
    const QRect panel = option.rect.adjusted(1, 1, -1, -1);
    if (selected) {
        painter->fillRect(panel, option.palette.brush(group, QPalette::Highlight));
    } else if (option.state & QStyle::State_MouseOver) {
        QColor hover = option.palette.color(group, QPalette::Highlight);
        hover.setAlpha(40);
        painter->fillRect(panel, hover);
    }
    if (option.state & QStyle::State_HasFocus) {
        QStyleOptionFocusRect focus;
        focus.QStyleOption::operator=(option);
        focus.rect = panel;
        focus.backgroundColor = option.palette.color(group, selected ? QPalette::Highlight : QPalette::Base);
        const QWidget* widget = option.widget;
        QStyle* style = widget ? widget->style() : QApplication::style();
        style->drawPrimitive(QStyle::PE_FrameFocusRect, &focus, painter, widget);
    }

    const QRect cell = option.rect;
    const QRect box(
        cell.left() + (cell.width() - m_box.width()) / 2, cell.top() + Margin, m_box.width(), m_box.height());
    // Asking for the picture is what has it read, when it is not at hand yet.
    const QPixmap pixmap = index.data(Qt::DecorationRole).value<QPixmap>();
    const bool missing = index.data(ThumbnailGridModel::MissingVolumeRole).toBool();
    const auto state = ThumbnailGridModel::ThumbState(index.data(ThumbnailGridModel::StateRole).toInt());
    painter->save();
    if (state == ThumbnailGridModel::ThumbState::Ready && !pixmap.isNull()) {
        QSize shown = pixmap.size();
        if (shown.width() > box.width() || shown.height() > box.height() || box.size() != ClsImage::kThumbnailBox)
            shown = pixmap.size().scaled(box.size(), Qt::KeepAspectRatio).boundedTo(pixmap.size() * 2);
        const QRect target(box.left() + (box.width() - shown.width()) / 2,
            box.top() + (box.height() - shown.height()) / 2, shown.width(), shown.height());
        painter->setRenderHint(QPainter::SmoothPixmapTransform, shown != pixmap.size());
        painter->drawPixmap(target, pixmap);
    } else {
        const QColor frame = option.palette.color(QPalette::Mid);
        painter->setPen(QPen(frame, 1, state == ThumbnailGridModel::ThumbState::Loading ? Qt::DotLine : Qt::SolidLine));
        const QRect inner = box.adjusted(box.width() / 8, box.height() / 8, -box.width() / 8, -box.height() / 8);
        painter->drawRect(inner);
        if (state == ThumbnailGridModel::ThumbState::Broken) {
            painter->drawLine(inner.topLeft(), inner.bottomRight());
            painter->drawLine(inner.topRight(), inner.bottomLeft());
        }
    }
    const QRect textRect(
        cell.left() + Margin / 2, box.bottom() + Margin, cell.width() - Margin, option.fontMetrics.height());
    QColor textColour = option.palette.color(group, selected ? QPalette::HighlightedText : QPalette::Text);
    if (missing)
        textColour = option.palette.color(QPalette::Disabled, QPalette::Text);
    painter->setPen(textColour);
    painter->setFont(option.font);
    const QString name = option.fontMetrics.elidedText(index.data().toString(), Qt::ElideMiddle, textRect.width());
    painter->drawText(textRect, Qt::AlignHCenter | Qt::AlignVCenter, name);
    painter->restore();
}

ThumbnailView::ThumbnailView(QWidget* parent)
    : QListView(parent)
    , m_delegate(new ThumbnailDelegate(this))
{
    setViewMode(QListView::IconMode);
    setMovement(QListView::Static); // moves change the order of the page, not free positions
    setResizeMode(QListView::Adjust);
    setUniformItemSizes(true);
    setWrapping(true);
    setSpacing(2);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setSelectionRectVisible(true);
    setItemDelegate(m_delegate);
    setDragEnabled(true);
    setAcceptDrops(true);
    setDragDropMode(QAbstractItemView::DragDrop);
    setDefaultDropAction(Qt::MoveAction);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    setZoom(100);
}

void ThumbnailView::setZoom(int percent)
{
    m_zoom = qBound(MinZoom, percent, MaxZoom);
    m_delegate->setBox(scaledBox(m_zoom));
    const QSize cell = m_delegate->cellSize(fontMetrics());
    setGridSize(cell + QSize(spacing() * 2, spacing() * 2));
    setIconSize(m_delegate->box());
    verticalScrollBar()->setSingleStep(cell.height() / 4);
    scheduleDelayedItemsLayout();
}

void ThumbnailView::setEmptyText(const QString& text)
{
    m_emptyText = text;
    viewport()->update();
}

QList<int> ThumbnailView::visibleRows() const
{
    QList<int> rows;
    if (!model())
        return rows;
    const QRect area = viewport()->rect();
    // The cells are the same size and laid out row after row: the first and last visible
    // ones bound the rows to look at.
    const QModelIndex first = indexAt(QPoint(gridSize().width() / 2, gridSize().height() / 2));
    const int start = first.isValid() ? first.row() : 0;
    for (int row = start; row < model()->rowCount(); ++row) {
        const QRect rect = visualRect(model()->index(row, 0));
        if (rect.top() > area.bottom())
            break;
        if (rect.intersects(area))
            rows.append(row);
    }
    return rows;
}

void ThumbnailView::startDrag(Qt::DropActions supportedActions)
{
    const QModelIndexList indexes = selectionModel() ? selectionModel()->selectedIndexes() : QModelIndexList();
    if (indexes.isEmpty() || !model())
        return;
    QMimeData* dragged = model()->mimeData(indexes);
    if (!dragged)
        return;
    auto* drag = new QDrag(this);
    drag->setMimeData(dragged);
    QPixmap face = currentIndex().data(Qt::DecorationRole).value<QPixmap>();
    if (face.isNull())
        face = indexes.first().data(Qt::DecorationRole).value<QPixmap>();
    if (!face.isNull()) {
        face = face.scaled(QSize(96, 96), Qt::KeepAspectRatio, Qt::SmoothTransformation);
        drag->setPixmap(face);
        drag->setHotSpot(QPoint(face.width() / 2, face.height() / 2));
    }
    // Whatever the drop did (a new place in this grid, another page) the receiver has done it:
    // nothing is removed here.
    drag->exec(supportedActions & (Qt::CopyAction | Qt::MoveAction), Qt::MoveAction);
}

int ThumbnailView::dropRowAt(const QPoint& position) const
{
    const QModelIndex over = indexAt(position);
    if (!over.isValid()) {
        // Past the last cell (or in the gap after a line of cells): the end, when below the
        // last cell's top; else before the cell nearest on the left.
        const int count = model()->rowCount();
        if (count == 0)
            return 0;
        const QRect last = visualRect(model()->index(count - 1, 0));
        if (position.y() > last.top())
            return count;
        for (int dx = 0; dx < gridSize().width(); dx += 8) {
            const QModelIndex left = indexAt(position - QPoint(dx, 0));
            if (left.isValid())
                return left.row() + 1;
        }
        return count;
    }
    const QRect rect = visualRect(over);
    return position.x() < rect.center().x() ? over.row() : over.row() + 1;
}

bool ThumbnailView::acceptDrag(QDropEvent* event)
{
    auto* grid = qobject_cast<ThumbnailGridModel*>(model());
    if (!grid || !grid->canDropMimeData(event->mimeData(), event->proposedAction(), -1, 0, {})) {
        event->ignore();
        return false;
    }
    const bool ours = ThumbnailGridModel::readPictures(event->mimeData(), nullptr, nullptr);
    if (ours) {
        if (!m_reorderable || event->source() != this) {
            event->ignore();
            return false;
        }
        event->setDropAction(Qt::MoveAction);
        event->accept();
        return true;
    }
    event->setDropAction(Qt::CopyAction);
    event->accept();
    return true;
}

void ThumbnailView::dragEnterEvent(QDragEnterEvent* event)
{
    acceptDrag(event);
}

void ThumbnailView::dragMoveEvent(QDragMoveEvent* event)
{
    const int before = m_dropBefore;
    if (acceptDrag(event) && ThumbnailGridModel::readPictures(event->mimeData(), nullptr, nullptr))
        m_dropBefore = dropRowAt(event->position().toPoint());
    else
        m_dropBefore = -1;
    if (before != m_dropBefore)
        viewport()->update();
    // Near the edges the grid scrolls, as a list does while dragging.
    const int edge = 24;
    const int y = int(event->position().y());
    if (y < edge)
        verticalScrollBar()->setValue(verticalScrollBar()->value() - verticalScrollBar()->singleStep());
    else if (y > viewport()->height() - edge)
        verticalScrollBar()->setValue(verticalScrollBar()->value() + verticalScrollBar()->singleStep());
}

void ThumbnailView::dragLeaveEvent(QDragLeaveEvent* event)
{
    m_dropBefore = -1;
    viewport()->update();
    event->accept();
}

void ThumbnailView::dropEvent(QDropEvent* event)
{
    const int before = dropRowAt(event->position().toPoint());
    m_dropBefore = -1;
    viewport()->update();
    if (!acceptDrag(event))
        return;
    if (!model()->dropMimeData(event->mimeData(), event->dropAction(), before, 0, {}))
        event->ignore();
}

void ThumbnailView::paintEvent(QPaintEvent* event)
{
    QListView::paintEvent(event);
    QPainter painter(viewport());
    if (model() && model()->rowCount() == 0 && !m_emptyText.isEmpty()) {
        painter.setPen(palette().color(QPalette::Disabled, QPalette::Text));
        painter.drawText(
            viewport()->rect().adjusted(24, 24, -24, -24), Qt::AlignCenter | Qt::TextWordWrap, m_emptyText);
        return;
    }
    if (m_dropBefore < 0 || !model())
        return;
    const int count = model()->rowCount();
    if (count == 0)
        return;
    // A bar between two cells: on the left of the cell the pictures go before, or on the right
    // of the last one.
    const bool atEnd = m_dropBefore >= count;
    const QRect cell = visualRect(model()->index(atEnd ? count - 1 : m_dropBefore, 0));
    const int x = atEnd ? cell.right() + spacing() : cell.left() - spacing();
    painter.fillRect(QRect(x - 1, cell.top() + 4, 3, cell.height() - 8), palette().color(QPalette::Highlight));
}
