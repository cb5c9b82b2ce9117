#include "MediaFolders.h"

#include "AppPaths.h"
#include "Trace.h"

#include <QDir>
#include <QFileInfo>

namespace {

const QString kMediaPrefix = QStringLiteral("Media/");

constexpr MediaFolders::Folder kAllFolders[] = {
    MediaFolders::Folder::Sounds,
    MediaFolders::Folder::Comments,
    MediaFolders::Folder::Models,
    MediaFolders::Folder::PlayList,
    MediaFolders::Folder::Thumbnails,
    MediaFolders::Folder::Samples,
    MediaFolders::Folder::BackGround,
};

// The shipped counterpart of a writable media folder; the thumbnails have none.
QString readOnlyPath(MediaFolders::Folder folder)
{
    const QString relative = MediaFolders::relativePath(folder);
    if (!relative.startsWith(kMediaPrefix))
        return {};
    return AppPaths::readOnlyDataDir() + QStringLiteral("media/") + relative.mid(kMediaPrefix.size());
}

bool isFile(const QString& path)
{
    return !path.isEmpty() && QFileInfo(path).isFile();
}

} // namespace

namespace MediaFolders {

QString relativePath(Folder folder)
{
    switch (folder) {
    case Folder::Sounds:
        return QStringLiteral("Media/Sons/");
    case Folder::Comments:
        return QStringLiteral("Media/Sons/Comments/");
    case Folder::Models:
        return QStringLiteral("Media/Models/");
    case Folder::PlayList:
        return QStringLiteral("Media/Sons/PlayList/");
    case Folder::Thumbnails:
        return QStringLiteral("TPThumbnails/");
    case Folder::Samples:
        return QStringLiteral("Media/Images/Samples/");
    case Folder::BackGround:
        return QStringLiteral("Media/Images/BackGround/");
    }
    return {};
}

QString path(Folder folder)
{
    return AppPaths::dataDir() + relativePath(folder);
}

bool createAll(QString* error)
{
    for (const Folder folder : kAllFolders) {
        if (!QDir().mkpath(path(folder))) {
            if (error)
                *error = QStringLiteral("The folder %1 could not be created.").arg(path(folder));
            TAPISOL_TRACE(QStringLiteral("REG Media folder not created: ") + path(folder));
            return false;
        }
    }
    return true;
}

QString findFile(Folder folder, const QString& name)
{
    if (name.isEmpty())
        return {};
    if (QFileInfo(name).isAbsolute())
        return isFile(name) ? name : QString();
    const QString writable = path(folder) + name;
    if (isFile(writable))
        return writable;
    const QString shippedFolder = readOnlyPath(folder);
    if (!shippedFolder.isEmpty() && isFile(shippedFolder + name))
        return shippedFolder + name;
    return {};
}

QString fileName(DefaultFile file)
{
    switch (file) {
    case DefaultFile::Wallpaper:
        return QStringLiteral("default.jpg");
    case DefaultFile::ChangeSound:
        return QStringLiteral("Change1.mp3");
    case DefaultFile::AlarmSound:
        return QStringLiteral("Alm2.mp3");
    }
    return {};
}

QString defaultFilePath(DefaultFile file)
{
    const Folder folder = file == DefaultFile::Wallpaper ? Folder::BackGround : Folder::Sounds;
    const QString found = findFile(folder, fileName(file));
    if (found.isEmpty())
        TAPISOL_TRACE(QStringLiteral("REG Default media file missing: ") + fileName(file));
    return found;
}

} // namespace MediaFolders
