#include "ClsMonitor.h"
#include "WallpaperSizing.h"

#include <QtTest>

#include <cmath>

Q_DECLARE_METATYPE(SizingSettings)

namespace {

const QSize Screen(1920, 1080);
const QSize WorkArea(1920, 1040); // below a 40-pixel panel

// Two monitors side by side, the right one taller and placed lower, with a panel on the left one.
QList<ClsMonitor::Record> twoMonitors()
{
    return {{11, QRect(0, 0, 1920, 1080), QRect(0, 0, 1920, 1040), ClsMonitor::PrimaryFlag},
        {22, QRect(1920, 200, 1280, 1024), QRect(1920, 200, 1280, 1024), 0}};
}

QRect rect(const std::optional<ClsMonitor::Size>& size)
{
    return size ? QRect(size->left, size->top, size->width, size->height) : QRect();
}

} // namespace

// The monitors, and how a picture is fitted to one.
class TestSizing : public QObject
{
    Q_OBJECT

private slots:
    void roundingIsHalfToEven()
    {
        QCOMPARE(QList<qint64>({roundHalfEven(2.5), roundHalfEven(3.5), roundHalfEven(1386.67), roundHalfEven(-2.5)}),
            QList<qint64>({2, 4, 1387, -2}));
    }

    // The expected outcome as "target tile/style", with "as is" when the picture is not resized.
    void sizing_data()
    {
        QTest::addColumn<QSize>("picture");
        QTest::addColumn<bool>("metafile");
        QTest::addColumn<SizingSettings>("settings");
        QTest::addColumn<QString>("expected");
        const QSize small(800, 600);
        using S = SizingSettings;
        QTest::newRow("0 wide") << QSize(4000, 1000) << false << S {} << "1920x480 0/0";
        QTest::newRow("0 tall") << QSize(1000, 2000) << false << S {} << "520x1040 0/0";
        // 413 × 1920 / 768 = 1032.5, which goes to the even 1032.
        QTest::newRow("0 half to even") << QSize(768, 413) << false << S {} << "1920x1032 0/0";
        QTest::newRow("0 cover, taller") << QSize(4000, 3000) << false << S {.bandeZoom = true} << "1920x1440 0/0";
        QTest::newRow("0 cover, wider") << QSize(4000, 1000) << false << S {.bandeZoom = true} << "4320x1080 0/0";
        QTest::newRow("1 stretched") << small << false << S {.sizingMode = 1} << "1920x1040 0/2";
        QTest::newRow("2 small kept at its size") << small << false << S {.sizingMode = 2} << "800x600 0/0 as is";
        QTest::newRow("2 large fitted, tiled") << QSize(3840, 2080) << false << S {.sizingMode = 2} << "1920x1040 1/0";
        QTest::newRow("2 no limit") << small << false << S {.sizingMode = 2, .agranMaxi = true} << "1387x1040 1/0";
        QTest::newRow("2 metafile") << small << true << S {.sizingMode = 2} << "1387x1040 0/0";
        QTest::newRow("3 own size, centred")
            << QSize(5000, 300) << false << S {.sizingMode = 3} << "5000x300 0/0 as is";
        QTest::newRow("3 own size, tiled")
            << QSize(64, 64) << false << S {.sizingMode = 3, .centrerMosaique = 1} << "64x64 1/0 as is";
        QTest::newRow("3 metafile rendered") << QSize(64, 64) << true << S {.sizingMode = 3} << "64x64 0/0";
    }

    void sizing()
    {
        QFETCH(QSize, picture);
        QFETCH(bool, metafile);
        QFETCH(SizingSettings, settings);
        QFETCH(QString, expected);
        const auto result = computeSizing(picture.width(), picture.height(), metafile, Screen, WorkArea, settings);
        QVERIFY(result);
        QCOMPARE(QStringLiteral("%1x%2 %3/%4%5")
                     .arg(result->target.width())
                     .arg(result->target.height())
                     .arg(result->tileWallpaper, result->wallpaperStyle,
                         result->resize ? QString() : QStringLiteral(" as is")),
            expected);
    }

