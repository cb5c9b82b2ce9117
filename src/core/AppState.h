#pragma once

#include <QString>

// Program-wide state settled once at start-up and read everywhere afterwards.
struct AppState
{
    bool trace = false;  // "/trace": progress lines are written
    bool silent = false; // "/silent": no trace window, no interactive screens
    bool start = false;  // "/start": launched by the log-on entry
    QString languageCode = QStringLiteral("FRA");
    QString helpFile;
    bool soundCard = false;
};

AppState& appState();

// Sets the three switches from a command line: the whole line is lower-cased and each switch is
// looked for as a substring, so "/TRACEx" and "a/silent" count too.
void parseSwitches(const QString& commandLine, AppState& state);

// The program's title as the user sees it in messages and captions.
QString programTitle();
