// The desktops' back ends against their real services where this machine runs them (GIO with its
// key-file back end, xfconfd, pcmanfm-qt's desktop under Xvfb), and against small services that
// speak the real interfaces where it cannot (Plasma's shell, the desktop portal, hyprpaper).
// Runs on a private session bus and display (with-display.sh), GSETTINGS_BACKEND=keyfile.
#include "TempXdgHome.h"
#include "WallpaperBackend.h"
#include "gsettings/GSettingsWallpaperBackend.h"
#include "hyprland/HyprpaperBackend.h"
#include "lxqt/LxqtBackend.h"
#include "plasma/PlasmaBackend.h"
#include "portal/PortalBackend.h"
#include "xfce/XfceBackend.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusUnixFileDescriptor>
#include <QElapsedTimer>
#include <QImage>
#include <QLocalServer>
#include <QLocalSocket>
#include <QSettings>
#include <QtConcurrent>
#include <QtTest>

#include <unistd.h>

namespace {

// A second connection to the test's bus for the stand-in services, so that the back ends' calls
// really cross the bus and the stand-ins answer from this thread's event loop.
QDBusConnection serviceBus()
{
    return QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("stand-ins"));
}

// apply() on a worker thread, as the renderer calls it, this thread serving the stand-ins.
std::pair<bool, QString> applyAside(WallpaperBackend& backend, const WallpaperTarget& target)
{
    QFuture<std::pair<bool, QString>> future = QtConcurrent::run([&backend, target] {
        QString error;
        const bool applied = backend.apply(target, &error);
        return std::pair {applied, error};
    });
    while (!future.isFinished())
        QTest::qWait(20);
    return future.result();
}

QString run(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished(15000);
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

// Plasma's shell: evaluateScript() records the script, or never answers when told to hang.
class PlasmaShell : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.PlasmaShell")

public:
    QStringList scripts;
    bool hang = false;

public slots:
    void evaluateScript(const QString& script, const QDBusMessage& message)
    {
        scripts << script;
        if (hang) {
            message.setDelayedReply(true); // and no reply ever comes
            return;
        }
        serviceBus().send(message.createReply());
    }
};

// The desktop portal's Wallpaper interface: reads the file it is handed, then answers the request
// with `response` on the request's own object, as the portal does.
class Portal : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Wallpaper")
    Q_PROPERTY(uint version READ version)

public:
    uint version() const { return 1; }
    QByteArray received;
    QVariantMap options;
    uint response = 0;

public slots:
    QDBusObjectPath SetWallpaperFile(
        const QString&, const QDBusUnixFileDescriptor& fd, const QVariantMap& opts, const QDBusMessage& message)
    {
        QFile file;
        if (file.open(::dup(fd.fileDescriptor()), QIODevice::ReadOnly, QFileDevice::AutoCloseHandle))
            received = file.readAll();
        options = opts;
        QString sender = message.service().mid(1);
        sender.replace(QLatin1Char('.'), QLatin1Char('_'));
        const QString handle = QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2")
                                   .arg(sender, opts.value(QStringLiteral("handle_token")).toString());
        QTimer::singleShot(50, this, [this, handle] {
            QDBusMessage signal = QDBusMessage::createSignal(
                handle, QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Response"));
            signal << response << QVariantMap();
            serviceBus().send(signal);
        });
        return QDBusObjectPath(handle);
    }
};

// hyprpaper's socket: one request a connection, "ok" or the reply `refuse` names.
class Hyprpaper : public QObject
{
public:
    explicit Hyprpaper(const QString& path)
    {
        QLocalServer::removeServer(path);
        m_server.listen(path);
        connect(&m_server, &QLocalServer::newConnection, this, [this] {
            QLocalSocket* socket = m_server.nextPendingConnection();
            connect(socket, &QLocalSocket::readyRead, socket, [this, socket] {
                const QString request = QString::fromUtf8(socket->readAll());
                requests << request;
                const QString verb = request.section(QLatin1Char(' '), 0, 0);
                socket->write(refused.contains(verb) ? "invalid hyprpaper request" : "ok");
                socket->flush();
                socket->disconnectFromServer();
            });
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        });
    }
    QStringList requests;
    QStringList refused; // verbs this version does not know

private:
    QLocalServer m_server;
};

WallpaperTarget target(const QString& file, WallpaperStyle style, const QString& monitor = {}, int index = 0)
{
    WallpaperTarget t;
    t.file = file;
    t.style = style;
    t.monitor = QRect(0, 0, 1280, 800);
    t.virtualScreen = t.monitor;
    t.monitorName = monitor;
    t.monitorIndex = index;
    return t;
}

} // namespace

