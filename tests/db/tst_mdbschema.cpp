// The layout of a new Tapisol.mdb, its constraints, and the Jet meanings of the values.
#include "ClsMdb.h"
#include "JetValues.h"
#include "MdbSchema.h"
#include "MdbTestSupport.h"
#include "TempXdgHome.h"

#include <QtTest>

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>

#include <memory>

using MdbTest::rows;

class TestMdbSchema : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void layoutMatchesSchemaData();
    void layoutMatchesTheTables_data();
    void layoutMatchesTheTables();
    void constraints_data();
    void constraints();
    void fixedTextIsPadded();
    void alarmScanUsesItsIndex();
    void oaDates_data();
    void oaDates();
    void prefixMatchIsLiteral_data();
    void prefixMatchIsLiteral();
    void nowIsTheLocalDateFromTheClock();
    void queriesAreKeptAndLentOnce();

private:
    SQLite::Database& db() { return m_mdb->database(); }

    std::unique_ptr<TempXdgHome> m_home;
    std::unique_ptr<ClsMdb> m_mdb;
};

void TestMdbSchema::initTestCase()
{
    m_home = std::make_unique<TempXdgHome>();
    m_mdb = std::make_unique<ClsMdb>();
    m_mdb->setMdbName(m_home->tapisolDataDir() + QStringLiteral("Tapisol.mdb"));
    m_mdb->setLanguageFolder(QStringLiteral(TAPISOL_TEST_LANG_DIR));
    QVERIFY(m_mdb->MdbInit());
}

void TestMdbSchema::cleanupTestCase()
{
    m_mdb.reset();
    m_home.reset();
}

// Every table, column and index of the file against the schema data it was made from.
void TestMdbSchema::layoutMatchesSchemaData()
{
    QCOMPARE(MdbSchema::tables().size(), size_t(15));
    for (const MdbSchema::Table& table : MdbSchema::tables()) {
        const QString name = QLatin1String(table.name);
        QStringList expected;
        for (const MdbSchema::Field& field : table.fields)
            expected << QStringLiteral("%1|%2|%3|%4")
                            .arg(QLatin1String(field.name), MdbSchema::declaredType(field))
                            .arg(field.required || field.counter ? 1 : 0)
                            .arg(field.jetDefault ? MdbSchema::sqlDefault(field) : QStringLiteral("-"));
        QCOMPARE(
            rows(db(),
                QStringLiteral("SELECT name, type, \"notnull\", dflt_value FROM pragma_table_info('%1')").arg(name)),
            expected.join(QLatin1Char('\n')));

        QStringList indexes;
        for (const MdbSchema::Index& index : table.indexes) {
            const QString sqlName = MdbSchema::sqlIndexName(name, QLatin1String(index.name));
            const MdbSchema::Field* first = table.field(QLatin1String(index.fields.front()));
            if (index.primary && index.fields.size() == 1 && first->counter) {
                const QString ddl
                    = rows(db(), QStringLiteral("SELECT sql FROM sqlite_master WHERE name = '%1'").arg(name));
                QVERIFY2(ddl.contains(QStringLiteral("CONSTRAINT \"%1\" PRIMARY KEY AUTOINCREMENT").arg(sqlName)),
                    qPrintable(ddl));
                continue;
            }
            QStringList fields;
            for (const char* field : index.fields)
                fields << QLatin1String(field);
            indexes
                << QStringLiteral("%1|%2|%3").arg(sqlName).arg(index.unique ? 1 : 0).arg(fields.join(',')).toLower();
        }
        std::sort(indexes.begin(), indexes.end(),
            [](const QString& a, const QString& b) { return a.section('|', 0, 0) < b.section('|', 0, 0); });
        QCOMPARE(rows(db(),
                     QStringLiteral("SELECT lower(l.name), l.\"unique\", lower((SELECT group_concat(name, ',') "
                                    "FROM pragma_index_info(l.name))) FROM pragma_index_list('%1') l WHERE "
                                    "l.origin = 'c' ORDER BY lower(l.name)")
                         .arg(name)),
            indexes.join(QLatin1Char('\n')));
    }
}

