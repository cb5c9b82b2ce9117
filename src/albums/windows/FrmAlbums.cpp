#include "FrmAlbums.h"

#include "AlbumCleaning.h"
#include "AlbumStore.h"
#include "AlbumTreeModel.h"
#include "AlbumWindowTexts.h"
#include "AppState.h"
#include "ClsRegistry.h"
#include "FrmPictureView.h"
#include "FrmWait.h"
#include "PictureSource.h"
#include "ThumbnailGridModel.h"
#include "ThumbnailView.h"
#include "Trace.h"
#include "Volumes.h"
#include "WindowPositions.h"

#include <QApplication>
#include <QCheckBox>
#include <QCloseEvent>
#include <QCollator>
#include <QComboBox>
#include <QDesktopServices>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QInputDialog>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QSlider>
#include <QSplitter>
#include <QStatusBar>
#include <QStyle>
#include <QStyledItemDelegate>
#include <QToolBar>
#include <QToolButton>
#include <QTreeView>
#include <QUrl>
#include <QVBoxLayout>

using AlbumWindowTexts::langList;
using AlbumWindowTexts::withTip;

namespace {

constexpr int TextTitle = 3001;
constexpr int TextMenuAlbum = 3002;
constexpr int TextMenuPictures = 3003;
constexpr int TextMenuView = 3004;
constexpr int TextMenuTools = 3005;
constexpr int TextSortLabel = 3036;
constexpr int ListSorts = 3037;
constexpr int TipSort = 3038;
constexpr int TextOrderName = 3043;
constexpr int TextAlbumName = 3044;
constexpr int TextPageName = 3045;
constexpr int TextNoPicture = 3054;
constexpr int TextOnePicture = 3055;
constexpr int TextPictures = 3056;
constexpr int TextSelected = 3057;
constexpr int TextMissing = 3058;
constexpr int TextDeleteAlbum = 3060;
constexpr int TextDeletePage = 3061;
constexpr int TextDeletePictures = 3062;
constexpr int TextFailures = 3064;
constexpr int TextAdding = 3065;
constexpr int TextCancel = 3066;
constexpr int TipCancel = 3067;
constexpr int TextCleaning = 3068;
constexpr int TextCleaned = 3069;
constexpr int TextCleanRefused = 3070;
constexpr int TextSubFolders = 3071;
constexpr int TextFilesTitle = 3072;
constexpr int TextFileFilter = 3073;
constexpr int TextOrderPrompt = 3074;
constexpr int TextChoosePage = 3075;
constexpr int TextEmptyPage = 3076;
constexpr int TextApplyFailed = 3077;
constexpr int TextSourceSet = 3078;
constexpr int TextSourceFailed = 3079;
constexpr int TextMissingVolume = 3081;
constexpr int TipTree = 3083;
constexpr int TipGrid = 3084;
constexpr int TextFolderTitle = 3089;
constexpr int TextNothingFound = 3090;
constexpr int ListButtons = 3095; // Delete|Cancel|OK|Remove
constexpr int TextPlaced = 3097;
constexpr int TextRemoved = 3098;
constexpr int TextMore = 3099;

// The sort combo's fixed entries, then the page's own orders. DiapSortedBy keeps the choice:
// 1 + the entry's position, the last value for an order of the user's (kept in DiapSortedKey).
enum SortEntry
{
    SortAdded,
    SortName,
    SortDate,
    SortUser,
};
constexpr int ZoomStep = 25;
constexpr int FailuresShown = 12;

double twipsPerPixel()
{
    if (const std::optional<ScreenExtent> extent = registry().screenExtent())
        return extent->twipsPerPixel;
    return 15.0;
}

// Album and page names in place: the editor takes no more than the column does.
class NameDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;
    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        QWidget* editor = QStyledItemDelegate::createEditor(parent, option, index);
        if (auto* line = qobject_cast<QLineEdit*>(editor))
            line->setMaxLength(
                AlbumTreeModel::isAlbum(index) ? AlbumTreeModel::AlbumNameMax : AlbumTreeModel::PageNameMax);
        return editor;
    }
};

QIcon themed(const char* name, QStyle::StandardPixmap fallback)
{
    return QIcon::fromTheme(QLatin1String(name), QApplication::style()->standardIcon(fallback));
}

} // namespace

FrmAlbums::FrmAlbums(ClsMdb& db, const QString& thumbnailFolder, Hooks hooks, QWidget* parent)
    : QMainWindow(parent)
    , m_db(db)
    , m_images(thumbnailFolder)
    , m_hooks(std::move(hooks))
{
    setObjectName(QStringLiteral("FrmAlbums"));
    setWindowTitle(langText(TextTitle));
    setLocale(AlbumWindowTexts::interfaceLocale());
    TAPISOL_TRACE(QStringLiteral("AB Open, thumbnails in ") + thumbnailFolder);
    buildActions();
    buildCentre();
    buildMenus();
    buildToolBar();
    buildStatus();
    restoreFromSettings();
    updateActions();
    updateStatus();
}

FrmAlbums::~FrmAlbums()
{
    if (m_batch)
        m_batch->disconnect(this);
}

FrmPictureView* FrmAlbums::pictureView() const
{
    return m_view.data();
}

// --- building ---------------------------------------------------------------------------------

