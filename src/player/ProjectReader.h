#pragma once

#include "ProjectTypes.h"

#include <QList>
#include <QString>

#include <optional>

// Reads a slideshow project from Tapisol.mdb for the player, which never writes to it: the file
// is opened read-only (the tray may be writing at the same moment; the file is in WAL mode, so the
// two do not block each other). A lock held a little longer (a compaction, an upgrade) is waited
// for a few seconds and then reported as busy, which is never taken for damage.
class ProjectReader
{
public:
    enum class Status
    {
        Ok,
        NoFile,     // the database file is not there
        Busy,       // another program held the file longer than the wait
        Unreadable, // not a database, damaged, or without the slideshow tables
        NoProject,  // no project has that key
    };

    struct Project
    {
        Status status = Status::Ok;
        ProjectRow project;
        QList<SlideRow> slides; // ascending Ordre
        QString error;          // SQLite's words, for the trace
    };

    explicit ProjectReader(QString mdbPath, int busyWaitMs = 3000);

    /// The project `key` and its slides, read in one transaction so that a save by the assistant
    /// at the same moment is seen whole or not at all.
    Project read(qint64 key) const;

    /// Whether project `key` still exists; nothing when that cannot be told now (busy, unreadable).
    std::optional<bool> exists(qint64 key) const;

    QString mdbPath() const { return m_path; }

private:
    QString m_path;
    int m_busyWaitMs;
};
