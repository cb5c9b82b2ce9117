#pragma once

#include "ErrorReport.h"

#include <QApplication>

#include <functional>
#include <optional>

// The program's application object. Its notify() is the catch-all of the event loop: whatever an
// event handler, a timer or a slot called from one throws is turned into an error report, so the
// tray program never dies of an exception.
class TapisolApplication : public QApplication
{
    Q_OBJECT
public:
    TapisolApplication(int& argc, char** argv);

    /// Delivers the event; an exception thrown on the way is reported and the event counts as not
    /// handled.
    bool notify(QObject* receiver, QEvent* event) override;

    /// Wires the report dialog and the message box into the error handler. `reportHost` is asked at
    /// each error for the report service's host (empty: ReportSender::defaultHost()). The handler
    /// stops using the dialog once the application is about to quit.
    static void installErrorPresenters(std::function<QString()> reportHost = {});

    /// The index of a control in a control array: its "Index" property when it has one that is a
    /// number, none otherwise.
    static std::optional<int> controlIndex(const QObject* control);

    /// Fills the record's control and index from the widget that has the focus, when there is one.
    static void fillActiveControl(ErrorRecord& record);

private:
    static void reportThrown(QObject* receiver, QEvent* event, const std::exception* exception) noexcept;
};
