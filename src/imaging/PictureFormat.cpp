#include "PictureFormat.h"

#include <QtEndian>

#include <algorithm>

namespace {

bool startsWith(QByteArrayView data, QByteArrayView prefix)
{
    return data.size() >= prefix.size() && data.first(prefix.size()) == prefix;
}

quint16 le16(QByteArrayView data, qsizetype at)
{
    return qFromLittleEndian<quint16>(data.data() + at);
}

quint32 le32(QByteArrayView data, qsizetype at)
{
    return qFromLittleEndian<quint32>(data.data() + at);
}

bool isBmp(QByteArrayView head)
{
    if (head.size() < 18 || !startsWith(head, "BM"))
        return false;
    // "BM" alone is too weak: the DIB header that follows has one of a few known sizes.
    const quint32 dibSize = le32(head, 14);
    return dibSize == 12 || dibSize == 16 || dibSize == 40 || dibSize == 52 || dibSize == 56 || dibSize == 64
        || dibSize == 108 || dibSize == 124;
}

// ISO base media files (HEIF, AVIF) open with an 'ftyp' box listing brands.
PictureFormat isoBrand(QByteArrayView head)
{
    if (head.size() < 16 || head.sliced(4, 4) != "ftyp")
        return PictureFormat::Unknown;
    const qsizetype boxEnd = qMin<qsizetype>(qFromBigEndian<quint32>(head.data()), head.size());
    bool heif = false;
    for (qsizetype at = 8; at + 4 <= boxEnd; at += 4) {
        if (at == 12)
            continue; // minor version, not a brand
        const QByteArrayView brand = head.sliced(at, 4);
        if (brand == "avif" || brand == "avis")
            return PictureFormat::Avif;
        if (brand == "heic" || brand == "heix" || brand == "hevc" || brand == "hevx" || brand == "heim"
            || brand == "heis" || brand == "hevm" || brand == "hevs" || brand == "mif1" || brand == "msf1")
            heif = true;
    }
    return heif ? PictureFormat::Heif : PictureFormat::Unknown;
}

bool isWmf(QByteArrayView head)
{
    if (head.size() < 22)
        return false;
    if (le32(head, 0) == 0x9AC6CDD7u) // the "placeable" header some writers put first
        return true;
    const quint16 type = le16(head, 0);
    const quint16 version = le16(head, 4);
    return (type == 1 || type == 2) && le16(head, 2) == 9 && (version == 0x0100 || version == 0x0300);
}

bool isEmf(QByteArrayView head)
{
    return head.size() >= 44 && le32(head, 0) == 1 && le32(head, 4) >= 88 && head.sliced(40, 4) == " EMF";
}

// TGA has no leading magic; only version 2.0 files end with a signature.
bool hasTgaFooter(QByteArrayView head, QByteArrayView tail)
{
    static constexpr char kSignature[] = "TRUEVISION-XFILE.";
    return head.size() >= 18 && tail.size() >= 26 && tail.sliced(tail.size() - 18) == QByteArrayView(kSignature, 18);
}

// Qt's reader takes uncompressed true-colour TGA 2.0 files and no other kind.
bool isReadableTga(QByteArrayView head)
{
    return quint8(head[1]) == 0 && quint8(head[2]) == 2;
}

// Names what a refused file looks like, so that the trace says more than "unknown".
QString describeRefused(QByteArrayView head)
{
    QByteArrayView text = head;
    if (startsWith(text, "\xEF\xBB\xBF"))
        text = text.sliced(3);
    while (!text.isEmpty() && (text[0] == ' ' || text[0] == '\t' || text[0] == '\r' || text[0] == '\n'))
        text = text.sliced(1);
    if (startsWith(text, "<svg") || (startsWith(text, "<?xml") && QByteArrayView(head).indexOf("<svg") >= 0))
        return QStringLiteral("it holds an SVG drawing");
    if (startsWith(text, "<"))
        return QStringLiteral("it holds XML or HTML text");
    if (startsWith(text, "#define"))
        return QStringLiteral("it holds an XBM bitmap (C source text)");
    if (startsWith(text, "/* XPM */"))
        return QStringLiteral("it holds an XPM bitmap (C source text)");
    if (startsWith(head, "%PDF"))
        return QStringLiteral("it holds a PDF document");
    if (startsWith(head, "%!"))
        return QStringLiteral("it holds a PostScript document");
    if (head.size() >= 3 && head[0] == 'P' && head[1] >= '1' && head[1] <= '7'
        && (head[2] == ' ' || head[2] == '\n' || head[2] == '\r' || head[2] == '\t'))
        return QStringLiteral("it holds a PBM/PGM/PPM bitmap");
    if (startsWith(head, QByteArrayView("\0\0\1\0", 4)))
        return QStringLiteral("it holds an icon");
    const bool printable = std::all_of(head.begin(), head.end(), [](char c) {
        const auto u = quint8(c);
        return u >= 0x20 || c == '\n' || c == '\r' || c == '\t';
    });
    return printable ? QStringLiteral("it holds text") : QStringLiteral("its first bytes match no supported format");
}

} // namespace

