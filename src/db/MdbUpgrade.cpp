#include "MdbUpgrade.h"

#include "JetValues.h"
#include "MdbSchema.h"
#include "Trace.h"

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <sqlite3.h>

#include <algorithm>
#include <functional>
#include <optional>

namespace MdbUpgrade {

namespace {

using MdbSchema::Field;
using MdbSchema::JetType;
using MdbSchema::quoted;

std::string sql(const QString& text)
{
    return text.toStdString();
}

const ColumnInfo* findColumn(const QList<ColumnInfo>& columns, const QString& name)
{
    for (const ColumnInfo& column : columns) {
        if (column.name.compare(name, Qt::CaseInsensitive) == 0)
            return &column;
    }
    return nullptr;
}

bool hasColumn(SQLite::Database& db, const QString& table, const QString& name)
{
    return findColumn(columnsOf(db, table), name) != nullptr;
}

std::optional<JetType> typeOf(SQLite::Database& db, const QString& table, const QString& name)
{
    const QList<ColumnInfo> columns = columnsOf(db, table);
    const ColumnInfo* column = findColumn(columns, name);
    return column ? MdbSchema::jetTypeOf(column->declaredType) : std::nullopt;
}

bool sameType(const QString& declared, const Field& field)
{
    return declared.simplified().compare(MdbSchema::declaredType(field), Qt::CaseInsensitive) == 0;
}

// The value an added or copied required field takes when there is none: its default, or zero for
// a number, a boolean (False) or a date.
QString fillValue(const Field& field)
{
    const QString defaultValue = MdbSchema::sqlDefault(field);
    if (!defaultValue.isEmpty() || !field.required || field.type == JetType::Text)
        return defaultValue;
    return QStringLiteral("0");
}

struct Planned
{
    MdbSchema::Column column;
    QString source; // SQL expression over the old table; empty: the column takes its default
    QString oldName;
};

// The columns of the rebuilt table in order, each with where its values come from.
QList<Planned> plan(const MdbSchema::Table& layout, const QList<ColumnInfo>& old, const Rebuild& change)
{
    auto listed
        = [](const QStringList& names, const QString& name) { return names.contains(name, Qt::CaseInsensitive); };
    struct Kept
    {
        ColumnInfo info;
        QString newName;
    };
    QList<Kept> kept;
    for (const ColumnInfo& column : old) {
        if (listed(change.drop, column.name) || listed(change.remake, column.name))
            continue;
        kept.append({column, change.renames.value(column.name, column.name)});
    }
    auto keptAs = [&kept](const QString& name) -> const Kept* {
        for (const Kept& k : kept) {
            if (k.newName.compare(name, Qt::CaseInsensitive) == 0)
                return &k;
        }
        return nullptr;
    };

    QList<Planned> result;
    for (const Field& field : layout.fields) {
        const QString name = QLatin1String(field.name);
        if (const Kept* k = keptAs(name)) {
            if (sameType(k->info.declaredType, field)) {
                const QString fill = fillValue(field);
                QString source = quoted(k->info.name);
                if (field.required && !fill.isEmpty())
                    source = QStringLiteral("COALESCE(%1, %2)").arg(source, fill);
                result.append({{name, &field, {}, false, {}}, source, k->info.name});
            } else { // an older type that a later step deals with: left as it is
                result.append({{name, nullptr, k->info.declaredType, k->info.notNull, k->info.defaultSql},
                    quoted(k->info.name), k->info.name});
            }
        } else if (listed(change.add, name) || listed(change.remake, name)) {
            const QString fill = fillValue(field);
            const bool literal = field.required && !field.counter && MdbSchema::sqlDefault(field).isEmpty();
            result.append({{name, &field, {}, false, {}}, literal ? fill : QString(), {}});
        }
    }
    // Columns the layout doesn't know stay right after the column they followed.
    for (qsizetype i = 0; i < kept.size(); ++i) {
        if (layout.field(kept[i].newName))
            continue;
        qsizetype position = 0;
        for (qsizetype before = i - 1; before >= 0 && position == 0; --before) {
            for (qsizetype at = 0; at < result.size(); ++at) {
                if (result[at].oldName == kept[before].info.name)
                    position = at + 1;
            }
        }
        const ColumnInfo& info = kept[i].info;
        result.insert(position,
            {{kept[i].newName, nullptr, info.declaredType, info.notNull, info.defaultSql}, quoted(info.name),
                info.name});
    }
    return result;
}

qint64 sequenceOf(SQLite::Database& db, const QString& table)
{
    if (!db.tableExists("sqlite_sequence"))
        return 0;
    SQLite::Statement query(db, "SELECT seq FROM sqlite_sequence WHERE name = ?");
    query.bind(1, sql(table));
    return query.executeStep() ? query.getColumn(0).getInt64() : 0;
}

// The counter goes on from the highest number it ever gave, not from the highest row left.
void restoreSequence(SQLite::Database& db, const MdbSchema::Table& layout, const QString& temporary, qint64 oldSequence)
{
    const Field* counter = nullptr;
    for (const Field& field : layout.fields) {
        if (field.counter)
            counter = &field;
    }
    const QList<ColumnInfo> now = columnsOf(db, layout.name);
    const ColumnInfo* column = counter ? findColumn(now, QLatin1String(counter->name)) : nullptr;
    if (!column || !sameType(column->declaredType, *counter))
        return;
    const qint64 highest = db.execAndGet(sql(QStringLiteral("SELECT coalesce(max(%1), 0) FROM %2")
                                                 .arg(quoted(counter->name), quoted(layout.name))))
                               .getInt64();
    const qint64 next = std::max({highest, oldSequence, sequenceOf(db, layout.name), sequenceOf(db, temporary)});
    SQLite::Statement remove(db, "DELETE FROM sqlite_sequence WHERE name IN (?, ?)");
    remove.bind(1, sql(layout.name));
    remove.bind(2, sql(temporary));
    remove.exec();
    SQLite::Statement insert(db, "INSERT INTO sqlite_sequence (name, seq) VALUES (?, ?)");
    insert.bind(1, sql(layout.name));
    insert.bind(2, static_cast<int64_t>(next));
    insert.exec();
}

// Indexes made by hand or by an older version under names the layout doesn't use.
QList<std::pair<QString, QString>> foreignIndexes(SQLite::Database& db, const MdbSchema::Table& layout)
{
    QList<std::pair<QString, QString>> found;
    SQLite::Statement query(db,
        "SELECT name, sql FROM sqlite_master WHERE type = 'index' AND tbl_name = ? "
        "AND sql IS NOT NULL");
    query.bind(1, layout.name);
    while (query.executeStep()) {
        const QString name = Jet::textOf(query.getColumn(0));
        bool ours = false;
        for (const MdbSchema::Index& index : layout.indexes)
            ours = ours || name.compare(MdbSchema::sqlIndexName(layout.name, index.name), Qt::CaseInsensitive) == 0;
        if (!ours)
            found.append({name, Jet::textOf(query.getColumn(1))});
    }
    return found;
}

// --- The eight steps. Each returns after doing nothing when its table is already up to date.

const QString Agenda = QStringLiteral("Agenda");

void trace(const char* line)
{
    TAPISOL_TRACE(QString::fromUtf8(line));
}

void stepSonRepet(SQLite::Database& db)
{
    if (hasColumn(db, Agenda, QStringLiteral("SonRepet")))
        return;
    trace("M1 Modify DataBase SonRepet");
    rebuild(db, {Agenda, {QStringLiteral("SonRepet")}, {}, {}, {}});
}

void stepRepeatingAlarms(SQLite::Database& db)
{
    if (hasColumn(db, Agenda, QStringLiteral("DateAlarmeFin")))
        return;
    trace("M1 Modify DataBase DateAlarme");
    QStringList missing;
    const QList<ColumnInfo> columns = columnsOf(db, Agenda);
    for (const char* name : {"DateAlarmeOri", "AlarmeRepet", "DateAlarmeFin", "AlarmeRepInterval", "AlarmeRepFreq",
             "FreqMois", "NoteRepInterval", "NoteRepFreq", "BirthDay"}) {
        if (!findColumn(columns, QLatin1String(name)))
            missing << QLatin1String(name);
    }
    rebuild(db, {Agenda, missing, {}, {}, {}});
}

void stepLongInterval(SQLite::Database& db)
{
    const QString name = QStringLiteral("AlarmeRepInterval");
    if (typeOf(db, Agenda, name) != JetType::Integer)
        return;
    trace("M1 Modify DataBase AlarmeRepInterval");
    QString kept = QStringLiteral("AlarmeRepIntervalXX");
    for (int n = 2; hasColumn(db, Agenda, kept); ++n)
        kept = QStringLiteral("AlarmeRepIntervalXX%1").arg(n);
    rebuild(db, {Agenda, {name}, {{name, kept}}, {}, {}});
}

// "hhmm", "hh:mm": hours from the first two characters, minutes from the last two.
std::optional<QTime> heureTime(const QString& heure)
{
    const QString text = heure.trimmed();
    bool isTime = false;
    for (const char* format : {"hh:mm", "h:mm", "hhmm", "hh:mm:ss", "h:mm:ss"})
        isTime = isTime || QTime::fromString(text, QLatin1String(format)).isValid();
    bool hoursOk = false;
    bool minutesOk = false;
    const QTime time(text.left(2).toInt(&hoursOk), text.right(2).toInt(&minutesOk), 0);
    if (!isTime || !hoursOk || !minutesOk || !time.isValid())
        return std::nullopt;
    return time;
}

void foldHeure(SQLite::Database& db)
{
    const QString order = hasColumn(db, Agenda, QStringLiteral("Numero")) ? QStringLiteral("Numero") : "rowid";
    SQLite::Statement rows(db,
        sql(QStringLiteral("SELECT rowid, DateAlarme, Heure FROM Agenda WHERE Heure IS NOT NULL "
                           "AND typeof(DateAlarme) IN ('real', 'integer') ORDER BY ")
            + order));
    QList<std::pair<qint64, double>> changes;
    while (rows.executeStep()) {
        const std::optional<QTime> time = heureTime(Jet::textOf(rows.getColumn(2)));
        const QDateTime alarm = Jet::dateOf(rows.getColumn(1));
        if (!time || !alarm.isValid())
            continue; // not a date once put together: the row stays as it is
        const QDateTime folded(alarm.date(), *time);
        if (folded.isValid())
            changes.append({rows.getColumn(0).getInt64(), Jet::toOaDate(folded)});
    }
    SQLite::Statement update(db, "UPDATE Agenda SET DateAlarme = ? WHERE rowid = ?");
    for (const auto& [rowid, value] : std::as_const(changes)) {
        update.reset();
        update.bind(1, value);
        update.bind(2, static_cast<int64_t>(rowid));
        update.exec();
    }
}

void stepHeure(SQLite::Database& db)
{
    if (!hasColumn(db, Agenda, QStringLiteral("Heure")))
        return;
    trace("M1 Modify DataBase Heure");
    foldHeure(db);
    // The rebuild drops the field and makes IndDate and IndAlarme again.
    rebuild(db, {Agenda, {}, {}, {QStringLiteral("Heure")}, {}});
}

void stepTxtAlign(SQLite::Database& db)
{
    if (hasColumn(db, QStringLiteral("AlarmeTxt"), QStringLiteral("TxtAlign")))
        return;
    trace("M1 Modify DataBase TxtAlign");
    rebuild(db, {QStringLiteral("AlarmeTxt"), {QStringLiteral("TxtAlign")}, {}, {}, {}});
}

void stepCodeLangueKey(SQLite::Database& db)
{
    if (hasColumn(db, QStringLiteral("CodeLangue"), QStringLiteral("KeyAuto")))
        return;
    trace("M1 Modify DataBase CodeLangue KeyAuto");
    rebuild(db, {QStringLiteral("CodeLangue"), {QStringLiteral("KeyAuto")}, {}, {}, {}});
}

void stepTexteMarge(SQLite::Database& db)
{
    if (typeOf(db, QStringLiteral("Diaporama"), QStringLiteral("TexteMarge")) != JetType::Byte)
        return;
    trace("M1 Modify DataBase Diaporama TexteMarge");
    rebuild(db, {QStringLiteral("Diaporama"), {}, {}, {}, {QStringLiteral("TexteMarge")}});
}

void stepDiaporamaDesc(SQLite::Database& db)
{
    const QString table = QStringLiteral("DiaporamaDesc");
    QStringList missing;
    if (!hasColumn(db, table, QStringLiteral("ExpoTime"))) {
        trace("M1 Modify DataBase DiaporamaDesc ExpoTime");
        missing << QStringLiteral("ExpoTime");
    }
    if (!hasColumn(db, table, QStringLiteral("Paswd"))) {
        trace("M1 Modify DataBase DiaporamaDesc Paswd");
        missing << QStringLiteral("Paswd");
    }
    if (!missing.isEmpty())
        rebuild(db, {table, missing, {}, {}, {}});
}

struct Step
{
    const char* name;
    std::function<void(SQLite::Database&)> apply;
};

const QList<Step>& steps()
{
    static const QList<Step> all {{"SonRepet", stepSonRepet}, {"DateAlarme", stepRepeatingAlarms},
        {"AlarmeRepInterval", stepLongInterval}, {"Heure", stepHeure}, {"TxtAlign", stepTxtAlign},
        {"CodeLangue KeyAuto", stepCodeLangueKey}, {"Diaporama TexteMarge", stepTexteMarge},
        {"DiaporamaDesc", stepDiaporamaDesc}};
    return all;
}

} // namespace

QList<ColumnInfo> columnsOf(SQLite::Database& db, const QString& table)
{
    QList<ColumnInfo> columns;
    SQLite::Statement query(db, "SELECT name, type, \"notnull\", dflt_value FROM pragma_table_info(?)");
    query.bind(1, sql(table));
    while (query.executeStep()) {
        columns.append({Jet::textOf(query.getColumn(0)), Jet::textOf(query.getColumn(1)),
            query.getColumn(2).getInt() != 0, Jet::textOf(query.getColumn(3))});
    }
    return columns;
}

void rebuild(SQLite::Database& db, const Rebuild& change)
{
    const MdbSchema::Table* layout = MdbSchema::table(change.table);
    const QList<ColumnInfo> old = columnsOf(db, change.table);
    if (!layout || old.isEmpty())
        throw SQLite::Exception(sql(QStringLiteral("table inconnue : ") + change.table));
    const QList<Planned> columns = plan(*layout, old, change);
    const QString name = QLatin1String(layout->name);
    const QString temporary = name + QStringLiteral("__rebuild");

    QStringList targets;
    QStringList sources;
    QStringList names;
    for (const Planned& planned : columns) {
        names << planned.column.name;
        if (!planned.source.isEmpty()) {
            targets << quoted(planned.column.name);
            sources << planned.source;
        }
    }
    const qint64 oldSequence = sequenceOf(db, name);
    const auto otherIndexes = foreignIndexes(db, *layout);

    db.exec(sql(QStringLiteral("DROP TABLE IF EXISTS ") + quoted(temporary)));
    db.exec(sql(MdbSchema::createTableSql(*layout, temporary, [&columns] {
        QList<MdbSchema::Column> list;
        for (const Planned& planned : columns)
            list.append(planned.column);
        return list;
    }())));
    db.exec(sql(QStringLiteral("INSERT INTO %1 (%2) SELECT %3 FROM %4 ORDER BY rowid")
                    .arg(quoted(temporary), targets.join(QStringLiteral(", ")), sources.join(QStringLiteral(", ")),
                        quoted(name))));
    db.exec(sql(QStringLiteral("DROP TABLE ") + quoted(name)));
    db.exec(sql(QStringLiteral("ALTER TABLE %1 RENAME TO %2").arg(quoted(temporary), quoted(name))));
    for (const QString& statement :
        MdbSchema::createIndexSql(*layout, names) + MdbSchema::createTriggerSql(*layout, names))
        db.exec(sql(statement));
    for (const auto& [indexName, indexSql] : otherIndexes) {
        // An index on a column that is gone cannot come back; the rows matter, the index doesn't.
        if (db.tryExec(sql(indexSql)) != SQLITE_OK)
            TAPISOL_TRACE(QStringLiteral("M1 Modify DataBase ") + name + QStringLiteral(" index ") + indexName
                + QStringLiteral(" abandonné"));
    }
    restoreSequence(db, *layout, temporary, oldSequence);
}

bool run(SQLite::Database& db, QString* error)
{
    for (const Step& step : steps()) {
        try {
            db.exec("BEGIN IMMEDIATE");
            try {
                step.apply(db);
                db.exec("COMMIT");
            } catch (...) {
                db.tryExec("ROLLBACK");
                throw;
            }
        } catch (const std::exception& e) {
            *error = QLatin1String(step.name) + QStringLiteral(" : ") + QString::fromUtf8(e.what());
            TAPISOL_TRACE(QStringLiteral("M1 Modify DataBase ") + *error + QStringLiteral(", Err"));
            return false;
        }
    }
    return true;
}

} // namespace MdbUpgrade
