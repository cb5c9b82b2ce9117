#include "SettingBinder.h"

#include "SettingsSession.h"

#include <QAbstractButton>
#include <QCheckBox>
#include <QColorDialog>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QSpinBox>

#include <cmath>

unsigned colourToSetting(const QColor& colour)
{
    return unsigned(colour.red()) | unsigned(colour.green()) << 8 | unsigned(colour.blue()) << 16;
}

QColor colourFromSetting(unsigned value)
{
    return QColor(int(value & 0xff), int(value >> 8 & 0xff), int(value >> 16 & 0xff));
}

SettingBinder::SettingBinder(SettingsSession& session, QObject* parent)
    : QObject(parent)
    , m_session(session)
{ }

void SettingBinder::bind(std::function<void()> show)
{
    m_shows << show;
    m_showing = true;
    show();
    m_showing = false;
}

void SettingBinder::take(int number, const QVariant& value, QLabel* why)
{
    if (m_showing)
        return;
    const auto refusal = m_session.edit(number, value);
    if (!why)
        return;
    why->setText(refusal.value_or(QString()));
    why->setVisible(refusal.has_value());
}

void SettingBinder::reload()
{
    m_showing = true;
    for (const auto& show : std::as_const(m_shows))
        show();
    m_showing = false;
}

void SettingBinder::check(QCheckBox* box, int number)
{
    connect(box, &QCheckBox::toggled, this, [this, number](bool on) { take(number, on ? -1 : 0, nullptr); });
    bind([this, box, number] { box->setChecked(m_session.value(number).toInt() != 0); });
}

void SettingBinder::spin(QSpinBox* box, int number, QLabel* why)
{
    connect(box, &QSpinBox::valueChanged, this, [this, number, why](int value) { take(number, value, why); });
    bind([this, box, number] { box->setValue(m_session.value(number).toInt()); });
}

void SettingBinder::hundredths(QDoubleSpinBox* box, int number, QLabel* why)
{
    connect(box, &QDoubleSpinBox::valueChanged, this,
        [this, number, why](double value) { take(number, qRound(value * 100.0), why); });
    // The getter returns the factor already divided.
    bind([this, box, number] { box->setValue(m_session.value(number).toDouble()); });
}

void SettingBinder::choice(QComboBox* combo, int number, const QList<QVariant>& values)
{
    connect(combo, &QComboBox::currentIndexChanged, this, [this, number, values](int index) {
        if (index >= 0 && index < values.size())
            take(number, values[index], nullptr);
    });
    bind([this, combo, number, values] {
        const QVariant current = m_session.value(number);
        for (qsizetype i = 0; i < values.size(); ++i) {
            if (values[i].toString() == current.toString())
                combo->setCurrentIndex(int(i));
        }
    });
}

void SettingBinder::text(QLineEdit* edit, int number, QLabel* why)
{
    connect(edit, &QLineEdit::editingFinished, this,
        [this, edit, number, why] { take(number, edit->text().trimmed(), why); });
    bind([this, edit, number] { edit->setText(m_session.value(number).toString()); });
}

void SettingBinder::colour(QAbstractButton* button, int number)
{
    const auto paint = [this, button, number] {
        const QColor shown = colourFromSetting(m_session.value(number).toUInt());
        button->setStyleSheet(QStringLiteral("QAbstractButton { background-color: %1; color: %2; }")
                                  .arg(shown.name(), shown.lightness() > 128 ? "black" : "white"));
    };
    connect(button, &QAbstractButton::clicked, this, [this, button, number, paint] {
        const QColor chosen = QColorDialog::getColor(
            colourFromSetting(m_session.value(number).toUInt()), button->window(), button->text());
        if (!chosen.isValid())
            return;
        take(number, colourToSetting(chosen), nullptr);
        paint();
    });
    bind(paint);
}

void SettingBinder::custom(std::function<void()> show)
{
    bind(std::move(show));
}
