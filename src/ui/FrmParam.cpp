#include "FrmParam.h"

#include "AppState.h"
#include "ClsMdb.h"
#include "ClsMonitor.h"
#include "ClsRegistry.h"
#include "ImageDecoder.h"
#include "InterfaceTexts.h"
#include "MediaFolders.h"
#include "SettingBinder.h"
#include "SettingsSession.h"
#include "SoundService.h"
#include "SourceCatalog.h"
#include "WallpaperPreview.h"
#include "WallpaperRenderer.h"
#include "WindowPositions.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QDir>
#include <QDoubleSpinBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFontComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QMimeDatabase>
#include <QMultiHash>
#include <QPainter>
#include <QPushButton>
#include <QRadioButton>
#include <QShortcut>
#include <QSpinBox>
#include <QStackedWidget>
#include <QTabBar>
#include <QTabWidget>
#include <QTableWidget>
#include <QTreeWidget>
#include <QTreeWidgetItemIterator>
#include <QUrl>
#include <QVBoxLayout>

using namespace SettingNo;

// The miniature of the monitors, the current one showing the picture as it will be fitted; laid
// out at paint time, so that it follows the widget's size.
class PreviewView : public QWidget
{
public:
    using QWidget::QWidget;
    QList<QRect> monitors;
    int current = 0;
    std::optional<SizingResult> sizing;
    QImage picture;

    QSize sizeHint() const override { return {360, 220}; }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        if (!sizing)
            return;
        const QRectF area = QRectF(rect()).adjusted(4, 4, -4, -4);
        for (WallpaperPreview::Monitor monitor : WallpaperPreview::layout(monitors, current, *sizing, area.size())) {
            monitor.frame.translate(area.topLeft());
            monitor.picture.translate(area.topLeft());
            painter.fillRect(monitor.frame, monitor.current ? Qt::black : palette().color(QPalette::Mid));
            if (monitor.current && !picture.isNull()) {
                painter.save();
                painter.setClipRect(monitor.frame);
                if (monitor.tiled) {
                    const QImage tile = picture.scaled(monitor.picture.size().toSize().expandedTo({1, 1}),
                        Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
                    painter.setBrushOrigin(monitor.frame.topLeft());
                    painter.fillRect(monitor.frame, QBrush(tile));
                } else {
                    painter.drawImage(monitor.picture, picture);
                }
                painter.restore();
            }
            painter.setPen(palette().color(QPalette::WindowText));
            painter.drawRect(monitor.frame.adjusted(0, 0, -1, -1));
        }
    }
};

// What each fitting mode does, drawn with the real sizing rules: a 4:3 picture on a 16:9 screen,
// with the dialog's current limits.
class ModeSketch : public QWidget
{
public:
    using QWidget::QWidget;
    QSize sizeHint() const override { return {160, 90}; }

protected:
    void paintEvent(QPaintEvent*) override
    {
        SizingSettings settings = WallpaperRenderer::settingsFromRegistry();
        const QSize screen(1600, 900);
        const auto sizing = computeSizing(600, 450, false, screen, screen, settings);
        if (!sizing)
            return;
        QImage picture(80, 60, QImage::Format_RGB32);
        QPainter sketch(&picture);
        sketch.fillRect(0, 0, 80, 40, QColor(90, 150, 220));
        sketch.fillRect(0, 40, 80, 20, QColor(70, 140, 60));
        sketch.setBrush(QColor(250, 210, 60));
        sketch.setPen(Qt::NoPen);
        sketch.drawEllipse(56, 8, 14, 14);
        sketch.end();
        QPainter painter(this);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        const QSizeF area = QSizeF(size()).scaled(QSizeF(width() - 2, height() - 2), Qt::KeepAspectRatio);
        for (WallpaperPreview::Monitor monitor :
            WallpaperPreview::layout({QRect(QPoint(), screen)}, 0, *sizing, area)) {
            painter.fillRect(monitor.frame, Qt::black);
            painter.save();
            painter.setClipRect(monitor.frame);
            if (monitor.tiled) {
                painter.setBrushOrigin(monitor.frame.topLeft());
                painter.fillRect(
                    monitor.frame, QBrush(picture.scaled(monitor.picture.size().toSize().expandedTo({1, 1}))));
            } else {
                painter.drawImage(monitor.picture, picture);
            }
            painter.restore();
            painter.setPen(palette().color(QPalette::WindowText));
            painter.drawRect(monitor.frame.adjusted(0, 0, -1, -1));
        }
    }
};

namespace {

QLabel* reasonLabel()
{
    auto* label = new QLabel;
    label->setStyleSheet(QStringLiteral("color: #c04000;"));
    label->setWordWrap(true);
    label->hide();
    return label;
}

// A control with its tool tip, text from the language files.
template <typename Control> Control* withTip(Control* control, int tip)
{
    control->setToolTip(langText(tip));
    return control;
}

QCheckBox* checkBox(int caption, int tip)
{
    return withTip(new QCheckBox(langText(caption)), tip);
}

} // namespace

