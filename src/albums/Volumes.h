#pragma once

#include "AlbumTypes.h"

#include <QHash>
#include <QString>

#include <optional>

// The volume that holds a file, named by a 32-bit serial as the album tables keep it.
//
// The serial is the file system's own 32-bit volume serial where it has one (FAT and exFAT volume
// IDs, the low half of an NTFS serial), read with libblkid from the device that holds the path's
// mount point; otherwise a CRC-32 of the file system's UUID; for a network share, a CRC-32 of its
// source ("server:/export", "//server/share"); for a file system with neither (tmpfs, overlay), a
// CRC-32 of its type and mount point. So the same path on two USB disks belongs to two volumes.
namespace Volumes {

struct Volume
{
    quint32 serial = 0;
    VolumeKind kind = VolumeKind::Internal;
    QString label;      // the file system's label, empty when it has none
    QString mountPoint; // where it is mounted now
    QString device;     // "/dev/sdb1", or the share's source
    QString fsType;     // "vfat", "ext4", "nfs"...
    QString identity;   // what the serial was made from (UUID, volume ID, source...)

    /// The name kept in VolumeDesc.Nom: the label, else a description of the mount point.
    QString displayName() const;
};

/// The mounted volume that holds `path` (the longest mount point above it). Nothing, with `error`
/// set, when the path is not on a mounted file system.
std::optional<Volume> volumeOf(const QString& path, QString* error = nullptr);

/// Every volume mounted now, by serial. Re-read only when the mount table changed since the last
/// call, so it is cheap to ask before each picture.
const QHash<quint32, Volume>& mounted();

/// Whether the volume of that serial is mounted now.
bool isMounted(quint32 serial);

/// The words that tell a user a volume is missing: "Photos 2019 (USB disk)".
QString describe(const VolumeRow& volume);

/// CRC-32 (IEEE 802.3, as zlib computes it) of `bytes`.
quint32 crc32(const QByteArray& bytes);

} // namespace Volumes
