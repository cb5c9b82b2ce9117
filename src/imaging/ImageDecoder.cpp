#include "ImageDecoder.h"

#include "DecoderProtocol.h"
#include "ImageLimits.h"
#include "PictureDecoding.h"
#include "PictureFile.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

QString& helperOverride()
{
    static QString path;
    return path;
}

// Address space beyond the data limit: code, fonts and thread stacks are mapped, not allocated.
constexpr rlim_t kAddressHeadroom = rlim_t(4) << 30;
constexpr int kStartMs = 5000;

// Marks descriptors `first` to `last` close-on-exec. Async-signal-safe.
void closeOnExec(unsigned first, unsigned last)
{
    if (first > last || ::close_range(first, last, CLOSE_RANGE_CLOEXEC) == 0)
        return;
    // A kernel older than 5.11: one descriptor at a time, up to the process's limit.
    rlimit open {};
    const rlim_t limit = ::getrlimit(RLIMIT_NOFILE, &open) == 0 ? std::min<rlim_t>(open.rlim_cur, 65536) : 4096;
    for (rlim_t fd = first; fd <= last && fd < limit; ++fd)
        ::fcntl(int(fd), F_SETFD, FD_CLOEXEC);
}

// Runs in the forked child before exec: only async-signal-safe calls.
void limitChild(int pixelsFd, rlim_t dataBytes, rlim_t cpuSeconds)
{
    // The helper inherits the pixel file and nothing else. A descriptor another thread or a
    // library opened without close-on-exec (GStreamer's pipes to its plugin scanner, say) would
    // otherwise stay open in the helper for its whole life, and whoever waits for the end of
    // such a pipe would wait as long.
    closeOnExec(3, unsigned(pixelsFd) - 1);
    closeOnExec(unsigned(pixelsFd) + 1, ~0U);
    ::fcntl(pixelsFd, F_SETFD, 0);
    const rlimit data {dataBytes, dataBytes};
    const rlimit address {dataBytes + kAddressHeadroom, dataBytes + kAddressHeadroom};
    const rlimit cpu {cpuSeconds, RLIM_INFINITY}; // the helper moves the soft limit per picture
    const rlimit core {0, 0};
    ::setrlimit(RLIMIT_DATA, &data);
    ::setrlimit(RLIMIT_AS, &address);
    ::setrlimit(RLIMIT_CPU, &cpu);
    ::setrlimit(RLIMIT_CORE, &core);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    // Should memory run short, the helper goes before the tray program or the desktop.
    const int oom = ::open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC);
    if (oom >= 0) {
        [[maybe_unused]] const ssize_t written = ::write(oom, "500", 3);
        ::close(oom);
    }
}

// Opens and probes `path` for a call served in this process. A format this process has no decoder
// for (the ones needing libraries of their own) sets `helperFormat`: the helper takes the call.
std::optional<PictureInfo> probeHere(const QString& path, PictureFile* file, QString* cause, bool* helperFormat)
{
    if (!file->open(path, cause))
        return std::nullopt;
    QString unknown;
    const PictureFormat format = PictureFormats::sniff(file->head(), file->tail(), &unknown);
    if (format != PictureFormat::Unknown && !PictureDecoding::decodesHere(format)) {
        *helperFormat = true;
        return std::nullopt;
    }
    return PictureDecoding::probe(*file, cause);
}

QString describeSignal(int signal, const ImageDecoder::Limits& limits)
{
    switch (signal) {
    case SIGXCPU:
        return QStringLiteral("the decoder used more than %1 s of processor time on it").arg(limits.cpuSeconds);
    case SIGKILL:
        return QStringLiteral("the decoder was killed (out of memory?)");
    case SIGABRT:
        return QStringLiteral("the decoder aborted on it (out of memory or a damaged file)");
    case SIGSEGV:
    case SIGBUS:
        return QStringLiteral("the decoder crashed on it (%1)").arg(QString::fromLocal8Bit(strsignal(signal)));
    default:
        return QStringLiteral("the decoder stopped on signal %1 (%2)")
            .arg(signal)
            .arg(QString::fromLocal8Bit(strsignal(signal)));
    }
}

} // namespace

