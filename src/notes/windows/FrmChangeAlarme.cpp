#include "FrmChangeAlarme.h"

#include "AlarmWidgets.h"
#include "Clock.h"
#include "InterfaceTexts.h"
#include "WallClock.h"

#include <QDateEdit>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

using AlarmWidgets::withTip;

namespace {

constexpr int TextTitle = 2810;
constexpr int TextNoText = 2819;
constexpr int ListButtons = 2817;

QDateTime wallNow()
{
    return WallClock::of(appClock().now());
}

} // namespace

FrmChangeAlarme::FrmChangeAlarme(const Note& note, QWidget* parent)
    : QDialog(parent)
    , m_note(note)
    , m_result(note)
    , m_date(withTip(new QDateEdit, 2812))
    , m_hours(withTip(new QSpinBox, 2814))
    , m_minutes(withTip(new QSpinBox, 2816))
    , m_status(new QLabel)
    , m_why(AlarmWidgets::reasonLabel())
    , m_repeat(new RepeatBox)
    , m_recurrence(new RecurrenceBox)
    , m_buttons(new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel))
{
    setObjectName(QStringLiteral("FrmChangeAlarme"));
    setWindowTitle(langText(TextTitle));
    setLocale(AlarmWidgets::interfaceLocale());
    m_date->setObjectName(QStringLiteral("date"));
    m_hours->setObjectName(QStringLiteral("hours"));
    m_minutes->setObjectName(QStringLiteral("minutes"));
    m_status->setObjectName(QStringLiteral("status"));
    m_date->setCalendarPopup(true);
    m_date->setDisplayFormat(locale().dateFormat(QLocale::ShortFormat));
    m_hours->setRange(0, 23);
    m_minutes->setRange(0, 59);
    m_hours->setWrapping(true);
    m_minutes->setWrapping(true);
    m_status->setWordWrap(true);

    const QString text = note.text().simplified();
    auto* heading = new QLabel(langText(2818).arg(text.isEmpty() ? langText(TextNoText) : text));
    heading->setWordWrap(true);
    auto* form = new QFormLayout;
    form->addRow(heading);
    auto* dateLabel = new QLabel(langText(2811));
    dateLabel->setBuddy(m_date);
    form->addRow(dateLabel, m_date);
    auto* time = new QHBoxLayout;
    auto* hoursLabel = new QLabel(langText(2813));
    hoursLabel->setBuddy(m_hours);
    auto* minutesLabel = new QLabel(langText(2815));
    minutesLabel->setBuddy(m_minutes);
    time->addWidget(hoursLabel);
    time->addWidget(m_hours);
    time->addSpacing(12);
    time->addWidget(minutesLabel);
    time->addWidget(m_minutes);
    time->addStretch();
    form->addRow(time);
    form->addRow(m_why);
    form->addRow(m_status);

    const QStringList buttons = AlarmWidgets::langList(ListButtons);
    m_buttons->button(QDialogButtonBox::Ok)->setText(buttons.value(0));
    m_buttons->button(QDialogButtonBox::Cancel)->setText(buttons.value(1));
    connect(m_buttons, &QDialogButtonBox::accepted, this, &FrmChangeAlarme::accept);
    connect(m_buttons, &QDialogButtonBox::rejected, this, &FrmChangeAlarme::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(m_repeat);
    layout->addWidget(m_recurrence);
    layout->addStretch();
    layout->addWidget(m_buttons);

    // Moving an alarm that had none starts from the next round hour.
    const QDateTime now = wallNow();
    const QDateTime fallback = WallClock::make(now.date(), QTime(now.time().hour(), 0)).addSecs(3600);
    AlarmEdit::Choice c = AlarmEdit::choiceOf(true, note.fields, fallback);
    m_date->setDate(c.date);
    m_hours->setValue(c.hour);
    m_minutes->setValue(c.minute);
    m_repeat->load(c);
    m_recurrence->load(c);

    connect(m_date, &QDateEdit::dateChanged, this, &FrmChangeAlarme::updateStatus);
    connect(m_hours, &QSpinBox::valueChanged, this, &FrmChangeAlarme::updateStatus);
    connect(m_minutes, &QSpinBox::valueChanged, this, &FrmChangeAlarme::updateStatus);
    connect(m_repeat, &RepeatBox::changed, this, &FrmChangeAlarme::updateStatus);
    connect(m_recurrence, &RecurrenceBox::changed, this, &FrmChangeAlarme::updateStatus);
    updateStatus();
    m_hours->setFocus();
    m_hours->selectAll();
}

AlarmEdit::Choice FrmChangeAlarme::choice() const
{
    AlarmEdit::Choice c;
    c.alarme = true;
    c.date = m_date->date();
    c.hour = m_hours->value();
    c.minute = m_minutes->value();
    m_repeat->store(c);
    m_recurrence->store(c);
    return c;
}

// The line under the time says at once what OK would lead to.
void FrmChangeAlarme::updateStatus()
{
    const AlarmEdit::Choice c = choice();
    if (AlarmEdit::check(c)) {
        m_status->clear();
        return;
    }
    Note trial = m_note;
    const AlarmEdit::Timing timing = AlarmEdit::apply(c, trial.fields, trial.Alarme, wallNow(), true);
    m_status->setText(AlarmWidgets::timingText(timing, trial.fields, m_note.fields.date));
}

void FrmChangeAlarme::accept()
{
    const AlarmEdit::Choice c = choice();
    const AlarmEdit::Refusal refusal = AlarmEdit::check(c);
    const bool timeRefused = refusal.field == AlarmEdit::Field::Date || refusal.field == AlarmEdit::Field::Hour
        || refusal.field == AlarmEdit::Field::Minute;
    m_why->setText(timeRefused ? AlarmEdit::reason(refusal) : QString());
    m_why->setVisible(timeRefused);
    m_repeat->showRefusal(refusal);
    m_recurrence->showRefusal(refusal);
    if (refusal)
        return;
    m_result = m_note;
    AlarmEdit::apply(c, m_result.fields, m_result.Alarme, wallNow(), true);
    QDialog::accept();
}
