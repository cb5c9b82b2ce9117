// The settings dialog's working copy: the table's rules on what a user types, the live preview,
// and what reaches the file on Apply, OK and Cancel.
#include "ClsRegistry.h"
#include "InterfaceTexts.h"
#include "SettingsSession.h"
#include "TempXdgHome.h"

#include <QSettings>
#include <QtTest>

using namespace SettingNo;

class TestSettingsSession : public QObject
{
    Q_OBJECT

    std::unique_ptr<TempXdgHome> m_home;

    // What the settings file holds, read by another reader.
    QVariant inFile(const QString& key) const
    {
        return QSettings(ClsRegistryBase::tapisolFilePath(), QSettings::IniFormat).value(key);
    }

private slots:
    void init()
    {
        m_home = std::make_unique<TempXdgHome>();
        interfaceTexts().load(QStringLiteral("FRA"));
        releaseRegistry();
        registry().set(Intervalle, 30);
        registry().sync();
    }
    void cleanup()
    {
        releaseRegistry();
        m_home.reset();
    }

    // What a user may type, by the table's rules, with the reason shown next to the field.
    void refusals_data()
    {
        QTest::addColumn<int>("number");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QString>("reason"); // empty: accepted
        QTest::newRow("interval low end") << Intervalle << QVariant(1) << QString();
        QTest::newRow("interval high end") << Intervalle << QVariant("1440") << QString();
        QTest::newRow("interval zero") << Intervalle << QVariant(0) << "entre 1 et 1440";
        QTest::newRow("interval 1441") << Intervalle << QVariant(1441) << "entre 1 et 1440";
        QTest::newRow("interval half") << Intervalle << QVariant("12.5") << "nombre entier";
        QTest::newRow("deformation 101") << TauxDeformation << QVariant(101) << "entre 0 et 100";
        QTest::newRow("coverage 0") << TauxCouverture << QVariant(0) << "entre 1 et 100";
        QTest::newRow("boolean 1") << SousRepertoire << QVariant(1) << "nombre entier";
        QTest::newRow("missing folder") << Repertoire << QVariant("/nowhere/at/all") << "n'existe pas";
        QTest::newRow("no folder is a choice") << Repertoire << QVariant("") << QString();
        QTest::newRow("empty sound file") << FichierSon << QVariant(" ") << "vide";
    }

    void refusals()
    {
        QFETCH(int, number);
        QFETCH(QVariant, value);
        QFETCH(QString, reason);
        const auto why = SettingsSession::refusal(number, value);
        QCOMPARE(why.has_value(), !reason.isEmpty());
        if (why)
            QVERIFY2(why->contains(reason), qPrintable(*why));
    }

    // An edit is what the program sees at once, and only there; Apply writes it, Cancel drops
    // what came after the last Apply; closing without OK leaves the file as the last Apply did.
    void previewApplyCancel()
    {
        auto session = std::make_unique<SettingsSession>(registry());
        QSignalSpy changed(session.get(), &SettingsSession::valuesChanged);
        QVERIFY(!session->edit(Intervalle, 45));
        QVERIFY(session->edit(Intervalle, 0)); // refused: the previous edit stays
        QVERIFY(!session->edit(SizingMode, 2));
        QCOMPARE(registry().get(Intervalle), QVariant(45));
        QCOMPARE(registry().get(SizingMode), QVariant(2));
        QCOMPARE(inFile(QStringLiteral("Paramètres/Intervalle")), QVariant("30"));
        QCOMPARE(changed.size(), 2);

        QVERIFY(session->apply());
        QVERIFY(!session->hasEdits());
        QCOMPARE(inFile(QStringLiteral("Paramètres/Intervalle")), QVariant("45"));
        QCOMPARE(inFile(QStringLiteral("Paramètres/SizingMode")), QVariant("2"));

        QVERIFY(!session->edit(Intervalle, 90));
        QVERIFY(!session->edit(BandeZoom, -1));
        session->cancel();
        QCOMPARE(registry().get(Intervalle), QVariant(45));
        QCOMPARE(registry().get(BandeZoom), QVariant(0));
        QVERIFY(!session->edit(Intervalle, 120));
        session.reset(); // the window closed without OK
        QCOMPARE(registry().get(Intervalle), QVariant(45));
        QVERIFY(!registry().isPreviewing());
    }

    // Another program rewrites the file while the dialog is open: noticed, and when the user lets
    // it win, its values are what the program sees and the edits are gone.
    void outsideChange()
    {
        SettingsSession session(registry());
        QVERIFY(!session.edit(Intervalle, 60));
        QVERIFY(!session.changedOutside());
        QTest::qWait(20); // a later modification time
        {
            QSettings other(ClsRegistryBase::tapisolFilePath(), QSettings::IniFormat);
            other.setValue(QStringLiteral("Paramètres/Intervalle"), 15);
        }
        QVERIFY(session.changedOutside());
        session.takeOutsideChange();
        QCOMPARE(registry().get(Intervalle), QVariant(15));
        QVERIFY(!session.hasEdits());
        QVERIFY(!session.changedOutside());
    }
};

QTEST_GUILESS_MAIN(TestSettingsSession)
#include "tst_settingssession.moc"