void FrmAlbums::buildActions()
{
    const auto make = [this](int text, const QIcon& icon = {}) {
        auto* action = withTip(new QAction(icon, langText(text), this), text + 1);
        action->setStatusTip(action->toolTip());
        return action;
    };
    QStyle* style = QApplication::style();
    m_newAlbum = make(3006, themed("folder-new", QStyle::SP_FileDialogNewFolder));
    m_newAlbum->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_N));
    m_newPage = make(3008, themed("document-new", QStyle::SP_FileIcon));
    m_newPage->setShortcut(QKeySequence::New);
    m_newSubPage = make(3010);
    m_newSubPage->setShortcut(QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_N));
    m_rename = make(3012);
    m_rename->setShortcut(Qt::Key_F2);
    m_delete = make(3014, themed("edit-delete", QStyle::SP_TrashIcon));
    m_delete->setShortcut(QKeySequence::Delete);
    m_delete->setShortcutContext(Qt::WidgetShortcut);
    m_addPictures = make(3016, themed("list-add", QStyle::SP_DialogOpenButton));
    m_addPictures->setShortcut(QKeySequence::Open);
    m_addFolder = make(3018, themed("folder-open", QStyle::SP_DirOpenIcon));
    m_addFolder->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_O));
    m_fullView = make(3024, themed("view-fullscreen", QStyle::SP_TitleBarMaxButton));
    m_fullView->setShortcut(Qt::Key_Return);
    m_fullView->setShortcutContext(Qt::WidgetShortcut);
    m_selectAll = make(3034);
    m_selectAll->setShortcut(QKeySequence::SelectAll);
    m_selectAll->setShortcutContext(Qt::WidgetShortcut);
    m_removeFromPage = make(3020, themed("list-remove", QStyle::SP_DialogDiscardButton));
    m_removeFromPage->setShortcut(QKeySequence::Delete);
    m_removeFromPage->setShortcutContext(Qt::WidgetShortcut);
    m_undoRemove = make(3048, themed("edit-undo", QStyle::SP_ArrowBack));
    m_undoRemove->setShortcut(QKeySequence::Undo);
    m_deleteFromStore = make(3022);
    m_deleteFromStore->setShortcut(QKeySequence(Qt::SHIFT | Qt::Key_Delete));
    m_deleteFromStore->setShortcutContext(Qt::WidgetShortcut);
    m_setWallpaper = make(3026, themed("preferences-desktop-wallpaper", QStyle::SP_DesktopIcon));
    m_usePage = make(3028);
    m_useAlbum = make(3030);
    m_clean = make(3032);
    m_zoomIn = make(3050, themed("zoom-in", QStyle::SP_ArrowUp));
    m_zoomIn->setShortcuts({QKeySequence::ZoomIn, QKeySequence(Qt::CTRL | Qt::Key_Equal)});
    m_zoomOut = make(3052, themed("zoom-out", QStyle::SP_ArrowDown));
    m_zoomOut->setShortcut(QKeySequence::ZoomOut);
    m_reverse = make(3093);
    m_reverse->setToolTip(langText(3096));
    m_reverse->setStatusTip(m_reverse->toolTip());
    m_reverse->setCheckable(true);
    m_newOrder = make(3039);
    m_deleteOrder = make(3041);
    m_help = withTip(new QAction(langText(380), this), 3091);
    m_help->setShortcut(QKeySequence::HelpContents);
    m_close = make(3046, style->standardIcon(QStyle::SP_DialogCloseButton));
    m_close->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_W));

    connect(m_newAlbum, &QAction::triggered, this, &FrmAlbums::newAlbum);
    connect(m_newPage, &QAction::triggered, this, [this] { newPage(false); });
    connect(m_newSubPage, &QAction::triggered, this, [this] { newPage(true); });
    connect(m_rename, &QAction::triggered, this, &FrmAlbums::renameSelected);
    connect(m_delete, &QAction::triggered, this, &FrmAlbums::deleteSelected);
    connect(m_addPictures, &QAction::triggered, this, &FrmAlbums::addPicturesDialog);
    connect(m_addFolder, &QAction::triggered, this, &FrmAlbums::addFolderDialog);
    connect(m_fullView, &QAction::triggered, this, [this] { openFullView(m_grid->currentIndex().row()); });
    connect(m_selectAll, &QAction::triggered, this, [this] { m_grid->selectAll(); });
    connect(m_removeFromPage, &QAction::triggered, this, &FrmAlbums::removeFromPage);
    connect(m_undoRemove, &QAction::triggered, this, &FrmAlbums::undoRemove);
    connect(m_deleteFromStore, &QAction::triggered, this, &FrmAlbums::deleteFromStore);
    connect(m_setWallpaper, &QAction::triggered, this, &FrmAlbums::setWallpaperNow);
    connect(m_usePage, &QAction::triggered, this, [this] { useAsSource(false); });
    connect(m_useAlbum, &QAction::triggered, this, [this] { useAsSource(true); });
    connect(m_clean, &QAction::triggered, this, &FrmAlbums::cleanDatabase);
    connect(m_zoomIn, &QAction::triggered, this, [this] { zoomBy(1); });
    connect(m_zoomOut, &QAction::triggered, this, [this] { zoomBy(-1); });
    connect(m_reverse, &QAction::toggled, this, [this] {
        if (!m_loadingSort)
            sortChosen();
    });
    connect(m_newOrder, &QAction::triggered, this, &FrmAlbums::newOrder);
    connect(m_deleteOrder, &QAction::triggered, this, &FrmAlbums::deleteOrder);
    connect(m_help, &QAction::triggered, this, &FrmAlbums::openHelp);
    connect(m_close, &QAction::triggered, this, &QWidget::close);
}

void FrmAlbums::buildCentre()
{
    m_treeModel = new AlbumTreeModel(m_db, this);
    QStyle* style = QApplication::style();
    m_treeModel->setIcons(themed("folder-pictures", QStyle::SP_DirIcon), style->standardIcon(QStyle::SP_FileIcon));
    m_tree = withTip(new QTreeView, TipTree);
    m_tree->setObjectName(QStringLiteral("albumTree"));
    m_tree->setModel(m_treeModel);
    m_tree->setHeaderHidden(true);
    m_tree->setItemDelegate(new NameDelegate(m_tree));
    m_tree->setEditTriggers(QAbstractItemView::EditKeyPressed | QAbstractItemView::SelectedClicked);
    m_tree->setSelectionMode(QAbstractItemView::SingleSelection);
    m_tree->setDragDropMode(QAbstractItemView::DragDrop);
    m_tree->setDragDropOverwriteMode(true); // a drop goes onto a page, never between two
    m_tree->setDefaultDropAction(Qt::MoveAction);
    m_tree->setDropIndicatorShown(true);
    m_tree->setContextMenuPolicy(Qt::ActionsContextMenu);
    m_tree->addActions({m_newAlbum, m_newPage, m_newSubPage, m_rename, m_delete});
    auto* separator = new QAction(m_tree);
    separator->setSeparator(true);
    m_tree->addActions({separator, m_addPictures, m_addFolder, m_usePage, m_useAlbum});

    m_gridModel = new ThumbnailGridModel(this);
    m_grid = withTip(new ThumbnailView, TipGrid);
    m_grid->setObjectName(QStringLiteral("thumbnails"));
    m_grid->setModel(m_gridModel);
    m_grid->setContextMenuPolicy(Qt::ActionsContextMenu);
    auto* gridSeparator = new QAction(m_grid);
    gridSeparator->setSeparator(true);
    auto* gridSeparator2 = new QAction(m_grid);
    gridSeparator2->setSeparator(true);
    m_grid->addActions({m_fullView, m_setWallpaper, gridSeparator, m_selectAll, m_removeFromPage, m_undoRemove,
        m_deleteFromStore, gridSeparator2, m_addPictures, m_addFolder});

    m_splitter = new QSplitter(Qt::Horizontal);
    m_splitter->setObjectName(QStringLiteral("splitter"));
    m_splitter->addWidget(m_tree);
    m_splitter->addWidget(m_grid);
    m_splitter->setStretchFactor(0, 0);
    m_splitter->setStretchFactor(1, 1);
    m_splitter->setChildrenCollapsible(false);
    setCentralWidget(m_splitter);
    setTabOrder(m_tree, m_grid);
    m_tree->setFocus();

    connect(m_tree->selectionModel(), &QItemSelectionModel::currentChanged, this,
        [this](const QModelIndex& current) { treeCurrentChanged(current); });
    connect(m_treeModel, &AlbumTreeModel::failed, this, [this](const QString& why) { tell(why); });
    connect(m_treeModel, &AlbumTreeModel::dataChanged, this, [this] { updateStatus(); });
    // Queued: the drop's drag is still running in the view that started it.
    connect(
        m_treeModel, &AlbumTreeModel::filesDropped, this,
        [this](qint64, qint64 page, const QStringList& paths) { addPaths(page, paths, true); }, Qt::QueuedConnection);
    connect(m_treeModel, &AlbumTreeModel::picturesDropped, this, &FrmAlbums::picturesDropped, Qt::QueuedConnection);
    connect(m_treeModel, &QAbstractItemModel::rowsMoved, this, [this] { treeCurrentChanged(m_tree->currentIndex()); });
    connect(
        m_gridModel, &ThumbnailGridModel::filesDropped, this,
        [this](const QStringList& paths) { addPaths(m_gridModel->page(), paths, true); }, Qt::QueuedConnection);
    connect(m_gridModel, &ThumbnailGridModel::movedByUser, this, &FrmAlbums::saveMovedOrder);
    connect(
        m_grid, &QAbstractItemView::activated, this, [this](const QModelIndex& index) { openFullView(index.row()); });
    connect(m_grid->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] {
        updateActions();
        updateStatus();
    });
    connect(m_gridModel, &QAbstractItemModel::rowsInserted, this, [this] { updateStatus(); });
    connect(m_gridModel, &QAbstractItemModel::rowsRemoved, this, [this] { updateStatus(); });
}

