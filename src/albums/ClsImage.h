#pragma once

#include "ImageDecoder.h"

#include <QSize>
#include <QString>

#include <functional>

class ClsMdb;
class ClsRegistryBase;

// Thumbnails of the album pictures: JPEG files (quality 75) named by a running number in the
// thumbnail folder ("00000000.thb", "00000137.thb"...), made by the decoding helper process from
// the user's pictures (never decoded in the tray process) and written through QSaveFile.
class ClsImage
{
public:
    /// The thumbnail folder, ending with "/": the settings' ThumbPath when set, else the data
    /// folder's "TPThumbnails/".
    explicit ClsImage(QString folder);

    QString folder() const { return m_folder; }

    /// The thumbnail folder the settings name: ThumbPath when it is set, else the data folder's
    /// "TPThumbnails/"; always ending with "/".
    static QString folderFromSettings(const ClsRegistryBase& registry);

    /// JPEG quality of the thumbnails.
    static constexpr int kQuality = 75;

    /// The largest box a thumbnail of the album views fills.
    static constexpr QSize kThumbnailBox {160, 120};

    /// The file name of thumbnail `number`: at least eight digits, zero-padded, then ".thb".
    static QString thumbnailFileName(qint64 number);

    /// The size of `image` fitted into `box` keeping its proportions (rounded to the nearest
    /// pixel); its own size when it already fits.
    static QSize fittedSize(QSize image, QSize box);

    /// A free thumbnail path: the search starts at the number of files in the folder and steps on
    /// while the name is taken or `reserved` says it is (a name handed out and not written yet).
    QString nextThumbnailName(const std::function<bool(const QString&)>& reserved = {}) const;

    /// Makes the thumbnail of `picture` within maxWidth × maxHeight under the next free name; its
    /// path, or "" with `error` set when the picture could not be decoded or the file written.
    QString makeThumbnail(
        ImageDecoder& decoder, const QString& picture, int maxWidth, int maxHeight, QString* error = nullptr) const;

    /// Makes the thumbnail of `picture` within `box` as the file `path`, a name handed out by
    /// nextThumbnailName() (the batch hands names out in one thread and writes them in others).
    /// True, or false with `error` naming the picture and `failure` saying whether the picture
    /// itself is to blame. The folder must exist.
    bool writeThumbnail(ImageDecoder& decoder, const QString& picture, QSize box, const QString& path,
        QString* error = nullptr, ImageDecoder::ThumbnailFailure* failure = nullptr) const;

    /// Creates the folder when it is missing; false with `error` when it cannot be.
    bool ensureFolder(QString* error = nullptr) const;

    /// The stored thumbnail of the picture (volume, path); when the picture has none yet, makes it
    /// and stores it on the picture's row (adding the row when the picture is new, on no page).
    /// When the picture cannot be decoded it is removed from the store with its links and "" is
    /// returned; a passing state (the file or its disk gone, the folder read-only or full, the
    /// database held) returns "" and keeps the row.
    QString pictureThumbnail(
        ClsMdb& db, ImageDecoder& decoder, quint32 volSerial, const QString& picture, QString* error = nullptr) const;

    /// Progress of a long folder operation: (done, total, current file name); returns false to stop.
    using Progress = std::function<bool(int done, int total, const QString& name)>;

    /// Deletes the ".thb" files that no picture names; the number deleted.
    int cleanFolder(ClsMdb& db, const Progress& progress = {}) const;

    /// Deletes every ".thb" file, then the folder when nothing else is left in it.
    bool emptyFolder(const Progress& progress = {}) const;

private:
    QString m_folder;
};
