#pragma once

#include "AutoModeSchedule.h"
#include "CommandDispatcher.h"
#include "SecondDispatcher.h"
#include "TrayMenuModel.h"
#include "TrayServices.h"

#include <QPointer>
#include <QSystemTrayIcon>
#include <QTimer>
#include <QWidget>

#include <functional>
#include <memory>

class ClsMonitor;
class QMenu;
class FrmParam;
class StatusNotifierItem;

// The tray form: never shown, it owns the notification-area icon, the context menu, the
// one-second dispatcher and the chime's timer, runs the numbered commands and guards the exit:
// only the Exit command lets it unload.
class FrmSysTray : public QWidget, private TrayView
{
    Q_OBJECT

public:
    struct Parts
    {
        ClsMonitor* monitors = nullptr;
        WallpaperEngine* wallpaper = nullptr;
        AlarmScanner* alarms = nullptr;
        Chime* chime = nullptr;
        std::function<void()> closeDatabase; // closes and compacts the database at exit
        // Settings the settings dialog previewed, dropped or wrote: what shows them follows.
        std::function<void(const QList<int>&)> settingsChanged;
    };

    explicit FrmSysTray(Parts parts, QWidget* parent = nullptr);
    ~FrmSysTray() override;

    /// The load sequence: icon, texts, settings, sources, timers, the first wallpaper.
    void load();

    /// The Exit command: sets both exit flags and unloads the form. Emits unloaded() when done.
    void exitProgram();

    /// Switches auto mode on or off ("TurnTimer").
    void turnTimer(bool on);

    CommandDispatcher& dispatcher() { return m_dispatcher; }
    QSystemTrayIcon* trayIcon() const { return m_icon; }
    bool autoMode() const { return m_schedule.isOn(); }
    bool isBusy() const { return m_busy; }
    void setBusy(bool busy);

    /// Runs one tick of the one-second dispatcher (the timer calls it; tests may too).
    void timerSecondTick();

signals:
    /// The unload sequence has run; the program may end.
    void unloaded();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    // TrayView
    int loadedFormCount() const override;
    bool aboutBoxOpen() const override;
    void showSecondsLeft(qint64 seconds) override;
    void setTipText(const QString& text) override;
    void refreshCalendarClock() override;

    void installCommands();
    void putIconInTray();
    void keepIconDocked();
    void tellNoTrayOnce();
    void startOwnStatusNotifierItem();
    void onActivated(QSystemTrayIcon::ActivationReason reason);
    void buildMenu();
    void refreshMenu();
    void runDefaultCommand();
    bool raiseOpenForms();
    QList<TrayMenuEntry> currentMenuEntries() const;
    void watchScreens();
    void onScreensChanged();
    void unloadSequence();
    void startCompanion(const QString& program, const QStringList& arguments);
    void startScreenSaver();
    void showAbout();
    void showSettings();
    void loadHotkeys();
    void registerHotkeys();
    int intervalMinutes() const;

    Parts m_parts;
    NoWallpaperEngine m_noWallpaper;
    NoAlarmScanner m_noAlarms;
    AutoModeSchedule m_schedule;
    CommandDispatcher m_dispatcher;
    std::unique_ptr<SecondDispatcher> m_second;
    QSystemTrayIcon* m_icon = nullptr;
    QMenu* m_menu = nullptr;
    QPointer<FrmParam> m_settings; // the settings dialog while it is open
    class ClsRegHotKey* m_hotkeys = nullptr;
    class HourChime* m_chime = nullptr;
    qint64 m_secondsLeft = -1;
    QList<QAction*> m_menuActions; // one per entry of the menu model, separators included
    bool m_statusNotifier = false; // the icon is a StatusNotifierItem, its menu exported over DBusMenu
    // Our own item, for a StatusNotifierItem host that came after Qt had chosen XEmbed.
    StatusNotifierItem* m_ownItem = nullptr;
    // Seconds in a row such a host was there without an XEmbed one.
    int m_statusNotifierHostSeen = 0;
    QTimer m_timerSecond;
    QTimer m_screensSettle;
    QString m_tip;
    bool m_iconDocked = false;
    bool m_toldNoTray = false;
    qint64 m_trayHost = 0; // the XEmbed tray host's window on X11
    bool m_busy = false;
    bool m_loaded = false;
    bool m_quitting = false; // the two exit flags: only the Exit command sets them
    bool m_unloadAllowed = false;
    bool m_unloaded = false;
    bool m_aboutOpen = false;
};