// A few tables written out by hand from the layout, so that a slip in the schema data shows.
void TestMdbSchema::layoutMatchesTheTables_data()
{
    QTest::addColumn<QString>("table");
    QTest::addColumn<QString>("columns");
    QTest::addColumn<QString>("indexes");
    QTest::newRow("Agenda") << "Agenda"
                            << "Numero INTEGER 1 -,Date DATE REAL 1 -,Alarme BOOLEAN 1 -,DateAlarme DATE REAL 0 -,"
                               "DateAlarmeOri DATE REAL 0 -,AlarmeRepet BOOLEAN 1 -,DateAlarmeFin DATE REAL 0 -,"
                               "AlarmeRepInterval INTEGER 0 -,AlarmeRepFreq TINYINT 0 -,Comportement TINYINT 1 -,"
                               "Frequence TINYINT 1 -,FreqJours CHAR(7) 1 -,FreqMois CHAR(12) 0 -,Active BOOLEAN 1 -,"
                               "NoteRepInterval INTEGER 0 -,NoteRepFreq TINYINT 0 -,BirthDay DATE REAL 0 -,"
                               "SonRepet BOOLEAN 0 -,WinLargeur FLOAT 0 -,WinHauteur FLOAT 0 -,WinPosX FLOAT 0 -,"
                               "WinPosY FLOAT 0 -,Decoupage BOOLEAN 1 -,DecoupBkColor INTEGER 0 -,"
                               "Transparence TINYINT 0 255,TransparenceApply BOOLEAN 0 -1,WinBackColor INTEGER 1 -,"
                               "WinBackColorApply BOOLEAN 0 -1"
                            << "Agenda_IndAlarme 0 Alarme+Active+DateAlarme,Agenda_IndDate 0 Date+DateAlarme";
    QTest::newRow("AlbumPictures") << "AlbumPictures"
                                   << "KeyAuto INTEGER 1 -,VolSerial INTEGER 0 -,Path VARCHAR(250) 1 -,"
                                      "ThumbPath VARCHAR(250) 0 -,ImageDateTime DATE REAL 1 -"
                                   << "AlbumPictures_ThumbPath 1 ThumbPath,AlbumPictures_VolPath 1 VolSerial+Path";
}

void TestMdbSchema::layoutMatchesTheTables()
{
    QFETCH(QString, table);
    QFETCH(QString, columns);
    QFETCH(QString, indexes);
    QCOMPARE(rows(db(),
                 QStringLiteral("SELECT group_concat(name || ' ' || type || ' ' || \"notnull\" || ' ' || "
                                "coalesce(dflt_value, '-'), ',') FROM pragma_table_info('%1')")
                     .arg(table)),
        columns);
    QCOMPARE(rows(db(),
                 QStringLiteral("SELECT group_concat(x, ',') FROM (SELECT l.name || ' ' || l.\"unique\" || ' ' || "
                                "(SELECT group_concat(name, '+') FROM pragma_index_info(l.name)) AS x FROM "
                                "pragma_index_list('%1') l WHERE l.origin = 'c' ORDER BY l.name)")
                     .arg(table)),
        indexes);
}

