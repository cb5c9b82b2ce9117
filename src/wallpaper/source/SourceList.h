#pragma once

#include <QLatin1StringView>
#include <QList>
#include <QString>
#include <QStringView>

#include <memory>

struct SourceListData;

// One entry of a picture source: its key (the full path, compared exactly) and its marker. A
// picture has an empty marker; every other entry (the source's own folder, a sub-folder) carries
// one and is stepped over by the selection.
struct SourceEntry
{
    QString key;
    QString marker;

    bool isPicture() const { return marker.isEmpty(); }
    bool operator==(const SourceEntry&) const = default;
};

namespace SourceMarker {
/// The source's own folder (or album, or project), always entry 1 of a non-empty list.
inline const QString Root = QStringLiteral("R");
/// A sub-folder (only when sub-folders are included), or a page of an album.
inline const QString Folder = QStringLiteral("D");
} // namespace SourceMarker

// The ordered entries of one source, addressed by 1-based positions as the selection walks them.
// The order is depth first: a folder's entry, then its pictures, then each of its sub-folders in
// turn with their own pictures and sub-folders. An album has the same shape with pages for
// folders; its pictures lie anywhere, so they are kept by their full path, each with the serial of
// the volume that holds it.
//
// Immutable and cheap to copy (shared). A list of 100,000 pictures would weigh about 17 MB as full
// path strings, so it keeps each folder's path once, every name in one character buffer and a
// 12-byte row per entry; a key is composed when asked for.
class SourceList
{
public:
    enum class Kind : quint8
    {
        Root,
        Folder,
        Picture,
    };

    /// Collects the entries of one scan, in list order. Folder paths are clean (no trailing slash
    /// except for "/"); picture names are the bare file names.
    class Builder
    {
    public:
        /// Adds the entry of a folder (the root first); its pictures follow with addPicture().
        void addFolder(const QString& path, bool root);
        /// Adds a picture of the folder added last.
        void addPicture(QStringView name);
        /// The same for a name in Latin-1 (printable ASCII names, without decoding them first).
        void addPicture(QLatin1StringView name);
        /// Adds a picture known by its full path (an album's or a project's), under the entry
        /// added last, with the serial of its volume (0: not known).
        void addPicturePath(QStringView path, quint32 volumeSerial = 0);
        /// The finished list; the builder is empty afterwards.
        SourceList finish();

    private:
        std::shared_ptr<SourceListData> m_data;
        void ensureData();
        template <typename Append> bool appendPicture(qsizetype length, Append append);
    };

    SourceList();

    /// Number of entries (`Count`).
    int count() const;
    /// The entry at 1-based `position`; an empty key and marker outside 1..count().
    SourceEntry entry(int position) const;
    /// The key of the entry at `position` (empty outside the list).
    QString key(int position) const;
    /// True when the entry at `position` is a picture (empty marker); false outside the list.
    bool isPicture(int position) const;
    /// The 1-based position of the entry whose key is exactly `key`, or 0 when none is.
    int indexOf(const QString& key) const;

    /// The serial of the volume that holds the picture at `position`, 0 when not known (folder
    /// pictures, slides, or outside the list).
    quint32 volumeSerial(int position) const;

    /// Number of picture entries.
    int pictureCount() const;
    /// Number of folder entries, the root's included.
    int folderCount() const;
    /// Every entry as values, in order (for callers that want a plain list; costs a string each).
    QList<SourceEntry> toList() const;
    /// Approximate heap bytes held by the list.
    qsizetype memoryBytes() const;

private:
    std::shared_ptr<const SourceListData> d;
    explicit SourceList(std::shared_ptr<const SourceListData> data);
};
