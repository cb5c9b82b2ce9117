// The album store in a real database file: names and paths that look like SQL or patterns, one
// path on two disks, pictures on several pages, the page tree and what its deletion leaves, sort
// orders, stale thumbnail rows, writes refused while another program holds the file, and the
// database cleaning against real files and the real mount table.
#include "../db/MdbTestSupport.h"
#include "AlbumCleaning.h"
#include "AlbumStore.h"
#include "ClsImage.h"
#include "InterfaceTexts.h"
#include "Volumes.h"

#include <QtTest>

#include <sqlite3.h>

namespace {

// Links or placements that point at a row that does not exist, and pages placed under a parent
// that is not in the same album.
const char* const Orphans
    = "SELECT (SELECT count(*) FROM AlbumPicturesRel WHERE KeyPages NOT IN (SELECT KeyAuto FROM AlbumPages) "
      "OR KeyImages NOT IN (SELECT KeyAuto FROM AlbumPictures)) + (SELECT count(*) FROM AlbumPagesRel r WHERE "
      "KeyPages NOT IN (SELECT KeyAuto FROM AlbumPages) OR KeyAlbum NOT IN (SELECT KeyAuto FROM Albums) OR "
      "(KeyParent <> 0 AND NOT EXISTS (SELECT 1 FROM AlbumPagesRel p WHERE p.KeyAlbum = r.KeyAlbum "
      "AND p.KeyPages = r.KeyParent)))";

const QDateTime Shot(QDate(2007, 7, 14), QTime(10, 30));

} // namespace

class TestAlbumStore : public QObject, MdbTest::Fixture
{
    Q_OBJECT

    std::unique_ptr<ClsMdb> m_db;
    qint64 m_album = 0;
    qint64 m_page = 0;

    QString sql(const QString& query) { return MdbTest::rows(m_db->database(), query); }
    QString sql(const char* query) { return sql(QString::fromUtf8(query)); }

    QString snapshot()
    {
        QStringList tables;
        for (const char* table : {"Albums", "AlbumPages", "AlbumPictures", "AlbumPagesRel", "AlbumPicturesRel",
                 "AlbumTri", "AlbumTriDesc", "VolumeDesc"})
            tables << sql(QStringLiteral("SELECT * FROM %1").arg(QLatin1String(table)));
        return tables.join(QStringLiteral("\n--\n"));
    }

    // A real file under the test's home.
    QString makeFile(const QString& name)
    {
        const QString path = home->path() + QLatin1Char('/') + name;
        QDir().mkpath(QFileInfo(path).absolutePath());
        [&] { QVERIFY(MdbTest::writeFile(path, "x")); }();
        return path;
    }

    qint64 addPicture(qint64 page, const QString& path, const QString& thumb, quint32 serial = 7)
    {
        QString error;
        const auto key = AlbumStore::addPictureToPage(*m_db, page, serial, path, thumb, Shot, &error);
        [&] { QVERIFY2(key, qPrintable(error)); }();
        return key.value_or(0);
    }

    qint64 addPage(qint64 parent, const QString& nom, qint64 album = 0)
    {
        const auto key = AlbumStore::addPage(*m_db, album ? album : m_album, parent, nom);
        [&] { QVERIFY(key); }();
        return key.value_or(0);
    }

    // The volume of the test's home, as the mount table gives it now.
    quint32 serialHere()
    {
        const auto volume = Volumes::volumeOf(home->path());
        [&] { QVERIFY(volume && Volumes::isMounted(volume->serial)); }();
        return volume ? volume->serial : 0;
    }

private slots:
    void initTestCase() { QVERIFY(interfaceTexts().load(QStringLiteral("ENG"))); }

    void init()
    {
        setUp();
        m_db = makeMdb();
        QVERIFY(m_db->MdbInit());
        m_album = AlbumStore::addAlbum(*m_db, QStringLiteral("Vacances")).value_or(0);
        QVERIFY(m_album > 0);
        m_page = addPage(0, QStringLiteral("Bretagne"));
    }
    void cleanup()
    {
        m_db.reset();
        home.reset();
    }

