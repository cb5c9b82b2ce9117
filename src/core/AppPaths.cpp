#include "AppPaths.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <unistd.h>

namespace {

QString withSlash(QString path)
{
    if (!path.endsWith(QLatin1Char('/')))
        path += QLatin1Char('/');
    return path;
}

// Creates the folder (and its parents) and keeps it private to the user.
QString ensurePrivateDir(const QString& path)
{
    QDir().mkpath(path);
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return withSlash(path);
}

} // namespace

namespace AppPaths {

QString dataDir()
{
    const QString base = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    return ensurePrivateDir(base + QStringLiteral("/Orvenne/Tapisol"));
}

QString readOnlyDataDir()
{
    const QString fromEnv = qEnvironmentVariable("TAPISOL_DATA_DIR");
    if (!fromEnv.isEmpty())
        return withSlash(fromEnv);
    const QString beside = QDir::cleanPath(programDir() + QStringLiteral("/../share/tapisol"));
    if (QFileInfo::exists(beside + QStringLiteral("/lang")))
        return withSlash(beside);
#ifdef TAPISOL_INSTALL_DATA_DIR
    return withSlash(QStringLiteral(TAPISOL_INSTALL_DATA_DIR));
#else
    return withSlash(beside);
#endif
}

QString languageDir()
{
    return readOnlyDataDir() + QStringLiteral("lang/");
}

QString runtimeDir()
{
    QString dir = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (dir.isEmpty() || !QFileInfo(dir).isDir())
        dir = QDir::tempPath() + QStringLiteral("/tapisol-") + QString::number(getuid());
    return ensurePrivateDir(dir);
}

QString programDir()
{
    if (QCoreApplication::instance())
        return withSlash(QCoreApplication::applicationDirPath());
    return withSlash(QDir::currentPath());
}

} // namespace AppPaths
