#include "AlbumTreeModel.h"

#include "AlbumStore.h"
#include "AlbumWindowTexts.h"
#include "InterfaceTexts.h"
#include "ThumbnailGridModel.h"

#include <QCollator>
#include <QDataStream>
#include <QHash>
#include <QIODevice>
#include <QLocale>
#include <QMimeData>
#include <QUrl>

#include <map>

namespace {

constexpr int TextDates = 3087;
constexpr int TextNameEmpty = 3085;
constexpr int TextNameTooLong = 3086;
constexpr int TextNameTaken = 3088;

// Names sort as the interface's language sorts them, numbers by their value ("page 9" before
// "page 10").
QCollator nameCollator()
{
    QCollator collator(AlbumWindowTexts::interfaceLocale());
    collator.setNumericMode(true);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    return collator;
}

void setError(QString* error, const QString& text)
{
    if (error)
        *error = text;
}

} // namespace

int AlbumTreeModel::Node::row() const
{
    if (!parent)
        return 0;
    for (size_t i = 0; i < parent->children.size(); ++i) {
        if (parent->children[i].get() == this)
            return int(i);
    }
    return 0;
}

AlbumTreeModel::AlbumTreeModel(ClsMdb& db, QObject* parent)
    : QAbstractItemModel(parent)
    , m_db(db)
{
    reload();
}

AlbumTreeModel::~AlbumTreeModel() = default;

void AlbumTreeModel::reload()
{
    beginResetModel();
    m_root.children.clear();
    for (const AlbumRow& album : AlbumStore::albums(m_db)) {
        auto node = std::make_unique<Node>();
        node->album = album.KeyAuto;
        node->name = album.Nom;
        node->created = album.DateCreation;
        node->modified = album.DateModif;
        node->parent = &m_root;
        loadAlbum(node.get());
        m_root.children.push_back(std::move(node));
    }
    const QCollator collator = nameCollator();
    std::sort(m_root.children.begin(), m_root.children.end(),
        [&collator](const auto& a, const auto& b) { return collator.compare(a->name, b->name) < 0; });
    endResetModel();
}

void AlbumTreeModel::loadAlbum(Node* album)
{
    const QList<PagePlacement> placements = AlbumStore::pagesOfAlbum(m_db, album->album);
    QHash<qint64, qint64> parentOf;
    for (const PagePlacement& placement : placements)
        parentOf.insert(placement.KeyPages, placement.KeyParent);
    std::map<qint64, std::unique_ptr<Node>> loose;
    for (const PagePlacement& placement : placements) {
        const std::optional<PageRow> row = AlbumStore::page(m_db, placement.KeyPages);
        if (!row)
            continue;
        auto node = std::make_unique<Node>();
        node->album = album->album;
        node->page = row->KeyAuto;
        node->name = row->Nom;
        node->created = row->DateCreation;
        node->modified = row->DateModif;
        loose[row->KeyAuto] = std::move(node);
    }
    // Pages hang from their parents, starting at the album's top level; a page whose parent is
    // not in this album, or a loop of parents a damaged file could hold, ends at the top level
    // rather than out of sight.
    const QCollator collator = nameCollator();
    QList<Node*> level {album};
    while (!level.isEmpty() || !loose.empty()) {
        QList<Node*> next;
        for (Node* parent : level) {
            for (auto it = loose.begin(); it != loose.end();) {
                const qint64 parentKey = parentOf.value(it->first);
                const bool belongs
                    = parent == album ? parentKey == 0 || !parentOf.contains(parentKey) : parentKey == parent->page;
                if (!belongs) {
                    ++it;
                    continue;
                }
                std::unique_ptr<Node> child = std::move(it->second);
                it = loose.erase(it);
                child->parent = parent;
                next.append(child.get());
                parent->children.push_back(std::move(child));
            }
            std::sort(parent->children.begin(), parent->children.end(),
                [&collator](const auto& a, const auto& b) { return collator.compare(a->name, b->name) < 0; });
        }
        if (next.isEmpty() && !loose.empty()) {
            parentOf.insert(loose.begin()->first, 0);
            next.append(album);
        }
        level = next;
    }
}

AlbumTreeModel::Node* AlbumTreeModel::nodeOf(const QModelIndex& index) const
{
    return index.isValid() ? static_cast<Node*>(index.internalPointer()) : const_cast<Node*>(&m_root);
}

QModelIndex AlbumTreeModel::indexOfNode(const Node* node) const
{
    if (!node || node == &m_root)
        return {};
    return createIndex(node->row(), 0, const_cast<Node*>(node));
}

