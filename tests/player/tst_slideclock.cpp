// The show's clock stepped by hand: slides follow on their own, the user pauses, resumes and
// jumps, and the player holds a slide whose picture is not ready.
#include "SlideClock.h"

#include <QtTest>

namespace {

// Four slides of 2 s, each beginning with a 500 ms transition.
SlideshowPlan fourSlides()
{
    PlanSettings settings;
    settings.transitionMs = 500;
    QList<SlideRow> rows(4);
    for (int i = 0; i < 4; ++i)
        rows[i].Path = QString::number(i);
    return SlideshowPlan(ProjectRow {1, QStringLiteral("p"), 2, {}}, rows, settings);
}

} // namespace

class TestSlideClock : public QObject
{
    Q_OBJECT

    SlideshowPlan m_plan = fourSlides();

private slots:
    void followsThePlan()
    {
        SlideClock clock(m_plan);
        clock.start(10000);
        QCOMPARE(clock.at(10000).slide, 0);
        QCOMPARE(clock.at(10250).transition, 0.5);
        QCOMPARE(clock.at(12100).slide, 1);
        QCOMPARE(clock.untilShowTime(12100, m_plan.slide(2).startMs), qint64(1900));
        QVERIFY(clock.at(18000).ended);
    }

    void pauseAndResume()
    {
        SlideClock clock(m_plan);
        clock.start(0);
        clock.pause(1000);
        QVERIFY(clock.isPaused());
        QCOMPARE(clock.showTime(60000), qint64(1000)); // a minute paused stands still
        QCOMPARE(clock.untilShowTime(60000, 2000), qint64(-1));
        clock.pause(61000); // a second pause changes nothing
        clock.resume(60000);
        QCOMPARE(clock.showTime(60500), qint64(1500));
        QCOMPARE(clock.at(61000).slide, 1);

        clock.pause(61100); // 100 ms into slide 1's transition
        const SlideshowPlan::Moment m = clock.at(70000);
        QCOMPARE(m.slide, 1);
        QCOMPARE(m.transition, 1.0);
        clock.resume(70000);
        QCOMPARE(clock.at(71499).slide, 1);
        QCOMPARE(clock.at(71500).slide, 2);
    }

    void nextAndPrevious()
    {
        SlideClock clock(m_plan);
        clock.start(0);
        clock.next(300); // in the first slide's transition
        SlideshowPlan::Moment m = clock.at(300);
        QCOMPARE(m.slide, 1);
        QCOMPARE(m.transition, 0.0); // the jump starts the slide with its transition
        QCOMPARE(clock.at(2299).slide, 1);
        QCOMPARE(clock.at(2300).slide, 2);

        clock.previous(2400);
        QCOMPARE(clock.at(2400).slide, 1);
        clock.previous(2500);
        clock.previous(2600);
        QCOMPARE(clock.at(2600).slide, 0); // the first slide again, not before it
        QCOMPARE(clock.at(2600).intoSlideMs, qint64(0));

        // Paused, a jump shows the slide whole and stays paused.
        clock.pause(3000);
        clock.next(3100);
        m = clock.at(50000);
        QCOMPARE(m.slide, 1);
        QCOMPARE(m.transition, 1.0);
        QVERIFY(clock.isPaused());

        // Next on the last slide ends the show; previous from the end goes back to it.
        clock.resume(50000);
        clock.next(50000);
        clock.next(50000);
        clock.next(50000);
        QVERIFY(clock.at(50000).ended);
        clock.previous(50001);
        QCOMPARE(clock.at(50001).slide, 3);
        QVERIFY(!clock.at(50001).ended);
    }

    // A slide whose picture is late keeps its whole time: the hold goes back to its start.
    void holdKeepsTheSlidesTime()
    {
        SlideClock clock(m_plan);
        clock.start(0);
        clock.hold(2040); // slide 1 came at 2000, its picture is not there
        QVERIFY(clock.isHeld());
        QCOMPARE(clock.showTime(5000), qint64(2000));
        clock.pause(5000);
        clock.release(5100); // still paused by the user
        QCOMPARE(clock.showTime(9000), qint64(2000));
        clock.resume(9000);
        QCOMPARE(clock.at(9000).intoSlideMs, qint64(0));
        QCOMPARE(clock.at(10999).slide, 1);
        QCOMPARE(clock.at(11000).slide, 2);
    }
};

QTEST_APPLESS_MAIN(TestSlideClock)
#include "tst_slideclock.moc"
