#include "AppState.h"
#include "ClsMonitor.h"
#include "ClsRegistry.h"
#include "ImageDecoder.h"
#include "RootProbe.h"
#include "TempXdgHome.h"
#include "Trace.h"
#include "WallpaperBackends.h"
#include "WallpaperRenderer.h"

#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QtTest>

#include <sys/stat.h>

// The renderer on a real X server: what it writes, what it leaves alone, and what a full disk
// does to it.
class TestE2eRenderer : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TempXdgHome> m_home;

    static QString log()
    {
        QFile file(Trace::logFilePath());
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }

    QString picture(const QString& name, QRgb colour)
    {
        const QString path = m_home->path() + QLatin1Char('/') + name;
        QImage image(400, 250, QImage::Format_RGB32);
        image.fill(colour);
        image.save(path);
        return path;
    }

private slots:
    void initTestCase() { ImageDecoder::setHelperProgram(QStringLiteral(TAPISOL_DECODER_PROGRAM)); }

    void init()
    {
        m_home = std::make_unique<TempXdgHome>();
        appState().trace = true;
        appState().silent = true;
        Trace::resetForTests();
    }

    void cleanup()
    {
        releaseRegistry();
        m_home.reset();
    }

    // The same picture twice with the same settings rewrites nothing, and still applies.
    void samePictureTwiceRewritesNothing()
    {
        ClsMonitor monitors;
        ImageDecoder decoder;
        const auto backend = WallpaperBackends::choose(WallpaperBackends::Session::fromEnvironment());
        WallpaperRenderer renderer(monitors, decoder, *backend);
        const QString red = picture(QStringLiteral("red.png"), 0xffff0000);
        QVERIFY(renderer.change(red));
        struct stat first = {};
        QCOMPARE(::stat(QFile::encodeName(WallpaperRenderer::outputPath()).constData(), &first), 0);
        QCOMPARE(log().count(QStringLiteral(" SY Chg WP Resize ")), 1);

        QVERIFY(renderer.change(red));
        struct stat second = {};
        QCOMPARE(::stat(QFile::encodeName(WallpaperRenderer::outputPath()).constData(), &second), 0);
        QCOMPARE(second.st_ino, first.st_ino); // not replaced
        QCOMPARE(second.st_ctim.tv_nsec, first.st_ctim.tv_nsec);
        QCOMPARE(log().count(QStringLiteral(" SY Chg WP Resize ")), 1);
        QCOMPARE(log().count(QStringLiteral("SY Chg WP Reg ")), 2);
        QCOMPARE(log().count(QStringLiteral("SY Chg WP Changed")), 2);
    }

    // No room for Tapisol.bmp: "SY Chg Save Failed", and the desktop keeps the previous picture.
    void fullDiskKeepsThePreviousWallpaper()
    {
        ClsMonitor monitors;
        ImageDecoder decoder;
        const auto backend = WallpaperBackends::choose(WallpaperBackends::Session::fromEnvironment());
        WallpaperRenderer renderer(monitors, decoder, *backend);
        QVERIFY(renderer.change(picture(QStringLiteral("red.png"), 0xffff0000)));

        // The data folder on a tmpfs just big enough for the settings and the old bitmap.
        const QString data = m_home->tapisolDataDir();
        const QString saved = m_home->path() + QStringLiteral("/saved.bmp");
        QVERIFY(QFile::copy(WallpaperRenderer::outputPath(), saved));
        if (QProcess::execute(QStringLiteral("mount"),
                {QStringLiteral("-t"), QStringLiteral("tmpfs"), QStringLiteral("-o"),
                    QStringLiteral("size=%1k").arg(QFileInfo(saved).size() / 1024 + 64), QStringLiteral("tmpfs"), data})
            != 0)
            QSKIP("mounting a small tmpfs needs root");
        QVERIFY(QFile::copy(saved, WallpaperRenderer::outputPath()));
        const QString blue = picture(QStringLiteral("blue.png"), 0xff0000ff);
        const bool changed = renderer.change(blue);
        const QByteArray after = [] {
            QFile file(WallpaperRenderer::outputPath());
            return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        }();
        const QString traced = log(); // the log lives in the mounted folder too
        QProcess::execute(QStringLiteral("umount"), {data});
        QVERIFY(!changed);
        QVERIFY(traced.contains(QStringLiteral("SY Chg Save Failed")));
        QFile old(saved);
        QVERIFY(old.open(QIODevice::ReadOnly));
        QCOMPARE(after, old.readAll()); // the old bitmap is whole
        RootProbe probe;
        const QString wrong = probe.mismatches(probe.grab(probe.root()), {{QPoint(640, 400), 0xffff0000}});
        QVERIFY2(wrong.isEmpty(), qPrintable(wrong));
    }
};

QTEST_MAIN(TestE2eRenderer)
#include "tst_e2e_renderer.moc"
