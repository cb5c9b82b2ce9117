// Notes in a real database file: a note written and read back whole, the renumbering of every
// save, objects the reader must skip or refuse, a writer killed in the middle of saves, and the
// alarm scan driven by a test clock (with its quick ticks between full passes).
#include "../db/MdbTestSupport.h"
#include "InterfaceTexts.h"
#include "JetValues.h"
#include "NoteAlarms.h"
#include "NoteStore.h"
#include "WallClock.h"

#include <QProcess>
#include <QRandomGenerator>
#include <QtTest>

#include <csignal>

namespace {

QDateTime wall(int year, int month, int day, int hour = 0, int minute = 0)
{
    return WallClock::make(QDate(year, month, day), QTime(hour, minute));
}

// A note of the look a user would give it: every field away from its default.
Note richNote()
{
    Note note = Note::blank(QDate(2026, 3, 10));
    note.Alarme = true;
    note.fields.alarm = wall(2026, 3, 10, 9, 30);
    note.fields.end = wall(2026, 6, 1);
    note.fields.repeats = true;
    note.fields.repeatInterval = 15;
    note.fields.repeatUnit = Recurrence::Minute;
    note.fields.behaviour = 1;
    note.fields.frequency = Recurrence::Months;
    note.fields.weekDays = QStringLiteral("1010100");
    note.fields.months = QStringLiteral("100000000001");
    note.fields.active = true;
    note.BirthDay = QDate(1990, 3, 10);
    ClsWinData* window = note.objects.window();
    window->WinLargeur = 320;
    window->WinPosX = 40;
    window->Decoupage = true;
    window->DecoupBkColor = 0x00ff00;
    window->Transparence = 200;
    ClsTxtData* text = note.objects.text();
    text->Texte = QStringLiteral("Rendez-vous chez l'ophtalmo, 3ᵉ étage");
    text->TxtAlign = 2;
    text->TxtFontName = QStringLiteral("DejaVu Sans");
    text->TxtFontItalic = true;
    auto sound = std::make_unique<ClsSonData>();
    sound->Texte = QStringLiteral("/home/u/Sons/cloche d'or.mp3");
    sound->SonRepet = true;
    note.objects.Add(std::move(sound));
    return note;
}

} // namespace

class TestNoteStore : public QObject, MdbTest::Fixture
{
    Q_OBJECT

    std::unique_ptr<ClsMdb> m_db;

    QString count(const char* sql) { return MdbTest::rows(m_db->database(), QString::fromLatin1(sql)); }

    qint64 addAlarm(const QDate& day, const QDateTime& alarm, bool active)
    {
        Note note = Note::blank(day);
        note.Alarme = true;
        if (alarm.isValid())
            note.fields.alarm = alarm;
        note.fields.active = active;
        note.objects.text()->Texte = QStringLiteral("note");
        [&] { QVERIFY(NoteStore::write(*m_db, note)); }();
        return note.Numero;
    }

private slots:
    void initTestCase() { QVERIFY(interfaceTexts().load(QStringLiteral("FRA"))); }

    void init()
    {
        setUp();
        m_db = makeMdb();
        QVERIFY(m_db->MdbInit());
    }
    void cleanup()
    {
        m_db.reset();
        home.reset();
    }

