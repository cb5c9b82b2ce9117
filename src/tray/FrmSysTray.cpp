#include "FrmSysTray.h"

#include "AppPaths.h"
#include "AppState.h"
#include "Clock.h"
#include "ClsMonitor.h"
#include "ClsRegHotKey.h"
#include "ClsRegistry.h"
#include "FrmAbout.h"
#include "FrmHotKeys.h"
#include "FrmParam.h"
#include "HotkeyNames.h"
#include "HotkeyText.h"
#include "HourChime.h"
#include "InterfaceTexts.h"
#include "MediaFolders.h"
#include "PlayerLaunch.h"
#include "SoundService.h"
#include "SourceSelection.h"
#include "SplashScreen.h"
#include "Trace.h"
#include "TrayMenuModel.h"
#include "UnloadAll.h"
#include "WallpaperBackends.h"
#include "portal/PortalHotkeyBackend.h"
#include "statusnotifier/StatusNotifierItem.h"
#include "x11/X11HotkeyBackend.h"

#include <QApplication>
#include <QCloseEvent>
#include <QCursor>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QMenu>
#include <QPointer>
#include <QProcess>
#include <QScreen>
#include <QStandardPaths>
#include <QUrl>

#include <xcb/xcb.h>

namespace {

// Auto mode at start is what the user left at the last exit; it is not one of the numbered settings.
const QString AutoModeValue = QStringLiteral("ModeAuto");
// Where the translation tool can be had when it is not installed beside the program.
const QString TranslationPage = QStringLiteral("https://tapisol.orvenne.org/traduction");
// The windows a left click on the icon brings forward.
const char* const RaisedForms[] = {"FrmNotes", "FrmAssistSon", "FrmParam", "FrmAgenda", "FrmAlbums"};

// Whether a StatusNotifierItem host is registered on the session bus, as Qt asks it before it
// makes a tray icon one.
bool statusNotifierHostRegistered()
{
    QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.kde.StatusNotifierWatcher"),
        QStringLiteral("/StatusNotifierWatcher"), QStringLiteral("org.freedesktop.DBus.Properties"),
        QStringLiteral("Get"));
    call << QStringLiteral("org.kde.StatusNotifierWatcher") << QStringLiteral("IsStatusNotifierHostRegistered");
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, 1000);
    return reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty()
        && reply.arguments().first().value<QDBusVariant>().variant().toBool();
}

// The window of the XEmbed tray host of the screen, 0 when none runs; -1 off X11. Qt notices a
// new tray host by a message it may miss under load, so the tray form looks for itself.
qint64 trayHostWindow()
{
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    xcb_connection_t* connection = x11 ? x11->connection() : nullptr;
    if (!connection)
        return -1;
    static xcb_atom_t selection = [connection] {
        const QByteArray name = QByteArrayLiteral("_NET_SYSTEM_TRAY_S") + QByteArray::number(0);
        xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(
            connection, xcb_intern_atom(connection, 0, quint16(name.size()), name.constData()), nullptr);
        const xcb_atom_t atom = reply ? reply->atom : XCB_NONE;
        free(reply);
        return atom;
    }();
    xcb_get_selection_owner_reply_t* reply
        = xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, selection), nullptr);
    const qint64 owner = reply ? reply->owner : 0;
    free(reply);
    return owner;
}

QString yesNo(bool value)
{
    return value ? QStringLiteral("Vrai") : QStringLiteral("Faux");
}

} // namespace

FrmSysTray::FrmSysTray(Parts parts, QWidget* parent)
    : QWidget(parent)
    , m_parts(std::move(parts))
{
    setObjectName(QStringLiteral("FrmSysTray"));
    if (!m_parts.wallpaper)
        m_parts.wallpaper = &m_noWallpaper;
    if (!m_parts.alarms)
        m_parts.alarms = &m_noAlarms;
    if (!m_parts.chime) {
        // The chime paces its strikes with a timer of its own.
        HourChime::Hooks hooks;
        hooks.play
            = [](const QStringList& list, int item) { SoundService::instance().playItem(list.join('\t'), item); };
        hooks.quiet = [] { return SoundService::instance().quietAll(); };
        hooks.setting = [](int number) { return registry().get(number).toInt(); };
        hooks.soundFile
            = [](const QString& name) { return MediaFolders::findFile(MediaFolders::Folder::Sounds, name); };
        m_chime = new HourChime(hooks, this);
        m_parts.chime = m_chime;
    }
    m_second = std::make_unique<SecondDispatcher>(SecondDispatcher::Parts {
        this, m_parts.wallpaper, m_parts.alarms, m_parts.chime, &m_schedule, [this] { return intervalMinutes(); }});
    installCommands();
}

