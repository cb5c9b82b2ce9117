#include "ErrorReport.h"

#include "AppState.h"
#include "Trace.h"

#include <QtGlobal>

#include <cerrno>
#include <cstdlib>
#include <cxxabi.h>
#include <memory>
#include <typeinfo>

namespace {

const QString kCrLf = QStringLiteral("\r\n");

QString typeName(const std::type_info& type)
{
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> demangled(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), std::free);
    return status == 0 && demangled ? QString::fromUtf8(demangled.get()) : QString::fromUtf8(type.name());
}

ErrorRecord baseRecord(int number, const QString& sourceForm, const QString& control, std::optional<int> index,
    const QString& value, const QString& description)
{
    ErrorRecord record;
    record.number = number;
    record.sourceForm = sourceForm;
    record.control = control;
    record.controlIndex = index;
    record.value = value;
    record.description = description;
    return record;
}

} // namespace

QString ErrorRecord::versionText() const
{
    return QStringLiteral("%1.%2.%3").arg(versionMajor).arg(versionMinor).arg(versionRevision);
}

QString ErrorRecord::indexText() const
{
    return controlIndex ? QString::number(*controlIndex) : QString();
}

QString ErrorRecord::reportText() const
{
    const QStringList lines = {
        QStringLiteral("Application=") + application,
        QStringLiteral("Version=") + versionText(),
        QStringLiteral("Source=") + sourceForm,
        QStringLiteral("Control=") + control,
        QStringLiteral("Index=") + indexText(),
        QStringLiteral("Value=") + value,
        QStringLiteral("Number=") + QString::number(number),
        QStringLiteral("Description=") + description,
        QStringLiteral("ErrSource=") + errorSource,
        QStringLiteral("ErrDll=") + QString::number(lastDllError),
    };
    return lines.join(kCrLf);
}

QByteArray ErrorRecord::reportQuery() const
{
    // Every value is percent-encoded as UTF-8: a file name holding '&', '=' or '#' must not cut
    // the query short or add a key of its own.
    const auto field
        = [](const char* key, const QString& text) { return QByteArray(key) + QUrl::toPercentEncoding(text); };
    QByteArray query = QByteArray("data=") + ReportService::ClientToken;
    query += field("&errapp=", application);
    query += field("&errappversion=", versionText());
    query += field("&errform=", sourceForm);
    query += field("&errcontrol=", control);
    query += field("&errctrlindex=", indexText());
    query += field("&errvaleur=", value);
    query += field("&errnum=", QString::number(number));
    query += field("&errdesc=", description);
    query += field("&errsrc=", errorSource);
    query += field("&errlastdll=", QString::number(lastDllError));
    query += field("&errdata=", QString::number(data));
    return query;
}

QUrl ErrorRecord::reportUrl(const QString& host) const
{
    const QUrl base(host.trimmed(), QUrl::StrictMode);
    const QString scheme = base.scheme().toLower();
    const bool bareHost = base.path().isEmpty() || base.path() == QLatin1String("/");
    if (!base.isValid() || base.host().isEmpty()
        || (scheme != QLatin1String("http") && scheme != QLatin1String("https")) || !bareHost || base.hasQuery()
        || base.hasFragment())
        return QUrl();
    const QByteArray authority = base.toEncoded(QUrl::RemovePath | QUrl::RemoveQuery | QUrl::RemoveFragment);
    return QUrl::fromEncoded(authority + ReportService::Path + '?' + reportQuery(), QUrl::StrictMode);
}

QString ErrorRecord::messageText() const
{
    return QStringLiteral("Erreur d'exécution interceptée : ") + QStringLiteral("\n\n")
        + QStringLiteral("Erreur numéro : ") + QString::number(number) + QLatin1Char('\n') + QStringLiteral("Source : ")
        + sourceForm + description;
}

namespace ReportService {

bool isAccepted(const QByteArray& reply)
{
    const QByteArray token = QByteArray("Data=") + ReplyToken;
    const qsizetype at = reply.indexOf(token);
    return at >= 0 && reply.indexOf("CSReportReceived", at + token.size()) >= 0;
}

} // namespace ReportService

