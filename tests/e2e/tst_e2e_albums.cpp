// The album window in the real program, used with the keyboard as a user would: command 10 opens
// it, an album and a page are made and named, a folder of pictures is added through the folder
// picker, the grid shows them, the page becomes the wallpaper source and the desktop shows one of
// its pictures. In French and in English, at 1366 × 768.
#include "E2eSession.h"

#include <QDir>
#include <QImage>
#include <QtTest>

namespace {

// Solid colours, so that the desktop can be told to show one of them whatever the sizing.
const QList<QColor> Colours = {QColor(200, 30, 30), QColor(30, 160, 40), QColor(40, 60, 200), QColor(230, 200, 20),
    QColor(20, 190, 200), QColor(170, 40, 170)};

QImage screenshot(const QString& file)
{
    E2eSession::run(QStringLiteral("import -window root"), {file});
    return QImage(file);
}

bool isOneOf(const QColor& colour)
{
    return std::any_of(Colours.begin(), Colours.end(), [&](const QColor& each) {
        return qAbs(each.red() - colour.red()) < 30 && qAbs(each.green() - colour.green()) < 30
            && qAbs(each.blue() - colour.blue()) < 30;
    });
}

} // namespace

class TestE2eAlbums : public E2eTest
{
    Q_OBJECT

private slots:
    void albumFromAFolderBecomesTheWallpaperSource_data()
    {
        QTest::addColumn<QString>("language");
        QTest::addColumn<QString>("title");
        QTest::newRow("French") << QStringLiteral("FRA") << QStringLiteral("Albums photo");
        QTest::newRow("English") << QStringLiteral("ENG") << QStringLiteral("Photo albums");
    }

    void albumFromAFolderBecomesTheWallpaperSource()
    {
        QFETCH(QString, language);
        QFETCH(QString, title);
        const QString folder = s->home().path() + QStringLiteral("/home/Voyage");
        for (int i = 0; i < Colours.size(); ++i) {
            QImage picture(800, 600, QImage::Format_RGB32);
            picture.fill(Colours.at(i));
            QDir().mkpath(folder + QStringLiteral("/jour%1").arg(i % 2));
            QVERIFY(picture.save(folder + QStringLiteral("/jour%1/photo %2.jpg").arg(i % 2).arg(i), "JPEG", 95));
        }
        QSettings settings = s->configFile();
        settings.setValue(QStringLiteral("Paramètres/Langue"), language);
        settings.setValue(QStringLiteral("Paramètres/StartChange"), 0);
        settings.sync();
        E2eSession::run(QStringLiteral("xsetroot -solid black")); // the display outlives a data row
        QProcess* tapisol = s->startLoaded();
        QVERIFY(tapisol);
        const QImage before = screenshot(s->home().path() + QStringLiteral("/before.png"));

        QVERIFY(s->command(10));
        const QString window = E2eSession::run(QStringLiteral("timeout 20 xdotool search --sync --onlyvisible --name"),
            {QStringLiteral("^") + title + QStringLiteral("$")})
                                   .section(QLatin1Char('\n'), 0, 0);
        QVERIFY(!window.isEmpty());
        E2eSession::run(QStringLiteral("xdotool windowfocus --sync"), {window});
        QTest::qWait(500);
        E2eSession::keys(QStringLiteral("ctrl+shift+n")); // a new album, its name being edited
        E2eSession::type(QStringLiteral("Vacances d'été"));
        E2eSession::keys(QStringLiteral("Return ctrl+n")); // a page in it
        E2eSession::type(QStringLiteral("Bretagne"));
        E2eSession::keys(QStringLiteral("Return"));
        const QString database = s->home().tapisolDataDir() + QStringLiteral("Tapisol.mdb");
        QTRY_COMPARE_WITH_TIMEOUT(E2eSession::sql(database,
                                      QStringLiteral("SELECT a.Nom, p.Nom FROM Albums a JOIN AlbumPagesRel r ON "
                                                     "r.KeyAlbum = a.KeyAuto JOIN AlbumPages p ON p.KeyAuto = "
                                                     "r.KeyPages")),
            QStringLiteral("Vacances d'été|Bretagne"), 5000);

        // The folder picker: the path typed into its name field, sub-folders included.
        E2eSession::keys(QStringLiteral("ctrl+shift+o"));
        const QString picker = E2eSession::run(QStringLiteral("timeout 20 xdotool search --sync --onlyvisible --name"),
            {QStringLiteral("Voyage|Bretagne")})
                                   .section(QLatin1Char('\n'), 0, 0);
        QVERIFY(!picker.isEmpty());
        E2eSession::run(QStringLiteral("xdotool windowfocus --sync"), {picker});
        E2eSession::keys(QStringLiteral("ctrl+a"));
        E2eSession::type(folder);
        E2eSession::keys(QStringLiteral("Escape")); // the completion list, not the dialog
        E2eSession::keys(QStringLiteral("Return"));
        QVERIFY(s->waitForLog(QStringLiteral("AB Added, 0 failures")));
        QCOMPARE(
            E2eSession::sql(database, QStringLiteral("SELECT count(*) FROM AlbumPicturesRel")), QStringLiteral("6"));
        QTest::qWait(1000);
        const QImage grid = screenshot(s->home().path() + QStringLiteral("/grid.png"));
        if (qEnvironmentVariableIsSet("TAPISOL_E2E_SHOTS"))
            grid.save(qEnvironmentVariable("TAPISOL_E2E_SHOTS") + QStringLiteral("/albums-%1.png").arg(language));
        int shown = 0; // thumbnails on screen: pixels of the pictures' colours
        for (int y = 0; y < grid.height(); y += 4) {
            for (int x = 0; x < grid.width(); x += 4)
                shown += isOneOf(grid.pixelColor(x, y)) ? 1 : 0;
        }
        QVERIFY2(shown > 6 * 500, qPrintable(QString::number(shown)));

        // Tools menu, first item: this page becomes the source; the window closes with Ctrl+W.
        // Without a window manager the keyboard does not come back by itself from the picker.
        E2eSession::run(QStringLiteral("xdotool windowfocus --sync"), {window});
        E2eSession::keys(
            QStringLiteral("alt+%1").arg(language == QLatin1String("FRA") ? QLatin1Char('o') : QLatin1Char('t')));
        E2eSession::keys(QStringLiteral("Return"));
        QVERIFY(s->waitForLog(QStringLiteral("AB Source album")));
        E2eSession::keys(QStringLiteral("ctrl+w"));
        QVERIFY(s->waitForLog(QStringLiteral("AB Close")));
        QTRY_VERIFY_WITH_TIMEOUT(
            isOneOf(screenshot(s->home().path() + QStringLiteral("/after.png")).pixelColor(683, 384)), 15000);
        QVERIFY(!isOneOf(before.pixelColor(683, 384)));
        QVERIFY(s->exit(tapisol));
    }
};

QTEST_GUILESS_MAIN(TestE2eAlbums)
#include "tst_e2e_albums.moc"
