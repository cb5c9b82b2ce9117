#pragma once

#include "InterfaceTexts.h"

#include "AlarmEdit.h"

#include <QGroupBox>
#include <QLocale>

class QCheckBox;
class QComboBox;
class QDateEdit;
class QLabel;
class QRadioButton;
class QSpinBox;
class QTimeEdit;

// The alarm controls the note editor and the alarm-change dialog share: the repeat after
// showing with its end, and the recurrence. Each box reads and writes an AlarmEdit::Choice.

namespace AlarmWidgets {

/// `control` with the interface text `tip` as its tool tip.
template <typename Control> Control* withTip(Control* control, int tip)
{
    control->setToolTip(langText(tip));
    return control;
}

/// The entries of a list text ("a|b|c").
QStringList langList(int number);

/// Dates and times written in the interface language.
QLocale interfaceLocale();

/// The line that tells what the alarm will do: `after` is the note's fields once the choice is
/// applied, `shownDay` the day whose notes the user is looking at.
QString timingText(AlarmEdit::Timing timing, const Recurrence::AlarmFields& after, const QDate& shownDay);

/// A label for refusals, hidden while there is nothing to say.
QLabel* reasonLabel();

/// A combo box of the six units, minute to year.
QComboBox* unitCombo();

} // namespace AlarmWidgets

/// AlarmeRepet with its interval and unit, and DateAlarmeFin.
class RepeatBox : public QGroupBox
{
    Q_OBJECT

public:
    explicit RepeatBox(QWidget* parent = nullptr);

    void load(const AlarmEdit::Choice& choice);
    void store(AlarmEdit::Choice& choice) const;
    /// Shows the refusal's reason when it belongs to this box, clears it otherwise; true when shown.
    bool showRefusal(const AlarmEdit::Refusal& refusal);

signals:
    void changed();

private:
    void updateEnabled();

    QCheckBox* m_repeats;
    QSpinBox* m_interval;
    QComboBox* m_unit;
    QCheckBox* m_hasEnd;
    QDateEdit* m_endDate;
    QTimeEdit* m_endTime;
    QLabel* m_why;
};

/// Comportement, Frequence, FreqJours, FreqMois, NoteRepInterval and NoteRepFreq; only the
/// controls of the chosen mode are enabled.
class RecurrenceBox : public QGroupBox
{
    Q_OBJECT

public:
    explicit RecurrenceBox(QWidget* parent = nullptr);

    void load(const AlarmEdit::Choice& choice);
    void store(AlarmEdit::Choice& choice) const;
    bool showRefusal(const AlarmEdit::Refusal& refusal);

signals:
    void changed();

private:
    void updateEnabled();

    QRadioButton* m_oneOff;
    QRadioButton* m_recurring;
    QComboBox* m_mode;
    QList<QCheckBox*> m_days;
    QList<QCheckBox*> m_months;
    QSpinBox* m_interval;
    QComboBox* m_unit;
    QLabel* m_why;
};
