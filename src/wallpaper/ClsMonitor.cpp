#include "ClsMonitor.h"

#include "X11Monitors.h"

#include <QGuiApplication>
#include <QScreen>
#include <QWindow>

#include <cmath>
#include <limits>

namespace {

// Squared distance from a point to a rectangle; 0 inside it.
qint64 distanceSquared(const QRect& rect, const QPoint& point)
{
    const qint64 dx = point.x() < rect.left() ? rect.left() - point.x()
        : point.x() > rect.right()            ? point.x() - rect.right()
                                              : 0;
    const qint64 dy = point.y() < rect.top() ? rect.top() - point.y()
        : point.y() > rect.bottom()          ? point.y() - rect.bottom()
                                             : 0;
    return dx * dx + dy * dy;
}

bool fitsInt32(double value)
{
    return value >= std::numeric_limits<qint32>::min() && value <= std::numeric_limits<qint32>::max();
}

// A screen's rectangle in the device pixels the desktop and the X server count: Qt keeps each
// screen's top-left corner where the system puts it and scales sizes and offsets from it by the
// screen's ratio (2 at 200 %, 1.5 at 150 %).
QRect devicePixels(const QRect& logical, const QPoint& screenOrigin, double ratio)
{
    const auto scaled = [ratio](int value) { return int(std::lround(value * ratio)); };
    const QPoint offset = logical.topLeft() - screenOrigin;
    return {screenOrigin + QPoint(scaled(offset.x()), scaled(offset.y())),
        QSize(scaled(logical.width()), scaled(logical.height()))};
}

} // namespace

void ClsMonitor::refresh()
{
    QList<Record> records;
    double twipsX = 15.0;
    double twipsY = 15.0;
    if (auto* app = qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
        const QScreen* primary = app->primaryScreen();
        for (QScreen* screen : app->screens()) {
            Record record;
            record.handle = reinterpret_cast<quintptr>(screen);
            record.monitor = devicePixels(screen->geometry(), screen->geometry().topLeft(), screen->devicePixelRatio());
            record.workArea
                = devicePixels(screen->availableGeometry(), screen->geometry().topLeft(), screen->devicePixelRatio());
            record.flags = screen == primary ? PrimaryFlag : 0;
            record.name = screen->name();
            records.append(record);
        }
        if (primary) { // twips are counted on the logical pixels the user sees
            twipsX = 1440.0 / (primary->logicalDotsPerInchX() * primary->devicePixelRatio());
            twipsY = 1440.0 / (primary->logicalDotsPerInchY() * primary->devicePixelRatio());
        }
    } else if (const auto fromX11 = x11Monitors()) {
        records = *fromX11; // a process without a GUI application asks the X server itself
    }
    const quintptr currentHandle = m_current <= m_records.size() ? m_records[m_current - 1].handle : 0;
    setRecords(records, twipsX, twipsY);
    setCurrentMonitor(numberFromHandle(currentHandle));
}

void ClsMonitor::setRecords(const QList<Record>& records, double twipsPerPixelX, double twipsPerPixelY)
{
    m_records = records;
    m_twipsX = twipsPerPixelX;
    m_twipsY = twipsPerPixelY;
    if (m_current > m_records.size())
        m_current = 1;
}

void ClsMonitor::setCurrentMonitor(int number)
{
    m_current = (number >= 1 && number <= m_records.size()) ? number : 1;
}

std::optional<ClsMonitor::Size> ClsMonitor::toSize(const QRect& rect, Unit unit) const
{
    const double fx = unit == Unit::Twips ? m_twipsX : 1.0;
    const double fy = unit == Unit::Twips ? m_twipsY : 1.0;
    const double values[4] = {rect.x() * fx, rect.y() * fy, double(rect.width()) * fx, double(rect.height()) * fy};
    for (double value : values) {
        if (!fitsInt32(value))
            return std::nullopt;
    }
    return Size {qint32(std::lround(values[0])), qint32(std::lround(values[1])), qint32(std::lround(values[2])),
        qint32(std::lround(values[3]))};
}

std::optional<ClsMonitor::Size> ClsMonitor::monitorSize(int number, Unit unit) const
{
    if (number < 1 || number > m_records.size())
        return std::nullopt;
    return toSize(m_records[number - 1].monitor, unit);
}

std::optional<ClsMonitor::Size> ClsMonitor::workAreaSize(int number, Unit unit) const
{
    if (number < 1 || number > m_records.size())
        return std::nullopt;
    return toSize(m_records[number - 1].workArea, unit);
}

int ClsMonitor::monitorFromPoint(const QPoint& point) const
{
    if (m_singleMonitor || m_records.isEmpty())
        return 1;
    int best = 1;
    qint64 bestDistance = std::numeric_limits<qint64>::max();
    for (int i = 0; i < m_records.size(); ++i) {
        const qint64 distance = distanceSquared(m_records[i].monitor, point);
        if (distance < bestDistance) {
            bestDistance = distance;
            best = i + 1;
        }
    }
    return best;
}

int ClsMonitor::monitorFromWindow(const QWindow* window) const
{
    if (m_singleMonitor || m_records.isEmpty() || !window)
        return 1;
    const QRect frame = window->frameGeometry();
    int best = 0;
    qint64 bestArea = 0;
    for (int i = 0; i < m_records.size(); ++i) {
        const QRect overlap = m_records[i].monitor.intersected(frame);
        const qint64 area = qint64(overlap.width()) * overlap.height();
        if (area > bestArea) {
            bestArea = area;
            best = i + 1;
        }
    }
    return best ? best : monitorFromPoint(frame.center());
}

int ClsMonitor::numberFromHandle(quintptr handle) const
{
    if (m_singleMonitor || m_records.isEmpty())
        return 1;
    for (int i = 0; i < m_records.size(); ++i) {
        if (m_records[i].handle == handle)
            return i + 1;
    }
    return 1;
}

ClsMonitor::Size ClsMonitor::virtualScreen(Unit unit) const
{
    QRect united;
    for (const Record& record : m_records)
        united = united.united(record.monitor);
    return toSize(united, unit).value_or(Size {});
}
