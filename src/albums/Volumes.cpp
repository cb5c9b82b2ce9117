#include "Volumes.h"

#include "InterfaceTexts.h"
#include "Trace.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QSet>

#include <blkid.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>
#include <zlib.h>

namespace {

constexpr int TextKindFirst = 2940; // 2940 to 2943: the kinds, in the order of VolumeKind
constexpr int TextDescribe = 2944;
constexpr int TextUnnamed = 2945;
constexpr int TextCollision = 2946;
constexpr int TextNotMounted = 2947;

// One line of /proc/self/mountinfo.
struct MountEntry
{
    QByteArray id;
    QByteArray majorMinor;
    QString mountPoint;
    QString fsType;
    QString source;
};

struct Mounted
{
    MountEntry entry;
    Volumes::Volume volume;
};

// What libblkid (or udev's links) tells of a block device.
struct DeviceProbe
{
    QString type;
    QString uuid;
    QString label;
};

// Kernel file systems that hold no one's pictures: left out of the table of mounted volumes.
bool isPseudo(const QString& fsType)
{
    static const QSet<QString> pseudo {QStringLiteral("proc"), QStringLiteral("sysfs"), QStringLiteral("cgroup"),
        QStringLiteral("cgroup2"), QStringLiteral("devpts"), QStringLiteral("devtmpfs"), QStringLiteral("mqueue"),
        QStringLiteral("debugfs"), QStringLiteral("tracefs"), QStringLiteral("securityfs"), QStringLiteral("pstore"),
        QStringLiteral("bpf"), QStringLiteral("configfs"), QStringLiteral("fusectl"), QStringLiteral("hugetlbfs"),
        QStringLiteral("binfmt_misc"), QStringLiteral("autofs"), QStringLiteral("efivarfs"), QStringLiteral("nsfs"),
        QStringLiteral("rpc_pipefs"), QStringLiteral("selinuxfs")};
    return pseudo.contains(fsType);
}

bool isNetwork(const QString& fsType)
{
    static const QSet<QString> network {QStringLiteral("nfs"), QStringLiteral("nfs4"), QStringLiteral("cifs"),
        QStringLiteral("smb3"), QStringLiteral("smbfs"), QStringLiteral("ncpfs"), QStringLiteral("9p"),
        QStringLiteral("afs"), QStringLiteral("ceph"), QStringLiteral("glusterfs"), QStringLiteral("lustre"),
        QStringLiteral("davfs"), QStringLiteral("sshfs"), QStringLiteral("fuse.sshfs"), QStringLiteral("fuse.davfs"),
        QStringLiteral("fuse.glusterfs"), QStringLiteral("fuse.s3fs"), QStringLiteral("fuse.rclone"),
        QStringLiteral("fuse.curlftpfs")};
    return network.contains(fsType);
}

// mountinfo writes a space, a tab, a line end and a backslash in a field as octal escapes.
QString unescapeField(const QByteArray& field)
{
    QByteArray out;
    out.reserve(field.size());
    for (qsizetype i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size()) {
            const QByteArray digits = field.mid(i + 1, 3);
            bool ok = false;
            const int value = digits.toInt(&ok, 8);
            if (ok && digits.size() == 3 && value < 256) {
                out += char(value);
                i += 3;
                continue;
            }
        }
        out += field[i];
    }
    return QFile::decodeName(out);
}

QList<MountEntry> parseMountInfo(const QByteArray& content)
{
    QList<MountEntry> entries;
    for (const QByteArray& line : content.split('\n')) {
        const QList<QByteArray> fields = line.split(' ');
        // id parent major:minor root mount-point options [optional...] - type source super-options
        const qsizetype separator = fields.indexOf(QByteArrayLiteral("-"), 6);
        if (fields.size() < 7 || separator < 0 || separator + 2 >= fields.size())
            continue;
        MountEntry entry;
        entry.id = fields[0];
        entry.majorMinor = fields[2];
        entry.mountPoint = unescapeField(fields[4]);
        entry.fsType = unescapeField(fields[separator + 1]);
        entry.source = unescapeField(fields[separator + 2]);
        entries << entry;
    }
    return entries;
}

