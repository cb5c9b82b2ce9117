#include "ImageSaving.h"

#include <QFile>
#include <QFileInfo>
#include <QImageWriter>
#include <QSaveFile>

#include <algorithm>

namespace {

bool fail(QString* error, const QString& path, const QString& cause)
{
    if (error)
        *error = path + QStringLiteral(": ") + cause;
    return false;
}

// QSaveFile (Qt 6.4) counts a short write without an errno as success, and would then commit a
// truncated file over the old one: a disk that fills up part-way through a write does exactly that.
// This device turns any short write into a failure and remembers it.
class WholeWrites : public QIODevice
{
public:
    explicit WholeWrites(QSaveFile& target)
        : m_target(target)
    {
        open(QIODevice::WriteOnly | QIODevice::Unbuffered);
    }

    bool failed() const { return m_failed; }

    /// Flushes and commits, unless a write fell short.
    bool commit()
    {
        if (m_failed || !m_target.flush() || m_target.error() != QFileDevice::NoError) {
            m_target.cancelWriting();
            return false;
        }
        return m_target.commit();
    }

protected:
    qint64 writeData(const char* data, qint64 length) override
    {
        if (!m_failed && m_target.write(data, length) == length)
            return length;
        m_failed = true;
        return -1;
    }

    qint64 readData(char*, qint64) override { return -1; }

private:
    QSaveFile& m_target;
    bool m_failed = false;
};

QString writeCause(const QSaveFile& file)
{
    return file.error() != QFileDevice::NoError ? file.errorString() : QStringLiteral("the disk may be full");
}

bool openForReplace(QSaveFile& file, QString* error)
{
    if (file.open(QIODevice::WriteOnly))
        return true;
    return fail(error, file.fileName(),
        QStringLiteral("cannot write in the folder %1 (%2)")
            .arg(QFileInfo(file.fileName()).absolutePath(), file.errorString()));
}

bool commit(WholeWrites& device, QSaveFile& file, QString* error)
{
    if (device.commit())
        return true;
    return fail(error, file.fileName(),
        QStringLiteral("cannot complete the file (%1); the previous one is kept").arg(writeCause(file)));
}

// Bytes of one 24-bit row, padded to a multiple of four.
qsizetype bitmapRowBytes(int width)
{
    return (qsizetype(width) * 3 + 3) & ~qsizetype(3);
}

void putLe(QByteArray& out, qsizetype at, quint32 value, int bytes)
{
    for (int i = 0; i < bytes; ++i)
        out[at + i] = char((value >> (8 * i)) & 0xFF);
}

// The file header and the 40-byte information header of an uncompressed 24-bit bitmap, stored
// bottom-up, the layout every desktop and viewer reads.
QByteArray bitmapHeader(const QImage& image)
{
    constexpr int HeaderBytes = 14 + 40;
    const quint32 pixelBytes = quint32(bitmapRowBytes(image.width()) * image.height());
    QByteArray header(HeaderBytes, '\0');
    header[0] = 'B';
    header[1] = 'M';
    putLe(header, 2, HeaderBytes + pixelBytes, 4);
    putLe(header, 10, HeaderBytes, 4);
    putLe(header, 14, 40, 4);
    putLe(header, 18, quint32(image.width()), 4);
    putLe(header, 22, quint32(image.height()), 4);
    putLe(header, 26, 1, 2);  // planes
    putLe(header, 28, 24, 2); // bits per pixel
    putLe(header, 34, pixelBytes, 4);
    putLe(header, 38, quint32(qMax(0, image.dotsPerMeterX())), 4);
    putLe(header, 42, quint32(qMax(0, image.dotsPerMeterY())), 4);
    return header;
}

// One row of 32-bit pixels as blue, green, red bytes; any alpha is dropped.
void packBgrRow(const uchar* scanLine, int width, char* out, qsizetype rowBytes)
{
    const auto* pixels = reinterpret_cast<const QRgb*>(scanLine);
    char* at = out;
    for (int x = 0; x < width; ++x) {
        const QRgb pixel = pixels[x];
        *at++ = char(qBlue(pixel));
        *at++ = char(qGreen(pixel));
        *at++ = char(qRed(pixel));
    }
    std::fill(at, out + rowBytes, '\0');
}

} // namespace

namespace ImageSaving {

bool saveBitmap(const QImage& image, const QString& path, QString* error)
{
    if (image.isNull())
        return fail(error, path, QStringLiteral("there is no picture to write"));
    // Written here rather than through QImageWriter, which loads every image plugin to ask whether
    // one of them writes BMP: that costs more than writing a screen-sized bitmap.
    const QImage opaque = image.format() == QImage::Format_RGB32 || image.format() == QImage::Format_ARGB32
        ? image
        : image.convertToFormat(QImage::Format_RGB32);
    if (opaque.isNull())
        return fail(error, path, QStringLiteral("not enough memory to convert the picture"));
    QSaveFile file(path);
    if (!openForReplace(file, error))
        return false;
    WholeWrites device(file);
    device.write(bitmapHeader(opaque));
    const qsizetype rowBytes = bitmapRowBytes(opaque.width());
    // Rows go bottom-up in blocks of about 1 MiB, so the copy stays small for any size.
    const int rowsPerBlock = int(qMax<qsizetype>(1, (qsizetype(1) << 20) / rowBytes));
    QByteArray block;
    for (int bottom = opaque.height() - 1; bottom >= 0 && !device.failed(); bottom -= rowsPerBlock) {
        const int rows = qMin(rowsPerBlock, bottom + 1);
        block.resize(rowBytes * rows);
        for (int i = 0; i < rows; ++i)
            packBgrRow(opaque.constScanLine(bottom - i), opaque.width(), block.data() + rowBytes * i, rowBytes);
        device.write(block);
    }
    if (device.failed()) {
        file.cancelWriting();
        return fail(error, path,
            QStringLiteral("cannot write the BMP picture (%1); the previous file is kept").arg(writeCause(file)));
    }
    return commit(device, file, error);
}

bool saveJpeg(const QImage& image, const QString& path, int quality, QString* error)
{
    if (image.isNull())
        return fail(error, path, QStringLiteral("there is no picture to write"));
    QSaveFile file(path);
    if (!openForReplace(file, error))
        return false;
    WholeWrites device(file);
    QImageWriter writer(&device, QByteArrayLiteral("jpeg"));
    writer.setQuality(qBound(0, quality, 100));
    if (!writer.write(image) || device.failed()) {
        const QString cause = device.failed() ? writeCause(file) : writer.errorString();
        file.cancelWriting();
        return fail(error, path, QStringLiteral("cannot write the JPEG picture (%1)").arg(cause));
    }
    return commit(device, file, error);
}

bool copyFile(const QString& source, const QString& destination, QString* error)
{
    QFile in(source);
    if (!in.open(QIODevice::ReadOnly))
        return fail(error, source, QStringLiteral("cannot read the file (%1)").arg(in.errorString()));
    QSaveFile out(destination);
    if (!openForReplace(out, error))
        return false;
    WholeWrites device(out);
    QByteArray chunk;
    while (!device.failed() && !(chunk = in.read(1 << 20)).isEmpty())
        device.write(chunk);
    if (in.error() != QFileDevice::NoError) {
        out.cancelWriting();
        return fail(error, source, QStringLiteral("cannot read the file (%1)").arg(in.errorString()));
    }
    return commit(device, out, error);
}

} // namespace ImageSaving
