// tapisol-decoder: the helper process that decodes pictures for Tapisol. It reads requests on its
// standard input and answers on its standard output (DecoderProtocol); decoded pixels go into the
// memory file whose descriptor it is given, or, for a thumbnail, into the JPEG file it writes
// itself. Started and limited (memory, processor time) by ImageDecoder, so that a picture that
// crashes, hangs or floods a decoder costs only this process.
//   tapisol-decoder --pixels-fd N --memory-mb M --cpu-seconds S --retire-mb R

#include "DecoderProtocol.h"
#include "ImageSaving.h"
#include "ImageScaling.h"
#include "LibraryCodecs.h"
#include "PictureDecoding.h"
#include "PictureFile.h"

#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImageReader>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

struct Options
{
    int pixelsFd = -1;
    int memoryMb = 2048;
    int cpuSeconds = 15;
    // Grown past this (a large picture, a leaking library: libwmf keeps every bitmap it renders),
    // the helper answers, then exits; the next request starts a fresh one.
    int retireMb = 256;
    // Left without a request this long, the helper exits: an idle tray keeps no decoder.
    int idleSeconds = 0;
};

Options parseOptions(int argc, char** argv)
{
    Options options;
    for (int i = 1; i + 1 < argc; i += 2) {
        const int value = std::atoi(argv[i + 1]);
        if (std::strcmp(argv[i], "--pixels-fd") == 0)
            options.pixelsFd = value;
        else if (std::strcmp(argv[i], "--memory-mb") == 0 && value > 0)
            options.memoryMb = value;
        else if (std::strcmp(argv[i], "--cpu-seconds") == 0 && value > 0)
            options.cpuSeconds = value;
        else if (std::strcmp(argv[i], "--retire-mb") == 0 && value > 0)
            options.retireMb = value;
        else if (std::strcmp(argv[i], "--idle-seconds") == 0 && value > 0)
            options.idleSeconds = value;
    }
    return options;
}

