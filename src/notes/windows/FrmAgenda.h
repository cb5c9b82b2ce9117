#pragma once

#include "HolidayTable.h"

#include <QDate>
#include <QWidget>

class MonthGrid;
class QLabel;
class QListWidget;
class QPushButton;

// The month calendar: the month grid with the days that hold notes (recurring ones on every day
// they fall), the public holidays of the chosen country, a clock line the tray refreshes each
// second, and the chosen day's notes below. A double click on a day opens the note editor there.
// Its look, size, place and window state come from the Agenda settings.
class FrmAgenda : public QWidget
{
    Q_OBJECT

public:
    explicit FrmAgenda(QWidget* parent = nullptr);

    /// Shows the month of `day`, with that day chosen.
    void showDay(const QDate& day);
    QDate selectedDate() const;
    MonthGrid* grid() const { return m_grid; }

public slots:
    /// The clock line, from the program's clock (called by the tray's one-second dispatcher).
    void refreshClock();
    /// Reads the month's notes again (a note saved, an alarm closed).
    void reload();
    /// Takes the calendar's colours, font, opacity and country again from the settings.
    void followSettings();

signals:
    /// The user asked for the notes of `day`.
    void openDay(const QDate& day);

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void build();
    void applyLook();
    void placeWindow();
    void monthShown(int year, int month);
    void listDay(const QDate& day);
    void retitle();

    MonthGrid* m_grid = nullptr;
    QLabel* m_title = nullptr;
    QLabel* m_clock = nullptr;
    QLabel* m_dayTitle = nullptr;
    QListWidget* m_dayNotes = nullptr;
    HolidayTable m_holidays;
    QString m_holidayProblem;
    bool m_loading = false;
};
