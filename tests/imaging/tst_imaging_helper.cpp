#include "ImageDecoder.h"
#include "ImagingFixtures.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>

using namespace ImagingFixtures;

namespace {

// A field of /proc/<pid>/status in KiB (VmHWM: the peak resident memory).
qint64 statusKiB(qint64 pid, const QByteArray& field)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith(field + ':'))
            return line.mid(field.size() + 1).trimmed().split(' ').value(0).toLongLong();
    }
    return -1;
}

// True once `pid` has exited: reaped, or a zombie waiting for its parent.
bool isGone(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return true;
    const QByteArray line = stat.readAll();
    return line.mid(line.lastIndexOf(')') + 2, 1) == "Z";
}

} // namespace

// The helper process under fire: a crash, a hang, a spin and a memory flood each cost one picture,
// the caller gets the reason, and the next picture decodes in a fresh helper. Also what the
// reduced-size JPEG decode saves.
class TestImagingHelper : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    QString fixture(const QString& name) const { return m_dir.filePath(name); }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        const QString failure = generateRaster(m_dir.path());
        QVERIFY2(failure.isEmpty(), qPrintable(failure));
        for (const char* name : {"fault-crash.jpg", "fault-hang.jpg", "fault-spin.jpg"})
            QVERIFY(QFile::copy(fixture(QStringLiteral("quad.jpg")), fixture(QLatin1String(name))));
        qputenv("TAPISOL_DECODER_FAULTS", "1"); // inherited by the helpers started from here on
        ImageDecoder::setHelperProgram(QStringLiteral(TAPISOL_DECODER_PROGRAM));
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
        QVERIFY(!decoder.decode(fixture(QStringLiteral("quad.png")), {}, Qt::black).isNull());
        const qint64 first = decoder.helperProcessId();

        QElapsedTimer clock;
        clock.start();
        QString error;
        QVERIFY(decoder.decode(fixture(file), QSize(64, 48), Qt::black, &error).isNull());
        QVERIFY2(error.startsWith(fixture(file) + QStringLiteral(": ") + reason), qPrintable(error));
        QVERIFY(clock.elapsed() < timeoutMs + 5000);
        QCOMPARE(decoder.helperProcessId(), 0); // stopped, not left running
        QVERIFY(!QFileInfo::exists(QStringLiteral("/proc/%1").arg(first)));

        const QImage next = decoder.decode(fixture(QStringLiteral("quad.png")), {}, Qt::black, &error);
        QVERIFY2(!next.isNull(), qPrintable(error));
        QVERIFY(decoder.helperProcessId() > 0);
        QVERIFY(decoder.helperProcessId() != first);
    }

    void memoryLimitCostsOnePicture()
    {
        // 4000×3000 at its own size needs 48 MB of pixels; the helper gets less than that.
        const QString big = fixture(QStringLiteral("big.jpg"));
        ImageDecoder tight(ImageDecoder::Limits {40, 15, 20000, 256});
        QString error;
        QVERIFY(tight.decode(big, {}, Qt::black, &error).isNull());
        QVERIFY2(error == big + QStringLiteral(": not enough memory to decode 4000 × 3000 pixels"), qPrintable(error));
        QVERIFY2(!tight.decode(fixture(QStringLiteral("quad.jpg")), {}, Qt::black, &error).isNull(), qPrintable(error));
        // The same picture with room to spare: the limit, not the file, was the cause.
        ImageDecoder roomy;
        QVERIFY2(!roomy.decode(big, {}, Qt::black, &error).isNull(), qPrintable(error));
    }

    void helperReplacedBetweenPictures_data()
    {
        QTest::addColumn<bool>("killed");
        QTest::newRow("killed by someone else") << true;
        QTest::newRow("retired after growing") << false;
    }

    void helperReplacedBetweenPictures()
    {
        QFETCH(bool, killed);
        // A 1 MB ceiling: every helper grows past it with its first picture and retires.
        ImageDecoder decoder(ImageDecoder::Limits {2048, 15, 20000, killed ? 256 : 1});
        const QString picture = fixture(QStringLiteral("quad.png"));
        QString error;
        QVERIFY2(!decoder.decode(picture, {}, Qt::black, &error).isNull(), qPrintable(error));
        const qint64 first = decoder.helperProcessId();
        QCOMPARE(first > 0, killed);
        if (killed) {
            QVERIFY(::kill(pid_t(first), SIGKILL) == 0);
            QTRY_VERIFY(isGone(first));
        }
        for (int i = 0; i < 3; ++i)
            QVERIFY2(!decoder.decode(picture, QSize(8, 6), Qt::black, &error).isNull(), qPrintable(error));
    }

    void missingHelperIsReported()
    {
        ImageDecoder::setHelperProgram(m_dir.filePath(QStringLiteral("no-such-decoder")));
        ImageDecoder decoder;
        QString error;
        QVERIFY(decoder.decode(fixture(QStringLiteral("quad.png")), {}, Qt::black, &error).isNull());
        ImageDecoder::setHelperProgram(QStringLiteral(TAPISOL_DECODER_PROGRAM));
        QVERIFY2(error.contains(QStringLiteral("no-such-decoder cannot be started")), qPrintable(error));
        QVERIFY(!decoder.decode(fixture(QStringLiteral("quad.png")), {}, Qt::black, &error).isNull());
    }

    void reducedJpegDecodeIsCheaper()
    {
        // A fresh helper for each, so that each peak is its own.
        const QString big = fixture(QStringLiteral("big.jpg"));
        ImageDecoder reduced, full;
        ImageDecoder::Details reducedDetails, fullDetails;
        QElapsedTimer clock;
        clock.start();
        QString error;
        QImage image = reduced.decode(big, QSize(960, 540), Qt::black, &error, &reducedDetails);
        const qint64 reducedMs = clock.restart();
        QVERIFY2(!image.isNull(), qPrintable(error));
        QCOMPARE(image.size(), QSize(960, 540));
        image = full.decode(big, {}, Qt::black, &error, &fullDetails);
        const qint64 fullMs = clock.elapsed();
        QVERIFY2(!image.isNull(), qPrintable(error));

        // 2/8 is the smallest of libjpeg's scales that still covers 960×540.
        QCOMPARE(reducedDetails.decodedSize, QSize(1000, 750));
        QCOMPARE(fullDetails.decodedSize, QSize(4000, 3000));
        const qint64 reducedPeak = statusKiB(reduced.helperProcessId(), "VmHWM");
        const qint64 fullPeak = statusKiB(full.helperProcessId(), "VmHWM");
        qInfo("4000×3000 JPEG: to 960×540 %lld ms, %lld KiB peak; whole %lld ms, %lld KiB peak", reducedMs, reducedPeak,
            fullMs, fullPeak);
        QVERIFY(reducedPeak > 0);
        // The whole decode holds 48 MB of pixels that the reduced one never allocates.
        QVERIFY(fullPeak - reducedPeak > 30 * 1024);
    }

    void reducedDecodeOfTurnedPicture()
    {
        // Stored 4000×3000 (red at the top), shown 3000×4000 turned a quarter clockwise: the
        // reduction is chosen in stored axes, so 2/8 still covers 540×960.
        ImageDecoder decoder;
        ImageDecoder::Details details;
        QString error;
        const QImage image
            = decoder.decode(fixture(QStringLiteral("big-orient6.jpg")), QSize(540, 960), Qt::black, &error, &details);
        QVERIFY2(!image.isNull(), qPrintable(error));
        QCOMPARE(details.picture.size, QSize(3000, 4000));
        QCOMPARE(details.decodedSize, QSize(750, 1000));
        QCOMPARE(image.size(), QSize(540, 960));
        QVERIFY(qRed(image.pixel(530, 480)) > 200 && qBlue(image.pixel(530, 480)) < 55);
        QVERIFY(qBlue(image.pixel(10, 480)) > 200 && qRed(image.pixel(10, 480)) < 55);
    }
};

QTEST_GUILESS_MAIN(TestImagingHelper)
#include "tst_imaging_helper.moc"