QByteArray readMountInfo()
{
    QFile file(QStringLiteral("/proc/self/mountinfo"));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// udev names its links with "\x20" for a space and so on.
QString unescapeUdev(const QString& name)
{
    QByteArray out;
    const QByteArray bytes = QFile::encodeName(name);
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        bool ok = false;
        const int value
            = i + 3 < bytes.size() && bytes[i] == '\\' && bytes[i + 1] == 'x' ? bytes.mid(i + 2, 2).toInt(&ok, 16) : 0;
        if (ok) {
            out += char(value);
            i += 3;
        } else {
            out += bytes[i];
        }
    }
    return QString::fromUtf8(out);
}

// The name under /dev/disk/<folder>/ whose link leads to `device`, empty when none does.
QString udevLinkTo(const QString& folder, const QString& device)
{
    QDirIterator links(QStringLiteral("/dev/disk/") + folder, QDir::System | QDir::Files | QDir::NoDotAndDotDot);
    while (links.hasNext()) {
        links.next();
        if (links.fileInfo().canonicalFilePath() == device)
            return unescapeUdev(links.fileName());
    }
    return {};
}

DeviceProbe probeDevice(const QString& device)
{
    DeviceProbe found;
    const QByteArray name = QFile::encodeName(device);
    if (blkid_probe probe = blkid_new_probe_from_filename(name.constData())) {
        blkid_probe_enable_superblocks(probe, 1);
        blkid_probe_set_superblocks_flags(probe, BLKID_SUBLKS_UUID | BLKID_SUBLKS_LABEL | BLKID_SUBLKS_TYPE);
        if (blkid_do_safeprobe(probe) == 0) {
            const char* value = nullptr;
            if (blkid_probe_lookup_value(probe, "TYPE", &value, nullptr) == 0)
                found.type = QString::fromUtf8(value);
            if (blkid_probe_lookup_value(probe, "UUID", &value, nullptr) == 0)
                found.uuid = QString::fromUtf8(value);
            if (blkid_probe_lookup_value(probe, "LABEL", &value, nullptr) == 0)
                found.label = QString::fromUtf8(value);
        }
        blkid_free_probe(probe);
        if (!found.type.isEmpty())
            return found;
    }
    // Reading a disk takes root or the "disk" group; udev's links say the same to everyone.
    const QString canonical = QFileInfo(device).canonicalFilePath();
    if (!canonical.isEmpty()) {
        found.uuid = udevLinkTo(QStringLiteral("by-uuid"), canonical);
        found.label = udevLinkTo(QStringLiteral("by-label"), canonical);
    }
    return found;
}

bool readsOne(const QString& file)
{
    QFile flag(file);
    return flag.open(QIODevice::ReadOnly) && flag.readAll().trimmed() == "1";
}

// The sysfs folder of a block device from its /dev name, or of the mount's device number.
QString sysfsFolder(const MountEntry& entry)
{
    if (entry.source.startsWith(QLatin1String("/dev/"))) {
        const QString name = QFileInfo(QFileInfo(entry.source).canonicalFilePath()).fileName();
        const QString folder = QFileInfo(QStringLiteral("/sys/class/block/") + name).canonicalFilePath();
        if (!folder.isEmpty())
            return folder;
    }
    return QFileInfo(QStringLiteral("/sys/dev/block/") + QString::fromLatin1(entry.majorMinor)).canonicalFilePath();
}

const MountEntry* holderOf(const QList<MountEntry>& entries, const QString& canonicalPath);

