// An album of 10,000 pictures on 100 pages read as the wallpaper's source, as the engine reads it
// on its worker thread before a change: the pages depth first, their pictures, the volumes. The
// database is made here with SQL; the reading runs several times and its times are printed beside
// the sqlite3 shell listing the same paths with one join (its process start included): the floor
// of any reading of that album.
#include "AlbumStore.h"
#include "ClsMdb.h"
#include "DatabaseSource.h"
#include "SourceSelection.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextStream>

#include <SQLiteCpp/SQLiteCpp.h>

#include <algorithm>

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    QTemporaryDir dir;
    const QString file = dir.path() + QStringLiteral("/Tapisol.mdb");
    qint64 album = 0;
    {
        ClsMdb db;
        db.setMdbName(file);
        if (!db.MdbInit())
            return 1;
        album = AlbumStore::addAlbum(db, QStringLiteral("Archives")).value_or(0);
        // A hundred pages of a hundred pictures ("/mnt/<page>/IMG_<n>.JPG").
        const QString hundred = QStringLiteral("WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n "
                                               "WHERE i < 99) ");
        const QStringList statements {
            hundred + "INSERT INTO AlbumPages (Nom, DateCreation, DateModif, StateOpen) SELECT i, 1, 1, 0 FROM n",
            QStringLiteral("INSERT INTO AlbumPagesRel (KeyAlbum, KeyPages, KeyParent) SELECT %1, KeyAuto, 0 "
                           "FROM AlbumPages")
                .arg(album),
            hundred
                + "INSERT INTO AlbumPictures (VolSerial, Path, ThumbPath, ImageDateTime) SELECT 7, '/mnt/' || "
                  "p.KeyAuto || '/IMG_' || n.i || '.JPG', p.KeyAuto || '-' || n.i, 1 FROM AlbumPages p, n",
            "INSERT INTO AlbumPicturesRel (KeyPages, KeyImages) SELECT CAST(substr(Path, 6, instr(substr(Path, 6), "
            "'/') - 1) AS INTEGER), KeyAuto FROM AlbumPictures"};
        for (const QString& statement : statements)
            db.database().exec(statement.toStdString());
    }

    QList<qint64> times;
    for (int run = 0; run < 7; ++run) {
        const DatabaseSource::Result result = DatabaseSource::read(file, SourceSelection::ofAlbum(album, 0));
        if (result.pictures != 10000 || result.pages != 100) {
            out << "unexpected list: " << result.pages << " pages, " << result.pictures << " pictures\n";
            return 1;
        }
        times << result.elapsedMs;
    }
    QList<qint64> shell;
    const QString join = QStringLiteral("SELECT p.Path FROM AlbumPagesRel r JOIN AlbumPicturesRel l ON l.KeyPages = "
                                        "r.KeyPages JOIN AlbumPictures p ON p.KeyAuto = l.KeyImages WHERE r.KeyAlbum "
                                        "= %1 ORDER BY r.KeyPages, l.rowid")
                             .arg(album);
    for (int run = 0; run < 7; ++run) {
        QElapsedTimer timer;
        timer.start();
        QProcess sqlite;
        sqlite.start(QStringLiteral("sqlite3"), {QStringLiteral("-readonly"), file, join});
        if (!sqlite.waitForFinished(30000) || sqlite.readAllStandardOutput().count('\n') != 10000) {
            out << "the sqlite3 shell did not list the 10,000 paths (scripts/deps.sh --test installs it)\n";
            return 1;
        }
        shell << timer.elapsed();
    }
    std::sort(times.begin(), times.end());
    std::sort(shell.begin(), shell.end());
    out << "An album of 10,000 pictures on 100 pages read as the wallpaper source, 7 runs each\n";
    out << QStringLiteral("%1 %2 %3 %4\n").arg(QString(), -40).arg("fastest", 9).arg("median", 9).arg("slowest", 9);
    const auto row = [&](const QString& what, const QList<qint64>& t) {
        out << QStringLiteral("%1 %2 ms %3 ms %4 ms\n")
                   .arg(what, -40)
                   .arg(t.first(), 6)
                   .arg(t.at(t.size() / 2), 6)
                   .arg(t.last(), 6);
    };
    row(QStringLiteral("Tapisol (pages, pictures, volumes)"), times);
    row(QStringLiteral("sqlite3 shell, the paths in one join"), shell);
    return 0;
}
