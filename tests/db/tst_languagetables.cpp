#include "AppState.h"
#include "LanguageTables.h"
#include "LngParser.h"
#include "MdbSchema.h"
#include "TempXdgHome.h"
#include "Trace.h"

#include <QFile>
#include <QtTest>

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>

#include <memory>

using LngParser::Format;
using Kind = LngParser::Result::Kind;

Q_DECLARE_METATYPE(LngParser::Format)
Q_DECLARE_METATYPE(LngParser::Result::Kind)

class TestLanguageTables : public QObject
{
    Q_OBJECT

    std::unique_ptr<TempXdgHome> m_home;
    std::unique_ptr<SQLite::Database> m_db;

    QString folder() const { return m_home->path() + QStringLiteral("/lang"); }

    void writeFile(const QString& name, const QByteArray& content)
    {
        QFile file(folder() + QLatin1Char('/') + name);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(content);
    }

    QStringList traced() const
    {
        QFile log(Trace::logFilePath());
        return log.open(QIODevice::ReadOnly)
            ? QString::fromUtf8(log.readAll()).split(QStringLiteral("\r\n"), Qt::SkipEmptyParts)
            : QStringList();
    }

    // Counted through a connection of its own: rows that were never committed don't count.
    int rows(const char* table) const
    {
        SQLite::Database reader(m_db->getFilename(), SQLite::OPEN_READONLY);
        return reader.execAndGet(QByteArray("SELECT count(*) FROM ") + table).getInt();
    }

    // The committed files of the source tree, so that a test run checks what is shipped.
    static QString shippedFolder() { return QFileInfo(QFINDTESTDATA("../../data/lang/Pays.Lng")).absolutePath(); }

    // Rows of the shipped file: every line that is not blank, a comment or a section header.
    static int entryLines(const QString& path)
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return -1;
        int count = 0;
        for (const QByteArray& line : file.readAll().split('\n'))
            count += !line.trimmed().isEmpty() && !line.startsWith(';') && !line.startsWith('[');
        return count;
    }

