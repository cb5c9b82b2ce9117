#include "PlayerTrace.h"

#include "AppPaths.h"

#include <QDateTime>
#include <QFile>

namespace {

struct State
{
    bool enabled = false;
    QString fileName;
};

State& state()
{
    static State instance;
    return instance;
}

} // namespace

namespace PlayerTrace {

bool enabled()
{
    return state().enabled;
}

QString logFilePath()
{
    State& s = state();
    if (s.fileName.isEmpty())
        s.fileName = AppPaths::dataDir() + QStringLiteral("Defilor.log");
    return s.fileName;
}

void write(const QString& line)
{
    try {
        QFile file(logFilePath());
        if (!file.open(QIODevice::WriteOnly | QIODevice::Append))
            return;
        file.write(line.toUtf8());
        file.write("\r\n", 2);
    } catch (...) {
        // Tracing never fails towards its caller.
    }
}

void start(const QString& commandLine)
{
    state().enabled = true;
    const QString stars = QStringLiteral("*-----------------------------------------*");
    write(QString());
    write(stars);
    write(QStringLiteral("New session started at : ")
        + QDateTime::currentDateTime().toString(QStringLiteral("dd/MM/yyyy HH:mm:ss")));
    write(stars);
    write(QStringLiteral("DF Start ") + commandLine.toLower());
}

void stop()
{
    state() = State();
}

} // namespace PlayerTrace
