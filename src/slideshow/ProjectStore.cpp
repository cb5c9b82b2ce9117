#include "ProjectStore.h"

#include "ClsMdb.h"
#include "InterfaceTexts.h"
#include "JetValues.h"
#include "MdbOperation.h"
#include "ProjectRows.h"
#include "Trace.h"

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Exception.h>
#include <SQLiteCpp/Statement.h>
#include <SQLiteCpp/Transaction.h>

#include <sqlite3.h>

#include <algorithm>

namespace {

constexpr int TextNotSaved = 3100;
constexpr int TextNameTaken = 3101;
constexpr int TextNameTooLong = 3102;
constexpr int TextNameEmpty = 3103;
constexpr int TextPasswordTooLong = 3104;
constexpr int TextPathTooLong = 3105;
constexpr int TextNoPicture = 3106;
constexpr int TextCaptionTooLong = 3107;
constexpr int TextFontTooLong = 3108;
constexpr int TextOutOfRange = 3109;
constexpr int TextProjectGone = 3110;
constexpr int TextSlideGone = 3111;

// The sizes of the text columns.
constexpr int MaxName = 100;
constexpr int MaxPassword = 20;
constexpr int MaxPath = 250;
constexpr int MaxCaption = 250;
constexpr int MaxFontName = 80;

// Every column of a slide but its key, in the order the statements bind them.
constexpr const char* SlideColumns
    = "KeyDescrip, Ordre, Path, PathMusic, VolMusic, VolMusicComment, RehausMusic, RepetMusic, PathComment, "
      "VolComment, RepetComment, Texte, TexteAlign, TexteMarge, FontName, FontSize, FontBold, FontItalic, "
      "FontUnderline, ForeColor, BackColor, BackStyle";
constexpr int SlideColumnCount = 22;

using Mdb::characters;
using Mdb::refuse;

QString describe(const SQLite::Exception& e)
{
    if (QString passing = Mdb::passingState(e); !passing.isEmpty())
        return passing;
    return langText(TextNotSaved).arg(QString::fromUtf8(e.what()));
}

template <typename Body> auto operation(const char* name, QString* error, Body&& body) -> decltype(body())
{
    return Mdb::operation(name, error, describe, TextNotSaved, std::forward<Body>(body));
}

void checkProject(const QString& nom, const QString& paswd)
{
    if (nom.isEmpty())
        refuse(langText(TextNameEmpty));
    if (characters(nom) > MaxName)
        refuse(langText(TextNameTooLong).arg(MaxName));
    if (characters(paswd) > MaxPassword)
        refuse(langText(TextPasswordTooLong).arg(MaxPassword));
}

void checkPath(const QString& path)
{
    if (characters(path) > MaxPath)
        refuse(langText(TextPathTooLong).arg(MaxPath).arg(path));
}

// `position` names the slide as the user counts them (from 1).
void checkSlide(const SlideRow& slide, int position)
{
    if (slide.Path.isEmpty())
        refuse(langText(TextNoPicture).arg(position));
    checkPath(slide.Path);
    checkPath(slide.PathMusic);
    checkPath(slide.PathComment);
    if (characters(slide.Texte) > MaxCaption)
        refuse(langText(TextCaptionTooLong).arg(MaxCaption));
    if (characters(slide.FontName) > MaxFontName)
        refuse(langText(TextFontTooLong).arg(MaxFontName));
    const std::pair<const char*, int> bytes[]
        = {{"VolMusic", slide.VolMusic}, {"VolMusicComment", slide.VolMusicComment}, {"VolComment", slide.VolComment},
            {"TexteAlign", slide.TexteAlign}, {"BackStyle", slide.BackStyle}};
    for (const auto& [column, value] : bytes) {
        if (value < 0 || value > 255)
            refuse(langText(TextOutOfRange).arg(position).arg(QLatin1String(column)).arg(value));
    }
}

void checkSlides(const QList<SlideRow>& slides)
{
    for (qsizetype i = 0; i < slides.size(); ++i)
        checkSlide(slides.at(i), int(i + 1));
}

SQLite::Transaction writing(ClsMdb& db)
{
    return SQLite::Transaction(db.database(), SQLite::TransactionBehavior::IMMEDIATE);
}

// A text column that allows "": an empty text is written as "", never as Null.
void bindOptionalText(SQLite::Statement& statement, int index, const QString& value)
{
    Jet::bindText(statement, index, value.isNull() ? QStringLiteral("") : value);
}

// Binds the columns of SlideColumns to parameters 1..22.
void bindSlide(SQLite::Statement& statement, const SlideRow& s, qint64 project, int ordre)
{
    statement.bind(1, static_cast<int64_t>(project));
    statement.bind(2, ordre);
    Jet::bindText(statement, 3, s.Path);
    bindOptionalText(statement, 4, s.PathMusic);
    statement.bind(5, s.VolMusic);
    statement.bind(6, s.VolMusicComment);
    Jet::bindBool(statement, 7, s.RehausMusic);
    Jet::bindBool(statement, 8, s.RepetMusic);
    bindOptionalText(statement, 9, s.PathComment);
    statement.bind(10, s.VolComment);
    Jet::bindBool(statement, 11, s.RepetComment);
    bindOptionalText(statement, 12, s.Texte);
    statement.bind(13, s.TexteAlign);
    statement.bind(14, s.TexteMarge);
    bindOptionalText(statement, 15, s.FontName);
    statement.bind(16, double(s.FontSize));
    Jet::bindBool(statement, 17, s.FontBold);
    Jet::bindBool(statement, 18, s.FontItalic);
    Jet::bindBool(statement, 19, s.FontUnderline);
    statement.bind(20, s.ForeColor);
    statement.bind(21, s.BackColor);
    statement.bind(22, s.BackStyle);
}

std::string placeholders(int count)
{
    std::string list;
    for (int i = 1; i <= count; ++i)
        list += (i > 1 ? ", ?" : "?") + std::to_string(i);
    return list;
}

bool projectExists(ClsMdb& db, qint64 key)
{
    MdbQuery row = db.query("SELECT 1 FROM DiaporamaDesc WHERE KeyAuto = ?");
    row->bind(1, static_cast<int64_t>(key));
    return row->executeStep();
}

std::optional<ProjectRow> projectRow(ClsMdb& db, qint64 key)
{
    MdbQuery row = db.query("SELECT * FROM DiaporamaDesc WHERE KeyAuto = ?");
    row->bind(1, static_cast<int64_t>(key));
    return row->executeStep() ? std::optional(ProjectRows::readProject(*row)) : std::nullopt;
}

// Runs a write of the project row; the unique index on Nom refusing a name says so by name.
template <typename Write> auto writingName(const QString& nom, Write&& write) -> decltype(write())
{
    try {
        return write();
    } catch (const SQLite::Exception& e) {
        if (e.getExtendedErrorCode() == SQLITE_CONSTRAINT_UNIQUE
            && QString::fromUtf8(e.what()).contains(QLatin1String("DiaporamaDesc.Nom")))
            refuse(langText(TextNameTaken).arg(nom));
        throw;
    }
}

qint64 insertProject(ClsMdb& db, const QString& nom, int expoTime, const QString& paswd)
{
    return writingName(nom, [&] {
        MdbQuery insert = db.query("INSERT INTO DiaporamaDesc (Nom, ExpoTime, Paswd) VALUES (?, ?, ?)");
        Jet::bindText(*insert, 1, nom);
        insert->bind(2, expoTime);
        bindOptionalText(*insert, 3, paswd);
        insert->exec();
        return qint64(db.database().getLastInsertRowid());
    });
}

void updateProjectRow(ClsMdb& db, qint64 key, const QString& nom, int expoTime, const QString& paswd)
{
    const int changed = writingName(nom, [&] {
        MdbQuery update = db.query("UPDATE DiaporamaDesc SET Nom = ?, ExpoTime = ?, Paswd = ? WHERE KeyAuto = ?");
        Jet::bindText(*update, 1, nom);
        update->bind(2, expoTime);
        bindOptionalText(*update, 3, paswd);
        update->bind(4, static_cast<int64_t>(key));
        return update->exec();
    });
    if (changed != 1)
        refuse(langText(TextProjectGone));
}

void removeSlidesOf(ClsMdb& db, qint64 project)
{
    MdbQuery remove = db.query("DELETE FROM Diaporama WHERE Diaporama.KeyDescrip = ?");
    remove->bind(1, static_cast<int64_t>(project));
    remove->exec();
}

// Inside the caller's transaction: the old slides go, the new ones come numbered 1..n.
void replaceSlides(ClsMdb& db, qint64 project, const QList<SlideRow>& slides)
{
    removeSlidesOf(db, project);
    MdbQuery insert = db.query(
        std::string("INSERT INTO Diaporama (") + SlideColumns + ") VALUES (" + placeholders(SlideColumnCount) + ")");
    int ordre = 0;
    for (const SlideRow& s : slides) {
        insert->reset();
        insert->clearBindings();
        bindSlide(*insert, s, project, ++ordre);
        insert->exec();
    }
}

QList<SlideRow> slidesOf(MdbQuery& rows)
{
    QList<SlideRow> found;
    while (rows->executeStep())
        found << ProjectRows::readSlide(*rows);
    return found;
}

const char* fileColumnName(ProjectStore::FileColumn column)
{
    switch (column) {
    case ProjectStore::FileColumn::Music:
        return "Diaporama.PathMusic";
    case ProjectStore::FileColumn::Comment:
        return "Diaporama.PathComment";
    case ProjectStore::FileColumn::Picture:
        break;
    }
    return "Diaporama.Path";
}

} // namespace

