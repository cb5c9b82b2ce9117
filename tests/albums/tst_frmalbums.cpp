// The album window on a real database with real thumbnail files: the grid reads only the
// thumbnails on screen and keeps its cache within bounds, the tree follows the store through
// adds, renames, moves and deletions, a picture of a disk that is not connected is greyed and
// named, a drag reorder is kept as the user's order, pictures move between pages and come back
// after a removal, the full view steps through a page, adding a folder through the real decoding
// helper tells its failures once and survives a cancel or its page's deletion, the cleaning runs
// under the wait window with its menu item off, and every text is whole in French and English.
#include "../db/MdbTestSupport.h"
#include "AlbumCleaning.h"
#include "AlbumStore.h"
#include "AlbumTreeModel.h"
#include "ClsImage.h"
#include "ClsRegistry.h"
#include "FrmAlbums.h"
#include "FrmPictureView.h"
#include "FrmWait.h"
#include "ImageDecoder.h"
#include "InterfaceTexts.h"

#include <QKeySequence>
#include "ThumbnailGridModel.h"
#include "ThumbnailView.h"
#include "Volumes.h"

#include <QAction>
#include <QComboBox>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollBar>
#include <QSplitter>
#include <QStatusBar>
#include <QToolButton>
#include <QTreeView>
#include <QtTest>

namespace {

const QList<QColor> Colours = {Qt::red, Qt::green, Qt::blue, Qt::yellow, Qt::cyan, Qt::magenta, QColor(255, 128, 0)};

bool writeJpeg(const QString& path, QSize size, const QColor& colour)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(colour);
    QDir().mkpath(QFileInfo(path).absolutePath());
    return image.save(path, "JPEG", 90);
}

bool near(const QColor& a, const QColor& b)
{
    return qAbs(a.red() - b.red()) < 40 && qAbs(a.green() - b.green()) < 40 && qAbs(a.blue() - b.blue()) < 40;
}

// Closes the message boxes the window opens, keeping their texts.
class MessageCloser : public QObject
{
public:
    QStringList texts;
    MessageCloser() { startTimer(50); }

protected:
    void timerEvent(QTimerEvent*) override
    {
        if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
            texts << box->text();
            for (QAbstractButton* button : box->buttons()) {
                if (box->buttonRole(button) == QMessageBox::AcceptRole) {
                    button->click(); // the answer that goes on: delete, OK
                    return;
                }
            }
        }
    }
};

QString treeDump(const QAbstractItemModel& model, const QModelIndex& parent = {}, int depth = 0)
{
    QString dump;
    for (int row = 0; row < model.rowCount(parent); ++row) {
        const QModelIndex index = model.index(row, 0, parent);
        dump += QString(depth * 2, QLatin1Char(' ')) + index.data().toString() + QLatin1Char('\n');
        dump += treeDump(model, index, depth + 1);
    }
    return dump;
}

} // namespace

class TestFrmAlbums : public QObject, MdbTest::Fixture
{
    Q_OBJECT

    std::unique_ptr<ClsMdb> m_db;
    QString m_thumbs;
    qint64 m_album = 0;
    qint64 m_page = 0;
    quint32 m_here = 0;

    // `count` pictures on a page, picture i with a thumbnail of colour i % 7.
    void fillPage(qint64 page, int count, quint32 serial, int first = 0)
    {
        for (int i = first; i < first + count; ++i) {
            const QString thumb = m_thumbs + ClsImage::thumbnailFileName(i);
            QVERIFY(writeJpeg(thumb, QSize(160, 120), Colours.at(i % Colours.size())));
            const QString path = home->path() + QStringLiteral("/pictures/p%1.jpg").arg(i, 4, 10, QLatin1Char('0'));
            QVERIFY(AlbumStore::addPictureToPage(
                *m_db, page, serial, path, thumb, QDateTime(QDate(2020, 1, 1), QTime(12, 0)).addSecs(-i * 60)));
        }
    }

