#include "LxqtBackend.h"

#include <QProcess>
#include <QStandardPaths>

LxqtBackend::LxqtBackend(QString program)
    : m_program(std::move(program))
{ }

bool LxqtBackend::isAvailable(QString* reason) const
{
    if (!QStandardPaths::findExecutable(m_program).isEmpty())
        return true;
    if (reason)
        *reason = QStringLiteral("%1 is not installed").arg(m_program);
    return false;
}

QStringList LxqtBackend::arguments(const WallpaperTarget& target)
{
    QString mode = QStringLiteral("center");
    if (target.style == WallpaperStyle::Tiled)
        mode = QStringLiteral("tile");
    else if (target.style == WallpaperStyle::Stretched)
        mode = QStringLiteral("stretch");
    return {QStringLiteral("--set-wallpaper"), target.file, QStringLiteral("--wallpaper-mode"), mode};
}

bool LxqtBackend::apply(const WallpaperTarget& target, QString* error)
{
    QProcess process;
    process.setProgram(QStandardPaths::findExecutable(m_program));
    process.setArguments(arguments(target));
    process.setStandardOutputFile(QProcess::nullDevice());
    process.start();
    QString why;
    if (!process.waitForStarted(CallTimeoutMs))
        why = QStringLiteral("%1 cannot be started: %2").arg(m_program, process.errorString());
    else if (!process.waitForFinished(CallTimeoutMs)) {
        process.kill();
        process.waitForFinished(1000);
        why = QStringLiteral("%1 did not finish within %2 seconds").arg(m_program).arg(CallTimeoutMs / 1000);
    } else if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        why = QStringLiteral("%1 failed: %2")
                  .arg(m_program, QString::fromLocal8Bit(process.readAllStandardError()).trimmed());
    }
    if (!why.isEmpty() && error)
        *error = why;
    return why.isEmpty();
}