void FrmAlbums::buildMenus()
{
    QMenu* album = menuBar()->addMenu(langText(TextMenuAlbum));
    album->addActions({m_newAlbum, m_newPage, m_newSubPage});
    album->addSeparator();
    album->addActions({m_rename, m_delete});
    album->addSeparator();
    album->addAction(m_close);

    QMenu* pictures = menuBar()->addMenu(langText(TextMenuPictures));
    pictures->addActions({m_addPictures, m_addFolder});
    pictures->addSeparator();
    pictures->addActions({m_fullView, m_setWallpaper});
    pictures->addSeparator();
    pictures->addActions({m_selectAll, m_removeFromPage, m_undoRemove, m_deleteFromStore});

    QMenu* view = menuBar()->addMenu(langText(TextMenuView));
    view->addActions({m_zoomIn, m_zoomOut});
    view->addSeparator();
    view->addActions({m_reverse, m_newOrder, m_deleteOrder});

    QMenu* tools = menuBar()->addMenu(langText(TextMenuTools));
    tools->addActions({m_usePage, m_useAlbum});
    tools->addSeparator();
    tools->addAction(m_clean);
    tools->addSeparator();
    tools->addAction(m_help);
    for (QMenu* menu : {album, pictures, view, tools})
        menu->setToolTipsVisible(true);
}

void FrmAlbums::buildToolBar()
{
    QToolBar* bar = addToolBar(langText(TextMenuAlbum));
    bar->setObjectName(QStringLiteral("toolBar"));
    bar->setMovable(false);
    bar->setToolButtonStyle(Qt::ToolButtonIconOnly);
    bar->addActions({m_newAlbum, m_newPage});
    bar->addSeparator();
    bar->addActions({m_addPictures, m_addFolder, m_removeFromPage});
    bar->addSeparator();
    bar->addActions({m_fullView, m_setWallpaper});
    bar->addSeparator();
    auto* label = new QLabel(langText(TextSortLabel));
    m_sort = withTip(new QComboBox, TipSort);
    m_sort->setObjectName(QStringLiteral("sort"));
    m_sort->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    m_sort->setMinimumContentsLength(14);
    label->setBuddy(m_sort);
    label->setContentsMargins(6, 0, 4, 0);
    bar->addWidget(label);
    bar->addWidget(m_sort);
    bar->addAction(m_reverse);
    connect(m_sort, &QComboBox::activated, this, [this] { sortChosen(); });
}

void FrmAlbums::buildStatus()
{
    m_counts = new QLabel;
    m_counts->setObjectName(QStringLiteral("counts"));
    statusBar()->addWidget(m_counts, 1);

    m_progressBox = new QWidget;
    auto* progressLayout = new QHBoxLayout(m_progressBox);
    progressLayout->setContentsMargins(0, 0, 0, 0);
    m_progressText = new QLabel;
    m_progress = new QProgressBar;
    m_progress->setObjectName(QStringLiteral("addProgress"));
    m_progress->setMaximumWidth(180);
    m_progress->setTextVisible(false);
    m_cancel = withTip(new QToolButton, TipCancel);
    m_cancel->setObjectName(QStringLiteral("cancelAdding"));
    m_cancel->setText(langText(TextCancel));
    m_cancel->setToolButtonStyle(Qt::ToolButtonTextOnly);
    progressLayout->addWidget(m_progressText);
    progressLayout->addWidget(m_progress);
    progressLayout->addWidget(m_cancel);
    statusBar()->addPermanentWidget(m_progressBox);
    m_progressBox->hide();
    connect(m_cancel, &QToolButton::clicked, this, &FrmAlbums::cancelAdding);

    m_zoom = new QSlider(Qt::Horizontal);
    m_zoom->setToolTip(langText(3050) + QStringLiteral(" / ") + langText(3052));
    m_zoom->setObjectName(QStringLiteral("zoom"));
    m_zoom->setRange(ThumbnailView::MinZoom, ThumbnailView::MaxZoom);
    m_zoom->setSingleStep(ZoomStep);
    m_zoom->setPageStep(ZoomStep);
    m_zoom->setFixedWidth(110);
    statusBar()->addPermanentWidget(m_zoom);
    connect(m_zoom, &QSlider::valueChanged, this, [this](int value) { m_grid->setZoom(value); });
}

// --- settings ---------------------------------------------------------------------------------

void FrmAlbums::restoreFromSettings()
{
    const ClsRegistry& settings = registry();
    const double ratio = twipsPerPixel();
    const QScreen* screen = QGuiApplication::primaryScreen();
    const QRect available = screen ? screen->availableGeometry() : QRect(0, 0, 1366, 768);
    QSize size(int(settings.get(SettingNo::AlbWindowWidth).toInt() / ratio),
        int(settings.get(SettingNo::AlbWindowHeight).toInt() / ratio));
    if (size.width() < 400 || size.height() < 300)
        size = QSize(1100, 680);
    size = size.boundedTo(available.size() - QSize(16, 48)); // room for the frame and title
    resize(size);
    const QPoint centred = available.center() - QPoint(size.width() / 2, size.height() / 2);
    QPoint place = centred;
    if (settings.get(SettingNo::WindowsPos).toInt() != 0 && settings.get(SettingNo::AlbWindowWidth).toInt() > 0) {
        // The getter has already checked the place against the screens.
        place = QPoint(int(settings.get(SettingNo::AlbWindowPosX).toInt() / ratio),
            int(settings.get(SettingNo::AlbWindowPosY).toInt() / ratio));
        if (const std::optional<ScreenExtent> extent = registry().screenExtent()) {
            if (const auto fitted = WindowPositions::fitToExtent(QRect(place, size), extent->pixels))
                place = fitted->topLeft();
            else
                place = centred;
        }
    }
    move(place);
    if (settings.get(SettingNo::AlbWindowSate).toInt() == 2)
        setWindowState(Qt::WindowMaximized);

    int treeWidth = int(settings.get(SettingNo::AlbSplitAlbWidth).toInt() / ratio);
    if (treeWidth < 120 || treeWidth > size.width() - 200)
        treeWidth = 260;
    m_splitter->setSizes({treeWidth, size.width() - treeWidth});

    const int zoom
        = qBound(ThumbnailView::MinZoom, settings.get(SettingNo::AlbDiapoAlbSize).toInt(), ThumbnailView::MaxZoom);
    m_zoom->setValue(zoom);
    m_grid->setZoom(zoom);
    {
        const QSignalBlocker blocker(m_reverse);
        m_reverse->setChecked(settings.get(SettingNo::AlbDiapSortedSens).toInt() != 0);
    }

    const qint64 album = settings.get(SettingNo::AlbLastPadSelect).toLongLong();
    const qint64 page = settings.get(SettingNo::AlbLastCatSelect).toLongLong();
    if (!selectPage(album, page) && !selectPage(album, 0)) {
        const QModelIndex first = m_treeModel->index(0, 0);
        if (first.isValid())
            m_tree->setCurrentIndex(first);
        else
            showPage(0, 0);
    }
}