const AlbumTreeModel::Node* AlbumTreeModel::findNode(const Node* from, qint64 album, qint64 page) const
{
    for (const auto& child : from->children) {
        if (child->album == album && child->page == page)
            return child.get();
        if (child->album == album) {
            if (const Node* found = findNode(child.get(), album, page))
                return found;
        }
    }
    return nullptr;
}

QModelIndex AlbumTreeModel::indexOf(qint64 album, qint64 page) const
{
    return indexOfNode(findNode(&m_root, album, page));
}

qint64 AlbumTreeModel::albumOf(const QModelIndex& index)
{
    return index.isValid() ? index.data(AlbumKeyRole).toLongLong() : 0;
}

qint64 AlbumTreeModel::pageOf(const QModelIndex& index)
{
    return index.isValid() ? index.data(PageKeyRole).toLongLong() : 0;
}

int AlbumTreeModel::pagesUnder(const QModelIndex& index) const
{
    int count = 0;
    const std::function<void(const Node*)> walk = [&](const Node* node) {
        for (const auto& child : node->children) {
            ++count;
            walk(child.get());
        }
    };
    if (index.isValid())
        walk(nodeOf(index));
    return count;
}

QList<qint64> AlbumTreeModel::pageTree(const QModelIndex& index) const
{
    QList<qint64> pages;
    const std::function<void(const Node*)> walk = [&](const Node* node) {
        if (node->page)
            pages.append(node->page);
        for (const auto& child : node->children)
            walk(child.get());
    };
    if (index.isValid())
        walk(nodeOf(index));
    return pages;
}

bool AlbumTreeModel::isUnder(const Node* node, const Node* ancestor) const
{
    for (const Node* up = node; up; up = up->parent) {
        if (up == ancestor)
            return true;
    }
    return false;
}

