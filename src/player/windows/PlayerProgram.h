#pragma once

#include <QStringList>

// The player program from its command line to its exit code: which project, its password, then
// the show on the chosen screen or the export to a video file. Needs a QApplication.
namespace PlayerProgram {

/// Exit codes besides 0 (shown to its end, or ended by the user).
enum ExitCode
{
    ExportFailed = 1,
    BadCommandLine = 2,
    NoProject = 3,       // none chosen, none of that key, no slides, or no screen
    DatabaseProblem = 4, // the file missing, held by another program, or unreadable
    PasswordRefused = 5, // the user gave up on the project's password
};

/// Runs the player; returns the process's exit code.
int run(const QStringList& arguments);

} // namespace PlayerProgram
