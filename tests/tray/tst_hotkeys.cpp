// Hot keys without a display: the named registrations and their rules, the keys a stored code
// stands for, the capture dialog's choices; and the chime over a simulated day.
#include "ClsRegHotKey.h"
#include "FrmHotKeys.h"
#include "HotkeyNames.h"
#include "HourChime.h"
#include "InterfaceTexts.h"
#include "SettingsTable.h"
#include "VirtualKeys.h"

#include <QApplication>
#include <QDateTime>
#include <QLabel>
#include <QLineEdit>
#include <QtTest>

namespace {

// A back end that keeps what it was asked, and refuses the codes it is told to.
class RecordingBackend final : public HotkeyBackend
{
public:
    QMap<int, QString> bound; // id → "name mod code"
    QList<int> refusedCodes;
    QString name() const override { return QStringLiteral("recording"); }
    bool bind(int id, const QString& name, int virtualKey, int modifiers, QString* why) override
    {
        if (refusedCodes.contains(virtualKey)) {
            *why = QStringLiteral("taken");
            return false;
        }
        bound.insert(id, QStringLiteral("%1 %2 %3").arg(name).arg(modifiers).arg(virtualKey));
        return true;
    }
    void release(int id) override { bound.remove(id); }
    void releaseAll() override { bound.clear(); }
    void press(int id) { pressed(id); }
};

} // namespace

class TestHotkeys : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { interfaceTexts().load(QStringLiteral("FRA")); }

    // 32 characters are a name, 33 are not; a second registration of a name replaces the first;
    // a code of 0 only forgets; a refused key stays inactive; presses come back by name, and one
    // that matches nothing is no press.
    void registrations()
    {
        auto owned = std::make_unique<RecordingBackend>();
        RecordingBackend& backend = *owned;
        ClsRegHotKey keys(std::move(owned));
        QSignalSpy pressed(&keys, &ClsRegHotKey::hotKeyPressed);
        QString error;
        QVERIFY(keys.registerKey(QString(32, QLatin1Char('k')), 65, 3, &error));
        QVERIFY(!keys.registerKey(QString(33, QLatin1Char('k')), 65, 3, &error));
        QCOMPARE(error, QStringLiteral("Key Name too long (max 32 characters)."));
        QVERIFY(keys.registerKey(QStringLiteral("TPNextWallPaper"), 78, 2));
        QVERIFY(keys.registerKey(QStringLiteral("TPNextWallPaper"), 112, 0));
        QCOMPARE(backend.bound.values().filter(QStringLiteral("TPNextWallPaper")),
            QStringList {QStringLiteral("TPNextWallPaper 0 112")});
        QVERIFY(keys.registerKey(QStringLiteral("TPNextWallPaper"), 0, 0));
        QVERIFY(!keys.isActive(QStringLiteral("TPNextWallPaper")));
        backend.refusedCodes = {77};
        QVERIFY(!keys.registerKey(QStringLiteral("TPModeAuto"), 77, 3, &error));
        QVERIFY(!keys.isActive(QStringLiteral("TPModeAuto")));
        backend.press(backend.bound.firstKey());
        backend.press(999);
        QCOMPARE(pressed.size(), 1);
        QCOMPARE(pressed.first().first().toString(), QString(32, QLatin1Char('k')));
        keys.unregisterAll();
        QVERIFY(backend.bound.isEmpty());
    }

    // The twelve names and their commands; Exit and the two unregistered pairs have none.
    void names()
    {
        QCOMPARE(HotkeyNames::registered().size(), 12);
        QCOMPARE(HotkeyNames::commandOf(QStringLiteral("TPNextWallPaper")), std::optional<int>(2));
        QCOMPARE(HotkeyNames::commandOf(QStringLiteral("CSCiselor")), std::optional<int>(15));
        for (const HotkeyNames::Binding& binding : HotkeyNames::registered()) {
            QVERIFY(binding.command != 17);
            QVERIFY(binding.codeSetting != SettingNo::HKSilentCode && binding.codeSetting != SettingNo::HKAlbumCode);
        }
    }

    // Stored codes to X key symbols and back from Qt's keys, the keypad apart.
    void virtualKeys()
    {
        const QList<std::tuple<int, quint32, int, bool>> keys
            = {{65, 0x61, Qt::Key_A, false}, {57, 0x39, Qt::Key_9, false}, {116, 0xffc2, Qt::Key_F5, false},
                {127, 0xffcd, Qt::Key_F16, false}, {37, 0xff51, Qt::Key_Left, false}, {36, 0xff50, Qt::Key_Home, false},
                {46, 0xffff, Qt::Key_Delete, false}, {96, 0xffb0, Qt::Key_0, true}, {107, 0xffab, Qt::Key_Plus, true},
                {176, 0x1008ff17, Qt::Key_MediaNext, false}};
        for (const auto& [code, keysym, qtKey, keypad] : keys) {
            QCOMPARE(VirtualKeys::keysym(code), keysym);
            QCOMPARE(VirtualKeys::fromQtKey(qtKey, keypad), code);
        }
        QCOMPARE(VirtualKeys::keysym(250), 0u);
        QCOMPARE(VirtualKeys::fromQtKey(Qt::Key_Plus, false), 0); // "+" of the main keys: no code
    }

    // The capture: a bare letter refused, a bare F-key taken, the holder of a combination named.
    void capture()
    {
        FrmHotKeys dialog(QStringLiteral("Fond d'écran suivant"), 0, 0, [](int modifiers, int code) {
            return modifiers == 3 && code == 65 ? QStringLiteral("Silence") : QString();
        });
        QVERIFY(!dialog.take(Qt::Key_N, Qt::NoModifier));
        QCOMPARE(dialog.code(), 0);
        QVERIFY(dialog.take(Qt::Key_F5, Qt::NoModifier));
        QCOMPARE(std::pair(dialog.modifiers(), dialog.code()), std::pair(0, 116));
        QVERIFY(dialog.take(Qt::Key_A, Qt::ControlModifier | Qt::AltModifier));
        QCOMPARE(std::pair(dialog.modifiers(), dialog.code()), std::pair(3, 65));
        const auto labels = dialog.findChildren<QLabel*>();
        QVERIFY(std::any_of(labels.cbegin(), labels.cend(),
            [](QLabel* label) { return label->text().contains(QStringLiteral("Silence")); }));
        QCOMPARE(dialog.findChild<QLineEdit*>(QStringLiteral("capture"))->text(), QStringLiteral("Ctrl+Alt+A"));
    }
};

