#include "MdbShownPictures.h"

#include "ClsMdb.h"
#include "JetValues.h"
#include "Trace.h"

#include <SQLiteCpp/SQLiteCpp.h>

MdbShownPictures::MdbShownPictures(ClsMdb& db)
    : m_db(db)
{ }

bool MdbShownPictures::contains(const QString& name)
{
    try {
        MdbQuery query = m_db.query("SELECT 1 FROM TableImage WHERE Nom = ?");
        Jet::bindText(*query, 1, name);
        return query->executeStep();
    } catch (const std::exception& e) {
        TAPISOL_TRACE(QStringLiteral("SY TableImage lecture, Err ") + QString::fromUtf8(e.what()));
        return false;
    }
}

bool MdbShownPictures::add(const QString& name)
{
    try {
        // A name already there (the round was left half-way by an older version) is fine.
        MdbQuery query = m_db.query("INSERT OR IGNORE INTO TableImage (Nom) VALUES (?)");
        Jet::bindText(*query, 1, name);
        query->exec();
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
}

int MdbShownPictures::count()
{
    try {
        MdbQuery query = m_db.query("SELECT COUNT(*) FROM TableImage");
        return query->executeStep() ? query->getColumn(0).getInt() : 0;
    } catch (const std::exception&) {
        return 0;
    }
}
