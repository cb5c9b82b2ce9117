#pragma once

#include "SourceList.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <stop_token>

// Builds the entry list of a picture folder. Plain functions with no shared state, so that a
// scan runs on any thread; PictureSource runs it on a worker.
//
// Rules of the walk:
// - Within a folder, names are in natural, case-insensitive order ("img2" before "img10"); names
//   that compare equal that way ("A.jpg" and "a.jpg", "x01" and "x1") are ordered by their UTF-16
//   code units, so the order never depends on the order the file system returns them.
// - A folder's entry comes first, then its pictures, then each sub-folder with everything below
//   it (depth first). Sub-folders are walked only when asked for.
// - A picture is a regular file, or a link to one, whose extension (case-insensitive) is in the
//   allow-list. Nothing is opened but folders: a FIFO or a link to a device named ".jpg" is
//   recognised from the directory entry or stat() and skipped.
// - Names starting with a dot are hidden and skipped (thumbnail caches live there).
// - Links are followed, to files and to folders, inside or outside the tree. Each folder is walked
//   once, identified by (device, inode): a loop ends at the folder already walked, and a folder
//   reached through two paths is listed under the first path in list order. The same holds for
//   pictures: a file reached through a second link (or a second hard link) is not listed again.
// - A folder that cannot be read is skipped and counted; so is a name that does not survive the
//   conversion to a QString and back (it could not be opened by that name later).

/// What to scan.
struct ScanRequest
{
    QString folder;
    bool includeSubfolders = false;
    QStringList extensions; // picture extensions, without the dot; compared case-insensitively
};

/// What a scan listed and what it stepped over.
struct ScanCounts
{
    int pictures = 0;
    int folders = 0;     // folder entries listed, the root's included
    int otherFiles = 0;  // files (or links) whose extension is not a picture's
    int hidden = 0;      // names starting with a dot
    int special = 0;     // FIFOs, devices and sockets, or links to them
    int brokenLinks = 0; // links whose target is missing or loops
    int unreadable = 0;  // folders that could not be opened or read; names that cannot be represented
    int seenBefore = 0;  // folders and pictures reached a second time through links

    int skipped() const { return otherFiles + hidden + special + brokenLinks + unreadable + seenBefore; }
};

/// The state of one folder when it was scanned, to notice later changes with one stat().
struct FolderStamp
{
    QByteArray path; // native path as walked
    quint64 device = 0;
    quint64 inode = 0;
    qint64 mtimeNs = 0;
    qint64 ctimeNs = 0;
    int error = 0; // errno of stat() when the folder could not be examined at all
};

/// The outcome of one scan.
struct ScanResult
{
    QString folder; // the folder as cleaned and walked
    SourceList list;
    ScanCounts counts;
    QList<FolderStamp> stamps;
    QString rootError; // why the folder itself could not be listed; empty when it was
    qint64 startedNs = 0;
    qint64 elapsedMs = 0;
    bool cancelled = false;
};

namespace FolderScanner {

/// The folder as keys start with it: absolute, without "." or ".." parts or a trailing slash
/// (links are kept, not resolved). Empty for an empty folder.
QString cleanFolder(const QString& folder);

/// Walks `request.folder` and returns its entry list. Stops early, with `cancelled` set and an
/// incomplete list, when `stop` is requested.
ScanResult scan(const ScanRequest& request, std::stop_token stop = {});

/// True when a folder of `last` changed since it was scanned (entries added, removed or renamed,
/// permissions, a folder appearing or vanishing), judged by one stat() per folder. A folder whose
/// modification time was within two seconds of the scan's start counts as changed, because a
/// change made in the same clock tick after the listing would leave the same time behind; a
/// later rescan, away from that window, settles it.
bool changedSince(const ScanResult& last);

/// The trace line of a finished scan.
QString traceLine(const ScanResult& result);

} // namespace FolderScanner
