// Files of older layouts, written here with plain SQL, brought up to date by Verify.
#include "ClsMdb.h"
#include "MdbSchema.h"
#include "MdbTestSupport.h"
#include "TempXdgHome.h"

#include <QtTest>

#include <SQLiteCpp/Database.h>

using MdbTest::columnOrder;
using MdbTest::rows;

namespace {

// The current Agenda as an older version of the program declared it, column by column.
const QStringList AgendaNow {"Numero INTEGER PRIMARY KEY AUTOINCREMENT", "Date DATE REAL NOT NULL",
    "Alarme BOOLEAN NOT NULL", "DateAlarme DATE REAL", "DateAlarmeOri DATE REAL",
    "AlarmeRepet BOOLEAN NOT NULL DEFAULT 0", "DateAlarmeFin DATE REAL", "AlarmeRepInterval INTEGER",
    "AlarmeRepFreq TINYINT", "Comportement TINYINT NOT NULL", "Frequence TINYINT NOT NULL",
    "FreqJours CHAR(7) NOT NULL", "FreqMois CHAR(12)", "Active BOOLEAN NOT NULL", "NoteRepInterval INTEGER",
    "NoteRepFreq TINYINT", "BirthDay DATE REAL", "SonRepet BOOLEAN", "WinLargeur FLOAT", "WinHauteur FLOAT",
    "WinPosX FLOAT", "WinPosY FLOAT", "Decoupage BOOLEAN NOT NULL", "DecoupBkColor INTEGER",
    "Transparence TINYINT DEFAULT 255", "TransparenceApply BOOLEAN DEFAULT -1", "WinBackColor INTEGER NOT NULL",
    "WinBackColorApply BOOLEAN DEFAULT -1"};

const QString AgendaOrder
    = "Numero,Date,Alarme,DateAlarme,DateAlarmeOri,AlarmeRepet,DateAlarmeFin,AlarmeRepInterval,"
      "AlarmeRepFreq,Comportement,Frequence,FreqJours,FreqMois,Active,NoteRepInterval,NoteRepFreq,"
      "BirthDay,SonRepet,WinLargeur,WinHauteur,WinPosX,WinPosY,Decoupage,DecoupBkColor,"
      "Transparence,TransparenceApply,WinBackColor,WinBackColorApply";

const QString AgendaRow
    = "INSERT INTO Agenda (Numero, Date, Alarme, DateAlarme, Comportement, Frequence, FreqJours, "
      "Active, Decoupage, WinBackColor, WinLargeur) VALUES (%1, 45000, -1, %2, 2, 1, '1000000', -1, "
      "0, 255, 320.5)";

const QStringList DiaporamaNow {"KeyAuto INTEGER PRIMARY KEY AUTOINCREMENT", "KeyDescrip INTEGER NOT NULL",
    "Ordre INTEGER NOT NULL", "Path VARCHAR(250) NOT NULL", "PathMusic VARCHAR(250)", "VolMusic TINYINT DEFAULT 100",
    "VolMusicComment TINYINT DEFAULT 100", "RehausMusic BOOLEAN DEFAULT 0", "RepetMusic BOOLEAN DEFAULT 0",
    "PathComment VARCHAR(250)", "VolComment TINYINT DEFAULT 100", "RepetComment BOOLEAN DEFAULT 0",
    "Texte VARCHAR(250)", "TexteAlign TINYINT", "TexteMarge INTEGER", "FontName VARCHAR(80)", "FontSize FLOAT",
    "FontBold BOOLEAN", "FontItalic BOOLEAN", "FontUnderline BOOLEAN", "ForeColor INTEGER", "BackColor INTEGER",
    "BackStyle TINYINT"};

QStringList without(QStringList columns, const QStringList& names)
{
    columns.removeIf([&names](const QString& column) { return names.contains(column.section(' ', 0, 0)); });
    return columns;
}

QStringList replaced(QStringList columns, const QString& name, const QString& definition)
{
    for (QString& column : columns) {
        if (column.section(' ', 0, 0) == name)
            column = definition;
    }
    return columns;
}

QString create(const QString& table, const QStringList& columns)
{
    return QStringLiteral("CREATE TABLE %1 (%2)").arg(table, columns.join(", "));
}

QString agendaOrderWith(const QString& after, const QString& extra)
{
    return QString(AgendaOrder).replace(after + ',', after + ',' + extra + ',');
}

} // namespace

