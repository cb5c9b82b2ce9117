#include "AppState.h"
#include "ClsMonitor.h"
#include "ClsRegistry.h"
#include "E2eSession.h"
#include "ImageDecoder.h"
#include "RootProbe.h"
#include "Trace.h"
#include "WallpaperBackends.h"
#include "WallpaperRenderer.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QScopeGuard>
#include <QScreen>
#include <QtTest>

#include <cmath>
#include <sys/stat.h>

namespace {

constexpr QRgb Red = 0xffff0000, Green = 0xff00ff00, Blue = 0xff0000ff, White = 0xffffffff, Black = 0xff000000;

// An 800 × 600 picture fitted into `area`, centred with black bands.
QRect fitted(const QRect& area)
{
    QSize size(area.width(), int(std::lround(600.0 * area.width() / 800.0)));
    if (size.height() > area.height())
        size = QSize(int(std::lround(800.0 * area.height() / 600.0)), area.height());
    return {area.topLeft() + QPoint((area.width() - size.width()) / 2, (area.height() - size.height()) / 2), size};
}

// Where the four quarters of RootProbe's quadrantPicture show once fitted to `rect`.
QList<PixelCheck> quarterChecks(const QRect& rect)
{
    const int inset = 40;
    return {{rect.topLeft() + QPoint(inset, inset), Red}, {rect.topRight() + QPoint(-inset, inset), Green},
        {rect.bottomLeft() + QPoint(inset, -inset), Blue}, {rect.bottomRight() - QPoint(inset, inset), White}};
}

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QImage solid(QRgb colour)
{
    QImage image(400, 250, QImage::Format_RGB32);
    image.fill(colour);
    return image;
}

// The checks the root window and the pixmap the root properties publish both fail; empty when
// they pass them all.
// Windows (the tray host, the trace window) cover parts of the root here: the published pixmap is
// checked at the same points rather than compared whole with what the root shows.
QString rootMismatches(const QList<PixelCheck>& checks, int lossy = 0)
{
    RootProbe probe;
    const QString onRoot = probe.mismatches(probe.grab(probe.root()), checks, lossy);
    const xcb_pixmap_t published = probe.pixmapProperty("_XROOTPMAP_ID");
    if (published == XCB_NONE || published != probe.pixmapProperty("ESETROOT_PMAP_ID"))
        return QStringLiteral("the root properties do not name one pixmap");
    return onRoot + probe.mismatches(probe.grab(published), checks, lossy);
}

// Plasma's shell that takes every script and never answers.
class HungPlasmaShell : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.PlasmaShell")

public:
    int calls = 0;

public slots:
    void evaluateScript(const QString&, const QDBusMessage& message)
    {
        ++calls;
        message.setDelayedReply(true);
    }
};

} // namespace

// The real program, and its renderer in this process, changing the real root window: the
// picture's pixels at the size and place the sizing settings give, published for other programs,
// and kept when a bad file or a full disk comes along.
class TestE2eWallpaper : public E2eTest
{
    Q_OBJECT

private:
    QString picture(const QString& name, const QImage& image = quadrantPicture({800, 600}))
    {
        const QString folder = s->home().path() + QStringLiteral("/home/Pictures/");
        QDir().mkpath(folder);
        return image.save(folder + name) ? folder + name : QString();
    }

    // The picture folder, holding the four quarters, shown in name order at the start.
    void configure()
    {
        QVERIFY(!picture(QStringLiteral("a-quarters.png")).isEmpty());
        QSettings settings = s->configFile();
        settings.setValue(QStringLiteral("Paramètres/Répertoire"), s->home().path() + QStringLiteral("/home/Pictures"));
        settings.setValue(QStringLiteral("Paramètres/SousRépertoire"), 0);
        settings.setValue(QStringLiteral("Paramètres/SelectRandom"), 0);
        settings.setValue(QStringLiteral("Paramètres/SizingMode"), 0);
        settings.setValue(QStringLiteral("Paramètres/StartChange"), -1);
    }

private slots:
    void initTestCase() { ImageDecoder::setHelperProgram(QStringLiteral(TAPISOL_DECODER_PROGRAM)); }

    void init()
    {
        E2eTest::init();
        appState().trace = true;
        appState().silent = true;
        Trace::resetForTests();
    }

    void cleanup()
    {
        releaseRegistry();
        E2eTest::cleanup();
    }

