// Files of older layouts, written here with plain SQL as older versions of the program declared
// their tables, brought up to date by the start.
#include "MdbSchema.h"
#include "MdbTestSupport.h"

#include <QtTest>

using MdbTest::columnOrder;
using MdbTest::rows;

namespace {

const QStringList AgendaNow {"Numero INTEGER PRIMARY KEY AUTOINCREMENT", "Date DATE REAL NOT NULL",
    "Alarme BOOLEAN NOT NULL", "DateAlarme DATE REAL", "DateAlarmeOri DATE REAL",
    "AlarmeRepet BOOLEAN NOT NULL DEFAULT 0", "DateAlarmeFin DATE REAL", "AlarmeRepInterval INTEGER",
    "AlarmeRepFreq TINYINT", "Comportement TINYINT NOT NULL", "Frequence TINYINT NOT NULL",
    "FreqJours CHAR(7) NOT NULL", "FreqMois CHAR(12)", "Active BOOLEAN NOT NULL", "NoteRepInterval INTEGER",
    "NoteRepFreq TINYINT", "BirthDay DATE REAL", "SonRepet BOOLEAN", "WinLargeur FLOAT", "WinHauteur FLOAT",
    "WinPosX FLOAT", "WinPosY FLOAT", "Decoupage BOOLEAN NOT NULL", "DecoupBkColor INTEGER",
    "Transparence TINYINT DEFAULT 255", "TransparenceApply BOOLEAN DEFAULT -1", "WinBackColor INTEGER NOT NULL",
    "WinBackColorApply BOOLEAN DEFAULT -1"};
const QStringList RepeatingAlarms {"DateAlarmeOri", "AlarmeRepet", "DateAlarmeFin", "AlarmeRepInterval",
    "AlarmeRepFreq", "FreqMois", "NoteRepInterval", "NoteRepFreq", "BirthDay"};

// Diaporama with TexteMarge still a Byte.
const QString OldDiaporama = "CREATE TABLE Diaporama (KeyAuto INTEGER PRIMARY KEY AUTOINCREMENT, KeyDescrip INTEGER "
                             "NOT NULL, Ordre INTEGER NOT NULL, Path VARCHAR(250) NOT NULL, PathMusic VARCHAR(250), "
                             "VolMusic TINYINT DEFAULT 100, VolMusicComment TINYINT DEFAULT 100, RehausMusic BOOLEAN "
                             "DEFAULT 0, RepetMusic BOOLEAN DEFAULT 0, PathComment VARCHAR(250), VolComment TINYINT "
                             "DEFAULT 100, RepetComment BOOLEAN DEFAULT 0, Texte VARCHAR(250), TexteAlign TINYINT, "
                             "TexteMarge TINYINT, FontName VARCHAR(80), FontSize FLOAT, FontBold BOOLEAN, FontItalic "
                             "BOOLEAN, FontUnderline BOOLEAN, ForeColor INTEGER, BackColor INTEGER, BackStyle TINYINT)";
const QString OldDiaporamaDesc = "CREATE TABLE DiaporamaDesc (KeyAuto INTEGER PRIMARY KEY AUTOINCREMENT, "
                                 "Nom VARCHAR(100) NOT NULL)";
const QString OldAlarmeTxt
    = "CREATE TABLE AlarmeTxt (Numero INTEGER PRIMARY KEY AUTOINCREMENT, NumeroNote INTEGER "
      "NOT NULL, ObjType TINYINT NOT NULL DEFAULT 1, Texte VARCHAR(250), TxtPosX FLOAT DEFAULT 0)";
const QString OldCodeLangue = "CREATE TABLE CodeLangue (Code VARCHAR(3) NOT NULL, Code2 VARCHAR(2), "
                              "Langue VARCHAR(60) NOT NULL)";

// Agenda without the fields `dropped`, with the declarations `added` at the end.
QString agenda(const QStringList& dropped, const QStringList& added = {})
{
    QStringList columns = AgendaNow;
    columns.removeIf([&dropped](const QString& column) { return dropped.contains(column.section(' ', 0, 0)); });
    return QStringLiteral("CREATE TABLE Agenda (%1)").arg((columns + added).join(", "));
}

QString agendaRow(int numero, const QString& dateAlarme)
{
    return QStringLiteral("INSERT INTO Agenda (Numero, Date, Alarme, DateAlarme, Comportement, Frequence, FreqJours, "
                          "Active, Decoupage, WinBackColor, WinLargeur) "
                          "VALUES (%1, 45000, -1, %2, 2, 1, '1000000', -1, 0, 255, 320.5)")
        .arg(numero)
        .arg(dateAlarme);
}

} // namespace

