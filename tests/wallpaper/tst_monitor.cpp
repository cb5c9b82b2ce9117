#include "ClsMonitor.h"

#include <QGuiApplication>
#include <QtTest>

namespace {

// Two monitors side by side, the right one taller and placed lower, with a panel on the left one.
QList<ClsMonitor::Record> twoMonitors()
{
    return {{11, QRect(0, 0, 1920, 1080), QRect(0, 0, 1920, 1040), ClsMonitor::PrimaryFlag},
        {22, QRect(1920, 200, 1280, 1024), QRect(1920, 200, 1280, 1024), 0}};
}

} // namespace

class TestMonitor : public QObject
{
    Q_OBJECT

private slots:
    void sizesInPixelsAndTwips()
    {
        ClsMonitor monitors;
        monitors.setRecords(twoMonitors());
        QCOMPARE(monitors.count(), 2);
        const auto second = monitors.monitorSize(2);
        QVERIFY(second);
        QCOMPARE(second->left, 1920);
        QCOMPARE(second->top, 200);
        QCOMPARE(second->width, 1280);
        QCOMPARE(second->height, 1024);
        const auto work = monitors.workAreaSize(1, ClsMonitor::Unit::Twips);
        QVERIFY(work);
        QCOMPARE(work->width, 1920 * 15);
        QCOMPARE(work->height, 1040 * 15);
        QVERIFY(!monitors.monitorSize(3));
        QVERIFY(!monitors.monitorSize(0));

        const ClsMonitor::Size all = monitors.virtualScreen();
        QCOMPARE(all.width, 3200);
        QCOMPARE(all.height, 1224);
        QCOMPARE(monitors.virtualScreen(ClsMonitor::Unit::Twips).width, 3200 * 15);
    }

    void overflowIsAFailure()
    {
        ClsMonitor monitors;
        monitors.setRecords({{1, QRect(0, 0, 200000000, 10), QRect(0, 0, 10, 10), 0}});
        QVERIFY(monitors.monitorSize(1));
        QVERIFY(!monitors.monitorSize(1, ClsMonitor::Unit::Twips)); // 3e9 twips does not fit
    }

    void nearestMonitor_data()
    {
        QTest::addColumn<QPoint>("point");
        QTest::addColumn<int>("expected");
        QTest::newRow("inside first") << QPoint(10, 10) << 1;
        QTest::newRow("inside second") << QPoint(2000, 300) << 2;
        QTest::newRow("above the second") << QPoint(2500, 100) << 2;
        QTest::newRow("far left") << QPoint(-5000, 500) << 1;
        QTest::newRow("below both, nearer the second") << QPoint(3000, 5000) << 2;
    }

    void nearestMonitor()
    {
        QFETCH(QPoint, point);
        QFETCH(int, expected);
        ClsMonitor monitors;
        monitors.setRecords(twoMonitors());
        QCOMPARE(monitors.monitorFromPoint(point), expected);
        monitors.setSingleMonitor(true);
        QCOMPARE(monitors.monitorFromPoint(point), 1);
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

    void refreshReadsTheScreens()
    {
        ClsMonitor monitors;
        monitors.refresh();
        QCOMPARE(monitors.count(), int(QGuiApplication::screens().size()));
        QVERIFY(monitors.records().first().flags & ClsMonitor::PrimaryFlag);
        QCOMPARE(monitors.monitorSize(1)->width, QGuiApplication::primaryScreen()->geometry().width());
    }
};

QTEST_MAIN(TestMonitor)
#include "tst_monitor.moc"
