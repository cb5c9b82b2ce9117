#pragma once

#include "ProjectTypes.h"

#include <QList>
#include <QString>

#include <optional>

class ClsMdb;

// The slideshow projects and their slides, in the tables DiaporamaDesc and Diaporama of
// Tapisol.mdb, which the player reads too.
//
// Every value is bound, never pasted into SQL: a name with a quote (L'été) or a path with `%`, `_`
// or `*` is data. Project names ignore ASCII case as their column does ("l'été" finds "L'été",
// "L'ÉTÉ" does not); paths compare exactly. Each operation traces its entry and its exit
// ("ClsMdb <operation>, Ok" or ", Err"). An operation that writes several rows does it in one
// IMMEDIATE transaction. Any failure (a name already taken, the file held by another program, a
// full disk, a text longer than its column) leaves the tables as they were, returns false or
// nothing, and sets `error` to words the user understands. Texts are never cut to fit.
namespace ProjectStore {

/// Which file of a slide a search looks at.
enum class FileColumn
{
    Picture = 0, // Path
    Music = 1,   // PathMusic
    Comment = 2, // PathComment
};

/// What the look-up of the slide in force looks for.
enum class InForce
{
    Music = 0,    // the last earlier slide that starts a music
    Comment = 1,  // the last earlier slide that has a comment
    Previous = 2, // finds nothing: see inForce()
};

// --- Projects ---------------------------------------------------------------------------------

/// Every project, by name.
QList<ProjectRow> projects(ClsMdb& db);
/// Adds a project; its key, or nothing (a name already taken included).
std::optional<qint64> addProject(
    ClsMdb& db, const QString& nom, int expoTime, const QString& paswd, QString* error = nullptr);
/// Sets the name, exposure time and password of project `key`.
bool updateProject(
    ClsMdb& db, qint64 key, const QString& nom, int expoTime, const QString& paswd, QString* error = nullptr);
/// Gives project `key` another name; refused when another project has it.
bool renameProject(ClsMdb& db, qint64 key, const QString& nom, QString* error = nullptr);
/// Deletes the project's slides, then the project, in one transaction.
bool deleteProject(ClsMdb& db, qint64 key, QString* error = nullptr);
/// The project of that name, case ignored (ASCII only).
std::optional<ProjectRow> findProject(ClsMdb& db, const QString& nom);
std::optional<ProjectRow> project(ClsMdb& db, qint64 key);
/// The project's name; empty when there is no such project.
QString projectName(ClsMdb& db, qint64 key);
/// Copies project `key` under the name `nom`: a new project row with the same exposure time and
/// password, and a copy of every slide with every column. One transaction; the new key.
std::optional<qint64> duplicateProject(ClsMdb& db, qint64 key, const QString& nom, QString* error = nullptr);

// --- Slides -----------------------------------------------------------------------------------

/// The slides of a project in ascending Ordre.
QList<SlideRow> slides(ClsMdb& db, qint64 project);
std::optional<SlideRow> slide(ClsMdb& db, qint64 key);
/// Deletes every slide of a project.
bool deleteSlides(ClsMdb& db, qint64 project, QString* error = nullptr);
/// Replaces the project's slides by `slides`, numbered 1..n in list order (their KeyAuto,
/// KeyDescrip and Ordre are ignored), in one transaction.
bool writeSlides(ClsMdb& db, qint64 project, const QList<SlideRow>& slides, QString* error = nullptr);
/// Saves a project as the assistant edits it: the project row is added (KeyAuto 0, then set to the
/// new key) or updated, then its slides are written as writeSlides() does, all in one transaction.
bool saveProject(ClsMdb& db, ProjectRow& project, const QList<SlideRow>& slides, QString* error = nullptr);
/// Writes every column of slide `slide.KeyAuto` but the key.
bool updateSlide(ClsMdb& db, const SlideRow& slide, QString* error = nullptr);
/// Deletes the slides whose picture is exactly `path`, in every project.
bool deleteSlidesShowing(ClsMdb& db, const QString& path, QString* error = nullptr);
/// The slides whose file in `column` is exactly `file`, or starts with it when `prefix` (the prefix
/// taken literally). Nothing when the question could not be answered, so that a caller about to
/// delete or move a file never reads a failure as "unused".
std::optional<QList<SlideRow>> findSlidesByFile(
    ClsMdb& db, const QString& file, FileColumn column, bool prefix = false);
/// The slide whose music (or comment) is in force at `position` of the project: the one with the
/// highest Ordre below `position` that names one. Nothing at position 1, and nothing for
/// InForce::Previous, by design.
std::optional<SlideRow> inForce(ClsMdb& db, qint64 project, int position, InForce what);

// --- Password ---------------------------------------------------------------------------------

/// Whether `typed` opens the project: always for a project without a password; otherwise the
/// texts must be equal, case included.
bool passwordMatches(const ProjectRow& project, const QString& typed);
/// What a list shows in the password column: "**" when the project has one, else nothing.
QString maskedPassword(const ProjectRow& project);

} // namespace ProjectStore
