#include "ClsMdb.h"
#include "MdbShownPictures.h"
#include "NextPictureSelector.h"
#include "RandomGenerator.h"
#include "TempXdgHome.h"

#include <QtTest>

namespace {

// Entries written as "name" for a picture and "[name]" for a folder.
struct Entries : CandidateList
{
    explicit Entries(const QStringList& entries)
        : m_entries(entries)
    { }
    int count() const override { return int(m_entries.size()); }
    QString key(int position) const override { return m_entries.at(position - 1); }
    bool isPicture(int position) const override { return !m_entries.at(position - 1).startsWith(QLatin1Char('[')); }
    QStringList m_entries;
};

QStringList pictures(int count)
{
    QStringList names;
    for (int i = 1; i <= count; ++i)
        names << QStringLiteral("/photos/p%1.jpg").arg(i);
    return names;
}

} // namespace

// The picture orders against the real shown-pictures table of a real database file.
class TestNextPicture : public QObject
{
    Q_OBJECT

    using Order = NextPictureSelector::Order;
    std::unique_ptr<TempXdgHome> m_home;
    std::unique_ptr<ClsMdb> m_db;
    std::unique_ptr<MdbShownPictures> m_shown;

private slots:
    void init() // a fresh database file for each test
    {
        m_shown.reset();
        m_db.reset();
        m_home = std::make_unique<TempXdgHome>();
        m_db = std::make_unique<ClsMdb>();
        m_db->setMdbName(m_home->path() + QStringLiteral("/Tapisol.mdb"));
        QVERIFY(m_db->MdbInit());
        m_shown = std::make_unique<MdbShownPictures>(*m_db);
    }

    // Back and forth turns at each end without showing the end twice; top-down steps over folders
    // and starts again at the top. With nothing else to show, neither gives anything; random needs
    // three entries at least.
    void walksAndTooFewPictures()
    {
        NextPictureSelector selector(*m_shown, appRandom());
        const auto walk = [&selector](const Entries& list, Order order, int steps) {
            QStringList shown;
            for (int i = 0; i < steps; ++i) {
                const auto position = selector.next(list, order);
                shown << (position ? list.key(*position) : QStringLiteral("out"));
            }
            return shown;
        };
        QCOMPARE(
            walk(Entries({"A", "B", "C"}), Order::BackAndForth, 7), QStringList({"A", "B", "C", "B", "A", "B", "C"}));
        QCOMPARE(selector.direction(), 1);
        QCOMPARE(m_shown->count(), 3); // recorded, never emptied in this order
        selector.setSelected(0);
        QCOMPARE(
            walk(Entries({"[2019]", "A", "B", "[2020]", "C"}), Order::TopDown, 4), QStringList({"A", "B", "C", "A"}));
        selector.setSelected(0);
        QCOMPARE(walk(Entries({"[a]", "[b]"}), Order::TopDown, 1), QStringList({"out"}));
        selector.setSelected(2); // the only picture is on screen already
        QCOMPARE(walk(Entries({"[a]", "A"}), Order::TopDown, 1), QStringList({"out"}));
        m_shown->clear();
        selector.setSelected(0);
        QCOMPARE(walk(Entries(pictures(1)), Order::Random, 1), QStringList({"out"}));
        QCOMPARE(walk(Entries(pictures(2)), Order::Random, 1), QStringList({"out"}));
        QCOMPARE(m_shown->count(), 0);
    }

    void randomStartNeverLandsOnTheFirstThree()
    {
        RandomGenerator random;
        const Entries list(pictures(10));
        for (quint64 seed = 0; seed < 60; ++seed) {
            random.seed(seed);
            m_shown->clear();
            NextPictureSelector selector(*m_shown, random);
            const auto position = selector.next(list, Order::Random);
            QVERIFY(position);
            QVERIFY2(*position >= 4, qPrintable(QString::number(seed)));
        }
    }

    // A whole round shows every picture once; the next call starts a new round without showing
    // the picture on screen again. The round survives a restart (a new selector, the same file).
    void randomRoundsAcrossRestarts()
    {
        RandomGenerator random;
        random.seed(42);
        const Entries list(QStringList {"[top]"} + pictures(6));
        QStringList round;
        int onScreen = 0;
        for (int i = 0; i < 6; ++i) {
            MdbShownPictures shown(*m_db); // as if the program had restarted: read from the file
            NextPictureSelector selector(shown, random);
            selector.setSelected(onScreen);
            const auto position = selector.next(list, Order::Random);
            QVERIFY(position && *position != onScreen);
            onScreen = *position;
            round << list.key(onScreen);
        }
        round.removeDuplicates();
        QCOMPARE(round.size(), 6);
        MdbShownPictures shown(*m_db);
        QCOMPARE(shown.count(), 6);

        NextPictureSelector selector(shown, random);
        selector.setSelected(onScreen);
        const auto position = selector.next(list, Order::Random);
        QVERIFY(position && *position != onScreen);
        QCOMPARE(MdbShownPictures(*m_db).count(), 1); // a new round, holding the picture just chosen
    }

    // A new list's round is worked out off the tray's thread: the names read on a connection of
    // its own, the shown positions marked. What was read is taken only while nothing changed
    // since; what is taken decides the picks.
    void roundPreparedElsewhere()
    {
        const Entries list(QStringList {"[top]"} + pictures(8)); // p1..p8 at 2..9
        for (const int position : {2, 3, 4, 6, 7, 8})
            QVERIFY(m_shown->add(list.key(position)));
        QString error;
        std::optional<QSet<QString>> names = MdbShownPictures::readNames(m_db->mdbName(), &error);
        QVERIFY2(names, qPrintable(error));
        QCOMPARE(names->size(), 6);
        QVERIFY(!MdbShownPictures::readNames(m_home->path() + QStringLiteral("/none.mdb"), &error));
        QVERIFY(!error.isEmpty());
        const std::vector<bool> marked
            = NextPictureSelector::shownPositions(list, [&](const QString& name) { return names->contains(name); });
        QCOMPARE(marked, std::vector<bool>({false, false, true, true, true, false, true, true, true, false}));

        MdbShownPictures busy(*m_db);
        const quint64 atRead = busy.revision();
        QVERIFY(busy.add(list.key(9))); // recorded after the read: the read is out of date
        QVERIFY(!busy.adoptNames(*names, atRead));

        MdbShownPictures restarted(*m_db);
        QVERIFY(restarted.adoptNames(*names, restarted.revision()));
        RandomGenerator random;
        random.seed(3);
        NextPictureSelector selector(restarted, random);
        selector.setSelected(9);
        // A marking of another size is not taken; the selection works it out itself.
        selector.adoptShownPositions(list, list.generation(), restarted.count(), std::vector<bool>(3));
        QCOMPARE(selector.next(list, Order::Random), 5);
        // A marking that fits is trusted: everything but p8 marked shown leaves p8 only.
        std::vector<bool> allButLast(10, true);
        allButLast[9] = false;
        selector.adoptShownPositions(list, list.generation(), restarted.count(), allButLast);
        QCOMPARE(selector.next(list, Order::Random), 9);
    }

    void namesAreDataNotSql()
    {
        QVERIFY(m_shown->add(QStringLiteral("/photos/l'été 100%_*.jpg")));
        QVERIFY(m_shown->contains(QStringLiteral("/photos/l'été 100%_*.jpg")));
        QVERIFY(!m_shown->contains(QStringLiteral("/photos/L'été 100%_*.jpg"))); // paths compare exactly
    }
};

QTEST_GUILESS_MAIN(TestNextPicture)
#include "tst_nextpicture.moc"
