// The real player under Xvfb on a project written into a real Tapisol.mdb by the program's own
// store: four coloured slides of 2 s seen on the root window in order, with the caption of the
// second; Escape ending the show; a project deleted while it plays; a refused password; and the
// same project rendered to a WebM file whose length is the sum of the slides' times. With
// TAPISOL_SHOTS_DIR set, the first screenshot of each slide is kept there to be looked at. Beside
// a PulseAudio null sink (with-pulse.sh), the project's music is heard on it.
#include "ClsMdb.h"
#include "E2eSession.h"
#include "PlayerHandOff.h"
#include "ProjectStore.h"

#include <QDir>
#include <QImage>
#include <QRegularExpression>
#include <QtTest>

#include <algorithm>
#include <cmath>

namespace {

struct Colour
{
    const char* name;
    QColor value;
};
const Colour Slides[] = {{"red", Qt::red}, {"green", QColor(0, 160, 0)}, {"blue", Qt::blue}, {"yellow", Qt::yellow}};

QString nameOf(QColor c)
{
    for (const Colour& slide : Slides)
        if (std::abs(c.red() - slide.value.red()) < 24 && std::abs(c.green() - slide.value.green()) < 24
            && std::abs(c.blue() - slide.value.blue()) < 24)
            return QLatin1String(slide.name);
    return {};
}

QImage screenshot()
{
    QProcess import;
    import.start(
        QStringLiteral("import"), {QStringLiteral("-window"), QStringLiteral("root"), QStringLiteral("png:-")});
    import.waitForFinished(10000);
    return QImage::fromData(import.readAllStandardOutput(), "PNG");
}

// White pixels in `area`: the caption's letters.
int whitePixels(const QImage& image, const QRect& area)
{
    int count = 0;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x)
            count += image.pixelColor(x, y).lightness() > 230 ? 1 : 0;
    return count;
}

} // namespace

class TestE2ePlayer : public E2eTest
{
    Q_OBJECT

    qint64 m_project = 0;
    std::unique_ptr<ClsMdb> m_db;

