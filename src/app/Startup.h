#pragma once

#include "ClsMonitor.h"

#include <QDate>
#include <QMessageBox>
#include <QObject>
#include <QPointer>
#include <QStringList>

#include <functional>
#include <memory>

class SingleInstance;
class SignalWatcher;
class FrmSysTray;
class FrmTrace;
class WallpaperChanger;
class AlarmWindows;
class FrmNotes;
class FrmAgenda;
class FrmAlbums;
class FrmAssistSon;
class QTimer;
class AlarmScanner;

// The program's start-up sequence and its orderly ending.
//
// run() takes the fourteen start-up steps in order; the program then lives in the event loop
// until the Exit command, SIGTERM/SIGINT/SIGHUP or the end of the desktop session calls
// shutdown(), which unloads every form, writes the settings and ends the loop.
class Startup : public QObject
{
    Q_OBJECT

public:
    explicit Startup(QObject* parent = nullptr);
    ~Startup() override;

    /// Runs the start-up steps. Returns -1 when the program goes on into the event loop,
    /// otherwise the exit code of an early end (second instance, unusable runtime folder).
    int run(const QStringList& arguments);

    /// Runs one numbered command as the menu and `--command` do. Returns an empty text, or why
    /// the command was refused.
    QString runCommand(int command);
    void dispatchWhenSettled(int command);

    /// Ends the program through the unload sequence; safe to call more than once.
    void shutdown();

    ClsMonitor& monitors() { return m_monitors; }
    FrmSysTray* trayForm() const { return m_tray; }

    /// The interface language settled from the `Langue` setting: trimmed, "FRA" when empty or
    /// when no language file exists for it.
    static QString settleLanguage(const QString& configured);

    /// The help page for a language, the French one when that language has none.
    static QString helpFileFor(const QString& languageCode);

signals:
    /// Emitted once the unload sequence has run; the event loop ends right after.
    void finished();

private:
    void writeSessionHeader(const QString& commandLine);
    bool refuseSecondInstance();
    void testSoundCard();
    void recordInstallDir();
    QString onMessage(const QString& name, const QString& argument);
    void requestShutdown();
    bool guarded(const char* step, const std::function<void()>& work);
    void showStartMessage(QMessageBox::Icon icon, const QString& text);
    bool openDatabase();
    void loadTrayForm();
    void loadNotes();
    void showNotes(const QDate& day, qint64 numero = 0);
    void showAgenda();
    void showAlbums();
    void showAssistant();
    void setCalendarOnDesktop(bool on);
    void redrawCalendarOnDesktop();
    void followCalendarSettings(const QList<int>& numbers);
    void finish();

    ClsMonitor m_monitors;
    std::unique_ptr<SingleInstance> m_instance;
    SignalWatcher* m_signals = nullptr;
    FrmSysTray* m_tray = nullptr;
    WallpaperChanger* m_changer = nullptr;
    AlarmWindows* m_alarms = nullptr;
    std::unique_ptr<AlarmScanner> m_alarmScanner;
    QPointer<FrmNotes> m_notes;         // the note editor while it is open
    QPointer<FrmAgenda> m_agenda;       // the calendar while it is open
    QPointer<FrmAlbums> m_albums;       // the album window while it is open
    QPointer<FrmAssistSon> m_assistant; // the slideshow assistant while it is open
    QTimer* m_calendarRedraw = nullptr; // a note changed: the desktop's calendar follows, once
    QDate m_calendarDay;                // the day the desktop's calendar shows
    FrmTrace* m_traceWindow = nullptr;
    bool m_shuttingDown = false;
    bool m_started = false;               // every start-up step has run
    bool m_exitPending = false;           // an end asked for before that
    QPointer<QMessageBox> m_startMessage; // the message box a start-up step waits on
    QList<int> m_pendingCommands;
};