    // Quotes and pattern characters are data in names and paths; a text longer than its column is
    // refused without writing, and each operation traces its entry and its exit.
    void quotesPatternsAndLengths()
    {
        const QString nom = QStringLiteral("L'été 100% _top_ *best*");
        const auto album = AlbumStore::addAlbum(*m_db, nom, 3, 1);
        QVERIFY(album);
        QCOMPARE(AlbumStore::album(*m_db, *album)->Nom, nom);
        QCOMPARE(AlbumStore::album(*m_db, *album)->StateOpen, -1);
        const QString path = QStringLiteral("/photos/l'été/100%_a*b.jpg");
        const qint64 picture = addPicture(m_page, path, QStringLiteral("/thumbs/00000000.thb"));
        QCOMPARE(AlbumStore::findPicture(*m_db, 7, path)->KeyAuto, picture);
        QCOMPARE(AlbumStore::findPictures(*m_db, path).size(), 1);
        QCOMPARE(AlbumStore::findPictures(*m_db, QStringLiteral("/photos/l'été/100%_"), true).size(), 1);
        QCOMPARE(AlbumStore::findPictures(*m_db, QStringLiteral("/photos/l'été/100%X"), true).size(), 0);
        QCOMPARE(AlbumStore::findPictureByThumb(*m_db, QStringLiteral("/thumbs/00000000.thb"))->Path, path);

        const QString before = snapshot();
        QString error;
        QVERIFY(!AlbumStore::addAlbum(*m_db, QString(251, QLatin1Char('a')), 0, 0, &error));
        QVERIFY(error.contains(QLatin1String("250")));
        QVERIFY(!AlbumStore::addPage(*m_db, m_album, 0, QString(151, QLatin1Char('p')), 0, 0, &error));
        QVERIFY(error.contains(QLatin1String("150")));
        QVERIFY(!AlbumStore::updateAlbum(*m_db, m_album, QString(), 0, 0, &error));
        QCOMPARE(error, langText(2929));
        QVERIFY(!AlbumStore::addPictureToPage(*m_db, m_page, 7, QLatin1Char('/') + QString(250, QLatin1Char('f')),
            QStringLiteral("/t.thb"), Shot, &error));
        QVERIFY(error.contains(QLatin1String("250")));
        QVERIFY(!AlbumStore::addSortOrder(*m_db, SortFamily::Pictures, m_page, QString(101, QLatin1Char('d')), &error));
        QVERIFY(error.contains(QLatin1String("100")));
        QCOMPARE(snapshot(), before);

        const QStringList trace = MdbTest::traceLines();
        QVERIFY(trace.contains(QStringLiteral("ClsMdb AddPictureToPage")));
        QVERIFY(trace.contains(QStringLiteral("ClsMdb AddPictureToPage, Ok")));
        QVERIFY(trace.filter(QStringLiteral("ClsMdb AddAlbum, Err ")).size() == 1);
    }