ErrorOutcome ErrorHandler::report(ErrorRecord record) noexcept
{
    // errno first: tracing below opens a file and may change it.
    const int lastError = errno;
    try {
        TAPISOL_TRACE(QStringLiteral("*********************** MODSTD ERRSEND ***********************"));
        record.application = programTitle();
        record.versionMajor = TAPISOL_VERSION_MAJOR;
        record.versionMinor = TAPISOL_VERSION_MINOR;
        record.versionRevision = TAPISOL_VERSION_PATCH;
        record.lastDllError = lastError;
        if (record.errorSource.isEmpty())
            record.errorSource = programTitle();
        if (record.control.isEmpty() && m_context) {
            try {
                m_context(record);
            } catch (...) {
                // The active control is a nicety; the error itself must still be reported.
            }
        }
        m_last = record;
        return present(record, record.messageText());
    } catch (...) {
        // Nothing more can be done without risking a second failure inside the handler.
        return ErrorOutcome::Traced;
    }
}

ErrorOutcome ErrorHandler::present(const ErrorRecord& record, const QString& message)
{
    if (m_reportOpen || m_messageUp) {
        traceOnly(record);
        return ErrorOutcome::Traced;
    }
    // A presenter that fails counts as not shown: the next way of telling the user is tried.
    const auto shows = [&](const Presenter& presenter) {
        try {
            return presenter && presenter(record, message);
        } catch (...) {
            return false;
        }
    };
    if (!m_quitting && shows(m_dialog))
        return ErrorOutcome::Dialog;
    // The message box runs its own event loop; an error raised meanwhile must not open another.
    m_messageUp = true;
    const bool shown = shows(m_message);
    m_messageUp = false;
    if (shown)
        return ErrorOutcome::Message;
    traceOnly(record);
    return ErrorOutcome::Traced;
}

void ErrorHandler::traceOnly(const ErrorRecord& record)
{
    // One line that keeps every part of the message apart, so the log stays readable.
    QString line = QStringLiteral("MODSTD ERRSEND non affichée : Erreur numéro : %1, Source : %2")
                       .arg(record.number)
                       .arg(record.sourceForm);
    if (!record.control.isEmpty())
        line += QStringLiteral(", Control : ") + record.control;
    line += QStringLiteral(", Description : ") + record.description;
    TAPISOL_TRACE(line);
    qWarning("%s", qUtf8Printable(line));
}

void ErrorHandler::reset()
{
    *this = ErrorHandler();
}

ErrorHandler& errorHandler()
{
    static ErrorHandler handler;
    return handler;
}

ErrorOutcome reportError(int number, const QString& sourceForm, const QString& control, std::optional<int> index,
    const QString& value, const QString& description, const QString& errorSource, int data) noexcept
{
    const int lastError = errno;
    try {
        ErrorRecord record = baseRecord(number, sourceForm, control, index, value, description);
        record.errorSource = errorSource;
        record.data = data;
        errno = lastError;
        return errorHandler().report(std::move(record));
    } catch (...) {
        return ErrorOutcome::Traced;
    }
}

ErrorOutcome reportException(const std::exception& exception, const QString& sourceForm, const QString& control,
    std::optional<int> index, const QString& value) noexcept
{
    const int lastError = errno;
    try {
        ErrorRecord record = baseRecord(
            ErrorNumbers::StdException, sourceForm, control, index, value, QString::fromUtf8(exception.what()));
        record.errorSource = typeName(typeid(exception));
        errno = lastError;
        return errorHandler().report(std::move(record));
    } catch (...) {
        return ErrorOutcome::Traced;
    }
}

ErrorOutcome reportUnknownException(
    const QString& sourceForm, const QString& control, std::optional<int> index, const QString& value) noexcept
{
    return reportError(
        ErrorNumbers::UnknownException, sourceForm, control, index, value, QStringLiteral("Exception inconnue"));
}