FrmParam::FrmParam(Services services, QWidget* parent)
    : QDialog(parent)
    , m_services(std::move(services))
    , m_session(std::make_unique<SettingsSession>(registry()))
    , m_decoder(std::make_unique<ImageDecoder>())
{
    setObjectName(QStringLiteral("FrmParam"));
    setAttribute(Qt::WA_DeleteOnClose);
    m_tabs = new QTabWidget;
    m_buttons = new QDialogButtonBox(
        QDialogButtonBox::Ok | QDialogButtonBox::Cancel | QDialogButtonBox::Apply | QDialogButtonBox::Help);
    connect(m_buttons, &QDialogButtonBox::accepted, this, [this] {
        if (applyEdits())
            accept();
    });
    connect(m_buttons, &QDialogButtonBox::rejected, this, [this] {
        cancelEdits();
        reject();
    });
    connect(m_buttons->button(QDialogButtonBox::Apply), &QPushButton::clicked, this, [this] { applyEdits(); });
    connect(m_buttons, &QDialogButtonBox::helpRequested, this,
        [] { QDesktopServices::openUrl(QUrl::fromLocalFile(appState().helpFile)); });
    auto* help = new QShortcut(QKeySequence::HelpContents, this);
    connect(help, &QShortcut::activated, m_buttons, &QDialogButtonBox::helpRequested);
    build();
    // Keyboard: a tab shown puts the focus on its first control.
    connect(m_tabs, &QTabWidget::currentChanged, this, [this] {
        QWidget* page = m_tabs->currentWidget();
        for (QWidget* child : page ? page->findChildren<QWidget*>() : QList<QWidget*>()) {
            if ((child->focusPolicy() & Qt::TabFocus) && child->isEnabled()) {
                child->setFocus(Qt::TabFocusReason);
                return;
            }
        }
    });

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_tabs);
    layout->addWidget(m_buttons);

    connect(m_session.get(), &SettingsSession::applied, this, [this](const QList<int>& numbers) {
        if (m_services.applied)
            m_services.applied(numbers);
    });
    connect(m_session.get(), &SettingsSession::valuesChanged, this, [this](const QList<int>& numbers) {
        updatePreview();
        if (m_services.valuesChanged)
            m_services.valuesChanged(numbers);
    });
    loadPreviewPicture();
    updatePreview();
    refreshStatus();

    // Every tab's name in sight, and within a 1366 × 768 screen.
    resize(sizeHint().expandedTo(QSize(m_tabs->tabBar()->sizeHint().width() + 60, 520)).boundedTo(QSize(1300, 700)));
    if (const auto saved = WindowPositions::restore(registry(), objectName()))
        setGeometry(*saved);
    findChild<QLineEdit*>(QStringLiteral("folder"))->setFocus(Qt::OtherFocusReason);
}

// The tabs and every text, from the interface texts loaded now.
void FrmParam::build()
{
    setWindowTitle(langText(2505));
    const int shown = m_tabs->currentIndex();
    while (m_tabs->count() > 0) {
        QWidget* page = m_tabs->widget(0);
        m_tabs->removeTab(0);
        page->deleteLater();
    }
    m_statistics.clear();
    delete m_binder;
    m_binder = new SettingBinder(*m_session, this);
    m_tabs->addTab(wallpaperTab(), langText(2506));
    m_tabs->addTab(fittingTab(), langText(2507));
    m_tabs->addTab(previewTab(), langText(2508));
    m_tabs->addTab(soundsTab(), langText(2509));
    m_tabs->addTab(hotkeysTab(), langText(2510));
    m_tabs->addTab(notesTab(), langText(2511));
    m_tabs->addTab(generalTab(), langText(2512));
    m_tabs->setCurrentIndex(qMax(0, shown));
    nameButtons();
}

void FrmParam::nameButtons()
{
    m_buttons->button(QDialogButtonBox::Ok)->setText(langText(2600));
    m_buttons->button(QDialogButtonBox::Cancel)->setText(langText(2601));
    m_buttons->button(QDialogButtonBox::Apply)->setText(langText(2602));
    m_buttons->button(QDialogButtonBox::Help)->setText(langText(2603));
    m_buttons->button(QDialogButtonBox::Apply)->setToolTip(langText(2614));
}

bool FrmParam::event(QEvent* event)
{
    const bool handled = QDialog::event(event);
    // Qt's translation, installed with the interface language, gives the standard buttons its own
    // words (and letters) back when the change reaches the button box, after this window: ours win.
    if (event->type() == QEvent::LanguageChange)
        nameButtons();
    return handled;
}

void FrmParam::retranslate()
{
    if (!m_session)
        return;
    build();
    updatePreview();
    refreshStatus();
}

FrmParam::~FrmParam()
{
    endSession();
}

// The preview ends with the window, not with its deletion, which may come after the program's
// settings are gone (the dialog closed by the program's own end).
void FrmParam::endSession()
{
    if (!m_session)
        return;
    WindowPositions::save(registry(), objectName(), geometry());
    m_session.reset();
}

void FrmParam::done(int result)
{
    QDialog::done(result);
    endSession();
}

// --- tabs -------------------------------------------------------------------------------------

