#pragma once

// Helpers shared by the database tests: a fresh data folder with the database object as the
// program starts it, trace capture, files and SQL results as text.
#include "AppState.h"
#include "ClsMdb.h"
#include "TempXdgHome.h"
#include "Trace.h"

#include <QDir>
#include <QFile>

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>

#include <sys/stat.h>

namespace MdbTest {

/// A note with its required fields only; %1 is its Date.
inline const QString NoteInsert = QStringLiteral("INSERT INTO Agenda (Date, Alarme, AlarmeRepet, Comportement, "
                                                 "Frequence, FreqJours, Active, Decoupage, WinBackColor) "
                                                 "VALUES (%1, 0, 0, 0, 0, '0000000', 0, 0, 0)");

/// Turns the trace on, into a fresh Tapisol.log of the current (temporary) data folder.
inline void startTracing()
{
    appState().trace = true;
    appState().silent = true;
    Trace::resetForTests();
    QFile::remove(Trace::logFilePath());
}

inline QByteArray contentOf(const QString& file)
{
    QFile f(file);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<absent>");
}

inline bool writeFile(const QString& file, const QByteArray& content)
{
    QFile f(file);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(content) == content.size();
}

inline QStringList traceLines()
{
    return QString::fromUtf8(contentOf(Trace::logFilePath())).split(QStringLiteral("\r\n"), Qt::SkipEmptyParts);
}

inline ino_t inodeOf(const QString& file)
{
    struct stat info = {};
    return ::stat(QFile::encodeName(file).constData(), &info) == 0 ? info.st_ino : 0;
}

/// The rows of a query, one line each, columns joined by '|', Null shown as "-".
inline QString rows(SQLite::Database& db, const QString& sql)
{
    QStringList lines;
    for (SQLite::Statement query(db, sql.toStdString()); query.executeStep();) {
        QStringList cells;
        for (int i = 0; i < query.getColumnCount(); ++i)
            cells << (query.isColumnNull(i) ? QStringLiteral("-") : QString::fromUtf8(query.getColumn(i).getText()));
        lines << cells.join(QLatin1Char('|'));
    }
    return lines.join(QLatin1Char('\n'));
}

/// The column names of a table in order, joined by ','.
inline QString columnOrder(SQLite::Database& db, const QString& table)
{
    return rows(db, QStringLiteral("SELECT group_concat(name, ',') FROM pragma_table_info('%1')").arg(table));
}

/// Runs statements on a file, creating it: how the tests build files of older layouts.
inline void execAll(const QString& file, const QStringList& statements)
{
    SQLite::Database db(file.toStdString(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
    for (const QString& statement : statements)
        db.exec(statement.toStdString());
}

/// A fresh home for each test function, the database file in its data folder, and the numbers
/// of the messages the database object would show.
struct Fixture
{
    std::unique_ptr<TempXdgHome> home;
    QString file;
    QList<int> notices;

    void setUp()
    {
        home = std::make_unique<TempXdgHome>();
        QDir().mkpath(home->tapisolDataDir());
        file = home->tapisolDataDir() + QStringLiteral("Tapisol.mdb");
        startTracing();
    }

    /// The database object on `file` with the shipped language lists; the notices start afresh.
    std::unique_ptr<ClsMdb> makeMdb(bool copies = true)
    {
        notices.clear();
        auto mdb = std::make_unique<ClsMdb>();
        mdb->setMdbName(file);
        mdb->setCopiesEnabled(copies);
        mdb->setLanguageFolder(QStringLiteral(TAPISOL_TEST_LANG_DIR));
        mdb->setNotifier([this](const ClsMdb::Notice& notice) { notices << notice.textNumber; });
        return mdb;
    }

    /// One start of the program: MdbInit, one statement, the compaction at exit.
    bool startAndClose(const QString& sql = {})
    {
        auto mdb = makeMdb();
        if (!mdb->MdbInit())
            return false;
        if (!sql.isEmpty())
            mdb->database().exec(sql.toStdString());
        mdb->close();
        return true;
    }

    /// The file with ".mdb" replaced by `ending` (".mdb.bak", "109.mdb"...).
    QString copy(const char* ending) const { return file.chopped(4) + QLatin1String(ending); }
};

} // namespace MdbTest
