#pragma once

#include <QList>
#include <QString>

#include <optional>

namespace SQLite {
class Database;
}

// The language table `CodeLangue` and the country table `Pays`: filled once from "Langues.Lng" and
// "Pays.Lng" right after the database creates them, then read by the language and country lists.
//
// Trace lines, all under "M1 CreateTableCodeLangue" (or "M1 CreateTablePays"):
//   ", Begin"    traceBegin(), written by the database object before it creates the table;
//   ", Created"  traceCreated(), written by the database object once the table exists;
//   ", Load"     fillCodeLangue()/fillPays(), before the file is read;
//   ", Loaded"   fillCodeLangue()/fillPays(), when every line has been read and stored;
//   ", Err " + what went wrong   fillCodeLangue()/fillPays(), instead of ", Loaded".
// The fill functions also write notes on lines they had to repair or leave out, under the same
// prefix (Windows-1252 text, a name cut to its column, a line the table cannot hold).
//
// Every value reaches SQL as a bound parameter. The look-ups never throw: a database error is
// traced and reads as "not found".
class LanguageTables
{
public:
    enum class Table
    {
        CodeLangue,
        Pays
    };

    /// (Code2, Code) of a language, found by its name.
    struct LanguageCodes
    {
        QString code2; // empty when the language has no two-letter code
        QString code;
    };

    /// (Code2, Langue) of a language, found by its three-letter code.
    struct LanguageName
    {
        QString code2;
        QString name;
    };

    /// (Code, Pays) of a country row.
    struct Country
    {
        QString code;
        QString name;
    };

    /// One item of a country list: what the user reads and the row's key.
    struct CountryItem
    {
        QString name;
        qint64 keyAuto = 0;
    };

    /// The countries to offer in the interface language, and which one to preselect.
    struct CountryList
    {
        QString language;       // the Pays.Langue code the list is in ("FR", "EN", "ES")
        QString defaultCountry; // the country code looked for to preselect
        QList<CountryItem> items;
        qsizetype selected = -1; // index in items, -1 when no row has the default code
    };

    /// The file names, looked for in the program's language folder.
    static QString fileName(Table table);

    /// Writes "M1 CreateTable<name>, Begin" when tracing is on.
    static void traceBegin(Table table);

    /// Writes "M1 CreateTable<name>, Created" when tracing is on.
    static void traceCreated(Table table);

    /// Adds a row to `CodeLangue` for every entry of `folder`/Langues.Lng, in file order. A missing
    /// file or a row the table refuses (a name or code already there) ends the loading with
    /// ", Err "; the rows added before stay. Returns false in that case.
    static bool fillCodeLangue(SQLite::Database& db, const QString& folder);

    /// The same for `Pays` and `folder`/Pays.Lng; refused are a second (language, code) or
    /// (language, name).
    static bool fillPays(SQLite::Database& db, const QString& folder);

    /// The codes of the language called `name` (index IndLng; case of ASCII letters ignored).
    static std::optional<LanguageCodes> codesOfLanguage(SQLite::Database& db, const QString& name);

    /// The name of the language whose three-letter code is `code` (index IndCod).
    static std::optional<LanguageName> languageOfCode(SQLite::Database& db, const QString& code);

    /// The code of the country called `country` in the list of `language` ("FR", "EN", "ES").
    static std::optional<QString> countryCode(SQLite::Database& db, const QString& language, const QString& country);

    /// The country row whose KeyAuto is `key`.
    static std::optional<Country> countryByKey(SQLite::Database& db, qint64 key);

    /// Maps the three-letter interface language onto a country list: "FRA" gives the "FR" names
    /// with France preselected, any other code the "EN" names with the United States; "SPA" then
    /// switches to the "ES" names and keeps the United States. Items are in alphabetical order
    /// for that language. An unreadable table gives an empty list.
    static CountryList countryList(SQLite::Database& db, const QString& interfaceLanguage);
};