QWidget* FrmParam::wallpaperTab()
{
    auto* page = new QWidget;
    auto* layout = new QVBoxLayout(page);

    auto* source = new QGroupBox(langText(2513));
    auto* sourceLayout = new QVBoxLayout(source);
    auto* folderPage = new QWidget;
    auto* sourceForm = new QFormLayout(folderPage);
    sourceForm->setContentsMargins(0, 0, 0, 0);
    auto* folder = withTip(new QLineEdit, 2516);
    folder->setObjectName(QStringLiteral("folder"));
    folder->setPlaceholderText(langText(2519));
    auto* browse = withTip(new QPushButton(langText(2515)), 2516);
    connect(browse, &QPushButton::clicked, this, &FrmParam::chooseFolder);
    auto* folderRow = new QHBoxLayout;
    folderRow->addWidget(folder, 1);
    folderRow->addWidget(browse);
    auto* folderWhy = reasonLabel();
    sourceForm->addRow(langText(2514), folderRow);
    sourceForm->addRow(QString(), folderWhy);
    auto* subFolders = checkBox(2517, 2518);
    sourceForm->addRow(QString(), subFolders);
    m_binder->text(folder, Repertoire, folderWhy);
    m_binder->check(subFolders, SousRepertoire);
    buildSourceChoice(sourceLayout, folderPage);
    layout->addWidget(source);

    auto* change = new QGroupBox(langText(2520));
    auto* changeForm = new QFormLayout(change);
    auto* interval = withTip(new QSpinBox, 2521);
    interval->setRange(1, 1440);
    interval->setSuffix(langText(2522));
    auto* intervalWhy = reasonLabel();
    changeForm->addRow(langText(2521), interval);
    changeForm->addRow(QString(), intervalWhy);
    m_binder->spin(interval, Intervalle, intervalWhy);
    auto* order = withTip(new QComboBox, 2525);
    order->addItems({langText(2526), langText(2527), langText(2528)});
    changeForm->addRow(langText(2525), order);
    m_binder->choice(order, SelectRandom, {0, 1, 2});
    if (m_services.autoMode) {
        // The tray's state rather than a setting: it follows at once, as the menu's entry does.
        auto* autoMode = checkBox(2628, 2629);
        autoMode->setObjectName(QStringLiteral("autoMode"));
        autoMode->setChecked(m_services.autoMode());
        connect(autoMode, &QCheckBox::toggled, this, [this](bool on) {
            if (m_services.autoMode() != on && m_services.setAutoMode)
                m_services.setAutoMode(on);
        });
        changeForm->addRow(QString(), autoMode);
    }
    auto* atStart = checkBox(2524, 2523);
    changeForm->addRow(QString(), atStart);
    m_binder->check(atStart, StartChange);
    layout->addWidget(change);

    auto* sound = new QGroupBox(langText(2627));
    auto* soundForm = new QFormLayout(sound);
    auto* soundOn = checkBox(2529, 2532);
    soundForm->addRow(QString(), soundOn);
    m_binder->check(soundOn, SonActif);
    auto* soundFile = withTip(new QLineEdit, 2610);
    soundFile->setObjectName(QStringLiteral("soundFile"));
    auto* soundWhy = reasonLabel();
    auto* chooseSound = withTip(new QPushButton(langText(2515)), 2610);
    connect(chooseSound, &QPushButton::clicked, this, &FrmParam::chooseSound);
    auto* play = withTip(new QPushButton(langText(2531)), 2532);
    connect(play, &QPushButton::clicked, this, [this] { playSound(m_session->value(FichierSon).toString()); });
    auto* soundRow = new QHBoxLayout;
    soundRow->addWidget(soundFile, 1);
    soundRow->addWidget(chooseSound);
    soundRow->addWidget(play);
    soundForm->addRow(langText(2530), soundRow);
    soundForm->addRow(QString(), soundWhy);
    m_binder->text(soundFile, FichierSon, soundWhy);
    layout->addWidget(sound);
    layout->addStretch();
    return page;
}

QWidget* FrmParam::fittingTab()
{
    auto* page = new QWidget;
    auto* layout = new QVBoxLayout(page);
    auto* modes = new QGroupBox(langText(2533));
    auto* modesForm = new QFormLayout(modes);
    auto* mode = withTip(new QComboBox, 2538);
    mode->setObjectName(QStringLiteral("sizingMode"));
    mode->addItems({langText(2534), langText(2535), langText(2536), langText(2537)});
    for (int i = 0; i < 4; ++i)
        mode->setItemData(i, langText(2538 + i), Qt::ToolTipRole);
    auto* sketch = new ModeSketch;
    sketch->setObjectName(QStringLiteral("modeSketch"));
    sketch->setFixedSize(160, 92);
    sketch->setToolTip(langText(2631));
    auto* modeRow = new QHBoxLayout;
    modeRow->addWidget(mode, 1);
    modeRow->addWidget(sketch);
    modesForm->addRow(langText(2632), modeRow);
    m_binder->choice(mode, SizingMode, {0, 1, 2, 3});
    auto* cover = checkBox(2542, 2542);
    modesForm->addRow(QString(), cover);
    m_binder->check(cover, BandeZoom);
    auto* noLimit = checkBox(2543, 2543);
    modesForm->addRow(QString(), noLimit);
    m_binder->check(noLimit, AgranMaxi);
    auto* factor = withTip(new QDoubleSpinBox, 2544);
    factor->setRange(0, 100);
    factor->setDecimals(2);
    factor->setSingleStep(0.25);
    auto* factorWhy = reasonLabel();
    modesForm->addRow(langText(2544), factor);
    modesForm->addRow(QString(), factorWhy);
    m_binder->hundredths(factor, TauxTaille, factorWhy);
    auto* deformation = withTip(new QSpinBox, 2545);
    deformation->setRange(0, 100);
    deformation->setSuffix(QStringLiteral(" %"));
    auto* deformationWhy = reasonLabel();
    modesForm->addRow(langText(2545), deformation);
    modesForm->addRow(QString(), deformationWhy);
    m_binder->spin(deformation, TauxDeformation, deformationWhy);
    auto* coverage = withTip(new QSpinBox, 2546);
    coverage->setRange(1, 100);
    coverage->setSuffix(QStringLiteral(" %"));
    auto* coverageWhy = reasonLabel();
    modesForm->addRow(langText(2546), coverage);
    modesForm->addRow(QString(), coverageWhy);
    m_binder->spin(coverage, TauxCouverture, coverageWhy);
    auto* ownSize = withTip(new QComboBox, 2547);
    ownSize->addItems({langText(2547), langText(2548)});
    modesForm->addRow(langText(2537), ownSize);
    m_binder->choice(ownSize, CentrerMosaique, {0, 1});
    layout->addWidget(modes);

    auto* desktop = new QGroupBox(langText(2549));
    auto* desktopForm = new QFormLayout(desktop);
    auto* backend = withTip(new QComboBox, 2550);
    backend->addItem(langText(2551).arg(m_services.detectedBackend));
    backend->addItems(m_services.backendNames);
    QList<QVariant> backendValues {QStringLiteral("auto")};
    for (const QString& name : std::as_const(m_services.backendNames))
        backendValues << name;
    desktopForm->addRow(langText(2550), backend);
    m_binder->choice(backend, BackEndFondEcran, backendValues);
    auto* lockScreen = checkBox(2552, 2552);
    desktopForm->addRow(QString(), lockScreen);
    m_binder->check(lockScreen, FondEcranVerrouillage);
    if (!m_services.lockScreenKept) {
        lockScreen->setEnabled(false);
        desktopForm->addRow(QString(), new QLabel(langText(2553).arg(m_services.detectedBackend)));
    }
    layout->addWidget(desktop);
    layout->addStretch();
    return page;
}

