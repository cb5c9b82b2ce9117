#include "LanguageTables.h"

#include "LngParser.h"
#include "Trace.h"

#include <QCollator>
#include <QDir>
#include <QFile>
#include <QLocale>

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>

#include <algorithm>

namespace {

using Table = LanguageTables::Table;

// The shipped files are a few dozen kilobytes; anything this large is not a language file, and
// reading it whole would only cost memory.
constexpr qint64 kMaxFileBytes = 16 * 1024 * 1024;

struct TableInfo
{
    QString traceName;
    QString fileName;
    const char* insertSql;
    LngParser::Format format;
};

const TableInfo& infoOf(Table table)
{
    static const TableInfo languages {QStringLiteral("CodeLangue"), QStringLiteral("Langues.Lng"),
        "INSERT INTO CodeLangue (Code2, Code, Langue) VALUES (?, ?, ?)", LngParser::Format::Languages};
    static const TableInfo countries {QStringLiteral("Pays"), QStringLiteral("Pays.Lng"),
        "INSERT INTO Pays (Langue, Code, Pays) VALUES (?, ?, ?)", LngParser::Format::Countries};
    return table == Table::CodeLangue ? languages : countries;
}

void trace(Table table, const QString& suffix)
{
    TAPISOL_TRACE(QStringLiteral("M1 CreateTable") + infoOf(table).traceName + suffix);
}

QString fromSqlite(const std::exception& error)
{
    return QString::fromUtf8(error.what());
}

std::optional<QByteArray> readWhole(const QString& path, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = path + QStringLiteral(" : ") + file.errorString();
        return std::nullopt;
    }
    QByteArray content = file.read(kMaxFileBytes + 1);
    if (file.error() != QFileDevice::NoError) {
        *error = path + QStringLiteral(" : ") + file.errorString();
        return std::nullopt;
    }
    if (content.size() > kMaxFileBytes) {
        *error = path + QStringLiteral(" : plus de %1 octets, ce n'est pas un fichier de langue").arg(kMaxFileBytes);
        return std::nullopt;
    }
    return content;
}

void bindText(SQLite::Statement& statement, int index, const QString& value)
{
    // An empty optional column is stored as NULL: an empty text would break the
    // zero-length rule of the column.
    if (value.isEmpty())
        statement.bind(index);
    else
        statement.bind(index, value.toStdString());
}

// Stores the entries of `lines` until the table refuses one. Returns false with `error` set then.
bool storeLines(SQLite::Database& db, Table table, const QList<LngParser::Line>& lines, QString* error)
{
    const TableInfo& info = infoOf(table);
    SQLite::Statement insert(db, info.insertSql);
    bool encodingNoted = false;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const LngParser::Result result = LngParser::parse(info.format, lines[i].text);
        if (result.kind == LngParser::Result::Kind::Skipped)
            continue;
        const QString where = info.fileName + QStringLiteral(" ligne ") + QString::number(i + 1);
        if (lines[i].notUtf8 && !encodingNoted) {
            encodingNoted = true; // once is enough: the whole file was most likely saved that way
            trace(table, QStringLiteral(", ") + where + QStringLiteral(" n'est pas en UTF-8, lue en Windows-1252"));
        }
        if (result.kind == LngParser::Result::Kind::Invalid) {
            trace(table, QStringLiteral(", ") + where + QStringLiteral(" ignorée : ") + result.problem);
            continue;
        }
        if (result.nameClipped)
            trace(table,
                QStringLiteral(", ") + where
                    + QStringLiteral(" : nom coupé à %1 caractères").arg(LngParser::nameLimit(info.format)));
        try {
            insert.reset();
            bindText(insert, 1, result.entry.first);
            bindText(insert, 2, result.entry.code);
            bindText(insert, 3, result.entry.name);
            insert.exec();
        } catch (const SQLite::Exception& e) {
            *error = where + QStringLiteral(" : ") + fromSqlite(e);
            return false;
        }
    }
    return true;
}

bool fill(SQLite::Database& db, Table table, const QString& folder)
{
    trace(table, QStringLiteral(", Load"));
    QString error;
    const auto content = readWhole(QDir(folder).filePath(infoOf(table).fileName), &error);
    if (!content) {
        trace(table, QStringLiteral(", Err ") + error);
        return false;
    }
    bool ok = false;
    try {
        // One savepoint instead of one commit per row: a thousand commits would each wait for
        // the disk. It nests inside a transaction the caller may have open.
        db.exec("SAVEPOINT tapisol_lng_fill");
        try {
            ok = storeLines(db, table, LngParser::splitLines(*content), &error);
        } catch (const std::exception& e) {
            error = fromSqlite(e);
        }
        // The rows stored before a refusal stay: release (commit) in both cases.
        db.exec("RELEASE tapisol_lng_fill");
    } catch (const std::exception& e) {
        ok = false;
        error = fromSqlite(e);
        try {
            db.exec("ROLLBACK TO tapisol_lng_fill");
            db.exec("RELEASE tapisol_lng_fill");
        } catch (const std::exception&) {
            // No savepoint was open: nothing to undo.
        }
    }
    trace(table, ok ? QStringLiteral(", Loaded") : QStringLiteral(", Err ") + error);
    return ok;
}

