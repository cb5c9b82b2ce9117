// The settings dialog's preview after a sizing change, with a 6000 × 4000 picture on screen:
// from the change of the fitting mode to the miniature and the statistics drawn again.
//   tapisol-dialog-bench <picture> [runs]
#include "ClsMonitor.h"
#include "ClsRegistry.h"
#include "FrmParam.h"
#include "ImageDecoder.h"
#include "InterfaceTexts.h"

#include <QApplication>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QElapsedTimer>
#include <QPushButton>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <cstdio>

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: tapisol-dialog-bench <picture> [runs]\n");
        return 2;
    }
    QTemporaryDir home;
    qputenv("XDG_CONFIG_HOME", home.filePath(QStringLiteral("config")).toUtf8());
    qputenv("XDG_DATA_HOME", home.filePath(QStringLiteral("data")).toUtf8());
    const int runs = argc > 2 ? std::max(3, std::atoi(argv[2])) : 30;
    interfaceTexts().load(QStringLiteral("FRA"));
    registry().set(SettingNo::CurrentWallPaper, QString::fromLocal8Bit(argv[1]));
    ClsMonitor monitors;
    monitors.setRecords({{1, QRect(0, 0, 1920, 1080), QRect(0, 0, 1920, 1040), ClsMonitor::PrimaryFlag, {}}});
    FrmParam::Services services;
    services.monitors = &monitors;
    QElapsedTimer opening;
    opening.start();
    auto* dialog = new FrmParam(services);
    dialog->show();
    dialog->tabs()->setCurrentIndex(2);
    QWidget* preview = dialog->findChild<QWidget*>(QStringLiteral("preview"));
    preview->repaint();
    const double openMs = opening.nsecsElapsed() / 1e6;
    auto* mode = dialog->findChild<QComboBox*>(QStringLiteral("sizingMode"));
    QList<double> ms;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer clock;
        clock.start();
        mode->setCurrentIndex(i % 4);
        const QPixmap drawnNow = preview->grab(); // the miniature rendered whole, not only scheduled
        Q_UNUSED(drawnNow);
        ms << clock.nsecsElapsed() / 1e6;
    }
    std::sort(ms.begin(), ms.end());
    std::printf("%-44s %10s %10s %10s\n", "", "median ms", "min ms", "max ms");
    std::printf("%-44s %10.2f %10s %10s\n", "dialog built and drawn, picture decoded", openMs, "", "");
    std::printf(
        "%-44s %10.2f %10.2f %10.2f\n", "preview after a fitting change", ms[ms.size() / 2], ms.first(), ms.last());
    std::printf("%-44s %10s\n", "goal: preview after a change", "< 50");
    // The miniature must hold the picture (navy to orange), or the figures mean nothing.
    const QImage drawn = preview->grab().toImage();
    const QColor middle = drawn.pixelColor(drawn.width() / 2, drawn.height() / 2);
    const bool holdsPicture = middle.red() > 60 && middle.blue() > 20 && preview->isVisible();
    std::printf("(preview %dx%d, %s)\n", preview->width(), preview->height(),
        holdsPicture ? "showing the picture" : "NOT SHOWING THE PICTURE: the figures mean nothing");
    dialog->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Cancel)->click();
    return 0;
}
