// The one-second alarm scan on a database of many notes, none due: the time of one tick as the
// tray runs it (and its first tick after the notes changed), beside the whole alarm query with
// each candidate read again on every tick (the straightforward way), and beside an empty database.
//   tapisol-alarm-scan-bench FILE [notes] [future-alarms] [ticks]
// FILE is made (or replaced) with `notes` notes, `future-alarms` of them active with an alarm in
// the coming month; the rest are notes without alarm or with their alarm already shown.
#include "ClsMdb.h"
#include "JetValues.h"
#include "NoteAlarms.h"
#include "WallClock.h"

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <SQLiteCpp/Transaction.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>

namespace {

void fill(ClsMdb& db, int notes, int future, const QDateTime& now)
{
    SQLite::Transaction transaction(db.database());
    SQLite::Statement insert(db.database(),
        "INSERT INTO Agenda (Date, Alarme, DateAlarme, AlarmeRepet, Comportement, Frequence, FreqJours, Active, "
        "Decoupage, WinBackColor) VALUES (?, ?, ?, 0, 0, 0, '0000000', ?, 0, 0)");
    QRandomGenerator random(7);
    for (int i = 0; i < notes; ++i) {
        const bool armed = i < future;
        const bool shown = !armed && i % 3 == 0; // an alarm already shown: inactive
        const QDateTime alarm
            = armed ? now.addSecs(3600 + random.bounded(30 * 86400)) : now.addSecs(-random.bounded(365 * 86400));
        insert.bind(1, WallClock::toOa(WallClock::make(alarm.date())));
        Jet::bindBool(insert, 2, armed || shown);
        WallClock::bind(insert, 3, (armed || shown) ? alarm : QDateTime());
        Jet::bindBool(insert, 4, armed);
        insert.exec();
        insert.reset();
    }
    transaction.commit();
}

struct Figures
{
    double medianUs;
    double p99Us;
};

template <typename Tick> Figures measure(int ticks, Tick tick)
{
    std::vector<double> times;
    QElapsedTimer timer;
    for (int i = 0; i < ticks; ++i) {
        timer.start();
        tick(i);
        times.push_back(double(timer.nsecsElapsed()) / 1000.0);
    }
    std::sort(times.begin(), times.end());
    return {times[times.size() / 2], times[std::min(times.size() - 1, times.size() * 99 / 100)]};
}

// The whole alarm query every tick, each candidate read again to check it, as a first version did.
int wholeQuery(ClsMdb& db, const QDateTime& now)
{
    MdbQuery query = db.query("SELECT Numero FROM Agenda WHERE (Alarme = -1 AND Active = -1 AND DateAlarme <= ?1) "
                              "OR (Alarme = -1 AND Active = -1 AND DateAlarme > Date)");
    query->bind(1, WallClock::toOa(now));
    QList<qint64> candidates;
    while (query->executeStep())
        candidates << query->getColumn(0).getInt64();
    int due = 0;
    for (qint64 numero : std::as_const(candidates)) {
        const auto note = NoteAlarms::load(db, numero);
        due += note && Recurrence::isDue(*note, now) ? 1 : 0;
    }
    return due;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s FILE [notes] [future-alarms] [ticks]\n", argv[0]);
        return 2;
    }
    const QString file = QString::fromLocal8Bit(argv[1]);
    const int notes = argc > 2 ? atoi(argv[2]) : 100000;
    const int future = argc > 3 ? atoi(argv[3]) : 1000;
    const int ticks = argc > 4 ? atoi(argv[4]) : 2000;
    QTemporaryDir languages; // no language lists needed: the tables stay empty
    const QDateTime now = WallClock::make(QDate(2026, 11, 25), QTime(12, 0));

    auto run = [&](int count, int armed) {
        QFile::remove(file);
        ClsMdb db;
        db.setMdbName(file);
        db.setCopiesEnabled(false);
        db.setLanguageFolder(languages.path());
        if (!db.MdbInit())
            std::exit(1);
        fill(db, count, armed, now);
        int opened = 0;
        AlarmScan scan(db, [&opened](qint64) { ++opened; });
        const Figures tray = measure(ticks, [&](int i) { scan.run(now.addSecs(i)); });
        const Figures changed = measure(ticks / 10, [&](int i) {
            scan.invalidate();
            scan.run(now.addSecs(i));
        });
        const Figures whole = measure(ticks / 10, [&](int i) { opened += wholeQuery(db, now.addSecs(i)); });
        if (opened != 0)
            std::fprintf(stderr, "unexpected: %d notes due\n", opened);
        std::printf("%-26s %10.2f %10.2f %14.2f %14.2f %14.2f\n",
            QStringLiteral("%1 notes, %2 armed").arg(count).arg(armed).toUtf8().constData(), tray.medianUs, tray.p99Us,
            changed.medianUs, whole.medianUs, whole.p99Us);
        db.close();
    };
    std::printf("One alarm scan tick, none due (microseconds)\n");
    std::printf("%-26s %10s %10s %14s %14s %14s\n", "database", "tray med", "tray p99", "after a change",
        "every-tick med", "every-tick p99");
    run(0, 0);
    run(notes, future);
    return 0;
}
