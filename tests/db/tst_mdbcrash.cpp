// The database's writer killed with SIGKILL at random instants: while it stores notes, while it
// compacts the file at exit, while it upgrades an old file. After each kill the database is
// started again as the program would start it, and every note whose commit had returned must be
// there, in a healthy file, without any copy having been needed.
//
// The kill instants are drawn from a seed shown when a case fails; TAPISOL_TEST_SEED replays it.
#include "ClsMdb.h"
#include "MdbFiles.h"
#include "MdbSchema.h"
#include "MdbTestSupport.h"
#include "TempXdgHome.h"

#include <QProcess>
#include <QRandomGenerator>
#include <QThread>
#include <QtTest>

#include <SQLiteCpp/Database.h>

#include <csignal>

using MdbTest::rows;

namespace {

constexpr int KillsDuringWrites = 24;
constexpr int KillsDuringCompaction = 24;
constexpr int KillsDuringUpgrade = 20;
constexpr int OldNotes = 3000;

// One run of the helper program, read line by line.
class Tool
{
public:
    explicit Tool(const QStringList& arguments)
    {
        m_process.start(QStringLiteral(MDB_TESTTOOL), arguments);
        m_process.waitForStarted(10000);
    }

    ~Tool()
    {
        if (m_process.state() != QProcess::NotRunning) {
            ::kill(static_cast<pid_t>(m_process.processId()), SIGKILL);
            m_process.waitForFinished(10000);
        }
    }

    /// Reads lines until one starts with `prefix`; that line, or an empty one after 20 s or at exit.
    QByteArray waitFor(const QByteArray& prefix)
    {
        QDeadlineTimer deadline(20000);
        for (;;) {
            while (m_process.canReadLine()) {
                const QByteArray line = m_process.readLine().trimmed();
                m_lines << line;
                if (line.startsWith(prefix))
                    return line;
            }
            if (deadline.hasExpired()
                || (!m_process.waitForReadyRead(int(deadline.remainingTime()))
                    && m_process.state() == QProcess::NotRunning))
                return {};
        }
    }

    /// SIGKILL, then every whole line the program had written.
    void kill()
    {
        ::kill(static_cast<pid_t>(m_process.processId()), SIGKILL);
        m_process.waitForFinished(10000);
        const QByteArray rest = m_process.readAllStandardOutput();
        QList<QByteArray> lines = rest.split('\n');
        lines.removeLast(); // empty, or a line cut short
        for (const QByteArray& line : std::as_const(lines))
            m_lines << line.trimmed();
    }

    bool wasKilled() const { return m_process.exitStatus() == QProcess::CrashExit; }
    QByteArray errors() { return m_process.readAllStandardError(); }
    const QList<QByteArray>& lines() const { return m_lines; }

private:
    QProcess m_process;
    QList<QByteArray> m_lines;
};

// The number after a "word <number>" line.
qint64 numberOf(const QByteArray& line)
{
    return line.mid(line.indexOf(' ') + 1).toLongLong();
}

// Stratified instants: the i-th of n falls somewhere in the i-th n-th of [0, span].
ulong stratified(QRandomGenerator& random, int i, int n, qint64 spanUs)
{
    return ulong((i + random.generateDouble()) * spanUs / n);
}

} // namespace

class TestMdbCrash : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void killDuringWrites();
    void killDuringCompaction();
    void killDuringUpgrade();
    void leaseHeldAtCloseDoesNotAbort();

private:
    std::unique_ptr<ClsMdb> makeMdb();
    void collectKeys(const Tool& tool);
    void checkAfterKill();
    void makeOldFile(const QString& file);
    void checkUpgraded();
    QString copy(const char* replacement) const { return m_file.chopped(4) + QLatin1String(replacement); }

    quint32 m_seed = 0;
    QRandomGenerator m_random;
    int m_iteration = -1;
    std::unique_ptr<TempXdgHome> m_home;
    QString m_file;
    QList<int> m_notices;
    QMap<qint64, qint64> m_committed; // Numero -> Date of every note whose commit had returned
};