    // One path on two disks is two pictures, the serial's 32 bits kept; a file added twice to a
    // page leaves one link; paths compare exactly and a prefix matches literally.
    void volumesLinksAndPrefixes()
    {
        const QString path = QStringLiteral("/media/usb/photos/2007/a.jpg");
        const qint64 first = addPicture(m_page, path, QStringLiteral("/t/1.thb"), 0x9A3F12C4u);
        const qint64 second = addPicture(m_page, path, QStringLiteral("/t/2.thb"), 0x00001234u);
        QVERIFY(first != second);
        QCOMPARE(addPicture(m_page, path, QStringLiteral("/t/ignored.thb"), 0x9A3F12C4u), first);
        QCOMPARE(AlbumStore::pictureKeysOfPage(*m_db, m_page), QList<qint64>({first, second}));
        QCOMPARE(AlbumStore::findPicture(*m_db, 0x9A3F12C4u, path)->VolSerial, 0x9A3F12C4u);
        QCOMPARE(AlbumStore::picturesOfPage(*m_db, m_page).at(0).ImageDateTime, Shot);
        QCOMPARE(sql("SELECT VolSerial FROM AlbumPictures ORDER BY KeyAuto LIMIT 1"), QStringLiteral("-1707142460"));
        QVERIFY(AlbumStore::storeVolume(*m_db, {0x9A3F12C4u, VolumeKind::Removable, QStringLiteral("USB")}));
        QVERIFY(AlbumStore::storeVolume(*m_db, {0x9A3F12C4u, VolumeKind::Optical, QString(120, QLatin1Char('v'))}));
        QCOMPARE(AlbumStore::volume(*m_db, 0x9A3F12C4u)->Type, VolumeKind::Optical);
        QCOMPARE(AlbumStore::volume(*m_db, 0x9A3F12C4u)->Nom.size(), 100); // a made-up name is shortened
        QCOMPARE(AlbumStore::volumes(*m_db).size(), 1);

        addPicture(m_page, QStringLiteral("/media/usb/aXb/c.jpg"), QStringLiteral("/t/3.thb"));
        QCOMPARE(AlbumStore::findPictures(*m_db, QStringLiteral("/media/usb/photos/"), true).size(), 2);
        QCOMPARE(AlbumStore::findPictures(*m_db, QStringLiteral("/media/usb/photos/")).size(), 0);
        QCOMPARE(AlbumStore::findPictures(*m_db, QStringLiteral("/media/usb/a_b/"), true).size(), 0);
        QCOMPARE(AlbumStore::findPictures(*m_db, QStringLiteral("/media/usb/%"), true).size(), 0);
        QCOMPARE(AlbumStore::findPictures(*m_db, QStringLiteral("/MEDIA/usb/"), true).size(), 0);
        QCOMPARE(AlbumStore::pictureCount(*m_db), 3);
    }

    // The unique indexes refuse a page placed twice in an album and two pictures with one volume
    // and path or one thumbnail; album names may repeat (no index forbids it) and sort without case.
    void duplicates()
    {
        const qint64 other = *AlbumStore::addAlbum(*m_db, QStringLiteral("autre"));
        QString error;
        QVERIFY(!AlbumStore::placePage(*m_db, m_album, m_page, 0, &error));
        QCOMPARE(error, langText(2930));
        QVERIFY(AlbumStore::placePage(*m_db, other, m_page, 0));
        QCOMPARE(AlbumStore::placementsOfPage(*m_db, m_page).size(), 2);
        QVERIFY(AlbumStore::addAlbum(*m_db, QStringLiteral("VACANCES")));
        QStringList names;
        for (const AlbumRow& album : AlbumStore::albums(*m_db))
            names << album.Nom;
        QCOMPARE(names, QStringList({"autre", "Vacances", "VACANCES"}));

        const qint64 a = addPicture(m_page, QStringLiteral("/p/a.jpg"), QStringLiteral("/t/a.thb"));
        addPicture(m_page, QStringLiteral("/p/b.jpg"), QStringLiteral("/t/b.thb"));
        PictureRow row = *AlbumStore::picture(*m_db, a);
        row.Path = QStringLiteral("/p/b.jpg");
        QVERIFY(!AlbumStore::updatePicture(*m_db, row, &error));
        QCOMPARE(error, langText(2931));
        row.Path = QStringLiteral("/p/a2.jpg");
        row.ThumbPath = QStringLiteral("/t/b.thb");
        QVERIFY(!AlbumStore::updatePicture(*m_db, row, &error));
        QCOMPARE(error, langText(2932));
        row.ThumbPath = QStringLiteral("/t/a2.thb");
        QVERIFY(AlbumStore::updatePicture(*m_db, row));
        QCOMPARE(AlbumStore::picture(*m_db, a)->ThumbPath, row.ThumbPath);
    }

