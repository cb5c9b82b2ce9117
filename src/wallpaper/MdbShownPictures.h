#pragma once

#include "NextPictureSelector.h"

#include <QSet>

#include <optional>

class ClsMdb;

// The pictures shown this round, in the database table `TableImage` (or `TableImageDiap` for a
// slideshow project, whose round is kept apart), so that a round goes on across restarts of the
// program. The names are also kept in memory, read once: a random pick in a folder of 100,000
// pictures may look at every one of them, and a query each would take a third of a second where
// a hash look-up takes microseconds. Every change goes to the table first.
class MdbShownPictures : public ShownPictures
{
public:
    /// `diaporama`: the table of the project source, `TableImageDiap`, made when first needed.
    explicit MdbShownPictures(ClsMdb& db, bool diaporama = false);

    /// The table's name.
    const char* table() const { return m_diaporama ? "TableImageDiap" : "TableImage"; }

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

    /// The names in the table `table` of the database file at `path` (none when the table is not
    /// there yet), read through a read-only connection of its own, so from any thread. Nothing,
    /// with the cause, when that fails.
    static std::optional<QSet<QString>> readNames(
        const QString& path, QString* error, const char* table = "TableImage");

private:
    QSet<QString>& names();
    bool ensureTable();
    std::string sql(const char* text) const;

    ClsMdb& m_db;
    bool m_diaporama = false;
    bool m_tableChecked = false;
    std::optional<QSet<QString>> m_names;
    quint64 m_revision = 0;
};
