#pragma once

#include "PictureFormat.h"

#include <QByteArray>
#include <QRgb>
#include <QSize>
#include <QString>

#include <optional>

// The messages between ImageDecoder and its helper process `tapisol-decoder`. Each message is a
// frame: a 32-bit little-endian length, then that many bytes of QDataStream. Requests go to the
// helper's standard input, replies come back on its standard output; the pixels of a decoded
// picture travel apart, through a memory file shared with the helper (see ImageDecoder).
namespace DecoderProtocol {

/// Frames larger than this are refused: a reply carries no pixels, a request only two paths.
inline constexpr quint32 kMaxFrameBytes = 1 << 20;

enum class Command : quint8
{
    Probe = 1,
    Decode = 2,
    // Decode fitted into a box and write the JPEG file itself: no pixels come back.
    Thumbnail = 3,
};

/// Which step of a request failed, so that a caller can tell a damaged picture from a passing state.
enum class Failure : quint8
{
    None = 0,
    Open = 1,    // the picture could not be opened (gone, unreadable, its disk unplugged)
    Picture = 2, // the picture was read but is not one that can be decoded
    Write = 3,   // Thumbnail: the file could not be written (read-only folder, full disk)
};

struct Request
{
    Command command = Command::Probe;
    QByteArray path; // as the file system spells it (QFile::encodeName)
    QSize target;    // Decode: the exact size wanted, or empty for the picture's own size;
                     // Thumbnail: the box the picture is fitted into
    QRgb background = 0xFF000000;
    QByteArray output; // Thumbnail: the file to write, spelled as `path`
    int quality = 75;  // Thumbnail: JPEG quality
};

struct Reply
{
    bool ok = false;
    QString error; // the cause, without the path
    Failure failure = Failure::None;
    PictureFormat format = PictureFormat::Unknown;
    QSize pictureSize;     // as shown, from the header
    QSize decodedSize;     // Decode, Thumbnail: what the format's decoder produced before scaling
    QSize imageSize;       // Decode: the pixels in the shared file, 32-bit RGB, rows packed;
                           // Thumbnail: the size of the picture written
    bool retiring = false; // the helper exits after this reply (it has grown too large)
};

/// A frame (length and payload) for each message.
QByteArray encode(const Request& request);
QByteArray encode(const Reply& reply);

/// The message from a frame's payload, or nothing when it is malformed.
std::optional<Request> decodeRequest(const QByteArray& payload);
std::optional<Reply> decodeReply(const QByteArray& payload);

/// Length of the frame whose header starts `buffer`, or -1 while fewer than 4 bytes are there,
/// or -2 when the length passes kMaxFrameBytes.
qint64 frameLength(const QByteArray& buffer);

} // namespace DecoderProtocol
