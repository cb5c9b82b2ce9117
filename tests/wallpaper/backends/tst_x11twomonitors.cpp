#include "ClsMonitor.h"
#include "RootProbe.h"
#include "x11/X11RootBackend.h"

#include <QGuiApplication>
#include <QTemporaryDir>
#include <QtTest>

// Run with two RandR monitors side by side (with-monitors.sh): the monitors come from Qt, as the
// renderer gets them, and each change must land on its own monitor only.
class TestX11TwoMonitors : public QObject
{
    Q_OBJECT

private slots:
    void eachMonitorKeepsItsOwnWallpaper()
    {
        ClsMonitor monitors;
        monitors.refresh();
        QCOMPARE(monitors.count(), 2);
        QRect left = monitors.records().at(0).monitor;
        QRect right = monitors.records().at(1).monitor;
        if (left.x() > right.x())
            std::swap(left, right);
        QCOMPARE(left.right() + 1, right.left());
        const ClsMonitor::Size all = monitors.virtualScreen();
        const QRect virtualScreen(all.left, all.top, all.width, all.height);

        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        RootProbe probe;
        QVERIFY(probe.isValid());
        QCOMPARE(probe.rootSize(), virtualScreen.size());
        X11RootBackend backend;
        QString error;
        QVERIFY2(backend.apply(saveBitmap(gradientPicture({300, 200}), dir.path(), QStringLiteral("right.bmp")),
                     WallpaperStyle::Tiled, right, virtualScreen, &error),
            qPrintable(error));
        QVERIFY2(backend.apply(saveBitmap(quadrantPicture({40, 20}), dir.path(), QStringLiteral("left.bmp")),
                     WallpaperStyle::Stretched, left, virtualScreen, &error),
            qPrintable(error));

        const QImage shown = probe.grab(probe.root());
        const QPoint r = right.topLeft();
        const QPoint quarter(left.width() / 4, left.height() / 4);
        const QString wrong = probe.mismatches(shown,
            {{r, gradientAt(0, 0)}, {r + QPoint(299, 150), gradientAt(299, 150)},
                {r + QPoint(300, 199), gradientAt(0, 199)},
                {right.bottomRight(), gradientAt((right.width() - 1) % 300, (right.height() - 1) % 200)},
                {left.topLeft() + quarter, qRgb(255, 0, 0)}, {left.bottomRight() - quarter, qRgb(255, 255, 255)},
                {QPoint(left.right(), left.top() + quarter.y()), qRgb(0, 255, 0)}});
        QVERIFY2(wrong.isEmpty(), qPrintable(wrong));
        QCOMPARE(probe.grab(probe.pixmapProperty("_XROOTPMAP_ID")), shown);
    }
};

QTEST_MAIN(TestX11TwoMonitors)
#include "tst_x11twomonitors.moc"
