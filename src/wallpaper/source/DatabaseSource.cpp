#include "DatabaseSource.h"

#include "JetValues.h"
#include "MdbFiles.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <sqlite3.h>

#include <QElapsedTimer>
#include <QSet>

namespace {

struct Picture
{
    quint32 volume = 0;
    QString path;
};

// Mixes one entry into the running hash of a list.
void mix(quint64& hash, const QString& key, quint32 volume)
{
    hash = (hash ^ qHash(key)) * 1099511628211ULL;
    hash = (hash ^ volume) * 1099511628211ULL;
}

QString albumKey(qint64 album)
{
    return QStringLiteral("album:%1").arg(album);
}

QString pageKey(qint64 album, qint64 page)
{
    return QStringLiteral("album:%1/page:%2").arg(album).arg(page);
}

// The volumes the list's pictures name, read in one pass over the small `VolumeDesc` table.
QHash<quint32, VolumeRow> volumesOf(SQLite::Database& db, const QSet<quint32>& serials)
{
    QHash<quint32, VolumeRow> volumes;
    if (serials.isEmpty())
        return volumes;
    SQLite::Statement query(db, "SELECT KeyVol, Type, Nom FROM VolumeDesc");
    while (query.executeStep()) {
        const auto serial = quint32(query.getColumn(0).getInt64());
        if (!serials.contains(serial))
            continue;
        VolumeRow row;
        row.KeyVol = serial;
        row.Type = VolumeKind(qBound(0, query.getColumn(1).getInt(), 3));
        row.Nom = Jet::textOf(query.getColumn(2));
        volumes.insert(serial, row);
    }
    return volumes;
}

} // namespace

