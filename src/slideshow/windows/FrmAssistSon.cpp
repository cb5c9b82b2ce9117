#include "FrmAssistSon.h"

#include "AlbumStore.h"
#include "AppState.h"
#include "ClsMdb.h"
#include "ClsRegistry.h"
#include "CommentRecorder.h"
#include "FilmstripView.h"
#include "FrmPassword.h"
#include "InterfaceTexts.h"
#include "MediaFolders.h"
#include "PlayerLaunch.h"
#include "PlayerSettings.h"
#include "ProjectEditing.h"
#include "SettingsTable.h"
#include "SlideRenderer.h"
#include "SlideStripModel.h"
#include "SlideThumbnailer.h"
#include "SlideshowPlan.h"
#include "SoundService.h"
#include "Trace.h"
#include "WindowPositions.h"

#include <QAbstractButton>
#include <QCheckBox>
#include <QCloseEvent>
#include <QColorDialog>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDir>
#include <QDoubleSpinBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFontComboBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QInputDialog>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMessageBox>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QShortcut>
#include <QSpinBox>
#include <QSplitter>
#include <QStandardPaths>
#include <QStyle>
#include <QTabWidget>
#include <QToolButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

constexpr int TextTitle = 3200;
constexpr int ListButtons = 3297; // Save|Don't save|Cancel|Delete|OK
constexpr QSize PreviewBox {336, 189};
// The picture behind the preview is decoded at about a small screen's size: the caption is laid
// out on a screen-sized layer as the player does, then the whole is reduced.
constexpr QSize PreviewPictureBox {960, 540};

template <typename Control> Control* withTip(Control* control, int tip)
{
    control->setToolTip(langText(tip));
    return control;
}

QPushButton* button(int text, int tip)
{
    return withTip(new QPushButton(langText(text)), tip);
}

int messageBox(QWidget* parent, QMessageBox::Icon icon, const QString& text, QMessageBox::StandardButtons buttons,
    QMessageBox::StandardButton byDefault)
{
    QMessageBox box(icon, langText(TextTitle), text, buttons, parent);
    // Button texts from the interface language, not from Qt's own translations.
    const QStringList names = langText(ListButtons).split(QLatin1Char('|'));
    const QList<QMessageBox::StandardButton> order {
        QMessageBox::Save, QMessageBox::Discard, QMessageBox::Cancel, QMessageBox::Yes, QMessageBox::Ok};
    for (int i = 0; i < order.size(); ++i) {
        if (QAbstractButton* b = box.button(order.at(i)))
            b->setText(names.value(i));
    }
    box.setDefaultButton(byDefault);
    return box.exec();
}

QString askName(QWidget* parent, int prompt, const QString& offered, bool* ok)
{
    QInputDialog dialog(parent);
    dialog.setWindowTitle(langText(TextTitle));
    dialog.setLabelText(langText(prompt));
    dialog.setTextValue(offered);
    dialog.setOkButtonText(langText(ListButtons).section(QLatin1Char('|'), 4, 4));
    dialog.setCancelButtonText(langText(ListButtons).section(QLatin1Char('|'), 2, 2));
    *ok = dialog.exec() == QDialog::Accepted && !dialog.textValue().trimmed().isEmpty();
    return dialog.textValue().trimmed();
}

QColor bgr(qint32 value)
{
    return colourFromBgr(value);
}

qint32 toBgr(const QColor& colour)
{
    return qint32(colour.red() | (colour.green() << 8) | (colour.blue() << 16));
}

void paintSwatch(QPushButton* button, qint32 value)
{
    QPixmap swatch(16, 16);
    swatch.fill(bgr(value));
    button->setIcon(QIcon(swatch));
}

QString soundFilter()
{
    return langText(3280).arg(QStringLiteral("*.mp3 *.ogg *.oga *.wav *.flac *.m4a *.opus *.wma *.mid"));
}

// The picture of a slide on a screen of the player's proportions, as the player composes it.
QImage composePreview(const QImage& picture, const ProjectRow& project, const SlideRow& slide, QSize screen)
{
    const PlayerSettings settings = PlayerSettings::read(registry());
    const SlideshowPlan plan(project, {slide}, settings.plan);
    const SlideRenderer renderer(settings.render);
    const QImage layer = renderer.composeSlide(
        picture, plan.slide(0), screen, picture.isNull() ? QFileInfo(slide.Path).fileName() : QString());
    return layer.scaled(PreviewBox, Qt::KeepAspectRatio, Qt::SmoothTransformation);
}

// The caption's margin is stored in twips; the user sees points, the unit of the font sizes.
constexpr int TwipsPerPoint = 20;
constexpr int MaxMarginPoints = 750;

int marginPoints(int twips)
{
    return qBound(0, (twips + TwipsPerPoint / 2) / TwipsPerPoint, MaxMarginPoints);
}

// The style's own icon, faded when the button is disabled: some styles draw both the same.
QIcon fadedWhenDisabled(const QIcon& icon, QSize size)
{
    const QPixmap normal = icon.pixmap(size);
    QPixmap faded(normal.size());
    faded.setDevicePixelRatio(normal.devicePixelRatio());
    faded.fill(Qt::transparent);
    QPainter painter(&faded);
    painter.setOpacity(0.35);
    painter.drawPixmap(0, 0, normal);
    painter.end();
    QIcon result;
    result.addPixmap(normal, QIcon::Normal);
    result.addPixmap(faded, QIcon::Disabled);
    return result;
}

} // namespace

