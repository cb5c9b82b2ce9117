#include "ThumbnailGridModel.h"

#include "AlbumWindowTexts.h"
#include "InterfaceTexts.h"
#include "ThumbnailLoader.h"
#include "Volumes.h"

#include <QCollator>
#include <QDataStream>
#include <QDir>
#include <QFileInfo>
#include <QIODevice>
#include <QMimeData>
#include <QUrl>

#include <algorithm>
#include <climits>

namespace {

constexpr int DefaultCacheKb = 32 * 1024;
constexpr int TextMissingVolume = 3063;
constexpr int TextBroken = 3092;
constexpr int TextNoThumbnail = 3059;

int costKb(const QPixmap& pixmap)
{
    return int(qint64(pixmap.width()) * pixmap.height() * pixmap.depth() / 8 / 1024) + 1;
}

} // namespace

ThumbnailGridModel::ThumbnailGridModel(QObject* parent)
    : QAbstractListModel(parent)
    , m_loader(std::make_unique<ThumbnailLoader>(
          this, [this](quint64 generation, qint64 key, const QImage& image, const QString& error) {
              loaded(generation, key, image, error);
          }))
{
    m_cache.setMaxCost(DefaultCacheKb);
    m_loader->setGeneration(m_generation);
}

ThumbnailGridModel::~ThumbnailGridModel() = default;

void ThumbnailGridModel::setPictures(qint64 page, const QList<PictureRow>& pictures, const QList<VolumeRow>& volumes)
{
    beginResetModel();
    m_page = page;
    ++m_generation;
    m_loader->setGeneration(m_generation);
    m_pending.clear();
    m_loadsRequested = 0;
    m_volumes.clear();
    for (const VolumeRow& volume : volumes)
        m_volumes.insert(volume.KeyVol, volume);
    m_items.clear();
    m_items.reserve(pictures.size());
    m_nextAdded = 0;
    for (const PictureRow& picture : pictures) {
        Item item;
        item.picture = picture;
        item.added = m_nextAdded++;
        item.name = picture.Path.mid(picture.Path.lastIndexOf(QLatin1Char('/')) + 1);
        item.missing = !Volumes::isMounted(picture.VolSerial);
        m_items.append(std::move(item));
    }
    m_order = Order::Added;
    reindex();
    countMissing();
    endResetModel();
}

void ThumbnailGridModel::clear()
{
    setPictures(0, {}, {});
}

void ThumbnailGridModel::appendPicture(const PictureRow& picture)
{
    if (m_rows.contains(picture.KeyAuto))
        return;
    Item item;
    item.picture = picture;
    item.added = m_nextAdded++;
    item.name = picture.Path.mid(picture.Path.lastIndexOf(QLatin1Char('/')) + 1);
    item.missing = !Volumes::isMounted(picture.VolSerial);
    const int row = int(m_items.size());
    beginInsertRows({}, row, row);
    m_items.append(std::move(item));
    m_rows.insert(picture.KeyAuto, row);
    m_missing += m_items.last().missing ? 1 : 0;
    endInsertRows();
}

void ThumbnailGridModel::removePictures(const QSet<qint64>& keys)
{
    // From the end, so that the rows still to remove keep their numbers.
    QList<int> rows;
    for (qint64 key : keys) {
        if (m_rows.contains(key))
            rows.append(m_rows.value(key));
    }
    std::sort(rows.begin(), rows.end(), std::greater<>());
    for (int row : rows) {
        beginRemoveRows({}, row, row);
        m_cache.remove(m_items.at(row).picture.KeyAuto);
        m_items.removeAt(row);
        endRemoveRows();
    }
    reindex();
    countMissing();
}

