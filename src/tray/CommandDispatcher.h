#pragma once

#include <QString>

#include <array>
#include <functional>

// Runs the tray's numbered commands (0 to 17) for the menu, the hot keys and `tapisol --command`.
// Each subsystem installs the action of its own commands; a command without one is only traced.
class CommandDispatcher
{
public:
    static constexpr int CommandCount = 18;
    static constexpr int Exit = 17;

    using Action = std::function<void()>;

    /// Installs (or with an empty action removes) what a command does.
    void setAction(int command, Action action);

    /// Whether a number names a command at all.
    static bool isCommand(int command) { return command >= 0 && command < CommandCount; }

    /// Traces and runs a command; false for a number that names no command.
    bool run(int command) const;

    /// Whether a command has an action installed.
    bool hasAction(int command) const;

    /// Called after every command that ran, whoever asked for it: what shows the program's
    /// state (the tray menu) follows at once.
    void setAfterRun(Action afterRun) { m_afterRun = std::move(afterRun); }

private:
    std::array<Action, CommandCount> m_actions;
    Action m_afterRun;
};
