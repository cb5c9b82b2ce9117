// The player's command line: Tapisol's slash switches and the export options typed in a terminal.
#include "InterfaceTexts.h"
#include "PlayerCommandLine.h"
#include "PlayerHandOff.h"

#include <QtTest>

class TestPlayerCommandLine : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(interfaceTexts().load(QStringLiteral("ENG"))); }

    void switches()
    {
        const PlayerCommandLine line = PlayerCommandLine::parse({QStringLiteral("defilor"), QStringLiteral("/PREVIEW"),
            QStringLiteral("/Trace"), QStringLiteral("/tpdiaporama"), QLatin1String(PlayerHandOff::Token)});
        QVERIFY(line.switches.preview && line.switches.trace && line.switches.tpdiaporama);
        QVERIFY(line.switches.tokenValid);
        QVERIFY(line.exportFile.isEmpty() && line.error.isEmpty());
        QVERIFY(!PlayerCommandLine::parse({QStringLiteral("defilor"), QStringLiteral("/000000000000")})
                     .switches.tokenValid);
    }

    void exportOptions_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("file");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<bool>("refused");
        QTest::newRow("file, default size")
            << QStringList {"--export", "a b.webm"} << "a b.webm" << QSize(1280, 720) << false;
        QTest::newRow("both with =") << QStringList {"--export=x.webm", "--size=640x360"} << "x.webm" << QSize(640, 360)
                                     << false;
        QTest::newRow("odd side") << QStringList {"--export", "x.webm", "--size", "641x360"} << "x.webm"
                                  << QSize(1280, 720) << true;
        QTest::newRow("too large") << QStringList {"--export", "x.webm", "--size", "8000x4000"} << "x.webm"
                                   << QSize(1280, 720) << true;
        QTest::newRow("not a size") << QStringList {"--export", "x.webm", "--size", "large"} << "x.webm"
                                    << QSize(1280, 720) << true;
        QTest::newRow("no file") << QStringList {"--export"} << "" << QSize(1280, 720) << true;
        QTest::newRow("unknown option") << QStringList {"--loop"} << "" << QSize(1280, 720) << true;
    }
    void exportOptions()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, file);
        QFETCH(QSize, size);
        QFETCH(bool, refused);
        const PlayerCommandLine line = PlayerCommandLine::parse(QStringList {QStringLiteral("defilor")} + arguments);
        QCOMPARE(line.exportFile, file);
        QCOMPARE(line.exportSize, size);
        QCOMPARE(!line.error.isEmpty(), refused);
        QVERIFY(!line.error.startsWith(QLatin1Char('#'))); // a text of the language file
    }
};

QTEST_APPLESS_MAIN(TestPlayerCommandLine)
#include "tst_playercommandline.moc"
