// The sway back end against a real headless sway (with-sway.sh): what the compositor shows, read
// back with grim, for each style and for a file name full of shell characters; an output it does
// not have; and a peer that never answers.
#include "sway/SwayBackend.h"

#include <QDir>
#include <QElapsedTimer>
#include <QImage>
#include <QLocalServer>
#include <QProcess>
#include <QTemporaryDir>
#include <QtConcurrent>
#include <QtTest>

namespace {

constexpr QRgb Red = 0xffff0000, Blue = 0xff0000ff;

WallpaperTarget target(const QString& file, WallpaperStyle style, const QString& output = QStringLiteral("HEADLESS-1"))
{
    WallpaperTarget t;
    t.file = file;
    t.style = style;
    t.monitorName = output;
    return t;
}

// The output as sway shows it now.
QImage screenshot()
{
    QProcess grim;
    grim.start(QStringLiteral("grim"), {QStringLiteral("-o"), QStringLiteral("HEADLESS-1"), QStringLiteral("-")});
    grim.waitForFinished(10000);
    return QImage::fromData(grim.readAllStandardOutput(), "PNG").convertToFormat(QImage::Format_RGB32);
}

} // namespace

class TestSwayBackend : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;
    SwayBackend m_backend {qEnvironmentVariable("SWAYSOCK")};

    // A picture swaybg (another user) can read.
    QString picture(const QString& name, QRgb colour, QSize size)
    {
        QImage image(size, QImage::Format_RGB32);
        image.fill(colour);
        const QString path = m_folder.filePath(name);
        image.save(path);
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther | QFile::ReadGroup);
        return path;
    }

private slots:
    void initTestCase()
    {
        if (qEnvironmentVariableIsEmpty("SWAYSOCK"))
            QSKIP("needs the headless sway of with-sway.sh");
        QFile::setPermissions(m_folder.path(),
            QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadOther | QFile::ExeOther
                | QFile::ReadGroup | QFile::ExeGroup);
        QString reason;
        QVERIFY2(m_backend.isAvailable(&reason), qPrintable(reason));
        QVERIFY(!SwayBackend(m_folder.filePath(QStringLiteral("none.sock"))).isAvailable(&reason));
        QVERIFY(reason.contains(QStringLiteral("none.sock")));
    }

    // Each style on the 640 × 480 output: a small blue picture centred on black, tiled, or
    // stretched over the whole output; a file name with blanks and quotes is passed whole.
    void styles_data()
    {
        QTest::addColumn<WallpaperStyle>("style");
        QTest::addColumn<QRgb>("corner"); // the top-left pixel; the centre is always blue
        QTest::newRow("centred") << WallpaperStyle::Centered << QRgb(0xff000000);
        QTest::newRow("tiled") << WallpaperStyle::Tiled << Blue;
        QTest::newRow("stretched") << WallpaperStyle::Stretched << Blue;
    }

    void styles()
    {
        QFETCH(WallpaperStyle, style);
        QFETCH(QRgb, corner);
        const QString red = picture(QStringLiteral("red.png"), Red, {640, 480});
        QString error;
        QVERIFY2(m_backend.apply(target(red, WallpaperStyle::Stretched), &error), qPrintable(error));
        QTRY_COMPARE_WITH_TIMEOUT(screenshot().pixel(5, 5), Red, 10000);
        // Every character a shell would read: sway passes the name through wordexp(3).
        const QString blue = picture(QStringLiteral("it's a \"quoted\" \\ $HOME *name?.png"), Blue, {100, 100});
        QVERIFY2(m_backend.apply(target(blue, style), &error), qPrintable(error));
        QTRY_COMPARE_WITH_TIMEOUT(screenshot().pixel(320, 240), Blue, 10000);
        QCOMPARE(screenshot().pixel(5, 5), corner);
    }

    // sway keeps a background for any output name, for one that may come later: one it does not
    // have now is a failure here, naming the outputs it has.
    void unknownOutput()
    {
        QString error;
        QVERIFY(!m_backend.apply(target(picture(QStringLiteral("b.png"), Blue, {10, 10}), WallpaperStyle::Centered,
                                     QStringLiteral("NO-SUCH-OUTPUT")),
            &error));
        QVERIFY2(error.contains(QStringLiteral("NO-SUCH-OUTPUT")) && error.contains(QStringLiteral("HEADLESS-1")),
            qPrintable(error));
    }

    // A socket that takes the message and never answers costs the bound, not a hang.
    void silentPeer()
    {
        QLocalServer silent;
        const QString path = m_folder.filePath(QStringLiteral("silent.sock"));
        QVERIFY(silent.listen(path));
        QList<QLocalSocket*> held;
        connect(&silent, &QLocalServer::newConnection, this, [&] { held << silent.nextPendingConnection(); });
        SwayBackend backend(path);
        QElapsedTimer clock;
        clock.start();
        QFuture<std::pair<bool, QString>> future = QtConcurrent::run([&backend] {
            QString error;
            const bool applied = backend.apply(target(QStringLiteral("/tmp/x.png"), WallpaperStyle::Centered), &error);
            return std::pair {applied, error};
        });
        QTRY_VERIFY_WITH_TIMEOUT(future.isFinished(), 10000);
        QVERIFY(!future.result().first);
        QVERIFY2(future.result().second.contains(QStringLiteral("did not answer")), qPrintable(future.result().second));
        QVERIFY(clock.elapsed() >= WallpaperBackend::CallTimeoutMs - 500);
    }
};

QTEST_GUILESS_MAIN(TestSwayBackend)
#include "tst_swaybackend.moc"
