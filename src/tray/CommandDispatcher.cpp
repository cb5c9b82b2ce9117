#include "CommandDispatcher.h"

#include "Trace.h"

void CommandDispatcher::setAction(int command, Action action)
{
    if (isCommand(command))
        m_actions[size_t(command)] = std::move(action);
}

bool CommandDispatcher::run(int command) const
{
    TAPISOL_TRACE(QStringLiteral("Sy ActionMenu ") + QString::number(command));
    if (!isCommand(command))
        return false;
    if (const Action& action = m_actions[size_t(command)])
        action();
    else
        TAPISOL_TRACE(
            QStringLiteral("Sy ActionMenu ") + QString::number(command) + QStringLiteral(" pas encore disponible"));
    if (m_afterRun)
        m_afterRun();
    return true;
}

bool CommandDispatcher::hasAction(int command) const
{
    return isCommand(command) && bool(m_actions[size_t(command)]);
}