namespace DatabaseSource {

QList<PageDepth> pageOrder(const QList<std::pair<qint64, qint64>>& placements, qint64 from)
{
    QSet<qint64> pages;
    for (const auto& placement : placements)
        pages.insert(placement.first);
    QHash<qint64, QList<qint64>> children;
    for (const auto& [key, parent] : placements)
        children[pages.contains(parent) && parent != key ? parent : 0].append(key);
    QList<PageDepth> order;
    if (from != 0 && !pages.contains(from))
        return order;
    // Depth first without recursion, each page once.
    QSet<qint64> walked;
    const auto walk = [&](const QList<qint64>& top, int depth) {
        QList<PageDepth> stack;
        for (auto it = top.crbegin(); it != top.crend(); ++it)
            stack.append({*it, depth});
        while (!stack.isEmpty()) {
            const PageDepth next = stack.takeLast();
            if (walked.contains(next.page))
                continue;
            walked.insert(next.page);
            order.append(next);
            const QList<qint64> below = children.value(next.page);
            for (auto it = below.crbegin(); it != below.crend(); ++it)
                stack.append({*it, next.depth + 1});
        }
    };
    if (from != 0) {
        walk({from}, 0);
        return order;
    }
    walk(children.value(0), 1);
    // Pages whose parents loop (a damaged file) are reached from no top page: they come last, at
    // the top, rather than not at all.
    for (const auto& placement : placements) {
        if (!walked.contains(placement.first))
            walk({placement.first}, 1);
    }
    return order;
}

Result readAlbum(SQLite::Database& db, qint64 album, qint64 page)
{
    QElapsedTimer clock;
    clock.start();
    Result result;
    SQLite::Statement named(db, "SELECT Nom FROM Albums WHERE KeyAuto = ?");
    named.bind(1, static_cast<int64_t>(album));
    if (!named.executeStep())
        return result;
    result.name = Jet::textOf(named.getColumn(0));

    QList<std::pair<qint64, qint64>> placements;
    SQLite::Statement pages(db, "SELECT KeyPages, KeyParent FROM AlbumPagesRel WHERE KeyAlbum = ? ORDER BY KeyAuto");
    pages.bind(1, static_cast<int64_t>(album));
    while (pages.executeStep())
        placements.append({pages.getColumn(0).getInt64(), pages.getColumn(1).getInt64()});
    const QList<PageDepth> order = pageOrder(placements, page);
    if (page != 0 && order.isEmpty())
        return result; // the page is gone, or was never in this album
    if (page != 0) {
        SQLite::Statement pageName(db, "SELECT Nom FROM AlbumPages WHERE KeyAuto = ?");
        pageName.bind(1, static_cast<int64_t>(page));
        if (pageName.executeStep())
            result.name += QStringLiteral(" / ") + Jet::textOf(pageName.getColumn(0));
    }
    result.found = true;

    // Every picture of every page of the album in one query, grouped by page afterwards.
    QHash<qint64, QList<Picture>> pictures;
    SQLite::Statement links(db,
        "SELECT r.KeyPages, p.VolSerial, p.Path FROM AlbumPicturesRel r "
        "JOIN AlbumPictures p ON p.KeyAuto = r.KeyImages "
        "WHERE r.KeyPages IN (SELECT KeyPages FROM AlbumPagesRel WHERE KeyAlbum = ?) ORDER BY r.KeyAuto");
    links.bind(1, static_cast<int64_t>(album));
    while (links.executeStep()) {
        pictures[links.getColumn(0).getInt64()].append(
            {quint32(links.getColumn(1).getInt64()), Jet::textOf(links.getColumn(2))});
    }

    SourceList::Builder builder;
    QSet<quint32> serials;
    quint64 hash = 14695981039346656037ULL;
    const QString rootKey = page != 0 ? pageKey(album, page) : albumKey(album);
    builder.addFolder(rootKey, true);
    mix(hash, rootKey, 0);
    for (const PageDepth& at : order) {
        // A page source's own pictures come right after its root entry.
        if (at.depth > 0) {
            builder.addFolder(pageKey(album, at.page), false);
            mix(hash, pageKey(album, at.page), 0);
            ++result.pages;
        }
        for (const Picture& picture : pictures.value(at.page)) {
            builder.addPicturePath(picture.path, picture.volume);
            mix(hash, picture.path, picture.volume);
            if (picture.volume != 0)
                serials.insert(picture.volume);
            ++result.pictures;
        }
    }
    result.list = builder.finish();
    result.volumes = volumesOf(db, serials);
    result.contentHash = hash;
    result.elapsedMs = clock.elapsed();
    return result;
}

Result readProject(SQLite::Database& db, qint64 project)
{
    QElapsedTimer clock;
    clock.start();
    Result result;
    SQLite::Statement named(db, "SELECT Nom FROM DiaporamaDesc WHERE KeyAuto = ?");
    named.bind(1, static_cast<int64_t>(project));
    if (!named.executeStep())
        return result;
    result.name = Jet::textOf(named.getColumn(0));
    result.found = true;

    SourceList::Builder builder;
    quint64 hash = 14695981039346656037ULL;
    const QString rootKey = QStringLiteral("project:%1").arg(project);
    builder.addFolder(rootKey, true);
    mix(hash, rootKey, 0);
    SQLite::Statement slides(db, "SELECT Path FROM Diaporama WHERE Diaporama.KeyDescrip = ? ORDER BY Ordre, KeyAuto");
    slides.bind(1, static_cast<int64_t>(project));
    while (slides.executeStep()) {
        const QString path = Jet::textOf(slides.getColumn(0));
        if (path.isEmpty())
            continue;
        builder.addPicturePath(path);
        mix(hash, path, 0);
        ++result.pictures;
    }
    result.list = builder.finish();
    result.contentHash = hash;
    result.elapsedMs = clock.elapsed();
    return result;
}

Result read(const QString& path, const SourceSelection& choice)
{
    QElapsedTimer clock;
    clock.start();
    try {
        SQLite::Database db(path.toStdString(), SQLite::OPEN_READONLY, MdbFiles::LockWaitMs);
        // One snapshot: an album edited meanwhile is read as it was before or after, never half.
        db.exec("BEGIN");
        Result result = choice.kind == SourceSelection::Kind::Project ? readProject(db, choice.project)
                                                                      : readAlbum(db, choice.album, choice.page);
        db.exec("COMMIT");
        result.elapsedMs = clock.elapsed();
        return result;
    } catch (const std::exception& e) {
        Result failed;
        failed.error = QString::fromUtf8(e.what());
        failed.elapsedMs = clock.elapsed();
        return failed;
    }
}

quint64 changeStamp(SQLite::Database& db)
{
    // The pragma, not the file control: it looks at the file again, where the file control only
    // tells what this connection's last transaction saw.
    try {
        const auto version = quint64(db.execAndGet("PRAGMA data_version").getInt64());
        return (version << 32 | quint64(quint32(sqlite3_total_changes(db.getHandle())))) + 1;
    } catch (const std::exception&) {
        return 0;
    }
}

QString traceLine(const SourceSelection& choice, const Result& result)
{
    const QString head = QStringLiteral("SY Source ") + choice.describe() + QStringLiteral(": ");
    if (!result.error.isEmpty())
        return head + QStringLiteral("lecture impossible (") + result.error + QLatin1Char(')');
    if (!result.found)
        return head + QStringLiteral("introuvable, aucune image");
    QString line = head + QLatin1Char('"') + result.name + QStringLiteral("\" ");
    if (choice.kind == SourceSelection::Kind::Album)
        line += QStringLiteral("%1 images, %2 pages, ").arg(result.pictures).arg(result.pages);
    else
        line += QStringLiteral("%1 diapositives, ").arg(result.pictures);
    return line + QString::number(result.elapsedMs) + QStringLiteral(" ms");
}

} // namespace DatabaseSource
