#include "MdbCompaction.h"

#include "MdbFiles.h"

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <sqlite3.h>

namespace MdbCompaction {

namespace {

// Keeps every other connection out until the connection closes. In WAL mode an open connection
// holds a shared lock even when idle, so this fails (busy) while the player has the file open.
bool takeTheFile(SQLite::Database& db, QString* reason)
{
    db.setBusyTimeout(250);
    db.exec("PRAGMA locking_mode=EXCLUSIVE");
    try {
        db.exec("BEGIN EXCLUSIVE");
        db.exec("COMMIT");
    } catch (const SQLite::Exception& e) {
        *reason = QStringLiteral("base ouverte par un autre programme (%1)").arg(QString::fromUtf8(e.what()));
        return false;
    }
    return true;
}

bool compact(SQLite::Database& db, const QString& mdbName, const QString& mdx, QString* reason)
{
    if (!takeTheFile(db, reason))
        return false;
    const QMap<QString, qint64> counts = MdbFiles::rowCounts(db);
    const int version = db.execAndGet("PRAGMA user_version").getInt();
    {
        SQLite::Statement vacuum(db, "VACUUM INTO ?");
        vacuum.bind(1, mdx.toStdString());
        vacuum.exec();
    }
    if (!MdbFiles::makePrivate(mdx) || !MdbFiles::verifyCopy(mdx, counts, version, reason))
        return false;
    if (!MdbFiles::syncFile(mdx)) {
        *reason = mdx + QStringLiteral(" : fsync impossible");
        return false;
    }
    // Out of WAL, the file is whole by itself: no -wal left to be read with the new file.
    const std::string mode = db.execAndGet("PRAGMA journal_mode=DELETE").getString();
    if (mode != "delete") {
        *reason = QStringLiteral("journal_mode=") + QString::fromStdString(mode);
        return false;
    }
    return MdbFiles::replace(mdx, mdbName, reason);
}

} // namespace

bool compactAndClose(std::unique_ptr<SQLite::Database>& db, const QString& mdbName, QString* reason)
{
    if (db && sqlite3_next_stmt(db->getHandle(), nullptr) != nullptr) {
        // A statement still lent out needs its connection, and SQLite refuses to close under it
        // (SQLiteCpp then aborts the process): the connection stays open until the process ends.
        *reason = QStringLiteral("requête encore utilisée, base laissée ouverte");
        static_cast<void>(db.release());
        return false;
    }
    const QString mdx = MdbFiles::copyName(mdbName, QStringLiteral(".mdx"));
    MdbFiles::removeWithCompanions(mdx);
    bool swapped = false;
    try {
        swapped = db && compact(*db, mdbName, mdx, reason);
    } catch (const std::exception& e) {
        *reason = QString::fromUtf8(e.what());
    }
    db.reset();
    if (!swapped)
        MdbFiles::removeWithCompanions(mdx);
    return swapped;
}

} // namespace MdbCompaction
