#pragma once

#include <QString>

#include <functional>

class ClsImage;
class ClsMdb;

// The database cleaning (`CleanDatabase`): every picture whose file or thumbnail file is gone is
// deleted from the store (links, row, thumbnail), then the thumbnail files that no picture names
// are removed. Not re-entrant: a second call while one runs returns false at once and traces it.
namespace AlbumCleaning {

struct Report
{
    int pictures = 0;        // rows looked at
    int picturesDeleted = 0; // rows deleted
    int thumbnailsDeleted = 0;
    bool refused = false; // another cleaning was running
};

/// (done, total) after each picture; processes the interface's events in between (the caller's
/// wait window keeps the event loop alive through it).
using Progress = std::function<void(int done, int total)>;

/// Runs the cleaning ("Sy CleanDatabase"). A picture on a volume that is not mounted now is kept:
/// an unplugged disk is no reason to forget its pictures. A database held by another program
/// stops the cleaning (traced), with what was done so far kept.
Report run(ClsMdb& db, const ClsImage& images, const Progress& progress = {});

/// True while a cleaning runs.
bool isRunning();

} // namespace AlbumCleaning
