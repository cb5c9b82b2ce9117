#pragma once

#include <QList>
#include <QString>

#include <optional>

// The global hot keys the tray registers: each name with its pair of settings and the command
// it runs. The pairs HKSilent and HKAlbum are kept in the settings but not registered.
namespace HotkeyNames {

struct Binding
{
    const char* name;
    int modifierSetting;
    int codeSetting;
    int command;
};

/// The twelve registered names, in the order of the menu.
const QList<Binding>& registered();

/// The command run by a registered name.
std::optional<int> commandOf(const QString& name);

/// Whether a setting number is one of the fourteen pairs' (registered or not).
bool isHotkeySetting(int number);

} // namespace HotkeyNames
