#pragma once

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

namespace SQLite {
class Database;
}

// Brings the columns of a file made by an older version up to the current layout.
//
// SQLite cannot insert a column at a given position nor change a column's type, so every change
// rebuilds its table: a new table is made in the layout's column order, the rows are copied
// across, the old table is dropped, the new one takes its name and gets its indexes and triggers
// back. Each numbered step does this in one transaction: a crash or a full disk leaves the step
// either done or not begun, and the next start repeats only the steps that still find something
// missing. Counter numbers keep their values and their sequence, so none is ever reused.
namespace MdbUpgrade {

/// One column of a table as SQLite describes it.
struct ColumnInfo
{
    QString name;
    QString declaredType;
    bool notNull = false;
    QString defaultSql; // as PRAGMA table_info shows it, empty when none
};

/// The columns of a table in their order; empty when the table doesn't exist.
QList<ColumnInfo> columnsOf(SQLite::Database& db, const QString& table);

/// What a rebuild changes. The result keeps the layout's column order; a column the layout
/// doesn't know (a renamed one, an old one) stays right after the column it followed.
struct Rebuild
{
    QString table;
    QStringList add;                // layout fields to add
    QMap<QString, QString> renames; // old name -> new name; the column keeps its type and values
    QStringList drop;               // columns removed with their values
    QStringList remake;             // layout fields made again from the layout, without their old values
};

/// Rebuilds a table inside the caller's transaction. Throws SQLite::Exception on failure.
void rebuild(SQLite::Database& db, const Rebuild& change);

/// Runs the eight upgrade steps in order, each in its own transaction, tracing each change.
/// Returns false at the first step that fails (its changes rolled back), with `error` set.
bool run(SQLite::Database& db, QString* error);

} // namespace MdbUpgrade
