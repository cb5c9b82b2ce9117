#include "WallpaperSizing.h"

#include <QtTest>

#include <cmath>

class TestSizing : public QObject
{
    Q_OBJECT

private slots:
    void roundingIsHalfToEven_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<qint64>("expected");
        QTest::newRow("2.5") << 2.5 << qint64(2);
        QTest::newRow("3.5") << 3.5 << qint64(4);
        QTest::newRow("7.5") << 7.5 << qint64(8);
        QTest::newRow("1386.67") << 1386.67 << qint64(1387);
        QTest::newRow("-2.5") << -2.5 << qint64(-2);
    }

    void roundingIsHalfToEven()
    {
        QFETCH(double, value);
        QFETCH(qint64, expected);
        QCOMPARE(roundHalfEven(value), expected);
    }

    void sizing_data()
    {
        QTest::addColumn<QSize>("picture");
        QTest::addColumn<bool>("metafile");
        QTest::addColumn<int>("mode");
        QTest::addColumn<bool>("bandeZoom");
        QTest::addColumn<bool>("agranMaxi");
        QTest::addColumn<int>("centrer");
        QTest::addColumn<QSize>("target");
        QTest::addColumn<bool>("resize");
        QTest::addColumn<QString>("tileStyle");

        // Screen 1920x1080 with a 40-pixel panel: work area 1920x1040.
        QTest::newRow("0: exact aspect") << QSize(960, 520) << false << 0 << false << false << 0 << QSize(1920, 1040)
                                         << true << "0/0";
        QTest::newRow("0: wide fits the width")
            << QSize(4000, 1000) << false << 0 << false << false << 0 << QSize(1920, 480) << true << "0/0";
        QTest::newRow("0: tall fits the height")
            << QSize(1000, 2000) << false << 0 << false << false << 0 << QSize(520, 1040) << true << "0/0";
        // 413 × 1920 / 768 = 1032.5, which goes to the even 1032.
        QTest::newRow("0: half rounds to even")
            << QSize(768, 413) << false << 0 << false << false << 0 << QSize(1920, 1032) << true << "0/0";
        QTest::newRow("0: cover, height overflows")
            << QSize(4000, 3000) << false << 0 << true << false << 0 << QSize(1920, 1440) << true << "0/0";
        QTest::newRow("0: cover, width overflows")
            << QSize(4000, 1000) << false << 0 << true << false << 0 << QSize(4320, 1080) << true << "0/0";
        QTest::newRow("1: stretched") << QSize(800, 600) << false << 1 << false << false << 0 << QSize(1920, 1040)
                                      << true << "0/2";
        QTest::newRow("2: small picture kept at its size")
            << QSize(800, 600) << false << 2 << false << false << 0 << QSize(800, 600) << false << "0/0";
        QTest::newRow("2: large picture fitted and tiled")
            << QSize(3840, 2080) << false << 2 << false << false << 0 << QSize(1920, 1040) << true << "1/0";
        QTest::newRow("2: enlarged without limit")
            << QSize(800, 600) << false << 2 << false << true << 0 << QSize(1387, 1040) << true << "1/0";
        QTest::newRow("2: metafile scales freely")
            << QSize(800, 600) << true << 2 << false << false << 0 << QSize(1387, 1040) << true << "0/0";
        QTest::newRow("3: own size, centred")
            << QSize(5000, 300) << false << 3 << false << false << 0 << QSize(5000, 300) << false << "0/0";
        QTest::newRow("3: own size, tiled")
            << QSize(64, 64) << false << 3 << false << false << 1 << QSize(64, 64) << false << "1/0";
        QTest::newRow("3: metafile always rendered")
            << QSize(64, 64) << true << 3 << false << false << 0 << QSize(64, 64) << true << "0/0";
    }

    void sizing()
    {
        QFETCH(QSize, picture);
        QFETCH(bool, metafile);
        QFETCH(int, mode);
        QFETCH(bool, bandeZoom);
        QFETCH(bool, agranMaxi);
        QFETCH(int, centrer);
        QFETCH(QSize, target);
        QFETCH(bool, resize);
        QFETCH(QString, tileStyle);

        SizingSettings settings;
        settings.sizingMode = mode;
        settings.bandeZoom = bandeZoom;
        settings.agranMaxi = agranMaxi;
        settings.centrerMosaique = centrer;
        const auto result = computeSizing(
            picture.width(), picture.height(), metafile, QSize(1920, 1080), QSize(1920, 1040), settings);
        QVERIFY(result);
        QCOMPARE(result->target, target);
        QCOMPARE(result->resize, resize);
        QCOMPARE(result->tileWallpaper + QLatin1Char('/') + result->wallpaperStyle, tileStyle);
    }

    void enlargementLimitShowsItsRatio()
    {
        SizingSettings settings;
        settings.sizingMode = 2;
        const auto result = computeSizing(800, 600, false, QSize(1920, 1080), QSize(1920, 1040), settings);
        QVERIFY(result && result->enlargementLimited);
        // ((1387 + 1040) × 100 / (800 + 600)) / 100, to three decimals.
        QCOMPARE(result->enlargementRatio, QStringLiteral("(1.734)"));
        QVERIFY(qAbs(result->coverage - 24.038) < 0.001);

        settings.tauxTaille = 2.0; // twice the size is allowed: 1387 ≤ 1600, 1040 ≤ 1200
        const auto allowed = computeSizing(800, 600, false, QSize(1920, 1080), QSize(1920, 1040), settings);
        QVERIFY(allowed && !allowed->enlargementLimited);
        QCOMPARE(allowed->target, QSize(1387, 1040));
    }

    void coverageDecidesTheBands()
    {
        SizingSettings settings;
        settings.sizingMode = 2;
        settings.tauxTaille = 100;
        settings.tauxCouverture = 73; // 1387 × 1040 covers 72.24 % of the work area
        auto result = computeSizing(800, 600, false, QSize(1920, 1080), QSize(1920, 1040), settings);
        QCOMPARE(result->tileWallpaper, QStringLiteral("0"));
        settings.tauxCouverture = 72;
        result = computeSizing(800, 600, false, QSize(1920, 1080), QSize(1920, 1040), settings);
        QCOMPARE(result->tileWallpaper, QStringLiteral("1"));
    }

    void unusableNumbersAbandonTheChange()
    {
        const SizingSettings settings;
        QVERIFY(!computeSizing(0, 600, false, QSize(1920, 1080), QSize(1920, 1040), settings));
        QVERIFY(!computeSizing(std::nan(""), 600, false, QSize(1920, 1080), QSize(1920, 1040), settings));
        QVERIFY(!computeSizing(800, 600, false, QSize(1920, 1080), QSize(), settings));
        QVERIFY(!computeSizing(1, 1e7, false, QSize(1920, 1080), QSize(1920, 1040), settings)); // 1.92e10 tall
    }
};

QTEST_GUILESS_MAIN(TestSizing)
#include "tst_sizing.moc"
