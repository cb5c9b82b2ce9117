#pragma once

#include "ErrorReport.h"
#include "ReportSender.h"

#include <QDialog>

class QLabel;
class QPlainTextEdit;
class QPushButton;

// The error-report dialog: explains what happened, shows the report text on demand and sends it
// to the report service. It is not modal, so the tray program carries on while it is open, and it
// keeps the error handler's "report open" state for its whole life.
class FrmSendRapport : public QDialog
{
    Q_OBJECT
public:
    /// Interface texts of the dialog's own captions and status lines.
    enum Text
    {
        TextView = 2112,
        TextSend = 2113,
        TextClose = 2114,
        TextSending = 2115,
        TextHide = 2118,
    };

    /// `host` is the report service ("https://name[:port]"); `timeoutMs` bounds the sending.
    FrmSendRapport(const ErrorRecord& record, const QString& host, QWidget* parent = nullptr,
        int timeoutMs = ReportSender::DefaultTimeoutMs);
    ~FrmSendRapport() override;

    /// The record shown and sent.
    const ErrorRecord& record() const { return m_record; }

private:
    void buildUi();
    QLabel* addText(int number);
    void toggleReport();
    void sendReport();
    void onSent(bool accepted, const QString& statusText);

    ErrorRecord m_record;
    QString m_host;
    ReportSender* m_sender;
    QPlainTextEdit* m_txtRapport = nullptr;
    QLabel* m_lblStatus = nullptr;
    QPushButton* m_cmdView = nullptr;
    QPushButton* m_cmdSend = nullptr;
    QPushButton* m_cmdClose = nullptr;
};

/// Opens a report dialog for `record` on `host` and returns at once. False when no window can be
/// shown (no GUI application, or it is closing down).
bool showReportDialog(const ErrorRecord& record, const QString& host);

/// The fallback: a critical message box holding `message`. False when no window can be shown.
bool showErrorMessage(const QString& message);
