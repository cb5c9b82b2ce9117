// The random pick in a large folder at the end of a round: 100,000 pictures shown, two not yet,
// so the walk may look at every entry before it finds one.
//
// After a start (or a new list) the tray works the round out on a worker thread when the list
// arrives: the shown names read on a connection of their own, their positions marked. That
// preparation is timed on its own; then the first pick, which finds it all in memory, and the
// next one. For comparison, the first pick with no preparation, reading the names itself.
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
    QList<double> prepare, first, next, unprepared;
    const auto ms = [](const QElapsedTimer& timer) { return timer.nsecsElapsed() / 1e6; };
    for (int run = 0; run < 5; ++run) {
        random.seed(run);
        MdbShownPictures shown(db);
        NextPictureSelector selector(shown, random);
        QElapsedTimer timer;
        timer.start();
        const quint64 revision = shown.revision();
        QString error;
        std::optional<QSet<QString>> names = MdbShownPictures::readNames(db.mdbName(), &error);
        if (!names)
            return 2;
        std::vector<bool> marked
            = NextPictureSelector::shownPositions(list, [&](const QString& name) { return names->contains(name); });
        prepare << ms(timer);
        timer.restart();
        if (!shown.adoptNames(std::move(*names), revision))
            return 2;
        selector.adoptShownPositions(list, list.generation(), shown.count(), std::move(marked));
        const auto picked = selector.next(list, NextPictureSelector::Order::Random);
        first << ms(timer);
        timer.restart();
        const auto second = selector.next(list, NextPictureSelector::Order::Random);
        next << ms(timer);
        if (!picked || !second || *picked == *second || shown.count() != Count)
            return 2;
        undo();

        MdbShownPictures cold(db);
        NextPictureSelector coldSelector(cold, random);
        timer.restart();
        if (!coldSelector.next(list, NextPictureSelector::Order::Random))
            return 2;
        unprepared << ms(timer);
        undo();
    }
    const auto median = [](QList<double> values) {
        std::sort(values.begin(), values.end());
        return values[values.size() / 2];
    };
    const auto row = [&out](const QString& name, double value) {
        out << QStringLiteral("%1 %2\n").arg(name, -58).arg(value, 8, 'f', 2);
    };
    out << "Random pick at the end of a round, 100,001 pictures (median of 5)\n";
    out << QStringLiteral("%1 %2\n").arg(QStringLiteral("case"), -58).arg(QStringLiteral("ms"), 8);
    row(QStringLiteral("round prepared on the worker thread when the list arrives"), median(prepare));
    row(QStringLiteral("first pick after a start, 99,999 shown"), median(first));
    row(QStringLiteral("next pick, 100,000 shown"), median(next));
    row(QStringLiteral("first pick without the preparation (reads the names)"), median(unprepared));
    row(QStringLiteral("goal for a pick"), 20.0);
    return 0;
}