namespace {
// Each case runs `setup`, which must pass, then `sql`, which passes or not.
struct ConstraintCase
{
    const char* name;
    const char* insert;
    const char* setup;
    const char* sql;
    bool accepted;
};
const char* const Picture = "INSERT INTO AlbumPictures (VolSerial, Path, ThumbPath, ImageDateTime) VALUES ";
const char* const Album = "INSERT INTO Albums (Nom, DateCreation, DateModif, StateOpen) VALUES ";
const ConstraintCase ConstraintCases[] = {
    {"empty name", Album, "", "('', 1, 1, 0)", false},
    {"name too long", Album, "", "(printf('%0251d', 1), 1, 1, 0)", false},
    {"boolean 1", Album, "", "('x', 1, 1, 1)", false},
    {"same volume and path", Picture, "(1, '/a.jpg', '/t1', 1)", "(1, '/a.jpg', '/t2', 1)", false},
    {"path on another volume", Picture, "(1, '/a.jpg', '/t1', 1)", "(2, '/a.jpg', '/t2', 1)", true},
    {"same thumbnail", Picture, "(1, '/a.jpg', '/t', 1)", "(1, '/b.jpg', '/t', 1)", false},
    {"no thumbnail (Required index)", Picture, "", "(1, '/a.jpg', NULL, 1)", false},
};
} // namespace

void TestMdbSchema::constraints_data()
{
    QTest::addColumn<QString>("setup");
    QTest::addColumn<QString>("sql");
    QTest::addColumn<bool>("accepted");
    for (const ConstraintCase& c : ConstraintCases) {
        const QString insert = QLatin1String(c.insert);
        QTest::newRow(c.name) << (*c.setup ? insert + c.setup : QString()) << insert + c.sql << c.accepted;
    }
    QTest::newRow("byte 256") << ""
                              << "INSERT INTO VolumeDesc VALUES (1, 256, 'x')" << false;
    QTest::newRow("project names ignore case") << "INSERT INTO DiaporamaDesc (Nom) VALUES ('Vacances')"
                                               << "INSERT INTO DiaporamaDesc (Nom) VALUES ('VACANCES')" << false;
    QTest::newRow("country without code") << ""
                                          << "INSERT INTO Pays (Langue, Pays) VALUES ('ZZ', 'Nulle part')" << false;
}

void TestMdbSchema::constraints()
{
    QFETCH(QString, setup);
    QFETCH(QString, sql);
    QFETCH(bool, accepted);
    db().exec("SAVEPOINT constraint_case");
    if (!setup.isEmpty())
        db().exec(setup.toStdString());
    const bool passed = db().tryExec(sql.toStdString()) == 0;
    const QString message = QString::fromUtf8(db().getErrorMsg());
    db().exec("ROLLBACK TO constraint_case");
    db().exec("RELEASE constraint_case");
    QVERIFY2(passed == accepted, qPrintable(message));
}

void TestMdbSchema::fixedTextIsPadded()
{
    db().exec("SAVEPOINT padding");
    db().exec("INSERT INTO Agenda (Numero, Date, Alarme, AlarmeRepet, Comportement, Frequence, FreqJours, FreqMois, "
              "Active, Decoupage, WinBackColor) VALUES (900, 1, 0, 0, 0, 0, '1', '101', 0, 0, 0)");
    QCOMPARE(rows(db(), "SELECT FreqJours || '#' || FreqMois || '#' FROM Agenda WHERE Numero = 900"),
        QStringLiteral("1      #101         #"));
    db().exec("UPDATE Agenda SET FreqJours = '11' WHERE Numero = 900");
    QCOMPARE(rows(db(), "SELECT FreqJours || '#' FROM Agenda WHERE Numero = 900"), QStringLiteral("11     #"));
    db().exec("ROLLBACK TO padding");
    db().exec("RELEASE padding");
}

void TestMdbSchema::alarmScanUsesItsIndex()
{
    const QString plan = rows(db(),
        "EXPLAIN QUERY PLAN SELECT * FROM Agenda WHERE Alarme = -1 AND Active = -1 AND "
        "DateAlarme <= Now() ORDER BY DateAlarme");
    QVERIFY2(plan.contains(QStringLiteral("Agenda_IndAlarme")), qPrintable(plan));
}

