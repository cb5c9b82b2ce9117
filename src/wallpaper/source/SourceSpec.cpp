#include "SourceSpec.h"

#include "ClsRegistryBase.h"
#include "FolderScanner.h"
#include "SettingsTable.h"

SourceSpec SourceSpec::ofFolder(const QString& folder, bool includeSubfolders)
{
    SourceSpec spec;
    spec.folder = FolderScanner::cleanFolder(folder);
    spec.includeSubfolders = includeSubfolders;
    return spec;
}

SourceSpec SourceSpec::ofAlbum(qint64 album, qint64 page)
{
    SourceSpec spec;
    spec.kind = Kind::Album;
    spec.album = album;
    spec.page = page;
    return spec;
}

SourceSpec SourceSpec::ofProject(qint64 project)
{
    SourceSpec spec;
    spec.kind = Kind::Project;
    spec.project = project;
    return spec;
}

SourceSpec SourceSpec::fromSettings(const ClsRegistryBase& settings)
{
    if (settings.get(SettingNo::SourceProjet).toInt() != 0)
        return ofProject(settings.get(SettingNo::SourceProjetKey).toLongLong());
    if (settings.get(SettingNo::SourceAlbum).toInt() != 0)
        return ofAlbum(settings.get(SettingNo::SourceAlbumKey).toLongLong(),
            settings.get(SettingNo::SourceAlbumPage).toLongLong());
    return ofFolder(
        settings.get(SettingNo::Repertoire).toString(), settings.get(SettingNo::SousRepertoire).toInt() != 0);
}

QString SourceSpec::describe() const
{
    switch (kind) {
    case Kind::Album:
        return page != 0 ? QStringLiteral("album %1 page %2").arg(album).arg(page)
                         : QStringLiteral("album %1").arg(album);
    case Kind::Project:
        return QStringLiteral("projet %1").arg(project);
    case Kind::Folder:
        break;
    }
    return folder;
}