class TestMdbUpgrade : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void upgradePath_data();
    void upgradePath();
    void oldestFileTakesEveryStepOnce();
    void counterGoesOnAfterARebuild();
    void failedStepLeavesTheTableAsItWas();

private:
    bool start();

    std::unique_ptr<TempXdgHome> m_home;
    QString m_file;
};

void TestMdbUpgrade::init()
{
    m_home = std::make_unique<TempXdgHome>();
    m_file = m_home->tapisolDataDir() + QStringLiteral("Tapisol.mdb");
    QDir().mkpath(m_home->tapisolDataDir());
    MdbTest::startTracing();
}

void TestMdbUpgrade::cleanup()
{
    m_home.reset();
}

bool TestMdbUpgrade::start()
{
    ClsMdb mdb;
    mdb.setMdbName(m_file);
    mdb.setLanguageFolder(QStringLiteral(TAPISOL_TEST_LANG_DIR));
    const bool ok = mdb.MdbInit();
    mdb.close();
    return ok;
}

void TestMdbUpgrade::upgradePath_data()
{
    QTest::addColumn<QStringList>("setup");
    QTest::addColumn<QString>("table");
    QTest::addColumn<QString>("order");
    QTest::addColumn<QString>("query");
    QTest::addColumn<QString>("expected");
    const QString agendaValues
        = "SELECT Numero, DateAlarme, AlarmeRepet, SonRepet, Comportement, FreqJours, WinLargeur, "
          "WinBackColor FROM Agenda ORDER BY Numero";
    QTest::newRow("without SonRepet") << QStringList {create("Agenda", without(AgendaNow, {"SonRepet"})),
        AgendaRow.arg(7).arg("45000.25")}
                                      << "Agenda" << AgendaOrder << agendaValues
                                      << "7|45000.25|0|-|2|1000000|320.5|255";
    QTest::newRow("without repeating alarms")
        << QStringList {create("Agenda",
                            without(AgendaNow,
                                {"DateAlarmeOri", "AlarmeRepet", "DateAlarmeFin", "AlarmeRepInterval", "AlarmeRepFreq",
                                    "FreqMois", "NoteRepInterval", "NoteRepFreq", "BirthDay"})),
               AgendaRow.arg(3).arg("45001.5")}
        << "Agenda" << AgendaOrder << agendaValues << "3|45001.5|0|-|2|1000000|320.5|255";
    QTest::newRow("Integer AlarmeRepInterval")
        << QStringList {create("Agenda", replaced(AgendaNow, "AlarmeRepInterval", "AlarmeRepInterval SMALLINT")),
               AgendaRow.arg(1).arg(45000), "UPDATE Agenda SET AlarmeRepInterval = 3"}
        << "Agenda" << agendaOrderWith("DateAlarmeFin", "AlarmeRepIntervalXX")
        << "SELECT Numero, AlarmeRepIntervalXX, AlarmeRepInterval, (SELECT type FROM pragma_table_info('Agenda') WHERE "
           "name = 'AlarmeRepIntervalXX') FROM Agenda"
        << "1|3|-|SMALLINT";
    QTest::newRow("with Heure")
        << QStringList {create("Agenda", QStringList(AgendaNow) << "Heure VARCHAR(5)"),
               "CREATE INDEX Agenda_IndDate ON Agenda (Date, Heure)", AgendaRow.arg(1).arg("45000.75"),
               AgendaRow.arg(2).arg(45000), AgendaRow.arg(3).arg("45000.5"), AgendaRow.arg(4).arg("NULL"),
               "UPDATE Agenda SET Heure = CASE Numero WHEN 1 THEN '14:30' WHEN 2 THEN '9h' WHEN 4 THEN "
               "'10:00' END"}
        << "Agenda" << AgendaOrder
        << "SELECT Numero, iif(DateAlarme IS NULL, NULL, printf('%.6f', DateAlarme)), (SELECT group_concat(name, '+') "
           "FROM "
           "pragma_index_info('Agenda_IndDate')) FROM Agenda ORDER BY Numero"
        << "1|45000.604167|Date+DateAlarme\n2|45000.000000|Date+DateAlarme\n3|45000.500000|Date+DateAlarme\n"
           "4|-|Date+DateAlarme";
    QTest::newRow("AlarmeTxt without TxtAlign")
        << QStringList {"CREATE TABLE AlarmeTxt (Numero INTEGER PRIMARY KEY AUTOINCREMENT, NumeroNote INTEGER NOT "
                        "NULL, "
                        "ObjType TINYINT NOT NULL DEFAULT 1, Texte VARCHAR(250), TxtPosX FLOAT DEFAULT 0)",
               "INSERT INTO AlarmeTxt (NumeroNote, Texte, TxtPosX) VALUES (4, 'Bonjour l''ami', 12.5)"}
        << "AlarmeTxt"
        << "Numero,NumeroNote,ObjType,Texte,TxtAlign,TxtPosX"
        << "SELECT Numero, NumeroNote, ObjType, Texte, TxtAlign, TxtPosX FROM AlarmeTxt"
        << "1|4|1|Bonjour l'ami|0|12.5";
    QTest::newRow("CodeLangue without KeyAuto") << QStringList {"CREATE TABLE CodeLangue (Code VARCHAR(3) NOT NULL, "
                                                                "Code2 VARCHAR(2), Langue VARCHAR(60) NOT NULL)",
        "INSERT INTO CodeLangue VALUES ('fra', 'fr', 'Français'), ('eng', 'en', 'Anglais')"}
                                                << "CodeLangue"
                                                << "KeyAuto,Code,Code2,Langue"
                                                << "SELECT * FROM CodeLangue ORDER BY KeyAuto"
                                                << "1|fra|fr|Français\n2|eng|en|Anglais";
    QTest::newRow("Byte TexteMarge")
        << QStringList {create("Diaporama", replaced(DiaporamaNow, "TexteMarge", "TexteMarge TINYINT")),
               "INSERT INTO Diaporama (KeyDescrip, Ordre, Path, Texte, TexteMarge, FontSize) VALUES (2, 1, "
               "'/p/a.jpg', 'Légende', 12, 9.5)"}
        << "Diaporama" << MdbSchema::table("Diaporama")->fieldNames().join(',')
        << "SELECT KeyAuto, KeyDescrip, Path, Texte, TexteMarge, FontSize, VolMusic FROM Diaporama"
        << "1|2|/p/a.jpg|Légende|-|9.5|100";
    QTest::newRow("old DiaporamaDesc") << QStringList {"CREATE TABLE DiaporamaDesc (KeyAuto INTEGER PRIMARY KEY "
                                                       "AUTOINCREMENT, Nom VARCHAR(100) NOT NULL)",
        "INSERT INTO DiaporamaDesc (KeyAuto, Nom) VALUES (5, 'Noël')"}
                                       << "DiaporamaDesc"
                                       << "KeyAuto,Nom,ExpoTime,Paswd"
                                       << "SELECT * FROM DiaporamaDesc"
                                       << "5|Noël|0|-";
}

