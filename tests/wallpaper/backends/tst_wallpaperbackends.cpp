#include "WallpaperBackends.h"

#include <QtTest>

Q_DECLARE_METATYPE(WallpaperStyle)

// Runs under an X server: "x11" is only chosen when its display really answers.
class TestWallpaperBackends : public QObject
{
    Q_OBJECT

private slots:
    void styleFromDesktopValues_data()
    {
        QTest::addColumn<QString>("tileAndStyle");
        QTest::addColumn<WallpaperStyle>("expected");
        QTest::newRow("centred") << "0/0" << WallpaperStyle::Centered;
        QTest::newRow("tiled") << "1/0" << WallpaperStyle::Tiled;
        QTest::newRow("stretched") << "0/2" << WallpaperStyle::Stretched;
        QTest::newRow("tiling wins, blanks ignored") << " 1 /2" << WallpaperStyle::Tiled;
        QTest::newRow("unknown or missing values") << "/10" << WallpaperStyle::Centered;
    }

    void styleFromDesktopValues()
    {
        QFETCH(QString, tileAndStyle);
        QFETCH(WallpaperStyle, expected);
        const QStringList values = tileAndStyle.split(QLatin1Char('/'));
        QCOMPARE(wallpaperStyleFromDesktopValues(values.at(0), values.at(1)), expected);
    }

    void choice_data()
    {
        QTest::addColumn<QString>("forced");
        QTest::addColumn<QByteArray>("display");
        QTest::addColumn<QString>("sessionType");
        QTest::addColumn<QByteArray>("waylandDisplay");
        QTest::addColumn<QString>("expected");
        const QByteArray real = qgetenv("DISPLAY");
        const QByteArray none;
        QTest::newRow("plain X11 session") << "" << real << "x11" << none << "x11";
        QTest::newRow("no DISPLAY") << "" << none << "x11" << none << "null";
        QTest::newRow("unreachable display") << "" << QByteArray(":4242") << "x11" << none << "null";
        QTest::newRow("Wayland session") << "" << real << "wayland" << none << "null";
        QTest::newRow("WAYLAND_DISPLAY only") << "" << real << "" << QByteArray("wayland-0") << "null";
        QTest::newRow("forced null") << "null" << real << "x11" << none << "null";
        QTest::newRow("forced x11 even without DISPLAY") << "X11" << none << "" << none << "x11";
        QTest::newRow("unknown name: the session decides") << "plasma9" << real << "x11" << none << "x11";
    }

    void choice()
    {
        QFETCH(QString, forced);
        QFETCH(QByteArray, display);
        QFETCH(QString, sessionType);
        QFETCH(QByteArray, waylandDisplay);
        QFETCH(QString, expected);
        WallpaperBackends::Session session;
        session.forced = forced;
        session.display = display;
        session.sessionType = sessionType;
        session.waylandDisplay = waylandDisplay;
        QString description;
        const auto backend = WallpaperBackends::choose(session, &description);
        QVERIFY(backend);
        QCOMPARE(backend->name(), expected);
        QVERIFY(description.contains(expected));
        if (expected == QLatin1String("null")) {
            // The fallback changes nothing and passes on why nothing else was chosen.
            QString error;
            QVERIFY(!backend->apply(
                QStringLiteral("/tmp/a.bmp"), WallpaperStyle::Centered, {0, 0, 10, 10}, {0, 0, 10, 10}, &error));
            QVERIFY2(error.contains(forced.isEmpty() ? QStringLiteral("x11") : forced), qPrintable(error));
        }
    }
};

QTEST_GUILESS_MAIN(TestWallpaperBackends)
#include "tst_wallpaperbackends.moc"
