#pragma once

#include <QAbstractItemModel>
#include <QDateTime>
#include <QIcon>

#include <memory>
#include <vector>

class ClsMdb;

// The albums of the store and, under each, its tree of pages, for the album window's tree view.
// Albums and the pages under one parent are listed by name (numbers in names compare as
// numbers). Every change goes to the store first and shows only when the store took it; a
// refusal leaves the tree as it was and is told through failed().
//
// Drops: files from a file manager onto a page (filesDropped), pictures dragged from the grid
// onto a page (picturesDropped), and a page dragged under another page or its album's top level
// (moved at once, within its album).
class AlbumTreeModel : public QAbstractItemModel
{
    Q_OBJECT

public:
    enum Role
    {
        AlbumKeyRole = Qt::UserRole + 1, // qint64
        PageKeyRole,                     // qint64, 0 on an album
    };
    /// The format of a page being dragged: its album and its key.
    static constexpr const char* PageMime = "application/x-tapisol-album-page";
    /// Longest names the columns take.
    static constexpr int AlbumNameMax = 250;
    static constexpr int PageNameMax = 150;

    explicit AlbumTreeModel(ClsMdb& db, QObject* parent = nullptr);
    ~AlbumTreeModel() override;

    /// Reads every album and page again.
    void reload();
    /// The node of an album (page 0) or of one of its pages; invalid when there is none.
    QModelIndex indexOf(qint64 album, qint64 page = 0) const;
    static qint64 albumOf(const QModelIndex& index);
    /// The page of a node, 0 for an album.
    static qint64 pageOf(const QModelIndex& index);
    static bool isAlbum(const QModelIndex& index) { return index.isValid() && pageOf(index) == 0; }
    /// How many pages lie under a node, at every depth.
    int pagesUnder(const QModelIndex& index) const;
    /// The page and every page under it, the page first.
    QList<qint64> pageTree(const QModelIndex& index) const;

    /// `base`, or `base` followed by a number, so that no sibling under `parent` has that name.
    QString freeName(const QModelIndex& parent, const QString& base) const;

    /// Adds an album; its node, or an invalid index with `error` set.
    QModelIndex addAlbum(const QString& name, QString* error = nullptr);
    /// Adds a page under an album or a page; its node, or an invalid index with `error` set.
    QModelIndex addPage(const QModelIndex& parent, const QString& name, QString* error = nullptr);
    /// Renames an album or a page (the name trimmed; empty and too long names refused).
    bool rename(const QModelIndex& index, const QString& name, QString* error = nullptr);
    /// Deletes an album with its pages, or a page with the pages under it. Pictures stay in the
    /// store.
    bool remove(const QModelIndex& index, QString* error = nullptr);
    /// Moves a page under `newParent` (its album or another page of that album).
    bool movePage(const QModelIndex& page, const QModelIndex& newParent, QString* error = nullptr);

    /// Icons for the two kinds of nodes (the window takes them from its style).
    void setIcons(const QIcon& album, const QIcon& page);

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    bool canDropMimeData(
        const QMimeData* data, Qt::DropAction action, int row, int column, const QModelIndex& parent) const override;
    bool dropMimeData(
        const QMimeData* data, Qt::DropAction action, int row, int column, const QModelIndex& parent) override;
    Qt::DropActions supportedDropActions() const override;
    Qt::DropActions supportedDragActions() const override;

signals:
    void filesDropped(qint64 album, qint64 page, const QStringList& paths);
    /// Pictures of page `fromPage` dropped on `page`; MoveAction takes them off `fromPage`.
    void picturesDropped(qint64 page, const QList<qint64>& pictures, qint64 fromPage, Qt::DropAction action);
    /// A change the user asked for was refused; `message` says why.
    void failed(const QString& message);

private:
    struct Node
    {
        qint64 album = 0;
        qint64 page = 0; // 0: the album itself
        QString name;
        QDateTime created;
        QDateTime modified;
        Node* parent = nullptr;
        std::vector<std::unique_ptr<Node>> children;

        int row() const;
    };

    Node* nodeOf(const QModelIndex& index) const;
    QModelIndex indexOfNode(const Node* node) const;
    void loadAlbum(Node* album);
    int insertionRow(const Node* parent, const QString& name, const Node* except = nullptr) const;
    bool siblingHasName(const Node* parent, const QString& name, const Node* except) const;
    bool checkName(const QString& name, bool album, QString* error) const;
    const Node* findNode(const Node* from, qint64 album, qint64 page) const;
    bool isUnder(const Node* node, const Node* ancestor) const;

    ClsMdb& m_db;
    Node m_root;
    QIcon m_albumIcon;
    QIcon m_pageIcon;
};
