// Thumbnails made by the real decoding helper from real JPEG files: their names in the folder,
// their size and JPEG quality, the pictures and folders that refuse them, the album rows they are
// kept on, the folder emptied and cleaned, and the batch with two workers.
#include "../db/MdbTestSupport.h"
#include "AlbumStore.h"
#include "ClsImage.h"
#include "ImageDecoder.h"
#include "InterfaceTexts.h"
#include "ThumbnailBatch.h"

#include <QImage>
#include <QImageReader>
#include <QProcess>
#include <QSet>
#include <QtTest>

namespace {

bool run(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    return process.waitForFinished(30000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

// A picture with detail in it, so that the JPEG quality shows in the file.
bool writeJpeg(const QString& path, QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < size.width(); ++x)
            line[x] = qRgb(x * 255 / size.width(), y * 255 / size.height(), (x * 7 + y * 13) % 256);
    }
    QDir().mkpath(QFileInfo(path).absolutePath());
    return image.save(path, "JPEG", 90);
}

// The first eight luminance quantisers of a baseline JPEG, in the file's zig-zag order.
QList<int> firstQuantisers(const QByteArray& jpeg)
{
    const qsizetype marker = jpeg.indexOf(QByteArray("\xFF\xDB", 2));
    QList<int> values;
    for (qsizetype i = marker + 5; marker >= 0 && i < marker + 13 && i < jpeg.size(); ++i)
        values << quint8(jpeg[i]);
    return values;
}

QStringList filesIn(const QString& folder)
{
    return QDir(folder).entryList(QDir::Files | QDir::Hidden, QDir::Name);
}

} // namespace

class TestThumbnails : public QObject, MdbTest::Fixture
{
    Q_OBJECT

    std::unique_ptr<ClsMdb> m_db;
    QString m_pictures;
    QString m_folder;
    QStringList m_mounts;

    QString picture(const QString& name, QSize size = QSize(400, 300))
    {
        const QString path = m_pictures + name;
        [&] { QVERIFY(writeJpeg(path, size)); }();
        return path;
    }

    QString corrupt(const QString& name)
    {
        const QString path = m_pictures + name;
        [&] { QVERIFY(MdbTest::writeFile(path, QByteArray("\xFF\xD8\xFF\xE0", 4) + QByteArray(2000, 'x'))); }();
        return path;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(interfaceTexts().load(QStringLiteral("ENG")));
        ImageDecoder::setHelperProgram(QStringLiteral(TAPISOL_DECODER_PROGRAM));
    }

    void init()
    {
        setUp();
        m_db = makeMdb();
        QVERIFY(m_db->MdbInit());
        m_pictures = home->path() + QStringLiteral("/Pictures/");
        m_folder = home->tapisolDataDir() + QStringLiteral("TPThumbnails/");
    }

    void cleanup()
    {
        for (const QString& mount : std::as_const(m_mounts))
            run(QStringLiteral("umount"), {QStringLiteral("-l"), mount});
        m_mounts.clear();
        m_db.reset();
        home.reset();
    }

    // The search starts at the number of files, of any kind, and steps over taken and reserved names.
    void naming_data()
    {
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<QStringList>("reserved");
        QTest::addColumn<QString>("expected");
        QTest::newRow("empty folder") << QStringList() << QStringList() << "00000000.thb";
        QTest::newRow("a gap") << QStringList {"00000000.thb", "00000002.thb"} << QStringList() << "00000003.thb";
        QTest::newRow("other files count")
            << QStringList {"notes.txt", "photo.JPG", "00000001.thb"} << QStringList() << "00000003.thb";
        QTest::newRow("reserved names") << QStringList {"00000000.thb"} << QStringList {"00000001.thb", "00000002.thb"}
                                        << "00000003.thb";
    }

