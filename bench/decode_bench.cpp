// Decodes one picture the way the wallpaper renderer does (helper process, reduced-size decode,
// exact smooth scaling, then the 24-bit bitmap written through QSaveFile) and prints what it cost:
//   tapisol-decode-bench FILE WIDTH HEIGHT [OUTPUT.bmp]
// Output, one line: wall milliseconds, the helper's peak resident KiB, this process's peak KiB.
// Run by decode_bench.sh, which sets the figures beside djpeg's and vipsthumbnail's.

#include "ImageDecoder.h"
#include "ImageSaving.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>

#include <cstdio>
#include <sys/resource.h>

namespace {

qint64 peakKiB(qint64 pid)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').value(0).toLongLong();
    }
    return -1;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 4) {
        std::fputs("usage: tapisol-decode-bench FILE WIDTH HEIGHT [OUTPUT.bmp]\n", stderr);
        return 2;
    }
    QElapsedTimer clock;
    clock.start();
    ImageDecoder decoder;
    QString error;
    const QImage image = decoder.decode(args[1], QSize(args[2].toInt(), args[3].toInt()), Qt::black, &error);
    if (image.isNull() || (args.size() > 4 && !ImageSaving::saveBitmap(image, args[4], &error))) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 1;
    }
    const qint64 elapsed = clock.elapsed();
    rusage self {};
    getrusage(RUSAGE_SELF, &self);
    std::printf("%lld %lld %ld\n", elapsed, peakKiB(decoder.helperProcessId()), self.ru_maxrss);
    return 0;
}
