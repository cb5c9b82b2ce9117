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

private:
    QSet<QString>& names();

    ClsMdb& m_db;
    std::optional<QSet<QString>> m_names;
};
