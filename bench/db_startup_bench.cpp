// The database work of a start on a large file, timed piece by piece (db_startup.sh runs it):
//   tapisol-db-startup-bench create <file>       makes an empty file of the current layout
//   tapisol-db-startup-bench run <file> [runs]   times, `runs` times each, the trial opening,
//       the ".mdb.bak" copy, the opening with Verify, the whole MdbInit, then the alarm scan
//       (1,000 executions of its prepared statement) and once the compaction at exit.
// Figures go to stdout as "name<TAB>median ms<TAB>min ms<TAB>max ms<TAB>note".
#include "ClsMdb.h"
#include "MdbFiles.h"
#include "MdbSchema.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

namespace {

// The scan run every second by the tray program, as the alarms module words it.
const char* const AlarmScan = "SELECT * FROM Agenda WHERE (Alarme = -1 AND Active = -1 AND DateAlarme <= Now()) "
                              "OR (Alarme = -1 AND Active = -1 AND DateAlarme > Date)";

struct Figures
{
    double median = 0;
    double min = 0;
    double max = 0;
};

Figures figuresOf(std::vector<double> ms)
{
    std::sort(ms.begin(), ms.end());
    return {ms[ms.size() / 2], ms.front(), ms.back()};
}

void print(const char* name, const Figures& f, const QString& note = {})
{
    std::printf("%s\t%.3f\t%.3f\t%.3f\t%s\n", name, f.median, f.min, f.max, qPrintable(note));
    std::fflush(stdout);
}

// Milliseconds of each of `runs` calls of `work`; false from `work` stops everything.
std::vector<double> timed(int runs, const std::function<bool()>& work)
{
    std::vector<double> ms;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer timer;
        timer.start();
        if (!work())
            return {};
        ms.push_back(timer.nsecsElapsed() / 1e6);
    }
    return ms;
}

void prepare(ClsMdb& mdb, const QString& file, bool copies)
{
    mdb.setMdbName(file);
    mdb.setCopiesEnabled(copies);
}

int create(const QString& file)
{
    ClsMdb mdb;
    prepare(mdb, file, false);
    if (!mdb.MdbInit())
        return 2;
    mdb.close();
    // The first start leaves its safety copy; the benchmark's file stands alone.
    QFile::remove(MdbFiles::copyName(file, QStringLiteral("109.mdb")));
    return 0;
}

bool report(const char* name, const std::vector<double>& ms, const QString& note = {})
{
    if (ms.empty()) {
        std::fprintf(stderr, "%s failed\n", name);
        return false;
    }
    print(name, figuresOf(ms), note);
    return true;
}

// The scan's plan as SQLite chose it, details joined by " / ".
QString planOf(SQLite::Database& db, const std::string& sql)
{
    SQLite::Statement plan(db, "EXPLAIN QUERY PLAN " + sql);
    QStringList steps;
    while (plan.executeStep())
        steps << QString::fromUtf8(plan.getColumn(3).getText());
    return steps.join(QStringLiteral(" / "));
}

bool scan(const QString& file)
{
    ClsMdb mdb;
    prepare(mdb, file, false);
    if (!mdb.MdbInit())
        return false;
    int found = 0;
    const std::vector<double> ms = timed(1000, [&mdb, &found] {
        MdbQuery query = mdb.query(AlarmScan);
        found = 0;
        while (query->executeStep())
            ++found;
        return true;
    });
    report("alarm scan", ms, QStringLiteral("%1 rows; plan: %2").arg(found).arg(planOf(mdb.database(), AlarmScan)));
    QElapsedTimer timer;
    timer.start();
    mdb.close();
    return report("close (compaction)", {timer.nsecsElapsed() / 1e6});
}

// Starts of the database object, each as after an exit of the program: its own end (the
// compaction) comes after its time is taken.
std::vector<double> starts(const QString& file, int runs, bool copies, bool afterCrash = false)
{
    std::vector<double> ms;
    for (int i = 0; i < runs; ++i) {
        if (afterCrash)
            MdbFiles::forgetVerified(file); // as if the last run had been killed: no clean exit
        ClsMdb mdb;
        prepare(mdb, file, copies);
        QElapsedTimer timer;
        timer.start();
        if (!mdb.MdbInit())
            return {};
        ms.push_back(timer.nsecsElapsed() / 1e6);
    }
    return ms;
}

int run(const QString& file, int runs)
{
    const QString bak = MdbFiles::copyName(file, QStringLiteral(".mdb.bak"));
    std::printf("step\tmedian ms\tmin ms\tmax ms\tnote\n");
    const bool ok = report("trial (open + quick_check)",
                        timed(runs, [&file] { return MdbFiles::checkFile(file, MdbSchema::Version).ok(); }))
        && report(".mdb.bak (backup API + check)",
            timed(runs,
                [&file, &bak] {
                    SQLite::Database source(file.toStdString(), SQLite::OPEN_READWRITE);
                    QString error;
                    return MdbFiles::snapshot(source, bak, true, &error);
                }))
        && report("open + Verify", starts(file, runs, false))
        && report("MdbInit (all of the above)", starts(file, runs, true))
        && report("MdbInit after a crash", starts(file, runs, true, true)) && scan(file);
    return ok ? 0 : 2;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() == 3 && args[1] == QLatin1String("create"))
        return create(args[2]);
    if ((args.size() == 3 || args.size() == 4) && args[1] == QLatin1String("run"))
        return run(args[2], args.size() == 4 ? std::max(1, args[3].toInt()) : 5);
    std::fprintf(stderr, "usage: tapisol-db-startup-bench create <file> | run <file> [runs]\n");
    return 1;
}
