// The album window on a page of many pictures: from the window made with that page chosen to
// the first screenful of thumbnails drawn, then the resident memory after scrolling to the end.
//   tapisol-album-page-bench <language folder> [pictures]
#include "AlbumStore.h"
#include "ClsMdb.h"
#include "ClsRegistry.h"
#include "FrmAlbums.h"
#include "InterfaceTexts.h"
#include "JetValues.h"
#include "ThumbnailGridModel.h"
#include "ThumbnailView.h"
#include "Volumes.h"

#include <QApplication>
#include <QBuffer>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QPainter>
#include <QScrollBar>
#include <QTemporaryDir>

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <SQLiteCpp/Transaction.h>

#include <cstdio>

namespace {

long statusKb(const char* field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith(field))
            return line.mid(qstrlen(field)).trimmed().split(' ').value(0).toLong();
    }
    return -1;
}

bool visibleSettled(const FrmAlbums& window)
{
    const QList<int> rows = window.grid()->visibleRows();
    return !rows.isEmpty()
        && std::all_of(rows.begin(), rows.end(), [&](int row) { return window.gridModel()->isSettled(row); });
}

// Runs the event loop until every thumbnail on screen is at hand, then paints; the milliseconds.
double untilDrawn(FrmAlbums& window, const QElapsedTimer& clock)
{
    while (!visibleSettled(window) && clock.elapsed() < 30000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    window.grid()->viewport()->repaint();
    return clock.nsecsElapsed() / 1e6;
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: tapisol-album-page-bench <language folder> [pictures]\n");
        return 2;
    }
    QTemporaryDir home;
    for (const char* name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"})
        qputenv(name, home.filePath(QString::fromLatin1(name)).toUtf8());
    QApplication app(argc, argv);
    const int count = argc > 2 ? std::max(100, std::atoi(argv[2])) : 5000;
    interfaceTexts().load(QStringLiteral("FRA"));

    ClsMdb db;
    db.setMdbName(home.filePath(QStringLiteral("Tapisol.mdb")));
    db.setLanguageFolder(QString::fromLocal8Bit(argv[1]));
    if (!db.MdbInit()) {
        std::fprintf(stderr, "the database could not be made\n");
        return 1;
    }
    const qint64 album = AlbumStore::addAlbum(db, QStringLiteral("Banc d'essai")).value_or(0);
    const qint64 page = AlbumStore::addPage(db, album, 0, QStringLiteral("%1 images").arg(count)).value_or(0);
    const QString thumbs = home.filePath(QStringLiteral("TPThumbnails/"));
    QDir().mkpath(thumbs);

    // A few real thumbnails, copied to every picture's own file as the store would have them.
    QElapsedTimer making;
    making.start();
    QList<QByteArray> models;
    for (int i = 0; i < 8; ++i) {
        QImage image(160, 120, QImage::Format_RGB32);
        QPainter painter(&image);
        QLinearGradient gradient(0, 0, 160, 120);
        gradient.setColorAt(0, QColor::fromHsv(i * 45, 200, 230));
        gradient.setColorAt(1, QColor::fromHsv((i * 45 + 120) % 360, 160, 90));
        painter.fillRect(image.rect(), gradient);
        painter.end();
        QBuffer jpeg(&models.emplace_back());
        jpeg.open(QIODevice::WriteOnly);
        image.save(&jpeg, "JPEG", 75);
    }
    const quint32 serial = Volumes::volumeOf(home.path()).value_or(Volumes::Volume {}).serial;
    {
        SQLite::Transaction transaction(db.database());
        SQLite::Statement picture(
            db.database(), "INSERT INTO AlbumPictures (VolSerial, Path, ThumbPath, ImageDateTime) VALUES (?, ?, ?, ?)");
        SQLite::Statement link(db.database(), "INSERT INTO AlbumPicturesRel (KeyPages, KeyImages) VALUES (?, ?)");
        const QDateTime start(QDate(2019, 6, 1), QTime(9, 0));
        for (int i = 0; i < count; ++i) {
            const QString thumb = thumbs + QStringLiteral("%1.thb").arg(i, 8, 10, QLatin1Char('0'));
            QFile file(thumb);
            if (!file.open(QIODevice::WriteOnly) || file.write(models.at(i % models.size())) < 0) {
                std::fprintf(stderr, "%s cannot be written\n", qPrintable(thumb));
                return 1;
            }
            picture.bind(1, static_cast<int64_t>(static_cast<qint32>(serial)));
            picture.bind(
                2, home.filePath(QStringLiteral("photos/IMG_%1.jpg").arg(i, 5, 10, QLatin1Char('0'))).toStdString());
            picture.bind(3, thumb.toStdString());
            picture.bind(4, Jet::toOaDate(start.addSecs(i * 37)));
            picture.exec();
            picture.reset();
            link.bind(1, static_cast<int64_t>(page));
            link.bind(2, static_cast<int64_t>(db.database().getLastInsertRowid()));
            link.exec();
            link.reset();
        }
        transaction.commit();
    }
    const double madeMs = making.nsecsElapsed() / 1e6;
    std::fflush(stdout);
    registry().set(SettingNo::AlbLastPadSelect, int(album));
    registry().set(SettingNo::AlbLastCatSelect, int(page));
    registry().set(SettingNo::AlbWindowWidth, 1366 * 15); // the whole screen, within its work area
    registry().set(SettingNo::AlbWindowHeight, 768 * 15);
    const long rssBefore = statusKb("VmRSS:");

    QElapsedTimer clock;
    clock.start();
    FrmAlbums window(db, thumbs, {});
    const double builtMs = clock.nsecsElapsed() / 1e6;
    window.show();
    const double firstMs = untilDrawn(window, clock);
    const int onScreen = int(window.grid()->visibleRows().size());
    const int readFirst = window.gridModel()->loadsRequested();

    QScrollBar* bar = window.grid()->verticalScrollBar();
    QElapsedTimer scrolling;
    scrolling.start();
    int steps = 0;
    for (int value = 0; value <= bar->maximum(); value += bar->pageStep(), ++steps) {
        bar->setValue(value);
        QElapsedTimer step;
        step.start();
        untilDrawn(window, step);
    }
    bar->setValue(bar->maximum());
    QElapsedTimer last;
    last.start();
    untilDrawn(window, last);
    const double scrollMs = scrolling.nsecsElapsed() / 1e6;

    std::printf("page of %d pictures (%d thumbnail files made and stored in %.0f ms)\n", count, count, madeMs);
    std::printf("%-52s %10.1f ms\n", "window built, page read", builtMs);
    std::printf("%-52s %10.1f ms   goal < 200\n", "first screenful drawn (from the window's making)", firstMs);
    std::printf("%-52s %10d (%d thumbnail files read for it)\n", "thumbnails on screen", onScreen, readFirst);
    std::printf("%-52s %10.1f ms (%d screens, %.1f ms each)\n", "scrolled to the end, every screen drawn", scrollMs,
        steps, scrollMs / std::max(1, steps));
    std::printf("%-52s %10d KB of %d KB\n", "thumbnail cache", window.gridModel()->cacheUsed(),
        window.gridModel()->cacheLimit());
    std::printf("%-52s %10ld KB before the window\n", "VmRSS", rssBefore);
    std::printf("%-52s %10ld KB (%.1f MB)   goal < 100 MB\n", "VmRSS after scrolling to the end", statusKb("VmRSS:"),
        statusKb("VmRSS:") / 1024.0);
    std::printf("%-52s %10ld KB\n", "VmHWM (peak)", statusKb("VmHWM:"));
    return 0;
}
