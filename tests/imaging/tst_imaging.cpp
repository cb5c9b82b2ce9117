#include "ImageDecoder.h"
#include "ImageSaving.h"
#include "JpegBands.h"
#include "PictureDecoding.h"

#include <QDir>
#include <QElapsedTimer>
#include <QImageReader>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <poll.h>
#include <unistd.h>
#include <sys/stat.h>

namespace {
constexpr QRgb kGreen = 0xFF00FF00, kRed = 0xFFFF0000, kBlue = 0xFF0000FF;
const QColor kOlive(128, 128, 0);

// True when every channel of `actual` is within `tolerance` of `expected`.
bool near(QRgb actual, QRgb expected, int tolerance)
{
    return qAbs(qRed(actual) - qRed(expected)) <= tolerance && qAbs(qGreen(actual) - qGreen(expected)) <= tolerance
        && qAbs(qBlue(actual) - qBlue(expected)) <= tolerance;
}

/// A placeable WMF of the quadrant layout, 320 × 240 units at 96 units an inch: a null pen, then
/// CREATEBRUSHINDIRECT, SELECTOBJECT, RECTANGLE and DELETEOBJECT for each quadrant.
const QByteArray wmfQuadrants = QByteArray::fromHex(
    "d7cdc69a0000000000004001f000600000000000c156010009000003640000000200080000000000050000000b02000000000500"
    "00000c02f000400108000000fa0205000000000000000000040000002d01000007000000fc02000000ff00000000040000002d01"
    "0100070000001b047800a0000000000004000000f001010007000000fc020000ff0000000000040000002d010100070000001b04"
    "f000a0007800000004000000f001010007000000fc0200000000ff000000040000002d010100070000001b04f00040010000a000"
    "04000000f0010100030000000000");

/// An EMF of the quadrant layout, 320 × 240 device pixels with a frame of the same size at 96 dpi:
/// the stock null pen, then CREATEBRUSHINDIRECT, SELECTOBJECT and RECTANGLE for each quadrant.
const QByteArray emfQuadrants = QByteArray::fromHex(
    "010000005800000000000000000000003f010000ef000000000000000000000012210000ce18000020454d46000001002c010000"
    "0c000000040000000000000000000000000000008007000038040000fc0100001e010000250000000c0000000800008027000000"
    "18000000010000000000000000ff000000000000250000000c000000010000002b0000001800000000000000000000009f000000"
    "7700000027000000180000000200000000000000ff00000000000000250000000c000000020000002b0000001800000000000000"
    "780000009f000000ef000000270000001800000003000000000000000000ff0000000000250000000c000000030000002b000000"
    "18000000a0000000000000003f010000ef0000000e00000014000000000000001000000014000000");

/// PNGs whose header (with a valid checksum) declares 60000 × 60000 and 70000 × 10 RGB pixels, with
/// a few bytes of data: what a decompression bomb looks like to a reader that trusts the header.
const QByteArray pngBomb = QByteArray::fromHex(
    "89504e470d0a1a0a0000000d494844520000ea600000ea6008020000000fb0e2150000001a49444154789cedc1010d000000c2a0"
    "f74f6d0f0714000000f06e100000014b9ea33c0000000049454e44ae426082");
const QByteArray pngLongSide = QByteArray::fromHex(
    "89504e470d0a1a0a0000000d49484452000111700000000a080200000017e61adf0000001a49444154789cedc1010d000000c2a0"
    "f74f6d0f0714000000f06e100000014b9ea33c0000000049454e44ae426082");

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

// The peak resident memory of a process in KiB (VmHWM in /proc/<pid>/status), -1 when unknown.
qint64 peakKiB(qint64 pid)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    const QByteArray text = status.open(QIODevice::ReadOnly) ? status.readAll() : QByteArray();
    const qsizetype at = text.indexOf("VmHWM:");
    return at < 0 ? -1 : text.mid(at + 6, text.indexOf(" kB", at) - at - 6).trimmed().toLongLong();
}

// True once `pid` has exited: reaped, or a zombie waiting for its parent.
bool isGone(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    const QByteArray line = stat.open(QIODevice::ReadOnly) ? stat.readAll() : QByteArray();
    return line.isEmpty() || line.mid(line.lastIndexOf(')') + 2, 1) == "Z";
}

} // namespace

