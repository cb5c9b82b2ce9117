#pragma once

#include "MonthLayout.h"
#include "MonthOccurrences.h"

#include <QColor>
#include <QDate>
#include <QImage>
#include <QLocale>
#include <QMap>
#include <QWidget>

// The month grid of the calendar window: weekday headers, week numbers, the days of six weeks
// with weekends, public holidays, today and the days holding notes marked, painted over the
// calendar's background picture. Keyboard: arrows move the chosen day, Page Up/Down the month
// (with Ctrl the year), Home goes to today, Return opens the day like a double click.
class MonthGrid : public QWidget
{
    Q_OBJECT

public:
    struct Look
    {
        QColor back, fore, title, weekend, holiday, today;
        QImage picture;
        int pictureStyle = 0; // 0 centred, 1 tiled, 2 stretched
        int dayStart = 0;     // 0 Monday ... 6 Sunday
        QLocale locale;
        QString weekHeader;
    };

    explicit MonthGrid(QWidget* parent = nullptr);

    /// The calendar's look from the Agenda settings (colours, first day of the week, language),
    /// without its background picture.
    static Look lookFromSettings();
    /// The calendar's font from the Agenda settings.
    static QFont fontFromSettings();

    void setLook(const Look& look);
    /// What the month holds: the notes' occurrences and the public holidays by day.
    void setContent(const QList<MonthOccurrences::Occurrence>& notes, const QMap<QDate, QString>& holidays);
    void setToday(const QDate& today);
    /// Whether the chosen day is framed (not on the desktop, where nobody chooses).
    void setShowSelection(bool show) { m_showSelection = show; }

    QDate selectedDate() const { return m_selected; }
    /// Chooses a day; the month shown follows it.
    void setSelectedDate(const QDate& date);
    const MonthLayout& layoutOfMonth() const { return m_layout; }

    /// The cell rectangle of `date`, empty when it is not shown (for tests and tool tips).
    QRect cellRect(const QDate& date) const;
    /// The notes of a day of the month shown.
    QList<MonthOccurrences::Occurrence> notesOn(const QDate& date) const { return m_notes.value(date); }
    /// What a day's cell says: its note count and first note's text.
    QString cellText(const QDate& date) const;
    /// The tool tip of a day: the holiday's name and the day's notes.
    QString toolTipFor(const QDate& date) const;

    QSize sizeHint() const override { return {480, 330}; }
    QSize minimumSizeHint() const override { return {300, 220}; }

signals:
    void selectionChanged(const QDate& date);
    /// A double click or Return on a day.
    void dayActivated(const QDate& date);
    /// The month shown changed.
    void monthChanged(int year, int month);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool event(QEvent* event) override;

private:
    QRectF gridArea() const;
    QDate dateAt(const QPoint& point) const;
    void paintBackground(QPainter& painter);
    void paintCell(QPainter& painter, const QDate& date, const QRectF& cell);

    Look m_look;
    MonthLayout m_layout;
    QDate m_selected;
    QDate m_today;
    bool m_showSelection = true;
    QMap<QDate, QList<MonthOccurrences::Occurrence>> m_notes;
    QMap<QDate, QString> m_holidays;
};
