#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringView>

// The two column-based text files the language and country tables are filled from:
//   Langues.Lng   1-2 two-letter code, 5-11 three-letter code ("fre/fra": the second is kept), 14- name
//   Pays.Lng      1-2 language, 4-5 country code, 7- country name
// Empty lines and lines starting with ";" or "[" carry nothing.
// Pure text work, no database: the loader in LanguageTables feeds the rows to SQLite.
namespace LngParser {

enum class Format
{
    Languages, // Langues.Lng
    Countries  // Pays.Lng
};

/// One line as it came out of the file, already decoded.
struct Line
{
    QString text;
    bool notUtf8 = false; // the bytes were not UTF-8 and were read as Windows-1252/Latin-1
};

/// The three columns of one entry. For Languages: Code2, Code, Langue; for Countries: Langue,
/// Code, Pays. `first` may be empty for Languages (the two-letter code is optional).
struct Entry
{
    QString first;
    QString code;
    QString name;
};

/// What a line gives.
struct Result
{
    enum class Kind
    {
        Entry,   // a row to add
        Skipped, // empty, comment, section header or empty code: nothing to add, nothing wrong
        Invalid  // something the table cannot hold; `problem` says what
    };
    Kind kind = Kind::Skipped;
    Entry entry;
    bool nameClipped = false; // the name was longer than its column and was cut
    QString problem;
};

/// Longest name each table holds (CodeLangue.Langue, Pays.Pays).
int nameLimit(Format format);

/// Splits a whole file into lines. A UTF-8 byte-order mark is dropped and UTF-16 with its mark is
/// read as such; lines may end in LF, CRLF or CR. Each line is decoded as UTF-8 or, when its
/// bytes are not valid UTF-8 (a file saved by an old editor), as Windows-1252.
QList<Line> splitLines(const QByteArray& content);

/// True for a line that carries no entry by the format's rules: empty, ";" or "[" first.
bool isSkipped(QStringView line);

/// Cuts one line into its columns and checks them against the sizes of the table's columns.
Result parse(Format format, QStringView line);

} // namespace LngParser
