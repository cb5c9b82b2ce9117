#include "TabKeys.h"

#include <QComboBox>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTabWidget>
#include <QVBoxLayout>
#include <QtTest>

// The page keys of a window with tabs, whichever control has the focus: a combo box, a line, a
// text. The third of four pages is disabled and is stepped over.
class TestTabKeys : public QObject
{
    Q_OBJECT

    QTabWidget* m_tabs = nullptr;
    QComboBox* m_combo = nullptr;
    QList<QWidget*> m_focus;

private slots:
    void initTestCase()
    {
        qApp->installEventFilter(new TabKeys(qApp));
        m_tabs = new QTabWidget;
        m_combo = new QComboBox;
        m_combo->addItems({QStringLiteral("un"), QStringLiteral("deux"), QStringLiteral("trois")});
        m_focus = {m_combo, new QLineEdit, new QLineEdit, new QPlainTextEdit};
        for (int i = 0; i < m_focus.size(); ++i) {
            auto* page = new QWidget;
            auto* layout = new QVBoxLayout(page);
            layout->addWidget(m_focus[i]);
            m_tabs->addTab(page, QString::number(i));
        }
        m_tabs->setTabEnabled(2, false);
        m_tabs->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_tabs));
    }

    void cleanupTestCase() { delete m_tabs; }

    void pageKeys_data()
    {
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("modifiers");
        QTest::addColumn<int>("to");
        const int ctrl = Qt::ControlModifier;
        const int ctrlShift = Qt::ControlModifier | Qt::ShiftModifier;
        QTest::newRow("Ctrl+Tab on a combo box") << 0 << int(Qt::Key_Tab) << ctrl << 1;
        QTest::newRow("Ctrl+Page Down on a combo box") << 0 << int(Qt::Key_PageDown) << ctrl << 1;
        QTest::newRow("Ctrl+Shift+Tab round the start") << 0 << int(Qt::Key_Backtab) << ctrlShift << 3;
        QTest::newRow("Ctrl+Tab over a disabled page") << 1 << int(Qt::Key_Tab) << ctrl << 3;
        QTest::newRow("Ctrl+Page Up in a text") << 3 << int(Qt::Key_PageUp) << ctrl << 1;
        QTest::newRow("Ctrl+Tab round the end") << 3 << int(Qt::Key_Tab) << ctrl << 0;
        QTest::newRow("Tab alone is the controls'") << 1 << int(Qt::Key_Tab) << 0 << 1;
        QTest::newRow("Page Down alone is the controls'") << 0 << int(Qt::Key_PageDown) << 0 << 0;
    }

    void pageKeys()
    {
        QFETCH(int, from);
        QFETCH(int, key);
        QFETCH(int, modifiers);
        QFETCH(int, to);
        m_combo->setCurrentIndex(0);
        m_tabs->setCurrentIndex(from);
        m_focus[from]->setFocus();
        QTest::keyClick(m_focus[from], Qt::Key(key), Qt::KeyboardModifiers(modifiers));
        QCOMPARE(m_tabs->currentIndex(), to);
        // Page Down alone still moves the combo box; with Ctrl it never does.
        QCOMPARE(m_combo->currentIndex() != 0, modifiers == 0 && key == Qt::Key_PageDown);
    }
};

QTEST_MAIN(TestTabKeys)
#include "tst_tabkeys.moc"
