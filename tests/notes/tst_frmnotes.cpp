// The note editor and the alarm-change dialog driven as a user drives them, over the program's
// own database object on a real file: texts whole in both languages, a recurring alarm written
// and renumbered, unsaved changes never dropped without asking, a save refused while another
// program holds the file, and changes made elsewhere followed.
#include "AlarmWidgets.h"
#include "ClsMdb.h"
#include "ClsRegistry.h"
#include "FrmChangeAlarme.h"
#include "FrmNotes.h"
#include "ImageDecoder.h"
#include "InterfaceTexts.h"
#include "NoteStore.h"
#include "TempXdgHome.h"
#include "TestClock.h"
#include "WallClock.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QDir>
#include <QFontComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpression>
#include <QSpinBox>
#include <QTabWidget>
#include <QTimeEdit>
#include <QtTest>

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>

namespace {

const QDate Today(2026, 3, 10); // a Tuesday
const QDate Tomorrow = Today.addDays(1);

QString query(const QString& sql)
{
    QStringList lines;
    for (SQLite::Statement q(mdb().database(), sql.toStdString()); q.executeStep();) {
        QStringList cells;
        for (int i = 0; i < q.getColumnCount(); ++i)
            cells << (q.isColumnNull(i) ? QStringLiteral("-") : QString::fromUtf8(q.getColumn(i).getText()));
        lines << cells.join(QLatin1Char('|'));
    }
    return lines.join(QLatin1Char('\n'));
}

// Answers the next message box with `button` once it shows (the box runs its own loop), and
// keeps its text.
class BoxAnswer : public QObject
{
public:
    explicit BoxAnswer(QMessageBox::StandardButton button)
    {
        auto* timer = new QTimer(this);
        connect(timer, &QTimer::timeout, this, [this, timer, button] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (!box || !box->isVisible())
                return;
            text = box->text();
            timer->stop();
            // Clicked from the box's own loop, once it runs.
            QMetaObject::invokeMethod(box->button(button), &QAbstractButton::click, Qt::QueuedConnection);
        });
        timer->start(10);
    }
    QString text;
};

// Every visible text of `root` in the interface language: none missing, none cut short.
void checkTexts(QWidget* root)
{
    static const QRegularExpression missing(QStringLiteral("#\\d+"));
    for (QWidget* widget : root->findChildren<QWidget*>()) {
        if (!widget->isVisible())
            continue;
        QVERIFY2(!widget->toolTip().contains(missing), qPrintable(widget->toolTip()));
        QString text;
        if (auto* label = qobject_cast<QLabel*>(widget))
            text = label->text();
        else if (auto* button = qobject_cast<QAbstractButton*>(widget))
            text = button->text();
        else if (auto* box = qobject_cast<QGroupBox*>(widget))
            text = box->title();
        else if (auto* combo = qobject_cast<QComboBox*>(widget); combo && !qobject_cast<QFontComboBox*>(widget))
            for (int i = 0; i < combo->count(); ++i)
                QVERIFY2(!combo->itemText(i).isEmpty() && !combo->itemText(i).contains(missing), qPrintable(text));
        QVERIFY2(!text.contains(missing), qPrintable(text));
        const bool wraps = qobject_cast<QLabel*>(widget) && qobject_cast<QLabel*>(widget)->wordWrap();
        if (!text.isEmpty() && !wraps && !qobject_cast<QGroupBox*>(widget))
            QVERIFY2(widget->width() >= widget->minimumSizeHint().width(),
                qPrintable(QStringLiteral("%1 cut (%2 < %3)")
                               .arg(text)
                               .arg(widget->width())
                               .arg(widget->minimumSizeHint().width())));
    }
}

template <typename T> T* child(QWidget* parent, const char* name)
{
    T* found = parent->findChild<T*>(QLatin1String(name));
    if (!found)
        qWarning("no %s", name);
    return found;
}

// Types `text` as a keyboard does, accented letters included.
void typeText(QWidget* widget, const QString& text)
{
    for (const QChar c : text) {
        if (c.unicode() < 0x80)
            QTest::keyClick(widget, c.toLatin1());
        else
            QTest::sendKeyEvent(QTest::Click, widget, Qt::Key_unknown, QString(c), Qt::NoModifier);
    }
}

