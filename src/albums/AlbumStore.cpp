#include "AlbumStore.h"

#include "ClsMdb.h"
#include "InterfaceTexts.h"
#include "JetValues.h"
#include "MdbOperation.h"
#include "Trace.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Exception.h>
#include <SQLiteCpp/Statement.h>
#include <SQLiteCpp/Transaction.h>

#include <sqlite3.h>

#include <algorithm>
#include <initializer_list>

namespace {

constexpr int TextNotSaved = 2925;
constexpr int TextNameTooLong = 2926;
constexpr int TextPathTooLong = 2927;
constexpr int TextDescriptionTooLong = 2928;
constexpr int TextNameEmpty = 2929;
constexpr int TextPageTwice = 2930;
constexpr int TextPictureTwice = 2931;
constexpr int TextThumbTaken = 2932;
constexpr int TextUnderItself = 2933;
constexpr int TextNotInAlbum = 2934;
constexpr int TextAlbumGone = 2935;
constexpr int TextPageGone = 2936;
constexpr int TextPictureGone = 2937;
constexpr int TextOrderGone = 2938;
constexpr int TextNoThumbnail = 2939;

// The sizes of the text columns.
constexpr int MaxAlbumName = 250;
constexpr int MaxPageName = 150;
constexpr int MaxPath = 250;
constexpr int MaxDescription = 100;
constexpr int MaxVolumeName = 100;

using Mdb::characters;
using Mdb::refuse;

[[noreturn]] void refuse(int number)
{
    refuse(langText(number));
}

// Words for a failed statement: a unique index refusing a duplicate says which duplicate.
QString describe(const SQLite::Exception& e)
{
    if (QString passing = Mdb::passingState(e); !passing.isEmpty())
        return passing;
    // SQLite names the columns of the index: "UNIQUE constraint failed: AlbumPictures.ThumbPath".
    const QString what = QString::fromUtf8(e.what());
    if ((e.getErrorCode() & 0xff) == SQLITE_CONSTRAINT) {
        if (what.contains(QLatin1String("AlbumPagesRel.KeyAlbum")))
            return langText(TextPageTwice);
        if (what.contains(QLatin1String("AlbumPictures.ThumbPath")))
            return langText(TextThumbTaken);
        if (what.contains(QLatin1String("AlbumPictures.VolSerial")))
            return langText(TextPictureTwice);
    }
    return langText(TextNotSaved).arg(what);
}

template <typename Body> auto operation(const char* name, QString* error, Body&& body) -> decltype(body())
{
    return Mdb::operation(name, error, describe, TextNotSaved, std::forward<Body>(body));
}

void checkName(const QString& nom, int max)
{
    if (nom.isEmpty())
        refuse(TextNameEmpty);
    if (characters(nom) > max)
        refuse(langText(TextNameTooLong).arg(max));
}

void checkPath(const QString& path)
{
    if (characters(path) > MaxPath)
        refuse(langText(TextPathTooLong).arg(MaxPath).arg(path));
}

void checkPicture(const QString& path, const QString& thumbPath)
{
    // Both columns refuse an empty text: a picture of the albums always has its thumbnail.
    if (path.isEmpty() || thumbPath.isEmpty())
        refuse(TextNoThumbnail);
    checkPath(path);
    checkPath(thumbPath);
}

void checkDescription(const QString& description)
{
    if (description.isEmpty())
        refuse(TextNameEmpty);
    if (characters(description) > MaxDescription)
        refuse(langText(TextDescriptionTooLong).arg(MaxDescription));
}

// The serial's 32 bits in the signed Long column, and back.
qint64 serialValue(quint32 serial)
{
    return static_cast<qint32>(serial);
}

quint32 serialOf(const SQLite::Column& column)
{
    return static_cast<quint32>(static_cast<qint32>(column.getInt64()));
}

void bindKeys(SQLite::Statement& statement, std::initializer_list<qint64> keys)
{
    int index = 0;
    for (qint64 key : keys)
        statement.bind(++index, static_cast<int64_t>(key));
}

// Runs a statement that takes only keys; the number of rows it changed.
int run(ClsMdb& db, const std::string& sql, std::initializer_list<qint64> keys)
{
    MdbQuery statement = db.query(sql);
    bindKeys(*statement, keys);
    return statement->exec();
}

bool any(ClsMdb& db, const std::string& sql, std::initializer_list<qint64> keys)
{
    MdbQuery statement = db.query(sql);
    bindKeys(*statement, keys);
    return statement->executeStep();
}

QList<qint64> keysOf(ClsMdb& db, const std::string& sql, std::initializer_list<qint64> keys)
{
    QList<qint64> found;
    MdbQuery statement = db.query(sql);
    bindKeys(*statement, keys);
    while (statement->executeStep())
        found << statement->getColumn(0).getInt64();
    return found;
}

qint64 lastKey(ClsMdb& db)
{
    return db.database().getLastInsertRowid();
}

SQLite::Transaction writing(ClsMdb& db)
{
    return SQLite::Transaction(db.database(), SQLite::TransactionBehavior::IMMEDIATE);
}

AlbumRow readAlbum(const SQLite::Statement& row)
{
    AlbumRow album;
    album.KeyAuto = row.getColumn("KeyAuto").getInt64();
    album.Nom = Jet::textOf(row.getColumn("Nom"));
    album.DateCreation = Jet::dateOf(row.getColumn("DateCreation"));
    album.DateModif = Jet::dateOf(row.getColumn("DateModif"));
    album.IndexImage = int(Jet::longOf(row.getColumn("IndexImage")));
    album.StateOpen = int(Jet::longOf(row.getColumn("StateOpen")));
    return album;
}

PagePlacement readPlacement(const SQLite::Statement& row)
{
    return {row.getColumn("KeyAuto").getInt64(), row.getColumn("KeyAlbum").getInt64(),
        row.getColumn("KeyPages").getInt64(), row.getColumn("KeyParent").getInt64()};
}

PictureRow readPicture(const SQLite::Statement& row)
{
    PictureRow picture;
    picture.KeyAuto = row.getColumn("KeyAuto").getInt64();
    picture.VolSerial = serialOf(row.getColumn("VolSerial"));
    picture.Path = Jet::textOf(row.getColumn("Path"));
    picture.ThumbPath = Jet::textOf(row.getColumn("ThumbPath"));
    picture.ImageDateTime = Jet::dateOf(row.getColumn("ImageDateTime"));
    return picture;
}

VolumeRow readVolume(const SQLite::Statement& row)
{
    return {serialOf(row.getColumn("KeyVol")), VolumeKind(row.getColumn("Type").getInt()),
        Jet::textOf(row.getColumn("Nom"))};
}

SortOrder readOrder(const SQLite::Statement& row)
{
    return {row.getColumn("KeyAuto").getInt64(), row.getColumn("Famille").getInt(), row.getColumn("KeyPage").getInt64(),
        Jet::textOf(row.getColumn("Description"))};
}

SortRow readSortRow(const SQLite::Statement& row)
{
    return {row.getColumn("KeyAuto").getInt64(), row.getColumn("KeyDescrip").getInt64(),
        row.getColumn("Ordre").getInt(), row.getColumn("Key").getInt64()};
}

// --- Albums and pages share their columns -------------------------------------------------------

std::optional<AlbumRow> namedRow(ClsMdb& db, const std::string& table, qint64 key)
{
    MdbQuery row = db.query("SELECT * FROM " + table + " WHERE KeyAuto = ?");
    bindKeys(*row, {key});
    return row->executeStep() ? std::optional(readAlbum(*row)) : std::nullopt;
}

qint64 insertNamed(ClsMdb& db, const std::string& table, const QString& nom, int indexImage, int stateOpen)
{
    MdbQuery insert = db.query(
        "INSERT INTO " + table + " (Nom, DateCreation, DateModif, IndexImage, StateOpen) VALUES (?1, ?2, ?2, ?3, ?4)");
    Jet::bindText(*insert, 1, nom);
    Jet::bindDate(*insert, 2, db.now());
    insert->bind(3, indexImage);
    Jet::bindBool(*insert, 4, stateOpen != 0);
    insert->exec();
    return lastKey(db);
}

bool updateNamed(ClsMdb& db, const std::string& table, qint64 key, const QString& nom, int indexImage, int stateOpen)
{
    MdbQuery update = db.query(
        "UPDATE " + table + " SET Nom = ?1, IndexImage = ?2, StateOpen = ?3, DateModif = ?4 WHERE KeyAuto = ?5");
    Jet::bindText(*update, 1, nom);
    update->bind(2, indexImage);
    Jet::bindBool(*update, 3, stateOpen != 0);
    Jet::bindDate(*update, 4, db.now());
    update->bind(5, static_cast<int64_t>(key));
    return update->exec() == 1;
}

void requireAlbum(ClsMdb& db, qint64 album)
{
    if (!any(db, "SELECT 1 FROM Albums WHERE KeyAuto = ?", {album}))
        refuse(TextAlbumGone);
}

void requirePage(ClsMdb& db, qint64 page)
{
    if (!any(db, "SELECT 1 FROM AlbumPages WHERE KeyAuto = ?", {page}))
        refuse(TextPageGone);
}

bool isPlaced(ClsMdb& db, qint64 album, qint64 page)
{
    return any(db, "SELECT 1 FROM AlbumPagesRel WHERE KeyAlbum = ? AND KeyPages = ?", {album, page});
}

// A parent is the album's top level (0) or a page of that album: a placement under a page of
// another album would never be shown.
void requireParent(ClsMdb& db, qint64 album, qint64 parent)
{
    if (parent != 0 && !isPlaced(db, album, parent))
        refuse(TextNotInAlbum);
}

// Depth first, the page itself first. A damaged file may hold a loop of parents: each page is
// visited once.
QList<qint64> subtree(ClsMdb& db, qint64 album, qint64 page)
{
    QList<qint64> order;
    QSet<qint64> seen {page};
    QList<qint64> stack {page};
    while (!stack.isEmpty()) {
        const qint64 current = stack.takeLast();
        order << current;
        const QList<qint64> children
            = keysOf(db, "SELECT KeyPages FROM AlbumPagesRel WHERE KeyAlbum = ? AND KeyParent = ? ORDER BY KeyAuto",
                {album, current});
        for (auto child = children.crbegin(); child != children.crend(); ++child) {
            if (!seen.contains(*child)) {
                seen.insert(*child);
                stack << *child;
            }
        }
    }
    return order;
}

// Removes a page everywhere: its picture links, its placements and its row. The pages under it
// move up to its own parent in each album, so none is left hanging under a missing page.
void removePage(ClsMdb& db, qint64 page)
{
    QList<std::pair<qint64, qint64>> placements; // (album, parent)
    {
        MdbQuery rows = db.query("SELECT KeyAlbum, KeyParent FROM AlbumPagesRel WHERE KeyPages = ?");
        bindKeys(*rows, {page});
        while (rows->executeStep())
            placements.append({rows->getColumn(0).getInt64(), rows->getColumn(1).getInt64()});
    }
    for (const auto& [album, parent] : placements)
        run(db, "UPDATE AlbumPagesRel SET KeyParent = ? WHERE KeyAlbum = ? AND KeyParent = ?", {parent, album, page});
    run(db, "DELETE FROM AlbumPicturesRel WHERE KeyPages = ?", {page});
    run(db, "DELETE FROM AlbumPagesRel WHERE KeyPages = ?", {page});
    run(db, "DELETE FROM AlbumPages WHERE KeyAuto = ?", {page});
}

std::optional<PictureRow> pictureRow(ClsMdb& db, qint64 key)
{
    MdbQuery row = db.query("SELECT * FROM AlbumPictures WHERE KeyAuto = ?");
    bindKeys(*row, {key});
    return row->executeStep() ? std::optional(readPicture(*row)) : std::nullopt;
}

std::optional<PictureRow> pictureAt(ClsMdb& db, quint32 volSerial, const QString& path)
{
    MdbQuery row = db.query("SELECT * FROM AlbumPictures WHERE VolSerial = ? AND Path = ?");
    row->bind(1, static_cast<int64_t>(serialValue(volSerial)));
    Jet::bindText(*row, 2, path);
    return row->executeStep() ? std::optional(readPicture(*row)) : std::nullopt;
}

std::optional<PictureRow> pictureOfThumb(ClsMdb& db, const QString& thumbPath)
{
    MdbQuery row = db.query("SELECT * FROM AlbumPictures WHERE ThumbPath = ?");
    Jet::bindText(*row, 1, thumbPath);
    return row->executeStep() ? std::optional(readPicture(*row)) : std::nullopt;
}

void removePictureRows(ClsMdb& db, qint64 key)
{
    run(db, "DELETE FROM AlbumPicturesRel WHERE KeyImages = ?", {key});
    run(db, "DELETE FROM AlbumPictures WHERE KeyAuto = ?", {key});
}

// The picture of (volume, path), added when the store does not have it yet. Runs inside the
// caller's transaction.
qint64 findOrAddPicture(
    ClsMdb& db, quint32 volSerial, const QString& path, const QString& thumbPath, const QDateTime& imageDateTime)
{
    if (const auto known = pictureAt(db, volSerial, path))
        return known->KeyAuto;
    // A row left by a picture whose thumbnail name is now handed out again: it shows nothing any
    // more, and its name must be free for the new row.
    if (const auto stale = pictureOfThumb(db, thumbPath)) {
        TAPISOL_TRACE(
            QStringLiteral("ClsMdb AddPicture stale row %1 (%2) removed").arg(stale->KeyAuto).arg(stale->Path));
        removePictureRows(db, stale->KeyAuto);
    }
    QDateTime date = imageDateTime;
    if (!date.isValid())
        date = QFileInfo(path).lastModified();
    if (!date.isValid())
        date = db.now();
    MdbQuery insert
        = db.query("INSERT INTO AlbumPictures (VolSerial, Path, ThumbPath, ImageDateTime) VALUES (?, ?, ?, ?)");
    insert->bind(1, static_cast<int64_t>(serialValue(volSerial)));
    Jet::bindText(*insert, 2, path);
    Jet::bindText(*insert, 3, thumbPath);
    Jet::bindDate(*insert, 4, date);
    insert->exec();
    return lastKey(db);
}

QList<PictureRow> picturesOf(ClsMdb& db, const std::string& sql, const QString& text)
{
    QList<PictureRow> found;
    MdbQuery rows = db.query(sql);
    Jet::bindText(*rows, 1, text);
    while (rows->executeStep())
        found << readPicture(*rows);
    return found;
}

std::optional<qint64> orderKey(ClsMdb& db, int famille, qint64 page, const QString& description)
{
    MdbQuery row = db.query("SELECT KeyAuto FROM AlbumTriDesc WHERE Famille = ?1 AND KeyPage = ?2 AND Description = ?3 "
                            "ORDER BY KeyAuto LIMIT 1");
    row->bind(1, famille);
    row->bind(2, static_cast<int64_t>(page));
    Jet::bindText(*row, 3, description);
    return row->executeStep() ? std::optional(row->getColumn(0).getInt64()) : std::nullopt;
}

qint64 insertOrder(ClsMdb& db, int famille, qint64 page, const QString& description)
{
    MdbQuery insert = db.query("INSERT INTO AlbumTriDesc (Famille, KeyPage, Description) VALUES (?, ?, ?)");
    insert->bind(1, famille);
    insert->bind(2, static_cast<int64_t>(page));
    Jet::bindText(*insert, 3, description);
    insert->exec();
    return lastKey(db);
}

qint64 insertSortRow(ClsMdb& db, qint64 order, int ordre, qint64 item)
{
    MdbQuery insert = db.query("INSERT INTO AlbumTri (KeyDescrip, Ordre, Key) VALUES (?, ?, ?)");
    insert->bind(1, static_cast<int64_t>(order));
    insert->bind(2, ordre);
    insert->bind(3, static_cast<int64_t>(item));
    insert->exec();
    return lastKey(db);
}

} // namespace

