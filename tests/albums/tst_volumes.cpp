// Volume serials read from real file systems: images formatted with chosen volume IDs and UUIDs,
// loop-mounted, unmounted and mounted again elsewhere. Mounting needs root and loop devices; a
// case whose mount is refused here is skipped with the reason.
#include "InterfaceTexts.h"
#include "Volumes.h"

#include <QDir>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QString UuidA = QStringLiteral("3e9b6a52-1c3f-4c1d-9a66-0123456789ab");
const QString UuidB = QStringLiteral("0d1f2e3c-4b5a-6978-8796-a5b4c3d2e1f0");
// zlib.crc32 of the texts above, worked out apart from the program.
constexpr quint32 CrcA = 0x01ddfb06;
constexpr quint32 CrcB = 0xcca2656e;

bool run(const QString& program, const QStringList& arguments, QString* output = nullptr)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    const bool ok
        = process.waitForFinished(30000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    if (output)
        *output = QString::fromLocal8Bit(process.readAll()).trimmed();
    return ok;
}

} // namespace

class TestVolumes : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QStringList m_mounts;

    // A file system image of 40 MiB made by `mkfs` (then `tune`, when given); "" when a tool is
    // missing or refuses.
    QString image(const QString& name, const QStringList& mkfs, const QStringList& tune = {})
    {
        const QString path = m_dir.filePath(name);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || !file.resize(40 << 20))
            return {};
        file.close();
        if (QStandardPaths::findExecutable(mkfs.first()).isEmpty() && !QFileInfo::exists(mkfs.first()))
            return {};
        if (!run(mkfs.first(), mkfs.mid(1) << path) || (!tune.isEmpty() && !run(tune.first(), tune.mid(1) << path)))
            return {};
        return path;
    }

    // Loop-mounts `image` on a new folder `name`; the mount's error when refused.
    QString mount(const QString& image, const QString& name, const QString& type = {})
    {
        const QString folder = m_dir.filePath(name);
        QDir().mkpath(folder);
        QStringList arguments {QStringLiteral("-o"), QStringLiteral("loop")};
        if (!type.isEmpty())
            arguments << QStringLiteral("-t") << type;
        QString output;
        if (!run(QStringLiteral("mount"), arguments << image << folder, &output))
            return output.isEmpty() ? QStringLiteral("mount refused") : output;
        m_mounts.prepend(folder);
        return {};
    }

    bool unmount(const QString& name)
    {
        const QString folder = m_dir.filePath(name);
        m_mounts.removeAll(folder);
        return run(QStringLiteral("umount"), {folder});
    }

