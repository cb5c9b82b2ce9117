#pragma once

#include <QString>

// The player's trace log, `Defilor.log` in the data folder beside Tapisol.log, in the same format:
// each line as given, ended by CR LF, the file opened and closed for every line so that nothing is
// lost when the player dies. The player has no trace window: it covers the screen.
namespace PlayerTrace {

/// True once start() ran: the player was started with "/trace".
bool enabled();

/// Turns tracing on and writes the session header: an empty line, the star line, "New session
/// started at : " with the date and time, the star line, then "DF Start " and the command line.
void start(const QString& commandLine);

/// Appends one line. Never fails towards the caller: an error only loses the line.
void write(const QString& line);

/// Full path of the log file.
QString logFilePath();

/// Turns tracing off and forgets the file name (tests).
void stop();

} // namespace PlayerTrace

// Builds the line only when tracing is on.
#define DEFILOR_TRACE(expr)                                                                                            \
    do {                                                                                                               \
        if (PlayerTrace::enabled())                                                                                    \
            PlayerTrace::write(expr);                                                                                  \
    } while (false)
