#include "TabKeys.h"

#include <QKeyEvent>
#include <QTabWidget>

int TabKeys::stepOf(const QKeyEvent& key)
{
    const Qt::KeyboardModifiers modifiers = key.modifiers() & ~Qt::KeypadModifier;
    if (modifiers == Qt::ControlModifier) {
        switch (key.key()) {
        case Qt::Key_Tab:
        case Qt::Key_PageDown:
            return 1;
        case Qt::Key_Backtab: // some keyboard layouts report Ctrl+Shift+Tab without Shift
        case Qt::Key_PageUp:
            return -1;
        default:
            return 0;
        }
    }
    const bool backtab = key.key() == Qt::Key_Backtab || key.key() == Qt::Key_Tab;
    return modifiers == (Qt::ControlModifier | Qt::ShiftModifier) && backtab ? -1 : 0;
}

QTabWidget* TabKeys::tabsAround(QWidget* widget)
{
    for (QWidget* w = widget; w; w = w->parentWidget()) {
        if (auto* tabs = qobject_cast<QTabWidget*>(w))
            return tabs;
        if (w->isWindow())
            break;
    }
    return nullptr;
}

void TabKeys::turn(QTabWidget& tabs, int step)
{
    const int count = tabs.count();
    int index = tabs.currentIndex();
    for (int tried = 0; tried < count; ++tried) {
        index = (index + step + count) % count;
        if (tabs.isTabEnabled(index) && tabs.isTabVisible(index)) {
            tabs.setCurrentIndex(index);
            return;
        }
    }
}

bool TabKeys::eventFilter(QObject* watched, QEvent* event)
{
    // The first receiver of the key press is the control with the focus; it is handled there, so
    // no control and no tab widget up the chain sees it again.
    if (event->type() != QEvent::KeyPress || !watched->isWidgetType())
        return false;
    const int step = stepOf(*static_cast<QKeyEvent*>(event));
    if (step == 0)
        return false;
    QTabWidget* tabs = tabsAround(static_cast<QWidget*>(watched));
    if (!tabs || tabs->count() < 2)
        return false;
    turn(*tabs, step);
    return true;
}