void ThumbnailGridModel::sortBy(Order order, bool descending, const QList<qint64>& userOrder)
{
    emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    const QModelIndexList before = persistentIndexList();
    QList<qint64> keysBefore;
    keysBefore.reserve(before.size());
    for (const QModelIndex& index : before)
        keysBefore.append(m_items.at(index.row()).picture.KeyAuto);

    QHash<qint64, int> userRank;
    for (int i = 0; i < userOrder.size(); ++i)
        userRank.insert(userOrder.at(i), i);
    QCollator collator(AlbumWindowTexts::interfaceLocale());
    collator.setNumericMode(true);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    // Ties keep the page's link order, so a sort is the same whatever was shown before.
    const auto less = [&](const Item& a, const Item& b) {
        switch (order) {
        case Order::Name:
            if (const int byName = collator.compare(a.name, b.name))
                return byName < 0;
            break;
        case Order::Date:
            if (a.picture.ImageDateTime != b.picture.ImageDateTime)
                return a.picture.ImageDateTime < b.picture.ImageDateTime;
            break;
        case Order::User: {
            const int ra = userRank.value(a.picture.KeyAuto, INT_MAX);
            const int rb = userRank.value(b.picture.KeyAuto, INT_MAX);
            if (ra != rb)
                return ra < rb;
            break;
        }
        case Order::Added:
            break;
        }
        return a.added < b.added;
    };
    std::sort(m_items.begin(), m_items.end(), less);
    if (descending && order != Order::User)
        std::reverse(m_items.begin(), m_items.end());
    m_order = order;
    reindex();

    QModelIndexList after;
    after.reserve(before.size());
    for (qint64 key : keysBefore)
        after.append(index(m_rows.value(key, 0)));
    changePersistentIndexList(before, after);
    emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

bool ThumbnailGridModel::moveKeys(const QList<qint64>& keys, int beforeRow)
{
    beforeRow = qBound(0, beforeRow, int(m_items.size()));
    QList<int> rows;
    for (qint64 key : keys) {
        if (m_rows.contains(key))
            rows.append(m_rows.value(key));
    }
    if (rows.isEmpty())
        return false;
    std::sort(rows.begin(), rows.end());
    // Nothing moves when the block is already where it is dropped.
    bool contiguous = true;
    for (int i = 1; i < rows.size(); ++i)
        contiguous = contiguous && rows.at(i) == rows.at(i - 1) + 1;
    if (contiguous && beforeRow >= rows.first() && beforeRow <= rows.last() + 1)
        return false;

    emit layoutAboutToBeChanged();
    const QModelIndexList before = persistentIndexList();
    QList<qint64> keysBefore;
    for (const QModelIndex& index : before)
        keysBefore.append(m_items.at(index.row()).picture.KeyAuto);
    QList<Item> moving;
    int insertAt = beforeRow;
    for (int i = int(rows.size()) - 1; i >= 0; --i) {
        moving.prepend(m_items.takeAt(rows.at(i)));
        if (rows.at(i) < beforeRow)
            --insertAt;
    }
    for (int i = 0; i < moving.size(); ++i)
        m_items.insert(insertAt + i, moving.at(i));
    reindex();
    QModelIndexList after;
    for (qint64 key : keysBefore)
        after.append(index(m_rows.value(key, 0)));
    changePersistentIndexList(before, after);
    emit layoutChanged();
    return true;
}

QList<qint64> ThumbnailGridModel::keys() const
{
    QList<qint64> result;
    result.reserve(m_items.size());
    for (const Item& item : m_items)
        result.append(item.picture.KeyAuto);
    return result;
}

QString ThumbnailGridModel::missingVolumeText(int row) const
{
    if (row < 0 || row >= m_items.size() || !m_items.at(row).missing)
        return {};
    return volumeText(m_items.at(row).picture.VolSerial);
}

QString ThumbnailGridModel::volumeText(quint32 serial) const
{
    VolumeRow volume = m_volumes.value(serial);
    volume.KeyVol = serial;
    return Volumes::describe(volume);
}

void ThumbnailGridModel::refreshVolumes()
{
    for (int row = 0; row < m_items.size(); ++row) {
        Item& item = m_items[row];
        const bool missing = !Volumes::isMounted(item.picture.VolSerial);
        if (missing == item.missing)
            continue;
        item.missing = missing;
        m_cache.remove(item.picture.KeyAuto); // its look changes
        emit dataChanged(index(row), index(row));
    }
    countMissing();
}

void ThumbnailGridModel::setCacheLimit(int kilobytes)
{
    m_cache.setMaxCost(qMax(1, kilobytes));
}

bool ThumbnailGridModel::isSettled(int row) const
{
    if (row < 0 || row >= m_items.size())
        return false;
    const Item& item = m_items.at(row);
    return item.broken || m_cache.contains(item.picture.KeyAuto);
}

QPixmap ThumbnailGridModel::cachedThumbnail(int row) const
{
    if (row < 0 || row >= m_items.size())
        return {};
    const QPixmap* pixmap = m_cache.object(m_items.at(row).picture.KeyAuto);
    return pixmap ? *pixmap : QPixmap();
}

int ThumbnailGridModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(m_items.size());
}

QVariant ThumbnailGridModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= m_items.size())
        return {};
    const Item& item = m_items.at(index.row());
    switch (role) {
    case Qt::DisplayRole:
        return item.name;
    case Qt::DecorationRole:
        if (const QPixmap* pixmap = m_cache.object(item.picture.KeyAuto))
            return *pixmap;
        if (!item.broken)
            requestLoad(index.row());
        return {};
    case Qt::ToolTipRole: {
        QString tip = item.picture.Path;
        if (item.missing)
            tip += QLatin1Char('\n') + langText(TextMissingVolume).arg(volumeText(item.picture.VolSerial));
        if (item.broken)
            tip += QLatin1Char('\n') + item.brokenWhy;
        return tip;
    }
    case KeyRole:
        return item.picture.KeyAuto;
    case PathRole:
        return item.picture.Path;
    case StateRole:
        if (item.broken)
            return int(ThumbState::Broken);
        return int(m_cache.contains(item.picture.KeyAuto) ? ThumbState::Ready : ThumbState::Loading);
    case MissingVolumeRole:
        return item.missing;
    case DateRole:
        return item.picture.ImageDateTime;
    default:
        return {};
    }
}

