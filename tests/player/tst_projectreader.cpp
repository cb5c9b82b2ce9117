// The player reads a project from a real Tapisol.mdb made by the program's own database object
// and project store, and never writes to it: not while the tray writes, not when the file is
// damaged. Its trace log keeps the program's format under its own name.
#include "../db/MdbTestSupport.h"
#include "PlayerTrace.h"
#include "ProjectReader.h"
#include "ProjectStore.h"

#include <SQLiteCpp/Transaction.h>

#include <QCryptographicHash>
#include <QFileInfo>
#include <QtTest>

namespace {

SlideRow picture(const QString& path, const QString& music = {})
{
    SlideRow slide;
    slide.Path = path;
    slide.PathMusic = music;
    return slide;
}

QByteArray digest(const QString& file)
{
    return QCryptographicHash::hash(MdbTest::contentOf(file), QCryptographicHash::Sha256);
}

} // namespace

class TestProjectReader : public QObject, MdbTest::Fixture
{
    Q_OBJECT

    std::unique_ptr<ClsMdb> m_db;

    qint64 save(const QString& nom, const QList<SlideRow>& slides, int expo = 4)
    {
        ProjectRow project {0, nom, expo, QStringLiteral("clé")};
        [&] { QVERIFY(ProjectStore::saveProject(*m_db, project, slides)); }();
        return project.KeyAuto;
    }

private slots:
    void init()
    {
        setUp();
        m_db = makeMdb();
        QVERIFY(m_db->MdbInit());
    }
    void cleanup()
    {
        m_db.reset();
        home.reset();
        PlayerTrace::stop();
    }

    // The project and its slides in order (the columns are read as the store reads them); the
    // tray keeps writing (a transaction held open) while the player reads.
    void readsWhileTheTrayWrites()
    {
        const SlideRow first = picture(QStringLiteral("/p/l'été.jpg"), QStringLiteral("/m/a.ogg"));
        const qint64 other = save(QStringLiteral("Autre"), {picture(QStringLiteral("/x.jpg"))});
        const qint64 key
            = save(QStringLiteral("Été"), {first, picture(QStringLiteral("/2.jpg")), picture("/3.jpg")}, 7);

        const ProjectReader reader(file, 200);
        {
            SQLite::Transaction writing(m_db->database(), SQLite::TransactionBehavior::IMMEDIATE);
            m_db->database().exec("UPDATE DiaporamaDesc SET ExpoTime = 99");
            const ProjectReader::Project read = reader.read(key);
            QCOMPARE(read.status, ProjectReader::Status::Ok);
            QCOMPARE(read.project.Nom, QStringLiteral("Été"));
            QCOMPARE(read.project.ExpoTime, 7); // the write in progress is not seen
            QCOMPARE(read.project.Paswd, QStringLiteral("clé"));
            QCOMPARE(read.slides.size(), 3);
            QCOMPARE(read.slides[0].Path, first.Path);
            QCOMPARE(read.slides[0].PathMusic, first.PathMusic);
            QCOMPARE(read.slides[2].Path, QStringLiteral("/3.jpg"));
            QCOMPARE(reader.exists(other), std::optional<bool>(true));
        } // the transaction ends unwritten

        QCOMPARE(reader.read(key + 100).status, ProjectReader::Status::NoProject);
        QVERIFY(ProjectStore::deleteProject(*m_db, key));
        QCOMPARE(reader.exists(key), std::optional<bool>(false));
        QCOMPARE(ProjectReader(file + QStringLiteral(".none")).read(key).status, ProjectReader::Status::NoFile);
        QVERIFY(!QFileInfo::exists(file + QStringLiteral(".none")));
    }

    // A lock that outlasts the wait is "busy", never damage; a damaged file is reported and left
    // exactly as it was.
    void busyAndDamagedFilesAreLeftAlone()
    {
        const qint64 key = save(QStringLiteral("P"), {picture(QStringLiteral("/1.jpg"))});
        m_db->close();
        {
            // Another program that took the file out of WAL and holds it exclusively.
            SQLite::Database holder(file.toStdString(), SQLite::OPEN_READWRITE);
            holder.exec("PRAGMA journal_mode=DELETE");
            holder.exec("PRAGMA locking_mode=EXCLUSIVE");
            holder.exec("BEGIN EXCLUSIVE");
            const ProjectReader::Project busy = ProjectReader(file, 300).read(key);
            QCOMPARE(busy.status, ProjectReader::Status::Busy);
            QVERIFY(!ProjectReader(file, 300).exists(key).has_value());
            holder.exec("COMMIT");
        }
        const QByteArray healthy = digest(file);
        QCOMPARE(ProjectReader(file).read(key).status, ProjectReader::Status::Ok);
        QCOMPARE(digest(file), healthy);

        QVERIFY(MdbTest::writeFile(file, QByteArray(8192, 'x')));
        const QByteArray damaged = digest(file);
        const ProjectReader::Project read = ProjectReader(file).read(key);
        QCOMPARE(read.status, ProjectReader::Status::Unreadable);
        QVERIFY(!read.error.isEmpty());
        QCOMPARE(digest(file), damaged);
        QVERIFY(!QFileInfo::exists(file + QStringLiteral("-wal")));
    }

    void traceLog()
    {
        PlayerTrace::start(QStringLiteral("/TRACE /tpdiaporama"));
        DEFILOR_TRACE(QStringLiteral("DF Show 1"));
        QCOMPARE(QFileInfo(PlayerTrace::logFilePath()).fileName(), QStringLiteral("Defilor.log"));
        const QStringList lines
            = QString::fromUtf8(MdbTest::contentOf(PlayerTrace::logFilePath())).split(QStringLiteral("\r\n"));
        QCOMPARE(lines.size(), 7); // six lines, each ended
        QVERIFY(lines[0].isEmpty());
        QCOMPARE(lines[1], QStringLiteral("*-----------------------------------------*"));
        QVERIFY(lines[2].startsWith(QStringLiteral("New session started at : ")));
        QCOMPARE(lines[4], QStringLiteral("DF Start /trace /tpdiaporama"));
        QCOMPARE(lines[5], QStringLiteral("DF Show 1"));
        PlayerTrace::stop();
        DEFILOR_TRACE(QStringLiteral("DF never written"));
        QVERIFY(!MdbTest::contentOf(PlayerTrace::logFilePath()).contains("never"));
    }
};

QTEST_GUILESS_MAIN(TestProjectReader)
#include "tst_projectreader.moc"
