#pragma once

#include "Trace.h"

#include <QWidget>

class QListWidget;

// The trace window: one list, one entry per trace line, the newest always shown and selected.
// Closing it only hides it; the tray shell unloads it last, after the final trace line.
class FrmTrace : public QWidget, public TraceView
{
    Q_OBJECT

public:
    explicit FrmTrace(QWidget* parent = nullptr);

    void appendLine(const QString& line) override;
    int lineCount() const;

    // Lines kept in the window; the log file keeps everything. Months of a traced session must
    // not grow the window's memory without end.
    static constexpr int MaxLines = 20000;

private:
    QListWidget* m_list;
};