namespace PictureFormats {

QString name(PictureFormat format)
{
    switch (format) {
    case PictureFormat::Jpeg:
        return QStringLiteral("JPEG");
    case PictureFormat::Png:
        return QStringLiteral("PNG");
    case PictureFormat::Bmp:
        return QStringLiteral("BMP");
    case PictureFormat::Gif:
        return QStringLiteral("GIF");
    case PictureFormat::WebP:
        return QStringLiteral("WebP");
    case PictureFormat::Tiff:
        return QStringLiteral("TIFF");
    case PictureFormat::Tga:
        return QStringLiteral("TGA");
    case PictureFormat::Heif:
        return QStringLiteral("HEIF");
    case PictureFormat::Avif:
        return QStringLiteral("AVIF");
    case PictureFormat::Wmf:
        return QStringLiteral("WMF");
    case PictureFormat::Emf:
        return QStringLiteral("EMF");
    case PictureFormat::Unknown:
        break;
    }
    return QStringLiteral("unknown");
}

PictureFormat sniff(QByteArrayView head, QByteArrayView tail, QString* refusal)
{
    PictureFormat format = PictureFormat::Unknown;
    if (startsWith(head, "\xFF\xD8\xFF"))
        format = PictureFormat::Jpeg;
    else if (startsWith(head, "\x89PNG\r\n\x1A\n"))
        format = PictureFormat::Png;
    else if (startsWith(head, "GIF87a") || startsWith(head, "GIF89a"))
        format = PictureFormat::Gif;
    else if (head.size() >= 12 && startsWith(head, "RIFF") && head.sliced(8, 4) == "WEBP")
        format = PictureFormat::WebP;
    else if (startsWith(head, QByteArrayView("II*\0", 4)) || startsWith(head, QByteArrayView("MM\0*", 4))
        || startsWith(head, QByteArrayView("II+\0", 4)) || startsWith(head, QByteArrayView("MM\0+", 4)))
        format = PictureFormat::Tiff;
    else if (isBmp(head))
        format = PictureFormat::Bmp;
    else if (isWmf(head))
        format = PictureFormat::Wmf;
    else if (isEmf(head))
        format = PictureFormat::Emf;
    else if (const PictureFormat iso = isoBrand(head); iso != PictureFormat::Unknown)
        format = iso;
    else if (hasTgaFooter(head, tail) && isReadableTga(head))
        format = PictureFormat::Tga;
    if (format == PictureFormat::Unknown && refusal) {
        *refusal = QStringLiteral("not a picture in a supported format: ")
            + (hasTgaFooter(head, tail) ? QStringLiteral("it holds a compressed, colour-mapped or grey TGA picture")
                                        : describeRefused(head));
    }
    return format;
}

QByteArray qtFormatName(PictureFormat format)
{
    switch (format) {
    case PictureFormat::Jpeg:
        return "jpeg";
    case PictureFormat::Png:
        return "png";
    case PictureFormat::Bmp:
        return "bmp";
    case PictureFormat::Gif:
        return "gif";
    case PictureFormat::WebP:
        return "webp";
    case PictureFormat::Tiff:
        return "tiff";
    case PictureFormat::Tga:
        return "tga";
    default:
        break;
    }
    return {};
}

} // namespace PictureFormats
