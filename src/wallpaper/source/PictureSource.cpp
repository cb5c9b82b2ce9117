#include "PictureSource.h"

#include "ClsRegistry.h"
#include "Trace.h"

#include <QtConcurrent/QtConcurrentRun>

#include <malloc.h>

PictureSource::PictureSource(QObject* parent)
    : QObject(parent)
{
    // One worker: a superseded scan ends before the next starts instead of competing for the disk.
    m_pool.setMaxThreadCount(1);
    m_request.extensions = defaultExtensions();
}

PictureSource::~PictureSource()
{
    m_stop.request_stop();
    m_pool.waitForDone();
}

QStringList PictureSource::defaultExtensions()
{
    return {QStringLiteral("jpg"), QStringLiteral("jpeg"), QStringLiteral("jpe"), QStringLiteral("png"),
        QStringLiteral("bmp"), QStringLiteral("gif"), QStringLiteral("webp"), QStringLiteral("tif"),
        QStringLiteral("tiff"), QStringLiteral("heic"), QStringLiteral("heif"), QStringLiteral("avif"),
        QStringLiteral("wmf"), QStringLiteral("emf")};
}

void PictureSource::setExtensions(const QStringList& extensions)
{
    if (extensions == m_request.extensions)
        return;
    m_request.extensions = extensions;
    if (m_requested && !m_choice.isDatabase())
        startScan();
}

bool PictureSource::setFolder(const QString& folder, bool includeSubfolders)
{
    return setSource(SourceSelection::ofFolder(folder, includeSubfolders));
}

bool PictureSource::setSource(const SourceSelection& choice)
{
    if (m_requested && choice == m_choice)
        return false;
    m_choice = choice;
    m_request.folder = choice.folder;
    m_request.includeSubfolders = choice.includeSubfolders;
    startScan();
    return true;
}

bool PictureSource::applySettings(const ClsRegistryBase& settings)
{
    return setSource(SourceSelection::fromSettings(settings));
}

void PictureSource::setDatabase(const QString& path, std::function<quint64()> changeStamp)
{
    m_databasePath = path;
    m_changeStamp = std::move(changeStamp);
}

quint64 PictureSource::changeStamp() const
{
    return m_changeStamp ? m_changeStamp() : 0;
}

void PictureSource::acknowledgeOwnWrite(quint64 before, quint64 after)
{
    if (m_readStamp != 0 && m_readStamp == before)
        m_readStamp = after;
}

void PictureSource::rescan()
{
    startScan();
}

bool PictureSource::refreshIfChanged()
{
    if (m_scanning)
        return true;
    if (!m_requested)
        return false;
    const bool changed = m_choice.isDatabase() ? m_readStamp == 0 || changeStamp() != m_readStamp
                                               : FolderScanner::changedSince(m_last);
    if (!changed)
        return false;
    startScan();
    return true;
}

void PictureSource::startScan()
{
    m_stop.request_stop();
    m_stop = std::stop_source();
    m_requested = true;
    m_scanning = true;
    const quint64 generation = ++m_generation;
    auto* watcher = new QFutureWatcher<Job>(this);
    connect(
        watcher, &QFutureWatcherBase::finished, this, [this, watcher, generation] { finishScan(watcher, generation); });
    Job job;
    job.choice = m_choice;
    // Taken before the reading starts: a change committed meanwhile calls for one more reading,
    // never for none.
    job.stamp = m_choice.isDatabase() ? changeStamp() : 0;
    // The job owns copies of everything it reads, so it may outlive a superseded watcher.
    watcher->setFuture(QtConcurrent::run(&m_pool,
        [job = std::move(job), request = m_request, database = m_databasePath, stop = m_stop.get_token()]() mutable {
            if (!job.choice.isDatabase()) {
                job.scan = FolderScanner::scan(request, stop);
            } else if (database.isEmpty()) {
                job.reading.error = QStringLiteral("pas de base de données");
            } else {
                job.reading = DatabaseSource::read(database, job.choice);
            }
            // A large scan leaves megabytes of freed temporaries in the worker's heap: give them back.
            malloc_trim(0);
            return job;
        }));
}

void PictureSource::finishScan(QFutureWatcher<Job>* watcher, quint64 generation)
{
    watcher->deleteLater();
    if (generation != m_generation)
        return; // superseded: a newer scan is running or has already been installed
    m_scanning = false;
    Job job = watcher->result();
    if (job.choice.isDatabase()) {
        installReading(job);
        return;
    }
    if (job.scan.cancelled)
        return;
    m_last = std::move(job.scan);
    m_lastChoice = job.choice;
    m_volumes.clear();
    m_contentHash = 0;
    m_readStamp = 0;
    TAPISOL_TRACE(FolderScanner::traceLine(m_last));
    emit listReady();
}

void PictureSource::installReading(Job& job)
{
    TAPISOL_TRACE(DatabaseSource::traceLine(job.choice, job.reading));
    const bool sameSource = job.choice == m_lastChoice;
    if (!job.reading.error.isEmpty()) {
        m_readStamp = 0; // read again before the next change
        if (sameSource) {
            emit listConfirmed(); // a busy file says nothing about the album: its list stays
            return;
        }
        // Another source was asked for and its pictures are not known: none of the old one's
        // are offered in its name.
        job.reading = DatabaseSource::Result();
    } else {
        m_readStamp = job.stamp;
    }
    if (sameSource && job.reading.error.isEmpty() && job.reading.contentHash == m_contentHash
        && job.reading.list.count() == m_last.list.count()) {
        m_volumes = job.reading.volumes;
        emit listConfirmed();
        return;
    }
    m_last = ScanResult();
    m_last.list = job.reading.list;
    m_last.counts.pictures = job.reading.pictures;
    m_last.counts.folders = job.reading.list.folderCount();
    m_last.elapsedMs = job.reading.elapsedMs;
    m_lastChoice = job.choice;
    m_volumes = job.reading.volumes;
    m_contentHash = job.reading.contentHash;
    emit listReady();
}