void FrmAlbums::saveToSettings()
{
    ClsRegistry& settings = registry();
    const double ratio = twipsPerPixel();
    if (!isMaximized() && !isMinimized() && !isFullScreen()) {
        settings.set(SettingNo::AlbWindowPosX, int(std::lround(x() * ratio)));
        settings.set(SettingNo::AlbWindowPosY, int(std::lround(y() * ratio)));
        settings.set(SettingNo::AlbWindowWidth, int(std::lround(width() * ratio)));
        settings.set(SettingNo::AlbWindowHeight, int(std::lround(height() * ratio)));
    }
    settings.set(SettingNo::AlbWindowSate, isMaximized() ? 2 : 0);
    settings.set(SettingNo::AlbSplitAlbWidth, int(std::lround(m_splitter->sizes().value(0) * ratio)));
    settings.set(SettingNo::AlbDiapoAlbSize, m_grid->zoom());
}

// --- tree and grid ----------------------------------------------------------------------------

bool FrmAlbums::selectPage(qint64 album, qint64 page)
{
    const QModelIndex index = m_treeModel->indexOf(album, page);
    if (!index.isValid())
        return false;
    m_tree->expand(index.parent());
    if (m_tree->currentIndex() == index)
        treeCurrentChanged(index);
    else
        m_tree->setCurrentIndex(index); // which shows it
    m_tree->scrollTo(index);
    return true;
}

qint64 FrmAlbums::currentAlbum() const
{
    return AlbumTreeModel::albumOf(m_tree->currentIndex());
}

qint64 FrmAlbums::currentPage() const
{
    return AlbumTreeModel::pageOf(m_tree->currentIndex());
}

void FrmAlbums::treeCurrentChanged(const QModelIndex& current)
{
    const qint64 album = AlbumTreeModel::albumOf(current);
    const qint64 page = AlbumTreeModel::pageOf(current);
    if (page == 0 || page != m_gridModel->page())
        showPage(album, page);
    updateActions();
    updateStatus();
}

void FrmAlbums::showPage(qint64 album, qint64 page)
{
    ClsRegistry& settings = registry();
    settings.set(SettingNo::AlbLastPadSelect, int(album));
    settings.set(SettingNo::AlbLastCatSelect, int(page));
    if (page == 0) {
        m_gridModel->clear();
        m_grid->setEmptyText(langText(TextChoosePage));
    } else {
        m_gridModel->setPictures(page, AlbumStore::picturesOfPage(m_db, page), AlbumStore::volumes(m_db));
        m_grid->setEmptyText(langText(TextEmptyPage));
    }
    loadSortChoices();
    applySort();
    m_grid->scrollToTop();
    if (m_gridModel->rowCount() > 0)
        m_grid->selectionModel()->setCurrentIndex(m_gridModel->index(0), QItemSelectionModel::NoUpdate);
    updateActions();
    updateStatus();
}

void FrmAlbums::reloadGrid()
{
    const qint64 page = m_gridModel->page();
    if (page == 0)
        return;
    const int current = m_grid->currentIndex().row();
    m_gridModel->setPictures(page, AlbumStore::picturesOfPage(m_db, page), AlbumStore::volumes(m_db));
    applySort();
    if (current >= 0 && current < m_gridModel->rowCount())
        m_grid->setCurrentIndex(m_gridModel->index(current));
    updateStatus();
}

void FrmAlbums::updateActions()
{
    const QModelIndex node = m_tree->currentIndex();
    const bool onNode = node.isValid();
    const bool onPage = AlbumTreeModel::pageOf(node) != 0;
    const bool hasSelection = m_grid->selectionModel() && m_grid->selectionModel()->hasSelection();
    const bool hasCurrent = m_grid->currentIndex().isValid();
    m_newPage->setEnabled(onNode);
    m_newSubPage->setEnabled(onPage);
    m_rename->setEnabled(onNode);
    m_delete->setEnabled(onNode);
    m_addPictures->setEnabled(onPage);
    m_addFolder->setEnabled(onPage);
    m_fullView->setEnabled(hasCurrent);
    m_selectAll->setEnabled(m_gridModel->rowCount() > 0);
    m_removeFromPage->setEnabled(hasSelection);
    m_deleteFromStore->setEnabled(hasSelection);
    m_undoRemove->setEnabled(!m_removed.isEmpty());
    m_setWallpaper->setEnabled(hasCurrent && bool(m_hooks.applyFile));
    m_usePage->setEnabled(onPage && bool(m_hooks.useAlbumSource));
    m_useAlbum->setEnabled(onNode && bool(m_hooks.useAlbumSource));
    m_clean->setEnabled(!AlbumCleaning::isRunning());
    m_sort->setEnabled(onPage);
    m_reverse->setEnabled(onPage && m_sort->currentData().toLongLong() < SortUser);
    m_newOrder->setEnabled(onPage && m_gridModel->rowCount() > 0);
    m_deleteOrder->setEnabled(onPage && m_sort->currentData().toLongLong() >= SortUser);
}

void FrmAlbums::updateStatus()
{
    const int count = m_gridModel->rowCount();
    QStringList parts;
    if (m_gridModel->page() != 0) {
        parts << (count == 0 ? langText(TextNoPicture)
                : count == 1 ? langText(TextOnePicture)
                             : langText(TextPictures).arg(AlbumWindowTexts::interfaceLocale().toString(count)));
        const int selected = m_grid->selectionModel() ? int(m_grid->selectionModel()->selectedIndexes().size()) : 0;
        if (selected > 0)
            parts << langText(TextSelected).arg(selected);
        if (m_gridModel->missingCount() > 0)
            parts << langText(TextMissing).arg(m_gridModel->missingCount());
    }
    m_counts->setText(parts.join(QStringLiteral("  ·  ")));
}

// --- albums and pages -------------------------------------------------------------------------

void FrmAlbums::newAlbum()
{
    QString error;
    const QModelIndex added = m_treeModel->addAlbum(m_treeModel->freeName({}, langText(TextAlbumName)), &error);
    if (!added.isValid()) {
        tell(error);
        return;
    }
    m_tree->setCurrentIndex(added);
    m_tree->edit(added); // named at once, as a new folder is
}

void FrmAlbums::newPage(bool underSelected)
{
    QModelIndex parent = m_tree->currentIndex();
    if (!parent.isValid())
        return;
    // A new page goes beside the chosen page (under the same parent), or under it when asked.
    if (!underSelected && !AlbumTreeModel::isAlbum(parent))
        parent = parent.parent();
    QString error;
    const QModelIndex added
        = m_treeModel->addPage(parent, m_treeModel->freeName(parent, langText(TextPageName)), &error);
    if (!added.isValid()) {
        tell(error);
        return;
    }
    m_tree->expand(parent);
    m_tree->setCurrentIndex(added);
    m_tree->edit(added);
}

void FrmAlbums::renameSelected()
{
    if (m_tree->currentIndex().isValid()) {
        m_tree->setFocus();
        m_tree->edit(m_tree->currentIndex());
    }
}

