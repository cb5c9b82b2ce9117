#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <exception>
#include <functional>
#include <optional>

// One trapped error as the user sees it in the report dialog and as the report service receives it.
struct ErrorRecord
{
    QString application;
    int versionMajor = 0;
    int versionMinor = 0;
    int versionRevision = 0;
    QString sourceForm;              // form or module where the error was trapped
    QString control;                 // the active control, empty when none
    std::optional<int> controlIndex; // index in a control array; none for a plain control
    QString value;                   // what the failing code was handling (a file name, a key...)
    int number = 0;
    QString description;
    QString errorSource;
    int lastDllError = 0; // errno at the time of the report
    int data = 0;         // an extra number given by the caller

    /// "major.minor.revision".
    QString versionText() const;

    /// The index as text, empty when the control has none.
    QString indexText() const;

    /// The ten "Key=value" lines shown by the view button, joined by CR LF; empty values keep their line.
    QString reportText() const;

    /// The percent-encoded query of the report request, keys in the service's order.
    QByteArray reportQuery() const;

    /// The full GET address on `host` ("https://name[:port]", a trailing '/' tolerated). Invalid
    /// when the host is not an http or https address.
    QUrl reportUrl(const QString& host) const;

    /// The text of the message box shown when the report dialog cannot be used.
    QString messageText() const;
};

// Run-time error numbers given to C++ exceptions caught by the event-loop catch-all. They lie
// above the numbers that procedures use for their own traps, so a report tells them apart.
namespace ErrorNumbers {
constexpr int StdException = 9001;     // a std::exception; its what() is the description
constexpr int UnknownException = 9002; // anything else thrown
} // namespace ErrorNumbers

namespace ReportService {
/// Path of the report service on its host.
inline constexpr char Path[] = "/include/erreurreport.php";
/// Client token sent first in every query.
inline constexpr char ClientToken[] = "B7C2D9E4F10";
/// Reply token the service writes before its acknowledgement.
inline constexpr char ReplyToken[] = "D83F1A6C2E5";

/// True when the reply holds "Data=<reply token>" and, somewhere after it, "CSReportReceived".
bool isAccepted(const QByteArray& reply);
} // namespace ReportService

// How reportError() delivered an error.
enum class ErrorOutcome
{
    Dialog,  // the report dialog took it
    Message, // the fallback message box showed it
    Traced,  // it was only traced (and written to stderr): no presenter, or one is already showing
};

// The one shared error handler. The core only composes and routes; the windows that show an error
// are installed by the application (the core links no widgets).
//
// The report dialog is not used:
//  - while a report dialog is already open: further errors are only traced, so that an error that
//    repeats every second never stacks dialogs (nor message boxes) on the user;
//  - while the fallback message box is up, for the same reason;
//  - once the program is quitting: the windows are going away, the message box is used instead.
class ErrorHandler
{
public:
    /// Shows a record; returns true when it was shown. `message` is ErrorRecord::messageText().
    using Presenter = std::function<bool(const ErrorRecord& record, const QString& message)>;
    /// Fills the active form, control and index when the caller gave no control.
    using ContextProvider = std::function<void(ErrorRecord& record)>;

    /// Installs the report dialog presenter (none: the fallback is used).
    void setDialogPresenter(Presenter presenter) { m_dialog = std::move(presenter); }
    /// Installs the message box presenter used when the dialog cannot be.
    void setMessagePresenter(Presenter presenter) { m_message = std::move(presenter); }
    /// Installs the provider of the active form and control.
    void setContextProvider(ContextProvider provider) { m_context = std::move(provider); }

    /// Set by the unload sequence: from now on the dialog is not shown.
    void setQuitting(bool quitting) { m_quitting = quitting; }
    bool quitting() const { return m_quitting; }

    /// Kept by the report dialog for its lifetime.
    void setReportOpen(bool open) { m_reportOpen = open; }
    bool reportOpen() const { return m_reportOpen; }

    /// Traces, fills the record and shows it. Never throws and never ends the program.
    ErrorOutcome report(ErrorRecord record) noexcept;

    /// The record of the last report, for the trace window and tests.
    const ErrorRecord& lastRecord() const { return m_last; }

    /// Forgets the presenters and the state (tests start from a clean handler).
    void reset();

private:
    ErrorOutcome present(const ErrorRecord& record, const QString& message);
    static void traceOnly(const ErrorRecord& record);

    Presenter m_dialog;
    Presenter m_message;
    ContextProvider m_context;
    ErrorRecord m_last;
    bool m_quitting = false;
    bool m_reportOpen = false;
    bool m_messageUp = false;
};

/// The program's error handler.
ErrorHandler& errorHandler();

/// Reports a trapped run-time error: number, where it was trapped, the control (empty: the active
/// one), its index in a control array (none for a plain control), the value being handled and the
/// description. `errorSource` defaults to the program's title.
ErrorOutcome reportError(int number, const QString& sourceForm, const QString& control = {},
    std::optional<int> index = std::nullopt, const QString& value = {}, const QString& description = {},
    const QString& errorSource = {}, int data = 0) noexcept;

/// Reports a C++ exception caught by a catch-all: number ErrorNumbers::StdException, description
/// what(), error source the exception's type.
ErrorOutcome reportException(const std::exception& exception, const QString& sourceForm, const QString& control = {},
    std::optional<int> index = std::nullopt, const QString& value = {}) noexcept;

/// Reports something thrown that is not a std::exception (number ErrorNumbers::UnknownException).
ErrorOutcome reportUnknownException(const QString& sourceForm, const QString& control = {},
    std::optional<int> index = std::nullopt, const QString& value = {}) noexcept;
