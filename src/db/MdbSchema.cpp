#include "MdbSchema.h"

#include <QRegularExpression>
#include <QSet>

namespace MdbSchema {

namespace {

using enum JetType;
constexpr ZeroLength ZeroAllowed = ZeroLength::Allowed;
constexpr ZeroLength ZeroForbidden = ZeroLength::Forbidden;

// A counter is always a required Long.
Field counter(const char* name)
{
    return {.name = name, .type = Long, .counter = true, .required = true};
}

Index primaryOn(const char* name, std::vector<const char*> fields)
{
    return {.name = name, .fields = std::move(fields), .primary = true, .unique = true};
}

std::vector<Field> albumLayout(int nameSize)
{
    return {
        counter("KeyAuto"),
        {.name = "Nom", .type = Text, .size = nameSize, .required = true, .zeroLength = ZeroForbidden, .noCase = true},
        {.name = "DateCreation", .type = Date, .required = true},
        {.name = "DateModif", .type = Date, .required = true},
        {.name = "IndexImage", .type = Byte},
        {.name = "StateOpen", .type = Boolean, .required = true},
    };
}

std::vector<Field> tableImageLayout()
{
    return {{.name = "Nom", .type = Text, .size = 255, .required = true}};
}

std::vector<Table> buildTables()
{
    std::vector<Table> all;
    all.push_back({"TableImage", "TableImage", tableImageLayout(), {primaryOn("IndNom", {"Nom"})}});

    all.push_back({"Agenda", "TableAgenda",
        {
            counter("Numero"),
            {.name = "Date", .type = Date, .required = true, .zeroLength = ZeroForbidden},
            {.name = "Alarme", .type = Boolean, .required = true},
            {.name = "DateAlarme", .type = Date},
            {.name = "DateAlarmeOri", .type = Date},
            {.name = "AlarmeRepet", .type = Boolean, .required = true},
            {.name = "DateAlarmeFin", .type = Date},
            {.name = "AlarmeRepInterval", .type = Long},
            {.name = "AlarmeRepFreq", .type = Byte},
            {.name = "Comportement", .type = Byte, .required = true},
            {.name = "Frequence", .type = Byte, .required = true},
            {.name = "FreqJours",
                .type = Text,
                .size = 7,
                .fixed = true,
                .required = true,
                .zeroLength = ZeroForbidden},
            {.name = "FreqMois", .type = Text, .size = 12, .fixed = true, .zeroLength = ZeroForbidden},
            {.name = "Active", .type = Boolean, .required = true},
            {.name = "NoteRepInterval", .type = Long},
            {.name = "NoteRepFreq", .type = Byte},
            {.name = "BirthDay", .type = Date},
            {.name = "SonRepet", .type = Boolean},
            {.name = "WinLargeur", .type = Single},
            {.name = "WinHauteur", .type = Single},
            {.name = "WinPosX", .type = Single},
            {.name = "WinPosY", .type = Single},
            {.name = "Decoupage", .type = Boolean, .required = true},
            {.name = "DecoupBkColor", .type = Long},
            {.name = "Transparence", .type = Byte, .jetDefault = "255"},
            {.name = "TransparenceApply", .type = Boolean, .jetDefault = "True"},
            {.name = "WinBackColor", .type = Long, .required = true},
            {.name = "WinBackColorApply", .type = Boolean, .jetDefault = "True"},
        },
        {
            primaryOn("Numero", {"Numero"}),
            {.name = "IndDate", .fields = {"Date", "DateAlarme"}, .required = false},
            {.name = "IndAlarme", .fields = {"Alarme", "Active", "DateAlarme"}, .required = false},
        }});

    all.push_back({"AlarmeTxt", "AlarmeTxt",
        {
            counter("Numero"),
            {.name = "NumeroNote", .type = Long, .required = true},
            {.name = "ObjType", .type = Byte, .required = true, .jetDefault = "1"},
            {.name = "Texte", .type = Text, .size = 250, .zeroLength = ZeroAllowed},
            {.name = "TxtAlign", .type = Byte, .jetDefault = "0"},
            {.name = "TxtPosX", .type = Single, .jetDefault = "0"},
            {.name = "TxtPosY", .type = Single, .jetDefault = "0"},
            {.name = "TxtDimX", .type = Single, .jetDefault = "0"},
            {.name = "TxtDimY", .type = Single, .jetDefault = "0"},
            {.name = "TxtMoving", .type = Byte, .jetDefault = "1"},
            {.name = "TxtDirection", .type = Byte, .jetDefault = "2"},
            {.name = "TxtBorder", .type = Byte, .jetDefault = "0"},
            {.name = "TxtSclAmount", .type = Byte, .jetDefault = "1"},
            {.name = "TxtWordWrap", .type = Boolean},
            {.name = "TxtInterval", .type = Integer, .jetDefault = "1"},
            {.name = "TxtForeColor", .type = Long},
            {.name = "TxtShadowColor", .type = Long},
            {.name = "SonRepet", .type = Boolean},
            {.name = "TxtShowShadow", .type = Boolean},
            {.name = "TxtShadowOffset", .type = Byte},
            {.name = "TxtFontName", .type = Text, .size = 80, .zeroLength = ZeroAllowed},
            {.name = "TxtFontSize", .type = Single},
            {.name = "TxtFontBold", .type = Boolean},
            {.name = "TxtFontItalic", .type = Boolean},
            {.name = "TxtFontUnderline", .type = Boolean},
        },
        {primaryOn("Numero", {"Numero"}), {.name = "NumeroNote", .fields = {"NumeroNote"}}}});

    all.push_back({"Pays", "Pays",
        {
            counter("KeyAuto"),
            {.name = "Langue", .type = Text, .size = 2, .required = true, .noCase = true},
            {.name = "Code", .type = Text, .size = 2, .noCase = true},
            {.name = "Pays", .type = Text, .size = 50, .required = true, .noCase = true},
        },
        {primaryOn("IndLng", {"Langue", "Code"}), {.name = "IndCod", .fields = {"Langue", "Pays"}, .unique = true}}});

    all.push_back({"CodeLangue", "CodeLangue",
        {
            counter("KeyAuto"),
            {.name = "Code", .type = Text, .size = 3, .required = true, .noCase = true},
            {.name = "Code2", .type = Text, .size = 2, .noCase = true},
            {.name = "Langue", .type = Text, .size = 60, .required = true, .noCase = true},
        },
        {primaryOn("IndLng", {"Langue"}), {.name = "IndCod", .fields = {"Code"}, .unique = true}}});

    all.push_back({"Albums", "Albums", albumLayout(250), {primaryOn("KeyAuto", {"KeyAuto"})}});
    all.push_back({"AlbumPages", "AlbumPages", albumLayout(150), {primaryOn("KeyAuto", {"KeyAuto"})}});

    all.push_back({"AlbumPictures", "AlbumPictures",
        {
            counter("KeyAuto"),
            {.name = "VolSerial", .type = Long},
            {.name = "Path", .type = Text, .size = 250, .required = true, .zeroLength = ZeroForbidden},
            {.name = "ThumbPath", .type = Text, .size = 250},
            {.name = "ImageDateTime", .type = Date, .required = true},
        },
        {
            primaryOn("KeyAuto", {"KeyAuto"}),
            {.name = "VolPath", .fields = {"VolSerial", "Path"}, .unique = true},
            {.name = "ThumbPath", .fields = {"ThumbPath"}, .unique = true},
        }});

    all.push_back({"AlbumPagesRel", "AlbumPagesRel",
        {
            counter("KeyAuto"),
            {.name = "KeyAlbum", .type = Long, .required = true},
            {.name = "KeyPages", .type = Long, .required = true},
            {.name = "KeyParent", .type = Long, .required = true},
        },
        {
            primaryOn("KeyAuto", {"KeyAuto"}),
            {.name = "KeyAlbum", .fields = {"KeyAlbum"}},
            {.name = "KeyPages", .fields = {"KeyPages"}},
            {.name = "KeyAlbumPage", .fields = {"KeyAlbum", "KeyPages"}, .unique = true},
        }});

    all.push_back({"AlbumPicturesRel", "AlbumPicturesRel",
        {
            counter("KeyAuto"),
            {.name = "KeyPages", .type = Long, .required = true},
            {.name = "KeyImages", .type = Long, .required = true},
        },
        {
            primaryOn("KeyAuto", {"KeyAuto"}),
            {.name = "KeyPages", .fields = {"KeyPages"}},
            {.name = "KeyImages", .fields = {"KeyImages"}},
            {.name = "KeyPageImage", .fields = {"KeyPages", "KeyImages"}, .unique = true},
        }});

    all.push_back({"AlbumTri", "AlbumTri",
        {
            counter("KeyAuto"),
            {.name = "KeyDescrip", .type = Long, .required = true},
            {.name = "Ordre", .type = Long, .required = true},
            {.name = "Key", .type = Long, .required = true},
        },
        {primaryOn("KeyAuto", {"KeyAuto"}), {.name = "KeyTri", .fields = {"KeyDescrip", "Ordre"}}}});

    all.push_back({"AlbumTriDesc", "AlbumTriDesc",
        {
            counter("KeyAuto"),
            {.name = "Famille", .type = Byte, .required = true},
            {.name = "KeyPage", .type = Long, .required = true},
            {.name = "Description", .type = Text, .size = 100, .required = true, .noCase = true},
        },
        {primaryOn("KeyAuto", {"KeyAuto"}), {.name = "Famille", .fields = {"Famille", "Description"}}}});

    all.push_back({"VolumeDesc", "VolumeDesc",
        {
            {.name = "KeyVol", .type = Long, .required = true},
            {.name = "Type", .type = Byte, .required = true},
            {.name = "Nom", .type = Text, .size = 100, .required = true, .noCase = true},
        },
        {primaryOn("KeyVol", {"KeyVol"})}});

    all.push_back({"DiaporamaDesc", "DiaporamaDesc",
        {
            counter("KeyAuto"),
            {.name = "Nom", .type = Text, .size = 100, .required = true, .noCase = true},
            {.name = "ExpoTime", .type = Long, .required = true, .jetDefault = "0"},
            {.name = "Paswd", .type = Text, .size = 20, .zeroLength = ZeroAllowed},
        },
        {primaryOn("KeyAuto", {"KeyAuto"}), {.name = "Nom", .fields = {"Nom"}, .unique = true}}});

    all.push_back({"Diaporama", "Diaporama",
        {
            counter("KeyAuto"),
            {.name = "KeyDescrip", .type = Long, .required = true},
            {.name = "Ordre", .type = Long, .required = true},
            {.name = "Path", .type = Text, .size = 250, .required = true, .zeroLength = ZeroForbidden},
            {.name = "PathMusic", .type = Text, .size = 250, .zeroLength = ZeroAllowed},
            {.name = "VolMusic", .type = Byte, .jetDefault = "100"},
            {.name = "VolMusicComment", .type = Byte, .jetDefault = "100"},
            {.name = "RehausMusic", .type = Boolean, .jetDefault = "False"},
            {.name = "RepetMusic", .type = Boolean, .jetDefault = "False"},
            {.name = "PathComment", .type = Text, .size = 250, .zeroLength = ZeroAllowed},
            {.name = "VolComment", .type = Byte, .jetDefault = "100"},
            {.name = "RepetComment", .type = Boolean, .jetDefault = "False"},
            {.name = "Texte", .type = Text, .size = 250, .zeroLength = ZeroAllowed},
            {.name = "TexteAlign", .type = Byte},
            {.name = "TexteMarge", .type = Long},
            {.name = "FontName", .type = Text, .size = 80, .zeroLength = ZeroAllowed},
            {.name = "FontSize", .type = Single},
            {.name = "FontBold", .type = Boolean},
            {.name = "FontItalic", .type = Boolean},
            {.name = "FontUnderline", .type = Boolean},
            {.name = "ForeColor", .type = Long},
            {.name = "BackColor", .type = Long},
            {.name = "BackStyle", .type = Byte},
        },
        {primaryOn("KeyAuto", {"KeyAuto"}), {.name = "KeyTri", .fields = {"KeyDescrip", "Ordre"}}}});
    return all;
}

const Table& tableImageDiap()
{
    static const Table diap {"TableImageDiap", "TableImageDiap", tableImageLayout(), {primaryOn("IndNom", {"Nom"})}};
    return diap;
}

// Which fields a Required index forbids to be Null, beyond the fields that are required themselves.
QStringList fieldsRequiredByIndexes(const Table& table, const QSet<QString>& present)
{
    QStringList names;
    for (const Index& index : table.indexes) {
        if (!index.required && !index.primary)
            continue;
        for (const char* name : index.fields) {
            const Field* field = table.field(QLatin1String(name));
            const QString text = QLatin1String(name);
            if (field && !field->required && !field->counter && present.contains(text) && !names.contains(text))
                names.append(text);
        }
    }
    return names;
}

QString checksOf(const Field& field)
{
    const QString column = quoted(QLatin1String(field.name));
    QStringList checks;
    switch (field.type) {
    case Integer:
        checks << column + QStringLiteral(" BETWEEN -32768 AND 32767");
        break;
    case Byte:
        checks << column + QStringLiteral(" BETWEEN 0 AND 255");
        break;
    case Boolean:
        checks << column + QStringLiteral(" IN (-1, 0)");
        break;
    case Date:
        // Dates are numbers; a date written as text would sort and compare wrongly.
        checks << QStringLiteral("typeof(%1) IN ('real', 'integer', 'null')").arg(column);
        break;
    case Text:
        checks << QStringLiteral("length(%1) <= %2").arg(column).arg(field.size);
        if (!field.allowsEmptyText())
            checks << column + QStringLiteral(" <> ''");
        break;
    case Long:
    case Single:
        break;
    }
    QString sql;
    for (const QString& check : std::as_const(checks))
        sql += QStringLiteral(" CHECK (") + check + QLatin1Char(')');
    return sql;
}

QString layoutColumnSql(const Table& table, const Field& field)
{
    QString sql = quoted(QLatin1String(field.name)) + QLatin1Char(' ') + declaredType(field);
    if (field.required)
        sql += QStringLiteral(" NOT NULL");
    if (field.counter) {
        // The rowid itself, so numbers are never reused; the Jet primary index on the counter
        // lives on as the name of this constraint.
        const Index* primary = nullptr;
        for (const Index& index : table.indexes) {
            if (index.primary && index.fields.size() == 1 && qstrcmp(index.fields.front(), field.name) == 0)
                primary = &index;
        }
        if (primary)
            sql += QStringLiteral(" CONSTRAINT ") + quoted(sqlIndexName(table.name, primary->name));
        sql += QStringLiteral(" PRIMARY KEY AUTOINCREMENT");
    }
    const QString defaultValue = sqlDefault(field);
    if (!defaultValue.isEmpty())
        sql += QStringLiteral(" DEFAULT ") + defaultValue;
    if (field.noCase)
        sql += QStringLiteral(" COLLATE NOCASE");
    return sql + checksOf(field);
}

QString carriedColumnSql(const Column& column)
{
    QString sql = quoted(column.name);
    if (!column.declaredType.isEmpty())
        sql += QLatin1Char(' ') + column.declaredType;
    if (column.notNull)
        sql += QStringLiteral(" NOT NULL");
    if (!column.defaultSql.isEmpty())
        sql += QStringLiteral(" DEFAULT ") + column.defaultSql;
    return sql;
}

// The counter's primary index is the rowid; every other index is a real SQLite index.
bool isRowidIndex(const Table& table, const Index& index)
{
    if (!index.primary || index.fields.size() != 1)
        return false;
    const Field* field = table.field(QLatin1String(index.fields.front()));
    return field && field->counter;
}

} // namespace

const Field* Table::field(const QString& fieldName) const
{
    for (const Field& f : fields) {
        if (fieldName.compare(QLatin1String(f.name), Qt::CaseInsensitive) == 0)
            return &f;
    }
    return nullptr;
}

const Index* Table::index(const QString& indexName) const
{
    for (const Index& i : indexes) {
        if (indexName.compare(QLatin1String(i.name), Qt::CaseInsensitive) == 0)
            return &i;
    }
    return nullptr;
}

QStringList Table::fieldNames() const
{
    QStringList names;
    for (const Field& f : fields)
        names << QLatin1String(f.name);
    return names;
}

const std::vector<Table>& tables()
{
    static const std::vector<Table> all = buildTables();
    return all;
}

const Table* table(const QString& name)
{
    for (const Table& t : tables()) {
        if (name.compare(QLatin1String(t.name), Qt::CaseInsensitive) == 0)
            return &t;
    }
    if (name.compare(QLatin1String(tableImageDiap().name), Qt::CaseInsensitive) == 0)
        return &tableImageDiap();
    return nullptr;
}

QString sqlIndexName(const QString& table, const QString& index)
{
    return table + QLatin1Char('_') + index;
}

QString declaredType(const Field& field)
{
    switch (field.type) {
    case Long:
        return QStringLiteral("INTEGER");
    case Integer:
        return QStringLiteral("SMALLINT");
    case Byte:
        return QStringLiteral("TINYINT");
    case Boolean:
        return QStringLiteral("BOOLEAN");
    case Single:
        return QStringLiteral("FLOAT");
    case Date:
        return QStringLiteral("DATE REAL");
    case Text:
        return (field.fixed ? QStringLiteral("CHAR(%1)") : QStringLiteral("VARCHAR(%1)")).arg(field.size);
    }
    return {};
}

std::optional<JetType> jetTypeOf(const QString& declared, int* size, bool* fixed)
{
    static const QRegularExpression textType(
        QStringLiteral("^(VARCHAR|CHAR)\\s*\\(\\s*(\\d+)\\s*\\)$"), QRegularExpression::CaseInsensitiveOption);
    const QString type = declared.simplified().toUpper();
    if (const auto match = textType.match(type); match.hasMatch()) {
        if (size)
            *size = match.captured(2).toInt();
        if (fixed)
            *fixed = match.captured(1) == QLatin1String("CHAR");
        return Text;
    }
    static const QList<std::pair<QString, JetType>> names {{QStringLiteral("INTEGER"), Long},
        {QStringLiteral("SMALLINT"), Integer}, {QStringLiteral("TINYINT"), Byte}, {QStringLiteral("BOOLEAN"), Boolean},
        {QStringLiteral("FLOAT"), Single}, {QStringLiteral("DATE REAL"), Date}};
    for (const auto& [name, jetType] : names) {
        if (type == name)
            return jetType;
    }
    return std::nullopt;
}

QString sqlDefault(const Field& field)
{
    if (!field.jetDefault)
        return {};
    const QString value = QLatin1String(field.jetDefault);
    if (value.compare(QLatin1String("True"), Qt::CaseInsensitive) == 0)
        return QStringLiteral("-1");
    if (value.compare(QLatin1String("False"), Qt::CaseInsensitive) == 0)
        return QStringLiteral("0");
    return value;
}

QList<Column> layoutColumns(const Table& table)
{
    QList<Column> columns;
    for (const Field& field : table.fields)
        columns.append({QLatin1String(field.name), &field, {}, false, {}});
    return columns;
}

QString createTableSql(const Table& table, const QString& sqlName, const QList<Column>& columns)
{
    QStringList parts;
    QSet<QString> present;
    for (const Column& column : columns) {
        parts << (column.field ? layoutColumnSql(table, *column.field) : carriedColumnSql(column));
        present.insert(column.name);
    }
    for (const QString& name : fieldsRequiredByIndexes(table, present))
        parts << QStringLiteral("CHECK (%1 IS NOT NULL)").arg(quoted(name));
    return QStringLiteral("CREATE TABLE ") + quoted(sqlName) + QStringLiteral(" (\n    ")
        + parts.join(QStringLiteral(",\n    ")) + QStringLiteral("\n)");
}

QStringList createIndexSql(const Table& table, const QStringList& columns)
{
    QStringList statements;
    for (const Index& index : table.indexes) {
        if (isRowidIndex(table, index))
            continue;
        QStringList fields;
        bool complete = true;
        for (const char* name : index.fields) {
            complete = complete && columns.contains(QLatin1String(name), Qt::CaseInsensitive);
            fields << quoted(QLatin1String(name));
        }
        if (!complete)
            continue;
        statements << QStringLiteral("CREATE %1INDEX %2 ON %3 (%4)")
                          .arg(index.unique ? QStringLiteral("UNIQUE ") : QString(),
                              quoted(sqlIndexName(table.name, index.name)), quoted(table.name),
                              fields.join(QStringLiteral(", ")));
    }
    return statements;
}

QStringList createTriggerSql(const Table& table, const QStringList& columns)
{
    QStringList statements;
    for (const Field& field : table.fields) {
        if (!field.fixed || !columns.contains(QLatin1String(field.name), Qt::CaseInsensitive))
            continue;
        const QString column = quoted(QLatin1String(field.name));
        const QString padded = QStringLiteral("substr(NEW.%1 || '%2', 1, %3)")
                                   .arg(column, QString(field.size, QLatin1Char(' ')))
                                   .arg(field.size);
        const QString body = QStringLiteral(" WHEN length(NEW.%1) < %2 BEGIN UPDATE %3 SET %1 = %4 WHERE rowid = "
                                            "NEW.rowid; END")
                                 .arg(column)
                                 .arg(field.size)
                                 .arg(quoted(table.name), padded);
        const QString base = QLatin1String(table.name) + QLatin1Char('_') + QLatin1String(field.name);
        statements << QStringLiteral("CREATE TRIGGER %1 AFTER INSERT ON %2")
                          .arg(quoted(base + QStringLiteral("_PadInsert")), quoted(table.name))
                + body;
        statements << QStringLiteral("CREATE TRIGGER %1 AFTER UPDATE OF %2 ON %3")
                          .arg(quoted(base + QStringLiteral("_PadUpdate")), column, quoted(table.name))
                + body;
    }
    return statements;
}

QStringList createAllSql(const Table& table)
{
    const QStringList names = table.fieldNames();
    return QStringList {createTableSql(table, QLatin1String(table.name), layoutColumns(table))}
    + createIndexSql(table, names) + createTriggerSql(table, names);
}

QString quoted(const QString& name)
{
    QString inner = name;
    inner.replace(QLatin1Char('"'), QStringLiteral("\"\""));
    return QLatin1Char('"') + inner + QLatin1Char('"');
}

} // namespace MdbSchema
