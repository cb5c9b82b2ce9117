#pragma once

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QObject>
#include <QVariant>

#include <optional>

class ClsRegistry;

// The settings dialog's working copy, without a window: an edit is checked against the rules of
// the settings table and previewed at once (the numbered getter returns it while the dialog is
// open, so the wallpaper, the statistics and a "Next" from the tray use it), apply() writes every
// edit together, cancel() drops what was not applied. Nothing unsaved ever reaches the file.
class SettingsSession : public QObject
{
    Q_OBJECT

public:
    explicit SettingsSession(ClsRegistry& registry, QObject* parent = nullptr);
    ~SettingsSession() override;

    /// Why `value` cannot be taken for `number`, in the user's words, or nothing when it can.
    static std::optional<QString> refusal(int number, const QVariant& value);

    /// Previews `value` for `number` when the table's rule accepts it; otherwise returns the
    /// reason and leaves the previewed value as it was.
    std::optional<QString> edit(int number, const QVariant& value);

    /// The value the program sees now: the edit when there is one, else the stored value.
    QVariant value(int number) const;

    /// The numbers edited since the last apply (or the opening).
    QList<int> editedNumbers() const { return m_edits.keys(); }
    bool hasEdits() const { return !m_edits.isEmpty(); }

    /// Writes every edit; the dialog stays open on the new values. False, with the edits kept,
    /// when the settings file cannot be written.
    bool apply();

    /// Drops the edits: the program sees the values of the last apply (or the opening) again.
    void cancel();

    /// Whether another program rewrote the settings file since the dialog opened or last wrote.
    bool changedOutside() const;
    /// Takes the file as it is now: the outside change wins, the edits are dropped.
    void takeOutsideChange();

signals:
    /// An edit was previewed or dropped, or values were written: what shows them follows.
    void valuesChanged(const QList<int>& numbers);
    /// Values were written (Apply or OK).
    void applied(const QList<int>& numbers);

private:
    QDateTime fileTime() const;

    ClsRegistry& m_registry;
    QHash<int, QVariant> m_edits;
    QDateTime m_knownFileTime;
};