// Every allowed format through the real helper process, checked by size and by the colour of each
// region of the picture, at its own size and at other sizes. Files that are not pictures, or not
// whole, or hostile are each refused with the file's name and the reason, quickly, without costing
// the helper process. And the helper under fire: a crash, a hang, a spin and a memory flood each
// cost one picture, the caller gets the reason, and the next picture decodes in a fresh helper.
class TestImaging : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    ImageDecoder m_decoder;
    QStringList m_mounts;

    QString fixture(const QString& name) const { return m_dir.filePath(name); }

    static void checkQuadrants(const QImage& image, QSize size, int tolerance)
    {
        QCOMPARE(image.format(), QImage::Format_RGB32);
        QCOMPARE(image.size(), size);
        // Top-left quarter green, bottom-left quarter red, right half blue, each checked away from
        // its edges, where scaling and compression blend.
        const int w = size.width(), h = size.height();
        for (const auto& [region, colour] : {std::pair {QRect(0, 0, w / 2, h / 2), kGreen},
                 {QRect(0, h / 2, w / 2, h - h / 2), kRed}, {QRect(w / 2, 0, w - w / 2, h), kBlue}}) {
            const int dx = region.width() / 4, dy = region.height() / 4;
            const QRect inner = region.adjusted(dx, dy, -dx, -dy);
            for (const QPoint p : {inner.topLeft(), inner.center(), inner.bottomRight()})
                QVERIFY2(near(image.pixel(p), colour, tolerance),
                    qPrintable(QStringLiteral("(%1,%2) is %3").arg(p.x()).arg(p.y()).arg(image.pixel(p), 8, 16)));
        }
        // No band of background or white at the borders: the picture fills the whole canvas.
        for (const QPoint corner : {QPoint(0, 0), QPoint(size.width() - 1, size.height() - 1)})
            QVERIFY(!near(image.pixel(corner), kOlive.rgb(), 8) && !near(image.pixel(corner), 0xFFFFFFFF, 8));
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QProcess script; // the raster pictures, made with ImageMagick and exiftool
        script.start(QStringLiteral("bash"), {QStringLiteral(TAPISOL_IMAGING_FIXTURE_SCRIPT), m_dir.path()});
        QVERIFY(script.waitForFinished(120000));
        QVERIFY2(script.exitStatus() == QProcess::NormalExit && script.exitCode() == 0,
            script.readAllStandardError().constData());
        for (const auto& [name, bytes] : {std::pair {"quad.wmf", wmfQuadrants}, {"quad.emf", emfQuadrants},
                 {"bomb.png", pngBomb}, {"long-side.png", pngLongSide}, {"cut.wmf", wmfQuadrants.left(60)}}) {
            QFile file(fixture(QLatin1String(name)));
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
        }
        QCOMPARE(::mkfifo(QFile::encodeName(fixture("fifo.jpg")).constData(), 0600), 0);
        QVERIFY(QDir(m_dir.path()).mkdir(QStringLiteral("folder.jpg")));
        for (const char* name : {"fault-crash.jpg", "fault-hang.jpg", "fault-spin.jpg"})
            QVERIFY(QFile::copy(fixture("quad.jpg"), fixture(QLatin1String(name))));
        qputenv("TAPISOL_DECODER_FAULTS", "1"); // the helpers started from here on fail on fault-*.jpg
        ImageDecoder::setHelperProgram(QStringLiteral(TAPISOL_DECODER_PROGRAM));
    }

    void cleanupTestCase()
    {
        for (const QString& folder : std::as_const(m_mounts))
            run(QStringLiteral("umount"), {folder});
    }

    void formats_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<PictureFormat>("format");
        QTest::addColumn<QSize>("shownSize");
        QTest::addColumn<QSize>("target");
        QTest::addColumn<int>("tolerance"); // lossy formats drift a little, at edges more

        const QSize quad(64, 48), drawing(320, 240);
        const auto row = [&](const char* file, PictureFormat format, QSize shown, QSize target, int tolerance) {
            QTest::addRow("%s%s", file, target.isEmpty() ? "" : " scaled")
                << file << format << shown << target << tolerance;
        };
        row("quad.jpg", PictureFormat::Jpeg, quad, {}, 24);
        row("quad.png", PictureFormat::Png, quad, {}, 0); // palette
        row("quad.bmp", PictureFormat::Bmp, quad, {}, 0); // 24-bit
        row("quad.gif", PictureFormat::Gif, quad, {}, 0); // first frame only
        row("quad.webp", PictureFormat::WebP, quad, {}, 0);
        row("quad.tif", PictureFormat::Tiff, quad, {}, 0);
        row("quad.tga", PictureFormat::Tga, quad, {}, 0); // version 2.0
        row("quad.heic", PictureFormat::Heif, quad, {}, 40);
        row("quad.avif", PictureFormat::Avif, quad, {}, 40);
        row("quad.wmf", PictureFormat::Wmf, drawing, {}, 0);
        row("quad.emf", PictureFormat::Emf, drawing, {}, 0);
        row("cmyk.jpg", PictureFormat::Jpeg, quad, {}, 24);
        row("deep16.png", PictureFormat::Png, quad, {}, 0);
        row("png-named.jpg", PictureFormat::Png, quad, {}, 0);
        row("quad.png", PictureFormat::Png, quad, QSize(640, 100), 0);
        row("quad.jpg", PictureFormat::Jpeg, quad, QSize(640, 480), 24);
        // Stored 64×48 with orientation 6: shown turned a quarter clockwise, the stored left column
        // on top. A target is in shown axes too.
        row("orient6.jpg", PictureFormat::Jpeg, QSize(48, 64), {}, 24);
        row("orient6.jpg", PictureFormat::Jpeg, QSize(48, 64), QSize(96, 128), 24);
        // Drawings are rendered at the size asked, stretched when the proportions differ.
        row("quad.wmf", PictureFormat::Wmf, drawing, QSize(1000, 500), 0);
        row("quad.emf", PictureFormat::Emf, drawing, QSize(1000, 500), 0);
    }

    void formats()
    {
        QFETCH(QString, file);
        QFETCH(PictureFormat, format);
        QFETCH(QSize, shownSize);
        QFETCH(QSize, target);
        QFETCH(int, tolerance);
        const QString path = fixture(file);

        // The same through the helper and in this process (`tapisol --apply`), which hands the
        // formats needing libraries of their own to the helper.
        ImageDecoder::Limits here;
        here.inProcess = true;
        ImageDecoder inProcess(here);
        for (ImageDecoder* decoder : {&m_decoder, &inProcess}) {
            QString error;
            const std::optional<PictureInfo> info = decoder->probe(path, &error);
            QVERIFY2(info, qPrintable(error));
            QCOMPARE(info->format, format);
            QCOMPARE(info->size, shownSize);
            const QImage image = decoder->decode(path, target, kOlive, &error);
            QVERIFY2(!image.isNull(), qPrintable(error));
            const QSize size = target.isEmpty() ? shownSize : target;
            if (file.startsWith(QLatin1String("orient6"))) // turned back, to check the stored layout
                checkQuadrants(image.transformed(QTransform().rotate(-90)), size.transposed(), tolerance);
            else
                checkQuadrants(image, size, tolerance);
        }
        const bool libraryFormat
            = QList {PictureFormat::Heif, PictureFormat::Avif, PictureFormat::Wmf, PictureFormat::Emf}.contains(format);
        QCOMPARE(inProcess.helperProcessId() != 0, libraryFormat);
    }

    // Transparency is laid over the background, and every picture comes out as opaque RGB.
    void transparencyAndGreyComeOutOpaque()
    {
        const QRgb olive = kOlive.rgb(), grey = qRgb(128, 128, 128);
        for (const auto& [file, left, right] : {std::tuple {"alpha.png", olive, kBlue}, {"alpha16.png", olive, kBlue},
                 {"palette-alpha.png", olive, kBlue}, {"grey.png", grey, grey}}) {
            const QImage image = m_decoder.decode(fixture(QLatin1String(file)), {}, kOlive);
            QVERIFY2(image.format() == QImage::Format_RGB32, file);
            QVERIFY2(near(image.pixel(10, 24), left, 1) && near(image.pixel(50, 24), right, 1), file);
        }
    }

    // The two-thread decode of large JPEGs gives exactly what Qt's reader gives, scaled or not and
    // in every EXIF orientation, and leaves what it cannot split to that reader.
    void largeJpegAsQtReadsIt_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<int>("eighths");
        QTest::addColumn<bool>("banded");
        QTest::newRow("4:2:0, own size") << "big-noise.jpg" << 8 << true;
        for (int orientation = 2; orientation <= 8; ++orientation)
            QTest::addRow("orientation %d", orientation)
                << QStringLiteral("big-noise-o%1.jpg").arg(orientation) << 8 << true;
        QTest::newRow("4:2:0, at 6/8") << "big-noise.jpg" << 6 << true;
        QTest::newRow("grey, own size") << "big-noise-grey.jpg" << 8 << true;
        QTest::newRow("progressive") << "big-noise-progressive.jpg" << 8 << false;
        QTest::newRow("cmyk") << "big-noise-cmyk.jpg" << 8 << false;
        QTest::newRow("too small to gain") << "big-noise.jpg" << 2 << false;
    }

    void largeJpegAsQtReadsIt()
    {
        QFETCH(QString, file);
        QFETCH(int, eighths);
        QFETCH(bool, banded);
        QCOMPARE(JpegBands::decode(contents(fixture(file)), eighths).has_value(), banded);

        QImageReader reader(fixture(file));
        reader.setAutoTransform(true);
        const QSize target = eighths == 8 ? QSize() : reader.size() * eighths / 8;
        reader.setScaledSize(target);
        const QImage expected = reader.read().convertToFormat(QImage::Format_RGB32);
        QString error;
        const QImage image = PictureDecoding::decodePath(fixture(file), target, kOlive, &error);
        QVERIFY2(!image.isNull(), qPrintable(error));
        QCOMPARE(image.size(), expected.size());
        QVERIFY(image == expected);
    }

    void refused_data()
    {
        QTest::addColumn<QString>("reason"); // the row's name is the file's
        QTest::newRow("svg.jpg") << "it holds an SVG drawing";
        QTest::newRow("xbm.jpg") << "it holds an XBM bitmap";
        QTest::newRow("text.jpg") << "it holds text";
        QTest::newRow("empty.jpg") << "the file is empty";
        QTest::newRow("missing.jpg") << "the file does not exist";
        QTest::newRow("fifo.jpg") << "named pipe (FIFO)";
        QTest::newRow("folder.jpg") << "it is a folder";
        QTest::newRow("truncated-jpg.jpg") << "the file is cut short";
        QTest::newRow("truncated-gif.jpg") << "the file is cut short";
        QTest::newRow("truncated-bmp.jpg") << "the file is cut short";
        QTest::newRow("truncated-png.jpg") << "cannot decode the PNG picture";
        QTest::newRow("cut.wmf") << "WMF";
        QTest::newRow("bomb.png")
            << "refused without decoding: the declared size of 60000 × 60000 pixels is larger than";
        QTest::newRow("long-side.png") << "has a side longer than 65535 pixels";
    }

    void refused()
    {
        QFETCH(QString, reason);
        const QString path = fixture(QString::fromLatin1(QTest::currentDataTag()));
        const bool cutShort = path.contains(QLatin1String("truncated"));
        QVERIFY(m_decoder.probe(fixture("quad.png")));
        const qint64 helper = m_decoder.helperProcessId(); // a refusal does not cost it its life
        QVERIFY(helper > 0);

        QElapsedTimer clock;
        clock.start();
        QString error;
        QVERIFY(m_decoder.decode(path, QSize(320, 200), Qt::black, &error).isNull());
        QVERIFY2(error.startsWith(path + QStringLiteral(": ")), qPrintable(error));
        QVERIFY2(error.contains(reason), qPrintable(error));
        // A cut-short file has a whole header: only decoding finds the damage.
        QString probeError;
        QCOMPARE(m_decoder.probe(path, &probeError).has_value(), cutShort);
        if (!cutShort)
            QVERIFY2(probeError.contains(reason), qPrintable(probeError));
        QVERIFY(clock.elapsed() < 3000); // a FIFO never makes anyone wait for a writer
        QCOMPARE(m_decoder.helperProcessId(), helper);
    }

    void sniffing_data()
    {
        QTest::addColumn<QByteArray>("head");
        QTest::addColumn<PictureFormat>("format");
        const QByteArray ftyp = QByteArrayLiteral("\0\0\0\x1C"
                                                  "ftyp");
        QTest::newRow("avif by compatible brand")
            << ftyp + QByteArrayLiteral("mif1\0\0\0\0miafavif") << PictureFormat::Avif;
        QTest::newRow("heif by major brand") << ftyp + QByteArrayLiteral("heic\0\0\0\0mif1heic") << PictureFormat::Heif;
        QTest::newRow("mp4 video") << ftyp + QByteArrayLiteral("isom\0\0\0\0isomiso2") << PictureFormat::Unknown;
        QTest::newRow("wmf without placeable header")
            << QByteArrayLiteral("\x01\0\x09\0\0\x03\x30\0\0\0\x02\0\x08\0\0\0\0\0\0\0\0\0") << PictureFormat::Wmf;
        QTest::newRow("BM without a bitmap header")
            << QByteArray("BMP is a nice format, really") << PictureFormat::Unknown;
        QTest::newRow("tiff big-endian") << QByteArrayLiteral("MM\0*\0\0\0\x08") << PictureFormat::Tiff;
        QTest::newRow("riff audio") << QByteArrayLiteral("RIFF\0\0\0\0WAVEfmt ") << PictureFormat::Unknown;
    }

    void sniffing()
    {
        QFETCH(QByteArray, head);
        QFETCH(PictureFormat, format);
        QString refusal;
        QCOMPARE(PictureFormats::sniff(head, head.right(26), &refusal), format);
        QCOMPARE(refusal.isEmpty(), format != PictureFormat::Unknown);
    }

    void faultCostsOnePicture_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<int>("cpuSeconds");
        QTest::addColumn<int>("timeoutMs");
        QTest::addColumn<QString>("reason");
        QTest::newRow("crash") << "fault-crash.jpg" << 15 << 20000 << "the decoder crashed on it (Segmentation fault)";
        QTest::newRow("hang") << "fault-hang.jpg" << 15 << 1500 << "decoding took longer than 1.5 s";
        QTest::newRow("processor time") << "fault-spin.jpg" << 1 << 20000
                                        << "the decoder used more than 1 s of processor time";
    }

    void faultCostsOnePicture()
    {
        QFETCH(QString, file);
        QFETCH(int, cpuSeconds);
        QFETCH(int, timeoutMs);
        QFETCH(QString, reason);
        ImageDecoder decoder(ImageDecoder::Limits {2048, cpuSeconds, timeoutMs, 256});
        QVERIFY(!decoder.decode(fixture("quad.png"), {}, Qt::black).isNull());
        const qint64 first = decoder.helperProcessId();

        QElapsedTimer clock;
        clock.start();
        QString error;
        QVERIFY(decoder.decode(fixture(file), QSize(64, 48), Qt::black, &error).isNull());
        QVERIFY2(error.startsWith(fixture(file) + QStringLiteral(": ") + reason), qPrintable(error));
        QVERIFY(clock.elapsed() < timeoutMs + 5000);
        QCOMPARE(decoder.helperProcessId(), 0); // stopped, not left running
        QVERIFY(!QFileInfo::exists(QStringLiteral("/proc/%1").arg(first)));

        const QImage next = decoder.decode(fixture("quad.png"), {}, Qt::black, &error);
        QVERIFY2(!next.isNull(), qPrintable(error));
        QVERIFY(decoder.helperProcessId() > 0);
        QVERIFY(decoder.helperProcessId() != first);
    }

    void memoryLimitCostsOnePicture()
    {
        // 4000×3000 at its own size needs 48 MB of pixels; the helper gets less than that.
        const QString big = fixture("big.jpg");
        ImageDecoder tight(ImageDecoder::Limits {40, 15, 20000, 256});
        QString error;
        QVERIFY(tight.decode(big, {}, Qt::black, &error).isNull());
        QVERIFY2(error == big + QStringLiteral(": not enough memory to decode 4000 × 3000 pixels"), qPrintable(error));
        QVERIFY2(!tight.decode(fixture("quad.jpg"), {}, Qt::black, &error).isNull(), qPrintable(error));
        // The same picture with room to spare: the limit, not the file, was the cause.
        ImageDecoder roomy;
        QVERIFY2(!roomy.decode(big, {}, Qt::black, &error).isNull(), qPrintable(error));
        // A canvas past ImageLimits is refused before anything is decoded.
        QVERIFY(roomy.decode(fixture("quad.png"), QSize(40000, 40000), Qt::black, &error).isNull());
        QVERIFY2(error.contains(QStringLiteral("a canvas of 40000 × 40000 pixels")), qPrintable(error));
    }

    void helperReplacedBetweenPictures_data()
    {
        QTest::addColumn<QString>("how");
        QTest::newRow("killed by someone else") << QStringLiteral("killed");
        QTest::newRow("retired after growing") << QStringLiteral("retired");
        QTest::newRow("left when idle") << QStringLiteral("idle");
    }

    void helperReplacedBetweenPictures()
    {
        QFETCH(QString, how);
        // A 1 MB ceiling: every helper grows past it with its first picture and retires. One
        // second without work: the helper leaves, and the next picture starts another.
        ImageDecoder decoder(ImageDecoder::Limits {
            2048, 15, 20000, how == QLatin1String("retired") ? 1 : 256, how == QLatin1String("idle") ? 1 : 20});
        const QString picture = fixture("quad.png");
        QString error;
        QVERIFY2(!decoder.decode(picture, {}, Qt::black, &error).isNull(), qPrintable(error));
        const qint64 first = decoder.helperProcessId();
        QCOMPARE(first > 0, how != QLatin1String("retired"));
        if (how == QLatin1String("killed")) {
            QVERIFY(::kill(pid_t(first), SIGKILL) == 0);
            QTRY_VERIFY(isGone(first));
        }
        if (how == QLatin1String("idle")) {
            QTRY_COMPARE_WITH_TIMEOUT(decoder.helperProcessId(), 0, 5000);
            QVERIFY(isGone(first));
        }
        for (int i = 0; i < 3; ++i)
            QVERIFY2(!decoder.decode(picture, QSize(8, 6), Qt::black, &error).isNull(), qPrintable(error));
    }

    // A pipe this process opened without close-on-exec is not held open by the helper: its
    // reader still sees the end once the writer here closes it.
    void helperInheritsOnlyThePixels()
    {
        int pipe[2];
        QCOMPARE(::pipe(pipe), 0);
        ImageDecoder decoder;
        QString error;
        QVERIFY2(!decoder.decode(fixture("quad.png"), {}, Qt::black, &error).isNull(), qPrintable(error));
        QVERIFY(decoder.helperProcessId() > 0);
        ::close(pipe[1]);
        pollfd reader {pipe[0], POLLIN, 0};
        const int ready = ::poll(&reader, 1, 0);
        ::close(pipe[0]);
        QCOMPARE(ready, 1);
        QVERIFY(reader.revents & POLLHUP);
    }

    void missingHelperIsReported()
    {
        ImageDecoder::setHelperProgram(m_dir.filePath(QStringLiteral("no-such-decoder")));
        ImageDecoder decoder;
        QString error;
        QVERIFY(decoder.decode(fixture("quad.png"), {}, Qt::black, &error).isNull());
        ImageDecoder::setHelperProgram(QStringLiteral(TAPISOL_DECODER_PROGRAM));
        QVERIFY2(error.contains(QStringLiteral("no-such-decoder cannot be started")), qPrintable(error));
        QVERIFY(!decoder.decode(fixture("quad.png"), {}, Qt::black, &error).isNull());
    }

    // A large JPEG asked at a small size is decoded at the smallest of libjpeg's scales that still
    // covers the target: 2/8 for 960×540. A fresh helper for each decode, so that each peak is its own.
    void reducedJpegDecode()
    {
        const QString big = fixture("big.jpg");
        ImageDecoder reduced, full, turned;
        ImageDecoder::Details details;
        QString error;
        QImage image = reduced.decode(big, QSize(960, 540), Qt::black, &error, &details);
        QVERIFY2(!image.isNull(), qPrintable(error));
        QCOMPARE(image.size(), QSize(960, 540));
        QCOMPARE(details.decodedSize, QSize(1000, 750));
        QVERIFY2(!full.decode(big, {}, Qt::black, &error, &details).isNull(), qPrintable(error));
        QCOMPARE(details.decodedSize, QSize(4000, 3000));
        // The whole decode holds 48 MB of pixels that the reduced one never allocates.
        const qint64 reducedPeak = peakKiB(reduced.helperProcessId());
        QVERIFY(reducedPeak > 0);
        QVERIFY(peakKiB(full.helperProcessId()) - reducedPeak > 30 * 1024);

        // Stored 4000×3000 (red at the top), shown 3000×4000 turned a quarter clockwise: the
        // reduction is chosen in stored axes, so 2/8 still covers 540×960.
        image = turned.decode(fixture("big-orient6.jpg"), QSize(540, 960), Qt::black, &error, &details);
        QVERIFY2(!image.isNull(), qPrintable(error));
        QCOMPARE(details.picture.size, QSize(3000, 4000));
        QCOMPARE(details.decodedSize, QSize(750, 1000));
        QCOMPARE(image.size(), QSize(540, 960));
        QVERIFY(qRed(image.pixel(530, 480)) > 200 && qBlue(image.pixel(530, 480)) < 55);
        QVERIFY(qBlue(image.pixel(10, 480)) > 200 && qRed(image.pixel(10, 480)) < 55);
    }

    // Saving goes through QSaveFile: a failure, whatever its cause, leaves the previous file whole and
    // names the file.
    void bitmapIs24BitAndReadsBack()
    {
        const QString path = m_dir.filePath(QStringLiteral("Tapisol.bmp"));
        QImage translucent = testPicture(QSize(33, 7)).convertToFormat(QImage::Format_ARGB32);
        QString error;
        QVERIFY2(ImageSaving::saveBitmap(translucent, path, &error), qPrintable(error));
        const QByteArray bytes = contents(path);
        QVERIFY(bytes.startsWith("BM"));
        QCOMPARE(int(quint8(bytes[28])), 24); // bits per pixel
        // The program reads its own bitmap back in-process; that path still refuses what is no picture.
        const QImage back = ImageDecoder::decodeTrusted(path, {}, Qt::black, &error);
        QVERIFY2(back.size() == translucent.size(), qPrintable(error));
        checkQuadrants(ImageDecoder::decodeTrusted(fixture("quad.bmp"), QSize(32, 24), kOlive), QSize(32, 24), 0);
        QVERIFY(ImageDecoder::decodeTrusted(fixture("svg.jpg"), {}, kOlive, &error).isNull());
        QVERIFY(error.startsWith(fixture("svg.jpg")));
        // Another reader agrees on every pixel (the rows are padded: 33 × 3 bytes is not a multiple of 4).
        const QString png = m_dir.filePath(QStringLiteral("Tapisol-by-convert.png"));
        QVERIFY(run(QStringLiteral("convert"), {path, QStringLiteral("PNG24:") + png}));
        const QImage other(png);
        QCOMPARE(other.size(), translucent.size());
        for (int y = 0; y < other.height(); ++y) {
            for (int x = 0; x < other.width(); ++x) {
                QCOMPARE(other.pixel(x, y) | 0xFF000000, translucent.pixel(x, y));
                QCOMPARE(back.pixel(x, y), translucent.pixel(x, y));
            }
        }
    }

    void failureKeepsThePreviousFile_data()
    {
        QTest::addColumn<bool>("readOnly");
        QTest::newRow("full disk") << false;
        QTest::newRow("read-only folder") << true;
    }

    void failureKeepsThePreviousFile()
    {
        QFETCH(bool, readOnly);
        const QString folder = m_dir.filePath(QString::number(readOnly));
        QVERIFY(QDir().mkpath(folder));
        if (!run(QStringLiteral("mount"),
                {QStringLiteral("-t"), QStringLiteral("tmpfs"), QStringLiteral("-o"), QStringLiteral("size=64k"),
                    QStringLiteral("tmpfs"), folder}))
            QSKIP("mounting a small tmpfs needs root");
        m_mounts.prepend(folder);
        const QString path = folder + QStringLiteral("/Tapisol.bmp");
        const QByteArray previous = QByteArray("BM previous wallpaper ").repeated(100);
        QFile old(path);
        QVERIFY(old.open(QIODevice::WriteOnly) && old.write(previous) == previous.size());
        old.close();
        if (readOnly)
            QVERIFY(run(QStringLiteral("mount"), {QStringLiteral("-o"), QStringLiteral("remount,ro"), folder}));

        QString error;
        QVERIFY(!ImageSaving::saveBitmap(testPicture(QSize(1920, 1080)), path, &error));
        QVERIFY2(error.startsWith(path + QStringLiteral(": ")), qPrintable(error));
        QVERIFY(!ImageSaving::copyFile(QStringLiteral(TAPISOL_DECODER_PROGRAM), path, &error));
        QVERIFY2(error.startsWith(path + QStringLiteral(": ")), qPrintable(error));
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

QTEST_GUILESS_MAIN(TestImaging)
#include "tst_imaging.moc"