    // With two monitors the picture fills the chosen one (the first), the other keeps its own.
    void twoMonitorsKeepTheirOwn()
    {
        if (QGuiApplication::screens().size() != 2)
            QSKIP("needs the two monitors of with-monitors.sh");
        configure();
        QProcess* tapisol = s->start({QStringLiteral("/trace"), QStringLiteral("/silent")});
        QVERIFY(s->waitForLog(QStringLiteral("SY Chg WP Changed")));
        // Several monitors: the work area is the whole first monitor.
        QCOMPARE(rootMismatches(quarterChecks(fitted(QGuiApplication::screens().at(0)->geometry()))
                     << PixelCheck {QGuiApplication::screens().at(1)->geometry().center(), Black}),
            QString());
        QVERIFY(s->exit(tapisol));
    }

    // With no instance running, `--apply` sets the picture itself, on the first monitor, and ends.
    void applyWithoutAnInstance()
    {
        // One monitor: the work area is the screen here (no panel); several: the first monitor.
        QCOMPARE(s->client({QStringLiteral("--apply"), picture(QStringLiteral("quarters.png"))}), 0);
        const QRect area = fitted(QGuiApplication::screens().at(0)->geometry());
        QCOMPARE(rootMismatches(quarterChecks(area)), QString());
        QCOMPARE(QImage(WallpaperRenderer::outputPath()).size(), area.size());
    }

    // At the start the picture fills the screen; hostile files handed to the running instance
    // (`--apply`) leave it as it was; "Next" goes on with the folder.
    void startChangeAndBadPictures()
    {
        if (QGuiApplication::screens().size() != 1)
            QSKIP("needs a single 1280 × 800 screen");
        configure();
        QVERIFY(!picture(QStringLiteral("b-red.png"), solid(Red)).isEmpty());
        // A PNG whose header declares 60000 × 60000 pixels (a decompression bomb), and a letter.
        const QString bomb = s->home().path() + QStringLiteral("/bomb.png");
        const QString letter = s->home().path() + QStringLiteral("/letter.jpg");
        QVERIFY(writeFile(bomb,
            QByteArray::fromHex(
                "89504e470d0a1a0a0000000d494844520000ea600000ea6008020000000fb0e2150000001a49444154"
                "789cedc1010d000000c2a0f74f6d0f0714000000f06e100000014b9ea33c0000000049454e44ae426082")));
        QVERIFY(writeFile(letter, "Dear user, this is not a picture.\n"));
        // With the trace window shown: each line lets the event loop in, and the list of the
        // folder may arrive in the middle of a step.
        QProcess* tapisol = s->start({QStringLiteral("/trace")});
        QVERIFY(s->waitForLog(QStringLiteral("SY Chg WP Changed")));
        // 800 × 600 fitted to 1280 × 800: 1067 × 800, centred with black bands.
        const QList<PixelCheck> quarters = quarterChecks(QRect(106, 0, 1067, 800));
        QCOMPARE(rootMismatches(quarters + QList<PixelCheck> {{{50, 400}, Black}, {{1240, 400}, Black}}), QString());
        QCOMPARE(QImage(WallpaperRenderer::outputPath()).size(), QSize(1067, 800));

        for (const QString& bad : {bomb, letter}) {
            QCOMPARE(s->client({QStringLiteral("--apply"), bad}), 1);
            QVERIFY(s->log().contains(QStringLiteral("SY Chg WP Err ") + bad));
            QCOMPARE(rootMismatches(quarters), QString());
        }
        QCOMPARE(tapisol->state(), QProcess::Running);
        // The red picture, stretched by the fit to the height.
        QVERIFY(s->command(2));
        QVERIFY(s->waitForLog(QStringLiteral("SY Chg WP Changed"), 2));
        const QList<PixelCheck> red {{{640, 400}, Red}, {{100, 100}, Red}};
        QCOMPARE(rootMismatches(red), QString());
        QVERIFY(s->exit(tapisol));
        QCOMPARE(rootMismatches(red), QString()); // the wallpaper outlives the program that set it
    }

    // The picture fills the screen in the pixels the X server counts, whatever Qt's scale, and
    // with one monitor it is fitted to the work area's right and bottom edges: a panel along the
    // top or the left edge leaves it the full height.
    void fitsTheScreenInDevicePixels_data()
    {
        QTest::addColumn<QByteArray>("scale");
        QTest::addColumn<QString>("workArea");
        QTest::newRow("scale 2") << QByteArray("2") << QString();
        QTest::newRow("scale 1.5") << QByteArray("1.5") << QString();
        QTest::newRow("panel along the top") << QByteArray() << QStringLiteral("0,40,1280,760");
        QTest::newRow("panel along the left") << QByteArray() << QStringLiteral("300,0,980,800");
    }

