#include "FrmNotes.h"

#include "AlarmWidgets.h"
#include "AppState.h"
#include "Clock.h"
#include "ClsMdb.h"
#include "ClsRegistry.h"
#include "FrmChangeAlarme.h"
#include "InterfaceTexts.h"
#include "MediaFolders.h"
#include "NotePicture.h"
#include "NotePreview.h"
#include "NoteRenderer.h"
#include "NoteStore.h"
#include "SoundService.h"
#include "Trace.h"
#include "WallClock.h"
#include "WindowPositions.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QColorDialog>
#include <QComboBox>
#include <QDateEdit>
#include <QDesktopServices>
#include <QDir>
#include <QDoubleSpinBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFontComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QShortcut>
#include <QSlider>
#include <QSpinBox>
#include <QStandardPaths>
#include <QTabWidget>
#include <QTimeEdit>
#include <QTimer>
#include <QToolButton>
#include <QUrl>
#include <QVBoxLayout>

// A button showing a stored colour (red in the low byte) that opens the colour chooser.
class ColourButton : public QPushButton
{
public:
    ColourButton(const QString& text, const QString& tip)
        : QPushButton(text)
    {
        setToolTip(tip);
        connect(this, &QPushButton::clicked, this, [this] {
            const QColor chosen = QColorDialog::getColor(NoteRenderer::colour(m_stored), window(), toolTip());
            if (chosen.isValid() && NoteRenderer::stored(chosen) != m_stored) {
                setStored(NoteRenderer::stored(chosen));
                if (changed)
                    changed();
            }
        });
    }

    qint32 stored() const { return m_stored; }
    void setStored(qint32 stored)
    {
        m_stored = stored;
        QPixmap swatch(16, 16);
        swatch.fill(NoteRenderer::colour(stored));
        QPainter(&swatch).drawRect(0, 0, 15, 15);
        setIcon(swatch);
    }

    std::function<void()> changed;

private:
    qint32 m_stored = 0;
};

using AlarmWidgets::withTip;

namespace {

constexpr int MaxText = 250;
// The movement codes in the order the list offers them: still first.
constexpr int MovingCodes[] = {1, 0, 2};
constexpr int TextNoText = 2819;
constexpr int TextTitle = 2820;
constexpr int TextAge = 2769;
constexpr int TextPicture = 2824;
constexpr int TextDeleteQuestion = 2840;
constexpr int TextUnsaved = 2868;
constexpr int TextSoundMissing = 2879;
constexpr int ListButtons = 2898;

QLabel* buddyLabel(int text, QWidget* buddy)
{
    auto* label = new QLabel(langText(text));
    label->setBuddy(buddy);
    return label;
}

QDateTime wallNow()
{
    return WallClock::of(appClock().now());
}

// The time a new alarm offers: the next round hour today, nine o'clock on another day.
QDateTime offeredAlarm(const QDate& day)
{
    const QDateTime now = wallNow();
    if (day == now.date() && now.time().hour() < 23)
        return WallClock::make(day, QTime(now.time().hour() + 1, 0));
    return WallClock::make(day, QTime(9, 0));
}

int messageBox(QWidget* parent, QMessageBox::Icon icon, const QString& text, QMessageBox::StandardButtons buttons,
    QMessageBox::StandardButton byDefault)
{
    QMessageBox box(icon, langText(TextTitle), text, buttons, parent);
    // Button texts from the interface language, not from Qt's own translations.
    const QStringList names = AlarmWidgets::langList(ListButtons);
    const QList<QMessageBox::StandardButton> order {
        QMessageBox::Save, QMessageBox::Discard, QMessageBox::Cancel, QMessageBox::Yes, QMessageBox::Ok};
    for (int i = 0; i < order.size(); ++i) {
        if (QAbstractButton* button = box.button(order.at(i)))
            button->setText(names.value(i));
    }
    box.setDefaultButton(byDefault);
    return box.exec();
}

QString rowText(const NoteSummary& note, const QDate& day, const QLocale& locale)
{
    QString text = note.text.simplified();
    if (note.alarm && note.alarmAt.isValid()) {
        const QString at = note.alarmAt.date() == day ? locale.toString(note.alarmAt.time(), QLocale::ShortFormat)
                                                      : locale.toString(note.alarmAt.date(), QLocale::ShortFormat)
                + QLatin1Char(' ') + locale.toString(note.alarmAt.time(), QLocale::ShortFormat);
        const QString marker = langText(note.recurring ? 2829 : 2828).arg(at);
        return text.isEmpty() ? marker : marker + QLatin1Char(' ') + text;
    }
    return text.isEmpty() ? langText(TextNoText) : text;
}

} // namespace

FrmNotes::FrmNotes(const QDate& day, QWidget* parent)
    : QWidget(parent, Qt::Window)
    , m_day(day.isValid() ? day : wallNow().date())
{
    setObjectName(QStringLiteral("FrmNotes"));
    setAttribute(Qt::WA_DeleteOnClose);
    setLocale(AlarmWidgets::interfaceLocale());
    setWindowTitle(langText(TextTitle) + QStringLiteral("[*]"));
    build();

    auto* save = new QShortcut(QKeySequence::Save, this);
    connect(save, &QShortcut::activated, this, &FrmNotes::save);
    auto* create = new QShortcut(QKeySequence::New, this);
    connect(create, &QShortcut::activated, this, &FrmNotes::newNote);
    auto* remove = new QShortcut(QKeySequence::Delete, m_list, nullptr, nullptr, Qt::WidgetShortcut);
    connect(remove, &QShortcut::activated, this, &FrmNotes::deleteNote);
    auto* escape = new QShortcut(Qt::Key_Escape, this);
    connect(escape, &QShortcut::activated, this, &QWidget::close);
    auto* help = new QShortcut(QKeySequence::HelpContents, this);
    connect(help, &QShortcut::activated, this, [] {
        if (!appState().helpFile.isEmpty())
            QDesktopServices::openUrl(QUrl::fromLocalFile(appState().helpFile));
    });
    auto* previous = new QShortcut(QKeySequence(Qt::ALT | Qt::Key_Left), this);
    connect(previous, &QShortcut::activated, this, [this] { openDay(m_day.addDays(-1)); });
    auto* next = new QShortcut(QKeySequence(Qt::ALT | Qt::Key_Right), this);
    connect(next, &QShortcut::activated, this, [this] { openDay(m_day.addDays(1)); });

    NoteEvents& events = NoteEvents::instance();
    connect(&events, &NoteEvents::noteSaved, this, &FrmNotes::noteSaved);
    connect(&events, &NoteEvents::noteRemoved, this, &FrmNotes::noteRemoved);
    connect(&events, &NoteEvents::alarmChanged, this, &FrmNotes::alarmChanged);

    resize(sizeHint().expandedTo(QSize(1080, 640)).boundedTo(QSize(1300, 700)));
    if (const auto saved = WindowPositions::restore(registry(), objectName()))
        setGeometry(*saved);

    {
        const QSignalBlocker blocker(m_dayEdit);
        m_dayEdit->setDate(m_day);
    }
    reloadList();
    showRow(0);
    m_text->setFocus();
}