    static bool visibleSettled(const FrmAlbums& window)
    {
        const QList<int> rows = window.grid()->visibleRows();
        return !rows.isEmpty()
            && std::all_of(rows.begin(), rows.end(), [&](int row) { return window.gridModel()->isSettled(row); });
    }

    QAction* action(const FrmAlbums& window, int text)
    {
        for (QAction* found : window.findChildren<QAction*>()) {
            if (found->text() == langText(text))
                return found;
        }
        return nullptr;
    }

private slots:
    void initTestCase() { ImageDecoder::setHelperProgram(QStringLiteral(TAPISOL_DECODER_PROGRAM)); }

    void init()
    {
        setUp();
        releaseRegistry();
        QVERIFY(interfaceTexts().load(QStringLiteral("FRA")));
        m_db = makeMdb();
        QVERIFY(m_db->MdbInit());
        m_thumbs = home->tapisolDataDir() + QStringLiteral("TPThumbnails/");
        QDir().mkpath(m_thumbs);
        m_album = AlbumStore::addAlbum(*m_db, QStringLiteral("Vacances")).value_or(0);
        m_page = AlbumStore::addPage(*m_db, m_album, 0, QStringLiteral("Bretagne")).value_or(0);
        QVERIFY(m_album && m_page);
        const auto volume = Volumes::volumeOf(home->path());
        QVERIFY(volume);
        m_here = volume->serial;
    }
    void cleanup()
    {
        releaseRegistry();
        m_db.reset();
        home.reset();
    }

    // 400 pictures: only the screenful is read, the newest request first; scrolling to the end
    // with a cache of 40 thumbnails keeps the cache within it and lets the first ones go.
    void gridReadsOnlyWhatIsShown()
    {
        fillPage(m_page, 400, m_here);
        FrmAlbums window(*m_db, m_thumbs, {});
        window.resize(900, 600);
        QVERIFY(window.selectPage(m_album, m_page));
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        ThumbnailGridModel* grid = window.gridModel();
        QCOMPARE(grid->rowCount(), 400);
        QTRY_VERIFY_WITH_TIMEOUT(visibleSettled(window), 5000);
        const QList<int> visible = window.grid()->visibleRows();
        QVERIFY2(grid->loadsRequested() <= visible.size() * 2, qPrintable(QString::number(grid->loadsRequested())));
        for (int row : {visible.first(), visible.last()}) {
            const QImage shown = grid->cachedThumbnail(row).toImage();
            QVERIFY(near(shown.pixelColor(80, 60), Colours.at(row % Colours.size())));
        }

        const int oneThumbnailKb = 160 * 120 * 4 / 1024 + 1;
        grid->setCacheLimit(40 * oneThumbnailKb);
        QScrollBar* bar = window.grid()->verticalScrollBar();
        for (int value = 0; value < bar->maximum(); value += bar->pageStep()) {
            bar->setValue(value);
            QTRY_VERIFY_WITH_TIMEOUT(visibleSettled(window), 5000);
            QVERIFY(grid->cacheUsed() <= grid->cacheLimit());
        }
        bar->setValue(bar->maximum());
        QTRY_VERIFY_WITH_TIMEOUT(grid->isSettled(399), 5000);
        QVERIFY(grid->cachedThumbnail(0).isNull());
        QVERIFY(grid->cacheUsed() <= grid->cacheLimit());
    }

