#pragma once

#include <QStringList>

// The options a user types in a terminal, as opposed to the slash switches of the program's
// own start-up. They make this process a client that answers and exits.
struct ClientRequest
{
    enum class Kind
    {
        None,
        Help,
        Version,
        Command
    };
    Kind kind = Kind::None;
    QString argument; // the command number as typed
};

/// Finds --help/-h, --version/-V or --command N (also --command=N) among the arguments.
ClientRequest parseClientRequest(const QStringList& arguments);

/// Carries out a client request, printing to stdout/stderr; returns the process exit code.
/// Needs a QCoreApplication.
int runClientRequest(const ClientRequest& request);
