#pragma once

#include <QByteArray>
#include <QString>

#include <memory>

class QFile;
class QIODevice;

// A picture file opened for decoding. Only a non-empty regular file is opened, and never in a way
// that could block: a FIFO or a device named ".jpg" is refused, not waited on. The first and last
// bytes are read at once, for the format check.
class PictureFile
{
public:
    PictureFile();
    ~PictureFile();
    PictureFile(const PictureFile&) = delete;
    PictureFile& operator=(const PictureFile&) = delete;

    /// Opens `path`; false with the cause in `error` when it is missing, unreadable, empty or not a
    /// regular file.
    bool open(const QString& path, QString* error);

    const QString& path() const { return m_path; }
    qint64 size() const { return m_size; }
    /// The first bytes of the file (up to PictureFormats::kHeadBytes).
    const QByteArray& head() const { return m_head; }
    /// The last bytes of the file (up to PictureFormats::kTailBytes).
    const QByteArray& tail() const { return m_tail; }

    /// A device reading the file from its start, for Qt's image readers. Owned by this object.
    QIODevice* device();

    /// The whole file in memory; false with the cause when it is larger than `maxBytes` or the
    /// read fails.
    bool readAll(QByteArray* data, qint64 maxBytes, QString* error) const;

    /// Reads up to `length` bytes at `offset`; the count read, or -1 on an error.
    qint64 readAt(char* buffer, qint64 length, qint64 offset) const;

private:
    int m_fd = -1;
    QString m_path;
    qint64 m_size = 0;
    QByteArray m_head;
    QByteArray m_tail;
    std::unique_ptr<QFile> m_device;
};
