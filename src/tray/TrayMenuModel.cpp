#include "TrayMenuModel.h"

#include "HotkeyText.h"
#include "SettingsTable.h"

namespace {

TrayMenuEntry item(const char* key, int caption, int command)
{
    TrayMenuEntry entry;
    entry.key = QLatin1String(key);
    entry.captionNumber = caption;
    entry.command = command;
    return entry;
}

TrayMenuEntry separator()
{
    TrayMenuEntry entry;
    entry.key = QStringLiteral("-");
    return entry;
}

TrayMenuEntry check(int caption, int command, bool checked)
{
    TrayMenuEntry entry = item("", caption, command);
    entry.checkable = true;
    entry.checked = checked;
    return entry;
}

// The quick-access caption names the source that a click switches to.
int quickCaption(const TrayMenuState& state)
{
    if (!state.projectDefined)
        return 370;
    if (!state.sourceIsProject)
        return 375;
    return state.defaultIsAlbum ? 2974 : 383;
}

// Without a project there is nothing to switch to.
TrayMenuEntry quickEntry(const TrayMenuState& state)
{
    TrayMenuEntry entry = item("Quick", quickCaption(state), 3);
    entry.enabled = state.projectDefined;
    return entry;
}

} // namespace

QList<TrayMenuEntry> buildTrayMenu(const TrayMenuState& state, const SettingReader& setting)
{
    auto withHotkey = [&setting](TrayMenuEntry entry, int modNumber, int codeNumber) {
        entry.hotkeyModifiers = setting(modNumber);
        entry.hotkeyCode = setting(codeNumber);
        entry.shortcutText = hotkeyText(entry.hotkeyModifiers, entry.hotkeyCode);
        return entry;
    };
    using namespace SettingNo;

    TrayMenuEntry help = item("Help", 380, 11);
    help.shortcutText = QStringLiteral("F1");
    help.hotkeyCode = 112;

    // Auto mode on offers to stop it; off offers to start it.
    const TrayMenuEntry autoEntry = state.autoMode ? item("AutoOff", 366, 1) : item("AutoOn", 367, 1);

    return {
        withHotkey(item("Param", 363, 0), HKParamMod, HKParamCode),
        withHotkey(autoEntry, HKAutoMod, HKAutoCode),
        withHotkey(item("Next", 369, 2), HKNextWallMod, HKNextWallCode),
        withHotkey(quickEntry(state), HKQuickMod, HKQuickCode),
        separator(),
        withHotkey(item("Diaporama", 532, 4), HKDiapoMod, HKDiapoCode),
        withHotkey(item("Assist", 2026, 5), HKDiapoAssMod, HKDiapoAssCode),
        separator(),
        withHotkey(item("Agenda", 371, 6), HKAgdMod, HKAgdCode),
        withHotkey(check(434, 7, state.agendaOnDesktop), HKAgdBackMod, HKAgdBackCode),
        withHotkey(item("Notes", 422, 8), HKNotesMod, HKNotesCode),
        // The album hot-key pair is kept and edited, but not grabbed: the item shows no key.
        item("Albums", 3000, 10),
        separator(),
        help,
        item("", 372, 12),
        item("Infos", 373, 14),
        separator(),
        withHotkey(check(382, 9, state.quietAll), HKQuietAllMod, HKQuietAllCode),
        withHotkey(item("Ciselor", 2111, 15), HKCiselorMod, HKCiselorCode),
        withHotkey(item("", 418, 16), HKScrSaveMod, HKScrSaveCode),
        separator(),
        item("Exit", 374, 17),
    };
}