FrmNotes::~FrmNotes() = default;

// --- building ---------------------------------------------------------------------------------

void FrmNotes::build()
{
    auto* left = new QVBoxLayout;
    left->addLayout(navigation());
    m_list = withTip(new QListWidget, 2827);
    m_list->setObjectName(QStringLiteral("notes"));
    m_list->setTextElideMode(Qt::ElideRight);
    left->addWidget(buddyLabel(2826, m_list));
    left->addWidget(m_list, 1);
    auto* create = withTip(new QPushButton(langText(2830)), 2831);
    create->setObjectName(QStringLiteral("new"));
    auto* remove = withTip(new QPushButton(langText(2834)), 2835);
    remove->setObjectName(QStringLiteral("delete"));
    auto* listButtons = new QHBoxLayout;
    listButtons->addWidget(create);
    listButtons->addWidget(remove);
    left->addLayout(listButtons);
    connect(create, &QPushButton::clicked, this, &FrmNotes::newNote);
    connect(remove, &QPushButton::clicked, this, &FrmNotes::deleteNote);
    // Queued: the switch may ask and reload the list, which is not done inside its own signal.
    // The selection, not the current row: the list makes a row current on its own when it gets
    // the focus back, which is no choice of the user's.
    connect(m_list, &QListWidget::itemSelectionChanged, this, &FrmNotes::switchToRow, Qt::QueuedConnection);

    m_tabs = new QTabWidget;
    const QStringList tabs = AlarmWidgets::langList(2838);
    m_tabs->addTab(textTab(), tabs.value(0));
    m_tabs->addTab(layoutTab(), tabs.value(1));
    m_tabs->addTab(mediaTab(), tabs.value(2));
    m_tabs->addTab(alarmTab(), tabs.value(3));
    m_tabs->addTab(recurrenceTab(), tabs.value(4));

    m_preview = new NotePreview;
    auto* previewBox = new QGroupBox(langText(2839));
    auto* previewLayout = new QVBoxLayout(previewBox);
    previewLayout->addWidget(m_preview);

    auto* body = new QHBoxLayout;
    body->addLayout(left, 0);
    body->addWidget(m_tabs, 1);
    body->addWidget(previewBox, 0);

    auto* saveButton = withTip(new QPushButton(langText(2832)), 2833);
    saveButton->setObjectName(QStringLiteral("save"));
    auto* helpButton = withTip(new QPushButton(langText(2837)), 2837);
    auto* closeButton = new QPushButton(langText(2836));
    closeButton->setObjectName(QStringLiteral("close"));
    connect(saveButton, &QPushButton::clicked, this, &FrmNotes::save);
    connect(closeButton, &QPushButton::clicked, this, &QWidget::close);
    connect(helpButton, &QPushButton::clicked, this, [] {
        if (!appState().helpFile.isEmpty())
            QDesktopServices::openUrl(QUrl::fromLocalFile(appState().helpFile));
    });
    helpButton->setVisible(!appState().helpFile.isEmpty());
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(helpButton);
    buttons->addStretch();
    buttons->addWidget(saveButton);
    buttons->addWidget(closeButton);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(body, 1);
    layout->addLayout(buttons);
}

QLayout* FrmNotes::navigation()
{
    auto* previous = withTip(new QToolButton, 2821);
    previous->setObjectName(QStringLiteral("previousDay"));
    previous->setArrowType(Qt::LeftArrow);
    m_dayEdit = withTip(new QDateEdit, 2825);
    m_dayEdit->setObjectName(QStringLiteral("day"));
    m_dayEdit->setCalendarPopup(true);
    m_dayEdit->setDisplayFormat(QStringLiteral("ddd ") + locale().dateFormat(QLocale::ShortFormat));
    auto* next = withTip(new QToolButton, 2822);
    next->setObjectName(QStringLiteral("nextDay"));
    next->setArrowType(Qt::RightArrow);
    auto* today = new QPushButton(langText(2823));
    today->setObjectName(QStringLiteral("today"));

    // A date typed digit by digit passes through other days: the day changes once typing pauses.
    m_dayTimer = new QTimer(this);
    m_dayTimer->setSingleShot(true);
    m_dayTimer->setInterval(400);
    connect(m_dayTimer, &QTimer::timeout, this, [this] {
        if (m_dayEdit->date() != m_day && !openDay(m_dayEdit->date())) {
            const QSignalBlocker blocker(m_dayEdit);
            m_dayEdit->setDate(m_day);
        }
    });
    connect(m_dayEdit, &QDateEdit::dateChanged, m_dayTimer, qOverload<>(&QTimer::start));
    connect(previous, &QToolButton::clicked, this, [this] { openDay(m_day.addDays(-1)); });
    connect(next, &QToolButton::clicked, this, [this] { openDay(m_day.addDays(1)); });
    connect(today, &QPushButton::clicked, this, [this] { openDay(wallNow().date()); });

    auto* row = new QHBoxLayout;
    row->addWidget(previous);
    row->addWidget(m_dayEdit, 1);
    row->addWidget(next);
    row->addWidget(today);
    return row;
}