FrmSysTray::~FrmSysTray() = default;

void FrmSysTray::load()
{
    TAPISOL_TRACE(QStringLiteral("SY, Begin"));
    setWindowTitle(QStringLiteral("OrvenneTapisolSystray"));

    putIconInTray();
    TAPISOL_TRACE(QStringLiteral("FP Gradient"));
    TAPISOL_TRACE(QStringLiteral("SY Set Languages"));

    // The player is not installed as a system screen saver on Linux: the desktop runs its own.
    const QString player = AppPaths::programDir() + QStringLiteral("defilor");
    TAPISOL_TRACE(QStringLiteral("SY Load ") + player
        + (QFileInfo::exists(player) ? QStringLiteral(" existe.") : QStringLiteral(" n'existe pas.")));
    TAPISOL_TRACE(QStringLiteral("SY Load SCR, pas d'économiseur à mettre à jour sous Linux."));

    QPointer<SplashScreen> splash;
    if (registry().get(SettingNo::Splash).toInt() != 0 && !appState().silent) {
        TAPISOL_TRACE(QStringLiteral("SY SplashScreen"));
        splash = new SplashScreen;
        splash->setAttribute(Qt::WA_DeleteOnClose);
        splash->show();
    }
    TAPISOL_TRACE(QStringLiteral("SY LoadHKey "));
    loadHotkeys();

    TAPISOL_TRACE(QStringLiteral("SY Load registry"));
    const QVariant savedAuto = registry().rawValue(SettingGroup::Parametres, AutoModeValue);
    const bool autoMode = !savedAuto.isValid() || savedAuto.toInt() != 0; // on for a first start

    // The source's list itself is built by the wallpaper engine, off this thread.
    const QString source = SourceSelection::fromSettings(registry()).describe();
    TAPISOL_TRACE(QStringLiteral("Sy Charge TW OH=") + source);
    TAPISOL_TRACE(QStringLiteral("Sy TreeSearch=") + source);

    turnTimer(autoMode);
    TAPISOL_TRACE(QStringLiteral("SY Rec Created"));
    TAPISOL_TRACE(QStringLiteral("SY Unload SplashScreen"));
    if (splash) // long enough to be read, however quick the load
        QTimer::singleShot(1500, splash, &QWidget::close);

    if (registry().get(SettingNo::StartChange).toInt() != 0) {
        TAPISOL_TRACE(QStringLiteral("SY, Load Next WP"));
        m_parts.wallpaper->changeToNext();
    } else {
        m_parts.wallpaper->reapply();
    }

    connect(&m_timerSecond, &QTimer::timeout, this, &FrmSysTray::timerSecondTick);
    m_timerSecond.start(1000);
    watchScreens();
    m_loaded = true;
    refreshMenu();
    TAPISOL_TRACE(QStringLiteral("SY Load, End"));
}