bool readExactly(int fd, char* buffer, qint64 length)
{
    for (qint64 done = 0; done < length;) {
        const ssize_t n = ::read(fd, buffer + done, size_t(length - done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += n;
    }
    return true;
}

bool writeAll(int fd, const char* data, qint64 length, qint64 offset = -1)
{
    for (qint64 done = 0; done < length;) {
        const ssize_t n = offset < 0 ? ::write(fd, data + done, size_t(length - done))
                                     : ::pwrite(fd, data + done, size_t(length - done), off_t(offset + done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += n;
    }
    return true;
}

bool readFrame(int fd, QByteArray* payload)
{
    QByteArray header(4, Qt::Uninitialized);
    if (!readExactly(fd, header.data(), 4))
        return false;
    const qint64 length = DecoderProtocol::frameLength(header);
    if (length < 0)
        return false;
    payload->resize(length);
    return readExactly(fd, payload->data(), length);
}

// The processor-time limit counts the whole life of the process; each picture gets its own share
// by moving the soft limit on from what has been used so far.
void renewCpuAllowance(int seconds)
{
    rusage usage {};
    rlimit limit {};
    if (::getrusage(RUSAGE_SELF, &usage) != 0 || ::getrlimit(RLIMIT_CPU, &limit) != 0)
        return;
    const rlim_t used = rlim_t(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) + 1;
    limit.rlim_cur
        = limit.rlim_max == RLIM_INFINITY ? used + rlim_t(seconds) : qMin(used + rlim_t(seconds), limit.rlim_max);
    ::setrlimit(RLIMIT_CPU, &limit);
}

qint64 residentBytes()
{
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.size() > 1 ? fields[1].toLongLong() * ::sysconf(_SC_PAGESIZE) : 0;
}

// Tests cannot count on finding a real file that crashes or hangs a library, so with
// TAPISOL_DECODER_FAULTS=1 in the environment, files named "fault-crash*", "fault-hang*" and
// "fault-spin*" make this process crash, sleep or compute for ever.
void simulateFaultForTests(const QString& path)
{
    static const bool enabled = qEnvironmentVariable("TAPISOL_DECODER_FAULTS") == QLatin1String("1");
    if (!enabled)
        return;
    const QString name = QFileInfo(path).fileName();
    if (name.startsWith(QLatin1String("fault-crash")))
        std::raise(SIGSEGV);
    while (name.startsWith(QLatin1String("fault-hang")))
        ::pause();
    static volatile quint64 spin = 0;
    while (name.startsWith(QLatin1String("fault-spin")))
        spin = spin + 1;
}

DecoderProtocol::Reply handle(const DecoderProtocol::Request& request, const Options& options)
{
    DecoderProtocol::Reply reply;
    const QString path = QFile::decodeName(request.path);
    PictureFile file;
    std::optional<PictureInfo> info;
    if (!file.open(path, &reply.error)) {
        reply.failure = DecoderProtocol::Failure::Open;
        return reply;
    }
    simulateFaultForTests(path);
    reply.failure = DecoderProtocol::Failure::Picture;
    if (!(info = PictureDecoding::probe(file, &reply.error)))
        return reply;
    reply.format = info->format;
    reply.pictureSize = info->size;
    if (request.command == DecoderProtocol::Command::Probe) {
        reply.failure = DecoderProtocol::Failure::None;
        reply.ok = true;
        return reply;
    }
    const bool thumbnail = request.command == DecoderProtocol::Command::Thumbnail;
    const QSize target = thumbnail ? ImageScaling::fitInto(info->size, request.target) : request.target;
    QImage image = PictureDecoding::decode(
        file, *info, target, QColor::fromRgb(request.background), &reply.error, &reply.decodedSize);
    if (image.isNull())
        return reply;
    if (thumbnail) {
        // Written here, so that the pixels of a user's picture never enter the calling program.
        QString cause;
        if (!ImageSaving::saveJpeg(image, QFile::decodeName(request.output), request.quality, &cause)) {
            reply.failure = DecoderProtocol::Failure::Write;
            reply.error = QStringLiteral("the thumbnail cannot be written: %1").arg(cause);
            return reply;
        }
        reply.failure = DecoderProtocol::Failure::None;
        reply.imageSize = image.size();
        reply.ok = true;
        return reply;
    }
    if (image.bytesPerLine() != qsizetype(image.width()) * 4)
        image = image.copy(); // the receiver expects packed rows
    if (::ftruncate(options.pixelsFd, off_t(image.sizeInBytes())) != 0
        || !writeAll(options.pixelsFd, reinterpret_cast<const char*>(image.constBits()), image.sizeInBytes(), 0)) {
        reply.failure = DecoderProtocol::Failure::Write;
        reply.error
            = QStringLiteral("cannot hand the pixels over (%1)").arg(QString::fromLocal8Bit(std::strerror(errno)));
        return reply;
    }
    reply.failure = DecoderProtocol::Failure::None;
    reply.imageSize = image.size();
    reply.ok = true;
    return reply;
}

} // namespace

int main(int argc, char** argv)
{
    // Replies own the real standard output; whatever a library prints goes to standard error.
    const int replyFd = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
    const Options options = parseOptions(argc, argv);
    if (replyFd < 0 || options.pixelsFd < 0 || ::fcntl(options.pixelsFd, F_GETFD) < 0) {
        std::fputs("tapisol-decoder: started without its pixel file; it is run by Tapisol only\n", stderr);
        return 2;
    }
    // A session-less helper: fonts for drawings, no windows.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    LibraryCodecs::install();
    // Our declared-size bound and the process limits replace Qt's 256 MB allocation ceiling.
    QImageReader::setAllocationLimit(options.memoryMb);
    QByteArray payload;
    for (;;) {
        if (options.idleSeconds > 0) {
            pollfd input {STDIN_FILENO, POLLIN, 0};
            if (::poll(&input, 1, options.idleSeconds * 1000) == 0)
                return 0; // idle: the client starts a new helper when it needs one
        }
        if (!readFrame(STDIN_FILENO, &payload))
            break;
        const std::optional<DecoderProtocol::Request> request = DecoderProtocol::decodeRequest(payload);
        if (!request)
            return 2;
        renewCpuAllowance(options.cpuSeconds);
        DecoderProtocol::Reply reply = handle(*request, options);
        reply.retiring = residentBytes() > (qint64(options.retireMb) << 20);
        const QByteArray frame = DecoderProtocol::encode(reply);
        if (!writeAll(replyFd, frame.constData(), frame.size()) || reply.retiring)
            return 0;
    }
    return 0;
}
