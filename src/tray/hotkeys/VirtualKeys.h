#pragma once

#include <QtGlobal>

// The virtual-key codes the settings keep for hot keys (letters 65-90, digits 48-57, F1-F16
// 112-127, and the other keys a user can capture) and their counterparts: the X key symbol a
// grab is made for, and the code of a key Qt reports while one is captured.
namespace VirtualKeys {

/// The X key symbol of a virtual-key code; 0 for a code with no key.
quint32 keysym(int virtualKey);

/// The virtual-key code of a Qt key (`keypad` for the numeric keypad's keys); 0 for a key that
/// cannot be bound.
int fromQtKey(int qtKey, bool keypad);

/// Whether a code names a function key (F1 to F16), the only keys bound without a modifier.
inline bool isFunctionKey(int virtualKey)
{
    return virtualKey >= 112 && virtualKey <= 127;
}

} // namespace VirtualKeys
