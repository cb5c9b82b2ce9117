// GIO first: it uses "signals" as a name, which Qt's headers make a keyword.
#include <gio/gio.h>

#include "GSettingsWallpaperBackend.h"

#include <QUrl>

#include <memory>
#include <optional>

namespace {

// Where one desktop keeps its picture: a schema, the keys holding the picture, and whether they
// take a URI or a plain file name.
struct Keys
{
    const char* schema;
    const char* pictureKey;
    const char* darkKey; // GNOME 42 and later show this one in dark mode; absent before
    const char* optionsKey;
    bool takesUri;
};

Keys backgroundKeys(GSettingsWallpaperBackend::Desktop desktop)
{
    switch (desktop) {
    case GSettingsWallpaperBackend::Desktop::Cinnamon:
        return {"org.cinnamon.desktop.background", "picture-uri", nullptr, "picture-options", true};
    case GSettingsWallpaperBackend::Desktop::Mate:
        return {"org.mate.background", "picture-filename", nullptr, "picture-options", false};
    case GSettingsWallpaperBackend::Desktop::Gnome:
    case GSettingsWallpaperBackend::Desktop::Budgie:
        break;
    }
    return {"org.gnome.desktop.background", "picture-uri", "picture-uri-dark", "picture-options", true};
}

// The lock screen's picture, where the desktop keeps one apart (Cinnamon shows the desktop's).
std::optional<Keys> lockScreenKeys(GSettingsWallpaperBackend::Desktop desktop)
{
    switch (desktop) {
    case GSettingsWallpaperBackend::Desktop::Gnome:
    case GSettingsWallpaperBackend::Desktop::Budgie:
        return Keys {"org.gnome.desktop.screensaver", "picture-uri", nullptr, "picture-options", true};
    case GSettingsWallpaperBackend::Desktop::Mate:
        return Keys {"org.mate.screensaver", "picture-filename", nullptr, nullptr, false};
    case GSettingsWallpaperBackend::Desktop::Cinnamon:
        break;
    }
    return std::nullopt;
}

struct SchemaDeleter
{
    void operator()(GSettingsSchema* schema) const { g_settings_schema_unref(schema); }
};
using Schema = std::unique_ptr<GSettingsSchema, SchemaDeleter>;

Schema lookUp(const char* name)
{
    GSettingsSchemaSource* source = g_settings_schema_source_get_default();
    return Schema(source ? g_settings_schema_source_lookup(source, name, TRUE) : nullptr);
}

bool hasKey(const Schema& schema, const char* key)
{
    return key && schema && g_settings_schema_has_key(schema.get(), key);
}

// Why the keys cannot be used, or nothing when they can.
QString missing(const Keys& keys)
{
    const Schema schema = lookUp(keys.schema);
    if (!schema)
        return QStringLiteral("the GSettings schema %1 is not installed").arg(QLatin1String(keys.schema));
    if (!hasKey(schema, keys.pictureKey))
        return QStringLiteral("the schema %1 has no key %2")
            .arg(QLatin1String(keys.schema), QLatin1String(keys.pictureKey));
    return {};
}

bool write(const Keys& keys, const QString& file, WallpaperStyle style, QString* error)
{
    const Schema schema = lookUp(keys.schema);
    if (const QString why = missing(keys); !why.isEmpty()) {
        *error = why;
        return false;
    }
    GSettings* settings = g_settings_new_full(schema.get(), nullptr, nullptr);
    const QByteArray value = keys.takesUri ? QUrl::fromLocalFile(file).toEncoded() : file.toUtf8();
    // A dconf-backed write is delayed and merged: the options first, the picture last, so the
    // desktop never shows the new picture with the old placement.
    bool written = true;
    if (hasKey(schema, keys.optionsKey))
        written = g_settings_set_string(
            settings, keys.optionsKey, GSettingsWallpaperBackend::pictureOption(style).toUtf8());
    written = written && g_settings_set_string(settings, keys.pictureKey, value.constData());
    if (written && hasKey(schema, keys.darkKey))
        written = g_settings_set_string(settings, keys.darkKey, value.constData());
    g_settings_sync();
    g_object_unref(settings);
    if (!written)
        *error = QStringLiteral("the keys of %1 cannot be written").arg(QLatin1String(keys.schema));
    return written;
}

} // namespace

GSettingsWallpaperBackend::GSettingsWallpaperBackend(Desktop desktop)
    : m_desktop(desktop)
{ }

QString GSettingsWallpaperBackend::name() const
{
    switch (m_desktop) {
    case Desktop::Budgie:
        return QStringLiteral("budgie");
    case Desktop::Cinnamon:
        return QStringLiteral("cinnamon");
    case Desktop::Mate:
        return QStringLiteral("mate");
    case Desktop::Gnome:
        break;
    }
    return QStringLiteral("gnome");
}

QString GSettingsWallpaperBackend::pictureOption(WallpaperStyle style)
{
    switch (style) {
    case WallpaperStyle::Tiled:
        return QStringLiteral("wallpaper");
    case WallpaperStyle::Stretched:
        return QStringLiteral("stretched");
    case WallpaperStyle::Centered:
        break;
    }
    return QStringLiteral("centered");
}

bool GSettingsWallpaperBackend::isAvailable(QString* reason) const
{
    const QString why = missing(backgroundKeys(m_desktop));
    if (reason)
        *reason = why;
    return why.isEmpty();
}

bool GSettingsWallpaperBackend::hasLockScreen() const
{
    const auto keys = lockScreenKeys(m_desktop);
    return keys && missing(*keys).isEmpty();
}

bool GSettingsWallpaperBackend::apply(const WallpaperTarget& target, QString* error)
{
    QString why;
    bool applied = write(backgroundKeys(m_desktop), target.file, target.style, &why);
    if (applied && target.lockScreen) {
        const auto keys = lockScreenKeys(m_desktop);
        // The desktop's picture is set: a lock screen that cannot follow does not undo it.
        if (keys)
            write(*keys, target.file, target.style, &why);
    }
    if (error && !why.isEmpty())
        *error = why;
    return applied;
}
