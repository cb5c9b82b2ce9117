#include "MdbShownPictures.h"

#include "ClsMdb.h"
#include "JetValues.h"
#include "Trace.h"

#include <SQLiteCpp/SQLiteCpp.h>

MdbShownPictures::MdbShownPictures(ClsMdb& db)
    : m_db(db)
{ }

QSet<QString>& MdbShownPictures::names()
{
    if (m_names)
        return *m_names;
    m_names.emplace();
    try {
        MdbQuery query = m_db.query("SELECT Nom FROM TableImage");
        while (query->executeStep())
            m_names->insert(Jet::textOf(query->getColumn(0)));
    } catch (const std::exception& e) {
        TAPISOL_TRACE(QStringLiteral("SY TableImage lecture, Err ") + QString::fromUtf8(e.what()));
    }
    return *m_names;
}

bool MdbShownPictures::contains(const QString& name)
{
    return names().contains(name);
}

bool MdbShownPictures::add(const QString& name)
{
    try {
        // A name already there (the round was left half-way by an older version) is fine.
        MdbQuery query = m_db.query("INSERT OR IGNORE INTO TableImage (Nom) VALUES (?)");
        Jet::bindText(*query, 1, name);
        query->exec();
        names().insert(name);
        ++m_revision;
        return true;
    } catch (const std::exception& e) {
        // A path longer than the column holds cannot be kept: it may come again this round.
        TAPISOL_TRACE(
            QStringLiteral("SY TableImage ajout ") + name + QStringLiteral(", Err ") + QString::fromUtf8(e.what()));
        return false;
    }
}

void MdbShownPictures::clear()
{
    m_db.createTableImage(false);
    m_names.emplace();
    ++m_revision;
}

bool MdbShownPictures::adoptNames(QSet<QString> names, quint64 at)
{
    if (at != m_revision)
        return false;
    if (!m_names)
        m_names = std::move(names);
    return true;
}

std::optional<QSet<QString>> MdbShownPictures::readNames(const QString& path, QString* error)
{
    try {
        SQLite::Database db(path.toStdString(), SQLite::OPEN_READONLY);
        SQLite::Statement count(db, "SELECT count(*) FROM TableImage");
        QSet<QString> names;
        if (count.executeStep())
            names.reserve(count.getColumn(0).getInt());
        SQLite::Statement query(db, "SELECT Nom FROM TableImage");
        while (query.executeStep())
            names.insert(Jet::textOf(query.getColumn(0)));
        return names;
    } catch (const std::exception& e) {
        *error = QString::fromUtf8(e.what());
        return std::nullopt;
    }
}

int MdbShownPictures::count()
{
    return int(names().size());
}