void TestMdbCrash::initTestCase()
{
    const QByteArray seed = qgetenv("TAPISOL_TEST_SEED");
    m_seed = seed.isEmpty() ? QRandomGenerator::global()->generate() : seed.toUInt();
}

void TestMdbCrash::init()
{
    m_random.seed(m_seed);
    m_iteration = -1;
    m_home = std::make_unique<TempXdgHome>();
    QDir().mkpath(m_home->tapisolDataDir());
    m_file = m_home->tapisolDataDir() + QStringLiteral("Tapisol.mdb");
    m_committed.clear();
    MdbTest::startTracing();
}

void TestMdbCrash::cleanup()
{
    if (QTest::currentTestFailed())
        qWarning("TAPISOL_TEST_SEED=%u, kill number %d", m_seed, m_iteration);
    m_home.reset();
}

std::unique_ptr<ClsMdb> TestMdbCrash::makeMdb()
{
    m_notices.clear();
    return MdbTest::makeMdb(m_file, &m_notices);
}

void TestMdbCrash::collectKeys(const Tool& tool)
{
    for (const QByteArray& line : tool.lines()) {
        const QList<QByteArray> parts = line.split(' ');
        if (parts.size() == 3 && parts[0] == "k")
            m_committed.insert(parts[1].toLongLong(), parts[2].toLongLong());
    }
}

// The next start after a kill: it must need no copy, find a healthy file holding every committed
// note with its own values, leave no compaction behind, and go on numbering after the last key.
void TestMdbCrash::checkAfterKill()
{
    auto mdb = makeMdb();
    QVERIFY(mdb->MdbInit());
    QCOMPARE(m_notices, QList<int>());
    QVERIFY(!QFileInfo::exists(copy(".mdb.ERR")));
    QVERIFY(!QFileInfo::exists(copy(".mdx")));
    SQLite::Database& db = mdb->database();
    QCOMPARE(rows(db, "PRAGMA quick_check"), QStringLiteral("ok"));
    QMap<qint64, qint64> stored;
    {
        SQLite::Statement notes(db, "SELECT Numero, Date FROM Agenda");
        while (notes.executeStep())
            stored.insert(notes.getColumn(0).getInt64(), notes.getColumn(1).getInt64());
    }
    for (auto it = m_committed.cbegin(); it != m_committed.cend(); ++it)
        QVERIFY2(stored.value(it.key(), -1) == it.value(), qPrintable(QStringLiteral("note %1 lost").arg(it.key())));
    if (!m_committed.isEmpty())
        QVERIFY(
            rows(db, "SELECT seq FROM sqlite_sequence WHERE name = 'Agenda'").toLongLong() >= m_committed.lastKey());
    mdb->close();
}

void TestMdbCrash::killDuringWrites()
{
    for (m_iteration = 0; m_iteration < KillsDuringWrites; ++m_iteration) {
        Tool tool({"write", m_file});
        QVERIFY2(tool.waitFor("ready") == "ready", tool.errors().constData());
        QThread::usleep(stratified(m_random, m_iteration, KillsDuringWrites, 60000));
        tool.kill();
        QVERIFY(tool.wasKilled());
        collectKeys(tool);
        checkAfterKill();
        if (QTest::currentTestFailed())
            return;
    }
    // Enough commits were cut into to mean something: the writer stores hundreds per second.
    QVERIFY2(m_committed.size() > 2 * KillsDuringWrites, qPrintable(QString::number(m_committed.size())));
}

