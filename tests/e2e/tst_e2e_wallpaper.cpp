#include "E2eSession.h"
#include "RootProbe.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QScreen>
#include <QtTest>

#include <cmath>

namespace {

constexpr QRgb Red = 0xffff0000;
constexpr QRgb Green = 0xff00ff00;
constexpr QRgb Blue = 0xff0000ff;
constexpr QRgb Yellow = 0xffffff00;
constexpr QRgb Black = 0xff000000;

// An 800×600 picture in four coloured quarters, so place, size and orientation all show.
void writeQuarters(const QString& path)
{
    QImage image(800, 600, QImage::Format_RGB32);
    QPainter painter(&image);
    painter.fillRect(0, 0, 400, 300, QColor(Red));
    painter.fillRect(400, 0, 400, 300, QColor(Green));
    painter.fillRect(0, 300, 400, 300, QColor(Blue));
    painter.fillRect(400, 300, 400, 300, QColor(Yellow));
    painter.end();
    QVERIFY(image.save(path));
}

void writeSolid(const QString& path, QRgb colour)
{
    QImage image(320, 200, QImage::Format_RGB32);
    image.fill(colour);
    QVERIFY(image.save(path));
}

// A PNG whose header declares 100000 × 100000 pixels: a decompression bomb.
void writeBomb(const QString& path)
{
    QImage small(1, 1, QImage::Format_RGB32);
    small.fill(Qt::white);
    QByteArray png;
    {
        QBuffer buffer(&png);
        buffer.open(QIODevice::WriteOnly);
        small.save(&buffer, "PNG");
    }
    const QByteArray size = QByteArray::fromHex("000186a0000186a0"); // 100000, 100000
    png.replace(16, 8, size);                                        // the IHDR's width and height
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(png);
}

// Where an 800 × 600 picture fitted to `area` shows each quarter.
QList<PixelCheck> quarterChecks(const QRect& fitted)
{
    const int inset = 40;
    return {{fitted.topLeft() + QPoint(inset, inset), Red},
        {QPoint(fitted.right() - inset, fitted.top() + inset), Green},
        {QPoint(fitted.left() + inset, fitted.bottom() - inset), Blue},
        {fitted.bottomRight() - QPoint(inset, inset), Yellow}};
}

} // namespace

// The real program changing the real root window: the picture's pixels at the size and place
// the sizing settings give, published for other programs, and kept when a bad file comes along.
class TestE2eWallpaper : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<E2eSession> s;
    QString m_pictures;

    void configure(int order)
    {
        QSettings settings = s->configFile();
        settings.setValue(QStringLiteral("Paramètres/Répertoire"), m_pictures);
        settings.setValue(QStringLiteral("Paramètres/SousRépertoire"), 0);
        settings.setValue(QStringLiteral("Paramètres/SelectRandom"), order);
        settings.setValue(QStringLiteral("Paramètres/SizingMode"), 0);
        settings.setValue(QStringLiteral("Paramètres/StartChange"), -1);
    }

    QString rootMismatches(const QList<PixelCheck>& checks)
    {
        RootProbe probe;
        const QString onRoot = probe.mismatches(probe.grab(probe.root()), checks);
        const xcb_pixmap_t published = probe.pixmapProperty("_XROOTPMAP_ID");
        if (published == XCB_NONE || published != probe.pixmapProperty("ESETROOT_PMAP_ID"))
            return QStringLiteral("the root properties do not name one pixmap");
        return onRoot + probe.mismatches(probe.grab(published), checks);
    }