    // Albums and pages made, renamed (and moved to their place by name), moved and deleted in
    // the tree: each change is in the store, and a fresh read gives the same tree.
    void treeFollowsTheStore()
    {
        MessageCloser messages;
        FrmAlbums window(*m_db, m_thumbs, {});
        AlbumTreeModel* tree = window.treeModel();
        QSignalSpy refusals(tree, &AlbumTreeModel::failed);
        QString error;
        const QModelIndex ete = tree->addAlbum(QStringLiteral("  Été 2021 "), &error);
        QVERIFY2(ete.isValid(), qPrintable(error));
        QVERIFY(!tree->addAlbum(QStringLiteral("VACANCES"), &error).isValid()); // names ignore case
        QCOMPARE(error, langText(3088).arg(QStringLiteral("VACANCES")));
        const QModelIndex b = tree->addPage(tree->indexOf(AlbumTreeModel::albumOf(ete)), QStringLiteral("B page"));
        const QModelIndex a = tree->addPage(b.parent(), QStringLiteral("a page 10"));
        tree->addPage(b.parent(), QStringLiteral("a page 9"));
        const QModelIndex sub = tree->addPage(a, QStringLiteral("Sous-page"));
        QVERIFY(sub.isValid());
        QCOMPARE(treeDump(*tree),
            QStringLiteral("Été 2021\n  a page 9\n  a page 10\n    Sous-page\n  B page\nVacances\n  Bretagne\n"));

        QVERIFY(!tree->setData(a, QStringLiteral("   ")));
        QCOMPARE(refusals.size(), 1);
        QCOMPARE(messages.texts, QStringList({langText(3085)}));
        QVERIFY(tree->setData(a, QStringLiteral("z page")));
        QCOMPARE(treeDump(*tree),
            QStringLiteral("Été 2021\n  a page 9\n  B page\n  z page\n    Sous-page\nVacances\n  Bretagne\n"));
        const qint64 album = AlbumTreeModel::albumOf(ete);
        const QModelIndex z = tree->index(2, 0, tree->indexOf(album));
        QCOMPARE(AlbumStore::page(*m_db, AlbumTreeModel::pageOf(z))->Nom, QStringLiteral("z page"));

        // The sub-page dragged onto its album: at the album's top level, in the store too.
        const qint64 subKey = AlbumTreeModel::pageOf(tree->index(0, 0, z));
        std::unique_ptr<QMimeData> dragged(tree->mimeData({tree->indexOf(album, subKey)}));
        QVERIFY(!tree->canDropMimeData(dragged.get(), Qt::MoveAction, -1, 0, tree->indexOf(album, subKey)));
        QVERIFY(!tree->canDropMimeData(dragged.get(), Qt::MoveAction, -1, 0, tree->indexOf(m_album)));
        QVERIFY(tree->dropMimeData(dragged.get(), Qt::MoveAction, -1, 0, tree->indexOf(album)));
        const QList<PagePlacement> placements = AlbumStore::pagesOfAlbum(*m_db, album);
        const auto moved = std::find_if(
            placements.begin(), placements.end(), [subKey](const PagePlacement& p) { return p.KeyPages == subKey; });
        QVERIFY(moved != placements.end() && moved->KeyParent == 0);

        QVERIFY(tree->remove(tree->index(1, 0, tree->indexOf(album)))); // B page
        const QString shown = treeDump(*tree);
        tree->reload();
        QCOMPARE(treeDump(*tree), shown);
        QVERIFY(tree->remove(tree->indexOf(album)));
        QCOMPARE(treeDump(*tree), QStringLiteral("Vacances\n  Bretagne\n"));
        QVERIFY(!AlbumStore::page(*m_db, subKey));
    }

