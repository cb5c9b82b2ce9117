#include "MonthGrid.h"

#include "AlarmWidgets.h"
#include "ClsRegistry.h"
#include "InterfaceTexts.h"
#include "NoteRenderer.h"

#include <QHelpEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QToolTip>

namespace {

constexpr qreal HeaderHeight = 22;
constexpr qreal WeekWidth = 34;

QColor withAlpha(QColor colour, int alpha)
{
    colour.setAlpha(alpha);
    return colour;
}

} // namespace

MonthGrid::Look MonthGrid::lookFromSettings()
{
    const ClsRegistry& settings = registry();
    const auto colour
        = [&settings](int number) { return NoteRenderer::colour(qint32(settings.get(number).toLongLong())); };
    Look look;
    look.back = colour(SettingNo::AgdBackColor);
    look.fore = colour(SettingNo::AgdForeColor);
    look.title = colour(SettingNo::AgdTitleColor);
    look.weekend = colour(SettingNo::AgdSatSunColor);
    look.holiday = colour(SettingNo::AgdDayFeriesColor);
    look.today = colour(SettingNo::AgdChangeColor);
    look.pictureStyle = settings.get(SettingNo::AgdWallPaperStyle).toInt();
    look.dayStart = settings.get(SettingNo::AgdDayStart).toInt();
    look.locale = AlarmWidgets::interfaceLocale();
    look.weekHeader = langText(2906);
    return look;
}

QFont MonthGrid::fontFromSettings()
{
    const ClsRegistry& settings = registry();
    QFont font(settings.get(SettingNo::AgdFontName).toString());
    font.setPointSize(settings.get(SettingNo::AgdFontSize).toInt());
    font.setBold(settings.get(SettingNo::AgdFontBold).toInt() != 0);
    font.setItalic(settings.get(SettingNo::AgdFontItalic).toInt() != 0);
    return font;
}

MonthGrid::MonthGrid(QWidget* parent)
    : QWidget(parent)
    , m_layout(QDate::currentDate().year(), QDate::currentDate().month(), 0)
    , m_selected(QDate::currentDate())
    , m_today(QDate::currentDate())
{
    setObjectName(QStringLiteral("monthGrid"));
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

void MonthGrid::setLook(const Look& look)
{
    m_look = look;
    m_layout = MonthLayout(m_selected.year(), m_selected.month(), look.dayStart);
    update();
}

void MonthGrid::setContent(const QList<MonthOccurrences::Occurrence>& notes, const QMap<QDate, QString>& holidays)
{
    m_notes.clear();
    for (const auto& note : notes)
        m_notes[note.day] << note;
    m_holidays = holidays;
    update();
}

void MonthGrid::setToday(const QDate& today)
{
    if (today != m_today) {
        m_today = today;
        update();
    }
}

void MonthGrid::setSelectedDate(const QDate& date)
{
    if (!date.isValid() || date == m_selected)
        return;
    const bool otherMonth = date.year() != m_layout.year() || date.month() != m_layout.month();
    m_selected = date;
    if (otherMonth) {
        m_layout = MonthLayout(date.year(), date.month(), m_look.dayStart);
        emit monthChanged(date.year(), date.month());
    }
    emit selectionChanged(date);
    update();
}

QRectF MonthGrid::gridArea() const
{
    return QRectF(WeekWidth, HeaderHeight, width() - WeekWidth, height() - HeaderHeight);
}

QRect MonthGrid::cellRect(const QDate& date) const
{
    const auto [row, column] = m_layout.cellOf(date);
    if (row < 0)
        return {};
    const QRectF area = gridArea();
    const qreal w = area.width() / MonthLayout::Columns;
    const qreal h = area.height() / MonthLayout::Rows;
    return QRectF(area.left() + column * w, area.top() + row * h, w, h).toAlignedRect();
}

QDate MonthGrid::dateAt(const QPoint& point) const
{
    const QRectF area = gridArea();
    if (!area.contains(point))
        return {};
    const int column = int((point.x() - area.left()) / (area.width() / MonthLayout::Columns));
    const int row = int((point.y() - area.top()) / (area.height() / MonthLayout::Rows));
    return m_layout.dateAt(qBound(0, row, MonthLayout::Rows - 1), qBound(0, column, MonthLayout::Columns - 1));
}

QString MonthGrid::cellText(const QDate& date) const
{
    const auto notes = m_notes.value(date);
    if (notes.isEmpty())
        return {};
    const QString first = notes.first().text.section(QLatin1Char('\n'), 0, 0);
    return notes.size() == 1 ? first : QStringLiteral("(%1) %2").arg(notes.size()).arg(first);
}

QString MonthGrid::toolTipFor(const QDate& date) const
{
    QStringList lines;
    lines << m_look.locale.toString(date, QLocale::LongFormat);
    if (const QString holiday = m_holidays.value(date); !holiday.isEmpty())
        lines << holiday;
    for (const auto& note : m_notes.value(date)) {
        QString line
            = note.alarm.isValid() ? m_look.locale.toString(note.alarm.time(), QStringLiteral("HH:mm ")) : QString();
        line += note.text.section(QLatin1Char('\n'), 0, 0);
        if (note.age >= 0)
            line += QStringLiteral(" (%1)").arg(note.age);
        lines << line;
    }
    return lines.join(QLatin1Char('\n'));
}

void MonthGrid::paintBackground(QPainter& painter)
{
    painter.fillRect(rect(), m_look.back);
    if (m_look.picture.isNull())
        return;
    switch (m_look.pictureStyle) {
    case 1:
        painter.drawTiledPixmap(rect(), QPixmap::fromImage(m_look.picture));
        break;
    case 2:
        painter.drawImage(rect(), m_look.picture);
        break;
    default: {
        const QSize size = m_look.picture.size();
        painter.drawImage(QPoint((width() - size.width()) / 2, (height() - size.height()) / 2), m_look.picture);
    }
    }
}

void MonthGrid::paintCell(QPainter& painter, const QDate& date, const QRectF& cell)
{
    const bool inMonth = m_layout.inMonth(date);
    const bool weekend = date.dayOfWeek() >= Qt::Saturday;
    const bool holiday = m_holidays.contains(date);
    if (holiday)
        painter.fillRect(cell, withAlpha(m_look.holiday, 200));
    else if (weekend)
        painter.fillRect(cell, withAlpha(m_look.weekend, 170));
    painter.setPen(withAlpha(m_look.fore, 60));
    painter.drawRect(cell);
    QFont bold = font();
    bold.setBold(true);
    painter.setFont(bold);
    painter.setPen(inMonth ? m_look.fore : withAlpha(m_look.fore, 110));
    const QRectF inner = cell.adjusted(4, 2, -4, -2);
    painter.drawText(inner, Qt::AlignTop | Qt::AlignRight, QString::number(date.day()));
    if (const QString text = cellText(date); !text.isEmpty()) {
        QFont small = font();
        small.setPointSizeF(std::max(6.0, font().pointSizeF() * 0.8));
        painter.setFont(small);
        painter.setPen(inMonth ? m_look.fore : withAlpha(m_look.fore, 110));
        const QRectF below = inner.adjusted(0, QFontMetricsF(bold).height(), 0, 0);
        const QString shown = QFontMetricsF(small).elidedText(text, Qt::ElideRight, below.width());
        painter.drawText(below, Qt::AlignTop | Qt::AlignLeft, shown);
        painter.setBrush(m_look.today);
        painter.setPen(Qt::NoPen);
        painter.drawEllipse(QPointF(inner.left() + 4, inner.top() + 6), 3.5, 3.5); // a mark even when elided
        painter.setBrush(Qt::NoBrush);
    }
    if (date == m_today) {
        painter.setPen(QPen(m_look.today, 2.5));
        painter.drawRect(cell.adjusted(1.5, 1.5, -1.5, -1.5));
    }
    if (m_showSelection && date == m_selected) {
        painter.setPen(QPen(palette().highlight().color(), hasFocus() ? 2 : 1, Qt::DashLine));
        painter.drawRect(cell.adjusted(4, 4, -4, -4));
    }
}

void MonthGrid::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    paintBackground(painter);
    const QRectF area = gridArea();
    const qreal w = area.width() / MonthLayout::Columns;
    const qreal h = area.height() / MonthLayout::Rows;
    QFont header = font();
    header.setBold(true);
    painter.setFont(header);
    painter.setPen(m_look.title);
    painter.drawText(QRectF(0, 0, WeekWidth, HeaderHeight), Qt::AlignCenter, m_look.weekHeader);
    for (int column = 0; column < MonthLayout::Columns; ++column) {
        const QString name = m_look.locale.dayName(m_layout.weekdayOf(column), QLocale::ShortFormat);
        painter.drawText(QRectF(area.left() + column * w, 0, w, HeaderHeight), Qt::AlignCenter, name);
    }
    for (int row = 0; row < MonthLayout::Rows; ++row) {
        painter.setFont(header);
        painter.setPen(m_look.title);
        painter.drawText(
            QRectF(0, area.top() + row * h, WeekWidth, h), Qt::AlignCenter, QString::number(m_layout.weekNumber(row)));
        for (int column = 0; column < MonthLayout::Columns; ++column)
            paintCell(
                painter, m_layout.dateAt(row, column), QRectF(area.left() + column * w, area.top() + row * h, w, h));
    }
}

