#include "AlbumCleaning.h"

#include "AlbumStore.h"
#include "ClsImage.h"
#include "InterfaceTexts.h"
#include "Trace.h"
#include "Volumes.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <sys/stat.h>

namespace {

// The lock and full-disk words of the store: a passing state that ends the cleaning.
constexpr int TextBusy = 2700;
constexpr int TextDiskFull = 2701;

bool running = false;

enum class Presence
{
    Present,
    Missing,
    Unknown // unreadable folder, I/O error...: nothing may be concluded from it
};

// Only "no such file" makes a file missing: a folder that cannot be read is no reason to forget
// the pictures in it.
Presence presenceOf(const QString& path)
{
    struct stat info = {};
    if (::stat(QFile::encodeName(path).constData(), &info) == 0)
        return Presence::Present;
    return (errno == ENOENT || errno == ENOTDIR) ? Presence::Missing : Presence::Unknown;
}

// Whether the picture is gone for good: its file is missing from its own disk, mounted now where
// the path leads, or its thumbnail is missing from a thumbnail folder that is there (a whole
// folder gone is a folder moved or not mounted, not thousands of lost thumbnails).
bool isGone(const PictureRow& picture)
{
    if (!Volumes::isMounted(picture.VolSerial))
        return false;
    const Presence file = presenceOf(picture.Path);
    if (file == Presence::Unknown)
        return false;
    if (file == Presence::Missing) {
        // Another disk may be mounted where the picture's disk used to be, its disk elsewhere.
        const auto holder = Volumes::volumeOf(picture.Path);
        return holder && holder->serial == picture.VolSerial;
    }
    if (picture.ThumbPath.isEmpty())
        return true;
    if (presenceOf(picture.ThumbPath) != Presence::Missing)
        return false;
    return presenceOf(QFileInfo(picture.ThumbPath).absolutePath()) == Presence::Present;
}

void processEvents()
{
    if (QCoreApplication::instance())
        QCoreApplication::processEvents();
}

} // namespace

namespace AlbumCleaning {

bool isRunning()
{
    return running;
}

Report run(ClsMdb& db, const ClsImage& images, const Progress& progress)
{
    Report report;
    TAPISOL_TRACE(QStringLiteral("Sy CleanDatabase"));
    if (running) {
        TAPISOL_TRACE(QStringLiteral("Sy CleanDatabase refused: a cleaning is running"));
        report.refused = true;
        return report;
    }
    running = true;
    struct Done
    {
        ~Done() { running = false; }
    } done;

    // A snapshot by key: the events processed between pictures may add or delete pictures, which
    // the next cleaning will see.
    const QList<PictureRow> pictures = AlbumStore::allPictures(db);
    const int total = int(pictures.size());
    if (pictures.isEmpty()) {
        // Nothing to look at, or a file that cannot be read now: the thumbnails stay as they are.
        TAPISOL_TRACE(QStringLiteral("Sy CleanDatabase end: no picture"));
        return report;
    }
    bool stopped = false;
    for (const PictureRow& picture : pictures) {
        ++report.pictures;
        if (isGone(picture)) {
            QString error;
            if (AlbumStore::deletePicture(db, picture.KeyAuto, &error)) {
                ++report.picturesDeleted;
                TAPISOL_TRACE(
                    QStringLiteral("Sy CleanDatabase picture %1 deleted: %2").arg(picture.KeyAuto).arg(picture.Path));
            } else if (error == langText(TextBusy) || error == langText(TextDiskFull)) {
                TAPISOL_TRACE(
                    QStringLiteral("Sy CleanDatabase stopped at picture %1: %2").arg(picture.KeyAuto).arg(error));
                stopped = true;
            } else {
                TAPISOL_TRACE(QStringLiteral("Sy CleanDatabase picture %1 kept: %2").arg(picture.KeyAuto).arg(error));
            }
        }
        if (progress)
            progress(report.pictures, total);
        if (stopped)
            break;
        processEvents();
    }
    if (!stopped) {
        report.thumbnailsDeleted = images.cleanFolder(db, [](int, int, const QString&) {
            processEvents();
            return true;
        });
    }
    TAPISOL_TRACE(QStringLiteral("Sy CleanDatabase end: %1 pictures, %2 deleted, %3 thumbnails deleted%4")
                      .arg(report.pictures)
                      .arg(report.picturesDeleted)
                      .arg(report.thumbnailsDeleted)
                      .arg(stopped ? QStringLiteral(", stopped") : QString()));
    return report;
}

} // namespace AlbumCleaning
