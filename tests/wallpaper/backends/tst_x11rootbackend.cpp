#include "RootProbe.h"
#include "x11/X11RootBackend.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QRect Screen(0, 0, 1280, 800); // the screen of the test's Xvfb
const QRect LeftHalf(0, 0, 640, 800);
const QRect RightHalf(640, 0, 640, 800);
constexpr QRgb Previous = 0xff0a78c8;
constexpr QRgb Black = 0xff000000;
constexpr QRgb Red = 0xffff0000;
constexpr QRgb Green = 0xff00ff00;
constexpr QRgb White = 0xffffffff;

// What another program may have left in the root properties before us.
enum class Leftover
{
    FreedPixmap,
    WindowId,
    PropertyOfOtherType,
    LivePixmapRootOnly,
    LivePixmapEsetrootOnly,
    PixmapLeftBySetter,
};

} // namespace

Q_DECLARE_METATYPE(WallpaperStyle)
Q_DECLARE_METATYPE(Leftover)

class TestX11RootBackend : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    RootProbe m_probe;
    X11RootBackend m_backend;
    int m_files = 0;

    QString save(const QImage& picture)
    {
        return saveBitmap(picture, m_dir.path(), QStringLiteral("%1.bmp").arg(++m_files));
    }

    bool apply(const QImage& picture, WallpaperStyle style, const QRect& area, QString* error = nullptr)
    {
        return m_backend.apply(save(picture), style, area, Screen, error);
    }

    bool paintWholeScreen(QRgb colour)
    {
        QImage solid(8, 8, QImage::Format_RGB32);
        solid.fill(colour);
        return apply(solid, WallpaperStyle::Stretched, Screen);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY(m_probe.isValid());
        QCOMPARE(m_probe.rootSize(), Screen.size());
    }

    void stylesOnOneMonitor_data()
    {
        QTest::addColumn<WallpaperStyle>("style");
        QTest::addColumn<QImage>("picture");
        QTest::addColumn<QRect>("area");
        QTest::addColumn<QRect>("virtualScreen");
        QTest::addColumn<QList<PixelCheck>>("checks");
        const auto g = gradientAt;
        QTest::newRow("centred, smaller: black bands")
            << WallpaperStyle::Centered << gradientPicture({200, 100}) << RightHalf << Screen
            << QList<PixelCheck> {{{860, 350}, g(0, 0)}, {{1059, 449}, g(199, 99)}, {{859, 350}, Black},
                   {{1060, 449}, Black}, {{645, 5}, Black}};
        QTest::newRow("centred, larger: cut evenly")
            << WallpaperStyle::Centered << gradientPicture({800, 1000}) << RightHalf << Screen
            << QList<PixelCheck> {{{640, 0}, g(80, 100)}, {{960, 400}, g(400, 500)}, {{1279, 799}, g(719, 899)}};
        const QList<PixelCheck> tiled {
            {{640, 0}, g(0, 0)}, {{940, 0}, g(0, 0)}, {{1239, 350}, g(299, 150)}, {{1279, 799}, g(39, 199)}};
        QTest::newRow("tiled from the area's corner")
            << WallpaperStyle::Tiled << gradientPicture({300, 200}) << RightHalf << Screen << tiled;
        QTest::newRow("virtual screen not at the origin")
            << WallpaperStyle::Tiled << gradientPicture({300, 200}) << RightHalf.translated(-640, -20)
            << Screen.translated(-640, -20) << tiled;
        QTest::newRow("area partly off the screen")
            << WallpaperStyle::Tiled << gradientPicture({300, 200}) << QRect(1000, -100, 640, 900) << Screen
            << QList<PixelCheck> {{{999, 0}, Previous}, {{1000, 0}, g(0, 100)}, {{1279, 799}, g(279, 99)}};
        QTest::newRow("stretched to the area")
            << WallpaperStyle::Stretched << quadrantPicture({40, 20}) << RightHalf << Screen
            << QList<PixelCheck> {{{800, 200}, Red}, {{1120, 200}, Green}, {{800, 600}, 0xff0000ff},
                   {{1120, 600}, White}, {{641, 1}, Red}, {{1278, 798}, White}};
    }

    void stylesOnOneMonitor()
    {
        QFETCH(WallpaperStyle, style);
        QFETCH(QImage, picture);
        QFETCH(QRect, area);
        QFETCH(QRect, virtualScreen);
        QFETCH(QList<PixelCheck>, checks);
        QVERIFY(paintWholeScreen(Previous));
        QString error;
        QVERIFY2(m_backend.apply(save(picture), style, area, virtualScreen, &error), qPrintable(error));

        const QImage shown = m_probe.grab(m_probe.root());
        // The other monitor keeps what it showed.
        checks << PixelCheck {{0, 0}, Previous} << PixelCheck {{639, 799}, Previous};
        const QString wrong = m_probe.mismatches(shown, checks);
        QVERIFY2(wrong.isEmpty(), qPrintable(wrong));
        // Both properties name the pixmap that holds exactly what the root shows.
        const xcb_pixmap_t pixmap = m_probe.pixmapProperty("_XROOTPMAP_ID");
        QVERIFY(pixmap != XCB_NONE);
        QCOMPARE(m_probe.pixmapProperty("ESETROOT_PMAP_ID"), pixmap);
        QCOMPARE(m_probe.grab(pixmap), shown);
    }

    // A change that covers the whole root starts from a fresh pixmap: nothing of the previous
    // wallpaper (or of uninitialised server memory) may show in the bands.
    void wholeScreenRepaintedEverywhere_data()
    {
        QTest::addColumn<WallpaperStyle>("style");
        QTest::addColumn<QImage>("picture");
        QTest::addColumn<QList<PixelCheck>>("checks");
        const auto g = gradientAt;
        QTest::newRow("centred, smaller")
            << WallpaperStyle::Centered << gradientPicture({1080, 800})
            << QList<PixelCheck> {{{0, 0}, Black}, {{99, 799}, Black}, {{100, 0}, g(0, 0)}, {{1179, 799}, g(1079, 799)},
                   {{1180, 400}, Black}, {{1279, 799}, Black}};
        QTest::newRow("exactly the screen's size")
            << WallpaperStyle::Stretched << gradientPicture(Screen.size())
            << QList<PixelCheck> {{{0, 0}, g(0, 0)}, {{1279, 799}, g(1279, 799)}};
        QTest::newRow("tiled") << WallpaperStyle::Tiled << gradientPicture({300, 200})
                               << QList<PixelCheck> {{{0, 0}, g(0, 0)}, {{1279, 799}, g(79, 199)}};
    }

    void wholeScreenRepaintedEverywhere()
    {
        QFETCH(WallpaperStyle, style);
        QFETCH(QImage, picture);
        QFETCH(QList<PixelCheck>, checks);
        QVERIFY(paintWholeScreen(Previous));
        QString error;
        QVERIFY2(m_backend.apply(save(picture), style, Screen, Screen, &error), qPrintable(error));
        const QImage shown = m_probe.grab(m_probe.root());
        const QString wrong = m_probe.mismatches(shown, checks);
        QVERIFY2(wrong.isEmpty(), qPrintable(wrong));
        QCOMPARE(m_probe.grab(m_probe.pixmapProperty("_XROOTPMAP_ID")), shown);
    }

    void leftoversOfOtherPrograms_data()
    {
        QTest::addColumn<Leftover>("leftover");
        QTest::addColumn<QRgb>("otherMonitor");
        QTest::addColumn<bool>("ownerKilled");
        QTest::newRow("freed pixmap") << Leftover::FreedPixmap << Black << false;
        QTest::newRow("a window's id") << Leftover::WindowId << Black << false;
        QTest::newRow("property of another type") << Leftover::PropertyOfOtherType << Black << false;
        QTest::newRow("live pixmap, _XROOTPMAP_ID only") << Leftover::LivePixmapRootOnly << Red << false;
        QTest::newRow("live pixmap, ESETROOT_PMAP_ID only") << Leftover::LivePixmapEsetrootOnly << Black << false;
        QTest::newRow("pixmap left by another setter") << Leftover::PixmapLeftBySetter << Red << true;
    }

    void leftoversOfOtherPrograms()
    {
        QFETCH(Leftover, leftover);
        QFETCH(QRgb, otherMonitor);
        QFETCH(bool, ownerKilled);
        // Another program's connection, with a red pixmap the size of the screen.
        RootProbe other;
        xcb_connection_t* c = other.connection();
        const xcb_pixmap_t pixmap = xcb_generate_id(c);
        xcb_create_pixmap(c, other.rootDepth(), pixmap, other.root(), Screen.width(), Screen.height());
        const xcb_gcontext_t gc = xcb_generate_id(c);
        const uint32_t red = other.pixelOf(Red);
        xcb_create_gc(c, gc, pixmap, XCB_GC_FOREGROUND, &red);
        const xcb_rectangle_t all {0, 0, uint16_t(Screen.width()), uint16_t(Screen.height())};
        xcb_poly_fill_rectangle(c, pixmap, gc, 1, &all);
        uint32_t named = pixmap;
        if (leftover == Leftover::FreedPixmap) {
            xcb_free_pixmap(c, pixmap);
        } else if (leftover == Leftover::WindowId) {
            named = xcb_generate_id(c);
            xcb_create_window(c, XCB_COPY_FROM_PARENT, named, other.root(), 0, 0, 10, 10, 0,
                XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
        }
        const xcb_atom_t type = leftover == Leftover::PropertyOfOtherType ? XCB_ATOM_CARDINAL : XCB_ATOM_PIXMAP;
        for (const char* property : {"_XROOTPMAP_ID", "ESETROOT_PMAP_ID"}) {
            const bool omitted = (leftover == Leftover::LivePixmapRootOnly && property[0] == 'E')
                || (leftover == Leftover::LivePixmapEsetrootOnly && property[0] == '_');
            if (omitted)
                xcb_delete_property(c, other.root(), other.atom(property));
            else
                other.setProperty(property, type, named);
        }
        QVERIFY(RootProbe::answers(c));

        QString error;
        QVERIFY2(apply(quadrantPicture({40, 20}), WallpaperStyle::Stretched, LeftHalf, &error), qPrintable(error));
        const QString wrong
            = m_probe.mismatches(m_probe.grab(m_probe.root()), {{{100, 100}, Red}, {{900, 400}, otherMonitor}});
        QVERIFY2(wrong.isEmpty(), qPrintable(wrong));
        QCOMPARE(RootProbe::answers(c), !ownerKilled);
        QVERIFY(RootProbe::answers(m_probe.connection()));
    }

    void badInputKeepsTheWallpaper_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QRect>("area");
        QTest::addColumn<QByteArray>("display");
        QTest::addColumn<QString>("reason");
        const QString good = save(gradientPicture({64, 64}));
        const QString empty = m_dir.filePath(QStringLiteral("empty.bmp"));
        QFile(empty).open(QIODevice::WriteOnly);
        const QString text = m_dir.filePath(QStringLiteral("text.bmp"));
        QFile textFile(text);
        QVERIFY(textFile.open(QIODevice::WriteOnly) && textFile.write("not a picture\n") > 0);
        textFile.close();
        const QByteArray display = qgetenv("DISPLAY");
        const QString gone = m_dir.filePath(QStringLiteral("gone.bmp"));

        QTest::newRow("missing file") << gone << RightHalf << display << "does not exist";
        QTest::newRow("zero-byte file") << empty << RightHalf << display << "cannot be read";
        QTest::newRow("text named .bmp") << text << RightHalf << display << "cannot be read";
        QTest::newRow("area off the screen") << good << QRect(1300, 0, 640, 800) << display << "not on the screen";
        QTest::newRow("empty area") << good << QRect(640, 0, 0, 800) << display << "not on the screen";
        QTest::newRow("absurd area") << good << QRect(-2000000000, 0, 2100000000, 2000000000) << display << "too large";
        QTest::newRow("no X server there") << good << RightHalf << QByteArray(":4242") << "Cannot connect";
        QTest::newRow("DISPLAY not set") << good << RightHalf << QByteArray() << "DISPLAY is not set";
    }

    void badInputKeepsTheWallpaper()
    {
        QFETCH(QString, file);
        QFETCH(QRect, area);
        QFETCH(QByteArray, display);
        QFETCH(QString, reason);
        QVERIFY(paintWholeScreen(Previous));
        const xcb_pixmap_t before = m_probe.pixmapProperty("_XROOTPMAP_ID");

        X11RootBackend backend(display);
        QString error;
        QVERIFY(!backend.apply(file, WallpaperStyle::Centered, area, Screen, &error));
        QVERIFY2(error.contains(reason), qPrintable(error));
        QCOMPARE(m_probe.pixmapProperty("_XROOTPMAP_ID"), before);
        QVERIFY(
            m_probe.mismatches(m_probe.grab(m_probe.root()), {{{0, 0}, Previous}, {{1279, 799}, Previous}}).isEmpty());
    }

    // A prepared wallpaper is on the server but not on screen until show(); one dropped unshown
    // (its bitmap could not be written) leaves the screen and the server as they were.
    void preparedWallpaperShowsOnlyWhenAsked()
    {
        QVERIFY(paintWholeScreen(Previous));
        const auto before = m_probe.pixmapsAndClients();
        const xcb_pixmap_t previousPixmap = m_probe.pixmapProperty("_XROOTPMAP_ID");
        const QImage picture = quadrantPicture({100, 50});
        QString error;
        {
            auto dropped = m_backend.prepare(picture, WallpaperStyle::Stretched, RightHalf, Screen, &error);
            QVERIFY2(dropped, qPrintable(error));
            QCOMPARE(m_probe.pixmapProperty("_XROOTPMAP_ID"), previousPixmap);
            QVERIFY(m_probe.mismatches(m_probe.grab(m_probe.root()), {{{1000, 400}, Previous}}).isEmpty());
        }
        QCOMPARE(m_probe.pixmapsAndClients(), before);

        auto prepared = m_backend.prepare(picture, WallpaperStyle::Stretched, RightHalf, Screen, &error);
        QVERIFY2(prepared, qPrintable(error));
        QVERIFY2(prepared->show(&error), qPrintable(error));
        prepared.reset();
        const QImage shown = m_probe.grab(m_probe.root());
        QVERIFY(m_probe
                    .mismatches(
                        shown, {{{100, 400}, Previous}, {{700, 100}, Red}, {{1100, 100}, Green}, {{1270, 790}, White}})
                    .isEmpty());
        QCOMPARE(m_probe.grab(m_probe.pixmapProperty("_XROOTPMAP_ID")), shown);
        QCOMPARE(m_probe.pixmapsAndClients(), before); // the previous pixmap went with its client

        // Nothing to show (the decode gave no picture) is refused before the server is touched.
        QVERIFY(!m_backend.prepare(QImage(), WallpaperStyle::Centered, RightHalf, Screen, &error));
        QVERIFY2(error.contains(QStringLiteral("no wallpaper picture")), qPrintable(error));
    }

    // Every change leaves one pixmap behind on purpose; the next change must free it, or a tray
    // program changing the wallpaper every minute fills the X server within days.
    void thousandChangesLeakNoPixmap()
    {
        const QString files[] = {save(gradientPicture({64, 48})), save(quadrantPicture({100, 50}))};
        const WallpaperStyle styles[] = {WallpaperStyle::Centered, WallpaperStyle::Tiled, WallpaperStyle::Stretched};
        QVERIFY(paintWholeScreen(Previous));
        const auto before = m_probe.pixmapsAndClients();
        QVERIFY(before.first > 0);

        QElapsedTimer timer;
        timer.start();
        constexpr int Changes = 1000;
        for (int i = 0; i < Changes; ++i) {
            QString error;
            QVERIFY2(m_backend.apply(files[i % 2], styles[i % 3], i % 2 ? RightHalf : LeftHalf, Screen, &error),
                qPrintable(error));
        }
        const auto after = m_probe.pixmapsAndClients();
        qInfo("%d changes in %lld ms; X server pixmaps %d -> %d, clients %d -> %d", Changes, timer.elapsed(),
            before.first, after.first, before.second, after.second);
        QCOMPARE(after, before);
        // The last change put the quadrants, centred, on the right half.
        const QImage shown = m_probe.grab(m_probe.root());
        QVERIFY(m_probe.mismatches(shown, {{{910, 375}, Red}, {{985, 412}, White}, {{909, 375}, Black}}).isEmpty());
        QCOMPARE(m_probe.grab(m_probe.pixmapProperty("_XROOTPMAP_ID")), shown);
    }
};

QTEST_GUILESS_MAIN(TestX11RootBackend)
#include "tst_x11rootbackend.moc"
