#pragma once

#include "NextPictureSelector.h"

class ClsMdb;

// The pictures shown this round, in the database table `TableImage`, so that a round goes on
// across restarts of the program.
class MdbShownPictures : public ShownPictures
{
public:
    explicit MdbShownPictures(ClsMdb& db);

    bool contains(const QString& name) override;
    bool add(const QString& name) override;
    void clear() override;
    int count() override;

private:
    ClsMdb& m_db;
};
