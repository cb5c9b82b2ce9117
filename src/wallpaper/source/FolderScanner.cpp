#include "FolderScanner.h"

#include "NameOrder.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

// Folders whose modification time lies this close to the scan's start are looked at again: a
// change made in the same clock tick after the listing would have left the same time behind.
constexpr qint64 kRacyWindowNs = 2'000'000'000;
// How many directory entries are read between two looks at the stop request.
constexpr int kStopCheckInterval = 256;

struct FileId
{
    quint64 device = 0;
    quint64 inode = 0;
    bool operator==(const FileId&) const = default;
};

// The set of files and folders already listed. Open addressing in one array: a node-based set
// costs an allocation per picture, which showed as a quarter of the scan time.
class FileIdSet
{
public:
    /// Adds `id`; false when it was there already.
    bool insert(FileId id)
    {
        if ((m_size + 1) * 4 > m_slots.size() * 3)
            grow();
        const size_t mask = m_slots.size() - 1;
        for (size_t i = slotOf(id) & mask;; i = (i + 1) & mask) {
            FileId& slot = m_slots[i];
            if (slot == kEmpty) {
                slot = id;
                ++m_size;
                return true;
            }
            if (slot == id)
                return false;
        }
    }

private:
    // No file system numbers its device with all bits set.
    static constexpr FileId kEmpty {~quint64(0), ~quint64(0)};

    static size_t slotOf(FileId id)
    {
        quint64 x = id.inode ^ (id.device * 0x9E3779B97F4A7C15ull);
        x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
        x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
        return size_t(x ^ (x >> 31));
    }

    void grow()
    {
        std::vector<FileId> old
            = std::exchange(m_slots, std::vector<FileId>(std::max<size_t>(1024, m_slots.size() * 2), kEmpty));
        m_size = 0;
        for (const FileId& slot : old)
            if (slot != kEmpty)
                insert(slot);
    }

    std::vector<FileId> m_slots;
    size_t m_size = 0;
};

