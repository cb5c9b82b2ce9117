// Frames drawn without a window: a picture fitted on the background, the caption where its
// alignment puts it, the file name, the notice of a missing picture, and the two transitions.
#include "SlideRenderer.h"

#include <QtTest>

namespace {

const QSize Screen(640, 360);

QImage filled(QSize size, QColor colour)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(colour);
    return image;
}

// How many pixels of `area` in `image` are close to `colour`.
int pixelsNear(const QImage& image, const QRect& area, QColor colour)
{
    int count = 0;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x) {
            const QColor c = image.pixelColor(x, y);
            if (std::abs(c.red() - colour.red()) < 40 && std::abs(c.green() - colour.green()) < 40
                && std::abs(c.blue() - colour.blue()) < 40)
                ++count;
        }
    return count;
}

PlannedSlide captioned(int align, bool opaque = false)
{
    PlannedSlide slide;
    slide.picture = QStringLiteral("/photos/été/plage.jpg");
    slide.caption.text = QStringLiteral("MMMM");
    slide.caption.style.pointSize = 28;
    slide.caption.style.bold = true;
    slide.caption.style.fore = Qt::yellow;
    slide.caption.style.back = Qt::blue;
    slide.caption.style.opaque = opaque;
    slide.caption.style.align = align;
    slide.caption.style.marginTwips = 300; // 20 pixels at 96 dpi
    return slide;
}

} // namespace

class TestSlideRenderer : public QObject
{
    Q_OBJECT

private slots:
    void shownSize_data()
    {
        QTest::addColumn<QSize>("picture");
        QTest::addColumn<QSize>("shown");
        QTest::newRow("large landscape") << QSize(6000, 4000) << QSize(540, 360);
        QTest::newRow("small is enlarged") << QSize(100, 50) << QSize(640, 320);
        QTest::newRow("portrait") << QSize(300, 600) << QSize(180, 360);
        QTest::newRow("a thread stays visible") << QSize(10000, 1) << QSize(640, 1);
    }
    void shownSize()
    {
        QFETCH(QSize, picture);
        QFETCH(QSize, shown);
        QCOMPARE(SlideRenderer::shownSize(picture, Screen), shown);
    }

    // The picture centred on the background colour; the file name at the top when asked.
    void pictureOnBackground()
    {
        RenderOptions options;
        options.background = QColor(0, 128, 0);
        options.showFileName = true;
        options.fileNameStyle.fore = Qt::white;
        options.fileNameStyle.pointSize = 20;
        const QImage layer = SlideRenderer(options).composeSlide(filled({300, 300}, Qt::red), {}, Screen);
        QCOMPARE(layer.size(), Screen);
        QCOMPARE(layer.pixelColor(320, 180), QColor(Qt::red));
        QCOMPARE(layer.pixelColor(50, 180), QColor(0, 128, 0)); // the band beside a square picture
        QCOMPARE(layer.pixelColor(590, 340), QColor(0, 128, 0));

        PlannedSlide named;
        named.picture = QStringLiteral("/photos/été/plage.jpg");
        const QImage withName = SlideRenderer(options).composeSlide(filled({300, 300}, Qt::red), named, Screen);
        QVERIFY(pixelsNear(withName, QRect(0, 0, 640, 50), Qt::white) > 20);
        QCOMPARE(pixelsNear(withName, QRect(0, 60, 640, 300), Qt::white), 0);
        options.showFileName = false;
        QCOMPARE(pixelsNear(SlideRenderer(options).composeSlide(filled({300, 300}, Qt::red), named, Screen),
                     QRect(0, 0, 640, 50), Qt::white),
            0);
    }

    // The caption's pixels sit at the bottom, on the side that its alignment says, and its band
    // when it is opaque.
    void captionFollowsItsAlignment_data()
    {
        QTest::addColumn<int>("align");
        QTest::addColumn<int>("third"); // 0 left, 1 middle, 2 right
        QTest::newRow("left") << 0 << 0;
        QTest::newRow("right") << 1 << 2;
        QTest::newRow("centred") << 2 << 1;
    }
    void captionFollowsItsAlignment()
    {
        QFETCH(int, align);
        QFETCH(int, third);
        const QImage layer = SlideRenderer().composeSlide(filled(Screen, Qt::black), captioned(align), Screen);
        for (int i = 0; i < 3; ++i) {
            const int yellow = pixelsNear(layer, QRect(i * 213, 260, 213, 100), Qt::yellow);
            QVERIFY2(
                i == third ? yellow > 50 : yellow == 0, qPrintable(QStringLiteral("third %1: %2").arg(i).arg(yellow)));
        }
        QCOMPARE(pixelsNear(layer, QRect(0, 0, 640, 250), Qt::yellow), 0);  // nothing higher up
        QCOMPARE(pixelsNear(layer, QRect(0, 340, 640, 20), Qt::yellow), 0); // the margin kept
        QCOMPARE(pixelsNear(layer, layer.rect(), Qt::blue), 0);             // transparent back

        const QImage band = SlideRenderer().composeSlide(filled(Screen, Qt::black), captioned(align, true), Screen);
        QVERIFY(pixelsNear(band, QRect(third * 213, 260, 213, 100), Qt::blue) > 200);
    }

    void missingPicture()
    {
        const QImage layer
            = SlideRenderer().composeSlide(QImage(), captioned(2), Screen, QStringLiteral("Image absente : plage.jpg"));
        QCOMPARE(layer.pixelColor(320, 180).red(), layer.pixelColor(320, 180).blue()); // a grey card
        QVERIFY(pixelsNear(layer, QRect(107, 120, 426, 120), QColor(230, 230, 230)) > 50);
        QVERIFY(pixelsNear(layer, QRect(0, 260, 640, 100), Qt::yellow) > 50); // the caption still shows
    }

    void transitions()
    {
        const QImage red = filled(Screen, Qt::red);
        const QImage blue = filled(Screen, Qt::blue);
        RenderOptions options;
        const SlideRenderer fade(options);
        QCOMPARE(fade.frame(red, blue, 0).pixelColor(10, 10), QColor(Qt::red));
        const QColor middle = fade.frame(red, blue, 0.5).pixelColor(10, 10);
        QVERIFY2(std::abs(middle.red() - 128) < 4 && std::abs(middle.blue() - 128) < 4 && middle.green() == 0,
            qPrintable(middle.name()));
        QCOMPARE(fade.frame(red, blue, 1).pixelColor(10, 10), QColor(Qt::blue));

        options.throughBlack = true;
        const SlideRenderer black(options);
        const QColor quarter = black.frame(red, blue, 0.25).pixelColor(10, 10);
        QVERIFY2(std::abs(quarter.red() - 128) < 4 && quarter.blue() == 0, qPrintable(quarter.name()));
        QCOMPARE(black.frame(red, blue, 0.5).pixelColor(10, 10), QColor(Qt::black));
        const QColor threeQuarters = black.frame(red, blue, 0.75).pixelColor(10, 10);
        QVERIFY2(
            threeQuarters.red() == 0 && std::abs(threeQuarters.blue() - 128) < 4, qPrintable(threeQuarters.name()));
    }
};

QTEST_MAIN(TestSlideRenderer)
#include "tst_sliderenderer.moc"
