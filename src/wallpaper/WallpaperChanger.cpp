#include "WallpaperChanger.h"

#include "MediaFolders.h"
#include "SoundService.h"

#include "ClsMdb.h"
#include "ClsRegistry.h"
#include "ImageDecoder.h"
#include "RandomGenerator.h"
#include "Trace.h"
#include "WallpaperBackends.h"
#include "WallpaperRenderer.h"

#include <QFileInfo>
#include <QFutureWatcher>
#include <QScopedValueRollback>
#include <QtConcurrent/QtConcurrentRun>

// A list of the folder as the selection walks it. The list is shared, not copied, so a worker
// thread may hold one of its own.
class WallpaperChanger::Candidates : public CandidateList
{
public:
    int count() const override { return m_list.count(); }
    QString key(int position) const override { return m_list.key(position); }
    bool isPicture(int position) const override { return m_list.isPicture(position); }
    quint64 generation() const override { return m_generation; }
    void setList(const SourceList& list)
    {
        m_list = list;
        ++m_generation;
    }

private:
    SourceList m_list;
    quint64 m_generation = 0;
};

// What a worker thread works out about the round when a new list arrives: the pictures shown
// so far (read from the database unless they are in memory already) and where they are in the
// list. With 100,000 pictures that is a tenth of a second the tray no longer spends.
struct WallpaperChanger::RoundPreparation
{
    quint64 generation = 0;
    quint64 revision = 0;
    std::optional<QSet<QString>> names; // read from the database
    std::vector<bool> shown;
    QString error;
};

WallpaperChanger::WallpaperChanger(ClsMonitor& monitors, ClsMdb& db, QObject* parent)
    : QObject(parent)
    , m_monitors(monitors)
    , m_shown(db)
    , m_selector(m_shown, appRandom())
    , m_databasePath(db.mdbName())
    , m_candidates(std::make_unique<Candidates>())
    , m_decoder(std::make_unique<ImageDecoder>())
{
    QString description;
    m_backend = WallpaperBackends::choose(
        WallpaperBackends::Session::fromEnvironment(registry().get(SettingNo::BackEndFondEcran).toString()),
        &description);
    TAPISOL_TRACE(QStringLiteral("SY Fond d'écran : ") + description);
    m_renderer = std::make_unique<WallpaperRenderer>(m_monitors, *m_decoder, *m_backend);
    m_selector.setDirection(registry().get(SettingNo::SensLecture).toInt());
    connect(&m_source, &PictureSource::listReady, this, &WallpaperChanger::onListReady);
    m_source.applySettings(registry());
}

WallpaperChanger::~WallpaperChanger() = default;

void WallpaperChanger::onListReady()
{
    m_candidates->setList(m_source.list());
    // The entry on screen is found again in the new list, so the walk goes on from it.
    m_selector.setSelected(m_source.indexOf(registry().get(SettingNo::CurrentWallPaper).toString()));
    prepareRound();
}

void WallpaperChanger::prepareRound()
{
    m_preparing = m_candidates->generation();
    RoundPreparation start;
    start.generation = m_candidates->generation();
    start.revision = m_shown.revision();
    auto* watcher = new QFutureWatcher<RoundPreparation>(this);
    connect(watcher, &QFutureWatcherBase::finished, this, [this, watcher] {
        watcher->deleteLater();
        onRoundPrepared(watcher->result());
    });
    watcher->setFuture(QtConcurrent::run(
        [start, candidates = *m_candidates, known = m_shown.loadedNames(), path = m_databasePath]() mutable {
            if (!known && (start.names = MdbShownPictures::readNames(path, &start.error)))
                known = start.names;
            if (known) {
                start.shown = NextPictureSelector::shownPositions(
                    candidates, [&known](const QString& name) { return known->contains(name); });
            }
            return start;
        }));
}

