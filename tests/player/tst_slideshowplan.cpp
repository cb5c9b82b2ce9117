// The plan of a show: how long each slide shows, which music and comment sound over it, and what
// shows at a moment of the show.
#include "SlideshowPlan.h"

#include <QtTest>

namespace {

SlideRow slide(const QString& path, const QString& music = {}, const QString& comment = {})
{
    SlideRow row;
    row.Path = path;
    row.PathMusic = music;
    row.PathComment = comment;
    return row;
}

SlideshowPlan planOf(const QList<SlideRow>& rows, int expoTime = 4, int transitionMs = 1000)
{
    PlanSettings settings;
    settings.delaySeconds = 9;
    settings.transitionMs = transitionMs;
    return SlideshowPlan(ProjectRow {1, QStringLiteral("p"), expoTime, {}}, rows, settings);
}

} // namespace

class TestSlideshowPlan : public QObject
{
    Q_OBJECT

private slots:
    void exposure_data()
    {
        QTest::addColumn<int>("expoTime");
        QTest::addColumn<int>("delay");
        QTest::addColumn<qint64>("ms");
        QTest::newRow("project's time") << 3 << 7 << qint64(3000);
        QTest::newRow("none: the Delay setting") << 0 << 7 << qint64(7000);
        QTest::newRow("negative: the Delay setting") << -5 << 7 << qint64(7000);
        QTest::newRow("one second is kept") << 1 << 7 << qint64(1000);
        QTest::newRow("a wild value stops at a day") << 10000000 << 7 << qint64(86400000);
    }
    void exposure()
    {
        QFETCH(int, expoTime);
        QFETCH(int, delay);
        QFETCH(qint64, ms);
        QCOMPARE(SlideshowPlan::exposureMs(ProjectRow {1, QStringLiteral("p"), expoTime, {}}, delay), ms);
    }

    // Slides follow one another; each begins with its transition, at most half its time long, so
    // the show lasts the sum of the exposures.
    void timeline()
    {
        const SlideshowPlan plan = planOf({slide("a"), slide("b"), slide("c")}, 2, 1500);
        QCOMPARE(plan.durationMs(), qint64(6000));
        QCOMPARE(plan.slide(2).startMs, qint64(4000));
        QCOMPARE(plan.slide(0).transitionMs, qint64(1000));

        SlideshowPlan::Moment m = plan.at(2500);
        QCOMPARE(m.slide, 1);
        QCOMPARE(m.intoSlideMs, qint64(500));
        QCOMPARE(m.transition, 0.5);
        QVERIFY(!m.ended);
        m = plan.at(3999);
        QCOMPARE(m.slide, 1);
        QCOMPARE(m.transition, 1.0);
        QCOMPARE(plan.at(4000).slide, 2);
        m = plan.at(6000);
        QVERIFY(m.ended);
        QCOMPARE(m.slide, 2);
        QVERIFY(planOf({}).at(0).ended);
        QCOMPARE(SlideshowPlan::transitionMsForSpeed(15), 800);
        QVERIFY(SlideshowPlan::transitionMsForSpeed(50) < SlideshowPlan::transitionMsForSpeed(1));
    }

    // A music plays on over the slides that name none, is replaced by the next one named, and is
    // not restarted by a slide naming the same file; its loop and volumes come from its first slide.
    void musicInForce()
    {
        QList<SlideRow> rows {slide("1"), slide("2", "/m/a.ogg"), slide("3"), slide("4", "/m/a.ogg"),
            slide("5", "/m/b.ogg"), slide("6"), slide("7", " /m/a.ogg ")};
        rows[1].RepetMusic = true;
        rows[1].VolMusic = 60;
        rows[3].VolMusic = 10; // the same file playing on: not a new start
        rows[4].VolMusic = 250;
        const SlideshowPlan plan = planOf(rows);
        QList<int> inForce;
        for (const PlannedSlide& s : plan.slides())
            inForce << s.music;
        QCOMPARE(inForce, (QList<int> {-1, 0, 0, 0, 1, 1, 2}));
        QCOMPARE(plan.musics().size(), 3);
        const MusicCue& a = plan.musics().at(0);
        QCOMPARE(a.path, QStringLiteral("/m/a.ogg"));
        QVERIFY(a.repeat);
        QCOMPARE(a.volume, 60);
        QCOMPARE(a.firstSlide, 1);
        QVERIFY(!plan.musics().at(1).repeat);
        QCOMPARE(plan.musics().at(1).volume, 100);                      // bounded to 0..100
        QCOMPARE(plan.musics().at(2).path, QStringLiteral("/m/a.ogg")); // a music named again after another
        QVERIFY(plan.hasSound());

        // How far the music has played: counted from the slide that started it.
        QCOMPARE(plan.musicPositionMs(0, 100), qint64(-1));
        QCOMPARE(plan.musicPositionMs(1, 0), qint64(0));
        QCOMPARE(plan.musicPositionMs(3, 1500), qint64(2 * 4000 + 1500));
        QCOMPARE(plan.musicPositionMs(5, 0), qint64(4000));
    }