void TestMdbSchema::oaDates_data()
{
    QTest::addColumn<QDateTime>("local");
    QTest::addColumn<double>("value");
    QTest::newRow("epoch") << QDateTime(QDate(1899, 12, 30), QTime(0, 0)) << 0.0;
    QTest::newRow("1900-01-01") << QDateTime(QDate(1900, 1, 1), QTime(0, 0)) << 2.0;
    QTest::newRow("leap day noon") << QDateTime(QDate(2024, 2, 29), QTime(12, 0)) << 45351.5;
    QTest::newRow("evening") << QDateTime(QDate(2000, 1, 1), QTime(18, 0)) << 36526.75;
    QTest::newRow("before the epoch") << QDateTime(QDate(1899, 12, 29), QTime(6, 0)) << -1.25;
}

void TestMdbSchema::oaDates()
{
    QFETCH(QDateTime, local);
    QFETCH(double, value);
    QCOMPARE(Jet::toOaDate(local), value);
    QCOMPARE(Jet::fromOaDate(value), local);
    QVERIFY(!Jet::fromOaDate(1e9).isValid());
}

void TestMdbSchema::prefixMatchIsLiteral_data()
{
    QTest::addColumn<QString>("stored");
    QTest::addColumn<QString>("prefix");
    QTest::addColumn<bool>("ignoreCase");
    QTest::addColumn<bool>("matches");
    QTest::newRow("plain") << "/photos/a.jpg"
                           << "/photos/" << false << true;
    QTest::newRow("percent is literal") << "/photos/a.jpg"
                                        << "/pho%" << false << false;
    QTest::newRow("star is literal") << "/photos/a.jpg"
                                     << "/photos*" << false << false;
    QTest::newRow("paths keep case") << "/Photos/a.jpg"
                                     << "/photos/" << false << false;
    QTest::newRow("names ignore case") << "Vacances 2024"
                                       << "vacances" << true << true;
}

void TestMdbSchema::prefixMatchIsLiteral()
{
    QFETCH(QString, stored);
    QFETCH(QString, prefix);
    QFETCH(bool, ignoreCase);
    QFETCH(bool, matches);
    SQLite::Statement query(db(), ("SELECT " + Jet::startsWith("?2", "?1", ignoreCase)).toStdString());
    Jet::bindText(query, 1, prefix);
    Jet::bindText(query, 2, stored);
    QVERIFY(query.executeStep());
    QCOMPARE(query.getColumn(0).getInt() == 1, matches);
}

void TestMdbSchema::nowIsTheLocalDateFromTheClock()
{
    const QDateTime fixed(QDate(2024, 2, 29), QTime(23, 59, 30));
    m_mdb->setClock([fixed] { return fixed; });
    const double now = db().execAndGet("SELECT Now()").getDouble();
    m_mdb->setClock({});
    QCOMPARE(Jet::fromOaDate(now), fixed);
}

void TestMdbSchema::queriesAreKeptAndLentOnce()
{
    const std::string sql = "SELECT count(*) FROM TableImage WHERE Nom = ?";
    db().exec("INSERT INTO TableImage VALUES ('a''b'' OR ''1''=''1')");
    SQLite::Statement* first = nullptr;
    {
        MdbQuery outer = m_mdb->query(sql);
        first = &*outer;
        Jet::bindText(*outer, 1, QStringLiteral("a'b' OR '1'='1"));
        QVERIFY(outer->executeStep());
        QCOMPARE(outer->getColumn(0).getInt(), 1);
        MdbQuery inner = m_mdb->query(sql); // entered again while the first is in use
        QVERIFY(&*inner != first);
    }
    MdbQuery again = m_mdb->query(sql);
    QCOMPARE(&*again, first);
    QVERIFY(again->executeStep()); // the value of the first use is no longer bound: Null
    QCOMPARE(again->getColumn(0).getInt(), 0);
}

QTEST_GUILESS_MAIN(TestMdbSchema)
#include "tst_mdbschema.moc"