QWidget* FrmParam::previewTab()
{
    auto* page = new QWidget;
    auto* layout = new QHBoxLayout(page);
    auto* previewBox = new QGroupBox(langText(2554));
    auto* previewLayout = new QVBoxLayout(previewBox);
    m_preview = new PreviewView;
    m_preview->setObjectName(QStringLiteral("preview"));
    m_preview->setMinimumSize(240, 150);
    m_preview->setToolTip(langText(2554));
    previewLayout->addWidget(m_preview);
    layout->addWidget(previewBox, 3);

    auto* stats = new QGroupBox(langText(2555));
    auto* form = new QFormLayout(stats);
    for (int caption : {2556, 2557, 2615, 2616, 2617, 2558}) {
        auto* value = new QLabel;
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        m_statistics << value;
        form->addRow(langText(caption), value);
    }
    m_countdown = new QLabel;
    form->addRow(langText(2559), m_countdown);
    m_counter = new QLabel;
    form->addRow(langText(2561), m_counter);
    m_direction = new QLabel;
    form->addRow(langText(2562), m_direction);
    m_endOut = new QLabel;
    m_endOut->setWordWrap(true);
    m_endOut->setStyleSheet(QStringLiteral("color: #c04000;"));
    form->addRow(m_endOut);
    layout->addWidget(stats, 2);
    return page;
}

QWidget* FrmParam::soundsTab()
{
    auto* page = new QWidget;
    auto* layout = new QVBoxLayout(page);
    auto* sounds = checkBox(2529, 2532);
    m_binder->check(sounds, SonActif);
    layout->addWidget(sounds);
    auto* chime = new QGroupBox(langText(2568));
    auto* form = new QFormLayout(chime);
    const std::pair<int, int> switches[]
        = {{BellSilent, 2569}, {BellHour15, 2570}, {BellHour30, 2571}, {BellHour, 2572}};
    for (const auto& [number, caption] : switches) {
        auto* box = checkBox(caption, caption + 54); // 2623 to 2626
        form->addRow(QString(), box);
        m_binder->check(box, number);
    }
    auto* set = withTip(new QComboBox, 2574);
    QList<QVariant> sets;
    const QDir sounds_(MediaFolders::path(MediaFolders::Folder::Sounds));
    for (int n = 1; n <= 9; ++n) {
        if (n == 1 || sounds_.exists(QStringLiteral("TPBell%1.mp3").arg(n))) {
            set->addItem(langText(2575).arg(n));
            sets << n - 1;
        }
    }
    auto* playSet = withTip(new QPushButton(langText(2531)), 2573);
    connect(playSet, &QPushButton::clicked, this, [this] {
        const int n = m_session->value(BellType).toInt() + 1;
        playSound(MediaFolders::path(MediaFolders::Folder::Sounds) + QStringLiteral("TPBell%1.mp3").arg(n));
    });
    auto* setRow = new QHBoxLayout;
    setRow->addWidget(set, 1);
    setRow->addWidget(playSet);
    form->addRow(langText(2574), setRow);
    m_binder->choice(set, BellType, sets);
    layout->addWidget(chime);
    layout->addStretch();
    return page;
}

namespace {

// The fourteen pairs, with the caption of what each runs.
struct HotkeyRow
{
    int modifierSetting;
    int codeSetting;
    int caption;
};
const HotkeyRow HotkeyRows[] = {{HKParamMod, HKParamCode, 363}, {HKAutoMod, HKAutoCode, 367},
    {HKNextWallMod, HKNextWallCode, 369}, {HKQuickMod, HKQuickCode, 370}, {HKDiapoMod, HKDiapoCode, 532},
    {HKDiapoAssMod, HKDiapoAssCode, 2026}, {HKAgdMod, HKAgdCode, 371}, {HKAgdBackMod, HKAgdBackCode, 434},
    {HKNotesMod, HKNotesCode, 422}, {HKSilentMod, HKSilentCode, 2612}, {HKQuietAllMod, HKQuietAllCode, 382},
    {HKScrSaveMod, HKScrSaveCode, 418}, {HKAlbumMod, HKAlbumCode, 2613}, {HKCiselorMod, HKCiselorCode, 2111}};

QString actionOf(const HotkeyRow& row)
{
    return langText(row.caption).remove(QStringLiteral("..."));
}

} // namespace

QWidget* FrmParam::hotkeysTab()
{
    auto* page = new QWidget;
    auto* layout = new QVBoxLayout(page);
    m_hotkeys = new QTableWidget(int(std::size(HotkeyRows)), 2);
    m_hotkeys->setObjectName(QStringLiteral("hotkeys"));
    m_hotkeys->setHorizontalHeaderLabels({langText(2576), langText(2577)});
    m_hotkeys->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
    m_hotkeys->horizontalHeader()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    m_hotkeys->verticalHeader()->hide();
    m_hotkeys->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_hotkeys->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_hotkeys->setSelectionMode(QAbstractItemView::SingleSelection);
    m_hotkeys->setToolTip(langText(m_services.captureHotkey ? 2648 : 2579));
    fillHotkeys();
    layout->addWidget(m_hotkeys);
    if (m_services.captureHotkey) {
        connect(m_hotkeys, &QTableWidget::cellActivated, this, [this](int row) { editHotkey(row); });
        auto* change = withTip(new QPushButton(langText(2646)), 2648);
        connect(change, &QPushButton::clicked, this, [this] { editHotkey(m_hotkeys->currentRow()); });
        auto* row = new QHBoxLayout;
        row->addStretch();
        row->addWidget(change);
        layout->addLayout(row);
    } else {
        auto* note = new QLabel(langText(2579));
        note->setWordWrap(true);
        layout->addWidget(note);
    }
    return page;
}