    // A picture on a disk that is not connected: greyed, its disk named in the tool tip, the
    // status line and the full view, which shows no picture for it.
    void missingDiskIsGreyedAndNamed()
    {
        VolumeRow usb;
        usb.KeyVol = 0xDEAD0001;
        usb.Type = VolumeKind::Removable;
        usb.Nom = QStringLiteral("Photos 2019");
        QVERIFY(!Volumes::isMounted(usb.KeyVol));
        QVERIFY(AlbumStore::storeVolume(*m_db, usb));
        fillPage(m_page, 1, m_here, 0);
        fillPage(m_page, 1, usb.KeyVol, 7); // the same red
        FrmAlbums window(*m_db, m_thumbs, {});
        QVERIFY(window.selectPage(m_album, m_page));
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        ThumbnailGridModel* grid = window.gridModel();
        QTRY_VERIFY_WITH_TIMEOUT(grid->isSettled(0) && grid->isSettled(1), 5000);
        const QColor mounted = grid->cachedThumbnail(0).toImage().pixelColor(80, 60);
        const QColor missing = grid->cachedThumbnail(1).toImage().pixelColor(80, 60);
        QVERIFY(near(mounted, Qt::red));
        QVERIFY2(missing.red() == missing.green() && missing.green() == missing.blue() && missing.red() > 100,
            qPrintable(missing.name()));
        QVERIFY(!grid->index(0).data(ThumbnailGridModel::MissingVolumeRole).toBool());
        QVERIFY(grid->index(1).data(ThumbnailGridModel::MissingVolumeRole).toBool());
        QVERIFY(grid->index(1).data(Qt::ToolTipRole).toString().contains(Volumes::describe(usb)));
        QVERIFY(window.findChild<QLabel*>(QStringLiteral("counts"))->text().contains(langText(3058).arg(1)));

        window.grid()->setFocus();
        window.grid()->setCurrentIndex(grid->index(1));
        QTest::keyClick(window.grid(), Qt::Key_Return);
        QTRY_VERIFY(window.pictureView() && window.pictureView()->isVisible());
        QVERIFY(window.pictureView()->message().contains(Volumes::describe(usb)));
        QVERIFY(window.pictureView()->shownImage().isNull());
        QTest::keyClick(window.pictureView(), Qt::Key_Escape);
        QTRY_VERIFY(!window.pictureView());
    }

    // A picture dragged to the front: the order is saved as the user's at once, shown again by
    // the next window, and the fixed orders stay as they were.
    void dragOrderIsKept()
    {
        fillPage(m_page, 5, m_here);
        QList<qint64> keys;
        {
            FrmAlbums window(*m_db, m_thumbs, {});
            QVERIFY(window.selectPage(m_album, m_page));
            ThumbnailGridModel* grid = window.gridModel();
            keys = grid->keys();
            std::unique_ptr<QMimeData> dragged(grid->mimeData({grid->index(4)}));
            QVERIFY(grid->dropMimeData(dragged.get(), Qt::MoveAction, 0, 0, {}));
            QCOMPARE(grid->keys(), QList<qint64>({keys[4], keys[0], keys[1], keys[2], keys[3]}));
            const QList<SortOrder> orders = AlbumStore::sortOrders(*m_db, SortFamily::Pictures, m_page);
            QCOMPARE(orders.size(), 1);
            QCOMPARE(orders.first().Description, langText(3043));
            QCOMPARE(window.findChild<QComboBox*>(QStringLiteral("sort"))->currentText(), langText(3043));
            window.close();
        }
        FrmAlbums again(*m_db, m_thumbs, {});
        QVERIFY(again.selectPage(m_album, m_page));
        QCOMPARE(again.gridModel()->keys(), QList<qint64>({keys[4], keys[0], keys[1], keys[2], keys[3]}));
        auto* sort = again.findChild<QComboBox*>(QStringLiteral("sort"));
        sort->setCurrentIndex(2); // by date: the pictures were taken one minute apart, the last first
        emit sort->activated(2);
        QCOMPARE(again.gridModel()->keys(), QList<qint64>({keys[4], keys[3], keys[2], keys[1], keys[0]}));
    }

