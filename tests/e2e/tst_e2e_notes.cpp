// Notes in the real program: alarms written into its database open their windows when due,
// translucent and shaped as set (seen through a compositing manager, xcompmgr, since Xvfb alone
// draws no translucency), and a dismissal moves a recurring note to its next occurrence.
#include "E2eSession.h"

#include <QDir>
#include <QImage>
#include <QtTest>

namespace {

// The floating-point date of a local date and time, as the database keeps it.
double oaDate(const QDateTime& local)
{
    const qint64 days = QDate(1899, 12, 30).daysTo(local.date());
    return double(days) + local.time().msecsSinceStartOfDay() / 86400000.0;
}

} // namespace

class TestE2eNotes : public E2eTest
{
    Q_OBJECT

    QString database() const { return s->home().tapisolDataDir() + QStringLiteral("Tapisol.mdb"); }

    // A note due `seconds` from now with its window at `place`, background green; its number.
    QString addAlarm(int seconds, const QRect& place, int opacity, bool cutOut, const QString& text)
    {
        const QDateTime alarm = QDateTime::currentDateTime().addSecs(seconds);
        const QString insert = QStringLiteral(
            "INSERT INTO Agenda (Date, Alarme, DateAlarme, DateAlarmeOri, AlarmeRepet, Comportement, Frequence, "
            "FreqJours, Active, WinPosX, WinPosY, WinLargeur, WinHauteur, Decoupage, DecoupBkColor, Transparence, "
            "TransparenceApply, WinBackColor, WinBackColorApply) VALUES (%1, -1, %2, %2, 0, 1, 1, '0000000', -1, "
            "%3, %4, %5, %6, %7, 65280, %8, %9, 65280, -1); SELECT last_insert_rowid();")
                                   .arg(std::floor(oaDate(alarm)))
                                   .arg(oaDate(alarm), 0, 'f', 8)
                                   .arg(place.x())
                                   .arg(place.y())
                                   .arg(place.width())
                                   .arg(place.height())
                                   .arg(cutOut ? -1 : 0)
                                   .arg(opacity)
                                   .arg(opacity < 255 ? -1 : 0);
        const QString numero = E2eSession::sql(database(), insert);
        if (!text.isEmpty()) {
            E2eSession::sql(database(),
                QStringLiteral("INSERT INTO AlarmeTxt (NumeroNote, ObjType, Texte, TxtAlign, TxtForeColor, "
                               "TxtShowShadow, TxtFontName, TxtFontSize, TxtFontBold, TxtMoving) "
                               "VALUES (%1, 1, '%2', 5, 0, 0, 'DejaVu Sans', 40, -1, 1)")
                    .arg(numero, text));
        }
        return numero;
    }

    static QImage screenshot(const QString& file)
    {
        E2eSession::run(QStringLiteral("import -window root"), {file});
        return QImage(file);
    }

    static QString windowOf(const QString& text)
    {
        return E2eSession::run(QStringLiteral("timeout 20 xdotool search --sync --onlyvisible --name"),
            {QStringLiteral("Alarme.*") + text})
            .section(QLatin1Char('\n'), 0, 0);
    }

    // Clicks at a point of window `window` (a position inside it, as the screenshots show it).
    static void clickIn(const QString& window, int x, int y)
    {
        const QStringList geometry
            = E2eSession::run(QStringLiteral("xdotool getwindowgeometry --shell"), {window}).split(QLatin1Char('\n'));
        int left = 0, top = 0;
        for (const QString& line : geometry) {
            if (line.startsWith(QLatin1String("X=")))
                left = line.mid(2).toInt();
            else if (line.startsWith(QLatin1String("Y=")))
                top = line.mid(2).toInt();
        }
        E2eSession::run(QStringLiteral("xdotool mousemove --sync %1 %2 click 1").arg(left + x).arg(top + y));
        QTest::qWait(250);
    }

