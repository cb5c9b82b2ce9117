#include "AlarmWidgets.h"

#include "InterfaceTexts.h"
#include "WallClock.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QRadioButton>
#include <QSpinBox>
#include <QTimeEdit>

#include <vector>

using AlarmEdit::Field;

using AlarmWidgets::withTip;

namespace {

constexpr int TextNoAlarm = 2770;
constexpr int TextFuture = 2771;
constexpr int TextAtOnce = 2772;
constexpr int TextMovedToNext = 2773;
constexpr int TextEnded = 2774;
constexpr int TextShown = 2775;
constexpr int TextNoteMoves = 2776;
constexpr int ListUnits = 2780;
constexpr int ListModes = 2781;
constexpr int ListWeekDays = 2782;
constexpr int ListMonths = 2783;

} // namespace

namespace AlarmWidgets {

QStringList langList(int number)
{
    return langText(number).split(QLatin1Char('|'));
}

QLocale interfaceLocale()
{
    const QString code = interfaceTexts().code();
    if (code == QLatin1String("FRA"))
        return QLocale(QLocale::French, QLocale::France);
    if (code == QLatin1String("ENG"))
        return QLocale(QLocale::English, QLocale::UnitedKingdom);
    return QLocale();
}

QString timingText(AlarmEdit::Timing timing, const Recurrence::AlarmFields& after, const QDate& shownDay)
{
    const QLocale locale = interfaceLocale();
    // Date and time apart: the whole value would end in "UTC", which is no time zone of the user's.
    const QString when = after.alarm ? locale.toString(after.alarm->date(), QLocale::LongFormat) + QLatin1Char(' ')
            + locale.toString(after.alarm->time(), QLocale::ShortFormat)
                                     : QString();
    QString text;
    switch (timing) {
    case AlarmEdit::Timing::Off:
        return langText(TextNoAlarm);
    case AlarmEdit::Timing::Future:
        text = langText(TextFuture).arg(when);
        break;
    case AlarmEdit::Timing::ShowsAtOnce:
        text = langText(TextAtOnce);
        break;
    case AlarmEdit::Timing::MovedToNext:
        text = langText(TextMovedToNext).arg(when);
        break;
    case AlarmEdit::Timing::Ended:
        text = langText(TextEnded);
        break;
    case AlarmEdit::Timing::Shown:
        text = langText(TextShown);
        break;
    }
    if (shownDay.isValid() && after.date.isValid() && after.date != shownDay)
        text += QLatin1Char(' ') + langText(TextNoteMoves).arg(locale.toString(after.date, QLocale::LongFormat));
    return text;
}

QLabel* reasonLabel()
{
    auto* label = new QLabel;
    label->setObjectName(QStringLiteral("reason"));
    label->setStyleSheet(QStringLiteral("color: #c04000;"));
    label->setWordWrap(true);
    label->hide();
    return label;
}

QComboBox* unitCombo()
{
    auto* combo = withTip(new QComboBox, 2807);
    combo->addItems(langList(ListUnits));
    return combo;
}

} // namespace AlarmWidgets

// --- RepeatBox --------------------------------------------------------------------------------

RepeatBox::RepeatBox(QWidget* parent)
    : QGroupBox(langText(2790), parent)
    , m_repeats(withTip(new QCheckBox(langText(2791)), 2792))
    , m_interval(withTip(new QSpinBox, 2792))
    , m_unit(AlarmWidgets::unitCombo())
    , m_hasEnd(withTip(new QCheckBox(langText(2793)), 2794))
    , m_endDate(withTip(new QDateEdit, 2794))
    , m_endTime(withTip(new QTimeEdit, 2794))
    , m_why(AlarmWidgets::reasonLabel())
{
    m_repeats->setObjectName(QStringLiteral("repeats"));
    m_interval->setObjectName(QStringLiteral("repeatInterval"));
    m_unit->setObjectName(QStringLiteral("repeatUnit"));
    m_hasEnd->setObjectName(QStringLiteral("hasEnd"));
    m_endDate->setObjectName(QStringLiteral("endDate"));
    m_endTime->setObjectName(QStringLiteral("endTime"));
    m_interval->setRange(1, 999);
    m_endDate->setCalendarPopup(true);
    m_endDate->setDisplayFormat(AlarmWidgets::interfaceLocale().dateFormat(QLocale::ShortFormat));
    m_endTime->setDisplayFormat(QStringLiteral("HH:mm"));

    auto* grid = new QGridLayout(this);
    grid->addWidget(m_repeats, 0, 0);
    grid->addWidget(m_interval, 0, 1);
    grid->addWidget(m_unit, 0, 2);
    grid->addWidget(m_hasEnd, 1, 0);
    grid->addWidget(m_endDate, 1, 1);
    grid->addWidget(m_endTime, 1, 2);
    grid->addWidget(m_why, 2, 0, 1, 4);
    grid->setColumnStretch(3, 1);

    for (QCheckBox* box : {m_repeats, m_hasEnd}) {
        connect(box, &QCheckBox::toggled, this, &RepeatBox::updateEnabled);
        connect(box, &QCheckBox::toggled, this, &RepeatBox::changed);
    }
    connect(m_interval, &QSpinBox::valueChanged, this, &RepeatBox::changed);
    connect(m_unit, &QComboBox::currentIndexChanged, this, &RepeatBox::changed);
    connect(m_endDate, &QDateEdit::dateChanged, this, &RepeatBox::changed);
    connect(m_endTime, &QTimeEdit::timeChanged, this, &RepeatBox::changed);
    updateEnabled();
}

