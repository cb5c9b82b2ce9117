#include "MdbShownPictures.h"

#include "ClsMdb.h"
#include "JetValues.h"
#include "Trace.h"

#include <SQLiteCpp/SQLiteCpp.h>

MdbShownPictures::MdbShownPictures(ClsMdb& db, bool diaporama)
    : m_db(db)
    , m_diaporama(diaporama)
{ }

// The statement's text with the table's name in place of "%T" (a name of ours, never data).
std::string MdbShownPictures::sql(const char* text) const
{
    std::string statement = text;
    statement.replace(statement.find("%T"), 2, table());
    return statement;
}

// `TableImageDiap` is made by the first project source, not with the file.
bool MdbShownPictures::ensureTable()
{
    if (m_tableChecked)
        return true;
    if (!m_db.isOpen())
        return false;
    if (!m_db.TableExist(QLatin1String(table())) && !m_db.createTableImage(m_diaporama))
        return false;
    m_tableChecked = true;
    return true;
}

QSet<QString>& MdbShownPictures::names()
{
    if (m_names)
        return *m_names;
    m_names.emplace();
    try {
        if (!ensureTable())
            return *m_names;
        MdbQuery query = m_db.query(sql("SELECT Nom FROM %T"));
        while (query->executeStep())
            m_names->insert(Jet::textOf(query->getColumn(0)));
    } catch (const std::exception& e) {
        TAPISOL_TRACE(QStringLiteral("SY %1 lecture, Err ").arg(QLatin1String(table())) + QString::fromUtf8(e.what()));
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
        if (!ensureTable())
            throw std::runtime_error("table absente");
        // A name already there (the round was left half-way by an older version) is fine.
        MdbQuery query = m_db.query(sql("INSERT OR IGNORE INTO %T (Nom) VALUES (?)"));
        Jet::bindText(*query, 1, name);
        query->exec();
        names().insert(name);
        ++m_revision;
        return true;
    } catch (const std::exception& e) {
        // A path longer than the column holds cannot be kept: it may come again this round.
        TAPISOL_TRACE(QStringLiteral("SY %1 ajout ").arg(QLatin1String(table())) + name + QStringLiteral(", Err ")
            + QString::fromUtf8(e.what()));
        return false;
    }
}

void MdbShownPictures::clear()
{
    m_db.createTableImage(m_diaporama);
    m_tableChecked = false;
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

std::optional<QSet<QString>> MdbShownPictures::readNames(const QString& path, QString* error, const char* table)
{
    try {
        SQLite::Database db(path.toStdString(), SQLite::OPEN_READONLY);
        if (!db.tableExists(table))
            return QSet<QString>();
        const std::string from = std::string(" FROM ") + table;
        SQLite::Statement count(db, "SELECT count(*)" + from);
        QSet<QString> names;
        if (count.executeStep())
            names.reserve(count.getColumn(0).getInt());
        SQLite::Statement query(db, "SELECT Nom" + from);
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
