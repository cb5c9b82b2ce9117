// The slideshow assistant in the real program, used with the keyboard: command 5 opens it, a new
// project is named, a folder of pictures becomes its slides through the folder picker, Ctrl+S
// saves it, Escape closes the window and command 5 opens it again with the project listed. In
// French and in English, at 1366 × 768.
#include "E2eSession.h"

#include <QDir>
#include <QImage>
#include <QRegularExpression>
#include <QtTest>

namespace {

QString findWindow(const QString& pattern)
{
    return E2eSession::run(QStringLiteral("timeout 20 xdotool search --sync --onlyvisible --name"), {pattern})
        .section(QLatin1Char('\n'), 0, 0);
}

QRect geometryOf(const QString& window)
{
    const QString shell = E2eSession::run(QStringLiteral("xdotool getwindowgeometry --shell"), {window});
    auto value = [&](const char* name) {
        return QRegularExpression(QLatin1String(name) + QStringLiteral("=(-?\\d+)")).match(shell).captured(1).toInt();
    };
    return QRect(value("X"), value("Y"), value("WIDTH"), value("HEIGHT"));
}

} // namespace

class TestE2eAssistant : public E2eTest
{
    Q_OBJECT

private slots:
    void projectFromAFolder_data()
    {
        QTest::addColumn<QString>("language");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("folderKey");
        QTest::addColumn<QString>("picker");
        QTest::newRow("French") << QStringLiteral("FRA") << QStringLiteral("Assistant de diaporama")
                                << QStringLiteral("alt+d") << QStringLiteral("Ajouter un dossier");
        QTest::newRow("English") << QStringLiteral("ENG") << QStringLiteral("Slideshow assistant")
                                 << QStringLiteral("alt+l") << QStringLiteral("Add a folder");
    }

    void projectFromAFolder()
    {
        QFETCH(QString, language);
        QFETCH(QString, title);
        QFETCH(QString, folderKey);
        QFETCH(QString, picker);
        const QString folder = s->home().path() + QStringLiteral("/home/Bretagne");
        QDir().mkpath(folder);
        const QList<QColor> colours = {QColor(200, 30, 30), QColor(30, 160, 40), QColor(40, 60, 200)};
        for (int i = 0; i < colours.size(); ++i) {
            QImage picture(1200, 800, QImage::Format_RGB32);
            picture.fill(colours.at(i));
            QVERIFY(picture.save(folder + QStringLiteral("/plage %1.jpg").arg(i + 1), "JPEG", 90));
        }
        QSettings settings = s->configFile();
        settings.setValue(QStringLiteral("Paramètres/Langue"), language);
        settings.setValue(QStringLiteral("Paramètres/StartChange"), 0);
        settings.sync();
        QProcess* tapisol = s->startLoaded();
        QVERIFY(tapisol);

        QVERIFY(s->command(5));
        const QString window = findWindow(QStringLiteral("^") + title);
        QVERIFY(!window.isEmpty());
        const QRect frame = geometryOf(window);
        QVERIFY2(frame.width() <= 1366 && frame.height() <= 768 && frame.width() >= 800,
            qPrintable(QStringLiteral("%1x%2").arg(frame.width()).arg(frame.height())));
        E2eSession::run(QStringLiteral("xdotool windowfocus --sync"), {window});
        QTest::qWait(500);

        E2eSession::keys(QStringLiteral("alt+n")); // New…: the name asked for
        QVERIFY(!findWindow(title).isEmpty());
        E2eSession::keys(QStringLiteral("ctrl+a"));
        E2eSession::type(QStringLiteral("Plages d'été"));
        E2eSession::keys(QStringLiteral("Return"));

        // Without a window manager the keyboard does not come back by itself from a dialog.
        E2eSession::run(QStringLiteral("xdotool windowfocus --sync"), {window});
        E2eSession::keys(folderKey); // Add a folder…: the path typed into the picker's name field
        const QString dialog = findWindow(picker);
        QVERIFY(!dialog.isEmpty());
        E2eSession::run(QStringLiteral("xdotool windowfocus --sync"), {dialog});
        if (qEnvironmentVariableIsSet("TAPISOL_E2E_SHOTS")) {
            E2eSession::run(QStringLiteral("import -window root"),
                {qEnvironmentVariable("TAPISOL_E2E_SHOTS") + QStringLiteral("/picker-%1.png").arg(language)});
        }
        E2eSession::keys(QStringLiteral("ctrl+a"));
        E2eSession::type(folder);
        E2eSession::keys(QStringLiteral("Escape")); // the completion list, not the dialog
        E2eSession::keys(QStringLiteral("Return"));
        QTest::qWait(1500); // the filmstrip's thumbnails
        E2eSession::run(QStringLiteral("xdotool windowfocus --sync"), {window});
        if (qEnvironmentVariableIsSet("TAPISOL_E2E_SHOTS")) {
            E2eSession::run(QStringLiteral("import -window root"),
                {qEnvironmentVariable("TAPISOL_E2E_SHOTS") + QStringLiteral("/assistant-%1.png").arg(language)});
        }
        E2eSession::keys(QStringLiteral("ctrl+s"));

        const QString database = s->home().tapisolDataDir() + QStringLiteral("Tapisol.mdb");
        QTRY_COMPARE_WITH_TIMEOUT(E2eSession::sql(database,
                                      QStringLiteral("SELECT group_concat(d.Path, '|') FROM (SELECT Path FROM "
                                                     "Diaporama d JOIN DiaporamaDesc p ON d.KeyDescrip = p.KeyAuto "
                                                     "WHERE p.Nom = 'Plages d''été' ORDER BY d.Ordre) d")),
            QStringLiteral("%1/plage 1.jpg|%1/plage 2.jpg|%1/plage 3.jpg").arg(folder), 5000);

        // Saved, so Escape closes at once; command 5 brings the window back with the project.
        E2eSession::keys(QStringLiteral("Escape"));
        QTRY_VERIFY_WITH_TIMEOUT(
            E2eSession::run(QStringLiteral("xdotool search --onlyvisible --name"), {title}).isEmpty(), 5000);
        QVERIFY(s->command(5));
        QVERIFY(!findWindow(QStringLiteral("^") + title).isEmpty());
        QVERIFY(s->waitForLog(QStringLiteral("DI Assistant open"), 2));
        QVERIFY(s->exit(tapisol));
        QCOMPARE(E2eSession::sql(database, QStringLiteral("SELECT count(*) FROM DiaporamaDesc")), QStringLiteral("1"));
    }
};

QTEST_GUILESS_MAIN(TestE2eAssistant)
#include "tst_e2e_assistant.moc"