struct ImageDecoder::Private
{
    Limits limits;
    std::unique_ptr<QProcess> helper;
    int pixelsFd = -1;

    ~Private()
    {
        stopHelper(true);
        if (pixelsFd >= 0)
            ::close(pixelsFd);
    }

    bool ensureHelper(QString* cause);
    void stopHelper(bool gently);
    std::optional<DecoderProtocol::Reply> call(const DecoderProtocol::Request& request, QString* cause);
    std::optional<DecoderProtocol::Reply> awaitReply(QString* cause);
    bool takePixels(QSize size, QImage* image, QString* cause);
};

bool ImageDecoder::Private::ensureHelper(QString* cause)
{
    if (helper) {
        helper->waitForFinished(0); // notices a helper that died since the last picture
        if (helper->state() == QProcess::Running)
            return true;
        helper.reset();
    }
    if (pixelsFd < 0)
        pixelsFd = ::memfd_create("tapisol-pixels", MFD_CLOEXEC);
    if (pixelsFd < 0) {
        *cause = QStringLiteral("cannot create the memory file for the decoder (%1)")
                     .arg(QString::fromLocal8Bit(std::strerror(errno)));
        return false;
    }
    auto process = std::make_unique<QProcess>();
    process->setProgram(helperProgram());
    process->setArguments({QStringLiteral("--pixels-fd"), QString::number(pixelsFd), QStringLiteral("--memory-mb"),
        QString::number(limits.memoryMb), QStringLiteral("--cpu-seconds"), QString::number(limits.cpuSeconds),
        QStringLiteral("--retire-mb"), QString::number(limits.retireMb), QStringLiteral("--idle-seconds"),
        QString::number(limits.idleSeconds)});
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("MALLOC_ARENA_MAX"), QStringLiteral("2"));
    process->setProcessEnvironment(environment);
    const int fd = pixelsFd;
    const rlim_t dataBytes = rlim_t(limits.memoryMb) << 20;
    const rlim_t cpuSeconds = rlim_t(limits.cpuSeconds);
    process->setChildProcessModifier([fd, dataBytes, cpuSeconds] { limitChild(fd, dataBytes, cpuSeconds); });
    process->start();
    if (!process->waitForStarted(kStartMs)) {
        *cause = QStringLiteral("the picture decoder %1 cannot be started (%2)")
                     .arg(process->program(), process->errorString());
        return false;
    }
    helper = std::move(process);
    return true;
}

void ImageDecoder::Private::stopHelper(bool gently)
{
    if (!helper)
        return;
    if (gently && helper->state() == QProcess::Running) {
        helper->closeWriteChannel(); // end of input: the helper leaves on its own
        if (helper->waitForFinished(1000)) {
            helper.reset();
            return;
        }
    }
    helper->kill();
    helper->waitForFinished(1000);
    helper.reset();
}

std::optional<DecoderProtocol::Reply> ImageDecoder::Private::call(
    const DecoderProtocol::Request& request, QString* cause)
{
    if (!ensureHelper(cause))
        return std::nullopt;
    helper->readAllStandardOutput(); // nothing is expected, but a stale byte must not shift frames
    helper->write(DecoderProtocol::encode(request));
    std::optional<DecoderProtocol::Reply> reply = awaitReply(cause);
    // A helper that left because it was idle just as the request went: once more, with a new one.
    if (!reply && helper->state() != QProcess::Running && helper->exitStatus() == QProcess::NormalExit
        && helper->exitCode() == 0 && ensureHelper(cause)) {
        helper->write(DecoderProtocol::encode(request));
        reply = awaitReply(cause);
    }
    if (!reply)
        stopHelper(false);
    else if (reply->retiring)
        stopHelper(true);
    return reply;
}

