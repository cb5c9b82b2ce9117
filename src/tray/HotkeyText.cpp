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

QKeySequence hotkeySequence(int modifiers, int code)
{
    int key = 0;
    if (code >= 112 && code <= 127)
        key = Qt::Key_F1 + (code - 112);
    else if ((code >= '0' && code <= '9') || (code >= 'A' && code <= 'Z'))
        key = code; // Qt's keys for digits and letters are their ASCII codes
    if (key == 0)
        return {};
    int combined = key;
    if (modifiers & HotkeyModifier::Ctrl)
        combined |= Qt::CTRL;
    if (modifiers & HotkeyModifier::Alt)
        combined |= Qt::ALT;
    if (modifiers & HotkeyModifier::Shift)
        combined |= Qt::SHIFT;
    if (modifiers & HotkeyModifier::Win)
        combined |= Qt::META;
    return QKeySequence(combined);
}
