#include "FrmAgenda.h"

#include "AlarmWidgets.h"
#include "AppState.h"
#include "Clock.h"
#include "ClsMdb.h"
#include "ClsRegistry.h"
#include "InterfaceTexts.h"
#include "MediaFolders.h"
#include "MonthGrid.h"
#include "MonthOccurrences.h"
#include "NotePicture.h"
#include "NoteRenderer.h"
#include "NoteStore.h"
#include "Trace.h"
#include "WallClock.h"

#include <QCloseEvent>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QScreen>
#include <QShortcut>
#include <QToolButton>
#include <QUrl>
#include <QVBoxLayout>

using AlarmWidgets::withTip;

namespace {

constexpr int TextTitle = 2900;
constexpr int TextToday = 2901;
constexpr int TextDayNotes = 2907;
constexpr int TextNoNotes = 2908;
constexpr int TextGridTip = 2911;
constexpr int TextNoHolidays = 2912;
constexpr int TextOpenDay = 2913;
constexpr int TextClose = 2914;
constexpr int TextAge = 2915;
constexpr int TextHelp = 2916;

double pixelsPerTwip()
{
    const QScreen* screen = QGuiApplication::primaryScreen();
    return (screen ? screen->logicalDotsPerInch() : 96.0) / 1440.0;
}

QToolButton* navigationButton(const QString& text, int tip, QWidget* parent)
{
    auto* button = withTip(new QToolButton(parent), tip);
    button->setText(text);
    button->setAutoRaise(true);
    return button;
}

} // namespace

FrmAgenda::FrmAgenda(QWidget* parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("FrmAgenda"));
    setWindowTitle(langText(TextTitle));
    build();
    applyLook();
    placeWindow();
    const QDate today = WallClock::of(appClock().now()).date();
    m_grid->setToday(today);
    monthShown(today.year(), today.month());
    listDay(today);
    refreshClock();
    connect(&NoteEvents::instance(), &NoteEvents::noteSaved, this, &FrmAgenda::reload);
    connect(&NoteEvents::instance(), &NoteEvents::noteRemoved, this, &FrmAgenda::reload);
    connect(&NoteEvents::instance(), &NoteEvents::alarmChanged, this, &FrmAgenda::reload);
}

