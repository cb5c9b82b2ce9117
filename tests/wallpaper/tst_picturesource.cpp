#include "FolderScanner.h"
#include "NameOrder.h"
#include "PictureSource.h"

#include <QtTest>

#include <fcntl.h>
#include <linux/capability.h>
#include <random>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

namespace {

// A folder tree of real files, folders, links and FIFOs; in memory when /dev/shm is there, as
// tens of thousands of files on a busy disk take seconds.
struct Tree
{
    QTemporaryDir dir {
        (QFileInfo(u"/dev/shm"_s).isWritable() ? u"/dev/shm"_s : QDir::tempPath()) + u"/tst_picturesource-XXXXXX"_s};

    QString path(const QString& relative = {}) const
    {
        return relative.isEmpty() ? dir.path() : dir.filePath(relative);
    }
    void file(const QString& relative) const
    {
        QDir().mkpath(QFileInfo(path(relative)).path());
        QVERIFY(QFile(path(relative)).open(QIODevice::WriteOnly));
    }
    // Many empty files, quickly: raw system calls rather than QFile.
    void bulk(int folders, int filesPerFolder) const
    {
        for (int f = 0; f < folders; ++f) {
            const QByteArray folder = QFile::encodeName(path(QStringLiteral("f%1").arg(f)));
            ::mkdir(folder.constData(), 0755);
            for (int i = 0; i < filesPerFolder; ++i)
                ::close(::open((folder + "/p" + QByteArray::number(i) + ".jpg").constData(), O_CREAT | O_WRONLY, 0644));
        }
    }
    // Sets every folder's modification time an hour back, so that none looks freshly changed.
    void ageFolders() const
    {
        const timespec past[2] = {{::time(nullptr) - 3600, 0}, {::time(nullptr) - 3600, 0}};
        ::utimensat(AT_FDCWD, QFile::encodeName(path()).constData(), past, 0);
        for (QDirIterator it(path(), QDir::Dirs | QDir::NoDotAndDotDot, QDirIterator::Subdirectories); it.hasNext();)
            ::utimensat(AT_FDCWD, QFile::encodeName(it.next()).constData(), past, 0);
    }
};

// The list as "marker:path below the root", the root's own entry as "R:".
QStringList describe(const SourceList& list, const QString& root)
{
    QStringList lines;
    for (int position = 1; position <= list.count(); ++position)
        lines << list.entry(position).marker + QLatin1Char(':') + list.entry(position).key.mid(root.size() + 1);
    return lines;
}

} // namespace

class TestPictureSource : public QObject
{
    Q_OBJECT

private slots:
    void order_data()
    {
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<bool>("subfolders");
        QTest::addColumn<QStringList>("expected");
        const QStringList tree
            = {"z.jpg", "a.jpg", "sub/b.jpg", "sub/deeper/c.jpg", "Sub2/d.jpg", "sub/A10.png", "sub/a9.png"};
        QTest::newRow("natural, case-insensitive") << QStringList {"img10.jpg", "img2.jpg", "IMG1.JPG", "b.png",
            "img02.jpg"} << false << QStringList {"R:", ":b.png", ":IMG1.JPG", ":img02.jpg", ":img2.jpg", ":img10.jpg"};
        QTest::newRow("accented names") << QStringList {"f.jpg", "Eté10.jpg", "ete2.jpg", "été.jpg"} << false
                                        << QStringList {"R:", ":été.jpg", ":ete2.jpg", ":Eté10.jpg", ":f.jpg"};
        QTest::newRow("names equal but for case") << QStringList {"a.jpg", "B.jpg", "A.jpg", "b.jpg"} << false
                                                  << QStringList {"R:", ":A.jpg", ":a.jpg", ":B.jpg", ":b.jpg"};
        QTest::newRow("pictures first, then sub-folders depth first")
            << tree << true
            << QStringList {"R:", ":a.jpg", ":z.jpg", "D:sub", ":sub/a9.png", ":sub/A10.png", ":sub/b.jpg",
                   "D:sub/deeper", ":sub/deeper/c.jpg", "D:Sub2", ":Sub2/d.jpg"};
        QTest::newRow("sub-folders off") << tree << false << QStringList {"R:", ":a.jpg", ":z.jpg"};
        QTest::newRow("only allowed extensions, no hidden names")
            << QStringList {"notes.txt", "pic.jpeg", ".hidden.jpg", "noext", "jpg", "x.JpE", ".cache/t.png", "w.AVIF"}
            << true << QStringList {"R:", ":pic.jpeg", ":w.AVIF", ":x.JpE"};
    }

