#include "WallpaperBackends.h"

#include "null/NullBackend.h"
#include "x11/X11RootBackend.h"

#include <functional>

namespace WallpaperBackends {

namespace {

bool isWayland(const Session& session)
{
    if (!session.sessionType.isEmpty())
        return session.sessionType.compare(QLatin1String("wayland"), Qt::CaseInsensitive) == 0;
    return !session.waylandDisplay.isEmpty();
}

// One entry of the ordered list. `claims` is the cheap look at the session; only a back end that
// claims it is built and asked whether it really runs.
struct Candidate
{
    QString name;
    std::function<bool(const Session&, QString*)> claims;
    std::function<std::unique_ptr<WallpaperBackend>(const Session&)> make;
};

// Desktops that paint a background window of their own (GNOME, Plasma, XFCE...) hide the root
// window, so their back ends, when they exist, go before the bare X11 one.
const QList<Candidate>& candidates()
{
    static const QList<Candidate> list = {
        {QStringLiteral("x11"),
            [](const Session& session, QString* why) {
                if (!isWayland(session))
                    return true;
                *why = QStringLiteral("x11: the root window is not shown in a Wayland session");
                return false;
            },
            [](const Session& session) { return std::make_unique<X11RootBackend>(session.display); }},
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

} // namespace

Session Session::fromEnvironment(const QString& settingsChoice)
{
    Session session;
    const QString fromEnvironment = qEnvironmentVariable("TAPISOL_WALLPAPER_BACKEND").trimmed();
    session.forced = fromEnvironment.isEmpty() ? settingsChoice : fromEnvironment;
    session.currentDesktop = qEnvironmentVariable("XDG_CURRENT_DESKTOP");
    session.sessionType = qEnvironmentVariable("XDG_SESSION_TYPE");
    session.display = qgetenv("DISPLAY");
    session.waylandDisplay = qgetenv("WAYLAND_DISPLAY");
    return session;
}

QStringList names()
{
    QStringList result;
    for (const Candidate& candidate : candidates())
        result << candidate.name;
    result << QStringLiteral("null");
    return result;
}

std::unique_ptr<WallpaperBackend> choose(const Session& session, QString* description)
{
    QStringList refusals;
    const QString forced = session.forced.trimmed().toLower();
    if (!forced.isEmpty() && forced != QLatin1String("auto")) {
        if (auto backend = make(forced, session)) {
            if (description)
                *description = QStringLiteral("Wallpaper back end %1 (forced)").arg(backend->name());
            return backend;
        }
        refusals << QStringLiteral("no back end is named \"%1\" (known: %2)").arg(session.forced, names().join(u", "));
    }
    for (const Candidate& candidate : candidates()) {
        QString why;
        if (!candidate.claims(session, &why)) {
            refusals << why;
            continue;
        }
        auto backend = candidate.make(session);
        if (backend->isAvailable(&why)) {
            if (description) {
                *description = QStringLiteral("Wallpaper back end %1 (desktop \"%2\", session \"%3\")")
                                   .arg(backend->name(), session.currentDesktop, session.sessionType);
            }
            return backend;
        }
        refusals << candidate.name + QStringLiteral(": ") + why;
    }
    const QString reason = QStringLiteral("no wallpaper back end runs in this session (%1)").arg(refusals.join(u"; "));
    if (description)
        *description = QStringLiteral("Wallpaper back end null: ") + reason;
    return std::make_unique<NullBackend>(reason);
}

} // namespace WallpaperBackends