// The helper runs whole program lives (start, notes, churn, compaction); each kill falls at a
// random instant of a compaction, timed from the one the same run has just finished.
void TestMdbCrash::killDuringCompaction()
{
    int insideCompaction = 0;
    int mdxLeft = 0;
    for (m_iteration = 0; m_iteration < KillsDuringCompaction; ++m_iteration) {
        Tool tool({"cycle", m_file});
        const QByteArray closed = tool.waitFor("closed");
        QVERIFY2(!closed.isEmpty(), tool.errors().constData());
        QVERIFY(tool.waitFor("closing") == "closing");
        QThread::usleep(stratified(m_random, m_iteration, KillsDuringCompaction, numberOf(closed) * 6 / 5));
        tool.kill();
        QVERIFY(tool.wasKilled());
        collectKeys(tool);
        if (tool.lines().last() == "closing")
            ++insideCompaction;
        const bool mdx = QFileInfo::exists(copy(".mdx"));
        mdxLeft += mdx ? 1 : 0;
        MdbTest::startTracing();
        checkAfterKill();
        if (QTest::currentTestFailed())
            return;
        QCOMPARE(!MdbTest::traceLines().filter("Tapisol.mdx laissé par un arrêt brutal").isEmpty(), mdx);
    }
    QVERIFY2(insideCompaction >= KillsDuringCompaction / 3, qPrintable(QString::number(insideCompaction)));
    QVERIFY2(mdxLeft > 0, "no kill fell while the compacted copy was being written");
}

// A file of an older version: no album tables (so the first start also takes the "109.mdb"
// copy), Agenda without SonRepet and with the alarm time apart in Heure, AlarmeTxt without
// TxtAlign; enough notes that the upgrade takes a while.
void TestMdbCrash::makeOldFile(const QString& file)
{
    {
        ClsMdb fresh;
        fresh.setMdbName(file);
        fresh.setCopiesEnabled(false);
        fresh.setLanguageFolder(QStringLiteral(TAPISOL_TEST_LANG_DIR));
        QVERIFY(fresh.MdbInit());
    }
    QStringList statements;
    for (const char* table : {"Albums", "AlbumPages", "AlbumPictures", "AlbumPagesRel", "AlbumPicturesRel", "AlbumTri",
             "AlbumTriDesc", "VolumeDesc", "DiaporamaDesc", "Diaporama"})
        statements << QStringLiteral("DROP TABLE %1").arg(QLatin1String(table));
    statements << "ALTER TABLE Agenda DROP COLUMN SonRepet"
               << "ALTER TABLE Agenda ADD COLUMN Heure VARCHAR(5)"
               << "DROP INDEX Agenda_IndDate"
               << "CREATE INDEX Agenda_IndDate ON Agenda (Date, Heure)"
               << "ALTER TABLE AlarmeTxt DROP COLUMN TxtAlign"
               << QStringLiteral("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < %1) "
                                 "INSERT INTO Agenda (Numero, Date, Alarme, DateAlarme, AlarmeRepet, Comportement, "
                                 "Frequence, FreqJours, Active, Decoupage, WinBackColor, WinLargeur, Heure) "
                                 "SELECT i, 45000 + i % 100, -1, 45000 + i % 100, 0, 0, 0, '1000000', -1, 0, 255, "
                                 "i + 0.5, '14:30' FROM n")
                      .arg(OldNotes)
               << QStringLiteral("INSERT INTO AlarmeTxt (NumeroNote, ObjType, Texte) "
                                 "SELECT Numero, 1, 'texte ' || Numero FROM Agenda")
               << "PRAGMA user_version = 0"
               << "PRAGMA journal_mode = DELETE"
               << "VACUUM";
    MdbTest::execAll(file, statements);
    MdbFiles::removeWithCompanions(MdbFiles::copyName(file, QStringLiteral("109.mdb")));
}

