#include "HotkeyNames.h"

#include "SettingsTable.h"

namespace HotkeyNames {

const QList<Binding>& registered()
{
    using namespace SettingNo;
    static const QList<Binding> table = {
        {"TPShowParam", HKParamMod, HKParamCode, 0},
        {"TPModeAuto", HKAutoMod, HKAutoCode, 1},
        {"TPNextWallPaper", HKNextWallMod, HKNextWallCode, 2},
        {"TPQuickSafe", HKQuickMod, HKQuickCode, 3},
        {"TPDiaporama", HKDiapoMod, HKDiapoCode, 4},
        {"TPAssistDiaporama", HKDiapoAssMod, HKDiapoAssCode, 5},
        {"TPAgenda", HKAgdMod, HKAgdCode, 6},
        {"TPAgdBackground", HKAgdBackMod, HKAgdBackCode, 7},
        {"TPNotes", HKNotesMod, HKNotesCode, 8},
        {"TPQuiet", HKQuietAllMod, HKQuietAllCode, 9},
        {"CSCiselor", HKCiselorMod, HKCiselorCode, 15},
        {"TPScreenSaver", HKScrSaveMod, HKScrSaveCode, 16},
    };
    return table;
}

std::optional<int> commandOf(const QString& name)
{
    for (const Binding& binding : registered()) {
        if (name == QLatin1String(binding.name))
            return binding.command;
    }
    return std::nullopt;
}

bool isHotkeySetting(int number)
{
    return number >= SettingNo::HKParamMod && number <= SettingNo::HKCiselorCode;
}

} // namespace HotkeyNames
