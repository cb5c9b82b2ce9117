// Makes the thumbnails of every JPEG of a folder the way a folder added to an album page does
// (ThumbnailBatch: two decoding helpers side by side, names handed out one at a time, each JPEG
// written by its helper) and prints what it cost:
//   tapisol-thumbnails-bench PICTURES OUTPUT [WORKERS]
// Output, one line: pictures, failures, wall milliseconds (helpers' start included).
// Run by thumbnails.sh, which sets the figures beside vipsthumbnail's.

#include "ClsImage.h"
#include "ImageDecoder.h"
#include "ThumbnailBatch.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>

#include <cstdio>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 3) {
        std::fputs("usage: tapisol-thumbnails-bench PICTURES OUTPUT [WORKERS]\n", stderr);
        return 2;
    }
    const QDir folder(args[1]);
    QStringList pictures;
    for (const QString& name : folder.entryList({QStringLiteral("*.jpg")}, QDir::Files, QDir::Name))
        pictures << folder.filePath(name);
    const ClsImage images(args[2]);
    ThumbnailBatch batch(images, ClsImage::kThumbnailBox);
    batch.setWorkers(args.size() > 3 ? args[3].toInt() : 2);
    int failures = 0;
    QObject::connect(&batch, &ThumbnailBatch::pictureDone, [&](const ThumbnailBatch::Result& result) {
        if (result.thumbnail.isEmpty()) {
            ++failures;
            std::fprintf(stderr, "%s\n", qPrintable(result.error));
        }
    });
    QObject::connect(&batch, &ThumbnailBatch::finished, &app, &QCoreApplication::quit);
    QElapsedTimer clock;
    clock.start();
    batch.start(pictures);
    app.exec();
    std::printf("%lld %d %lld\n", qint64(pictures.size()), failures, clock.elapsed());
    return failures == 0 ? 0 : 1;
}