void FrmAlbums::deleteSelected()
{
    const QModelIndex node = m_tree->currentIndex();
    if (!node.isValid())
        return;
    const QString name = node.data().toString();
    const int pages = m_treeModel->pagesUnder(node);
    // The question names what goes: the node, and how many pages under it when there are any.
    const QStringList texts = langList(AlbumTreeModel::isAlbum(node) ? TextDeleteAlbum : TextDeletePage);
    const QString question = pages == 0 ? texts.value(0).arg(name) : texts.value(1).arg(name).arg(pages);
    if (!confirm(question, 0))
        return;
    // An adding into one of these pages stops first: its pictures would have nowhere to go.
    const QList<qint64> going = m_treeModel->pageTree(node);
    if (m_batch && going.contains(m_jobPage)) {
        m_jobPageGone = true;
        cancelAdding();
    }
    m_jobs.removeIf([&going](const AddJob& job) { return going.contains(job.page); });
    QString error;
    if (!m_treeModel->remove(node, &error)) {
        tell(error);
        return;
    }
    TAPISOL_TRACE(QStringLiteral("AB Deleted ") + name);
    treeCurrentChanged(m_tree->currentIndex());
}

// --- pictures ---------------------------------------------------------------------------------

void FrmAlbums::addPicturesDialog()
{
    const qint64 page = currentPage();
    if (page == 0)
        return;
    const QStringList filters = langList(TextFileFilter);
    QStringList patterns;
    for (const QString& extension : PictureSource::defaultExtensions())
        patterns << QStringLiteral("*.") + extension << QStringLiteral("*.") + extension.toUpper();
    const QString filter
        = filters.value(0).arg(patterns.join(QLatin1Char(' '))) + QStringLiteral(";;") + filters.value(1);
    const QStringList files
        = QFileDialog::getOpenFileNames(this, langText(TextFilesTitle).arg(m_tree->currentIndex().data().toString()),
            registry().get(SettingNo::AlbLastRepImg).toString(), filter);
    if (files.isEmpty())
        return;
    registry().set(SettingNo::AlbLastRepImg, QFileInfo(files.first()).absolutePath());
    addPaths(page, files, false);
}

void FrmAlbums::addFolderDialog()
{
    const qint64 page = currentPage();
    if (page == 0)
        return;
    // Qt's own dialog: it takes the "with sub-folders" box, and behaves the same on every desktop.
    QFileDialog dialog(this, langText(TextFolderTitle).arg(m_tree->currentIndex().data().toString()),
        registry().get(SettingNo::AlbLastRepImg).toString());
    dialog.setObjectName(QStringLiteral("folderDialog"));
    dialog.setFileMode(QFileDialog::Directory);
    dialog.setOptions(QFileDialog::ShowDirsOnly | QFileDialog::DontUseNativeDialog);
    auto* subFolders = new QCheckBox(langText(TextSubFolders), &dialog);
    subFolders->setObjectName(QStringLiteral("subFolders"));
    subFolders->setChecked(true);
    if (auto* grid = qobject_cast<QGridLayout*>(dialog.layout()))
        grid->addWidget(subFolders, grid->rowCount(), 0, 1, grid->columnCount());
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return;
    const QString folder = dialog.selectedFiles().first();
    registry().set(SettingNo::AlbLastRepImg, folder);
    addPaths(page, {folder}, subFolders->isChecked());
}

QList<qint64> FrmAlbums::selectedKeys() const
{
    QList<int> rows;
    for (const QModelIndex& index : m_grid->selectionModel()->selectedIndexes())
        rows.append(index.row());
    std::sort(rows.begin(), rows.end());
    QList<qint64> keys;
    for (int row : rows)
        keys.append(m_gridModel->pictureAt(row).KeyAuto);
    return keys;
}

void FrmAlbums::removeFromPage()
{
    const qint64 page = m_gridModel->page();
    const QList<qint64> keys = selectedKeys();
    if (page == 0 || keys.isEmpty())
        return;
    QList<PictureRow> removed;
    QSet<qint64> gone;
    QString error;
    for (qint64 key : keys) {
        const PictureRow row = m_gridModel->pictureAt(m_gridModel->rowOfKey(key));
        if (!AlbumStore::removePictureFromPage(m_db, page, key, &error))
            break;
        removed.append(row);
        gone.insert(key);
    }
    const int nextRow = m_gridModel->rowOfKey(keys.first());
    m_gridModel->removePictures(gone);
    selectAfterRemoval(nextRow);
    if (!removed.isEmpty()) {
        m_removedFrom = page;
        m_removed = removed;
        statusBar()->showMessage(langText(TextRemoved).arg(removed.size()), 8000);
    }
    if (!error.isEmpty())
        tell(error);
    updateActions();
}

// The picture after those that went is chosen and selected, so that Delete pressed again goes on.
void FrmAlbums::selectAfterRemoval(int row)
{
    if (m_gridModel->rowCount() == 0)
        return;
    const QModelIndex next = m_gridModel->index(qBound(0, row, m_gridModel->rowCount() - 1));
    m_grid->selectionModel()->setCurrentIndex(next, QItemSelectionModel::ClearAndSelect);
}

void FrmAlbums::undoRemove()
{
    if (m_removed.isEmpty())
        return;
    QString error;
    for (const PictureRow& row : std::as_const(m_removed)) {
        if (!AlbumStore::addPictureToPage(
                m_db, m_removedFrom, row.VolSerial, row.Path, row.ThumbPath, row.ImageDateTime, &error))
            break;
        if (m_gridModel->page() == m_removedFrom)
            m_gridModel->appendPicture(row);
    }
    const QList<PictureRow> restored = std::exchange(m_removed, {});
    if (m_gridModel->page() == m_removedFrom) {
        applySort();
        // What came back is what is selected, ready to be looked at or removed again.
        QItemSelection selection;
        for (const PictureRow& row : restored) {
            const QModelIndex index = m_gridModel->index(m_gridModel->rowOfKey(row.KeyAuto));
            if (index.isValid())
                selection.select(index, index);
        }
        if (!selection.isEmpty()) {
            m_grid->selectionModel()->setCurrentIndex(selection.indexes().first(), QItemSelectionModel::NoUpdate);
            m_grid->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
        }
    }
    if (!error.isEmpty())
        tell(error);
    updateActions();
}

void FrmAlbums::deleteFromStore()
{
    const QList<qint64> keys = selectedKeys();
    if (keys.isEmpty() || !confirm(langText(TextDeletePictures).arg(keys.size()), 0))
        return;
    QSet<qint64> gone;
    QString error;
    for (qint64 key : keys) {
        if (!AlbumStore::deletePicture(m_db, key, &error))
            break;
        gone.insert(key);
    }
    TAPISOL_TRACE(QStringLiteral("AB Deleted pictures %1").arg(gone.size()));
    const int nextRow = m_gridModel->rowOfKey(keys.first());
    m_gridModel->removePictures(gone);
    selectAfterRemoval(nextRow);
    // Pictures taken off a page a moment ago may be among them: there is nothing left to undo.
    m_removed.removeIf([&gone](const PictureRow& row) { return gone.contains(row.KeyAuto); });
    if (!error.isEmpty())
        tell(error);
    updateActions();
}