    static void keys(const QString& list) { E2eSession::run(QStringLiteral("xdotool key ") + list); }

private slots:
    // Two alarms due in the same few seconds open two windows: one half transparent (its pixels a
    // mix of its green and the desktop), one cutting out its green so the desktop shows through
    // around its text. Escape dismisses the first, and the weekly note moves a week on.
    void noteWrittenInTheEditorOpensOnTime();
    void calendarOpensTheEditorOnADay();
    void calendarOnTheDesktop();

    void alarmsOpenTranslucentAndShaped()
    {
        QDir().mkpath(s->home().path() + QStringLiteral("/home/Pictures"));
        E2eSession::run(QStringLiteral("convert -size 1280x800 gradient:navy-orange"),
            {s->home().path() + QStringLiteral("/home/Pictures/desk.png")});
        QSettings settings = s->configFile();
        settings.setValue(QStringLiteral("Paramètres/Répertoire"), s->home().path() + QStringLiteral("/home/Pictures"));
        settings.setValue(QStringLiteral("Paramètres/StartChange"), -1);
        settings.sync();
        QProcess* compositor = s->start({}, QStringLiteral("xcompmgr"));
        QVERIFY(compositor->waitForStarted());
        QProcess* tapisol = s->startLoaded();
        QVERIFY(tapisol);
        QTest::qWait(1500); // the wallpaper is on the root
        const QImage before = screenshot(s->home().path() + QStringLiteral("/before.png"));
        QVERIFY(!before.isNull());

        const QString half = addAlarm(3, QRect(100, 100, 200, 150), 128, false, {});
        const QString cut = addAlarm(3, QRect(500, 300, 400, 200), 255, true, QStringLiteral("BBBB"));
        QVERIFY(s->waitForLog(QStringLiteral("AL Show ") + half));
        QVERIFY(s->waitForLog(QStringLiteral("AL Show ") + cut));
        QCOMPARE(E2eSession::sql(database(), QStringLiteral("SELECT Active FROM Agenda WHERE Numero = ") + half),
            QStringLiteral("0"));

        const QString halfWindow = windowOf(QString());
        QVERIFY(!halfWindow.isEmpty());
        QVERIFY(E2eSession::run(QStringLiteral("xprop -id"), {halfWindow, QStringLiteral("_NET_WM_WINDOW_OPACITY")})
                    .contains(QLatin1String("2155905152"))); // 128/255 of 0xffffffff
        QTest::qWait(1000);
        const QImage with = screenshot(s->home().path() + QStringLiteral("/with.png"));
        if (qEnvironmentVariableIsSet("TAPISOL_E2E_SHOTS"))
            with.save(qEnvironmentVariable("TAPISOL_E2E_SHOTS") + QStringLiteral("/alarms.png"));
        const QColor desk = before.pixelColor(200, 200);
        const QColor mixed = with.pixelColor(200, 200);
        QVERIFY2(mixed != desk && mixed != QColor(0, 255, 0), qPrintable(mixed.name()));
        QVERIFY(qAbs(mixed.green() - (255 + desk.green()) / 2) <= 12);
        // Cut out around the text: the desktop, unchanged; on the text: black.
        QCOMPARE(with.pixelColor(510, 490), before.pixelColor(510, 490));
        QCOMPARE(with.pixelColor(700, 300 + 150), before.pixelColor(700, 300 + 150));
        int dark = 0;
        for (int x = 600; x < 800; ++x)
            dark += with.pixelColor(x, 400).lightness() < 40 ? 1 : 0;
        QVERIFY2(dark > 10, "the text is not drawn");

        const QString date
            = E2eSession::sql(database(), QStringLiteral("SELECT Date FROM Agenda WHERE Numero = ") + half);
        E2eSession::run(QStringLiteral("xdotool windowactivate --sync"), {halfWindow});
        E2eSession::pressKeyIn(halfWindow, QStringLiteral("Escape"));
        QVERIFY(s->waitForLog(QStringLiteral("AL Close ") + half));
        QCOMPARE(E2eSession::sql(database(),
                     QStringLiteral("SELECT Date - %1, Active FROM Agenda WHERE Numero = %2").arg(date, half)),
            QStringLiteral("7.0|-1"));
        QVERIFY(s->exit(tapisol));
        // The window still open at the end comes back at the next start.
        QCOMPARE(E2eSession::sql(database(), QStringLiteral("SELECT Active FROM Agenda WHERE Numero = ") + cut),
            QStringLiteral("-1"));
    }
};

