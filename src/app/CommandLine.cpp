#include "CommandLine.h"

#include "ClsMonitor.h"
#include "ClsRegistry.h"
#include "CommandDispatcher.h"
#include "ImageDecoder.h"
#include "InterfaceTexts.h"
#include "SingleInstance.h"
#include "Startup.h"
#include "WallpaperBackends.h"
#include "WallpaperRenderer.h"

#include <QFileInfo>

#include <QTextStream>

#include <cstdio>

namespace {

// Hands the picture to the running Tapisol, or, with none running, sets it here and now with the
// sizing settings of the user.
int applyPicture(const QString& picture, QTextStream& err)
{
    const QFileInfo file(picture);
    if (picture.isEmpty() || !file.isFile()) {
        err << "tapisol: " << langText(2209).arg(picture) << '\n';
        return 1;
    }
    QString error;
    if (SingleInstance::send(QLatin1String(SingleInstance::OpenFile), file.absoluteFilePath(), &error, 30000))
        return 0;
    if (error != SingleInstance::notRunningText()) {
        err << "tapisol: " << error << '\n';
        return 1;
    }
    ClsMonitor monitors;
    ImageDecoder::Limits limits;
    limits.inProcess = true; // a one-shot command: its own crash would cost only itself
    ImageDecoder decoder(limits);
    QString description;
    const auto backend = WallpaperBackends::choose(
        WallpaperBackends::Session::fromEnvironment(registry().get(SettingNo::BackEndFondEcran).toString()),
        &description);
    WallpaperRenderer renderer(monitors, decoder, *backend);
    const bool applied = renderer.change(file.absoluteFilePath());
    releaseRegistry();
    if (!applied) {
        err << "tapisol: " << langText(2210).arg(file.absoluteFilePath()) << '\n';
        return 1;
    }
    return 0;
}

} // namespace

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
        if (arg == QLatin1String("--apply"))
            return {ClientRequest::Kind::Apply, i + 1 < arguments.size() ? arguments[i + 1] : QString()};
        if (arg.startsWith(QLatin1String("--apply=")))
            return {ClientRequest::Kind::Apply, arg.mid(8)};
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
        for (int number : {2200, 2201, 2202, 2203, 2204, 2211, 2205, 2206})
            out << langText(number) << '\n';
        return 0;
    case ClientRequest::Kind::Version:
        out << "tapisol " << TAPISOL_VERSION_STRING << '\n';
        return 0;
    case ClientRequest::Kind::Command: {
        bool ok = false;
        const int command = request.argument.trimmed().toInt(&ok);
        if (!ok || !CommandDispatcher::isCommand(command)) {
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
    case ClientRequest::Kind::Apply:
        return applyPicture(request.argument, err);
    case ClientRequest::Kind::None:
        break;
    }
    return 0;
}
