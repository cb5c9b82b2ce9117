#pragma once

#include <QListView>
#include <QStyledItemDelegate>

// Draws one cell of the thumbnail grid: the thumbnail centred in its box (scaled with the zoom),
// a light frame while it is being read, a crossed frame when it cannot be, and the file's name
// below, greyed for a picture whose disk is not connected.
class ThumbnailDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    explicit ThumbnailDelegate(QObject* parent = nullptr);

    /// The box a thumbnail fills (the stored thumbnails' box, scaled by the zoom).
    void setBox(QSize box) { m_box = box; }
    QSize box() const { return m_box; }
    /// The size of every cell: the box, a line of text and margins.
    QSize cellSize(const QFontMetrics& metrics) const;

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

private:
    QSize m_box;
};

// The thumbnail grid: an icon view of same-size cells over a ThumbnailGridModel. Pictures are
// dragged to another page of the tree or, within the grid, to a new place (a line shows where
// they will go); files dropped from a file manager are handed to the model. A text stands in the
// empty grid to say what to do.
class ThumbnailView : public QListView
{
    Q_OBJECT

public:
    explicit ThumbnailView(QWidget* parent = nullptr);

    /// Zoom in per cent of the stored thumbnails' size (50 to 200).
    void setZoom(int percent);
    int zoom() const { return m_zoom; }
    /// What the empty grid says.
    void setEmptyText(const QString& text);
    /// Whether pictures can be moved by dragging within the grid.
    void setReorderable(bool reorderable) { m_reorderable = reorderable; }
    /// The rows whose cells are on screen now, in order.
    QList<int> visibleRows() const;

    static constexpr int MinZoom = 50;
    static constexpr int MaxZoom = 200;

protected:
    void startDrag(Qt::DropActions supportedActions) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    bool acceptDrag(QDropEvent* event);
    int dropRowAt(const QPoint& position) const;

    ThumbnailDelegate* m_delegate = nullptr;
    QString m_emptyText;
    int m_zoom = 100;
    int m_dropBefore = -1; // where dragged pictures would go; -1 when no move is shown
    bool m_reorderable = true;
};
