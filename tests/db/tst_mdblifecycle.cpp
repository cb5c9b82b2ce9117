// Start and end of the database: trace lines, the copies and their rules, the compaction.
#include "ClsMdb.h"
#include "MdbTestSupport.h"
#include "TempXdgHome.h"

#include <QProcess>
#include <QtTest>

#include <SQLiteCpp/Database.h>

#include <sys/stat.h>

using MdbTest::rows;
using MdbTest::traceLines;

namespace {

QByteArray contentOf(const QString& file)
{
    QFile f(file);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<absent>");
}

void writeFile(const QString& file, const QByteArray& content)
{
    QFile f(file);
    QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    f.write(content);
}

ino_t inodeOf(const QString& file)
{
    struct stat info
    {
    };
    return ::stat(QFile::encodeName(file).constData(), &info) == 0 ? info.st_ino : 0;
}

mode_t modeOf(const QString& file)
{
    struct stat info
    {
    };
    return ::stat(QFile::encodeName(file).constData(), &info) == 0 ? info.st_mode & 0777 : 0;
}

// True when `expected` appears in `lines` in this order, other lines in between.
bool inOrder(const QStringList& lines, const QStringList& expected)
{
    qsizetype next = 0;
    for (const QString& line : lines) {
        if (next < expected.size() && line == expected[next])
            ++next;
    }
    if (next < expected.size())
        qWarning() << "missing in the trace:" << expected[next] << lines.filter("Err");
    return next == expected.size();
}

const QString NoteInsert = "INSERT INTO Agenda (Date, Alarme, AlarmeRepet, Comportement, Frequence, FreqJours, Active, "
                           "Decoupage, WinBackColor) VALUES (%1, 0, 0, 0, 0, '0000000', 0, 0, 0)";

} // namespace

class TestMdbLifecycle : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void newFileStartsAndEndsInOrder();
    void oldFileGetsOne109Copy();
    void damagedFileIsSetAsideAndRestored_data();
    void damagedFileIsSetAsideAndRestored();
    void damagedCopies_data();
    void damagedCopies();
    void emptyFileWithoutCopyIsANewStart();
    void failedOpeningKeepsABadCopy();
    void leftoversOfAKillAreRemoved();
    void compactionKeepsEveryRowAndCounter();
    void cleanExitSparesTheNextFullCheck();
    void compactionLeavesAFileOpenElsewhere_data();
    void compactionLeavesAFileOpenElsewhere();

private:
    std::unique_ptr<ClsMdb> makeMdb(bool copies = true);
    bool startAndClose(const QString& sql = {});
    QString copy(const char* replacement) const { return m_file.chopped(4) + QLatin1String(replacement); }

    std::unique_ptr<TempXdgHome> m_home;
    QString m_file;
    QList<int> m_notices;
};

void TestMdbLifecycle::init()
{
    m_home = std::make_unique<TempXdgHome>();
    QDir().mkpath(m_home->tapisolDataDir());
    m_file = m_home->tapisolDataDir() + QStringLiteral("Tapisol.mdb");
    m_notices.clear();
    MdbTest::startTracing();
}

void TestMdbLifecycle::cleanup()
{
    m_home.reset();
}

std::unique_ptr<ClsMdb> TestMdbLifecycle::makeMdb(bool copies)
{
    return MdbTest::makeMdb(m_file, &m_notices, copies);
}

// One start of the program: MdbInit, one statement, the compaction at exit.
bool TestMdbLifecycle::startAndClose(const QString& sql)
{
    auto mdb = makeMdb();
    if (!mdb->MdbInit())
        return false;
    if (!sql.isEmpty())
        mdb->database().exec(sql.toStdString());
    mdb->close();
    return true;
}