void FrmParam::fillHotkeys()
{
    // Two actions on one key: both shown in the warning colour, each naming the other.
    QMultiHash<QPair<int, int>, QString> actionsOfKey;
    for (const HotkeyRow& row : HotkeyRows) {
        if (m_session->value(row.codeSetting).toInt() != 0)
            actionsOfKey.insert(
                {m_session->value(row.modifierSetting).toInt(), m_session->value(row.codeSetting).toInt()},
                actionOf(row));
    }
    int index = 0;
    for (const HotkeyRow& row : HotkeyRows) {
        const QPair<int, int> key {
            m_session->value(row.modifierSetting).toInt(), m_session->value(row.codeSetting).toInt()};
        const QString text = m_services.hotkeyText ? m_services.hotkeyText(key.first, key.second) : QString();
        auto* keyItem = new QTableWidgetItem(text.isEmpty() ? langText(2578) : text);
        QStringList others = key.second ? actionsOfKey.values(key) : QStringList();
        others.removeOne(actionOf(row));
        if (!others.isEmpty()) {
            keyItem->setForeground(QColor(0xc0, 0x40, 0x00));
            keyItem->setToolTip(langText(2630).arg(others.join(QStringLiteral(", "))));
        }
        m_hotkeys->setItem(index, 0, new QTableWidgetItem(actionOf(row)));
        m_hotkeys->setItem(index++, 1, keyItem);
    }
}

// A new combination for one action, taken from the one that held it, if any.
void FrmParam::editHotkey(int index)
{
    if (index < 0 || index >= int(std::size(HotkeyRows)) || !m_services.captureHotkey)
        return;
    const HotkeyRow& row = HotkeyRows[index];
    const auto holder = [this, &row](int modifiers, int code) {
        for (const HotkeyRow& other : HotkeyRows) {
            if (&other != &row && m_session->value(other.codeSetting).toInt() == code
                && m_session->value(other.modifierSetting).toInt() == modifiers)
                return actionOf(other);
        }
        return QString();
    };
    const auto chosen = m_services.captureHotkey(this, actionOf(row), m_session->value(row.modifierSetting).toInt(),
        m_session->value(row.codeSetting).toInt(), holder);
    if (!chosen)
        return;
    const auto [modifiers, code] = *chosen;
    for (const HotkeyRow& other : HotkeyRows) {
        if (code && &other != &row && m_session->value(other.codeSetting).toInt() == code
            && m_session->value(other.modifierSetting).toInt() == modifiers)
            m_session->edit(other.codeSetting, 0);
    }
    m_session->edit(row.modifierSetting, modifiers);
    m_session->edit(row.codeSetting, code);
    fillHotkeys();
}

QWidget* FrmParam::notesTab()
{
    auto* page = new QWidget;
    auto* layout = new QVBoxLayout(page);
    auto* alarms = new QGroupBox(langText(2580));
    auto* form = new QFormLayout(alarms);
    auto* font = withTip(new QFontComboBox, 2581);
    form->addRow(langText(2581), font);
    // Shown first, listened to after: a font the system replaces (no Arial here) is not an edit.
    font->setCurrentFont(QFont(m_session->value(AlmFontName).toString()));
    connect(font, &QFontComboBox::currentFontChanged, this,
        [this](const QFont& chosen) { m_session->edit(AlmFontName, chosen.family()); });
    auto* size = withTip(new QSpinBox, 2618);
    size->setRange(1, 100);
    auto* sizeWhy = reasonLabel();
    form->addRow(langText(2618), size);
    form->addRow(QString(), sizeWhy);
    m_binder->spin(size, AlmFontSize, sizeWhy);
    auto* styleRow = new QHBoxLayout;
    for (const auto& [number, caption] :
        {std::pair {AlmFontBold, 2619}, std::pair {AlmFontItalic, 2620}, std::pair {AlmFontUnderline, 2621}}) {
        auto* box = checkBox(caption, caption);
        styleRow->addWidget(box);
        m_binder->check(box, number);
    }
    form->addRow(QString(), styleRow);
    auto* colours = new QHBoxLayout;
    for (const auto& [number, caption] :
        {std::pair {AlmCouleurAv, 2582}, std::pair {AlmCouleurAr, 2583}, std::pair {AlmCouleurFond, 2584}}) {
        auto* button = withTip(new QPushButton(langText(caption)), caption);
        colours->addWidget(button);
        m_binder->colour(button, number);
    }
    form->addRow(QString(), colours);
    auto* shadow = checkBox(2585, 2585);
    form->addRow(QString(), shadow);
    m_binder->check(shadow, AlmOmbre);
    auto* offset = withTip(new QSpinBox, 2586);
    offset->setRange(1, 20);
    auto* offsetWhy = reasonLabel();
    form->addRow(langText(2586), offset);
    form->addRow(QString(), offsetWhy);
    m_binder->spin(offset, AlmOffset, offsetWhy);
    auto* opacity = withTip(new QSpinBox, 2587);
    opacity->setRange(39, 255);
    form->addRow(langText(2587), opacity);
    m_binder->spin(opacity, AlmTransparence, nullptr);
    m_notesSample = new QLabel(langText(2588));
    m_notesSample->setObjectName(QStringLiteral("notesSample"));
    m_notesSample->setAlignment(Qt::AlignCenter);
    m_notesSample->setMinimumHeight(80);
    form->addRow(m_notesSample);
    layout->addWidget(alarms);

    auto* calendar = new QGroupBox(langText(2589));
    auto* calendarForm = new QFormLayout(calendar);
    auto* calendarRow = new QHBoxLayout;
    for (const auto& [number, caption] : {std::pair {AgdBackColor, 2590}, std::pair {AgdTitleColor, 2591},
             std::pair {AgdSatSunColor, 2593}, std::pair {AgdDayFeriesColor, 2594}}) {
        auto* button = withTip(new QPushButton(langText(caption)), caption);
        calendarRow->addWidget(button);
        m_binder->colour(button, number);
    }
    calendarForm->addRow(calendarRow);
    auto* country = withTip(new QComboBox, 2921);
    country->setObjectName(QStringLiteral("calendarCountry"));
    QList<QVariant> codes;
    for (const auto& [code, name] : countriesByName()) {
        country->addItem(name);
        codes << code;
    }
    calendarForm->addRow(langText(2920), country);
    m_binder->choice(country, AgdPays, codes);
    auto* corner = withTip(new QComboBox, 2924);
    corner->setObjectName(QStringLiteral("calendarCorner"));
    corner->addItems(langText(2923).split(QLatin1Char('|')));
    calendarForm->addRow(langText(2922), corner);
    m_binder->choice(corner, AgdCoinBureau, {0, 1, 2, 3});
    layout->addWidget(calendar);
    layout->addStretch();
    return page;
}