FrmAssistSon::FrmAssistSon(ClsMdb& db, QWidget* parent)
    : QWidget(parent, Qt::Window)
    , m_db(db)
{
    setObjectName(QStringLiteral("FrmAssistSon"));
    setAttribute(Qt::WA_DeleteOnClose);
    m_editing = new ProjectEditing(db, this);
    m_strip = new SlideStripModel(*m_editing, this);
    m_previewLoader = std::make_unique<SlideThumbnailer>(
        this, [this](const QString& path, QSize, const QImage& image, const QString&) { previewDecoded(path, image); });
    m_recorder = new CommentRecorder(this);
    build();

    connect(m_editing, &ProjectEditing::dirtyChanged, this, [this] { updateTitle(); });
    connect(m_editing, &ProjectEditing::slidesReset, this, [this] { updateActions(); });
    connect(m_recorder, &CommentRecorder::finished, this, &FrmAssistSon::recordingEnded);
    connect(m_recorder, &CommentRecorder::durationChanged, this, [this](qint64 ms) {
        if (ms > 0)
            m_recordState->setText(langText(3281).arg(ms / 1000.0, 0, 'f', 1));
    });

    auto* saveKey = new QShortcut(QKeySequence::Save, this);
    connect(saveKey, &QShortcut::activated, this, &FrmAssistSon::save);
    // Keys of the strip and the project list, seen before the views use them to move the cursor.
    m_view->installEventFilter(this);
    m_projects->installEventFilter(this);
    auto* escape = new QShortcut(Qt::Key_Escape, this);
    connect(escape, &QShortcut::activated, this, &QWidget::close);

    // Sized for a 1366x768 screen with its panel: everything shows without scrolling.
    resize(sizeHint().expandedTo(QSize(1240, 680)).boundedTo(QSize(1340, 700)));
    if (const auto saved = WindowPositions::restore(registry(), objectName()))
        setGeometry(*saved);
    reloadProjects();
    updateActions();
    updateTitle();
    TAPISOL_TRACE(QStringLiteral("DI Assistant open"));
}

FrmAssistSon::~FrmAssistSon()
{
    // A recording stopped by the window's end reports after the fields are gone.
    m_recorder->disconnect(this);
}

// --- building ---------------------------------------------------------------------------------

void FrmAssistSon::build()
{
    auto* left = buildProjects();
    auto* right = new QWidget;
    auto* rightLayout = new QVBoxLayout(right);
    rightLayout->setContentsMargins(0, 0, 0, 0);
    rightLayout->addWidget(buildSlides(), 0);

    m_fields = new QWidget;
    auto* fieldsLayout = new QHBoxLayout(m_fields);
    fieldsLayout->setContentsMargins(0, 0, 0, 0);
    auto* tabs = new QTabWidget;
    tabs->addTab(buildSound(), langText(3246));
    tabs->addTab(buildCaption(), langText(3247));
    tabs->setTabToolTip(0, langText(3261));
    tabs->setTabToolTip(1, langText(3271));
    fieldsLayout->addWidget(tabs, 1);
    auto* previewBox = new QGroupBox(langText(3274));
    auto* previewLayout = new QVBoxLayout(previewBox);
    m_preview = withTip(new QLabel, 3275);
    m_preview->setObjectName(QStringLiteral("preview"));
    m_preview->setFixedSize(PreviewBox);
    m_preview->setAlignment(Qt::AlignCenter);
    m_preview->setFrameShape(QFrame::StyledPanel);
    previewLayout->addWidget(m_preview);
    previewLayout->addStretch(1);
    fieldsLayout->addWidget(previewBox, 0);
    rightLayout->addWidget(m_fields, 1);

    auto* splitter = new QSplitter;
    splitter->addWidget(left);
    splitter->addWidget(right);
    splitter->setStretchFactor(0, 0);
    splitter->setStretchFactor(1, 1);
    // The list keeps room for a long project name beside the password column in either language.
    left->setMinimumWidth(310);
    splitter->setSizes({310, 930});

    m_play = button(3233, 3234);
    m_save = button(3235, 3236);
    auto* closeButton = button(3237, 3237);
    connect(m_play, &QPushButton::clicked, this, &FrmAssistSon::playPreview);
    connect(m_save, &QPushButton::clicked, this, &FrmAssistSon::save);
    connect(closeButton, &QPushButton::clicked, this, &QWidget::close);
    auto* bottom = new QHBoxLayout;
    bottom->addWidget(m_play);
    bottom->addStretch(1);
    bottom->addWidget(m_save);
    bottom->addWidget(closeButton);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(splitter, 1);
    layout->addLayout(bottom);

    connect(m_view->selectionModel(), &QItemSelectionModel::currentChanged, this, [this] { showSlide(); });
    connect(m_view->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] { updateActions(); });
}

QWidget* FrmAssistSon::buildProjects()
{
    auto* box = new QGroupBox(langText(3201));
    m_projects = withTip(new QTreeWidget, 3202);
    m_projects->setObjectName(QStringLiteral("projects"));
    m_projects->setRootIsDecorated(false);
    m_projects->setHeaderLabels({langText(3203), langText(3204)});
    m_projects->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    m_projects->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    m_projects->header()->setStretchLastSection(false);
    connect(m_projects, &QTreeWidget::itemActivated, this, [this] { projectActivated(); });
    connect(m_projects, &QTreeWidget::currentItemChanged, this, [this] { updateActions(); });

    auto* create = button(3205, 3206);
    create->setObjectName(QStringLiteral("newProject"));
    m_open = button(3213, 3214);
    m_rename = button(3207, 3208);
    m_duplicate = button(3209, 3210);
    m_delete = button(3211, 3212);
    connect(create, &QPushButton::clicked, this, &FrmAssistSon::askNewProject);
    connect(m_open, &QPushButton::clicked, this, &FrmAssistSon::projectActivated);
    connect(m_rename, &QPushButton::clicked, this, &FrmAssistSon::renameProject);
    connect(m_duplicate, &QPushButton::clicked, this, &FrmAssistSon::duplicateProject);
    connect(m_delete, &QPushButton::clicked, this, &FrmAssistSon::deleteProject);
    auto* buttons = new QGridLayout;
    buttons->addWidget(create, 0, 0);
    buttons->addWidget(m_open, 0, 1);
    buttons->addWidget(m_rename, 1, 0);
    buttons->addWidget(m_duplicate, 1, 1);
    buttons->addWidget(m_delete, 2, 0);

    m_projectName = new QLabel;
    m_projectName->setWordWrap(true);
    QFont bold = m_projectName->font();
    bold.setBold(true);
    m_projectName->setFont(bold);
    m_expo = withTip(new QSpinBox, 3219);
    m_expo->setObjectName(QStringLiteral("expoTime"));
    m_expo->setRange(0, 300);
    m_expo->setSuffix(QStringLiteral(" s"));
    m_expo->setSpecialValueText(langText(3221).arg(registry().get(SettingNo::DiapoDelay).toInt()));
    connect(m_expo, &QSpinBox::valueChanged, this, [this](int value) {
        if (!m_loading)
            m_editing->setExpoTime(value);
    });
    auto* expoLabel = new QLabel(langText(3218));
    expoLabel->setBuddy(m_expo);
    expoLabel->setWordWrap(true);

    auto* layout = new QVBoxLayout(box);
    layout->addWidget(m_projects, 1);
    layout->addLayout(buttons);
    layout->addSpacing(8);
    layout->addWidget(m_projectName);
    layout->addWidget(expoLabel);
    layout->addWidget(m_expo);
    return box;
}

