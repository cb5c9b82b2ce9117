#include "PlasmaBackend.h"

#include "BusCalls.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QUrl>

namespace {

// The image wallpaper's FillMode is a Qt Quick Image fill mode.
int fillMode(WallpaperStyle style)
{
    switch (style) {
    case WallpaperStyle::Stretched:
        return 0; // Image.Stretch
    case WallpaperStyle::Tiled:
        return 3; // Image.Tile
    case WallpaperStyle::Centered:
        break;
    }
    return 6; // Image.Pad: at its own size, in the middle
}

// A string as a JavaScript literal, every character that could end it escaped.
QString literal(const QString& text)
{
    const QByteArray array = QJsonDocument(QJsonArray {text}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(array.mid(1, array.size() - 2));
}

} // namespace

bool PlasmaBackend::isAvailable(QString* reason) const
{
    return BusCalls::isReachable(Service, reason);
}

QString PlasmaBackend::script(const WallpaperTarget& target)
{
    // WORKAROUND(Plasma): the shell numbers its screens its own way; desktops() lists one
    // containment per screen and activity, so every one on the target screen is given the picture,
    // whichever activity is shown.
    return QStringLiteral("var all = desktops();\n"
                          "for (var i = 0; i < all.length; ++i) {\n"
                          "    var d = all[i];\n"
                          "    if (d.screen != %1) continue;\n"
                          "    d.wallpaperPlugin = \"org.kde.image\";\n"
                          "    d.currentConfigGroup = [\"Wallpaper\", \"org.kde.image\", \"General\"];\n"
                          "    d.writeConfig(\"Image\", %2);\n"
                          "    d.writeConfig(\"FillMode\", %3);\n"
                          "}\n")
        .arg(target.monitorIndex)
        .arg(literal(QUrl::fromLocalFile(target.file).toString()))
        .arg(fillMode(target.style));
}

bool PlasmaBackend::apply(const WallpaperTarget& target, QString* error)
{
    QString why;
    const bool applied = BusCalls::call(Service, QStringLiteral("/PlasmaShell"), QStringLiteral("org.kde.PlasmaShell"),
        QStringLiteral("evaluateScript"), {script(target)}, &why)
                             .has_value();
    if (!applied && error)
        *error = why;
    return applied;
}
