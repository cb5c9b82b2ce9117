#include "HotkeyText.h"

QString hotkeyText(int modifiers, int code)
{
    if (code == 0)
        return {};
    QString text;
    if (modifiers & HotkeyModifier::Ctrl)
        text += QLatin1String("Ctrl+");
    if (modifiers & HotkeyModifier::Alt)
        text += QLatin1String("Alt+");
    if (modifiers & HotkeyModifier::Shift)
        text += QLatin1String("Maj+");
    if (modifiers & HotkeyModifier::Win)
        text += QLatin1String("Win+");
    if (code >= 112 && code <= 127)
        text += QLatin1Char('F') + QString::number(code - 111);
    else if ((code >= '0' && code <= '9') || (code >= 'A' && code <= 'Z'))
        text += QChar(code);
    else
        text += QString::number(code);
    return text;
}