void TestMdbLifecycle::newFileStartsAndEndsInOrder()
{
    QVERIFY(startAndClose());
    const QStringList lines = traceLines();
    QVERIFY(inOrder(lines,
        {"ClsMdb Create Wk Space", "ClsMdb Init exist Database " + m_file + " =Faux", "ClsMdb Init Missing Database",
            "M1 Create Database", "M1 Database created", "ClsMdb Backup DataBases", "ClsMdb Open DataBases " + m_file,
            "ClsMdb Verify DataBase", "ClsMdb MdbCréationTable", "ClsMdb TableExist TableImage = Faux",
            "M1 CreateTablePays, Begin", "M1 CreateTablePays, Loaded",
            "MdbInit SaveTable109 " + m_file + " vers " + copy("109.mdb"), "ClsMdb End MdbCréationTable, Ok",
            "ClsMdb Verify DataBase Ctl Champs", "ClsMdb End Verify DataBase, Ok", "ClsMdb End MdbInit, Ok",
            "ClsMdb Terminate compact Database", "ClsMdb End Terminate, Ok"}));
    QStringList created = lines.filter(QRegularExpression("^ClsMdb End Database Creation "));
    created.replaceInStrings("ClsMdb End Database Creation ", "");
    QCOMPARE(created.join(' '),
        QStringLiteral("TableImage, Ok TableAgenda, Ok AlarmeTxt, Ok Pays, Ok CodeLangue, Ok "
                       "Albums, Ok AlbumPages, Ok AlbumPictures, Ok AlbumPagesRel, Ok "
                       "AlbumPicturesRel, Ok AlbumTri, Ok AlbumTriDesc, Ok VolumeDesc, Ok "
                       "DiaporamaDesc, Ok Diaporama, Ok"));
    QVERIFY(m_notices.isEmpty());
    SQLite::Database db(m_file.toStdString());
    QVERIFY(rows(db, "SELECT count(*) FROM CodeLangue").toInt() > 100);
    QVERIFY(rows(db, "SELECT count(*) FROM Pays").toInt() > 100);
    for (const QString& file : {m_file, copy(".mdb.bak"), copy("109.mdb")})
        QCOMPARE(modeOf(file), mode_t(0600));
    QVERIFY(!QFileInfo::exists(copy(".mdx")));
}

void TestMdbLifecycle::oldFileGetsOne109Copy()
{
    MdbTest::execAll(
        m_file, {"CREATE TABLE TableImage (Nom VARCHAR(255) NOT NULL)", "INSERT INTO TableImage VALUES ('/p/x.jpg')"});
    QVERIFY(startAndClose());
    const QByteArray first = contentOf(copy("109.mdb"));
    {
        SQLite::Database saved(copy("109.mdb").toStdString());
        QCOMPARE(rows(saved, "SELECT Nom FROM TableImage"), QStringLiteral("/p/x.jpg"));
        QVERIFY(!saved.tableExists("Albums"));
    }
    MdbTest::startTracing();
    QVERIFY(startAndClose());
    QVERIFY(traceLines().contains("ClsMdb TableExist Albums = Vrai"));
    QVERIFY(traceLines().filter("SaveTable109").isEmpty());
    QCOMPARE(contentOf(copy("109.mdb")), first);
}

void TestMdbLifecycle::damagedFileIsSetAsideAndRestored_data()
{
    QTest::addColumn<QString>("damage");
    QTest::newRow("empty") << "empty";
    QTest::newRow("truncated") << "truncated";
    QTest::newRow("junk") << "junk";
    QTest::newRow("newer layout") << "newer";
}