    void fitsTheScreenInDevicePixels()
    {
        QFETCH(QByteArray, scale);
        QFETCH(QString, workArea);
        if (QGuiApplication::screens().size() != 1)
            QSKIP("needs a single 1280 × 800 screen");
        configure();
        if (!workArea.isEmpty())
            E2eSession::run(QStringLiteral("xprop -root -format _NET_WORKAREA 32c -set _NET_WORKAREA ") + workArea);
        const auto restore = qScopeGuard([] {
            qunsetenv("QT_SCALE_FACTOR");
            E2eSession::run(QStringLiteral("xprop -root -remove _NET_WORKAREA"));
        });
        if (!scale.isEmpty())
            qputenv("QT_SCALE_FACTOR", scale);
        QProcess* tapisol = s->start({QStringLiteral("/trace"), QStringLiteral("/silent")});
        QVERIFY(s->waitForLog(QStringLiteral("SY Chg WP Changed")));
        // 800 × 600 fitted to 1280 × 800: 1067 × 800, centred with black bands.
        QCOMPARE(rootMismatches(quarterChecks(QRect(106, 0, 1067, 800)) << PixelCheck {{50, 400}, Black}), QString());
        QCOMPARE(QImage(WallpaperRenderer::outputPath()).size(), QSize(1067, 800));
        QVERIFY(s->exit(tapisol));
    }