QWidget* FrmNotes::textTab()
{
    auto* page = new QWidget;
    auto* layout = new QVBoxLayout(page);
    m_text = withTip(new QPlainTextEdit, 2842);
    m_text->setObjectName(QStringLiteral("text"));
    m_text->setTabChangesFocus(true);
    m_count = new QLabel;
    m_count->setObjectName(QStringLiteral("count"));
    layout->addWidget(buddyLabel(2841, m_text));
    layout->addWidget(m_text, 1);
    layout->addWidget(m_count, 0, Qt::AlignRight);
    connect(m_text, &QPlainTextEdit::textChanged, this, [this] {
        if (m_text->toPlainText().size() > MaxText) {
            // Whatever lies past the limit goes, where it came from; the count says why.
            const QSignalBlocker blocker(m_text);
            QTextCursor cursor(m_text->document());
            cursor.setPosition(MaxText);
            cursor.movePosition(QTextCursor::End, QTextCursor::KeepAnchor);
            cursor.removeSelectedText();
        }
        updateCount();
        edited();
    });

    auto* fontBox = new QGroupBox(langText(2845));
    auto* form = new QFormLayout(fontBox);
    m_font = withTip(new QFontComboBox, 2847);
    m_fontSize = withTip(new QDoubleSpinBox, 2849);
    m_fontSize->setRange(4, 400);
    m_fontSize->setDecimals(1);
    m_bold = withTip(new QCheckBox(langText(2850)), 2853);
    m_italic = withTip(new QCheckBox(langText(2851)), 2853);
    m_underline = withTip(new QCheckBox(langText(2852)), 2853);
    auto* sizeRow = new QHBoxLayout;
    sizeRow->addWidget(m_fontSize);
    sizeRow->addSpacing(12);
    sizeRow->addWidget(m_bold);
    sizeRow->addWidget(m_italic);
    sizeRow->addWidget(m_underline);
    sizeRow->addStretch();
    form->addRow(buddyLabel(2846, m_font), m_font);
    form->addRow(buddyLabel(2848, m_fontSize), sizeRow);

    m_foreColour = new ColourButton(langText(2854), langText(2855));
    m_shadow = withTip(new QCheckBox(langText(2856)), 2857);
    m_shadowColour = new ColourButton(langText(2858), langText(2855));
    m_shadowOffset = withTip(new QSpinBox, 2860);
    m_shadowOffset->setRange(0, 50);
    m_shadowOffset->setSuffix(langText(2861));
    auto* shadowRow = new QHBoxLayout;
    shadowRow->addWidget(m_shadow);
    shadowRow->addWidget(m_shadowColour);
    shadowRow->addWidget(buddyLabel(2859, m_shadowOffset));
    shadowRow->addWidget(m_shadowOffset);
    shadowRow->addStretch();
    form->addRow(QString(), m_foreColour);
    form->addRow(QString(), shadowRow);
    layout->addWidget(fontBox);

    connect(m_font, &QFontComboBox::currentFontChanged, this, &FrmNotes::edited);
    connect(m_fontSize, &QDoubleSpinBox::valueChanged, this, &FrmNotes::edited);
    for (QCheckBox* box : {m_bold, m_italic, m_underline, m_shadow})
        connect(box, &QCheckBox::toggled, this, &FrmNotes::edited);
    connect(m_shadow, &QCheckBox::toggled, this, &FrmNotes::updateEnabled);
    connect(m_shadowOffset, &QSpinBox::valueChanged, this, &FrmNotes::edited);
    m_foreColour->changed = [this] { edited(); };
    m_shadowColour->changed = [this] { edited(); };
    return page;
}

QWidget* FrmNotes::layoutTab()
{
    auto* page = new QWidget;
    auto* layout = new QVBoxLayout(page);

    auto* textBox = new QGroupBox(langText(2862));
    auto* form = new QFormLayout(textBox);
    m_align = withTip(new QComboBox, 2864);
    m_align->addItems(AlarmWidgets::langList(2784));
    m_border = withTip(new QComboBox, 2866);
    m_border->addItems(AlarmWidgets::langList(2785));
    m_wrap = new QCheckBox(langText(2867));
    m_moving = withTip(new QComboBox, 2870);
    m_moving->setObjectName(QStringLiteral("moving"));
    m_moving->addItems(AlarmWidgets::langList(2786));
    m_direction = withTip(new QComboBox, 2870);
    m_direction->addItems(AlarmWidgets::langList(2787));
    m_step = withTip(new QSpinBox, 2873);
    m_step->setRange(1, 50);
    m_step->setSuffix(langText(2861));
    m_interval = withTip(new QSpinBox, 2874);
    m_interval->setRange(10, 2000);
    m_interval->setSingleStep(10);
    m_interval->setSuffix(langText(2875));
    auto* speedRow = new QHBoxLayout;
    speedRow->addWidget(m_step);
    speedRow->addWidget(buddyLabel(2872, m_interval));
    speedRow->addWidget(m_interval);
    speedRow->addStretch();
    form->addRow(buddyLabel(2863, m_align), m_align);
    form->addRow(buddyLabel(2865, m_border), m_border);
    form->addRow(QString(), m_wrap);
    form->addRow(buddyLabel(2869, m_moving), m_moving);
    form->addRow(buddyLabel(2871, m_direction), m_direction);
    form->addRow(buddyLabel(2876, m_step), speedRow);
    layout->addWidget(textBox);

    auto* windowBox = new QGroupBox(langText(2877));
    auto* grid = new QGridLayout(windowBox);
    m_backApply = new QCheckBox(langText(2878));
    m_backColour = new ColourButton(langText(2880), langText(2855));
    m_opacityApply = withTip(new QCheckBox(langText(2881)), 2882);
    m_opacity = withTip(new QSlider(Qt::Horizontal), 2882);
    m_opacity->setRange(25, 255);
    m_opacityValue = new QLabel;
    m_opacityValue->setMinimumWidth(m_opacityValue->fontMetrics().horizontalAdvance(QStringLiteral("100 %")) + 4);
    m_cutOut = withTip(new QCheckBox(langText(2883)), 2884);
    m_cutColour = new ColourButton(langText(2880), langText(2884));
    grid->addWidget(m_backApply, 0, 0);
    grid->addWidget(m_backColour, 0, 1, 1, 2, Qt::AlignLeft);
    grid->addWidget(m_opacityApply, 1, 0);
    grid->addWidget(m_opacity, 1, 1);
    grid->addWidget(m_opacityValue, 1, 2);
    grid->addWidget(m_cutOut, 2, 0);
    grid->addWidget(m_cutColour, 2, 1, 1, 2, Qt::AlignLeft);
    grid->setColumnStretch(1, 1);
    layout->addWidget(windowBox);
    layout->addStretch();

    for (QComboBox* combo : {m_align, m_border, m_moving, m_direction})
        connect(combo, &QComboBox::currentIndexChanged, this, &FrmNotes::edited);
    connect(m_moving, &QComboBox::currentIndexChanged, this, &FrmNotes::updateEnabled);
    for (QCheckBox* box : {m_wrap, m_backApply, m_opacityApply, m_cutOut}) {
        connect(box, &QCheckBox::toggled, this, &FrmNotes::edited);
        connect(box, &QCheckBox::toggled, this, &FrmNotes::updateEnabled);
    }
    for (QSpinBox* spin : {m_step, m_interval})
        connect(spin, &QSpinBox::valueChanged, this, &FrmNotes::edited);
    connect(m_opacity, &QSlider::valueChanged, this, [this](int value) {
        m_opacityValue->setText(QStringLiteral("%1 %").arg(qRound(value * 100.0 / 255)));
        edited();
    });
    for (ColourButton* button : {m_backColour, m_cutColour})
        button->changed = [this] { edited(); };
    return page;
}

