// The random pick in a large folder at the end of a round: 100,000 pictures shown, two not yet,
// so the walk may look at every entry before it finds one. The first pick after a start reads
// the shown pictures from the file; the next one, with a single picture left, finds them in
// memory, as every pick does while the program runs.
#include "ClsMdb.h"
#include "MdbShownPictures.h"
#include "NextPictureSelector.h"
#include "RandomGenerator.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTextStream>

#include <SQLiteCpp/SQLiteCpp.h>

namespace {

class Entries : public CandidateList
{
public:
    explicit Entries(int count)
    {
        for (int i = 1; i <= count; ++i)
            m_keys << QStringLiteral("/photos/%1/picture-%2.jpg").arg(i / 100).arg(i);
    }
    int count() const override { return int(m_keys.size()); }
    QString key(int position) const override { return m_keys.at(position - 1); }
    bool isPicture(int) const override { return true; }

private:
    QStringList m_keys;
};

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    constexpr int Count = 100001;
    constexpr int NotShownA = Count / 3;
    constexpr int NotShownB = 2 * Count / 3;
    const Entries list(Count);
    QTemporaryDir dir;
    ClsMdb db;
    db.setMdbName(dir.path() + QStringLiteral("/Tapisol.mdb"));
    if (!db.MdbInit())
        return 1;
    {
        SQLite::Transaction transaction(db.database());
        SQLite::Statement insert(db.database(), "INSERT INTO TableImage (Nom) VALUES (?)");
        for (int position = 1; position <= Count; ++position) {
            if (position == NotShownA || position == NotShownB)
                continue; // the two pictures not shown yet
            insert.bind(1, list.key(position).toStdString());
            insert.exec();
            insert.reset();
        }
        transaction.commit();
    }

    // Takes the picked names out again, so every run starts from the same state.
    const auto undo = [&db, &list] {
        SQLite::Statement remove(db.database(), "DELETE FROM TableImage WHERE Nom IN (?, ?)");
        remove.bind(1, list.key(NotShownA).toStdString());
        remove.bind(2, list.key(NotShownB).toStdString());
        remove.exec();
    };
    RandomGenerator random;
    QList<double> cold;
    QList<double> warm;
    for (int run = 0; run < 5; ++run) {
        random.seed(run);
        MdbShownPictures shown(db);
        NextPictureSelector selector(shown, random);
        QElapsedTimer timer;
        timer.start();
        const auto first = selector.next(list, NextPictureSelector::Order::Random);
        cold << timer.nsecsElapsed() / 1e6;
        timer.restart();
        const auto second = selector.next(list, NextPictureSelector::Order::Random);
        warm << timer.nsecsElapsed() / 1e6;
        if (!first || !second || *first == *second || shown.count() != Count)
            return 2;
        undo();
    }
    std::sort(cold.begin(), cold.end());
    std::sort(warm.begin(), warm.end());
    out << "Random pick at the end of a round, 100,001 pictures (median of 5)\n";
    out << QStringLiteral("%1 %2\n").arg(QStringLiteral("case"), -44).arg(QStringLiteral("ms"), 8);
    out << QStringLiteral("%1 %2\n")
               .arg(QStringLiteral("first pick after a start, 99,999 shown"), -44)
               .arg(cold[2], 8, 'f', 2);
    out << QStringLiteral("%1 %2\n").arg(QStringLiteral("next pick, 100,000 shown"), -44).arg(warm[2], 8, 'f', 2);
    out << QStringLiteral("%1 %2\n").arg(QStringLiteral("goal"), -44).arg(20.0, 8, 'f', 2);
    return 0;
}