    void order()
    {
        QFETCH(QStringList, files);
        QFETCH(bool, subfolders);
        QFETCH(QStringList, expected);
        Tree tree;
        for (const QString& file : std::as_const(files))
            tree.file(file);

        const ScanResult result = FolderScanner::scan({tree.path(), subfolders, PictureSource::defaultExtensions()});
        QCOMPARE(describe(result.list, tree.path()), expected);
        QVERIFY(result.rootError.isEmpty());
        QCOMPARE(result.counts.pictures + result.counts.folders, expected.size());
        for (int position = 1; position <= result.list.count(); ++position) {
            QCOMPARE(result.list.indexOf(result.list.entry(position).key), position);
            QCOMPARE(result.list.isPicture(position), result.list.entry(position).marker.isEmpty());
        }
        // Keys are exact: "IMG1.JPG" is no answer to "img1.jpg".
        QCOMPARE(result.list.indexOf(tree.path("img1.jpg")) > 0, files.contains("img1.jpg"));
    }

    // The ASCII fast path must sort as the collator would; letters that combine (Czech "ch",
    // sorted after "h") keep the collator.
    void nameOrderShortcut()
    {
        const NameOrder order(QLocale(QLocale::French, QLocale::France));
        QVERIFY(order.hasAsciiShortcut());
        std::mt19937 random(7);
        const std::string alphabet = "aAbBzZ09_- .()#~+";
        std::vector<std::string> names(4000); // never reallocated: the items point into it
        std::vector<NameOrder::Item> items;
        for (std::string& name : names) {
            name = items.size() % 2 ? "IMG_" : "";
            for (int length = 1 + int(random() % 12); length > 0; --length)
                name += random() % 3 ? alphabet[random() % alphabet.size()] : char(0x20 + random() % 95);
            items.push_back({QLatin1StringView(name.data(), qsizetype(name.size())), nullptr});
        }
        QVERIFY(order.order(items, true) == order.order(items, false));

        const NameOrder czech(QLocale(QLocale::Czech, QLocale::CzechRepublic));
        QVERIFY(!czech.hasAsciiShortcut());
        items = {{"i.jpg"_L1, nullptr}, {"ch.jpg"_L1, nullptr}, {"h.jpg"_L1, nullptr}};
        QCOMPARE(czech.order(items), (std::vector<qsizetype> {2, 1, 0}));
    }

    // Link loops, a FIFO, a link to /dev/zero, a broken link, a name that is not UTF-8 and a folder
    // that cannot be read: the scan opens none of them, never blocks and lists each file once.
    void hostileTreeNeverBlocks()
    {
        // Root reads a mode 000 folder: take the capabilities that let it out of this thread's
        // effective set until the scan is over.
        __user_cap_header_struct header {_LINUX_CAPABILITY_VERSION_3, 0};
        __user_cap_data_struct saved[2] {}, reduced[2] {};
        const bool root = ::geteuid() == 0 && ::syscall(SYS_capget, &header, saved) == 0;
        std::copy(saved, saved + 2, reduced);
        reduced[0].effective &= ~((1u << CAP_DAC_OVERRIDE) | (1u << CAP_DAC_READ_SEARCH));
        if (root && ::syscall(SYS_capset, &header, reduced) != 0)
            QSKIP("cannot drop CAP_DAC_OVERRIDE here");
        Tree tree;
        for (const char* file : {"ok.jpg", "a/x.jpg", "b/y.jpg", "locked/inside.jpg"})
            tree.file(file);
        for (const auto& [name, target] : {std::pair {"a/link_b", "../b"}, {"b/link_a", "../a"}, {"a/self", "."},
                 {"a/dup.jpg", "x.jpg"}, {"x.jpg", "/dev/zero"}, {"gone.jpg", "missing.jpg"}})
            QVERIFY(::symlink(target, QFile::encodeName(tree.path(name)).constData()) == 0);
        QVERIFY(::mkfifo(QFile::encodeName(tree.path("y.jpg")).constData(), 0644) == 0);
        const QByteArray badName = QFile::encodeName(tree.path()) + "/bad\xff.jpg";
        ::close(::open(badName.constData(), O_CREAT | O_WRONLY, 0644));
        const QByteArray locked = QFile::encodeName(tree.path("locked"));
        QVERIFY(::chmod(locked.constData(), 0) == 0);

        QElapsedTimer timer;
        timer.start();
        const ScanResult result = FolderScanner::scan({tree.path(), true, PictureSource::defaultExtensions()});
        QVERIFY(timer.elapsed() < 5000);
        ::chmod(locked.constData(), 0755);
        ::unlink(badName.constData()); // QTemporaryDir cannot remove what QString cannot name
        if (root)
            ::syscall(SYS_capset, &header, saved);
        // A file or folder reached twice is listed under its first path in list order: b is first
        // reached as a/link_b, and is not walked again.
        QCOMPARE(describe(result.list, tree.path()),
            (QStringList {"R:", ":ok.jpg", "D:a", ":a/dup.jpg", "D:a/link_b", ":a/link_b/y.jpg"}));
        // Seen before: a/x.jpg (after a/dup.jpg), a/self, a/link_b/link_a, b.
        QVERIFY(FolderScanner::traceLine(result).contains(
            u": 3 images, 3 dossiers, 9 ignorés (0 autres fichiers, 0 cachés, 2 spéciaux, 1 liens brisés, "
            "2 illisibles, 4 déjà vus)"_s));

        const ScanResult missing = FolderScanner::scan({tree.path("nowhere"), true, {"jpg"}});
        QCOMPARE(missing.list.count(), 0);
        QVERIFY(FolderScanner::traceLine(missing).contains(u"dossier illisible"_s));
    }

