#pragma once

#include "Note.h"

#include <QElapsedTimer>
#include <QImage>
#include <QPointer>
#include <QTimer>
#include <QWidget>

#include <functional>

class QMenu;
class QToolButton;

// The window of a note whose alarm fell due: frameless, above other windows, at the note's place
// and size, translucent and shaped as the note says, its text moving as set, its sound playing.
// The user drags it anywhere and pulls its corner; the place is kept with the note. Closing it
// (its button, Escape) is a dismissal and runs the closing rules; "remind me later" is not.
class FrmAlarme : public QWidget
{
    Q_OBJECT

public:
    /// What the window asks of the program around it.
    struct Actions
    {
        std::function<void(FrmAlarme*)> dismiss;                     // closing rules, then close
        std::function<void(FrmAlarme*, int minutes)> snooze;         // put off, then close
        std::function<void(FrmAlarme*)> changeAlarm;                 // the alarm-change dialog
        std::function<void(FrmAlarme*)> openNote;                    // the note in the editor
        std::function<void(FrmAlarme*, const QRect&)> moved;         // the user moved or resized it
        std::function<QImage(const QString&, const QSize&)> picture; // the note's picture at a size
    };

    FrmAlarme(const Note& note, const QRect& place, Actions actions);
    ~FrmAlarme() override;

    qint64 numero() const { return m_note.Numero; }
    void setNumero(qint64 numero) { m_note.Numero = numero; }
    const Note& note() const { return m_note; }

    /// Shows another version of the note (saved in the editor meanwhile).
    void setNote(const Note& note);

    /// Starts the note's sound (or the default alarm sound), again and again when it repeats.
    void startSound(const QString& file, bool repeat);
    void stopSound();

    /// Closes the window without the closing rules (the alarm was put off or moved).
    void closeWithoutRules();

    /// The menu of the window's actions, for tests.
    QMenu* actionsMenu() const { return m_menu; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void moveEvent(QMoveEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void buildControls();
    void applyLook();
    void loadPicture();
    void updateShape();
    void step();
    void soundFinished();

    Note m_note;
    Actions m_actions;
    QImage m_picture;
    QString m_pictureProblem;
    QToolButton* m_close = nullptr;
    QToolButton* m_later = nullptr;
    QMenu* m_menu = nullptr;
    QTimer m_motion;         // the moving text's steps
    QTimer m_geometrySettle; // a drag ends: its place is saved once
    qint64 m_steps = 0;
    QPoint m_dragOffset;
    bool m_dragging = false;
    QString m_soundFile;
    bool m_soundRepeats = false;
    bool m_closingHandled = false;
};
