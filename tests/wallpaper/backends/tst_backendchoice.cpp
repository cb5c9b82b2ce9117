// Which wallpaper back ends a session gets, in which order, and what the chain does when one fails.
#include "WallpaperBackends.h"

#include <QtTest>

using WallpaperBackends::BackendChain;
using WallpaperBackends::Session;

Q_DECLARE_METATYPE(Session)

namespace {

// A session as a desktop's login manager leaves it: XDG_CURRENT_DESKTOP, XDG_SESSION_TYPE, the
// sway and Hyprland variables, and what answers on its bus.
Session session(const QString& currentDesktop, const QString& type, const QStringList& busNames = {},
    const QByteArray& sway = {}, const QByteArray& hyprland = {})
{
    Session s;
    s.desktops = currentDesktop.toLower().split(QLatin1Char(':'), Qt::SkipEmptyParts);
    s.sessionType = type;
    if (type != QLatin1String("tty"))
        s.display = type == QLatin1String("wayland") ? QByteArray(":1") : QByteArray(":0"); // Xwayland too
    s.waylandDisplay = type == QLatin1String("wayland") ? QByteArray("wayland-0") : QByteArray();
    s.busNames = busNames;
    s.swaySocket = sway;
    s.hyprlandInstance = hyprland;
    return s;
}

// A back end of this test's own, to see the chain's order and fallback.
class Scripted final : public WallpaperBackend
{
public:
    Scripted(QString name, bool succeeds, QStringList* calls)
        : m_name(std::move(name))
        , m_succeeds(succeeds)
        , m_calls(calls)
    { }
    QString name() const override { return m_name; }
    bool isAvailable(QString*) const override { return true; }
    bool apply(const WallpaperTarget&, QString* error) override
    {
        *m_calls << m_name;
        if (!m_succeeds)
            *error = QStringLiteral("refused");
        return m_succeeds;
    }

private:
    QString m_name;
    bool m_succeeds;
    QStringList* m_calls;
};

} // namespace

class TestBackendChoice : public QObject
{
    Q_OBJECT

private slots:
    // Real environments, as their sessions set them: the desktop's own back end first, the portal
    // after it where one runs, the bare X root only where no desktop draws over it.
    void claimants_data()
    {
        QTest::addColumn<Session>("session");
        QTest::addColumn<QStringList>("expected");
        const QString portal = QStringLiteral("org.freedesktop.portal.Desktop");
        QTest::newRow("GNOME on Wayland") << session("GNOME", "wayland", {portal}) << QStringList {"gnome", "portal"};
        QTest::newRow("Ubuntu's GNOME on X11") << session("ubuntu:GNOME", "x11") << QStringList {"gnome"};
        QTest::newRow("KDE Plasma") << session("KDE", "wayland", {portal}) << QStringList {"plasma", "portal"};
        QTest::newRow("plasmashell answering, no variable")
            << session("", "x11", {"org.kde.plasmashell"}) << QStringList {"plasma"};
        QTest::newRow("XFCE") << session("XFCE", "x11") << QStringList {"xfce"};
        QTest::newRow("Cinnamon") << session("X-Cinnamon", "x11") << QStringList {"cinnamon"};
        QTest::newRow("MATE") << session("MATE", "x11") << QStringList {"mate"};
        QTest::newRow("Budgie names GNOME too") << session("Budgie:GNOME", "x11") << QStringList {"budgie", "gnome"};
        QTest::newRow("LXQt") << session("LXQt", "x11") << QStringList {"lxqt"};
        QTest::newRow("sway") << session("sway", "wayland", {}, "/run/user/1000/sway-ipc.sock") << QStringList {"sway"};
        QTest::newRow("Hyprland") << session("Hyprland", "wayland", {portal}, {}, "v0.41_1718")
                                  << QStringList {"hyprland", "portal"};
        QTest::newRow("bare window manager on X11") << session("", "x11") << QStringList {"x11"};
        QTest::newRow("unknown desktop on X11, portal running")
            << session("Openbox", "x11", {portal}) << QStringList {"x11", "portal"};
        QTest::newRow("unknown Wayland compositor") << session("", "wayland", {portal}) << QStringList {"portal"};
        QTest::newRow("nothing at all") << session("", "tty") << QStringList {};
    }

    void claimants()
    {
        QFETCH(Session, session);
        QFETCH(QStringList, expected);
        QStringList refusals;
        QCOMPARE(WallpaperBackends::claimants(session, &refusals), expected);
        // Every other back end says why not, once.
        QCOMPARE(refusals.size(), WallpaperBackends::names().size() - 1 - expected.size());
    }

    // A forced name is used alone, even where it cannot run (its own error then reaches the user);
    // an unknown one is said and the session decides; on a desktop that draws its own background
    // and whose back end cannot run, no back end is left and every change fails.
    void forcedAndUnusable()
    {
        Session xfceForced = session("GNOME", "wayland");
        xfceForced.forced = QStringLiteral(" XFCE ");
        QString description;
        auto chain = WallpaperBackends::choose(xfceForced, &description);
        QCOMPARE(chain->memberNames(), QStringList {"xfce"});
        QVERIFY(description.contains(QStringLiteral("forced")));

        Session unknown = session("", "tty");
        unknown.forced = QStringLiteral("plasma9");
        chain = WallpaperBackends::choose(unknown, &description);
        QCOMPARE(chain->name(), QStringLiteral("null"));
        QVERIFY2(description.contains(QStringLiteral("no back end is named \"plasma9\"")), qPrintable(description));

        // Plasma claimed, plasmashell absent from this test's bus: not the X root, nothing.
        chain = WallpaperBackends::choose(session("KDE", "x11"), &description);
        QCOMPARE(chain->memberNames(), QStringList {"null"});
        QVERIFY2(
            description.contains(QStringLiteral("x11: the desktop draws its own background")), qPrintable(description));
        WallpaperTarget target;
        target.file = QStringLiteral("/tmp/Tapisol-1.bmp");
        QString error;
        QVERIFY(!chain->apply(target, &error));
        QVERIFY2(error.contains(QStringLiteral("plasma")), qPrintable(error));
    }

    // A back end that fails hands over to the next; the failure is kept with its name.
    void chainFallsBack()
    {
        QStringList calls;
        std::vector<std::unique_ptr<WallpaperBackend>> members;
        members.push_back(std::make_unique<Scripted>(QStringLiteral("first"), false, &calls));
        members.push_back(std::make_unique<Scripted>(QStringLiteral("second"), true, &calls));
        members.push_back(std::make_unique<Scripted>(QStringLiteral("third"), true, &calls));
        BackendChain chain(std::move(members), {});
        QString error;
        QVERIFY(chain.apply({}, &error));
        QCOMPARE(calls, QStringList({"first", "second"}));
        QCOMPARE(chain.lastFailures(), QStringList {"first: refused"});
        QCOMPARE(chain.name(), QStringLiteral("first"));

        std::vector<std::unique_ptr<WallpaperBackend>> failing;
        failing.push_back(std::make_unique<Scripted>(QStringLiteral("a"), false, &calls));
        failing.push_back(std::make_unique<Scripted>(QStringLiteral("b"), false, &calls));
        BackendChain none(std::move(failing), {});
        QVERIFY(!none.apply({}, &error));
        QCOMPARE(error, QStringLiteral("a: refused; b: refused"));
    }
};

QTEST_GUILESS_MAIN(TestBackendChoice)
#include "tst_backendchoice.moc"
