#pragma once

#include <QString>

#include <memory>

namespace SQLite {
class Database;
}

// The compaction at exit: the database is written compacted into its ".mdx" name with
// VACUUM INTO, the copy is checked (quick_check, layout version, the same number of rows in every
// table) and synced to disk, and only then renamed over the database, which is atomic: a kill at
// any instant leaves the old file or the new one, whole, and a leftover ".mdx" is removed at the
// next start.
//
// The file is never swapped while another connection has it open (the slideshow player reads
// it): in WAL mode every open connection holds a shared lock on the file, even when idle, so the
// exclusive lock that the compaction takes first fails while one exists, in this process or any
// other. Held from then until the connection closes, that lock keeps newcomers from reading or
// writing the file while it is copied and replaced.
namespace MdbCompaction {

/// Compacts the database open on `db`, whose file is `mdbName`, then closes the connection.
/// Returns false with `reason` when the database was left as it was (the ".mdx" is then gone).
bool compactAndClose(std::unique_ptr<SQLite::Database>& db, const QString& mdbName, QString* reason);

} // namespace MdbCompaction
