#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

// The layout of Tapisol.mdb, kept as data: every table with its fields in order and its indexes.
// The creation of a new file, the upgrade of older files and the tests all read this one table.
//
// Jet types are kept apart in SQLite by their declared type, chosen so that SQLite's affinity
// rules store each value in the right class:
//   Long     INTEGER       (a counter is the rowid: INTEGER PRIMARY KEY AUTOINCREMENT)
//   Integer  SMALLINT      16-bit, checked
//   Byte     TINYINT       0..255, checked
//   Boolean  BOOLEAN       -1 or 0, checked
//   Single   FLOAT
//   Date     DATE REAL     days since 30 December 1899, the time as the fraction
//   Text(n)  VARCHAR(n)    length checked; zero-length refused unless allowed
//   fixed    CHAR(n)       padded with blanks to n characters on every write
// Index names are per table in Jet and global in SQLite: an index is stored as <Table>_<Index>.
namespace MdbSchema {

/// Version of the layout written in PRAGMA user_version once a file has been brought up to date.
/// Files from before versioning read 0 and are upgraded; a higher number comes from a newer program.
inline constexpr int Version = 1;

enum class JetType
{
    Long,
    Integer,
    Byte,
    Boolean,
    Single,
    Date,
    Text
};

enum class ZeroLength
{
    Default, // not set: Jet's default, which forbids ""
    Allowed,
    Forbidden
};

struct Field
{
    const char* name;
    JetType type;
    int size = 0; // Text(n)
    bool counter = false;
    bool fixed = false;
    bool required = false;
    ZeroLength zeroLength = ZeroLength::Default;
    const char* jetDefault = nullptr; // the default expression as Jet stores it ("255", "True")
    bool noCase = false;              // a name people type: compared without regard to ASCII case

    bool allowsEmptyText() const { return zeroLength == ZeroLength::Allowed; }
};

struct Index
{
    const char* name;
    std::vector<const char*> fields;
    bool primary = false;
    bool unique = false;
    bool required = true; // Jet: no field of the index may be Null
};

struct Table
{
    const char* name;
    const char* traceLabel; // how the creation routine names the table in its trace lines
    std::vector<Field> fields;
    std::vector<Index> indexes;

    const Field* field(const QString& fieldName) const;
    const Index* index(const QString& indexName) const;
    QStringList fieldNames() const;
};

/// The fifteen tables in their order of creation.
const std::vector<Table>& tables();

/// A table by name (case ignored, as table names are in both engines), including
/// `TableImageDiap`, which has the layout of `TableImage` and is made on demand.
const Table* table(const QString& name);

/// The SQLite name of an index: "<Table>_<Index>".
QString sqlIndexName(const QString& table, const QString& index);

/// The declared SQLite type of a field ("INTEGER", "VARCHAR(250)"...).
QString declaredType(const Field& field);

/// The Jet type a declared SQLite type stands for; nothing for a type this program never writes.
/// The size of a text type is returned through `size`.
std::optional<JetType> jetTypeOf(const QString& declared, int* size = nullptr, bool* fixed = nullptr);

/// The DEFAULT clause value of a field as SQLite shows it in PRAGMA table_info ("-1" for True),
/// empty when the field has no default.
QString sqlDefault(const Field& field);

/// One column of a table being created: a field of the layout, or a column carried over as it
/// was found in an older file (a renamed column, a column this program doesn't know).
struct Column
{
    QString name;
    const Field* field = nullptr; // set for a layout field
    QString declaredType;         // the rest only for a carried-over column
    bool notNull = false;
    QString defaultSql;
};

/// Every field of a table as layout columns, in order.
QList<Column> layoutColumns(const Table& table);

/// CREATE TABLE for `columns` under the SQLite name `sqlName`; the constraints (checks, the
/// counter's named primary key, the Required flag of indexes) come from the layout of `table`.
QString createTableSql(const Table& table, const QString& sqlName, const QList<Column>& columns);

/// CREATE INDEX statements for the indexes of `table` whose fields are all among `columns`,
/// except the one index that is the counter itself (the rowid needs no second index).
QStringList createIndexSql(const Table& table, const QStringList& columns);

/// The triggers that pad the fixed text fields among `columns` on every insert and update.
QStringList createTriggerSql(const Table& table, const QStringList& columns);

/// Everything that makes `table` under its own name: table, indexes, triggers.
QStringList createAllSql(const Table& table);

/// `name` between double quotes, inner quotes doubled.
QString quoted(const QString& name);

} // namespace MdbSchema
