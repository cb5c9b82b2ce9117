// The database on a disk that runs out of room: a write, the compaction at exit, the ".mdb.bak"
// copy, an upgrade step and the start itself each fail with a trace line or a message, and lose
// nothing. The database folder is a small tmpfs, mounted in a mount namespace of this process (it
// vanishes with the process however it ends) and filled with a ballast file that leaves the room
// a case wants. Where the process may not mount, the cases are skipped.
#include "MdbSchema.h"
#include "MdbTestSupport.h"

#include <QStorageInfo>
#include <QtTest>

#include <sqlite3.h>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>

using MdbTest::rows;

namespace {

constexpr qint64 KiB = 1024;
constexpr int Notes = 4000; // about 1.2 MiB of notes and texts

// What the notes hold, in one line: their number, their keys, their texts.
QString fingerprint(SQLite::Database& db)
{
    return rows(db,
        "SELECT count(*), sum(Agenda.Numero), sum(length(Texte)), sum(Texte = printf('%0200d', Agenda.Numero)) "
        "FROM Agenda JOIN AlarmeTxt ON NumeroNote = Agenda.Numero");
}

// Adds `notes` notes, and a text to every note without one.
QString fill(int notes)
{
    return QStringLiteral("BEGIN; WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < %1) INSERT "
                          "INTO Agenda (Date, Alarme, AlarmeRepet, Comportement, Frequence, FreqJours, Active, "
                          "Decoupage, WinBackColor) SELECT 45000 + i, 0, 0, 0, 0, '0000000', 0, 0, 0 FROM n; INSERT "
                          "INTO AlarmeTxt (NumeroNote, ObjType, Texte) SELECT Numero, 1, printf('%2', Numero) FROM "
                          "Agenda WHERE Numero NOT IN (SELECT NumeroNote FROM AlarmeTxt); COMMIT")
        .arg(notes)
        .arg("%0200d");
}

} // namespace

class TestMdbFullDisk : public QObject, MdbTest::Fixture
{
    Q_OBJECT

    QString m_disk;

    // Fills the disk but for `room` bytes.
    bool squeeze(qint64 room)
    {
        QFile ballast(m_disk + QStringLiteral("/ballast"));
        const qint64 size = QStorageInfo(m_disk).bytesAvailable() - room;
        return ballast.open(QIODevice::WriteOnly) && (size <= 0 || ::posix_fallocate(ballast.handle(), 0, size) == 0);
    }

    void release() { QFile::remove(m_disk + QStringLiteral("/ballast")); }

    // A started database holding the notes, its last start's ".mdb.bak" taken of them.
    std::unique_ptr<ClsMdb> startFilled()
    {
        auto mdb = makeMdb();
        return startAndClose(fill(Notes)) && mdb->MdbInit() ? std::move(mdb) : nullptr;
    }