// A note stored before the last healthy start comes back; the damaged file stays aside as .ERR.
void TestMdbLifecycle::damagedFileIsSetAsideAndRestored()
{
    QFETCH(QString, damage);
    QVERIFY(startAndClose(NoteInsert.arg(45000)));
    QVERIFY(startAndClose(NoteInsert.arg(45001))); // its .bak holds the first note only
    if (damage == "newer") {
        MdbTest::execAll(m_file, {"PRAGMA user_version = 99"});
    } else {
        QFile file(m_file);
        QVERIFY(file.open(QIODevice::ReadWrite));
        if (damage == "junk")
            file.write(QByteArray(file.size(), 'x'));
        QVERIFY(file.resize(damage == "empty" ? 0 : damage == "truncated" ? file.size() / 2 : file.size()));
    }
    const QByteArray damaged = contentOf(m_file);
    MdbTest::startTracing();
    auto mdb = makeMdb();
    QVERIFY(mdb->MdbInit());
    QCOMPARE(m_notices, (QList<int> {ClsMdb::TextDamaged, ClsMdb::TextRestored}));
    QVERIFY(traceLines().contains("ClsMdb Backup DataBases en .ERR"));
    QCOMPARE(contentOf(copy(".mdb.ERR")), damaged);
    QCOMPARE(rows(mdb->database(), "SELECT Date FROM Agenda"), QStringLiteral("45000.0"));
}

void TestMdbLifecycle::damagedCopies_data()
{
    QTest::addColumn<bool>("keep109");
    QTest::addColumn<bool>("starts");
    QTest::newRow("older copy is healthy") << true << true;
    QTest::newRow("no healthy copy") << false << false;
}

void TestMdbLifecycle::damagedCopies()
{
    QFETCH(bool, keep109);
    QFETCH(bool, starts);
    QVERIFY(startAndClose(NoteInsert.arg(45000)));
    writeFile(copy(".mdb.bak"), QByteArray(8192, 'b'));
    if (!keep109)
        QFile::remove(copy("109.mdb"));
    writeFile(m_file, QByteArray(8192, 'm'));
    auto mdb = makeMdb();
    QCOMPARE(mdb->MdbInit(), starts);
    QCOMPARE(contentOf(copy(".mdb.ERR")), QByteArray(8192, 'm'));
    if (starts) {
        QCOMPARE(m_notices.last(), ClsMdb::TextRestored);
        QCOMPARE(rows(mdb->database(), "SELECT count(*) FROM Agenda"), QStringLiteral("0")); // taken before the note
    } else {
        QCOMPARE(m_notices, (QList<int> {ClsMdb::TextDamaged, ClsMdb::TextNoGoodCopy}));
        QCOMPARE(contentOf(m_file), QByteArray(8192, 'm')); // left exactly as it was found
    }
}

void TestMdbLifecycle::emptyFileWithoutCopyIsANewStart()
{
    writeFile(m_file, {});
    auto mdb = makeMdb();
    QVERIFY(mdb->MdbInit());
    QVERIFY(m_notices.isEmpty());
    QVERIFY(mdb->TableExist("Diaporama"));
}

void TestMdbLifecycle::failedOpeningKeepsABadCopy()
{
    writeFile(m_file, QByteArray(5000, 'j'));
    auto mdb = makeMdb(false);
    QVERIFY(!mdb->MdbInit());
    QCOMPARE(m_notices, QList<int> {ClsMdb::TextOpenFailed});
    QCOMPARE(contentOf(copy(".mdb.bad")), QByteArray(5000, 'j'));
    QCOMPARE(contentOf(m_file), QByteArray(5000, 'j'));
}

void TestMdbLifecycle::leftoversOfAKillAreRemoved()
{
    writeFile(copy(".mdx"), "half a compaction");
    writeFile(copy(".mdb.bak.tmp"), "half a copy");
    writeFile(copy(".mdb.bak.tmp-journal"), "its journal");
    QVERIFY(startAndClose());
    for (const char* leftover : {".mdx", ".mdb.bak.tmp", ".mdb.bak.tmp-journal"})
        QVERIFY2(!QFileInfo::exists(copy(leftover)), leftover);
}

