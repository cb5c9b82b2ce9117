#include "TempXdgHome.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

namespace {
const char* const kVariables[] = {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_RUNTIME_DIR"};
}

TempXdgHome::TempXdgHome()
{
    for (const char* name : kVariables)
        m_saved.insert(name, qgetenv(name));
    const QString root = m_dir.path();
    for (const char* sub : {"config", "data", "cache", "runtime", "home/Pictures"})
        QDir().mkpath(root + QLatin1Char('/') + QLatin1String(sub));
    QFile::setPermissions(runtimeDir(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    qputenv("HOME", (root + QStringLiteral("/home")).toUtf8());
    qputenv("XDG_CONFIG_HOME", configHome().toUtf8());
    qputenv("XDG_DATA_HOME", dataHome().toUtf8());
    qputenv("XDG_CACHE_HOME", (root + QStringLiteral("/cache")).toUtf8());
    qputenv("XDG_RUNTIME_DIR", runtimeDir().toUtf8());
    QStandardPaths::setTestModeEnabled(false);
}

TempXdgHome::~TempXdgHome()
{
    for (auto it = m_saved.cbegin(); it != m_saved.cend(); ++it) {
        if (it.value().isEmpty())
            qunsetenv(it.key().constData());
        else
            qputenv(it.key().constData(), it.value());
    }
}