    // A folder with six pictures, a damaged one and a text: six thumbnails made by the decoding
    // helper, the damaged file told in one message; the same folder again makes nothing new.
    // The cleaning then forgets a picture whose file went, once at a time.
    void addingAFolderAndCleaning()
    {
        const QString folder = home->path() + QStringLiteral("/Photos/");
        for (int i = 0; i < 6; ++i)
            QVERIFY(writeJpeg(folder + QStringLiteral("sub/%1.jpg").arg(i), QSize(640, 480), Colours.at(i)));
        QVERIFY(MdbTest::writeFile(folder + QStringLiteral("abîmée.jpg"), QByteArray("\xFF\xD8\xFF\xE0", 4) + "xx"));
        QVERIFY(MdbTest::writeFile(folder + QStringLiteral("notes.txt"), "not a picture"));
        MessageCloser messages;
        FrmAlbums window(*m_db, m_thumbs, {});
        QVERIFY(window.selectPage(m_album, m_page));
        window.show();
        QSignalSpy finished(&window, &FrmAlbums::addingFinished);
        window.addPaths(m_page, {folder}, true);
        QVERIFY(finished.wait(60000));
        QStringList names; // in the order of the files, whichever helper finished first
        for (int row = 0; row < window.gridModel()->rowCount(); ++row)
            names << window.gridModel()->index(row).data().toString();
        QCOMPARE(names, QStringList({"0.jpg", "1.jpg", "2.jpg", "3.jpg", "4.jpg", "5.jpg"}));
        QCOMPARE(window.lastFailures().size(), 1);
        QVERIFY(window.lastFailures().first().contains(QStringLiteral("abîmée.jpg")));
        QTRY_COMPARE(messages.texts.size(), 1);
        QVERIFY(messages.texts.first().contains(QStringLiteral("abîmée.jpg")));
        const QList<PictureRow> stored = AlbumStore::picturesOfPage(*m_db, m_page);
        QCOMPARE(stored.size(), 6);
        for (const PictureRow& row : stored)
            QVERIFY(QImage(row.ThumbPath).size() == QSize(160, 120));
        const QStringList thumbs = QDir(m_thumbs).entryList(QDir::Files);
        QCOMPARE(thumbs.size(), 6);

        window.addPaths(m_page, {folder}, true);
        QVERIFY(finished.wait(60000));
        QCOMPARE(window.gridModel()->rowCount(), 6);
        QCOMPARE(QDir(m_thumbs).entryList(QDir::Files), thumbs);

        QVERIFY(QFile::remove(folder + QStringLiteral("sub/0.jpg")));
        QAction* clean = action(window, 3032);
        QVERIFY(clean);
        bool sawWait = false;
        bool sawDisabled = false;
        QTimer watch;
        connect(&watch, &QTimer::timeout, this, [&] {
            if (!AlbumCleaning::isRunning())
                return;
            sawWait = sawWait || window.findChild<FrmWait*>();
            sawDisabled = sawDisabled || !clean->isEnabled();
        });
        watch.start(0);
        messages.texts.clear();
        clean->trigger();
        watch.stop();
        QVERIFY(sawWait && sawDisabled);
        QTRY_VERIFY(messages.texts.last().startsWith(langText(3069).section(QLatin1Char(':'), 0, 0)));
        QCOMPARE(window.gridModel()->rowCount(), 5);
        QVERIFY(clean->isEnabled());
    }