// The chime, asked once a second over simulated time with the strike timer's ticks every two
// seconds, counting what it plays.
class TestChime : public QObject
{
    Q_OBJECT

    QHash<int, int> m_settings;
    bool m_quiet = false;
    bool m_hourFile = true;
    QStringList m_played; // "HH:mm:ss item"
    QDateTime m_now;

    std::unique_ptr<HourChime> make()
    {
        HourChime::Hooks hooks;
        hooks.play = [this](const QStringList& list, int item) {
            m_played << m_now.toString(QStringLiteral("HH:mm:ss ")) + list.value(item - 1).section('/', -1);
        };
        hooks.quiet = [this] { return m_quiet; };
        hooks.setting = [this](int number) { return m_settings.value(number, 0); };
        hooks.soundFile = [this](const QString& name) {
            return name.endsWith(QLatin1String("h.mp3")) && !m_hourFile ? QString() : QStringLiteral("/s/") + name;
        };
        return std::make_unique<HourChime>(hooks);
    }

    // Runs from `from` for `seconds`, the timer ticking every two seconds once started.
    void run(HourChime& chime, const QDateTime& from, int seconds)
    {
        int sinceStart = -1;
        for (int i = 0; i < seconds; ++i) {
            m_now = from.addSecs(i);
            const bool running = chime.timerRunning();
            chime.check(m_now);
            if (!running && chime.timerRunning())
                sinceStart = 0;
            else if (chime.timerRunning() && ++sinceStart % 2 == 0)
                chime.strike();
        }
    }

private slots:
    void init()
    {
        using namespace SettingNo;
        m_settings = {{SonActif, -1}, {BellHour15, -1}, {BellHour30, -1}, {BellHour, -1}, {BellType, 0}};
        m_quiet = false;
        m_hourFile = true;
        m_played.clear();
    }

