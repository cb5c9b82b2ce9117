#pragma once

#include <QDialog>
#include <QElapsedTimer>

class QLabel;
class QProgressBar;
class QPushButton;

// The wait window of a long task that runs on the interface thread (the database cleaning): a
// caption, a progress bar and, when the task can stop, a Cancel button. The task calls step()
// as it goes, which repaints the window and lets the event loop in, so the program stays alive
// while the window blocks its parent. The user cannot close it except through Cancel.
class FrmWait : public QDialog
{
    Q_OBJECT

public:
    FrmWait(const QString& caption, bool cancellable, QWidget* parent = nullptr);

    void setCaption(const QString& caption);
    /// `done` of `total` (a busy bar while `total` is 0), then the pending events, at most every
    /// few tens of milliseconds so that a fast loop is not slowed by repainting.
    void step(int done, int total);
    /// True once the user pressed Cancel (or Escape); the task decides when to stop.
    bool isCancelled() const { return m_cancelled; }

signals:
    void cancelled();

protected:
    void closeEvent(QCloseEvent* event) override;
    void reject() override;

private:
    QLabel* m_caption = nullptr;
    QProgressBar* m_bar = nullptr;
    QPushButton* m_cancel = nullptr;
    QElapsedTimer m_sinceEvents;
    bool m_cancelled = false;
};
