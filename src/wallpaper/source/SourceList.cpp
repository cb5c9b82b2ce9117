#include "SourceList.h"

#include <QHash>

#include <algorithm>

struct SourceListData
{
    struct Row
    {
        quint32 folder = 0;     // folder number: the row's own folder, or the folder holding the picture
        quint32 nameOffset = 0; // pictures: where the name starts in `names`
        quint16 nameLength = 0;
        SourceList::Kind kind = SourceList::Kind::Picture;
        bool fullPath = false; // the name is the whole key (a picture of an album or a project)
    };
    static_assert(sizeof(Row) == 12);

    QList<Row> rows;
    QList<QString> folders; // clean paths, by folder number
    QList<int> folderRows;  // 0-based row of each folder's entry
    QString names;
    QHash<QString, int> folderNumbers; // path -> folder number, for indexOf()
    QHash<QString, int> pathRows;      // full-path pictures: path -> first row, for indexOf()
    QHash<int, quint32> volumes;       // row -> volume serial, for the pictures that have one
    int pictures = 0;

    QStringView name(const Row& row) const { return QStringView(names).mid(row.nameOffset, row.nameLength); }

    QString key(const Row& row) const
    {
        if (row.fullPath)
            return name(row).toString();
        if (row.kind != SourceList::Kind::Picture)
            return folders.at(row.folder);
        const QString& folder = folders.at(row.folder);
        const QStringView fileName = name(row);
        QString path;
        path.reserve(folder.size() + 1 + fileName.size());
        path += folder;
        if (!folder.endsWith(QLatin1Char('/')))
            path += QLatin1Char('/');
        path += fileName;
        return path;
    }
};

void SourceList::Builder::ensureData()
{
    if (!m_data)
        m_data = std::make_shared<SourceListData>();
}

void SourceList::Builder::addFolder(const QString& path, bool root)
{
    ensureData();
    SourceListData::Row row;
    row.folder = quint32(m_data->folders.size());
    row.kind = root ? Kind::Root : Kind::Folder;
    m_data->folderRows.append(int(m_data->rows.size()));
    m_data->folders.append(path);
    m_data->rows.append(row);
}

void SourceList::Builder::addPicture(QStringView name)
{
    appendPicture(name.size(), [&](QString& names) { names += name; });
}

void SourceList::Builder::addPicture(QLatin1StringView name)
{
    appendPicture(name.size(), [&](QString& names) { names += name; });
}

void SourceList::Builder::addPicturePath(QStringView path, quint32 volumeSerial)
{
    if (!appendPicture(path.size(), [&](QString& names) { names += path; }))
        return;
    m_data->rows.last().fullPath = true;
    if (volumeSerial != 0)
        m_data->volumes.insert(int(m_data->rows.size() - 1), volumeSerial);
}

template <typename Append> bool SourceList::Builder::appendPicture(qsizetype length, Append append)
{
    ensureData();
    if (m_data->folders.isEmpty() || length == 0 || length > 0xFFFF)
        return false; // a picture always belongs to a folder; names are at most 255 bytes on Linux anyway
    SourceListData::Row row;
    row.folder = quint32(m_data->folders.size() - 1);
    row.nameOffset = quint32(m_data->names.size());
    row.nameLength = quint16(length);
    // Grown by doubling: plain appends to this one long string showed as a copy per picture.
    QString& names = m_data->names;
    if (names.size() + length > names.capacity())
        names.reserve(std::max<qsizetype>(4096, 2 * (names.size() + length)));
    append(names);
    m_data->rows.append(row);
    ++m_data->pictures;
    return true;
}

