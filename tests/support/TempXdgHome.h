#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QTemporaryDir>

// Points HOME and every XDG folder at a fresh temporary folder for the lifetime of the object,
// so that a test never reads or writes the real user's settings, data or runtime files.
class TempXdgHome
{
public:
    TempXdgHome();
    ~TempXdgHome();
    TempXdgHome(const TempXdgHome&) = delete;
    TempXdgHome& operator=(const TempXdgHome&) = delete;

    bool isValid() const { return m_dir.isValid(); }
    QString path() const { return m_dir.path(); }
    QString configHome() const { return m_dir.path() + QStringLiteral("/config"); }
    QString dataHome() const { return m_dir.path() + QStringLiteral("/data"); }
    QString runtimeDir() const { return m_dir.path() + QStringLiteral("/runtime"); }
    /// The writable data folder of Tapisol inside this home.
    QString tapisolDataDir() const { return dataHome() + QStringLiteral("/Orvenne/Tapisol/"); }

private:
    QTemporaryDir m_dir;
    QHash<QByteArray, QByteArray> m_saved;
};
