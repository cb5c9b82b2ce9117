#pragma once

#include <QHash>
#include <QObject>
#include <QPointer>

#include <functional>

class QAbstractButton;
class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QLabel;
class QLineEdit;
class QSpinBox;
class SettingsSession;

// Ties the settings dialog's controls to numbered settings: a control shows the session's value,
// and a change of it becomes an edit of the session, refused with its reason shown in the label
// given next to the control. reload() shows the session's values again (after Cancel, or when
// another program's change was taken).
class SettingBinder : public QObject
{
    Q_OBJECT

public:
    explicit SettingBinder(SettingsSession& session, QObject* parent = nullptr);

    void check(QCheckBox* box, int number);
    void spin(QSpinBox* box, int number, QLabel* why);
    /// A factor shown as is and kept in hundredths (TauxTaille).
    void hundredths(QDoubleSpinBox* box, int number, QLabel* why);
    /// Item i of `combo` stands for `values[i]`.
    void choice(QComboBox* combo, int number, const QList<QVariant>& values);
    void text(QLineEdit* edit, int number, QLabel* why);
    /// A colour button: its face shows the colour; a click opens the colour chooser.
    void colour(QAbstractButton* button, int number);
    /// A control of the dialog's own making: `show` sets it from the session now and at each
    /// reload(); its changes go through edit().
    void custom(std::function<void()> show);
    /// An edit from a custom control; none while the binder itself is showing values.
    void edit(int number, const QVariant& value) { take(number, value, nullptr); }

    void reload();

private:
    void bind(std::function<void()> show);
    void take(int number, const QVariant& value, QLabel* why);

    SettingsSession& m_session;
    QList<std::function<void()>> m_shows;
    bool m_showing = false; // a control set by reload() is not an edit
};

/// A 24-bit colour as the settings keep it (red in the low byte) and back.
unsigned colourToSetting(const QColor& colour);
QColor colourFromSetting(unsigned value);