    // A picture on three pages: deleting it removes the three links, the row and the thumbnail.
    // A stale row holding a thumbnail name handed out again goes with its links.
    void picturesAcrossPages()
    {
        const QString thumb = makeFile(QStringLiteral("thumbs/00000004.thb"));
        const qint64 p2 = addPage(m_page, QStringLiteral("Brest"));
        const qint64 p3 = addPage(0, QStringLiteral("Quimper"));
        const qint64 picture = addPicture(m_page, QStringLiteral("/p/phare.jpg"), thumb);
        for (qint64 page : {p2, p3})
            QCOMPARE(addPicture(page, QStringLiteral("/p/phare.jpg"), thumb), picture);
        QCOMPARE(sql(QStringLiteral("SELECT count(*) FROM AlbumPicturesRel WHERE KeyImages = %1").arg(picture)), "3");
        QVERIFY(AlbumStore::isPictureOnPage(*m_db, p3, picture));
        QVERIFY(AlbumStore::removePictureFromPage(*m_db, p3, picture));
        QVERIFY(!AlbumStore::isPictureOnPage(*m_db, p3, picture));
        QVERIFY(AlbumStore::deletePicture(*m_db, picture));
        QCOMPARE(sql("SELECT count(*) FROM AlbumPicturesRel"), "0");
        QVERIFY(!AlbumStore::picture(*m_db, picture));
        QVERIFY(!QFile::exists(thumb));
        QVERIFY(AlbumStore::deletePicture(*m_db, picture)); // already gone

        const qint64 stale = addPicture(p2, QStringLiteral("/p/old.jpg"), QStringLiteral("/t/00000001.thb"));
        const qint64 fresh = addPicture(p3, QStringLiteral("/p/new.jpg"), QStringLiteral("/t/00000001.thb"));
        QVERIFY(!AlbumStore::picture(*m_db, stale));
        QCOMPARE(AlbumStore::findPictureByThumb(*m_db, QStringLiteral("/t/00000001.thb"))->KeyAuto, fresh);
        QCOMPARE(AlbumStore::pictureKeysOfPage(*m_db, p2), QList<qint64>());
        QCOMPARE(sql(Orphans), "0");
    }

    // Pages within pages: the tree, moves (never under itself), deleting a branch or an album
    // leaves no orphan rows, and a page shared with another album lives on there.
    void pageTrees()
    {
        const qint64 a = addPage(m_page, QStringLiteral("A"));
        const qint64 a1 = addPage(a, QStringLiteral("A1"));
        const qint64 b = addPage(m_page, QStringLiteral("B"));
        const qint64 c = addPage(0, QStringLiteral("C"));
        for (qint64 page : {a, a1, b, c})
            addPicture(page, QStringLiteral("/p/%1.jpg").arg(page), QStringLiteral("/t/%1.thb").arg(page));
        QCOMPARE(AlbumStore::pageTree(*m_db, m_album, m_page), QList<qint64>({m_page, a, a1, b}));
        QString error;
        QVERIFY(!AlbumStore::movePage(*m_db, m_album, m_page, a1, &error));
        QCOMPARE(error, langText(2933));
        QVERIFY(!AlbumStore::addPage(*m_db, m_album, 9999, QStringLiteral("x"), 0, 0, &error));
        QCOMPARE(error, langText(2934));
        QVERIFY(AlbumStore::movePage(*m_db, m_album, b, a1));
        QCOMPARE(AlbumStore::pageTree(*m_db, m_album, a), QList<qint64>({a, a1, b}));

        const qint64 other = *AlbumStore::addAlbum(*m_db, QStringLiteral("Autre"));
        QVERIFY(AlbumStore::placePage(*m_db, other, a1, 0));
        QVERIFY(AlbumStore::deletePage(*m_db, a)); // A1 moves up under Bretagne
        QCOMPARE(AlbumStore::pageTree(*m_db, m_album, m_page), QList<qint64>({m_page, a1, b}));
        QVERIFY(AlbumStore::deletePageTree(*m_db, m_album, a1));
        QCOMPARE(AlbumStore::pageTree(*m_db, m_album, m_page), QList<qint64>({m_page}));
        QVERIFY(AlbumStore::pagesOfAlbum(*m_db, other).isEmpty());
        QCOMPARE(sql(Orphans), "0");
        QCOMPARE(AlbumStore::pictureCount(*m_db), 4); // pictures stay in the store

        QVERIFY(AlbumStore::placePage(*m_db, other, c, 0));
        QVERIFY(AlbumStore::deleteAlbum(*m_db, m_album));
        QVERIFY(!AlbumStore::album(*m_db, m_album));
        QVERIFY(!AlbumStore::page(*m_db, m_page));
        QCOMPARE(AlbumStore::page(*m_db, c)->Nom, QStringLiteral("C"));
        QCOMPARE(AlbumStore::pictureKeysOfPage(*m_db, c).size(), 1);
        QCOMPARE(sql("SELECT count(*) FROM AlbumPagesRel"), "1");
        QCOMPARE(sql(Orphans), "0");
    }

