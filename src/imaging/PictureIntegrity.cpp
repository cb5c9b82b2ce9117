#include "PictureIntegrity.h"

#include "PictureFile.h"

#include <QByteArray>
#include <QtEndian>

#include <cstring>

namespace {

// Reads a file through a sliding window, so that a 50 MB JPEG is walked without loading it whole.
class Cursor
{
public:
    explicit Cursor(const PictureFile& file)
        : m_file(file)
    { }

    /// The byte at `pos`, or -1 past the end or on a read error.
    int at(qint64 pos)
    {
        if (!load(pos))
            return -1;
        return quint8(m_window[pos - m_start]);
    }

    int be16(qint64 pos)
    {
        const int high = at(pos);
        const int low = at(pos + 1);
        return high < 0 || low < 0 ? -1 : (high << 8) | low;
    }

    int le16(qint64 pos)
    {
        const int low = at(pos);
        const int high = at(pos + 1);
        return high < 0 || low < 0 ? -1 : (high << 8) | low;
    }

    qint64 le32(qint64 pos)
    {
        const int low = le16(pos);
        const int high = le16(pos + 2);
        return high < 0 || low < 0 ? -1 : (qint64(high) << 16) | low;
    }

    /// Position of the next 0xFF at or after `pos`, or -1 when there is none.
    qint64 nextFF(qint64 pos)
    {
        while (load(pos)) {
            const char* begin = m_window.constData() + (pos - m_start);
            const qint64 left = m_start + m_window.size() - pos;
            if (const void* hit = std::memchr(begin, 0xFF, size_t(left)))
                return pos + (static_cast<const char*>(hit) - begin);
            pos += left;
        }
        return -1;
    }

private:
    bool load(qint64 pos)
    {
        if (pos < 0 || pos >= m_file.size())
            return false;
        if (pos >= m_start && pos < m_start + m_window.size())
            return true;
        m_window.resize(qMin<qint64>(kWindow, m_file.size() - pos));
        const qint64 got = m_file.readAt(m_window.data(), m_window.size(), pos);
        if (got <= 0) {
            m_window.clear();
            return false;
        }
        m_window.truncate(got);
        m_start = pos;
        return true;
    }

    static constexpr qint64 kWindow = 64 * 1024;
    const PictureFile& m_file;
    QByteArray m_window;
    qint64 m_start = 0;
};

// Walks the marker segments and entropy-coded data up to the end-of-picture marker.
bool jpegComplete(Cursor& in, QString* reason)
{
    qint64 pos = 2; // after SOI
    for (;;) {
        if (in.at(pos) != 0xFF)
            break;
        while (in.at(pos + 1) == 0xFF) // fill bytes
            ++pos;
        const int marker = in.at(pos + 1);
        if (marker < 0)
            break;
        if (marker == 0xD9)
            return true;
        if ((marker >= 0xD0 && marker <= 0xD7) || marker == 0x01) {
            pos += 2;
            continue;
        }
        const int length = in.be16(pos + 2);
        if (length < 2)
            break;
        pos += 2 + length;
        if (marker != 0xDA)
            continue;
        // Entropy-coded data runs to the next marker that is neither a stuffed 0xFF00 nor a restart.
        for (;;) {
            pos = in.nextFF(pos);
            const int next = pos < 0 ? -1 : in.at(pos + 1);
            if (next < 0) {
                *reason = QStringLiteral("the file is cut short: its JPEG data stops before the end of the picture");
                return false;
            }
            if (next != 0x00 && !(next >= 0xD0 && next <= 0xD7) && next != 0xFF)
                break;
            pos += next == 0xFF ? 1 : 2;
        }
    }
    *reason = QStringLiteral("the file is cut short or damaged: its JPEG structure ends before the end of the picture");
    return false;
}

qint64 skipGifSubBlocks(Cursor& in, qint64 pos)
{
    for (;;) {
        const int length = in.at(pos);
        if (length < 0)
            return -1;
        pos += 1 + length;
        if (length == 0)
            return pos;
    }
}

// Walks the blocks up to the end of the first frame's image data (the only frame shown).
bool gifFirstFrameComplete(Cursor& in, QString* reason)
{
    const int screenFlags = in.at(10);
    qint64 pos = 13 + (screenFlags >= 0 && (screenFlags & 0x80) ? 3 << ((screenFlags & 7) + 1) : 0);
    for (;;) {
        const int block = in.at(pos);
        if (block == 0x21) {
            pos = skipGifSubBlocks(in, pos + 2);
        } else if (block == 0x2C) {
            const int flags = in.at(pos + 9);
            pos += 10 + (flags >= 0 && (flags & 0x80) ? 3 << ((flags & 7) + 1) : 0) + 1;
            if (skipGifSubBlocks(in, pos) >= 0)
                return true;
            pos = -1;
        } else if (block == 0x3B) {
            *reason = QStringLiteral("the GIF file holds no picture");
            return false;
        } else if (block >= 0) {
            *reason
                = QStringLiteral("the GIF file is damaged (unknown block 0x%1)").arg(block, 2, 16, QLatin1Char('0'));
            return false;
        } else {
            pos = -1;
        }
        if (pos < 0) {
            *reason = QStringLiteral("the file is cut short: its first GIF picture is incomplete");
            return false;
        }
    }
}

// Uncompressed bitmaps say exactly how many bytes their pixels take.
bool bmpComplete(const PictureFile& file, Cursor& in, QString* reason)
{
    const qint64 pixelsOffset = in.le32(10);
    const qint64 headerSize = in.le32(14);
    qint64 width = 0, height = 0, bits = 0, compression = 0;
    if (headerSize == 12) {
        width = in.le16(18);
        height = in.le16(20);
        bits = in.le16(24);
    } else {
        width = qint32(quint32(in.le32(18)));
        height = qAbs(qint32(quint32(in.le32(22))));
        bits = in.le16(28);
        compression = in.le32(30);
    }
    if (pixelsOffset < 0 || width <= 0 || height <= 0 || bits <= 0)
        return true; // let the reader say what is wrong
    if (compression != 0 && compression != 3 && compression != 6)
        return true; // run-length data has no fixed size
    const qint64 stride = (width * bits + 31) / 32 * 4;
    if (file.size() >= pixelsOffset + stride * height)
        return true;
    *reason = QStringLiteral("the file is cut short: its bitmap needs %1 bytes, the file has %2")
                  .arg(pixelsOffset + stride * height)
                  .arg(file.size());
    return false;
}

} // namespace

namespace PictureIntegrity {

bool isComplete(const PictureFile& file, PictureFormat format, QString* reason)
{
    Cursor in(file);
    switch (format) {
    case PictureFormat::Jpeg:
        return jpegComplete(in, reason);
    case PictureFormat::Gif:
        return gifFirstFrameComplete(in, reason);
    case PictureFormat::Bmp:
        return bmpComplete(file, in, reason);
    default:
        return true;
    }
}

} // namespace PictureIntegrity