QWidget* FrmAssistSon::buildSlides()
{
    auto* box = new QGroupBox(langText(3222));
    m_view = withTip(new FilmstripView, 3223);
    m_view->setObjectName(QStringLiteral("filmstrip"));
    m_view->setModel(m_strip);
    m_view->setViewMode(QListView::IconMode);
    m_view->setFlow(QListView::LeftToRight);
    m_view->setWrapping(false);
    m_view->setMovement(QListView::Snap);
    m_view->setIconSize(SlideStripModel::ThumbBox);
    m_view->setGridSize(SlideStripModel::ThumbBox + QSize(24, 34));
    m_view->setUniformItemSizes(true);
    m_view->setTextElideMode(Qt::ElideMiddle);
    m_view->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_view->setDragDropMode(QAbstractItemView::DragDrop);
    m_view->setDefaultDropAction(Qt::MoveAction);
    m_view->setDragEnabled(true);
    m_view->setAcceptDrops(true);
    m_view->setDropIndicatorShown(true);
    m_view->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    m_view->setFixedHeight(SlideStripModel::ThumbBox.height() + 34 + 30);
    connect(m_strip, &SlideStripModel::movedByDrag, this, [this](const QList<int>& rows) { selectRows(rows); });
    connect(m_strip, &SlideStripModel::filesDropped, this, &FrmAssistSon::addPaths);

    auto* addFiles = button(3224, 3225);
    auto* addFolderButton = button(3226, 3227);
    auto* addPage = button(3228, 3229);
    m_remove = button(3230, 3231);
    auto* back = withTip(new QToolButton, 3232);
    back->setArrowType(Qt::LeftArrow);
    auto* forward = withTip(new QToolButton, 3238);
    forward->setArrowType(Qt::RightArrow);
    connect(addFiles, &QPushButton::clicked, this, &FrmAssistSon::addPictures);
    connect(addFolderButton, &QPushButton::clicked, this, &FrmAssistSon::askFolder);
    connect(addPage, &QPushButton::clicked, this, &FrmAssistSon::addAlbumPage);
    connect(m_remove, &QPushButton::clicked, this, &FrmAssistSon::removeSlides);
    connect(back, &QToolButton::clicked, this, [this] { stepSlide(-1); });
    connect(forward, &QToolButton::clicked, this, [this] { stepSlide(+1); });

    m_slideButtons = new QWidget;
    auto* buttons = new QHBoxLayout(m_slideButtons);
    buttons->setContentsMargins(0, 0, 0, 0);
    buttons->addWidget(addFiles);
    buttons->addWidget(addFolderButton);
    buttons->addWidget(addPage);
    buttons->addStretch(1);
    buttons->addWidget(back);
    buttons->addWidget(forward);
    buttons->addWidget(m_remove);

    auto* layout = new QVBoxLayout(box);
    layout->addWidget(m_view);
    layout->addWidget(m_slideButtons);
    return box;
}

QWidget* FrmAssistSon::buildSound()
{
    auto* page = new QWidget;
    const auto volume = [](int tip) {
        auto* spin = withTip(new QSpinBox, tip);
        spin->setRange(0, 100);
        spin->setSuffix(QStringLiteral(" %"));
        return spin;
    };
    const auto fileRow = [this](QLineEdit* edit, bool comment, QToolButton* listen) {
        auto* row = new QHBoxLayout;
        edit->setClearButtonEnabled(true);
        row->addWidget(edit, 1);
        auto* browse = withTip(new QToolButton, 3250);
        browse->setText(QStringLiteral("…"));
        connect(browse, &QToolButton::clicked, this, [this, edit, comment] { chooseFile(edit, comment); });
        row->addWidget(browse);
        row->addWidget(listen);
        return row;
    };

    auto* musicBox = new QGroupBox(langText(3248));
    auto* musicForm = new QFormLayout(musicBox);
    m_music = withTip(new QLineEdit, 3249);
    m_music->setObjectName(QStringLiteral("music"));
    m_volMusic = volume(3252);
    m_volMusicComment = volume(3253);
    m_listenMusic = new QToolButton;
    m_listenMusic->setObjectName(QStringLiteral("listenMusic"));
    musicForm->addRow(fileRow(m_music, false, m_listenMusic));
    musicForm->addRow(langText(3251), m_volMusic);
    musicForm->addRow(langText(3254), m_volMusicComment);
    m_repetMusic = withTip(new QCheckBox(langText(3255)), 3256);
    m_rehausMusic = withTip(new QCheckBox(langText(3257)), 3258);
    auto* flags = new QHBoxLayout;
    flags->addWidget(m_repetMusic);
    flags->addWidget(m_rehausMusic);
    flags->addStretch(1);
    musicForm->addRow(flags);

    auto* commentBox = new QGroupBox(langText(3259));
    auto* commentForm = new QFormLayout(commentBox);
    m_comment = withTip(new QLineEdit, 3260);
    m_comment->setObjectName(QStringLiteral("comment"));
    m_volComment = volume(3266);
    m_listenComment = new QToolButton;
    m_listenComment->setObjectName(QStringLiteral("listenComment"));
    commentForm->addRow(fileRow(m_comment, true, m_listenComment));
    commentForm->addRow(langText(3251), m_volComment);
    m_repetComment = withTip(new QCheckBox(langText(3255)), 3267);
    m_record = button(3268, 3269);
    m_record->setObjectName(QStringLiteral("record"));
    m_recordState = new QLabel;
    m_recordState->setObjectName(QStringLiteral("recordState"));
    m_recordState->setWordWrap(true);
    connect(m_record, &QPushButton::clicked, this, &FrmAssistSon::toggleRecording);
    auto* recordRow = new QHBoxLayout;
    recordRow->addWidget(m_repetComment);
    recordRow->addStretch(1);
    recordRow->addWidget(m_record);
    commentForm->addRow(recordRow);
    commentForm->addRow(m_recordState);

    auto* layout = new QHBoxLayout(page);
    layout->addWidget(musicBox, 1);
    layout->addWidget(commentBox, 1);

    for (QLineEdit* edit : {m_music, m_comment}) {
        connect(edit, &QLineEdit::textChanged, this, &FrmAssistSon::storeSlide);
        connect(edit, &QLineEdit::textChanged, this, &FrmAssistSon::updateListenButtons);
    }
    connect(m_listenMusic, &QToolButton::clicked, this, [this] { toggleListening(m_music, m_volMusic); });
    connect(m_listenComment, &QToolButton::clicked, this, [this] { toggleListening(m_comment, m_volComment); });
    connect(&SoundService::instance(), &SoundService::finished, this, &FrmAssistSon::updateListenButtons);
    updateListenButtons();
    for (QSpinBox* spin : {m_volMusic, m_volMusicComment, m_volComment})
        connect(spin, &QSpinBox::valueChanged, this, &FrmAssistSon::storeSlide);
    for (QCheckBox* check : {m_repetMusic, m_rehausMusic, m_repetComment})
        connect(check, &QCheckBox::toggled, this, &FrmAssistSon::storeSlide);
    return page;
}

