// The settings dialog in the real program, used from the keyboard as a user would.
#include "E2eSession.h"

#include <QDir>
#include <QtTest>

class TestE2eSettings : public E2eTest
{
    Q_OBJECT

    // The colour of the root window at a point, as the X server shows it.
    static QString rootPixel(int x, int y)
    {
        return E2eSession::run(QStringLiteral("sh -c"),
            {QStringLiteral("import -window root -depth 8 -crop 1x1+%1+%2 txt:- | tail -n1 | awk '{print $3}'")
                    .arg(x)
                    .arg(y)});
    }

    QString folderOf(const QString& name, const QString& colour, const QString& size)
    {
        const QString folder = s->home().path() + QLatin1Char('/') + name;
        QDir().mkpath(folder);
        E2eSession::run(QStringLiteral("convert -size %1 xc:%2 %3/picture.png").arg(size, colour, folder));
        return folder;
    }

private slots:
    // Command 0 opens the dialog; a new folder typed in and a new fitting mode chosen are what the
    // program sees at once but not what the file holds; Apply writes them, and the next change
    // shows a picture of the new folder, stretched.
    void folderAndModeFromTheDialog()
    {
        const QString red = folderOf(QStringLiteral("red"), QStringLiteral("red"), QStringLiteral("800x600"));
        const QString blue = folderOf(QStringLiteral("blue"), QStringLiteral("blue"), QStringLiteral("400x300"));
        {
            QSettings settings = s->configFile();
            settings.setValue(QStringLiteral("Paramètres/Répertoire"), red);
            settings.setValue(QStringLiteral("Paramètres/SelectRandom"), 0);
            settings.setValue(QStringLiteral("Paramètres/StartChange"), -1);
            settings.setValue(QStringLiteral("Paramètres/SizingMode"), 0);
        }
        QProcess* tapisol = s->start({QStringLiteral("/trace"), QStringLiteral("/silent")});
        QVERIFY(s->waitForLog(QStringLiteral("SY Chg WP Changed")));
        QCOMPARE(rootPixel(640, 400), QStringLiteral("#FF0000"));
        QCOMPARE(rootPixel(20, 400), QStringLiteral("#000000")); // 1067 × 800, bands on the sides

        QVERIFY(s->command(0));
        const QString window = E2eSession::run(QStringLiteral("timeout 10 xdotool search --sync --onlyvisible --name"),
            {QStringLiteral("Paramètres de Tapisol")})
                                   .section(QLatin1Char('\n'), 0, 0);
        QVERIFY(!window.isEmpty());
        E2eSession::run(QStringLiteral("xdotool windowfocus --sync ") + window);
        E2eSession::run(QStringLiteral("xdotool key ctrl+a"));
        E2eSession::run(QStringLiteral("xdotool type --delay 5"), {blue});
        E2eSession::run(QStringLiteral("xdotool key Tab ctrl+Tab Down"));
        QTest::qWait(300);
        QCOMPARE(s->configFile().value(QStringLiteral("Paramètres/Répertoire")).toString(), red); // not yet
        E2eSession::run(QStringLiteral("xdotool key alt+p"));
        QTRY_COMPARE_WITH_TIMEOUT(
            s->configFile().value(QStringLiteral("Paramètres/Répertoire")).toString(), blue, 5000);
        QCOMPARE(s->configFile().value(QStringLiteral("Paramètres/SizingMode")).toInt(), 1);

        QVERIFY(s->command(2));
        QVERIFY(s->waitForLog(QStringLiteral("SY Chg WP Changed"), 2));
        // Along the top edge, which the dialog leaves free: blue in the middle and in the corner.
        QCOMPARE(rootPixel(640, 20), QStringLiteral("#0000FF"));
        QCOMPARE(rootPixel(20, 20), QStringLiteral("#0000FF")); // stretched over the whole screen
        // Asked again, the one dialog comes forward; Escape closes it.
        QVERIFY(s->command(0));
        QTest::qWait(300);
        QCOMPARE(E2eSession::run(
                     QStringLiteral("xdotool search --onlyvisible --name"), {QStringLiteral("Paramètres de Tapisol")})
                     .split(QLatin1Char('\n'), Qt::SkipEmptyParts)
                     .size(),
            1);
        E2eSession::run(QStringLiteral("xdotool windowfocus --sync ") + window);
        E2eSession::run(QStringLiteral("xdotool key Escape"));
        QTRY_VERIFY_WITH_TIMEOUT(E2eSession::run(QStringLiteral("xdotool search --onlyvisible --name"),
                                     {QStringLiteral("Paramètres de Tapisol")})
                                     .isEmpty(),
            5000);
        QVERIFY(s->exit(tapisol));
    }
};

QTEST_GUILESS_MAIN(TestE2eSettings)
#include "tst_e2e_settings.moc"