class TestMdbUpgrade : public QObject, MdbTest::Fixture
{
    Q_OBJECT

private slots:
    void init() { setUp(); }
    void cleanup() { home.reset(); }

    // `setup` writes the older file; after the start `query` gives `expected`, every table has the
    // fields it holds in the layout's order and types, the start traced the upgrade `steps`, and a
    // second start finds nothing to do. Without steps, the start must refuse the file as it is.
    void upgrade_data()
    {
        QTest::addColumn<QStringList>("setup");
        QTest::addColumn<QString>("query");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<QStringList>("steps");
        const QString agendaValues = "SELECT Numero, DateAlarme, AlarmeRepet, SonRepet, Comportement, FreqJours, "
                                     "WinLargeur, WinBackColor, (SELECT seq FROM sqlite_sequence WHERE name = "
                                     "'Agenda') FROM Agenda ORDER BY Numero";
        QTest::newRow("without SonRepet, the counter goes on")
            << QStringList {agenda({"SonRepet"}), agendaRow(10, "45000"), agendaRow(7, "45000.25"),
                   "DELETE FROM Agenda WHERE Numero = 10"}
            << agendaValues << "7|45000.25|0|-|2|1000000|320.5|255|10" << QStringList {"SonRepet"};
        // The Integer column is kept, renamed, beside the new Long one.
        QTest::newRow("Integer AlarmeRepInterval")
            << QStringList {agenda({}).replace("AlarmeRepInterval INTEGER", "AlarmeRepInterval SMALLINT"),
                   agendaRow(1, "45000"), "UPDATE Agenda SET AlarmeRepInterval = 3"}
            << "SELECT Numero, AlarmeRepIntervalXX, AlarmeRepInterval, (SELECT group_concat(name || ' ' || type) "
               "FROM pragma_table_info('Agenda') WHERE cid BETWEEN 6 AND 8) FROM Agenda"
            << "1|3|-|DateAlarmeFin DATE REAL,AlarmeRepIntervalXX SMALLINT,AlarmeRepInterval INTEGER"
            << QStringList {"AlarmeRepInterval"};
        // The alarm time folded into DateAlarme where both make a date; Heure and its index gone.
        QTest::newRow("with Heure")
            << QStringList {agenda({}, {"Heure VARCHAR(5)"}), "CREATE INDEX Agenda_IndDate ON Agenda (Date, Heure)",
                   agendaRow(1, "45000.75"), agendaRow(2, "45000"), agendaRow(3, "45000.5"), agendaRow(4, "NULL"),
                   "UPDATE Agenda SET Heure = CASE Numero WHEN 1 THEN '14:30' WHEN 2 THEN '9h' WHEN 4 THEN '10:00' "
                   "END"}
            << "SELECT Numero, iif(DateAlarme IS NULL, NULL, printf('%.6f', DateAlarme)), (SELECT "
               "group_concat(name, '+') FROM pragma_index_info('Agenda_IndDate')) FROM Agenda ORDER BY Numero"
            << "1|45000.604167|Date+DateAlarme\n2|45000.000000|Date+DateAlarme\n3|45000.500000|Date+DateAlarme\n"
               "4|-|Date+DateAlarme"
            << QStringList {"Heure"};
        QTest::newRow("oldest: every step once, in order")
            << QStringList {agenda(RepeatingAlarms + QStringList {"SonRepet"}, {"Heure VARCHAR(5)"}), OldAlarmeTxt,
                   OldCodeLangue, OldDiaporama, OldDiaporamaDesc, agendaRow(1, "45000"),
                   "INSERT INTO AlarmeTxt (NumeroNote, Texte, TxtPosX) VALUES (1, 'Bonjour l''ami', 12.5)",
                   "INSERT INTO CodeLangue VALUES ('fra', 'fr', 'Français'), ('eng', 'en', 'Anglais')",
                   "INSERT INTO Diaporama (KeyDescrip, Ordre, Path, Texte, TexteMarge, FontSize) "
                   "VALUES (2, 1, '/p/a.jpg', 'Légende', 12, 9.5)",
                   "INSERT INTO DiaporamaDesc (KeyAuto, Nom) VALUES (5, 'Noël')"}
            << "SELECT 'Agenda', Numero, Date, WinLargeur, AlarmeRepet FROM Agenda UNION ALL SELECT 'AlarmeTxt', "
               "NumeroNote, Texte, TxtAlign, TxtPosX FROM AlarmeTxt UNION ALL SELECT 'CodeLangue', KeyAuto, Code, "
               "Code2, Langue FROM CodeLangue UNION ALL SELECT 'Diaporama', Texte, TexteMarge, FontSize, VolMusic "
               "FROM Diaporama UNION ALL SELECT 'DiaporamaDesc', KeyAuto, Nom, ExpoTime, Paswd FROM DiaporamaDesc"
            << "Agenda|1|45000.0|320.5|0\nAlarmeTxt|1|Bonjour l'ami|0|12.5\nCodeLangue|1|fra|fr|Français\n"
               "CodeLangue|2|eng|en|Anglais\nDiaporama|Légende|-|9.5|100\nDiaporamaDesc|5|Noël|0|-"
            << QStringList {"SonRepet", "DateAlarme", "Heure", "TxtAlign", "CodeLangue KeyAuto", "Diaporama TexteMarge",
                   "DiaporamaDesc ExpoTime", "DiaporamaDesc Paswd"};
        // A row that the current layout refuses stops the step: the table keeps its layout and rows.
        QTest::newRow("refused row")
            << QStringList {agenda({"SonRepet"}), agendaRow(1, "45000"), "UPDATE Agenda SET Comportement = 300"}
            << "SELECT Numero, Comportement, (SELECT count(*) FROM pragma_table_info('Agenda')) FROM Agenda"
            << "1|300|27" << QStringList {};
    }

