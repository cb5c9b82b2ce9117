#pragma once

#include <QMap>
#include <QString>

namespace SQLite {
class Database;
}

// Whole-file work on the database and the copies kept beside it.
//
// A copy that SQLite can read is made with the backup API into a temporary name beside its
// target, checked (quick_check, layout version, the same number of rows in every table), given
// mode 0600, synced to disk, and only then renamed over the older copy: a crash at any point
// leaves either the old copy or the new one, whole. Copies are single files in rollback-journal
// mode. A file that SQLite cannot read (a damaged database) is copied byte for byte together with
// its -wal and -journal files, which may hold the last committed changes.
//
// These functions open and close their own descriptors on the files they handle. POSIX locks
// belong to the process, and closing any descriptor of a file drops every lock the process holds
// on it, so they must not be used on a file that a connection of this process has open (they
// never are: the lifecycle closes its connection first).
namespace MdbFiles {

/// The name of a copy: the ".mdb" that ends `mdbName` replaced by `replacement` (".mdb.bak",
/// "109.mdb", ".mdx"); a name without ".mdb" at its end gets `replacement` appended.
QString copyName(const QString& mdbName, const QString& replacement);

/// The temporary name a copy is written under before it takes its place.
QString temporaryName(const QString& target);

struct Check
{
    enum class Status
    {
        Ok,
        Damaged, // missing, empty, not a database, or failing its check
        Busy,    // another program holds a lock on it: nothing can be said about its health
        Newer,   // a healthy file written by a newer layout than ours
        ReadOnly // the file or its folder cannot be written (permissions, a read-only mount)
    };
    Status status = Status::Damaged;
    QString reason; // why the file is unusable, in a few words
    int version = 0;

    bool ok() const { return status == Status::Ok; }
};

/// True when an SQLite error code (plain or extended) says that another connection holds a lock.
bool isLockError(int sqliteCode);

/// The status an SQLite failure stands for: Busy, ReadOnly, or else Damaged.
Check::Status statusOfError(int sqliteCode);

/// How long a trial opening waits for another program to let go of the file.
inline constexpr int LockWaitMs = 5000;

/// How much checkFile() looks at.
enum class Depth
{
    Full,   // PRAGMA quick_check over every page
    Header, // the file opens as a database and its layout version is read
};

/// Opens the file once (read-write, never creating it), runs PRAGMA quick_check (unless only the
/// header is asked for) and reads its layout version. A lock held by another program is waited
/// for up to LockWaitMs and then reported as Busy, a layout above `maxVersion` as Newer, a file
/// that cannot be written as ReadOnly: none of them says that the file is damaged.
Check checkFile(const QString& path, int maxVersion, Depth depth = Depth::Full);

/// Remembers the exact state of a file that has just been checked in full (device, inode, size,
/// modification and change times to the nanosecond), in a small file beside it.
bool recordVerified(const QString& path);

/// True when the file is still exactly as recordVerified() saw it and has no journal beside it:
/// the same bytes, so checking them again would find what the last check found. Any write, a
/// copy put in its place, or a crash before the last clean exit makes it false.
bool unchangedSinceVerified(const QString& path);

/// Forgets what recordVerified() remembered.
void forgetVerified(const QString& path);

/// The number of rows of every table, by table name.
QMap<QString, qint64> rowCounts(SQLite::Database& db);

/// Checks a finished copy against what it was copied from: checkFile(), the same layout version,
/// the same row counts. Sets `error` and returns false otherwise.
bool verifyCopy(
    const QString& path, const QMap<QString, qint64>& counts, int version, QString* error, Depth depth = Depth::Full);

/// Copies the database open on `source` to `target` through its temporary name (see above).
/// Without `overwrite`, an existing target is left alone and the call fails. `depth` is how the
/// copy is checked besides its layout version and row counts: a source that was itself just
/// checked in full gives a page-for-page copy that needs no second full check.
bool snapshot(
    SQLite::Database& source, const QString& target, bool overwrite, QString* error, Depth depth = Depth::Full);

/// Copies `source` byte for byte to `target` with its -wal and -journal files; a companion that
/// `source` lacks is removed beside `target`, where it would be taken for the copy's own.
bool copyRaw(const QString& source, const QString& target, QString* error);

/// Removes the -wal, -shm and -journal files of a database file.
void removeCompanions(const QString& path);

/// Removes a database file with its companions. Returns true when something was there.
bool removeWithCompanions(const QString& path);

/// True when the file has a -wal or -journal file beside it.
bool hasJournal(const QString& path);

/// Makes the file readable and writable by its owner only.
bool makePrivate(const QString& path);

/// fsync() of a file's content.
bool syncFile(const QString& path);

/// fsync() of the folder that holds `path`, so that a rename in it is on disk.
bool syncParentDir(const QString& path);

/// rename() of `from` over `to` (atomic on one file system), then syncParentDir().
bool replace(const QString& from, const QString& to, QString* error);

} // namespace MdbFiles
