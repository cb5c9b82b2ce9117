#pragma once

#include "ProjectStore.h"
#include "ProjectTypes.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

class ClsMdb;

// The project the assistant has open: its row and its slides as the user arranges them, kept in
// memory until saved. Every edit goes through here so that the window only shows it, the dirty flag
// is right whatever the route (buttons, keys, dragging), and the same rules are tested without a
// window. A slide whose picture, music or comment file cannot be found is marked, never dropped:
// the disk it lies on may only be unplugged.
class ProjectEditing : public QObject
{
    Q_OBJECT

public:
    /// A file a slide names that is not on the disk now.
    struct Missing
    {
        int row = 0;
        ProjectStore::FileColumn column = ProjectStore::FileColumn::Picture;
        QString path;
    };

    explicit ProjectEditing(ClsMdb& db, QObject* parent = nullptr);

    /// Starts a new, unsaved project (KeyAuto 0) with no slides.
    void newProject(const QString& nom, int expoTime);
    /// Reads project `key` and its slides; false, with `error` set and nothing changed, when it is gone.
    bool open(qint64 key, QString* error = nullptr);
    /// Forgets the project (after it was deleted, or to show none).
    void close();

    bool isOpen() const { return m_open; }
    const ProjectRow& project() const { return m_project; }
    const QList<SlideRow>& slides() const { return m_slides; }
    int count() const { return int(m_slides.size()); }
    const SlideRow& slide(int row) const { return m_slides.at(row); }
    bool isDirty() const { return m_dirty; }
    /// Whether the slide's picture was missing when last looked at (open, add, validate()).
    bool isPictureMissing(int row) const { return m_pictureMissing.value(row); }

    void setExpoTime(int seconds);
    /// The project was renamed in the store: the name follows, the edits stay as they are.
    void renamed(const QString& nom) { m_project.Nom = nom; }
    /// Inserts slides showing `paths` before `row` (-1: at the end), with the caption defaults of
    /// `model`; the number added.
    int addPictures(const QStringList& paths, int row = -1, const SlideRow& model = {});
    /// Moves `rows` (any order) so that they stand before `before` (count() for the end), keeping
    /// their order; true when the order changed.
    bool move(QList<int> rows, int before);
    /// Moves one slide one place up (-1) or down (+1); its new row, or `row` when it cannot move.
    int step(int row, int delta);
    void remove(QList<int> rows);
    /// Replaces the fields of slide `row` (its keys and order are kept).
    void setSlide(int row, const SlideRow& slide);

    /// Looks at the disk again: every file a slide names that is not there; the pictures' marks
    /// follow.
    QList<Missing> validate();
    /// Writes the project and its slides (Ordre 1..n in list order) through ProjectStore; the
    /// project gets its key on its first save. False, with `error`, and the project still dirty,
    /// when the store refuses.
    bool save(QString* error = nullptr);

    /// The pictures of `folder` (not its sub-folders) that the program can show, by name, digits
    /// compared as numbers ("2.jpg" before "10.jpg").
    static QStringList picturesInFolder(const QString& folder);
    /// The name suffixes taken for pictures when a folder is read.
    static QStringList pictureSuffixes();

signals:
    /// The slide list changed (rows added, moved or removed): views reload.
    void slidesReset();
    /// One slide's fields changed.
    void slideChanged(int row);
    void dirtyChanged(bool dirty);

private:
    void setDirty(bool dirty);
    void markPictures();

    ClsMdb& m_db;
    ProjectRow m_project;
    QList<SlideRow> m_slides;
    QList<bool> m_pictureMissing;
    bool m_open = false;
    bool m_dirty = false;
};