private slots:
    void initTestCase() { QVERIFY(interfaceTexts().load(QStringLiteral("ENG"))); }

    void cleanup()
    {
        for (const QString& folder : std::as_const(m_mounts))
            run(QStringLiteral("umount"), {QStringLiteral("-l"), folder});
        m_mounts.clear();
    }

    // FAT and exFAT: the 32-bit volume ID is the serial, and the label names the volume.
    void fatVolumeId_data()
    {
        QTest::addColumn<QStringList>("mkfs");
        QTest::addColumn<QStringList>("tune");
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("fsType");
        QTest::newRow("FAT (kernel)") << QStringList {"mkfs.vfat", "-i", "1234ABCD", "-n", "PHOTOS2019"}
                                      << QStringList() << "vfat"
                                      << "vfat";
        QTest::newRow("exFAT (FUSE)") << QStringList {"mkfs.exfat", "-L", "PHOTOS2019"}
                                      << QStringList {"tune.exfat", "-I", "0x1234ABCD"} << "exfat-fuse"
                                      << "exfat";
    }

    void fatVolumeId()
    {
        QFETCH(QStringList, mkfs);
        QFETCH(QStringList, tune);
        QFETCH(QString, type);
        QFETCH(QString, fsType);
        const QString fat = image(QStringLiteral("fat.img"), mkfs, tune);
        if (fat.isEmpty())
            QSKIP(qPrintable(mkfs.first() + QStringLiteral(" is missing or failed")));
        const QString refused = mount(fat, QStringLiteral("fat"), type);
        if (!refused.isEmpty())
            QSKIP(qPrintable(refused));
        QString error;
        const auto volume = Volumes::volumeOf(m_dir.filePath(QStringLiteral("fat/DCIM/not-yet.jpg")), &error);
        QVERIFY2(volume, qPrintable(error));
        QCOMPARE(volume->serial, 0x1234ABCDu);
        QCOMPARE(volume->label, QStringLiteral("PHOTOS2019"));
        QCOMPARE(volume->fsType, fsType);
        QCOMPARE(volume->mountPoint, m_dir.filePath(QStringLiteral("fat")));
        QCOMPARE(volume->kind, VolumeKind::Internal); // a loop device over a file of the system disk
        QVERIFY(Volumes::isMounted(0x1234ABCD));
        QCOMPARE(Volumes::describe({volume->serial, VolumeKind::Removable, volume->displayName()}),
            QStringLiteral("PHOTOS2019 (USB disk)"));
        QCOMPARE(Volumes::describe({volume->serial, VolumeKind::Optical, QString()}),
            QStringLiteral("volume 1234-ABCD (CD or DVD)"));
    }

    // Other file systems: a CRC-32 of the UUID, or of the type and mount point when there is none.
    // The same path on two disks is on two volumes; a disk unmounted is missing, and mounted again
    // elsewhere it is the same volume.
    void uuidAndRemount()
    {
        const QString a = image(QStringLiteral("a.img"), {"mkfs.ext4", "-q", "-U", UuidA});
        const QString b = image(QStringLiteral("b.img"), {"mkfs.ext4", "-q", "-U", UuidB});
        if (a.isEmpty() || b.isEmpty())
            QSKIP("mkfs.ext4 is missing or failed");
        const QString refused = mount(a, QStringLiteral("a"));
        if (!refused.isEmpty())
            QSKIP(qPrintable(refused));
        QVERIFY(mount(b, QStringLiteral("b")).isEmpty());
        const QString relative = QStringLiteral("/Photos 2019/plage.jpg");
        const auto onA = Volumes::volumeOf(m_dir.filePath(QStringLiteral("a")) + relative);
        const auto onB = Volumes::volumeOf(m_dir.filePath(QStringLiteral("b")) + relative);
        QVERIFY(onA && onB);
        QCOMPARE(onA->serial, CrcA);
        QCOMPARE(onB->serial, CrcB);
        QCOMPARE(onA->identity, UuidA);
        QCOMPARE(onA->label, QString());
        QCOMPARE(onA->displayName(), m_dir.filePath(QStringLiteral("a")));

        QVERIFY(unmount(QStringLiteral("a")));
        QVERIFY(!Volumes::isMounted(CrcA));
        QVERIFY(!Volumes::mounted().contains(CrcA));
        QVERIFY(Volumes::isMounted(CrcB));
        QVERIFY(mount(a, QStringLiteral("elsewhere")).isEmpty());
        QVERIFY(Volumes::isMounted(CrcA));
        const auto again = Volumes::volumeOf(m_dir.filePath(QStringLiteral("elsewhere")) + relative);
        QVERIFY(again && again->serial == CrcA);
        QCOMPARE(again->mountPoint, m_dir.filePath(QStringLiteral("elsewhere")));

        // No UUID at all: the type and the mount point (a mount point with a space, as mountinfo
        // escapes it).
        const QString tmp = m_dir.filePath(QStringLiteral("in memory"));
        QDir().mkpath(tmp);
        QVERIFY(run(QStringLiteral("mount"), {"-t", "tmpfs", "tmpfs", tmp}));
        m_mounts.prepend(tmp);
        const auto memory = Volumes::volumeOf(tmp + QStringLiteral("/x.jpg"));
        QVERIFY(memory);
        QCOMPARE(memory->serial, Volumes::crc32(("tmpfs:" + tmp).toUtf8()));
        QCOMPARE(memory->mountPoint, tmp);
    }

    // Two disks with one serial (a stick copied sector by sector) cannot be told apart: refused.
    void sameSerialRefused()
    {
        const QString original = image(QStringLiteral("original.img"), {"mkfs.ext4", "-q", "-U", UuidA});
        const QString copy = m_dir.filePath(QStringLiteral("copy.img"));
        if (original.isEmpty() || !QFile::copy(original, copy))
            QSKIP("mkfs.ext4 is missing or failed");
        const QString refused = mount(original, QStringLiteral("original"));
        if (!refused.isEmpty())
            QSKIP(qPrintable(refused));
        // The kernel refuses a second ext4 with the same UUID only for some options; it mounts here.
        const QString second = mount(copy, QStringLiteral("copy"));
        if (!second.isEmpty())
            QSKIP(qPrintable(second));
        QString error;
        QVERIFY(!Volumes::volumeOf(m_dir.filePath(QStringLiteral("copy/x.jpg")), &error));
        QVERIFY2(error.contains(QStringLiteral("01DDFB06")), qPrintable(error));
        QVERIFY2(error.contains(m_dir.filePath(QStringLiteral("original"))), qPrintable(error));
        QVERIFY(unmount(QStringLiteral("copy")));
        QVERIFY(Volumes::volumeOf(m_dir.filePath(QStringLiteral("original/x.jpg")), &error));
    }
};

QTEST_GUILESS_MAIN(TestVolumes)
#include "tst_volumes.moc"
