#pragma once

#include "HotkeyBackend.h"

// Where neither the X server nor the desktop portal gives global keys: every binding inactive,
// said once in the trace; the rest of the program works.
class NoHotkeyBackend final : public HotkeyBackend
{
public:
    explicit NoHotkeyBackend(QString reason)
        : m_reason(std::move(reason))
    { }
    QString name() const override { return QStringLiteral("none"); }
    bool bind(int, const QString&, int, int, QString* why) override
    {
        *why = m_reason;
        return false;
    }
    void release(int) override { }
    void releaseAll() override { }

private:
    QString m_reason;
};