    // Pictures dragged to another page (moved, or copied with Ctrl), taken off a page with Delete
    // and put back with Ctrl+Z, then deleted from the store with Shift+Delete: their links on
    // every page and their thumbnail go, the files stay.
    void picturesMovedRemovedAndDeleted()
    {
        const qint64 other = AlbumStore::addPage(*m_db, m_album, 0, QStringLiteral("Normandie")).value_or(0);
        fillPage(m_page, 4, m_here);
        MessageCloser messages;
        FrmAlbums window(*m_db, m_thumbs, {});
        QVERIFY(window.selectPage(m_album, m_page));
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        ThumbnailGridModel* grid = window.gridModel();
        const QList<qint64> keys = grid->keys();
        AlbumTreeModel* tree = window.treeModel();
        std::unique_ptr<QMimeData> two(grid->mimeData({grid->index(0), grid->index(1)}));
        QVERIFY(tree->dropMimeData(two.get(), Qt::MoveAction, -1, 0, tree->indexOf(m_album, other)));
        std::unique_ptr<QMimeData> one(grid->mimeData({grid->index(2)}));
        QVERIFY(tree->dropMimeData(one.get(), Qt::CopyAction, -1, 0, tree->indexOf(m_album, other)));
        QTRY_COMPARE(grid->keys(), QList<qint64>({keys[2], keys[3]}));
        QCOMPARE(AlbumStore::pictureKeysOfPage(*m_db, other), QList<qint64>({keys[0], keys[1], keys[2]}));

        window.grid()->setFocus();
        window.grid()->setCurrentIndex(grid->index(1)); // keys[3]
        QTest::keyClick(window.grid(), Qt::Key_Delete);
        QCOMPARE(AlbumStore::pictureKeysOfPage(*m_db, m_page), QList<qint64>({keys[2]}));
        QVERIFY(AlbumStore::picture(*m_db, keys[3]));
        QTest::keyClick(window.grid(), Qt::Key_Z, Qt::ControlModifier); // back, and selected
        QCOMPARE(AlbumStore::pictureKeysOfPage(*m_db, m_page), QList<qint64>({keys[2], keys[3]}));
        QCOMPARE(grid->rowCount(), 2);

        QCOMPARE(window.grid()->selectionModel()->selectedIndexes(), QModelIndexList({grid->index(1)}));
        const QString thumb = AlbumStore::picture(*m_db, keys[2])->ThumbPath;
        window.grid()->selectionModel()->setCurrentIndex(
            grid->index(grid->rowOfKey(keys[2])), QItemSelectionModel::ClearAndSelect);
        QTest::keyClick(window.grid(), Qt::Key_Delete, Qt::ShiftModifier);
        QCOMPARE(messages.texts, QStringList({langText(3062).arg(1)}));
        QVERIFY(!AlbumStore::picture(*m_db, keys[2]));
        QVERIFY(!QFileInfo::exists(thumb));
        QCOMPARE(AlbumStore::pictureKeysOfPage(*m_db, other), QList<qint64>({keys[0], keys[1]}));
        QCOMPARE(grid->keys(), QList<qint64>({keys[3]}));
    }

    // The full view decodes through the helper at most at the screen's size, steps with the
    // arrows (the grid following), and names a file that is gone.
    void fullViewStepsThroughThePage()
    {
        QStringList files;
        for (int i = 0; i < 3; ++i) {
            files << home->path() + QStringLiteral("/photos/%1.jpg").arg(i);
            QVERIFY(writeJpeg(files.last(), QSize(400, 300), Colours.at(i)));
            QVERIFY(AlbumStore::addPictureToPage(
                *m_db, m_page, m_here, files.last(), m_thumbs + ClsImage::thumbnailFileName(i), {}));
        }
        QVERIFY(QFile::remove(files.at(2)));
        FrmAlbums window(*m_db, m_thumbs, {});
        QVERIFY(window.selectPage(m_album, m_page));
        window.show();
        window.grid()->setFocus();
        window.grid()->setCurrentIndex(window.gridModel()->index(0));
        QTest::keyClick(window.grid(), Qt::Key_Return);
        QTRY_VERIFY(window.pictureView());
        FrmPictureView* view = window.pictureView();
        QTRY_VERIFY_WITH_TIMEOUT(!view->shownImage().isNull(), 10000);
        QCOMPARE(view->shownImage().size(), QSize(400, 300)); // never enlarged
        QVERIFY(near(view->shownImage().pixelColor(200, 150), Colours.at(0)));
        QTest::keyClick(view, Qt::Key_Right);
        QCOMPARE(window.grid()->currentIndex().row(), 1);
        QTRY_VERIFY_WITH_TIMEOUT(
            !view->shownImage().isNull() && near(view->shownImage().pixelColor(200, 150), Colours.at(1)), 10000);
        QTest::keyClick(view, Qt::Key_End);
        QVERIFY(view->message().contains(files.at(2)));
        QVERIFY(view->shownImage().isNull());
        QTest::keyClick(view, Qt::Key_Escape);
        QTRY_VERIFY(!window.pictureView());
    }

