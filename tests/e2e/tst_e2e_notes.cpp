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

QString sql(const QString& database, const QString& statement)
{
    return E2eSession::run(QStringLiteral("sqlite3 -cmd"), {QStringLiteral(".timeout 5000"), database, statement});
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
        const QString numero = sql(database(), insert);
        if (!text.isEmpty()) {
            sql(database(),
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

private slots:
    // Two alarms due in the same few seconds open two windows: one half transparent (its pixels a
    // mix of its green and the desktop), one cutting out its green so the desktop shows through
    // around its text. Escape dismisses the first, and the weekly note moves a week on.
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
        QCOMPARE(
            sql(database(), QStringLiteral("SELECT Active FROM Agenda WHERE Numero = ") + half), QStringLiteral("0"));

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

        const QString date = sql(database(), QStringLiteral("SELECT Date FROM Agenda WHERE Numero = ") + half);
        E2eSession::run(QStringLiteral("xdotool windowactivate --sync"), {halfWindow});
        E2eSession::run(QStringLiteral("xdotool key --window"), {halfWindow, QStringLiteral("Escape")});
        QVERIFY(s->waitForLog(QStringLiteral("AL Close ") + half));
        QCOMPARE(
            sql(database(), QStringLiteral("SELECT Date - %1, Active FROM Agenda WHERE Numero = %2").arg(date, half)),
            QStringLiteral("7.0|-1"));
        QVERIFY(s->exit(tapisol));
        // The window still open at the end comes back at the next start.
        QCOMPARE(
            sql(database(), QStringLiteral("SELECT Active FROM Agenda WHERE Numero = ") + cut), QStringLiteral("-1"));
    }
};

QTEST_GUILESS_MAIN(TestE2eNotes)
#include "tst_e2e_notes.moc"
