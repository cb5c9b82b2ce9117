// The layout of a new Tapisol.mdb, its constraints, and the statements lent by the database object.
#include "JetValues.h"
#include "MdbTestSupport.h"

#include <QtTest>

using MdbTest::rows;

class TestMdbSchema : public QObject, MdbTest::Fixture
{
    Q_OBJECT

    std::unique_ptr<ClsMdb> m_mdb; // closed before the fixture's home goes

    SQLite::Database& db() { return m_mdb->database(); }

private slots:
    void initTestCase()
    {
        setUp();
        m_mdb = makeMdb();
        QVERIFY(m_mdb->MdbInit());
    }

    // Written out by hand, so that a slip in the layout data shows: each Jet type under the declared
    // type that keeps it apart, Required as NOT NULL, the defaults as Jet stores them, and each kind
    // of index under its name <Table>_<Index> with its fields, a counter's as a named primary key.
    void layoutByHand()
    {
        QCOMPARE(rows(db(),
                     "SELECT m.name || '.' || p.name, p.type, p.\"notnull\", p.dflt_value FROM sqlite_master m, "
                     "pragma_table_info(m.name) p WHERE m.type = 'table' AND m.name || '.' || p.name IN ("
                     "'Agenda.Numero', 'Agenda.Date', 'Agenda.Alarme', 'Agenda.FreqJours', 'Agenda.FreqMois', "
                     "'Agenda.AlarmeRepFreq', 'Agenda.Transparence', 'Agenda.TransparenceApply', 'Agenda.WinLargeur', "
                     "'AlarmeTxt.TxtInterval', 'AlbumPictures.Path', 'Diaporama.RehausMusic') ORDER BY 1"),
            QStringLiteral("Agenda.Alarme|BOOLEAN|1|-\nAgenda.AlarmeRepFreq|TINYINT|0|-\nAgenda.Date|DATE REAL|1|-\n"
                           "Agenda.FreqJours|CHAR(7)|1|-\nAgenda.FreqMois|CHAR(12)|0|-\nAgenda.Numero|INTEGER|1|-\n"
                           "Agenda.Transparence|TINYINT|0|255\nAgenda.TransparenceApply|BOOLEAN|0|-1\n"
                           "Agenda.WinLargeur|FLOAT|0|-\nAlarmeTxt.TxtInterval|SMALLINT|0|1\n"
                           "AlbumPictures.Path|VARCHAR(250)|1|-\nDiaporama.RehausMusic|BOOLEAN|0|0"));
        QCOMPARE(rows(db(),
                     "SELECT group_concat(x, ' ') FROM (SELECT l.name || ':' || l.\"unique\" || ':' || (SELECT "
                     "group_concat(name, '+') FROM pragma_index_info(l.name)) AS x FROM sqlite_master m, "
                     "pragma_index_list(m.name) l WHERE m.name IN ('TableImage', 'Agenda', 'Pays', 'AlbumPictures', "
                     "'VolumeDesc', 'DiaporamaDesc') AND l.origin = 'c' ORDER BY 1)"),
            QStringLiteral("Agenda_IndAlarme:0:Alarme+Active+DateAlarme Agenda_IndDate:0:Date+DateAlarme "
                           "AlbumPictures_ThumbPath:1:ThumbPath AlbumPictures_VolPath:1:VolSerial+Path "
                           "DiaporamaDesc_Nom:1:Nom Pays_IndCod:1:Langue+Pays Pays_IndLng:1:Langue+Code "
                           "TableImage_IndNom:1:Nom VolumeDesc_KeyVol:1:KeyVol"));
        const QString agenda = rows(db(), "SELECT sql FROM sqlite_master WHERE name = 'Agenda'");
        QVERIFY2(agenda.contains("\"Numero\" INTEGER NOT NULL CONSTRAINT \"Agenda_Numero\" PRIMARY KEY AUTOINCREMENT"),
            qPrintable(agenda));
    }

