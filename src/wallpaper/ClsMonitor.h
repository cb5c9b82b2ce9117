#pragma once

#include <QList>
#include <QRect>

#include <optional>

class QWindow;

// The monitors of the desktop, numbered from 1 in the order the system lists them, and the
// questions the wallpaper renderer asks about them.
class ClsMonitor
{
public:
    enum class Unit
    {
        Pixels = 0,
        Twips = 1
    };

    struct Record
    {
        quintptr handle = 0; // identifies the screen across refreshes
        QRect monitor;       // the monitor's rectangle in the virtual screen, in device pixels
        QRect workArea;      // the part not taken by panels and docks, in device pixels
        quint32 flags = 0;   // PrimaryFlag for the primary monitor
        QString name;        // the output's name ("HDMI-1"), empty when the system gives none
    };

    // Left, top, width and height of a monitor or work area in the unit asked for.
    struct Size
    {
        qint32 left = 0;
        qint32 top = 0;
        qint32 width = 0;
        qint32 height = 0;
    };

    static constexpr quint32 PrimaryFlag = 1;

    /// Rebuilds the list from the screens Qt knows; keeps the current monitor when it still exists.
    void refresh();

    /// Replaces the list (tests, and platforms that report monitors their own way).
    void setRecords(const QList<Record>& records, double twipsPerPixelX = 15.0, double twipsPerPixelY = 15.0);

    int count() const { return int(m_records.size()); }
    const QList<Record>& records() const { return m_records; }

    /// When set, every look-up answers monitor 1.
    void setSingleMonitor(bool single) { m_singleMonitor = single; }
    bool singleMonitor() const { return m_singleMonitor; }

    /// The monitor the renderer works on; 1 unless chosen otherwise.
    int currentMonitor() const { return m_current; }
    void setCurrentMonitor(int number);

    /// Rectangle of a monitor; empty when the number is outside the list or a value overflows.
    std::optional<Size> monitorSize(int number, Unit unit = Unit::Pixels) const;
    /// Work area of a monitor, with the same rules.
    std::optional<Size> workAreaSize(int number, Unit unit = Unit::Pixels) const;

    /// The output name of a monitor; empty when unknown or outside the list.
    QString monitorName(int number) const
    {
        return number >= 1 && number <= m_records.size() ? m_records[number - 1].name : QString();
    }

    /// Number of the monitor holding the point, or else the nearest one.
    int monitorFromPoint(const QPoint& point) const;
    /// Number of the monitor showing most of the window, or else the nearest one.
    int monitorFromWindow(const QWindow* window) const;
    /// Number of the monitor with that handle; 1 when none has it.
    int numberFromHandle(quintptr handle) const;

    /// The rectangle spanning every monitor, in the unit asked for.
    Size virtualScreen(Unit unit = Unit::Pixels) const;

private:
    std::optional<Size> toSize(const QRect& rect, Unit unit) const;

    QList<Record> m_records;
    bool m_singleMonitor = false;
    int m_current = 1;
    double m_twipsX = 15.0;
    double m_twipsY = 15.0;
};