bool AlbumTreeModel::siblingHasName(const Node* parent, const QString& name, const Node* except) const
{
    for (const auto& child : parent->children) {
        if (child.get() != except && child->name.compare(name, Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

QString AlbumTreeModel::freeName(const QModelIndex& parent, const QString& base) const
{
    const Node* node = nodeOf(parent);
    if (!siblingHasName(node, base, nullptr))
        return base;
    for (int n = 2;; ++n) {
        const QString candidate = base + QLatin1Char(' ') + QString::number(n);
        if (!siblingHasName(node, candidate, nullptr))
            return candidate;
    }
}

int AlbumTreeModel::insertionRow(const Node* parent, const QString& name, const Node* except) const
{
    const QCollator collator = nameCollator();
    int row = 0;
    for (const auto& child : parent->children) {
        if (child.get() == except)
            continue;
        if (collator.compare(child->name, name) > 0)
            break;
        ++row;
    }
    return row;
}

bool AlbumTreeModel::checkName(const QString& name, bool album, QString* error) const
{
    if (name.isEmpty()) {
        setError(error, langText(TextNameEmpty));
        return false;
    }
    const int longest = album ? AlbumNameMax : PageNameMax;
    if (name.size() > longest) {
        setError(error, langText(TextNameTooLong).arg(longest));
        return false;
    }
    return true;
}

QModelIndex AlbumTreeModel::addAlbum(const QString& name, QString* error)
{
    const QString trimmed = name.trimmed();
    if (!checkName(trimmed, true, error))
        return {};
    if (siblingHasName(&m_root, trimmed, nullptr)) {
        setError(error, langText(TextNameTaken).arg(trimmed));
        return {};
    }
    const std::optional<qint64> key = AlbumStore::addAlbum(m_db, trimmed, 0, 0, error);
    if (!key)
        return {};
    auto node = std::make_unique<Node>();
    node->album = *key;
    node->name = trimmed;
    node->created = node->modified = QDateTime::currentDateTime();
    node->parent = &m_root;
    const int row = insertionRow(&m_root, trimmed);
    beginInsertRows({}, row, row);
    Node* added = node.get();
    m_root.children.insert(m_root.children.begin() + row, std::move(node));
    endInsertRows();
    return indexOfNode(added);
}

QModelIndex AlbumTreeModel::addPage(const QModelIndex& parent, const QString& name, QString* error)
{
    Node* under = nodeOf(parent);
    if (under == &m_root)
        return {};
    const QString trimmed = name.trimmed();
    if (!checkName(trimmed, false, error))
        return {};
    const std::optional<qint64> key = AlbumStore::addPage(m_db, under->album, under->page, trimmed, 0, 0, error);
    if (!key)
        return {};
    auto node = std::make_unique<Node>();
    node->album = under->album;
    node->page = *key;
    node->name = trimmed;
    node->created = node->modified = QDateTime::currentDateTime();
    node->parent = under;
    const int row = insertionRow(under, trimmed);
    beginInsertRows(parent, row, row);
    Node* added = node.get();
    under->children.insert(under->children.begin() + row, std::move(node));
    endInsertRows();
    return indexOfNode(added);
}

bool AlbumTreeModel::rename(const QModelIndex& index, const QString& name, QString* error)
{
    Node* node = nodeOf(index);
    if (node == &m_root)
        return false;
    const QString trimmed = name.trimmed();
    const bool album = node->page == 0;
    if (!checkName(trimmed, album, error))
        return false;
    if (trimmed == node->name)
        return true;
    if (album && siblingHasName(node->parent, trimmed, node)) {
        setError(error, langText(TextNameTaken).arg(trimmed));
        return false;
    }
    // The store keeps the index picture and the state as they are; the tree does not use them.
    const std::optional<AlbumRow> stored
        = album ? AlbumStore::album(m_db, node->album) : AlbumStore::page(m_db, node->page);
    if (!stored) // gone meanwhile: the next reload shows it
        return false;
    const bool updated = album
        ? AlbumStore::updateAlbum(m_db, node->album, trimmed, stored->IndexImage, stored->StateOpen, error)
        : AlbumStore::updatePage(m_db, node->page, trimmed, stored->IndexImage, stored->StateOpen, error);
    if (!updated)
        return false;
    node->name = trimmed;
    node->modified = QDateTime::currentDateTime();
    const QModelIndex parentIndex = indexOfNode(node->parent);
    const int row = node->row();
    const int wanted = insertionRow(node->parent, trimmed, node);
    const int destination = wanted <= row ? wanted : wanted + 1;
    if (destination != row && destination != row + 1
        && beginMoveRows(parentIndex, row, row, parentIndex, destination)) {
        auto& siblings = node->parent->children;
        std::unique_ptr<Node> moving = std::move(siblings[size_t(row)]);
        siblings.erase(siblings.begin() + row);
        siblings.insert(siblings.begin() + wanted, std::move(moving));
        endMoveRows();
    }
    const QModelIndex at = indexOfNode(node);
    emit dataChanged(at, at);
    return true;
}

bool AlbumTreeModel::remove(const QModelIndex& index, QString* error)
{
    Node* node = nodeOf(index);
    if (node == &m_root)
        return false;
    const bool removed = node->page == 0 ? AlbumStore::deleteAlbum(m_db, node->album, error)
                                         : AlbumStore::deletePageTree(m_db, node->album, node->page, error);
    if (!removed)
        return false;
    const int row = node->row();
    beginRemoveRows(indexOfNode(node->parent), row, row);
    node->parent->children.erase(node->parent->children.begin() + row);
    endRemoveRows();
    return true;
}

bool AlbumTreeModel::movePage(const QModelIndex& page, const QModelIndex& newParent, QString* error)
{
    Node* node = nodeOf(page);
    Node* target = nodeOf(newParent);
    if (node == &m_root || node->page == 0 || target == &m_root || target->album != node->album
        || isUnder(target, node))
        return false;
    if (target == node->parent)
        return true;
    if (!AlbumStore::movePage(m_db, node->album, node->page, target->page, error))
        return false;
    const int row = node->row();
    const int destination = insertionRow(target, node->name);
    if (!beginMoveRows(indexOfNode(node->parent), row, row, newParent, destination)) {
        reload(); // the store has it; the tree follows the slow way
        return true;
    }
    std::unique_ptr<Node> moving = std::move(node->parent->children[size_t(row)]);
    node->parent->children.erase(node->parent->children.begin() + row);
    moving->parent = target;
    target->children.insert(target->children.begin() + destination, std::move(moving));
    endMoveRows();
    return true;
}

void AlbumTreeModel::setIcons(const QIcon& album, const QIcon& page)
{
    m_albumIcon = album;
    m_pageIcon = page;
}

QModelIndex AlbumTreeModel::index(int row, int column, const QModelIndex& parent) const
{
    const Node* node = nodeOf(parent);
    if (column != 0 || row < 0 || size_t(row) >= node->children.size())
        return {};
    return createIndex(row, 0, node->children[size_t(row)].get());
}

QModelIndex AlbumTreeModel::parent(const QModelIndex& child) const
{
    if (!child.isValid())
        return {};
    return indexOfNode(nodeOf(child)->parent);
}

int AlbumTreeModel::rowCount(const QModelIndex& parent) const
{
    if (parent.column() > 0)
        return 0;
    return int(nodeOf(parent)->children.size());
}

int AlbumTreeModel::columnCount(const QModelIndex&) const
{
    return 1;
}

QVariant AlbumTreeModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid())
        return {};
    const Node* node = nodeOf(index);
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
        return node->name;
    case Qt::DecorationRole:
        return node->page == 0 ? m_albumIcon : m_pageIcon;
    case Qt::ToolTipRole: {
        const QLocale locale = AlbumWindowTexts::interfaceLocale();
        return langText(TextDates).arg(locale.toString(node->created, QLocale::ShortFormat),
            locale.toString(node->modified, QLocale::ShortFormat));
    }
    case AlbumKeyRole:
        return node->album;
    case PageKeyRole:
        return node->page;
    default:
        return {};
    }
}

bool AlbumTreeModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    if (role != Qt::EditRole || !index.isValid())
        return false;
    QString error;
    if (rename(index, value.toString(), &error))
        return true;
    if (!error.isEmpty())
        emit failed(error);
    return false;
}

