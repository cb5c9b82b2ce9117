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
    if (m_requested)
        startScan();
}

bool PictureSource::setFolder(const QString& folder, bool includeSubfolders)
{
    const QString clean = FolderScanner::cleanFolder(folder);
    if (m_requested && clean == m_request.folder && includeSubfolders == m_request.includeSubfolders)
        return false;
    m_request.folder = clean;
    m_request.includeSubfolders = includeSubfolders;
    startScan();
    return true;
}

bool PictureSource::applySettings(const ClsRegistryBase& settings)
{
    return setFolder(
        settings.get(SettingNo::Repertoire).toString(), settings.get(SettingNo::SousRepertoire).toInt() != 0);
}

void PictureSource::rescan()
{
    startScan();
}

bool PictureSource::refreshIfChanged()
{
    if (m_scanning)
        return true;
    if (!m_requested || !FolderScanner::changedSince(m_last))
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
    auto* watcher = new QFutureWatcher<ScanResult>(this);
    connect(
        watcher, &QFutureWatcherBase::finished, this, [this, watcher, generation] { finishScan(watcher, generation); });
    // The job owns copies of everything it reads, so it may outlive a superseded watcher.
    watcher->setFuture(QtConcurrent::run(&m_pool, [request = m_request, stop = m_stop.get_token()] {
        ScanResult result = FolderScanner::scan(request, stop);
        // A large scan leaves megabytes of freed temporaries in the worker's heap: give them back.
        malloc_trim(0);
        return result;
    }));
}

void PictureSource::finishScan(QFutureWatcher<ScanResult>* watcher, quint64 generation)
{
    watcher->deleteLater();
    if (generation != m_generation)
        return; // superseded: a newer scan is running or has already been installed
    m_scanning = false;
    ScanResult result = watcher->result();
    if (result.cancelled)
        return;
    m_last = std::move(result);
    TAPISOL_TRACE(FolderScanner::traceLine(m_last));
    emit listReady();
}