std::optional<DecoderProtocol::Reply> ImageDecoder::Private::awaitReply(QString* cause)
{
    const QDeadlineTimer deadline(limits.timeoutMs);
    QByteArray buffer;
    for (;;) {
        buffer += helper->readAllStandardOutput();
        helper->readAllStandardError(); // the libraries' chatter; dropped so it cannot pile up
        const qint64 length = DecoderProtocol::frameLength(buffer);
        if (length == -2) {
            *cause = QStringLiteral("the decoder answered with a malformed message");
            return std::nullopt;
        }
        if (length >= 0 && buffer.size() >= 4 + length) {
            std::optional<DecoderProtocol::Reply> reply = DecoderProtocol::decodeReply(buffer.mid(4, length));
            if (!reply)
                *cause = QStringLiteral("the decoder answered with a malformed message");
            return reply;
        }
        if (helper->state() != QProcess::Running) {
            *cause = helper->exitStatus() == QProcess::CrashExit
                ? describeSignal(helper->exitCode(), limits)
                : QStringLiteral("the decoder stopped without answering (exit code %1)").arg(helper->exitCode());
            return std::nullopt;
        }
        if (deadline.hasExpired()) {
            *cause = QStringLiteral("decoding took longer than %1 s; the decoder was stopped")
                         .arg(limits.timeoutMs / 1000.0, 0, 'g', 3);
            return std::nullopt;
        }
        helper->waitForReadyRead(int(qMax<qint64>(1, deadline.remainingTime())));
    }
}

