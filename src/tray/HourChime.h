#pragma once

#include "TrayServices.h"

#include <QObject>
#include <QStringList>
#include <QTimer>

#include <functional>

// The hourly chime: a short chime at the quarters and the half hour, the hour sound on the hour,
// and in the last seconds of minute 59 one strike per hour of the coming hour (twelve-hour dial),
// paced by the chime timer at two seconds a strike so that the last one falls at second 59.
// Asked once a second by the tray with the program's clock, so a day can be simulated.
class HourChime final : public QObject, public Chime
{
    Q_OBJECT

public:
    struct Hooks
    {
        std::function<void(const QStringList& list, int item)> play; // item 1: the chime, 2: the hour sound
        std::function<bool()> quiet;                                 // quiet-all
        std::function<int(int number)> setting;                      // the numbered settings
        std::function<QString(const QString& name)> soundFile;       // a sound's path, empty when missing
    };

    explicit HourChime(Hooks hooks, QObject* parent = nullptr);

    void check(const QDateTime& now) override;
    /// One tick of the chime timer: "SY TC Snd", a strike while some are left, then it stops.
    void strike() override;

    bool timerRunning() const { return m_timer.isActive(); }
    /// The two sounds of the chosen set: the chime, then the hour sound (the chime again when
    /// the set has none).
    QStringList soundList() const;
    int strikesLeft() const { return m_strikes; }

private:
    void startStrikes();

    Hooks m_hooks;
    QTimer m_timer;
    int m_strikes = 0;       // strikes still to sound (16 bits in the settings' program, an int here)
    qint64 m_lastSecond = 0; // the second last checked: a tick twice in one second plays once
};