    // Every field survives a save and a read; each save gives a new number, the old rows go, and
    // a note without content keeps no AlarmeTxt row at all.
    void roundTripAndRenumbering()
    {
        Note note = richNote();
        QSignalSpy saved(&NoteEvents::instance(), &NoteEvents::noteSaved);
        QVERIFY(NoteStore::write(*m_db, note));
        const qint64 first = note.Numero;
        QVERIFY(NoteStore::write(*m_db, note));
        QVERIFY(note.Numero != first);
        QCOMPARE(saved.count(), 2);
        QCOMPARE(saved.at(1).at(0).toLongLong(), first);
        QVERIFY(!NoteStore::exists(*m_db, first));
        QCOMPARE(count("SELECT count(*) FROM AlarmeTxt WHERE NumeroNote NOT IN (SELECT Numero FROM Agenda)"), "0");

        const auto back = NoteStore::read(*m_db, note.Numero);
        QVERIFY(back);
        QCOMPARE(back->fields.alarm, note.fields.alarm);
        QCOMPARE(back->fields.end, note.fields.end);
        QCOMPARE(back->fields.months, note.fields.months);
        QCOMPARE(back->fields.weekDays, note.fields.weekDays);
        QCOMPARE(back->fields.repeatInterval, 15);
        QCOMPARE(back->BirthDay, QDate(1990, 3, 10));
        QCOMPARE(back->ageOn(QDate(2026, 3, 9)), 35);
        QCOMPARE(back->ageOn(QDate(2026, 3, 10)), 36);
        QCOMPARE(back->objects.Count(), 3);
        QCOMPARE(back->objects.TypeOfItem(1), 0);
        QCOMPARE(back->objects.window()->WinLargeur, 320.0f);
        QCOMPARE(back->objects.window()->WinHauteur, ClsWinData::UnsetSize);
        QCOMPARE(back->objects.window()->WinPosY, ClsWinData::UnsetPosition);
        QVERIFY(back->objects.window()->Decoupage);
        QCOMPARE(back->objects.window()->DecoupBkColor, 0x00ff00);
        QCOMPARE(back->objects.window()->Transparence, quint8(200));
        QCOMPARE(back->text(), note.text());
        QCOMPARE(back->objects.text()->TxtAlign, quint8(2));
        QCOMPARE(back->objects.text()->TxtFontName, QStringLiteral("DejaVu Sans"));
        QVERIFY(back->objects.text()->TxtFontItalic);
        QCOMPARE(back->objects.sound()->Texte, QStringLiteral("/home/u/Sons/cloche d'or.mp3"));
        QVERIFY(back->objects.sound()->SonRepet);

        Note empty = Note::blank(QDate(2026, 3, 11));
        QVERIFY(NoteStore::write(*m_db, empty));
        QCOMPARE(MdbTest::rows(m_db->database(),
                     QStringLiteral("SELECT count(*) FROM AlarmeTxt WHERE NumeroNote = %1").arg(empty.Numero)),
            QStringLiteral("0"));
        const auto day = NoteStore::notesOfDay(*m_db, QDate(2026, 3, 11));
        QCOMPARE(day.size(), 1);
        QCOMPARE(day.first().text, QString());

        QVERIFY(NoteStore::remove(*m_db, note.Numero));
        QCOMPARE(count("SELECT count(*) FROM AlarmeTxt"), "0");
    }

    // Rows written by other programs or older versions: Null columns keep the defaults, an
    // unknown kind is skipped, a second text is refused with the message and the first one wins.
    void readingOddRows()
    {
        QStringList messages;
        ClsColData::setCriticalMessageHandler([&messages](const QString& text) { messages << text; });
        m_db->database().exec(MdbTest::NoteInsert.arg(46091).toStdString());
        const qint64 numero = m_db->database().getLastInsertRowid();
        for (const char* row : {"(%1, 1, 'premier')", "(%1, 7, 'inconnu')", "(%1, 1, 'second')", "(%1, 2, NULL)"})
            m_db->database().exec(QStringLiteral("INSERT INTO AlarmeTxt (NumeroNote, ObjType, Texte) VALUES %1")
                                      .arg(QString::fromLatin1(row).arg(numero))
                                      .toStdString());
        const auto note = NoteStore::read(*m_db, numero);
        QVERIFY(note);
        QCOMPARE(messages, QStringList({ClsColData::DuplicateTextMessage}));
        QCOMPARE(note->objects.Count(), 3); // window, first text, image
        QCOMPARE(note->text(), QStringLiteral("premier"));
        QCOMPARE(note->objects.text()->TxtAlign, quint8(0)); // the column's default, stored by the engine
        QCOMPARE(note->objects.image()->Texte, QString());
        // Transparence Null is not possible here (the column has a default): the window's
        // defaults come from the settings, 255 and so TransparenceApply false.
        QVERIFY(!ClsWinData().TransparenceApply);
        NoteDefaults translucent;
        translucent.transparence = 254;
        QVERIFY(ClsWinData(translucent).TransparenceApply);
        QVERIFY(!NoteStore::read(*m_db, numero + 50));
        ClsColData::setCriticalMessageHandler({});
    }

