#include "WallpaperBackends.h"

#include "gsettings/GSettingsWallpaperBackend.h"
#include "hyprland/HyprpaperBackend.h"
#include "lxqt/LxqtBackend.h"
#include "null/NullBackend.h"
#include "plasma/PlasmaBackend.h"
#include "portal/PortalBackend.h"
#include "sway/SwayBackend.h"
#include "x11/X11RootBackend.h"
#include "xfce/XfceBackend.h"

#include <QDBusConnection>
#include <QDBusMessage>

#include <functional>

namespace WallpaperBackends {

namespace {

// One entry of the ordered list. `claims` is the cheap look at the session (its variables and bus
// names); only a back end that claims it is built and asked whether it really runs. `ownBackground`
// marks the desktops that draw a background of their own over the X root.
struct Candidate
{
    QString name;
    bool ownBackground;
    std::function<bool(const Session&)> claims;
    std::function<std::unique_ptr<WallpaperBackend>(const Session&)> make;
};

bool runsAny(const Session& session, std::initializer_list<const char*> names)
{
    for (const char* name : names) {
        if (session.runs(QLatin1String(name)))
            return true;
    }
    return false;
}

std::unique_ptr<WallpaperBackend> gsettings(GSettingsWallpaperBackend::Desktop desktop)
{
    return std::make_unique<GSettingsWallpaperBackend>(desktop);
}

// Budgie names GNOME after itself ("Budgie:GNOME") and keeps its own picture in GNOME's keys:
// it comes before GNOME so that its own name is traced. Unity and Ubuntu's sessions are GNOME's.
const QList<Candidate>& candidates()
{
    using Desktop = GSettingsWallpaperBackend::Desktop;
    static const QList<Candidate> list = {
        {QStringLiteral("plasma"), true,
            [](const Session& s) {
                return runsAny(s, {"kde", "plasma"}) || s.hasBusName(PlasmaBackend::Service);
            },
            [](const Session&) { return std::make_unique<PlasmaBackend>(); }},
        {QStringLiteral("budgie"), true,
            [](const Session& s) {
                return runsAny(s, {"budgie", "budgie-desktop"});
            },
            [](const Session&) { return gsettings(Desktop::Budgie); }},
        {QStringLiteral("cinnamon"), true,
            [](const Session& s) {
                return runsAny(s, {"x-cinnamon", "cinnamon"});
            },
            [](const Session&) { return gsettings(Desktop::Cinnamon); }},
        {QStringLiteral("mate"), true, [](const Session& s) { return runsAny(s, {"mate"}); },
            [](const Session&) { return gsettings(Desktop::Mate); }},
        {QStringLiteral("gnome"), true,
            [](const Session& s) {
                return runsAny(s, {"gnome", "gnome-classic", "unity", "ubuntu", "pantheon"})
                    || s.hasBusName(QStringLiteral("org.gnome.Shell"));
            },
            [](const Session&) { return gsettings(Desktop::Gnome); }},
        {QStringLiteral("xfce"), true,
            [](const Session& s) {
                return runsAny(s, {"xfce", "xubuntu"}) || s.hasBusName(QStringLiteral("org.xfce.xfdesktop"));
            },
            [](const Session&) { return std::make_unique<XfceBackend>(); }},
        {QStringLiteral("lxqt"), true, [](const Session& s) { return runsAny(s, {"lxqt"}); },
            [](const Session&) { return std::make_unique<LxqtBackend>(); }},
        {QStringLiteral("sway"), true,
            [](const Session& s) { return !s.swaySocket.isEmpty() || s.runs(QStringLiteral("sway")); },
            [](const Session& s) { return std::make_unique<SwayBackend>(QString::fromLocal8Bit(s.swaySocket)); }},
        {QStringLiteral("hyprland"), true,
            [](const Session& s) { return !s.hyprlandInstance.isEmpty() || s.runs(QStringLiteral("hyprland")); },
            [](const Session& s) {
                return std::make_unique<HyprpaperBackend>(
                    HyprpaperBackend::socketPath(s.runtimeDir, QString::fromLocal8Bit(s.hyprlandInstance)));
            }},
        {QStringLiteral("x11"), false, [](const Session& s) { return !s.isWayland() && !s.display.isEmpty(); },
            [](const Session& s) { return std::make_unique<X11RootBackend>(s.display); }},
        {QStringLiteral("portal"), false, [](const Session& s) { return s.hasBusName(PortalBackend::Service); },
            [](const Session&) { return std::make_unique<PortalBackend>(); }},
    };
    return list;
}

std::unique_ptr<WallpaperBackend> make(const QString& name, const Session& session)
{
    for (const Candidate& candidate : candidates()) {
        if (candidate.name == name)
            return candidate.make(session);
    }
    if (name == QLatin1String("null"))
        return std::make_unique<NullBackend>(QStringLiteral("the wallpaper back end \"null\" was chosen"));
    return nullptr;
}

QStringList askBus(const QString& method)
{
    const QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
        QStringLiteral("/org/freedesktop/DBus"), QStringLiteral("org.freedesktop.DBus"), method);
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, 1000);
    return reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty()
        ? reply.arguments().first().toStringList()
        : QStringList();
}