class TestDesktopBackends : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TempXdgHome> m_home;
    QString m_picture;

    QString picture(const QString& name, QRgb colour, QSize size = {100, 100})
    {
        QImage image(size, QImage::Format_RGB32);
        image.fill(colour);
        const QString path = m_home->path() + QLatin1Char('/') + name;
        return image.save(path) ? path : QString();
    }

private slots:
    void initTestCase()
    {
        // First of all: GLib reads the configuration folder once, when first asked.
        m_home = std::make_unique<TempXdgHome>();
        QCOMPARE(qgetenv("GSETTINGS_BACKEND"), QByteArray("keyfile"));
        m_picture = picture(QStringLiteral("it's a picture.png"), 0xff336699);
    }

    // GNOME, Budgie, Cinnamon and MATE through the real GIO: the keys read back with gsettings
    // hold the picture and its placement; the lock screen follows where the desktop keeps one.
    void gsettingsDesktops_data()
    {
        using Desktop = GSettingsWallpaperBackend::Desktop;
        QTest::addColumn<Desktop>("desktop");
        QTest::addColumn<QStringList>("keys"); // "schema key" read back, then what each should hold
        QTest::addColumn<QStringList>("values");
        const QString uri = QUrl::fromLocalFile(m_picture).toString(QUrl::FullyEncoded);
        const QString gnomeBackground = QStringLiteral("org.gnome.desktop.background ");
        QTest::newRow("gnome") << Desktop::Gnome
                               << QStringList {gnomeBackground + "picture-uri", gnomeBackground + "picture-uri-dark",
                                      gnomeBackground + "picture-options", "org.gnome.desktop.screensaver picture-uri"}
                               << QStringList {uri, uri, "wallpaper", uri};
        QTest::newRow("budgie") << Desktop::Budgie << QStringList {gnomeBackground + "picture-uri"}
                                << QStringList {uri};
        QTest::newRow("cinnamon") << Desktop::Cinnamon
                                  << QStringList {"org.cinnamon.desktop.background picture-uri",
                                         "org.cinnamon.desktop.background picture-options"}
                                  << QStringList {uri, "wallpaper"};
        QTest::newRow("mate") << Desktop::Mate
                              << QStringList {"org.mate.background picture-filename",
                                     "org.mate.background picture-options", "org.mate.screensaver picture-filename"}
                              << QStringList {m_picture, "wallpaper", m_picture};
    }

    void gsettingsDesktops()
    {
        QFETCH(GSettingsWallpaperBackend::Desktop, desktop);
        QFETCH(QStringList, keys);
        QFETCH(QStringList, values);
        GSettingsWallpaperBackend backend(desktop);
        QString reason;
        QVERIFY2(backend.isAvailable(&reason), qPrintable(reason));
        QCOMPARE(backend.hasLockScreen(), desktop != GSettingsWallpaperBackend::Desktop::Cinnamon);
        WallpaperTarget tiled = target(m_picture, WallpaperStyle::Tiled);
        tiled.lockScreen = true;
        QString error;
        QVERIFY2(backend.apply(tiled, &error), qPrintable(error));
        for (qsizetype i = 0; i < keys.size(); ++i) {
            const QString got = run(QStringLiteral("gsettings"), QStringList {"get"} + keys[i].split(' '));
            QCOMPARE(got.mid(1, got.size() - 2), values[i]); // in '' or, holding a ', in ""
        }
        // The placement of the other styles.
        for (const auto& [style, option] :
            {std::pair {WallpaperStyle::Centered, "centered"}, std::pair {WallpaperStyle::Stretched, "stretched"}}) {
            QVERIFY(backend.apply(target(m_picture, style), &error));
            QCOMPARE(run(QStringLiteral("gsettings"),
                         {"get", keys.first().section(' ', 0, 0), QStringLiteral("picture-options")}),
                QStringLiteral("'%1'").arg(QLatin1String(option)));
        }
    }

    // The real xfconfd: a first session gets its backdrop; every workspace of the target monitor
    // gets the picture and the style, the other monitor keeps its own; a monitor that has no
    // backdrop yet gets one.
    void xfce()
    {
        XfceBackend backend;
        QString reason;
        QVERIFY2(backend.isAvailable(&reason), qPrintable(reason));
        const QString base = QStringLiteral("/backdrop/screen0/monitor%1/workspace%2/last-image");
        const auto query = [](const QString& property) {
            return run(QStringLiteral("xfconf-query"), {"-c", "xfce4-desktop", "-p", property});
        };
        // A first session: no backdrop at all yet.
        auto [applied, error] = applyAside(backend, target(m_picture, WallpaperStyle::Centered, "Virtual-1", 0));
        QVERIFY2(applied, qPrintable(error));
        QCOMPARE(query(base.arg("Virtual-1").arg(0)), m_picture);
        for (const auto& [monitor, workspace] :
            {std::pair {"HDMI-1", 0}, std::pair {"HDMI-1", 1}, std::pair {"DP-2", 0}})
            run(QStringLiteral("xfconf-query"),
                {"-c", "xfce4-desktop", "-p", base.arg(monitor).arg(workspace), "-n", "-t", "string", "-s",
                    "/usr/share/old.png"});
        std::tie(applied, error) = applyAside(backend, target(m_picture, WallpaperStyle::Stretched, "HDMI-1", 0));
        QVERIFY2(applied, qPrintable(error));
        for (int workspace : {0, 1}) {
            QCOMPARE(query(base.arg("HDMI-1").arg(workspace)), m_picture);
            QCOMPARE(
                query(base.arg("HDMI-1").arg(workspace).replace("last-image", "image-style")), QStringLiteral("3"));
        }
        QCOMPARE(query(base.arg("DP-2").arg(0)), QStringLiteral("/usr/share/old.png"));

        std::tie(applied, error) = applyAside(backend, target(m_picture, WallpaperStyle::Tiled, "eDP-1", 1));
        QVERIFY2(applied, qPrintable(error));
        QCOMPARE(query(base.arg("eDP-1").arg(0)), m_picture);
        QCOMPARE(query(base.arg("eDP-1").arg(0).replace("last-image", "image-style")), QStringLiteral("2"));
    }

    // Plasma's shell gets one script for the target screen's desktops, the picture's URL safely
    // quoted; a shell that never answers costs the back end's bound, not a hang.
    void plasma()
    {
        PlasmaShell shell;
        QDBusConnection bus = serviceBus();
        QVERIFY(bus.registerObject(QStringLiteral("/PlasmaShell"), &shell, QDBusConnection::ExportAllSlots));
        QVERIFY(bus.registerService(PlasmaBackend::Service));
        const auto cleanup = qScopeGuard([&bus] { bus.unregisterService(PlasmaBackend::Service); });
        PlasmaBackend backend;
        QVERIFY(backend.isAvailable());
        auto [applied, error] = applyAside(backend, target(m_picture, WallpaperStyle::Tiled, "HDMI-1", 1));
        QVERIFY2(applied, qPrintable(error));
        QCOMPARE(shell.scripts.size(), 1);
        const QString& script = shell.scripts.first();
        QVERIFY(script.contains(QStringLiteral("if (d.screen != 1) continue;")));
        QVERIFY(script.contains(QStringLiteral("d.writeConfig(\"FillMode\", 3)")));
        const QString url = QUrl::fromLocalFile(m_picture).toString();
        QVERIFY2(script.contains(QStringLiteral("d.writeConfig(\"Image\", \"%1\")").arg(url)), qPrintable(script));

        shell.hang = true;
        QElapsedTimer clock;
        clock.start();
        std::tie(applied, error) = applyAside(backend, target(m_picture, WallpaperStyle::Centered));
        QVERIFY(!applied);
        QVERIFY2(error.contains(QStringLiteral("did not answer within 5 seconds")), qPrintable(error));
        QVERIFY(clock.elapsed() >= WallpaperBackend::CallTimeoutMs - 500 && clock.elapsed() < 9000);
    }

    // The portal gets the open file (its bytes, not a name) without a preview, and its answer on
    // the request decides; the lock screen asks for "both".
    void portal()
    {
        Portal portal;
        QDBusConnection bus = serviceBus();
        QVERIFY(bus.registerObject(QStringLiteral("/org/freedesktop/portal/desktop"), &portal,
            QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllProperties));
        QVERIFY(bus.registerService(PortalBackend::Service));
        const auto cleanup = qScopeGuard([&bus] { bus.unregisterService(PortalBackend::Service); });
        PortalBackend backend;
        // Asked aside too: the stand-in answers from this thread.
        QFuture<bool> available = QtConcurrent::run([&backend] { return backend.isAvailable(); });
        QTRY_VERIFY(available.isFinished());
        QVERIFY(available.result());
        WallpaperTarget both = target(m_picture, WallpaperStyle::Stretched);
        both.lockScreen = true;
        auto [applied, error] = applyAside(backend, both);
        QVERIFY2(applied, qPrintable(error));
        QFile file(m_picture);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(portal.received, file.readAll());
        QCOMPARE(portal.options.value(QStringLiteral("set-on")).toString(), QStringLiteral("both"));
        QCOMPARE(portal.options.value(QStringLiteral("show-preview")).toBool(), false);

        portal.response = 2; // the desktop refused
        std::tie(applied, error) = applyAside(backend, target(m_picture, WallpaperStyle::Stretched));
        QVERIFY(!applied);
        QVERIFY2(error.contains(QStringLiteral("portal response 2")), qPrintable(error));
        QCOMPARE(portal.options.value(QStringLiteral("set-on")).toString(), QStringLiteral("background"));
    }

    // hyprpaper: preload, show on the target monitor with the style's prefix, unload the previous
    // picture; a version that no longer knows "preload" is spoken to without it.
    void hyprpaper()
    {
        const QString path = m_home->path() + QStringLiteral("/hypr/.hyprpaper.sock");
        QDir().mkpath(QFileInfo(path).path());
        Hyprpaper service(path);
        HyprpaperBackend backend(path);
        QVERIFY(backend.isAvailable());
        QVERIFY(!backend.readsBmp());
        const QString second = picture(QStringLiteral("second.png"), 0xff00ff00);
        QVERIFY(applyAside(backend, target(m_picture, WallpaperStyle::Centered, "DP-1")).first);
        QVERIFY(applyAside(backend, target(second, WallpaperStyle::Tiled, "DP-1")).first);
        QCOMPARE(service.requests,
            QStringList({"preload " + m_picture, "wallpaper DP-1,contain:" + m_picture, "preload " + second,
                "wallpaper DP-1,tile:" + second, "unload " + m_picture}));

        Hyprpaper newer(path + QStringLiteral("2"));
        newer.refused = QStringList {"preload", "unload"};
        HyprpaperBackend onNewer(path + QStringLiteral("2"));
        QVERIFY(applyAside(onNewer, target(m_picture, WallpaperStyle::Stretched, "DP-1")).first);
        QVERIFY(applyAside(onNewer, target(second, WallpaperStyle::Stretched, "DP-1")).first);
        QCOMPARE(newer.requests,
            QStringList({"preload " + m_picture, "wallpaper DP-1," + m_picture, "wallpaper DP-1," + second}));
    }

    // LXQt's real desktop (pcmanfm-qt --desktop) under Xvfb: the picture is on screen in each
    // placement, and saved in its settings.
    void lxqt()
    {
        if (QStandardPaths::findExecutable(QStringLiteral("pcmanfm-qt")).isEmpty())
            QSKIP("pcmanfm-qt is not installed");
        QProcess desktop;
        desktop.start(QStringLiteral("pcmanfm-qt"), {QStringLiteral("--desktop")});
        QVERIFY(desktop.waitForStarted());
        const auto stop = qScopeGuard([&desktop] {
            run(QStringLiteral("pcmanfm-qt"), {QStringLiteral("--quit")});
            if (!desktop.waitForFinished(5000))
                desktop.kill();
        });
        QTest::qWait(1500); // its desktop window up
        const QString red = picture(QStringLiteral("red.png"), 0xffff0000);
        LxqtBackend backend;
        QVERIFY(backend.isAvailable());
        // Centred: red in the middle only; tiled and stretched: red in the corner too.
        for (const auto& [style, cornerRed] :
            {std::pair {WallpaperStyle::Centered, false}, std::pair {WallpaperStyle::Tiled, true},
                std::pair {WallpaperStyle::Centered, false}, std::pair {WallpaperStyle::Stretched, true}}) {
            auto [applied, error] = applyAside(backend, target(red, style));
            QVERIFY2(applied, qPrintable(error));
            const auto shows = [cornerRed] {
                QProcess grab;
                grab.start(QStringLiteral("import"), {"-window", "root", "png:-"});
                grab.waitForFinished(10000);
                const QImage screen = QImage::fromData(grab.readAllStandardOutput(), "PNG");
                const QSize size = screen.size();
                return !screen.isNull() && screen.pixel(size.width() / 2, size.height() / 2) == 0xffff0000
                    && (screen.pixel(5, 5) == 0xffff0000) == cornerRed;
            };
            QTRY_VERIFY_WITH_TIMEOUT(shows(), 5000);
        }
        const auto saved = [this] {
            return QSettings(
                m_home->configHome() + QStringLiteral("/pcmanfm-qt/default/settings.conf"), QSettings::IniFormat)
                .value(QStringLiteral("Desktop/Wallpaper"))
                .toString();
        };
        QTRY_COMPARE(saved(), red);
        // WORKAROUND(pcmanfm-qt 1.2): the mode given on its command line takes effect on screen
        // but is saved as "none"; the pixels above are what tells the placement.
    }
};

QTEST_MAIN(TestDesktopBackends)
#include "tst_desktopbackends.moc"
