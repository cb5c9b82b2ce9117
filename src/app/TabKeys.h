#pragma once

#include <QObject>

class QKeyEvent;
class QTabWidget;
class QWidget;

// Ctrl+Tab and Ctrl+Page Down show the next page of the tab widget holding the focus, Ctrl+Shift+Tab
// and Ctrl+Page Up the previous one, whichever control has the focus. Left to the controls, a combo
// box takes Ctrl+Tab for a search and Ctrl+Page Down for its last item: a user going through a
// window's pages would get stuck on the first page starting with one, or change its value unseen.
class TabKeys : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /// The step a key asks for: +1, -1, or 0 when it is not a page key.
    static int stepOf(const QKeyEvent& key);
    /// The nearest tab widget around `widget` within its window; none when there is none.
    static QTabWidget* tabsAround(QWidget* widget);
    /// Moves `tabs` by `step` pages, round the end, over disabled pages.
    static void turn(QTabWidget& tabs, int step);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
};