qint64 nanoseconds(const timespec& time)
{
    return qint64(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

qint64 wallClockNs()
{
    timespec now {};
    clock_gettime(CLOCK_REALTIME, &now);
    return nanoseconds(now);
}

QString errorText(int error)
{
    char buffer[256];
    return QString::fromLocal8Bit(strerror_r(error, buffer, sizeof buffer));
}

// The name as a QString, or an empty string when converting it back would not give the same bytes
// (a name in another encoding than the locale's could then not be opened by its key).
QString decodedName(const char* name, size_t length)
{
    const bool ascii = std::all_of(name, name + length, [](char c) { return (unsigned char)c < 0x80; });
    if (ascii)
        return QString::fromLatin1(name, qsizetype(length));
    const QByteArray raw(name, qsizetype(length));
    QString decoded = QFile::decodeName(raw);
    return QFile::encodeName(decoded) == raw ? decoded : QString();
}

FolderStamp stampOf(const QByteArray& path, const struct stat& info)
{
    FolderStamp stamp;
    stamp.path = path;
    stamp.device = info.st_dev;
    stamp.inode = info.st_ino;
    stamp.mtimeNs = nanoseconds(info.st_mtim);
    stamp.ctimeNs = nanoseconds(info.st_ctim);
    return stamp;
}

FolderStamp stampByPath(const QByteArray& path)
{
    struct stat info = {};
    if (::stat(path.constData(), &info) != 0) {
        FolderStamp stamp;
        stamp.path = path;
        stamp.error = errno;
        return stamp;
    }
    return stampOf(path, info);
}

// The allow-list, matched against the raw bytes of a name without building a string.
class ExtensionSet
{
public:
    explicit ExtensionSet(const QStringList& extensions)
    {
        for (const QString& extension : extensions) {
            QString clean = extension.trimmed().toLower();
            if (clean.startsWith(QLatin1Char('.')))
                clean.remove(0, 1);
            if (clean.isEmpty())
                continue;
            m_extensions.push_back(clean.toUtf8());
            m_longest = std::max(m_longest, size_t(m_extensions.back().size()));
        }
    }

    bool matches(const char* name, size_t length) const
    {
        const char* dot = static_cast<const char*>(memrchr(name, '.', length));
        if (dot == nullptr || dot == name)
            return false;
        const size_t size = length - size_t(dot + 1 - name);
        char lowered[32];
        if (size == 0 || size > m_longest || size > sizeof lowered)
            return false;
        for (size_t i = 0; i < size; ++i) {
            const char c = dot[1 + i];
            lowered[i] = (c >= 'A' && c <= 'Z') ? char(c - 'A' + 'a') : c;
        }
        return std::any_of(m_extensions.begin(), m_extensions.end(), [&](const QByteArray& extension) {
            return size_t(extension.size()) == size && memcmp(extension.constData(), lowered, size) == 0;
        });
    }

private:
    std::vector<QByteArray> m_extensions;
    size_t m_longest = 0;
};

// The names of one folder worth keeping, read before sorting. The bytes of all names sit in one
// buffer; only names beyond printable ASCII are decoded into strings.
struct Listing
{
    struct Name
    {
        quint32 offset = 0;
        quint32 length = 0;
        qint32 decoded = -1; // index into `decoded`, or -1 for a printable ASCII name
        FileId id;
    };

    QByteArray bytes;
    QList<QString> decoded;
    std::vector<Name> pictures;
    std::vector<Name> folders;

    QLatin1StringView ascii(const Name& name) const
    {
        return QLatin1StringView(bytes.constData() + name.offset, qsizetype(name.length));
    }
    QByteArray native(const Name& name) const { return bytes.mid(name.offset, name.length); }
    QString text(const Name& name) const { return name.decoded >= 0 ? decoded.at(name.decoded) : QString(ascii(name)); }

    // Records a name; false when it cannot be represented as a QString and back.
    bool add(std::vector<Name>& into, const char* name, size_t length, FileId id)
    {
        Name entry {quint32(bytes.size()), quint32(length), -1, id};
        if (!NameOrder::isPrintableAscii(name, length)) {
            QString text = decodedName(name, length);
            if (text.isEmpty())
                return false;
            entry.decoded = qint32(decoded.size());
            decoded.append(std::move(text));
        }
        bytes.append(name, qsizetype(length));
        into.push_back(entry);
        return true;
    }
};

class Walker
{
public:
    Walker(const ScanRequest& request, std::stop_token stop)
        : m_request(request)
        , m_stop(std::move(stop))
        , m_extensions(request.extensions)
    { }

    ScanResult run();

private:
    struct Pending
    {
        QByteArray path;
        QString display;
    };

    void walkFolder(const Pending& folder, bool root);
    bool readEntries(DIR* dir, quint64 device, Listing& listing);
    void addEntry(int fd, const char* name, unsigned char type, FileId id, Listing& listing);
    void sortByName(const Listing& listing, std::vector<Listing::Name>& names) const;
    static QByteArray childPath(const QByteArray& parent, const QByteArray& name);
    static QString childDisplay(const QString& parent, const QString& name);

    const ScanRequest& m_request;
    std::stop_token m_stop;
    ExtensionSet m_extensions;
    NameOrder m_order;
    ScanResult m_result;
    SourceList::Builder m_builder;
    std::vector<Pending> m_pending;
    FileIdSet m_walkedFolders;
    FileIdSet m_listedPictures;
};

ScanResult Walker::run()
{
    QElapsedTimer timer;
    timer.start();
    m_result.startedNs = wallClockNs();
    m_result.folder = FolderScanner::cleanFolder(m_request.folder);
    if (m_result.folder.isEmpty()) {
        m_result.rootError = QStringLiteral("aucun dossier choisi");
    } else {
        m_pending.push_back({QFile::encodeName(m_result.folder), m_result.folder});
        bool root = true;
        while (!m_pending.empty() && !m_stop.stop_requested()) {
            const Pending folder = std::move(m_pending.back());
            m_pending.pop_back();
            walkFolder(folder, root);
            root = false;
        }
    }
    m_result.cancelled = m_stop.stop_requested();
    m_result.list = m_builder.finish();
    m_result.elapsedMs = timer.elapsed();
    return std::move(m_result);
}

void Walker::walkFolder(const Pending& folder, bool root)
{
    // O_NONBLOCK: should the name have been swapped for a FIFO since it was classified, the open
    // still returns at once (and O_DIRECTORY then refuses it).
    const int fd = ::open(folder.path.constData(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC);
    struct stat info = {};
    DIR* dir = nullptr;
    if (fd < 0 || ::fstat(fd, &info) != 0 || (dir = ::fdopendir(fd)) == nullptr) {
        const int error = errno;
        if (fd >= 0)
            ::close(fd);
        if (root)
            m_result.rootError = errorText(error);
        else
            ++m_result.counts.unreadable;
        // Stamped all the same, so that the folder coming back or being made readable is noticed.
        m_result.stamps.append(stampByPath(folder.path));
        return;
    }
    const FileId id {quint64(info.st_dev), quint64(info.st_ino)};
    if (!m_walkedFolders.insert(id)) {
        ::closedir(dir);
        ++m_result.counts.seenBefore;
        return;
    }
    m_result.stamps.append(stampOf(folder.path, info));

    Listing listing;
    if (!readEntries(dir, id.device, listing))
        ++m_result.counts.unreadable; // what was read before the error is kept
    ::closedir(dir);
    if (m_stop.stop_requested())
        return;

    sortByName(listing, listing.pictures);
    m_builder.addFolder(folder.display, root);
    ++m_result.counts.folders;
    for (const Listing::Name& picture : listing.pictures) {
        if (!m_listedPictures.insert(picture.id)) {
            ++m_result.counts.seenBefore;
        } else {
            if (picture.decoded >= 0)
                m_builder.addPicture(listing.decoded.at(picture.decoded));
            else
                m_builder.addPicture(listing.ascii(picture));
            ++m_result.counts.pictures;
        }
    }
    sortByName(listing, listing.folders);
    for (auto child = listing.folders.crbegin(); child != listing.folders.crend(); ++child)
        m_pending.push_back(
            {childPath(folder.path, listing.native(*child)), childDisplay(folder.display, listing.text(*child))});
}

bool Walker::readEntries(DIR* dir, quint64 device, Listing& listing)
{
    const int fd = ::dirfd(dir);
    int sinceCheck = 0;
    for (;;) {
        if (++sinceCheck == kStopCheckInterval) {
            sinceCheck = 0;
            if (m_stop.stop_requested())
                return true;
        }
        errno = 0;
        const dirent* entry = ::readdir(dir);
        if (entry == nullptr)
            return errno == 0;
        const char* name = entry->d_name;
        if (name[0] == '.') {
            if (name[1] != '\0' && !(name[1] == '.' && name[2] == '\0'))
                ++m_result.counts.hidden;
            continue;
        }
        addEntry(fd, name, entry->d_type, {device, quint64(entry->d_ino)}, listing);
    }
}

void Walker::addEntry(int fd, const char* name, unsigned char type, FileId id, Listing& listing)
{
    if (type == DT_LNK || type == DT_UNKNOWN) {
        // stat() follows the link and never opens the target, so a device or FIFO cannot block.
        struct stat info = {};
        if (::fstatat(fd, name, &info, 0) != 0) {
            const int error = errno;
            if (type == DT_LNK && (error == ENOENT || error == ELOOP || error == ENOTDIR))
                ++m_result.counts.brokenLinks;
            else if (error != ENOENT) // a plain name that vanished since the listing is simply gone
                ++m_result.counts.unreadable;
            return;
        }
        type = S_ISDIR(info.st_mode) ? DT_DIR : S_ISREG(info.st_mode) ? DT_REG : DT_FIFO;
        id = {quint64(info.st_dev), quint64(info.st_ino)};
    }
    const size_t length = strlen(name);
    if (type == DT_DIR) {
        if (m_request.includeSubfolders && !listing.add(listing.folders, name, length, id))
            ++m_result.counts.unreadable;
    } else if (type != DT_REG) {
        ++m_result.counts.special;
    } else if (!m_extensions.matches(name, length)) {
        ++m_result.counts.otherFiles;
    } else if (!listing.add(listing.pictures, name, length, id)) {
        ++m_result.counts.unreadable;
    }
}

void Walker::sortByName(const Listing& listing, std::vector<Listing::Name>& names) const
{
    if (names.size() < 2)
        return;
    std::vector<NameOrder::Item> items;
    items.reserve(names.size());
    for (const Listing::Name& name : names) {
        if (name.decoded >= 0)
            items.push_back({QLatin1StringView(), &listing.decoded.at(name.decoded)});
        else
            items.push_back({listing.ascii(name), nullptr});
    }
    std::vector<Listing::Name> sorted;
    sorted.reserve(names.size());
    for (qsizetype index : m_order.order(items))
        sorted.push_back(names[size_t(index)]);
    names = std::move(sorted);
}

QByteArray Walker::childPath(const QByteArray& parent, const QByteArray& name)
{
    return parent.endsWith('/') ? parent + name : parent + '/' + name;
}

QString Walker::childDisplay(const QString& parent, const QString& name)
{
    return parent.endsWith(QLatin1Char('/')) ? parent + name : parent + QLatin1Char('/') + name;
}

} // namespace

namespace FolderScanner {

QString cleanFolder(const QString& folder)
{
    return folder.isEmpty() ? QString() : QDir::cleanPath(QDir(folder).absolutePath());
}

ScanResult scan(const ScanRequest& request, std::stop_token stop)
{
    Walker walker(request, std::move(stop));
    return walker.run();
}

bool changedSince(const ScanResult& last)
{
    for (const FolderStamp& stamp : last.stamps) {
        const FolderStamp now = stampByPath(stamp.path);
        if ((now.error != 0) != (stamp.error != 0))
            return true;
        if (now.error != 0)
            continue;
        if (now.device != stamp.device || now.inode != stamp.inode || now.mtimeNs != stamp.mtimeNs
            || now.ctimeNs != stamp.ctimeNs)
            return true;
        if (std::abs(stamp.mtimeNs - last.startedNs) <= kRacyWindowNs)
            return true;
    }
    return false;
}

QString traceLine(const ScanResult& result)
{
    if (result.folder.isEmpty())
        return QStringLiteral("SY Source: aucun dossier choisi");
    const QString head = QStringLiteral("SY Source ") + result.folder + QStringLiteral(": ");
    if (!result.rootError.isEmpty())
        return head + QStringLiteral("dossier illisible (") + result.rootError + QStringLiteral("), aucune image");
    const ScanCounts& c = result.counts;
    return head
        + QStringLiteral("%1 images, %2 dossiers, %3 ignorés (%4 autres fichiers, %5 cachés, %6 spéciaux, "
                         "%7 liens brisés, %8 illisibles, %9 déjà vus), ")
              .arg(c.pictures)
              .arg(c.folders)
              .arg(c.skipped())
              .arg(c.otherFiles)
              .arg(c.hidden)
              .arg(c.special)
              .arg(c.brokenLinks)
              .arg(c.unreadable)
              .arg(c.seenBefore)
        + QString::number(result.elapsedMs) + QStringLiteral(" ms");
}

} // namespace FolderScanner