// Removable: the kernel's flag on the device or its disk, a disk on USB, a device-mapper device
// (an encrypted stick) over a removable one, or a loop device backed by a file on removable media.
bool isRemovableDevice(const QString& folder, const QList<MountEntry>& entries, int depth)
{
    if (folder.isEmpty() || depth > 4)
        return false;
    if (folder.contains(QLatin1String("/usb")) || readsOne(folder + QStringLiteral("/removable")))
        return true;
    if (QFileInfo::exists(folder + QStringLiteral("/partition"))
        && readsOne(QFileInfo(folder + QStringLiteral("/..")).canonicalFilePath() + QStringLiteral("/removable")))
        return true;
    const QFileInfoList slaves
        = QDir(folder + QStringLiteral("/slaves")).entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::System);
    for (const QFileInfo& slave : slaves) {
        if (isRemovableDevice(slave.canonicalFilePath(), entries, depth + 1))
            return true;
    }
    QFile backing(folder + QStringLiteral("/loop/backing_file"));
    if (backing.open(QIODevice::ReadOnly)) {
        const QString file = QFile::decodeName(backing.readAll().trimmed());
        if (const MountEntry* holder = holderOf(entries, QFileInfo(file).canonicalFilePath()))
            return isRemovableDevice(sysfsFolder(*holder), entries, depth + 1);
    }
    return false;
}

// "ABCD-1234" of a FAT or exFAT volume: its 32-bit volume ID written in hexadecimal.
std::optional<quint32> fatVolumeId(const QString& uuid)
{
    if (uuid.size() != 9 || uuid[4] != QLatin1Char('-'))
        return std::nullopt;
    bool ok = false;
    const quint32 value = QString(uuid).remove(4, 1).toUInt(&ok, 16);
    return ok ? std::optional<quint32>(value) : std::nullopt;
}

// An NTFS volume's 64-bit serial, 16 hexadecimal digits: the low half is what Windows shows.
std::optional<quint32> ntfsLowSerial(const QString& uuid)
{
    if (uuid.size() != 16)
        return std::nullopt;
    bool ok = false;
    const quint32 value = uuid.right(8).toUInt(&ok, 16);
    return ok ? std::optional<quint32>(value) : std::nullopt;
}

Volumes::Volume makeVolume(const MountEntry& entry, const QList<MountEntry>& entries)
{
    Volumes::Volume volume;
    volume.mountPoint = entry.mountPoint;
    volume.device = entry.source;
    volume.fsType = entry.fsType;
    if (isNetwork(entry.fsType)) {
        volume.kind = VolumeKind::Network;
        volume.identity = entry.source;
        volume.serial = Volumes::crc32(entry.source.toUtf8());
        return volume;
    }
    DeviceProbe probe;
    if (entry.source.startsWith(QLatin1String("/dev/")))
        probe = probeDevice(entry.source);
    // A FUSE driver (exFAT, NTFS) mounts as "fuseblk": the device says what it really holds.
    if (!probe.type.isEmpty())
        volume.fsType = probe.type;
    volume.label = probe.label;
    // Without the type (udev's links only, for a user who may not read the disk), the UUID's
    // shape tells a FAT volume ID ("ABCD-1234") and an NTFS serial (16 hexadecimal digits).
    const bool typeKnown = !probe.type.isEmpty();
    const bool fat = !typeKnown || volume.fsType == QLatin1String("vfat") || volume.fsType == QLatin1String("msdos")
        || volume.fsType == QLatin1String("exfat");
    const bool ntfs = !typeKnown || volume.fsType == QLatin1String("ntfs") || volume.fsType == QLatin1String("ntfs3");
    if (const std::optional<quint32> id = fat ? fatVolumeId(probe.uuid) : std::nullopt) {
        volume.serial = *id;
        volume.identity = probe.uuid;
    } else if (const std::optional<quint32> low = ntfs ? ntfsLowSerial(probe.uuid) : std::nullopt) {
        volume.serial = *low;
        volume.identity = probe.uuid;
    } else if (!probe.uuid.isEmpty()) {
        volume.serial = Volumes::crc32(probe.uuid.toUtf8());
        volume.identity = probe.uuid;
    } else {
        volume.identity = entry.fsType + QLatin1Char(':') + entry.mountPoint;
        volume.serial = Volumes::crc32(volume.identity.toUtf8());
    }
    const QString folder = sysfsFolder(entry);
    if (volume.fsType == QLatin1String("iso9660") || volume.fsType == QLatin1String("udf")
        || QFileInfo(entry.source).canonicalFilePath().startsWith(QLatin1String("/dev/sr")))
        volume.kind = VolumeKind::Optical;
    else if (isRemovableDevice(folder, entries, 0))
        volume.kind = VolumeKind::Removable;
    return volume;
}

