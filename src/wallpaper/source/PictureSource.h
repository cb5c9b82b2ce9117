#pragma once

#include "AlbumTypes.h"
#include "DatabaseSource.h"
#include "FolderScanner.h"
#include "SourceList.h"
#include "SourceSelection.h"

#include <QFutureWatcher>
#include <QHash>
#include <QObject>
#include <QThreadPool>

#include <functional>
#include <stop_token>

class ClsRegistryBase;

// The pictures the wallpaper rotates through (a folder, an album or a page, a slideshow project):
// their entry list, built on a worker thread so that the tray stays responsive while a large tree
// or album is read.
//
// The list in use only ever changes in the owner's thread, when a scan has finished (listReady()).
// Until then the previous list stays in use, even after the source setting changed. Asking for
// another source, or for a rescan, supersedes the scan in progress: it is told to stop and its
// result is dropped. A folder that vanishes or cannot be read, or an album, page or project that
// was deleted, yields an empty list, so that no picture that has gone is offered. Every finished
// scan writes one trace line with its counts.
//
// Changes inside a folder tree are found by refreshIfChanged(), which the engine calls before each
// wallpaper change: one stat() per folder of the last scan against the times kept then. A file
// watcher would be quicker to notice but needs one inotify watch per folder, and trees of
// thousands of folders run into the per-user limit; a stat per folder costs about a millisecond
// per thousand folders with the metadata cached.
//
// An album or a project is read again when the database changed since it was read, as the
// program's connection tells it (the file's data version and the connection's own change count),
// less the changes the engine says it made itself (the shown-pictures table after each picture).
// A reading that finds the same entries keeps the list in use as it is. A reading that fails (the
// file busy) keeps the list of the same source and is tried again at the next change; it is never
// taken for a deleted album.
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

    /// Sets the source; starts a scan when it differs from the current request, or when no scan
    /// was ever asked for; returns true then. An album or a project needs setDatabase() first.
    bool setSource(const SourceSelection& choice);

    /// setSource() with the source the settings name (SourceSelection::fromSettings()).
    bool applySettings(const ClsRegistryBase& settings);

    /// The database file that albums and projects are read from (with a connection of the
    /// worker's own), and how the program's connection tells that the file changed.
    void setDatabase(const QString& path, std::function<quint64()> changeStamp);

    /// The engine wrote to the database itself between `before` and `after` (change stamps),
    /// touching no album or project: such a change does not call for a new reading.
    void acknowledgeOwnWrite(quint64 before, quint64 after);

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

    /// The folder the list in use was built from (cleaned), empty before the first scan and for
    /// an album or a project.
    QString folder() const { return m_last.folder; }
    /// The source of the list in use.
    const SourceSelection& choice() const { return m_lastChoice; }
    /// The source asked for last, whose list may still be on its way.
    const SourceSelection& requestedChoice() const { return m_choice; }
    /// The folder asked for last.
    QString requestedFolder() const { return m_request.folder; }
    /// What the scan of the list in use counted (folders only).
    const ScanCounts& lastCounts() const { return m_last.counts; }
    /// The volumes named by the pictures of the list in use, as the database knows them.
    const QHash<quint32, VolumeRow>& volumes() const { return m_volumes; }

signals:
    /// A finished scan replaced the list in use.
    void listReady();
    /// A reading of an album or a project found the list in use unchanged, or could not be made
    /// (the file busy): the list in use stays.
    void listConfirmed();

private:
    // What a worker hands back: a folder's scan or a database reading.
    struct Job
    {
        SourceSelection choice;
        ScanResult scan;
        DatabaseSource::Result reading;
        quint64 stamp = 0; // the database's change stamp when the reading was asked for
    };

    void startScan();
    void finishScan(QFutureWatcher<Job>* watcher, quint64 generation);
    void installReading(Job& job);
    quint64 changeStamp() const;

    SourceSelection m_choice;
    ScanRequest m_request;
    bool m_requested = false;
    bool m_scanning = false;
    quint64 m_generation = 0;
    std::stop_source m_stop;
    ScanResult m_last;
    SourceSelection m_lastChoice;
    QHash<quint32, VolumeRow> m_volumes;
    quint64 m_contentHash = 0;
    QString m_databasePath;
    std::function<quint64()> m_changeStamp;
    quint64 m_readStamp = 0; // the change stamp the list in use was read at; 0: read again
    QThreadPool m_pool;
};
