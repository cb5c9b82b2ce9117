// The wallpaper's albums and projects: their lists built from a real database file filled through
// the real album store, the walk over them with the real shown-pictures tables, a picture on a
// really unmounted file system passed and taken again when it is mounted, a list read again only
// when the album changed, and an album chosen for the engine as the album window does it.
#include "../db/MdbTestSupport.h"
#include "AlbumStore.h"
#include "ClsMonitor.h"
#include "ClsRegistry.h"
#include "DatabaseSource.h"
#include "ImageDecoder.h"
#include "InterfaceTexts.h"
#include "MdbShownPictures.h"
#include "NextPictureSelector.h"
#include "PictureSource.h"
#include "RandomGenerator.h"
#include "SourceCandidates.h"
#include "SourceCatalog.h"
#include "Volumes.h"
#include "WallpaperChanger.h"

#include <QImage>
#include <QProcess>
#include <QtTest>

namespace {

const QDateTime Shot(QDate(2019, 8, 2), QTime(9, 0));

bool run(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    return process.waitForFinished(20000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

// The entries of a list as "R", "D" for markers and the file name for pictures.
QStringList shape(const SourceList& list)
{
    QStringList entries;
    for (const SourceEntry& entry : list.toList())
        entries << (entry.isPicture() ? QFileInfo(entry.key).fileName() : entry.marker);
    return entries;
}

} // namespace

class TestAlbumSource : public QObject, MdbTest::Fixture
{
    Q_OBJECT

    std::unique_ptr<ClsMdb> m_db;
    QString m_mount; // a tmpfs mounted by the test, unmounted at the end

    QString picture(const QString& path)
    {
        QDir().mkpath(QFileInfo(path).absolutePath());
        QImage image(8, 8, QImage::Format_RGB32);
        image.fill(Qt::darkCyan);
        [&] { QVERIFY(image.save(path)); }();
        return path;
    }

    QString pictureHere(const QString& name) { return picture(home->path() + QStringLiteral("/photos/") + name); }

    void put(qint64 page, const QString& path)
    {
        const auto volume = Volumes::volumeOf(path);
        QString error;
        [&] {
            QVERIFY(volume);
            const QString thumb = home->path() + QStringLiteral("/thumbs/") + QFileInfo(path).fileName() + ".jpg";
            QVERIFY2(AlbumStore::addPictureToPage(*m_db, page, volume->serial, path, thumb, Shot, &error),
                qPrintable(error));
        }();
    }

    qint64 addProject(const QString& nom, const QString& password, const QList<std::pair<int, QString>>& slides)
    {
        SQLite::Statement project(
            m_db->database(), "INSERT INTO DiaporamaDesc (Nom, ExpoTime, Paswd) VALUES (?, 5, ?)");
        project.bind(1, nom.toStdString());
        project.bind(2, password.toStdString());
        project.exec();
        const qint64 key = m_db->database().getLastInsertRowid();
        for (const auto& [ordre, path] : slides) {
            SQLite::Statement slide(
                m_db->database(), "INSERT INTO Diaporama (KeyDescrip, Ordre, Path) VALUES (?, ?, ?)");
            slide.bind(1, static_cast<int64_t>(key));
            slide.bind(2, ordre);
            slide.bind(3, path.toStdString());
            slide.exec();
        }
        return key;
    }

    DatabaseSource::Result read(const SourceSelection& choice) { return DatabaseSource::read(file, choice); }

private slots:
    void initTestCase()
    {
        QVERIFY(interfaceTexts().load(QStringLiteral("ENG")));
        ImageDecoder::setHelperProgram(QStringLiteral(TAPISOL_DECODER_PROGRAM));
        qputenv("TAPISOL_WALLPAPER_BACKEND", "null"); // no desktop to hand the wallpaper to
    }

    void init()
    {
        setUp();
        m_db = makeMdb();
        QVERIFY(m_db->MdbInit());
    }

    void cleanup()
    {
        if (!m_mount.isEmpty())
            run(QStringLiteral("umount"), {QStringLiteral("-l"), std::exchange(m_mount, QString())});
        releaseRegistry();
        m_db.reset();
        home.reset();
    }

    // An album is its pages depth first, each page's pictures after its entry; a page source is
    // that page and the pages under it; a damaged tree of pages loses none. The settings dialog lists them in the same
    // order. A page or an album deleted leaves nothing to show.
    void albumAndPageListsDepthFirst()
    {
        const qint64 album = AlbumStore::addAlbum(*m_db, QStringLiteral("Voyages")).value_or(0);
        const qint64 italy = AlbumStore::addPage(*m_db, album, 0, QStringLiteral("Italie")).value_or(0);
        const qint64 spain = AlbumStore::addPage(*m_db, album, 0, QStringLiteral("Espagne")).value_or(0);
        const qint64 rome = AlbumStore::addPage(*m_db, album, italy, QStringLiteral("Rome")).value_or(0);
        QVERIFY(album && italy && spain && rome);
        put(italy, pictureHere(QStringLiteral("a.png")));
        put(italy, pictureHere(QStringLiteral("b.png")));
        put(rome, pictureHere(QStringLiteral("c.png")));
        put(spain, pictureHere(QStringLiteral("d.png")));
        put(spain, pictureHere(QStringLiteral("b.png"))); // one picture on two pages
        const qint64 other = AlbumStore::addAlbum(*m_db, QStringLiteral("Autre")).value_or(0);
        put(AlbumStore::addPage(*m_db, other, 0, QStringLiteral("Ailleurs")).value_or(0), pictureHere("z.png"));

        const auto whole = read(SourceSelection::ofAlbum(album, 0));
        QVERIFY(whole.found && whole.error.isEmpty());
        QCOMPARE(shape(whole.list), QStringList({"R", "D", "a.png", "b.png", "D", "c.png", "D", "d.png", "b.png"}));
        QCOMPARE(whole.list.indexOf(pictureHere(QStringLiteral("b.png"))), 4);
        QCOMPARE(whole.list.volumeSerial(3), Volumes::volumeOf(home->path())->serial);
        QCOMPARE(shape(read(SourceSelection::ofAlbum(album, italy)).list),
            QStringList({"R", "a.png", "b.png", "D", "c.png"}));
        QCOMPARE(shape(read(SourceSelection::ofAlbum(album, rome)).list), QStringList({"R", "c.png"}));
        QVERIFY(!read(SourceSelection::ofAlbum(other, italy)).found); // a page of another album
        // A parent outside the album puts a page at the top; pages whose parents loop come last.
        using Depth = DatabaseSource::PageDepth;
        QCOMPARE(DatabaseSource::pageOrder({{1, 0}, {2, 3}, {3, 2}, {4, 9}}),
            QList<Depth>({{1, 1}, {4, 1}, {2, 1}, {3, 2}}));

        QStringList listed;
        for (const SourceChoice& choice : SourceCatalog::albumsAndPages(*m_db))
            listed << QString(choice.depth, QLatin1Char('-')) + choice.name;
        QCOMPARE(listed, QStringList({"Autre", "-Ailleurs", "Voyages", "-Italie", "--Rome", "-Espagne"}));

        QVERIFY(AlbumStore::deletePage(*m_db, rome));
        const auto gone = read(SourceSelection::ofAlbum(album, rome));
        QVERIFY(!gone.found && gone.error.isEmpty() && gone.list.count() == 0);
        QVERIFY(DatabaseSource::traceLine(SourceSelection::ofAlbum(album, rome), gone).contains("introuvable"));
        QVERIFY(AlbumStore::deleteAlbum(*m_db, album));
        QCOMPARE(read(SourceSelection::ofAlbum(album, 0)).list.count(), 0);
    }

    // A project's slides come in their order and have a round of their own: `TableImageDiap`,
    // made when first needed; a slide whose file is gone is passed without being recorded. The
    // dialog shows that a project has a password, never the password.
    void projectSlidesInOrderWithTheirOwnRound()
    {
        const QString one = pictureHere(QStringLiteral("one.png"));
        const QString two = pictureHere(QStringLiteral("two.png"));
        const QString gone = home->path() + QStringLiteral("/photos/gone.png");
        const qint64 project = addProject(QStringLiteral("L'été"), QStringLiteral("secret"),
            {{30, pictureHere(QStringLiteral("three.png"))}, {10, one}, {15, gone}, {20, two}});
        addProject(QStringLiteral("Ouvert"), {}, {});
        const auto slides = read(SourceSelection::ofProject(project));
        QVERIFY(slides.found);
        QCOMPARE(shape(slides.list), QStringList({"R", "one.png", "gone.png", "two.png", "three.png"}));
        QVERIFY(!read(SourceSelection::ofProject(project + 10)).found);

        QVERIFY(!m_db->TableExist(QStringLiteral("TableImageDiap")));
        MdbShownPictures shown(*m_db, true);
        NextPictureSelector selector(shown, appRandom());
        SourceCandidates candidates;
        candidates.setList(slides.list, true);
        QStringList walked;
        for (int i = 0; i < 4; ++i) {
            candidates.beginChange();
            const auto position = selector.next(candidates, NextPictureSelector::Order::TopDown);
            walked << (position ? QFileInfo(candidates.key(*position)).fileName() : QStringLiteral("out"));
        }
        QCOMPARE(walked, QStringList({"one.png", "two.png", "three.png", "one.png"}));
        QCOMPARE(MdbTest::rows(m_db->database(), "SELECT count(*) FROM TableImageDiap"), QStringLiteral("3"));
        QCOMPARE(MdbTest::rows(m_db->database(), "SELECT count(*) FROM TableImage"), QStringLiteral("0"));
        QVERIFY(MdbTest::traceLines().filter(QStringLiteral("SY FNext fichier absent, passé : ") + gone).size() >= 1);

        QStringList projects;
        for (const SourceChoice& choice : SourceCatalog::projects(*m_db))
            projects << choice.name + QLatin1Char('|') + choice.password;
        QCOMPARE(projects, QStringList({"L'été|**", "Ouvert|"}));
    }

    // A picture on a file system that is unmounted is passed, with one trace line naming the
    // volume, and stays unshown; once the file system is mounted again it is shown in the same
    // round.
    void pictureOnAnUnmountedDiskComesBack()
    {
        m_mount = home->path() + QStringLiteral("/usbdisk");
        QDir().mkpath(m_mount);
        const QStringList mountTmpfs {"-t", "tmpfs", "-o", "size=1m", "tapisol-test", m_mount};
        if (!run(QStringLiteral("mount"), mountTmpfs)) {
            m_mount.clear();
            QSKIP("mounting a tmpfs needs root");
        }
        const QString away = picture(m_mount + QStringLiteral("/x.png"));
        const auto volume = Volumes::volumeOf(away);
        QVERIFY(volume && volume->serial != Volumes::volumeOf(home->path())->serial);
        QVERIFY(AlbumStore::storeVolume(*m_db, {volume->serial, VolumeKind::Removable, QStringLiteral("Clef photos")}));
        const qint64 album = AlbumStore::addAlbum(*m_db, QStringLiteral("Famille")).value_or(0);
        const qint64 page = AlbumStore::addPage(*m_db, album, 0, QStringLiteral("Été")).value_or(0);
        put(page, pictureHere(QStringLiteral("a.png")));
        put(page, away);
        put(page, pictureHere(QStringLiteral("b.png")));
        put(page, pictureHere(QStringLiteral("c.png")));
        QVERIFY(run(QStringLiteral("umount"), {m_mount}));
        QVERIFY(!Volumes::isMounted(volume->serial));

        MdbShownPictures shown(*m_db);
        NextPictureSelector selector(shown, appRandom());
        SourceCandidates candidates;
        const auto list = read(SourceSelection::ofAlbum(album, 0));
        candidates.setList(list.list, true, list.volumes);
        const auto pick = [&](NextPictureSelector::Order order) {
            candidates.beginChange();
            const auto position = selector.next(candidates, order);
            return position ? QFileInfo(candidates.key(*position)).fileName() : QString();
        };
        using Order = NextPictureSelector::Order;
        QCOMPARE(QStringList({pick(Order::TopDown), pick(Order::TopDown), pick(Order::TopDown)}),
            QStringList({"a.png", "b.png", "c.png"}));
        QVERIFY(!shown.contains(away));
        const QStringList absent = MdbTest::traceLines().filter(QStringLiteral("volume absent"));
        QCOMPARE(absent.size(), 1);
        QVERIFY2(absent.first().contains(QStringLiteral("Clef photos")) && absent.first().contains(away),
            qPrintable(absent.first()));

        QVERIFY(run(QStringLiteral("mount"), mountTmpfs));
        QVERIFY(Volumes::isMounted(volume->serial)); // the same file system type and place: the same serial
        picture(away);
        QCOMPARE(pick(Order::Random), QStringLiteral("x.png"));
        QCOMPARE(shown.count(), 4); // one round: nothing was emptied while the disk was away
    }

    // The list is read again when the album changes, through this connection or another, and not
    // for the engine's own writes; a reading that finds the same entries keeps the list.
    void listReadAgainOnlyWhenTheAlbumChanged()
    {
        const qint64 album = AlbumStore::addAlbum(*m_db, QStringLiteral("Chats")).value_or(0);
        const qint64 page = AlbumStore::addPage(*m_db, album, 0, QStringLiteral("Minou")).value_or(0);
        put(page, pictureHere(QStringLiteral("m1.png")));
        PictureSource source;
        source.setDatabase(file, [this] { return DatabaseSource::changeStamp(m_db->database()); });
        QSignalSpy ready(&source, &PictureSource::listReady);
        QSignalSpy confirmed(&source, &PictureSource::listConfirmed);
        QVERIFY(source.setSource(SourceSelection::ofAlbum(album, 0)));
        QVERIFY(ready.wait());
        QCOMPARE(shape(source.list()), QStringList({"R", "D", "m1.png"}));
        QVERIFY(!source.refreshIfChanged());

        MdbShownPictures shown(*m_db);
        const quint64 before = DatabaseSource::changeStamp(m_db->database());
        QVERIFY(shown.add(source.list().key(3)));
        source.acknowledgeOwnWrite(before, DatabaseSource::changeStamp(m_db->database()));
        QVERIFY(!source.refreshIfChanged());

        m_db->database().exec(MdbTest::NoteInsert.arg(43000).toStdString()); // not an album's
        QVERIFY(source.refreshIfChanged());
        QVERIFY(confirmed.wait());
        QCOMPARE(ready.size(), 1);

        put(page, pictureHere(QStringLiteral("m2.png")));
        QVERIFY(source.refreshIfChanged());
        QVERIFY(ready.wait());
        QCOMPARE(shape(source.list()), QStringList({"R", "D", "m1.png", "m2.png"}));

        {
            // The slideshow player or another program writes through its own connection.
            SQLite::Database other(file.toStdString(), SQLite::OPEN_READWRITE);
            other.exec(QStringLiteral("DELETE FROM AlbumPicturesRel WHERE KeyPages = %1").arg(page).toStdString());
        }
        QVERIFY(source.refreshIfChanged());
        QVERIFY(ready.wait());
        QCOMPARE(shape(source.list()), QStringList({"R", "D"}));
    }

    // The album window hands the engine an album's page: the settings are written, the tray is
    // told (it restarts its countdown there), and the page's first picture is taken once its list
    // is read. A page that is not in the album changes nothing; without a project the quick
    // access has nothing to switch to.
    void albumChosenForTheEngine()
    {
        const qint64 album = AlbumStore::addAlbum(*m_db, QStringLiteral("Jardin")).value_or(0);
        const qint64 roses = AlbumStore::addPage(*m_db, album, 0, QStringLiteral("Roses")).value_or(0);
        const qint64 tulips = AlbumStore::addPage(*m_db, album, 0, QStringLiteral("Tulipes")).value_or(0);
        put(roses, pictureHere(QStringLiteral("rose.png")));
        put(tulips, pictureHere(QStringLiteral("tulipe1.png")));
        put(tulips, pictureHere(QStringLiteral("tulipe2.png")));
        registry().set(SettingNo::SelectRandom, 0);
        ClsMonitor monitors;
        monitors.refresh();
        WallpaperChanger changer(monitors, *m_db);
        QList<QHash<int, QVariant>> switched;
        changer.setOnSourceSwitched([&](const QHash<int, QVariant>& values) { switched << values; });

        QVERIFY(!changer.useAlbumSource(album, tulips + 10));
        QVERIFY(switched.isEmpty());
        QCOMPARE(registry().get(SettingNo::SourceAlbum).toInt(), 0);

        QVERIFY(changer.useAlbumSource(album, tulips));
        QCOMPARE(switched.size(), 1);
        QCOMPARE(switched.first().value(SettingNo::SourceAlbumPage).toLongLong(), tulips);
        QCOMPARE(SourceSelection::fromSettings(registry()), SourceSelection::ofAlbum(album, tulips));
        // Rendered, then refused by the do-nothing desktop back end.
        const QString chosen = QStringLiteral("SY Chg WP Start ") + pictureHere(QStringLiteral("tulipe1.png"));
        QTRY_VERIFY(MdbTest::traceLines().contains(chosen));
        QVERIFY(MdbTest::contentOf(ClsRegistryBase::tapisolFilePath())
                    .contains("SourceAlbumPage=" + QByteArray::number(tulips)));

        QVERIFY(!changer.quickSource().projectDefined);
        QVERIFY(!changer.switchQuickSource());
        QCOMPARE(switched.size(), 1);
    }
};

QTEST_MAIN(TestAlbumSource)
#include "tst_albumsource.moc"
