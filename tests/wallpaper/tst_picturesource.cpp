#include "FolderScanner.h"
#include "NameOrder.h"
#include "PictureSource.h"

#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <fcntl.h>
#include <linux/capability.h>
#include <random>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

namespace {

// A folder tree made of real files, folders, links and FIFOs.
class Tree
{
public:
    Tree() = default;
    // Large trees go to memory when /dev/shm is there: creating tens of thousands of files on a
    // busy disk takes seconds.
    explicit Tree(bool large)
        : m_dir(large && QFileInfo(QStringLiteral("/dev/shm")).isWritable()
                ? QStringLiteral("/dev/shm/tst_picturesource-XXXXXX")
                : QDir::tempPath() + QStringLiteral("/tst_picturesource-XXXXXX"))
    { }
    QString path(const QString& relative = {}) const
    {
        return relative.isEmpty() ? m_dir.path() : m_dir.path() + QLatin1Char('/') + relative;
    }
    void file(const QString& relative) const
    {
        QDir().mkpath(QFileInfo(path(relative)).path());
        QFile f(path(relative));
        QVERIFY(f.open(QIODevice::WriteOnly));
    }
    void link(const QString& relative, const QString& target) const
    {
        QVERIFY(::symlink(QFile::encodeName(target).constData(), QFile::encodeName(path(relative)).constData()) == 0);
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
        QDirIterator it(path(), QDir::Dirs | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
        ::utimensat(AT_FDCWD, QFile::encodeName(path()).constData(), past, 0);
        while (it.hasNext())
            ::utimensat(AT_FDCWD, QFile::encodeName(it.next()).constData(), past, 0);
    }

private:
    QTemporaryDir m_dir;
};

// The list as "marker:path below the root", the root's own entry as "R:".
QStringList describe(const SourceList& list, const QString& root)
{
    QStringList lines;
    for (int position = 1; position <= list.count(); ++position) {
        const SourceEntry entry = list.entry(position);
        lines << entry.marker + QLatin1Char(':') + entry.key.mid(root.size() + 1);
    }
    return lines;
}

ScanResult scanTree(const Tree& tree, bool subfolders)
{
    return FolderScanner::scan({tree.path(), subfolders, PictureSource::defaultExtensions()});
}

// Takes the permission-bypassing capabilities out of this thread's effective set, so that a
// folder with mode 000 is refused to root as to anyone; the destructor puts them back.
class WithoutDacOverride
{
public:
    WithoutDacOverride()
    {
        if (::geteuid() != 0 || ::syscall(SYS_capget, &m_header, m_saved) != 0)
            return;
        __user_cap_data_struct reduced[2] = {m_saved[0], m_saved[1]};
        reduced[0].effective &= ~((1u << CAP_DAC_OVERRIDE) | (1u << CAP_DAC_READ_SEARCH));
        m_dropped = ::syscall(SYS_capset, &m_header, reduced) == 0;
    }
    ~WithoutDacOverride()
    {
        if (m_dropped)
            ::syscall(SYS_capset, &m_header, m_saved);
    }
    bool effective() const { return ::geteuid() != 0 || m_dropped; }

private:
    __user_cap_header_struct m_header {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct m_saved[2] {};
    bool m_dropped = false;
};

} // namespace

class TestPictureSource : public QObject
{
    Q_OBJECT

private slots:
    void order_data();
    void order();
    void asciiShortcutAgreesWithCollator();
    void lettersThatCombineKeepTheCollator();
    void linkLoopsListEachFileOnce();
    void specialFilesNeverBlock();
    void unreadableFoldersAreSkipped();
    void scanDoesNotBlockTheCaller();
    void newFolderSupersedesScanInProgress();
    void refreshPicksUpChanges();
};

void TestPictureSource::order_data()
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
        << QStringList {"R:", ":a.jpg", ":z.jpg", "D:sub", ":sub/a9.png", ":sub/A10.png", ":sub/b.jpg", "D:sub/deeper",
               ":sub/deeper/c.jpg", "D:Sub2", ":Sub2/d.jpg"};
    QTest::newRow("sub-folders off") << tree << false << QStringList {"R:", ":a.jpg", ":z.jpg"};
    QTest::newRow("only allowed extensions, no hidden names")
        << QStringList {"notes.txt", "pic.jpeg", ".hidden.jpg", "noext", "jpg", "x.JpE", ".cache/t.png", "w.AVIF"}
        << true << QStringList {"R:", ":pic.jpeg", ":w.AVIF", ":x.JpE"};
}

void TestPictureSource::order()
{
    QFETCH(QStringList, files);
    QFETCH(bool, subfolders);
    QFETCH(QStringList, expected);
    Tree tree;
    for (const QString& file : std::as_const(files))
        tree.file(file);

    const ScanResult result = scanTree(tree, subfolders);
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

void TestPictureSource::asciiShortcutAgreesWithCollator()
{
    const NameOrder order(QLocale(QLocale::French, QLocale::France));
    QVERIFY(order.hasAsciiShortcut());
    std::mt19937 random(7);
    const std::string alphabet = "aAbBzZ09_- .()#~+";
    std::vector<std::string> names;
    for (int i = 0; i < 4000; ++i) {
        std::string name = i % 2 ? "IMG_" : "";
        for (int length = 1 + int(random() % 12); length > 0; --length)
            name += random() % 3 ? alphabet[random() % alphabet.size()] : char(0x20 + random() % 95);
        names.push_back(name);
    }
    std::vector<NameOrder::Item> items;
    for (const std::string& name : names)
        items.push_back({QLatin1StringView(name.data(), qsizetype(name.size())), nullptr});
    QVERIFY(order.order(items, true) == order.order(items, false));
}

void TestPictureSource::lettersThatCombineKeepTheCollator()
{
    // In Czech "ch" is one letter, sorted after "h".
    const NameOrder czech(QLocale(QLocale::Czech, QLocale::CzechRepublic));
    QVERIFY(!czech.hasAsciiShortcut());
    const std::vector<NameOrder::Item> items = {{"i.jpg"_L1, nullptr}, {"ch.jpg"_L1, nullptr}, {"h.jpg"_L1, nullptr}};
    QCOMPARE(czech.order(items), (std::vector<qsizetype> {2, 1, 0}));
}

void TestPictureSource::linkLoopsListEachFileOnce()
{
    Tree tree;
    tree.file("a/x.jpg");
    tree.file("b/y.jpg");
    tree.link("a/link_b", "../b");
    tree.link("b/link_a", "../a");
    tree.link("a/self", ".");
    tree.link("a/dup.jpg", "x.jpg");

    const ScanResult result = scanTree(tree, true);
    // A file or folder reached twice is listed under its first path in list order.
    // b is first reached as a/link_b: its pictures are listed there, and b itself is not walked again.
    QCOMPARE(
        describe(result.list, tree.path()), (QStringList {"R:", "D:a", ":a/dup.jpg", "D:a/link_b", ":a/link_b/y.jpg"}));
    QCOMPARE(result.counts.seenBefore, 4); // a/x.jpg (after a/dup.jpg), a/self, a/link_b/link_a, b
}

void TestPictureSource::specialFilesNeverBlock()
{
    Tree tree;
    tree.file("ok.jpg");
    QVERIFY(::mkfifo(QFile::encodeName(tree.path("y.jpg")).constData(), 0644) == 0);
    tree.link("x.jpg", "/dev/zero");
    tree.link("gone.jpg", "missing.jpg");
    const QByteArray badName = QFile::encodeName(tree.path()) + "/bad\xff.jpg";
    ::close(::open(badName.constData(), O_CREAT | O_WRONLY, 0644));

    QElapsedTimer timer;
    timer.start();
    const ScanResult result = scanTree(tree, true);
    QVERIFY(timer.elapsed() < 5000);
    QCOMPARE(describe(result.list, tree.path()), (QStringList {"R:", ":ok.jpg"}));
    QCOMPARE(result.counts.special, 2);
    QCOMPARE(result.counts.brokenLinks, 1);
    ::unlink(badName.constData());         // QTemporaryDir cannot remove what QString cannot name
    QCOMPARE(result.counts.unreadable, 1); // the name that is not valid UTF-8
    QVERIFY(FolderScanner::traceLine(result).contains(QStringLiteral(
        ": 1 images, 1 dossiers, 4 ignorés (0 autres fichiers, 0 cachés, 2 spéciaux, 1 liens brisés, 1 illisibles")));
}

void TestPictureSource::unreadableFoldersAreSkipped()
{
    Tree tree;
    tree.file("open.jpg");
    tree.file("locked/inside.jpg");
    QVERIFY(::chmod(QFile::encodeName(tree.path("locked")).constData(), 0) == 0);
    ScanResult result;
    {
        WithoutDacOverride restricted;
        if (!restricted.effective())
            QSKIP("cannot drop CAP_DAC_OVERRIDE here: root reads a mode 000 folder");
        result = scanTree(tree, true);
    }
    ::chmod(QFile::encodeName(tree.path("locked")).constData(), 0755);
    QCOMPARE(describe(result.list, tree.path()), (QStringList {"R:", ":open.jpg"}));
    QCOMPARE(result.counts.unreadable, 1);

    const ScanResult missing = FolderScanner::scan({tree.path("nowhere"), true, {"jpg"}});
    QCOMPARE(missing.list.count(), 0);
    QVERIFY(FolderScanner::traceLine(missing).contains(QStringLiteral("dossier illisible")));
}

void TestPictureSource::scanDoesNotBlockTheCaller()
{
    Tree tree(true);
    tree.bulk(200, 300);
    PictureSource source;
    QSignalSpy ready(&source, &PictureSource::listReady);
    int ticks = 0;
    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    connect(&timer, &QTimer::timeout, this, [&] { ticks += source.isScanning() ? 1 : 0; });
    timer.start(1);

    QElapsedTimer call;
    call.start();
    QVERIFY(source.setFolder(tree.path(), true));
    QVERIFY(call.elapsed() < 100);
    QVERIFY(source.isScanning());
    QCOMPARE(source.count(), 0);
    // A plain event loop, as the tray's: QTest's waits sleep between their rounds of events.
    QEventLoop loop;
    connect(&source, &PictureSource::listReady, &loop, &QEventLoop::quit);
    QTimer::singleShot(30000, &loop, &QEventLoop::quit);
    loop.exec();
    QCOMPARE(ready.count(), 1);
    QVERIFY2(ticks >= 3, qPrintable(QStringLiteral("timer ticked %1 times during the scan").arg(ticks)));
    QCOMPARE(source.count(), 1 + 200 + 200 * 300);
}

void TestPictureSource::newFolderSupersedesScanInProgress()
{
    Tree big(true);
    big.bulk(100, 200);
    Tree small;
    small.file("one.jpg");
    small.file("two.jpg");
    PictureSource source;
    QSignalSpy ready(&source, &PictureSource::listReady);
    source.setFolder(small.path(), false);
    QTRY_COMPARE(ready.count(), 1);

    source.setFolder(big.path(), true);
    QCOMPARE(source.count(), 3); // the last good list stays in use meanwhile
    source.setFolder(small.path(), true);
    QTRY_COMPARE(ready.count(), 2);
    QTest::qWait(300);
    QCOMPARE(ready.count(), 2); // the superseded scan never delivers
    QCOMPARE(source.folder(), QDir::cleanPath(small.path()));
    QCOMPARE(source.count(), 3);
    QVERIFY(!source.setFolder(small.path(), true)); // unchanged: no new scan
}

void TestPictureSource::refreshPicksUpChanges()
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

    // Once the folders' times are old again (which itself is a change), nothing more is seen.
    auto settle = [&] {
        tree.ageFolders();
        if (source.refreshIfChanged())
            QTRY_VERIFY(!source.isScanning());
        QVERIFY(!source.refreshIfChanged());
    };
    tree.file("sub/c.jpg");
    QVERIFY(source.refreshIfChanged());
    QTRY_VERIFY(!source.isScanning());
    QVERIFY(source.indexOf(tree.path("sub/c.jpg")) > 0);

    settle();
    QVERIFY(QFile::remove(tree.path("a.jpg")));
    QVERIFY(source.refreshIfChanged());
    QTRY_VERIFY(!source.isScanning());
    QCOMPARE(source.indexOf(tree.path("a.jpg")), 0);
    QCOMPARE(source.count(), 4);

    // The folder vanishes: an empty list, nothing left to offer.
    QVERIFY(QDir(tree.path()).removeRecursively());
    QVERIFY(source.refreshIfChanged());
    QTRY_VERIFY(!source.isScanning());
    QCOMPARE(source.count(), 0);
}

QTEST_GUILESS_MAIN(TestPictureSource)
#include "tst_picturesource.moc"
