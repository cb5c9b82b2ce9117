#include "WallpaperChanger.h"

#include "MediaFolders.h"
#include "SoundService.h"

#include "ClsMdb.h"
#include "ClsRegistry.h"
#include "ImageDecoder.h"
#include "RandomGenerator.h"
#include "SourceCandidates.h"
#include "Trace.h"
#include "WallpaperBackends.h"
#include "WallpaperRenderer.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include <QFileInfo>
#include <QFutureWatcher>
#include <QScopedValueRollback>
#include <QtConcurrent/QtConcurrentRun>

namespace {

quint64 changeStampOf(ClsMdb& db)
{
    return db.isOpen() ? DatabaseSource::changeStamp(db.database()) : 0;
}

} // namespace

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
    , m_db(db)
    , m_shown(db)
    , m_selector(m_shown, appRandom())
    , m_shownDiap(db, true)
    , m_selectorDiap(m_shownDiap, appRandom())
    , m_databasePath(db.mdbName())
    , m_candidates(std::make_unique<SourceCandidates>())
    , m_decoder(std::make_unique<ImageDecoder>())
{
    QString description;
    m_backend = WallpaperBackends::choose(
        WallpaperBackends::Session::fromEnvironment(registry().get(SettingNo::BackEndFondEcran).toString()),
        &description);
    TAPISOL_TRACE(QStringLiteral("SY Fond d'écran : ") + description);
    m_renderer = std::make_unique<WallpaperRenderer>(m_monitors, *m_decoder, *m_backend);
    m_selector.setDirection(registry().get(SettingNo::SensLecture).toInt());
    m_selectorDiap.setDirection(registry().get(SettingNo::SensLecture).toInt());
    connect(&m_source, &PictureSource::listReady, this, &WallpaperChanger::onListReady);
    connect(&m_source, &PictureSource::listConfirmed, this, &WallpaperChanger::onListConfirmed);
    m_source.setDatabase(m_databasePath, [&db] { return changeStampOf(db); });
    m_source.applySettings(registry());
}

WallpaperChanger::~WallpaperChanger() = default;

void WallpaperChanger::onListReady()
{
    m_candidates->setList(m_source.list(), m_source.choice().isDatabase(), m_source.volumes());
    // The entry on screen is found again in the new list, so the walk goes on from it.
    selector().setSelected(m_source.indexOf(registry().get(SettingNo::CurrentWallPaper).toString()));
    prepareRound();
}

// The album or project was read again and found as it was (or could not be read): the list in
// use serves the change that waited for it.
void WallpaperChanger::onListConfirmed()
{
    if (!m_preparing && std::exchange(m_changeWhenReady, false))
        changeNow();
}

