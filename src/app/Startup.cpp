#include "Startup.h"

#include "AlarmWindows.h"
#include "AppPaths.h"
#include "AppState.h"
#include "Clock.h"
#include "ClsImage.h"
#include "ClsMdb.h"
#include "ClsRegistry.h"
#include "CommandDispatcher.h"
#include "DesktopCalendar.h"
#include "ErrorReport.h"
#include "FrmAgenda.h"
#include "FrmAlbums.h"
#include "FrmAssistSon.h"
#include "FrmChangeAlarme.h"
#include "FrmNotes.h"
#include "FrmSysTray.h"
#include "FrmTrace.h"
#include "InterfaceTexts.h"
#include "NoteObjects.h"
#include "NoteStore.h"
#include "SettingsTable.h"
#include "SignalWatcher.h"
#include "SingleInstance.h"
#include "Trace.h"
#include "TrayServices.h"
#include "WallClock.h"
#include "WallpaperChanger.h"

#include <QApplication>
#include <QAudioDevice>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QMediaDevices>
#include <QMessageBox>
#include <QTimer>

#include <algorithm>
#include <stdexcept>

namespace {

// The tray's one-second dispatcher asks the notes for their due alarms through this.
class NoteAlarmScanner : public AlarmScanner
{
public:
    explicit NoteAlarmScanner(AlarmWindows& windows)
        : m_windows(windows)
    { }
    void scanDueAlarms(const QDateTime& now) override { m_windows.scanDue(now); }

private:
    AlarmWindows& m_windows;
};

} // namespace

Startup::Startup(QObject* parent)
    : QObject(parent)
{ }

Startup::~Startup()
{
    Trace::closeView();
    delete m_tray;
    delete m_traceWindow;
}

QString Startup::settleLanguage(const QString& configured)
{
    return InterfaceTexts::settledCode(configured);
}

QString Startup::helpFileFor(const QString& languageCode)
{
    const QString base = AppPaths::readOnlyDataDir() + QStringLiteral("help/");
    const QString page = base + languageCode + QStringLiteral("/index.html");
    if (QFileInfo::exists(page))
        return page;
    TAPISOL_TRACE(QStringLiteral("M1 Aide ") + page + QStringLiteral(" absente, aide FRA utilisée"));
    return base + QStringLiteral("FRA/index.html");
}

