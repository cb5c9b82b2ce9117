#pragma once

#include <QImage>
#include <QSize>
#include <QString>

// A note's picture, decoded by the program's decoding helper (any file the user chose may be
// damaged or hostile) at no more than `box`, its proportions kept. A null image, with the reason
// in `error`, when it cannot be read. For the windows' thread only.
namespace NotePicture {

QImage load(const QString& path, const QSize& box, QString* error = nullptr);

} // namespace NotePicture
