#pragma once

#include "TempXdgHome.h"

#include <QProcess>
#include <QRect>
#include <QSettings>

#include <memory>

// One user's session for the real program: a temporary home, the processes started in it, and
// the ways a test looks at them (the trace log, the X display, the settings file).
class E2eSession
{
public:
    E2eSession();
    ~E2eSession();

    /// Starts the program with arguments; the session stops it at the end if it still runs.
    QProcess* start(const QStringList& arguments);
    /// Starts any other program (a tray host, ...), stopped at the end.
    QProcess* startHelper(const QString& program, const QStringList& arguments);
    /// Runs the program as a terminal client; returns its exit code (-1 if it crashed).
    int client(const QStringList& arguments, QString* output = nullptr);

    QString logPath() const;
    QString log() const;
    /// Waits until the log holds `text` `count` times.
    bool waitForLog(const QString& text, int count = 1, int timeoutMs = 15000) const;
    /// Lines of the log, in order.
    QStringList logLines() const { return log().split(QStringLiteral("\r\n")); }
    /// True when every expected prefix appears in order (an empty one matches an empty line).
    static bool inOrder(const QStringList& lines, const QStringList& expectedPrefixes, QString* missing);

    QSettings configFile() const;
    TempXdgHome& home() { return *m_home; }

    static QString run(const QString& program, const QStringList& arguments);
    /// Screen rectangles of the program's windows on the display (xwininfo), with their names.
    static QList<QPair<QString, QRect>> programWindows();
    /// Screen rectangle of the program's icon docked in a tray host; empty while there is none.
    static QRect trayIconGeometry();
    /// The context menu's rectangle while it is open; empty otherwise.
    static QRect openMenuGeometry();

private:
    std::unique_ptr<TempXdgHome> m_home;
    QList<QProcess*> m_processes;
};
