#pragma once

#include <QRect>
#include <QString>
#include <optional>

class ClsRegistryBase;

// A form's position and size, saved under Paramètres/Forms as one text value per form,
// "x,y,width,height" in pixels of the virtual desktop. Both directions honour the setting WindowsPos.
namespace WindowPositions {

/// Saves `geometry` as the value `formName`; does nothing and returns false when WindowsPos is off
/// or the geometry is empty.
bool save(ClsRegistryBase& registry, const QString& formName, const QRect& geometry);

/// The saved geometry of `formName`, fitted to the registry's screen extent; nothing when WindowsPos is
/// off, nothing was saved, the saved text is unreadable, or the saved place is off the screens.
std::optional<QRect> restore(const ClsRegistryBase& registry, const QString& formName);

/// `saved` moved (and if need be shrunk) so that it lies inside `extent`; nothing when less than
/// ScreenExtent::kMinimumVisible pixels of it are on `extent` in either direction.
std::optional<QRect> fitToExtent(const QRect& saved, const QRect& extent);

} // namespace WindowPositions