    // Scans run on a worker: the caller goes on at once with the last good list, a newer folder
    // supersedes a scan in progress, and the tray's timers keep ticking during a long scan.
    void scanDoesNotBlockTheCaller()
    {
        Tree big;
        big.bulk(200, 300);
        Tree small;
        small.file("one.jpg");
        small.file("two.jpg");
        PictureSource source;
        QSignalSpy ready(&source, &PictureSource::listReady);
        source.setFolder(small.path(), false);
        QTRY_COMPARE(ready.count(), 1);

        QElapsedTimer call;
        call.start();
        QVERIFY(source.setFolder(big.path(), true));
        QVERIFY(call.elapsed() < 100);
        QVERIFY(source.isScanning());
        QCOMPARE(source.count(), 3);
        source.setFolder(small.path(), true);
        QTRY_COMPARE(ready.count(), 2);
        QTest::qWait(300);
        QCOMPARE(ready.count(), 2); // the superseded scan never delivers
        QCOMPARE(source.folder(), QDir::cleanPath(small.path()));
        QCOMPARE(source.count(), 3);
        QVERIFY(!source.setFolder(small.path(), true)); // unchanged: no new scan

        int ticks = 0;
        QTimer timer;
        timer.setTimerType(Qt::PreciseTimer);
        connect(&timer, &QTimer::timeout, this, [&] { ticks += source.isScanning() ? 1 : 0; });
        timer.start(1);
        QVERIFY(source.setFolder(big.path(), true));
        // A plain event loop, as the tray's: QTest's waits sleep between their rounds of events.
        QEventLoop loop;
        connect(&source, &PictureSource::listReady, &loop, &QEventLoop::quit);
        QTimer::singleShot(30000, &loop, &QEventLoop::quit);
        loop.exec();
        QCOMPARE(ready.count(), 3);
        QVERIFY2(ticks >= 3, qPrintable(QStringLiteral("timer ticked %1 times during the scan").arg(ticks)));
        QCOMPARE(source.count(), 1 + 200 + 200 * 300);
    }

    void refreshPicksUpChanges()
    {
        Tree tree;
        tree.file("a.jpg");
        tree.file("sub/b.jpg");
        tree.ageFolders();
        PictureSource source;
        QSignalSpy ready(&source, &PictureSource::listReady);
        source.setFolder(tree.path(), true);
        QTRY_COMPARE(ready.count(), 1);
        QVERIFY(!source.refreshIfChanged());
        // Each change is seen once, then scanned; the folder vanishing leaves an empty list.
        const auto refreshed = [&] {
            const bool changed = source.refreshIfChanged();
            return QTest::qWaitFor([&] { return !source.isScanning(); }) && changed;
        };
        tree.file("sub/c.jpg");
        QVERIFY(refreshed());
        QVERIFY(source.indexOf(tree.path("sub/c.jpg")) > 0);

        // Once the folders' times are old again (which itself is a change), nothing more is seen.
        tree.ageFolders();
        refreshed();
        QVERIFY(!source.refreshIfChanged());
        QVERIFY(QDir(tree.path()).removeRecursively());
        QVERIFY(refreshed());
        QCOMPARE(source.count(), 0);
    }
};

QTEST_GUILESS_MAIN(TestPictureSource)
#include "tst_picturesource.moc"
