#pragma once

class QWidget;

// Closes every loaded form except the tray form, the trace window and the alarm tools, which
// the tray form's own unload sequence handles (the trace window must outlive the last line).
// A form that refuses to close is traced and skipped; the walk never stops on it.
void unloadAllForms();

/// A top-level window of ours counts as a loaded form; Qt's own pop-ups and tool tips do not.
bool isLoadedForm(const QWidget* widget);