std::unique_ptr<BackendChain> chainOf(std::unique_ptr<WallpaperBackend> backend)
{
    std::vector<std::unique_ptr<WallpaperBackend>> one;
    one.push_back(std::move(backend));
    return std::make_unique<BackendChain>(std::move(one), QString());
}

} // namespace

Session Session::fromEnvironment(const QString& settingsChoice)
{
    Session session;
    const QString fromEnvironment = qEnvironmentVariable("TAPISOL_WALLPAPER_BACKEND").trimmed();
    session.forced = fromEnvironment.isEmpty() ? settingsChoice : fromEnvironment;
    const QString all = qEnvironmentVariable("XDG_CURRENT_DESKTOP") + QLatin1Char(':')
        + qEnvironmentVariable("XDG_SESSION_DESKTOP") + QLatin1Char(':') + qEnvironmentVariable("DESKTOP_SESSION");
    for (const QString& name : all.split(QLatin1Char(':'), Qt::SkipEmptyParts)) {
        const QString desktop = name.trimmed().toLower();
        if (!desktop.isEmpty() && !session.desktops.contains(desktop))
            session.desktops << desktop;
    }
    session.sessionType = qEnvironmentVariable("XDG_SESSION_TYPE");
    session.display = qgetenv("DISPLAY");
    session.waylandDisplay = qgetenv("WAYLAND_DISPLAY");
    session.swaySocket = qgetenv("SWAYSOCK");
    session.hyprlandInstance = qgetenv("HYPRLAND_INSTANCE_SIGNATURE");
    session.runtimeDir = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (QDBusConnection::sessionBus().isConnected())
        session.busNames = askBus(QStringLiteral("ListNames")) + askBus(QStringLiteral("ListActivatableNames"));
    return session;
}

bool Session::isWayland() const
{
    if (!sessionType.isEmpty())
        return sessionType.compare(QLatin1String("wayland"), Qt::CaseInsensitive) == 0;
    return !waylandDisplay.isEmpty();
}

bool Session::runs(const QString& name) const
{
    return desktops.contains(name, Qt::CaseInsensitive);
}

QStringList claimants(const Session& session, QStringList* refusals)
{
    QStringList result;
    bool ownBackground = false;
    for (const Candidate& candidate : candidates()) {
        if (!candidate.claims(session)) {
            if (refusals)
                *refusals << candidate.name + QStringLiteral(": not this desktop");
            continue;
        }
        // WORKAROUND(GNOME, Plasma, XFCE...): their background window hides the X root, where a
        // picture would be an invisible success.
        if (candidate.name == QLatin1String("x11") && ownBackground) {
            if (refusals)
                *refusals << QStringLiteral("x11: the desktop draws its own background over the root window");
            continue;
        }
        ownBackground = ownBackground || candidate.ownBackground;
        result << candidate.name;
    }
    return result;
}

