#include "Trace.h"

#include "AppPaths.h"
#include "AppState.h"

#include <QCoreApplication>
#include <QFile>

namespace {

struct TraceWriter
{
    QString fileName;
    std::function<TraceView*()> viewFactory;
    TraceView* view = nullptr;
    bool viewTried = false;
    int repaintDepth = 0; // nested event loops run by trace lines
};

TraceWriter& writer()
{
    static TraceWriter instance;
    return instance;
}

void appendToFile(const QString& fileName, const QString& line)
{
    // Opened and closed for each line so that nothing is lost if the program dies.
    QFile file(fileName);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append))
        return;
    file.write(line.toUtf8());
    file.write("\r\n", 2);
}

} // namespace

namespace Trace {

bool enabled()
{
    return appState().trace;
}

QString logFilePath()
{
    TraceWriter& w = writer();
    if (w.fileName.isEmpty())
        w.fileName = AppPaths::dataDir() + QStringLiteral("Tapisol.log");
    return w.fileName;
}

void write(const QString& line)
{
    try {
        TraceWriter& w = writer();
        const QString fileName = logFilePath();
        const bool silent = appState().silent;
        if (!silent && !w.view && !w.viewTried && w.viewFactory) {
            w.viewTried = true; // a window that cannot be created is not asked for again
            w.view = w.viewFactory();
        }
        appendToFile(fileName, line);
        if (!silent && w.view) {
            w.view->appendLine(line);
            // Let the trace window repaint during long operations. User input waits for the
            // event loop; other events may run here, so callers guard themselves (start-up defers
            // commands and signals that arrive before its last step).
            struct Depth
            {
                int& depth;
                explicit Depth(int& d)
                    : depth(++d)
                { }
                ~Depth() { --depth; }
            } nested(w.repaintDepth);
            QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents | QEventLoop::ExcludeSocketNotifiers);
        }
    } catch (...) {
        // Tracing never fails towards its caller: the line is lost.
    }
}

bool isRepainting()
{
    return writer().repaintDepth > 0;
}

void setViewFactory(std::function<TraceView*()> factory)
{
    writer().viewFactory = std::move(factory);
    writer().viewTried = false;
}

void closeView()
{
    writer().view = nullptr;
    writer().viewFactory = nullptr;
}

void resetForTests()
{
    writer() = TraceWriter();
}

} // namespace Trace
