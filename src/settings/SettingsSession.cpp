#include "SettingsSession.h"

#include "Autostart.h"
#include "ClsRegistry.h"
#include "InterfaceTexts.h"
#include "SettingsTable.h"

#include <QDir>
#include <QFileInfo>

#include <cmath>

namespace {

// Interface texts of the refusals.
constexpr int TextOutOfRange = 2500; // "between %1 and %2"
constexpr int TextNotNumber = 2501;  // "a whole number is expected"
constexpr int TextNoFolder = 2502;   // "this folder does not exist: %1"
constexpr int TextUnreadable = 2503; // "this folder cannot be read: %1"
constexpr int TextEmpty = 2504;      // "this cannot be left empty"

std::optional<qint64> wholeNumber(const QVariant& value)
{
    bool ok = false;
    const double number = value.toString().trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(number) || number != std::floor(number))
        return std::nullopt;
    return qint64(number);
}

} // namespace

SettingsSession::SettingsSession(ClsRegistry& registry, QObject* parent)
    : QObject(parent)
    , m_registry(registry)
{
    m_registry.beginPreview();
    m_knownFileTime = fileTime();
}

SettingsSession::~SettingsSession()
{
    m_registry.endPreview();
}

std::optional<QString> SettingsSession::refusal(int number, const QVariant& value)
{
    const SettingRow* row = settingRow(number);
    if (!row || row->rule == SettingRule::Reserved)
        return langText(TextNotNumber);
    switch (row->rule) {
    case SettingRule::Range:
    case SettingRule::Hundredths: {
        const auto whole = wholeNumber(value);
        if (!whole)
            return langText(TextNotNumber);
        if (*whole < row->min || *whole > row->max)
            return langText(TextOutOfRange).arg(row->min).arg(row->max);
        return std::nullopt;
    }
    case SettingRule::Boolean: {
        const auto whole = wholeNumber(value);
        return whole && (*whole == -1 || *whole == 0) ? std::nullopt : std::optional(langText(TextNotNumber));
    }
    case SettingRule::SourceFolder: {
        const QString folder = value.toString().trimmed();
        if (folder.isEmpty() || folder == QLatin1String("0"))
            return std::nullopt; // no folder at all is a choice
        const QFileInfo info(folder);
        if (!info.isDir())
            return langText(TextNoFolder).arg(QDir::toNativeSeparators(folder));
        if (!info.isReadable() || !info.isExecutable())
            return langText(TextUnreadable).arg(QDir::toNativeSeparators(folder));
        return std::nullopt;
    }
    case SettingRule::Text:
        // An empty text reads as its default, which is never what a user typing nothing means.
        return value.toString().trimmed().isEmpty() && !row->defaultText.empty() ? std::optional(langText(TextEmpty))
                                                                                 : std::nullopt;
    default:
        return std::nullopt;
    }
}

std::optional<QString> SettingsSession::edit(int number, const QVariant& value)
{
    if (auto why = refusal(number, value))
        return why;
    if (m_registry.get(number) == value && !m_edits.contains(number))
        return std::nullopt;
    m_edits.insert(number, value);
    m_registry.setPreviewValue(number, value);
    emit valuesChanged({number});
    return std::nullopt;
}

QVariant SettingsSession::value(int number) const
{
    return m_registry.get(number);
}

bool SettingsSession::apply()
{
    if (m_edits.isEmpty())
        return true;
    for (auto it = m_edits.cbegin(); it != m_edits.cend(); ++it) {
        if (it.key() == SettingNo::Demarrage) // the log-on entry is the setting itself
            it.value().toInt() != 0 ? Autostart::add() : Autostart::remove();
        m_registry.set(it.key(), it.value());
    }
    if (!m_registry.sync())
        return false;
    const QList<int> written = m_edits.keys();
    m_edits.clear();
    // The written values are the stored ones now; the preview starts again from them.
    m_registry.endPreview();
    m_registry.beginPreview();
    m_knownFileTime = fileTime();
    emit valuesChanged(written);
    emit applied(written);
    return true;
}

void SettingsSession::cancel()
{
    const QList<int> dropped = m_edits.keys();
    m_edits.clear();
    m_registry.endPreview();
    m_registry.beginPreview();
    if (!dropped.isEmpty())
        emit valuesChanged(dropped);
}

QDateTime SettingsSession::fileTime() const
{
    return QFileInfo(ClsRegistryBase::tapisolFilePath()).lastModified();
}

bool SettingsSession::changedOutside() const
{
    return fileTime() != m_knownFileTime;
}

void SettingsSession::takeOutsideChange()
{
    m_registry.sync(); // reads what the other program wrote; nothing of ours is pending
    cancel();
    m_knownFileTime = fileTime();
}
