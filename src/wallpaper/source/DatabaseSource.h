#pragma once

#include "AlbumTypes.h"
#include "SourceList.h"
#include "SourceSelection.h"

#include <QHash>
#include <QString>

namespace SQLite {
class Database;
} // namespace SQLite

// Builds the entry list of an album, a page or a slideshow project from the database. Plain
// functions on a connection of the caller's, so that PictureSource runs them on its worker with a
// read-only connection of its own while the tray goes on with the program's.
//
// An album's list has the shape of a folder's: the album's entry (marker "R"), then, depth first,
// each page's entry (marker "D") followed by its pictures and then its sub-pages. Pages under one
// parent come in the order they were placed; pictures in the order they were put on the page. A
// page whose parent is not in the album sits at the top. A page source starts at that page and
// takes the pages under it. A project's list is its entry followed by its slides by `Ordre`.
// Pictures are keyed by their full path; the same picture on two pages is listed twice (the
// shown-pictures table, keyed by path, shows it once per round).
namespace DatabaseSource {

/// What one reading found.
struct Result
{
    SourceList list;
    bool found = false;                // the album (with the page) or the project exists
    QString name;                      // its name, for the trace
    int pages = 0;                     // page entries listed
    int pictures = 0;                  // picture entries listed
    QHash<quint32, VolumeRow> volumes; // the volumes named by the pictures, as `VolumeDesc` knows them
    quint64 contentHash = 0;           // changes when the entries change, so that a list read again can be kept
    QString error;                     // the reading failed (the file busy or damaged): the list says nothing
    qint64 elapsedMs = 0;
};

/// A page and how deep it lies: 1 for a page at the album's top, 2 under it, and so on.
struct PageDepth
{
    qint64 page = 0;
    int depth = 0;
    bool operator==(const PageDepth&) const = default;
};

/// The pages of an album depth first, from its placements (page, parent) in the order they were
/// placed. From page `from` (0: the whole album) that page comes first, at depth 0, then the pages
/// under it; empty when `from` is not a page of the album. A page whose parent is not in the album
/// sits at the top; pages whose parents loop (a damaged file) are each listed once, after the rest.
QList<PageDepth> pageOrder(const QList<std::pair<qint64, qint64>>& placements, qint64 from = 0);

/// The list of an album (page 0) or of a page of it.
Result readAlbum(SQLite::Database& db, qint64 album, qint64 page);

/// The list of a project's slides.
Result readProject(SQLite::Database& db, qint64 project);

/// Reads the list `choice` names (an album, a page or a project) from the database file at `path`
/// through a read-only connection of its own, in one read transaction. Safe on any thread.
Result read(const QString& path, const SourceSelection& choice);

/// A number that moves with every commit to the file, from this connection or another (the album
/// window, the slideshow player): the file's data version and this connection's change count. 0
/// when it cannot be asked (which calls for a new reading).
quint64 changeStamp(SQLite::Database& db);

/// The trace line of a finished reading.
QString traceLine(const SourceSelection& choice, const Result& result);

} // namespace DatabaseSource