    void naming()
    {
        QFETCH(QStringList, files);
        QFETCH(QStringList, reserved);
        QFETCH(QString, expected);
        QVERIFY(QDir().mkpath(m_folder));
        for (const QString& name : files)
            QVERIFY(MdbTest::writeFile(m_folder + name, "x"));
        const ClsImage images(m_folder.chopped(1)); // the trailing slash is added
        QCOMPARE(images.folder(), m_folder);
        const QString next = images.nextThumbnailName(
            [&](const QString& path) { return reserved.contains(QFileInfo(path).fileName()); });
        QCOMPARE(next, m_folder + expected);
        QCOMPARE(ClsImage::thumbnailFileName(123456789), QStringLiteral("123456789.thb"));
    }

    void fittedSize_data()
    {
        QTest::addColumn<QSize>("picture");
        QTest::addColumn<QSize>("expected");
        QTest::newRow("wide") << QSize(4000, 1000) << QSize(160, 40);
        QTest::newRow("tall") << QSize(1000, 4000) << QSize(30, 120);
        QTest::newRow("same shape as the box") << QSize(1600, 1200) << QSize(160, 120);
        QTest::newRow("fits") << QSize(100, 50) << QSize(100, 50);
        QTest::newRow("half rounds to even (down)") << QSize(320, 101) << QSize(160, 50);
        QTest::newRow("half rounds to even (up)") << QSize(320, 103) << QSize(160, 52);
        QTest::newRow("a line keeps a pixel") << QSize(10000, 2) << QSize(160, 1);
    }

    void fittedSize()
    {
        QFETCH(QSize, picture);
        QFETCH(QSize, expected);
        QCOMPARE(ClsImage::fittedSize(picture, ClsImage::kThumbnailBox), expected);
    }

    // Real files through the helper: the size on disk, the quality of the JPEG written, and a
    // picture that cannot be decoded or read naming itself with no file left behind.
    void makeThumbnail()
    {
        const ClsImage images(m_folder);
        ImageDecoder decoder;
        QString error;
        const QString wide = images.makeThumbnail(decoder, picture(QStringLiteral("wide.jpg"), QSize(4000, 1000)),
            ClsImage::kThumbnailBox.width(), ClsImage::kThumbnailBox.height(), &error);
        QCOMPARE(wide, m_folder + QStringLiteral("00000000.thb"));
        const QString small
            = images.makeThumbnail(decoder, picture(QStringLiteral("small.jpg"), QSize(100, 50)), 160, 120, &error);
        QCOMPARE(small, m_folder + QStringLiteral("00000001.thb"));
        QImageReader reader(wide);
        QCOMPARE(reader.format(), QByteArray("jpeg"));
        QCOMPARE(reader.read().size(), QSize(160, 40));
        QCOMPARE(QImage(small).size(), QSize(100, 50));
        // libjpeg's tables at quality 75 are the standard ones halved, rounded.
        QCOMPARE(firstQuantisers(MdbTest::contentOf(wide)), (QList<int> {8, 6, 6, 7, 6, 5, 8, 7}));

        const QString broken = corrupt(QStringLiteral("broken.jpg"));
        QCOMPARE(images.makeThumbnail(decoder, broken, 160, 120, &error), QString());
        QVERIFY2(error.contains(QStringLiteral("broken.jpg")), qPrintable(error));
        error.clear();
        QCOMPARE(images.makeThumbnail(decoder, m_pictures + QStringLiteral("gone.jpg"), 160, 120, &error), QString());
        QVERIFY2(error.contains(QStringLiteral("gone.jpg")), qPrintable(error));
        QCOMPARE(filesIn(m_folder), (QStringList {"00000000.thb", "00000001.thb"}));
    }

    void unwritableFolder_data()
    {
        QTest::addColumn<bool>("readOnly");
        QTest::newRow("read-only folder") << true;
        QTest::newRow("full disk") << false;
    }

