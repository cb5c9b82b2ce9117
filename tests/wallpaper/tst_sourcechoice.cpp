// The settings dialog's choice of the picture source, on a real database: the albums with their
// pages nested, the projects with "**" for a password, a choice previewed at once and written by
// Apply, and a source written by the program (the quick access) shown in place of the dialog's.
#include "AlbumStore.h"
#include "ClsMdb.h"
#include "ClsMonitor.h"
#include "ClsRegistry.h"
#include "FrmParam.h"
#include "InterfaceTexts.h"
#include "TempXdgHome.h"

#include <QDialogButtonBox>
#include <QPushButton>
#include <QRadioButton>
#include <QTreeWidget>
#include <QtTest>

#include <SQLiteCpp/SQLiteCpp.h>

using namespace SettingNo;

class TestSourceChoice : public QObject
{
    Q_OBJECT

    std::unique_ptr<TempXdgHome> m_home;

private slots:
    void init()
    {
        m_home = std::make_unique<TempXdgHome>();
        releaseRegistry();
        QVERIFY(interfaceTexts().load(QStringLiteral("ENG")));
        QDir().mkpath(m_home->tapisolDataDir());
        mdb().setMdbName(m_home->tapisolDataDir() + QStringLiteral("Tapisol.mdb"));
        mdb().setLanguageFolder(QStringLiteral(TAPISOL_TEST_LANG_DIR));
        QVERIFY(mdb().MdbInit());
    }

    void cleanup()
    {
        mdb().close();
        releaseRegistry();
        m_home.reset();
    }

    void listedPreviewedAppliedAndSwitched()
    {
        const qint64 album = AlbumStore::addAlbum(mdb(), QStringLiteral("Jardin")).value_or(0);
        const qint64 roses = AlbumStore::addPage(mdb(), album, 0, QStringLiteral("Roses")).value_or(0);
        const qint64 red = AlbumStore::addPage(mdb(), album, roses, QStringLiteral("Rouges")).value_or(0);
        QVERIFY(album && roses && red);
        mdb().database().exec("INSERT INTO DiaporamaDesc (Nom, ExpoTime, Paswd) VALUES ('Privé', 5, 'x')");
        const qint64 project = mdb().database().getLastInsertRowid();

        ClsMonitor monitors;
        monitors.setRecords({{1, QRect(0, 0, 1366, 768), QRect(0, 0, 1366, 740), ClsMonitor::PrimaryFlag, {}}});
        FrmParam::Services services;
        services.monitors = &monitors;
        QPointer<FrmParam> dialog = new FrmParam(services);
        dialog->show();
        auto* albums = dialog->findChild<QTreeWidget*>(QStringLiteral("albumSource"));
        auto* projects = dialog->findChild<QTreeWidget*>(QStringLiteral("projectSource"));
        QVERIFY(albums && projects);
        QCOMPARE(albums->topLevelItem(0)->text(0), QStringLiteral("Jardin"));
        QTreeWidgetItem* redItem = albums->topLevelItem(0)->child(0)->child(0);
        QCOMPARE(redItem->text(0), QStringLiteral("Rouges"));
        QCOMPARE(projects->topLevelItem(0)->text(1), QStringLiteral("**"));

        // Chosen: previewed at once (the engine reads it), not written before Apply.
        dialog->findChild<QRadioButton*>(QStringLiteral("sourceKind1"))->click();
        QCOMPARE(registry().get(SourceAlbumKey).toLongLong(), album); // the first album, not nothing
        albums->setCurrentItem(redItem);
        QCOMPARE(registry().get(SourceAlbum).toInt(), -1);
        QCOMPARE(registry().get(SourceAlbumPage).toLongLong(), red);
        QCOMPARE(registry().ClsRegistryBase::get(SourceAlbum).toInt(), 0);
        dialog->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Apply)->click();
        QCOMPARE(registry().ClsRegistryBase::get(SourceAlbumPage).toLongLong(), red);

        // The dialog previews a project of its own; the quick access writes the other base: the
        // dialog shows it and the program sees it.
        dialog->findChild<QRadioButton*>(QStringLiteral("sourceKind2"))->click();
        QCOMPARE(registry().get(SourceProjetKey).toLongLong(), project);
        registry().set(SourceProjet, 0);
        dialog->sourceSwitched({{SourceProjet, 0}});
        QCOMPARE(registry().get(SourceProjet).toInt(), 0);
        QVERIFY(dialog->findChild<QRadioButton*>(QStringLiteral("sourceKind1"))->isChecked());
        QCOMPARE(albums->currentItem(), redItem);
        dialog->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Cancel)->click();
        QTRY_VERIFY(!dialog);
    }
};

QTEST_MAIN(TestSourceChoice)
#include "tst_sourcechoice.moc"