void FrmAlbums::picturesDropped(qint64 page, const QList<qint64>& pictures, qint64 fromPage, Qt::DropAction action)
{
    int placed = 0;
    QSet<qint64> moved;
    QString error;
    for (qint64 key : pictures) {
        const std::optional<PictureRow> row = AlbumStore::picture(m_db, key);
        if (!row)
            continue;
        if (!AlbumStore::addPictureToPage(
                m_db, page, row->VolSerial, row->Path, row->ThumbPath, row->ImageDateTime, &error))
            break;
        ++placed;
        if (action == Qt::MoveAction && fromPage != 0 && AlbumStore::removePictureFromPage(m_db, fromPage, key, &error))
            moved.insert(key);
    }
    if (m_gridModel->page() == fromPage)
        m_gridModel->removePictures(moved);
    else if (m_gridModel->page() == page)
        reloadGrid();
    const QModelIndex target = m_treeModel->indexOf(currentAlbum(), page);
    const QString name = target.isValid() ? target.data().toString() : QString::number(page);
    statusBar()->showMessage(langText(TextPlaced).arg(placed).arg(name), 8000);
    if (!error.isEmpty())
        tell(error);
    updateActions();
}

void FrmAlbums::openFullView(int row)
{
    if (row < 0 || row >= m_gridModel->rowCount())
        return;
    QList<FrmPictureView::Entry> entries;
    entries.reserve(m_gridModel->rowCount());
    for (int i = 0; i < m_gridModel->rowCount(); ++i)
        entries.append({m_gridModel->pictureAt(i).Path, m_gridModel->missingVolumeText(i)});
    if (!m_view) {
        m_view = new FrmPictureView(this);
        m_view->placeholder = [this](int index) { return m_gridModel->cachedThumbnail(index); };
        if (m_hooks.applyFile) {
            m_view->setAsWallpaper = [this](const QString& path) {
                return m_hooks.applyFile(path) ? QString() : langText(TextApplyFailed).arg(path);
            };
        }
        connect(m_view, &FrmPictureView::currentChanged, this, [this](int index) {
            if (index >= 0 && index < m_gridModel->rowCount()) {
                m_grid->setCurrentIndex(m_gridModel->index(index));
                m_grid->scrollTo(m_gridModel->index(index));
            }
        });
    }
    m_view->setPictures(entries, row);
    if (QScreen* screen = this->screen())
        m_view->setGeometry(screen->geometry());
    m_view->showFullScreen();
    m_view->raise();
    m_view->activateWindow();
}

void FrmAlbums::setWallpaperNow()
{
    const int row = m_grid->currentIndex().row();
    if (row < 0 || !m_hooks.applyFile)
        return;
    const QString missing = m_gridModel->missingVolumeText(row);
    if (!missing.isEmpty()) {
        tell(langText(TextMissingVolume).arg(missing));
        return;
    }
    const QString path = m_gridModel->pictureAt(row).Path;
    TAPISOL_TRACE(QStringLiteral("AB Wallpaper ") + path);
    if (!m_hooks.applyFile(path))
        tell(langText(TextApplyFailed).arg(QDir::toNativeSeparators(path)));
}

void FrmAlbums::useAsSource(bool wholeAlbum)
{
    QModelIndex node = m_tree->currentIndex();
    if (!node.isValid() || !m_hooks.useAlbumSource)
        return;
    if (wholeAlbum)
        node = m_treeModel->indexOf(AlbumTreeModel::albumOf(node));
    const qint64 album = AlbumTreeModel::albumOf(node);
    const qint64 page = wholeAlbum ? 0 : AlbumTreeModel::pageOf(node);
    const QString name = node.data().toString();
    TAPISOL_TRACE(QStringLiteral("AB Source album %1 page %2").arg(album).arg(page));
    if (m_hooks.useAlbumSource(album, page))
        statusBar()->showMessage(langText(TextSourceSet).arg(name), 10000);
    else
        tell(langText(TextSourceFailed).arg(name));
}

void FrmAlbums::cleanDatabase()
{
    if (AlbumCleaning::isRunning()) {
        tell(langText(TextCleanRefused));
        return;
    }
    m_clean->setEnabled(false);
    FrmWait wait(langText(TextCleaning), false, this);
    wait.show();
    wait.step(0, 0);
    const AlbumCleaning::Report report
        = AlbumCleaning::run(m_db, m_images, [&wait](int done, int total) { wait.step(done, total); });
    wait.hide();
    m_clean->setEnabled(!AlbumCleaning::isRunning());
    if (report.refused) {
        tell(langText(TextCleanRefused));
        return;
    }
    if (m_closingForExit)
        return;
    reloadGrid();
    tell(langText(TextCleaned).arg(report.pictures).arg(report.picturesDeleted).arg(report.thumbnailsDeleted));
}

void FrmAlbums::openHelp()
{
    if (appState().helpFile.isEmpty())
        return;
    QUrl page = QUrl::fromLocalFile(appState().helpFile);
    page.setFragment(QStringLiteral("albums"));
    QDesktopServices::openUrl(page);
}

// --- orders -----------------------------------------------------------------------------------

void FrmAlbums::loadSortChoices()
{
    const QSignalBlocker blocker(m_sort);
    m_sort->clear();
    const QStringList fixed = langList(ListSorts);
    for (int i = 0; i < SortUser; ++i)
        m_sort->addItem(fixed.value(i), i);
    const qint64 page = m_gridModel->page();
    if (page != 0) {
        for (const SortOrder& order : AlbumStore::sortOrders(m_db, SortFamily::Pictures, page))
            m_sort->addItem(order.Description, SortUser + order.KeyAuto);
    }
    const ClsRegistry& settings = registry();
    const int by = settings.get(SettingNo::AlbDiapSortedBy).toInt() - 1;
    int chosen = 0;
    if (by >= 0 && by < SortUser)
        chosen = by;
    else if (by == SortUser)
        chosen = qMax(0, m_sort->findData(SortUser + settings.get(SettingNo::AlbDiapSortedKey).toLongLong()));
    m_sort->setCurrentIndex(chosen);
}

void FrmAlbums::applySort()
{
    const qint64 choice = m_sort->currentData().toLongLong();
    if (choice >= SortUser) {
        QList<qint64> keys;
        for (const SortRow& row : AlbumStore::sortRows(m_db, choice - SortUser))
            keys.append(row.Key);
        m_gridModel->sortBy(ThumbnailGridModel::Order::User, false, keys);
    } else {
        const auto order = choice == SortName ? ThumbnailGridModel::Order::Name
            : choice == SortDate              ? ThumbnailGridModel::Order::Date
                                              : ThumbnailGridModel::Order::Added;
        m_gridModel->sortBy(order, m_reverse->isChecked());
    }
    updateActions();
}

void FrmAlbums::sortChosen()
{
    const qint64 choice = m_sort->currentData().toLongLong();
    ClsRegistry& settings = registry();
    settings.set(SettingNo::AlbDiapSortedBy, int(qMin<qint64>(choice, SortUser) + 1));
    settings.set(SettingNo::AlbDiapSortedSens, m_reverse->isChecked() ? -1 : 0);
    if (choice >= SortUser)
        settings.set(SettingNo::AlbDiapSortedKey, int(choice - SortUser));
    applySort();
    if (m_grid->currentIndex().isValid())
        m_grid->scrollTo(m_grid->currentIndex());
}