    // Shown at its own size (mode 3), a picture is still decoded by the helper: a phone's
    // portrait photo stands upright, a HEIF picture shows. The start's re-apply, without a
    // change, shows the same.
    void ownSizeGoesThroughTheDecoder_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QRect>("shown");
        QTest::addColumn<QList<QRgb>>("corners"); // top-left, top-right, bottom-left, bottom-right
        // Stored 400 × 300 with EXIF orientation 6: shown turned a quarter clockwise.
        QTest::newRow("EXIF-rotated JPEG")
            << QStringLiteral("turned.jpg") << QRect(490, 200, 300, 400) << QList<QRgb> {Blue, Red, White, Green};
        QTest::newRow("HEIF") << QStringLiteral("quarters.heic") << QRect(440, 250, 400, 300)
                              << QList<QRgb> {Red, Green, Blue, White};
    }

    void ownSizeGoesThroughTheDecoder()
    {
        QFETCH(QString, file);
        QFETCH(QRect, shown);
        QFETCH(QList<QRgb>, corners);
        if (QGuiApplication::screens().size() != 1)
            QSKIP("needs a single 1280 × 800 screen");
        const QString folder = s->home().path() + QStringLiteral("/own/");
        QVERIFY(QDir().mkpath(folder) && quadrantPicture({400, 300}).save(folder + QStringLiteral("q.png")));
        const QString made = file.endsWith(QLatin1String(".jpg"))
            ? E2eSession::run(QStringLiteral("sh -c"),
                {QStringLiteral("cd %1 && convert q.png -quality 98 q.jpg && exiftool -q -n -Orientation=6 -o %2 "
                                "q.jpg && rm q.png q.jpg && echo ok")
                        .arg(folder, file)})
            : E2eSession::run(QStringLiteral("sh -c"),
                {QStringLiteral("cd %1 && convert q.png -quality 95 %2 && rm q.png && echo ok").arg(folder, file)});
        QCOMPARE(made, QStringLiteral("ok"));
        {
            QSettings settings = s->configFile();
            settings.setValue(QStringLiteral("Paramètres/Répertoire"), folder);
            settings.setValue(QStringLiteral("Paramètres/SizingMode"), 3);
            settings.setValue(QStringLiteral("Paramètres/SousRépertoire"), 0);
            settings.setValue(QStringLiteral("Paramètres/SelectRandom"), 0);
            settings.setValue(QStringLiteral("Paramètres/StartChange"), -1);
        }
        const QList<PixelCheck> checks {{shown.topLeft() + QPoint(30, 30), corners[0]},
            {shown.topRight() + QPoint(-30, 30), corners[1]}, {shown.bottomLeft() + QPoint(30, -30), corners[2]},
            {shown.bottomRight() - QPoint(30, 30), corners[3]}, {{100, 400}, Black}};
        QProcess* tapisol = s->start({QStringLiteral("/trace"), QStringLiteral("/silent")});
        QVERIFY2(s->waitForLog(QStringLiteral("SY Chg WP Changed")), qPrintable(s->log().right(1500)));
        QCOMPARE(rootMismatches(checks, 24), QString());
        QCOMPARE(contents(WallpaperRenderer::outputPath()), contents(folder + file)); // the copy stays
        QVERIFY(s->exit(tapisol));

        E2eSession::run(QStringLiteral("xsetroot -solid black"));
        {
            QSettings settings = s->configFile();
            settings.setValue(QStringLiteral("Paramètres/StartChange"), 0);
        }
        tapisol = s->start({QStringLiteral("/trace"), QStringLiteral("/silent")});
        QVERIFY(s->waitForLog(QStringLiteral("SY Load, End"), 2));
        QTRY_COMPARE(rootMismatches(checks, 24), QString());
        QVERIFY(s->exit(tapisol));
    }

    // A change of resolution (the X screen's monitor made smaller, as a RandR change does) has
    // the current picture fitted and rendered again for the new size.
    void refitsAfterAResolutionChange()
    {
        if (QGuiApplication::screens().size() != 1)
            QSKIP("needs a single 1280 × 800 screen");
        configure();
        QProcess* tapisol = s->start({QStringLiteral("/trace"), QStringLiteral("/silent")});
        QVERIFY(s->waitForLog(QStringLiteral("SY Chg WP Changed")));
        const QString output = E2eSession::run(QStringLiteral("xrandr"))
                                   .section(QLatin1Char('\n'), 1, 1)
                                   .section(QLatin1Char(' '), 0, 0);
        E2eSession::run(QStringLiteral("xrandr --setmonitor tapisol-small 1024/200x768/150+0+0 ") + output);
        const auto restore = qScopeGuard([] { E2eSession::run(QStringLiteral("xrandr --delmonitor tapisol-small")); });
        QVERIFY(s->waitForLog(QStringLiteral("SY Monitors 1")));
        QVERIFY(s->waitForLog(QStringLiteral("SY Chg WP Changed"), 2));
        // 800 × 600 fitted to 1024 × 768 exactly, from the top-left corner.
        QCOMPARE(QImage(WallpaperRenderer::outputPath()).size(), QSize(1024, 768));
        QCOMPARE(rootMismatches(quarterChecks(QRect(0, 0, 1024, 768))), QString());
        QVERIFY(s->exit(tapisol));
    }

    // On GNOME (its settings through GIO's key file, on the test's bus) each change reaches the
    // desktop's key under a fresh name, the file it names shows the picture, never more than two
    // such copies exist, and the X root, hidden on such a desktop, is not used.
    void gnomeTakesEachChange()
    {
        if (QGuiApplication::screens().size() != 1)
            QSKIP("needs a single 1280 × 800 screen");
        QVERIFY(!picture(QStringLiteral("a-red.png"), solid(Red)).isEmpty());
        QVERIFY(!picture(QStringLiteral("b-blue.png"), solid(Blue)).isEmpty());
        QVERIFY(!picture(QStringLiteral("c-white.png"), solid(White)).isEmpty());
        {
            QSettings settings = s->configFile();
            settings.setValue(
                QStringLiteral("Paramètres/Répertoire"), s->home().path() + QStringLiteral("/home/Pictures"));
            settings.setValue(QStringLiteral("Paramètres/SelectRandom"), 0);
            settings.setValue(QStringLiteral("Paramètres/StartChange"), 0);
            settings.setValue(QStringLiteral("Paramètres/SizingMode"), 1); // stretched: one colour everywhere
        }
        qputenv("XDG_CURRENT_DESKTOP", "GNOME");
        qputenv("GSETTINGS_BACKEND", "keyfile");
        const auto restore = qScopeGuard([] {
            qunsetenv("XDG_CURRENT_DESKTOP");
            qunsetenv("GSETTINGS_BACKEND");
        });
        QProcess* tapisol = s->startLoaded();
        QVERIFY(tapisol);
        QVERIFY(s->log().contains(QStringLiteral("Wallpaper back end gnome (desktop \"gnome\"")));
        const auto shownByGnome = [] {
            const QString uri
                = E2eSession::run(QStringLiteral("gsettings get org.gnome.desktop.background picture-uri"));
            const QString file = QUrl(uri.mid(1, uri.size() - 2)).toLocalFile();
            return std::pair {file, QImage(file)};
        };
        QStringList names;
        for (const QRgb colour : {Red, Blue}) {
            QVERIFY(s->command(2));
            QVERIFY(s->waitForLog(QStringLiteral("SY Chg WP Changed"), int(names.size()) + 1));
            const auto [file, image] = shownByGnome();
            QVERIFY2(!image.isNull(), qPrintable(file));
            QCOMPARE(image.pixel(image.width() / 2, image.height() / 2), colour);
            names << file;
        }
        QVERIFY(names[0] != names[1]);
        QVERIFY(s->command(2));
        QVERIFY(s->waitForLog(QStringLiteral("SY Chg WP Changed"), 3));
        QCOMPARE(shownByGnome().second.pixel(10, 10), White);
        QCOMPARE(WallpaperRenderer::desktopCopies().size(), 2);
        QVERIFY(s->log().contains(QStringLiteral("x11: the desktop draws its own background over the root window")));
        QVERIFY(s->exit(tapisol));
    }

    // A desktop that never answers (Plasma's shell, on the test's bus) costs the change, not the
    // tray: commands are taken meanwhile, and the trace names the back end and the reason.
    void hungDesktopLeavesTheTrayResponsive()
    {
        configure();
        QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("shell"));
        HungPlasmaShell shell;
        QVERIFY(bus.registerObject(QStringLiteral("/PlasmaShell"), &shell, QDBusConnection::ExportAllSlots));
        QVERIFY(bus.registerService(QStringLiteral("org.kde.plasmashell")));
        qputenv("XDG_CURRENT_DESKTOP", "KDE");
        const auto restore = qScopeGuard([&bus] {
            qunsetenv("XDG_CURRENT_DESKTOP");
            bus.unregisterService(QStringLiteral("org.kde.plasmashell"));
        });
        {
            QSettings settings = s->configFile();
            settings.setValue(QStringLiteral("Paramètres/StartChange"), 0);
        }
        QProcess* tapisol = s->startLoaded();
        QVERIFY(tapisol);
        QVERIFY(s->command(2));
        QTRY_VERIFY_WITH_TIMEOUT(shell.calls > 0, 5000);
        QElapsedTimer answered;
        answered.start();
        QVERIFY(s->command(9)); // quiet-all, while the shell says nothing
        QVERIFY(answered.elapsed() < 2000);
        QVERIFY(
            s->waitForLog(QStringLiteral("SY Chg WP Err plasma: org.kde.plasmashell did not answer within 5 seconds")));
        QVERIFY(!s->log().contains(QStringLiteral("SY Chg WP Changed")));
        QVERIFY(s->exit(tapisol));
    }

    // The renderer: the same picture twice with the same settings rewrites nothing, and still
    // applies; with no room for Tapisol.bmp, "SY Chg Save Failed" and the desktop keeps the
    // previous picture.
    void rendererRewritesNothingAndSurvivesAFullDisk()
    {
        ClsMonitor monitors;
        ImageDecoder decoder;
        const auto backend = WallpaperBackends::choose(WallpaperBackends::Session::fromEnvironment());
        WallpaperRenderer renderer(monitors, decoder, *backend);
        const QString red = picture(QStringLiteral("red.png"), solid(Red));
        struct stat first = {}, second = {};
        QVERIFY(renderer.change(red));
        QCOMPARE(::stat(QFile::encodeName(WallpaperRenderer::outputPath()).constData(), &first), 0);
        QCOMPARE(s->log().count(QStringLiteral(" SY Chg WP Resize ")), 1);
        QVERIFY(renderer.change(red));
        QCOMPARE(::stat(QFile::encodeName(WallpaperRenderer::outputPath()).constData(), &second), 0);
        QCOMPARE(second.st_ino, first.st_ino); // not replaced
        QCOMPARE(second.st_ctim.tv_nsec, first.st_ctim.tv_nsec);
        QCOMPARE(s->log().count(QStringLiteral(" SY Chg WP Resize ")), 1);
        QCOMPARE(s->log().count(QStringLiteral("SY Chg WP Reg ")), 2);
        QCOMPARE(s->log().count(QStringLiteral("SY Chg WP Changed")), 2);

        // The data folder on a tmpfs just big enough for the settings and the old bitmap.
        const QString data = s->home().tapisolDataDir();
        const QByteArray previous = contents(WallpaperRenderer::outputPath());
        if (QProcess::execute(QStringLiteral("mount"),
                QStringLiteral("-t tmpfs -o size=%1k tmpfs").arg(previous.size() / 1024 + 64).split(' ') << data))
            QSKIP("mounting a small tmpfs needs root");
        QVERIFY(writeFile(WallpaperRenderer::outputPath(), previous));
        const bool changed = renderer.change(picture(QStringLiteral("blue.png"), solid(Blue)));
        const QByteArray after = contents(WallpaperRenderer::outputPath());
        const QString traced = s->log(); // the log lives in the mounted folder too
        QProcess::execute(QStringLiteral("umount"), {data});
        QVERIFY(!changed);
        QVERIFY(traced.contains(QStringLiteral("SY Chg Save Failed")));
        QCOMPARE(after, previous); // the old bitmap is whole
        QCOMPARE(rootMismatches({{QPoint(640, 400), Red}}), QString());
    }
};

QTEST_MAIN(TestE2eWallpaper)
#include "tst_e2e_wallpaper.moc"
