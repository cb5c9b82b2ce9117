#include "ClsRegistryBase.h"

#include "Autostart.h"
#include "SettingsFileGuard.h"
#include "Trace.h"

#include <QDir>
#include <QLocale>
#include <QSettings>
#include <QStandardPaths>
#include <QStringList>
#include <cmath>
#include <optional>

namespace {

const QString kScreenSaverValue = QStringLiteral("SCRNSAVE.EXE");

QString configHome()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
}

QString fromView(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

std::unique_ptr<QSettings> openStore(const QString& path)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    const bool kept = SettingsFileGuard::repairEncoding(path);
    auto settings = std::make_unique<QSettings>(path, QSettings::IniFormat);
    // QSettings parses each section lazily; only reading every key reveals a damaged one before a write.
    Q_UNUSED(settings->allKeys());
    SettingsFileGuard::checkStatus(*settings, kept);
    return settings;
}

// A bool would land in the file as "true", which the boolean rule does not accept.
QVariant storable(const QVariant& value)
{
    if (value.typeId() == QMetaType::Bool)
        return value.toBool() ? -1 : 0;
    return value;
}

// A value written by hand without quotes and holding a comma comes back from Qt as a list.
QString textOf(const QVariant& value)
{
    if (value.typeId() == QMetaType::QStringList)
        return value.toStringList().join(QLatin1Char(','));
    return value.toString();
}

std::optional<double> numberOf(const QVariant& value)
{
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
        return value.toDouble();
    case QMetaType::Bool:
        return value.toBool() ? -1.0 : 0.0;
    case QMetaType::QString:
    case QMetaType::QByteArray: {
        bool ok = false;
        const double number = QLocale::c().toDouble(value.toString().trimmed(), &ok);
        if (ok && std::isfinite(number))
            return number;
        return std::nullopt;
    }
    default:
        return std::nullopt;
    }
}

// Sizes and settings are whole numbers; a fraction typed by hand is rounded half to even.
int wholeNumber(double value)
{
    return static_cast<int>(std::nearbyint(value));
}

std::optional<int> inRange(const QVariant& stored, int min, int max)
{
    const std::optional<double> number = numberOf(stored);
    if (!number || *number < min || *number > max)
        return std::nullopt;
    return wholeNumber(*number);
}

QVariant asReadValue(const SettingRow& row, const QVariant& stored)
{
    if (!stored.isValid())
        return row.kind == SettingKind::Text ? QVariant(fromView(row.defaultText)) : QVariant(row.defaultNumber);
    if (row.kind == SettingKind::Text)
        return textOf(stored);
    const std::optional<int> number = inRange(stored, INT_MIN, INT_MAX);
    if (number && *number == *numberOf(stored))
        return *number;
    return stored.typeId() == QMetaType::QStringList ? QVariant(textOf(stored)) : stored;
}

QVariant booleanValue(const SettingRow& row, const QVariant& stored)
{
    // The texts that older versions wrote for true and false.
    const QString text = stored.typeId() == QMetaType::QString ? stored.toString().trimmed() : QString();
    if (text.compare(QLatin1String("yes"), Qt::CaseInsensitive) == 0)
        return -1;
    if (text.compare(QLatin1String("no"), Qt::CaseInsensitive) == 0)
        return 0;
    const std::optional<double> number = numberOf(stored);
    if (number && (*number == -1.0 || *number == 0.0))
        return wholeNumber(*number);
    return row.defaultNumber;
}

QVariant textValue(const QString& fallback, const QVariant& stored)
{
    const QString text = textOf(stored);
    return text.trimmed().isEmpty() ? fallback : text;
}

// Empty, or the old "0", is no folder at all (the first run stores the Pictures folder instead).
QVariant sourceFolderValue(const QVariant& stored)
{
    const QString text = textOf(stored);
    return text.trimmed().isEmpty() || text.trimmed() == QLatin1String("0") ? QString() : text;
}

QVariant logOnValue(const SettingRow& row, const QVariant& stored)
{
    bool on = Autostart::isEnabled();
    if (stored.isValid()) // a value the settings dialog previews
        on = numberOf(stored).value_or(0.0) != 0.0;
    if (row.rule == SettingRule::LogOn)
        return on ? -1 : 0;
    return on ? 1 : 0;
}

} // namespace

ClsRegistryBase::ClsRegistryBase(ScreenExtentProvider extent)
    : m_firstRun(!QFileInfo::exists(tapisolFilePath()))
    , m_tapisol(openStore(tapisolFilePath()))
    , m_orvenne(openStore(orvenneFilePath()))
    , m_ciselor(openStore(ciselorFilePath()))
    , m_extent(std::move(extent))
{
    // A user's first start begins with their Pictures folder as the source, written once: from
    // then on an empty folder is a choice of theirs.
    const QString pictures = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
    if (m_firstRun && QFileInfo(pictures).isDir())
        set(SettingNo::Repertoire, pictures);
}

ClsRegistryBase::~ClsRegistryBase()
{
    sync();
}

QVariant ClsRegistryBase::get(int number) const
{
    const SettingRow* row = settingRow(number);
    if (!row || row->rule == SettingRule::Reserved) {
        TAPISOL_TRACE(QStringLiteral("REG Get reserved or unknown setting %1").arg(number));
        return {};
    }
    return checkedValue(number, storedValue(*row));
}

bool ClsRegistryBase::set(int number, const QVariant& value)
{
    const SettingRow* row = settingRow(number);
    if (!row || row->rule == SettingRule::Reserved) {
        TAPISOL_TRACE(QStringLiteral("REG Set reserved or unknown setting %1").arg(number));
        return false;
    }
    setRawValue(row->group, fromView(row->writeName()), value);
    return true;
}

