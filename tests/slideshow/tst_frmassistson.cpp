// The slideshow assistant driven by keys and clicks on a real database: a project made, a folder of
// generated pictures added (a damaged one among them shown broken), a slide moved with Ctrl+Down,
// saved with Ctrl+S and found again in the same order; the preview follows the caption; deleting a
// project asks first, naming it; and a spoken comment recorded from a PulseAudio null sink's
// monitor, checked for its length and for sound (run through with-pulse.sh; skipped otherwise).
#include "AppState.h"
#include "ClsMdb.h"
#include "ClsRegistry.h"
#include "CommentRecorder.h"
#include "FilmstripView.h"
#include "FrmAssistSon.h"
#include "ImageDecoder.h"
#include "InterfaceTexts.h"
#include "Mnemonics.h"
#include "ProjectEditing.h"
#include "ProjectStore.h"
#include "SettingsTable.h"
#include "SlideStripModel.h"
#include "SoundService.h"
#include "TempXdgHome.h"

#include <QApplication>
#include <QAudioDevice>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMediaDevices>
#include <QMessageBox>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QProcess>
#include <QPushButton>
#include <QTimer>
#include <QToolButton>
#include <QTreeWidget>
#include <QtTest>

namespace {

QStringList order(const QAbstractItemModel* model)
{
    QStringList names;
    for (int row = 0; row < model->rowCount(); ++row)
        names << QFileInfo(model->index(row, 0).data(SlideStripModel::PathRole).toString()).completeBaseName();
    return names;
}

} // namespace

class TestFrmAssistSon : public QObject
{
    Q_OBJECT

    std::unique_ptr<TempXdgHome> m_home;
    QString m_pictures;
    QString m_seenMessage;

    // Answers the next modal dialog: a name typed into an input dialog, or a message box's button
    // `button` clicked after its text was noted.
    void answerNext(const QString& name, QMessageBox::StandardButton button = QMessageBox::NoButton)
    {
        QTimer::singleShot(50, this, [this, name, button] {
            QWidget* modal = QApplication::activeModalWidget();
            if (auto* input = qobject_cast<QInputDialog*>(modal)) {
                input->setTextValue(name);
                input->accept();
            } else if (auto* box = qobject_cast<QMessageBox*>(modal)) {
                m_seenMessage = box->text();
                if (QAbstractButton* answer = box->button(button))
                    answer->click();
            } else if (auto* dialog = qobject_cast<QDialog*>(modal)) {
                dialog->reject();
            }
        });
    }

private slots:
    void initTestCase() { ImageDecoder::setHelperProgram(QStringLiteral(TAPISOL_DECODER_PROGRAM)); }

    void init()
    {
        m_home = std::make_unique<TempXdgHome>();
        releaseRegistry();
        QDir().mkpath(m_home->tapisolDataDir());
        mdb().setMdbName(m_home->tapisolDataDir() + QStringLiteral("Tapisol.mdb"));
        mdb().setCopiesEnabled(false);
        mdb().setLanguageFolder(QStringLiteral(TAPISOL_TEST_LANG_DIR));
        QVERIFY(mdb().MdbInit());
        QVERIFY(interfaceTexts().load(QStringLiteral("FRA")));
        m_pictures = m_home->path() + QStringLiteral("/Photos/");
        QVERIFY(QDir().mkpath(m_pictures));
        const QList<QColor> colours {Qt::red, Qt::green, Qt::blue, Qt::yellow};
        for (int i = 0; i < colours.size(); ++i) {
            QImage image(800, 600, QImage::Format_RGB32);
            image.fill(colours.at(i));
            QVERIFY(image.save(m_pictures + QStringLiteral("p%1.jpg").arg(i + 1), "JPG"));
        }
        QFile damaged(m_pictures + QStringLiteral("p5.jpg"));
        QVERIFY(damaged.open(QIODevice::WriteOnly));
        damaged.write(QByteArray("\xff\xd8\xff\xe0 this is no picture", 26));
    }

    void cleanup()
    {
        const auto windows = QApplication::topLevelWidgets();
        for (QWidget* window : windows) {
            if (!window->parentWidget())
                delete window;
        }
        mdb().close();
        releaseRegistry();
        m_home.reset();
    }

