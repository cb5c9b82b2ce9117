#include "PlayerLaunch.h"

#include "AppPaths.h"
#include "ClsRegistryBase.h"
#include "InterfaceTexts.h"
#include "PlayerHandOff.h"
#include "Trace.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>

namespace {

constexpr int TextPlayerMissing = 3130;
constexpr int TextPlayerFailed = 3131;
constexpr int TextSettingsNotWritten = 3132;

const QString Preview = QStringLiteral("/preview");
const QString TraceSwitch = QStringLiteral("/trace");
const QString TpDiaporama = QStringLiteral("/tpdiaporama");

bool fail(QString* error, const QString& text)
{
    TAPISOL_TRACE(QStringLiteral("DI Player, Err ") + text);
    if (error)
        *error = text;
    return false;
}

} // namespace

namespace PlayerLaunch {

QStringList assistantArguments(bool preview, bool trace)
{
    QStringList arguments;
    if (preview)
        arguments << Preview;
    if (trace)
        arguments << TraceSwitch;
    arguments << TpDiaporama << QLatin1String(PlayerHandOff::Token);
    return arguments;
}

QStringList trayArguments(bool trace)
{
    QStringList arguments;
    if (trace)
        arguments << TraceSwitch;
    arguments << TpDiaporama;
    return arguments;
}

bool start(const QStringList& arguments, QString* error, const QString& programDir)
{
    const QString folder = programDir.isEmpty() ? AppPaths::programDir() : programDir;
    const QString program = QDir(folder).filePath(QLatin1String(PlayerHandOff::ProgramName));
    TAPISOL_TRACE(QStringLiteral("DI Player ") + program + QLatin1Char(' ') + arguments.join(QLatin1Char(' ')));
    if (!QFileInfo(program).isExecutable())
        return fail(error, langText(TextPlayerMissing).arg(program));
    if (!QProcess::startDetached(program, arguments))
        return fail(error, langText(TextPlayerFailed).arg(program));
    return true;
}

bool playProject(
    ClsRegistryBase& settings, qint64 projectKey, bool preview, bool trace, QString* error, const QString& programDir)
{
    // The player is another process: what it must play has to be on disk before it starts.
    settings.set(SettingNo::DiapoProjectKey, projectKey);
    settings.set(SettingNo::DiapoTypeProject, PlayerHandOff::ProjectType::Stored);
    if (!settings.sync())
        return fail(error, langText(TextSettingsNotWritten).arg(ClsRegistryBase::tapisolFilePath()));
    return start(assistantArguments(preview, trace), error, programDir);
}

bool playFromTray(bool trace, QString* error, const QString& programDir)
{
    return start(trayArguments(trace), error, programDir);
}

} // namespace PlayerLaunch

PlayerArguments parsePlayerArguments(const QStringList& arguments)
{
    PlayerArguments found;
    for (const QString& argument : arguments) {
        if (argument.compare(Preview, Qt::CaseInsensitive) == 0)
            found.preview = true;
        else if (argument.compare(TraceSwitch, Qt::CaseInsensitive) == 0)
            found.trace = true;
        else if (argument.compare(TpDiaporama, Qt::CaseInsensitive) == 0)
            found.tpdiaporama = true;
        else if (argument.compare(QLatin1String(PlayerHandOff::Token), Qt::CaseInsensitive) == 0)
            found.tokenValid = true;
    }
    return found;
}