namespace ProjectStore {

// --- Projects ---------------------------------------------------------------------------------

QList<ProjectRow> projects(ClsMdb& db)
{
    return operation("ListProjects", nullptr, [&] {
        QList<ProjectRow> found;
        MdbQuery rows = db.query("SELECT * FROM DiaporamaDesc ORDER BY Nom, KeyAuto");
        while (rows->executeStep())
            found << ProjectRows::readProject(*rows);
        return found;
    });
}

std::optional<qint64> addProject(ClsMdb& db, const QString& nom, int expoTime, const QString& paswd, QString* error)
{
    return operation("AddProject", error, [&] {
        checkProject(nom, paswd);
        return std::optional(insertProject(db, nom, expoTime, paswd));
    });
}

bool updateProject(ClsMdb& db, qint64 key, const QString& nom, int expoTime, const QString& paswd, QString* error)
{
    return operation("UpdateProject", error, [&] {
        checkProject(nom, paswd);
        updateProjectRow(db, key, nom, expoTime, paswd);
        return true;
    });
}

bool renameProject(ClsMdb& db, qint64 key, const QString& nom, QString* error)
{
    return operation("RenameProject", error, [&] {
        checkProject(nom, {});
        const int changed = writingName(nom, [&] {
            MdbQuery update = db.query("UPDATE DiaporamaDesc SET Nom = ? WHERE KeyAuto = ?");
            Jet::bindText(*update, 1, nom);
            update->bind(2, static_cast<int64_t>(key));
            return update->exec();
        });
        if (changed != 1)
            refuse(langText(TextProjectGone));
        return true;
    });
}

bool deleteProject(ClsMdb& db, qint64 key, QString* error)
{
    return operation("DeleteProject", error, [&] {
        SQLite::Transaction transaction = writing(db);
        removeSlidesOf(db, key);
        MdbQuery remove = db.query("DELETE FROM DiaporamaDesc WHERE KeyAuto = ?");
        remove->bind(1, static_cast<int64_t>(key));
        if (remove->exec() != 1)
            refuse(langText(TextProjectGone));
        transaction.commit();
        return true;
    });
}

std::optional<ProjectRow> findProject(ClsMdb& db, const QString& nom)
{
    return operation("FindProject", nullptr, [&] {
        // The column's NOCASE collation makes "=" ignore ASCII case, as Jet did.
        MdbQuery row = db.query("SELECT * FROM DiaporamaDesc WHERE Nom = ? ORDER BY KeyAuto");
        Jet::bindText(*row, 1, nom);
        return row->executeStep() ? std::optional(ProjectRows::readProject(*row)) : std::nullopt;
    });
}

std::optional<ProjectRow> project(ClsMdb& db, qint64 key)
{
    return operation("Project", nullptr, [&] { return projectRow(db, key); });
}

QString projectName(ClsMdb& db, qint64 key)
{
    return operation("ProjectName", nullptr, [&] {
        const std::optional<ProjectRow> row = projectRow(db, key);
        return row ? row->Nom : QString();
    });
}

std::optional<qint64> duplicateProject(ClsMdb& db, qint64 key, const QString& nom, QString* error)
{
    return operation("DuplicateProject", error, [&] {
        checkProject(nom, {});
        SQLite::Transaction transaction = writing(db);
        const qint64 copy = writingName(nom, [&] {
            MdbQuery insert = db.query("INSERT INTO DiaporamaDesc (Nom, ExpoTime, Paswd) "
                                       "SELECT ?, ExpoTime, Paswd FROM DiaporamaDesc WHERE KeyAuto = ?");
            Jet::bindText(*insert, 1, nom);
            insert->bind(2, static_cast<int64_t>(key));
            if (insert->exec() != 1)
                refuse(langText(TextProjectGone));
            return qint64(db.database().getLastInsertRowid());
        });
        // Copied in SQL so that every column comes over as stored, Null included.
        const std::string columns(SlideColumns);
        const std::string rest = columns.substr(columns.find(',') + 1);
        MdbQuery slides = db.query("INSERT INTO Diaporama (" + columns + ") SELECT ?," + rest
            + " FROM Diaporama WHERE KeyDescrip = ? ORDER BY Ordre, KeyAuto");
        slides->bind(1, static_cast<int64_t>(copy));
        slides->bind(2, static_cast<int64_t>(key));
        slides->exec();
        transaction.commit();
        return std::optional(copy);
    });
}

// --- Slides -----------------------------------------------------------------------------------

QList<SlideRow> slides(ClsMdb& db, qint64 project)
{
    return operation("Slides", nullptr, [&] {
        MdbQuery rows = db.query("SELECT * FROM Diaporama WHERE Diaporama.KeyDescrip = ? ORDER BY Ordre, KeyAuto");
        rows->bind(1, static_cast<int64_t>(project));
        return slidesOf(rows);
    });
}

std::optional<SlideRow> slide(ClsMdb& db, qint64 key)
{
    return operation("Slide", nullptr, [&] {
        MdbQuery row = db.query("SELECT * FROM Diaporama WHERE Diaporama.KeyAuto = ?");
        row->bind(1, static_cast<int64_t>(key));
        return row->executeStep() ? std::optional(ProjectRows::readSlide(*row)) : std::nullopt;
    });
}

bool deleteSlides(ClsMdb& db, qint64 project, QString* error)
{
    return operation("DeleteSlides", error, [&] {
        removeSlidesOf(db, project);
        return true;
    });
}

bool writeSlides(ClsMdb& db, qint64 project, const QList<SlideRow>& slides, QString* error)
{
    return operation("WriteSlides", error, [&] {
        checkSlides(slides);
        SQLite::Transaction transaction = writing(db);
        if (!projectExists(db, project))
            refuse(langText(TextProjectGone));
        replaceSlides(db, project, slides);
        transaction.commit();
        return true;
    });
}

bool saveProject(ClsMdb& db, ProjectRow& project, const QList<SlideRow>& slides, QString* error)
{
    return operation("SaveProject", error, [&] {
        checkProject(project.Nom, project.Paswd);
        checkSlides(slides);
        SQLite::Transaction transaction = writing(db);
        qint64 key = project.KeyAuto;
        if (key == 0)
            key = insertProject(db, project.Nom, project.ExpoTime, project.Paswd);
        else
            updateProjectRow(db, key, project.Nom, project.ExpoTime, project.Paswd);
        replaceSlides(db, key, slides);
        transaction.commit();
        project.KeyAuto = key;
        return true;
    });
}

bool updateSlide(ClsMdb& db, const SlideRow& slide, QString* error)
{
    return operation("UpdateSlide", error, [&] {
        checkSlide(slide, slide.Ordre);
        std::string sql = "UPDATE Diaporama SET ";
        const QStringList columns = QString::fromLatin1(SlideColumns).split(QStringLiteral(", "));
        for (int i = 0; i < columns.size(); ++i)
            sql += (i > 0 ? ", " : "") + columns.at(i).toStdString() + " = ?" + std::to_string(i + 1);
        sql += " WHERE KeyAuto = ?" + std::to_string(SlideColumnCount + 1);
        MdbQuery update = db.query(sql);
        bindSlide(*update, slide, slide.KeyDescrip, slide.Ordre);
        update->bind(SlideColumnCount + 1, static_cast<int64_t>(slide.KeyAuto));
        if (update->exec() != 1)
            refuse(langText(TextSlideGone));
        return true;
    });
}

bool deleteSlidesShowing(ClsMdb& db, const QString& path, QString* error)
{
    return operation("DeleteSlidesShowing", error, [&] {
        MdbQuery remove = db.query("DELETE FROM Diaporama WHERE Diaporama.Path = ?");
        Jet::bindText(*remove, 1, path);
        remove->exec();
        return true;
    });
}

std::optional<QList<SlideRow>> findSlidesByFile(ClsMdb& db, const QString& file, FileColumn column, bool prefix)
{
    return operation("FindSlidesByFile", nullptr, [&] {
        const QString target = QLatin1String(fileColumnName(column));
        const QString condition
            = prefix ? Jet::startsWith(target, QStringLiteral("?1")) : target + QStringLiteral(" = ?1");
        MdbQuery rows = db.query(
            (QStringLiteral("SELECT * FROM Diaporama WHERE ") + condition + QStringLiteral(" ORDER BY KeyAuto"))
                .toStdString());
        Jet::bindText(*rows, 1, file);
        return std::optional(slidesOf(rows));
    });
}

std::optional<SlideRow> inForce(ClsMdb& db, qint64 project, int position, InForce what)
{
    return operation("InForce", nullptr, [&]() -> std::optional<SlideRow> {
        // By design, the look-up of the last earlier slide whatever it sets finds nothing: those
        // who ask for it get no slide, as they always have.
        if (what == InForce::Previous)
            return std::nullopt;
        const char* sql = what == InForce::Music
            ? "SELECT * FROM Diaporama WHERE Diaporama.KeyDescrip = ? AND Diaporama.Ordre < ? "
              "AND Diaporama.PathMusic <> '' ORDER BY Ordre DESC, KeyAuto DESC LIMIT 1"
            : "SELECT * FROM Diaporama WHERE Diaporama.KeyDescrip = ? AND Diaporama.Ordre < ? "
              "AND Diaporama.PathComment <> '' ORDER BY Ordre DESC, KeyAuto DESC LIMIT 1";
        MdbQuery row = db.query(sql);
        row->bind(1, static_cast<int64_t>(project));
        row->bind(2, position);
        return row->executeStep() ? std::optional(ProjectRows::readSlide(*row)) : std::nullopt;
    });
}

// --- Password ---------------------------------------------------------------------------------

bool passwordMatches(const ProjectRow& project, const QString& typed)
{
    return project.Paswd.isEmpty() || typed == project.Paswd;
}

QString maskedPassword(const ProjectRow& project)
{
    return project.Paswd.isEmpty() ? QString() : QStringLiteral("**");
}

} // namespace ProjectStore
