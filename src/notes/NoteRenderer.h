#pragma once

#include "Note.h"

#include <QColor>
#include <QFont>
#include <QImage>
#include <QPointF>
#include <QRegion>

class QPainter;

// How a note looks, painted without a window so that the alarm window, the editor's preview and
// the tests draw the same thing.
//
// The codes the note's text object stores:
//  - TxtAlign: the text's place in its area, as on a keypad read from the top: 1 top left, 2 top
//    centre, 3 top right, 4 middle left, 5 centre, 6 middle right, 7 bottom left, 8 bottom centre,
//    9 bottom right (0 and other values: top left).
//  - TxtBorder: 0 none, 1 a thin line in the text's colour, 2 a thick one.
//  - TxtMoving: 0 the text scrolls round without end, 1 it stands still, 2 it goes back and forth.
//  - TxtDirection: 0 to the left, 1 to the right, 2 upwards, 3 downwards.
//  - TxtSclAmount: pixels of one step; TxtInterval: hundredths of a second between two steps.
namespace NoteRenderer {

/// A colour as the database keeps it (red in the low byte).
QColor colour(qint32 stored);
/// The stored value of a colour.
qint32 stored(const QColor& colour);

/// The text object's font.
QFont font(const ClsTxtData& text);

/// Qt's alignment for a TxtAlign code.
Qt::Alignment alignment(int code);

/// The text's area in a window of `size`: the object's own area when it has one, else the window
/// less a small margin.
QRectF textArea(const ClsTxtData& text, const QSizeF& size);

/// Whether the text moves, and the timer interval of one step in milliseconds.
bool moves(const ClsTxtData& text);
int stepMilliseconds(const ClsTxtData& text);

/// The text's offset after `steps` steps, within an area of `area` for a text of `extent`: a
/// scroll wraps round, a back-and-forth turns at the ends.
QPointF offsetAfter(const ClsTxtData& text, qint64 steps, const QSizeF& area, const QSizeF& extent);

/// Paints the note into `painter` over `rect`: background, picture (fitted, centred), text with
/// its shadow and border, moved by `offset`.
void paint(QPainter& painter, const QRect& rect, const Note& note, const QImage& picture, QPointF offset = {});

/// The note painted into an image of `size` (for the shape and for tests).
QImage render(const QSize& size, const Note& note, const QImage& picture, QPointF offset = {});

/// The window's shape when the note cuts out a colour: every pixel of `rendered` that is not
/// `cutOut`. An empty region when nothing is left (the caller then keeps the whole window).
QRegion shape(const QImage& rendered, const QColor& cutOut);

} // namespace NoteRenderer
