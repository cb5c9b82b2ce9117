#pragma once

#include <QDateTime>
#include <QList>
#include <QString>

// Rows of the album tables, as the album store reads and writes them. Keys are the tables' counters;
// 0 means "no row". Dates are local date-times (stored as the floating-point dates of the file).

/// An album (`Albums`) or a page (`AlbumPages`): the two tables have the same columns.
struct AlbumRow
{
    qint64 KeyAuto = 0;
    QString Nom;
    QDateTime DateCreation;
    QDateTime DateModif;
    int IndexImage = 0;
    int StateOpen = 0;
};
using PageRow = AlbumRow;

/// Where a page sits (`AlbumPagesRel`): in album `KeyAlbum`, under page `KeyParent`, or at the
/// album's top level when `KeyParent` is 0.
struct PagePlacement
{
    qint64 KeyAuto = 0;
    qint64 KeyAlbum = 0;
    qint64 KeyPages = 0;
    qint64 KeyParent = 0;
};

/// A picture (`AlbumPictures`), one row per file of one volume.
struct PictureRow
{
    qint64 KeyAuto = 0;
    quint32 VolSerial = 0; // the volume's 32-bit serial, stored as the Long column's bits
    QString Path;          // absolute, compared exactly
    QString ThumbPath;     // the thumbnail file; every stored picture has one
    QDateTime ImageDateTime;
};

/// What kind of volume holds pictures (`VolumeDesc.Type`).
enum class VolumeKind : quint8
{
    Internal = 0,
    Removable = 1,
    Optical = 2,
    Network = 3,
};

/// A volume known to the store (`VolumeDesc`).
struct VolumeRow
{
    quint32 KeyVol = 0;
    VolumeKind Type = VolumeKind::Internal;
    QString Nom; // the volume's label, or a description when it has none
};

/// A named user order of the items of one page (`AlbumTriDesc`).
struct SortOrder
{
    qint64 KeyAuto = 0;
    int Famille = 0; // which kind of items the order sorts (see SortFamily)
    qint64 KeyPage = 0;
    QString Description;
};

/// Families of sorted items written by the album window.
namespace SortFamily {
inline constexpr int Pictures = 0; // the pictures of a page; `Key` is a picture key
inline constexpr int Pages = 1;    // the sub-pages of a page (or of an album's top level)
} // namespace SortFamily

/// One position of a sort order (`AlbumTri`).
struct SortRow
{
    qint64 KeyAuto = 0;
    qint64 KeyDescrip = 0;
    int Ordre = 0;
    qint64 Key = 0;
};