    // Size, splitter, zoom, order and page come back in the next window.
    void settingsKeptAcrossWindows()
    {
        fillPage(m_page, 3, m_here);
        {
            FrmAlbums window(*m_db, m_thumbs, {});
            QVERIFY(window.selectPage(m_album, m_page));
            window.show();
            window.resize(700, 500);
            window.findChild<QSplitter*>()->setSizes({200, 500});
            action(window, 3050)->trigger();
            action(window, 3050)->trigger(); // 150 %
            auto* sort = window.findChild<QComboBox*>(QStringLiteral("sort"));
            sort->setCurrentIndex(1);
            emit sort->activated(1);
            action(window, 3093)->setChecked(true); // names backwards
            QCOMPARE(window.gridModel()->index(0).data().toString(), QStringLiteral("p0002.jpg"));
            window.close();
        }
        FrmAlbums again(*m_db, m_thumbs, {});
        again.show();
        QCOMPARE(again.size(), QSize(700, 500));
        QVERIFY(qAbs(again.findChild<QSplitter*>()->sizes().value(0) - 200) <= 2);
        QCOMPARE(again.grid()->zoom(), 150);
        QCOMPARE(again.currentPage(), m_page);
        QCOMPARE(again.findChild<QComboBox*>(QStringLiteral("sort"))->currentIndex(), 1);
        QCOMPARE(again.gridModel()->index(0).data().toString(), QStringLiteral("p0002.jpg"));
    }

    // An adding cancelled half-way keeps what was made, and a page deleted while pictures are
    // added to it leaves neither links nor thumbnails behind.
    void addingCancelledOrItsPageDeleted()
    {
        const QString folder = home->path() + QStringLiteral("/Lot/");
        for (int i = 0; i < 40; ++i)
            QVERIFY(writeJpeg(folder + QStringLiteral("%1.jpg").arg(i), QSize(1600, 1200), Colours.at(i % 7)));
        MessageCloser messages;
        FrmAlbums window(*m_db, m_thumbs, {});
        QVERIFY(window.selectPage(m_album, m_page));
        window.show();
        QSignalSpy finished(&window, &FrmAlbums::addingFinished);
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        window.addPaths(m_page, {folder}, false);
        QTRY_VERIFY_WITH_TIMEOUT(window.gridModel()->rowCount() >= 2, 30000);
        window.findChild<QToolButton*>(QStringLiteral("cancelAdding"))->click();
        QVERIFY(finished.wait(30000));
        const int kept = window.gridModel()->rowCount();
        QVERIFY2(kept >= 2 && kept < 40, qPrintable(QString::number(kept)));
        QCOMPARE(AlbumStore::pictureKeysOfPage(*m_db, m_page).size(), kept);
        QCOMPARE(QDir(m_thumbs).entryList(QDir::Files).size(), kept);

        const qint64 doomed = AlbumStore::addPage(*m_db, m_album, 0, QStringLiteral("Éphémère")).value_or(0);
        window.treeModel()->reload();
        QVERIFY(window.selectPage(m_album, doomed));
        window.addPaths(doomed, {folder}, false);
        QTRY_VERIFY_WITH_TIMEOUT(window.gridModel()->rowCount() >= 1, 30000);
        window.tree()->setFocus();
        QTest::keyClick(window.tree(), Qt::Key_Delete); // confirmed by the closer
        QVERIFY(finished.wait(30000));
        QVERIFY(!AlbumStore::page(*m_db, doomed));
        QCOMPARE(AlbumStore::pictureCount(*m_db), QDir(m_thumbs).entryList(QDir::Files).size());
    }

    // A thumbnail file that cannot be read and a picture without one: both drawn as broken,
    // the reason in the tool tip, nothing asked of the worker again.
    void brokenThumbnails()
    {
        QVERIFY(MdbTest::writeFile(m_thumbs + QStringLiteral("00000000.thb"), "not a jpeg"));
        QVERIFY(AlbumStore::addPictureToPage(*m_db, m_page, m_here, home->path() + QStringLiteral("/a.jpg"),
            m_thumbs + QStringLiteral("00000000.thb"), {}));
        FrmAlbums window(*m_db, m_thumbs, {});
        QVERIFY(window.selectPage(m_album, m_page));
        window.show();
        ThumbnailGridModel* grid = window.gridModel();
        QTRY_VERIFY_WITH_TIMEOUT(grid->isSettled(0), 5000);
        QCOMPARE(
            grid->index(0).data(ThumbnailGridModel::StateRole).toInt(), int(ThumbnailGridModel::ThumbState::Broken));
        QVERIFY(grid->index(0).data(Qt::ToolTipRole).toString().contains(QStringLiteral("00000000.thb")));
        const int asked = grid->loadsRequested();
        window.grid()->viewport()->repaint();
        QCOMPARE(grid->loadsRequested(), asked);
    }