// The countries in the interface language with their codes, by name; the one the settings hold
// stays offered even when the database has no list (it never lost its choice).
QList<std::pair<QString, QString>> FrmParam::countriesByName()
{
    QList<std::pair<QString, QString>> countries;
    for (const auto& item : mdb().countryList(interfaceTexts().code()).items) {
        if (const auto row = mdb().countryByKey(item.keyAuto))
            countries.append({row->code, item.name});
    }
    const QString current = registry().get(AgdPays).toString();
    if (std::none_of(countries.begin(), countries.end(), [&current](const auto& c) { return c.first == current; }))
        countries.append({current, current});
    return countries;
}

QWidget* FrmParam::generalTab()
{
    auto* page = new QWidget;
    auto* form = new QFormLayout(page);
    auto* language = withTip(new QComboBox, 2595);
    QList<QVariant> codes;
    const QDir folder = QFileInfo(InterfaceTexts::languageFile(QStringLiteral("FRA"))).dir();
    for (const QString& file : folder.entryList({QStringLiteral("???.lng")}, QDir::Files, QDir::Name)) {
        const QString code = file.left(3).toUpper();
        if (!InterfaceTexts::languageExists(code))
            continue;
        language->addItem(code == QLatin1String("FRA") ? QStringLiteral("Français")
                : code == QLatin1String("ENG")         ? QStringLiteral("English")
                                                       : code);
        codes << code;
    }
    form->addRow(langText(2595), language);
    m_binder->choice(language, Langue, codes);
    auto* logOn = checkBox(2596, 2596);
    form->addRow(QString(), logOn);
    m_binder->check(logOn, Demarrage);
    auto* splash = checkBox(2597, 2597);
    form->addRow(QString(), splash);
    m_binder->check(splash, Splash);
    auto* positions = checkBox(2598, 2598);
    form->addRow(QString(), positions);
    m_binder->check(positions, WindowsPos);
    auto* doubleClick = withTip(new QComboBox, 2599);
    // The commands a double click can run, by number, with their menu captions.
    const std::pair<int, int> commands[] = {{0, 363}, {1, 367}, {2, 369}, {3, 370}, {4, 532}, {5, 2026}, {6, 371},
        {7, 434}, {8, 422}, {9, 382}, {11, 380}, {12, 372}, {14, 373}, {15, 2111}, {16, 418}};
    QList<QVariant> values;
    for (const auto& [command, caption] : commands) {
        doubleClick->addItem(langText(caption).remove(QStringLiteral("...")));
        values << command;
    }
    form->addRow(langText(2599), doubleClick);
    m_binder->choice(doubleClick, MenuOptionDefaut, values);
    return page;
}

