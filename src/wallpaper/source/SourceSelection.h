#pragma once

#include <QString>

class ClsRegistryBase;

// Which pictures the wallpaper rotates through: a folder (with or without its sub-folders), an
// album or one of its pages with the pages under it, or a slideshow project.
struct SourceSelection
{
    enum class Kind : quint8
    {
        Folder,
        Album,
        Project,
    };

    Kind kind = Kind::Folder;
    QString folder; // Folder: cleaned as FolderScanner::cleanFolder() does
    bool includeSubfolders = false;
    qint64 album = 0; // Album
    qint64 page = 0;  // Album: the page, 0 for the whole album
    qint64 project = 0;

    static SourceSelection ofFolder(const QString& folder, bool includeSubfolders);
    static SourceSelection ofAlbum(qint64 album, qint64 page);
    static SourceSelection ofProject(qint64 project);

    /// The source the settings name: the project when `SourceProjet` is on, else the album or page
    /// when `SourceAlbum` is on, else the folder `Répertoire`.
    static SourceSelection fromSettings(const ClsRegistryBase& settings);

    /// Whether its list is read from the database (an album, a page or a project).
    bool isDatabase() const { return kind != Kind::Folder; }

    /// The source in a few words, for the trace.
    QString describe() const;

    bool operator==(const SourceSelection&) const = default;
};
