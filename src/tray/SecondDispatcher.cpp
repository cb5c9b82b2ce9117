#include "SecondDispatcher.h"

#include "AppState.h"
#include "Clock.h"
#include "InterfaceTexts.h"
#include "Trace.h"
#include "TrayServices.h"

SecondDispatcher::SecondDispatcher(Parts parts)
    : m_parts(std::move(parts))
{ }

void SecondDispatcher::tick()
{
    // A trace line or an alarm window may spin the event loop; a second tick must not start
    // inside the first.
    if (m_inTick)
        return;
    m_inTick = true;
    const QDateTime now = appClock().now();
    const int interval = m_parts.intervalMinutes();

    TAPISOL_TRACE(QStringLiteral("SY TS Forms.Count=") + QString::number(m_parts.view->loadedFormCount()));

    if (!m_parts.view->aboutBoxOpen()) {
        TAPISOL_TRACE(QStringLiteral("SY TS Alrm start"));
        m_parts.alarms->scanDueAlarms(now);
        TAPISOL_TRACE(QStringLiteral("SY TS Alrm end"));
    }

    m_parts.schedule->clampAfterClockChange(now, interval);
    m_parts.view->showSecondsLeft(m_parts.schedule->secondsLeft(now));

    if (m_parts.schedule->isDue(now)) {
        m_parts.wallpaper->changeToNext();
        // From the clock after the change: a slow picture must not eat into the next interval,
        // and a change missed during a suspend happens once, not once per missed interval.
        m_parts.schedule->restart(appClock().now(), interval);
    }

    m_parts.view->setTipText(tipText(programTitle(), m_parts.wallpaper->currentDescription(), m_parts.schedule->isOn(),
        m_parts.schedule->secondsLeft(now)));

    TAPISOL_TRACE(QStringLiteral("SY TS Check Snd"));
    m_parts.chime->check(now);

    m_parts.view->refreshCalendarClock();
    m_inTick = false;
}

QString SecondDispatcher::tipText(const QString& title, const QString& wallpaper, bool autoMode, qint64 secondsLeft)
{
    QString text = title;
    if (!wallpaper.isEmpty())
        text += QLatin1Char('\n') + wallpaper;
    if (autoMode) {
        const qint64 minutes = (secondsLeft + 59) / 60;
        text += QLatin1Char('\n') + langText(2120).arg(minutes);
    }
    text.replace(QLatin1String("\r\n"), QLatin1String(" "));
    text.replace(QLatin1Char('\n'), QLatin1Char(' '));
    text.replace(QLatin1Char('\r'), QLatin1Char(' '));
    return text;
}
