#include "statusnotifier/DBusMenuExporter.h"

#include <QtTest>

// How a menu caption reads in an exported DBusMenu: the host underlines what follows '_'.
class TestDBusMenuLabel : public QObject
{
    Q_OBJECT

private slots:
    void label_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("label");
        QTest::newRow("plain") << "Quitter"
                               << "Quitter";
        QTest::newRow("mnemonic") << "&Quitter"
                                  << "_Quitter";
        QTest::newRow("mnemonic inside") << "Fond d'écran &suivant"
                                         << "Fond d'écran _suivant";
        QTest::newRow("literal ampersand") << "Sons && musique"
                                           << "Sons & musique";
        QTest::newRow("literal underscore") << "mon_dossier"
                                            << "mon__dossier";
        QTest::newRow("trailing ampersand") << "Aide&"
                                            << "Aide_";
        QTest::newRow("shortcut text after a tab") << "&Suivant\tCtrl+Alt+N"
                                                   << "_Suivant";
    }

    void label()
    {
        QFETCH(QString, text);
        QFETCH(QString, label);
        QCOMPARE(DBusMenuExporter::dbusLabel(text), label);
    }
};

QTEST_GUILESS_MAIN(TestDBusMenuLabel)
#include "tst_dbusmenulabel.moc"
