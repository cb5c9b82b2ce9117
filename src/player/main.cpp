#include "PlayerProgram.h"

#include <QApplication>

#include <malloc.h>

namespace {

// A video export needs no screen: in a terminal without one it draws off screen.
void drawOffScreenWhenHeadless(int argc, char* argv[])
{
    bool exporting = false;
    for (int i = 1; i < argc; ++i)
        exporting = exporting || qstrncmp(argv[i], "--export", 8) == 0;
    if (exporting && qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
        && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
}

} // namespace

int main(int argc, char* argv[])
{
    // Screen-sized layers come and go with every slide: give them back to the system at once
    // rather than letting the heap keep the largest ever seen.
    mallopt(M_MMAP_THRESHOLD, 256 * 1024);
    mallopt(M_ARENA_MAX, 2);
    drawOffScreenWhenHeadless(argc, argv);
    QApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Orvenne"));
    QCoreApplication::setApplicationName(QStringLiteral("Defilor"));
    QCoreApplication::setApplicationVersion(QStringLiteral(TAPISOL_VERSION_STRING));
    return PlayerProgram::run(QCoreApplication::arguments());
}
