// Global hot keys in the real program under Xvfb: keys pressed with xdotool, whatever the lock
// keys, run their commands; a key another X client holds stays inactive and the program goes on.
#include "E2eSession.h"

#include <QtTest>

#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>

#include <cstdlib>

class TestE2eHotkeys : public E2eTest
{
    Q_OBJECT

private slots:
    void keysRunTheirCommands()
    {
        // Another client holds Ctrl+Alt+M before Tapisol starts.
        xcb_connection_t* other = xcb_connect(nullptr, nullptr);
        QVERIFY(!xcb_connection_has_error(other));
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(other)).data->root;
        xcb_key_symbols_t* symbols = xcb_key_symbols_alloc(other);
        xcb_keycode_t* m = xcb_key_symbols_get_keycode(symbols, 'm');
        QVERIFY(m);
        QVERIFY(!xcb_request_check(other,
            xcb_grab_key_checked(other, 1, root, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1, m[0], XCB_GRAB_MODE_ASYNC,
                XCB_GRAB_MODE_ASYNC)));
        std::free(m);
        xcb_key_symbols_free(symbols);
        const auto release = qScopeGuard([other] { xcb_disconnect(other); });

        {
            QSettings settings = s->configFile();
            settings.setValue(QStringLiteral("Paramètres/HKNextWallMod"), 3); // Ctrl+Alt+N
            settings.setValue(QStringLiteral("Paramètres/HKNextWallCode"), 78);
            settings.setValue(QStringLiteral("Paramètres/HKAutoMod"), 3); // Ctrl+Alt+M, held by the other client
            settings.setValue(QStringLiteral("Paramètres/HKAutoCode"), 77);
            settings.setValue(QStringLiteral("Paramètres/HKQuietAllMod"), 0); // F9 alone
            settings.setValue(QStringLiteral("Paramètres/HKQuietAllCode"), 120);
        }
        QProcess* tapisol = s->startLoaded();
        QVERIFY(tapisol);
        QVERIFY(
            s->log().contains(QStringLiteral("SY HotKey TPModeAuto inactive: the key is taken by another program")));

        E2eSession::run(QStringLiteral("xdotool key ctrl+alt+n"));
        QVERIFY(s->waitForLog(QStringLiteral("SY HotKey TPNextWallPaper\r\nSy ActionMenu 2")));
        E2eSession::run(QStringLiteral("xdotool key Num_Lock ctrl+alt+n"));
        QVERIFY(s->waitForLog(QStringLiteral("Sy ActionMenu 2"), 2));
        E2eSession::run(QStringLiteral("xdotool key Caps_Lock ctrl+alt+n Num_Lock Caps_Lock"));
        QVERIFY(s->waitForLog(QStringLiteral("Sy ActionMenu 2"), 3));
        E2eSession::run(QStringLiteral("xdotool key F9"));
        QVERIFY(s->waitForLog(QStringLiteral("SY HotKey TPQuiet\r\nSy ActionMenu 9")));
        E2eSession::run(QStringLiteral("xdotool key ctrl+alt+m"));
        QTest::qWait(300);
        QVERIFY(!s->log().contains(QStringLiteral("Sy ActionMenu 1")));
        QCOMPARE(tapisol->state(), QProcess::Running);
        QVERIFY(s->exit(tapisol));
        QVERIFY(s->log().contains(QStringLiteral("SY, Unload UnHook")));
    }
};

QTEST_GUILESS_MAIN(TestE2eHotkeys)
#include "tst_e2e_hotkeys.moc"
