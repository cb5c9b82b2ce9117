#include "ImageSaving.h"

#include <QFile>
#include <QFileInfo>
#include <QImageWriter>
#include <QSaveFile>

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

} // namespace

namespace ImageSaving {

bool saveImage(const QImage& image, const QString& path, const QByteArray& format, int quality, QString* error)
{
    if (image.isNull())
        return fail(error, path, QStringLiteral("there is no picture to write"));
    QSaveFile file(path);
    if (!openForReplace(file, error))
        return false;
    WholeWrites device(file);
    QImageWriter writer(&device, format);
    writer.setQuality(quality);
    if (!writer.write(image) || device.failed()) {
        file.cancelWriting();
        // A write error of the device (full disk) says more than the writer's own message.
        const QString cause = device.failed() ? writeCause(file) : writer.errorString();
        return fail(error, path,
            QStringLiteral("cannot write the %1 picture (%2); the previous file is kept")
                .arg(QString::fromLatin1(format), cause));
    }
    return commit(device, file, error);
}

bool saveBitmap(const QImage& image, const QString& path, QString* error)
{
    // Qt writes 32-bit pictures without alpha as 24-bit BMP, the form every desktop reads.
    const QImage opaque = image.isNull() || image.format() == QImage::Format_RGB32
        ? image
        : image.convertToFormat(QImage::Format_RGB32);
    return saveImage(opaque, path, "BMP", -1, error);
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
