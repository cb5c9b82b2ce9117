// The settings dialog as a window: every text in both languages shown whole and never as
// "#<number>", the whole dialog on a 1366 × 768 screen, a refused value shown beside its field,
// and the controls writing through Apply and dropped by Cancel.
#include "ClsMonitor.h"
#include "ClsRegistry.h"
#include "FrmParam.h"
#include "InterfaceTexts.h"
#include "TempXdgHome.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QTabBar>
#include <QTabWidget>
#include <QtTest>

using namespace SettingNo;

class TestFrmParam : public QObject
{
    Q_OBJECT

    std::unique_ptr<TempXdgHome> m_home;
    ClsMonitor m_monitors;

    FrmParam* open()
    {
        FrmParam::Services services;
        services.monitors = &m_monitors;
        services.detectedBackend = QStringLiteral("x11");
        services.backendNames = {QStringLiteral("gnome"), QStringLiteral("x11")};
        services.hotkeyText = [](int, int code) { return code ? QStringLiteral("Ctrl+N") : QString(); };
        auto* dialog = new FrmParam(services);
        dialog->show();
        return dialog;
    }

private slots:
    void init()
    {
        m_home = std::make_unique<TempXdgHome>();
        releaseRegistry();
        m_monitors.setRecords({{1, QRect(0, 0, 1366, 768), QRect(0, 0, 1366, 740), ClsMonitor::PrimaryFlag, {}}});
    }
    void cleanup()
    {
        releaseRegistry();
        m_home.reset();
    }

    // Each tab in French and in English: no text cut short, none missing from the language file.
    void textsWholeInBothLanguages_data()
    {
        QTest::addColumn<QString>("language");
        QTest::newRow("French") << QStringLiteral("FRA");
        QTest::newRow("English") << QStringLiteral("ENG");
    }

    void textsWholeInBothLanguages()
    {
        QFETCH(QString, language);
        QVERIFY(interfaceTexts().load(language));
        QPointer<FrmParam> dialog = open();
        QVERIFY(QTest::qWaitForWindowExposed(dialog));
        QVERIFY(dialog->frameGeometry().width() <= 1366 && dialog->frameGeometry().height() <= 768);
        QTabWidget* tabs = dialog->tabs();
        QVERIFY2(tabs->tabBar()->width() >= tabs->tabBar()->sizeHint().width(), "tabs scrolled out of sight");
        static const QRegularExpression missing(QStringLiteral("#\\d+"));
        for (int i = 0; i < tabs->count(); ++i) {
            tabs->setCurrentIndex(i);
            QCoreApplication::processEvents();
            QVERIFY(!tabs->tabText(i).contains(missing));
            for (QWidget* widget : tabs->currentWidget()->findChildren<QWidget*>()) {
                if (!widget->isVisible())
                    continue;
                QString text;
                if (auto* label = qobject_cast<QLabel*>(widget); label && !label->wordWrap())
                    text = label->text();
                else if (auto* button = qobject_cast<QAbstractButton*>(widget))
                    text = button->text();
                else if (auto* box = qobject_cast<QGroupBox*>(widget))
                    text = box->title();
                if (text.isEmpty())
                    continue;
                QVERIFY2(!text.contains(missing) && !widget->toolTip().contains(missing), qPrintable(text));
                if (!qobject_cast<QGroupBox*>(widget))
                    QVERIFY2(widget->width() >= widget->minimumSizeHint().width(),
                        qPrintable(QStringLiteral("%1 cut (%2 < %3)")
                                       .arg(text)
                                       .arg(widget->width())
                                       .arg(widget->minimumSizeHint().width())));
            }
        }
        dialog->close();
    }

    // A folder that is not there is refused beside the field and the source stays; a good one is
    // seen by the program at once, written by Apply; what came after the last Apply goes on Cancel.
    void refusalApplyAndCancel()
    {
        interfaceTexts().load(QStringLiteral("ENG"));
        QPointer<FrmParam> dialog = open();
        auto* folder = dialog->findChild<QLineEdit*>(QStringLiteral("folder"));
        QVERIFY(folder);
        const QString before = registry().get(Repertoire).toString();
        folder->setText(QStringLiteral("/no/such/folder"));
        emit folder->editingFinished();
        QCOMPARE(registry().get(Repertoire).toString(), before);
        const auto reasons = dialog->findChildren<QLabel*>();
        QVERIFY(std::any_of(reasons.cbegin(), reasons.cend(), [](QLabel* label) {
            return label->isVisibleTo(label->window()) && label->text().contains(QStringLiteral("/no/such/folder"));
        }));

        folder->setText(m_home->path());
        emit folder->editingFinished();
        QCOMPARE(registry().get(Repertoire).toString(), m_home->path()); // previewed
        auto* mode = dialog->findChild<QComboBox*>(QStringLiteral("sizingMode"));
        mode->setCurrentIndex(3);
        QCOMPARE(registry().get(SizingMode).toInt(), 3);
        auto* buttons = dialog->findChild<QDialogButtonBox*>();
        buttons->button(QDialogButtonBox::Apply)->click();
        QCOMPARE(QSettings(ClsRegistryBase::tapisolFilePath(), QSettings::IniFormat)
                     .value(QStringLiteral("Paramètres/SizingMode"))
                     .toInt(),
            3);
        mode->setCurrentIndex(1);
        QCOMPARE(registry().get(SizingMode).toInt(), 1);
        buttons->button(QDialogButtonBox::Cancel)->click();
        QTRY_VERIFY(dialog.isNull());
        QCOMPARE(registry().get(SizingMode).toInt(), 3);
        QVERIFY(!registry().isPreviewing());
    }
};

QTEST_MAIN(TestFrmParam)
#include "tst_frmparam.moc"