// A note written in the editor as a user would (command 8, the mouse and the keyboard): a
// weekly alarm in the next minute, slightly translucent, its white background cut out. Its window opens
// at that minute, with the editor's opacity and the editor showing through around the text, and
// Escape moves the note a week on.
void TestE2eNotes::noteWrittenInTheEditorOpensOnTime()
{
    QSettings settings = s->configFile();
    settings.setValue(QStringLiteral("Paramètres/StartChange"), 0);
    settings.sync();
    QVERIFY(s->start({}, QStringLiteral("xcompmgr"))->waitForStarted());
    QProcess* tapisol = s->startLoaded();
    QVERIFY(tapisol);
    QVERIFY(s->command(8));
    const QString editor = E2eSession::run(
        QStringLiteral("timeout 20 xdotool search --sync --onlyvisible --name"), {QStringLiteral("Notes")})
                               .section(QLatin1Char('\n'), 0, 0);
    QVERIFY(!editor.isEmpty());
    clickIn(editor, 520, 200); // the text
    E2eSession::run(QStringLiteral("xdotool type --delay 5"), {QStringLiteral("Garage BBBB")});
    clickIn(editor, 391, 24);  // Layout tab
    clickIn(editor, 320, 322); // opacity on
    clickIn(editor, 600, 322); // the slider a page down: 245
    clickIn(editor, 320, 350); // cut out a colour
    clickIn(editor, 505, 350); // choose it: white, the note's background
    QTest::qWait(700);
    keys(QStringLiteral("alt+h ctrl+a"));
    E2eSession::run(QStringLiteral("xdotool type"), {QStringLiteral("#ffffff")});
    keys(QStringLiteral("Return"));
    QTest::qWait(500);
    clickIn(editor, 573, 24); // Alarm tab
    clickIn(editor, 320, 86); // alarm on
    // The next minute, typed into the time field (at hh:mm:50 and later, the one after).
    QDateTime due = QDateTime::currentDateTime().addSecs(60);
    if (due.time().second() >= 50)
        due = due.addSecs(60);
    due.setTime(QTime(due.time().hour(), due.time().minute()));
    const QString hhmm = due.toString(QStringLiteral("HHmm"));
    clickIn(editor, 516, 86);
    keys(QStringLiteral("Home Delete Delete %1 %2 End BackSpace BackSpace %3 %4 Tab")
             .arg(hhmm[0])
             .arg(hhmm[1])
             .arg(hhmm[2])
             .arg(hhmm[3]));
    clickIn(editor, 652, 24);  // Recurrence tab
    clickIn(editor, 436, 84);  // recurring
    clickIn(editor, 474, 111); // mode: every week, the second
    keys(QStringLiteral("Down Return"));
    keys(QStringLiteral("ctrl+s"));
    QTRY_COMPARE_WITH_TIMEOUT(E2eSession::sql(database(),
                                  QStringLiteral("SELECT Comportement, Frequence, Active, Transparence, "
                                                 "TransparenceApply, Decoupage, DecoupBkColor FROM Agenda")),
        QStringLiteral("1|1|-1|245|-1|-1|16777215"), 5000);
    QTest::qWait(300);
    const QImage before = screenshot(s->home().path() + QStringLiteral("/before.png"));

    QTRY_VERIFY_WITH_TIMEOUT(s->log().contains(QLatin1String("AL Show")), 90000);
    QVERIFY(QDateTime::currentDateTime() >= due); // not before its minute
    const QString alarm = windowOf(QStringLiteral("Garage"));
    QVERIFY(!alarm.isEmpty());
    QVERIFY(E2eSession::run(QStringLiteral("xprop -id"), {alarm, QStringLiteral("_NET_WM_WINDOW_OPACITY")})
                .contains(QLatin1String("4126537205"))); // 245/255 of 0xffffffff
    QTest::qWait(800);
    const QImage with = screenshot(s->home().path() + QStringLiteral("/with.png"));
    if (qEnvironmentVariableIsSet("TAPISOL_E2E_SHOTS"))
        with.save(qEnvironmentVariable("TAPISOL_E2E_SHOTS") + QStringLiteral("/editor-alarm.png"));
    // The standard place: an inch inside the work area, 338 × 318. Below the text, the editor
    // shows through; on the text, dark pixels.
    QCOMPARE(with.pixelColor(96 + 20, 96 + 300), before.pixelColor(96 + 20, 96 + 300));
    int dark = 0;
    for (int x = 96; x < 96 + 338; ++x)
        dark += with.pixelColor(x, 96 + 159).lightness() < 60 ? 1 : 0;
    QVERIFY2(dark > 10, "the note's text is not on screen");

    const double day = E2eSession::sql(database(), QStringLiteral("SELECT Date FROM Agenda")).toDouble();
    E2eSession::run(QStringLiteral("xdotool windowfocus --sync"), {alarm});
    keys(QStringLiteral("Escape"));
    QVERIFY(s->waitForLog(QStringLiteral("AL Close")));
    QCOMPARE(E2eSession::sql(database(), QStringLiteral("SELECT Date - %1, Active FROM Agenda").arg(day, 0, 'f', 1)),
        QStringLiteral("7.0|-1"));
    QVERIFY(s->exit(tapisol));
}

