// Scan of a picture folder: the time to build the source list of a generated tree of 100,000 files
// in 1,000 folders, beside `find` walking the same tree, with warm and (when the caches can be
// dropped) cold caches; and the memory the finished list holds.
//   tapisol-scan-bench [--tree DIR] [--runs N] [--no-cold]   (bench/scan_bench.sh builds and runs it)

#include "FolderScanner.h"
#include "PictureSource.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kTopFolders = 20;
constexpr int kFoldersEach = 50; // 20 × 50 = 1,000 folders holding files
constexpr int kFilesEach = 100;  // 95 pictures and 5 sidecar files per folder

// Camera-like names with numbers of varying width, so that the natural order has work to do.
void generate(const QString& root)
{
    const QByteArray base = QFile::encodeName(root);
    ::mkdir(base.constData(), 0755);
    for (int top = 0; top < kTopFolders; ++top) {
        const QByteArray topPath = base + "/Album " + QByteArray::number(top + 1);
        ::mkdir(topPath.constData(), 0755);
        for (int sub = 0; sub < kFoldersEach; ++sub) {
            const QByteArray folder = topPath + "/Day " + QByteArray::number(sub * 7 + 1);
            ::mkdir(folder.constData(), 0755);
            for (int i = 0; i < kFilesEach; ++i) {
                const QByteArray stem = folder + (i % 3 == 0 ? "/img_" : "/IMG_") + QByteArray::number(i * 37 % 1000);
                const QByteArray name = stem + (i < 95 ? (i % 10 == 0 ? ".PNG" : ".jpg") : ".xmp");
                ::close(::open(name.constData(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
            }
        }
    }
    QFile marker(root + QStringLiteral("/.complete"));
    (void)marker.open(QIODevice::WriteOnly);
}

bool dropCaches()
{
    ::sync();
    QFile control(QStringLiteral("/proc/sys/vm/drop_caches"));
    return control.open(QIODevice::WriteOnly) && control.write("3\n") == 2 && control.flush();
}

double findMs(const QString& root)
{
    QProcess find;
    find.setStandardOutputFile(QProcess::nullDevice());
    QElapsedTimer timer;
    timer.start();
    find.start(QStringLiteral("find"), {root});
    find.waitForFinished(-1);
    return timer.nsecsElapsed() / 1e6;
}

double scanMs(const QString& root, ScanResult* result = nullptr)
{
    QElapsedTimer timer;
    timer.start();
    ScanResult scanned = FolderScanner::scan({root, true, PictureSource::defaultExtensions()});
    const double ms = timer.nsecsElapsed() / 1e6;
    if (result != nullptr)
        *result = std::move(scanned);
    return ms;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

long residentKib()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toLong();
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const qsizetype treeArg = args.indexOf(QStringLiteral("--tree"));
    const qsizetype runsArg = args.indexOf(QStringLiteral("--runs"));
    const QString root
        = treeArg > 0 ? args.value(treeArg + 1) : QDir::tempPath() + QStringLiteral("/tapisol-scan-bench");
    const int runs = runsArg > 0 ? std::max(1, args.value(runsArg + 1).toInt()) : 7;

    if (!QFile::exists(root + QStringLiteral("/.complete"))) {
        std::printf("Generating %d files in %d folders under %s ...\n", kTopFolders * kFoldersEach * kFilesEach,
            kTopFolders * kFoldersEach, qPrintable(root));
        QDir(root).removeRecursively();
        generate(root);
    }

    std::printf("Scan of %s (%d files in %d folders)\n", qPrintable(root), kTopFolders * kFoldersEach * kFilesEach,
        kTopFolders * kFoldersEach);
    std::printf("%-34s %12s %12s\n", "", "find (ms)", "Tapisol (ms)");
    if (!args.contains(QStringLiteral("--no-cold"))) {
        if (dropCaches()) {
            const double find = findMs(root);
            dropCaches();
            const double scan = scanMs(root);
            std::printf("%-34s %12.1f %12.1f   ratio %.2f\n", "cold cache (caches dropped)", find, scan, scan / find);
        } else {
            std::printf("%-34s %12s %12s\n", "cold cache", "n/a", "n/a (cannot drop caches here)");
        }
    }
    findMs(root);
    scanMs(root); // warm both
    std::vector<double> finds;
    std::vector<double> scans;
    for (int run = 0; run < runs; ++run) {
        finds.push_back(findMs(root));
        scans.push_back(scanMs(root));
    }
    const double find = median(finds);
    const double scan = median(scans);
    char label[64];
    std::snprintf(label, sizeof label, "warm cache (median of %d)", runs);
    std::printf("%-34s %12.1f %12.1f   ratio %.2f (goal <= 1.50)\n", label, find, scan, scan / find);

    // Freed memory is handed back before each reading, so that the figures are what stays held.
    malloc_trim(0);
    const long before = residentKib();
    ScanResult result;
    scanMs(root, &result);
    malloc_trim(0);
    const long held = residentKib() - before;
    const QList<SourceEntry> asStrings = result.list.toList();
    const long asStringsKib = residentKib() - before - held;
    std::printf("\nList: %d entries (%d pictures, %d folders), %d skipped\n", result.list.count(),
        result.counts.pictures, result.counts.folders, result.counts.skipped());
    std::printf("%-34s %9.1f MiB (by count: %.1f MiB)\n", "memory of the list", held / 1024.0,
        result.list.memoryBytes() / 1048576.0);
    std::printf("%-34s %9.1f MiB\n", "same as QList<SourceEntry> strings", asStringsKib / 1024.0);
    return asStrings.size() == result.list.count() ? 0 : 1;
}