void RepeatBox::load(const AlarmEdit::Choice& c)
{
    const QSignalBlocker blockers[] = {QSignalBlocker(m_repeats), QSignalBlocker(m_interval), QSignalBlocker(m_unit),
        QSignalBlocker(m_hasEnd), QSignalBlocker(m_endDate), QSignalBlocker(m_endTime)};
    m_repeats->setChecked(c.repeats);
    m_interval->setValue(c.repeatInterval);
    m_unit->setCurrentIndex(c.repeatUnit);
    m_hasEnd->setChecked(c.hasEnd);
    // Without an end yet, the fields offer the alarm's own day as a start.
    const QDateTime end = c.hasEnd ? c.end : c.alarmAt();
    m_endDate->setDate(end.isValid() ? end.date() : c.date);
    m_endTime->setTime(end.isValid() ? end.time() : QTime(23, 59));
    m_why->hide();
    updateEnabled();
}

void RepeatBox::store(AlarmEdit::Choice& c) const
{
    c.repeats = m_repeats->isChecked();
    c.repeatInterval = m_interval->value();
    c.repeatUnit = m_unit->currentIndex();
    c.hasEnd = m_hasEnd->isChecked();
    c.end = c.hasEnd ? WallClock::make(m_endDate->date(), m_endTime->time()) : QDateTime();
}

bool RepeatBox::showRefusal(const AlarmEdit::Refusal& refusal)
{
    const bool mine = refusal.field == Field::RepeatInterval || refusal.field == Field::End;
    m_why->setText(mine ? AlarmEdit::reason(refusal) : QString());
    m_why->setVisible(mine);
    if (mine)
        (refusal.field == Field::End ? static_cast<QWidget*>(m_endDate) : m_interval)->setFocus();
    return mine;
}

void RepeatBox::updateEnabled()
{
    m_interval->setEnabled(m_repeats->isChecked());
    m_unit->setEnabled(m_repeats->isChecked());
    m_endDate->setEnabled(m_hasEnd->isChecked());
    m_endTime->setEnabled(m_hasEnd->isChecked());
}

// --- RecurrenceBox ----------------------------------------------------------------------------

