#include "SourceSelection.h"

#include "ClsRegistryBase.h"
#include "FolderScanner.h"
#include "SettingsTable.h"

SourceSelection SourceSelection::ofFolder(const QString& folder, bool includeSubfolders)
{
    SourceSelection choice;
    choice.folder = FolderScanner::cleanFolder(folder);
    choice.includeSubfolders = includeSubfolders;
    return choice;
}

SourceSelection SourceSelection::ofAlbum(qint64 album, qint64 page)
{
    SourceSelection choice;
    choice.kind = Kind::Album;
    choice.album = album;
    choice.page = page;
    return choice;
}

SourceSelection SourceSelection::ofProject(qint64 project)
{
    SourceSelection choice;
    choice.kind = Kind::Project;
    choice.project = project;
    return choice;
}

SourceSelection SourceSelection::fromSettings(const ClsRegistryBase& settings)
{
    if (settings.get(SettingNo::SourceProjet).toInt() != 0)
        return ofProject(settings.get(SettingNo::SourceProjetKey).toLongLong());
    if (settings.get(SettingNo::SourceAlbum).toInt() != 0)
        return ofAlbum(settings.get(SettingNo::SourceAlbumKey).toLongLong(),
            settings.get(SettingNo::SourceAlbumPage).toLongLong());
    return ofFolder(
        settings.get(SettingNo::Repertoire).toString(), settings.get(SettingNo::SousRepertoire).toInt() != 0);
}

QString SourceSelection::describe() const
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