QWidget* FrmAssistSon::buildCaption()
{
    auto* page = new QWidget;
    m_text = withTip(new QPlainTextEdit, 3271);
    m_text->setObjectName(QStringLiteral("caption"));
    m_text->setTabChangesFocus(true);
    m_text->setMaximumHeight(64);
    m_align = withTip(new QComboBox, 3273);
    m_align->addItems(langText(3272).split(QLatin1Char('|')));
    m_margin = withTip(new QSpinBox, 3277);
    m_margin->setRange(0, MaxMarginPoints);
    m_margin->setSingleStep(5);
    m_margin->setSuffix(langText(3278));
    m_font = withTip(new QFontComboBox, 3279);
    m_fontSize = withTip(new QDoubleSpinBox, 3279);
    m_fontSize->setRange(4, 200);
    m_fontSize->setDecimals(1);
    const QStringList styles = langText(3282).split(QLatin1Char('|'));
    m_bold = new QCheckBox(styles.value(0));
    m_italic = new QCheckBox(styles.value(1));
    m_underline = new QCheckBox(styles.value(2));
    m_foreColour = button(3283, 3285);
    m_backColour = button(3284, 3285);
    m_backStyle = withTip(new QCheckBox(langText(3286)), 3287);
    connect(m_foreColour, &QPushButton::clicked, this, [this] { chooseColour(true); });
    connect(m_backColour, &QPushButton::clicked, this, [this] { chooseColour(false); });

    auto* form = new QGridLayout(page);
    auto* textLabel = new QLabel(langText(3270));
    textLabel->setBuddy(m_text);
    form->addWidget(textLabel, 0, 0, Qt::AlignTop);
    form->addWidget(m_text, 0, 1, 1, 5);
    auto* alignLabel = new QLabel(langText(3276));
    alignLabel->setBuddy(m_align);
    form->addWidget(alignLabel, 1, 0);
    form->addWidget(m_align, 1, 1);
    auto* marginLabel = new QLabel(langText(3288));
    marginLabel->setBuddy(m_margin);
    form->addWidget(marginLabel, 1, 2);
    form->addWidget(m_margin, 1, 3);
    auto* fontLabel = new QLabel(langText(3289));
    fontLabel->setBuddy(m_font);
    form->addWidget(fontLabel, 2, 0);
    form->addWidget(m_font, 2, 1, 1, 2);
    form->addWidget(m_fontSize, 2, 3);
    auto* styleRow = new QHBoxLayout;
    styleRow->addWidget(m_bold);
    styleRow->addWidget(m_italic);
    styleRow->addWidget(m_underline);
    styleRow->addStretch(1);
    form->addLayout(styleRow, 3, 1, 1, 3);
    auto* colourRow = new QHBoxLayout;
    colourRow->addWidget(m_foreColour);
    colourRow->addWidget(m_backColour);
    colourRow->addWidget(m_backStyle);
    colourRow->addStretch(1);
    form->addLayout(colourRow, 4, 1, 1, 5);
    form->setColumnStretch(5, 1);
    form->setRowStretch(5, 1);

    connect(m_text, &QPlainTextEdit::textChanged, this, &FrmAssistSon::storeSlide);
    connect(m_align, &QComboBox::currentIndexChanged, this, &FrmAssistSon::storeSlide);
    connect(m_margin, &QSpinBox::valueChanged, this, &FrmAssistSon::storeSlide);
    connect(m_font, &QFontComboBox::currentFontChanged, this, &FrmAssistSon::storeSlide);
    connect(m_fontSize, &QDoubleSpinBox::valueChanged, this, &FrmAssistSon::storeSlide);
    for (QCheckBox* check : {m_bold, m_italic, m_underline, m_backStyle})
        connect(check, &QCheckBox::toggled, this, &FrmAssistSon::storeSlide);
    return page;
}

// --- projects ---------------------------------------------------------------------------------

void FrmAssistSon::reloadProjects()
{
    const qint64 current = m_editing->project().KeyAuto;
    m_projects->clear();
    for (const ProjectRow& project : ProjectStore::projects(m_db)) {
        auto* item = new QTreeWidgetItem({project.Nom, ProjectStore::maskedPassword(project)});
        item->setData(0, Qt::UserRole, project.KeyAuto);
        m_projects->addTopLevelItem(item);
        if (project.KeyAuto == current && current > 0) {
            QFont bold = item->font(0);
            bold.setBold(true);
            item->setFont(0, bold);
            m_projects->setCurrentItem(item);
        }
    }
    updateActions();
}

qint64 FrmAssistSon::selectedProject() const
{
    const QTreeWidgetItem* item = m_projects->currentItem();
    return item ? item->data(0, Qt::UserRole).toLongLong() : 0;
}

bool FrmAssistSon::settleChanges()
{
    if (!m_editing->isOpen() || !m_editing->isDirty())
        return true;
    switch (messageBox(this, QMessageBox::Question, langText(3239).arg(m_editing->project().Nom),
        QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, QMessageBox::Save)) {
    case QMessageBox::Save:
        return save();
    case QMessageBox::Discard:
        return true;
    default:
        return false;
    }
}

void FrmAssistSon::projectActivated()
{
    if (const qint64 key = selectedProject())
        openProject(key);
}

