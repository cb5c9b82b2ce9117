#pragma once

#include <QString>

// The media sub-folders of the writable data folder (AppPaths::dataDir()) and the default media files.
// A media file is looked for first in the user's writable folder, then in the read-only data shipped
// with the program, under AppPaths::readOnlyDataDir() + "media/" + the same sub-folder ("Media/Sons/"
// pairs with "media/Sons/").
namespace MediaFolders {

enum class Folder
{
    Sounds,     // "Media/Sons/"
    Comments,   // "Media/Sons/Comments/"
    Models,     // "Media/Models/"
    PlayList,   // "Media/Sons/PlayList/"
    Thumbnails, // "TPThumbnails/" (writable only)
    Samples,    // "Media/Images/Samples/"
    BackGround, // "Media/Images/BackGround/"
};

enum class DefaultFile
{
    Wallpaper,   // "default.jpg" in BackGround: the calendar's background
    ChangeSound, // "Change1.mp3" in Sounds: the wallpaper-change sound
    AlarmSound,  // "Alm2.mp3" in Sounds: the alarm sound
};

/// The folder relative to the data folder, with a trailing '/'.
QString relativePath(Folder folder);

/// The folder's absolute path in the writable data folder, with a trailing '/'.
QString path(Folder folder);

/// Creates every media folder. On failure returns false and, when `error` is given, names the folder.
bool createAll(QString* error = nullptr);

/// The file `name` of `folder`: an absolute `name` as it stands when it exists, otherwise the writable
/// copy, otherwise the shipped copy; empty when none exists.
QString findFile(Folder folder, const QString& name);

/// The default file's bare name ("Change1.mp3").
QString fileName(DefaultFile file);

/// The path of a default file as findFile() finds it; empty (and traced) when it is missing.
QString defaultFilePath(DefaultFile file);

} // namespace MediaFolders
