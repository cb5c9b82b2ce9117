#include "AlarmWindows.h"

#include "AppState.h"
#include "Clock.h"
#include "ClsMdb.h"
#include "ClsRegistry.h"
#include "FrmAlarme.h"
#include "InterfaceTexts.h"
#include "MediaFolders.h"
#include "NotePicture.h"
#include "NoteStore.h"
#include "Trace.h"
#include "WallClock.h"
#include "WindowPositions.h"

#include <SQLiteCpp/Statement.h>

#include <QApplication>
#include <QCursor>
#include <QGuiApplication>
#include <QMessageBox>
#include <QScreen>

namespace {

constexpr int CascadeStep = 28;
constexpr double TwipsPerInch = 1440.0;

int twipsToPixels(int twips, const QScreen* screen)
{
    const double dpi = screen ? screen->logicalDotsPerInch() : 96.0;
    return int(std::lround(twips * dpi / TwipsPerInch));
}

} // namespace

AlarmWindows::AlarmWindows(ClsMdb& db, QObject* parent)
    : QObject(parent)
    , m_db(db)
    , m_scan(db, [this](qint64 numero) { open(numero); })
{
    connect(&NoteEvents::instance(), &NoteEvents::noteSaved, this, &AlarmWindows::follow);
}

AlarmWindows::~AlarmWindows()
{
    for (const QPointer<FrmAlarme>& window : std::as_const(m_windows))
        delete window.data();
}

void AlarmWindows::scanDue(const QDateTime& now)
{
    m_scan.run(WallClock::of(now));
}

QList<FrmAlarme*> AlarmWindows::windows() const
{
    QList<FrmAlarme*> open;
    for (const QPointer<FrmAlarme>& window : m_windows) {
        if (window)
            open << window.data();
    }
    return open;
}

void AlarmWindows::closeAllForExit()
{
    for (FrmAlarme* window : windows()) {
        try {
            MdbQuery rearm = m_db.query("UPDATE Agenda SET Active = -1 WHERE Numero = ? AND Alarme = -1");
            rearm->bind(1, static_cast<int64_t>(window->numero()));
            rearm->exec();
            TAPISOL_TRACE(QStringLiteral("AL Exit %1: shown again at the next start").arg(window->numero()));
        } catch (const std::exception& e) {
            TAPISOL_TRACE(QStringLiteral("AL Exit %1, Err %2").arg(window->numero()).arg(QString::fromUtf8(e.what())));
        }
        window->closeWithoutRules();
    }
}

QRect AlarmWindows::placeFor(const Note& note) const
{
    const ClsWinData* window = note.objects.window();
    QScreen* screen = QGuiApplication::screenAt(QCursor::pos());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    const ClsRegistry& settings = registry();
    QSize size(twipsToPixels(settings.get(SettingNo::AlmLargeur).toInt(), screen),
        twipsToPixels(settings.get(SettingNo::AlmHauteur).toInt(), screen));
    if (window && window->hasSize())
        size = QSize(int(window->WinLargeur), int(window->WinHauteur));
    if (window && window->hasPosition() && screen) {
        const QRect saved(QPoint(int(window->WinPosX), int(window->WinPosY)), size);
        if (auto fitted = WindowPositions::fitToExtent(saved, screen->virtualGeometry()))
            return *fitted;
    }
    // Never placed (or its monitor is gone): the standard place of the monitor under the mouse.
    const QRect area = screen ? screen->availableGeometry() : QRect(0, 0, 1024, 768);
    size = size.boundedTo(area.size());
    int cascade = 0;
    for (FrmAlarme* open : windows())
        cascade += area.contains(open->geometry().center()) ? 1 : 0;
    const QPoint inset(std::min(96, area.width() - size.width()), std::min(96, area.height() - size.height()));
    QPoint place = area.topLeft() + inset + QPoint(cascade * CascadeStep, cascade * CascadeStep);
    place.setX(std::min(place.x(), area.right() - size.width() + 1));
    place.setY(std::min(place.y(), area.bottom() - size.height() + 1));
    return QRect(place, size);
}

