// A second process for the database tests, so that locks and kills are real:
//   mdb_testtool hold <file>     opens the file read-only as the slideshow player does, reads it,
//                                prints "ready" and keeps it open until its stdin closes.
//   mdb_testtool write <file>    starts the database (MdbInit), prints "ready", then stores notes
//                                for ever in transactions of one to four notes and prints
//                                "k <Numero> <Date>" for each note once its COMMIT has returned.
//   mdb_testtool cycle <file>    starts, stores a few notes (printed as above), churns filler rows
//                                so that the compaction has work, prints "closing", closes
//                                (compaction) and prints "closed <µs>"; again and again.
//   mdb_testtool start <file>    prints "start", runs MdbInit (an upgrade of an old file),
//                                prints "started <µs>", closes and prints "closed <µs>".
// The tests kill the last three with SIGKILL at random instants. Every line goes out with one
// write() as soon as it is known, so that what the test reads is what had happened.
#include "ClsMdb.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>

#include <iostream>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

void say(const std::string& line)
{
    const std::string text = line + '\n';
    if (::write(STDOUT_FILENO, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        std::_Exit(4); // the test has gone: nothing left to tell
}

int hold(const QString& file)
{
    SQLite::Database db(file.toStdString(), SQLite::OPEN_READONLY, 5000);
    db.execAndGet("SELECT count(*) FROM sqlite_master");
    say("ready");
    std::string line;
    while (std::getline(std::cin, line)) { }
    return 0;
}

bool startDatabase(ClsMdb& mdb, const QString& file)
{
    mdb.setMdbName(file);
    mdb.setLanguageFolder(QStringLiteral(TAPISOL_TEST_LANG_DIR));
    if (mdb.MdbInit())
        return true;
    std::cerr << "MdbInit failed" << std::endl;
    return false;
}

// Stores `count` notes in one transaction, each with a Date of its own (the next `sequence`
// value), and tells their keys only after the commit.
void storeNotes(ClsMdb& mdb, int count, long long& sequence)
{
    std::vector<std::pair<long long, long long>> stored;
    SQLite::Database& db = mdb.database();
    db.exec("BEGIN IMMEDIATE");
    for (int i = 0; i < count; ++i) {
        MdbQuery insert
            = mdb.query("INSERT INTO Agenda (Date, Alarme, AlarmeRepet, Comportement, Frequence, FreqJours, Active, "
                        "Decoupage, WinBackColor) VALUES (?, 0, 0, 0, 0, '0000000', 0, 0, 0)");
        insert->bind(1, static_cast<double>(++sequence));
        insert->exec();
        stored.emplace_back(db.getLastInsertRowid(), sequence);
    }
    db.exec("COMMIT");
    for (const auto& [key, date] : stored)
        say("k " + std::to_string(key) + ' ' + std::to_string(date));
}

// Where the previous run of the tool stopped: the Date values go on from the highest one stored.
long long lastSequence(ClsMdb& mdb)
{
    return mdb.database().execAndGet("SELECT ifnull(max(Date), 0) FROM Agenda").getInt64();
}

int writeNotes(const QString& file)
{
    ClsMdb mdb;
    if (!startDatabase(mdb, file))
        return 2;
    long long sequence = lastSequence(mdb);
    say("ready");
    for (int round = 0;; ++round)
        storeNotes(mdb, 1 + round % 4, sequence);
}

// Rows written and mostly deleted again, so that every compaction has free pages to give back.
void churn(ClsMdb& mdb)
{
    SQLite::Database& db = mdb.database();
    db.exec("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 1500) "
            "INSERT INTO AlbumTriDesc (Famille, KeyPage, Description) SELECT 1, i, printf('%090d', i) FROM n");
    db.exec("DELETE FROM AlbumTriDesc WHERE KeyAuto % 10 <> 0");
}

int cycle(const QString& file)
{
    for (;;) {
        ClsMdb mdb;
        if (!startDatabase(mdb, file))
            return 2;
        long long sequence = lastSequence(mdb);
        for (int count = 1; count <= 4; ++count)
            storeNotes(mdb, count, sequence);
        churn(mdb);
        say("closing");
        QElapsedTimer timer;
        timer.start();
        mdb.close();
        say("closed " + std::to_string(timer.nsecsElapsed() / 1000));
    }
}

int start(const QString& file)
{
    ClsMdb mdb;
    say("start");
    QElapsedTimer timer;
    timer.start();
    if (!startDatabase(mdb, file))
        return 2;
    say("started " + std::to_string(timer.nsecsElapsed() / 1000));
    timer.restart();
    mdb.close();
    say("closed " + std::to_string(timer.nsecsElapsed() / 1000));
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    try {
        if (args.size() == 3 && args[1] == QLatin1String("hold"))
            return hold(args[2]);
        if (args.size() == 3 && args[1] == QLatin1String("write"))
            return writeNotes(args[2]);
        if (args.size() == 3 && args[1] == QLatin1String("cycle"))
            return cycle(args[2]);
        if (args.size() == 3 && args[1] == QLatin1String("start"))
            return start(args[2]);
    } catch (const std::exception& e) {
        std::cerr << e.what() << std::endl;
        return 3;
    }
    std::cerr << "usage: mdb_testtool hold|write|cycle|start <file>" << std::endl;
    return 1;
}