void WallpaperChanger::prepareRound()
{
    m_preparing = m_candidates->generation();
    RoundPreparation start;
    start.generation = m_candidates->generation();
    start.revision = shown().revision();
    auto* watcher = new QFutureWatcher<RoundPreparation>(this);
    connect(watcher, &QFutureWatcherBase::finished, this, [this, watcher] {
        watcher->deleteLater();
        onRoundPrepared(watcher->result());
    });
    watcher->setFuture(QtConcurrent::run([start, candidates = *m_candidates, known = shown().loadedNames(),
                                             path = m_databasePath, table = shown().table()]() mutable {
        if (!known && (start.names = MdbShownPictures::readNames(path, &start.error, table)))
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
    const bool namesTaken = !prepared.names || shown().adoptNames(std::move(*prepared.names), prepared.revision);
    if (namesTaken && shown().revision() == prepared.revision && shown().loadedNames())
        selector().adoptShownPositions(*m_candidates, prepared.generation, shown().count(), std::move(prepared.shown));
    if (std::exchange(m_changeWhenReady, false))
        changeNow(); // the list is as fresh as it gets
}

bool WallpaperChanger::changeToNext()
{
    // A new source in the settings, or a folder or album whose content changed: the new list first.
    const bool newSource = m_source.applySettings(registry());
    if (newSource || m_source.refreshIfChanged() || m_source.isScanning() || m_preparing) {
        // Set before the trace line: writing it lets the event loop in, and the list may be
        // delivered right there.
        m_changeWhenReady = true;
        TAPISOL_TRACE(QStringLiteral("SY FNext attend la liste de ") + m_source.requestedChoice().describe());
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
    NextPictureSelector& walk = selector();
    const int direction = walk.direction();
    m_candidates->beginChange();
    // The selection writes the shown-pictures table: not a change of the album read.
    const quint64 before = changeStampOf(m_db);
    const auto position = walk.next(*m_candidates, order);
    m_source.acknowledgeOwnWrite(before, changeStampOf(m_db));
    m_endOut = !position;
    if (walk.direction() != direction)
        registry().set(SettingNo::SensLecture, walk.direction());
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
        selector().setSelected(position);
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
    return {shown().count(), m_candidates->count(), selector().direction(), m_endOut};
}

bool WallpaperChanger::projectExists(qint64 key) const
{
    if (key == 0 || !m_db.isOpen())
        return false;
    try {
        MdbQuery query = m_db.query("SELECT 1 FROM DiaporamaDesc WHERE KeyAuto = ?");
        query->bind(1, static_cast<int64_t>(key));
        return query->executeStep();
    } catch (const std::exception& e) {
        TAPISOL_TRACE(QStringLiteral("SY Projet %1, Err ").arg(key) + QString::fromUtf8(e.what()));
        return false;
    }
}

WallpaperEngine::QuickSource WallpaperChanger::quickSource() const
{
    QuickSource state;
    state.projectDefined = projectExists(registry().get(SettingNo::SourceProjetKey).toLongLong());
    state.sourceIsProject = registry().get(SettingNo::SourceProjet).toInt() != 0;
    state.defaultIsAlbum = registry().get(SettingNo::SourceAlbum).toInt() != 0;
    return state;
}

bool WallpaperChanger::switchQuickSource()
{
    const QuickSource state = quickSource();
    if (!state.projectDefined) {
        TAPISOL_TRACE(QStringLiteral("SY Accès rapide : aucun projet de diaporama défini"));
        return false;
    }
    return switchSource({{SettingNo::SourceProjet, state.sourceIsProject ? 0 : -1}});
}

bool WallpaperChanger::useAlbumSource(qint64 album, qint64 page)
{
    bool found = false;
    try {
        MdbQuery query = m_db.query(page != 0 ? "SELECT 1 FROM AlbumPagesRel WHERE KeyAlbum = ?1 AND KeyPages = ?2"
                                              : "SELECT 1 FROM Albums WHERE KeyAuto = ?1");
        query->bind(1, static_cast<int64_t>(album));
        if (page != 0)
            query->bind(2, static_cast<int64_t>(page));
        found = query->executeStep();
    } catch (const std::exception& e) {
        TAPISOL_TRACE(QStringLiteral("SY Source album, Err ") + QString::fromUtf8(e.what()));
    }
    if (!found) {
        TAPISOL_TRACE(QStringLiteral("SY Source ") + SourceSelection::ofAlbum(album, page).describe()
            + QStringLiteral(" introuvable, source inchangée"));
        return false;
    }
    return switchSource({{SettingNo::SourceAlbum, -1}, {SettingNo::SourceAlbumKey, album},
        {SettingNo::SourceAlbumPage, page}, {SettingNo::SourceProjet, 0}});
}

// Writes the source settings, lets the tray follow, then shows a picture of the new source as
// soon as its list is there.
bool WallpaperChanger::switchSource(const QHash<int, QVariant>& values)
{
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        registry().set(it.key(), it.value());
    if (!registry().sync())
        TAPISOL_TRACE(QStringLiteral("SY Source : les réglages n'ont pas pu être écrits"));
    // An open settings dialog previews its own values: it takes these first, so the getter agrees.
    sourceSwitched(values);
    TAPISOL_TRACE(QStringLiteral("SY Source choisie : ") + SourceSelection::fromSettings(registry()).describe());
    changeToNext();
    return true;
}

QString WallpaperChanger::currentDescription() const
{
    return QFileInfo(registry().get(SettingNo::CurrentWallPaper).toString()).fileName();
}