    // Each case runs its statements in order: all but the last must pass, the last passes or not.
    void constraints_data()
    {
        QTest::addColumn<QString>("sql");
        QTest::addColumn<bool>("accepted");
        const QString album = "INSERT INTO Albums (Nom, DateCreation, DateModif, StateOpen) VALUES ";
        const QString text = "INSERT INTO AlarmeTxt (NumeroNote, Texte, TxtInterval) VALUES ";
        const QString picture = "INSERT INTO AlbumPictures (VolSerial, Path, ThumbPath, ImageDateTime) VALUES ";
        const QString firstPicture = picture + "(1, '/a.jpg', '/t1', 1)\n" + picture;
        QTest::newRow("empty name") << album + "('', 1, 1, 0)" << false;
        QTest::newRow("name too long") << album + "(printf('%0251d', 1), 1, 1, 0)" << false;
        QTest::newRow("boolean 1") << album + "('x', 1, 1, 1)" << false;
        QTest::newRow("date as text") << album + "('x', '2024-01-01', 1, 0)" << false;
        QTest::newRow("byte 256") << QString("INSERT INTO VolumeDesc VALUES (1, 256, 'x')") << false;
        QTest::newRow("integer 32768") << text + "(1, 'x', 32768)" << false;
        QTest::newRow("empty text where allowed") << text + "(1, '', -32768)" << true;
        QTest::newRow("same volume and path") << firstPicture + "(1, '/a.jpg', '/t2', 1)" << false;
        QTest::newRow("path on another volume") << firstPicture + "(2, '/a.jpg', '/t2', 1)" << true;
        QTest::newRow("paths keep case") << firstPicture + "(1, '/A.jpg', '/t2', 1)" << true;
        QTest::newRow("same thumbnail") << firstPicture + "(1, '/b.jpg', '/t1', 1)" << false;
        QTest::newRow("no thumbnail (Required index)") << picture + "(1, '/a.jpg', NULL, 1)" << false;
        QTest::newRow("project names ignore case") << QString("INSERT INTO DiaporamaDesc (Nom) VALUES ('Vacances')\n"
                                                              "INSERT INTO DiaporamaDesc (Nom) VALUES ('VACANCES')")
                                                   << false;
        QTest::newRow("country without code")
            << QString("INSERT INTO Pays (Langue, Pays) VALUES ('ZZ', 'Nulle part')") << false;
    }

    void constraints()
    {
        QFETCH(QString, sql);
        QFETCH(bool, accepted);
        QStringList statements = sql.split('\n');
        const std::string tested = statements.takeLast().toStdString();
        db().exec("SAVEPOINT constraint_case");
        for (const QString& setup : statements)
            db().exec(setup.toStdString());
        const bool passed = db().tryExec(tested) == 0;
        const QString message = QString::fromUtf8(db().getErrorMsg());
        db().exec("ROLLBACK TO constraint_case");
        db().exec("RELEASE constraint_case");
        QVERIFY2(passed == accepted, qPrintable(message));
    }

    void fixedTextIsPadded()
    {
        db().exec("INSERT INTO Agenda (Numero, Date, Alarme, AlarmeRepet, Comportement, Frequence, FreqJours, "
                  "FreqMois, Active, Decoupage, WinBackColor) VALUES (900, 1, 0, 0, 0, 0, '1', '101', 0, 0, 0)");
        QCOMPARE(rows(db(), "SELECT FreqJours || '#' || FreqMois || '#' FROM Agenda WHERE Numero = 900"),
            QStringLiteral("1      #101         #"));
        db().exec("UPDATE Agenda SET FreqJours = '11' WHERE Numero = 900");
        QCOMPARE(rows(db(), "SELECT FreqJours || '#' FROM Agenda WHERE Numero = 900"), QStringLiteral("11     #"));
    }

    // A statement is kept for the next call, and lent to one user at a time; no value stays bound.
    void queriesAreKeptAndLentOnce()
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
};

QTEST_GUILESS_MAIN(TestMdbSchema)
#include "tst_mdbschema.moc"