void WallpaperChanger::onRoundPrepared(RoundPreparation prepared)
{
    if (prepared.generation != m_preparing)
        return; // a newer list came meanwhile: its own preparation follows
    m_preparing = 0;
    if (!prepared.error.isEmpty())
        TAPISOL_TRACE(QStringLiteral("SY TableImage lecture, Err ") + prepared.error);
    // Taken only when nothing changed since the worker started; otherwise the selection works it
    // out itself, as it does whenever the round changes under it.
    const bool namesTaken = !prepared.names || m_shown.adoptNames(std::move(*prepared.names), prepared.revision);
    if (namesTaken && m_shown.revision() == prepared.revision && m_shown.loadedNames())
        m_selector.adoptShownPositions(*m_candidates, prepared.generation, m_shown.count(), std::move(prepared.shown));
    if (std::exchange(m_changeWhenReady, false))
        changeNow(); // the list is as fresh as it gets
}

bool WallpaperChanger::changeToNext()
{
    // A new folder in the settings, or a folder whose content changed: the new list first.
    const bool newFolder = m_source.applySettings(registry());
    if (newFolder || m_source.refreshIfChanged() || m_source.isScanning() || m_preparing) {
        // Set before the trace line: writing it lets the event loop in, and the list may be
        // delivered right there.
        m_changeWhenReady = true;
        TAPISOL_TRACE(QStringLiteral("SY FNext attend la liste de ") + m_source.requestedFolder());
        return false;
    }
    return changeNow();
}

bool WallpaperChanger::changeNow()
{
    // A trace line lets the event loop in: a timer or a command must not start a second change
    // while the decoder and the renderer are busy with the first.
    if (m_changing) {
        TAPISOL_TRACE(QStringLiteral("SY FNext changement déjà en cours"));
        return false;
    }
    const QScopedValueRollback changing(m_changing, true);
    const auto order = NextPictureSelector::Order(qBound(0, registry().get(SettingNo::SelectRandom).toInt(), 2));
    const int direction = m_selector.direction();
    const auto position = m_selector.next(*m_candidates, order);
    m_endOut = !position;
    if (m_selector.direction() != direction)
        registry().set(SettingNo::SensLecture, m_selector.direction());
    return position && showPosition(*position);
}

// `AfficheNewImage`.
bool WallpaperChanger::showPosition(int position)
{
    const QString picture = m_source.entry(position).key;
    if (!m_renderer->change(picture))
        return false;
    registry().set(SettingNo::LastImage, position);
    playChangeSound();
    changed();
    return true;
}

// The sound of a change, when the user wants one: a name is looked for in the sound folders.
void WallpaperChanger::playChangeSound()
{
    if (registry().get(SettingNo::SonActif).toInt() == 0)
        return;
    const QString sound = registry().get(SettingNo::FichierSon).toString();
    const QString path
        = QFileInfo(sound).isAbsolute() ? sound : MediaFolders::findFile(MediaFolders::Folder::Sounds, sound);
    SoundService::instance().play({path.isEmpty() ? sound : path});
}

bool WallpaperChanger::applyFile(const QString& path)
{
    if (m_changing)
        return false;
    const QScopedValueRollback changing(m_changing, true);
    const QString absolute = QFileInfo(path).absoluteFilePath();
    if (!m_renderer->change(absolute))
        return false;
    if (const int position = m_source.indexOf(absolute))
        m_selector.setSelected(position);
    changed();
    return true;
}

void WallpaperChanger::setOverlay(std::function<void(QPainter&, const QRect&)> overlay)
{
    m_renderer->setOverlay(std::move(overlay));
}

void WallpaperChanger::reapply()
{
    if (!m_renderer->reapply())
        TAPISOL_TRACE(QStringLiteral("SY Reapply : pas de fond d'écran rendu"));
}

void WallpaperChanger::monitorsChanged()
{
    if (m_changing)
        return; // the change under way reads the new monitors itself
    const QScopedValueRollback changing(m_changing, true);
    if (!m_renderer->refit())
        TAPISOL_TRACE(QStringLiteral("SY Monitors : fond d'écran non adapté"));
}

QString WallpaperChanger::backendName() const
{
    return m_backend->name();
}

bool WallpaperChanger::lockScreenKept() const
{
    return m_backend->hasLockScreen();
}

WallpaperEngine::Counter WallpaperChanger::counter()
{
    return {m_shown.count(), m_candidates->count(), m_selector.direction(), m_endOut};
}

QString WallpaperChanger::currentDescription() const
{
    return QFileInfo(registry().get(SettingNo::CurrentWallPaper).toString()).fileName();
}
