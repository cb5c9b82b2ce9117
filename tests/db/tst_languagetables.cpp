// The language and country lists: the .Lng files read line by line and loaded into real tables.
#include "LanguageTables.h"
#include "LngParser.h"
#include "MdbSchema.h"
#include "MdbTestSupport.h"

#include <QtTest>

using LngParser::Format;
using MdbTest::traceLines;

Q_DECLARE_METATYPE(LngParser::Format)

class TestLanguageTables : public QObject, MdbTest::Fixture
{
    Q_OBJECT

    std::unique_ptr<SQLite::Database> m_db;
    const QString m_shipped = QStringLiteral(TAPISOL_TEST_LANG_DIR);

    QString folder() const { return home->path() + QStringLiteral("/lang"); }

    // Counted through a connection of its own: rows that were never committed don't count.
    int count(const char* table) const
    {
        SQLite::Database reader(file.toStdString(), SQLite::OPEN_READONLY);
        return reader.execAndGet(QByteArray("SELECT count(*) FROM ") + table).getInt();
    }

private slots:
    void init()
    {
        setUp();
        QVERIFY(QDir().mkpath(folder()));
        m_db = std::make_unique<SQLite::Database>(file.toStdString(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
        for (const char* table : {"CodeLangue", "Pays"}) {
            for (const QString& statement : MdbSchema::createAllSql(*MdbSchema::table(QLatin1String(table))))
                m_db->exec(statement.toStdString());
        }
    }

    void cleanup()
    {
        m_db.reset();
        home.reset();
    }

    // Each line of a file as the loader sees it: "first|code|name" for an entry, "-" for a line
    // that carries nothing, "!" for one the table cannot hold; "~" marks a line that was not UTF-8.
    void parse_data()
    {
        QTest::addColumn<Format>("format");
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("lines");
        const Format lng = Format::Languages;
        const Format pays = Format::Countries;
        const QString utf16 = QStringLiteral("\uFEFF    eng      été\n;x");
        QTest::newRow("codes, cr only, no final end")
            << lng << QByteArray("fr  fre/fra  français\r    eng      anglais ") << "fr|fra|français\n|eng|anglais";
        QTest::newRow("nothing to load") << lng << QByteArray(";fr  x\n[fr  x\n   \nxx           nom\nxx  fre/     nom")
                                         << "-\n-\n-\n-\n-";
        QTest::newRow("refused: code too long, no name") << lng << QByteArray("xx  abcdefg  nom\nxx  abc") << "!\n!";
        QTest::newRow("countries") << pays << QByteArray("ES US Estados Unidos\nFR    Nulle part\n   US Nowhere")
                                   << "ES|US|Estados Unidos\n-\n!";
        QTest::newRow("name cut to its column")
            << pays << ("FR XX " + QString(70, u'é')).toUtf8() << "FR|XX|" + QString(50, u'é');
        QTest::newRow("bom, crlf") << lng
                                   << QByteArray("\xef\xbb\xbf"
                                                 "fr  fre/fra  français\r\n\r\n;x\r\n")
                                   << "fr|fra|français\n-\n-";
        QTest::newRow("windows-1252") << lng << QByteArray("fr  fre/fra  c\x9cur \xe9t\xe9\n") << "~fr|fra|cœur été";
        QTest::newRow("utf-16 with bom") << lng
                                         << QByteArray(reinterpret_cast<const char*>(utf16.utf16()), utf16.size() * 2)
                                         << "|eng|été\n-";
    }

    void parse()
    {
        QFETCH(Format, format);
        QFETCH(QByteArray, content);
        QFETCH(QString, lines);
        QStringList seen;
        for (const LngParser::Line& line : LngParser::splitLines(content)) {
            const LngParser::Result result = LngParser::parse(format, line.text);
            const QString entry = QStringList {result.entry.first, result.entry.code, result.entry.name}.join('|');
            const QString kind = result.kind == LngParser::Result::Kind::Invalid ? "!" : "-";
            seen << (line.notUtf8 ? "~" : "") + (result.kind == LngParser::Result::Kind::Entry ? entry : kind);
        }
        QCOMPARE(seen.join('\n'), lines);
    }

    // A missing file leaves the rows as they were; a missing table makes no crash.
    void failedFill()
    {
        m_db->exec("INSERT INTO Pays (Langue, Code, Pays) VALUES ('FR', 'FR', 'France')");
        QVERIFY(!LanguageTables::fillPays(*m_db, folder()));
        const QStringList lines = traceLines();
        QCOMPARE(lines.size(), 2);
        QCOMPARE(lines[0], QStringLiteral("M1 CreateTablePays, Load"));
        QVERIFY2(
            lines[1].startsWith("M1 CreateTablePays, Err ") && lines[1].contains("Pays.Lng"), qPrintable(lines[1]));
        QCOMPARE(count("Pays"), 1);
        m_db->exec("DROP TABLE Pays");
        QVERIFY(!LanguageTables::fillPays(*m_db, m_shipped));
        QVERIFY(traceLines().last().startsWith(QStringLiteral("M1 CreateTablePays, Err ")));
    }

    // Windows-1252 text and CRLF after a BOM; a line the table can't hold; an overlong name; a
    // name repeated in another case, refused by the unique index: nothing after it is loaded.
    void badFileLoadsUpToTheRefusedRow()
    {
        const QString lines
            = QStringLiteral("fr  fre/fra  français\r\nxx  toolong  nom\r\nia  ina      interlingua%1\r\n"
                             "de  ger/deu  allemand\r\nFR  frb      Français\r\nit  ita      italien\r\n");
        QVERIFY(MdbTest::writeFile(folder() + QStringLiteral("/Langues.Lng"),
            "\xef\xbb\xbf; Langues\r\n" + lines.arg(QString(200, u'x')).toLatin1()));
        QVERIFY(!LanguageTables::fillCodeLangue(*m_db, folder()));
        QCOMPARE(count("CodeLangue"), 3);
        QCOMPARE(LanguageTables::languageOfCode(*m_db, QStringLiteral("fra"))->name, QStringLiteral("français"));
        QCOMPARE(LanguageTables::languageOfCode(*m_db, QStringLiteral("ina"))->name.size(), 60);
        QVERIFY(!LanguageTables::languageOfCode(*m_db, QStringLiteral("ita")));
        const QStringList traces = traceLines();
        QCOMPARE(traces.filter("ligne 2 n'est pas en UTF-8").size(), 1);
        QCOMPARE(traces.filter("ligne 3 ignorée").size(), 1);
        QCOMPARE(traces.filter("ligne 4 : nom coupé à 60").size(), 1);
        QVERIFY2(traces.last().startsWith("M1 CreateTableCodeLangue, Err Langues.Lng ligne 6 : UNIQUE"),
            qPrintable(traces.last()));
        QVERIFY(traces.filter("Loaded").isEmpty());
    }

    // Every entry of the shipped files is loaded: each line that is not blank, a comment or a header.
    void shippedFilesLoadCompletely()
    {
        QVERIFY(LanguageTables::fillCodeLangue(*m_db, m_shipped));
        QVERIFY(LanguageTables::fillPays(*m_db, m_shipped));
        for (const char* table : {"CodeLangue", "Pays"}) {
            int entries = 0;
            const char* name = qstrcmp(table, "Pays") == 0 ? "/Pays.Lng" : "/Langues.Lng";
            for (const QByteArray& line : MdbTest::contentOf(m_shipped + name).split('\n'))
                entries += !line.trimmed().isEmpty() && !line.startsWith(';') && !line.startsWith('[');
            QCOMPARE(count(table), entries);
        }
        QVERIFY(count("CodeLangue") > 150 && count("Pays") > 3 * 240);
    }
};

QTEST_GUILESS_MAIN(TestLanguageTables)
#include "tst_languagetables.moc"
