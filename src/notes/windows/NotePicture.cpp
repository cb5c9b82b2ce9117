#include "NotePicture.h"

#include "ImageDecoder.h"

#include <QColor>

namespace NotePicture {

QImage load(const QString& path, const QSize& box, QString* error)
{
    // One decoder for the notes' windows: its helper exits by itself when idle.
    static ImageDecoder decoder;
    const auto info = decoder.probe(path, error);
    if (!info || info->size.isEmpty())
        return {};
    const QSize target = info->size.scaled(box, Qt::KeepAspectRatio).boundedTo(info->size);
    return decoder.decode(path, target, Qt::white, error);
}

} // namespace NotePicture