    QString dataDir() { return s->home().tapisolDataDir(); }
    QString playerLog() { return QString::fromUtf8(readAll(dataDir() + QStringLiteral("Defilor.log"))); }
    static QByteArray readAll(const QString& path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    bool waitForPlayerLog(const QString& text, int ms = 15000)
    {
        return QTest::qWaitFor([&] { return playerLog().contains(text); }, ms);
    }

    static void makeSound(const QString& source, const QString& file)
    {
        E2eSession::run(QStringLiteral("gst-launch-1.0 -q audiotestsrc %1 ! audioconvert ! vorbisenc ! oggmux ! "
                                       "filesink")
                            .arg(source),
            {QStringLiteral("location=") + file});
        QVERIFY2(QFileInfo(file).size() > 1000, qPrintable(file));
    }

    // The project in Tapisol.mdb, as the assistant saves it, and chosen in the settings.
    void makeProject(const QString& password = {}, bool music = false)
    {
        QDir().mkpath(dataDir());
        const QString folder = s->home().path() + QStringLiteral("/Photos d'été");
        QDir().mkpath(folder);
        QList<SlideRow> slides;
        for (const Colour& colour : Slides) {
            QImage picture(800, 600, QImage::Format_RGB32);
            picture.fill(colour.value);
            const QString path = folder + QStringLiteral("/%1.png").arg(QLatin1String(colour.name));
            QVERIFY(picture.save(path));
            SlideRow slide;
            slide.Path = path;
            slides << slide;
        }
        slides[1].Texte = QStringLiteral("TAPISOL");
        slides[1].FontSize = 40;
        slides[1].FontBold = true;
        slides[1].ForeColor = 0xffffff;
        slides[1].TexteAlign = 2;
        slides[1].TexteMarge = 600;
        if (music) {
            // A 6 s tone looped from the first slide, lowered to a tenth while the second slide's
            // comment (1.5 s of silence) speaks.
            const QString tone = folder + QStringLiteral("/la.ogg");
            const QString silence = folder + QStringLiteral("/voix.ogg");
            makeSound(QStringLiteral("num-buffers=260 freq=440 volume=0.5"), tone);
            makeSound(QStringLiteral("num-buffers=65 wave=silence"), silence);
            slides[0].PathMusic = tone;
            slides[0].RepetMusic = true;
            slides[0].VolMusicComment = 10;
            slides[1].PathComment = silence;
        }
        m_db = std::make_unique<ClsMdb>();
        m_db->setMdbName(dataDir() + QStringLiteral("Tapisol.mdb"));
        m_db->setLanguageFolder(QStringLiteral(TAPISOL_TEST_LANG_DIR));
        QVERIFY(m_db->MdbInit());
        ProjectRow project {0, QStringLiteral("Couleurs"), 2, password};
        QVERIFY(ProjectStore::saveProject(*m_db, project, slides));
        m_project = project.KeyAuto;
        QSettings settings = s->configFile();
        settings.setValue(QStringLiteral("Diaporama/ProjectKey"), m_project);
        settings.setValue(QStringLiteral("Diaporama/TypeProject"), PlayerHandOff::ProjectType::Stored);
        settings.sync();
    }

    QProcess* startPlayer(const QStringList& more = {})
    {
        return s->start(
            QStringList {QStringLiteral("/trace"), QStringLiteral("/tpdiaporama"), QLatin1String(PlayerHandOff::Token)}
                + more,
            QStringLiteral(TAPISOL_PLAYER_PROGRAM));
    }

private slots:
    void cleanup()
    {
        m_db.reset();
        E2eTest::cleanup();
    }

    // Red, green with its caption, blue, yellow, in that order; Escape during the last one ends
    // the show before its time, with exit code 0.
    void playsTheSlidesInOrder()
    {
        makeProject();
        QVERIFY(!QTest::currentTestFailed());
        QProcess* player = startPlayer();
        QVERIFY2(waitForPlayerLog(QStringLiteral("DF Slide 1/4")), qPrintable(playerLog()));
        const QString shots = qEnvironmentVariable("TAPISOL_SHOTS_DIR");
        QStringList seen;
        QImage captioned;
        QElapsedTimer elapsed;
        elapsed.start();
        while (player->state() == QProcess::Running && elapsed.elapsed() < 20000 && seen.size() < 4) {
            const QImage shot = screenshot();
            QVERIFY(!shot.isNull());
            const QString colour = nameOf(shot.pixelColor(shot.width() / 2, shot.height() / 3));
            if (!colour.isEmpty() && (seen.isEmpty() || seen.last() != colour)) {
                seen << colour;
                if (!shots.isEmpty())
                    shot.save(shots + QStringLiteral("/%1-%2.png").arg(seen.size()).arg(colour));
                if (colour == QLatin1String("green"))
                    captioned = shot;
            }
            QTest::qWait(100);
        }
        QCOMPARE(seen, (QStringList {"red", "green", "blue", "yellow"}));
        QCOMPARE(player->state(), QProcess::Running); // the last slide has most of its time left
        E2eSession::run(QStringLiteral("xdotool key Escape"));
        QVERIFY(player->waitForFinished(10000));
        QCOMPARE(player->exitCode(), 0);
        QVERIFY(playerLog().contains(QStringLiteral("DF Escape")));
        QVERIFY(!playerLog().contains(QStringLiteral("DF End of show")));

        // The caption, centred at the bottom of the screen, nowhere else.
        const int w = captioned.width();
        const int h = captioned.height();
        QVERIFY(whitePixels(captioned, QRect(w / 3, h - 140, w / 3, 120)) > 300);
        QCOMPARE(whitePixels(captioned, QRect(0, 0, w, h - 160)), 0);
        QCOMPARE(whitePixels(captioned, QRect(0, h - 160, w / 4, 160)), 0);

        QVERIFY2(QRegularExpression(QStringLiteral("DF Slide 1/4 .*red.png\r\n(.*\r\n)*DF Slide 2/4 (.*\r\n)*"
                                                   "DF Slide 3/4 (.*\r\n)*DF Slide 4/4"))
                     .match(playerLog())
                     .hasMatch(),
            qPrintable(playerLog()));
    }

    // Right goes on at once, Space holds the slide, Left comes back; the mouse shows the tool bar,
    // which hides again after ToolsSec; with Cycle set, Right on the last slide starts again.
    void keysAndToolBar()
    {
        makeProject();
        QVERIFY(!QTest::currentTestFailed());
        s->configFile().setValue(QStringLiteral("Diaporama/ToolsSec"), 2);
        s->configFile().setValue(QStringLiteral("Diaporama/Cycle"), 1);
        QProcess* player = startPlayer();
        QVERIFY2(waitForPlayerLog(QStringLiteral("DF Slide 1/4")), qPrintable(playerLog()));
        E2eSession::run(QStringLiteral("xdotool key Right"));
        QVERIFY(waitForPlayerLog(QStringLiteral("DF Slide 2/4"), 1000));
        E2eSession::run(QStringLiteral("xdotool key space"));
        QVERIFY(waitForPlayerLog(QStringLiteral("DF Pause"), 1000));
        QTest::qWait(2500);
        QVERIFY(!playerLog().contains(QStringLiteral("DF Slide 3/4")));
        QImage shot = screenshot();
        QCOMPARE(nameOf(shot.pixelColor(shot.width() / 2, shot.height() / 3)), QStringLiteral("green"));

        const QRect bar(shot.width() / 2 - 100, shot.height() - 100, 200, 100);
        auto barShows = [&] {
            const QImage now = screenshot();
            if (const QString shots = qEnvironmentVariable("TAPISOL_SHOTS_DIR"); !shots.isEmpty())
                now.save(shots + QStringLiteral("/toolbar.png"));
            for (int y = bar.top(); y <= bar.bottom(); y += 2)
                for (int x = bar.left(); x <= bar.right(); x += 2)
                    if (const QColor c = now.pixelColor(x, y); std::max({c.red(), c.green(), c.blue()}) < 90)
                        return true; // the bar's dark icons over the green slide and its white caption
            return false;
        };
        QVERIFY(!barShows());
        E2eSession::run(QStringLiteral("xdotool mousemove 100 100 mousemove 300 300"));
        QTRY_VERIFY_WITH_TIMEOUT(barShows(), 2000);
        if (const QString shots = qEnvironmentVariable("TAPISOL_SHOTS_DIR"); !shots.isEmpty())
            QFile::copy(shots + QStringLiteral("/toolbar.png"), shots + QStringLiteral("/toolbar-shown.png"));
        QTRY_VERIFY_WITH_TIMEOUT(!barShows(), 5000);

        E2eSession::run(QStringLiteral("xdotool key space"));
        E2eSession::run(QStringLiteral("xdotool key Left"));
        QTRY_COMPARE_WITH_TIMEOUT(playerLog().count(QStringLiteral("DF Slide 1/4")), 2, 2000);
        QVERIFY(playerLog().contains(QStringLiteral("DF Resume")));

        for (const char* slide : {"DF Slide 2/4", "DF Slide 3/4", "DF Slide 4/4", "DF Slide 1/4"}) {
            const qsizetype before = playerLog().count(QLatin1String(slide));
            E2eSession::run(QStringLiteral("xdotool key Right"));
            QTRY_VERIFY_WITH_TIMEOUT(playerLog().count(QLatin1String(slide)) > before, 2000);
        }
        QVERIFY(playerLog().contains(QStringLiteral("DF Show starts again")));
        QCOMPARE(player->state(), QProcess::Running);
        E2eSession::run(QStringLiteral("xdotool key Escape"));
        QVERIFY(player->waitForFinished(10000));
        QCOMPARE(player->exitCode(), 0);
    }

    // The project deleted by the tray while it plays: the show ends at its next slide.
    void projectDeletedWhilePlaying()
    {
        makeProject();
        QVERIFY(!QTest::currentTestFailed());
        QProcess* player = startPlayer();
        QVERIFY2(waitForPlayerLog(QStringLiteral("DF Slide 1/4")), qPrintable(playerLog()));
        QVERIFY(ProjectStore::deleteProject(*m_db, m_project));
        QVERIFY(player->waitForFinished(10000));
        QCOMPARE(player->exitCode(), 0);
        QVERIFY(playerLog().contains(QStringLiteral("DF Project deleted while playing")));
        QVERIFY(!playerLog().contains(QStringLiteral("DF Slide 4/4")));
    }

    // A wrong password keeps the project closed; giving up ends the player with an error code
    // before any slide.
    void wrongPasswordOpensNothing()
    {
        makeProject(QStringLiteral("sésame"));
        QVERIFY(!QTest::currentTestFailed());
        QProcess* player = startPlayer();
        const QString window = E2eSession::run(
            QStringLiteral("xdotool search --sync --onlyvisible --name"), {QStringLiteral("Mot de passe")})
                                   .section(QLatin1Char('\n'), 0, 0);
        QVERIFY(!window.isEmpty());
        E2eSession::run(QStringLiteral("xdotool type --window %1 faux").arg(window));
        E2eSession::pressKeyIn(window, QStringLiteral("Return"));
        QTest::qWait(500);
        QCOMPARE(player->state(), QProcess::Running); // still asking
        E2eSession::pressKeyIn(window, QStringLiteral("Escape"));
        QVERIFY(player->waitForFinished(10000));
        QCOMPARE(player->exitCode(), 5);
        QVERIFY(!playerLog().contains(QStringLiteral("DF Slide")));
    }

    // The music of the first slide, looped, reaches the sound server while the show plays; the
    // second slide's comment lowers it, and it comes back after.
    void musicIsHeard()
    {
        if (qEnvironmentVariableIsEmpty("PULSE_SERVER"))
            QSKIP("needs the sound server of with-pulse.sh");
        makeProject({}, true);
        QVERIFY(!QTest::currentTestFailed());
        const QString recording = s->home().path() + QStringLiteral("/recording.raw");
        QProcess recorder;
        recorder.start(QStringLiteral("sh"),
            {QStringLiteral("-c"),
                QStringLiteral("timeout 9 parec -d tapisol.monitor --format=s16le --rate=22050 --channels=1 > '%1'")
                    .arg(recording)});
        QVERIFY(recorder.waitForStarted());
        QProcess* player = startPlayer();
        QVERIFY(waitForPlayerLog(QStringLiteral("DF Music ")));
        QVERIFY(recorder.waitForFinished(15000));
        E2eSession::run(QStringLiteral("xdotool key Escape"));
        QVERIFY(player->waitForFinished(10000));

        // Loudness of each tenth of a second: loud, then quiet for most of the comment, then loud.
        const QByteArray bytes = readAll(recording);
        const auto* samples = reinterpret_cast<const qint16*>(bytes.constData());
        QList<double> loudness;
        constexpr qsizetype Chunk = 2205;
        for (qsizetype at = 0; at + Chunk <= bytes.size() / 2; at += Chunk) {
            double sum = 0;
            for (qsizetype i = at; i < at + Chunk; ++i)
                sum += double(samples[i]) * samples[i];
            loudness << std::sqrt(sum / Chunk) / 32768.0;
        }
        const double loud = *std::max_element(loudness.begin(), loudness.end());
        QStringList shape; // L loud, q lowered, . silent
        for (double value : loudness)
            shape << (value > loud * 0.6  ? QStringLiteral("L")
                    : value > loud * 0.04 ? QStringLiteral("q")
                                          : QStringLiteral("."));
        const QString heard = shape.join(QString());
        qInfo("heard: %s", qPrintable(heard));
        QVERIFY2(loud > 0.05, qPrintable(QString::number(loud)));
        QVERIFY2(QRegularExpression(QStringLiteral("L{5,}.*q{8,}.*L{3,}")).match(heard).hasMatch(), qPrintable(heard));
    }

    // The export: a WebM of VP8 and Vorbis whose length is the sum of the slides' times.
    void exportsAVideo()
    {
        if (QStandardPaths::findExecutable(QStringLiteral("gst-discoverer-1.0")).isEmpty())
            QSKIP("gst-discoverer-1.0 (gstreamer1.0-plugins-base-apps) is not installed");
        makeProject({}, true);
        QVERIFY(!QTest::currentTestFailed());
        const QString video = s->home().path() + QStringLiteral("/Couleurs d'été.webm");
        QProcess* player
            = startPlayer({QStringLiteral("--export"), video, QStringLiteral("--size"), QStringLiteral("320x180")});
        QVERIFY(player->waitForFinished(120000));
        QCOMPARE(player->exitCode(), 0);
        QVERIFY(!QFileInfo::exists(video + QStringLiteral(".part")));
        const QString info = E2eSession::run(QStringLiteral("gst-discoverer-1.0 -v"), {video});
        const QRegularExpressionMatch duration
            = QRegularExpression(QStringLiteral("Duration: (\\d+):(\\d+):(\\d+\\.\\d+)")).match(info);
        QVERIFY2(duration.hasMatch(), qPrintable(info));
        const double seconds
            = duration.captured(1).toInt() * 3600 + duration.captured(2).toInt() * 60 + duration.captured(3).toDouble();
        QVERIFY2(std::abs(seconds - 8.0) < 0.1, qPrintable(info));
        QVERIFY2(info.contains(QLatin1String("VP8")), qPrintable(info));
        QVERIFY2(info.contains(QLatin1String("Vorbis")), qPrintable(info));
        QVERIFY2(info.contains(QLatin1String("Width: 320")), qPrintable(info));
        QVERIFY(playerLog().contains(QStringLiteral("DF Export done")));
        if (const QString shots = qEnvironmentVariable("TAPISOL_SHOTS_DIR"); !shots.isEmpty())
            QFile::copy(video, shots + QStringLiteral("/export.webm"));
    }
};

QTEST_GUILESS_MAIN(TestE2ePlayer)
#include "tst_e2e_player.moc"
