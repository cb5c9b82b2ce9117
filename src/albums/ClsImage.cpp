#include "ClsImage.h"

#include "AlbumStore.h"
#include "ClsRegistryBase.h"
#include "ImageScaling.h"
#include "InterfaceTexts.h"
#include "MediaFolders.h"
#include "SettingsTable.h"
#include "Trace.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <filesystem>
#include <system_error>
#include <utility>

namespace {

constexpr int TextNotMade = 2948;
constexpr int TextFolderNotCreated = 2949;
constexpr int TextNotRecorded = 2950;

QString withSlash(QString folder)
{
    if (!folder.isEmpty() && !folder.endsWith(QLatin1Char('/')))
        folder += QLatin1Char('/');
    return folder;
}

// The decoder's "<picture>: <cause>" without the picture, which the message names itself.
QString causeOf(const QString& error, const QString& picture)
{
    const QString prefix = picture + QStringLiteral(": ");
    return error.startsWith(prefix) ? error.mid(prefix.size()) : error;
}

void setError(QString* error, const QString& text)
{
    if (error)
        *error = text;
}

} // namespace

ClsImage::ClsImage(QString folder)
    : m_folder(withSlash(std::move(folder)))
{ }

QString ClsImage::folderFromSettings(const ClsRegistryBase& registry)
{
    const QString configured = registry.get(SettingNo::ThumbPath).toString().trimmed();
    return configured.isEmpty() ? MediaFolders::path(MediaFolders::Folder::Thumbnails) : withSlash(configured);
}

QString ClsImage::thumbnailFileName(qint64 number)
{
    return QString::number(number).rightJustified(8, QLatin1Char('0')) + QStringLiteral(".thb");
}

QSize ClsImage::fittedSize(QSize image, QSize box)
{
    return ImageScaling::fitInto(image, box);
}

QString ClsImage::nextThumbnailName(const std::function<bool(const QString&)>& reserved) const
{
    // Starting from the number of files keeps the search short in a folder without gaps; the
    // steps make it safe after deletions.
    const QDir dir(m_folder);
    qint64 number = dir.exists() ? dir.entryList(QDir::Files | QDir::Hidden | QDir::System).size() : 0;
    for (;; ++number) {
        const QString path = m_folder + thumbnailFileName(number);
        const QFileInfo info(path);
        if (!info.exists() && !info.isSymLink() && !(reserved && reserved(path)))
            return path;
    }
}

bool ClsImage::ensureFolder(QString* error) const
{
    std::error_code code;
    const std::filesystem::path folder(QFile::encodeName(m_folder).toStdString());
    if (std::filesystem::is_directory(folder, code) || std::filesystem::create_directories(folder, code))
        return true;
    std::error_code again;
    if (std::filesystem::is_directory(folder, again)) // made by another thread or program meanwhile
        return true;
    const QString reason = code ? QString::fromLocal8Bit(code.message()) : QStringLiteral("?");
    setError(error, langText(TextFolderNotCreated).arg(m_folder, reason));
    TAPISOL_TRACE(QStringLiteral("IM Thumbnail folder %1, Err %2").arg(m_folder, reason));
    return false;
}

bool ClsImage::writeThumbnail(ImageDecoder& decoder, const QString& picture, QSize box, const QString& path,
    QString* error, ImageDecoder::ThumbnailFailure* failure) const
{
    QString cause;
    const QSize written = decoder.makeThumbnail(picture, box, path, kQuality, &cause, failure);
    if (written.isEmpty()) {
        setError(error, langText(TextNotMade).arg(picture, causeOf(cause, picture)));
        TAPISOL_TRACE(QStringLiteral("IM Thumbnail ") + picture + QStringLiteral(", Err ") + cause);
        return false;
    }
    TAPISOL_TRACE(
        QStringLiteral("IM Thumbnail %1 %2x%3 %4").arg(picture).arg(written.width()).arg(written.height()).arg(path));
    return true;
}

QString ClsImage::makeThumbnail(
    ImageDecoder& decoder, const QString& picture, int maxWidth, int maxHeight, QString* error) const
{
    if (!ensureFolder(error))
        return {};
    const QString path = nextThumbnailName();
    return writeThumbnail(decoder, picture, QSize(maxWidth, maxHeight), path, error) ? path : QString();
}