// Every step done, every old value kept where the upgrade keeps it, the one "109.mdb" copy whole.
void TestMdbCrash::checkUpgraded()
{
    auto mdb = makeMdb();
    QVERIFY(mdb->MdbInit());
    QCOMPARE(m_notices, QList<int>());
    SQLite::Database& db = mdb->database();
    for (const MdbSchema::Table& table : MdbSchema::tables())
        QCOMPARE(MdbTest::columnOrder(db, QLatin1String(table.name)), table.fieldNames().join(','));
    const qint64 n = OldNotes;
    QCOMPARE(rows(db,
                 "SELECT count(*), sum(Numero), sum(WinLargeur), "
                 "sum(abs(DateAlarme - (45000 + Numero % 100) - 14.5 / 24) < 1e-6) FROM Agenda"),
        QStringLiteral("%1|%2|%3|%1")
            .arg(n)
            .arg(n * (n + 1) / 2)
            .arg(QString::number(n * (n + 1) / 2.0 + n / 2.0, 'f', 1)));
    QCOMPARE(rows(db, "SELECT count(*) FROM AlarmeTxt WHERE Texte = 'texte ' || NumeroNote AND TxtAlign = 0"),
        QString::number(n));
    const QString copy109 = copy("109.mdb");
    QVERIFY(MdbFiles::checkFile(copy109, MdbSchema::Version).ok);
    SQLite::Database saved(copy109.toStdString());
    QCOMPARE(rows(saved, "SELECT count(*) FROM Agenda"), QString::number(n));
    QVERIFY(!saved.tableExists("Albums"));
}

void TestMdbCrash::killDuringUpgrade()
{
    const QString old = m_home->path() + QStringLiteral("/old.mdb");
    makeOldFile(old);
    if (QTest::currentTestFailed())
        return;
    // An undisturbed upgrade first: it proves the checks and times the kills.
    QVERIFY(QFile::copy(old, m_file));
    qint64 span = 0;
    {
        Tool tool({"start", m_file});
        span = numberOf(tool.waitFor("started"));
        QVERIFY2(span > 0, tool.errors().constData());
        span += numberOf(tool.waitFor("closed"));
    }
    checkUpgraded();
    int insideStart = 0;
    for (m_iteration = 0; m_iteration < KillsDuringUpgrade; ++m_iteration) {
        const QDir folder(m_home->tapisolDataDir());
        for (const QString& name : folder.entryList(QDir::Files))
            QVERIFY(QFile::remove(folder.filePath(name)));
        QVERIFY(QFile::copy(old, m_file));
        MdbTest::startTracing();
        Tool tool({"start", m_file});
        QVERIFY(tool.waitFor("start") == "start");
        QThread::usleep(stratified(m_random, m_iteration, KillsDuringUpgrade, span));
        tool.kill(); // it may have ended by itself: the end of the span is the last instant of its close
        insideStart += tool.wasKilled() && tool.lines().last() == "start" ? 1 : 0;
        checkUpgraded();
        if (QTest::currentTestFailed())
            return;
    }
    QVERIFY2(insideStart >= KillsDuringUpgrade / 3, qPrintable(QString::number(insideStart)));
}

// The program's own crash: a statement still lent out when the database object closes.
void TestMdbCrash::leaseHeldAtCloseDoesNotAbort()
{
    auto mdb = makeMdb();
    QVERIFY(mdb->MdbInit());
    mdb->database().exec("INSERT INTO TableImage VALUES ('/p/a.jpg')");
    {
        MdbQuery lease = mdb->query("SELECT count(*) FROM TableImage");
        QVERIFY(lease->executeStep());
        mdb->close();
        QVERIFY(!mdb->isOpen());
        QCOMPARE(lease->getColumn(0).getInt(), 1);
    }
    QCOMPARE(MdbTest::traceLines().filter("ClsMdb End Terminate, Err").size(), 1);
    SQLite::Database db(m_file.toStdString());
    QCOMPARE(rows(db, "SELECT Nom FROM TableImage"), QStringLiteral("/p/a.jpg"));
}

QTEST_GUILESS_MAIN(TestMdbCrash)
#include "tst_mdbcrash.moc"
