#include "ScreenExtent.h"

#include <QGuiApplication>
#include <QScreen>
#include <cmath>

namespace {

constexpr double kTwipsPerInch = 1440.0;

int roundHalfEven(double value)
{
    return static_cast<int>(std::nearbyint(value));
}

// A window edge at `edge` pixels keeps kMinimumVisible pixels visible inside [low, high).
bool edgeFits(double edge, int low, int high)
{
    return edge >= low && edge <= high - ScreenExtent::kMinimumVisible;
}

} // namespace

int ScreenExtent::toPixels(double twips) const
{
    return roundHalfEven(twips / twipsPerPixel);
}

int ScreenExtent::toTwips(double px) const
{
    return roundHalfEven(px * twipsPerPixel);
}

bool ScreenExtent::acceptsX(double twips) const
{
    return edgeFits(twips / twipsPerPixel, pixels.left(), pixels.left() + pixels.width());
}

bool ScreenExtent::acceptsY(double twips) const
{
    return edgeFits(twips / twipsPerPixel, pixels.top(), pixels.top() + pixels.height());
}

int ScreenExtent::defaultX() const
{
    return toTwips(pixels.left()) + kDefaultInset;
}

int ScreenExtent::defaultY() const
{
    return toTwips(pixels.top()) + kDefaultInset;
}

std::optional<ScreenExtent> currentScreenExtent()
{
    // qGuiApp is a plain cast: a QCoreApplication-only process must not reach QGuiApplication's screens.
    if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        return std::nullopt;
    const QScreen* primary = QGuiApplication::primaryScreen();
    if (!primary)
        return std::nullopt;
    const double dpi = primary->logicalDotsPerInch() > 0 ? primary->logicalDotsPerInch() : 96.0;
    return ScreenExtent {primary->virtualGeometry(), kTwipsPerInch / dpi};
}