void FrmAgenda::build()
{
    m_title = new QLabel;
    m_title->setObjectName(QStringLiteral("month"));
    m_title->setAlignment(Qt::AlignCenter);
    QFont big = m_title->font();
    big.setPointSizeF(big.pointSizeF() * 1.3);
    big.setBold(true);
    m_title->setFont(big);
    auto* previousYear = navigationButton(QStringLiteral("«"), 2904, this);
    auto* previousMonth = navigationButton(QStringLiteral("‹"), 2902, this);
    auto* nextMonth = navigationButton(QStringLiteral("›"), 2903, this);
    auto* nextYear = navigationButton(QStringLiteral("»"), 2905, this);
    previousMonth->setObjectName(QStringLiteral("previousMonth"));
    nextMonth->setObjectName(QStringLiteral("nextMonth"));
    previousYear->setObjectName(QStringLiteral("previousYear"));
    nextYear->setObjectName(QStringLiteral("nextYear"));
    auto* today = new QPushButton(langText(TextToday));
    today->setObjectName(QStringLiteral("today"));
    auto* top = new QHBoxLayout;
    top->addWidget(previousYear);
    top->addWidget(previousMonth);
    top->addWidget(m_title, 1);
    top->addWidget(nextMonth);
    top->addWidget(nextYear);
    top->addWidget(today);

    m_grid = withTip(new MonthGrid, TextGridTip);
    m_clock = new QLabel;
    m_clock->setObjectName(QStringLiteral("clock"));
    m_clock->setAlignment(Qt::AlignCenter);
    m_dayTitle = new QLabel;
    m_dayTitle->setObjectName(QStringLiteral("dayTitle"));
    m_dayNotes = new QListWidget;
    m_dayNotes->setObjectName(QStringLiteral("dayNotes"));
    m_dayNotes->setMaximumHeight(110);
    auto* open = new QPushButton(langText(TextOpenDay));
    open->setObjectName(QStringLiteral("openDay"));
    auto* help = new QPushButton(langText(TextHelp));
    auto* closeButton = new QPushButton(langText(TextClose));
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(help);
    buttons->addStretch();
    buttons->addWidget(open);
    buttons->addWidget(closeButton);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(m_grid, 1);
    layout->addWidget(m_clock);
    layout->addWidget(m_dayTitle);
    layout->addWidget(m_dayNotes);
    layout->addLayout(buttons);

    const auto step = [this](int months) { m_grid->setSelectedDate(m_grid->selectedDate().addMonths(months)); };
    connect(previousMonth, &QToolButton::clicked, this, [step] { step(-1); });
    connect(nextMonth, &QToolButton::clicked, this, [step] { step(1); });
    connect(previousYear, &QToolButton::clicked, this, [step] { step(-12); });
    connect(nextYear, &QToolButton::clicked, this, [step] { step(12); });
    connect(today, &QPushButton::clicked, this,
        [this] { m_grid->setSelectedDate(WallClock::of(appClock().now()).date()); });
    connect(m_grid, &MonthGrid::monthChanged, this, &FrmAgenda::monthShown);
    connect(m_grid, &MonthGrid::selectionChanged, this, &FrmAgenda::listDay);
    connect(m_grid, &MonthGrid::dayActivated, this, &FrmAgenda::openDay);
    connect(m_dayNotes, &QListWidget::itemActivated, this, [this] { emit openDay(m_grid->selectedDate()); });
    connect(open, &QPushButton::clicked, this, [this] { emit openDay(m_grid->selectedDate()); });
    connect(closeButton, &QPushButton::clicked, this, &QWidget::close);
    connect(
        help, &QPushButton::clicked, this, [] { QDesktopServices::openUrl(QUrl::fromLocalFile(appState().helpFile)); });
    new QShortcut(
        QKeySequence(Qt::Key_F1), this, [] { QDesktopServices::openUrl(QUrl::fromLocalFile(appState().helpFile)); });
    new QShortcut(QKeySequence(Qt::Key_Escape), this, [this] { close(); });
    m_grid->setFocus();
}

void FrmAgenda::followSettings()
{
    applyLook();
    reload(); // the holidays of another country
}

void FrmAgenda::applyLook()
{
    const ClsRegistry& settings = registry();
    MonthGrid::Look look = MonthGrid::lookFromSettings();
    const QString name = settings.get(SettingNo::AgdWallPaper).toString();
    const QString picture = MediaFolders::findFile(MediaFolders::Folder::BackGround, name);
    if (!name.isEmpty()) {
        QString error;
        look.picture = picture.isEmpty() ? QImage() : NotePicture::load(picture, QSize(1920, 1200), &error);
        if (look.picture.isNull())
            TAPISOL_TRACE(QStringLiteral("AG Background %1 not shown %2").arg(name, error));
    }
    m_grid->setFont(MonthGrid::fontFromSettings());
    m_grid->setLook(look);
    QPalette titles = m_title->palette();
    titles.setColor(QPalette::WindowText, look.title);
    m_title->setPalette(titles);
    setWindowOpacity(settings.get(SettingNo::AgdTransparence).toInt() / 255.0);

    const QString country = settings.get(SettingNo::AgdPays).toString();
    QString error;
    m_holidayProblem.clear();
    if (!m_holidays.load(HolidayTable::installedFile(), country, &error) || !m_holidays.covers())
        m_holidayProblem = langText(TextNoHolidays).arg(country);
    m_grid->setToolTip(m_holidayProblem.isEmpty() ? langText(TextGridTip)
                                                  : langText(TextGridTip) + QLatin1Char('\n') + m_holidayProblem);
}