void MonthGrid::mousePressEvent(QMouseEvent* event)
{
    if (const QDate date = dateAt(event->position().toPoint()); date.isValid())
        setSelectedDate(date);
    QWidget::mousePressEvent(event);
}

void MonthGrid::mouseDoubleClickEvent(QMouseEvent* event)
{
    if (const QDate date = dateAt(event->position().toPoint()); date.isValid()) {
        setSelectedDate(date);
        emit dayActivated(date);
    }
}

void MonthGrid::keyPressEvent(QKeyEvent* event)
{
    const bool control = event->modifiers() & Qt::ControlModifier;
    switch (event->key()) {
    case Qt::Key_Left:
        setSelectedDate(m_selected.addDays(-1));
        break;
    case Qt::Key_Right:
        setSelectedDate(m_selected.addDays(1));
        break;
    case Qt::Key_Up:
        setSelectedDate(m_selected.addDays(-7));
        break;
    case Qt::Key_Down:
        setSelectedDate(m_selected.addDays(7));
        break;
    case Qt::Key_PageUp:
        setSelectedDate(control ? m_selected.addYears(-1) : m_selected.addMonths(-1));
        break;
    case Qt::Key_PageDown:
        setSelectedDate(control ? m_selected.addYears(1) : m_selected.addMonths(1));
        break;
    case Qt::Key_Home:
        setSelectedDate(m_today);
        break;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        emit dayActivated(m_selected);
        break;
    default:
        QWidget::keyPressEvent(event);
    }
}

bool MonthGrid::event(QEvent* event)
{
    if (event->type() == QEvent::ToolTip) {
        auto* help = static_cast<QHelpEvent*>(event);
        const QDate date = dateAt(help->pos());
        if (date.isValid())
            QToolTip::showText(help->globalPos(), toolTipFor(date), this, cellRect(date));
        else
            QToolTip::hideText();
        return true;
    }
    return QWidget::event(event);
}
