#pragma once

#include <QByteArray>
#include <QColor>
#include <QDataStream>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QRect>
#include <QString>

// Pictures for the imaging tests. Raster pictures come from make-fixtures.sh (ImageMagick,
// exiftool); the drawings and the hostile files are written here, byte by byte.
namespace ImagingFixtures {

/// The layout most fixtures share, as rectangles of a `size` picture: top-left quarter green,
/// bottom-left quarter red, right half blue.
struct Quadrants
{
    QRect green, red, blue;
    explicit Quadrants(QSize size)
    {
        const int w = size.width(), h = size.height();
        green = QRect(0, 0, w / 2, h / 2);
        red = QRect(0, h / 2, w / 2, h - h / 2);
        blue = QRect(w / 2, 0, w - w / 2, h);
    }
};

/// True when every channel of `actual` is within `tolerance` of `expected`.
inline bool near(QRgb actual, QRgb expected, int tolerance)
{
    return qAbs(qRed(actual) - qRed(expected)) <= tolerance && qAbs(qGreen(actual) - qGreen(expected)) <= tolerance
        && qAbs(qBlue(actual) - qBlue(expected)) <= tolerance;
}

/// Runs make-fixtures.sh into `folder`; an empty string on success, else what went wrong.
inline QString generateRaster(const QString& folder)
{
    QProcess script;
    script.start(QStringLiteral("bash"), {QStringLiteral(TAPISOL_IMAGING_FIXTURE_SCRIPT), folder});
    if (!script.waitForFinished(120000) || script.exitStatus() != QProcess::NormalExit || script.exitCode() != 0)
        return QStringLiteral("make-fixtures.sh failed: ") + QString::fromLocal8Bit(script.readAllStandardError());
    return {};
}

class LittleEndianWriter
{
public:
    LittleEndianWriter() { m_out.setByteOrder(QDataStream::LittleEndian); }
    LittleEndianWriter& operator<<(qint16 v) { return m_out << v, *this; }
    LittleEndianWriter& operator<<(quint16 v) { return m_out << v, *this; }
    LittleEndianWriter& operator<<(qint32 v) { return m_out << v, *this; }
    LittleEndianWriter& operator<<(quint32 v) { return m_out << v, *this; }
    const QByteArray& bytes() const { return m_bytes; }

private:
    QByteArray m_bytes;
    QDataStream m_out {&m_bytes, QIODevice::WriteOnly};
};

inline quint32 colorRef(QColor c)
{
    return quint32(c.red()) | quint32(c.green()) << 8 | quint32(c.blue()) << 16;
}

/// A placeable WMF of the quadrant layout, `w` × `h` units at 96 units an inch (so `w` × `h`
/// pixels at 96 dpi): a null pen, then one brush and one rectangle per quadrant.
inline QByteArray wmfQuadrants(qint16 w, qint16 h)
{
    LittleEndianWriter body;
    quint32 largest = 0;
    const auto record = [&](quint16 function, std::initializer_list<qint16> params) {
        const quint32 words = 3 + quint32(params.size());
        body << words << function;
        for (const qint16 p : params)
            body << p;
        largest = qMax(largest, words);
    };
    const auto fill = [&](QColor colour, QRect r) {
        const quint32 ref = colorRef(colour);
        record(0x02FC, {0, qint16(ref & 0xFFFF), qint16(ref >> 16), 0}); // CREATEBRUSHINDIRECT
        record(0x012D, {1});                                             // SELECTOBJECT
        record(0x041B, {qint16(r.bottom() + 1), qint16(r.right() + 1), qint16(r.top()), qint16(r.left())});
        record(0x01F0, {1}); // DELETEOBJECT
    };
    record(0x020B, {0, 0});          // SETWINDOWORG
    record(0x020C, {h, w});          // SETWINDOWEXT
    record(0x02FA, {5, 0, 0, 0, 0}); // CREATEPENINDIRECT, PS_NULL
    record(0x012D, {0});
    const Quadrants q(QSize(w, h));
    fill(Qt::green, q.green);
    fill(Qt::red, q.red);
    fill(Qt::blue, q.blue);
    record(0x0000, {}); // EOF

    LittleEndianWriter header;
    header << quint16(1) << quint16(9) << quint16(0x0300) << quint32((18 + body.bytes().size()) / 2) << quint16(2)
           << largest << quint16(0);
    LittleEndianWriter placeable;
    placeable << quint32(0x9AC6CDD7) << quint16(0) << qint16(0) << qint16(0) << w << h << quint16(96) << quint32(0);
    quint16 checksum = 0;
    for (int i = 0; i < 20; i += 2)
        checksum ^= quint16(quint8(placeable.bytes()[i]) | quint8(placeable.bytes()[i + 1]) << 8);
    placeable << checksum;
    return placeable.bytes() + header.bytes() + body.bytes();
}

/// An EMF of the quadrant layout, `w` × `h` device pixels with a frame of the same size at 96 dpi.
inline QByteArray emfQuadrants(qint32 w, qint32 h)
{
    LittleEndianWriter body;
    quint32 records = 1;
    const auto record = [&](quint32 type, std::initializer_list<qint32> params) {
        body << type << quint32(8 + 4 * params.size());
        for (const qint32 p : params)
            body << p;
        ++records;
    };
    record(37, {qint32(0x80000008)}); // SELECTOBJECT of the stock NULL_PEN
    const Quadrants q(QSize(w, h));
    qint32 handle = 1;
    for (const auto& [colour, r] :
        {std::pair {QColor(Qt::green), q.green}, {QColor(Qt::red), q.red}, {QColor(Qt::blue), q.blue}}) {
        record(39, {handle, 0, qint32(colorRef(colour)), 0}); // CREATEBRUSHINDIRECT
        record(37, {handle});
        record(43, {r.left(), r.top(), r.right(), r.bottom()}); // RECTANGLE
        ++handle;
    }
    record(14, {0, 16, 20}); // EOF
    const qint32 headerBytes = 88;
    LittleEndianWriter header;
    header << quint32(1) << quint32(headerBytes) << qint32(0) << qint32(0) << qint32(w - 1) << qint32(h - 1)
           << qint32(0) << qint32(0) << qint32(w * 2540 / 96) << qint32(h * 2540 / 96) << quint32(0x464D4520)
           << quint32(0x10000) << quint32(headerBytes + body.bytes().size()) << records << quint16(handle) << quint16(0)
           << quint32(0) << quint32(0) << quint32(0) << qint32(1920) << qint32(1080) << qint32(508) << qint32(286);
    return header.bytes() + body.bytes();
}

inline quint32 crc32(const QByteArray& data)
{
    quint32 crc = 0xFFFFFFFFu;
    for (const char byte : data) {
        crc ^= quint8(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

/// A PNG whose header declares `width` × `height` RGB pixels, with a few bytes of data: what a
/// decompression bomb looks like to a reader that trusts the header.
inline QByteArray pngDeclaring(quint32 width, quint32 height)
{
    const auto chunk = [](const QByteArray& type, const QByteArray& data) {
        QByteArray out;
        QDataStream s(&out, QIODevice::WriteOnly);
        s << quint32(data.size());
        out += type + data;
        const quint32 crc = crc32(type + data);
        QDataStream t(&out, QIODevice::Append);
        t << crc;
        return out;
    };
    QByteArray ihdr;
    QDataStream s(&ihdr, QIODevice::WriteOnly);
    s << width << height << quint8(8) << quint8(2) << quint8(0) << quint8(0) << quint8(0);
    const QByteArray compressed = qCompress(QByteArray(4096, '\0')).mid(4); // zlib stream, length prefix dropped
    return QByteArray("\x89PNG\r\n\x1A\n") + chunk("IHDR", ihdr) + chunk("IDAT", compressed) + chunk("IEND", {});
}

inline bool writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

} // namespace ImagingFixtures