    void projectBuiltReorderedAndReopened()
    {
        auto* window = new FrmAssistSon(mdb());
        window->show();
        QVERIFY(QTest::qWaitForWindowActive(window));
        answerNext(QStringLiteral("Été à Rome"));
        QTest::mouseClick(window->findChild<QPushButton*>(QStringLiteral("newProject")), Qt::LeftButton);
        QCOMPARE(window->editing().project().Nom, QStringLiteral("Été à Rome"));

        QCOMPARE(window->addFolder(m_pictures), 5);
        // Nothing to listen to while the slide has no sound.
        QVERIFY(!window->findChild<QToolButton*>(QStringLiteral("listenMusic"))->isEnabled());
        auto* view = window->findChild<QListView*>(QStringLiteral("filmstrip"));
        const QAbstractItemModel* strip = view->model();
        QCOMPARE(order(strip), (QStringList {"p1", "p2", "p3", "p4", "p5"}));
        // Decoded by the helper, small, as the strip draws them; the damaged one shows broken.
        const auto state = [&](int row) { return strip->index(row, 0).data(SlideStripModel::StateRole).toInt(); };
        QTRY_COMPARE(state(0), int(SlideStripModel::State::Ready));
        QTRY_COMPARE(state(4), int(SlideStripModel::State::Broken));
        const QPixmap thumb = strip->index(0, 0).data(Qt::DecorationRole).value<QPixmap>();
        QCOMPARE(thumb.size(), SlideStripModel::ThumbBox);
        const QColor centre = thumb.toImage().pixelColor(60, 45);
        QVERIFY2(centre.red() > 200 && centre.green() < 60, qPrintable(centre.name()));

        view->setFocus();
        view->setCurrentIndex(strip->index(0, 0));
        QTest::keyClick(view, Qt::Key_Down, Qt::ControlModifier);
        QTest::keyClick(view, Qt::Key_Down, Qt::ControlModifier);
        QCOMPARE(order(strip), (QStringList {"p2", "p3", "p1", "p4", "p5"}));
        QCOMPARE(view->currentIndex().row(), 2); // the moved slide stays chosen

        // The preview shows the chosen (red) slide and follows its caption.
        QTRY_VERIFY(!window->previewImage().isNull() && window->previewImage().pixelColor(168, 60).red() > 200);
        const QImage before = window->previewImage();
        auto* caption = window->findChild<QPlainTextEdit*>(QStringLiteral("caption"));
        caption->setFocus();
        QTest::keyClicks(caption, QStringLiteral("Le Colisee au soir"));
        QVERIFY(window->previewImage() != before);
        QVERIFY(window->isWindowModified());

        // p4 dragged onto the left half of the first thumbnail goes before it.
        std::unique_ptr<QMimeData> dragged(strip->mimeData({strip->index(3, 0)}));
        const QRect first = view->visualRect(strip->index(0, 0));
        // (A synthetic drop event reaches no view without a drag under way: the view's own handler is called.)
        QVERIFY(
            static_cast<FilmstripView*>(view)->dropSlides(dragged.get(), QPoint(first.left() + 5, first.center().y())));
        QCOMPARE(order(strip), (QStringList {"p4", "p2", "p3", "p1", "p5"}));
        QCOMPARE(view->currentIndex().row(), 0);

        // Switching project asks about the changes first; Cancel keeps everything as it was.
        answerNext({}, QMessageBox::Cancel);
        QVERIFY(!window->newProject(QStringLiteral("Autre")));
        QCOMPARE(m_seenMessage, langText(3239).arg(QStringLiteral("Été à Rome")));
        QCOMPARE(order(strip), (QStringList {"p4", "p2", "p3", "p1", "p5"}));

        // The offscreen platform leaves no window active once a dialog has closed.
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window));
        QTest::keyClick(window, Qt::Key_S, Qt::ControlModifier);
        QVERIFY(!window->editing().isDirty());
        QVERIFY(!window->isWindowModified());
        QCOMPARE(view->currentIndex().row(), 0); // still on the slide being edited
        const qint64 key = window->editing().project().KeyAuto;
        QVERIFY(key > 0);
        window->close();
        QTRY_VERIFY(QApplication::topLevelWidgets().isEmpty() || !window->isVisible());

        auto* again = new FrmAssistSon(mdb());
        again->show();
        auto* projects = again->findChild<QTreeWidget*>(QStringLiteral("projects"));
        QCOMPARE(projects->topLevelItemCount(), 1);
        QCOMPARE(projects->topLevelItem(0)->text(0), QStringLiteral("Été à Rome"));
        QVERIFY(again->openProject(key));
        QCOMPARE(order(again->findChild<QListView*>(QStringLiteral("filmstrip"))->model()),
            (QStringList {"p4", "p2", "p3", "p1", "p5"}));
        QCOMPARE(ProjectStore::slides(mdb(), key).at(3).Texte, QStringLiteral("Le Colisee au soir"));
    }

    // A protected project shows "**"; deleting asks first, naming the project.
    // Every control showing at once has its own Alt+letter, on each tab, in both languages.
    void everyControlHasItsOwnKey_data()
    {
        QTest::addColumn<QString>("language");
        QTest::newRow("French") << QStringLiteral("FRA");
        QTest::newRow("English") << QStringLiteral("ENG");
    }

    void everyControlHasItsOwnKey()
    {
        QFETCH(QString, language);
        QVERIFY(interfaceTexts().load(language));
        auto* window = new FrmAssistSon(mdb());
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window));
        auto* tabs = window->findChild<QTabWidget*>();
        QVERIFY(tabs && tabs->count() == 2);
        for (int tab = 0; tab < tabs->count(); ++tab) {
            tabs->setCurrentIndex(tab);
            const QStringList clashes = Mnemonics::clashes(window);
            QVERIFY2(clashes.isEmpty(), qPrintable(clashes.join(QLatin1Char('\n'))));
        }
    }

    void deleteAsksNamingTheProject()
    {
        const auto key = ProjectStore::addProject(mdb(), QStringLiteral("L'hiver"), 5, QStringLiteral("x"));
        QVERIFY(key);
        auto* window = new FrmAssistSon(mdb());
        window->show();
        QVERIFY(QTest::qWaitForWindowActive(window));
        auto* projects = window->findChild<QTreeWidget*>(QStringLiteral("projects"));
        QCOMPARE(projects->topLevelItem(0)->text(1), QStringLiteral("**"));
        answerNext({}); // the password dialog, given up
        QVERIFY(!window->openProject(*key));
        QVERIFY(!window->editing().isOpen());
        projects->setCurrentItem(projects->topLevelItem(0));
        projects->setFocus();
        answerNext({}, QMessageBox::Cancel);
        QTest::keyClick(projects, Qt::Key_Delete);
        QVERIFY(m_seenMessage.contains(QStringLiteral("« L'hiver »")));
        QVERIFY(ProjectStore::project(mdb(), *key));
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window));
        answerNext({}, QMessageBox::Yes);
        QTest::keyClick(projects, Qt::Key_Delete);
        QVERIFY(!ProjectStore::project(mdb(), *key));
        QCOMPARE(projects->topLevelItemCount(), 0);
    }

    // Two seconds of a tone played into the null sink, recorded from its monitor as the default
    // microphone. Without a sound server the button says there is no microphone.
    void commentRecorded()
    {
        auto* window = new FrmAssistSon(mdb());
        window->show();
        QVERIFY(window->newProject(QStringLiteral("Voix")));
        window->addFolder(m_pictures);
        auto* record = window->findChild<QPushButton*>(QStringLiteral("record"));
        auto* comment = window->findChild<QLineEdit*>(QStringLiteral("comment"));
        registry().set(SettingNo::DiapoAutoComName, -1);

        if (qEnvironmentVariableIsEmpty("PULSE_SERVER")) {
            if (CommentRecorder::hasMicrophone())
                QSKIP("a microphone is present but no private sound server: run through with-pulse.sh");
            answerNext({}, QMessageBox::Ok);
            QTest::mouseClick(record, Qt::LeftButton);
            QCOMPARE(m_seenMessage, langText(3262));
            QVERIFY(comment->text().isEmpty());
            return;
        }
        if (QStandardPaths::findExecutable(QStringLiteral("sox")).isEmpty())
            QSKIP("sox is not installed (scripts/deps.sh --test installs it)");
        const QString tone = m_home->path() + QStringLiteral("/tone.wav");
        QCOMPARE(QProcess::execute(QStringLiteral("sox"),
                     {QStringLiteral("-n"), QStringLiteral("-r"), QStringLiteral("44100"), QStringLiteral("-c"),
                         QStringLiteral("2"), tone, QStringLiteral("synth"), QStringLiteral("20"),
                         QStringLiteral("sine"), QStringLiteral("440")}),
            0);
        // The sink's monitor, remapped as a source of its own: monitors are not offered as microphones.
        QCOMPARE(QProcess::execute(QStringLiteral("pactl"),
                     {QStringLiteral("load-module"), QStringLiteral("module-remap-source"),
                         QStringLiteral("master=tapisol.monitor"), QStringLiteral("source_name=tapisol_mic")}),
            0);
        QCOMPARE(QProcess::execute(
                     QStringLiteral("pactl"), {QStringLiteral("set-default-source"), QStringLiteral("tapisol_mic")}),
            0);
        QTRY_VERIFY(CommentRecorder::hasMicrophone());
        QProcess player;
        player.start(QStringLiteral("paplay"), {QStringLiteral("--device=tapisol"), tone});
        QVERIFY(player.waitForStarted());
        QTest::qWait(300); // the tone is flowing before the recording starts

        m_seenMessage.clear();
        answerNext({}, QMessageBox::Ok); // a refusal would be said in a message box
        QTest::mouseClick(record, Qt::LeftButton);
        QVERIFY2(record->text() == langText(3294), qPrintable(m_seenMessage));
        // Two seconds from the first sample the recorder reports, as the user is told to wait for.
        auto* state = window->findChild<QLabel*>(QStringLiteral("recordState"));
        QCOMPARE(state->text(), langText(3220));
        QElapsedTimer starting;
        starting.start();
        QTRY_VERIFY_WITH_TIMEOUT(state->text() != langText(3220), 10000);
        qInfo("the microphone started in %lld ms", starting.elapsed());
        QTest::qWait(2000);
        QTest::mouseClick(record, Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(!comment->text().isEmpty(), 10000);
        player.kill();
        player.waitForFinished();

        const QString file = comment->text();
        QCOMPARE(file, m_home->tapisolDataDir() + QStringLiteral("Media/Sons/Comments/Voix 001.ogg"));
        QCOMPARE(window->editing().slide(0).PathComment, file);
        QProcess stat;
        stat.start(QStringLiteral("sox"), {file, QStringLiteral("-n"), QStringLiteral("stat")});
        QVERIFY(stat.waitForFinished());
        const QString report = QString::fromLocal8Bit(stat.readAllStandardError());
        const auto value = [&](const QString& name) {
            const QRegularExpression line(QRegularExpression::escape(name) + QStringLiteral(":\\s*([-0-9.e]+)"));
            return line.match(report).captured(1).toDouble();
        };
        const double seconds = value(QStringLiteral("Length (seconds)"));
        const double rms = value(QStringLiteral("RMS     amplitude"));
        qInfo("recorded %.2f s, RMS amplitude %.3f", seconds, rms);
        QVERIFY2(seconds > 1.8 && seconds < 2.6, qPrintable(report));
        QVERIFY2(rms > 0.05, qPrintable(report)); // a tone, not silence
        QVERIFY(window->nextCommentFile().endsWith(QStringLiteral("Voix 002.ogg")));

        // The listen button plays the new comment, and a second press stops it. The null sink is
        // an output, as the program's start finds it.
        appState().soundCard = !QMediaDevices::audioOutputs().isEmpty();
        QVERIFY(appState().soundCard);
        answerNext({}, QMessageBox::Ok);
        auto* listen = window->findChild<QToolButton*>(QStringLiteral("listenComment"));
        QVERIFY(listen->isEnabled());
        QTest::mouseClick(listen, Qt::LeftButton);
        QTRY_VERIFY2(SoundService::instance().isPlaying(), qPrintable(m_seenMessage));
        QCOMPARE(SoundService::instance().currentFile(), file);
        QTest::mouseClick(listen, Qt::LeftButton);
        QVERIFY(!SoundService::instance().isPlaying());
    }
};

QTEST_MAIN(TestFrmAssistSon)
#include "tst_frmassistson.moc"