int Startup::run(const QStringList& arguments)
{
    AppState& state = appState();
    // From the very start, a termination request waits for the event loop and then ends the
    // program in order, instead of killing it in the middle of a step.
    m_signals = new SignalWatcher(this);
    connect(m_signals, &SignalWatcher::terminationRequested, this, [this](int number) {
        TAPISOL_TRACE(QStringLiteral("M1 Signal ") + QString::number(number));
        requestShutdown();
    });
    if (auto* app = qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        connect(app, &QGuiApplication::commitDataRequest, this, [this] { requestShutdown(); });

    // 2. Switches, from everything after the program's name.
    const QString commandLine = arguments.mid(1).join(QLatin1Char(' ')).toLower();
    parseSwitches(commandLine, state);
    Trace::setViewFactory([this]() -> TraceView* {
        m_traceWindow = new FrmTrace;
        m_traceWindow->show();
        return m_traceWindow;
    });

    // 3. Session header.
    if (state.trace)
        guarded("3 Header", [&] { writeSessionHeader(commandLine); });

    // 4. Interface language.
    ClsRegistry& settings = registry();
    guarded("4 Langue", [&] {
        state.languageCode = settleLanguage(settings.get(SettingNo::Langue).toString());
        if (!interfaceTexts().load(state.languageCode) && state.languageCode != QLatin1String("FRA")) {
            state.languageCode = QStringLiteral("FRA"); // changed or removed since it was looked at
            interfaceTexts().load(state.languageCode);
        }
    });

    // 5. A folder value of older versions, removed on every start.
    guarded("5 OnHelpDir", [&] {
        if (settings.valueExists(SettingGroup::Parametres, QStringLiteral("OnHelpDir")))
            settings.deleteValue(SettingGroup::Parametres, QStringLiteral("OnHelpDir"));
    });

    // 6. Monitors.
    guarded("6 Monitors", [this] { m_monitors.refresh(); });

    // 7. One instance only: without the claim the program could neither be reached nor kept single.
    bool refused = true;
    if (!guarded("7 Instance", [&] { refused = refuseSecondInstance(); }) || refused)
        return 1;

    // 8. Help file.
    guarded("8 Help", [&] { state.helpFile = helpFileFor(state.languageCode); });

    // 9. Sound output.
    guarded("9 Sound", [this] { testSoundCard(); });

    // 10. Where the program runs from, for the companion programs.
    guarded("10 InstallDir", [this] { recordInstallDir(); });

    // 11. The database: opened, checked and brought up to date, or the program cannot run.
    bool opened = false;
    if (!guarded("11 Database", [&] { opened = openDatabase(); }) || !opened) {
        mdb().close();
        return 1;
    }

    // 12.
    TAPISOL_TRACE(QStringLiteral("M1 Load Systray Form"));

    // 13. Messages from companion programs and `tapisol --command`.
    m_instance->setHandler([this](const QString& name, const QString& argument) { return onMessage(name, argument); });

    // 14. The tray form owns the program's life from here; a form that failed half-way through
    // its load still has its icon and menu, so the program goes on with it.
    guarded("14 Systray", [this] { loadTrayForm(); });
    if (!m_tray) {
        mdb().close();
        return 1;
    }
    m_started = true;
    // What arrived while the steps ran (a trace line lets the event loop in) runs now, in order.
    for (int command : std::exchange(m_pendingCommands, {}))
        runCommand(command);
    if (m_exitPending)
        QTimer::singleShot(0, this, &Startup::shutdown);
    return -1;
}

// An exception in a start-up step is reported like one in the event loop; the start goes on.
bool Startup::guarded(const char* step, const std::function<void()>& work)
{
    const QString value = QStringLiteral("Startup ") + QLatin1String(step);
    try {
        work();
#ifdef TAPISOL_FAULT_INJECTION
        if (qEnvironmentVariable("TAPISOL_FAULT_AT") == QLatin1String(step))
            throw std::runtime_error("fault injected after start-up step " + std::string(step));
#endif
        return true;
    } catch (const std::exception& exception) {
        reportException(exception, QStringLiteral("Startup"), {}, std::nullopt, value);
    } catch (...) {
        reportUnknownException(QStringLiteral("Startup"), {}, std::nullopt, value);
    }
    return false;
}

// A message box of the start (a refused second instance, the database) waits for the user; an
// end asked for meanwhile closes it at once, and no other one opens.
void Startup::showStartMessage(QMessageBox::Icon icon, const QString& text)
{
    if (m_exitPending)
        return;
    QMessageBox box(icon, programTitle(), text, QMessageBox::Ok);
    m_startMessage = &box;
    box.exec();
    m_startMessage = nullptr;
}

void Startup::requestShutdown()
{
    if (m_started) {
        shutdown();
        return;
    }
    m_exitPending = true;
    if (m_startMessage)
        m_startMessage->reject();
}

void Startup::writeSessionHeader(const QString& commandLine)
{
    const QString stars = QStringLiteral("*-----------------------------------------*");
    Trace::write(QString());
    Trace::write(stars);
    Trace::write(QStringLiteral("New session started at : ")
        + QDateTime::currentDateTime().toString(QStringLiteral("dd/MM/yyyy HH:mm:ss")));
    Trace::write(stars);
    Trace::write(QStringLiteral("M1 Start ") + commandLine);
}

bool Startup::refuseSecondInstance()
{
    m_instance = std::make_unique<SingleInstance>();
    QString error;
    const SingleInstance::Claim claim = m_instance->claim(&error);
    if (claim == SingleInstance::Claim::Acquired)
        return false;
    if (claim == SingleInstance::Claim::AlreadyRunning) {
        showStartMessage(QMessageBox::Critical, programTitle() + QLatin1Char(' ') + langText(311));
    } else {
        // Without its lock and socket the program could neither be reached nor kept single.
        TAPISOL_TRACE(QStringLiteral("M1 Instance ") + error);
        showStartMessage(QMessageBox::Critical, programTitle() + QStringLiteral(": ") + error);
    }
    return true;
}

void Startup::testSoundCard()
{
    TAPISOL_TRACE(QStringLiteral("M1 Sound Card Test"));
    appState().soundCard = !QMediaDevices::audioOutputs().isEmpty();
}

void Startup::recordInstallDir()
{
    ClsRegistry& settings = registry();
    const QString running = QDir::cleanPath(AppPaths::programDir());
    if (QDir::cleanPath(settings.get(SettingNo::InstallDir).toString()) != running)
        settings.set(SettingNo::InstallDir, running);
}

bool Startup::openDatabase()
{
    ClsMdb& db = mdb();
    db.setMdbName(AppPaths::dataDir() + QStringLiteral("Tapisol.mdb"));
    db.setClock([] { return appClock().now(); });
    db.setNotifier([this](const ClsMdb::Notice& notice) {
        showStartMessage(ClsMdb::isFatal(notice.kind) ? QMessageBox::Critical : QMessageBox::Warning, notice.text);
    });
    TAPISOL_TRACE(QStringLiteral("M1 Init DataBases MdbName=") + db.mdbName());
    return db.MdbInit();
}

void Startup::loadTrayForm()
{
    FrmSysTray::Parts parts;
    parts.monitors = &m_monitors;
    loadNotes();
    parts.alarms = m_alarmScanner.get();
    parts.settingsChanged = [this](const QList<int>& numbers) { followCalendarSettings(numbers); };
    parts.closeDatabase = [this] {
        // Alarm windows still open come back at the next start, and a note being written is kept:
        // both need the database, which closes after them.
        m_alarms->closeAllForExit();
        if (m_notes)
            m_notes->closeForExit();
        if (m_albums)
            m_albums->closeForExit();
        if (m_assistant) {
            m_assistant->closeForExit();
            delete m_assistant; // gone now, not at the next turn of the loop: no longer a loaded form
        }
        mdb().close();
    };
    m_changer = new WallpaperChanger(m_monitors, mdb(), this);
    parts.wallpaper = m_changer;
    m_tray = new FrmSysTray(parts);
    m_tray->dispatcher().setAction(6, [this] { showAgenda(); });
    m_tray->dispatcher().setAction(7, [this] {
        setCalendarOnDesktop(registry().get(SettingNo::AgdSurLeBureau).toInt() == 0);
        m_changer->reapply();
    });
    if (registry().get(SettingNo::AgdSurLeBureau).toInt() != 0)
        setCalendarOnDesktop(true); // before the first wallpaper of this start
    m_tray->dispatcher().setAction(8, [this] { showNotes(WallClock::of(appClock().now()).date()); });
    m_tray->dispatcher().setAction(10, [this] { showAlbums(); });
    m_tray->dispatcher().setAction(5, [this] { showAssistant(); });
    connect(m_tray, &FrmSysTray::unloaded, this, &Startup::finish);
    m_tray->load();
}

void Startup::loadNotes()
{
    ClsColData::setCriticalMessageHandler(
        [](const QString& text) { QMessageBox::critical(nullptr, programTitle(), text); });
    m_alarms = new AlarmWindows(mdb(), this);
    m_alarmScanner = std::make_unique<NoteAlarmScanner>(*m_alarms);
    AlarmWindows::Hooks hooks;
    hooks.changeAlarm = [](QWidget* parent, Note& note) {
        FrmChangeAlarme dialog(note, parent);
        if (dialog.exec() != QDialog::Accepted)
            return false;
        note = dialog.result();
        return true;
    };
    hooks.openNote = [this](qint64 numero, const QDate& day) { showNotes(day, numero); };
    m_alarms->setHooks(hooks);
}

void Startup::setCalendarOnDesktop(bool on)
{
    registry().set(SettingNo::AgdSurLeBureau, on ? -1 : 0);
    TAPISOL_TRACE(on ? QStringLiteral("AG Desktop calendar on") : QStringLiteral("AG Desktop calendar off"));
    if (!on) {
        m_changer->setOverlay({});
        if (m_calendarRedraw)
            m_calendarRedraw->stop();
        return;
    }
    m_changer->setOverlay([this](QPainter& painter, const QRect& area) {
        m_calendarDay = WallClock::of(appClock().now()).date();
        DesktopCalendar::paint(painter, area, mdb());
    });
    if (!m_calendarRedraw) {
        // A note saved, deleted or dismissed, and the turn of the day, draw it again; a burst of
        // changes draws once.
        m_calendarRedraw = new QTimer(this);
        m_calendarRedraw->setSingleShot(true);
        m_calendarRedraw->setInterval(1500);
        connect(m_calendarRedraw, &QTimer::timeout, this, &Startup::redrawCalendarOnDesktop);
        const auto later = [this] {
            if (registry().get(SettingNo::AgdSurLeBureau).toInt() != 0)
                m_calendarRedraw->start();
        };
        connect(&NoteEvents::instance(), &NoteEvents::noteSaved, this, later);
        connect(&NoteEvents::instance(), &NoteEvents::noteRemoved, this, later);
        connect(&NoteEvents::instance(), &NoteEvents::alarmChanged, this, later);
        auto* dayWatch = new QTimer(this);
        dayWatch->setInterval(60 * 1000);
        connect(dayWatch, &QTimer::timeout, this, [this, later] {
            if (m_calendarDay.isValid() && WallClock::of(appClock().now()).date() != m_calendarDay)
                later();
        });
        dayWatch->start();
    }
}

void Startup::redrawCalendarOnDesktop()
{
    if (registry().get(SettingNo::AgdSurLeBureau).toInt() == 0)
        return;
    TAPISOL_TRACE(QStringLiteral("AG Desktop calendar redrawn"));
    m_changer->reapply();
}

// The calendar's colours, country or corner edited in the settings dialog (previewed, dropped or
// written): the calendar window and the calendar on the desktop follow, the latter once a burst of
// edits is over.
void Startup::followCalendarSettings(const QList<int>& numbers)
{
    const bool calendar = std::any_of(numbers.cbegin(), numbers.cend(), [](int number) {
        const SettingRow* row = settingRow(number);
        return row && row->group == SettingGroup::Agenda;
    });
    if (!calendar)
        return;
    if (m_agenda)
        m_agenda->followSettings();
    if (m_calendarRedraw && registry().get(SettingNo::AgdSurLeBureau).toInt() != 0)
        m_calendarRedraw->start();
}

void Startup::showAgenda()
{
    if (!m_agenda) {
        m_agenda = new FrmAgenda;
        m_agenda->setAttribute(Qt::WA_DeleteOnClose);
        connect(m_agenda, &FrmAgenda::openDay, this, [this](const QDate& day) { showNotes(day); });
    }
    m_agenda->show();
    m_agenda->raise();
    m_agenda->activateWindow();
}

void Startup::showAlbums()
{
    if (!m_albums) {
        FrmAlbums::Hooks hooks;
        hooks.applyFile = [this](const QString& path) { return m_changer && m_changer->applyFile(path); };
        hooks.useAlbumSource
            = [this](qint64 album, qint64 page) { return m_changer && m_changer->useAlbumSource(album, page); };
        m_albums = new FrmAlbums(mdb(), ClsImage::folderFromSettings(registry()), hooks);
        m_albums->setAttribute(Qt::WA_DeleteOnClose);
    }
    if (m_albums->isMinimized())
        m_albums->showNormal();
    else
        m_albums->show();
    m_albums->raise();
    m_albums->activateWindow();
}

void Startup::showAssistant()
{
    if (!m_assistant)
        m_assistant = new FrmAssistSon(mdb()); // deletes itself on close
    if (m_assistant->isMinimized())
        m_assistant->showNormal();
    else
        m_assistant->show();
    m_assistant->raise();
    m_assistant->activateWindow();
}

void Startup::showNotes(const QDate& day, qint64 numero)
{
    if (!m_notes) {
        m_notes = new FrmNotes(day);
        m_notes->setAttribute(Qt::WA_DeleteOnClose);
    } else if (m_notes->day() != day) {
        m_notes->openDay(day); // asks first about a note being edited, which may stay
    }
    if (numero > 0 && m_notes->day() == day)
        m_notes->showNote(numero);
    m_notes->showNormal();
    m_notes->raise();
    m_notes->activateWindow();
}

QString Startup::onMessage(const QString& name, const QString& argument)
{
    if (name == QLatin1String(SingleInstance::Command))
        return runCommand(argument.toInt());
    if (name == QLatin1String(SingleInstance::OpenFile)) {
        TAPISOL_TRACE(QStringLiteral("M1 Message ") + name + QLatin1Char(' ') + argument);
        return m_changer && m_started && m_changer->applyFile(argument) ? QString() : langText(2210).arg(argument);
    }
    TAPISOL_TRACE(QStringLiteral("M1 Message ") + name + QLatin1Char(' ') + argument);
    return {};
}

QString Startup::runCommand(int command)
{
    if (!CommandDispatcher::isCommand(command))
        return langText(2207).arg(command);
    if (!m_started) {
        m_pendingCommands.append(command);
        return {};
    }
    // Run after the reply has gone out, so `tapisol --command 17` hears back before we end.
    QTimer::singleShot(0, this, [this, command] { dispatchWhenSettled(command); });
    return {};
}

void Startup::dispatchWhenSettled(int command)
{
    // A trace line lets events run in the middle of whatever wrote it (a window being built,
    // the database being read): a command waits until that work is over.
    if (Trace::isRepainting()) {
        QTimer::singleShot(10, this, [this, command] { dispatchWhenSettled(command); });
        return;
    }
    if (m_tray)
        m_tray->dispatcher().run(command);
}

void Startup::shutdown()
{
    // The same road as the Exit command: the tray form's unload sequence, then finish().
    if (m_tray)
        m_tray->exitProgram();
    else
        finish();
}

void Startup::finish()
{
    if (m_shuttingDown)
        return;
    m_shuttingDown = true;
    errorHandler().setQuitting(true);
    releaseRegistry();
    if (m_traceWindow) {
        TAPISOL_TRACE(QStringLiteral("FP Unload Trace, Frm=") + m_traceWindow->objectName());
        Trace::closeView();
        m_traceWindow->close();
    }
    emit finished();
    // Queued, so that an end requested before the event loop runs still ends it.
    QMetaObject::invokeMethod(QCoreApplication::instance(), &QCoreApplication::quit, Qt::QueuedConnection);
}