    // Sort orders are written, read back in their order (orders by name, case ignored), rewritten
    // in place and deleted with their rows.
    void sortOrders()
    {
        const auto order
            = AlbumStore::writeSortOrder(*m_db, SortFamily::Pictures, m_page, QStringLiteral("Par date"), {30, 10, 20});
        QVERIFY(order);
        QVERIFY(AlbumStore::addSortOrder(*m_db, SortFamily::Pictures, m_page, QStringLiteral("alpha")));
        QVERIFY(AlbumStore::addSortOrder(*m_db, SortFamily::Pages, m_page, QStringLiteral("Aaa")));
        const auto orders = AlbumStore::sortOrders(*m_db, SortFamily::Pictures, m_page);
        QCOMPARE(orders.size(), 2);
        QCOMPARE(orders.at(0).Description, QStringLiteral("alpha"));
        QCOMPARE(AlbumStore::findSortOrder(*m_db, SortFamily::Pictures, QStringLiteral("PAR DATE"))->KeyAuto, *order);
        QList<qint64> keys;
        for (const SortRow& row : AlbumStore::sortRows(*m_db, *order))
            keys << row.Key;
        QCOMPARE(keys, QList<qint64>({30, 10, 20}));

        QCOMPARE(AlbumStore::writeSortOrder(*m_db, SortFamily::Pictures, m_page, QStringLiteral("PAR DATE"), {20, 30})
                     .value_or(0),
            *order);
        const auto added = AlbumStore::addSortRow(*m_db, *order, 0, 99);
        QVERIFY(added);
        const auto rows = AlbumStore::sortRows(*m_db, *order);
        QCOMPARE(rows.size(), 3);
        QCOMPARE(rows.first().Key, qint64(99));
        QVERIFY(AlbumStore::deleteSortRow(*m_db, *added));
        QCOMPARE(AlbumStore::sortRows(*m_db, *order).first().Key, qint64(20));
        QVERIFY(AlbumStore::deleteSortOrder(*m_db, *order));
        QVERIFY(!AlbumStore::findSortOrder(*m_db, SortFamily::Pictures, QStringLiteral("par date")));
        QCOMPARE(sql(QStringLiteral("SELECT count(*) FROM AlbumTri WHERE KeyDescrip = %1").arg(*order)), "0");
        QVERIFY(!AlbumStore::addSortRow(*m_db, *order, 1, 1));
    }