void FrmSysTray::installCommands()
{
    m_dispatcher.setAction(0, [this] { showSettings(); });
    m_dispatcher.setAction(1, [this] { turnTimer(!m_schedule.isOn()); });
    m_dispatcher.setAction(2, [this] {
        m_busy = true;
        m_parts.wallpaper->changeToNext();
        m_busy = false;
        if (m_schedule.isOn())
            m_schedule.restart(appClock().now(), intervalMinutes());
    });
    // Quick access: the project, or back to the folder or album it stands in for.
    m_dispatcher.setAction(3, [this] {
        m_busy = true;
        m_parts.wallpaper->switchQuickSource();
        m_busy = false;
    });
    // The engine wrote the source (command 3, or an album chosen in the album window): the
    // countdown starts again with the new source, and what shows the source follows.
    m_parts.wallpaper->setOnSourceSwitched([this](const QHash<int, QVariant>& values) {
        if (m_settings)
            m_settings->sourceSwitched(values);
        if (m_schedule.isOn())
            m_schedule.restart(appClock().now(), intervalMinutes());
        refreshMenu();
    });
    m_dispatcher.setAction(4, [] {
        QString error;
        if (!PlayerLaunch::playFromTray(appState().trace, &error))
            TAPISOL_TRACE(QStringLiteral("SY ") + error);
    });
    m_dispatcher.setAction(9, [] {
        SoundService& sounds = SoundService::instance();
        sounds.setQuietAll(!sounds.quietAll());
    });
    m_dispatcher.setAction(11, [] { QDesktopServices::openUrl(QUrl::fromLocalFile(appState().helpFile)); });
    m_dispatcher.setAction(12, [this] {
        const QString tool = AppPaths::programDir() + QStringLiteral("Translation_Tool");
        if (QFileInfo(tool).isExecutable())
            startCompanion(tool, {});
        else
            QDesktopServices::openUrl(QUrl(TranslationPage));
    });
    m_dispatcher.setAction(14, [this] { showAbout(); });
    m_dispatcher.setAction(15, [this] {
        const QString picture = registry().get(SettingNo::CurrentWallPaper).toString();
        const QString editor = QStandardPaths::findExecutable(QStringLiteral("ciselor"));
        if (!editor.isEmpty()) {
            QStringList arguments;
            if (appState().trace)
                arguments << QStringLiteral("/trace");
            if (!picture.isEmpty())
                arguments << QStringLiteral("/open:") + picture;
            startCompanion(editor, arguments);
        } else if (!picture.isEmpty()) {
            QDesktopServices::openUrl(QUrl::fromLocalFile(picture));
        }
    });
    m_dispatcher.setAction(16, [this] { startScreenSaver(); });
    m_dispatcher.setAction(CommandDispatcher::Exit, [this] { exitProgram(); });
}

void FrmSysTray::turnTimer(bool on)
{
    TAPISOL_TRACE(QStringLiteral("SY TurnTimer ") + QString::number(on ? 1 : 0));
    m_schedule.turn(on, appClock().now(), intervalMinutes());
    registry().setRawValue(SettingGroup::Parametres, AutoModeValue, on ? -1 : 0);
    refreshMenu();
}

int FrmSysTray::intervalMinutes() const
{
    return registry().get(SettingNo::Intervalle).toInt();
}

void FrmSysTray::timerSecondTick()
{
    keepIconDocked();
    m_second->tick();
}

// --- the icon ---------------------------------------------------------------------------------

void FrmSysTray::putIconInTray()
{
    if (!m_icon) {
        // Qt makes the icon a StatusNotifierItem when a host has registered by now, an XEmbed
        // icon otherwise; the menu's look and the activation follow the same choice.
        m_statusNotifier = statusNotifierHostRegistered();
        QIcon icon(AppPaths::readOnlyDataDir() + QStringLiteral("icons/tapisol.svg"));
        m_icon = new QSystemTrayIcon(icon, this);
        m_icon->setToolTip(programTitle());
        connect(m_icon, &QSystemTrayIcon::activated, this, &FrmSysTray::onActivated);
        buildMenu();
        m_icon->setContextMenu(m_menu);
        TAPISOL_TRACE(QStringLiteral("SY, Intray ")
            + (m_statusNotifier ? QStringLiteral("StatusNotifierItem") : QStringLiteral("XEmbed")));
    }
    m_trayHost = trayHostWindow();
    m_iconDocked = m_trayHost > 0 || QSystemTrayIcon::isSystemTrayAvailable();
    if (!m_iconDocked) {
        TAPISOL_TRACE(QStringLiteral("SY, Intray, ") + langText(2124));
        tellNoTrayOnce();
        return;
    }
    // Showing again is what docks the icon into a tray host that (re)appeared.
    m_icon->hide();
    m_icon->show();
    TAPISOL_TRACE(QStringLiteral("SY, Intray, "));
}

// Without a tray there is nothing to click: the desktop's notification says what is missing,
// once, and how Tapisol can still be reached.
void FrmSysTray::tellNoTrayOnce()
{
    if (std::exchange(m_toldNoTray, true))
        return;
    QDBusMessage notify = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.Notifications"),
        QStringLiteral("/org/freedesktop/Notifications"), QStringLiteral("org.freedesktop.Notifications"),
        QStringLiteral("Notify"));
    notify << programTitle() << 0u << QStringLiteral("tapisol") << langText(2124) << langText(2649) << QStringList()
           << QVariantMap() << -1;
    QDBusConnection::sessionBus().call(notify, QDBus::NoBlock);
}

