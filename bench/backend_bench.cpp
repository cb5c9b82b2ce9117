// Time from a rendered picture to the desktop's acknowledgement, for the wallpaper back ends that
// run here, beside the desktop's own command-line tool making the same change.
//   tapisol-backend-bench <gnome|xfce|sway> <runs>
// Run inside the desktop's session (backend_bench.sh makes a private one).
#include "WallpaperBackends.h"
#include "gsettings/GSettingsWallpaperBackend.h"
#include "sway/SwayBackend.h"
#include "xfce/XfceBackend.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QImage>
#include <QProcess>
#include <QTemporaryDir>
#include <QUrl>

#include <algorithm>
#include <cstdio>
#include <functional>

namespace {

struct Figures
{
    double median = 0, min = 0, max = 0;
};

Figures timed(int runs, const std::function<bool(int)>& once)
{
    QList<double> ms;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer clock;
        clock.start();
        if (!once(i)) {
            std::fprintf(stderr, "run %d failed\n", i);
            std::exit(1);
        }
        ms << clock.nsecsElapsed() / 1e6;
    }
    std::sort(ms.begin(), ms.end());
    return {ms[ms.size() / 2], ms.first(), ms.last()};
}

void print(const char* who, const Figures& f)
{
    std::printf("%-34s %9.2f %9.2f %9.2f\n", who, f.median, f.min, f.max);
}

bool runTool(const QString& program, const QStringList& arguments)
{
    QProcess tool;
    tool.start(program, arguments);
    return tool.waitForFinished(10000) && tool.exitStatus() == QProcess::NormalExit && tool.exitCode() == 0;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    if (argc < 3) {
        std::fprintf(stderr, "usage: tapisol-backend-bench <gnome|xfce|sway> <runs>\n");
        return 2;
    }
    const QString which = QString::fromLocal8Bit(argv[1]);
    const int runs = std::max(3, std::atoi(argv[2]));
    QTemporaryDir folder;
    QStringList files;
    for (const QRgb colour : {0xff336699u, 0xff996633u}) {
        QImage image(1920, 1080, QImage::Format_RGB32);
        image.fill(colour);
        files << folder.filePath(QStringLiteral("Tapisol-%1.bmp").arg(files.size() + 1));
        image.save(files.last());
    }
    WallpaperTarget target;
    target.style = WallpaperStyle::Stretched;
    target.monitor = target.virtualScreen = QRect(0, 0, 1920, 1080);
    target.monitorName = QStringLiteral("HEADLESS-1");
    const auto applyWith = [&](WallpaperBackend& backend) {
        return [&](int i) {
            target.file = files[i % 2];
            QString error;
            const bool applied = backend.apply(target, &error);
            if (!applied)
                std::fprintf(stderr, "%s\n", qPrintable(error));
            return applied;
        };
    };

    std::printf("%-34s %9s %9s %9s\n", "apply, one change", "median ms", "min ms", "max ms");
    if (which == QLatin1String("gnome")) {
        GSettingsWallpaperBackend backend(GSettingsWallpaperBackend::Desktop::Gnome);
        print("Tapisol gnome (GIO)", timed(runs, applyWith(backend)));
        print("gsettings set (picture-uri)", timed(runs, [&](int i) {
            return runTool(QStringLiteral("gsettings"),
                {"set", "org.gnome.desktop.background", "picture-uri", QUrl::fromLocalFile(files[i % 2]).toString()});
        }));
    } else if (which == QLatin1String("xfce")) {
        XfceBackend backend;
        const QString property = QStringLiteral("/backdrop/screen0/monitorHEADLESS-1/workspace0/last-image");
        print("Tapisol xfce (xfconf over D-Bus)", timed(runs, applyWith(backend)));
        print("xfconf-query -s (last-image)", timed(runs, [&](int i) {
            return runTool(QStringLiteral("xfconf-query"),
                {"-c", "xfce4-desktop", "-p", property, "-n", "-t", "string", "-s", files[i % 2]});
        }));
    } else if (which == QLatin1String("sway")) {
        SwayBackend backend(qEnvironmentVariable("SWAYSOCK"));
        print("Tapisol sway (IPC socket)", timed(runs, applyWith(backend)));
        print("swaymsg output bg", timed(runs, [&](int i) {
            return runTool(QStringLiteral("swaymsg"),
                {SwayBackend::command(
                    WallpaperTarget {files[i % 2], WallpaperStyle::Stretched, {}, {}, "HEADLESS-1", 0, false})});
        }));
    } else {
        std::fprintf(stderr, "unknown back end %s\n", argv[1]);
        return 2;
    }
    return 0;
}