QVariant ClsRegistryBase::checkedValue(int number, const QVariant& stored) const
{
    const SettingRow* row = settingRow(number);
    if (!row)
        return {};
    switch (row->rule) {
    case SettingRule::Reserved:
        return {};
    case SettingRule::AsRead:
        return asReadValue(*row, stored);
    case SettingRule::Range:
        return inRange(stored, row->min, row->max).value_or(row->defaultNumber);
    case SettingRule::Hundredths:
        return inRange(stored, row->min, row->max).value_or(row->defaultNumber) / 100.0;
    case SettingRule::Boolean:
        return booleanValue(*row, stored);
    case SettingRule::Text:
        return textValue(fromView(row->defaultText), stored);
    case SettingRule::SourceFolder:
        return sourceFolderValue(stored);
    case SettingRule::PositionX:
    case SettingRule::PositionY:
        return positionValue(*row, stored);
    case SettingRule::LogOn:
    case SettingRule::LogOnAllUsers:
        return logOnValue(*row, stored);
    }
    return {};
}

QVariant ClsRegistryBase::positionValue(const SettingRow& row, const QVariant& stored) const
{
    const bool isX = row.rule == SettingRule::PositionX;
    const std::optional<ScreenExtent> extent = screenExtent();
    const std::optional<int> twips = inRange(stored, INT_MIN, INT_MAX);
    if (!extent)
        return twips.value_or(ScreenExtent::kDefaultInset);
    if (twips && (isX ? extent->acceptsX(*twips) : extent->acceptsY(*twips)))
        return *twips;
    return isX ? extent->defaultX() : extent->defaultY();
}

QVariant ClsRegistryBase::storedValue(const SettingRow& row) const
{
    if (row.rule == SettingRule::LogOn || row.rule == SettingRule::LogOnAllUsers)
        return {}; // read from the autostart entry, never from the written value
    return rawValue(row.group, fromView(row.name));
}

bool ClsRegistryBase::valueExists(SettingGroup group, const QString& name) const
{
    return store(group).contains(storeKey(group, name));
}

bool ClsRegistryBase::deleteValue(SettingGroup group, const QString& name)
{
    if (!valueExists(group, name))
        return false;
    store(group).remove(storeKey(group, name));
    return true;
}

QVariant ClsRegistryBase::rawValue(SettingGroup group, const QString& name) const
{
    return store(group).value(storeKey(group, name));
}

void ClsRegistryBase::setRawValue(SettingGroup group, const QString& name, const QVariant& value)
{
    store(group).setValue(storeKey(group, name), storable(value));
}

bool ClsRegistryBase::sync()
{
    bool ok = true;
    for (QSettings* settings : {m_tapisol.get(), m_orvenne.get(), m_ciselor.get()}) {
        settings->sync();
        if (settings->status() == QSettings::AccessError) {
            TAPISOL_TRACE(QStringLiteral("REG Settings file %1 cannot be written").arg(settings->fileName()));
            ok = false;
        }
    }
    return ok;
}

void ClsRegistryBase::installScreenSaver(const QString& saverPath)
{
    setRawValue(SettingGroup::Desktop, kScreenSaverValue, saverPath);
    TAPISOL_TRACE(QStringLiteral("REG Screen saver %1 recorded; nothing is installed on Linux").arg(saverPath));
}

void ClsRegistryBase::removeScreenSaver()
{
    setRawValue(SettingGroup::Desktop, kScreenSaverValue, QString());
    TAPISOL_TRACE(QStringLiteral("REG Screen saver cleared; nothing is removed on Linux"));
}

QString ClsRegistryBase::screenSaver() const
{
    return textOf(rawValue(SettingGroup::Desktop, kScreenSaverValue));
}

std::optional<ScreenExtent> ClsRegistryBase::screenExtent() const
{
    return m_extent ? m_extent() : std::nullopt;
}

void ClsRegistryBase::setScreenExtentProvider(ScreenExtentProvider extent)
{
    m_extent = std::move(extent);
}

QString ClsRegistryBase::tapisolFilePath()
{
    return configHome() + QStringLiteral("/Orvenne/Tapisol.conf");
}

QString ClsRegistryBase::orvenneFilePath()
{
    return configHome() + QStringLiteral("/Orvenne.conf");
}

QString ClsRegistryBase::ciselorFilePath()
{
    return configHome() + QStringLiteral("/Orvenne/Ciselor.conf");
}

QSettings& ClsRegistryBase::store(SettingGroup group) const
{
    switch (group) {
    case SettingGroup::Orvenne:
        return *m_orvenne;
    case SettingGroup::Ciselor:
        return *m_ciselor;
    default:
        return *m_tapisol;
    }
}

QString ClsRegistryBase::storeKey(SettingGroup group, const QString& name) const
{
    switch (group) {
    case SettingGroup::Parametres:
        return QStringLiteral("Paramètres/") + name;
    case SettingGroup::Forms:
        return QStringLiteral("Paramètres/Forms/") + name;
    case SettingGroup::Agenda:
        return QStringLiteral("Agenda/") + name;
    case SettingGroup::Alarme:
        return QStringLiteral("Alarme/") + name;
    case SettingGroup::Diaporama:
        return QStringLiteral("Diaporama/") + name;
    case SettingGroup::DiaporamaSounds:
        return QStringLiteral("Diaporama/Sounds/") + name;
    case SettingGroup::Albums:
        return QStringLiteral("Albums/") + name;
    case SettingGroup::Assistants:
        return QStringLiteral("Assistants/") + name;
    case SettingGroup::Desktop:
        return QStringLiteral("Desktop/") + name;
    case SettingGroup::None:
    case SettingGroup::Orvenne:
    case SettingGroup::Ciselor:
        break;
    }
    return name; // top level of its own file
}