void FrmSysTray::keepIconDocked()
{
    if (m_ownItem)
        return; // it registers again with each new watcher, and an XEmbed host must not get a second icon
    const qint64 host = trayHostWindow();
    if (host > 0 && host != m_trayHost) {
        putIconInTray(); // an XEmbed tray host started, or restarted after a crash
        return;
    }
    m_trayHost = host;
    const bool available = host > 0 || QSystemTrayIcon::isSystemTrayAvailable();
    if (available && !m_iconDocked)
        putIconInTray(); // a StatusNotifierItem host came
    else if (!available)
        m_iconDocked = false;

    // Qt made an XEmbed icon (or none) and keeps that choice for the life of the process, so a
    // StatusNotifierItem host that came later gets an item of our own. A panel that offers both
    // may claim the XEmbed tray a moment after its watcher starts, hence two ticks in a row. The
    // name is looked up first so that a bus which could start a watcher on demand does not.
    QDBusConnectionInterface* bus = QDBusConnection::sessionBus().interface();
    const bool onlyStatusNotifierHost = !available && !m_statusNotifier && bus
        && bus->isServiceRegistered(QStringLiteral("org.kde.StatusNotifierWatcher")) && statusNotifierHostRegistered();
    m_statusNotifierHostSeen = onlyStatusNotifierHost ? m_statusNotifierHostSeen + 1 : 0;
    if (m_statusNotifierHostSeen >= 2)
        startOwnStatusNotifierItem();
}

void FrmSysTray::startOwnStatusNotifierItem()
{
    auto* item = new StatusNotifierItem(m_menu, this);
    if (!item->isExported()) {
        TAPISOL_TRACE(QStringLiteral("SY, Intray StatusNotifierItem (own) refusé par le bus"));
        delete item;
        m_statusNotifierHostSeen = -60; // a minute before the next try, not a line in the log every second
        return;
    }
    m_ownItem = item;
    // The icon themes beside the data folder hold ours when the program is not installed system-wide.
    const QDir themes(AppPaths::readOnlyDataDir() + QStringLiteral("../icons"));
    m_ownItem->setIcon(m_icon->icon(), QStringLiteral("tapisol"), themes.exists() ? themes.absolutePath() : QString());
    m_ownItem->setTitle(programTitle());
    m_ownItem->setToolTip(m_tip.isEmpty() ? programTitle() : m_tip);
    // The host's one activation, as Qt's own item would hand it on.
    connect(m_ownItem, &StatusNotifierItem::activated, this, [this] { onActivated(QSystemTrayIcon::Trigger); });
    connect(m_ownItem, &StatusNotifierItem::secondaryActivated, this,
        [this] { onActivated(QSystemTrayIcon::MiddleClick); });
    connect(m_ownItem, &StatusNotifierItem::contextMenuRequested, this, [this](QPoint at) {
        if (!m_menu->isVisible())
            m_menu->popup(at.isNull() ? QCursor::pos() : at);
    });
    connect(m_ownItem, &StatusNotifierItem::registrationFinished, this, [](const QString& error) {
        TAPISOL_TRACE(QStringLiteral("SY, Intray StatusNotifierItem (own) ")
            + (error.isEmpty() ? QStringLiteral("enregistré") : QStringLiteral("refusé par l'hôte : ") + error));
    });
    m_icon->hide();
    m_statusNotifier = true; // the menu is exported now, and one activation stands for both clicks
    m_iconDocked = true;
    refreshMenu();
    TAPISOL_TRACE(QStringLiteral("SY, Intray StatusNotifierItem (own)"));
}

void FrmSysTray::onActivated(QSystemTrayIcon::ActivationReason reason)
{
    switch (reason) {
    case QSystemTrayIcon::Trigger:
        // A StatusNotifierItem host sends one activation where XEmbed tells a click from a
        // double click: it stands for both, the open windows first, else the default command.
        if (!raiseOpenForms() && m_statusNotifier)
            runDefaultCommand();
        break;
    case QSystemTrayIcon::DoubleClick:
        runDefaultCommand();
        break;
    case QSystemTrayIcon::Context:
        // XEmbed: Qt has opened the menu already. A StatusNotifierItem host that asks for the
        // menu rather than drawing the exported one gets it under the pointer.
        if (m_statusNotifier && !m_menu->isVisible())
            m_menu->popup(QCursor::pos());
        break;
    default:
        break;
    }
}