Qt::ItemFlags AlbumTreeModel::flags(const QModelIndex& index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    Qt::ItemFlags flags = Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsEditable | Qt::ItemIsDropEnabled;
    if (pageOf(index) != 0)
        flags |= Qt::ItemIsDragEnabled;
    return flags;
}

QStringList AlbumTreeModel::mimeTypes() const
{
    return {QLatin1String(PageMime), QLatin1String(ThumbnailGridModel::PicturesMime), QStringLiteral("text/uri-list")};
}

QMimeData* AlbumTreeModel::mimeData(const QModelIndexList& indexes) const
{
    if (indexes.isEmpty() || pageOf(indexes.first()) == 0)
        return nullptr;
    QByteArray encoded;
    QDataStream stream(&encoded, QIODevice::WriteOnly);
    stream << albumOf(indexes.first()) << pageOf(indexes.first());
    auto* data = new QMimeData;
    data->setData(QLatin1String(PageMime), encoded);
    return data;
}

bool AlbumTreeModel::canDropMimeData(const QMimeData* data, Qt::DropAction, int, int, const QModelIndex& parent) const
{
    if (!data || !parent.isValid())
        return false;
    const Node* target = nodeOf(parent);
    if (data->hasFormat(QLatin1String(PageMime))) {
        QDataStream stream(data->data(QLatin1String(PageMime)));
        qint64 album = 0;
        qint64 page = 0;
        stream >> album >> page;
        const Node* moving = findNode(&m_root, album, page);
        return moving && target->album == album && target != moving->parent && !isUnder(target, moving);
    }
    qint64 fromPage = 0;
    if (ThumbnailGridModel::readPictures(data, &fromPage, nullptr))
        return target->page != 0 && target->page != fromPage;
    return target->page != 0 && data->hasUrls();
}

bool AlbumTreeModel::dropMimeData(
    const QMimeData* data, Qt::DropAction action, int row, int column, const QModelIndex& parent)
{
    if (!canDropMimeData(data, action, row, column, parent))
        return false;
    const Node* target = nodeOf(parent);
    if (data->hasFormat(QLatin1String(PageMime))) {
        QDataStream stream(data->data(QLatin1String(PageMime)));
        qint64 album = 0;
        qint64 page = 0;
        stream >> album >> page;
        QString error;
        if (movePage(indexOf(album, page), parent, &error))
            return true;
        if (!error.isEmpty())
            emit failed(error);
        return false;
    }
    qint64 fromPage = 0;
    QList<qint64> pictures;
    if (ThumbnailGridModel::readPictures(data, &fromPage, &pictures)) {
        emit picturesDropped(target->page, pictures, fromPage, action);
        return true;
    }
    QStringList paths;
    for (const QUrl& url : data->urls()) {
        if (url.isLocalFile())
            paths.append(url.toLocalFile());
    }
    if (paths.isEmpty())
        return false;
    emit filesDropped(target->album, target->page, paths);
    return true;
}

Qt::DropActions AlbumTreeModel::supportedDropActions() const
{
    return Qt::CopyAction | Qt::MoveAction | Qt::LinkAction;
}

Qt::DropActions AlbumTreeModel::supportedDragActions() const
{
    return Qt::MoveAction;
}
