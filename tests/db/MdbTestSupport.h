#pragma once

// Small helpers shared by the database tests: the database object as a test starts it, trace
// capture and SQL results as text.
#include "AppState.h"
#include "ClsMdb.h"
#include "Trace.h"

#include <QFile>
#include <QStringList>

#include <memory>

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>

namespace MdbTest {

/// Turns the trace on, into a fresh Tapisol.log of the current (temporary) data folder.
inline void startTracing()
{
    appState().trace = true;
    appState().silent = true;
    Trace::resetForTests();
    QFile::remove(Trace::logFilePath());
}

inline QStringList traceLines()
{
    QFile log(Trace::logFilePath());
    if (!log.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(log.readAll()).split(QStringLiteral("\r\n"), Qt::SkipEmptyParts);
}

/// The rows of a query, one line each, columns joined by '|', Null shown as "-".
inline QString rows(SQLite::Database& db, const QString& sql)
{
    SQLite::Statement query(db, sql.toStdString());
    QStringList lines;
    while (query.executeStep()) {
        QStringList cells;
        for (int i = 0; i < query.getColumnCount(); ++i) {
            const SQLite::Column cell = query.getColumn(i);
            cells << (cell.isNull() ? QStringLiteral("-") : QString::fromUtf8(cell.getText()));
        }
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

/// A database object on `file` with the shipped language lists, adding the numbers of the
/// messages it would show to `notices`.
inline std::unique_ptr<ClsMdb> makeMdb(const QString& file, QList<int>* notices, bool copies = true)
{
    auto mdb = std::make_unique<ClsMdb>();
    mdb->setMdbName(file);
    mdb->setCopiesEnabled(copies);
    mdb->setLanguageFolder(QStringLiteral(TAPISOL_TEST_LANG_DIR));
    mdb->setNotifier([notices](const ClsMdb::Notice& notice) { *notices << notice.textNumber; });
    return mdb;
}

} // namespace MdbTest
