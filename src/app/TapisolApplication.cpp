#include "TapisolApplication.h"

#include "FrmSendRapport.h"
#include "ReportSender.h"
#include "TabKeys.h"

#include <QEvent>
#include <QWidget>

namespace {

QString nameOf(const QObject* object)
{
    if (!object)
        return QString();
    const QString name = object->objectName();
    return name.isEmpty() ? QString::fromLatin1(object->metaObject()->className()) : name;
}

} // namespace

TapisolApplication::TapisolApplication(int& argc, char** argv)
    : QApplication(argc, argv)
{
    // The tray icon is not a window: closing a report dialog or a note must not end the program.
    setQuitOnLastWindowClosed(false);
    installEventFilter(new TabKeys(this));
}

bool TapisolApplication::notify(QObject* receiver, QEvent* event)
{
    try {
        return QApplication::notify(receiver, event);
    } catch (const std::exception& exception) {
        reportThrown(receiver, event, &exception);
    } catch (...) {
        reportThrown(receiver, event, nullptr);
    }
    return false;
}

void TapisolApplication::reportThrown(QObject* receiver, QEvent* event, const std::exception* exception) noexcept
{
    try {
        // The form is the receiver's window; the control is the receiver itself when it lies inside one.
        const auto* widget = qobject_cast<const QWidget*>(receiver);
        const QObject* form = widget ? widget->window() : receiver;
        const QString control = widget && form != widget ? nameOf(widget) : QString();
        const std::optional<int> index = control.isEmpty() ? std::nullopt : controlIndex(widget);
        const QString value = event ? QStringLiteral("QEvent %1").arg(int(event->type())) : QString();
        if (exception)
            reportException(*exception, nameOf(form), control, index, value);
        else
            reportUnknownException(nameOf(form), control, index, value);
    } catch (...) {
        // The catch-all must not throw in its turn: the event loop has to go on.
    }
}

std::optional<int> TapisolApplication::controlIndex(const QObject* control)
{
    if (!control)
        return std::nullopt;
    const QVariant index = control->property("Index");
    bool ok = false;
    const int value = index.isValid() ? index.toInt(&ok) : 0;
    return ok ? std::optional<int>(value) : std::nullopt;
}

void TapisolApplication::fillActiveControl(ErrorRecord& record)
{
    const QWidget* focus = QApplication::focusWidget();
    if (!focus)
        return;
    record.control = nameOf(focus);
    record.controlIndex = controlIndex(focus);
}

void TapisolApplication::installErrorPresenters(std::function<QString()> reportHost)
{
    ErrorHandler& handler = errorHandler();
    handler.setQuitting(false);
    handler.setDialogPresenter([reportHost](const ErrorRecord& record, const QString&) {
        QString host = reportHost ? reportHost().trimmed() : QString();
        if (host.isEmpty())
            host = ReportSender::defaultHost();
        return showReportDialog(record, host);
    });
    handler.setMessagePresenter([](const ErrorRecord&, const QString& message) { return showErrorMessage(message); });
    handler.setContextProvider(&TapisolApplication::fillActiveControl);
    if (QCoreApplication* app = QCoreApplication::instance())
        QObject::connect(app, &QCoreApplication::aboutToQuit, app, [] { errorHandler().setQuitting(true); });
}