bool FrmAssistSon::openProject(qint64 key)
{
    if (key == m_editing->project().KeyAuto && m_editing->isOpen())
        return true;
    const auto row = ProjectStore::project(m_db, key);
    if (!row) {
        reloadProjects();
        return false;
    }
    if (!settleChanges() || !FrmPassword::ask(this, *row))
        return false;
    QString error;
    if (!m_editing->open(key, &error)) {
        messageBox(this, QMessageBox::Warning, error, QMessageBox::Ok, QMessageBox::Ok);
        reloadProjects();
        return false;
    }
    TAPISOL_TRACE(QStringLiteral("DI Assistant open project %1").arg(key));
    reloadProjects();
    updateTitle();
    if (m_editing->count() > 0)
        selectRows({0});
    return true;
}

bool FrmAssistSon::newProject(const QString& nom)
{
    if (!settleChanges())
        return false;
    m_editing->newProject(nom, registry().get(SettingNo::DiapoPrjTmpExpo).toInt());
    reloadProjects();
    updateTitle();
    return true;
}

void FrmAssistSon::askNewProject()
{
    bool ok = false;
    const QString offered = registry().get(SettingNo::DiapoPrjTmpName).toString().trimmed();
    const QString nom = askName(this, 3215, offered.isEmpty() ? langText(3216) : offered, &ok);
    if (ok)
        newProject(nom);
}

void FrmAssistSon::renameProject()
{
    const qint64 key = selectedProject();
    const auto row = ProjectStore::project(m_db, key);
    if (!row)
        return;
    bool ok = false;
    const QString nom = askName(this, 3215, row->Nom, &ok);
    if (!ok || nom == row->Nom)
        return;
    QString error;
    if (!ProjectStore::renameProject(m_db, key, nom, &error)) {
        messageBox(this, QMessageBox::Warning, error, QMessageBox::Ok, QMessageBox::Ok);
        return;
    }
    if (key == m_editing->project().KeyAuto)
        m_editing->renamed(nom);
    reloadProjects();
    updateTitle();
}

void FrmAssistSon::duplicateProject()
{
    const qint64 key = selectedProject();
    const auto row = ProjectStore::project(m_db, key);
    if (!row)
        return;
    bool ok = false;
    const QString nom = askName(this, 3215, langText(3217).arg(row->Nom), &ok);
    if (!ok)
        return;
    QString error;
    if (!ProjectStore::duplicateProject(m_db, key, nom, &error))
        messageBox(this, QMessageBox::Warning, error, QMessageBox::Ok, QMessageBox::Ok);
    reloadProjects();
}

void FrmAssistSon::deleteProject()
{
    const qint64 key = selectedProject();
    const auto row = ProjectStore::project(m_db, key);
    if (!row)
        return;
    const int count = int(ProjectStore::slides(m_db, key).size());
    if (messageBox(this, QMessageBox::Question, langText(3298).arg(row->Nom).arg(count),
            QMessageBox::Yes | QMessageBox::Cancel, QMessageBox::Cancel)
        != QMessageBox::Yes)
        return;
    QString error;
    if (!ProjectStore::deleteProject(m_db, key, &error)) {
        messageBox(this, QMessageBox::Warning, error, QMessageBox::Ok, QMessageBox::Ok);
        return;
    }
    if (key == m_editing->project().KeyAuto)
        m_editing->close();
    reloadProjects();
    updateTitle();
}

bool FrmAssistSon::save()
{
    if (!m_editing->isOpen())
        return false;
    storeSlide();
    // Looking at the disk again redraws the strip, which forgets its selection.
    const QList<int> selection = selectedRows();
    const auto missing = m_editing->validate();
    selectRows(selection);
    if (!missing.isEmpty()) {
        // Kept and said, never dropped: the disk they lie on may only be unplugged.
        QStringList paths;
        for (const auto& m : missing)
            paths << m.path;
        paths.removeDuplicates();
        const QString list
            = paths.mid(0, 8).join(QLatin1Char('\n')) + (paths.size() > 8 ? QStringLiteral("\n…") : QString());
        if (messageBox(this, QMessageBox::Warning, langText(3242).arg(paths.size()).arg(list),
                QMessageBox::Save | QMessageBox::Cancel, QMessageBox::Save)
            != QMessageBox::Save)
            return false;
    }
    QString error;
    if (!m_editing->save(&error)) {
        messageBox(this, QMessageBox::Warning, langText(3243).arg(error), QMessageBox::Ok, QMessageBox::Ok);
        return false;
    }
    TAPISOL_TRACE(QStringLiteral("DI Assistant saved project %1, %2 slides")
                      .arg(m_editing->project().KeyAuto)
                      .arg(m_editing->count()));
    reloadProjects();
    selectRows(selection);
    return true;
}

// --- slides -----------------------------------------------------------------------------------

QList<int> FrmAssistSon::selectedRows() const
{
    QList<int> rows;
    for (const QModelIndex& index : m_view->selectionModel()->selectedIndexes())
        rows << index.row();
    std::sort(rows.begin(), rows.end());
    return rows;
}

void FrmAssistSon::selectRows(const QList<int>& rows)
{
    QItemSelection selection;
    for (int row : rows) {
        if (row >= 0 && row < m_strip->rowCount())
            selection.select(m_strip->index(row), m_strip->index(row));
    }
    if (selection.isEmpty())
        return;
    m_view->selectionModel()->setCurrentIndex(m_strip->index(rows.first()), QItemSelectionModel::NoUpdate);
    m_view->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    m_view->scrollTo(m_strip->index(rows.first()));
    showSlide();
}

int FrmAssistSon::currentRow() const
{
    const QModelIndex index = m_view->currentIndex();
    return index.isValid() ? index.row() : -1;
}

