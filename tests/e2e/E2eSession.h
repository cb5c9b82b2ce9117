#pragma once

#include "TempXdgHome.h"

#include <QObject>
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

    /// Starts `program` (the program itself by default); the session stops it at the end.
    QProcess* start(const QStringList& arguments, const QString& program = QStringLiteral(TAPISOL_PROGRAM));
    /// Starts the program with /trace /silent and waits until it has loaded (nullptr if it does not).
    QProcess* startLoaded();
    /// Runs the program as a terminal client; returns its exit code (-1 if it crashed).
    int client(const QStringList& arguments, QString* output = nullptr);
    /// Hands command `n` to the running instance; true when it took it.
    bool command(int n) { return client({QStringLiteral("--command"), QString::number(n)}) == 0; }
    /// The Exit command, then waits for `instance` to end.
    bool exit(QProcess* instance) { return command(17) && instance->waitForFinished(15000); }

    QString logPath() const { return m_home->tapisolDataDir() + QStringLiteral("Tapisol.log"); }
    QString log() const;
    /// Waits until the log holds `text` `count` times.
    bool waitForLog(const QString& text, int count = 1) const;
    /// True when the log has a line starting with each prefix ('|' between them), in this order
    /// (an empty prefix matches an empty line); else the first one missing is in `missing`.
    bool logInOrder(const QString& prefixes, QString* missing) const;

    QSettings configFile() const;
    TempXdgHome& home() { return *m_home; }

    /// Runs a tool with space-separated arguments (`more` for those with spaces); its output.
    static QString run(const QString& commandLine, const QStringList& more = {});
    /// Runs one SQL statement on `database` with the sqlite3 shell (waiting up to 5 s for a lock);
    /// its output.
    static QString sql(const QString& database, const QString& statement);
    /// Key presses (xdotool names, space-separated) and typed text, each followed by a short
    /// pause for the window to answer.
    static void keys(const QString& list);
    static void type(const QString& text);
    /// Presses `key` in `window` (an X window id), which may close on it.
    static void pressKeyIn(const QString& window, const QString& key);
    /// Presses Return in the first visible window whose name matches `pattern`, waiting for one
    /// when `wait` is set; false when there was none.
    static bool pressReturnIn(const QString& pattern, bool wait = true);
    /// Screen rectangle of the program's icon docked in a tray host; empty while there is none.
    static QRect trayIconGeometry() { return programWindow(false); }
    /// The context menu's rectangle while it is open; empty otherwise.
    static QRect openMenuGeometry() { return programWindow(true); }

private:
    static QRect programWindow(bool menu);

    std::unique_ptr<TempXdgHome> m_home;
    QList<QProcess*> m_processes;
};

// The base of the end-to-end test classes: a fresh session for each test function.
class E2eTest : public QObject
{
    Q_OBJECT

protected:
    std::unique_ptr<E2eSession> s;

protected slots:
    void init() { s = std::make_unique<E2eSession>(); }
    void cleanup() { s.reset(); }
};
