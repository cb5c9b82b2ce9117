// The assistant's project in memory against a real database file: slides added, moved and removed
// reach the tables in the order shown and come back the same; the dirty flag follows every edit;
// a file gone from the disk is marked, not dropped; a refused save keeps the edits.
#include "../db/MdbTestSupport.h"
#include "InterfaceTexts.h"
#include "ProjectEditing.h"

#include <QImage>
#include <QSignalSpy>
#include <QtTest>

class TestProjectEditing : public QObject, MdbTest::Fixture
{
    Q_OBJECT

    std::unique_ptr<ClsMdb> m_db;
    QString m_pictures;

    QStringList names(const QList<SlideRow>& slides)
    {
        QStringList out;
        for (const SlideRow& s : slides)
            out << QFileInfo(s.Path).completeBaseName();
        return out;
    }

private slots:
    void initTestCase() { QVERIFY(interfaceTexts().load(QStringLiteral("FRA"))); }
    void init()
    {
        setUp();
        m_db = makeMdb();
        QVERIFY(m_db->MdbInit());
        m_pictures = home->tapisolDataDir() + QStringLiteral("pics/");
        QVERIFY(QDir().mkpath(m_pictures));
        // Names whose order by text differs from their order by number, and a suffix in capitals.
        for (const QString& name : {QStringLiteral("10.jpg"), QStringLiteral("2.png"), QStringLiteral("1.JPG")}) {
            QImage image(32, 24, QImage::Format_RGB32);
            image.fill(Qt::darkCyan);
            QVERIFY(image.save(m_pictures + name, name.endsWith(QStringLiteral("png")) ? "PNG" : "JPG"));
        }
        QVERIFY(MdbTest::writeFile(m_pictures + QStringLiteral("notes.txt"), "not a picture"));
    }
    void cleanup()
    {
        m_db.reset();
        home.reset();
    }

    void roundTripAndDirtyFlag()
    {
        ProjectEditing editing(*m_db);
        QSignalSpy dirty(&editing, &ProjectEditing::dirtyChanged);
        editing.newProject(QStringLiteral("Vacances d'été"), 6);
        QVERIFY(editing.isDirty());

        const QStringList folder = ProjectEditing::picturesInFolder(m_pictures);
        QCOMPARE(folder.size(), 3);
        SlideRow model;
        model.FontName = QStringLiteral("DejaVu Sans");
        model.ForeColor = 0x00ffff;
        QCOMPARE(editing.addPictures(folder, -1, model), 3);
        QCOMPARE(names(editing.slides()), (QStringList {"1", "2", "10"}));
        QCOMPARE(editing.slide(2).FontName, QStringLiteral("DejaVu Sans"));

        // Ctrl+Down on the first, a drag of the last two to the front, a removal.
        QCOMPARE(editing.step(0, +1), 1);
        QCOMPARE(names(editing.slides()), (QStringList {"2", "1", "10"}));
        QCOMPARE(editing.step(2, +1), 2); // the last cannot go further
        QVERIFY(editing.move({2, 1}, 0));
        QCOMPARE(names(editing.slides()), (QStringList {"1", "10", "2"}));
        QVERIFY(!editing.move({0, 1}, 2)); // already there
        editing.addPictures({m_pictures + QStringLiteral("2.png")}, 1);
        editing.remove({3, 3});
        QCOMPARE(names(editing.slides()), (QStringList {"1", "2", "10"}));

        SlideRow captioned = editing.slide(1);
        captioned.Texte = QStringLiteral("Le port");
        captioned.VolMusic = 40;
        editing.setSlide(1, captioned);
        editing.setExpoTime(9);

        QString error;
        QVERIFY2(editing.save(&error), qPrintable(error));
        QVERIFY(!editing.isDirty());
        QVERIFY(editing.project().KeyAuto > 0);
        const qint64 key = editing.project().KeyAuto;

        // An edit that changes nothing leaves the project clean.
        editing.setSlide(1, editing.slide(1));
        editing.setExpoTime(9);
        QVERIFY(!editing.isDirty());
        QCOMPARE(dirty.count(), 2); // dirty on creation, clean on save

        ProjectEditing reopened(*m_db);
        QVERIFY(reopened.open(key));
        QCOMPARE(names(reopened.slides()), (QStringList {"1", "2", "10"}));
        QCOMPARE(reopened.project().ExpoTime, 9);
        QCOMPARE(reopened.slide(1).Texte, QStringLiteral("Le port"));
        QCOMPARE(reopened.slide(1).VolMusic, 40);
        QCOMPARE(reopened.slide(2).Ordre, 3);
        QVERIFY(!reopened.isDirty());

        // Moved and saved again: the table follows, with no slide left over.
        reopened.step(2, -1);
        QVERIFY(reopened.isDirty());
        QVERIFY(reopened.save());
        QCOMPARE(names(ProjectStore::slides(*m_db, key)), (QStringList {"1", "10", "2"}));
        QCOMPARE(
            MdbTest::rows(m_db->database(), QStringLiteral("SELECT count(*) FROM Diaporama")), QStringLiteral("3"));
    }

    void missingFilesMarkedAndRefusedSaveKept()
    {
        ProjectEditing editing(*m_db);
        editing.newProject(QStringLiteral("P"), 0);
        const QString gone = m_pictures + QStringLiteral("gone.jpg");
        editing.addPictures({m_pictures + QStringLiteral("2.png"), gone});
        SlideRow withSound = editing.slide(0);
        withSound.PathMusic = m_pictures + QStringLiteral("absent.mp3");
        editing.setSlide(0, withSound);
        QVERIFY(!editing.isPictureMissing(0));
        QVERIFY(editing.isPictureMissing(1));
        QVERIFY(editing.save()); // kept as it is: the disk may only be unplugged

        QVERIFY(QFile::remove(m_pictures + QStringLiteral("2.png")));
        ProjectEditing reopened(*m_db);
        QVERIFY(reopened.open(editing.project().KeyAuto));
        QCOMPARE(reopened.count(), 2);
        QVERIFY(reopened.isPictureMissing(0));
        const auto missing = reopened.validate();
        QCOMPARE(missing.size(), 3);
        QCOMPARE(missing.at(1).column, ProjectStore::FileColumn::Music);
        QCOMPARE(missing.at(2).path, gone);

        // Another project already has the name: refused, and the edits wait to be saved.
        QVERIFY(ProjectStore::addProject(*m_db, QStringLiteral("Q"), 0, {}));
        ProjectEditing clash(*m_db);
        clash.newProject(QStringLiteral("q"), 0);
        clash.addPictures({gone});
        QString error;
        QVERIFY(!clash.save(&error));
        QCOMPARE(error, langText(3101).arg(QStringLiteral("q")));
        QVERIFY(clash.isDirty());
        QCOMPARE(clash.project().KeyAuto, qint64(0));

        QVERIFY(ProjectStore::deleteProject(*m_db, editing.project().KeyAuto));
        QVERIFY(!reopened.open(editing.project().KeyAuto, &error));
        QCOMPARE(error, langText(3110));
    }
};

QTEST_GUILESS_MAIN(TestProjectEditing)
#include "tst_projectediting.moc"