QString ClsImage::pictureThumbnail(
    ClsMdb& db, ImageDecoder& decoder, quint32 volSerial, const QString& picture, QString* error) const
{
    std::optional<PictureRow> row = AlbumStore::findPicture(db, volSerial, picture);
    if (row && !row->ThumbPath.isEmpty())
        return row->ThumbPath;
    QString path;
    ImageDecoder::ThumbnailFailure failure = ImageDecoder::ThumbnailFailure::Unwritable;
    if (ensureFolder(error)) {
        path = nextThumbnailName();
        if (!writeThumbnail(decoder, picture, kThumbnailBox, path, error, &failure))
            path.clear();
    }
    if (path.isEmpty()) {
        // Only a picture that was read and found not to be one leaves the store: a file gone with
        // its disk, a full or read-only folder or a stopped helper is a passing state. The file is
        // looked at once more because a disk pulled out during the read looks like damage.
        if (row && failure == ImageDecoder::ThumbnailFailure::Undecodable && QFileInfo::exists(picture)) {
            TAPISOL_TRACE(QStringLiteral("IM Thumbnail undecodable picture %1 removed from the albums").arg(picture));
            AlbumStore::deletePicture(db, row->KeyAuto);
        }
        return {};
    }
    QString stored;
    bool recorded = false;
    if (row) {
        row->ThumbPath = path;
        recorded = AlbumStore::updatePicture(db, *row, &stored);
    } else {
        recorded = AlbumStore::addPicture(db, volSerial, picture, path, QFileInfo(picture).lastModified(), &stored)
                       .has_value();
    }
    if (!recorded) {
        // No row names the file just written: it would only wait for the next cleaning.
        QFile::remove(path);
        setError(error, langText(TextNotRecorded).arg(picture, stored));
        return {};
    }
    return path;
}

int ClsImage::cleanFolder(ClsMdb& db, const Progress& progress) const
{
    QDir dir(m_folder);
    if (!dir.exists())
        return 0;
    // One reading of the store for the whole folder. The store says nothing apart between "no
    // picture" and "cannot be read now", and either way nothing can be concluded: a cleaning with
    // no picture keeps the thumbnails.
    const QList<PictureRow> pictures = AlbumStore::allPictures(db);
    if (pictures.isEmpty()) {
        TAPISOL_TRACE(QStringLiteral("IM CleanFolder %1: no picture in the store, nothing deleted").arg(m_folder));
        return 0;
    }
    QSet<QString> named;
    for (const PictureRow& picture : pictures)
        named.insert(QDir::cleanPath(picture.ThumbPath));
    dir.setNameFilters({QStringLiteral("*.thb")});
    const QStringList files = dir.entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name);
    int deleted = 0;
    int done = 0;
    for (const QString& name : files) {
        if (progress && !progress(++done, int(files.size()), name))
            break;
        const QString path = m_folder + name;
        if (named.contains(QDir::cleanPath(path)))
            continue;
        QFile file(path);
        if (file.remove() || !file.exists()) {
            ++deleted;
            TAPISOL_TRACE(QStringLiteral("IM CleanFolder %1 deleted").arg(name));
        } else {
            TAPISOL_TRACE(QStringLiteral("IM CleanFolder %1 kept: %2").arg(name, file.errorString()));
        }
    }
    return deleted;
}

bool ClsImage::emptyFolder(const Progress& progress) const
{
    QDir dir(m_folder);
    if (!dir.exists())
        return true;
    const QStringList files = dir.entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name);
    bool all = true;
    int done = 0;
    for (const QString& name : files) {
        if (QFileInfo(name).suffix().toLower() != QLatin1String("thb"))
            continue;
        QFile file(m_folder + name);
        if (!file.remove() && file.exists()) {
            all = false;
            TAPISOL_TRACE(QStringLiteral("IM EmptyFolder %1 kept: %2").arg(name, file.errorString()));
        }
        if (progress && !progress(++done, int(files.size()), name))
            return false;
    }
    if (dir.isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System))
        QDir().rmdir(m_folder);
    return all;
}