QWidget* FrmNotes::mediaTab()
{
    auto* page = new QWidget;
    auto* layout = new QVBoxLayout(page);

    auto* imageBox = new QGroupBox(langText(2885));
    auto* imageLayout = new QGridLayout(imageBox);
    m_image = withTip(new QLineEdit, 2886);
    m_image->setObjectName(QStringLiteral("image"));
    m_image->setPlaceholderText(langText(2887));
    auto* browseImage = withTip(new QPushButton(langText(2888)), 2886);
    auto* clearImage = withTip(new QToolButton, 2889);
    clearImage->setText(QStringLiteral("×"));
    m_thumbnail = new QLabel;
    m_thumbnail->setObjectName(QStringLiteral("thumbnail"));
    m_thumbnail->setFixedSize(160, 110);
    m_thumbnail->setAlignment(Qt::AlignCenter);
    m_thumbnail->setFrameShape(QFrame::StyledPanel);
    m_imageWhy = AlarmWidgets::reasonLabel();
    m_imageWhy->setObjectName(QStringLiteral("imageWhy"));
    imageLayout->addWidget(m_image, 0, 0);
    imageLayout->addWidget(browseImage, 0, 1);
    imageLayout->addWidget(clearImage, 0, 2);
    imageLayout->addWidget(m_thumbnail, 1, 0, Qt::AlignLeft);
    imageLayout->addWidget(m_imageWhy, 2, 0, 1, 3);
    imageLayout->setColumnStretch(0, 1);
    layout->addWidget(imageBox);

    auto* soundBox = new QGroupBox(langText(2890));
    auto* soundLayout = new QGridLayout(soundBox);
    m_sound = withTip(new QLineEdit, 2891);
    m_sound->setObjectName(QStringLiteral("sound"));
    m_sound->setPlaceholderText(langText(2892).arg(registry().get(SettingNo::LastSound).toString()));
    auto* browseSound = withTip(new QPushButton(langText(2888)), 2891);
    auto* play = withTip(new QPushButton(langText(2893)), 2894);
    play->setObjectName(QStringLiteral("play"));
    auto* clearSound = withTip(new QToolButton, 2889);
    clearSound->setText(QStringLiteral("×"));
    m_soundRepeat = withTip(new QCheckBox(langText(2895)), 2895);
    m_soundWhy = AlarmWidgets::reasonLabel();
    m_soundWhy->setObjectName(QStringLiteral("soundWhy"));
    soundLayout->addWidget(m_sound, 0, 0);
    soundLayout->addWidget(browseSound, 0, 1);
    soundLayout->addWidget(play, 0, 2);
    soundLayout->addWidget(clearSound, 0, 3);
    soundLayout->addWidget(m_soundRepeat, 1, 0, 1, 4);
    soundLayout->addWidget(m_soundWhy, 2, 0, 1, 4);
    soundLayout->setColumnStretch(0, 1);
    layout->addWidget(soundBox);
    layout->addStretch();

    connect(browseImage, &QPushButton::clicked, this, &FrmNotes::chooseImage);
    connect(clearImage, &QToolButton::clicked, this, [this] {
        m_image->clear();
        emit m_image->editingFinished();
    });
    // Decoded once the path is complete, not at every key typed.
    connect(m_image, &QLineEdit::textChanged, this, &FrmNotes::edited);
    connect(m_image, &QLineEdit::editingFinished, this, [this] {
        loadPicture();
        updatePreview();
    });
    connect(browseSound, &QPushButton::clicked, this, &FrmNotes::chooseSound);
    connect(play, &QPushButton::clicked, this, &FrmNotes::playSound);
    connect(clearSound, &QToolButton::clicked, m_sound, &QLineEdit::clear);
    connect(m_sound, &QLineEdit::textChanged, this, [this] {
        m_soundWhy->hide();
        edited();
    });
    connect(m_soundRepeat, &QCheckBox::toggled, this, &FrmNotes::edited);
    return page;
}