    void unwritableFolder()
    {
        QFETCH(bool, readOnly);
        QVERIFY(QDir().mkpath(m_folder));
        if (!run(QStringLiteral("mount"), {"-t", "tmpfs", "-o", "size=64k", "tmpfs", m_folder}))
            QSKIP("mounting a small tmpfs needs root");
        m_mounts << m_folder;
        if (readOnly)
            QVERIFY(run(QStringLiteral("mount"), {"-o", "remount,ro", m_folder}));
        else // filled up to its last block
            run(QStringLiteral("dd"), {"if=/dev/zero", "of=" + m_folder + "filler", "bs=4k"});
        const QStringList before = filesIn(m_folder);
        const ClsImage images(m_folder);
        ImageDecoder decoder;
        QString error;
        QCOMPARE(images.makeThumbnail(decoder, picture(QStringLiteral("big.jpg"), QSize(3000, 2000)), 160, 120, &error),
            QString());
        QVERIFY2(error.contains(QStringLiteral("big.jpg")), qPrintable(error));
        QCOMPARE(filesIn(m_folder), before);
    }

    // A new picture gets its row and its thumbnail once. A picture that cannot be decoded gets
    // neither, and a thumbnail the store refuses to record is not left behind.
    void pictureThumbnail()
    {
        const ClsImage images(m_folder);
        ImageDecoder decoder;
        const QString photo = picture(QStringLiteral("photo.jpg"));
        QString error;
        const QString thumb = images.pictureThumbnail(*m_db, decoder, 7, photo, &error);
        QVERIFY2(thumb == m_folder + QStringLiteral("00000000.thb"), qPrintable(error));
        QCOMPARE(images.pictureThumbnail(*m_db, decoder, 7, photo), thumb);
        QCOMPARE(filesIn(m_folder).size(), 1);
        const auto row = AlbumStore::findPicture(*m_db, 7, photo);
        QVERIFY(row && row->ThumbPath == thumb);
        QCOMPARE(row->ImageDateTime, QFileInfo(photo).lastModified());
        QVERIFY(AlbumStore::pictureKeysOfPage(*m_db, 0).isEmpty());

        const QString broken = corrupt(QStringLiteral("broken.jpg"));
        QCOMPARE(images.pictureThumbnail(*m_db, decoder, 7, broken, &error), QString());
        QVERIFY2(error.contains(QStringLiteral("broken.jpg")), qPrintable(error));
        QVERIFY(!AlbumStore::findPicture(*m_db, 7, broken));

        // The path column holds 250 characters; this one is longer.
        const QString deep = picture(QString(120, QLatin1Char('d')) + QLatin1Char('/') + QString(140, QLatin1Char('e'))
            + QStringLiteral(".jpg"));
        QCOMPARE(images.pictureThumbnail(*m_db, decoder, 7, deep, &error), QString());
        QVERIFY2(error.contains(QStringLiteral("250")), qPrintable(error));
        QCOMPARE(filesIn(m_folder), QStringList {"00000000.thb"});
        QCOMPARE(AlbumStore::pictureCount(*m_db), 1);
    }

    // Emptying deletes every thumbnail, whatever the case of its extension, and the folder only
    // once nothing else is in it; cleaning deletes the thumbnails no picture names.
    void emptyAndClean()
    {
        QVERIFY(QDir().mkpath(m_folder));
        for (const char* name : {"00000000.thb", "00000001.THB", "00000002.thb", "notes.txt"})
            QVERIFY(MdbTest::writeFile(m_folder + QLatin1String(name), "x"));
        const ClsImage images(m_folder);
        QStringList shown;
        const auto progress = [&](int, int, const QString& name) {
            shown << name;
            return true;
        };
        QVERIFY(images.emptyFolder(progress));
        QCOMPARE(shown, (QStringList {"00000000.thb", "00000001.THB", "00000002.thb"}));
        QCOMPARE(filesIn(m_folder), QStringList {"notes.txt"});
        QFile::remove(m_folder + QStringLiteral("notes.txt"));
        QVERIFY(MdbTest::writeFile(m_folder + QStringLiteral("00000000.thb"), "x"));
        QVERIFY(images.emptyFolder());
        QVERIFY(!QFileInfo::exists(m_folder));

        QVERIFY(QDir().mkpath(m_folder));
        for (const char* name : {"00000000.thb", "00000001.thb", "00000002.thb"})
            QVERIFY(MdbTest::writeFile(m_folder + QLatin1String(name), "x"));
        QCOMPARE(images.cleanFolder(*m_db), 0); // no picture at all: nothing to go by
        QVERIFY(AlbumStore::addPicture(
            *m_db, 7, picture(QStringLiteral("kept.jpg")), m_folder + QStringLiteral("00000001.thb"), {}));
        QCOMPARE(images.cleanFolder(*m_db), 2);
        QCOMPARE(filesIn(m_folder), QStringList {"00000001.thb"});
    }

