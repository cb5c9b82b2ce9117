#pragma once

#include "NextPictureSelector.h"

#include <QSet>

#include <optional>

class ClsMdb;

// The pictures shown this round, in the database table `TableImage`, so that a round goes on
// across restarts of the program. The names are also kept in memory, read once: a random pick in
// a folder of 100,000 pictures may look at every one of them, and a query each would take a
// third of a second where a hash look-up takes microseconds. Every change goes to the table first.
class MdbShownPictures : public ShownPictures
{
public:
    explicit MdbShownPictures(ClsMdb& db);

    bool contains(const QString& name) override;
    bool add(const QString& name) override;
    void clear() override;
    int count() override;

    /// The names, when they have been read already.
    const std::optional<QSet<QString>>& loadedNames() const { return m_names; }
    /// Goes up with every change made through this object, so that names read elsewhere meanwhile
    /// can be told current or not.
    quint64 revision() const { return m_revision; }
    /// Takes names read by readNames() while revision() was `at`. False, taking nothing, when a
    /// change came in between.
    bool adoptNames(QSet<QString> names, quint64 at);

    /// The names in `TableImage` of the database file at `path`, read through a read-only
    /// connection of its own, so from any thread. Nothing, with the cause, when that fails.
    static std::optional<QSet<QString>> readNames(const QString& path, QString* error);

private:
    QSet<QString>& names();

    ClsMdb& m_db;
    std::optional<QSet<QString>> m_names;
    quint64 m_revision = 0;
};