QWidget* FrmNotes::alarmTab()
{
    auto* page = new QWidget;
    auto* layout = new QVBoxLayout(page);
    auto* box = new QGroupBox(langText(2896));
    auto* grid = new QGridLayout(box);
    m_alarm = withTip(new QCheckBox(langText(2897)), 2899);
    m_alarm->setObjectName(QStringLiteral("alarm"));
    m_alarmDate = withTip(new QDateEdit, 2899);
    m_alarmDate->setObjectName(QStringLiteral("alarmDate"));
    m_alarmDate->setCalendarPopup(true);
    m_alarmDate->setDisplayFormat(locale().dateFormat(QLocale::ShortFormat));
    m_alarmTime = withTip(new QTimeEdit, 2899);
    m_alarmTime->setObjectName(QStringLiteral("alarmTime"));
    m_alarmTime->setDisplayFormat(QStringLiteral("HH:mm"));
    m_move = withTip(new QPushButton(langText(2808)), 2809);
    m_move->setObjectName(QStringLiteral("moveAlarm"));
    m_status = new QLabel;
    m_status->setObjectName(QStringLiteral("status"));
    m_status->setWordWrap(true);
    m_alarmWhy = AlarmWidgets::reasonLabel();
    grid->addWidget(m_alarm, 0, 0);
    grid->addWidget(m_alarmDate, 0, 1);
    grid->addWidget(m_alarmTime, 0, 2);
    grid->addWidget(m_move, 0, 4);
    grid->addWidget(m_alarmWhy, 1, 0, 1, 5);
    grid->addWidget(m_status, 2, 0, 1, 5);
    grid->setColumnStretch(3, 1);
    layout->addWidget(box);
    m_repeat = new RepeatBox;
    layout->addWidget(m_repeat);
    layout->addStretch();

    connect(m_alarm, &QCheckBox::toggled, this, &FrmNotes::edited);
    connect(m_alarm, &QCheckBox::toggled, this, &FrmNotes::updateEnabled);
    connect(m_alarmDate, &QDateEdit::dateChanged, this, &FrmNotes::edited);
    connect(m_alarmTime, &QTimeEdit::timeChanged, this, &FrmNotes::edited);
    connect(m_repeat, &RepeatBox::changed, this, &FrmNotes::edited);
    connect(m_move, &QPushButton::clicked, this, &FrmNotes::changeAlarm);
    return page;
}

QWidget* FrmNotes::recurrenceTab()
{
    auto* page = new QWidget;
    auto* layout = new QVBoxLayout(page);
    m_recurrence = new RecurrenceBox;
    layout->addWidget(m_recurrence);

    auto* birthdayBox = new QGroupBox(langText(2777));
    auto* row = new QHBoxLayout(birthdayBox);
    m_birthday = withTip(new QCheckBox(langText(2778)), 2779);
    m_birthday->setObjectName(QStringLiteral("birthday"));
    m_birthDate = withTip(new QDateEdit, 2779);
    m_birthDate->setCalendarPopup(true);
    m_birthDate->setDisplayFormat(locale().dateFormat(QLocale::ShortFormat));
    m_birthDate->setMinimumDate(QDate(1850, 1, 1));
    m_age = new QLabel;
    m_age->setObjectName(QStringLiteral("age"));
    row->addWidget(m_birthday);
    row->addWidget(m_birthDate);
    row->addWidget(m_age);
    row->addStretch();
    layout->addWidget(birthdayBox);
    layout->addStretch();

    connect(m_recurrence, &RecurrenceBox::changed, this, &FrmNotes::edited);
    connect(m_birthday, &QCheckBox::toggled, this, &FrmNotes::edited);
    connect(m_birthday, &QCheckBox::toggled, this, &FrmNotes::updateEnabled);
    connect(m_birthDate, &QDateEdit::dateChanged, this, &FrmNotes::edited);
    return page;
}

// --- the note in the controls -----------------------------------------------------------------

void FrmNotes::loadNote(const Note& note)
{
    m_note = note;
    m_loading = true;
    const ClsTxtData fallbackText;
    const ClsWinData fallbackWindow;
    const ClsTxtData& t = note.objects.text() ? *note.objects.text() : fallbackText;
    const ClsWinData& w = note.objects.window() ? *note.objects.window() : fallbackWindow;
    m_text->setPlainText(t.Texte);
    m_font->setCurrentFont(NoteRenderer::font(t));
    m_fontSize->setValue(t.TxtFontSize > 0 ? double(t.TxtFontSize) : 12.0);
    m_bold->setChecked(t.TxtFontBold);
    m_italic->setChecked(t.TxtFontItalic);
    m_underline->setChecked(t.TxtFontUnderline);
    m_foreColour->setStored(t.TxtForeColor);
    m_shadow->setChecked(t.TxtShowShadow);
    m_shadowColour->setStored(t.TxtShadowColor);
    m_shadowOffset->setValue(t.TxtShadowOffset);
    m_align->setCurrentIndex(t.TxtAlign >= 1 && t.TxtAlign <= 9 ? t.TxtAlign - 1 : 0);
    m_border->setCurrentIndex(qBound(0, int(t.TxtBorder), 2));
    m_wrap->setChecked(t.TxtWordWrap);
    const auto moving = std::find(std::begin(MovingCodes), std::end(MovingCodes), int(t.TxtMoving));
    m_moving->setCurrentIndex(moving == std::end(MovingCodes) ? 0 : int(moving - std::begin(MovingCodes)));
    m_direction->setCurrentIndex(qBound(0, int(t.TxtDirection), 3));
    m_step->setValue(qMax(1, int(t.TxtSclAmount)));
    m_interval->setValue(qMax(1, int(t.TxtInterval)) * 10);
    m_backApply->setChecked(w.WinBackColorApply);
    m_backColour->setStored(w.WinBackColor);
    m_opacityApply->setChecked(w.TransparenceApply);
    m_opacity->setValue(w.Transparence);
    m_opacityValue->setText(QStringLiteral("%1 %").arg(qRound(w.Transparence * 100.0 / 255)));
    m_cutOut->setChecked(w.Decoupage);
    m_cutColour->setStored(w.DecoupBkColor);
    m_image->setText(note.objects.image() ? note.objects.image()->Texte : QString());
    m_sound->setText(note.objects.sound() ? note.objects.sound()->Texte : QString());
    m_soundRepeat->setChecked(note.objects.sound() && note.objects.sound()->SonRepet);
    m_soundWhy->hide();

    const AlarmEdit::Choice choice = AlarmEdit::choiceOf(note.Alarme, note.fields, offeredAlarm(note.fields.date));
    m_alarm->setChecked(note.Alarme);
    m_alarmDate->setDate(choice.date);
    m_alarmTime->setTime(QTime(choice.hour, choice.minute));
    m_alarmWhy->hide();
    m_repeat->load(choice);
    m_recurrence->load(choice);
    m_birthday->setChecked(note.BirthDay.isValid());
    m_birthDate->setDate(note.BirthDay.isValid() ? note.BirthDay : note.fields.date);
    m_loading = false;

    m_modified = false;
    setWindowModified(false);
    loadPicture();
    updateCount();
    updateEnabled();
    updateStatus();
    updatePreview();
}

