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
        Command,
        Apply
    };
    Kind kind = Kind::None;
    QString argument; // the command number or the picture, as typed
};

/// Finds --help/-h, --version/-V, --command N or --apply FILE (also --command=N, --apply=FILE).
ClientRequest parseClientRequest(const QStringList& arguments);

/// Carries out a client request, printing to stdout/stderr; returns the process exit code.
/// Needs a QCoreApplication.
int runClientRequest(const ClientRequest& request);
