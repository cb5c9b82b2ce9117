#pragma once

#include <QByteArrayView>
#include <QSize>
#include <QString>
#include <QStringView>

// The picture formats Tapisol decodes. The format of a file is always taken from its first bytes
// (and, for TGA, from the signature at its end); a name only ever confirms, never decides.
enum class PictureFormat : quint8
{
    Unknown,
    Jpeg,
    Png,
    Bmp,
    Gif,
    WebP,
    Tiff,
    Tga,
    Heif,
    Avif,
    Wmf,
    Emf,
};

/// What a probe learns from a picture's header, before any pixel is decoded.
struct PictureInfo
{
    PictureFormat format = PictureFormat::Unknown;
    /// The size as the picture is shown: EXIF orientation applied, a metafile's frame at 96 dpi.
    QSize size;

    bool isMetafile() const { return format == PictureFormat::Wmf || format == PictureFormat::Emf; }
};

namespace PictureFormats {

/// How many leading bytes `sniff` needs to recognise every format.
inline constexpr int kHeadBytes = 64;
/// How many trailing bytes `sniff` needs (the TGA 2.0 footer).
inline constexpr int kTailBytes = 26;

/// Short display name ("JPEG", "HEIF"...), used in messages.
QString name(PictureFormat format);

/// The format of a file from its first bytes `head` and last bytes `tail`, checked against the
/// allow-list. Returns Unknown and sets `refusal` (what the bytes look like) for anything else.
PictureFormat sniff(QByteArrayView head, QByteArrayView tail, QString* refusal = nullptr);

/// The name Qt's image plugins know the format by, or an empty array for formats Qt does not read.
QByteArray qtFormatName(PictureFormat format);

} // namespace PictureFormats
