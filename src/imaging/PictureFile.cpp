#include "PictureFile.h"

#include "PictureFormat.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QString describeType(mode_t mode)
{
    if (S_ISDIR(mode))
        return QStringLiteral("it is a folder, not a picture file");
    if (S_ISFIFO(mode))
        return QStringLiteral("it is a named pipe (FIFO), not a regular file");
    if (S_ISCHR(mode) || S_ISBLK(mode))
        return QStringLiteral("it is a device, not a regular file");
    if (S_ISSOCK(mode))
        return QStringLiteral("it is a socket, not a regular file");
    return QStringLiteral("it is not a regular file");
}

QString describeErrno(int code)
{
    switch (code) {
    case ENOENT:
        return QStringLiteral("the file does not exist");
    case EACCES:
    case EPERM:
        return QStringLiteral("no permission to read the file");
    case ELOOP:
        return QStringLiteral("too many levels of symbolic links");
    default:
        return QStringLiteral("cannot open the file (%1)").arg(QString::fromLocal8Bit(std::strerror(code)));
    }
}

} // namespace

PictureFile::PictureFile() = default;

PictureFile::~PictureFile()
{
    m_device.reset();
    if (m_fd >= 0)
        ::close(m_fd);
}

bool PictureFile::open(const QString& path, QString* error)
{
    m_path = path;
    const QByteArray native = QFile::encodeName(path);
    // Look before opening: opening some devices has effects of its own.
    struct stat info
    {
    };
    if (::stat(native.constData(), &info) != 0) {
        *error = describeErrno(errno);
        return false;
    }
    if (!S_ISREG(info.st_mode)) {
        *error = describeType(info.st_mode);
        return false;
    }
    // O_NONBLOCK: should the path have been swapped for a FIFO since, the open still returns.
    m_fd = ::open(native.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (m_fd < 0) {
        *error = describeErrno(errno);
        return false;
    }
    if (::fstat(m_fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        *error = describeType(info.st_mode);
        return false;
    }
    ::fcntl(m_fd, F_SETFL, ::fcntl(m_fd, F_GETFL) & ~O_NONBLOCK);
    m_size = info.st_size;
    if (m_size == 0) {
        *error = QStringLiteral("the file is empty");
        return false;
    }
    m_head.resize(qMin<qint64>(m_size, PictureFormats::kHeadBytes));
    m_tail.resize(qMin<qint64>(m_size, PictureFormats::kTailBytes));
    if (readAt(m_head.data(), m_head.size(), 0) != m_head.size()
        || readAt(m_tail.data(), m_tail.size(), m_size - m_tail.size()) != m_tail.size()) {
        *error = QStringLiteral("cannot read the file (%1)").arg(QString::fromLocal8Bit(std::strerror(errno)));
        return false;
    }
    return true;
}

QIODevice* PictureFile::device()
{
    if (!m_device) {
        m_device = std::make_unique<QFile>();
        m_device->open(m_fd, QIODevice::ReadOnly, QFileDevice::DontCloseHandle);
    }
    m_device->seek(0);
    return m_device.get();
}

qint64 PictureFile::readAt(char* buffer, qint64 length, qint64 offset) const
{
    qint64 done = 0;
    while (done < length) {
        const ssize_t n = ::pread(m_fd, buffer + done, size_t(length - done), off_t(offset + done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return -1;
        if (n == 0)
            break;
        done += n;
    }
    return done;
}

bool PictureFile::readAll(QByteArray* data, qint64 maxBytes, QString* error) const
{
    if (m_size > maxBytes) {
        *error = QStringLiteral("the file is larger than %1 MiB").arg(maxBytes >> 20);
        return false;
    }
    data->resize(m_size);
    const qint64 got = readAt(data->data(), m_size, 0);
    if (got != m_size) {
        *error = got < 0 ? QStringLiteral("cannot read the file (%1)").arg(QString::fromLocal8Bit(std::strerror(errno)))
                         : QStringLiteral("the file became shorter while it was read");
        return false;
    }
    return true;
}