void FrmSysTray::runDefaultCommand()
{
    if (!m_busy)
        m_dispatcher.run(registry().get(SettingNo::MenuOptionDefaut).toInt());
}

bool FrmSysTray::raiseOpenForms()
{
    bool raised = false;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        for (const char* name : RaisedForms) {
            if (widget->objectName() == QLatin1String(name) && widget->isVisible()) {
                widget->raise();
                widget->activateWindow();
                raised = true;
            }
        }
    }
    return raised;
}

// One action per entry of the menu model, made once: a host that exported the menu keeps the
// same items, and refreshMenu() changes their captions, marks and shortcuts in place.
void FrmSysTray::buildMenu()
{
    m_menu = new QMenu(this);
    m_menu->setObjectName(QStringLiteral("MnuSysTray"));
    const QList<TrayMenuEntry> entries = currentMenuEntries();
    for (qsizetype index = 0; index < entries.size(); ++index) {
        if (entries[index].isSeparator()) {
            m_menuActions << m_menu->addSeparator();
            continue;
        }
        QAction* action = m_menu->addAction(QString());
        connect(action, &QAction::triggered, this, [this, index] {
            const QList<TrayMenuEntry> now = currentMenuEntries();
            if (m_busy || index >= now.size())
                return;
            TAPISOL_TRACE(QStringLiteral("SY, MenuContext Action ") + QString::number(index));
            m_dispatcher.run(now[index].command);
        });
        m_menuActions << action;
    }
    // Whatever runs a command (the menu, a hot key, `--command`), the exported menu follows.
    m_dispatcher.setAfterRun([this] { refreshMenu(); });
    connect(m_menu, &QMenu::aboutToShow, this, &FrmSysTray::refreshMenu);
    refreshMenu();
}

QList<TrayMenuEntry> FrmSysTray::currentMenuEntries() const
{
    TrayMenuState state;
    state.autoMode = m_schedule.isOn();
    const WallpaperEngine::QuickSource quick = m_parts.wallpaper->quickSource();
    state.projectDefined = quick.projectDefined;
    state.sourceIsProject = quick.sourceIsProject;
    state.defaultIsAlbum = quick.defaultIsAlbum;
    state.agendaOnDesktop = registry().get(SettingNo::AgdSurLeBureau).toInt() != 0;
    state.quietAll = SoundService::instance().quietAll();
    return buildTrayMenu(state, [](int number) { return registry().get(number).toInt(); });
}

void FrmSysTray::refreshMenu()
{
    if (!m_menu || m_quitting || m_unloaded) // the settings may be gone already
        return;
    const QList<TrayMenuEntry> entries = currentMenuEntries();
    for (qsizetype index = 0; index < entries.size() && index < m_menuActions.size(); ++index) {
        const TrayMenuEntry& entry = entries[index];
        QAction* action = m_menuActions[index];
        if (entry.isSeparator())
            continue;
        QString caption = langText(entry.captionNumber);
        // A host draws the shortcut of an exported item itself; the XEmbed menu shows the text
        // after a tab, with the program's own key names.
        if (m_statusNotifier)
            action->setShortcut(hotkeySequence(entry.hotkeyModifiers, entry.hotkeyCode));
        else if (!entry.shortcutText.isEmpty())
            caption += QLatin1Char('\t') + entry.shortcutText;
        action->setText(caption);
        action->setObjectName(entry.key);
        action->setCheckable(entry.checkable);
        action->setChecked(entry.checked);
        action->setEnabled(!m_busy && entry.enabled);
    }
}

void FrmSysTray::setBusy(bool busy)
{
    m_busy = busy;
    refreshMenu();
}

// --- the one-second dispatcher's view ---------------------------------------------------------

int FrmSysTray::loadedFormCount() const
{
    int count = 0;
    for (QWidget* widget : QApplication::topLevelWidgets())
        count += isLoadedForm(widget) ? 1 : 0;
    return count;
}

bool FrmSysTray::aboutBoxOpen() const
{
    return m_aboutOpen;
}

void FrmSysTray::showSecondsLeft(qint64 seconds)
{
    m_secondsLeft = m_schedule.isOn() ? seconds : -1;
    if (m_settings)
        m_settings->refreshStatus();
}

