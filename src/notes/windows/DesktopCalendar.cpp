#include "DesktopCalendar.h"

#include "AlarmWidgets.h"
#include "Clock.h"
#include "ClsRegistry.h"
#include "HolidayTable.h"
#include "InterfaceTexts.h"
#include "MonthGrid.h"
#include "MonthOccurrences.h"
#include "NoteRenderer.h"
#include "NoteStore.h"
#include "WallClock.h"

#include <QPainter>
#include <QPainterPath>

namespace DesktopCalendar {

namespace {

constexpr int Margin = 24;
constexpr int Padding = 10;
constexpr int AlarmLines = 5;

int lineHeight(const QFont& font)
{
    return QFontMetrics(font).height() + 2;
}

QFont calendarFont()
{
    return MonthGrid::fontFromSettings();
}

} // namespace

QRect panelRect(const QRect& area, int corner)
{
    const int width = qBound(280, area.width() * 28 / 100, 480);
    const int height
        = width * 3 / 4 + 2 * lineHeight(calendarFont()) + AlarmLines * lineHeight(calendarFont()) + 3 * Padding;
    const int left = (corner == 1 || corner == 3) ? area.right() - Margin - width + 1 : area.left() + Margin;
    const int top = (corner == 2 || corner == 3) ? area.bottom() - Margin - height + 1 : area.top() + Margin;
    return QRect(left, top, width, height);
}

void paint(QPainter& painter, const QRect& area, ClsMdb& db)
{
    const ClsRegistry& settings = registry();
    const QRect panel = panelRect(area, settings.get(SettingNo::AgdCoinBureau).toInt());
    const QDateTime now = WallClock::of(appClock().now());
    const QDate today = now.date();
    const QLocale locale = AlarmWidgets::interfaceLocale();
    const QFont font = calendarFont();
    MonthGrid::Look look = MonthGrid::lookFromSettings();
    const QColor fore = look.fore;
    const QColor title = look.title;
    QColor back = look.back;
    back.setAlpha(settings.get(SettingNo::AgdBackgroundTransp).toInt());

    painter.save();
    QPainterPath rounded;
    rounded.addRoundedRect(panel, 10, 10);
    painter.fillPath(rounded, back);

    // The month's name, then the grid.
    QFont heading = font;
    heading.setBold(true);
    heading.setPointSizeF(font.pointSizeF() * 1.25);
    painter.setFont(heading);
    painter.setPen(title);
    QString month = locale.toString(today, QStringLiteral("MMMM yyyy"));
    if (!month.isEmpty())
        month[0] = month[0].toUpper();
    const QRect headingRect(
        panel.left() + Padding, panel.top() + Padding, panel.width() - 2 * Padding, lineHeight(heading));
    painter.drawText(headingRect, Qt::AlignCenter, month);

    MonthGrid grid;
    look.back = Qt::transparent; // the panel is the background
    grid.setFont(font);
    grid.setShowSelection(false);
    grid.setSelectedDate(today);
    grid.setLook(look);
    grid.setToday(today);
    HolidayTable holidays;
    holidays.load(HolidayTable::installedFile(), settings.get(SettingNo::AgdPays).toString());
    grid.setContent(
        MonthOccurrences::inMonth(db, today.year(), today.month()), holidays.inMonth(today.year(), today.month()));
    const QRect gridRect(panel.left() + Padding, headingRect.bottom() + Padding / 2, panel.width() - 2 * Padding,
        (panel.width() - 2 * Padding) * 3 / 4);
    grid.resize(gridRect.size());
    painter.save();
    painter.translate(gridRect.topLeft());
    grid.render(&painter, QPoint(), QRegion(), QWidget::DrawChildren);
    painter.restore();

    // The next alarms under it.
    painter.setFont(font);
    painter.setPen(fore);
    int y = gridRect.bottom() + Padding;
    for (const NoteSummary& note : NoteStore::nextAlarms(db, now, AlarmLines)) {
        const QString when = note.alarmAt.date() == today
            ? locale.toString(note.alarmAt.time(), QStringLiteral("HH:mm"))
            : locale.toString(note.alarmAt, QStringLiteral("dd/MM HH:mm"));
        const QString line
            = QFontMetrics(font).elidedText(when + QStringLiteral("  ") + note.text.section(QLatin1Char('\n'), 0, 0),
                Qt::ElideRight, panel.width() - 2 * Padding);
        painter.drawText(QRect(panel.left() + Padding, y, panel.width() - 2 * Padding, lineHeight(font)),
            Qt::AlignLeft | Qt::AlignVCenter, line);
        y += lineHeight(font);
    }
    painter.restore();
}

} // namespace DesktopCalendar