void FrmAlbums::newOrder()
{
    const qint64 page = m_gridModel->page();
    if (page == 0)
        return;
    QStringList taken;
    for (int i = SortUser; i < m_sort->count(); ++i)
        taken << m_sort->itemText(i);
    QString proposed = langText(TextOrderName);
    for (int n = 2; taken.contains(proposed, Qt::CaseInsensitive); ++n)
        proposed = langText(TextOrderName) + QLatin1Char(' ') + QString::number(n);
    bool ok = false;
    const QString name = QInputDialog::getText(
        this, langText(3039).remove(QStringLiteral("...")), langText(TextOrderPrompt), QLineEdit::Normal, proposed, &ok)
                             .trimmed()
                             .left(AlbumTreeModel::AlbumNameMax);
    if (!ok || name.isEmpty())
        return;
    QString error;
    const std::optional<qint64> key
        = AlbumStore::writeSortOrder(m_db, SortFamily::Pictures, page, name, m_gridModel->keys(), &error);
    if (!key) {
        tell(error);
        return;
    }
    loadSortChoices();
    m_sort->setCurrentIndex(qMax(0, m_sort->findData(SortUser + *key)));
    sortChosen();
}

void FrmAlbums::deleteOrder()
{
    const qint64 choice = m_sort->currentData().toLongLong();
    if (choice < SortUser || !confirm(langText(3041) + QStringLiteral(" — ") + m_sort->currentText(), 0))
        return;
    QString error;
    if (!AlbumStore::deleteSortOrder(m_db, choice - SortUser, &error)) {
        tell(error);
        return;
    }
    loadSortChoices();
    m_sort->setCurrentIndex(0);
    sortChosen();
}

// Pictures moved by hand: the order shown becomes (or stays) an order of the user's, saved at
// once. A fixed order is never overwritten: the first move makes a new order of its own.
void FrmAlbums::saveMovedOrder()
{
    const qint64 page = m_gridModel->page();
    if (page == 0)
        return;
    const qint64 choice = m_sort->currentData().toLongLong();
    QString name = m_sort->currentText();
    if (choice < SortUser) {
        QStringList taken;
        for (int i = SortUser; i < m_sort->count(); ++i)
            taken << m_sort->itemText(i);
        name = langText(TextOrderName);
        for (int n = 2; taken.contains(name, Qt::CaseInsensitive); ++n)
            name = langText(TextOrderName) + QLatin1Char(' ') + QString::number(n);
    }
    QString error;
    const std::optional<qint64> key
        = AlbumStore::writeSortOrder(m_db, SortFamily::Pictures, page, name, m_gridModel->keys(), &error);
    if (!key) {
        tell(error);
        return;
    }
    if (choice < SortUser) {
        loadSortChoices();
        m_sort->setCurrentIndex(qMax(0, m_sort->findData(SortUser + *key)));
        ClsRegistry& settings = registry();
        settings.set(SettingNo::AlbDiapSortedBy, SortUser + 1);
        settings.set(SettingNo::AlbDiapSortedKey, int(*key));
        statusBar()->showMessage(name, 5000);
    }
    updateActions();
}

void FrmAlbums::zoomBy(int steps)
{
    m_zoom->setValue(m_zoom->value() + steps * ZoomStep);
}

// --- adding pictures --------------------------------------------------------------------------

void FrmAlbums::addPaths(qint64 page, const QStringList& paths, bool recursive)
{
    if (page == 0 || paths.isEmpty())
        return;
    const QStringList files = collectPictures(paths, recursive);
    TAPISOL_TRACE(QStringLiteral("AB Add %1 pictures to page %2").arg(files.size()).arg(page));
    if (files.isEmpty()) {
        QStringList shown;
        for (const QString& path : paths)
            shown << QDir::toNativeSeparators(path);
        tell(langText(TextNothingFound).arg(shown.join(QStringLiteral(", "))));
        return;
    }
    m_jobs.append({page, files});
    if (!m_batch)
        startNextJob();
}

QStringList FrmAlbums::collectPictures(const QStringList& paths, bool recursive) const
{
    QStringList patterns;
    for (const QString& extension : PictureSource::defaultExtensions())
        patterns << QStringLiteral("*.") + extension;
    QStringList files;
    QSet<QString> seen;
    for (const QString& path : paths) {
        const QFileInfo info(path);
        if (info.isDir()) {
            QStringList inFolder;
            QDirIterator it(info.absoluteFilePath(), patterns, QDir::Files | QDir::Readable,
                recursive ? QDirIterator::Subdirectories : QDirIterator::NoIteratorFlags);
            while (it.hasNext())
                inFolder << it.next();
            // Folder by folder in name order, as a file manager lists them.
            QCollator collator(AlbumWindowTexts::interfaceLocale());
            collator.setNumericMode(true);
            std::sort(inFolder.begin(), inFolder.end(),
                [&collator](const QString& a, const QString& b) { return collator.compare(a, b) < 0; });
            for (const QString& file : std::as_const(inFolder)) {
                if (!seen.contains(file)) {
                    seen.insert(file);
                    files << file;
                }
            }
        } else if (info.isFile()) {
            // A file the user chose is tried whatever its name: the decoder reads its content.
            const QString file = info.absoluteFilePath();
            if (!seen.contains(file)) {
                seen.insert(file);
                files << file;
            }
        }
    }
    return files;
}

bool FrmAlbums::storeVolumeOf(const QString& path, quint32* serial, QString* error)
{
    const std::optional<Volumes::Volume> volume = Volumes::volumeOf(path, error);
    if (!volume)
        return false;
    *serial = volume->serial;
    if (m_storedVolumes.contains(volume->serial))
        return true;
    VolumeRow row;
    row.KeyVol = volume->serial;
    row.Type = volume->kind;
    row.Nom = volume->displayName();
    if (!AlbumStore::storeVolume(m_db, row, error))
        return false;
    m_storedVolumes.insert(volume->serial);
    return true;
}

std::optional<PictureRow> FrmAlbums::linkPicture(
    qint64 page, quint32 serial, const QString& path, const QString& thumb, const QDateTime& date, QString* error)
{
    const std::optional<qint64> key = AlbumStore::addPictureToPage(m_db, page, serial, path, thumb, date, error);
    if (!key)
        return std::nullopt;
    std::optional<PictureRow> stored = AlbumStore::picture(m_db, *key);
    if (!stored)
        return std::nullopt;
    if (stored->ThumbPath != thumb) {
        // The picture was in the store already. Its thumbnail stays when its file is there; a
        // thumbnail lost since is replaced by the one just made.
        if (!stored->ThumbPath.isEmpty() && QFileInfo::exists(stored->ThumbPath)) {
            QFile::remove(thumb);
        } else {
            stored->ThumbPath = thumb;
            if (!AlbumStore::updatePicture(m_db, *stored, error))
                return std::nullopt;
        }
    }
    return stored;
}