FrmAlarme* AlarmWindows::open(qint64 numero)
{
    for (FrmAlarme* window : windows()) {
        if (window->numero() == numero) {
            window->raise();
            return window;
        }
    }
    QString error;
    const auto note = NoteStore::read(m_db, numero, &error);
    if (!note) {
        TAPISOL_TRACE(QStringLiteral("AL Open %1: %2").arg(numero).arg(error));
        return nullptr;
    }
    FrmAlarme::Actions actions;
    actions.dismiss = [this](FrmAlarme* window) { dismiss(window); };
    actions.snooze = [this](FrmAlarme* window, int minutes) { snooze(window, minutes); };
    if (m_hooks.changeAlarm)
        actions.changeAlarm = [this](FrmAlarme* window) { changeAlarm(window); };
    if (m_hooks.openNote) {
        actions.openNote
            = [this](FrmAlarme* window) { m_hooks.openNote(window->numero(), window->note().fields.date); };
    }
    actions.moved = [this](FrmAlarme* window, const QRect& geometry) {
        NoteStore::writeGeometry(m_db, window->numero(), geometry);
    };
    actions.picture = [this](const QString& path, const QSize& box) { return picture(path, box); };
    auto* window = new FrmAlarme(*note, placeFor(*note), actions);
    m_windows << window;
    TAPISOL_TRACE(QStringLiteral("AL Show %1").arg(numero));
    window->show();
    window->raise();
    playSound(window);
    return window;
}

void AlarmWindows::playSound(FrmAlarme* window)
{
    if (registry().get(SettingNo::SonActif).toInt() == 0)
        return;
    const ClsSonData* sound = window->note().objects.sound();
    QString file;
    if (sound && !sound->Texte.isEmpty())
        file = MediaFolders::findFile(MediaFolders::Folder::Sounds, sound->Texte);
    if (file.isEmpty()) {
        if (sound && !sound->Texte.isEmpty())
            TAPISOL_TRACE(QStringLiteral("AL Sound %1 missing, the default alarm sound plays").arg(sound->Texte));
        file = MediaFolders::findFile(MediaFolders::Folder::Sounds, registry().get(SettingNo::LastSound).toString());
    }
    if (file.isEmpty())
        file = MediaFolders::defaultFilePath(MediaFolders::DefaultFile::AlarmSound);
    if (!file.isEmpty())
        window->startSound(file, sound && sound->SonRepet);
}

QImage AlarmWindows::picture(const QString& path, const QSize& box)
{
    QString error;
    QImage image = NotePicture::load(path, box, &error);
    if (image.isNull())
        TAPISOL_TRACE(QStringLiteral("AL Picture ") + error);
    return image;
}

void AlarmWindows::dismiss(FrmAlarme* window)
{
    const qint64 numero = window->numero();
    if (!NoteStore::exists(m_db, numero)) {
        TAPISOL_TRACE(QStringLiteral("AL Close %1: the note was deleted meanwhile").arg(numero));
        return;
    }
    if (!NoteAlarms::dismiss(m_db, numero, WallClock::of(appClock().now()))) {
        // Another program holds the file: the note stays as the scan left it (inactive); say so.
        QMessageBox::warning(nullptr, programTitle(), langText(2700));
    }
}

void AlarmWindows::snooze(FrmAlarme* window, int minutes)
{
    const QDateTime until = WallClock::of(appClock().now()).addSecs(qint64(minutes) * 60);
    if (!NoteAlarms::snooze(m_db, window->numero(), until)) {
        QMessageBox::warning(
            window, programTitle(), NoteStore::exists(m_db, window->numero()) ? langText(2700) : langText(2703));
        return; // the window stays: nothing was put off
    }
    window->closeWithoutRules();
}

void AlarmWindows::changeAlarm(FrmAlarme* window)
{
    QString error;
    auto note = NoteStore::read(m_db, window->numero(), &error);
    if (!note) {
        QMessageBox::warning(window, programTitle(), error);
        return;
    }
    if (!m_hooks.changeAlarm(window, *note))
        return;
    // The user set the alarm where it should come next: it is stored as given, and the window
    // closes without the closing rules (those would step a recurring note past the new time).
    if (!NoteStore::writeAlarm(m_db, note->Numero, note->Alarme, note->fields, &error)) {
        QMessageBox::warning(window, programTitle(), error);
        return;
    }
    m_scan.invalidate();
    window->closeWithoutRules();
}

void AlarmWindows::follow(qint64 oldNumero, qint64 newNumero)
{
    for (FrmAlarme* window : windows()) {
        if (oldNumero != 0 && window->numero() == oldNumero) {
            window->setNumero(newNumero);
            if (const auto note = NoteStore::read(m_db, newNumero))
                window->setNote(*note);
        }
    }
}
