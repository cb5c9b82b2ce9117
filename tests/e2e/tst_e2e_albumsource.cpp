// The real program with an album page as its picture source: the database is made by this test
// through the real album store, the pictures are solid colours, and the root window shows the
// page's colours and never those of the album's other page. The quick access (command 3) goes to
// the slideshow project and back.
#include "AlbumStore.h"
#include "ClsMdb.h"
#include "E2eSession.h"
#include "RootProbe.h"
#include "Volumes.h"

#include <QtTest>

#include <SQLiteCpp/SQLiteCpp.h>

namespace {

constexpr QRgb Red = 0xffff0000, Yellow = 0xffffff00, Blue = 0xff0000ff, Cyan = 0xff00ffff, Green = 0xff00ff00,
               Magenta = 0xffff00ff;

// The colour at the middle of the root window, where no panel or trace window lies.
QRgb middleOfTheRoot()
{
    RootProbe probe;
    const QImage root = probe.grab(probe.root());
    return root.isNull() ? 0 : root.pixel(root.width() / 2, root.height() / 2) | 0xff000000;
}

} // namespace

class TestE2eAlbumSource : public E2eTest
{
    Q_OBJECT

    qint64 m_album = 0;
    qint64 m_warm = 0;
    qint64 m_project = 0;

    QString solid(const QString& name, QRgb colour)
    {
        const QString path = s->home().path() + QStringLiteral("/home/Pictures/") + name;
        QDir().mkpath(QFileInfo(path).absolutePath());
        QImage image(400, 300, QImage::Format_RGB32);
        image.fill(colour);
        [&] { QVERIFY(image.save(path)); }();
        return path;
    }

    // Tapisol.mdb with the album "Couleurs" (pages "Chaudes": red, yellow; "Froides": blue, cyan)
    // and the project "Nature" (green, magenta), as the program will find it.
    void makeDatabase()
    {
        QDir().mkpath(s->home().tapisolDataDir());
        ClsMdb db;
        db.setMdbName(s->home().tapisolDataDir() + QStringLiteral("Tapisol.mdb"));
        db.setLanguageFolder(QStringLiteral(TAPISOL_TEST_LANG_DIR));
        QVERIFY(db.MdbInit());
        m_album = AlbumStore::addAlbum(db, QStringLiteral("Couleurs")).value_or(0);
        m_warm = AlbumStore::addPage(db, m_album, 0, QStringLiteral("Chaudes")).value_or(0);
        const qint64 cold = AlbumStore::addPage(db, m_album, 0, QStringLiteral("Froides")).value_or(0);
        QVERIFY(m_album && m_warm && cold);
        const std::tuple<qint64, const char*, QRgb> pictures[] = {{cold, "blue.png", Blue}, {m_warm, "red.png", Red},
            {cold, "cyan.png", Cyan}, {m_warm, "yellow.png", Yellow}};
        for (const auto& [page, name, colour] : pictures) {
            const QString path = solid(QLatin1String(name), colour);
            const auto volume = Volumes::volumeOf(path);
            QVERIFY(volume);
            QVERIFY(AlbumStore::addPictureToPage(db, page, volume->serial, path,
                s->home().path() + QStringLiteral("/thumbs/") + QLatin1String(name), QDateTime::currentDateTime()));
        }
        SQLite::Database& sql = db.database();
        sql.exec("INSERT INTO DiaporamaDesc (Nom, ExpoTime, Paswd) VALUES ('Nature', 5, '')");
        m_project = sql.getLastInsertRowid();
        for (const auto& [ordre, name, colour] : {std::tuple {2, "magenta.png", Magenta}, {1, "green.png", Green}}) {
            SQLite::Statement slide(sql, "INSERT INTO Diaporama (KeyDescrip, Ordre, Path) VALUES (?, ?, ?)");
            slide.bind(1, static_cast<int64_t>(m_project));
            slide.bind(2, ordre);
            slide.bind(3, solid(QLatin1String(name), colour).toStdString());
            slide.exec();
        }
        db.close();
    }

    // One more picture reached the desktop; the colour it shows.
    QRgb nextShown(int changes)
    {
        [&] {
            QVERIFY2(s->waitForLog(QStringLiteral("SY Chg WP Changed"), changes), qPrintable(s->log().right(2000)));
        }();
        return middleOfTheRoot();
    }

private slots:
    void pageColoursThenTheProjectAndBack()
    {
        if (QGuiApplication::screens().size() != 1)
            QSKIP("needs a single screen");
        makeDatabase();
        {
            QSettings settings = s->configFile();
            settings.setValue(QStringLiteral("Paramètres/SourceAlbum"), -1);
            settings.setValue(QStringLiteral("Paramètres/SourceAlbumKey"), m_album);
            settings.setValue(QStringLiteral("Paramètres/SourceAlbumPage"), m_warm);
            settings.setValue(QStringLiteral("Paramètres/SourceProjetKey"), m_project);
            settings.setValue(QStringLiteral("Paramètres/SelectRandom"), 0);
            settings.setValue(QStringLiteral("Paramètres/SizingMode"), 0);
            settings.setValue(QStringLiteral("Paramètres/StartChange"), -1);
        }
        QProcess* tapisol = s->start({QStringLiteral("/trace"), QStringLiteral("/silent")});
        int changes = 1;
        QList<QRgb> shown {nextShown(changes)};
        for (int i = 0; i < 3; ++i) {
            QVERIFY(s->command(2));
            shown << nextShown(++changes);
        }
        // Top to bottom through the page, never the other page's blue or cyan.
        QCOMPARE(shown, QList<QRgb>({Red, Yellow, Red, Yellow}));
        QVERIFY(s->log().contains(QStringLiteral("SY Source album %1 page %2: \"Couleurs / Chaudes\" 2 images, 0 pages")
                                      .arg(m_album)
                                      .arg(m_warm)));

        // To the project: its slides in their order, the choice kept in the settings.
        QVERIFY(s->command(3));
        QCOMPARE(nextShown(++changes), Green);
        QVERIFY(s->command(2));
        QCOMPARE(nextShown(++changes), Magenta);
        QCOMPARE(s->configFile().value(QStringLiteral("Paramètres/SourceProjet")).toInt(), -1);
        // And back to the page, from its top: the picture on screen is not one of its own.
        QVERIFY(s->command(3));
        QCOMPARE(nextShown(++changes), Red);
        QCOMPARE(s->configFile().value(QStringLiteral("Paramètres/SourceProjet")).toInt(), 0);
        QVERIFY(s->log().contains(QStringLiteral("SY Source choisie : projet %1").arg(m_project)));
        QVERIFY(s->exit(tapisol));
    }
};

QTEST_MAIN(TestE2eAlbumSource)
#include "tst_e2e_albumsource.moc"
