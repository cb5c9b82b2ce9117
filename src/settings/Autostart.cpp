#include "Autostart.h"

#include "Trace.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>
#include <QTextStream>

namespace {

void setError(QString* error, const QString& text)
{
    if (error)
        *error = text;
    TAPISOL_TRACE(QStringLiteral("REG Autostart: ") + text);
}

// Desktop Entry quoting: an argument with a reserved character goes between double quotes with
// ", `, $ and \ escaped; the value as a whole then escapes \ once more, and % is doubled.
QString execArgument(const QString& argument)
{
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    const bool quote = std::any_of(argument.cbegin(), argument.cend(), [](QChar c) { return reserved.contains(c); });
    QString text = argument;
    text.replace(QLatin1Char('%'), QStringLiteral("%%"));
    if (!quote)
        return text;
    QString quoted;
    for (const QChar c : std::as_const(text)) {
        if (c == QLatin1Char('"') || c == QLatin1Char('`') || c == QLatin1Char('$') || c == QLatin1Char('\\'))
            quoted += QLatin1Char('\\');
        quoted += c;
    }
    quoted.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

// Keys of the [Desktop Entry] group that switch the entry off.
bool isSwitchedOff(const QString& text)
{
    bool inMainGroup = false;
    const QStringList lines = text.split(QLatin1Char('\n'));
    for (const QString& raw : lines) {
        const QString line = raw.trimmed();
        if (line.startsWith(QLatin1Char('[')))
            inMainGroup = line == QLatin1String("[Desktop Entry]");
        if (!inMainGroup)
            continue;
        const QString key = line.section(QLatin1Char('='), 0, 0).trimmed();
        const QString value = line.section(QLatin1Char('='), 1).trimmed();
        if ((key == QLatin1String("Hidden") && value == QLatin1String("true"))
            || (key == QLatin1String("X-GNOME-Autostart-enabled") && value == QLatin1String("false")))
            return true;
    }
    return false;
}

} // namespace

namespace Autostart {

QString entryPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
        + QStringLiteral("/autostart/tapisol.desktop");
}

bool isEnabled()
{
    QFile file(entryPath());
    if (!file.open(QIODevice::ReadOnly))
        return false;
    return !isSwitchedOff(QString::fromUtf8(file.readAll()));
}

QString entryText(const QString& programPath)
{
    return QStringLiteral("[Desktop Entry]\n"
                          "Type=Application\n"
                          "Name=Tapisol\n"
                          "Comment=Wallpaper changer\n"
                          "Exec=%1 /start\n"
                          "Icon=tapisol\n"
                          "Terminal=false\n"
                          "X-GNOME-Autostart-enabled=true\n")
        .arg(execArgument(programPath));
}

bool add(const QString& programPath, QString* error)
{
    QString program = programPath;
    if (program.isEmpty() && QCoreApplication::instance())
        program = QCoreApplication::applicationFilePath();
    if (program.isEmpty()) {
        setError(error, QStringLiteral("the program's path is unknown"));
        return false;
    }
    const QString path = entryPath();
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile file(path);
    const QByteArray text = entryText(QFileInfo(program).absoluteFilePath()).toUtf8();
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.commit()) {
        setError(error, QStringLiteral("%1 could not be written: %2").arg(path, file.errorString()));
        return false;
    }
    TAPISOL_TRACE(QStringLiteral("REG Autostart entry written: ") + path);
    return true;
}

bool remove(QString* error)
{
    QFile file(entryPath());
    if (!file.exists())
        return true;
    if (!file.remove()) {
        setError(error, QStringLiteral("%1 could not be deleted: %2").arg(file.fileName(), file.errorString()));
        return false;
    }
    TAPISOL_TRACE(QStringLiteral("REG Autostart entry deleted: ") + file.fileName());
    return true;
}

} // namespace Autostart