private slots:
    void init()
    {
        s = std::make_unique<E2eSession>();
        m_pictures = s->home().path() + QStringLiteral("/home/Pictures");
        QDir().mkpath(m_pictures);
    }
    void cleanup() { s.reset(); }

    void startChangeFitsThePictureToTheScreen()
    {
        if (QGuiApplication::screens().size() != 1)
            QSKIP("needs a single 1280 × 800 screen");
        writeQuarters(m_pictures + QStringLiteral("/quarters.png"));
        configure(0);
        // With the trace window shown: each line lets the event loop in, and the list of the
        // folder may arrive in the middle of a step.
        QProcess* tapisol = s->start({QStringLiteral("/trace")});
        QVERIFY(s->waitForLog(QStringLiteral("SY Chg WP Changed")));

        // 800 × 600 fitted to 1280 × 800: 1067 × 800, centred with black bands.
        const QRect fitted(106, 0, 1067, 800);
        QString wrong
            = rootMismatches(quarterChecks(fitted) << PixelCheck {{50, 400}, Black} << PixelCheck {{1240, 400}, Black});
        QVERIFY2(wrong.isEmpty(), qPrintable(wrong));
        QVERIFY(QFile::exists(s->home().tapisolDataDir() + QStringLiteral("Tapisol.bmp")));
        QCOMPARE(QImage(s->home().tapisolDataDir() + QStringLiteral("Tapisol.bmp")).size(), QSize(1067, 800));

        QCOMPARE(s->client({QStringLiteral("--command"), QStringLiteral("17")}), 0);
        QVERIFY(tapisol->waitForFinished(15000));
        // The wallpaper outlives the program that set it.
        wrong = rootMismatches(quarterChecks(fitted));
        QVERIFY2(wrong.isEmpty(), qPrintable(wrong));
    }

    // With two monitors the picture fills the chosen one (the first), the other keeps its own.
    void twoMonitorsKeepTheirOwn()
    {
        if (QGuiApplication::screens().size() != 2)
            QSKIP("needs the two monitors of with-monitors.sh");
        writeQuarters(m_pictures + QStringLiteral("/quarters.png"));
        configure(0);
        const QRect left = QGuiApplication::screens().at(0)->geometry();
        const QRect right = QGuiApplication::screens().at(1)->geometry();
        QProcess* tapisol = s->start({QStringLiteral("/trace"), QStringLiteral("/silent")});
        QVERIFY(s->waitForLog(QStringLiteral("SY Chg WP Changed")));
        // Several monitors: the work area is the whole first monitor, and 800 × 600 fits inside it.
        QSize size(left.width(), int(std::lround(600.0 * left.width() / 800.0)));
        if (size.height() > left.height())
            size = QSize(int(std::lround(800.0 * left.height() / 600.0)), left.height());
        const QRect fitted(
            left.topLeft() + QPoint((left.width() - size.width()) / 2, (left.height() - size.height()) / 2), size);
        const QString wrong = rootMismatches(quarterChecks(fitted) << PixelCheck {right.center(), Black});
        QVERIFY2(wrong.isEmpty(), qPrintable(wrong));
        QCOMPARE(s->client({QStringLiteral("--command"), QStringLiteral("17")}), 0);
        QVERIFY(tapisol->waitForFinished(15000));
    }

    // With no instance running, `--apply` sets the picture itself, on the first monitor, and ends.
    void applyWithoutAnInstance()
    {
        writeQuarters(m_pictures + QStringLiteral("/quarters.png"));
        const QRect first = QGuiApplication::screens().at(0)->geometry();
        // One monitor: the work area is the screen here (no panel); several: the first monitor.
        QSize size(first.width(), int(std::lround(600.0 * first.width() / 800.0)));
        if (size.height() > first.height())
            size = QSize(int(std::lround(800.0 * first.height() / 600.0)), first.height());
        const QRect fitted(
            first.topLeft() + QPoint((first.width() - size.width()) / 2, (first.height() - size.height()) / 2), size);
        QCOMPARE(s->client({QStringLiteral("--apply"), m_pictures + QStringLiteral("/quarters.png")}), 0);
        const QString wrong = rootMismatches(quarterChecks(fitted));
        QVERIFY2(wrong.isEmpty(), qPrintable(wrong));
        QCOMPARE(QImage(s->home().tapisolDataDir() + QStringLiteral("Tapisol.bmp")).size(), size);
    }

    void badPicturesLeaveTheWallpaper()
    {
        if (QGuiApplication::screens().size() != 1)
            QSKIP("needs a single 1280 × 800 screen");
        writeQuarters(m_pictures + QStringLiteral("/a-quarters.png"));
        writeSolid(m_pictures + QStringLiteral("/b-red.png"), Red);
        writeBomb(s->home().path() + QStringLiteral("/bomb.png"));
        QFile text(s->home().path() + QStringLiteral("/letter.jpg"));
        QVERIFY(text.open(QIODevice::WriteOnly));
        text.write("Dear user, this is not a picture.\n");
        text.close();
        configure(0);
        QProcess* tapisol = s->start({QStringLiteral("/trace"), QStringLiteral("/silent")});
        QVERIFY(s->waitForLog(QStringLiteral("SY Chg WP Changed")));
        const QList<PixelCheck> quarters = quarterChecks(QRect(106, 0, 1067, 800));

        for (const QString& bad : {QStringLiteral("/bomb.png"), QStringLiteral("/letter.jpg")}) {
            QString output;
            QCOMPARE(s->client({QStringLiteral("--apply"), s->home().path() + bad}, &output), 1);
            QVERIFY(s->log().contains(QStringLiteral("SY Chg WP Err ") + s->home().path() + bad));
            const QString wrong = rootMismatches(quarters);
            QVERIFY2(wrong.isEmpty(), qPrintable(bad + QLatin1Char(' ') + wrong));
        }
        QCOMPARE(tapisol->state(), QProcess::Running);

        // "Next" goes on with the folder: the red picture, stretched by the fit to the height.
        QCOMPARE(s->client({QStringLiteral("--command"), QStringLiteral("2")}), 0);
        QVERIFY(s->waitForLog(QStringLiteral("SY Chg WP Changed"), 2));
        const QString wrong = rootMismatches({{{640, 400}, Red}, {{100, 100}, Red}});
        QVERIFY2(wrong.isEmpty(), qPrintable(wrong));
    }
};

QTEST_MAIN(TestE2eWallpaper)
#include "tst_e2e_wallpaper.moc"