// The source: a folder, an album or a page, or a project. Each kind has its page under the three
// buttons; choosing a kind keeps what each other kind had chosen, so that switching back finds it.
void FrmParam::buildSourceChoice(QVBoxLayout* layout, QWidget* folderPage)
{
    auto* kinds = new QHBoxLayout;
    kinds->addWidget(new QLabel(langText(2960)));
    auto* group = new QButtonGroup(layout);
    const std::pair<int, int> captions[] = {{2961, 2964}, {2962, 2965}, {2963, 2966}};
    for (int kind = 0; kind < 3; ++kind) {
        auto* button = withTip(new QRadioButton(langText(captions[kind].first)), captions[kind].second);
        button->setObjectName(QStringLiteral("sourceKind%1").arg(kind));
        group->addButton(button, kind);
        kinds->addWidget(button);
    }
    kinds->addStretch();
    layout->addLayout(kinds);
    auto* pages = new QStackedWidget;
    pages->addWidget(folderPage);

    // Albums with their pages, indented as they nest.
    auto* albumPage = new QWidget;
    auto* albumLayout = new QVBoxLayout(albumPage);
    albumLayout->setContentsMargins(0, 0, 0, 0);
    auto* albums = withTip(new QTreeWidget, 2965);
    albums->setObjectName(QStringLiteral("albumSource"));
    albums->setHeaderLabels({langText(2967)});
    albums->setRootIsDecorated(true);
    QList<QTreeWidgetItem*> parents;
    for (const SourceChoice& choice : SourceCatalog::albumsAndPages(mdb())) {
        auto* item = new QTreeWidgetItem({choice.name.isEmpty() ? langText(2975) : choice.name});
        item->setData(0, Qt::UserRole, choice.album);
        item->setData(0, Qt::UserRole + 1, choice.page);
        parents.resize(choice.depth);
        if (parents.isEmpty())
            albums->addTopLevelItem(item);
        else
            parents.last()->addChild(item);
        parents.append(item);
    }
    albums->expandAll();
    auto* albumWhy = reasonLabel();
    albumLayout->addWidget(albums);
    albumLayout->addWidget(albumWhy);
    if (albums->topLevelItemCount() == 0) {
        albums->hide();
        albumLayout->addWidget(new QLabel(langText(2970)));
    }
    pages->addWidget(albumPage);

    // Projects, a password shown as "**".
    auto* projectPage = new QWidget;
    auto* projectLayout = new QVBoxLayout(projectPage);
    projectLayout->setContentsMargins(0, 0, 0, 0);
    auto* projects = withTip(new QTreeWidget, 2966);
    projects->setObjectName(QStringLiteral("projectSource"));
    projects->setHeaderLabels({langText(2968), langText(2969)});
    projects->setRootIsDecorated(false);
    for (const SourceChoice& choice : SourceCatalog::projects(mdb())) {
        auto* item = new QTreeWidgetItem({choice.name.isEmpty() ? langText(2975) : choice.name, choice.password});
        item->setData(0, Qt::UserRole, choice.project);
        projects->addTopLevelItem(item);
    }
    projects->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    projects->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    auto* projectWhy = reasonLabel();
    projectLayout->addWidget(projects);
    projectLayout->addWidget(projectWhy);
    if (projects->topLevelItemCount() == 0) {
        projects->hide();
        projectLayout->addWidget(new QLabel(langText(2971)));
    }
    pages->addWidget(projectPage);
    for (QTreeWidget* tree : {albums, projects})
        tree->setMaximumHeight(160);
    layout->addWidget(pages);

    m_binder->custom([this, group, pages] {
        const int kind = m_session->value(SourceProjet).toInt() != 0 ? 2
            : m_session->value(SourceAlbum).toInt() != 0             ? 1
                                                                     : 0;
        group->button(kind)->setChecked(true);
        pages->setCurrentIndex(kind);
    });
    // Clicked, not toggled: showing the session's values checks a button too, and is no choice.
    connect(group, &QButtonGroup::idClicked, this, [this, pages, albums, projects](int kind) {
        pages->setCurrentIndex(kind);
        if (kind == 2) {
            m_binder->edit(SourceProjet, -1);
            // A first choice of the kind takes its first item rather than nothing.
            if (m_session->value(SourceProjetKey).toLongLong() == 0 && projects->topLevelItemCount() > 0)
                projects->setCurrentItem(projects->topLevelItem(0));
            return;
        }
        m_binder->edit(SourceProjet, 0);
        m_binder->edit(SourceAlbum, kind == 1 ? -1 : 0);
        if (kind == 1 && m_session->value(SourceAlbumKey).toLongLong() == 0 && albums->topLevelItemCount() > 0)
            albums->setCurrentItem(albums->topLevelItem(0));
    });

    m_binder->custom([this, albums, albumWhy] {
        const qint64 album = m_session->value(SourceAlbumKey).toLongLong();
        const qint64 page = m_session->value(SourceAlbumPage).toLongLong();
        QTreeWidgetItem* chosen = nullptr;
        for (QTreeWidgetItemIterator it(albums); *it && !chosen; ++it) {
            if ((*it)->data(0, Qt::UserRole).toLongLong() == album
                && (*it)->data(0, Qt::UserRole + 1).toLongLong() == page)
                chosen = *it;
        }
        albums->setCurrentItem(chosen);
        albumWhy->setText(langText(2972).arg(album).arg(page));
        albumWhy->setVisible(!chosen && album != 0);
    });
    connect(albums, &QTreeWidget::currentItemChanged, this, [this, albumWhy](QTreeWidgetItem* item) {
        if (!item)
            return;
        m_binder->edit(SourceAlbumKey, item->data(0, Qt::UserRole));
        m_binder->edit(SourceAlbumPage, item->data(0, Qt::UserRole + 1));
        albumWhy->hide();
    });

    m_binder->custom([this, projects, projectWhy] {
        const qint64 project = m_session->value(SourceProjetKey).toLongLong();
        QTreeWidgetItem* chosen = nullptr;
        for (int i = 0; i < projects->topLevelItemCount() && !chosen; ++i) {
            if (projects->topLevelItem(i)->data(0, Qt::UserRole).toLongLong() == project)
                chosen = projects->topLevelItem(i);
        }
        projects->setCurrentItem(chosen);
        projectWhy->setText(langText(2973).arg(project));
        projectWhy->setVisible(!chosen && project != 0);
    });
    connect(projects, &QTreeWidget::currentItemChanged, this, [this, projectWhy](QTreeWidgetItem* item) {
        if (!item)
            return;
        m_binder->edit(SourceProjetKey, item->data(0, Qt::UserRole));
        projectWhy->hide();
    });
}

void FrmParam::sourceSwitched(const QHash<int, QVariant>& values)
{
    if (!m_session)
        return;
    // What the dialog previews for these settings gives way to what was just written, so that
    // the program and the dialog agree on the source.
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        m_session->edit(it.key(), it.value());
    m_binder->reload();
}

// --- behaviour --------------------------------------------------------------------------------

bool FrmParam::applyEdits()
{
    if (m_session->changedOutside())
        askAboutOutsideChange();
    if (!m_session->apply()) {
        QMessageBox::warning(this, windowTitle(), langText(2607));
        return false;
    }
    m_appliedWhileEditing = false;
    return true;
}

void FrmParam::cancelEdits()
{
    m_session->cancel();
    m_binder->reload();
    // A wallpaper applied meanwhile may wear the dropped values: it is fitted again.
    if (std::exchange(m_appliedWhileEditing, false) && m_services.refitWallpaper)
        m_services.refitWallpaper();
}

void FrmParam::askAboutOutsideChange()
{
    QMessageBox question(QMessageBox::Question, windowTitle(), langText(2604), QMessageBox::NoButton, this);
    QPushButton* mine = question.addButton(langText(2605), QMessageBox::AcceptRole);
    question.addButton(langText(2606), QMessageBox::RejectRole);
    question.exec();
    if (question.clickedButton() != mine) {
        m_session->takeOutsideChange();
        m_binder->reload();
    }
}

void FrmParam::closeEvent(QCloseEvent* event)
{
    if (m_session->hasEdits()) {
        const auto answer = QMessageBox::question(this, windowTitle(), langText(2608),
            QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, QMessageBox::Save);
        if (answer == QMessageBox::Cancel || (answer == QMessageBox::Save && !applyEdits())) {
            event->ignore();
            return;
        }
        if (answer == QMessageBox::Discard)
            cancelEdits();
    }
    QDialog::closeEvent(event);
    if (event->isAccepted())
        endSession();
}

void FrmParam::keyPressEvent(QKeyEvent* event)
{
    // Escape is Cancel: the same road, so that a preview never outlives the dialog.
    if (event->key() == Qt::Key_Escape) {
        cancelEdits();
        reject();
        return;
    }
    QDialog::keyPressEvent(event);
}