void FrmAlbums::startNextJob()
{
    while (!m_jobs.isEmpty() && !m_batch) {
        const AddJob job = m_jobs.takeFirst();
        m_jobPage = job.page;
        m_jobPageGone = false;
        m_serialOf.clear();
        QStringList toMake;
        for (const QString& path : job.files) {
            quint32 serial = 0;
            QString error;
            if (!storeVolumeOf(path, &serial, &error)) {
                m_failures << QDir::toNativeSeparators(path) + QStringLiteral(": ") + error;
                continue;
            }
            // A picture already in the store keeps its thumbnail: only the link is new.
            const std::optional<PictureRow> known = AlbumStore::findPicture(m_db, serial, path);
            if (known && !known->ThumbPath.isEmpty() && QFileInfo::exists(known->ThumbPath)) {
                if (const auto linked
                    = linkPicture(job.page, serial, path, known->ThumbPath, known->ImageDateTime, &error)) {
                    if (m_gridModel->page() == job.page)
                        m_gridModel->appendPicture(*linked);
                } else {
                    m_failures << QDir::toNativeSeparators(path) + QStringLiteral(": ") + error;
                }
                continue;
            }
            m_serialOf.insert(path, serial);
            toMake << path;
        }
        if (toMake.isEmpty())
            continue;
        m_jobDone = 0;
        m_jobTotal = int(toMake.size());
        m_batchIndex.clear();
        for (int i = 0; i < toMake.size(); ++i)
            m_batchIndex.insert(toMake.at(i), i);
        m_waitingResults.clear();
        m_nextResult = 0;
        m_batch = new ThumbnailBatch(m_images, ClsImage::kThumbnailBox, this);
        connect(m_batch, &ThumbnailBatch::pictureDone, this, &FrmAlbums::thumbnailDone);
        connect(m_batch, &ThumbnailBatch::progress, this, [this](int done, int total) {
            m_jobDone = done;
            m_jobTotal = total;
            m_progress->setRange(0, total);
            m_progress->setValue(done);
            m_progressText->setText(langText(TextAdding).arg(done).arg(total));
        });
        connect(m_batch, &ThumbnailBatch::finished, this, &FrmAlbums::jobFinished, Qt::QueuedConnection);
        m_progress->setRange(0, m_jobTotal);
        m_progress->setValue(0);
        m_progressText->setText(langText(TextAdding).arg(0).arg(m_jobTotal));
        m_cancel->setEnabled(true);
        m_progressBox->show();
        m_batch->start(toMake);
    }
    if (!m_batch)
        jobFinished();
}

void FrmAlbums::thumbnailDone(const ThumbnailBatch::Result& result)
{
    // Two helpers finish in any order; the page gets the pictures in the order of the files, each
    // as soon as those before it are in.
    const int index = m_batchIndex.value(result.picture, -1);
    if (index < 0) {
        storeResult(result);
        return;
    }
    m_waitingResults.emplace(index, result);
    for (auto next = m_waitingResults.find(m_nextResult); next != m_waitingResults.end();
         next = m_waitingResults.find(m_nextResult)) {
        storeResult(next->second);
        m_waitingResults.erase(next);
        ++m_nextResult;
    }
}

void FrmAlbums::storeResult(const ThumbnailBatch::Result& result)
{
    if (m_jobPageGone) {
        QFile::remove(result.thumbnail); // made for a page deleted meanwhile; no row names it
        return;
    }
    if (result.thumbnail.isEmpty()) {
        m_failures << (result.error.isEmpty() ? QDir::toNativeSeparators(result.picture) : result.error);
        return;
    }
    QString error;
    const QDateTime date = QFileInfo(result.picture).lastModified();
    const std::optional<PictureRow> linked
        = linkPicture(m_jobPage, m_serialOf.value(result.picture), result.picture, result.thumbnail, date, &error);
    if (!linked) {
        QFile::remove(result.thumbnail); // no row names it
        m_failures << QDir::toNativeSeparators(result.picture) + QStringLiteral(": ") + error;
        return;
    }
    if (m_gridModel->page() == m_jobPage)
        m_gridModel->appendPicture(*linked);
}

void FrmAlbums::jobFinished()
{
    // A cancelled batch leaves gaps: what did come is stored, in order.
    for (const auto& [index, result] : std::exchange(m_waitingResults, {}))
        storeResult(result);
    if (m_batch) {
        m_batch->disconnect(this);
        m_batch->deleteLater();
        m_batch = nullptr;
    }
    if (!m_jobs.isEmpty()) {
        startNextJob();
        return;
    }
    m_progressBox->hide();
    TAPISOL_TRACE(QStringLiteral("AB Added, %1 failures").arg(m_failures.size()));
    if (m_gridModel->order() != ThumbnailGridModel::Order::Added)
        applySort();
    updateActions();
    updateStatus();
    showFailures();
    emit addingFinished();
}

void FrmAlbums::cancelAdding()
{
    m_jobs.clear();
    if (m_batch) {
        m_cancel->setEnabled(false);
        m_batch->cancel(); // the pictures being made finish and are added; finished() follows
    }
}

void FrmAlbums::showFailures()
{
    m_lastFailures = std::exchange(m_failures, {});
    if (m_lastFailures.isEmpty() || m_closingForExit)
        return;
    TAPISOL_TRACE(QStringLiteral("AB Add failures %1").arg(m_lastFailures.size()));
    QStringList shown = m_lastFailures.mid(0, FailuresShown);
    if (m_lastFailures.size() > FailuresShown)
        shown << langText(TextMore).arg(m_lastFailures.size() - FailuresShown);
    tell(langText(TextFailures).arg(m_lastFailures.size()) + QStringLiteral("\n\n") + shown.join(QLatin1Char('\n')),
        m_lastFailures.size() > FailuresShown ? m_lastFailures.join(QLatin1Char('\n')) : QString());
}

// --- messages and closing ---------------------------------------------------------------------

bool FrmAlbums::confirm(const QString& text, int acceptButton)
{
    const QStringList names = langList(ListButtons);
    QMessageBox box(QMessageBox::Question, windowTitle(), text, QMessageBox::NoButton, this);
    QPushButton* yes = box.addButton(names.value(acceptButton), QMessageBox::AcceptRole);
    QPushButton* no = box.addButton(names.value(1), QMessageBox::RejectRole);
    box.setDefaultButton(no);
    box.setEscapeButton(no);
    box.exec();
    return box.clickedButton() == yes;
}

void FrmAlbums::tell(const QString& text, const QString& details)
{
    if (text.isEmpty())
        return;
    QMessageBox box(QMessageBox::Information, windowTitle(), text, QMessageBox::NoButton, this);
    box.addButton(langList(ListButtons).value(2), QMessageBox::AcceptRole);
    if (!details.isEmpty())
        box.setDetailedText(details);
    box.exec();
}

void FrmAlbums::closeForExit()
{
    m_closingForExit = true;
    m_jobs.clear();
    if (m_batch) {
        // Nothing more goes into the database, which closes right after this window.
        m_batch->disconnect(this);
        m_batch->cancel();
        m_batch->deleteLater();
        m_batch = nullptr;
    }
    if (m_view)
        m_view->close();
    close();
}

void FrmAlbums::changeEvent(QEvent* event)
{
    // A disk plugged in or out while the user was elsewhere shows when they come back.
    if (event->type() == QEvent::ActivationChange && isActiveWindow()) {
        m_gridModel->refreshVolumes();
        updateStatus();
    }
    QMainWindow::changeEvent(event);
}

void FrmAlbums::closeEvent(QCloseEvent* event)
{
    if (AlbumCleaning::isRunning() && !m_closingForExit) {
        event->ignore(); // the wait window is up; the cleaning ends first
        return;
    }
    if (m_view)
        m_view->close();
    saveToSettings();
    TAPISOL_TRACE(QStringLiteral("AB Close"));
    QMainWindow::closeEvent(event);
}