    // The next start finds no fault and the notes as `expected` (which is also what they are now).
    void checkNextStart(const QString& expected)
    {
        auto mdb = makeMdb();
        QVERIFY(mdb->MdbInit());
        QCOMPARE(notices, QList<int>());
        QCOMPARE(fingerprint(mdb->database()), expected);
        QCOMPARE(rows(mdb->database(), "PRAGMA quick_check"), QStringLiteral("ok"));
    }

private slots:
    void initTestCase()
    {
        if (::unshare(CLONE_NEWNS) != 0 || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
            QSKIP(qPrintable(QStringLiteral("no mount namespace: ") + QString::fromLocal8Bit(std::strerror(errno))));
    }

    void init()
    {
        setUp(); // the trace stays on the real disk
        m_disk = home->path() + QStringLiteral("/disk");
        QDir().mkpath(m_disk);
        if (::mount("tmpfs", QFile::encodeName(m_disk).constData(), "tmpfs", 0, "size=8m,mode=0700") != 0)
            QSKIP(qPrintable(QStringLiteral("tmpfs refused: ") + QString::fromLocal8Bit(std::strerror(errno))));
        file = m_disk + QStringLiteral("/Tapisol.mdb");
    }

    void cleanup()
    {
        ::umount2(QFile::encodeName(m_disk).constData(), MNT_DETACH);
        home.reset();
    }

    void writeOnAFullDiskFailsAndLosesNothing()
    {
        auto mdb = startFilled();
        QVERIFY(mdb);
        QVERIFY(squeeze(0));
        int stored = 0; // notes whose insert returned; the text of the last one may be missing
        int error = SQLITE_OK;
        while (error == SQLITE_OK && stored < 100000) {
            try {
                MdbQuery insert = mdb->query(MdbTest::NoteInsert.arg(QLatin1Char('?')).toStdString());
                insert->bind(1, 50000.0 + stored);
                insert->exec();
                ++stored;
                mdb->database().exec("INSERT INTO AlarmeTxt (NumeroNote, ObjType, Texte) "
                                     "VALUES (last_insert_rowid(), 1, printf('%0200d', last_insert_rowid()))");
            } catch (const SQLite::Exception& e) {
                error = e.getErrorCode();
            }
        }
        QVERIFY2(error == SQLITE_FULL, qPrintable(QStringLiteral("%1 after %2 notes").arg(error).arg(stored)));
        release();
        mdb->database().exec(fill(1).toStdString()); // the same connection writes again once there is room
        const QString notes = fingerprint(mdb->database());
        QCOMPARE(notes.section('|', 0, 0), QString::number(Notes + stored + 1));
        QCOMPARE(notes.section('|', 3), notes.section('|', 0, 0)); // fill() gave the textless note its text
        mdb->close();
        QVERIFY(MdbTest::traceLines().contains("ClsMdb End Terminate, Ok"));
        checkNextStart(notes);
    }

    // An operation with too little room fails with a trace line or a message and loses nothing:
    //  - the compaction at exit leaves the file in its place;
    //  - with room to open the file but not to copy it, the start goes on and keeps the older copy;
    //  - without room to open it, the start stops, and no older copy takes the place of a file that
    //    is only out of room;
    //  - the first upgrade step, which rebuilds Agenda and needs room for a second copy of it,
    //    rolls back, and completes at the next start.
    void outOfRoom_data()
    {
        QTest::addColumn<QString>("operation");
        QTest::addColumn<qint64>("room");
        QTest::newRow("compaction at exit") << "close" << 64 * KiB;
        QTest::newRow("copy at start") << "start" << 64 * KiB;
        QTest::newRow("opening") << "start" << qint64(0);
        QTest::newRow("upgrade step") << "upgrade" << 96 * KiB;
    }

    void outOfRoom()
    {
        QFETCH(QString, operation);
        QFETCH(qint64, room);
        auto mdb = startFilled();
        QVERIFY(mdb);
        mdb->database().exec(fill(200).toStdString());                          // more than the last copy holds
        mdb->database().exec("DELETE FROM AlarmeTxt WHERE NumeroNote % 2 = 0"); // pages for the compaction to free
        const QString notes = fingerprint(mdb->database());
        const QString order = MdbSchema::table("Agenda")->fieldNames().join(',');
        if (operation != "close")
            mdb.reset();
        if (operation == "upgrade")
            MdbTest::execAll(file, {"ALTER TABLE Agenda DROP COLUMN SonRepet", "PRAGMA user_version = 0"});
        const QByteArray content = MdbTest::contentOf(file);
        const QByteArray olderCopy = MdbTest::contentOf(copy(".mdb.bak"));
        const ino_t inode = MdbTest::inodeOf(file);
        QVERIFY(squeeze(room));
        MdbTest::startTracing();
        if (operation == "close") {
            mdb->close();
            const QStringList failed = MdbTest::traceLines().filter("ClsMdb End Terminate, Err");
            QVERIFY2(
                failed.size() == 1 && failed[0].endsWith("database or disk is full"), qPrintable(failed.join('\n')));
            QCOMPARE(MdbTest::inodeOf(file), inode);
        } else {
            mdb = makeMdb();
            QCOMPARE(mdb->MdbInit(), operation == "start" && room > 0);
        }
        if (operation == "start" && room > 0) {
            QCOMPARE(notices, QList<int>());
            QCOMPARE(MdbTest::traceLines().filter("ClsMdb Backup DataBases, Err").size(), 1);
        } else if (operation == "start") {
            QVERIFY(!notices.isEmpty() && !notices.contains(ClsMdb::TextRestored));
            QVERIFY(MdbTest::contentOf(file) == content);
        } else if (operation == "upgrade") {
            QCOMPARE(notices, QList<int> {ClsMdb::TextOpenFailed});
            QVERIFY(MdbTest::traceLines().contains("M1 Modify DataBase SonRepet"));
        }
        mdb.reset();
        release();
        QVERIFY(QDir(m_disk).entryList({"*.tmp", "*.mdx"}).isEmpty());
        if (operation == "start")
            QVERIFY(MdbTest::contentOf(copy(".mdb.bak")) == olderCopy);
        if (operation == "upgrade") {
            SQLite::Database db(file.toStdString());
            QCOMPARE(MdbTest::columnOrder(db, "Agenda"), QString(order).remove(",SonRepet"));
            QCOMPARE(fingerprint(db), notes);
        }
        checkNextStart(notes);
        SQLite::Database db(file.toStdString());
        QCOMPARE(MdbTest::columnOrder(db, "Agenda"), order);
    }
};

QTEST_GUILESS_MAIN(TestMdbFullDisk)
#include "tst_mdbfulldisk.moc"