void FrmSysTray::setTipText(const QString& text)
{
    if (text == m_tip || !m_icon)
        return;
    m_tip = text;
    m_icon->setToolTip(text);
    if (m_ownItem)
        m_ownItem->setToolTip(text);
}

void FrmSysTray::refreshCalendarClock()
{
    // The calendar belongs to the notes' windows, which the tray does not link: it is found by name.
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (window->objectName() == QLatin1String("FrmAgenda") && window->isVisible())
            QMetaObject::invokeMethod(window, "refreshClock");
    }
}

// --- commands that start other programs ---------------------------------------------------------

void FrmSysTray::startCompanion(const QString& program, const QStringList& arguments)
{
    if (!QProcess::startDetached(program, arguments))
        TAPISOL_TRACE(QStringLiteral("SY Lancement impossible de ") + program);
}

void FrmSysTray::startScreenSaver()
{
    QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.ScreenSaver"),
        QStringLiteral("/org/freedesktop/ScreenSaver"), QStringLiteral("org.freedesktop.ScreenSaver"),
        QStringLiteral("SetActive"));
    call << true;
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, 3000);
    if (reply.type() == QDBusMessage::ReplyMessage)
        return;
    TAPISOL_TRACE(QStringLiteral("SY ScreenSaver D-Bus: ") + reply.errorMessage());
    startCompanion(QStringLiteral("xdg-screensaver"), {QStringLiteral("activate")});
}

// The twelve bindings, through the X server's grabs, else the desktop portal's global
// shortcuts; where neither exists, said once and the rest goes on.
void FrmSysTray::loadHotkeys()
{
    std::unique_ptr<HotkeyBackend> backend;
    QString reason;
    if (X11HotkeyBackend::isAvailable())
        backend = std::make_unique<X11HotkeyBackend>();
    else if (PortalHotkeyBackend::isAvailable(&reason))
        backend = std::make_unique<PortalHotkeyBackend>();
    if (!backend) {
        TAPISOL_TRACE(QStringLiteral("SY LoadHKey inactive: ") + reason);
        return;
    }
    m_hotkeys = new ClsRegHotKey(std::move(backend), this);
    connect(m_hotkeys, &ClsRegHotKey::hotKeyPressed, this, [this](const QString& name) {
        TAPISOL_TRACE(QStringLiteral("SY HotKey ") + name);
        if (const auto command = HotkeyNames::commandOf(name); command && !m_busy)
            m_dispatcher.run(*command);
    });
    registerHotkeys();
}

void FrmSysTray::registerHotkeys()
{
    if (!m_hotkeys)
        return;
    for (const HotkeyNames::Binding& binding : HotkeyNames::registered()) {
        const int code = registry().get(binding.codeSetting).toInt();
        const int modifiers = registry().get(binding.modifierSetting).toInt();
        m_hotkeys->registerKey(QLatin1String(binding.name), code, modifiers);
    }
}

// One settings dialog: asked again, the open one comes forward.
void FrmSysTray::showSettings()
{
    if (m_settings) {
        m_settings->showNormal();
        m_settings->raise();
        m_settings->activateWindow();
        return;
    }
    FrmParam::Services services;
    services.monitors = m_parts.monitors;
    services.secondsLeft = [this] { return m_secondsLeft; };
    services.counter = [this] {
        const WallpaperEngine::Counter counter = m_parts.wallpaper->counter();
        return QList<int> {counter.shown, counter.count, counter.direction, counter.endOut ? 1 : 0};
    };
    services.hotkeyText = [](int modifiers, int code) { return hotkeyText(modifiers, code); };
    services.autoMode = [this] { return m_schedule.isOn(); };
    services.setAutoMode = [this](bool on) { turnTimer(on); };
    services.valuesChanged = [this](const QList<int>& numbers) {
        refreshMenu();
        if (m_parts.settingsChanged)
            m_parts.settingsChanged(numbers);
    };
    services.captureHotkey = [](QWidget* parent, const QString& action, int modifiers, int code,
                                 const std::function<QString(int, int)>& boundTo) {
        return FrmHotKeys::capture(parent, action, modifiers, code, boundTo);
    };
    services.applied = [this](const QList<int>& numbers) {
        if (std::any_of(numbers.cbegin(), numbers.cend(), HotkeyNames::isHotkeySetting))
            registerHotkeys();
        // A new language shows at once, in the menu and in the dialog.
        if (!numbers.contains(SettingNo::Langue))
            return;
        const QString code = InterfaceTexts::settledCode(registry().get(SettingNo::Langue).toString());
        if (code != appState().languageCode && interfaceTexts().load(code)) {
            TAPISOL_TRACE(QStringLiteral("SY Langue ") + code);
            appState().languageCode = code;
            refreshMenu();
            if (m_settings)
                m_settings->retranslate();
        }
    };
    services.refitWallpaper = [this] { m_parts.wallpaper->monitorsChanged(); };
    services.detectedBackend = m_parts.wallpaper->backendName();
    services.backendNames = WallpaperBackends::names();
    services.lockScreenKept = m_parts.wallpaper->lockScreenKept();
    m_settings = new FrmParam(services);
    m_parts.wallpaper->setOnChanged([this] {
        if (m_settings)
            m_settings->wallpaperApplied();
    });
    m_settings->show();
    m_settings->raise();
    m_settings->activateWindow();
}

