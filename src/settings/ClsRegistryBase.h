#pragma once

#include "ScreenExtent.h"
#include "SettingsTable.h"

#include <QString>
#include <QVariant>
#include <memory>

class QSettings;

// The store of Tapisol's numbered settings. Three INI files (QSettings, UTF-8) under
// $XDG_CONFIG_HOME:
//   Orvenne/Tapisol.conf  one group per key: Paramètres, Paramètres/Forms, Agenda, Alarme, Diaporama,
//                         Diaporama/Sounds, Albums, Assistants, and Desktop for the screen saver;
//   Orvenne.conf          the folders shared by the companion programs;
//   Orvenne/Ciselor.conf  the values shared with the image editor.
// Qt writes a non-ASCII group or key name escaped ("[Param%E8tres]") and reads both that and plain
// UTF-8 ("[Paramètres]"), so hand-edited files work. Values are written with their types: booleans
// as -1/0, numbers as numbers, texts as texts; reading applies the row's rule of SettingsTable.h.
// A damaged file is copied to "<file>.bad" before the first write (SettingsFileGuard).
class ClsRegistryBase
{
public:
    /// Opens the three files of the current $XDG_CONFIG_HOME. Positions are tested against the
    /// extent that `extent` returns.
    explicit ClsRegistryBase(ScreenExtentProvider extent = currentScreenExtent);
    /// Writes pending changes.
    virtual ~ClsRegistryBase();
    ClsRegistryBase(const ClsRegistryBase&) = delete;
    ClsRegistryBase& operator=(const ClsRegistryBase&) = delete;

    /// Setting `number`, checked by its rule: an int for numbers, booleans (-1/0) and positions (twips),
    /// a QString for texts, a double for TauxTaille (the stored percentage / 100). A missing or bad
    /// value yields the row's default. A reserved or unknown number yields an invalid QVariant.
    virtual QVariant get(int number) const;

    /// Writes `value` under the key and name of `number` (17, 18 and 102 under their written names).
    /// The value is stored as given, unchecked (TauxTaille as the percentage); a bool is stored as
    /// -1/0. Returns false for a reserved or unknown number.
    bool set(int number, const QVariant& value);

    /// Applies the rule of `number` to `stored` as if it had been read (an invalid QVariant stands for
    /// a missing value).
    QVariant checkedValue(int number, const QVariant& stored) const;

    /// True when the value `name` exists in `group`.
    bool valueExists(SettingGroup group, const QString& name) const;
    /// Removes the value `name` from `group`; false when there was none.
    bool deleteValue(SettingGroup group, const QString& name);
    /// The value `name` of `group` as stored, unchecked; invalid when missing.
    QVariant rawValue(SettingGroup group, const QString& name) const;
    /// Stores `value` as `name` in `group`, unchecked (a bool as -1/0).
    void setRawValue(SettingGroup group, const QString& name, const QVariant& value);

    /// Writes pending changes to the files; false when a file cannot be written.
    bool sync();

    /// Records `saverPath` as the chosen screen saver (value SCRNSAVE.EXE of group Desktop). Nothing is
    /// installed in the desktop: Linux desktops choose their screen saver themselves.
    void installScreenSaver(const QString& saverPath);
    /// Clears the recorded screen saver.
    void removeScreenSaver();
    /// The recorded screen saver, empty when none.
    QString screenSaver() const;

    /// The screens' extent used by the position rule; nothing when unknown.
    std::optional<ScreenExtent> screenExtent() const;
    /// Replaces the extent provider (tests, or a caller that tracks screen changes itself).
    void setScreenExtentProvider(ScreenExtentProvider extent);

    /// Paths of the three files for the current $XDG_CONFIG_HOME.
    static QString tapisolFilePath();
    static QString orvenneFilePath();
    static QString ciselorFilePath();

private:
    QSettings& store(SettingGroup group) const;
    QString storeKey(SettingGroup group, const QString& name) const;
    QVariant storedValue(const SettingRow& row) const;
    QVariant positionValue(const SettingRow& row, const QVariant& stored) const;

    bool m_firstRun = false; // no settings file existed when this object was made
    std::unique_ptr<QSettings> m_tapisol;
    std::unique_ptr<QSettings> m_orvenne;
    std::unique_ptr<QSettings> m_ciselor;
    ScreenExtentProvider m_extent;
};
