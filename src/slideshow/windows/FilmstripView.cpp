#include "FilmstripView.h"

#include "SlideStripModel.h"

#include <QDropEvent>
#include <QMimeData>

FilmstripView::FilmstripView(QWidget* parent)
    : QListView(parent)
{ }

int FilmstripView::dropRow(const QPoint& position) const
{
    const QModelIndex index = indexAt(position);
    if (!index.isValid()) {
        // Left of the first thumbnail: the start; anywhere else off a thumbnail: the end.
        const QModelIndex first = model() ? model()->index(0, 0) : QModelIndex();
        return first.isValid() && position.x() < visualRect(first).left() ? 0 : (model() ? model()->rowCount() : 0);
    }
    return index.row() + (position.x() > visualRect(index).center().x() ? 1 : 0);
}

bool FilmstripView::dropSlides(const QMimeData* dragged, const QPoint& position)
{
    if (!model() || !dragged || !dragged->hasFormat(QString::fromLatin1(SlideStripModel::SlidesMime)))
        return false;
    return model()->dropMimeData(dragged, Qt::MoveAction, dropRow(position), 0, {});
}

void FilmstripView::dropEvent(QDropEvent* event)
{
    const QMimeData* dropped = event->mimeData();
    if (!dropped || !dropped->hasFormat(QString::fromLatin1(SlideStripModel::SlidesMime))) {
        QListView::dropEvent(event); // files from a file manager: the model hands them on
        return;
    }
    dropSlides(dropped, event->position().toPoint());
    // Copy, not Move: the slides were moved already, nothing is to be removed from where they were.
    event->setDropAction(Qt::CopyAction);
    event->accept();
    stopAutoScroll();
    setState(NoState);
    viewport()->update();
}
