#include "AppState.h"
#include "ClsRegistry.h"
#include "CommandLine.h"
#include "Startup.h"
#include "TapisolApplication.h"

#include <QCoreApplication>

#include <malloc.h>

namespace {

QStringList argumentsOf(int argc, char* argv[])
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    return arguments;
}

void nameTheApplication()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Orvenne"));
    QCoreApplication::setApplicationName(programTitle());
    QCoreApplication::setApplicationVersion(QStringLiteral(TAPISOL_VERSION_STRING));
}

} // namespace

int main(int argc, char* argv[])
{
    // A tray program lives for months: large pictures always come from, and go back to, the
    // system (glibc would otherwise raise its threshold after the first one and keep every later
    // picture's memory in its heap), and two arenas are enough for its few threads.
    mallopt(M_MMAP_THRESHOLD, 256 * 1024);
    mallopt(M_ARENA_MAX, 2);
    const ClientRequest request = parseClientRequest(argumentsOf(argc, argv));
    if (request.kind != ClientRequest::Kind::None) {
        // Terminal use: no GUI application (`--apply` reads the monitors from the X server).
        QCoreApplication app(argc, argv);
        nameTheApplication();
        return runClientRequest(request);
    }

    TapisolApplication app(argc, argv);
    nameTheApplication();
    // Any error from here on becomes a report, never a dead tray program. The report service's
    // host is an unnumbered setting so that a packager or a user can point it elsewhere.
    TapisolApplication::installErrorPresenters(
        [] { return registry().rawValue(SettingGroup::Parametres, QStringLiteral("RapportHost")).toString(); });
    Startup startup;
    const int earlyExit = startup.run(QCoreApplication::arguments());
    if (earlyExit >= 0)
        return earlyExit;
    return app.exec();
}
