// The database on a disk that runs out of room: a write, the compaction at exit, the ".mdb.bak"
// copy and an upgrade step each fail with a trace line or an error, and lose nothing.
//
// The database folder is a tmpfs of its own, filled up with a ballast file. Where this process
// may not mount one (not root, or a container that refuses), the same cases run under a limit on
// the size a file may reach instead (RLIMIT_FSIZE: a write past it fails with EFBIG), which the
// kernel enforces as it would a full disk for the one file that grows. TAPISOL_TEST_NO_MOUNT=1
// picks the limit on a machine that could mount.
#include "ClsMdb.h"
#include "MdbSchema.h"
#include "MdbTestSupport.h"
#include "TempXdgHome.h"

#include <QCryptographicHash>
#include <QtTest>

#include <SQLiteCpp/Database.h>
#include <sqlite3.h>

#include <csignal>
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

using MdbTest::rows;

namespace {

constexpr qint64 KiB = 1024;
constexpr int Notes = 4000; // about 1.2 MiB of notes and texts

// Why this process cannot mount, or nothing when it can. The mounts are made in a mount namespace
// of the test's own, so that they vanish with the process however it ends.
QString mountRefusal()
{
    static const QString refusal = [] {
        if (qEnvironmentVariableIsSet("TAPISOL_TEST_NO_MOUNT"))
            return QStringLiteral("mount not tried (TAPISOL_TEST_NO_MOUNT)");
        if (::unshare(CLONE_NEWNS) != 0 || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
            return QStringLiteral("no mount namespace: ") + QString::fromLocal8Bit(std::strerror(errno));
        return QString();
    }();
    return refusal;
}

// A folder on a disk that the test can fill.
class SmallDisk
{
public:
    explicit SmallDisk(const QString& folder)
        : m_folder(folder)
        , m_refusal(mountRefusal())
    {
        QDir().mkpath(folder);
        if (m_refusal.isEmpty()
            && ::mount("tmpfs", QFile::encodeName(folder).constData(), "tmpfs", 0, "size=8m,mode=0700") != 0)
            m_refusal = QStringLiteral("mount refused: ") + QString::fromLocal8Bit(std::strerror(errno));
        ::getrlimit(RLIMIT_FSIZE, &m_limit);
    }

    ~SmallDisk()
    {
        release();
        if (isTmpfs())
            ::umount2(QFile::encodeName(m_folder).constData(), MNT_DETACH);
    }

    bool isTmpfs() const { return m_refusal.isEmpty(); }
    QString refusal() const { return m_refusal; }

    /// On the tmpfs: a ballast file leaves `room` bytes free. Under the limit: no file may grow
    /// past `largest` bytes.
    bool squeeze(qint64 room, qint64 largest)
    {
        if (!isTmpfs()) {
            const rlimit limit {rlim_t(largest), m_limit.rlim_max};
            return ::setrlimit(RLIMIT_FSIZE, &limit) == 0;
        }
        struct statvfs disk
        {
        };
        if (::statvfs(QFile::encodeName(m_folder).constData(), &disk) != 0)
            return false;
        const qint64 ballast = qint64(disk.f_bavail) * qint64(disk.f_frsize) - room;
        const int fd = ::open(QFile::encodeName(ballastName()).constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        const bool filled = fd >= 0 && (ballast <= 0 || ::posix_fallocate(fd, 0, ballast) == 0);
        if (fd >= 0)
            ::close(fd);
        return filled;
    }

    void release()
    {
        if (isTmpfs())
            QFile::remove(ballastName());
        else
            ::setrlimit(RLIMIT_FSIZE, &m_limit);
    }

private:
    QString ballastName() const { return m_folder + QStringLiteral("/ballast"); }

    QString m_folder;
    QString m_refusal;
    rlimit m_limit {};
};

ino_t inodeOf(const QString& file)
{
    struct stat info
    {
    };
    return ::stat(QFile::encodeName(file).constData(), &info) == 0 ? info.st_ino : 0;
}

QByteArray hashOf(const QString& file)
{
    QFile f(file);
    return f.open(QIODevice::ReadOnly) ? QCryptographicHash::hash(f.readAll(), QCryptographicHash::Sha256) : "";
}

// What the notes hold, in one line: their number, their keys, their texts.
QString fingerprint(SQLite::Database& db)
{
    return rows(db,
        "SELECT count(*), sum(Agenda.Numero), sum(length(Texte)), sum(Texte = printf('%0200d', Agenda.Numero)) "
        "FROM Agenda JOIN AlarmeTxt ON NumeroNote = Agenda.Numero");
}

const std::string NoteInsert = "INSERT INTO Agenda (Date, Alarme, AlarmeRepet, Comportement, Frequence, FreqJours, "
                               "Active, Decoupage, WinBackColor) VALUES (?, 0, 0, 0, 0, '0000000', 0, 0, 0)";

void fill(SQLite::Database& db, int notes)
{
    db.exec("BEGIN");
    db.exec(QStringLiteral("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < %1) "
                           "INSERT INTO Agenda (Date, Alarme, AlarmeRepet, Comportement, Frequence, FreqJours, "
                           "Active, Decoupage, WinBackColor) SELECT 45000 + i, 0, 0, 0, 0, '0000000', 0, 0, 0 FROM n")
                .arg(notes)
                .toStdString());
    db.exec("INSERT INTO AlarmeTxt (NumeroNote, ObjType, Texte) SELECT Numero, 1, printf('%0200d', Numero) "
            "FROM Agenda WHERE Numero NOT IN (SELECT NumeroNote FROM AlarmeTxt)");
    db.exec("COMMIT");
}

} // namespace

class TestMdbFullDisk : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void writeOnAFullDiskFailsAndLosesNothing();
    void compactionWithoutRoomLeavesTheFile();
    void backupWithoutRoomKeepsTheOlderCopy();
    void upgradeWithoutRoomRollsBackThenCompletes();
    void startOnAFullDiskStopsAndLosesNothing();

private:
    std::unique_ptr<ClsMdb> makeMdb();
    std::unique_ptr<ClsMdb> startFilled();
    qint64 largestFile() const;
    QString copy(const char* replacement) const { return m_file.chopped(4) + QLatin1String(replacement); }

    std::unique_ptr<TempXdgHome> m_home;
    std::unique_ptr<SmallDisk> m_disk;
    QString m_file;
    QList<int> m_notices;
};

void TestMdbFullDisk::initTestCase()
{
    // Past the file-size limit the kernel sends SIGXFSZ, which would end the process; ignored,
    // the write fails with EFBIG instead.
    std::signal(SIGXFSZ, SIG_IGN);
    TempXdgHome home;
    SmallDisk probe(home.path() + QStringLiteral("/probe"));
    if (!probe.isTmpfs())
        qInfo("%s: files limited in size instead of a full tmpfs", qPrintable(probe.refusal()));
}

void TestMdbFullDisk::init()
{
    m_home = std::make_unique<TempXdgHome>();
    QDir().mkpath(m_home->tapisolDataDir()); // the trace stays on the real disk
    m_disk = std::make_unique<SmallDisk>(m_home->path() + QStringLiteral("/disk"));
    m_file = m_home->path() + QStringLiteral("/disk/Tapisol.mdb");
    MdbTest::startTracing();
}

void TestMdbFullDisk::cleanup()
{
    m_disk.reset();
    m_home.reset();
}

std::unique_ptr<ClsMdb> TestMdbFullDisk::makeMdb()
{
    m_notices.clear();
    return MdbTest::makeMdb(m_file, &m_notices);
}

// A started database holding the notes, its last start's ".mdb.bak" taken of them.
std::unique_ptr<ClsMdb> TestMdbFullDisk::startFilled()
{
    auto mdb = makeMdb();
    if (mdb->MdbInit())
        fill(mdb->database(), Notes);
    mdb->close();
    mdb = makeMdb();
    return mdb->MdbInit() ? std::move(mdb) : nullptr;
}

qint64 TestMdbFullDisk::largestFile() const
{
    qint64 largest = 0;
    for (const QFileInfo& file : QDir(QFileInfo(m_file).absolutePath()).entryInfoList(QDir::Files))
        largest = std::max(largest, file.size());
    return largest;
}

void TestMdbFullDisk::writeOnAFullDiskFailsAndLosesNothing()
{
    auto mdb = startFilled();
    QVERIFY(mdb);
    QVERIFY(m_disk->squeeze(0, largestFile()));
    int stored = 0;
    bool textRefused = false; // the note was committed, its text was the insert refused
    int error = SQLITE_OK;
    while (error == SQLITE_OK && stored < 100000) {
        try {
            MdbQuery insert = mdb->query(NoteInsert);
            insert->bind(1, 50000.0 + stored);
            insert->exec();
            textRefused = true;
            mdb->database().exec("INSERT INTO AlarmeTxt (NumeroNote, ObjType, Texte) "
                                 "VALUES (last_insert_rowid(), 1, printf('%0200d', last_insert_rowid()))");
            textRefused = false;
            ++stored;
        } catch (const SQLite::Exception& e) {
            error = e.getErrorCode();
        }
    }
    QVERIFY2(m_disk->isTmpfs() ? error == SQLITE_FULL : error == SQLITE_FULL || error == SQLITE_IOERR,
        qPrintable(QStringLiteral("%1 after %2 notes").arg(error).arg(stored)));
    m_disk->release();
    fill(mdb->database(), 1); // the same connection writes again once there is room
    mdb->close();
    QVERIFY(MdbTest::traceLines().contains("ClsMdb End Terminate, Ok"));

    mdb = makeMdb();
    QVERIFY(mdb->MdbInit());
    QCOMPARE(m_notices, QList<int>());
    const QString notes = QString::number(Notes + stored + (textRefused ? 1 : 0) + 1);
    QCOMPARE(rows(mdb->database(), "SELECT count(*) FROM Agenda"), notes);
    QCOMPARE(fingerprint(mdb->database()).section('|', 3), notes); // fill() gave the textless note its text
    QCOMPARE(rows(mdb->database(), "PRAGMA quick_check"), QStringLiteral("ok"));
}

void TestMdbFullDisk::compactionWithoutRoomLeavesTheFile()
{
    auto mdb = startFilled();
    QVERIFY(mdb);
    mdb->database().exec("DELETE FROM AlarmeTxt WHERE NumeroNote % 2 = 0"); // pages for the compaction to free
    const QString before = fingerprint(mdb->database());
    const ino_t inode = inodeOf(m_file);
    QVERIFY(m_disk->squeeze(64 * KiB, 256 * KiB));
    mdb->close();
    m_disk->release();
    const QStringList failed = MdbTest::traceLines().filter("ClsMdb End Terminate, Err");
    QCOMPARE(failed.size(), 1);
    QVERIFY2(!m_disk->isTmpfs() || failed[0].endsWith("database or disk is full"), qPrintable(failed[0]));
    QCOMPARE(inodeOf(m_file), inode);
    QVERIFY(!QFileInfo::exists(copy(".mdx")));

    mdb = makeMdb();
    QVERIFY(mdb->MdbInit());
    QCOMPARE(m_notices, QList<int>());
    QCOMPARE(fingerprint(mdb->database()), before);
    QCOMPARE(rows(mdb->database(), "PRAGMA quick_check"), QStringLiteral("ok"));
}

void TestMdbFullDisk::backupWithoutRoomKeepsTheOlderCopy()
{
    auto mdb = startFilled();
    QVERIFY(mdb);
    fill(mdb->database(), 200); // more than the copy holds
    const QString notes = fingerprint(mdb->database());
    mdb->close();
    const QByteArray olderCopy = hashOf(copy(".mdb.bak"));
    QVERIFY(!olderCopy.isEmpty());

    QVERIFY(m_disk->squeeze(64 * KiB, QFileInfo(m_file).size() / 2));
    MdbTest::startTracing();
    mdb = makeMdb();
    QVERIFY(mdb->MdbInit());
    QCOMPARE(m_notices, QList<int>());
    QCOMPARE(MdbTest::traceLines().filter("ClsMdb Backup DataBases, Err").size(), 1);
    QCOMPARE(hashOf(copy(".mdb.bak")), olderCopy);
    QVERIFY(!QFileInfo::exists(copy(".mdb.bak.tmp")));
    QCOMPARE(fingerprint(mdb->database()), notes);
}

// The first upgrade step rebuilds Agenda, which needs room for a second copy of the table.
void TestMdbFullDisk::upgradeWithoutRoomRollsBackThenCompletes()
{
    QVERIFY(startFilled());
    MdbTest::execAll(m_file, {"ALTER TABLE Agenda DROP COLUMN SonRepet", "PRAGMA user_version = 0"});
    QString oldOrder;
    QString notes;
    {
        SQLite::Database db(m_file.toStdString());
        oldOrder = MdbTest::columnOrder(db, "Agenda");
        notes = fingerprint(db);
    }
    QVERIFY(m_disk->squeeze(96 * KiB, 128 * KiB));
    MdbTest::startTracing();
    auto mdb = makeMdb();
    QVERIFY(!mdb->MdbInit());
    QCOMPARE(m_notices, QList<int> {ClsMdb::TextOpenFailed});
    QVERIFY(MdbTest::traceLines().contains("M1 Modify DataBase SonRepet"));
    mdb.reset();
    m_disk->release();
    QVERIFY(QDir(QFileInfo(m_file).absolutePath()).entryList({"*.tmp"}).isEmpty());
    {
        SQLite::Database db(m_file.toStdString());
        QCOMPARE(MdbTest::columnOrder(db, "Agenda"), oldOrder);
        QCOMPARE(fingerprint(db), notes);
    }

    mdb = makeMdb();
    QVERIFY(mdb->MdbInit());
    QCOMPARE(m_notices, QList<int>());
    QCOMPARE(MdbTest::columnOrder(mdb->database(), "Agenda"),
        MdbSchema::table(QStringLiteral("Agenda"))->fieldNames().join(','));
    QCOMPARE(fingerprint(mdb->database()), notes);
}

// Not even room to open the file: the start stops with a message, and no older copy takes the
// place of a file that is only out of room.
void TestMdbFullDisk::startOnAFullDiskStopsAndLosesNothing()
{
    QString notes;
    {
        auto mdb = startFilled();
        QVERIFY(mdb);
        fill(mdb->database(), 100);
        notes = fingerprint(mdb->database());
    }
    const QByteArray file = hashOf(m_file);
    const QByteArray olderCopy = hashOf(copy(".mdb.bak"));
    QVERIFY(m_disk->squeeze(0, 0));
    auto mdb = makeMdb();
    QVERIFY(!mdb->MdbInit());
    QVERIFY(!m_notices.isEmpty() && !m_notices.contains(ClsMdb::TextRestored));
    mdb.reset();
    m_disk->release();
    QCOMPARE(hashOf(m_file), file);
    QCOMPARE(hashOf(copy(".mdb.bak")), olderCopy);

    mdb = makeMdb();
    QVERIFY(mdb->MdbInit());
    QCOMPARE(m_notices, QList<int>());
    QCOMPARE(fingerprint(mdb->database()), notes);
}

QTEST_GUILESS_MAIN(TestMdbFullDisk)
#include "tst_mdbfulldisk.moc"