bool isUnder(const QString& path, const QString& mountPoint)
{
    return mountPoint == QLatin1String("/") || path == mountPoint
        || (path.startsWith(mountPoint) && path.at(mountPoint.size()) == QLatin1Char('/'));
}

// The mount whose point is the longest one above `canonicalPath`; of mounts stacked on one point,
// the last one, which hides the others.
const MountEntry* holderOf(const QList<MountEntry>& entries, const QString& canonicalPath)
{
    const MountEntry* best = nullptr;
    if (canonicalPath.isEmpty())
        return best;
    for (const MountEntry& entry : entries) {
        if (isUnder(canonicalPath, entry.mountPoint) && (!best || entry.mountPoint.size() >= best->mountPoint.size()))
            best = &entry;
    }
    return best;
}

// `path` with its symbolic links resolved, also when its end does not exist (yet, or any more).
QString resolvedPath(const QString& path)
{
    QFileInfo info(QDir::cleanPath(QFileInfo(path).absoluteFilePath()));
    QString rest;
    while (!info.exists() && !info.isRoot()) {
        rest.prepend(QLatin1Char('/') + info.fileName());
        info = QFileInfo(info.absolutePath());
    }
    const QString base = info.canonicalFilePath();
    return base.isEmpty() ? base : QDir::cleanPath(base + rest);
}

// Two mounts are one volume when they are the same file system seen twice (a bind mount).
bool sameVolume(const Volumes::Volume& a, const Volumes::Volume& b)
{
    return a.identity == b.identity && a.device == b.device;
}

class VolumeTable
{
public:
    static VolumeTable& instance()
    {
        static VolumeTable table;
        return table;
    }

    QMutex mutex;

    /// Re-reads the table when the kernel says it changed since the last look.
    void refresh()
    {
        if (m_loaded && !changed())
            return;
        m_loaded = true;
        load(readMountInfo());
    }

    const QHash<quint32, Volumes::Volume>& bySerial() const { return m_bySerial; }
    const QList<Mounted>& mounts() const { return m_mounts; }
    QList<MountEntry> entries() const
    {
        QList<MountEntry> list;
        for (const Mounted& mounted : m_mounts)
            list << mounted.entry;
        return list;
    }
    QString collision(quint32 serial) const { return m_collisions.value(serial); }

private:
    VolumeTable()
    {
        // The kernel flags this descriptor (POLLPRI, POLLERR) whenever the mount table changes.
        m_pollFd = ::open("/proc/self/mounts", O_RDONLY | O_CLOEXEC);
    }

    bool changed()
    {
        if (m_pollFd >= 0) {
            pollfd watch {m_pollFd, POLLPRI, 0};
            return ::poll(&watch, 1, 0) > 0 && (watch.revents & (POLLPRI | POLLERR)) != 0;
        }
        return qHash(readMountInfo()) != m_contentHash;
    }

