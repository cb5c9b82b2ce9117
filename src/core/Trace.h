#pragma once

#include <QString>
#include <functional>

class QWidget;

// Where trace lines are shown besides the log file (the trace window).
class TraceView
{
public:
    virtual ~TraceView() = default;
    /// Appends one line and makes it the visible, selected entry.
    virtual void appendLine(const QString& line) = 0;
};

namespace Trace {

/// True when the program was started with "/trace". Callers test it before building a line.
bool enabled();

/// Appends one line to Tapisol.log (open, append, close) and to the trace window unless the
/// program is silent. Never fails towards the caller: any error only loses the line.
void write(const QString& line);

/// True while a trace line lets the trace window repaint: events run then inside whatever
/// operation wrote the line, so work that must not start in the middle of another waits.
bool isRepainting();

/// Full path of the log file, composed on first use.
QString logFilePath();

/// Installs the factory that creates the trace window on the first line. The window belongs to
/// the caller of the factory's owner; `closeView` forgets it so that it is not used any more.
void setViewFactory(std::function<TraceView*()> factory);
void closeView();

/// Forgets the composed file name and the view (tests start from a clean state).
void resetForTests();

} // namespace Trace

// Builds the line only when tracing is on, so a session without "/trace" pays nothing.
#define TAPISOL_TRACE(expr)                                                                                            \
    do {                                                                                                               \
        if (Trace::enabled())                                                                                          \
            Trace::write(expr);                                                                                        \
    } while (false)