    // The wait window: Escape and the title bar's close button do nothing to a task that cannot
    // stop; with Cancel they ask it to stop, once.
    void waitWindow()
    {
        FrmWait fixed(QStringLiteral("…"), false);
        fixed.show();
        QTest::keyClick(&fixed, Qt::Key_Escape);
        QVERIFY(fixed.isVisible() && !fixed.isCancelled());
        FrmWait stoppable(QStringLiteral("…"), true);
        QSignalSpy cancelled(&stoppable, &FrmWait::cancelled);
        stoppable.show();
        stoppable.step(3, 10);
        QCOMPARE(stoppable.findChild<QProgressBar*>()->value(), 3);
        QTest::keyClick(&stoppable, Qt::Key_Escape);
        stoppable.findChild<QPushButton*>(QStringLiteral("cancel"))->click();
        QVERIFY(stoppable.isCancelled());
        QCOMPARE(cancelled.size(), 1);
        QVERIFY(stoppable.isVisible()); // it goes when the task ends
    }

    void textsWhole_data()
    {
        QTest::addColumn<QString>("language");
        QTest::newRow("French") << QStringLiteral("FRA");
        QTest::newRow("English") << QStringLiteral("ENG");
    }
    // Every caption and tool tip in the language, none cut, the window within 1366 × 768.
    void textsWhole()
    {
        QFETCH(QString, language);
        QVERIFY(interfaceTexts().load(language));
        fillPage(m_page, 3, m_here);
        FrmAlbums window(*m_db, m_thumbs, {});
        window.resize(1366 - 16, 768 - 48);
        QVERIFY(window.selectPage(m_album, m_page));
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        for (const QAction* each : window.findChildren<QAction*>()) {
            if (each->isSeparator() || each->text().isEmpty())
                continue;
            QVERIFY2(!each->text().contains(QLatin1Char('#')), qPrintable(each->text()));
            QVERIFY2(
                !each->toolTip().isEmpty() && !each->toolTip().contains(QLatin1Char('#')), qPrintable(each->text()));
        }
        for (const QWidget* widget : window.findChildren<QWidget*>()) {
            QVERIFY2(!widget->toolTip().contains(QLatin1Char('#')), qPrintable(widget->toolTip()));
            if (const auto* label = qobject_cast<const QLabel*>(widget); label && label->isVisible()) {
                QVERIFY2(!label->text().contains(QLatin1Char('#')), qPrintable(label->text()));
                QVERIFY2(label->fontMetrics().horizontalAdvance(label->text()) <= label->width() || label->wordWrap(),
                    qPrintable(label->text()));
            }
        }
        auto* sort = window.findChild<QComboBox*>(QStringLiteral("sort"));
        for (int i = 0; i < sort->count(); ++i)
            QVERIFY(sort->fontMetrics().horizontalAdvance(sort->itemText(i)) < sort->width());
        QVERIFY(window.frameGeometry().width() <= 1366 && window.frameGeometry().height() <= 768);
        // Qt's own words (key names in the menus, standard buttons) follow the interface too.
        QCOMPARE(QKeySequence(Qt::Key_Delete).toString(QKeySequence::NativeText),
            language == QLatin1String("FRA") ? QStringLiteral("Suppr") : QStringLiteral("Del"));
    }
};

QTEST_MAIN(TestFrmAlbums)
#include "tst_frmalbums.moc"