    // Another program holding the file: every write is refused with the words for a passing state,
    // nothing changes (not even the thumbnail file), the cleaning stops, and all works once freed.
    void refusedWhileLocked()
    {
        const QString thumb = makeFile(QStringLiteral("thumbs/00000000.thb"));
        const qint64 picture = addPicture(m_page, home->path() + QStringLiteral("/gone.jpg"), thumb, serialHere());
        makeFile(QStringLiteral("thumbs/00000009.thb"));
        const QString before = snapshot();

        sqlite3* other = nullptr;
        QCOMPARE(
            sqlite3_open_v2(QFile::encodeName(file).constData(), &other, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK);
        QCOMPARE(sqlite3_exec(other, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
        m_db->database().setBusyTimeout(100); // each write would wait the program's 5 s for the lock
        QString error;
        QVERIFY(!AlbumStore::addAlbum(*m_db, QStringLiteral("x"), 0, 0, &error));
        QCOMPARE(error, langText(2700));
        error.clear();
        QVERIFY(
            !AlbumStore::addPictureToPage(*m_db, m_page, 1, QStringLiteral("/p"), QStringLiteral("/t"), Shot, &error));
        QCOMPARE(error, langText(2700));
        QVERIFY(!AlbumStore::deletePicture(*m_db, picture));
        QVERIFY(!AlbumStore::deleteAlbum(*m_db, m_album));
        QVERIFY(!AlbumStore::writeSortOrder(*m_db, 0, m_page, QStringLiteral("o"), {1}));
        const AlbumCleaning::Report report
            = AlbumCleaning::run(*m_db, ClsImage(home->path() + QStringLiteral("/thumbs/")));
        QCOMPARE(report.picturesDeleted, 0);
        QCOMPARE(report.thumbnailsDeleted, 0);
        QVERIFY(QFile::exists(thumb));
        QVERIFY(QFile::exists(home->path() + QStringLiteral("/thumbs/00000009.thb")));
        sqlite3_exec(other, "ROLLBACK", nullptr, nullptr, nullptr);
        sqlite3_close(other);

        QCOMPARE(snapshot(), before);
        QVERIFY(AlbumStore::deletePicture(*m_db, picture));
        QVERIFY(!QFile::exists(thumb));
    }

    // The cleaning deletes a picture whose file or thumbnail alone is missing, keeps whole ones
    // and those of a disk not mounted now, removes stray thumbnails and refuses to run twice.
    void cleaning()
    {
        const QString thumbs = home->path() + QStringLiteral("/thumbs/");
        const quint32 here = serialHere();
        quint32 away = 0xDEADBEEF;
        while (Volumes::isMounted(away))
            ++away;
        const qint64 whole
            = addPicture(m_page, makeFile(QStringLiteral("p/a.jpg")), makeFile("thumbs/00000000.thb"), here);
        const qint64 noThumb = addPicture(m_page, makeFile(QStringLiteral("p/b.jpg")), thumbs + "00000001.thb", here);
        const QString cThumb = makeFile(QStringLiteral("thumbs/00000002.thb"));
        const qint64 noFile = addPicture(m_page, home->path() + QStringLiteral("/p/c.jpg"), cThumb, here);
        const qint64 unplugged = addPicture(m_page, QStringLiteral("/media/usb/d.jpg"), thumbs + "00000003.thb", away);
        // Its serial is mounted, but the path leads onto another file system.
        QVERIFY(Volumes::volumeOf(QStringLiteral("/proc"))->serial != here);
        const qint64 elsewhere
            = addPicture(m_page, QStringLiteral("/proc/tapisol/e.jpg"), makeFile("thumbs/00000004.thb"), here);
        const QString stray = makeFile(QStringLiteral("thumbs/00000007.thb"));
        const QString notAThumb = makeFile(QStringLiteral("thumbs/notes.txt"));

        QList<int> done;
        bool reentryRefused = false;
        const ClsImage images(thumbs);
        const AlbumCleaning::Report report = AlbumCleaning::run(*m_db, images, [&](int count, int total) {
            done << count;
            QCOMPARE(total, 5);
            QVERIFY(AlbumCleaning::isRunning());
            reentryRefused = AlbumCleaning::run(*m_db, images).refused;
        });
        QCOMPARE(done, QList<int>({1, 2, 3, 4, 5}));
        QVERIFY(reentryRefused);
        QVERIFY(!AlbumCleaning::isRunning());
        QCOMPARE(report.pictures, 5);
        QCOMPARE(report.picturesDeleted, 2);
        QCOMPARE(report.thumbnailsDeleted, 1);
        QVERIFY(AlbumStore::picture(*m_db, whole));
        QVERIFY(AlbumStore::picture(*m_db, unplugged));
        QVERIFY(AlbumStore::picture(*m_db, elsewhere));
        QVERIFY(!AlbumStore::picture(*m_db, noThumb));
        QVERIFY(!AlbumStore::picture(*m_db, noFile));
        QVERIFY(!QFile::exists(cThumb));
        QVERIFY(!QFile::exists(stray));
        QVERIFY(QFile::exists(notAThumb));
        QVERIFY(QFile::exists(thumbs + QStringLiteral("00000000.thb")));
        QCOMPARE(sql(Orphans), "0");
        QVERIFY(MdbTest::traceLines().contains(QStringLiteral("Sy CleanDatabase")));
    }
};

QTEST_GUILESS_MAIN(TestAlbumStore)

#include "tst_albumstore.moc"