void typeDate(QDateEdit* edit, const QDate& date)
{
    // Tabbing into the field selects its first part, as the user's typing expects.
    edit->clearFocus();
    edit->setFocus(Qt::TabFocusReason);
    // A full field moves on to the next by itself, so only the digits are typed.
    QTest::keyClicks(edit, date.toString(edit->displayFormat()).remove(QRegularExpression(QStringLiteral("\\D"))));
    QCOMPARE(edit->date(), date);
    QTest::keyClick(edit, Qt::Key_Tab);
}

} // namespace

class TestFrmNotes : public QObject
{
    Q_OBJECT

    std::unique_ptr<TempXdgHome> m_home;
    std::unique_ptr<TestClock> m_clock;

    FrmNotes* openEditor()
    {
        auto* editor = new FrmNotes(Today);
        editor->show();
        editor->activateWindow();
        if (!QTest::qWaitForWindowActive(editor))
            qWarning("editor not active");
        return editor;
    }

    qint64 onlyNumero() { return query(QStringLiteral("SELECT Numero FROM Agenda")).toLongLong(); }

private slots:
    void initTestCase() { ImageDecoder::setHelperProgram(QStringLiteral(TAPISOL_DECODER_PROGRAM)); }

    void init()
    {
        m_home = std::make_unique<TempXdgHome>();
        releaseRegistry();
        QDir().mkpath(m_home->tapisolDataDir());
        m_clock = std::make_unique<TestClock>(QDateTime(Today, QTime(14, 0)));
        mdb().setMdbName(m_home->tapisolDataDir() + QStringLiteral("Tapisol.mdb"));
        mdb().setCopiesEnabled(false);
        mdb().setLanguageFolder(QStringLiteral(TAPISOL_TEST_LANG_DIR));
        QVERIFY(mdb().MdbInit());
        QVERIFY(interfaceTexts().load(QStringLiteral("FRA")));
    }
    void cleanup()
    {
        QList<QPointer<QWidget>> windows;
        for (QWidget* window : QApplication::topLevelWidgets()) {
            if (!window->parentWidget())
                windows << window;
        }
        qDeleteAll(windows);
        mdb().close();
        m_clock.reset();
        releaseRegistry();
        m_home.reset();
    }

    void textsWholeInBothLanguages_data()
    {
        QTest::addColumn<QString>("language");
        QTest::newRow("French") << QStringLiteral("FRA");
        QTest::newRow("English") << QStringLiteral("ENG");
    }

    // Each tab of the editor and the alarm-change dialog, in French and in English.
    void textsWholeInBothLanguages()
    {
        QFETCH(QString, language);
        QVERIFY(interfaceTexts().load(language));
        FrmNotes* editor = openEditor();
        QVERIFY(editor->frameGeometry().width() <= 1366 && editor->frameGeometry().height() <= 768);
        auto* tabs = editor->findChild<QTabWidget*>();
        for (int i = 0; i < tabs->count(); ++i) {
            tabs->setCurrentIndex(i);
            QCoreApplication::processEvents();
            QVERIFY(!tabs->tabText(i).isEmpty() && !tabs->tabText(i).contains(QLatin1Char('#')));
            checkTexts(editor);
            if (QTest::currentTestFailed())
                return;
        }
        QVERIFY(!editor->findChild<QLineEdit*>(QStringLiteral("sound"))->placeholderText().contains('#'));

        FrmChangeAlarme dialog(editor->editedNote(), editor);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        QVERIFY(dialog.frameGeometry().width() <= 1366 && dialog.frameGeometry().height() <= 768);
        checkTexts(&dialog);
    }

