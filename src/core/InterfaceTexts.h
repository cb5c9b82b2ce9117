#pragma once

#include <QHash>
#include <QString>

// The numbered texts of the interface, one UTF-8 file per language: data/lang/<CODE>.lng.
//
// File format, one entry a line:   <number>=<text>
//   - blank lines and lines starting with ';' or '#' are comments, "[...]" lines are headers;
//   - "\n", "\t" and "\\" inside a text stand for a line end, a tab and a backslash;
//   - a line that is not a number, '=' and a text is traced and skipped; a later duplicate
//     number is traced and ignored (the first one wins).
class InterfaceTexts
{
public:
    /// True when the language of the three-letter code (case-insensitive) can be used: its file
    /// can be read and holds at least one text.
    static bool languageExists(const QString& code);

    /// The language to use for the `Langue` setting: trimmed, upper case, "FRA" when empty or
    /// when that language cannot be used.
    static QString settledCode(const QString& configured);

    /// Path of the language file for a code; the file need not exist.
    static QString languageFile(const QString& code);

    /// Loads the texts of one language, replacing what was loaded. Returns false (and traces the
    /// reason) when the file is missing, unreadable or holds no text; the texts then stay empty.
    bool load(const QString& code);

    /// Parses the content of a language file; returns the number of texts read.
    int parse(const QByteArray& content, const QString& sourceName);

    /// The text of a number, or "#<number>" (traced) when the language has none.
    QString text(int number) const;

    bool contains(int number) const { return m_texts.contains(number); }
    int count() const { return int(m_texts.size()); }
    QString code() const { return m_code; }

private:
    QString m_code;
    QHash<int, QString> m_texts;
};

/// The texts of the language chosen at start-up.
InterfaceTexts& interfaceTexts();

/// Shortcut for interfaceTexts().text(number).
QString langText(int number);