void FrmAssistSon::addPaths(const QStringList& paths, int row)
{
    QStringList pictures;
    for (const QString& path : paths) {
        if (QFileInfo(path).isDir())
            pictures += ProjectEditing::picturesInFolder(path);
        else
            pictures << path;
    }
    if (pictures.isEmpty() || !m_editing->isOpen())
        return;
    if (row < 0)
        row = selectedRows().isEmpty() ? m_editing->count() : selectedRows().last() + 1;
    // New slides take the caption look of the player's bottom line, so that a caption typed later
    // looks as the user set it for slideshows.
    SlideRow model;
    const ClsRegistry& settings = registry();
    model.FontName = settings.get(SettingNo::DiapoBotFontName).toString();
    model.FontSize = float(settings.get(SettingNo::DiapoBotFontSize).toInt());
    model.ForeColor = qint32(settings.get(SettingNo::DiapoBotForeColor).toLongLong());
    model.BackColor = qint32(settings.get(SettingNo::DiapoBotBackColor).toLongLong());
    model.BackStyle = settings.get(SettingNo::DiapoBotBackStyle).toInt();
    model.TexteAlign = settings.get(SettingNo::DiapoBotAlign).toInt();
    const int added = m_editing->addPictures(pictures, row, model);
    QList<int> rows;
    for (int i = 0; i < added; ++i)
        rows << row + i;
    selectRows(rows);
}

int FrmAssistSon::addFolder(const QString& folder)
{
    const QStringList pictures = ProjectEditing::picturesInFolder(folder);
    if (pictures.isEmpty()) {
        messageBox(this, QMessageBox::Information, langText(3244).arg(folder), QMessageBox::Ok, QMessageBox::Ok);
        return 0;
    }
    addPaths(pictures, -1);
    return int(pictures.size());
}

void FrmAssistSon::addPictures()
{
    QStringList patterns;
    for (const QString& suffix : ProjectEditing::pictureSuffixes())
        patterns << QStringLiteral("*.") + suffix << QStringLiteral("*.") + suffix.toUpper();
    const QStringList files = QFileDialog::getOpenFileNames(this, langText(3224).remove(QLatin1Char('&')),
        pictureFolder(), langText(3241).arg(patterns.join(QLatin1Char(' '))));
    if (!files.isEmpty())
        registry().set(SettingNo::AlbLastRepImg, QFileInfo(files.first()).absolutePath());
    addPaths(files, -1);
}

void FrmAssistSon::askFolder()
{
    const QString folder
        = QFileDialog::getExistingDirectory(this, langText(3226).remove(QLatin1Char('&')), pictureFolder());
    if (folder.isEmpty())
        return;
    registry().set(SettingNo::AlbLastRepImg, QFileInfo(folder).absolutePath());
    addFolder(folder);
}

QString FrmAssistSon::pictureFolder()
{
    // Where pictures were last taken from, here or in the albums; else the user's pictures.
    const QString last = registry().get(SettingNo::AlbLastRepImg).toString();
    if (!last.isEmpty() && QFileInfo(last).isDir())
        return last;
    const QString pictures = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
    return QFileInfo(pictures).isDir() ? pictures : QDir::homePath();
}

void FrmAssistSon::addAlbumPage()
{
    QDialog dialog(this);
    dialog.setWindowTitle(langText(3245));
    auto* tree = new QTreeWidget;
    tree->setHeaderHidden(true);
    for (const AlbumRow& album : AlbumStore::albums(m_db)) {
        auto* albumItem = new QTreeWidgetItem(tree, {album.Nom});
        albumItem->setFlags(Qt::ItemIsEnabled);
        QHash<qint64, QTreeWidgetItem*> items;
        const QList<PagePlacement> placements = AlbumStore::pagesOfAlbum(m_db, album.KeyAuto);
        // Parents before children: a page placed under another waits for it.
        QList<PagePlacement> waiting = placements;
        while (!waiting.isEmpty()) {
            const qsizetype before = waiting.size();
            for (qsizetype i = 0; i < waiting.size();) {
                const PagePlacement p = waiting.at(i);
                QTreeWidgetItem* parent = p.KeyParent == 0 ? albumItem : items.value(p.KeyParent);
                if (!parent) {
                    ++i;
                    continue;
                }
                const auto page = AlbumStore::page(m_db, p.KeyPages);
                auto* item = new QTreeWidgetItem(parent, {page ? page->Nom : QString::number(p.KeyPages)});
                item->setData(0, Qt::UserRole, p.KeyPages);
                items.insert(p.KeyPages, item);
                waiting.removeAt(i);
            }
            if (waiting.size() == before)
                break; // a placement whose parent is not in this album
        }
    }
    tree->expandAll();
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    buttons->button(QDialogButtonBox::Ok)->setText(langText(ListButtons).section(QLatin1Char('|'), 4, 4));
    buttons->button(QDialogButtonBox::Cancel)->setText(langText(ListButtons).section(QLatin1Char('|'), 2, 2));
    connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    connect(tree, &QTreeWidget::itemActivated, &dialog, [&dialog](QTreeWidgetItem* item) {
        if (item->data(0, Qt::UserRole).toLongLong() > 0)
            dialog.accept();
    });
    auto* layout = new QVBoxLayout(&dialog);
    layout->addWidget(tree);
    layout->addWidget(buttons);
    dialog.resize(360, 420);
    if (dialog.exec() != QDialog::Accepted || !tree->currentItem())
        return;
    const qint64 page = tree->currentItem()->data(0, Qt::UserRole).toLongLong();
    if (page <= 0)
        return;
    QStringList paths;
    for (const PictureRow& picture : AlbumStore::picturesOfPage(m_db, page))
        paths << picture.Path;
    if (paths.isEmpty()) {
        messageBox(this, QMessageBox::Information, langText(3299), QMessageBox::Ok, QMessageBox::Ok);
        return;
    }
    addPaths(paths, -1);
}

void FrmAssistSon::removeSlides()
{
    const QList<int> rows = selectedRows();
    if (rows.isEmpty())
        return;
    m_editing->remove(rows);
    if (m_editing->count() > 0)
        selectRows({qMin(rows.first(), m_editing->count() - 1)});
    else
        showSlide();
}

void FrmAssistSon::stepSlide(int delta)
{
    const QList<int> rows = selectedRows();
    if (rows.isEmpty())
        return;
    const int before = delta < 0 ? rows.first() - 1 : rows.last() + 2;
    if (before < 0 || before > m_editing->count())
        return;
    m_editing->move(rows, before);
    QList<int> now;
    for (int row : rows)
        now << row + delta;
    selectRows(now);
}