void TestMdbLifecycle::compactionKeepsEveryRowAndCounter()
{
    auto mdb = makeMdb();
    QVERIFY(mdb->MdbInit());
    mdb->database().exec(
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 3000) "
        "INSERT INTO AlbumTriDesc (Famille, KeyPage, Description) SELECT 1, i, printf('%090d', i) FROM n");
    mdb->database().exec("DELETE FROM AlbumTriDesc WHERE KeyAuto > 10");
    const qint64 before = QFileInfo(m_file).size() + QFileInfo(m_file + "-wal").size();
    const ino_t inode = inodeOf(m_file);
    mdb->close();
    QVERIFY(QFileInfo(m_file).size() < before / 2);
    QVERIFY(inodeOf(m_file) != inode);
    QCOMPARE(modeOf(m_file), mode_t(0600));
    QVERIFY(!QFileInfo::exists(copy(".mdx")));
    SQLite::Database db(m_file.toStdString(), SQLite::OPEN_READWRITE);
    QCOMPARE(rows(db, "SELECT count(*), max(KeyAuto) FROM AlbumTriDesc"), QStringLiteral("10|10"));
    db.exec("INSERT INTO AlbumTriDesc (Famille, KeyPage, Description) VALUES (1, 1, 'x')");
    QCOMPARE(db.getLastInsertRowid(), 3001);
}

// The compaction checked the file in full; the next start trusts it only while it is untouched.
void TestMdbLifecycle::cleanExitSparesTheNextFullCheck()
{
    const QString unchanged = QStringLiteral("ClsMdb Init fichier inchangé depuis sa vérification à la sortie");
    QVERIFY(startAndClose(NoteInsert.arg(45000)));
    MdbTest::startTracing();
    QVERIFY(startAndClose());
    QVERIFY(traceLines().contains(unchanged));
    QVERIFY(QFile::exists(copy(".mdb.bak")));

    // Written by another program after the exit: checked in full again.
    MdbTest::execAll(m_file, {NoteInsert.arg(45001)});
    MdbTest::startTracing();
    QVERIFY(startAndClose());
    QVERIFY(!traceLines().contains(unchanged));

    // Damaged with its modification time put back: the change time still tells.
    const QDateTime modified = QFileInfo(m_file).lastModified();
    {
        QFile file(m_file);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.seek(file.size() / 2));
        file.write(QByteArray(4096, '\xff'));
        QVERIFY(file.setFileTime(modified, QFileDevice::FileModificationTime));
    }
    MdbTest::startTracing();
    m_notices.clear();
    auto mdb = makeMdb();
    mdb->MdbInit();
    QVERIFY(!traceLines().contains(unchanged));
    QVERIFY(m_notices.contains(ClsMdb::TextDamaged));
}

void TestMdbLifecycle::compactionLeavesAFileOpenElsewhere_data()
{
    QTest::addColumn<bool>("otherProcess");
    QTest::newRow("connection of this process") << false;
    QTest::newRow("slideshow player process") << true;
}

void TestMdbLifecycle::compactionLeavesAFileOpenElsewhere()
{
    QFETCH(bool, otherProcess);
    auto mdb = makeMdb();
    QVERIFY(mdb->MdbInit());
    mdb->database().exec(NoteInsert.arg(45000).toStdString());
    std::unique_ptr<SQLite::Database> reader;
    QProcess player;
    if (otherProcess) {
        player.start(QStringLiteral(MDB_TESTTOOL), {"hold", m_file});
        QVERIFY(player.waitForReadyRead(10000));
        QCOMPARE(player.readLine().trimmed(), QByteArray("ready"));
    } else {
        reader = std::make_unique<SQLite::Database>(m_file.toStdString(), SQLite::OPEN_READONLY);
        reader->execAndGet("SELECT count(*) FROM Agenda");
    }
    const ino_t inode = inodeOf(m_file);
    mdb->close();
    QCOMPARE(inodeOf(m_file), inode);
    QVERIFY(!QFileInfo::exists(copy(".mdx")));
    QVERIFY(traceLines().filter("ClsMdb End Terminate, Err").size() == 1);
    reader.reset();
    player.closeWriteChannel();
    QVERIFY(!otherProcess || player.waitForFinished(10000));
    SQLite::Database db(m_file.toStdString());
    QCOMPARE(rows(db, "SELECT count(*) FROM Agenda"), QStringLiteral("1"));
}

QTEST_GUILESS_MAIN(TestMdbLifecycle)
#include "tst_mdblifecycle.moc"
