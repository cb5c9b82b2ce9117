#pragma once

#include "AlarmEdit.h"
#include "Note.h"

#include <QDialog>

class QDateEdit;
class QDialogButtonBox;
class QLabel;
class QSpinBox;
class RecurrenceBox;
class RepeatBox;

// The alarm-change dialog: a note's alarm day and time, its repeat after showing and its
// recurrence. It writes nothing: the caller takes result() after OK and writes it where it
// belongs (the alarm window to the database, the editor into the note being edited). OK is
// refused, with the reason beside the field, while the choice cannot stand.
class FrmChangeAlarme : public QDialog
{
    Q_OBJECT

public:
    explicit FrmChangeAlarme(const Note& note, QWidget* parent = nullptr);

    /// The note with the edited alarm fields (alarm on, set to the chosen time); after OK.
    Note result() const { return m_result; }

    /// The choice as the controls hold it now.
    AlarmEdit::Choice choice() const;

    void accept() override;

private:
    void updateStatus();

    Note m_note;
    Note m_result;
    QDateEdit* m_date;
    QSpinBox* m_hours;
    QSpinBox* m_minutes;
    QLabel* m_status;
    QLabel* m_why;
    RepeatBox* m_repeat;
    RecurrenceBox* m_recurrence;
    QDialogButtonBox* m_buttons;
};
