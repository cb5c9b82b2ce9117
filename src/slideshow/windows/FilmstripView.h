#pragma once

#include <QListView>

// The filmstrip: the slides in one row of thumbnails. An icon view on its own moves a dragged
// thumbnail to wherever it is dropped without touching the order of the slides; here a drop of
// slides inserts them before the slide under the pointer (after it past its middle), through the
// model, so that what is seen is the order that plays.
class FilmstripView : public QListView
{
    Q_OBJECT

public:
    explicit FilmstripView(QWidget* parent = nullptr);

    /// The row a drop at `position` (viewport coordinates) inserts before.
    int dropRow(const QPoint& position) const;
    /// Moves the slides of a drag of slides to `position` (viewport coordinates), as a drop there
    /// does; false when `dragged` is not such a drag or nothing moved.
    bool dropSlides(const QMimeData* dragged, const QPoint& position);

protected:
    void dropEvent(QDropEvent* event) override;
};
