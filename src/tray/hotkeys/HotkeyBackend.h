#pragma once

#include <QString>

#include <functional>

// One way of getting system-wide key presses: the X server's key grabs, or the desktop portal's
// global shortcuts. ClsRegHotKey drives it; it reports presses by the identifier it was given.
class HotkeyBackend
{
public:
    virtual ~HotkeyBackend() = default;

    /// Short stable name ("x11", "portal", "none"), for the trace.
    virtual QString name() const = 0;

    /// Binds `id` to the stored pair (virtual-key code, modifier bits). False, with the reason,
    /// when the system refuses it (a key another program holds): that binding stays inactive.
    virtual bool bind(int id, const QString& name, int virtualKey, int modifiers, QString* why) = 0;

    /// Releases one binding, or all of them.
    virtual void release(int id) = 0;
    virtual void releaseAll() = 0;

    /// Called with the identifier of each press.
    void setOnPressed(std::function<void(int id)> onPressed) { m_onPressed = std::move(onPressed); }

protected:
    void pressed(int id) const
    {
        if (m_onPressed)
            m_onPressed(id);
    }

private:
    std::function<void(int id)> m_onPressed;
};