    // Two workers name 20 thumbnails by the folder's rule, each name once.
    void batch()
    {
        QStringList pictures;
        for (int i = 0; i < 20; ++i)
            pictures << picture(QStringLiteral("batch/%1.jpg").arg(i), QSize(640 + i, 480));
        const ClsImage images(m_folder);
        ThumbnailBatch batch(images, ClsImage::kThumbnailBox);
        batch.setWorkers(2);
        QSignalSpy finished(&batch, &ThumbnailBatch::finished);
        QSignalSpy progress(&batch, &ThumbnailBatch::progress);
        QSet<QString> names;
        connect(&batch, &ThumbnailBatch::pictureDone, this, [&](const ThumbnailBatch::Result& result) {
            QVERIFY2(!result.thumbnail.isEmpty(), qPrintable(result.error));
            names.insert(QFileInfo(result.thumbnail).fileName());
        });
        batch.start(pictures);
        QVERIFY(batch.isRunning());
        QVERIFY(finished.wait(60000));
        QSet<QString> expected;
        for (int i = 0; i < 20; ++i)
            expected.insert(ClsImage::thumbnailFileName(i));
        QCOMPARE(names, expected);
        const QStringList written = filesIn(m_folder);
        QCOMPARE(QSet<QString>(written.cbegin(), written.cend()), expected);
        QCOMPARE(progress.last(), (QList<QVariant> {20, 20}));
        QVERIFY(!batch.isRunning());
    }

    // Cancelled at the first result, the batch finishes the pictures in progress and stops; the
    // files that vanish under it (a disk pulled out) are errors that name them.
    void batchCancelledAndVanishing()
    {
        QStringList pictures;
        for (int i = 0; i < 20; ++i)
            pictures << picture(QStringLiteral("batch/%1.jpg").arg(i));
        const ClsImage images(m_folder);
        ThumbnailBatch batch(images, ClsImage::kThumbnailBox);
        QSignalSpy finished(&batch, &ThumbnailBatch::finished);
        QList<ThumbnailBatch::Result> results;
        connect(&batch, &ThumbnailBatch::pictureDone, this, [&](const ThumbnailBatch::Result& result) {
            results << result;
            batch.cancel();
        });
        batch.start(pictures);
        QVERIFY(finished.wait(60000));
        QVERIFY(batch.isCancelled());
        QVERIFY2(results.size() >= 1 && results.size() <= 3, qPrintable(QString::number(results.size())));

        disconnect(&batch, &ThumbnailBatch::pictureDone, this, nullptr);
        results.clear();
        connect(&batch, &ThumbnailBatch::pictureDone, this, [&](const ThumbnailBatch::Result& result) {
            if (results.isEmpty())
                QDir(m_pictures + QStringLiteral("batch")).removeRecursively();
            results << result;
        });
        batch.start(pictures);
        QVERIFY(finished.wait(60000));
        QCOMPARE(results.size(), 20);
        int failed = 0;
        for (const ThumbnailBatch::Result& result : std::as_const(results)) {
            if (result.thumbnail.isEmpty()) {
                ++failed;
                QVERIFY2(result.error.contains(QFileInfo(result.picture).fileName()), qPrintable(result.error));
            }
        }
        QVERIFY(failed >= 17);
    }
};

QTEST_GUILESS_MAIN(TestThumbnails)
#include "tst_thumbnails.moc"
