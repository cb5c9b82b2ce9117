#include "ProjectEditing.h"

#include "InterfaceTexts.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>

namespace {

bool fileMissing(const QString& path)
{
    return !path.isEmpty() && !QFileInfo(path).isFile();
}

// "2.jpg" before "10.jpg": runs of digits compare by value, the rest without regard to case.
// QCollator's numeric mode would do it, but not where Qt is built without ICU.
bool namesInOrder(const QString& a, const QString& b)
{
    qsizetype i = 0;
    qsizetype j = 0;
    while (i < a.size() && j < b.size()) {
        if (a.at(i).isDigit() && b.at(j).isDigit()) {
            qsizetype ei = i;
            qsizetype ej = j;
            while (ei < a.size() && a.at(ei).isDigit())
                ++ei;
            while (ej < b.size() && b.at(ej).isDigit())
                ++ej;
            const QStringView da = QStringView(a).mid(i, ei - i);
            const QStringView db = QStringView(b).mid(j, ej - j);
            const QString na = da.toString().remove(QRegularExpression(QStringLiteral("^0+(?=.)")));
            const QString nb = db.toString().remove(QRegularExpression(QStringLiteral("^0+(?=.)")));
            if (na.size() != nb.size())
                return na.size() < nb.size();
            if (na != nb)
                return na < nb;
            i = ei;
            j = ej;
            continue;
        }
        const int c = QString::compare(a.at(i), b.at(j), Qt::CaseInsensitive);
        if (c != 0)
            return c < 0;
        ++i;
        ++j;
    }
    if ((a.size() - i) != (b.size() - j))
        return a.size() - i < b.size() - j;
    return a < b;
}

} // namespace

ProjectEditing::ProjectEditing(ClsMdb& db, QObject* parent)
    : QObject(parent)
    , m_db(db)
{ }

void ProjectEditing::newProject(const QString& nom, int expoTime)
{
    m_project = ProjectRow {0, nom, expoTime, {}};
    m_slides.clear();
    m_pictureMissing.clear();
    m_open = true;
    // Never stored yet: leaving it unsaved would lose it, so it counts as a change.
    setDirty(true);
    emit slidesReset();
}

bool ProjectEditing::open(qint64 key, QString* error)
{
    const auto row = ProjectStore::project(m_db, key);
    if (!row) {
        if (error)
            *error = langText(3110);
        return false;
    }
    m_project = *row;
    m_slides = ProjectStore::slides(m_db, key);
    m_open = true;
    markPictures();
    setDirty(false);
    emit slidesReset();
    return true;
}

void ProjectEditing::close()
{
    m_project = {};
    m_slides.clear();
    m_pictureMissing.clear();
    m_open = false;
    setDirty(false);
    emit slidesReset();
}

void ProjectEditing::setExpoTime(int seconds)
{
    if (m_project.ExpoTime == seconds)
        return;
    m_project.ExpoTime = seconds;
    setDirty(true);
}

int ProjectEditing::addPictures(const QStringList& paths, int row, const SlideRow& model)
{
    if (paths.isEmpty())
        return 0;
    if (row < 0 || row > count())
        row = count();
    for (int i = 0; i < paths.size(); ++i) {
        SlideRow slide = model;
        slide.KeyAuto = 0;
        slide.KeyDescrip = m_project.KeyAuto;
        slide.Path = paths.at(i);
        m_slides.insert(row + i, slide);
        m_pictureMissing.insert(row + i, fileMissing(slide.Path));
    }
    setDirty(true);
    emit slidesReset();
    return int(paths.size());
}

bool ProjectEditing::move(QList<int> rows, int before)
{
    std::sort(rows.begin(), rows.end());
    rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    rows.removeIf([this](int r) { return r < 0 || r >= count(); });
    if (rows.isEmpty())
        return false;
    before = std::clamp(before, 0, count());
    QList<SlideRow> moved;
    QList<bool> movedMissing;
    int target = before;
    for (auto it = rows.crbegin(); it != rows.crend(); ++it) {
        moved.prepend(m_slides.takeAt(*it));
        movedMissing.prepend(m_pictureMissing.takeAt(*it));
        if (*it < before)
            --target;
    }
    bool changed = false;
    for (int i = 0; i < moved.size(); ++i) {
        m_slides.insert(target + i, moved.at(i));
        m_pictureMissing.insert(target + i, movedMissing.at(i));
        changed = changed || target + i != rows.at(i);
    }
    if (!changed)
        return false;
    setDirty(true);
    emit slidesReset();
    return true;
}