RecurrenceBox::RecurrenceBox(QWidget* parent)
    : QGroupBox(langText(2795), parent)
    , m_oneOff(withTip(new QRadioButton(langText(2796)), 2798))
    , m_recurring(withTip(new QRadioButton(langText(2797)), 2798))
    , m_mode(withTip(new QComboBox, 2800))
    , m_interval(withTip(new QSpinBox, 2806))
    , m_unit(AlarmWidgets::unitCombo())
    , m_why(AlarmWidgets::reasonLabel())
{
    m_oneOff->setObjectName(QStringLiteral("oneOff"));
    m_recurring->setObjectName(QStringLiteral("recurring"));
    m_mode->setObjectName(QStringLiteral("mode"));
    m_interval->setObjectName(QStringLiteral("noteInterval"));
    m_unit->setObjectName(QStringLiteral("noteUnit"));
    m_mode->addItems(AlarmWidgets::langList(ListModes));
    m_interval->setRange(1, 999);

    auto* grid = new QGridLayout(this);
    auto* behaviour = new QHBoxLayout;
    behaviour->addWidget(m_oneOff);
    behaviour->addWidget(m_recurring);
    behaviour->addStretch();
    grid->addLayout(behaviour, 0, 0, 1, 2);
    auto* modeLabel = new QLabel(langText(2799));
    modeLabel->setBuddy(m_mode);
    grid->addWidget(modeLabel, 1, 0);
    grid->addWidget(m_mode, 1, 1, Qt::AlignLeft);

    auto* days = new QHBoxLayout;
    const QStringList dayNames = AlarmWidgets::langList(ListWeekDays);
    for (int i = 0; i < 7; ++i) {
        auto* box = withTip(new QCheckBox(dayNames.value(i)), 2802);
        box->setObjectName(QStringLiteral("day%1").arg(i + 1));
        m_days << box;
        days->addWidget(box);
    }
    days->addStretch();
    grid->addWidget(new QLabel(langText(2801)), 2, 0);
    grid->addLayout(days, 2, 1);

    auto* months = new QGridLayout;
    const QStringList monthNames = AlarmWidgets::langList(ListMonths);
    for (int i = 0; i < 12; ++i) {
        auto* box = withTip(new QCheckBox(monthNames.value(i)), 2804);
        box->setObjectName(QStringLiteral("month%1").arg(i + 1));
        m_months << box;
        months->addWidget(box, i / 6, i % 6);
    }
    months->setColumnStretch(6, 1);
    grid->addWidget(new QLabel(langText(2803)), 3, 0, Qt::AlignTop);
    grid->addLayout(months, 3, 1);

    auto* every = new QHBoxLayout;
    auto* everyLabel = new QLabel(langText(2805));
    everyLabel->setBuddy(m_interval);
    every->addWidget(m_interval);
    every->addWidget(m_unit);
    every->addStretch();
    grid->addWidget(everyLabel, 4, 0);
    grid->addLayout(every, 4, 1);
    grid->addWidget(m_why, 5, 0, 1, 2);
    grid->setColumnStretch(1, 1);

    connect(m_recurring, &QRadioButton::toggled, this, &RecurrenceBox::updateEnabled);
    connect(m_recurring, &QRadioButton::toggled, this, &RecurrenceBox::changed);
    connect(m_mode, &QComboBox::currentIndexChanged, this, &RecurrenceBox::updateEnabled);
    connect(m_mode, &QComboBox::currentIndexChanged, this, &RecurrenceBox::changed);
    for (QCheckBox* box : m_days + m_months)
        connect(box, &QCheckBox::toggled, this, &RecurrenceBox::changed);
    connect(m_interval, &QSpinBox::valueChanged, this, &RecurrenceBox::changed);
    connect(m_unit, &QComboBox::currentIndexChanged, this, &RecurrenceBox::changed);
    m_oneOff->setChecked(true);
    updateEnabled();
}

void RecurrenceBox::load(const AlarmEdit::Choice& c)
{
    std::vector<QSignalBlocker> blockers;
    for (QWidget* w : QList<QWidget*> {m_oneOff, m_recurring, m_mode, m_interval, m_unit})
        blockers.emplace_back(w);
    for (QCheckBox* box : m_days + m_months)
        blockers.emplace_back(box);
    (c.behaviour == 1 ? m_recurring : m_oneOff)->setChecked(true);
    m_mode->setCurrentIndex(c.frequency);
    for (int i = 0; i < m_days.size(); ++i)
        m_days[i]->setChecked(c.weekDays.value(i));
    for (int i = 0; i < m_months.size(); ++i)
        m_months[i]->setChecked(c.months.value(i));
    m_interval->setValue(c.noteInterval);
    m_unit->setCurrentIndex(c.noteUnit);
    m_why->hide();
    updateEnabled();
}

void RecurrenceBox::store(AlarmEdit::Choice& c) const
{
    c.behaviour = m_recurring->isChecked() ? 1 : 0;
    c.frequency = m_mode->currentIndex();
    c.weekDays.clear();
    for (QCheckBox* box : m_days)
        c.weekDays << box->isChecked();
    c.months.clear();
    for (QCheckBox* box : m_months)
        c.months << box->isChecked();
    c.noteInterval = m_interval->value();
    c.noteUnit = m_unit->currentIndex();
}

bool RecurrenceBox::showRefusal(const AlarmEdit::Refusal& refusal)
{
    QWidget* target = nullptr;
    switch (refusal.field) {
    case Field::Frequency:
        target = m_mode;
        break;
    case Field::WeekDays:
        target = m_days.first();
        break;
    case Field::Months:
        target = m_months.first();
        break;
    case Field::NoteInterval:
        target = m_interval;
        break;
    default:
        break;
    }
    m_why->setText(target ? AlarmEdit::reason(refusal) : QString());
    m_why->setVisible(target);
    if (target)
        target->setFocus();
    return target;
}

void RecurrenceBox::updateEnabled()
{
    const bool recurring = m_recurring->isChecked();
    const int mode = m_mode->currentIndex();
    m_mode->setEnabled(recurring);
    for (QCheckBox* box : m_days)
        box->setEnabled(recurring && mode == Recurrence::WeekDays);
    for (QCheckBox* box : m_months)
        box->setEnabled(recurring && mode == Recurrence::Months);
    m_interval->setEnabled(recurring && mode == Recurrence::Every);
    m_unit->setEnabled(recurring && mode == Recurrence::Every);
}
