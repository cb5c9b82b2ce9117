#pragma once

#include "AlbumTypes.h"

#include <QList>
#include <QString>

#include <optional>

class ClsMdb;

// The album store: albums, their pages (pages may hold pages), the pictures on the pages, the
// volumes that hold them, and the users' sort orders, in the album tables of Tapisol.mdb.
//
// Every value is bound, never pasted into SQL: a path with a quote, `%`, `_` or `*` is data. Paths
// compare exactly; a prefix search matches its prefix literally. Album, page and order names
// ignore case (ASCII), as their columns do. Each operation traces its entry and its exit
// ("ClsMdb <operation>, Ok" or ", Err"). An operation that writes several rows does it in one
// IMMEDIATE transaction; any failure (a unique index refusing a duplicate, the file held by another
// program, a full disk) leaves the tables as they were, returns false or nothing, and sets `error`
// to words the user understands (a lock or a full disk is said to be a passing state).
namespace AlbumStore {

// --- Albums -----------------------------------------------------------------------------------

/// Every album, by name.
QList<AlbumRow> albums(ClsMdb& db);
std::optional<AlbumRow> album(ClsMdb& db, qint64 key);
/// Adds an album created and modified now; its key, or nothing. Two albums may share a name.
std::optional<qint64> addAlbum(
    ClsMdb& db, const QString& nom, int indexImage = 0, int stateOpen = 0, QString* error = nullptr);
/// Sets the name, index image and state, and DateModif to now.
bool updateAlbum(ClsMdb& db, qint64 key, const QString& nom, int indexImage, int stateOpen, QString* error = nullptr);
/// Deletes the album: its page placements, then every page left without a placement (with its
/// picture links), then its row. Pictures stay in the store.
bool deleteAlbum(ClsMdb& db, qint64 key, QString* error = nullptr);

// --- Pages ------------------------------------------------------------------------------------

/// The placements of the album's pages ("SELECT * FROM AlbumPagesRel WHERE KeyAlbum = ").
QList<PagePlacement> pagesOfAlbum(ClsMdb& db, qint64 album);
std::optional<PageRow> page(ClsMdb& db, qint64 key);
/// The placements of a page in every album.
QList<PagePlacement> placementsOfPage(ClsMdb& db, qint64 page);
/// Adds a page and its placement under `parent` (0: the album's top level); its key, or nothing.
std::optional<qint64> addPage(ClsMdb& db, qint64 album, qint64 parent, const QString& nom, int indexImage = 0,
    int stateOpen = 0, QString* error = nullptr);
/// Places an existing page in an album; refused when the page is already placed in that album.
bool placePage(ClsMdb& db, qint64 album, qint64 page, qint64 parent, QString* error = nullptr);
/// Moves a page of an album under another parent (not under itself or its own sub-pages).
bool movePage(ClsMdb& db, qint64 album, qint64 page, qint64 newParent, QString* error = nullptr);
bool updatePage(ClsMdb& db, qint64 key, const QString& nom, int indexImage, int stateOpen, QString* error = nullptr);
/// Deletes the page: its picture links, its placements, its row.
bool deletePage(ClsMdb& db, qint64 key, QString* error = nullptr);
/// Deletes the page and, first, every page under it in `album`, all in one transaction.
bool deletePageTree(ClsMdb& db, qint64 album, qint64 page, QString* error = nullptr);
/// The page and every page under it in `album`, depth first, the page itself first.
QList<qint64> pageTree(ClsMdb& db, qint64 album, qint64 page);

// --- Pictures ---------------------------------------------------------------------------------

/// The keys of the pictures on a page, in the order of their links.
QList<qint64> pictureKeysOfPage(ClsMdb& db, qint64 page);
/// The pictures on a page, in the order of their links (one query; for the album window).
QList<PictureRow> picturesOfPage(ClsMdb& db, qint64 page);
std::optional<PictureRow> picture(ClsMdb& db, qint64 key);
/// The picture of that volume and path (index `VolPath`).
std::optional<PictureRow> findPicture(ClsMdb& db, quint32 volSerial, const QString& path);
/// The pictures whose path is exactly `path` (any volume), or starts with it when `prefix`.
QList<PictureRow> findPictures(ClsMdb& db, const QString& path, bool prefix = false);
/// The picture whose thumbnail is `thumbPath`.
std::optional<PictureRow> findPictureByThumb(ClsMdb& db, const QString& thumbPath);
bool isPictureOnPage(ClsMdb& db, qint64 page, qint64 picture);
/// Finds or adds the picture (volume, path), then links it to the page unless it already lies
/// there. A stale row holding the same thumbnail is removed first, with its links. Its key, or
/// nothing.
std::optional<qint64> addPictureToPage(ClsMdb& db, qint64 page, quint32 volSerial, const QString& path,
    const QString& thumbPath, const QDateTime& imageDateTime, QString* error = nullptr);
/// Finds or adds the picture (volume, path) on no page, with `thumbPath` as its thumbnail when it
/// is new; a stale row holding the same thumbnail is removed first, with its links. Its key, or
/// nothing. (AlbumStorePictures.cpp)
std::optional<qint64> addPicture(ClsMdb& db, quint32 volSerial, const QString& path, const QString& thumbPath,
    const QDateTime& imageDateTime, QString* error = nullptr);
bool updatePicture(ClsMdb& db, const PictureRow& picture, QString* error = nullptr);
/// Deletes the picture: its links and its row (one transaction), then its thumbnail file. A
/// thumbnail already gone is no error.
bool deletePicture(ClsMdb& db, qint64 key, QString* error = nullptr);
bool removePictureFromPage(ClsMdb& db, qint64 page, qint64 picture, QString* error = nullptr);
/// Every picture (for the cleaning), by key.
QList<PictureRow> allPictures(ClsMdb& db);
int pictureCount(ClsMdb& db);

// --- Volumes ----------------------------------------------------------------------------------

std::optional<VolumeRow> volume(ClsMdb& db, quint32 keyVol);
QList<VolumeRow> volumes(ClsMdb& db);
/// Adds the volume or updates its kind and name.
bool storeVolume(ClsMdb& db, const VolumeRow& volume, QString* error = nullptr);

// --- Sort orders ------------------------------------------------------------------------------

/// The orders of one family of items of a page, by description.
QList<SortOrder> sortOrders(ClsMdb& db, int famille, qint64 page);
/// The rows of an order, by position.
QList<SortRow> sortRows(ClsMdb& db, qint64 order);
std::optional<qint64> addSortOrder(ClsMdb& db, int famille, qint64 page, const QString& description,
    QString* error = nullptr);
std::optional<qint64> addSortRow(ClsMdb& db, qint64 order, int ordre, qint64 item, QString* error = nullptr);
/// The order of that family and description (index `Famille`).
std::optional<SortOrder> findSortOrder(ClsMdb& db, int famille, const QString& description);
/// Deletes the order's rows, then the order.
bool deleteSortOrder(ClsMdb& db, qint64 order, QString* error = nullptr);
bool deleteSortRow(ClsMdb& db, qint64 key, QString* error = nullptr);
/// Writes a whole order (found by family, page and description, or added) with `items` as its
/// rows in that order, replacing its old rows, in one transaction; its key.
std::optional<qint64> writeSortOrder(ClsMdb& db, int famille, qint64 page, const QString& description,
    const QList<qint64>& items, QString* error = nullptr);

} // namespace AlbumStore
