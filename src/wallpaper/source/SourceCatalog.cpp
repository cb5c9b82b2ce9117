#include "SourceCatalog.h"

#include "AlbumStore.h"
#include "ClsMdb.h"
#include "DatabaseSource.h"
#include "JetValues.h"
#include "Trace.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include <algorithm>

namespace SourceCatalog {

QList<SourceChoice> albumsAndPages(ClsMdb& db)
{
    QList<SourceChoice> choices;
    for (const AlbumRow& album : AlbumStore::albums(db)) {
        SourceChoice albumChoice;
        albumChoice.album = album.KeyAuto;
        albumChoice.name = album.Nom;
        choices.append(albumChoice);
        // Placed first, listed first: the order of the keys is the order of placing.
        QList<PagePlacement> placements = AlbumStore::pagesOfAlbum(db, album.KeyAuto);
        std::sort(placements.begin(), placements.end(),
            [](const PagePlacement& a, const PagePlacement& b) { return a.KeyAuto < b.KeyAuto; });
        QList<std::pair<qint64, qint64>> pairs;
        for (const PagePlacement& placement : std::as_const(placements))
            pairs.append({placement.KeyPages, placement.KeyParent});
        for (const DatabaseSource::PageDepth& at : DatabaseSource::pageOrder(pairs)) {
            SourceChoice page;
            page.kind = SourceChoice::Kind::Page;
            page.album = album.KeyAuto;
            page.page = at.page;
            page.depth = at.depth;
            if (const auto row = AlbumStore::page(db, at.page))
                page.name = row->Nom;
            choices.append(page);
        }
    }
    return choices;
}

QList<SourceChoice> projects(ClsMdb& db)
{
    QList<SourceChoice> choices;
    if (!db.isOpen())
        return choices;
    try {
        MdbQuery query = db.query("SELECT KeyAuto, Nom, Paswd FROM DiaporamaDesc ORDER BY Nom");
        while (query->executeStep()) {
            SourceChoice project;
            project.kind = SourceChoice::Kind::Project;
            project.project = query->getColumn(0).getInt64();
            project.name = Jet::textOf(query->getColumn(1));
            // Never the password itself: only that there is one.
            project.password = Jet::textOf(query->getColumn(2)).isEmpty() ? QString() : QStringLiteral("**");
            choices.append(project);
        }
    } catch (const std::exception& e) {
        TAPISOL_TRACE(QStringLiteral("FP Projets, Err ") + QString::fromUtf8(e.what()));
    }
    return choices;
}

} // namespace SourceCatalog