// The display objects and the birthday as the controls hold them; the alarm fields as loaded.
Note FrmNotes::displayedNote() const
{
    Note n = m_note;
    if (!n.objects.window())
        n.objects.Add(std::make_unique<ClsWinData>());
    if (!n.objects.text())
        n.objects.Add(std::make_unique<ClsTxtData>());
    ClsTxtData& t = *n.objects.text();
    t.Texte = m_text->toPlainText();
    t.TxtFontName = m_font->currentFont().family();
    t.TxtFontSize = float(m_fontSize->value());
    t.TxtFontBold = m_bold->isChecked();
    t.TxtFontItalic = m_italic->isChecked();
    t.TxtFontUnderline = m_underline->isChecked();
    t.TxtForeColor = m_foreColour->stored();
    t.TxtShowShadow = m_shadow->isChecked();
    t.TxtShadowColor = m_shadowColour->stored();
    t.TxtShadowOffset = quint8(m_shadowOffset->value());
    t.TxtAlign = quint8(m_align->currentIndex() + 1);
    t.TxtBorder = quint8(m_border->currentIndex());
    t.TxtWordWrap = m_wrap->isChecked();
    t.TxtMoving = quint8(MovingCodes[qBound(0, m_moving->currentIndex(), 2)]);
    t.TxtDirection = quint8(m_direction->currentIndex());
    t.TxtSclAmount = quint8(m_step->value());
    t.TxtInterval = qint16(m_interval->value() / 10);

    ClsWinData& w = *n.objects.window();
    w.WinBackColorApply = m_backApply->isChecked();
    w.WinBackColor = m_backColour->stored();
    w.TransparenceApply = m_opacityApply->isChecked();
    w.Transparence = quint8(m_opacity->value());
    w.Decoupage = m_cutOut->isChecked();
    w.DecoupBkColor = m_cutColour->stored();

    const QString image = m_image->text().trimmed();
    if (!n.objects.image() && !image.isEmpty())
        n.objects.Add(std::make_unique<ClsImgData>());
    if (ClsImgData* object = n.objects.image())
        object->Texte = image;
    const QString sound = m_sound->text().trimmed();
    if (!n.objects.sound() && (!sound.isEmpty() || m_soundRepeat->isChecked()))
        n.objects.Add(std::make_unique<ClsSonData>());
    if (ClsSonData* object = n.objects.sound()) {
        object->Texte = sound;
        object->SonRepet = m_soundRepeat->isChecked();
    }
    n.BirthDay = m_birthday->isChecked() ? m_birthDate->date() : QDate();
    return n;
}

AlarmEdit::Choice FrmNotes::alarmChoice() const
{
    AlarmEdit::Choice c;
    c.alarme = m_alarm->isChecked();
    c.date = m_alarmDate->date();
    c.hour = m_alarmTime->time().hour();
    c.minute = m_alarmTime->time().minute();
    m_repeat->store(c);
    m_recurrence->store(c);
    return c;
}

Note FrmNotes::editedNote() const
{
    Note n = displayedNote();
    const AlarmEdit::Choice c = alarmChoice();
    if (!AlarmEdit::check(c))
        AlarmEdit::apply(c, n.fields, n.Alarme, wallNow());
    return n;
}

void FrmNotes::edited()
{
    if (m_loading)
        return;
    m_modified = true;
    setWindowModified(true);
    updateStatus();
    updatePreview();
}

void FrmNotes::updateCount()
{
    const int length = int(m_text->toPlainText().size());
    m_count->setText(langText(length >= MaxText ? 2844 : 2843).arg(length).arg(MaxText));
    m_count->setStyleSheet(length >= MaxText ? QStringLiteral("color: #c04000;") : QString());
}

void FrmNotes::updateEnabled()
{
    m_shadowColour->setEnabled(m_shadow->isChecked());
    m_shadowOffset->setEnabled(m_shadow->isChecked());
    const bool moves = MovingCodes[qBound(0, m_moving->currentIndex(), 2)] != 1;
    m_direction->setEnabled(moves);
    m_step->setEnabled(moves);
    m_interval->setEnabled(moves);
    m_backColour->setEnabled(m_backApply->isChecked());
    m_opacity->setEnabled(m_opacityApply->isChecked());
    m_cutColour->setEnabled(m_cutOut->isChecked());
    const bool alarm = m_alarm->isChecked();
    m_alarmDate->setEnabled(alarm);
    m_alarmTime->setEnabled(alarm);
    m_repeat->setEnabled(alarm);
    m_recurrence->setEnabled(alarm);
    m_birthDate->setEnabled(m_birthday->isChecked());
}

// The line under the alarm says what saving will lead to, or why it would be refused.
void FrmNotes::updateStatus()
{
    const AlarmEdit::Choice c = alarmChoice();
    const AlarmEdit::Refusal refusal = AlarmEdit::check(c);
    if (refusal) {
        m_status->setText(AlarmEdit::reason(refusal));
    } else {
        Note trial = m_note;
        const AlarmEdit::Timing timing = AlarmEdit::apply(c, trial.fields, trial.Alarme, wallNow());
        m_status->setText(AlarmWidgets::timingText(timing, trial.fields, m_day));
    }
    const Note shown = displayedNote();
    const int age = shown.ageOn(shown.fields.date);
    m_age->setText(age >= 0 ? langText(TextAge).arg(age) : QString());
}