SourceList SourceList::Builder::finish()
{
    ensureData();
    std::shared_ptr<SourceListData> data = std::move(m_data);
    data->rows.squeeze();
    data->names.squeeze();
    data->folderNumbers.reserve(data->folders.size());
    for (int i = 0; i < data->folders.size(); ++i)
        data->folderNumbers.insert(data->folders.at(i), i);
    for (int i = 0; i < data->rows.size(); ++i) {
        const SourceListData::Row& row = data->rows.at(i);
        // A picture on two pages is found at its first place.
        if (!row.fullPath)
            continue;
        QString path = data->name(row).toString();
        if (!data->pathRows.contains(path))
            data->pathRows.insert(std::move(path), i);
    }
    return SourceList(std::move(data));
}

SourceList::SourceList()
    : SourceList(std::make_shared<const SourceListData>())
{ }

SourceList::SourceList(std::shared_ptr<const SourceListData> data)
    : d(std::move(data))
{ }

int SourceList::count() const
{
    return int(d->rows.size());
}

SourceEntry SourceList::entry(int position) const
{
    if (position < 1 || position > count())
        return {};
    const SourceListData::Row& row = d->rows.at(position - 1);
    switch (row.kind) {
    case Kind::Root:
        return {d->key(row), SourceMarker::Root};
    case Kind::Folder:
        return {d->key(row), SourceMarker::Folder};
    case Kind::Picture:
        break;
    }
    return {d->key(row), QString()};
}

QString SourceList::key(int position) const
{
    if (position < 1 || position > count())
        return {};
    return d->key(d->rows.at(position - 1));
}

bool SourceList::isPicture(int position) const
{
    return position >= 1 && position <= count() && d->rows.at(position - 1).kind == Kind::Picture;
}

int SourceList::indexOf(const QString& key) const
{
    const auto folder = d->folderNumbers.constFind(key);
    if (folder != d->folderNumbers.cend())
        return d->folderRows.at(*folder) + 1;
    if (!d->pathRows.isEmpty())
        return d->pathRows.value(key, -1) + 1;
    const qsizetype slash = key.lastIndexOf(QLatin1Char('/'));
    if (slash < 0 || slash == key.size() - 1)
        return 0;
    const QString parent = slash == 0 ? QStringLiteral("/") : key.left(slash);
    const auto holder = d->folderNumbers.constFind(parent);
    if (holder == d->folderNumbers.cend())
        return 0;
    // A folder's pictures follow its entry; their names are unique within it.
    const QStringView fileName = QStringView(key).mid(slash + 1);
    for (int row = d->folderRows.at(*holder) + 1; row < d->rows.size(); ++row) {
        const SourceListData::Row& candidate = d->rows.at(row);
        if (candidate.kind != Kind::Picture)
            break;
        if (d->name(candidate) == fileName)
            return row + 1;
    }
    return 0;
}

quint32 SourceList::volumeSerial(int position) const
{
    return d->volumes.value(position - 1, 0);
}

int SourceList::pictureCount() const
{
    return d->pictures;
}

int SourceList::folderCount() const
{
    return int(d->folders.size());
}

QList<SourceEntry> SourceList::toList() const
{
    QList<SourceEntry> entries;
    entries.reserve(count());
    for (int position = 1; position <= count(); ++position)
        entries.append(entry(position));
    return entries;
}

qsizetype SourceList::memoryBytes() const
{
    qsizetype bytes = d->rows.capacity() * qsizetype(sizeof(SourceListData::Row));
    bytes += d->names.capacity() * qsizetype(sizeof(QChar));
    bytes += d->folderRows.capacity() * qsizetype(sizeof(int));
    bytes += d->folders.capacity() * qsizetype(sizeof(QString));
    for (const QString& folder : d->folders)
        bytes += qsizetype(sizeof(QArrayData)) + folder.capacity() * qsizetype(sizeof(QChar));
    // QHash: a span entry and a node (key and value) per folder, roughly.
    bytes += d->folderNumbers.size() * qsizetype(sizeof(QString) + sizeof(int) + 2);
    bytes += d->pathRows.size() * qsizetype(sizeof(QString) + sizeof(int) + 2);
    bytes += d->volumes.size() * qsizetype(sizeof(int) + sizeof(quint32) + 2);
    return bytes;
}