int ProjectEditing::step(int row, int delta)
{
    const int to = row + delta;
    if (row < 0 || row >= count() || to < 0 || to >= count())
        return row;
    move({row}, delta > 0 ? to + 1 : to);
    return to;
}

void ProjectEditing::remove(QList<int> rows)
{
    std::sort(rows.begin(), rows.end(), std::greater<>());
    rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    bool removed = false;
    for (int r : rows) {
        if (r < 0 || r >= count())
            continue;
        m_slides.removeAt(r);
        m_pictureMissing.removeAt(r);
        removed = true;
    }
    if (!removed)
        return;
    setDirty(true);
    emit slidesReset();
}

void ProjectEditing::setSlide(int row, const SlideRow& slide)
{
    if (row < 0 || row >= count())
        return;
    SlideRow updated = slide;
    updated.KeyAuto = m_slides.at(row).KeyAuto;
    updated.KeyDescrip = m_slides.at(row).KeyDescrip;
    updated.Ordre = m_slides.at(row).Ordre;
    if (updated == m_slides.at(row))
        return;
    const bool newPicture = updated.Path != m_slides.at(row).Path;
    m_slides[row] = updated;
    if (newPicture)
        m_pictureMissing[row] = fileMissing(updated.Path);
    setDirty(true);
    emit slideChanged(row);
}

QList<ProjectEditing::Missing> ProjectEditing::validate()
{
    markPictures();
    QList<Missing> missing;
    for (int row = 0; row < count(); ++row) {
        const SlideRow& s = m_slides.at(row);
        const std::pair<ProjectStore::FileColumn, const QString*> files[] = {
            {ProjectStore::FileColumn::Picture, &s.Path},
            {ProjectStore::FileColumn::Music, &s.PathMusic},
            {ProjectStore::FileColumn::Comment, &s.PathComment},
        };
        for (const auto& [column, path] : files) {
            if (fileMissing(*path))
                missing.append(Missing {row, column, *path});
        }
    }
    emit slidesReset();
    return missing;
}

bool ProjectEditing::save(QString* error)
{
    if (!m_open)
        return false;
    ProjectRow project = m_project;
    if (!ProjectStore::saveProject(m_db, project, m_slides, error))
        return false;
    m_project = project;
    // The store numbered them 1..n under the project's key; the slide keys are new rows now, so
    // they are read back rather than guessed.
    m_slides = ProjectStore::slides(m_db, m_project.KeyAuto);
    setDirty(false);
    return true;
}

QStringList ProjectEditing::pictureSuffixes()
{
    return {QStringLiteral("jpg"), QStringLiteral("jpeg"), QStringLiteral("jpe"), QStringLiteral("png"),
        QStringLiteral("bmp"), QStringLiteral("gif"), QStringLiteral("webp"), QStringLiteral("tif"),
        QStringLiteral("tiff"), QStringLiteral("heic"), QStringLiteral("heif"), QStringLiteral("avif"),
        QStringLiteral("wmf"), QStringLiteral("emf")};
}

QStringList ProjectEditing::picturesInFolder(const QString& folder)
{
    QStringList filters;
    for (const QString& suffix : pictureSuffixes())
        filters << QStringLiteral("*.") + suffix;
    QDir dir(folder);
    dir.setNameFilters(filters);
    dir.setFilter(QDir::Files | QDir::Readable);
    dir.setSorting(QDir::NoSort); // the collator below sorts; filters ignore case (".JPG" too)
    QStringList names = dir.entryList();
    std::sort(names.begin(), names.end(), namesInOrder);
    QStringList paths;
    for (const QString& name : names)
        paths << dir.absoluteFilePath(name);
    return paths;
}

void ProjectEditing::setDirty(bool dirty)
{
    if (m_dirty == dirty)
        return;
    m_dirty = dirty;
    emit dirtyChanged(dirty);
}

void ProjectEditing::markPictures()
{
    m_pictureMissing.clear();
    for (const SlideRow& s : m_slides)
        m_pictureMissing.append(fileMissing(s.Path));
}