void FrmNotes::updatePreview()
{
    m_preview->setNote(displayedNote(), m_picture);
}

void FrmNotes::loadPicture()
{
    m_picture = {};
    m_thumbnail->clear();
    m_imageWhy->hide();
    const QString path = m_image->text().trimmed();
    if (path.isEmpty())
        return;
    QString problem;
    if (!QFileInfo(path).isFile()) {
        problem = langText(TextPicture).arg(QDir::toNativeSeparators(path));
    } else {
        // A preview needs no more than a screenful; a huge photo is decoded small.
        QString why;
        m_picture = NotePicture::load(path, QSize(1600, 1600), &why);
        if (m_picture.isNull())
            problem = langText(TextPicture).arg(QDir::toNativeSeparators(path)) + QLatin1String(" (") + why
                + QLatin1Char(')');
    }
    if (!problem.isEmpty()) {
        m_imageWhy->setText(problem);
        m_imageWhy->show();
        TAPISOL_TRACE(QStringLiteral("NT Editor picture: ") + problem);
        return;
    }
    m_thumbnail->setPixmap(QPixmap::fromImage(
        m_picture.scaled(m_thumbnail->size() - QSize(4, 4), Qt::KeepAspectRatio, Qt::SmoothTransformation)));
}

// --- user actions -----------------------------------------------------------------------------

void FrmNotes::chooseImage()
{
    QString folder = registry().get(SettingNo::LastRepImg).toString();
    if (folder.isEmpty() || !QFileInfo(folder).isDir())
        folder = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
    const QString chosen = QFileDialog::getOpenFileName(this, langText(2885), folder, langText(2788));
    if (chosen.isEmpty())
        return;
    registry().set(SettingNo::LastRepImg, QFileInfo(chosen).absolutePath());
    m_image->setText(chosen);
    emit m_image->editingFinished();
}

void FrmNotes::chooseSound()
{
    QString folder = registry().get(SettingNo::LastRepSon).toString();
    if (folder.isEmpty() || !QFileInfo(folder).isDir())
        folder = MediaFolders::path(MediaFolders::Folder::Sounds);
    const QString chosen = QFileDialog::getOpenFileName(this, langText(2890), folder, langText(2789));
    if (chosen.isEmpty())
        return;
    registry().set(SettingNo::LastRepSon, QFileInfo(chosen).absolutePath());
    m_sound->setText(chosen);
}

void FrmNotes::playSound()
{
    QString file = m_sound->text().trimmed();
    if (file.isEmpty())
        file = MediaFolders::findFile(MediaFolders::Folder::Sounds, registry().get(SettingNo::LastSound).toString());
    const QString problem = file.isEmpty()
        ? langText(TextSoundMissing).arg(registry().get(SettingNo::LastSound).toString())
        : SoundService::unplayable(file);
    if (!problem.isEmpty()) {
        m_soundWhy->setText(problem);
        m_soundWhy->show();
        return;
    }
    m_soundWhy->hide();
    SoundService::instance().play({file});
}

