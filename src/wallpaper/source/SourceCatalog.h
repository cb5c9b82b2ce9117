#pragma once

#include <QList>
#include <QString>

class ClsMdb;

// What the settings dialog offers as a picture source besides a folder: the albums with their
// pages, and the slideshow projects. Read from the database without a widget, so that the dialog
// only lays the items out.

/// One album, page or project that can be chosen.
struct SourceChoice
{
    enum class Kind : quint8
    {
        Album,
        Page,
        Project,
    };

    Kind kind = Kind::Album;
    qint64 album = 0; // Album and Page: the album
    qint64 page = 0;  // Page: the page
    qint64 project = 0;
    QString name;
    int depth = 0;    // 0 for an album or a project, 1 for a page at an album's top, 2 under it...
    QString password; // Project: what the password column shows ("**" when there is one)

    bool operator==(const SourceChoice&) const = default;
};

namespace SourceCatalog {

/// Every album by name, each followed by its pages in the order the wallpaper walks them.
QList<SourceChoice> albumsAndPages(ClsMdb& db);

/// Every slideshow project by name.
QList<SourceChoice> projects(ClsMdb& db);

} // namespace SourceCatalog
