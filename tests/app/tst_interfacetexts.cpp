#include "AppState.h"
#include "InterfaceTexts.h"
#include "TempXdgHome.h"
#include "Trace.h"

#include <QFile>
#include <QtTest>

// Language files as users and translators leave them: BOMs, CRLF, Latin-1, mistakes.
class TestInterfaceTexts : public QObject
{
    Q_OBJECT

private slots:
    void parsing_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<int>("number");
        QTest::addColumn<QString>("expected");
        QTest::newRow("plain") << QByteArray("311=est déjà lancé\n") << 311 << QStringLiteral("est déjà lancé");
        QTest::newRow("bom and crlf") << QByteArray("\xef\xbb\xbf"
                                                    "311=a\r\n374=Quitter\r\n")
                                      << 374 << QStringLiteral("Quitter");
        QTest::newRow("latin-1 bytes") << QByteArray("363=Param\xe8tres\n") << 363 << QStringLiteral("Paramètres");
        QTest::newRow("escapes") << QByteArray("246=a\\nb\\tc\\\\d\n") << 246 << QStringLiteral("a\nb\tc\\d");
        QTest::newRow("equals inside text") << QByteArray("5=a=b\n") << 5 << QStringLiteral("a=b");
        QTest::newRow("first duplicate wins") << QByteArray("7=one\n7=two\n") << 7 << QStringLiteral("one");
        QTest::newRow("comments and headers skipped")
            << QByteArray("; 8=no\n# 8=no\n[8=no]\n  \n8=yes\n") << 8 << QStringLiteral("yes");
        QTest::newRow("empty text is a text") << QByteArray("9=\n") << 9 << QString();
    }

    void parsing()
    {
        QFETCH(QByteArray, content);
        QFETCH(int, number);
        QFETCH(QString, expected);
        InterfaceTexts texts;
        texts.parse(content, QStringLiteral("test"));
        QVERIFY(texts.contains(number));
        QCOMPARE(texts.text(number), expected);
    }

    void badLinesAreTracedAndSkipped()
    {
        TempXdgHome home;
        appState().trace = true;
        appState().silent = true;
        Trace::resetForTests();
        InterfaceTexts texts;
        const int read = texts.parse("abc=def\n=x\n-3=neg\n12 = ok \nno equals sign\n", QStringLiteral("t.lng"));
        QCOMPARE(read, 1);
        QCOMPARE(texts.text(12), QStringLiteral(" ok "));
        QCOMPARE(texts.text(999), QStringLiteral("#999"));

        QFile log(Trace::logFilePath());
        QVERIFY(log.open(QIODevice::ReadOnly));
        const QString traced = QString::fromUtf8(log.readAll());
        QCOMPARE(traced.count(QStringLiteral("t.lng ligne")), 4);
        QVERIFY(traced.contains(QStringLiteral("texte manquant 999")));
        appState() = AppState();
    }

    // Every text the program shows must exist in both shipped languages.
    void shippedLanguagesAreComplete()
    {
        InterfaceTexts french;
        InterfaceTexts english;
        QVERIFY(InterfaceTexts::languageExists(QStringLiteral(" fra ")));
        QVERIFY(!InterfaceTexts::languageExists(QStringLiteral("XYZ")));
        QVERIFY(french.load(QStringLiteral("FRA")));
        QVERIFY(english.load(QStringLiteral("eng")));
        const int shown[] = {246, 311, 363, 366, 367, 369, 370, 371, 372, 373, 374, 375, 380, 382, 383, 418, 422, 434,
            532, 2002, 2026, 2106, 2107, 2111};
        for (int number : shown) {
            QVERIFY2(french.contains(number), qPrintable(QString::number(number)));
            QVERIFY2(english.contains(number), qPrintable(QString::number(number)));
        }
        QCOMPARE(french.count(), english.count());
        QVERIFY(french.text(2106).contains(QStringLiteral("%%1")));
    }
};

QTEST_GUILESS_MAIN(TestInterfaceTexts)
#include "tst_interfacetexts.moc"
