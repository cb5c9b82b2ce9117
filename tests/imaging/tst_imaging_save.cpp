#include "ImageDecoder.h"
#include "ImageSaving.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <sys/resource.h>
#include <unistd.h>

namespace {

bool run(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    return process.waitForFinished(10000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QImage testPicture(QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(QColor(30, 60, 90));
    image.setPixel(1, 1, qRgb(250, 10, 20));
    return image;
}

} // namespace

// Saving goes through QSaveFile: a failure, whatever its cause, leaves the previous file whole and
// names the file. A full disk is a real one (a 64 KiB tmpfs) when this process may mount, and a
// file-size limit otherwise; a read-only folder is a read-only mount, or a folder without write
// permission for a user other than root.
class TestImagingSave : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QStringList m_mounts;

    // A folder holding `previous` as "Tapisol.bmp", made full or read-only as `kind` says.
    // Returns the folder, or an empty string with `skip` set when this machine cannot do it.
    QString prepare(const QString& kind, const QByteArray& previous, QString* skip)
    {
        const QString folder = m_dir.filePath(kind);
        QDir().mkpath(folder);
        const bool mounted = ::geteuid() == 0
            && run(QStringLiteral("mount"),
                {QStringLiteral("-t"), QStringLiteral("tmpfs"), QStringLiteral("-o"), QStringLiteral("size=64k"),
                    QStringLiteral("tmpfs"), folder});
        if (mounted)
            m_mounts.prepend(folder);
        QFile old(folder + QStringLiteral("/Tapisol.bmp"));
        if (!old.open(QIODevice::WriteOnly) || old.write(previous) != previous.size())
            return *skip = QStringLiteral("cannot write the previous file"), QString();
        old.close();
        if (kind == QLatin1String("read-only")) {
            if (mounted)
                run(QStringLiteral("mount"), {QStringLiteral("-o"), QStringLiteral("remount,ro"), folder});
            else if (::geteuid() != 0)
                QFile::setPermissions(folder, QFile::ReadOwner | QFile::ExeOwner);
            else
                return *skip = QStringLiteral("root without mount: no folder is read-only"), QString();
        }
        return folder;
    }

private slots:
    void initTestCase() { QVERIFY(m_dir.isValid()); }

    void cleanupTestCase()
    {
        for (const QString& folder : std::as_const(m_mounts))
            run(QStringLiteral("umount"), {folder});
    }

    void bitmapIs24BitAndReadsBack()
    {
        const QString path = m_dir.filePath(QStringLiteral("Tapisol.bmp"));
        QImage translucent = testPicture(QSize(33, 7)).convertToFormat(QImage::Format_ARGB32);
        QString error;
        QVERIFY2(ImageSaving::saveBitmap(translucent, path, &error), qPrintable(error));
        const QByteArray bytes = contents(path);
        QVERIFY(bytes.startsWith("BM"));
        QCOMPARE(int(quint8(bytes[28])), 24); // bits per pixel
        const QImage back = ImageDecoder::decodeTrusted(path, {}, Qt::black, &error);
        QVERIFY2(!back.isNull(), qPrintable(error));
        QCOMPARE(back.size(), QSize(33, 7));
        QCOMPARE(back.pixel(1, 1), qRgb(250, 10, 20));
        QCOMPARE(back.pixel(20, 5), qRgb(30, 60, 90));
        // Another reader agrees on every pixel (the rows are padded: 33 × 3 bytes is not a multiple of 4).
        const QString png = m_dir.filePath(QStringLiteral("Tapisol-by-convert.png"));
        QVERIFY(run(QStringLiteral("convert"), {path, QStringLiteral("PNG24:") + png}));
        const QImage other(png);
        QCOMPARE(other.size(), translucent.size());
        for (int y = 0; y < other.height(); ++y) {
            for (int x = 0; x < other.width(); ++x)
                QCOMPARE(other.pixel(x, y) | 0xFF000000, translucent.pixel(x, y));
        }
    }

    void jpegAtQuality()
    {
        const QString small = m_dir.filePath(QStringLiteral("q10.jpg"));
        const QString large = m_dir.filePath(QStringLiteral("q95.jpg"));
        QImage picture = testPicture(QSize(200, 100));
        for (int x = 0; x < 200; ++x)
            picture.setPixel(x, x / 2, qRgb(x, 255 - x, 128)); // detail for the quality to act on
        QVERIFY(ImageSaving::saveImage(picture, small, "JPEG", 10));
        QVERIFY(ImageSaving::saveImage(picture, large, "JPEG", 95));
        QVERIFY(contents(small).startsWith("\xFF\xD8\xFF"));
        QVERIFY(contents(small).size() < contents(large).size());
    }

    void failureKeepsThePreviousFile_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::newRow("full disk") << QStringLiteral("full");
        QTest::newRow("read-only folder") << QStringLiteral("read-only");
    }

    void failureKeepsThePreviousFile()
    {
        QFETCH(QString, kind);
        const QByteArray previous = QByteArray("BM previous wallpaper ").repeated(100);
        QString skip;
        const QString folder = prepare(kind, previous, &skip);
        if (folder.isEmpty())
            QSKIP(qPrintable(skip));
        const QString path = folder + QStringLiteral("/Tapisol.bmp");
        // Without a tmpfs, a file-size limit makes the write fail part-way as a full disk would.
        const bool limitSize = kind == QLatin1String("full") && !m_mounts.contains(folder);
        rlimit saved {};
        if (limitSize) {
            std::signal(SIGXFSZ, SIG_IGN);
            ::getrlimit(RLIMIT_FSIZE, &saved);
            const rlimit tiny {64 * 1024, saved.rlim_max};
            ::setrlimit(RLIMIT_FSIZE, &tiny);
        }
        QString error;
        const bool saved1920 = ImageSaving::saveBitmap(testPicture(QSize(1920, 1080)), path, &error);
        QString copyError;
        const bool copied = ImageSaving::copyFile(QStringLiteral(TAPISOL_DECODER_PROGRAM), path, &copyError);
        if (limitSize)
            ::setrlimit(RLIMIT_FSIZE, &saved);

        QVERIFY(!saved1920);
        QVERIFY(!copied);
        QVERIFY2(error.startsWith(path + QStringLiteral(": ")), qPrintable(error));
        QVERIFY2(copyError.startsWith(path + QStringLiteral(": ")), qPrintable(copyError));
        QCOMPARE(contents(path), previous);
        QCOMPARE(QDir(folder).entryList(QDir::Files | QDir::Hidden), QStringList {QStringLiteral("Tapisol.bmp")});
    }

    void missingFolderAndNullImage()
    {
        const QString path = m_dir.filePath(QStringLiteral("no/such/folder/Tapisol.bmp"));
        QString error;
        QVERIFY(!ImageSaving::saveBitmap(testPicture(QSize(4, 4)), path, &error));
        QVERIFY2(error.startsWith(path + QStringLiteral(": cannot write in the folder")), qPrintable(error));
        QVERIFY(!ImageSaving::saveBitmap(QImage(), m_dir.filePath(QStringLiteral("null.bmp")), &error));
        QVERIFY(!QFile::exists(m_dir.filePath(QStringLiteral("null.bmp"))));
    }
};

QTEST_GUILESS_MAIN(TestImagingSave)
#include "tst_imaging_save.moc"