// The calendar from the menu's command 6, used with the mouse and the keyboard: a click in the
// grid, today, the next month, then Return on the chosen day opens the note editor on that day.
void TestE2eNotes::calendarOpensTheEditorOnADay()
{
    QProcess* tapisol = s->startLoaded();
    QVERIFY(tapisol);
    QVERIFY(s->command(6));
    const QString calendar = E2eSession::run(
        QStringLiteral("timeout 20 xdotool search --sync --onlyvisible --name"), {QStringLiteral("^Calendrier$")})
                                 .section(QLatin1Char('\n'), 0, 0);
    QVERIFY(!calendar.isEmpty());
    const QDate today = QDate::currentDate();
    QTest::qWait(500);
    clickIn(calendar, 200, 200);  // a day of the grid: the grid has the keyboard
    keys(QStringLiteral("Home")); // today
    QTest::qWait(300);
    keys(QStringLiteral("Next")); // Page Down: a month on, the same day
    QTest::qWait(500);
    keys(QStringLiteral("Return"));
    const QString day = QLocale(QLocale::French).toString(today.addMonths(1), QLocale::LongFormat);
    const QString editor = E2eSession::run(
        QStringLiteral("timeout 20 xdotool search --sync --onlyvisible --name"), {QStringLiteral("Notes et alarmes")})
                               .section(QLatin1Char('\n'), 0, 0);
    QVERIFY(!editor.isEmpty());
    QTRY_VERIFY_WITH_TIMEOUT(E2eSession::run(QStringLiteral("xdotool getwindowname"), {editor}).contains(day), 5000);
    QVERIFY(s->exit(tapisol));
}