void FrmSysTray::showAbout()
{
    if (m_aboutOpen)
        return;
    m_aboutOpen = true;
    FrmAbout about;
    about.exec();
    m_aboutOpen = false;
}

// --- screens ------------------------------------------------------------------------------------

void FrmSysTray::watchScreens()
{
    m_screensSettle.setSingleShot(true);
    m_screensSettle.setInterval(500); // a monitor switched on reports several changes in a row
    connect(&m_screensSettle, &QTimer::timeout, this, &FrmSysTray::onScreensChanged);
    auto watch = [this](QScreen* screen) {
        connect(screen, &QScreen::geometryChanged, &m_screensSettle, qOverload<>(&QTimer::start));
        connect(screen, &QScreen::availableGeometryChanged, &m_screensSettle, qOverload<>(&QTimer::start));
    };
    for (QScreen* screen : QGuiApplication::screens())
        watch(screen);
    connect(qApp, &QGuiApplication::screenAdded, this, [this, watch](QScreen* screen) {
        watch(screen);
        m_screensSettle.start();
    });
    connect(qApp, &QGuiApplication::screenRemoved, &m_screensSettle, qOverload<>(&QTimer::start));
}

void FrmSysTray::onScreensChanged()
{
    if (m_parts.monitors)
        m_parts.monitors->refresh();
    TAPISOL_TRACE(QStringLiteral("SY Monitors ") + QString::number(m_parts.monitors ? m_parts.monitors->count() : 0));
    m_parts.wallpaper->monitorsChanged();
}

// --- the guarded exit ---------------------------------------------------------------------------

void FrmSysTray::exitProgram()
{
    m_quitting = true;
    m_unloadAllowed = true;
    close();
}

void FrmSysTray::closeEvent(QCloseEvent* event)
{
    TAPISOL_TRACE(QStringLiteral("SY, QueryUnload"));
    TAPISOL_TRACE(QStringLiteral("SY, Unload Form OnLoad=") + yesNo(m_loaded));
    if (!(m_quitting && m_unloadAllowed)) {
        TAPISOL_TRACE(QStringLiteral("SY, Unload Form 'Not UnloadForm' -> Cancel=True"));
        event->ignore();
        return;
    }
    event->accept();
    unloadSequence();
}

void FrmSysTray::unloadSequence()
{
    if (m_unloaded)
        return;
    m_unloaded = true;
    m_timerSecond.stop();
    TAPISOL_TRACE(QStringLiteral("SY, Unload UnHook"));
    if (m_hotkeys)
        m_hotkeys->unregisterAll();
    TAPISOL_TRACE(QStringLiteral("SY, Unload Registry Write"));
    registry().setRawValue(SettingGroup::Parametres, AutoModeValue, m_schedule.isOn() ? -1 : 0);
    registry().sync();
    TAPISOL_TRACE(QStringLiteral("SY, Unload Close"));
    if (m_parts.closeDatabase)
        m_parts.closeDatabase();
    TAPISOL_TRACE(QStringLiteral("SY, Unload Clear"));
    SoundService::instance().stopAll();
    if (m_icon)
        m_icon->hide();
    delete std::exchange(m_ownItem, nullptr); // the panel drops the item at once
    unloadAllForms();
    emit unloaded();
}