    // A text longer than its column and a database held by another program: refused with a
    // reason, nothing written, the note keeps its number.
    void refusedSaves()
    {
        Note note = richNote();
        QVERIFY(NoteStore::write(*m_db, note));
        const qint64 numero = note.Numero;
        QString error;
        note.objects.text()->Texte = QString(251, QLatin1Char('x'));
        QVERIFY(!NoteStore::write(*m_db, note, &error));
        QVERIFY(error.contains(QLatin1String("250")));
        QCOMPARE(note.Numero, numero);

        note.objects.text()->Texte = QStringLiteral("changé");
        SQLite::Database other(file.toStdString(), SQLite::OPEN_READWRITE);
        other.exec("BEGIN EXCLUSIVE");
        QVERIFY(!NoteStore::write(*m_db, note, &error));
        QCOMPARE(error, langText(2700));
        other.exec("ROLLBACK");
        QCOMPARE(note.Numero, numero);
        QCOMPARE(NoteStore::read(*m_db, numero)->text(), richNote().text());
        QVERIFY(NoteStore::write(*m_db, note));
    }

    // A writer saving the same note again and again, killed at random instants: each time the
    // file holds exactly one version of the note, whole, and nothing else.
    void killDuringSaves()
    {
        Note note = richNote();
        QVERIFY(NoteStore::write(*m_db, note));
        m_db->close();
        m_db.reset();
        QRandomGenerator random(QRandomGenerator::global()->generate());
        for (int kill = 0; kill < 8; ++kill) {
            QProcess writer;
            writer.setProcessChannelMode(QProcess::ForwardedErrorChannel);
            writer.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--save-loop"), file});
            QVERIFY(writer.waitForReadyRead(20000)); // the first save is done
            QThread::usleep(ulong(random.bounded(20000)));
            ::kill(pid_t(writer.processId()), SIGKILL);
            QVERIFY(writer.waitForFinished(5000));
            SQLite::Database check(file.toStdString(), SQLite::OPEN_READONLY);
            QCOMPARE(MdbTest::rows(check, QStringLiteral("PRAGMA integrity_check")), QStringLiteral("ok"));
            QCOMPARE(MdbTest::rows(check, QStringLiteral("SELECT count(*) FROM Agenda")), QStringLiteral("1"));
            QCOMPARE(MdbTest::rows(check,
                         QStringLiteral("SELECT group_concat(ObjType) FROM (SELECT ObjType FROM AlarmeTxt JOIN Agenda "
                                        "ON NumeroNote = Agenda.Numero ORDER BY AlarmeTxt.Numero)")),
                QStringLiteral("1,3"));
            QCOMPARE(MdbTest::rows(check, QStringLiteral("SELECT count(*) FROM AlarmeTxt")), QStringLiteral("2"));
        }
    }

    // Two notes due in the same second open in one scan; a note whose alarm day lies after its
    // own day opens at once; future, inactive and time-less ones wait; each opens once.
    void scanOpensEachDueNoteOnce()
    {
        const QDateTime now = wall(2026, 3, 10, 9, 0);
        const qint64 first = addAlarm(now.date(), now, true);
        const qint64 second = addAlarm(now.date(), now.addSecs(-60), true);
        const qint64 laterDay = addAlarm(now.date(), wall(2026, 3, 12, 18, 0), true);
        addAlarm(now.date(), now.addSecs(3600), true);  // later today
        addAlarm(now.date(), now.addSecs(-600), false); // already shown
        addAlarm(now.date(), QDateTime(), true);        // no alarm time
        QList<qint64> opened;
        AlarmScan scan(*m_db, [&opened](qint64 numero) { opened << numero; });
        QCOMPARE(scan.run(now), 3);
        std::sort(opened.begin(), opened.end());
        QCOMPARE(opened, QList<qint64>({first, second, laterDay}));
        QCOMPARE(scan.run(now.addSecs(1)), 0);
        QVERIFY(!NoteAlarms::load(*m_db, first)->active);
    }

