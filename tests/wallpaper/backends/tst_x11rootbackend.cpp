#include "ClsMonitor.h"
#include "RootProbe.h"
#include "WallpaperBackend.h"
#include "x11/X11RootBackend.h"

#include <QGuiApplication>
#include <QtTest>

namespace {

const QRect Screen(0, 0, 1280, 800); // the test's Xvfb screen (the two monitors' test reads its own)
const QRect LeftHalf(0, 0, 640, 800);
const QRect RightHalf(640, 0, 640, 800);
constexpr QRgb Previous = 0xff0a78c8;
constexpr QRgb Black = 0xff000000;
constexpr QRgb Red = 0xffff0000;
constexpr QRgb Green = 0xff00ff00;
constexpr QRgb White = 0xffffffff;

WallpaperTarget target(const QString& file, WallpaperStyle style, const QRect& area, const QRect& virtualScreen)
{
    WallpaperTarget result;
    result.file = file;
    result.style = style;
    result.monitor = area;
    result.virtualScreen = virtualScreen;
    return result;
}

} // namespace

Q_DECLARE_METATYPE(WallpaperStyle)

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

    // Applies a picture; returns the error, empty once applied.
    QString apply(const QImage& picture, WallpaperStyle style, const QRect& area, const QRect& virtualScreen = Screen)
    {
        QString error = QStringLiteral("failed");
        return m_backend.apply(target(save(picture), style, area, virtualScreen), &error) ? QString() : error;
    }

    QString paintPrevious()
    {
        QImage solid(8, 8, QImage::Format_RGB32);
        solid.fill(Previous);
        return apply(solid, WallpaperStyle::Stretched, Screen);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid() && m_probe.isValid());
        QCOMPARE(int(m_probe.rootDepth()), qgetenv("TAPISOL_XVFB_SCREEN").endsWith("x16") ? 16 : 24);
    }

    void styles_data()
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
        // A change that covers the whole root starts from a fresh pixmap: nothing of the previous
        // wallpaper (or of uninitialised server memory) may show in the bands.
        QTest::newRow("whole screen, centred, smaller")
            << WallpaperStyle::Centered << gradientPicture({1080, 800}) << Screen << Screen
            << QList<PixelCheck> {{{0, 0}, Black}, {{99, 799}, Black}, {{100, 0}, g(0, 0)}, {{1179, 799}, g(1079, 799)},
                   {{1180, 400}, Black}, {{1279, 799}, Black}};
        QTest::newRow("whole screen, exactly its size")
            << WallpaperStyle::Stretched << gradientPicture(Screen.size()) << Screen << Screen
            << QList<PixelCheck> {{{0, 0}, g(0, 0)}, {{1279, 799}, g(1279, 799)}};
    }

    void styles()
    {
        QFETCH(WallpaperStyle, style);
        QFETCH(QImage, picture);
        QFETCH(QRect, area);
        QFETCH(QRect, virtualScreen);
        QFETCH(QList<PixelCheck>, checks);
        QCOMPARE(paintPrevious(), QString());
        QCOMPARE(apply(picture, style, area, virtualScreen), QString());
        if (area.width() < virtualScreen.width()) // the other monitor keeps what it showed
            checks << PixelCheck {{0, 0}, Previous} << PixelCheck {{639, 799}, Previous};
        QCOMPARE(m_probe.rootMismatches(checks), QString());
    }

    // What another program may have left in the root properties before us: "both" names a live
    // pixmap in both, as another setter leaves it (its owner is then killed to free it).
    void leftoversOfOtherPrograms_data()
    {
        QTest::addColumn<QByteArray>("leftover");
        QTest::addColumn<QRgb>("otherMonitor");
        QTest::newRow("freed pixmap") << QByteArray("freed") << Black;
        QTest::newRow("a window's id") << QByteArray("window") << Black;
        QTest::newRow("property of another type") << QByteArray("cardinal") << Black;
        QTest::newRow("live pixmap, _XROOTPMAP_ID only") << QByteArray("_") << Red;
        QTest::newRow("live pixmap, ESETROOT_PMAP_ID only") << QByteArray("E") << Black;
        QTest::newRow("pixmap left by another setter") << QByteArray("both") << Red;
    }

    void leftoversOfOtherPrograms()
    {
        QFETCH(QByteArray, leftover);
        QFETCH(QRgb, otherMonitor);
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
        if (leftover == "freed") {
            xcb_free_pixmap(c, pixmap);
        } else if (leftover == "window") {
            named = xcb_generate_id(c);
            xcb_create_window(c, XCB_COPY_FROM_PARENT, named, other.root(), 0, 0, 10, 10, 0,
                XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
        }
        for (const char* property : {"_XROOTPMAP_ID", "ESETROOT_PMAP_ID"}) {
            if (leftover.size() == 1 && leftover[0] != property[0])
                xcb_delete_property(c, other.root(), other.atom(property));
            else
                other.setProperty(property, leftover == "cardinal" ? XCB_ATOM_CARDINAL : XCB_ATOM_PIXMAP, named);
        }
        QVERIFY(RootProbe::answers(c));

        QCOMPARE(apply(quadrantPicture({40, 20}), WallpaperStyle::Stretched, LeftHalf), QString());
        QCOMPARE(m_probe.rootMismatches({{{100, 100}, Red}, {{900, 400}, otherMonitor}}), QString());
        QCOMPARE(RootProbe::answers(c), leftover != "both");
        QVERIFY(RootProbe::answers(m_probe.connection()));
    }

    void badInputKeepsTheWallpaper_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QRect>("area");
        QTest::addColumn<QByteArray>("display");
        QTest::addColumn<QString>("reason");
        const QString good = save(gradientPicture({64, 64}));
        const auto write = [this](const char* name, const QByteArray& bytes) {
            QFile file(m_dir.filePath(QLatin1String(name)));
            return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() ? file.fileName() : QString();
        };
        const QByteArray display = qgetenv("DISPLAY");
        QTest::newRow("missing file") << m_dir.filePath("gone.bmp") << RightHalf << display << "does not exist";
        QTest::newRow("zero-byte file") << write("empty.bmp", {}) << RightHalf << display << "cannot be read";
        QTest::newRow("text named .bmp") << write("text.bmp", "not a picture\n") << RightHalf << display
                                         << "cannot be read";
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
        QCOMPARE(paintPrevious(), QString());
        const xcb_pixmap_t before = m_probe.pixmapProperty("_XROOTPMAP_ID");
        QString error;
        QVERIFY(!X11RootBackend(display).apply(target(file, WallpaperStyle::Centered, area, Screen), &error));
        QVERIFY2(error.contains(reason), qPrintable(error));
        QCOMPARE(m_probe.pixmapProperty("_XROOTPMAP_ID"), before);
        QCOMPARE(m_probe.rootMismatches({{{0, 0}, Previous}, {{1279, 799}, Previous}}), QString());
    }

    // A prepared wallpaper is on the server but not on screen until show(); one dropped unshown
    // (its bitmap could not be written) leaves the screen and the server as they were.
    void preparedWallpaperShowsOnlyWhenAsked()
    {
        QCOMPARE(paintPrevious(), QString());
        const auto before = m_probe.pixmapsAndClients();
        const QImage picture = quadrantPicture({100, 50});
        QString error;
        {
            auto dropped = m_backend.prepare(picture, target({}, WallpaperStyle::Stretched, RightHalf, Screen), &error);
            QVERIFY2(dropped, qPrintable(error));
            QCOMPARE(m_probe.rootMismatches({{{1000, 400}, Previous}}), QString());
        }
        QCOMPARE(m_probe.pixmapsAndClients(), before);

        auto prepared = m_backend.prepare(picture, target({}, WallpaperStyle::Stretched, RightHalf, Screen), &error);
        QVERIFY2(prepared, qPrintable(error));
        QVERIFY2(prepared->show(&error), qPrintable(error));
        prepared.reset();
        QCOMPARE(m_probe.rootMismatches(
                     {{{100, 400}, Previous}, {{700, 100}, Red}, {{1100, 100}, Green}, {{1270, 790}, White}}),
            QString());
        QCOMPARE(m_probe.pixmapsAndClients(), before); // the previous pixmap went with its client

        // Nothing to show (the decode gave no picture) is refused before the server is touched.
        QVERIFY(!m_backend.prepare(QImage(), target({}, WallpaperStyle::Centered, RightHalf, Screen), &error));
        QVERIFY2(error.contains(QStringLiteral("no wallpaper picture")), qPrintable(error));
    }

    // Every change leaves one pixmap behind on purpose; the next change must free it, or a tray
    // program changing the wallpaper every minute fills the X server within days.
    void thousandChangesLeakNoPixmap()
    {
        const QString files[] = {save(gradientPicture({64, 48})), save(quadrantPicture({100, 50}))};
        const WallpaperStyle styles[] = {WallpaperStyle::Centered, WallpaperStyle::Tiled, WallpaperStyle::Stretched};
        QCOMPARE(paintPrevious(), QString());
        const auto before = m_probe.pixmapsAndClients();
        QVERIFY(before.first > 0);
        for (int i = 0; i < 1000; ++i) {
            QString error;
            QVERIFY2(m_backend.apply(target(files[i % 2], styles[i % 3], i % 2 ? RightHalf : LeftHalf, Screen), &error),
                qPrintable(error));
        }
        QCOMPARE(m_probe.pixmapsAndClients(), before);
        // The last change put the quadrants, centred, on the right half.
        QCOMPARE(m_probe.rootMismatches({{{910, 375}, Red}, {{985, 412}, White}, {{909, 375}, Black}}), QString());
    }

    // Run with two RandR monitors side by side (with-monitors.sh), also on Xorg: the monitors come
    // from Qt, as the renderer gets them, and each change must land on its own monitor only.
    void eachMonitorKeepsItsOwnWallpaper()
    {
        if (QGuiApplication::screens().size() != 2)
            QSKIP("needs the two monitors of with-monitors.sh");
        ClsMonitor monitors;
        monitors.refresh();
        QCOMPARE(monitors.count(), 2);
        QVERIFY(monitors.records().first().flags & ClsMonitor::PrimaryFlag);
        const auto [left, right] = std::minmax(monitors.records().at(0).monitor, monitors.records().at(1).monitor,
            [](const QRect& a, const QRect& b) { return a.x() < b.x(); });
        QCOMPARE(left.right() + 1, right.left());
        const ClsMonitor::Size all = monitors.virtualScreen();
        const QRect virtualScreen(all.left, all.top, all.width, all.height);

        QCOMPARE(m_probe.rootSize(), virtualScreen.size());
        QCOMPARE(apply(gradientPicture({300, 200}), WallpaperStyle::Tiled, right, virtualScreen), QString());
        QCOMPARE(apply(quadrantPicture({40, 20}), WallpaperStyle::Stretched, left, virtualScreen), QString());

        const QPoint r = right.topLeft();
        const QPoint quarter(left.width() / 4, left.height() / 4);
        QCOMPARE(m_probe.rootMismatches({{r, gradientAt(0, 0)}, {r + QPoint(299, 150), gradientAt(299, 150)},
                     {r + QPoint(300, 199), gradientAt(0, 199)},
                     {right.bottomRight(), gradientAt((right.width() - 1) % 300, (right.height() - 1) % 200)},
                     {left.topLeft() + quarter, Red}, {left.bottomRight() - quarter, White},
                     {QPoint(left.right(), left.top() + quarter.y()), Green}}),
            QString());
    }

    // The desktop's TileWallpaper and WallpaperStyle values: tiling wins, blanks are ignored, and
    // unknown or missing values mean centred.
    void styleFromDesktopValues()
    {
        using enum WallpaperStyle;
        const QList<std::tuple<QString, QString, WallpaperStyle>> cases = {
            {"0", "0", Centered}, {"1", "0", Tiled}, {"0", "2", Stretched}, {" 1 ", "2", Tiled}, {"", "10", Centered}};
        for (const auto& [tile, style, expected] : cases)
            QCOMPARE(wallpaperStyleFromDesktopValues(tile, style), expected);
    }
};

QTEST_MAIN(TestX11RootBackend)
#include "tst_x11rootbackend.moc"