void FrmAssistSon::showSlide()
{
    const int row = currentRow();
    const bool has = row >= 0 && row < m_editing->count();
    m_loading = true;
    const SlideRow slide = has ? m_editing->slide(row) : SlideRow {};
    m_music->setText(slide.PathMusic);
    m_volMusic->setValue(slide.VolMusic);
    m_volMusicComment->setValue(slide.VolMusicComment);
    m_repetMusic->setChecked(slide.RepetMusic);
    m_rehausMusic->setChecked(slide.RehausMusic);
    m_comment->setText(slide.PathComment);
    m_volComment->setValue(slide.VolComment);
    m_repetComment->setChecked(slide.RepetComment);
    m_text->setPlainText(slide.Texte);
    m_align->setCurrentIndex(qBound(0, slide.TexteAlign, 2));
    m_margin->setValue(marginPoints(slide.TexteMarge));
    if (!slide.FontName.isEmpty())
        m_font->setCurrentFont(QFont(slide.FontName));
    m_fontSize->setValue(slide.FontSize > 0 ? slide.FontSize : 12);
    m_bold->setChecked(slide.FontBold);
    m_italic->setChecked(slide.FontItalic);
    m_underline->setChecked(slide.FontUnderline);
    m_fore = slide.ForeColor;
    m_back = slide.BackColor;
    paintSwatch(m_foreColour, m_fore);
    paintSwatch(m_backColour, m_back);
    m_backStyle->setChecked(slide.BackStyle != 0);
    m_loading = false;
    updateActions();
    updatePreview();
}

void FrmAssistSon::storeSlide()
{
    const int row = currentRow();
    if (m_loading || row < 0 || row >= m_editing->count())
        return;
    SlideRow slide = m_editing->slide(row);
    slide.PathMusic = m_music->text().trimmed();
    slide.VolMusic = m_volMusic->value();
    slide.VolMusicComment = m_volMusicComment->value();
    slide.RepetMusic = m_repetMusic->isChecked();
    slide.RehausMusic = m_rehausMusic->isChecked();
    slide.PathComment = m_comment->text().trimmed();
    slide.VolComment = m_volComment->value();
    slide.RepetComment = m_repetComment->isChecked();
    slide.Texte = m_text->toPlainText();
    slide.TexteAlign = m_align->currentIndex();
    // A margin kept in finer steps than a point stays as it is until the user changes it.
    if (m_margin->value() != marginPoints(slide.TexteMarge))
        slide.TexteMarge = m_margin->value() * TwipsPerPoint;
    slide.FontName = m_font->currentFont().family();
    slide.FontSize = float(m_fontSize->value());
    slide.FontBold = m_bold->isChecked();
    slide.FontItalic = m_italic->isChecked();
    slide.FontUnderline = m_underline->isChecked();
    slide.ForeColor = m_fore;
    slide.BackColor = m_back;
    slide.BackStyle = m_backStyle->isChecked() ? 1 : 0;
    m_editing->setSlide(row, slide);
    updatePreview();
}

void FrmAssistSon::chooseFile(QLineEdit* edit, bool comment)
{
    ClsRegistry& settings = registry();
    QString start = QFileInfo(edit->text()).absolutePath();
    if (edit->text().isEmpty())
        start = comment ? settings.get(SettingNo::DiapoLastRepComment).toString() : QString();
    const QString file = QFileDialog::getOpenFileName(this, langText(comment ? 3259 : 3248), start, soundFilter());
    if (file.isEmpty())
        return;
    if (comment)
        settings.set(SettingNo::DiapoLastRepComment, QFileInfo(file).absolutePath());
    edit->setText(file);
}

void FrmAssistSon::chooseColour(bool fore)
{
    qint32& value = fore ? m_fore : m_back;
    const QColor chosen = QColorDialog::getColor(bgr(value), this, langText(fore ? 3283 : 3284));
    if (!chosen.isValid())
        return;
    value = toBgr(chosen);
    paintSwatch(fore ? m_foreColour : m_backColour, value);
    storeSlide();
}

// --- preview ----------------------------------------------------------------------------------

void FrmAssistSon::updatePreview()
{
    const int row = currentRow();
    if (row < 0 || row >= m_editing->count()) {
        m_previewImage = {};
        m_preview->setPixmap({});
        m_preview->setText(langText(3290));
        return;
    }
    const SlideRow& slide = m_editing->slide(row);
    if (slide.Path != m_previewPath) {
        m_previewPath = slide.Path;
        m_previewPicture = {};
        if (!m_editing->isPictureMissing(row)) {
            m_previewLoader->request(slide.Path, PreviewPictureBox);
            return; // drawn when the picture comes
        }
    }
    const QScreen* screen = this->screen();
    const QSize screenSize = screen ? screen->size() : QSize(1920, 1080);
    m_previewImage = composePreview(m_previewPicture, m_editing->project(), slide, screenSize);
    m_preview->setPixmap(QPixmap::fromImage(m_previewImage));
}

void FrmAssistSon::previewDecoded(const QString& path, const QImage& image)
{
    if (path != m_previewPath)
        return;
    m_previewPicture = image;
    m_previewPath = path;
    const int row = currentRow();
    if (row >= 0 && row < m_editing->count() && m_editing->slide(row).Path == path)
        updatePreview();
}

void FrmAssistSon::playPreview()
{
    if (!m_editing->isOpen())
        return;
    // The player reads the project from the database: what is shown must be saved first.
    if (m_editing->isDirty() && !save())
        return;
    QString error;
    if (!PlayerLaunch::playProject(registry(), m_editing->project().KeyAuto, true, appState().trace, &error))
        messageBox(this, QMessageBox::Warning, langText(3291).arg(error), QMessageBox::Ok, QMessageBox::Ok);
}

// --- listening --------------------------------------------------------------------------------

void FrmAssistSon::toggleListening(QLineEdit* edit, QSpinBox* volume)
{
    SoundService& sound = SoundService::instance();
    const QString file = edit->text().trimmed();
    const bool thisOne = sound.isPlaying() && sound.currentFile() == file;
    stopListening();
    if (!thisOne && !file.isEmpty()) {
        QString refusal;
        if (!QFileInfo(file).isFile())
            refusal = langText(3240).arg(file);
        else if (!SoundService::unplayable(file).isEmpty())
            refusal = langText(3183).arg(file);
        else if (sound.quietAll())
            refusal = langText(3182);
        else if (!appState().soundCard)
            refusal = langText(3184);
        else if (sound.play({file}, 0, volume->value()))
            m_listening = file;
        if (!refusal.isEmpty())
            messageBox(this, QMessageBox::Information, refusal, QMessageBox::Ok, QMessageBox::Ok);
        TAPISOL_TRACE(QStringLiteral("DI Listen ") + file);
    }
    updateListenButtons();
}

