#include "ImageDecoder.h"
#include "ImagingFixtures.h"
#include "JpegBands.h"
#include "PictureDecoding.h"

#include <QImageReader>
#include <QTemporaryDir>
#include <QtTest>

using namespace ImagingFixtures;

namespace {
constexpr QRgb kGreen = 0xFF00FF00, kRed = 0xFFFF0000, kBlue = 0xFF0000FF;
const QColor kOlive(128, 128, 0);
} // namespace

// Every allowed format through the real helper process, checked by size and by the colour of each
// region of the picture, at its own size and at other sizes.
class TestImagingDecode : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    ImageDecoder m_decoder;

    QString fixture(const char* name) const { return m_dir.filePath(QLatin1String(name)); }

    static void checkQuadrants(const QImage& image, QSize size, int tolerance)
    {
        QCOMPARE(image.format(), QImage::Format_RGB32);
        QCOMPARE(image.size(), size);
        // Each region is checked away from its edges, where scaling and compression blend.
        const Quadrants q(image.size());
        for (const auto& [region, colour] : {std::pair {q.green, kGreen}, {q.red, kRed}, {q.blue, kBlue}}) {
            const QRect inner = region.marginsRemoved(
                QMargins(region.width() / 4, region.height() / 4, region.width() / 4, region.height() / 4));
            for (const QPoint p : {inner.topLeft(), inner.center(), inner.bottomRight()})
                QVERIFY2(near(image.pixel(p), colour, tolerance),
                    qPrintable(QStringLiteral("pixel (%1,%2) is %3, expected %4")
                                   .arg(p.x())
                                   .arg(p.y())
                                   .arg(image.pixel(p), 8, 16)
                                   .arg(colour, 8, 16)));
        }
        // No band of background or white at the borders: the picture fills the whole canvas.
        for (const QPoint corner : {QPoint(0, 0), QPoint(image.width() - 1, image.height() - 1)})
            QVERIFY(!near(image.pixel(corner), kOlive.rgb(), 8) && !near(image.pixel(corner), 0xFFFFFFFF, 8));
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        const QString failure = generateRaster(m_dir.path());
        QVERIFY2(failure.isEmpty(), qPrintable(failure));
        QVERIFY(writeFile(fixture("quad.wmf"), wmfQuadrants(320, 240)));
        QVERIFY(writeFile(fixture("quad.emf"), emfQuadrants(320, 240)));
        ImageDecoder::setHelperProgram(QStringLiteral(TAPISOL_DECODER_PROGRAM));
    }

    void formats_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<PictureFormat>("format");
        QTest::addColumn<QSize>("shownSize");
        QTest::addColumn<QSize>("target");
        QTest::addColumn<int>("tolerance"); // lossy formats drift a little, at edges more

        const QSize quad(64, 48);
        const auto row
            = [&](const char* name, const char* file, PictureFormat format, QSize shown, QSize target, int tolerance) {
                  QTest::newRow(name) << QString::fromLatin1(file) << format << shown << target << tolerance;
              };
        row("jpeg", "quad.jpg", PictureFormat::Jpeg, quad, {}, 24);
        row("png (palette)", "quad.png", PictureFormat::Png, quad, {}, 0);
        row("bmp 24-bit", "quad.bmp", PictureFormat::Bmp, quad, {}, 0);
        row("gif first frame", "quad.gif", PictureFormat::Gif, quad, {}, 0);
        row("webp", "quad.webp", PictureFormat::WebP, quad, {}, 0);
        row("tiff", "quad.tif", PictureFormat::Tiff, quad, {}, 0);
        row("tga 2.0", "quad.tga", PictureFormat::Tga, quad, {}, 0);
        row("heif", "quad.heic", PictureFormat::Heif, quad, {}, 40);
        row("avif", "quad.avif", PictureFormat::Avif, quad, {}, 40);
        row("wmf", "quad.wmf", PictureFormat::Wmf, QSize(320, 240), {}, 0);
        row("emf", "quad.emf", PictureFormat::Emf, QSize(320, 240), {}, 0);
        row("cmyk jpeg", "cmyk.jpg", PictureFormat::Jpeg, quad, {}, 24);
        row("16-bit png", "deep16.png", PictureFormat::Png, quad, {}, 0);
        row("png named .jpg", "png-named.jpg", PictureFormat::Png, quad, {}, 0);
        row("png stretched", "quad.png", PictureFormat::Png, quad, QSize(640, 100), 0);
        row("jpeg enlarged", "quad.jpg", PictureFormat::Jpeg, quad, QSize(640, 480), 24);
        // Drawings are rendered at the size asked, stretched when the proportions differ.
        row("wmf stretched", "quad.wmf", PictureFormat::Wmf, QSize(320, 240), QSize(1000, 500), 0);
        row("emf stretched", "quad.emf", PictureFormat::Emf, QSize(320, 240), QSize(1000, 500), 0);
    }

    void formats()
    {
        QFETCH(QString, file);
        QFETCH(PictureFormat, format);
        QFETCH(QSize, shownSize);
        QFETCH(QSize, target);
        QFETCH(int, tolerance);
        const QString path = m_dir.filePath(file);

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
            checkQuadrants(image, target.isEmpty() ? shownSize : target, tolerance);
        }
        const bool libraryFormat
            = QList {PictureFormat::Heif, PictureFormat::Avif, PictureFormat::Wmf, PictureFormat::Emf}.contains(format);
        QCOMPARE(inProcess.helperProcessId() != 0, libraryFormat);
    }

    void exifOrientationRotates()
    {
        // Stored 64×48 with orientation 6: shown turned a quarter clockwise, 48×64, the stored
        // left column on top. Asked at twice the size, the target is in shown axes too.
        for (const QSize target : {QSize(), QSize(96, 128)}) {
            QString error;
            const QImage image = m_decoder.decode(fixture("orient6.jpg"), target, kOlive, &error);
            QVERIFY2(!image.isNull(), qPrintable(error));
            const QSize size = target.isEmpty() ? QSize(48, 64) : target;
            QCOMPARE(image.size(), size);
            const int w = size.width(), h = size.height();
            QVERIFY(near(image.pixel(w * 3 / 4, h / 4), kGreen, 24));
            QVERIFY(near(image.pixel(w / 4, h / 4), kRed, 24));
            QVERIFY(near(image.pixel(w / 2, h * 3 / 4), kBlue, 24));
        }
    }

    void transparencyOverBackground_data()
    {
        QTest::addColumn<QString>("file");
        QTest::newRow("rgba 8-bit") << QStringLiteral("alpha.png");
        QTest::newRow("rgba 16-bit") << QStringLiteral("alpha16.png");
        QTest::newRow("palette with transparency") << QStringLiteral("palette-alpha.png");
    }

    void transparencyOverBackground()
    {
        QFETCH(QString, file);
        QString error;
        const QImage image = m_decoder.decode(m_dir.filePath(file), {}, kOlive, &error);
        QVERIFY2(!image.isNull(), qPrintable(error));
        QCOMPARE(image.format(), QImage::Format_RGB32);
        QCOMPARE(image.pixel(10, 24), kOlive.rgb());
        QCOMPARE(image.pixel(50, 24), kBlue);
    }

    void greyComesOutAsRgb()
    {
        QString error;
        const QImage image = m_decoder.decode(fixture("grey.png"), {}, kOlive, &error);
        QVERIFY2(!image.isNull(), qPrintable(error));
        QCOMPARE(image.format(), QImage::Format_RGB32);
        QVERIFY(near(image.pixel(5, 5), qRgb(128, 128, 128), 1));
    }

    // The two-thread decode of large JPEGs gives exactly what Qt's reader gives, scaled or not,
    // and leaves what it cannot split to that reader.
    void largeJpegInBands_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<int>("eighths");
        QTest::addColumn<bool>("banded");
        QTest::newRow("4:2:0, own size") << "big-noise.jpg" << 8 << true;
        QTest::newRow("4:2:0, at 6/8") << "big-noise.jpg" << 6 << true;
        QTest::newRow("grey, own size") << "big-noise-grey.jpg" << 8 << true;
        QTest::newRow("progressive") << "big-noise-progressive.jpg" << 8 << false;
        QTest::newRow("cmyk") << "big-noise-cmyk.jpg" << 8 << false;
        QTest::newRow("too small to gain") << "big-noise.jpg" << 2 << false;
    }

    void largeJpegInBands()
    {
        QFETCH(QString, file);
        QFETCH(int, eighths);
        QFETCH(bool, banded);
        QFile in(m_dir.filePath(file));
        QVERIFY(in.open(QIODevice::ReadOnly));
        const std::optional<QImage> image = JpegBands::decode(in.readAll(), eighths);
        QCOMPARE(image.has_value(), banded);
        if (!banded)
            return;
        QImageReader reader(m_dir.filePath(file));
        reader.setScaledSize(reader.size() * eighths / 8);
        const QImage expected = reader.read().convertToFormat(QImage::Format_RGB32);
        QCOMPARE(image->size(), expected.size());
        QVERIFY(*image == expected);
    }

    void largeJpegOrientations()
    {
        // Every EXIF orientation, decoded in bands and turned by us, as Qt's reader turns it.
        for (int orientation = 1; orientation <= 8; ++orientation) {
            const QString file
                = m_dir.filePath(orientation == 1 ? QStringLiteral("big-noise.jpg")
                                                  : QStringLiteral("big-noise-o%1.jpg").arg(orientation));
            QString error;
            const QImage image = PictureDecoding::decodePath(file, {}, kOlive, &error);
            QVERIFY2(!image.isNull(), qPrintable(error));
            QImageReader reader(file);
            reader.setAutoTransform(true);
            const QImage expected = reader.read().convertToFormat(QImage::Format_RGB32);
            QVERIFY2(image == expected, qPrintable(QStringLiteral("orientation %1").arg(orientation)));
        }
    }

    void trustedPathDecodesInProcess()
    {
        QString error;
        const QImage image = ImageDecoder::decodeTrusted(fixture("quad.bmp"), QSize(32, 24), kOlive, &error);
        QVERIFY2(!image.isNull(), qPrintable(error));
        QCOMPARE(image.size(), QSize(32, 24));
        QVERIFY(near(image.pixel(24, 12), kBlue, 0));
        QVERIFY(ImageDecoder::decodeTrusted(fixture("svg.jpg"), {}, kOlive, &error).isNull());
        QVERIFY(error.startsWith(fixture("svg.jpg")));
    }
};

QTEST_GUILESS_MAIN(TestImagingDecode)
#include "tst_imaging_decode.moc"
