#include "WindowPositions.h"

#include "ClsRegistryBase.h"
#include "Trace.h"

#include <QStringList>
#include <algorithm>

namespace {

bool windowsPosOn(const ClsRegistryBase& registry)
{
    return registry.get(SettingNo::WindowsPos).toInt() != 0;
}

QString formatRect(const QRect& rect)
{
    return QStringLiteral("%1,%2,%3,%4").arg(rect.x()).arg(rect.y()).arg(rect.width()).arg(rect.height());
}

std::optional<QRect> parseRect(const QVariant& value)
{
    // Written quoted by Qt, the text comes back whole; hand-written without quotes it comes back split.
    const QStringList parts
        = value.typeId() == QMetaType::QStringList ? value.toStringList() : value.toString().split(QLatin1Char(','));
    if (parts.size() != 4)
        return std::nullopt;
    int numbers[4] = {};
    for (int i = 0; i < 4; ++i) {
        bool ok = false;
        numbers[i] = parts.at(i).trimmed().toInt(&ok);
        if (!ok)
            return std::nullopt;
    }
    return QRect(numbers[0], numbers[1], numbers[2], numbers[3]);
}

} // namespace

namespace WindowPositions {

bool save(ClsRegistryBase& registry, const QString& formName, const QRect& geometry)
{
    if (!windowsPosOn(registry) || geometry.isEmpty())
        return false;
    registry.setRawValue(SettingGroup::Forms, formName, formatRect(geometry));
    return true;
}

std::optional<QRect> restore(const ClsRegistryBase& registry, const QString& formName)
{
    if (!windowsPosOn(registry))
        return std::nullopt;
    const QVariant stored = registry.rawValue(SettingGroup::Forms, formName);
    if (!stored.isValid())
        return std::nullopt;
    const std::optional<QRect> saved = parseRect(stored);
    if (!saved || saved->isEmpty()) {
        TAPISOL_TRACE(QStringLiteral("REG Unreadable position of %1: %2").arg(formName, stored.toString()));
        return std::nullopt;
    }
    const std::optional<ScreenExtent> extent = registry.screenExtent();
    if (!extent)
        return saved;
    const std::optional<QRect> fitted = fitToExtent(*saved, extent->pixels);
    if (!fitted)
        TAPISOL_TRACE(QStringLiteral("REG Position of %1 is off the screens, not restored").arg(formName));
    return fitted;
}

std::optional<QRect> fitToExtent(const QRect& saved, const QRect& extent)
{
    const QRect visible = saved.intersected(extent);
    if (visible.width() < ScreenExtent::kMinimumVisible || visible.height() < ScreenExtent::kMinimumVisible)
        return std::nullopt;
    QRect fitted(saved.topLeft(), saved.size().boundedTo(extent.size()));
    fitted.moveLeft(std::clamp(fitted.left(), extent.left(), extent.left() + extent.width() - fitted.width()));
    fitted.moveTop(std::clamp(fitted.top(), extent.top(), extent.top() + extent.height() - fitted.height()));
    return fitted;
}

} // namespace WindowPositions
