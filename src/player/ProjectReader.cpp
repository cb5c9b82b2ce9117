#include "ProjectReader.h"

#include "ProjectRows.h"

#include <QFileInfo>

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Exception.h>
#include <SQLiteCpp/Statement.h>

#include <sqlite3.h>

namespace {

ProjectReader::Status statusOf(const SQLite::Exception& e)
{
    const int code = e.getErrorCode() & 0xff;
    return code == SQLITE_BUSY || code == SQLITE_LOCKED ? ProjectReader::Status::Busy
                                                        : ProjectReader::Status::Unreadable;
}

} // namespace

ProjectReader::ProjectReader(QString mdbPath, int busyWaitMs)
    : m_path(std::move(mdbPath))
    , m_busyWaitMs(busyWaitMs)
{ }

ProjectReader::Project ProjectReader::read(qint64 key) const
{
    Project result;
    if (!QFileInfo(m_path).isFile()) {
        result.status = Status::NoFile;
        return result;
    }
    try {
        SQLite::Database db(m_path.toStdString(), SQLite::OPEN_READONLY, m_busyWaitMs);
        // One read transaction for the project and its slides: a save in between is seen whole.
        db.exec("BEGIN");
        SQLite::Statement project(db, "SELECT * FROM DiaporamaDesc WHERE KeyAuto = ?");
        project.bind(1, static_cast<int64_t>(key));
        if (!project.executeStep()) {
            result.status = Status::NoProject;
            return result;
        }
        result.project = ProjectRows::readProject(project);
        SQLite::Statement slides(db, "SELECT * FROM Diaporama WHERE Diaporama.KeyDescrip = ? ORDER BY Ordre, KeyAuto");
        slides.bind(1, static_cast<int64_t>(key));
        while (slides.executeStep())
            result.slides << ProjectRows::readSlide(slides);
        db.exec("COMMIT");
    } catch (const SQLite::Exception& e) {
        result.status = statusOf(e);
        result.error = QString::fromUtf8(e.what());
        result.slides.clear();
    }
    return result;
}

std::optional<bool> ProjectReader::exists(qint64 key) const
{
    if (!QFileInfo(m_path).isFile())
        return std::nullopt; // a file that is being replaced says nothing about the project
    try {
        SQLite::Database db(m_path.toStdString(), SQLite::OPEN_READONLY, m_busyWaitMs);
        SQLite::Statement project(db, "SELECT 1 FROM DiaporamaDesc WHERE KeyAuto = ?");
        project.bind(1, static_cast<int64_t>(key));
        return project.executeStep();
    } catch (const SQLite::Exception&) {
        return std::nullopt;
    }
}