void FrmNotes::changeAlarm()
{
    Note current = displayedNote();
    const AlarmEdit::Choice c = alarmChoice();
    if (!AlarmEdit::check(c))
        AlarmEdit::apply(c, current.fields, current.Alarme, wallNow());
    FrmChangeAlarme dialog(current, this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    const Note changed = dialog.result();
    const AlarmEdit::Choice chosen = AlarmEdit::choiceOf(true, changed.fields, offeredAlarm(m_day));
    m_alarm->setChecked(true);
    m_alarmDate->setDate(chosen.date);
    m_alarmTime->setTime(QTime(chosen.hour, chosen.minute));
    m_repeat->load(chosen);
    m_recurrence->load(chosen);
    edited();
}

void FrmNotes::showRefusal(const AlarmEdit::Refusal& refusal)
{
    const bool time = refusal.field == AlarmEdit::Field::Date || refusal.field == AlarmEdit::Field::Hour
        || refusal.field == AlarmEdit::Field::Minute;
    m_alarmWhy->setText(time ? AlarmEdit::reason(refusal) : QString());
    m_alarmWhy->setVisible(time);
    if (time || m_repeat->showRefusal(refusal))
        m_tabs->setCurrentIndex(3);
    else if (m_recurrence->showRefusal(refusal))
        m_tabs->setCurrentIndex(4);
}

bool FrmNotes::save()
{
    const AlarmEdit::Refusal refusal = AlarmEdit::check(alarmChoice());
    showRefusal(refusal);
    if (refusal)
        return false;
    Note note = editedNote();
    QString error;
    m_writing = true;
    const bool written = NoteStore::write(mdb(), note, &error);
    m_writing = false;
    if (!written) {
        messageBox(this, QMessageBox::Warning, error.isEmpty() ? langText(2702).arg(QString()) : error, QMessageBox::Ok,
            QMessageBox::Ok);
        return false;
    }
    // The note may have moved to its alarm's day: the list follows it.
    if (note.fields.date != m_day) {
        m_day = note.fields.date;
        const QSignalBlocker blocker(m_dayEdit);
        m_dayEdit->setDate(m_day);
    }
    loadNote(note);
    reloadList();
    return true;
}

bool FrmNotes::newNote()
{
    if (!settleEdits())
        return false;
    loadNote(Note::blank(m_day));
    reloadList();
    m_tabs->setCurrentIndex(0);
    m_text->setFocus();
    return true;
}

bool FrmNotes::deleteNote()
{
    const QString text = m_text->toPlainText().simplified();
    const QString name = text.isEmpty() ? langText(TextNoText) : text;
    if (messageBox(this, QMessageBox::Question, langText(TextDeleteQuestion).arg(name),
            QMessageBox::Yes | QMessageBox::Cancel, QMessageBox::Cancel)
        != QMessageBox::Yes)
        return false;
    if (m_note.Numero > 0) {
        QString error;
        m_writing = true;
        const bool removed = NoteStore::remove(mdb(), m_note.Numero, &error);
        m_writing = false;
        if (!removed) {
            messageBox(this, QMessageBox::Warning, error, QMessageBox::Ok, QMessageBox::Ok);
            return false;
        }
    }
    const int row = m_list->currentRow();
    m_note = Note::blank(m_day);
    m_modified = false;
    reloadList();
    showRow(qMin(row, m_list->count() - 1));
    return true;
}

bool FrmNotes::openDay(const QDate& day)
{
    if (day == m_day) {
        reloadList();
        return true;
    }
    if (!day.isValid() || !settleEdits())
        return false;
    m_dayTimer->stop();
    m_day = day;
    {
        const QSignalBlocker blocker(m_dayEdit);
        m_dayEdit->setDate(day);
    }
    m_note = Note::blank(day);
    m_modified = false;
    reloadList();
    showRow(0);
    return true;
}

// Asks what to do with unsaved changes; true when the caller may go on.
void FrmNotes::showNote(qint64 numero)
{
    for (int i = 0; i < m_list->count(); ++i) {
        if (m_list->item(i)->data(Qt::UserRole).toLongLong() == numero) {
            m_list->setCurrentRow(i);
            return;
        }
    }
}

void FrmNotes::closeForExit()
{
    if (m_modified) {
        const bool saved = save();
        TAPISOL_TRACE(
            QStringLiteral("NT Exit: the note being written %1").arg(saved ? "is saved" : "could not be saved"));
        m_modified = false;
    }
    close();
}

bool FrmNotes::settleEdits()
{
    if (!m_modified)
        return true;
    switch (messageBox(this, QMessageBox::Question, langText(TextUnsaved),
        QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, QMessageBox::Save)) {
    case QMessageBox::Save:
        return save();
    case QMessageBox::Discard:
        m_modified = false;
        setWindowModified(false);
        return true;
    default:
        return false;
    }
}

void FrmNotes::switchToRow()
{
    const QList<QListWidgetItem*> selected = m_list->selectedItems();
    const qint64 numero = selected.isEmpty() ? 0 : selected.first()->data(Qt::UserRole).toLongLong();
    if (numero == 0 || numero == m_note.Numero)
        return;
    if (!settleEdits()) {
        selectNumero(m_note.Numero);
        return;
    }
    QString error;
    const auto note = NoteStore::read(mdb(), numero, &error);
    if (!note) {
        messageBox(this, QMessageBox::Warning, error, QMessageBox::Ok, QMessageBox::Ok);
        reloadList();
        return;
    }
    loadNote(*note);
    selectNumero(note->Numero);
}

// The note of list row `row`, or a new note when there is none (or it cannot be read).
void FrmNotes::showRow(int row)
{
    QListWidgetItem* item = row >= 0 ? m_list->item(row) : nullptr;
    const auto note = item ? NoteStore::read(mdb(), item->data(Qt::UserRole).toLongLong()) : std::nullopt;
    loadNote(note ? *note : Note::blank(m_day));
    selectNumero(m_note.Numero);
}

void FrmNotes::reloadList()
{
    setWindowTitle(langText(TextTitle) + QStringLiteral(" — ")
        + AlarmWidgets::interfaceLocale().toString(m_day, QLocale::LongFormat) + QStringLiteral("[*]"));
    const QSignalBlocker blocker(m_list);
    m_list->clear();
    const QLocale shown = locale();
    for (const NoteSummary& summary : NoteStore::notesOfDay(mdb(), m_day)) {
        auto* item = new QListWidgetItem(rowText(summary, m_day, shown), m_list);
        item->setData(Qt::UserRole, summary.Numero);
        item->setToolTip(summary.text);
        if (summary.alarm && !summary.active)
            item->setForeground(palette().color(QPalette::Disabled, QPalette::Text));
    }
    selectNumero(m_note.Numero);
}

void FrmNotes::selectNumero(qint64 numero)
{
    const QSignalBlocker blocker(m_list);
    m_list->clearSelection();
    m_list->setCurrentRow(-1);
    for (int i = 0; numero > 0 && i < m_list->count(); ++i) {
        if (m_list->item(i)->data(Qt::UserRole).toLongLong() == numero) {
            m_list->setCurrentRow(i);
            return;
        }
    }
}

void FrmNotes::closeEvent(QCloseEvent* event)
{
    if (!settleEdits()) {
        event->ignore();
        return;
    }
    WindowPositions::save(registry(), objectName(), geometry());
    QWidget::closeEvent(event);
}

// --- changes made elsewhere -------------------------------------------------------------------

void FrmNotes::noteSaved(qint64 oldNumero, qint64 newNumero)
{
    if (m_writing)
        return;
    if (oldNumero > 0 && oldNumero == m_note.Numero) {
        const auto saved = NoteStore::read(mdb(), newNumero);
        if (!m_modified && saved) {
            loadNote(*saved);
        } else {
            m_note.Numero = newNumero;
            // The place and size the alarm window was given are not the editor's to undo.
            if (saved && saved->objects.window() && m_note.objects.window()) {
                ClsWinData* mine = m_note.objects.window();
                const ClsWinData* theirs = saved->objects.window();
                mine->WinPosX = theirs->WinPosX;
                mine->WinPosY = theirs->WinPosY;
                mine->WinLargeur = theirs->WinLargeur;
                mine->WinHauteur = theirs->WinHauteur;
            }
        }
    }
    reloadList();
}

void FrmNotes::noteRemoved(qint64 numero)
{
    if (m_writing)
        return;
    if (numero > 0 && numero == m_note.Numero) {
        // Unsaved edits stay; saving them makes a new note.
        m_note.Numero = 0;
        if (!m_modified)
            loadNote(Note::blank(m_day));
    }
    reloadList();
}

void FrmNotes::alarmChanged(qint64 numero)
{
    if (m_writing)
        return;
    if (numero == m_note.Numero && !m_modified) {
        if (const auto changed = NoteStore::read(mdb(), numero))
            loadNote(*changed);
    } else if (numero == m_note.Numero) {
        // The user's alarm choice wins on save, but not the stale Active flag underneath it.
        if (const auto changed = NoteStore::read(mdb(), numero)) {
            m_note.fields = changed->fields;
            m_note.Alarme = changed->Alarme;
            updateStatus();
        }
    }
    reloadList();
}
