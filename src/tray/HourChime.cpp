#include "HourChime.h"

#include "SettingsTable.h"
#include "Trace.h"

#include <QDateTime>

HourChime::HourChime(Hooks hooks, QObject* parent)
    : QObject(parent)
    , m_hooks(std::move(hooks))
{
    m_timer.setInterval(2000);
    connect(&m_timer, &QTimer::timeout, this, &HourChime::strike);
}

QStringList HourChime::soundList() const
{
    const int set = qMax(0, m_hooks.setting(SettingNo::BellType)) + 1;
    const QString chime = m_hooks.soundFile(QStringLiteral("TPBell%1.mp3").arg(set));
    const QString hour = m_hooks.soundFile(QStringLiteral("TPBell%1h.mp3").arg(set));
    return {chime, hour.isEmpty() ? chime : hour};
}

void HourChime::check(const QDateTime& now)
{
    // The current second only: a clock that jumped (a suspend, a time change) plays nothing of
    // what it skipped, and a second seen twice plays once.
    const qint64 second = now.toSecsSinceEpoch();
    if (second == m_lastSecond)
        return;
    m_lastSecond = second;
    if (m_hooks.setting(SettingNo::SonActif) == 0 || m_hooks.setting(SettingNo::BellSilent) != 0)
        return;
    const int m = now.time().minute();
    const int s = now.time().second();
    const bool quiet = m_hooks.quiet();
    if ((m == 15 || m == 45) && s == 0 && m_hooks.setting(SettingNo::BellHour15) != 0 && !quiet)
        m_hooks.play(soundList(), 1);
    else if (m == 30 && s == 0 && m_hooks.setting(SettingNo::BellHour30) != 0 && !quiet)
        m_hooks.play(soundList(), 1);
    else if (m == 0 && s == 0 && m_hooks.setting(SettingNo::BellHour) != 0 && !quiet && !timerRunning())
        m_hooks.play(soundList(), 2);
    else if (m == 59 && m_hooks.setting(SettingNo::BellHour) != 0 && !quiet && !timerRunning()) {
        int h = now.time().hour();
        if (h > 12)
            h -= 12;
        if (h == 12)
            h = 0;
        // At h = 0 (one o'clock comes) no sequence: the hour sound at minute 0 is its one strike.
        const int start = h == 0 ? 0 : 60 - 2 * h;
        if (s == start - 1) {
            m_strikes = h + 1;
            startStrikes();
        }
    }
}

void HourChime::startStrikes()
{
    m_timer.start();
    strike(); // the first at once
}

void HourChime::strike()
{
    if (!m_timer.isActive())
        return;
    TAPISOL_TRACE(QStringLiteral("SY TC Snd"));
    const int before = m_strikes--;
    // Quiet-all silences the strikes left but lets the timer run out.
    if (before >= 1 && !m_hooks.quiet())
        m_hooks.play(soundList(), 2);
    if (before == 0)
        m_timer.stop();
}