void FrmAgenda::placeWindow()
{
    const ClsRegistry& settings = registry();
    const double scale = pixelsPerTwip();
    resize(int(settings.get(SettingNo::AgdLargeur).toInt() * scale),
        int(settings.get(SettingNo::AgdHauteur).toInt() * scale));
    move(int(settings.get(SettingNo::AgdPosX).toInt() * scale), int(settings.get(SettingNo::AgdPosY).toInt() * scale));
    // The state starts from WindowState; what is written at the end goes to AgdWindowState.
    switch (settings.get(SettingNo::AgdWindowState).toInt()) {
    case 1:
        setWindowState(Qt::WindowMinimized);
        break;
    case 2:
        setWindowState(Qt::WindowMaximized);
        break;
    default:
        break;
    }
}

void FrmAgenda::showDay(const QDate& day)
{
    m_grid->setSelectedDate(day);
}

QDate FrmAgenda::selectedDate() const
{
    return m_grid->selectedDate();
}

void FrmAgenda::monthShown(int year, int month)
{
    retitle();
    // The days of the neighbouring months shown in the grid keep their holidays too.
    QMap<QDate, QString> holidays = m_holidays.inMonth(year, month);
    const QDate first(year, month, 1);
    for (const QDate& other : {first.addMonths(-1), first.addMonths(1)}) {
        const auto more = m_holidays.inMonth(other.year(), other.month());
        for (auto it = more.begin(); it != more.end(); ++it)
            holidays.insert(it.key(), it.value());
    }
    m_grid->setContent(MonthOccurrences::inMonth(mdb(), year, month), holidays);
}

void FrmAgenda::retitle()
{
    const QDate shown(m_grid->layoutOfMonth().year(), m_grid->layoutOfMonth().month(), 1);
    QString title = AlarmWidgets::interfaceLocale().toString(shown, QStringLiteral("MMMM yyyy"));
    if (!title.isEmpty())
        title[0] = title[0].toUpper();
    m_title->setText(title);
}

void FrmAgenda::listDay(const QDate& day)
{
    const QLocale locale = AlarmWidgets::interfaceLocale();
    m_dayTitle->setText(langText(TextDayNotes).arg(locale.toString(day, QLocale::LongFormat)));
    m_dayNotes->clear();
    for (const auto& note : m_grid->notesOn(day)) {
        QString line = note.alarm.isValid() ? locale.toString(note.alarm.time(), QStringLiteral("HH:mm  ")) : QString();
        line += note.text.section(QLatin1Char('\n'), 0, 0);
        if (note.age >= 0)
            line += QStringLiteral("  — ") + langText(TextAge).arg(note.age);
        auto* item = new QListWidgetItem(line, m_dayNotes);
        item->setData(Qt::UserRole, note.Numero);
    }
    if (m_dayNotes->count() == 0) {
        auto* none = new QListWidgetItem(langText(TextNoNotes), m_dayNotes);
        none->setFlags(Qt::NoItemFlags);
    }
}

void FrmAgenda::reload()
{
    monthShown(m_grid->layoutOfMonth().year(), m_grid->layoutOfMonth().month());
    listDay(m_grid->selectedDate());
}

void FrmAgenda::refreshClock()
{
    const QDateTime now = appClock().now();
    m_clock->setText(AlarmWidgets::interfaceLocale().toString(now, QStringLiteral("dddd d MMMM yyyy  HH:mm:ss")));
    const QDate today = WallClock::of(now).date();
    m_grid->setToday(today);
}

void FrmAgenda::closeEvent(QCloseEvent* event)
{
    ClsRegistry& settings = registry();
    const double scale = pixelsPerTwip();
    if (!isMinimized() && !isMaximized()) {
        settings.set(SettingNo::AgdPosX, int(std::lround(x() / scale)));
        settings.set(SettingNo::AgdPosY, int(std::lround(y() / scale)));
        settings.set(SettingNo::AgdLargeur, int(std::lround(width() / scale)));
        settings.set(SettingNo::AgdHauteur, int(std::lround(height() / scale)));
    }
    settings.set(SettingNo::AgdWindowState, isMinimized() ? 1 : isMaximized() ? 2 : 0);
    QWidget::closeEvent(event);
}
