#include "CommandLine.h"

#include "ClsRegistry.h"
#include "InterfaceTexts.h"
#include "SingleInstance.h"
#include "Startup.h"

#include <QTextStream>

#include <cstdio>

ClientRequest parseClientRequest(const QStringList& arguments)
{
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString& arg = arguments[i];
        if (arg == QLatin1String("--help") || arg == QLatin1String("-h"))
            return {ClientRequest::Kind::Help, {}};
        if (arg == QLatin1String("--version") || arg == QLatin1String("-V"))
            return {ClientRequest::Kind::Version, {}};
        if (arg == QLatin1String("--command"))
            return {ClientRequest::Kind::Command, i + 1 < arguments.size() ? arguments[i + 1] : QString()};
        if (arg.startsWith(QLatin1String("--command=")))
            return {ClientRequest::Kind::Command, arg.mid(10)};
    }
    return {};
}

int runClientRequest(const ClientRequest& request)
{
    QTextStream out(stdout);
    QTextStream err(stderr);
    interfaceTexts().load(Startup::settleLanguage(registry().get(SettingNo::Langue).toString()));

    switch (request.kind) {
    case ClientRequest::Kind::Help:
        for (int number = 2200; number <= 2206; ++number)
            out << langText(number) << '\n';
        return 0;
    case ClientRequest::Kind::Version:
        out << "tapisol " << TAPISOL_VERSION_STRING << '\n';
        return 0;
    case ClientRequest::Kind::Command: {
        bool ok = false;
        const int command = request.argument.trimmed().toInt(&ok);
        if (!ok || command < 0 || command > Startup::LastCommand) {
            err << "tapisol: " << langText(2207).arg(request.argument) << '\n';
            return 1;
        }
        QString error;
        if (!SingleInstance::send(QLatin1String(SingleInstance::Command), QString::number(command), &error)) {
            err << "tapisol: " << error << '\n';
            return 1;
        }
        return 0;
    }
    case ClientRequest::Kind::None:
        break;
    }
    return 0;
}