    void load(const QByteArray& content)
    {
        m_contentHash = qHash(content);
        const QList<MountEntry> entries = parseMountInfo(content);
        QHash<QString, Volumes::Volume> cache;
        QList<Mounted> mounts;
        for (const MountEntry& entry : entries) {
            // The same mount keeps its volume: libblkid reads the disk only for new mounts.
            const QString key = QString::fromLatin1(entry.id + ' ' + entry.majorMinor) + QLatin1Char(' ') + entry.source
                + QLatin1Char(' ') + entry.mountPoint;
            const auto known = m_probed.constFind(key);
            const Volumes::Volume volume = known != m_probed.cend() ? *known : makeVolume(entry, entries);
            cache.insert(key, volume);
            mounts << Mounted {entry, volume};
        }
        m_probed = cache;
        m_mounts = mounts;
        m_bySerial.clear();
        m_collisions.clear();
        for (const Mounted& mounted : std::as_const(m_mounts)) {
            if (isPseudo(mounted.entry.fsType))
                continue;
            const Volumes::Volume& volume = mounted.volume;
            const auto other = m_bySerial.constFind(volume.serial);
            if (other == m_bySerial.cend()) {
                m_bySerial.insert(volume.serial, volume);
            } else if (!sameVolume(*other, volume) && !m_collisions.contains(volume.serial)) {
                const QString message
                    = langText(TextCollision)
                          .arg(other->displayName(), volume.displayName(),
                              QStringLiteral("%1").arg(volume.serial, 8, 16, QLatin1Char('0')).toUpper());
                m_collisions.insert(volume.serial, message);
                TAPISOL_TRACE(QStringLiteral("IM Volumes collision %1 (%2) and %3 (%4)")
                                  .arg(other->device, other->identity, volume.device, volume.identity));
            }
        }
    }

    int m_pollFd = -1;
    bool m_loaded = false;
    size_t m_contentHash = 0;
    QList<Mounted> m_mounts;
    QHash<QString, Volumes::Volume> m_probed;
    QHash<quint32, Volumes::Volume> m_bySerial;
    QHash<quint32, QString> m_collisions;
};

} // namespace

namespace Volumes {

QString Volume::displayName() const
{
    if (!label.isEmpty())
        return label;
    return kind == VolumeKind::Network ? device : mountPoint;
}

std::optional<Volume> volumeOf(const QString& path, QString* error)
{
    VolumeTable& table = VolumeTable::instance();
    QMutexLocker lock(&table.mutex);
    table.refresh();
    const QString resolved = resolvedPath(path);
    const QList<MountEntry> entries = table.entries();
    const MountEntry* holder = holderOf(entries, resolved);
    if (!holder) {
        if (error)
            *error = langText(TextNotMounted).arg(path);
        return std::nullopt;
    }
    const qsizetype index = holder - entries.constData();
    Volume volume = table.mounts().at(index).volume;
    const QString collision = table.collision(volume.serial);
    if (!collision.isEmpty()) {
        if (error)
            *error = collision;
        return std::nullopt;
    }
    return volume;
}

const QHash<quint32, Volume>& mounted()
{
    VolumeTable& table = VolumeTable::instance();
    QMutexLocker lock(&table.mutex);
    table.refresh();
    return table.bySerial();
}

bool isMounted(quint32 serial)
{
    VolumeTable& table = VolumeTable::instance();
    QMutexLocker lock(&table.mutex);
    table.refresh();
    return table.bySerial().contains(serial);
}

QString describe(const VolumeRow& volume)
{
    QString name = volume.Nom.trimmed();
    if (name.isEmpty()) {
        const QString serial = QStringLiteral("%1").arg(volume.KeyVol, 8, 16, QLatin1Char('0')).toUpper();
        name = langText(TextUnnamed).arg(serial.left(4) + QLatin1Char('-') + serial.mid(4));
    }
    // The store keeps whatever kind the sources tree wrote; an unknown one reads as an internal disk.
    const int kind = int(volume.Type) <= int(VolumeKind::Network) ? int(volume.Type) : int(VolumeKind::Internal);
    return langText(TextDescribe).arg(name, langText(TextKindFirst + kind));
}

quint32 crc32(const QByteArray& bytes)
{
    return quint32(::crc32(0L, reinterpret_cast<const Bytef*>(bytes.constData()), uInt(bytes.size())));
}

} // namespace Volumes