    // At 2:59 three strikes from 2:59:55, and no single hour sound at 3:00:00 while they run.
    void threeStrikes()
    {
        auto chime = make();
        run(*chime, QDateTime(QDate(2026, 3, 1), QTime(2, 59, 0)), 90);
        QCOMPARE(m_played, QStringList({"02:59:55 TPBell1h.mp3", "02:59:57 TPBell1h.mp3", "02:59:59 TPBell1h.mp3"}));
    }

    // At 12:59 and 0:59 no sequence; the hour sound at 1:00:00 is the one strike. Without an
    // "h.mp3" the short chime stands in.
    void oneOClock()
    {
        m_hourFile = false;
        auto chime = make();
        run(*chime, QDateTime(QDate(2026, 3, 1), QTime(0, 58, 0)), 180);
        QCOMPARE(m_played, QStringList({"01:00:00 TPBell1.mp3"}));
        m_played.clear();
        run(*chime, QDateTime(QDate(2026, 3, 1), QTime(12, 59, 0)), 90);
        QCOMPARE(m_played, QStringList({"13:00:00 TPBell1.mp3"}));
    }

    // A whole day: per hour the quarters and the half (3) plus the strikes (h + 1 for the coming
    // hour, none before one o'clock, which has its single hour sound instead), and the hour sound
    // at midnight, where nothing was struck before the day began.
    void wholeDay()
    {
        auto chime = make();
        run(*chime, QDateTime(QDate(2026, 3, 1), QTime(0, 0, 0)), 24 * 3600);
        int expected = 24 * 3 + 1;
        for (int hour = 0; hour < 24; ++hour) {
            const int h = hour % 12;
            expected += h == 0 ? 1 : h + 1; // struck in minute 59 of `hour`, or the hour sound after it
        }
        QCOMPARE(m_played.size(), expected);
        QVERIFY(m_played.contains(QStringLiteral("23:59:37 TPBell1h.mp3"))); // twelve strikes from 11:59:37
    }

    // Quiet-all in the middle of a sequence silences the rest; BellSilent and SonActif silence
    // everything; a clock that jumps over a quarter plays nothing of it, a second seen twice once.
    void silences()
    {
        auto chime = make();
        m_now = QDateTime(QDate(2026, 3, 1), QTime(5, 59, 49));
        chime->check(m_now);
        QCOMPARE(m_played.size(), 1);
        m_quiet = true;
        while (chime->timerRunning()) // the timer runs out, silent
            chime->strike();
        QCOMPARE(m_played.size(), 1);
        m_quiet = false;
        m_settings[SettingNo::BellSilent] = -1;
        run(*chime, QDateTime(QDate(2026, 3, 1), QTime(7, 14, 50)), 20);
        m_settings[SettingNo::BellSilent] = 0;
        m_settings[SettingNo::SonActif] = 0;
        run(*chime, QDateTime(QDate(2026, 3, 1), QTime(7, 29, 50)), 20);
        m_settings[SettingNo::SonActif] = -1;
        QCOMPARE(m_played.size(), 1);
        m_now = QDateTime(QDate(2026, 3, 1), QTime(8, 14, 59));
        chime->check(m_now);
        m_now = QDateTime(QDate(2026, 3, 1), QTime(8, 16, 3)); // resumed after the quarter
        chime->check(m_now);
        m_now = QDateTime(QDate(2026, 3, 1), QTime(8, 30, 0));
        chime->check(m_now);
        chime->check(m_now);
        QCOMPARE(m_played.size(), 2);
    }
};

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    TestHotkeys hotkeys;
    TestChime chime;
    return QTest::qExec(&hotkeys, argc, argv) | QTest::qExec(&chime, argc, argv);
}

#include "tst_hotkeys.moc"
