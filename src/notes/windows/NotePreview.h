#pragma once

#include "Note.h"

#include <QElapsedTimer>
#include <QImage>
#include <QTimer>
#include <QWidget>

// The note as its alarm window will show it, drawn small: the window's size kept in proportion,
// its translucency and cut-out colour shown over a checkerboard, the text moving as set while
// the preview is in sight.
class NotePreview : public QWidget
{
    Q_OBJECT

public:
    explicit NotePreview(QWidget* parent = nullptr);

    /// Shows `note` with `picture` (already decoded; null for none). The motion starts again.
    void setNote(const Note& note, const QImage& picture);

    /// The size of the alarm window the note opens: its own, or the settings' default.
    QSize windowSize() const;

    /// Whether the text is being moved now (for tests).
    bool isAnimating() const { return m_timer.isActive(); }

    QSize sizeHint() const override { return {300, 200}; }
    QSize minimumSizeHint() const override { return {160, 100}; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void restartMotion();

    Note m_note;
    QImage m_picture;
    QTimer m_timer;
    QElapsedTimer m_clock;
};
