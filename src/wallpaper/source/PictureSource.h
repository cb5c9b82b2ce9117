#pragma once

#include "FolderScanner.h"
#include "SourceList.h"

#include <QFutureWatcher>
#include <QObject>
#include <QThreadPool>

#include <stop_token>

class ClsRegistryBase;

// The picture folder the wallpaper rotates through: its entry list, built on a worker thread so
// that the tray stays responsive while a large tree is read.
//
// The list in use only ever changes in the owner's thread, when a scan has finished (listReady()).
// Until then the previous list stays in use, even after the folder setting changed. Asking for
// another folder, or for a rescan, supersedes the scan in progress: it is told to stop and its
// result is dropped. A folder that vanishes or cannot be read yields an empty list, so that no
// picture that has gone is offered. Every finished scan writes one trace line with its counts.
//
// Changes inside the tree are found by refreshIfChanged(), which the engine calls before each
// wallpaper change: one stat() per folder of the last scan against the times kept then. A file
// watcher would be quicker to notice but needs one inotify watch per folder, and trees of
// thousands of folders run into the per-user limit; a stat per folder costs about a millisecond
// per thousand folders with the metadata cached.
class PictureSource : public QObject
{
    Q_OBJECT

public:
    explicit PictureSource(QObject* parent = nullptr);
    /// Stops a scan in progress and waits for the worker to notice (it looks between entries).
    ~PictureSource() override;

    /// The picture extensions used until setExtensions() is called.
    static QStringList defaultExtensions();

    /// Sets the extensions (lower case, without the dot) that make a file a picture. Rescans when a
    /// folder is set and the list differs.
    void setExtensions(const QStringList& extensions);

    /// Sets the folder and whether its sub-folders contribute entries. Starts a scan when either
    /// differs from the current request, or when no scan was ever asked for; returns true then.
    bool setFolder(const QString& folder, bool includeSubfolders);

    /// setFolder() with the settings `Répertoire` and `SousRépertoire`.
    bool applySettings(const ClsRegistryBase& settings);

    /// Scans the current folder again, superseding a scan in progress.
    void rescan();

    /// Looks whether a folder of the list in use changed since it was scanned and starts a rescan if
    /// so. Returns true when a new list is on its way (a scan was started, or one is already in
    /// progress): listReady() follows. Cheap when nothing changed; runs on the calling thread.
    bool refreshIfChanged();

    /// True while a scan is in progress.
    bool isScanning() const { return m_scanning; }

    /// The list in use (empty before the first scan has finished).
    const SourceList& list() const { return m_last.list; }
    /// Number of entries of the list in use.
    int count() const { return m_last.list.count(); }
    /// The entry at 1-based `position` of the list in use (empty outside it).
    SourceEntry entry(int position) const { return m_last.list.entry(position); }
    /// True when the entry at `position` is a picture.
    bool isPicture(int position) const { return m_last.list.isPicture(position); }
    /// The position of the entry whose key is exactly `key`, 0 when the list has none.
    int indexOf(const QString& key) const { return m_last.list.indexOf(key); }

    /// The folder the list in use was built from (cleaned), empty before the first scan.
    QString folder() const { return m_last.folder; }
    /// The folder asked for last, whose list may still be on its way.
    QString requestedFolder() const { return m_request.folder; }
    /// What the scan of the list in use counted.
    const ScanCounts& lastCounts() const { return m_last.counts; }

signals:
    /// A finished scan replaced the list in use.
    void listReady();

private:
    void startScan();
    void finishScan(QFutureWatcher<ScanResult>* watcher, quint64 generation);

    ScanRequest m_request;
    bool m_requested = false;
    bool m_scanning = false;
    quint64 m_generation = 0;
    std::stop_source m_stop;
    ScanResult m_last;
    QThreadPool m_pool;
};
