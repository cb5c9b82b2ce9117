#pragma once

#include "ErrorReport.h"

#include <QObject>
#include <QPointer>
#include <QString>

class QNetworkAccessManager;
class QNetworkReply;

// Sends one error report to the report service with an HTTP GET and tells whether it arrived.
// Nothing is retried and nothing is stored: a report that fails is only described to the user.
class ReportSender : public QObject
{
    Q_OBJECT
public:
    /// The time a report may take before it counts as lost.
    static constexpr int DefaultTimeoutMs = 10000;
    /// The service host used when the setting holds none.
    static QString defaultHost();

    explicit ReportSender(QObject* parent = nullptr, int timeoutMs = DefaultTimeoutMs);
    ~ReportSender() override;

    /// Starts sending `record` to `host` ("https://name[:port]"). Returns false, and emits nothing,
    /// while a report is still on its way; otherwise finished() follows, also for a bad host.
    bool send(const ErrorRecord& record, const QString& host);

    /// True while a report is on its way.
    bool busy() const { return m_busy; }

signals:
    /// The report arrived (`accepted`) or not; `statusText` says so in the interface language.
    void finished(bool accepted, const QString& statusText);

private:
    void onReadyRead();
    void onFinished();
    void fail(const QString& reason);

    QNetworkAccessManager* m_manager;
    QPointer<QNetworkReply> m_reply;
    QByteArray m_body;
    int m_timeoutMs;
    bool m_busy = false;
};