    // Mode 2 enlarges up to a factor, and tiles the bands when the picture covers enough.
    void modeTwoLimits()
    {
        SizingSettings limits {.sizingMode = 2};
        auto result = computeSizing(800, 600, false, Screen, WorkArea, limits);
        QVERIFY(result && result->enlargementLimited);
        // ((1387 + 1040) × 100 / (800 + 600)) / 100, to three decimals.
        QCOMPARE(result->enlargementRatio, QStringLiteral("(1.734)"));
        QVERIFY(qAbs(result->coverage - 24.038) < 0.001);

        limits.tauxTaille = 2.0; // twice the size is allowed: 1387 ≤ 1600, 1040 ≤ 1200
        result = computeSizing(800, 600, false, Screen, WorkArea, limits);
        QVERIFY(result && !result->enlargementLimited);
        QCOMPARE(result->target, QSize(1387, 1040));
        limits.tauxCouverture = 73; // 1387 × 1040 covers 72.24 % of the work area
        QCOMPARE(computeSizing(800, 600, false, Screen, WorkArea, limits)->tileWallpaper, QStringLiteral("0"));
        limits.tauxCouverture = 72;
        QCOMPARE(computeSizing(800, 600, false, Screen, WorkArea, limits)->tileWallpaper, QStringLiteral("1"));

        // Covering the screen: (1080 − 1440) × 100 / 1440 = −25, kept as a deformation of 25; a cut
        // of (1080 − 1200) × 100 / 1200 = −10 leaves the figure of the work area (0 %).
        const SizingSettings cover {.sizingMode = 2, .bandeZoom = true, .agranMaxi = true};
        QCOMPARE(computeSizing(4000, 3000, false, Screen, WorkArea, cover)->deformation, 25.0);
        QCOMPARE(computeSizing(4000, 2500, false, Screen, WorkArea, cover)->deformation, 0.0);
    }

    void unusableNumbersAbandonTheChange()
    {
        const SizingSettings defaults;
        QVERIFY(!computeSizing(0, 600, false, Screen, WorkArea, defaults));
        QVERIFY(!computeSizing(std::nan(""), 600, false, Screen, WorkArea, defaults));
        QVERIFY(!computeSizing(800, 600, false, Screen, QSize(), defaults));
        QVERIFY(!computeSizing(1, 1e7, false, Screen, WorkArea, defaults)); // 1.92e10 tall
    }

    // Sizes in pixels and in twips (15 a pixel); numbers out of range or too large for twips give nothing.
    void monitorSizes()
    {
        ClsMonitor monitors;
        monitors.setRecords(twoMonitors());
        QCOMPARE(monitors.count(), 2);
        QCOMPARE(rect(monitors.monitorSize(2)), QRect(1920, 200, 1280, 1024));
        QCOMPARE(rect(monitors.workAreaSize(1, ClsMonitor::Unit::Twips)), QRect(0, 0, 1920 * 15, 1040 * 15));
        QVERIFY(!monitors.monitorSize(3));
        QVERIFY(!monitors.monitorSize(0));
        QCOMPARE(rect(monitors.virtualScreen()), QRect(0, 0, 3200, 1224));
        QCOMPARE(monitors.virtualScreen(ClsMonitor::Unit::Twips).width, 3200 * 15);

        monitors.setRecords({{1, QRect(0, 0, 200000000, 10), QRect(0, 0, 10, 10), 0}});
        QVERIFY(monitors.monitorSize(1));
        QVERIFY(!monitors.monitorSize(1, ClsMonitor::Unit::Twips)); // 3e9 twips does not fit
    }

    // The monitor a point is on, else the nearest one; always the first when single-monitor.
    void nearestMonitor()
    {
        ClsMonitor monitors;
        monitors.setRecords(twoMonitors());
        const QList<std::pair<QPoint, int>> cases = {{{10, 10}, 1}, {{2000, 300}, 2}, {{2500, 100}, 2} /* above */,
            {{-5000, 500}, 1}, {{3000, 5000}, 2} /* below both, nearer the second */};
        for (const auto& [point, expected] : cases)
            QCOMPARE(monitors.monitorFromPoint(point), expected);
        monitors.setSingleMonitor(true);
        for (const auto& inputAndNearest : cases)
            QCOMPARE(monitors.monitorFromPoint(inputAndNearest.first), 1);
    }

    void handlesAndCurrentMonitor()
    {
        ClsMonitor monitors;
        QCOMPARE(monitors.numberFromHandle(22), 1); // empty list
        monitors.setRecords(twoMonitors());
        QCOMPARE(monitors.numberFromHandle(22), 2);
        QCOMPARE(monitors.numberFromHandle(99), 1);
        monitors.setCurrentMonitor(2);
        QCOMPARE(monitors.currentMonitor(), 2);
        monitors.setRecords({twoMonitors().first()}); // the second monitor was unplugged
        QCOMPARE(monitors.currentMonitor(), 1);
    }
};

QTEST_GUILESS_MAIN(TestSizing)
#include "tst_sizing.moc"
