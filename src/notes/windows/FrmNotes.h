#pragma once

#include "AlarmEdit.h"
#include "Note.h"

#include <QDate>
#include <QImage>
#include <QWidget>

class ColourButton;
class NotePreview;
class QCheckBox;
class QComboBox;
class QDateEdit;
class QDoubleSpinBox;
class QFontComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPlainTextEdit;
class QPushButton;
class QSlider;
class QSpinBox;
class QTabWidget;
class QTimeEdit;
class QTimer;
class RecurrenceBox;
class RepeatBox;

// The note editor: the notes of one day in a list, the chosen one in tabs (text, look, picture
// and sound, alarm, recurrence) with a live preview of its alarm window. Nothing is written
// before Save; switching note or day, or closing, with unsaved changes asks first. Changes
// made elsewhere (an alarm window renumbering or moving a note, a note deleted) are followed.
class FrmNotes : public QWidget
{
    Q_OBJECT

public:
    explicit FrmNotes(const QDate& day, QWidget* parent = nullptr);
    ~FrmNotes() override;

    /// Shows the notes of `day`, after asking about unsaved changes; false when the user kept
    /// the note being edited.
    bool openDay(const QDate& day);
    QDate day() const { return m_day; }

    /// Starts a new note on the day shown, after asking about unsaved changes.
    bool newNote();
    /// Saves the note being edited; false (the user told why, the edits kept) when nothing was
    /// written.
    bool save();
    /// Deletes the note being edited after the user confirmed it.
    bool deleteNote();

    bool isModified() const { return m_modified; }

    /// Shows note `numero` of the day shown (after asking about unsaved changes).
    void showNote(qint64 numero);

    /// Closes the window for the program's end without asking: a note being written is saved
    /// (nobody may be there to answer when the session ends).
    void closeForExit();
    /// The note as last read or written (Numero 0 for a note never written).
    const Note& currentNote() const { return m_note; }
    /// The note as the controls hold it, alarm rules applied as Save would apply them.
    Note editedNote() const;

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void build();
    QWidget* textTab();
    QWidget* layoutTab();
    QWidget* mediaTab();
    QWidget* alarmTab();
    QWidget* recurrenceTab();
    QLayout* navigation();

    bool settleEdits();
    void switchToRow();
    void showRow(int row);
    void loadNote(const Note& note);
    void reloadList();
    void selectNumero(qint64 numero);
    Note displayedNote() const;
    AlarmEdit::Choice alarmChoice() const;
    void edited();
    void updateCount();
    void updateEnabled();
    void updateStatus();
    void updatePreview();
    void loadPicture();
    void chooseImage();
    void chooseSound();
    void playSound();
    void changeAlarm();
    void showRefusal(const AlarmEdit::Refusal& refusal);

    void noteSaved(qint64 oldNumero, qint64 newNumero);
    void noteRemoved(qint64 numero);
    void alarmChanged(qint64 numero);

    QDate m_day;
    Note m_note;
    QImage m_picture;
    bool m_modified = false;
    bool m_loading = false;
    bool m_writing = false; // our own save or delete: the store's signal is not news

    QDateEdit* m_dayEdit = nullptr;
    QTimer* m_dayTimer = nullptr;
    QListWidget* m_list = nullptr;
    QTabWidget* m_tabs = nullptr;
    NotePreview* m_preview = nullptr;

    QPlainTextEdit* m_text = nullptr;
    QLabel* m_count = nullptr;
    QFontComboBox* m_font = nullptr;
    QDoubleSpinBox* m_fontSize = nullptr;
    QCheckBox* m_bold = nullptr;
    QCheckBox* m_italic = nullptr;
    QCheckBox* m_underline = nullptr;
    ColourButton* m_foreColour = nullptr;
    QCheckBox* m_shadow = nullptr;
    ColourButton* m_shadowColour = nullptr;
    QSpinBox* m_shadowOffset = nullptr;

    QComboBox* m_align = nullptr;
    QComboBox* m_border = nullptr;
    QCheckBox* m_wrap = nullptr;
    QComboBox* m_moving = nullptr;
    QComboBox* m_direction = nullptr;
    QSpinBox* m_step = nullptr;
    QSpinBox* m_interval = nullptr;
    QCheckBox* m_backApply = nullptr;
    ColourButton* m_backColour = nullptr;
    QCheckBox* m_opacityApply = nullptr;
    QSlider* m_opacity = nullptr;
    QLabel* m_opacityValue = nullptr;
    QCheckBox* m_cutOut = nullptr;
    ColourButton* m_cutColour = nullptr;

    QLineEdit* m_image = nullptr;
    QLabel* m_thumbnail = nullptr;
    QLabel* m_imageWhy = nullptr;
    QLineEdit* m_sound = nullptr;
    QCheckBox* m_soundRepeat = nullptr;
    QLabel* m_soundWhy = nullptr;

    QCheckBox* m_alarm = nullptr;
    QDateEdit* m_alarmDate = nullptr;
    QTimeEdit* m_alarmTime = nullptr;
    QPushButton* m_move = nullptr;
    QLabel* m_status = nullptr;
    QLabel* m_alarmWhy = nullptr;
    RepeatBox* m_repeat = nullptr;
    RecurrenceBox* m_recurrence = nullptr;
    QCheckBox* m_birthday = nullptr;
    QDateEdit* m_birthDate = nullptr;
    QLabel* m_age = nullptr;
};
