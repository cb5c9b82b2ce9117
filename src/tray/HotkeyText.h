#pragma once

#include <QKeySequence>
#include <QString>

// Modifier bits of a stored hot key, as the settings keep them.
namespace HotkeyModifier {
constexpr int Alt = 1;
constexpr int Ctrl = 2;
constexpr int Shift = 4;
constexpr int Win = 8;
} // namespace HotkeyModifier

/// The text of a hot key as the menu shows it after a tab: "Ctrl+", "Alt+", "Maj+", "Win+"
/// always in that order, then F1-F16 for codes 112-127, the digit or letter for codes 48-57 and
/// 65-90, else the code's number. Empty when the code is 0 (no binding).
QString hotkeyText(int modifiers, int code);

/// The same hot key as a key sequence, for menus that show shortcuts their own way (a menu
/// exported to a StatusNotifierItem host). Empty when the code has no key of its own.
QKeySequence hotkeySequence(int modifiers, int code);