namespace AlbumStore {

// --- Albums -----------------------------------------------------------------------------------

QList<AlbumRow> albums(ClsMdb& db)
{
    return operation("Albums", nullptr, [&] {
        QList<AlbumRow> found;
        MdbQuery rows = db.query("SELECT * FROM Albums ORDER BY Nom, KeyAuto");
        while (rows->executeStep())
            found << readAlbum(*rows);
        return found;
    });
}

std::optional<AlbumRow> album(ClsMdb& db, qint64 key)
{
    return operation("Album", nullptr, [&] { return namedRow(db, "Albums", key); });
}

std::optional<qint64> addAlbum(ClsMdb& db, const QString& nom, int indexImage, int stateOpen, QString* error)
{
    return operation("AddAlbum", error, [&] {
        checkName(nom, MaxAlbumName);
        return std::optional(insertNamed(db, "Albums", nom, indexImage, stateOpen));
    });
}

bool updateAlbum(ClsMdb& db, qint64 key, const QString& nom, int indexImage, int stateOpen, QString* error)
{
    return operation("UpdateAlbum", error, [&] {
        checkName(nom, MaxAlbumName);
        if (!updateNamed(db, "Albums", key, nom, indexImage, stateOpen))
            refuse(TextAlbumGone);
        return true;
    });
}

bool deleteAlbum(ClsMdb& db, qint64 key, QString* error)
{
    return operation("DeleteAlbum", error, [&] {
        SQLite::Transaction transaction = writing(db);
        const QList<qint64> pages = keysOf(db, "SELECT KeyPages FROM AlbumPagesRel WHERE KeyAlbum = ?", {key});
        run(db, "DELETE FROM AlbumPagesRel WHERE KeyAlbum = ?", {key});
        // A page placed in another album too lives on there.
        for (qint64 page : pages) {
            if (!any(db, "SELECT 1 FROM AlbumPagesRel WHERE KeyPages = ?", {page})) {
                run(db, "DELETE FROM AlbumPicturesRel WHERE KeyPages = ?", {page});
                run(db, "DELETE FROM AlbumPages WHERE KeyAuto = ?", {page});
            }
        }
        run(db, "DELETE FROM Albums WHERE KeyAuto = ?", {key});
        transaction.commit();
        return true;
    });
}

// --- Pages ------------------------------------------------------------------------------------

QList<PagePlacement> pagesOfAlbum(ClsMdb& db, qint64 album)
{
    return operation("PagesOfAlbum", nullptr, [&] {
        QList<PagePlacement> found;
        MdbQuery rows = db.query("SELECT * FROM AlbumPagesRel WHERE KeyAlbum = ? ORDER BY KeyAuto");
        bindKeys(*rows, {album});
        while (rows->executeStep())
            found << readPlacement(*rows);
        return found;
    });
}

std::optional<PageRow> page(ClsMdb& db, qint64 key)
{
    return operation("Page", nullptr, [&] { return namedRow(db, "AlbumPages", key); });
}

QList<PagePlacement> placementsOfPage(ClsMdb& db, qint64 page)
{
    return operation("PlacementsOfPage", nullptr, [&] {
        QList<PagePlacement> found;
        MdbQuery rows = db.query("SELECT * FROM AlbumPagesRel WHERE KeyPages = ? ORDER BY KeyAuto");
        bindKeys(*rows, {page});
        while (rows->executeStep())
            found << readPlacement(*rows);
        return found;
    });
}

std::optional<qint64> addPage(
    ClsMdb& db, qint64 album, qint64 parent, const QString& nom, int indexImage, int stateOpen, QString* error)
{
    return operation("AddPage", error, [&] {
        checkName(nom, MaxPageName);
        SQLite::Transaction transaction = writing(db);
        requireAlbum(db, album);
        requireParent(db, album, parent);
        const qint64 key = insertNamed(db, "AlbumPages", nom, indexImage, stateOpen);
        run(db, "INSERT INTO AlbumPagesRel (KeyAlbum, KeyPages, KeyParent) VALUES (?, ?, ?)", {album, key, parent});
        transaction.commit();
        return std::optional(key);
    });
}

bool placePage(ClsMdb& db, qint64 album, qint64 page, qint64 parent, QString* error)
{
    return operation("PlacePage", error, [&] {
        SQLite::Transaction transaction = writing(db);
        requireAlbum(db, album);
        requirePage(db, page);
        if (parent == page)
            refuse(TextUnderItself);
        requireParent(db, album, parent);
        // The index KeyAlbumPage refuses a second placement in the same album.
        run(db, "INSERT INTO AlbumPagesRel (KeyAlbum, KeyPages, KeyParent) VALUES (?, ?, ?)", {album, page, parent});
        transaction.commit();
        return true;
    });
}

bool movePage(ClsMdb& db, qint64 album, qint64 page, qint64 newParent, QString* error)
{
    return operation("MovePage", error, [&] {
        SQLite::Transaction transaction = writing(db);
        if (!isPlaced(db, album, page))
            refuse(TextNotInAlbum);
        requireParent(db, album, newParent);
        if (newParent != 0 && subtree(db, album, page).contains(newParent))
            refuse(TextUnderItself);
        run(db, "UPDATE AlbumPagesRel SET KeyParent = ? WHERE KeyAlbum = ? AND KeyPages = ?", {newParent, album, page});
        transaction.commit();
        return true;
    });
}

bool updatePage(ClsMdb& db, qint64 key, const QString& nom, int indexImage, int stateOpen, QString* error)
{
    return operation("UpdatePage", error, [&] {
        checkName(nom, MaxPageName);
        if (!updateNamed(db, "AlbumPages", key, nom, indexImage, stateOpen))
            refuse(TextPageGone);
        return true;
    });
}

bool deletePage(ClsMdb& db, qint64 key, QString* error)
{
    return operation("DeletePage", error, [&] {
        SQLite::Transaction transaction = writing(db);
        removePage(db, key);
        transaction.commit();
        return true;
    });
}

bool deletePageTree(ClsMdb& db, qint64 album, qint64 page, QString* error)
{
    return operation("DeletePageTree", error, [&] {
        SQLite::Transaction transaction = writing(db);
        if (!isPlaced(db, album, page))
            refuse(TextNotInAlbum);
        // The deepest pages first: each page is a leaf of this album when it goes.
        const QList<qint64> tree = subtree(db, album, page);
        for (auto each = tree.crbegin(); each != tree.crend(); ++each)
            removePage(db, *each);
        transaction.commit();
        return true;
    });
}

QList<qint64> pageTree(ClsMdb& db, qint64 album, qint64 page)
{
    return operation("PageTree", nullptr, [&] { return subtree(db, album, page); });
}

// --- Pictures ---------------------------------------------------------------------------------

QList<qint64> pictureKeysOfPage(ClsMdb& db, qint64 page)
{
    return operation("PictureKeysOfPage", nullptr, [&] {
        return keysOf(db, "SELECT KeyImages FROM AlbumPicturesRel WHERE KeyPages = ? ORDER BY KeyAuto", {page});
    });
}

QList<PictureRow> picturesOfPage(ClsMdb& db, qint64 page)
{
    return operation("PicturesOfPage", nullptr, [&] {
        QList<PictureRow> found;
        MdbQuery rows = db.query("SELECT p.* FROM AlbumPicturesRel r JOIN AlbumPictures p ON p.KeyAuto = r.KeyImages "
                                 "WHERE r.KeyPages = ? ORDER BY r.KeyAuto");
        bindKeys(*rows, {page});
        while (rows->executeStep())
            found << readPicture(*rows);
        return found;
    });
}

std::optional<PictureRow> picture(ClsMdb& db, qint64 key)
{
    return operation("Picture", nullptr, [&] { return pictureRow(db, key); });
}

std::optional<PictureRow> findPicture(ClsMdb& db, quint32 volSerial, const QString& path)
{
    return operation("FindPicture", nullptr, [&] { return pictureAt(db, volSerial, path); });
}

QList<PictureRow> findPictures(ClsMdb& db, const QString& path, bool prefix)
{
    return operation("FindPictures", nullptr, [&] {
        if (!prefix)
            return picturesOf(db, "SELECT * FROM AlbumPictures WHERE Path = ?1 ORDER BY KeyAuto", path);
        // The prefix is matched character for character: '%', '_' and '*' in a file name are data.
        static const std::string byPrefix = (QStringLiteral("SELECT * FROM AlbumPictures WHERE ")
            + Jet::startsWith(QStringLiteral("Path"), QStringLiteral("?1")) + QStringLiteral(" ORDER BY KeyAuto"))
                                                .toStdString();
        return picturesOf(db, byPrefix, path);
    });
}

std::optional<PictureRow> findPictureByThumb(ClsMdb& db, const QString& thumbPath)
{
    return operation("FindPictureByThumb", nullptr, [&] { return pictureOfThumb(db, thumbPath); });
}

bool isPictureOnPage(ClsMdb& db, qint64 page, qint64 picture)
{
    return operation("IsPictureOnPage", nullptr, [&] {
        return any(db, "SELECT 1 FROM AlbumPicturesRel WHERE KeyPages = ? AND KeyImages = ?", {page, picture});
    });
}

std::optional<qint64> addPictureToPage(ClsMdb& db, qint64 page, quint32 volSerial, const QString& path,
    const QString& thumbPath, const QDateTime& imageDateTime, QString* error)
{
    return operation("AddPictureToPage", error, [&] {
        checkPicture(path, thumbPath);
        SQLite::Transaction transaction = writing(db);
        requirePage(db, page);
        const qint64 key = findOrAddPicture(db, volSerial, path, thumbPath, imageDateTime);
        if (!any(db, "SELECT 1 FROM AlbumPicturesRel WHERE KeyPages = ? AND KeyImages = ?", {page, key}))
            run(db, "INSERT INTO AlbumPicturesRel (KeyPages, KeyImages) VALUES (?, ?)", {page, key});
        transaction.commit();
        return std::optional(key);
    });
}

std::optional<qint64> addPicture(ClsMdb& db, quint32 volSerial, const QString& path, const QString& thumbPath,
    const QDateTime& imageDateTime, QString* error)
{
    return operation("AddPicture", error, [&] {
        checkPicture(path, thumbPath);
        SQLite::Transaction transaction = writing(db);
        const qint64 key = findOrAddPicture(db, volSerial, path, thumbPath, imageDateTime);
        transaction.commit();
        return std::optional(key);
    });
}

bool updatePicture(ClsMdb& db, const PictureRow& picture, QString* error)
{
    return operation("UpdatePicture", error, [&] {
        checkPicture(picture.Path, picture.ThumbPath);
        MdbQuery update = db.query(
            "UPDATE AlbumPictures SET VolSerial = ?, Path = ?, ThumbPath = ?, ImageDateTime = ? WHERE KeyAuto = ?");
        update->bind(1, static_cast<int64_t>(serialValue(picture.VolSerial)));
        Jet::bindText(*update, 2, picture.Path);
        Jet::bindText(*update, 3, picture.ThumbPath);
        Jet::bindDate(*update, 4, picture.ImageDateTime);
        update->bind(5, static_cast<int64_t>(picture.KeyAuto));
        if (update->exec() != 1)
            refuse(TextPictureGone);
        return true;
    });
}

bool deletePicture(ClsMdb& db, qint64 key, QString* error)
{
    return operation("DeletePicture", error, [&] {
        QString thumbnail;
        {
            SQLite::Transaction transaction = writing(db);
            const auto row = pictureRow(db, key);
            // The thumbnail goes only once the rows are gone for good; a row that pointed at the
            // picture itself as its thumbnail never costs the user the picture.
            if (row && row->ThumbPath != row->Path)
                thumbnail = row->ThumbPath;
            removePictureRows(db, key);
            transaction.commit();
        }
        if (!thumbnail.isEmpty() && QFileInfo::exists(thumbnail)) {
            QFile file(thumbnail);
            if (!file.remove())
                TAPISOL_TRACE(
                    QStringLiteral("ClsMdb DeletePicture thumbnail kept: %1 (%2)").arg(thumbnail, file.errorString()));
        }
        return true;
    });
}

bool removePictureFromPage(ClsMdb& db, qint64 page, qint64 picture, QString* error)
{
    return operation("RemovePictureFromPage", error, [&] {
        run(db, "DELETE FROM AlbumPicturesRel WHERE KeyPages = ? AND KeyImages = ?", {page, picture});
        return true;
    });
}

QList<PictureRow> allPictures(ClsMdb& db)
{
    return operation("AllPictures", nullptr, [&] {
        QList<PictureRow> found;
        MdbQuery rows = db.query("SELECT * FROM AlbumPictures ORDER BY KeyAuto");
        while (rows->executeStep())
            found << readPicture(*rows);
        return found;
    });
}

int pictureCount(ClsMdb& db)
{
    return operation("PictureCount", nullptr, [&] {
        MdbQuery count = db.query("SELECT count(*) FROM AlbumPictures");
        return count->executeStep() ? count->getColumn(0).getInt() : 0;
    });
}

// --- Volumes ----------------------------------------------------------------------------------

std::optional<VolumeRow> volume(ClsMdb& db, quint32 keyVol)
{
    return operation("Volume", nullptr, [&] {
        MdbQuery row = db.query("SELECT * FROM VolumeDesc WHERE KeyVol = ?");
        row->bind(1, static_cast<int64_t>(serialValue(keyVol)));
        return row->executeStep() ? std::optional(readVolume(*row)) : std::nullopt;
    });
}

QList<VolumeRow> volumes(ClsMdb& db)
{
    return operation("Volumes", nullptr, [&] {
        QList<VolumeRow> found;
        MdbQuery rows = db.query("SELECT * FROM VolumeDesc ORDER BY Nom, KeyVol");
        while (rows->executeStep())
            found << readVolume(*rows);
        return found;
    });
}

bool storeVolume(ClsMdb& db, const VolumeRow& volume, QString* error)
{
    return operation("StoreVolume", error, [&] {
        // The name only helps to ask for a missing disk: a description longer than the column is
        // shortened rather than refused, and one is made up when there is none.
        QString nom = volume.Nom.isEmpty() ? QString::number(volume.KeyVol, 16).toUpper() : volume.Nom;
        if (characters(nom) > MaxVolumeName) {
            nom.truncate(MaxVolumeName - 1);
            if (!nom.isEmpty() && nom.back().isHighSurrogate())
                nom.chop(1);
            nom += QChar(0x2026);
        }
        MdbQuery store = db.query("INSERT INTO VolumeDesc (KeyVol, Type, Nom) VALUES (?1, ?2, ?3) "
                                  "ON CONFLICT (KeyVol) DO UPDATE SET Type = excluded.Type, Nom = excluded.Nom");
        store->bind(1, static_cast<int64_t>(serialValue(volume.KeyVol)));
        store->bind(2, int(volume.Type));
        Jet::bindText(*store, 3, nom);
        store->exec();
        return true;
    });
}

// --- Sort orders ------------------------------------------------------------------------------

QList<SortOrder> sortOrders(ClsMdb& db, int famille, qint64 page)
{
    return operation("SortOrders", nullptr, [&] {
        QList<SortOrder> found;
        MdbQuery rows
            = db.query("SELECT * FROM AlbumTriDesc WHERE Famille = ? AND KeyPage = ? ORDER BY Description, KeyAuto");
        rows->bind(1, famille);
        rows->bind(2, static_cast<int64_t>(page));
        while (rows->executeStep())
            found << readOrder(*rows);
        return found;
    });
}

QList<SortRow> sortRows(ClsMdb& db, qint64 order)
{
    return operation("SortRows", nullptr, [&] {
        QList<SortRow> found;
        MdbQuery rows = db.query("SELECT * FROM AlbumTri WHERE KeyDescrip = ? ORDER BY Ordre, KeyAuto");
        bindKeys(*rows, {order});
        while (rows->executeStep())
            found << readSortRow(*rows);
        return found;
    });
}

std::optional<qint64> addSortOrder(ClsMdb& db, int famille, qint64 page, const QString& description, QString* error)
{
    return operation("AddSortOrder", error, [&] {
        checkDescription(description);
        return std::optional(insertOrder(db, famille, page, description));
    });
}

std::optional<qint64> addSortRow(ClsMdb& db, qint64 order, int ordre, qint64 item, QString* error)
{
    return operation("AddSortRow", error, [&] {
        SQLite::Transaction transaction = writing(db);
        if (!any(db, "SELECT 1 FROM AlbumTriDesc WHERE KeyAuto = ?", {order}))
            refuse(TextOrderGone);
        const qint64 key = insertSortRow(db, order, ordre, item);
        transaction.commit();
        return std::optional(key);
    });
}

std::optional<SortOrder> findSortOrder(ClsMdb& db, int famille, const QString& description)
{
    return operation("FindSortOrder", nullptr, [&] {
        MdbQuery row
            = db.query("SELECT * FROM AlbumTriDesc WHERE Famille = ? AND Description = ? ORDER BY KeyAuto LIMIT 1");
        row->bind(1, famille);
        Jet::bindText(*row, 2, description);
        return row->executeStep() ? std::optional(readOrder(*row)) : std::nullopt;
    });
}

bool deleteSortOrder(ClsMdb& db, qint64 order, QString* error)
{
    return operation("DeleteSortOrder", error, [&] {
        SQLite::Transaction transaction = writing(db);
        run(db, "DELETE FROM AlbumTri WHERE KeyDescrip = ?", {order});
        run(db, "DELETE FROM AlbumTriDesc WHERE KeyAuto = ?", {order});
        transaction.commit();
        return true;
    });
}

bool deleteSortRow(ClsMdb& db, qint64 key, QString* error)
{
    return operation("DeleteSortRow", error, [&] {
        run(db, "DELETE FROM AlbumTri WHERE KeyAuto = ?", {key});
        return true;
    });
}

std::optional<qint64> writeSortOrder(
    ClsMdb& db, int famille, qint64 page, const QString& description, const QList<qint64>& items, QString* error)
{
    return operation("WriteSortOrder", error, [&] {
        checkDescription(description);
        SQLite::Transaction transaction = writing(db);
        qint64 key = 0;
        if (const auto found = orderKey(db, famille, page, description)) {
            key = *found;
            // Same order, perhaps typed with other capitals this time: keep the latest spelling.
            MdbQuery rename = db.query("UPDATE AlbumTriDesc SET Description = ? WHERE KeyAuto = ?");
            Jet::bindText(*rename, 1, description);
            rename->bind(2, static_cast<int64_t>(key));
            rename->exec();
            run(db, "DELETE FROM AlbumTri WHERE KeyDescrip = ?", {key});
        } else {
            key = insertOrder(db, famille, page, description);
        }
        // Positions count from 1, in the order of `items`.
        for (int i = 0; i < items.size(); ++i)
            insertSortRow(db, key, i + 1, items.at(i));
        transaction.commit();
        return std::optional(key);
    });
}

} // namespace AlbumStore