void FrmAssistSon::stopListening()
{
    SoundService& sound = SoundService::instance();
    if (!m_listening.isEmpty() && sound.isPlaying() && sound.currentFile() == m_listening)
        sound.stopAll();
    m_listening.clear();
    updateListenButtons();
}

void FrmAssistSon::updateListenButtons()
{
    const SoundService& sound = SoundService::instance();
    for (auto [button, edit] : {std::pair {m_listenMusic, m_music}, std::pair {m_listenComment, m_comment}}) {
        const bool playing = sound.isPlaying() && sound.currentFile() == edit->text().trimmed();
        button->setIcon(fadedWhenDisabled(
            style()->standardIcon(playing ? QStyle::SP_MediaStop : QStyle::SP_MediaPlay), button->iconSize()));
        button->setToolTip(langText(playing ? 3181 : 3180));
        button->setEnabled(!edit->text().trimmed().isEmpty() && !m_recorder->isRecording());
    }
}

// --- recording --------------------------------------------------------------------------------

QString FrmAssistSon::nextCommentFile() const
{
    QString folder = registry().get(SettingNo::CommentPath).toString().trimmed();
    if (folder.isEmpty())
        folder = MediaFolders::path(MediaFolders::Folder::Comments);
    const QString base = m_editing->project().Nom.isEmpty() ? langText(3265) : m_editing->project().Nom;
    return CommentRecorder::nextFileName(folder, base);
}

void FrmAssistSon::toggleRecording()
{
    if (m_recorder->isRecording()) {
        m_recorder->stop();
        return;
    }
    if (currentRow() < 0)
        return;
    QString file = nextCommentFile();
    // AutoComName set: the name is made without asking; otherwise it is offered and may be changed.
    if (registry().get(SettingNo::DiapoAutoComName).toInt() == 0) {
        bool ok = false;
        const QString name = askName(this, 3292, QFileInfo(file).completeBaseName(), &ok);
        if (!ok)
            return;
        file = QFileInfo(file).absolutePath() + QLatin1Char('/') + CommentRecorder::safeName(name)
            + QStringLiteral(".ogg");
        if (QFileInfo::exists(file)) {
            messageBox(this, QMessageBox::Warning, langText(3293).arg(file), QMessageBox::Ok, QMessageBox::Ok);
            return;
        }
    }
    stopListening(); // the microphone would hear it
    QString error;
    if (!m_recorder->start(file, &error)) {
        m_recordState->setText(error);
        messageBox(this, QMessageBox::Warning, error, QMessageBox::Ok, QMessageBox::Ok);
        return;
    }
    m_record->setText(langText(3294));
    // The sound system takes a moment (over a second here) before the first sample comes.
    m_recordState->setText(langText(3220));
    m_view->setEnabled(false);
    m_projects->setEnabled(false);
}

void FrmAssistSon::recordingEnded(const QString& file, const QString& error)
{
    m_record->setText(langText(3268));
    m_view->setEnabled(true);
    m_projects->setEnabled(true);
    if (!error.isEmpty()) {
        m_recordState->setText(error);
        messageBox(this, QMessageBox::Warning, error, QMessageBox::Ok, QMessageBox::Ok);
        return;
    }
    m_recordState->setText(langText(3295).arg(QFileInfo(file).fileName()));
    m_comment->setText(file); // stored in the slide through the field's signal
}

// --- state ------------------------------------------------------------------------------------

void FrmAssistSon::updateActions()
{
    const bool open = m_editing->isOpen();
    const bool selected = selectedProject() > 0;
    m_open->setEnabled(selected);
    m_rename->setEnabled(selected);
    m_duplicate->setEnabled(selected);
    m_delete->setEnabled(selected);
    m_expo->setEnabled(open);
    m_view->setEnabled(open && !m_recorder->isRecording());
    m_slideButtons->setEnabled(open);
    m_remove->setEnabled(open && !selectedRows().isEmpty());
    const int row = currentRow();
    m_fields->setEnabled(open && row >= 0 && row < m_editing->count());
    m_play->setEnabled(open && m_editing->count() > 0);
    m_save->setEnabled(open);
}

void FrmAssistSon::updateTitle()
{
    const bool open = m_editing->isOpen();
    m_loading = true;
    m_expo->setValue(open ? m_editing->project().ExpoTime : 0);
    m_loading = false;
    m_projectName->setText(open ? m_editing->project().Nom : langText(3296));
    setWindowTitle(langText(TextTitle) + (open ? QStringLiteral(" - ") + m_editing->project().Nom : QString())
        + QStringLiteral("[*]"));
    setWindowModified(open && m_editing->isDirty());
    updateActions();
}

bool FrmAssistSon::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() != QEvent::KeyPress)
        return QWidget::eventFilter(watched, event);
    const auto* key = static_cast<QKeyEvent*>(event);
    const bool ctrl = key->modifiers() == Qt::ControlModifier;
    if (watched == m_view) {
        if (ctrl && (key->key() == Qt::Key_Up || key->key() == Qt::Key_Down)) {
            stepSlide(key->key() == Qt::Key_Up ? -1 : +1);
            return true;
        }
        if (key->matches(QKeySequence::Delete)) {
            removeSlides();
            return true;
        }
    } else if (watched == m_projects && key->matches(QKeySequence::Delete)) {
        deleteProject();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

void FrmAssistSon::closeForExit()
{
    if (m_recorder->isRecording())
        m_recorder->stop();
    if (m_editing->isDirty()) {
        QString error;
        const bool saved = m_editing->save(&error);
        TAPISOL_TRACE(QStringLiteral("DI Exit: the open project %1").arg(saved ? "is saved" : "could not be saved"));
        if (!saved)
            m_editing->close(); // nothing more can be done with it: the program ends
    }
    close();
}

void FrmAssistSon::closeEvent(QCloseEvent* event)
{
    if (m_recorder->isRecording())
        m_recorder->stop();
    if (!settleChanges()) {
        event->ignore();
        return;
    }
    stopListening();
    WindowPositions::save(registry(), objectName(), geometry());
    QWidget::closeEvent(event);
}