    // Between full passes a tick asks only for alarms whose time has come; a change made by this
    // program or by another connection brings the full query back, and a time that comes during
    // quick ticks still opens.
    void quickTicksMissNothing()
    {
        const QDateTime now = wall(2026, 3, 10, 9, 0);
        const qint64 soon = addAlarm(now.date(), now.addSecs(30), true);
        QList<qint64> opened;
        AlarmScan scan(*m_db, [&opened](qint64 numero) { opened << numero; });
        QCOMPARE(scan.run(now), 0);
        QVERIFY(scan.lastPassWasFull());
        QCOMPARE(scan.run(now.addSecs(1)), 0);
        QVERIFY(!scan.lastPassWasFull());
        QCOMPARE(scan.run(now.addSecs(30)), 1);
        QCOMPARE(opened, QList<qint64>({soon}));

        // Another program adds a note whose alarm day lies after its day: due at once.
        SQLite::Database other(file.toStdString(), SQLite::OPEN_READWRITE);
        other.exec(QStringLiteral("INSERT INTO Agenda (Date, Alarme, DateAlarme, AlarmeRepet, Comportement, Frequence, "
                                  "FreqJours, Active, Decoupage, WinBackColor) VALUES (%1, -1, %2, 0, 0, 0, '0000000', "
                                  "-1, 0, 0)")
                       .arg(WallClock::toOa(wall(2026, 3, 10)))
                       .arg(WallClock::toOa(wall(2026, 3, 20, 8, 0)))
                       .toStdString());
        QCOMPARE(scan.run(now.addSecs(31)), 1);
        QVERIFY(scan.lastPassWasFull());

        // Held by another program when a note falls due: not opened, not lost, opened when free,
        // and the tick does not wait for the lock.
        const qint64 held = addAlarm(now.date(), now.addSecs(40), true);
        other.exec("BEGIN EXCLUSIVE");
        QElapsedTimer waited;
        waited.start();
        QCOMPARE(scan.run(now.addSecs(41)), 0);
        QVERIFY(waited.elapsed() < 2000); // not waited for: the tray would freeze every tick
        other.exec("ROLLBACK");
        QCOMPARE(scan.run(now.addSecs(42)), 1);
        QCOMPARE(opened.last(), held);
    }

    // Dismissing: a one-off note ends inactive; a snoozed one comes back at its new time with
    // its origin untouched, and the closing rules run only at the real dismissal.
    void dismissAndSnooze()
    {
        const QDateTime now = wall(2026, 3, 10, 9, 0);
        Note note = Note::blank(now.date());
        note.Alarme = true;
        note.fields.alarm = now;
        note.fields.origin = now;
        note.fields.behaviour = 1;
        note.fields.frequency = Recurrence::Weekly;
        note.fields.active = true;
        QVERIFY(NoteStore::write(*m_db, note));
        AlarmScan scan(*m_db, [](qint64) {});
        QCOMPARE(scan.run(now), 1);
        QVERIFY(NoteAlarms::snooze(*m_db, note.Numero, now.addSecs(600)));
        auto fields = NoteAlarms::load(*m_db, note.Numero);
        QCOMPARE(*fields->alarm, now.addSecs(600));
        QCOMPARE(*fields->origin, now);
        QCOMPARE(scan.run(now.addSecs(599)), 0);
        QCOMPARE(scan.run(now.addSecs(600)), 1);
        QVERIFY(NoteAlarms::dismiss(*m_db, note.Numero, now.addSecs(610)));
        fields = NoteAlarms::load(*m_db, note.Numero);
        QCOMPARE(*fields->alarm, wall(2026, 3, 17, 9, 0)); // a week after the origin, at its hour
        QCOMPARE(fields->date, QDate(2026, 3, 17));
        QVERIFY(fields->active);
        QVERIFY(NoteStore::remove(*m_db, note.Numero));
        QVERIFY(!NoteAlarms::dismiss(*m_db, note.Numero, now)); // deleted while its window was open
    }
};

// The writer that killDuringSaves kills: saves the one note of the file again and again.
static int saveLoop(const QString& file)
{
    TempXdgHome home;
    ClsMdb db;
    db.setMdbName(file);
    db.setCopiesEnabled(false);
    db.setLanguageFolder(QStringLiteral(TAPISOL_TEST_LANG_DIR));
    if (!db.MdbInit())
        return 2;
    qint64 numero = SQLite::Statement(db.database(), "SELECT Numero FROM Agenda").executeStep()
        ? db.database().execAndGet("SELECT Numero FROM Agenda").getInt64()
        : 0;
    for (int i = 0;; ++i) {
        auto note = NoteStore::read(db, numero);
        if (!note)
            return 3;
        note->objects.text()->Texte = QStringLiteral("version %1").arg(i);
        if (!NoteStore::write(db, *note))
            return 4;
        numero = note->Numero;
        if (i == 0) {
            fputs("saved\n", stdout);
            fflush(stdout);
        }
    }
}

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    if (argc == 3 && qstrcmp(argv[1], "--save-loop") == 0)
        return saveLoop(QString::fromLocal8Bit(argv[2]));
    TestNoteStore test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_notestore.moc"