// Command 7 draws the month calendar into the wallpaper at the top-right corner of the monitor
// (the settings' default): the root window's pixels change there and nowhere else; the flag
// survives a restart; command 7 again gives back the plain wallpaper, pixel for pixel.
void TestE2eNotes::calendarOnTheDesktop()
{
    const QString folder = s->home().path() + QStringLiteral("/home/Pictures");
    QDir().mkpath(folder);
    E2eSession::run(QStringLiteral("convert -size 1280x800 gradient:steelblue-darkslategray"),
        {folder + QStringLiteral("/desk.png")});
    QSettings settings = s->configFile();
    settings.setValue(QStringLiteral("Paramètres/Répertoire"), folder);
    settings.setValue(QStringLiteral("Paramètres/StartChange"), -1);
    settings.setValue(QStringLiteral("Paramètres/SelectRandom"), 0);
    settings.sync();
    QProcess* tapisol = s->startLoaded();
    QVERIFY(tapisol);
    QVERIFY(s->waitForLog(QStringLiteral("SY Chg WP Changed")));
    QTest::qWait(500);
    const QImage plain
        = screenshot(s->home().path() + QStringLiteral("/plain.png")).convertToFormat(QImage::Format_RGB32);
    QVERIFY(s->command(7));
    QVERIFY(s->waitForLog(QStringLiteral("AG Desktop calendar on")));
    QTest::qWait(1000);
    const QImage with = screenshot(s->home().path() + QStringLiteral("/with.png"));
    int changedInCorner = 0;
    int changedElsewhere = 0;
    for (int y = 0; y < plain.height(); y += 4) {
        for (int x = 0; x < plain.width(); x += 4) {
            const bool differs = plain.pixel(x, y) != with.pixel(x, y);
            (x >= plain.width() / 2 && y < plain.height() * 2 / 3 ? changedInCorner : changedElsewhere)
                += differs ? 1 : 0;
        }
    }
    QVERIFY2(changedInCorner > 2000, qPrintable(QString::number(changedInCorner)));
    QCOMPARE(changedElsewhere, 0);

    // Another corner chosen in the settings dialog shows on the desktop before it is applied;
    // Escape drops it, and the calendar is back where it was. The dialog is moved off the screen
    // to see the desktop.
    const QRect topRight(plain.width() / 2, 0, plain.width() / 2, plain.height() / 3);
    const QRect bottomRight(plain.width() / 2, plain.height() / 2, plain.width() / 2, plain.height() / 2);
    const auto desktop = [this] {
        return screenshot(s->home().path() + QStringLiteral("/desktop.png")).convertToFormat(QImage::Format_RGB32);
    };
    const QImage top = desktop();
    QVERIFY(s->command(0));
    const QString dialog = E2eSession::run(QStringLiteral("timeout 20 xdotool search --sync --onlyvisible --name"),
        {QStringLiteral("Paramètres de Tapisol")})
                               .section(QLatin1Char('\n'), 0, 0);
    QVERIFY(!dialog.isEmpty());
    E2eSession::run(QStringLiteral("xdotool windowfocus --sync"), {dialog});
    const int redrawn = s->log().count(QStringLiteral("AG Desktop calendar redrawn"));
    // The "Notes et agenda" page, then the corner: bottom right.
    keys(QStringLiteral("ctrl+Tab ctrl+Tab ctrl+Tab ctrl+Tab ctrl+Tab alt+c End"));
    E2eSession::run(QStringLiteral("xdotool windowmove"), {dialog, QStringLiteral("-3000"), QStringLiteral("0")});
    QVERIFY(s->waitForLog(QStringLiteral("AG Desktop calendar redrawn"), redrawn + 1));
    QTRY_VERIFY_WITH_TIMEOUT(desktop().copy(topRight) == plain.copy(topRight), 5000);
    QVERIFY(desktop().copy(bottomRight) != plain.copy(bottomRight));
    keys(QStringLiteral("Escape"));
    QVERIFY(s->waitForLog(QStringLiteral("AG Desktop calendar redrawn"), redrawn + 2));
    QTRY_VERIFY_WITH_TIMEOUT(desktop() == top, 5000);
    QCOMPARE(s->configFile().value(QStringLiteral("Agenda/CoinBureau"), 1).toInt(), 1);

    QVERIFY(s->exit(tapisol));
    settings.setValue(QStringLiteral("Paramètres/StartChange"), 0); // the start shows Tapisol.bmp again
    settings.sync();
    tapisol = s->startLoaded();
    QVERIFY(tapisol);
    QVERIFY(s->waitForLog(QStringLiteral("AG Desktop calendar on"), 2)); // kept across the restart
    QTest::qWait(1500);
    QVERIFY(desktop() != plain);

    QVERIFY(s->command(7));
    QVERIFY(s->waitForLog(QStringLiteral("AG Desktop calendar off")));
    QTest::qWait(1000);
    QVERIFY(desktop() == plain);
    QVERIFY(s->exit(tapisol));
}

QTEST_GUILESS_MAIN(TestE2eNotes)
#include "tst_e2e_notes.moc"
