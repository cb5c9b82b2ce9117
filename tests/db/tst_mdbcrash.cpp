// Another process on the database: the program killed with SIGKILL at random instants while it
// stores notes, compacts the file at exit or upgrades an old file; the slideshow player holding
// the file open. The kill instants come from a seed shown when a case fails (TAPISOL_TEST_SEED).
#include "MdbFiles.h"
#include "MdbSchema.h"
#include "MdbTestSupport.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QRandomGenerator>
#include <QThread>
#include <QtTest>

#include <csignal>
#include <functional>

#include <unistd.h>

using MdbTest::rows;

namespace {

constexpr int Kills = 16; // for each dangerous operation
constexpr int OldNotes = 3000;

// The helper is this same program run as `tst_mdbcrash --helper <mode> <file>`. In mode "hold" it
// opens the file read-only as the slideshow player does, prints "ready" and keeps it open until it
// is killed. In mode "run" it lives the program's lives again and again: prints "start", starts
// the database (an upgrade of an old file), prints "ready <µs>", stores notes for 100 ms, printing
// "k <Numero> <Date>" for each once its commit has returned, churns filler rows so that the
// compaction has work, prints "closing", closes (compaction) and prints "closed <µs>". Each line
// goes out with one write() as soon as it is known: what the test reads had happened.
void say(const std::string& line)
{
    const std::string text = line + '\n';
    if (::write(STDOUT_FILENO, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        std::_Exit(4); // the test has gone: nothing left to tell
}

int helper(const QString& mode, const QString& file)
{
    if (mode == QLatin1String("hold")) {
        SQLite::Database db(file.toStdString(), SQLite::OPEN_READONLY, 5000);
        db.execAndGet("SELECT count(*) FROM sqlite_master");
        say("ready");
        QThread::sleep(60);
    }
    MdbTest::Fixture helper;
    helper.file = file;
    for (QElapsedTimer timer; mode == QLatin1String("run");) {
        say("start");
        timer.start();
        auto mdb = helper.makeMdb();
        if (!mdb->MdbInit())
            throw std::runtime_error("MdbInit failed");
        say("ready " + std::to_string(timer.nsecsElapsed() / 1000));
        SQLite::Database& db = mdb->database();
        long long date = db.execAndGet("SELECT ifnull(max(Date), 0) FROM Agenda").getInt64();
        for (timer.restart(); timer.elapsed() < 100;) {
            MdbQuery insert = mdb->query(MdbTest::NoteInsert.arg(QLatin1Char('?')).toStdString());
            insert->bind(1, static_cast<double>(++date));
            insert->exec(); // committed once it returns
            say("k " + std::to_string(mdb->database().getLastInsertRowid()) + ' ' + std::to_string(date));
        }
        db.exec("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 1500) INSERT INTO "
                "AlbumTriDesc (Famille, KeyPage, Description) SELECT 1, i, printf('%090d', i) FROM n");
        db.exec("DELETE FROM AlbumTriDesc WHERE KeyAuto % 10 <> 0");
        say("closing");
        timer.restart();
        mdb->close();
        say("closed " + std::to_string(timer.nsecsElapsed() / 1000));
    }
    return 1; // no such mode
}

// One life of the helper, read line by line.
struct Tool
{
    QProcess process;
    QList<QByteArray> lines;

    Tool(const char* mode, const QString& file)
    {
        process.start(QCoreApplication::applicationFilePath(), {"--helper", QLatin1String(mode), file});
        process.waitForStarted(10000);
    }
    ~Tool() { kill(); }

    /// Reads up to the next line starting with `word`: the number after the word (0 if none),
    /// -1 when the program ended or 20 s went by without it.
    qint64 waitFor(const QByteArray& word)
    {
        for (const QDeadlineTimer deadline(20000); !deadline.hasExpired();) {
            while (process.canReadLine()) {
                lines << process.readLine().trimmed();
                if (lines.last().startsWith(word))
                    return lines.last().mid(word.size()).toLongLong();
            }
            if (!process.waitForReadyRead(int(deadline.remainingTime())) && process.state() == QProcess::NotRunning)
                break;
        }
        return -1;
    }

    /// SIGKILL, unless it has ended by itself; then every whole line it had written.
    void kill()
    {
        if (process.state() != QProcess::NotRunning) {
            ::kill(static_cast<pid_t>(process.processId()), SIGKILL);
            process.waitForFinished(10000);
        }
        QList<QByteArray> rest = process.readAllStandardOutput().split('\n');
        rest.removeLast(); // empty, or a line cut short
        for (const QByteArray& line : std::as_const(rest))
            lines << line.trimmed();
    }
};

} // namespace

class TestMdbCrash : public QObject, MdbTest::Fixture
{
    Q_OBJECT

    quint32 m_seed = 0;
    QRandomGenerator m_random;
    int m_kill = -1;
    QSet<QString> m_committed; // "k <Numero> <Date>" of every note whose commit had returned

    // Kills lives of the helper in `mode`. `arm` waits until the helper has reached the dangerous
    // part and tells how long that part lasts (µs); the i-th kill falls at a random instant of the
    // i-th slice of it. `after` then looks at what the killed life left.
    void killLoop(const char* mode, const std::function<qint64(Tool&)>& arm, const std::function<void(Tool&)>& after)
    {
        for (m_kill = 0; m_kill < Kills; ++m_kill) {
            Tool tool(mode, file);
            const qint64 span = arm(tool);
            QVERIFY2(span > 0, tool.process.readAllStandardError().constData());
            QThread::usleep(ulong((m_kill + m_random.generateDouble()) * span / Kills));
            tool.kill();
            for (const QByteArray& line : std::as_const(tool.lines)) {
                if (line.startsWith("k "))
                    m_committed << QString::fromLatin1(line);
            }
            after(tool);
            if (QTest::currentTestFailed())
                return;
        }
    }

    // The next start after a kill needs no copy and finds a healthy file, no compaction left behind
    // and every note whose commit had returned, with its own values.
    void checkAfterKill()
    {
        auto mdb = makeMdb();
        QVERIFY(mdb->MdbInit());
        QCOMPARE(notices, QList<int>());
        QVERIFY(!QFileInfo::exists(copy(".mdb.ERR")) && !QFileInfo::exists(copy(".mdx")));
        SQLite::Database& db = mdb->database();
        QCOMPARE(rows(db, "PRAGMA quick_check"), QStringLiteral("ok"));
        const QStringList notes
            = rows(db, "SELECT 'k ' || Numero || ' ' || CAST(Date AS INTEGER) FROM Agenda").split('\n');
        const QSet<QString> stored(notes.cbegin(), notes.cend());
        for (const QString& note : std::as_const(m_committed))
            QVERIFY2(stored.contains(note), qPrintable(note + QStringLiteral(" lost")));
        mdb->close();
    }

    // A data folder holding only the old file again.
    void putBack(const QString& old)
    {
        const QDir folder(home->tapisolDataDir());
        for (const QString& name : folder.entryList(QDir::Files))
            QVERIFY(QFile::remove(folder.filePath(name)));
        QVERIFY(QFile::copy(old, file));
        MdbTest::startTracing();
    }

    // Every step done, every old value kept where the upgrade keeps it (the alarm time of Heure
    // folded into DateAlarme), the one "109.mdb" copy whole.
    void checkUpgraded()
    {
        auto mdb = makeMdb();
        QVERIFY(mdb->MdbInit());
        QCOMPARE(notices, QList<int>());
        SQLite::Database& db = mdb->database();
        for (const MdbSchema::Table& table : MdbSchema::tables())
            QCOMPARE(MdbTest::columnOrder(db, QLatin1String(table.name)), table.fieldNames().join(','));
        QCOMPARE(rows(db,
                     "SELECT count(*), sum(WinLargeur = Agenda.Numero + 0.5), sum(abs(DateAlarme - Date - 14.5 / 24) < "
                     "1e-6), "
                     "sum(Texte = 'texte ' || NumeroNote AND TxtAlign = 0) FROM Agenda JOIN AlarmeTxt "
                     "ON NumeroNote = Agenda.Numero"),
            QStringLiteral("%1|%1|%1|%1").arg(OldNotes));
        QVERIFY(MdbFiles::checkFile(copy("109.mdb"), MdbSchema::Version).ok());
        SQLite::Database saved(copy("109.mdb").toStdString());
        QCOMPARE(rows(saved, "SELECT count(*) FROM Agenda"), QString::number(OldNotes));
        QVERIFY(!saved.tableExists("Albums"));
    }

private slots:
    void initTestCase()
    {
        const QByteArray seed = qgetenv("TAPISOL_TEST_SEED");
        m_seed = seed.isEmpty() ? QRandomGenerator::global()->generate() : seed.toUInt();
    }

    void init()
    {
        setUp();
        m_random.seed(m_seed);
        m_committed.clear();
    }

    void cleanup()
    {
        if (QTest::currentTestFailed())
            qWarning("TAPISOL_TEST_SEED=%u, kill number %d", m_seed, m_kill);
        home.reset();
    }

    void killDuringWrites()
    {
        killLoop(
            "run", [](Tool& tool) { return tool.waitFor("ready") > 0 ? 60000 : 0; },
            [this](Tool& tool) {
                QCOMPARE(tool.process.exitStatus(), QProcess::CrashExit);
                checkAfterKill();
            });
        QVERIFY2(m_committed.size() > 2 * Kills, qPrintable(QString::number(m_committed.size())));
    }

    // Each helper lives one life whole and is killed during the compaction of its second.
    void killDuringCompaction()
    {
        int insideCompaction = 0;
        int mdxLeft = 0;
        killLoop(
            "run",
            [](Tool& tool) {
                const qint64 first = tool.waitFor("closed");
                return tool.waitFor("closing") == 0 ? first * 6 / 5 : 0;
            },
            [&](Tool& tool) {
                QCOMPARE(tool.process.exitStatus(), QProcess::CrashExit);
                insideCompaction += tool.lines.last() == "closing" ? 1 : 0;
                const bool mdx = QFileInfo::exists(copy(".mdx"));
                mdxLeft += mdx ? 1 : 0;
                MdbTest::startTracing();
                checkAfterKill();
                QCOMPARE(!MdbTest::traceLines().filter("Tapisol.mdx laissé par un arrêt brutal").isEmpty(), mdx);
            });
        QVERIFY2(insideCompaction >= Kills / 3, qPrintable(QString::number(insideCompaction)));
        QVERIFY2(mdxLeft > 0, "no kill fell while the compacted copy was being written");
    }

    // An old file: no album tables (so the start takes the "109.mdb" copy), Agenda without SonRepet
    // and with the alarm time apart in Heure, AlarmeTxt without TxtAlign, enough notes that the
    // upgrade takes a while. An undisturbed upgrade first proves the checks and times the kills.
    void killDuringUpgrade()
    {
        QVERIFY(makeMdb(false)->MdbInit());
        MdbTest::execAll(file,
            {"DROP TABLE Albums; DROP TABLE AlbumPages; DROP TABLE AlbumPictures; DROP TABLE AlbumPagesRel; "
             "DROP TABLE AlbumPicturesRel; DROP TABLE AlbumTri; DROP TABLE AlbumTriDesc; DROP TABLE VolumeDesc; "
             "DROP TABLE DiaporamaDesc; DROP TABLE Diaporama; ALTER TABLE Agenda DROP COLUMN SonRepet; "
             "ALTER TABLE Agenda ADD COLUMN Heure VARCHAR(5); DROP INDEX Agenda_IndDate; "
             "CREATE INDEX Agenda_IndDate ON Agenda (Date, Heure); ALTER TABLE AlarmeTxt DROP COLUMN TxtAlign",
                QStringLiteral("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < %1) "
                               "INSERT INTO Agenda (Numero, Date, Alarme, DateAlarme, AlarmeRepet, Comportement, "
                               "Frequence, FreqJours, Active, Decoupage, WinBackColor, WinLargeur, Heure) SELECT i, "
                               "45000 + i % 100, -1, 45000 + i % 100, 0, 0, 0, '1000000', -1, 0, 255, i + 0.5, "
                               "'14:30' FROM n")
                    .arg(OldNotes),
                "INSERT INTO AlarmeTxt (NumeroNote, ObjType, Texte) SELECT Numero, 1, 'texte ' || Numero FROM Agenda",
                "PRAGMA user_version = 0", "PRAGMA journal_mode = DELETE", "VACUUM"});
        const QString old = home->path() + QStringLiteral("/old.mdb");
        QVERIFY(QFile::rename(file, old));
        putBack(old);
        Tool first("run", file);
        const qint64 span = first.waitFor("ready");
        QVERIFY(first.waitFor("closed") > 0);
        first.kill();
        checkUpgraded();
        int insideStart = 0;
        putBack(old);
        killLoop(
            "run", [span](Tool& tool) { return tool.waitFor("start") == 0 ? span : 0; },
            [&](Tool& tool) {
                insideStart += tool.lines.last() == "start";
                checkUpgraded();
                putBack(old);
            });
        QVERIFY2(insideStart >= Kills / 3, qPrintable(QString::number(insideStart)));
    }

    // The slideshow player has the file open: the compaction gives up and leaves the file as it is.
    void compactionLeavesAFileOpenElsewhere()
    {
        auto mdb = makeMdb();
        QVERIFY(mdb->MdbInit());
        mdb->database().exec(MdbTest::NoteInsert.arg(45000).toStdString());
        Tool player("hold", file);
        QCOMPARE(player.waitFor("ready"), 0);
        const ino_t inode = MdbTest::inodeOf(file);
        mdb->close();
        QCOMPARE(MdbTest::inodeOf(file), inode);
        QVERIFY(!QFileInfo::exists(copy(".mdx")));
        QCOMPARE(MdbTest::traceLines().filter("ClsMdb End Terminate, Err").size(), 1);
        player.kill();
        SQLite::Database db(file.toStdString());
        QCOMPARE(rows(db, "SELECT count(*) FROM Agenda"), QStringLiteral("1"));
    }
};

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc == 4 && qstrcmp(argv[1], "--helper") == 0)
        return helper(app.arguments()[2], app.arguments()[3]); // an exception ends it with its message
    TestMdbCrash test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_mdbcrash.moc"