    // A note with an alarm tomorrow at 09:30, recurring on Mondays and Wednesdays, written with
    // Ctrl+S; saved again under a new number, still selected; deleted with its text row.
    void writeRenumberDelete()
    {
        FrmNotes* editor = openEditor();
        typeText(child<QPlainTextEdit>(editor, "text"), QStringLiteral("Kiné à 9 h 30"));
        auto* tabs = editor->findChild<QTabWidget*>();
        tabs->setCurrentIndex(3);
        auto* alarm = child<QCheckBox>(editor, "alarm");
        QTest::mouseClick(alarm, Qt::LeftButton, {}, QPoint(5, alarm->height() / 2));
        QVERIFY(alarm->isChecked());
        typeDate(child<QDateEdit>(editor, "alarmDate"), Tomorrow);
        if (QTest::currentTestFailed())
            return;
        auto* time = child<QTimeEdit>(editor, "alarmTime");
        time->setFocus(Qt::TabFocusReason);
        QTest::keyClicks(time, QStringLiteral("09:30"));
        QCOMPARE(time->time(), QTime(9, 30));
        tabs->setCurrentIndex(4);
        auto* recurring = child<QRadioButton>(editor, "recurring");
        auto* monday = child<QCheckBox>(editor, "day1");
        QVERIFY(!monday->isEnabled());
        QTest::mouseClick(recurring, Qt::LeftButton, {}, QPoint(5, recurring->height() / 2));
        QVERIFY(monday->isEnabled());
        QVERIFY(!child<QSpinBox>(editor, "noteInterval")->isEnabled());
        QTest::mouseClick(monday, Qt::LeftButton, {}, QPoint(5, monday->height() / 2));
        auto* wednesday = child<QCheckBox>(editor, "day3");
        QTest::mouseClick(wednesday, Qt::LeftButton, {}, QPoint(5, wednesday->height() / 2));
        QVERIFY(editor->isModified());

        QTest::keyClick(editor, Qt::Key_S, Qt::ControlModifier);
        QVERIFY(!editor->isModified());
        const QString oa = QString::number(WallClock::toOa(WallClock::make(Tomorrow, QTime(9, 30))), 'g', 17);
        QCOMPARE(query(QStringLiteral("SELECT FreqJours, Comportement, Frequence, Alarme, Active FROM Agenda")),
            QStringLiteral("1010000|1|0|-1|-1"));
        QCOMPARE(query(QStringLiteral("SELECT abs(DateAlarme - %1) < 1e-6, abs(DateAlarmeOri - %1) < 1e-6 "
                                      "FROM Agenda")
                           .arg(oa)),
            QStringLiteral("1|1"));
        QCOMPARE(query(QStringLiteral("SELECT ObjType, Texte FROM AlarmeTxt")), QStringLiteral("1|Kiné à 9 h 30"));
        // The note went to its alarm's day, and the list with it.
        QCOMPARE(editor->day(), Tomorrow);
        auto* list = child<QListWidget>(editor, "notes");
        const qint64 first = onlyNumero();
        QVERIFY(list->currentItem());
        QCOMPARE(list->currentItem()->data(Qt::UserRole).toLongLong(), first);
        QVERIFY(list->currentItem()->text().contains(QStringLiteral("09:30")));

        tabs->setCurrentIndex(0);
        QTest::keyClick(child<QPlainTextEdit>(editor, "text"), Qt::Key_End, Qt::ControlModifier);
        QTest::keyClicks(child<QPlainTextEdit>(editor, "text"), QStringLiteral(" !"));
        QTest::mouseClick(child<QPushButton>(editor, "save"), Qt::LeftButton);
        const qint64 second = onlyNumero();
        QVERIFY(second != first);
        QCOMPARE(editor->currentNote().Numero, second);
        QCOMPARE(list->count(), 1);
        QCOMPARE(list->currentItem()->data(Qt::UserRole).toLongLong(), second);

        BoxAnswer refuse(QMessageBox::Cancel);
        QTest::mouseClick(child<QPushButton>(editor, "delete"), Qt::LeftButton);
        QVERIFY(refuse.text.contains(QStringLiteral("Kiné")));
        QCOMPARE(onlyNumero(), second);
        // Back from a message box: the window manager gives the editor the focus again.
        editor->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(editor));
        list->setFocus();
        BoxAnswer confirm(QMessageBox::Yes);
        QTest::keyClick(list, Qt::Key_Delete);
        QVERIFY(!confirm.text.isEmpty());
        QCOMPARE(query(QStringLiteral("SELECT (SELECT count(*) FROM Agenda) + (SELECT count(*) FROM AlarmeTxt)")),
            QStringLiteral("0"));
        QCOMPARE(list->count(), 0);
    }

    // Closing with unsaved changes asks: Cancel keeps the window and the edits, Discard closes.
    // A save refused while another program holds the file says why and keeps the edits.
    void unsavedChangesAreNeverLostSilently()
    {
        QPointer<FrmNotes> editor = openEditor();
        auto* text = child<QPlainTextEdit>(editor, "text");
        QTest::keyClicks(text, QStringLiteral("Appeler le plombier"));

        {
            SQLite::Database other(mdb().mdbName().toStdString(), SQLite::OPEN_READWRITE);
            other.exec("BEGIN EXCLUSIVE");
            BoxAnswer busy(QMessageBox::Ok);
            QTest::keyClick(editor, Qt::Key_S, Qt::ControlModifier);
            QCOMPARE(busy.text, langText(2700));
            other.exec("ROLLBACK");
        }
        QVERIFY(editor->isModified());
        QCOMPARE(text->toPlainText(), QStringLiteral("Appeler le plombier"));
        QCOMPARE(query(QStringLiteral("SELECT count(*) FROM Agenda")), QStringLiteral("0"));

        // Choosing another note in the list asks as well; Cancel stays on the edits.
        Note other = Note::blank(Today);
        other.objects.text()->Texte = QStringLiteral("Autre note");
        QVERIFY(NoteStore::write(mdb(), other));
        auto* list = child<QListWidget>(editor, "notes");
        QCOMPARE(list->count(), 1);
        {
            BoxAnswer stay(QMessageBox::Cancel);
            QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(list->item(0)).center());
            QTRY_COMPARE(stay.text, langText(2868));
        }
        QCOMPARE(text->toPlainText(), QStringLiteral("Appeler le plombier"));
        QVERIFY(list->selectedItems().isEmpty());
        editor->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(editor));

        BoxAnswer cancel(QMessageBox::Cancel);
        editor->close();
        QCOMPARE(cancel.text, langText(2868));
        QVERIFY(editor && editor->isVisible() && editor->isModified());
        editor->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(editor));

        BoxAnswer discard(QMessageBox::Discard);
        QTest::keyClick(editor, Qt::Key_Escape);
        QVERIFY(!discard.text.isEmpty());
        QTRY_VERIFY(editor.isNull());
        QCOMPARE(query(QStringLiteral("SELECT count(*) FROM Agenda")), QStringLiteral("1"));
    }

    // A note renumbered by another window is followed; one deleted elsewhere keeps its unsaved
    // edits and comes back as a new note when saved.
    void changesMadeElsewhere()
    {
        FrmNotes* editor = openEditor();
        auto* text = child<QPlainTextEdit>(editor, "text");
        QTest::keyClicks(text, QStringLiteral("Courses"));
        QVERIFY(editor->save());
        Note elsewhere = *NoteStore::read(mdb(), editor->currentNote().Numero);
        elsewhere.objects.window()->WinPosX = 120;
        QVERIFY(NoteStore::write(mdb(), elsewhere));
        QCOMPARE(editor->currentNote().Numero, elsewhere.Numero);
        QCOMPARE(editor->currentNote().objects.window()->WinPosX, 120.0f);

        QTest::keyClick(text, Qt::Key_End, Qt::ControlModifier);
        QTest::keyClicks(text, QStringLiteral(" et pain"));
        QVERIFY(NoteStore::remove(mdb(), elsewhere.Numero));
        QCOMPARE(editor->currentNote().Numero, 0);
        QCOMPARE(text->toPlainText(), QStringLiteral("Courses et pain"));
        QVERIFY(editor->save());
        QCOMPARE(query(QStringLiteral("SELECT Texte FROM AlarmeTxt")), QStringLiteral("Courses et pain"));
    }

    // A picture that is missing or no picture at all, and a sound that is missing, are said
    // beside their field; a good picture shows in the thumbnail.
    void mediaProblemsAreSaid()
    {
        FrmNotes* editor = openEditor();
        editor->findChild<QTabWidget*>()->setCurrentIndex(2);
        auto* image = child<QLineEdit>(editor, "image");
        auto* why = child<QLabel>(editor, "imageWhy");
        const QString missing = m_home->path() + QStringLiteral("/absent.png");
        const QString broken = m_home->path() + QStringLiteral("/broken.png");
        const QString good = m_home->path() + QStringLiteral("/good.png");
        QFile file(broken);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("\x89PNG not really") > 0);
        file.close();
        QImage picture(64, 48, QImage::Format_RGB32);
        picture.fill(Qt::darkCyan);
        QVERIFY(picture.save(good));
        for (const QString& path : {missing, broken}) {
            image->clear();
            QTest::keyClicks(image, path);
            QTest::keyClick(image, Qt::Key_Return);
            QVERIFY2(why->isVisible() && why->text().contains(path), qPrintable(why->text()));
            QVERIFY(child<QLabel>(editor, "thumbnail")->pixmap().isNull());
        }
        image->clear();
        QTest::keyClicks(image, good);
        QTest::keyClick(image, Qt::Key_Return);
        QVERIFY(!why->isVisible());
        QVERIFY(!child<QLabel>(editor, "thumbnail")->pixmap().isNull());

        auto* sound = child<QLineEdit>(editor, "sound");
        QTest::keyClicks(sound, m_home->path() + QStringLiteral("/absent.mp3"));
        QTest::mouseClick(child<QPushButton>(editor, "play"), Qt::LeftButton);
        QVERIFY(child<QLabel>(editor, "soundWhy")->isVisible());
        QVERIFY(editor->isModified());
    }

    // Hours and minutes keep to their ranges, an end before the alarm is refused beside the
    // field, and OK gives the edited fields without writing anything.
    void alarmChangeDialog()
    {
        Note note = Note::blank(Today);
        note.objects.text()->Texte = QStringLiteral("Dentiste");
        FrmChangeAlarme dialog(note);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        auto* hours = child<QSpinBox>(&dialog, "hours");
        auto* minutes = child<QSpinBox>(&dialog, "minutes");
        QCOMPARE(hours->value(), 15); // the next round hour after 14:00
        QCOMPARE(hours->maximum(), 23);
        QCOMPARE(minutes->maximum(), 59);
        hours->setFocus();
        hours->selectAll();
        QTest::keyClicks(hours, QStringLiteral("23"));
        QTest::keyClick(hours, Qt::Key_Up);
        QCOMPARE(hours->value(), 0);
        QTest::keyClick(hours, Qt::Key_Down);
        QCOMPARE(hours->value(), 23);
        minutes->selectAll();
        QTest::keyClicks(minutes, QStringLiteral("75"));
        QVERIFY(minutes->value() <= 59);
        minutes->selectAll();
        QTest::keyClicks(minutes, QStringLiteral("45"));

        auto* hasEnd = child<QCheckBox>(&dialog, "hasEnd");
        QTest::mouseClick(hasEnd, Qt::LeftButton, {}, QPoint(5, hasEnd->height() / 2));
        typeDate(child<QDateEdit>(&dialog, "endDate"), Today.addDays(-1));
        QTest::keyClick(&dialog, Qt::Key_Return);
        QVERIFY(dialog.isVisible());
        const auto reasons = dialog.findChildren<QLabel*>(QStringLiteral("reason"));
        QVERIFY(std::any_of(reasons.cbegin(), reasons.cend(),
            [](QLabel* label) { return label->isVisible() && label->text() == langText(2764); }));

        typeDate(child<QDateEdit>(&dialog, "endDate"), Today.addDays(30));
        auto* repeats = child<QCheckBox>(&dialog, "repeats");
        QTest::mouseClick(repeats, Qt::LeftButton, {}, QPoint(5, repeats->height() / 2));
        QTest::keyClick(&dialog, Qt::Key_Return);
        QCOMPARE(dialog.QDialog::result(), int(QDialog::Accepted));
        const Note result = dialog.result();
        QVERIFY(result.Alarme);
        QVERIFY(result.fields.active);
        QCOMPARE(*result.fields.alarm, WallClock::make(Today, QTime(23, 45)));
        QCOMPARE(*result.fields.origin, *result.fields.alarm);
        QCOMPARE(*result.fields.end, WallClock::make(Today.addDays(30), QTime(15, 0))); // as offered at first
        QVERIFY(*result.fields.repeats);
        QCOMPARE(result.text(), QStringLiteral("Dentiste"));
        QCOMPARE(query(QStringLiteral("SELECT count(*) FROM Agenda")), QStringLiteral("0"));
    }
};

QTEST_MAIN(TestFrmNotes)
#include "tst_frmnotes.moc"