void ThumbnailGridModel::requestLoad(int row) const
{
    const Item& item = m_items.at(row);
    if (m_pending.contains(item.picture.KeyAuto))
        return;
    m_pending.insert(item.picture.KeyAuto);
    ++m_loadsRequested;
    m_loader->request({m_generation, item.picture.KeyAuto, item.picture.ThumbPath, item.missing});
}

void ThumbnailGridModel::loaded(quint64 generation, qint64 key, const QImage& image, const QString& error)
{
    if (generation != m_generation)
        return;
    m_pending.remove(key);
    const int row = m_rows.value(key, -1);
    if (row < 0)
        return;
    Item& item = m_items[row];
    if (image.isNull()) {
        item.broken = true;
        item.brokenWhy = item.picture.ThumbPath.isEmpty()
            ? langText(TextNoThumbnail)
            : langText(TextBroken).arg(QDir::toNativeSeparators(item.picture.ThumbPath), error);
    } else {
        auto* pixmap = new QPixmap(QPixmap::fromImage(image));
        m_cache.insert(key, pixmap, costKb(*pixmap));
    }
    emit dataChanged(index(row), index(row), {Qt::DecorationRole, StateRole, Qt::ToolTipRole});
}

void ThumbnailGridModel::reindex()
{
    m_rows.clear();
    m_rows.reserve(m_items.size());
    for (int row = 0; row < m_items.size(); ++row)
        m_rows.insert(m_items.at(row).picture.KeyAuto, row);
}

void ThumbnailGridModel::countMissing()
{
    m_missing = int(std::count_if(m_items.begin(), m_items.end(), [](const Item& item) { return item.missing; }));
}

Qt::ItemFlags ThumbnailGridModel::flags(const QModelIndex& index) const
{
    if (!index.isValid())
        return Qt::ItemIsDropEnabled;
    return Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsDragEnabled | Qt::ItemIsDropEnabled
        | Qt::ItemNeverHasChildren;
}

QStringList ThumbnailGridModel::mimeTypes() const
{
    return {QLatin1String(PicturesMime), QStringLiteral("text/uri-list")};
}

QMimeData* ThumbnailGridModel::mimeData(const QModelIndexList& indexes) const
{
    QList<int> rows;
    for (const QModelIndex& index : indexes) {
        if (index.isValid() && index.row() < m_items.size())
            rows.append(index.row());
    }
    std::sort(rows.begin(), rows.end());
    rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    QByteArray encoded;
    QDataStream stream(&encoded, QIODevice::WriteOnly);
    stream << m_page << qint32(rows.size());
    QList<QUrl> urls;
    for (int row : rows) {
        stream << m_items.at(row).picture.KeyAuto;
        urls.append(QUrl::fromLocalFile(m_items.at(row).picture.Path));
    }
    auto* data = new QMimeData;
    data->setData(QLatin1String(PicturesMime), encoded);
    data->setUrls(urls); // a file manager or another program receives the files themselves
    return data;
}

bool ThumbnailGridModel::readPictures(const QMimeData* data, qint64* fromPage, QList<qint64>* keys)
{
    if (!data || !data->hasFormat(QLatin1String(PicturesMime)))
        return false;
    QDataStream stream(data->data(QLatin1String(PicturesMime)));
    qint64 page = 0;
    qint32 count = 0;
    stream >> page >> count;
    QList<qint64> read;
    for (qint32 i = 0; i < count && stream.status() == QDataStream::Ok; ++i) {
        qint64 key = 0;
        stream >> key;
        read.append(key);
    }
    if (stream.status() != QDataStream::Ok)
        return false;
    if (fromPage)
        *fromPage = page;
    if (keys)
        *keys = read;
    return true;
}

bool ThumbnailGridModel::canDropMimeData(const QMimeData* data, Qt::DropAction, int, int, const QModelIndex&) const
{
    if (m_page == 0 || !data)
        return false;
    qint64 fromPage = 0;
    if (readPictures(data, &fromPage, nullptr))
        return fromPage == m_page;
    return data->hasUrls();
}

bool ThumbnailGridModel::dropMimeData(
    const QMimeData* data, Qt::DropAction action, int row, int column, const QModelIndex& parent)
{
    if (!canDropMimeData(data, action, row, column, parent))
        return false;
    const int beforeRow = parent.isValid() ? parent.row() : (row < 0 ? int(m_items.size()) : row);
    QList<qint64> keys;
    if (readPictures(data, nullptr, &keys)) {
        if (!moveKeys(keys, beforeRow))
            return false;
        emit movedByUser();
        return true;
    }
    QStringList paths;
    for (const QUrl& url : data->urls()) {
        if (url.isLocalFile())
            paths.append(url.toLocalFile());
    }
    if (paths.isEmpty())
        return false;
    emit filesDropped(paths);
    return true;
}

Qt::DropActions ThumbnailGridModel::supportedDropActions() const
{
    return Qt::CopyAction | Qt::MoveAction | Qt::LinkAction;
}

Qt::DropActions ThumbnailGridModel::supportedDragActions() const
{
    return Qt::CopyAction | Qt::MoveAction;
}