    void upgrade()
    {
        QFETCH(QStringList, setup);
        QFETCH(QString, query);
        QFETCH(QString, expected);
        QFETCH(QStringList, steps);
        MdbTest::execAll(file, setup);
        QCOMPARE(startAndClose(), !steps.isEmpty());
        QCOMPARE(QFileInfo::exists(copy(".mdb.bad")), steps.isEmpty());
        if (!steps.isEmpty())
            QCOMPARE(
                MdbTest::traceLines().filter("M1 Modify DataBase").replaceInStrings("M1 Modify DataBase ", ""), steps);
        {
            SQLite::Database db(file.toStdString());
            QCOMPARE(rows(db, query), expected);
            if (steps.isEmpty())
                return;
            QCOMPARE(rows(db, "PRAGMA user_version"), QString::number(MdbSchema::Version));
            for (const MdbSchema::Table& table : MdbSchema::tables()) {
                const QStringList names = columnOrder(db, table.name).split(',');
                QStringList found; // the layout's fields present, in the table's order, with their types
                QStringList wanted;
                for (const QString& name : names) {
                    if (table.field(name))
                        found << name + ' '
                                + rows(db,
                                    QStringLiteral("SELECT type FROM pragma_table_info('%1') WHERE name = '%2'")
                                        .arg(table.name, name));
                }
                for (const MdbSchema::Field& field : table.fields) {
                    if (names.contains(field.name))
                        wanted << field.name + (' ' + MdbSchema::declaredType(field));
                }
                QCOMPARE(found, wanted);
            }
        }
        MdbTest::startTracing();
        QVERIFY(startAndClose());
        QCOMPARE(MdbTest::traceLines().filter("M1 Modify DataBase"), QStringList());
    }
};

QTEST_GUILESS_MAIN(TestMdbUpgrade)
#include "tst_mdbupgrade.moc"
