#include "SettingsTable.h"

const SettingRow* settingRow(int number)
{
    if (number < 0 || number >= kSettingCount)
        return nullptr;
    return &SettingRows::kSettings[static_cast<std::size_t>(number)];
}
