#pragma once

#include <QAbstractListModel>
#include <QCache>
#include <QPixmap>
#include <QSet>

#include <memory>

class ProjectEditing;
class SlideThumbnailer;

// The open project's slides for the filmstrip: one row per slide, its thumbnail asked for only when
// a view draws the row, and kept in a cache bounded in bytes. Dragging rows moves slides; files
// dropped from a file manager are handed on to the window. The slides themselves live in
// ProjectEditing: this model only shows them.
class SlideStripModel : public QAbstractListModel
{
    Q_OBJECT

public:
    enum Role
    {
        PathRole = Qt::UserRole + 1, // QString: the picture
        StateRole,                   // int: State
    };
    enum class State
    {
        Loading,
        Ready,
        Broken, // missing from the disk, or not a picture that can be decoded
    };

    /// The thumbnails' box in pixels.
    static constexpr QSize ThumbBox {120, 90};
    /// The format of a drag of slides inside the filmstrip: their rows.
    static constexpr const char* SlidesMime = "application/x-tapisol-slides";

    explicit SlideStripModel(ProjectEditing& editing, QObject* parent = nullptr);
    ~SlideStripModel() override;

    /// How many thumbnails were asked of the decoder so far.
    int loadsRequested() const { return m_loadsRequested; }
    /// Whether the row's thumbnail is decoded (or known broken).
    bool isSettled(int row) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    bool canDropMimeData(
        const QMimeData* data, Qt::DropAction action, int row, int column, const QModelIndex& parent) const override;
    bool dropMimeData(
        const QMimeData* data, Qt::DropAction action, int row, int column, const QModelIndex& parent) override;
    Qt::DropActions supportedDropActions() const override;

signals:
    /// Files or folders dropped from a file manager, to be added before `row`.
    void filesDropped(const QStringList& paths, int row);
    /// Slides were dragged to another place; `rows` are where they stand now.
    void movedByDrag(const QList<int>& rows);

private:
    void loaded(const QString& path, const QImage& image, const QString& error);

    ProjectEditing& m_editing;
    std::unique_ptr<SlideThumbnailer> m_thumbnailer;
    mutable QCache<QString, QPixmap> m_cache; // cost: kilobytes
    mutable QSet<QString> m_pending;
    QHash<QString, QString> m_broken; // path -> why
    mutable int m_loadsRequested = 0;
};