QStringList names()
{
    QStringList result;
    for (const Candidate& candidate : candidates())
        result << candidate.name;
    result << QStringLiteral("null");
    return result;
}

std::unique_ptr<BackendChain> choose(const Session& session, QString* description)
{
    QStringList refusals;
    const QString forced = session.forced.trimmed().toLower();
    if (!forced.isEmpty() && forced != QLatin1String("auto")) {
        if (auto backend = make(forced, session)) {
            if (description)
                *description = QStringLiteral("Wallpaper back end %1 (forced)").arg(backend->name());
            return chainOf(std::move(backend));
        }
        refusals << QStringLiteral("no back end is named \"%1\" (known: %2)").arg(session.forced, names().join(u", "));
    }
    std::vector<std::unique_ptr<WallpaperBackend>> usable;
    const QStringList claiming = claimants(session, &refusals);
    for (const Candidate& candidate : candidates()) {
        if (!claiming.contains(candidate.name))
            continue;
        auto backend = candidate.make(session);
        QString why;
        if (!backend->isAvailable(&why)) {
            refusals << candidate.name + QStringLiteral(": ") + why;
            continue;
        }
        usable.push_back(std::move(backend));
    }
    const QString context = QStringLiteral("desktop \"%1\", session \"%2\"")
                                .arg(session.desktops.join(QLatin1Char(':')), session.sessionType);
    if (usable.empty()) {
        const QString reason
            = QStringLiteral("no wallpaper back end runs in this session (%1)").arg(refusals.join(u"; "));
        if (description)
            *description = QStringLiteral("Wallpaper back end null (%1): %2").arg(context, reason);
        return std::make_unique<BackendChain>(std::move(usable), reason);
    }
    auto chain = std::make_unique<BackendChain>(std::move(usable), QString());
    if (description) {
        *description = QStringLiteral("Wallpaper back end %1 (%2; in order: %3; not used: %4)")
                           .arg(chain->name(), context, chain->memberNames().join(u", "), refusals.join(u"; "));
    }
    return chain;
}

// ----------------------------------------------------------------------------------------------

BackendChain::BackendChain(std::vector<std::unique_ptr<WallpaperBackend>> backends, QString emptyReason)
    : m_backends(std::move(backends))
    , m_emptyReason(std::move(emptyReason))
{
    if (m_backends.empty())
        m_backends.push_back(std::make_unique<NullBackend>(m_emptyReason));
}

QString BackendChain::name() const
{
    return m_backends.front()->name();
}

bool BackendChain::isAvailable(QString* reason) const
{
    return m_backends.front()->isAvailable(reason);
}

bool BackendChain::apply(const WallpaperTarget& target, QString* error)
{
    m_failures.clear();
    for (const auto& backend : m_backends) {
        QString why;
        if (backend->apply(target, &why))
            return true;
        m_failures << backend->name() + QStringLiteral(": ") + why;
    }
    if (error)
        *error = m_failures.join(u"; ");
    return false;
}

std::unique_ptr<PreparedWallpaper> BackendChain::prepare(
    const QImage& picture, const WallpaperTarget& target, QString* error)
{
    return m_backends.front()->prepare(picture, target, error);
}

bool BackendChain::handsOverFile() const
{
    return std::any_of(m_backends.cbegin(), m_backends.cend(), [](const auto& b) { return b->handsOverFile(); });
}

bool BackendChain::readsBmp() const
{
    return std::all_of(m_backends.cbegin(), m_backends.cend(), [](const auto& b) { return b->readsBmp(); });
}

bool BackendChain::hasLockScreen() const
{
    return m_backends.front()->hasLockScreen();
}

QStringList BackendChain::memberNames() const
{
    QStringList result;
    for (const auto& backend : m_backends)
        result << backend->name();
    return result;
}

} // namespace WallpaperBackends