bool ImageDecoder::Private::takePixels(QSize size, QImage* image, QString* cause)
{
    if (!ImageLimits::canvasFits(size)) {
        *cause = QStringLiteral("the decoder handed over a picture of an impossible size");
        return false;
    }
    *image = QImage(size, QImage::Format_RGB32);
    if (image->isNull()) {
        *cause = QStringLiteral("not enough memory for %1 × %2 pixels").arg(size.width()).arg(size.height());
        return false;
    }
    // pread, not mmap: a helper that shrinks the file can then only shorten a read, never fault us.
    const qint64 length = image->sizeInBytes();
    auto* bits = reinterpret_cast<char*>(image->bits());
    qint64 done = 0;
    while (done < length) {
        const ssize_t n = ::pread(pixelsFd, bits + done, size_t(length - done), off_t(done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        done += n;
    }
    [[maybe_unused]] const int released = ::ftruncate(pixelsFd, 0);
    if (done == length)
        return true;
    *image = QImage();
    *cause = QStringLiteral("the decoder handed over fewer pixels than announced");
    return false;
}

ImageDecoder::ImageDecoder()
    : ImageDecoder(Limits())
{ }

ImageDecoder::ImageDecoder(const Limits& limits)
    : d(std::make_unique<Private>())
{
    d->limits = limits;
}

ImageDecoder::~ImageDecoder() = default;

std::optional<PictureInfo> ImageDecoder::probe(const QString& path, QString* error)
{
    if (d->limits.inProcess) {
        PictureFile file;
        QString cause;
        bool helperFormat = false;
        const std::optional<PictureInfo> info = probeHere(path, &file, &cause, &helperFormat);
        if (!helperFormat) {
            if (!info && error)
                *error = path + QStringLiteral(": ") + cause;
            return info;
        }
    }
    DecoderProtocol::Request request;
    request.command = DecoderProtocol::Command::Probe;
    request.path = QFile::encodeName(path);
    QString cause;
    const std::optional<DecoderProtocol::Reply> reply = d->call(request, &cause);
    if (reply && reply->ok)
        return PictureInfo {reply->format, reply->pictureSize};
    if (error)
        *error = path + QStringLiteral(": ") + (reply ? reply->error : cause);
    return std::nullopt;
}

QImage ImageDecoder::decode(const QString& path, QSize targetSize, QColor background, QString* error, Details* details)
{
    if (d->limits.inProcess) {
        PictureFile file;
        QString cause;
        bool helperFormat = false;
        const std::optional<PictureInfo> info = probeHere(path, &file, &cause, &helperFormat);
        if (!helperFormat) {
            QImage image;
            QSize decodedSize;
            if (info)
                image = PictureDecoding::decode(file, *info, targetSize, background, &cause, &decodedSize);
            if (details && info)
                *details = Details {*info, decodedSize};
            if (image.isNull() && error)
                *error = path + QStringLiteral(": ") + cause;
            return image;
        }
    }
    DecoderProtocol::Request request;
    request.command = DecoderProtocol::Command::Decode;
    request.path = QFile::encodeName(path);
    request.target = targetSize;
    request.background = background.rgb();
    QString cause;
    QImage image;
    const std::optional<DecoderProtocol::Reply> reply = d->call(request, &cause);
    if (reply && !reply->ok)
        cause = reply->error;
    else if (reply && !targetSize.isEmpty() && reply->imageSize != targetSize)
        cause = QStringLiteral("the decoder handed over a picture of the wrong size");
    else if (reply)
        d->takePixels(reply->imageSize, &image, &cause);
    if (reply && details)
        *details = Details {PictureInfo {reply->format, reply->pictureSize}, reply->decodedSize};
    if (image.isNull() && error)
        *error = path + QStringLiteral(": ") + cause;
    return image;
}

QSize ImageDecoder::makeThumbnail(const QString& picture, QSize box, const QString& outputPath, int quality,
    QString* error, ThumbnailFailure* failure)
{
    DecoderProtocol::Request request;
    request.command = DecoderProtocol::Command::Thumbnail;
    request.path = QFile::encodeName(picture);
    request.target = box;
    request.background = QColor(Qt::white).rgb();
    request.output = QFile::encodeName(outputPath);
    request.quality = quality;
    QString cause;
    ThumbnailFailure why = ThumbnailFailure::Helper;
    QSize written;
    const std::optional<DecoderProtocol::Reply> reply = d->call(request, &cause);
    if (reply && reply->ok && !reply->imageSize.isEmpty()) {
        written = reply->imageSize;
        why = ThumbnailFailure::None;
    } else if (reply) {
        cause = reply->error;
        switch (reply->failure) {
        case DecoderProtocol::Failure::Open:
            why = ThumbnailFailure::Unreadable;
            break;
        case DecoderProtocol::Failure::Write:
            why = ThumbnailFailure::Unwritable;
            break;
        default:
            why = ThumbnailFailure::Undecodable;
            break;
        }
    }
    if (written.isEmpty() && error)
        *error = picture + QStringLiteral(": ") + cause;
    if (failure)
        *failure = why;
    return written;
}

QImage ImageDecoder::decodeTrusted(const QString& path, QSize targetSize, QColor background, QString* error)
{
    return PictureDecoding::decodePath(path, targetSize, background, error);
}

qint64 ImageDecoder::helperProcessId() const
{
    if (d->helper)
        d->helper->waitForFinished(0); // notices a helper that has left
    return d->helper && d->helper->state() == QProcess::Running ? d->helper->processId() : 0;
}

QString ImageDecoder::helperProgram()
{
    if (!helperOverride().isEmpty())
        return helperOverride();
    const QString fromEnvironment = qEnvironmentVariable("TAPISOL_DECODER");
    if (!fromEnvironment.isEmpty())
        return fromEnvironment;
    const QString folder = QCoreApplication::instance() ? QCoreApplication::applicationDirPath()
                                                        : QFileInfo(QStringLiteral("/proc/self/exe")).canonicalPath();
    const QString beside = folder + QStringLiteral("/tapisol-decoder");
    if (QFileInfo(beside).isExecutable())
        return beside;
    // Installed: bin/tapisol and libexec/tapisol/tapisol-decoder under the same prefix.
    return QDir::cleanPath(folder + QStringLiteral("/../libexec/tapisol/tapisol-decoder"));
}

void ImageDecoder::setHelperProgram(const QString& path)
{
    helperOverride() = path;
}
