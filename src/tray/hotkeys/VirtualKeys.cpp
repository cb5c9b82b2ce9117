#include "VirtualKeys.h"

#include <Qt>

namespace VirtualKeys {

namespace {

struct Pair
{
    int virtualKey;
    quint32 keysym;
    int qtKey;
    bool keypad;
};

// The keys beside letters, digits and F-keys: navigation, the keypad, media keys.
constexpr Pair Others[] = {
    {33, 0xff55, Qt::Key_PageUp, false},
    {34, 0xff56, Qt::Key_PageDown, false},
    {35, 0xff57, Qt::Key_End, false},
    {36, 0xff50, Qt::Key_Home, false},
    {37, 0xff51, Qt::Key_Left, false},
    {38, 0xff52, Qt::Key_Up, false},
    {39, 0xff53, Qt::Key_Right, false},
    {40, 0xff54, Qt::Key_Down, false},
    {45, 0xff63, Qt::Key_Insert, false},
    {46, 0xffff, Qt::Key_Delete, false},
    {106, 0xffaa, Qt::Key_Asterisk, true},
    {107, 0xffab, Qt::Key_Plus, true},
    {109, 0xffad, Qt::Key_Minus, true},
    {110, 0xffae, Qt::Key_Period, true},
    {111, 0xffaf, Qt::Key_Slash, true},
    {173, 0x1008ff12, Qt::Key_VolumeMute, false},
    {174, 0x1008ff11, Qt::Key_VolumeDown, false},
    {175, 0x1008ff13, Qt::Key_VolumeUp, false},
    {176, 0x1008ff17, Qt::Key_MediaNext, false},
    {177, 0x1008ff16, Qt::Key_MediaPrevious, false},
    {178, 0x1008ff15, Qt::Key_MediaStop, false},
    {179, 0x1008ff14, Qt::Key_MediaTogglePlayPause, false},
};

} // namespace

quint32 keysym(int virtualKey)
{
    if (virtualKey >= 'A' && virtualKey <= 'Z')
        return quint32(virtualKey - 'A' + 'a'); // the key's own symbol is the small letter
    if (virtualKey >= '0' && virtualKey <= '9')
        return quint32(virtualKey);
    if (isFunctionKey(virtualKey))
        return 0xffbe + quint32(virtualKey - 112); // XK_F1 onwards
    if (virtualKey >= 96 && virtualKey <= 105)
        return 0xffb0 + quint32(virtualKey - 96); // XK_KP_0 onwards
    for (const Pair& pair : Others) {
        if (pair.virtualKey == virtualKey)
            return pair.keysym;
    }
    return 0;
}

int fromQtKey(int qtKey, bool keypad)
{
    if (keypad && qtKey >= Qt::Key_0 && qtKey <= Qt::Key_9)
        return 96 + (qtKey - Qt::Key_0);
    if (qtKey >= Qt::Key_A && qtKey <= Qt::Key_Z)
        return qtKey; // Qt's letters are their capital's code
    if (qtKey >= Qt::Key_0 && qtKey <= Qt::Key_9)
        return qtKey;
    if (qtKey >= Qt::Key_F1 && qtKey <= Qt::Key_F16)
        return 112 + (qtKey - Qt::Key_F1);
    for (const Pair& pair : Others) {
        if (pair.qtKey == qtKey && (pair.keypad == keypad || !pair.keypad))
            return pair.virtualKey;
    }
    return 0;
}

} // namespace VirtualKeys
