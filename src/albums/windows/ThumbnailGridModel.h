#pragma once

#include "AlbumTypes.h"

#include <QAbstractListModel>
#include <QCache>
#include <QHash>
#include <QPixmap>
#include <QSet>

#include <memory>

class ThumbnailLoader;

// The pictures of one album page for the thumbnail grid. The page's rows come in one query; the
// thumbnail files are read only for the rows a view asks to draw, on a worker thread (our own
// JPEG files, read with QImageReader), the newest request first so that the screen the user looks
// at fills before the ones scrolled past. Decoded thumbnails live in a cache bounded in bytes, so
// a page of thousands of pictures costs the same memory as a page of a few hundred.
//
// A picture whose volume is not mounted is shown greyed, with the volume named in its tool tip.
// Rows can be ordered by link, name, date or a user order, and moved by dragging; dropped files
// (text/uri-list) are handed on to the window.
class ThumbnailGridModel : public QAbstractListModel
{
    Q_OBJECT

public:
    enum Role
    {
        KeyRole = Qt::UserRole + 1, // qint64: AlbumPictures.KeyAuto
        PathRole,                   // QString
        StateRole,                  // int: ThumbState
        MissingVolumeRole,          // bool
        DateRole,                   // QDateTime: ImageDateTime
    };
    enum class ThumbState
    {
        Loading,
        Ready,
        Broken, // no thumbnail file, or one that cannot be read
    };
    enum class Order
    {
        Added, // the order of the page's links
        Name,
        Date,
        User, // an order the user made by dragging
    };

    /// The format of a drag of pictures: the page they come from, then their keys.
    static constexpr const char* PicturesMime = "application/x-tapisol-pictures";

    explicit ThumbnailGridModel(QObject* parent = nullptr);
    ~ThumbnailGridModel() override;

    /// Shows the pictures of `page`, as read from the store (link order); `volumes` names the
    /// volumes for the pictures of a volume that is not mounted.
    void setPictures(qint64 page, const QList<PictureRow>& pictures, const QList<VolumeRow>& volumes);
    void clear();
    qint64 page() const { return m_page; }

    /// Adds a picture at the end (a picture the adding has just stored), unless it is there.
    void appendPicture(const PictureRow& picture);
    /// Takes pictures out of the grid (removed from the page, deleted from the store).
    void removePictures(const QSet<qint64>& keys);

    /// Sorts the rows; for Order::User, `userOrder` gives the keys in order and the pictures it
    /// does not name follow in link order.
    void sortBy(Order order, bool descending = false, const QList<qint64>& userOrder = {});
    Order order() const { return m_order; }
    /// Moves the pictures `keys` so that they stand before row `beforeRow` (rowCount() for the
    /// end), keeping their order; true when the order changed.
    bool moveKeys(const QList<qint64>& keys, int beforeRow);

    const PictureRow& pictureAt(int row) const { return m_items.at(row).picture; }
    /// The row of a picture, -1 when it is not shown.
    int rowOfKey(qint64 key) const { return m_rows.value(key, -1); }
    /// The keys in the order shown.
    QList<qint64> keys() const;
    /// How many pictures lie on a volume that is not mounted.
    int missingCount() const { return m_missing; }
    /// The name of a missing volume for messages, or "" when the picture's volume is mounted.
    QString missingVolumeText(int row) const;

    /// Reads the mount table again: pictures whose volume came or went change their look.
    void refreshVolumes();

    /// The cache's bound in kilobytes (32 MB unless set: some 400 thumbnails, several screens full).
    void setCacheLimit(int kilobytes);
    int cacheLimit() const { return int(m_cache.maxCost()); }
    /// Kilobytes of decoded thumbnails held now.
    int cacheUsed() const { return int(m_cache.totalCost()); }
    /// The thumbnail decoded and at hand (or known broken), so a view can draw it.
    bool isSettled(int row) const;
    /// The cached thumbnail of a row, null when it is not at hand (asks for nothing).
    QPixmap cachedThumbnail(int row) const;
    /// How many thumbnail files have been asked of the worker since the page was shown.
    int loadsRequested() const { return m_loadsRequested; }

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
    Qt::DropActions supportedDragActions() const override;

    /// The keys and source page of a drag of pictures, nothing when `data` is not one.
    static bool readPictures(const QMimeData* data, qint64* fromPage, QList<qint64>* keys);

signals:
    /// Files or folders dropped from a file manager onto the grid.
    void filesDropped(const QStringList& paths);
    /// The user moved pictures by dragging: the order shown is now the user's.
    void movedByUser();

private:
    struct Item
    {
        PictureRow picture;
        QString name;  // the file name, for the label and the sort
        int added = 0; // position among the page's links
        bool missing = false;
        bool broken = false;
        QString brokenWhy;
    };

    void requestLoad(int row) const;
    void loaded(quint64 generation, qint64 key, const QImage& image, const QString& error);
    void reindex();
    void countMissing();
    QString volumeText(quint32 serial) const;

    std::unique_ptr<ThumbnailLoader> m_loader;
    QList<Item> m_items;
    QHash<qint64, int> m_rows; // picture key -> row
    QHash<quint32, VolumeRow> m_volumes;
    qint64 m_page = 0;
    Order m_order = Order::Added;
    quint64 m_generation = 1; // a new page: the loads still queued for the old one are dropped
    int m_missing = 0;
    int m_nextAdded = 0;
    mutable QCache<qint64, QPixmap> m_cache; // cost: kilobytes
    mutable QSet<qint64> m_pending;
    mutable int m_loadsRequested = 0;
};
