#include "ImageDecoder.h"
#include "ImagingFixtures.h"
#include "PictureFormat.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>

using namespace ImagingFixtures;

namespace {
// Bytes of a literal, NULs included.
template <qsizetype N> QByteArray raw(const char (&text)[N])
{
    return QByteArray(text, N - 1);
}
} // namespace

// Files that are not pictures, or not whole, or hostile: each is refused with the file's name and
// the reason, quickly, without costing the helper process.
class TestImagingRefusals : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    ImageDecoder m_decoder;

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        const QString failure = generateRaster(m_dir.path());
        QVERIFY2(failure.isEmpty(), qPrintable(failure));
        QVERIFY(writeFile(m_dir.filePath(QStringLiteral("bomb.png")), pngDeclaring(60000, 60000)));
        QVERIFY(writeFile(m_dir.filePath(QStringLiteral("long-side.png")), pngDeclaring(70000, 10)));
        QVERIFY(writeFile(m_dir.filePath(QStringLiteral("cut.wmf")), wmfQuadrants(320, 240).left(60)));
        QCOMPARE(::mkfifo(QFile::encodeName(m_dir.filePath(QStringLiteral("fifo.jpg"))).constData(), 0600), 0);
        QVERIFY(QDir(m_dir.path()).mkdir(QStringLiteral("folder.jpg")));
        ImageDecoder::setHelperProgram(QStringLiteral(TAPISOL_DECODER_PROGRAM));
    }

    void refused_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("reason");
        const auto row = [](const char* name, const char* file, const char* reason) {
            QTest::newRow(name) << QString::fromLatin1(file) << QString::fromUtf8(reason);
        };
        row("svg named .jpg", "svg.jpg", "it holds an SVG drawing");
        row("xbm named .jpg", "xbm.jpg", "it holds an XBM bitmap");
        row("text named .jpg", "text.jpg", "it holds text");
        row("zero bytes", "empty.jpg", "the file is empty");
        row("missing", "missing.jpg", "the file does not exist");
        row("fifo named .jpg", "fifo.jpg", "named pipe (FIFO)");
        row("folder named .jpg", "folder.jpg", "it is a folder");
        row("truncated jpeg", "truncated-jpg.jpg", "the file is cut short");
        row("truncated gif", "truncated-gif.jpg", "the file is cut short");
        row("truncated bmp", "truncated-bmp.jpg", "the file is cut short");
        row("truncated png", "truncated-png.jpg", "cannot decode the PNG picture");
        row("truncated wmf", "cut.wmf", "WMF");
        row("decompression bomb", "bomb.png",
            "refused without decoding: the declared size of 60000 × 60000 pixels is larger than");
        row("one side too long", "long-side.png", "has a side longer than 65535 pixels");
    }

    void refused()
    {
        QFETCH(QString, file);
        QFETCH(QString, reason);
        const QString path = m_dir.filePath(file);
        const bool cutShort = file.startsWith(QLatin1String("truncated"));

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
    }

    void refusalsDoNotCostTheHelper()
    {
        QString error;
        QVERIFY(m_decoder.probe(m_dir.filePath(QStringLiteral("quad.png")), &error));
        const qint64 helper = m_decoder.helperProcessId();
        QVERIFY(helper > 0);
        for (const char* file : {"svg.jpg", "bomb.png", "truncated-jpg.jpg", "fifo.jpg"})
            QVERIFY(m_decoder.decode(m_dir.filePath(QLatin1String(file)), {}, Qt::black).isNull());
        QVERIFY(!m_decoder.decode(m_dir.filePath(QStringLiteral("quad.png")), {}, Qt::black).isNull());
        QCOMPARE(m_decoder.helperProcessId(), helper);
    }

    void oversizedTargetIsRefused()
    {
        QString error;
        QVERIFY(m_decoder.decode(m_dir.filePath(QStringLiteral("quad.png")), QSize(40000, 40000), Qt::black, &error)
                    .isNull());
        QVERIFY2(error.contains(QStringLiteral("a canvas of 40000 × 40000 pixels")), qPrintable(error));
    }

    void sniffing_data()
    {
        QTest::addColumn<QByteArray>("head");
        QTest::addColumn<PictureFormat>("format");
        const QByteArray ftyp = raw("\0\0\0\x1C"
                                    "ftyp");
        QTest::newRow("avif by compatible brand") << ftyp + raw("mif1\0\0\0\0miafavif") << PictureFormat::Avif;
        QTest::newRow("heif by major brand") << ftyp + raw("heic\0\0\0\0mif1heic") << PictureFormat::Heif;
        QTest::newRow("mp4 video") << ftyp + raw("isom\0\0\0\0isomiso2") << PictureFormat::Unknown;
        QTest::newRow("wmf without placeable header")
            << raw("\x01\0\x09\0\0\x03\x30\0\0\0\x02\0\x08\0\0\0\0\0\0\0\0\0") << PictureFormat::Wmf;
        QTest::newRow("BM without a bitmap header")
            << QByteArray("BMP is a nice format, really") << PictureFormat::Unknown;
        QTest::newRow("tiff big-endian") << raw("MM\0*\0\0\0\x08") << PictureFormat::Tiff;
        QTest::newRow("riff audio") << raw("RIFF\0\0\0\0WAVEfmt ") << PictureFormat::Unknown;
    }

    void sniffing()
    {
        QFETCH(QByteArray, head);
        QFETCH(PictureFormat, format);
        QString refusal;
        QCOMPARE(PictureFormats::sniff(head, head.right(26), &refusal), format);
        QCOMPARE(refusal.isEmpty(), format != PictureFormat::Unknown);
    }
};

QTEST_GUILESS_MAIN(TestImagingRefusals)
#include "tst_imaging_refusals.moc"
