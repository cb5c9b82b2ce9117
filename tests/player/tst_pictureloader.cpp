// The layers made ahead on the loader's thread through the real decoding helper: a large picture
// shown at the screen's size, a missing and a damaged one replaced by the notice naming them, and
// the project found deleted before its next slide.
#include "../db/MdbTestSupport.h"
#include "ImageDecoder.h"
#include "PictureLoader.h"
#include "ProjectReader.h"
#include "ProjectStore.h"

#include <QSignalSpy>
#include <QtTest>

class TestPictureLoader : public QObject, MdbTest::Fixture
{
    Q_OBJECT

private slots:
    void initTestCase() { ImageDecoder::setHelperProgram(QStringLiteral(TAPISOL_DECODER_PROGRAM)); }
    void init() { setUp(); }
    void cleanup() { home.reset(); }

    void layersAndNotices()
    {
        const QString folder = home->path() + QStringLiteral("/");
        QImage photo(3000, 1000, QImage::Format_RGB32);
        photo.fill(Qt::red);
        QVERIFY(photo.save(folder + QStringLiteral("wide.jpg"), "JPEG", 90));
        QVERIFY(MdbTest::writeFile(folder + QStringLiteral("damaged.jpg"), QByteArray("\xff\xd8\xff\xe0garbage", 12)));
        auto db = makeMdb();
        QVERIFY(db->MdbInit());
        ProjectRow project {0, QStringLiteral("P"), 2, {}};
        QList<SlideRow> rows(3);
        rows[0].Path = folder + QStringLiteral("wide.jpg");
        rows[1].Path = folder + QStringLiteral("absent.jpg");
        rows[2].Path = folder + QStringLiteral("damaged.jpg");
        QVERIFY(ProjectStore::saveProject(*db, project, rows));

        const SlideshowPlan plan(project, rows, {});
        RenderOptions options;
        options.background = Qt::blue;
        const SlideRenderer renderer(options);
        PictureLoader loader(plan, renderer, QSize(600, 400), std::make_unique<ProjectReader>(file, 500),
            project.KeyAuto, QStringLiteral("Illisible : %1"));
        QSignalSpy loaded(&loader, &PictureLoader::loaded);
        QSignalSpy gone(&loader, &PictureLoader::projectGone);
        loader.setWanted({0, 1, 2});
        for (int slide : {0, 1, 2})
            loader.request(slide);
        QTRY_COMPARE_WITH_TIMEOUT(loaded.size(), 3, 20000);

        const QImage wide = loaded[0][1].value<QImage>();
        QCOMPARE(wide.size(), QSize(600, 400));
        QVERIFY(loaded[0][2].toString().isEmpty());
        const QColor middle = wide.pixelColor(300, 200); // 600x200 in the middle, as JPEG keeps it
        QVERIFY2(middle.red() > 240 && middle.green() < 16 && middle.blue() < 16, qPrintable(middle.name()));
        QCOMPARE(wide.pixelColor(300, 40), QColor(Qt::blue));
        for (int i : {1, 2}) {
            const QImage notice = loaded[i][1].value<QImage>();
            QCOMPARE(notice.size(), QSize(600, 400));
            QVERIFY2(loaded[i][2].toString().contains(rows[i].Path), qPrintable(loaded[i][2].toString()));
            QCOMPARE(notice.pixelColor(30, 200), QColor(Qt::blue));
            QCOMPARE(notice.pixelColor(120, 150), QColor(48, 48, 48)); // the card
        }

        // A slide no longer wanted is not made; then the project goes.
        loader.setWanted({1});
        loader.request(0);
        loader.request(1);
        QTRY_COMPARE(loaded.size(), 4);
        QCOMPARE(loaded[3][0].toInt(), 1);
        QVERIFY(ProjectStore::deleteProject(*db, project.KeyAuto));
        loader.request(1);
        QTRY_COMPARE(gone.size(), 1);
        QCOMPARE(loaded.size(), 4);
    }
};

QTEST_MAIN(TestPictureLoader)
#include "tst_pictureloader.moc"