void TestMdbUpgrade::upgradePath()
{
    QFETCH(QStringList, setup);
    QFETCH(QString, table);
    QFETCH(QString, order);
    QFETCH(QString, query);
    QFETCH(QString, expected);
    MdbTest::execAll(m_file, setup);
    QVERIFY(start());

    SQLite::Database db(m_file.toStdString());
    QCOMPARE(columnOrder(db, table), order);
    QCOMPARE(rows(db, query), expected);
    // Every field of the layout has its layout type, whatever the file had before.
    for (const MdbSchema::Field& field : MdbSchema::table(table)->fields) {
        const QString type = rows(db,
            QStringLiteral("SELECT type FROM pragma_table_info('%1') WHERE name = '%2'")
                .arg(table, QLatin1String(field.name)));
        if (!type.isEmpty())
            QCOMPARE(type, MdbSchema::declaredType(field));
    }
    QCOMPARE(rows(db, "SELECT user_version FROM pragma_user_version"), QString::number(MdbSchema::Version));
}

void TestMdbUpgrade::oldestFileTakesEveryStepOnce()
{
    MdbTest::execAll(m_file,
        {create("Agenda",
             without(AgendaNow,
                 {"SonRepet", "DateAlarmeOri", "AlarmeRepet", "DateAlarmeFin", "AlarmeRepInterval", "AlarmeRepFreq",
                     "FreqMois", "NoteRepInterval", "NoteRepFreq", "BirthDay"})
                 << "Heure VARCHAR(5)"),
            "CREATE TABLE AlarmeTxt (Numero INTEGER PRIMARY KEY AUTOINCREMENT, NumeroNote INTEGER NOT NULL)",
            "CREATE TABLE CodeLangue (Code VARCHAR(3) NOT NULL, Code2 VARCHAR(2), Langue VARCHAR(60) NOT NULL)",
            create("Diaporama", replaced(DiaporamaNow, "TexteMarge", "TexteMarge TINYINT")),
            "CREATE TABLE DiaporamaDesc (KeyAuto INTEGER PRIMARY KEY AUTOINCREMENT, Nom VARCHAR(100) NOT NULL)",
            AgendaRow.arg(1).arg(45000)});
    QVERIFY(start());
    const QStringList steps {"M1 Modify DataBase SonRepet", "M1 Modify DataBase DateAlarme", "M1 Modify DataBase Heure",
        "M1 Modify DataBase TxtAlign", "M1 Modify DataBase CodeLangue KeyAuto",
        "M1 Modify DataBase Diaporama TexteMarge", "M1 Modify DataBase DiaporamaDesc ExpoTime",
        "M1 Modify DataBase DiaporamaDesc Paswd"};
    QStringList seen = MdbTest::traceLines().filter("M1 Modify DataBase");
    QCOMPARE(seen, steps);
    {
        SQLite::Database db(m_file.toStdString());
        QCOMPARE(columnOrder(db, "Agenda"), AgendaOrder);
        QCOMPARE(rows(db, "SELECT Numero, Date, WinLargeur FROM Agenda"), QStringLiteral("1|45000.0|320.5"));
    }
    MdbTest::startTracing();
    QVERIFY(start()); // an up-to-date file: nothing more to do
    QVERIFY(MdbTest::traceLines().filter("M1 Modify DataBase").isEmpty());
}