QString columnText(const SQLite::Column& column)
{
    if (column.isNull())
        return {};
    const char* text = column.getText();
    return QString::fromUtf8(text, column.getBytes());
}

void traceLookupError(const char* what, const std::exception& error)
{
    TAPISOL_TRACE(QStringLiteral("ClsMdb ") + QLatin1String(what) + QStringLiteral(", Err ") + fromSqlite(error));
}

QLocale localeOf(const QString& language)
{
    if (language == QLatin1String("FR"))
        return QLocale(QLocale::French, QLocale::France);
    if (language == QLatin1String("ES"))
        return QLocale(QLocale::Spanish, QLocale::Spain);
    return QLocale(QLocale::English, QLocale::UnitedStates);
}

} // namespace

QString LanguageTables::fileName(Table table)
{
    return infoOf(table).fileName;
}

void LanguageTables::traceBegin(Table table)
{
    trace(table, QStringLiteral(", Begin"));
}

void LanguageTables::traceCreated(Table table)
{
    trace(table, QStringLiteral(", Created"));
}

bool LanguageTables::fillCodeLangue(SQLite::Database& db, const QString& folder)
{
    return fill(db, Table::CodeLangue, folder);
}

bool LanguageTables::fillPays(SQLite::Database& db, const QString& folder)
{
    return fill(db, Table::Pays, folder);
}

std::optional<LanguageTables::LanguageCodes> LanguageTables::codesOfLanguage(SQLite::Database& db, const QString& name)
{
    try {
        SQLite::Statement query(db, "SELECT Code2, Code FROM CodeLangue WHERE Langue = ?");
        query.bind(1, name.toStdString());
        if (query.executeStep())
            return LanguageCodes {columnText(query.getColumn(0)), columnText(query.getColumn(1))};
    } catch (const std::exception& e) {
        traceLookupError("CodeLangue IndLng", e);
    }
    return std::nullopt;
}

std::optional<LanguageTables::LanguageName> LanguageTables::languageOfCode(SQLite::Database& db, const QString& code)
{
    try {
        SQLite::Statement query(db, "SELECT Code2, Langue FROM CodeLangue WHERE Code = ?");
        query.bind(1, code.toStdString());
        if (query.executeStep())
            return LanguageName {columnText(query.getColumn(0)), columnText(query.getColumn(1))};
    } catch (const std::exception& e) {
        traceLookupError("CodeLangue IndCod", e);
    }
    return std::nullopt;
}

std::optional<QString> LanguageTables::countryCode(
    SQLite::Database& db, const QString& language, const QString& country)
{
    try {
        SQLite::Statement query(db, "SELECT Code FROM Pays WHERE Langue = ? AND Pays = ?");
        query.bind(1, language.toStdString());
        query.bind(2, country.toStdString());
        if (query.executeStep())
            return columnText(query.getColumn(0));
    } catch (const std::exception& e) {
        traceLookupError("Pays Code", e);
    }
    return std::nullopt;
}

std::optional<LanguageTables::Country> LanguageTables::countryByKey(SQLite::Database& db, qint64 key)
{
    try {
        SQLite::Statement query(db, "SELECT Code, Pays FROM Pays WHERE KeyAuto = ?");
        query.bind(1, static_cast<int64_t>(key));
        if (query.executeStep())
            return Country {columnText(query.getColumn(0)), columnText(query.getColumn(1))};
    } catch (const std::exception& e) {
        traceLookupError("Pays KeyAuto", e);
    }
    return std::nullopt;
}

LanguageTables::CountryList LanguageTables::countryList(SQLite::Database& db, const QString& interfaceLanguage)
{
    CountryList list;
    const QString ui = interfaceLanguage.trimmed().toUpper();
    const bool french = ui == QLatin1String("FRA");
    list.language = french ? QStringLiteral("FR") : QStringLiteral("EN");
    list.defaultCountry = french ? QStringLiteral("FR") : QStringLiteral("US");
    if (ui == QLatin1String("SPA"))
        list.language = QStringLiteral("ES"); // the United States stay the default country
    QList<QString> codes;
    try {
        SQLite::Statement query(db, "SELECT KeyAuto, Code, Pays FROM Pays WHERE Langue = ? ORDER BY Pays");
        query.bind(1, list.language.toStdString());
        while (query.executeStep()) {
            list.items.append({columnText(query.getColumn(2)), query.getColumn(0).getInt64()});
            codes.append(columnText(query.getColumn(1)));
        }
    } catch (const std::exception& e) {
        traceLookupError("Pays liste", e);
        return {list.language, list.defaultCountry, {}, -1};
    }
    const auto defaultRow = std::find(codes.cbegin(), codes.cend(), list.defaultCountry);
    const qint64 defaultKey = defaultRow == codes.cend() ? -1 : list.items[defaultRow - codes.cbegin()].keyAuto;

    // The table's NOCASE order puts every accented initial after "Z" ("Égypte", "Îles Caïmans");
    // the list follows the language's own alphabet instead.
    QCollator collator(localeOf(list.language));
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    std::stable_sort(list.items.begin(), list.items.end(),
        [&collator](const CountryItem& a, const CountryItem& b) { return collator(a.name, b.name); });
    for (qsizetype i = 0; i < list.items.size() && defaultKey >= 0; ++i) {
        if (list.items[i].keyAuto == defaultKey)
            list.selected = i;
    }
    return list;
}