    // A comment belongs to its slide; while it speaks the music goes down to its volume under a
    // comment, never up.
    void commentLowersTheMusic()
    {
        QList<SlideRow> rows {slide("1", "/m/a.ogg"), slide("2", {}, "/c/voix.wav"), slide("3")};
        rows[0].VolMusic = 80;
        rows[0].VolMusicComment = 20;
        rows[1].VolComment = 70;
        rows[1].RepetComment = true;
        rows[1].VolMusicComment = 100; // a comment's slide does not set the music's volume
        const SlideshowPlan plan = planOf(rows);
        QVERIFY(plan.slide(0).comment.path.isEmpty());
        QCOMPARE(plan.slide(1).comment.path, QStringLiteral("/c/voix.wav"));
        QCOMPARE(plan.slide(1).comment.volume, 70);
        QVERIFY(plan.slide(1).comment.repeat);
        QVERIFY(plan.slide(2).comment.path.isEmpty());
        const MusicCue& music = plan.musics().at(plan.slide(1).music);
        QCOMPARE(SlideshowPlan::musicVolume(music, false), 80);
        QCOMPARE(SlideshowPlan::musicVolume(music, true), 20);
        const MusicCue quiet {QStringLiteral("q"), 30, 100, false, 0};
        QCOMPARE(SlideshowPlan::musicVolume(quiet, true), 30);
        QVERIFY(!planOf({slide("1")}).hasSound());
        QVERIFY(planOf({slide("1", {}, "/c/x.wav")}).hasSound());
    }

    // The caption's look comes from the row; a slide without a font takes the player's.
    void caption()
    {
        QList<SlideRow> rows {slide("1"), slide("2")};
        rows[0].Texte = QStringLiteral("Au bord de l'eau");
        rows[0].FontName = QStringLiteral("DejaVu Serif");
        rows[0].FontSize = 18.5f;
        rows[0].FontBold = true;
        rows[0].ForeColor = 0x0000ff; // red, as 0x00BBGGRR
        rows[0].BackColor = 0xff0000; // blue
        rows[0].BackStyle = 1;
        rows[0].TexteAlign = 1;
        rows[0].TexteMarge = 300;
        rows[1].TexteAlign = 7;
        PlanSettings settings;
        settings.captionDefaults.fontName = QStringLiteral("Arial");
        settings.captionDefaults.pointSize = 12;
        const SlideshowPlan plan(ProjectRow {1, QStringLiteral("p"), 2, {}}, rows, settings);
        const CaptionStyle& s = plan.slide(0).caption.style;
        QCOMPARE(plan.slide(0).caption.text, QStringLiteral("Au bord de l'eau"));
        QCOMPARE(s.fontName, QStringLiteral("DejaVu Serif"));
        QCOMPARE(s.pointSize, 18.5);
        QVERIFY(s.bold && !s.italic && s.opaque);
        QCOMPARE(s.fore, QColor(Qt::red));
        QCOMPARE(s.back, QColor(Qt::blue));
        QCOMPARE(s.align, 1);
        QCOMPARE(s.marginTwips, 300);
        QCOMPARE(plan.slide(1).caption.style.fontName, QStringLiteral("Arial"));
        QCOMPARE(plan.slide(1).caption.style.pointSize, 12.0);
        QCOMPARE(plan.slide(1).caption.style.align, 2); // an unknown alignment is centred
        QCOMPARE(colourFromBgr(-2147483643), QColor(Qt::black));
    }
};

QTEST_APPLESS_MAIN(TestSlideshowPlan)
#include "tst_slideshowplan.moc"