void FrmParam::wallpaperApplied()
{
    if (!m_session)
        return;
    if (m_session->hasEdits())
        m_appliedWhileEditing = true;
    loadPreviewPicture();
    updatePreview();
}

void FrmParam::loadPreviewPicture()
{
    const QString current = registry().get(CurrentWallPaper).toString();
    m_previewPicture = QImage();
    if (current.isEmpty())
        return;
    const auto info = m_decoder->probe(current);
    if (!info)
        return;
    m_previewPictureSize = info->size;
    m_previewMetafile = info->isMetafile();
    // Small once: a sizing change only redraws it.
    const QSize small = info->size.scaled(480, 480, Qt::KeepAspectRatio);
    m_previewPicture = m_decoder->decode(current, small, Qt::black);
}

void FrmParam::updatePreview()
{
    if (!m_preview || !m_services.monitors || !m_session)
        return;
    ClsMonitor& monitors = *m_services.monitors;
    QList<QRect> rects;
    for (const ClsMonitor::Record& record : monitors.records())
        rects << record.monitor;
    const int current = monitors.currentMonitor();
    const auto monitor = monitors.monitorSize(current);
    const auto work = monitors.count() == 1 ? monitors.workAreaSize(current) : monitor;
    std::optional<SizingResult> sizing;
    QSize workArea;
    if (monitor && work && !m_previewPictureSize.isEmpty()) {
        workArea = QSize(work->left - monitor->left + work->width, work->top - monitor->top + work->height);
        sizing = computeSizing(m_previewPictureSize.width(), m_previewPictureSize.height(), m_previewMetafile,
            QSize(monitor->width, monitor->height), workArea, WallpaperRenderer::settingsFromRegistry());
    }
    if (auto* sketch = findChild<QWidget*>(QStringLiteral("modeSketch")))
        sketch->update();
    m_preview->picture = m_previewPicture;
    m_preview->monitors = rects;
    m_preview->current = current - 1;
    m_preview->sizing = sizing;
    m_preview->update();
    const auto stats = sizing ? WallpaperPreview::statistics(*sizing, workArea) : WallpaperPreview::Statistics {};
    const QString warning = QStringLiteral("color: #c04000;");
    const QString texts[]
        = {stats.scale, stats.deformation, stats.ratio, stats.widthChange, stats.heightChange, stats.coverage};
    const bool warned[] = {
        false, stats.deformationWarning, stats.ratioWarning, stats.deformationWarning, stats.deformationWarning, false};
    for (qsizetype i = 0; i < m_statistics.size(); ++i) {
        m_statistics[i]->setText(sizing && !texts[i].isEmpty() ? texts[i] : QStringLiteral("—"));
        m_statistics[i]->setStyleSheet(warned[i] ? warning : QString());
    }
    if (m_notesSample) {
        QFont font(m_session->value(AlmFontName).toString());
        font.setPointSize(qBound(6, m_session->value(AlmFontSize).toInt(), 40));
        font.setBold(m_session->value(AlmFontBold).toInt() != 0);
        font.setItalic(m_session->value(AlmFontItalic).toInt() != 0);
        font.setUnderline(m_session->value(AlmFontUnderline).toInt() != 0);
        m_notesSample->setFont(font);
        QColor background = colourFromSetting(m_session->value(AlmCouleurFond).toUInt());
        background.setAlpha(qBound(39, m_session->value(AlmTransparence).toInt(), 255));
        m_notesSample->setStyleSheet(QStringLiteral("background-color: rgba(%1, %2, %3, %4); color: %5;")
                                         .arg(background.red())
                                         .arg(background.green())
                                         .arg(background.blue())
                                         .arg(background.alpha())
                                         .arg(colourFromSetting(m_session->value(AlmCouleurAv).toUInt()).name()));
    }
}

void FrmParam::refreshStatus()
{
    if (!m_countdown)
        return;
    const qint64 left = m_services.secondsLeft ? m_services.secondsLeft() : -1;
    m_countdown->setText(left >= 0 ? langText(2560).arg(left) : langText(2567));
    const QList<int> counter = m_services.counter ? m_services.counter() : QList<int>();
    if (counter.size() == 4) {
        m_counter->setText(QStringLiteral("%1 / %2").arg(counter[0]).arg(counter[1]));
        m_direction->setText(langText(counter[2] < 0 ? 2564 : 2563));
        m_endOut->setText(counter[3] ? langText(2565).arg(counter[1]) : QString());
    }
}

void FrmParam::playSound(const QString& file)
{
    const QString path
        = QFileInfo(file).isAbsolute() ? file : MediaFolders::findFile(MediaFolders::Folder::Sounds, file);
    const QString type = QMimeDatabase().mimeTypeForFile(path).name();
    if (path.isEmpty() || !QFileInfo(path).isFile() || !type.startsWith(QLatin1String("audio/"))) {
        QMessageBox::information(this, windowTitle(), langText(2609).arg(QDir::toNativeSeparators(file)));
        return;
    }
    SoundService::instance().play({path});
}

void FrmParam::chooseFolder()
{
    const QString chosen
        = QFileDialog::getExistingDirectory(this, langText(2611), m_session->value(Repertoire).toString());
    if (chosen.isEmpty())
        return;
    auto* folder = findChild<QLineEdit*>(QStringLiteral("folder"));
    folder->setText(chosen);
    emit folder->editingFinished();
}

void FrmParam::chooseSound()
{
    const QString chosen = QFileDialog::getOpenFileName(
        this, langText(2610), MediaFolders::path(MediaFolders::Folder::Sounds), langText(2622));
    if (chosen.isEmpty())
        return;
    const QString type = QMimeDatabase().mimeTypeForFile(chosen).name();
    if (!type.startsWith(QLatin1String("audio/"))) {
        QMessageBox::warning(this, windowTitle(), langText(2609).arg(QDir::toNativeSeparators(chosen)));
        return;
    }
    auto* file = findChild<QLineEdit*>(QStringLiteral("soundFile"));
    file->setText(chosen);
    emit file->editingFinished();
}
