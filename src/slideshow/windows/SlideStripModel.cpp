#include "SlideStripModel.h"

#include "InterfaceTexts.h"
#include "ProjectEditing.h"
#include "SlideThumbnailer.h"

#include <QDataStream>
#include <QFileInfo>
#include <QIcon>
#include <QMimeData>
#include <QPainter>
#include <QUrl>

SlideStripModel::SlideStripModel(ProjectEditing& editing, QObject* parent)
    : QAbstractListModel(parent)
    , m_editing(editing)
    , m_thumbnailer(std::make_unique<SlideThumbnailer>(this,
          [this](
              const QString& path, QSize, const QImage& image, const QString& error) { loaded(path, image, error); }))
    , m_cache(16 * 1024)
{
    connect(&editing, &ProjectEditing::slidesReset, this, [this] {
        beginResetModel();
        // A file replaced on the disk since shows again once the project is read anew.
        m_broken.clear();
        endResetModel();
    });
    connect(
        &editing, &ProjectEditing::slideChanged, this, [this](int row) { emit dataChanged(index(row), index(row)); });
}

SlideStripModel::~SlideStripModel() = default;

int SlideStripModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : m_editing.count();
}

bool SlideStripModel::isSettled(int row) const
{
    const QString path = m_editing.slide(row).Path;
    return m_cache.contains(path) || m_broken.contains(path) || m_editing.isPictureMissing(row);
}

QVariant SlideStripModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= m_editing.count())
        return {};
    const int row = index.row();
    const QString path = m_editing.slide(row).Path;
    const bool broken = m_editing.isPictureMissing(row) || m_broken.contains(path);
    switch (role) {
    case Qt::DisplayRole:
        return QStringLiteral("%1. %2").arg(row + 1).arg(QFileInfo(path).fileName());
    case Qt::ToolTipRole:
        if (m_editing.isPictureMissing(row))
            return langText(3240).arg(path);
        return broken ? m_broken.value(path) : path;
    case PathRole:
        return path;
    case StateRole:
        return int(broken ? State::Broken : m_cache.contains(path) ? State::Ready : State::Loading);
    case Qt::DecorationRole: {
        if (const QPixmap* pixmap = m_cache.object(path))
            return *pixmap;
        QPixmap placeholder(ThumbBox);
        placeholder.fill(Qt::transparent);
        QPainter painter(&placeholder);
        painter.setPen(QPen(broken ? Qt::red : Qt::gray, 1, Qt::DashLine));
        painter.drawRect(placeholder.rect().adjusted(0, 0, -1, -1));
        if (broken) {
            painter.drawLine(placeholder.rect().topLeft(), placeholder.rect().bottomRight());
            painter.drawLine(placeholder.rect().topRight(), placeholder.rect().bottomLeft());
        } else if (!m_pending.contains(path)) {
            m_pending.insert(path);
            ++m_loadsRequested;
            m_thumbnailer->request(path, ThumbBox);
        }
        return placeholder;
    }
    default:
        return {};
    }
}

void SlideStripModel::loaded(const QString& path, const QImage& image, const QString& error)
{
    m_pending.remove(path);
    if (image.isNull()) {
        m_broken.insert(path, error);
    } else {
        // Centred in a box of the same size for every slide, so that the strip's cells line up.
        QPixmap framed(ThumbBox);
        framed.fill(Qt::transparent);
        QPainter painter(&framed);
        painter.drawImage((ThumbBox.width() - image.width()) / 2, (ThumbBox.height() - image.height()) / 2, image);
        painter.end();
        m_cache.insert(path, new QPixmap(framed), qMax(1, int(framed.width() * framed.height() * 4 / 1024)));
    }
    for (int row = 0; row < m_editing.count(); ++row) {
        if (m_editing.slide(row).Path == path)
            emit dataChanged(index(row), index(row), {Qt::DecorationRole, StateRole, Qt::ToolTipRole});
    }
}

Qt::ItemFlags SlideStripModel::flags(const QModelIndex& index) const
{
    if (!index.isValid())
        return Qt::ItemIsDropEnabled;
    return Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsDragEnabled;
}

QStringList SlideStripModel::mimeTypes() const
{
    return {QString::fromLatin1(SlidesMime), QStringLiteral("text/uri-list")};
}

QMimeData* SlideStripModel::mimeData(const QModelIndexList& indexes) const
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    QList<int> rows;
    for (const QModelIndex& index : indexes)
        rows << index.row();
    stream << rows;
    auto* data = new QMimeData;
    data->setData(QString::fromLatin1(SlidesMime), bytes);
    return data;
}

bool SlideStripModel::canDropMimeData(const QMimeData* data, Qt::DropAction, int, int, const QModelIndex&) const
{
    return data && (data->hasFormat(QString::fromLatin1(SlidesMime)) || data->hasUrls());
}

bool SlideStripModel::dropMimeData(
    const QMimeData* data, Qt::DropAction action, int row, int, const QModelIndex& parent)
{
    if (!data || action == Qt::IgnoreAction)
        return false;
    // Dropped onto a slide: before it; onto the empty space: at the end.
    if (row < 0)
        row = parent.isValid() ? parent.row() : m_editing.count();
    if (data->hasFormat(QString::fromLatin1(SlidesMime))) {
        QList<int> rows;
        QDataStream stream(data->data(QString::fromLatin1(SlidesMime)));
        stream >> rows;
        std::sort(rows.begin(), rows.end());
        int first = row;
        for (int r : rows) {
            if (r < row)
                --first;
        }
        if (!m_editing.move(rows, row))
            return false;
        QList<int> now;
        for (int i = 0; i < rows.size(); ++i)
            now << first + i;
        emit movedByDrag(now);
        return true;
    }
    QStringList paths;
    for (const QUrl& url : data->urls()) {
        if (url.isLocalFile())
            paths << url.toLocalFile();
    }
    if (paths.isEmpty())
        return false;
    emit filesDropped(paths, row);
    return true;
}

Qt::DropActions SlideStripModel::supportedDropActions() const
{
    return Qt::MoveAction | Qt::CopyAction;
}
