#include "ProjectReader.h"

#include "JetValues.h"

#include <QFileInfo>

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Exception.h>
#include <SQLiteCpp/Statement.h>

#include <sqlite3.h>

namespace {

ProjectRow readProject(const SQLite::Statement& row)
{
    ProjectRow p;
    p.KeyAuto = row.getColumn("KeyAuto").getInt64();
    p.Nom = Jet::textOf(row.getColumn("Nom"));
    p.ExpoTime = int(Jet::longOf(row.getColumn("ExpoTime"), 0));
    p.Paswd = Jet::textOf(row.getColumn("Paswd"));
    return p;
}

SlideRow readSlide(const SQLite::Statement& row)
{
    const SlideRow d;
    SlideRow s;
    auto number = [&](const char* column, long long ifNull) { return Jet::longOf(row.getColumn(column), ifNull); };
    auto flag = [&](const char* column, bool ifNull) { return Jet::boolOf(row.getColumn(column), ifNull); };
    s.KeyAuto = row.getColumn("KeyAuto").getInt64();
    s.KeyDescrip = row.getColumn("KeyDescrip").getInt64();
    s.Ordre = int(number("Ordre", d.Ordre));
    s.Path = Jet::textOf(row.getColumn("Path"));
    s.PathMusic = Jet::textOf(row.getColumn("PathMusic"));
    s.VolMusic = int(number("VolMusic", d.VolMusic));
    s.VolMusicComment = int(number("VolMusicComment", d.VolMusicComment));
    s.RehausMusic = flag("RehausMusic", d.RehausMusic);
    s.RepetMusic = flag("RepetMusic", d.RepetMusic);
    s.PathComment = Jet::textOf(row.getColumn("PathComment"));
    s.VolComment = int(number("VolComment", d.VolComment));
    s.RepetComment = flag("RepetComment", d.RepetComment);
    s.Texte = Jet::textOf(row.getColumn("Texte"));
    s.TexteAlign = int(number("TexteAlign", d.TexteAlign));
    s.TexteMarge = int(number("TexteMarge", d.TexteMarge));
    s.FontName = Jet::textOf(row.getColumn("FontName"));
    s.FontSize = float(Jet::doubleOf(row.getColumn("FontSize"), d.FontSize));
    s.FontBold = flag("FontBold", d.FontBold);
    s.FontItalic = flag("FontItalic", d.FontItalic);
    s.FontUnderline = flag("FontUnderline", d.FontUnderline);
    s.ForeColor = qint32(number("ForeColor", d.ForeColor));
    s.BackColor = qint32(number("BackColor", d.BackColor));
    s.BackStyle = int(number("BackStyle", d.BackStyle));
    return s;
}

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
        result.project = readProject(project);
        SQLite::Statement slides(db, "SELECT * FROM Diaporama WHERE Diaporama.KeyDescrip = ? ORDER BY Ordre, KeyAuto");
        slides.bind(1, static_cast<int64_t>(key));
        while (slides.executeStep())
            result.slides << readSlide(slides);
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
