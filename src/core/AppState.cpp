#include "AppState.h"

AppState& appState()
{
    static AppState state;
    return state;
}

void parseSwitches(const QString& commandLine, AppState& state)
{
    const QString line = commandLine.toLower();
    if (line.isEmpty())
        return;
    state.trace = line.contains(QLatin1String("/trace"));
    state.silent = line.contains(QLatin1String("/silent"));
    state.start = line.contains(QLatin1String("/start"));
}

QString programTitle()
{
    return QStringLiteral("Tapisol");
}