private slots:
    void init()
    {
        m_home = std::make_unique<TempXdgHome>();
        appState() = AppState();
        appState().trace = true;
        appState().silent = true;
        Trace::resetForTests();
        QVERIFY(QDir().mkpath(folder()));
        m_db = std::make_unique<SQLite::Database>(
            (m_home->path() + QStringLiteral("/t.mdb")).toStdString(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
        for (const char* table : {"CodeLangue", "Pays"}) {
            for (const QString& statement : MdbSchema::createAllSql(*MdbSchema::table(QLatin1String(table))))
                m_db->exec(statement.toStdString());
        }
    }

    void cleanup()
    {
        m_db.reset();
        m_home.reset();
    }

    void parse_data()
    {
        QTest::addColumn<Format>("format");
        QTest::addColumn<QString>("line");
        QTest::addColumn<Kind>("kind");
        QTest::addColumn<QStringList>("columns");
        const Format lng = Format::Languages;
        const Format pays = Format::Countries;
        QTest::newRow("two codes: second kept")
            << lng << "fr  fre/fra  français" << Kind::Entry << QStringList {"fr", "fra", "français"};
        QTest::newRow("one code, no code2")
            << lng << "    eng      anglais " << Kind::Entry << QStringList {"", "eng", "anglais"};
        QTest::newRow("comment") << lng << ";fr  fre/fra  français" << Kind::Skipped << QStringList {};
        QTest::newRow("section") << lng << "[fr  fre/fra  français" << Kind::Skipped << QStringList {};
        QTest::newRow("blank") << lng << "   " << Kind::Skipped << QStringList {};
        QTest::newRow("empty code") << lng << "xx           nom" << Kind::Skipped << QStringList {};
        QTest::newRow("empty second code") << lng << "xx  fre/     nom" << Kind::Skipped << QStringList {};
        QTest::newRow("code too long") << lng << "xx  abcdefg  nom" << Kind::Invalid << QStringList {};
        QTest::newRow("no name") << lng << "xx  abc" << Kind::Invalid << QStringList {};
        QTest::newRow("country") << pays << "ES US Estados Unidos" << Kind::Entry
                                 << QStringList {"ES", "US", "Estados Unidos"};
        QTest::newRow("country without code") << pays << "FR    Nulle part" << Kind::Skipped << QStringList {};
        QTest::newRow("country without language") << pays << "   US Nowhere" << Kind::Invalid << QStringList {};
        QTest::newRow("name cut to its column")
            << pays << "FR XX " + QString(70, u'é') << Kind::Entry << QStringList {"FR", "XX", QString(50, u'é')};
    }

    void parse()
    {
        QFETCH(Format, format);
        QFETCH(QString, line);
        QFETCH(Kind, kind);
        QFETCH(QStringList, columns);
        const LngParser::Result result = LngParser::parse(format, line);
        QCOMPARE(result.kind, kind);
        if (kind == Kind::Entry)
            QCOMPARE((QStringList {result.entry.first, result.entry.code, result.entry.name}), columns);
        QCOMPARE(result.kind == Kind::Invalid, !result.problem.isEmpty());
    }

    void splitLines_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<bool>("notUtf8");
        QTest::newRow("bom, crlf") << QByteArray("\xef\xbb\xbf;x\r\n\r\nfr\r\n") << QStringList {";x", "", "fr"}
                                   << false;
        QTest::newRow("cr only, no final end") << QByteArray("a\rb") << QStringList {"a", "b"} << false;
        QTest::newRow("windows-1252") << QByteArray("c\x9cur \xe9t\xe9\n") << QStringList {"cœur été"} << true;
        QTest::newRow("utf-16 with bom") << QByteArray("\xff\xfe\x61\x00\n\x00\xe9\x00", 8) << QStringList {"a", "é"}
                                         << false;
    }

    void splitLines()
    {
        QFETCH(QByteArray, content);
        QFETCH(QStringList, lines);
        QFETCH(bool, notUtf8);
        const QList<LngParser::Line> split = LngParser::splitLines(content);
        QStringList texts;
        for (const LngParser::Line& line : split)
            texts.append(line.text);
        QCOMPARE(texts, lines);
        QCOMPARE(split.first().notUtf8, notUtf8);
    }

    void traceLinesInOrder()
    {
        writeFile(QStringLiteral("Langues.Lng"), "; test\n[Langues]\nfr  fre/fra  français\n    eng      anglais\n");
        LanguageTables::traceBegin(LanguageTables::Table::CodeLangue);
        LanguageTables::traceCreated(LanguageTables::Table::CodeLangue);
        QVERIFY(LanguageTables::fillCodeLangue(*m_db, folder()));
        QCOMPARE(traced(),
            (QStringList {"M1 CreateTableCodeLangue, Begin", "M1 CreateTableCodeLangue, Created",
                "M1 CreateTableCodeLangue, Load", "M1 CreateTableCodeLangue, Loaded"}));
        QCOMPARE(rows("CodeLangue"), 2);
    }

    void missingFileKeepsRows()
    {
        m_db->exec("INSERT INTO Pays (Langue, Code, Pays) VALUES ('FR', 'FR', 'France')");
        QVERIFY(!LanguageTables::fillPays(*m_db, folder()));
        const QStringList lines = traced();
        QCOMPARE(lines.size(), 2);
        QCOMPARE(lines[0], QStringLiteral("M1 CreateTablePays, Load"));
        QVERIFY2(lines[1].startsWith(QStringLiteral("M1 CreateTablePays, Err ")) && lines[1].contains("Pays.Lng"),
            qPrintable(lines[1]));
        QCOMPARE(rows("Pays"), 1);
    }

    void badFileLoadsUpToTheRefusedRow()
    {
        // Windows-1252 text and CRLF after a BOM; a line the table can't hold; an overlong name; a
        // name repeated in another case, refused by the unique index; a row after it.
        const QString lines = QStringLiteral("fr  fre/fra  français\r\n"
                                             "xx  toolong  nom\r\n"
                                             "ia  ina      interlingua%1\r\n"
                                             "de  ger/deu  allemand\r\n"
                                             "FR  frb      Français\r\n"
                                             "it  ita      italien\r\n");
        writeFile(
            QStringLiteral("Langues.Lng"), "\xef\xbb\xbf; Langues\r\n" + lines.arg(QString(200, u'x')).toLatin1());
        QVERIFY(!LanguageTables::fillCodeLangue(*m_db, folder()));
        QCOMPARE(rows("CodeLangue"), 3);
        const auto fr = LanguageTables::languageOfCode(*m_db, QStringLiteral("fra"));
        QVERIFY(fr);
        QCOMPARE(fr->name, QStringLiteral("français"));
        QCOMPARE(LanguageTables::languageOfCode(*m_db, QStringLiteral("ina"))->name.size(), 60);
        QVERIFY(!LanguageTables::languageOfCode(*m_db, QStringLiteral("ita")));

        const QStringList traces = traced();
        QCOMPARE(traces.filter("ligne 2 n'est pas en UTF-8").size(), 1);
        QCOMPARE(traces.filter("ligne 3 ignorée").size(), 1);
        QCOMPARE(traces.filter("ligne 4 : nom coupé à 60").size(), 1);
        QVERIFY2(traces.last().startsWith("M1 CreateTableCodeLangue, Err Langues.Lng ligne 6 : UNIQUE"),
            qPrintable(traces.last()));
        QVERIFY(traces.filter("Loaded").isEmpty());
    }

    void shippedFilesLoadCompletely()
    {
        const QString shipped = shippedFolder();
        QVERIFY(LanguageTables::fillCodeLangue(*m_db, shipped));
        QVERIFY(LanguageTables::fillPays(*m_db, shipped));
        QCOMPARE(rows("CodeLangue"), entryLines(shipped + "/Langues.Lng"));
        QCOMPARE(rows("Pays"), entryLines(shipped + "/Pays.Lng"));
        QVERIFY(rows("CodeLangue") > 150 && rows("Pays") > 3 * 240);

        const auto fr = LanguageTables::codesOfLanguage(*m_db, QStringLiteral("Français"));
        QVERIFY(fr);
        QCOMPARE((QStringList {fr->code2, fr->code}), (QStringList {"fr", "fra"}));
        QCOMPARE(LanguageTables::languageOfCode(*m_db, QStringLiteral("deu"))->name, QStringLiteral("allemand"));
        QVERIFY(!LanguageTables::codesOfLanguage(*m_db, QStringLiteral("klingon")));
        QCOMPARE(LanguageTables::countryCode(*m_db, "FR", "Côte d'Ivoire"), std::optional<QString>("CI"));
        QCOMPARE(LanguageTables::countryCode(*m_db, "EN", "Germany"), std::optional<QString>("DE"));
        QCOMPARE(LanguageTables::countryCode(*m_db, "ES", "España"), std::optional<QString>("ES"));
        QVERIFY(!LanguageTables::countryCode(*m_db, "EN", "France' OR '1'='1"));

        const qint64 key = m_db->execAndGet("SELECT KeyAuto FROM Pays WHERE Langue = 'FR' AND Code = 'DE'").getInt64();
        const auto germany = LanguageTables::countryByKey(*m_db, key);
        QVERIFY(germany);
        QCOMPARE((QStringList {germany->code, germany->name}), (QStringList {"DE", "Allemagne"}));
        QVERIFY(!LanguageTables::countryByKey(*m_db, -1));
    }

    void countryList_data()
    {
        QTest::addColumn<QString>("ui");
        QTest::addColumn<QString>("language");
        QTest::addColumn<QString>("selected");
        QTest::addColumn<QStringList>("inOrder"); // names the list must show in this order
        QTest::newRow("FRA") << "FRA"
                             << "FR"
                             << "France" << QStringList {"Égypte", "Espagne", "Zimbabwe"};
        QTest::newRow("SPA keeps US") << "SPA"
                                      << "ES"
                                      << "Estados Unidos" << QStringList {"Alemania", "Zimbabue"};
        QTest::newRow("ENG") << "ENG"
                             << "EN"
                             << "United States" << QStringList {"Åland Islands", "Albania"};
        QTest::newRow("any other") << " deu"
                                   << "EN"
                                   << "United States" << QStringList {};
    }

    void countryList()
    {
        QFETCH(QString, ui);
        QFETCH(QString, language);
        QFETCH(QString, selected);
        QFETCH(QStringList, inOrder);
        const QString shipped = shippedFolder();
        QVERIFY(LanguageTables::fillPays(*m_db, shipped));
        const LanguageTables::CountryList list = LanguageTables::countryList(*m_db, ui);
        QCOMPARE(list.language, language);
        QCOMPARE(list.items.size(), rows("Pays") / 3);
        QVERIFY(list.selected >= 0);
        QCOMPARE(list.items[list.selected].name, selected);
        QCOMPARE(LanguageTables::countryByKey(*m_db, list.items[list.selected].keyAuto)->name, selected);
        qsizetype previous = -1;
        for (const QString& name : inOrder) {
            const auto at = std::find_if(list.items.cbegin(), list.items.cend(),
                [&name](const LanguageTables::CountryItem& item) { return item.name == name; });
            QVERIFY2(at != list.items.cend(), qPrintable(name));
            QVERIFY2(at - list.items.cbegin() > previous, qPrintable(name));
            previous = at - list.items.cbegin();
        }
    }

    void noTablesNoCrash()
    {
        m_db->exec("DROP TABLE Pays; DROP TABLE CodeLangue");
        QVERIFY(!LanguageTables::fillPays(*m_db, shippedFolder()));
        QVERIFY(!LanguageTables::codesOfLanguage(*m_db, QStringLiteral("français")));
        const LanguageTables::CountryList list = LanguageTables::countryList(*m_db, QStringLiteral("FRA"));
        QVERIFY(list.items.isEmpty());
        QCOMPARE(list.selected, -1);
        QVERIFY(traced().last().startsWith(QStringLiteral("ClsMdb Pays liste, Err ")));
    }
};

QTEST_GUILESS_MAIN(TestLanguageTables)
#include "tst_languagetables.moc"