void TestMdbUpgrade::counterGoesOnAfterARebuild()
{
    MdbTest::execAll(m_file,
        {create("Agenda", without(AgendaNow, {"SonRepet"})), AgendaRow.arg(10).arg(45000), AgendaRow.arg(5).arg(45000),
            "DELETE FROM Agenda WHERE Numero = 10"});
    QVERIFY(start());
    SQLite::Database db(m_file.toStdString(), SQLite::OPEN_READWRITE);
    db.exec("INSERT INTO Agenda (Date, Alarme, AlarmeRepet, Comportement, Frequence, FreqJours, Active, Decoupage, "
            "WinBackColor) VALUES (1, 0, 0, 0, 0, '0', 0, 0, 0)");
    QCOMPARE(db.getLastInsertRowid(), 11);
}

// A row that the current layout refuses stops the step: the table keeps its old layout and rows.
void TestMdbUpgrade::failedStepLeavesTheTableAsItWas()
{
    MdbTest::execAll(m_file,
        {create("Agenda", without(AgendaNow, {"SonRepet"})), AgendaRow.arg(1).arg(45000),
            "UPDATE Agenda SET Comportement = 300"});
    QVERIFY(!start());
    QVERIFY(QFileInfo::exists(m_file.chopped(4) + ".mdb.bad"));
    SQLite::Database db(m_file.toStdString());
    QCOMPARE(columnOrder(db, "Agenda"),
        without(AgendaNow, {"SonRepet"}).replaceInStrings(QRegularExpression(" .*"), "").join(','));
    QCOMPARE(rows(db, "SELECT Numero, Comportement FROM Agenda"), QStringLiteral("1|300"));
}

QTEST_GUILESS_MAIN(TestMdbUpgrade)
#include "tst_mdbupgrade.moc"
