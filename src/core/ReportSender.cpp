#include "ReportSender.h"

#include "InterfaceTexts.h"
#include "Trace.h"

#include <QMetaObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

namespace {

// The service answers with a few words; anything longer is not its reply.
constexpr qsizetype kMaxReplyBytes = 64 * 1024;

// Interface texts of the report status.
constexpr int kTextAccepted = 2116;
constexpr int kTextFailed = 2117;

QString failedText(const QString& reason)
{
    QString text = langText(kTextFailed);
    text.replace(QLatin1String("%1"), reason);
    return text;
}

} // namespace

QString ReportSender::defaultHost()
{
    return QStringLiteral("https://tapisol.orvenne.org");
}

ReportSender::ReportSender(QObject* parent, int timeoutMs)
    : QObject(parent)
    , m_manager(new QNetworkAccessManager(this))
    , m_timeoutMs(timeoutMs > 0 ? timeoutMs : DefaultTimeoutMs)
{ }

ReportSender::~ReportSender()
{
    if (m_reply) {
        m_reply->disconnect(this);
        m_reply->abort();
    }
}

bool ReportSender::send(const ErrorRecord& record, const QString& host)
{
    if (m_busy)
        return false;
    m_busy = true;
    const QUrl url = record.reportUrl(host);
    TAPISOL_TRACE(QStringLiteral("MODSTD Rapport d'erreur envoyé à ") + host);
    if (!url.isValid()) {
        // Emitted later so that the caller sees the same order of events as for a network failure.
        const QString reason = QStringLiteral("adresse du service invalide : \"") + host + QLatin1Char('"');
        QMetaObject::invokeMethod(
            this, [this, reason] { fail(reason); }, Qt::QueuedConnection);
        return true;
    }
    QNetworkRequest request(url);
    request.setTransferTimeout(m_timeoutMs);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    m_body.clear();
    m_reply = m_manager->get(request);
    connect(m_reply, &QNetworkReply::readyRead, this, &ReportSender::onReadyRead);
    connect(m_reply, &QNetworkReply::finished, this, &ReportSender::onFinished);
    return true;
}

void ReportSender::onReadyRead()
{
    if (!m_reply)
        return;
    m_body += m_reply->read(kMaxReplyBytes - m_body.size());
    if (m_body.size() >= kMaxReplyBytes)
        m_reply->abort(); // finished() follows and judges what was read
}

void ReportSender::onFinished()
{
    QNetworkReply* reply = m_reply;
    if (!reply)
        return;
    m_reply.clear();
    reply->deleteLater();
    if (reply->isOpen() && m_body.size() < kMaxReplyBytes)
        m_body += reply->read(kMaxReplyBytes - m_body.size());
    const bool accepted = ReportService::isAccepted(m_body);
    if (accepted) {
        TAPISOL_TRACE(QStringLiteral("MODSTD Rapport d'erreur reçu"));
        m_busy = false;
        emit finished(true, langText(kTextAccepted));
        return;
    }
    if (m_body.size() >= kMaxReplyBytes)
        fail(QStringLiteral("réponse inattendue du service"));
    else if (reply->error() == QNetworkReply::OperationCanceledError)
        fail(QStringLiteral("pas de réponse du service"));
    else if (reply->error() != QNetworkReply::NoError)
        fail(reply->errorString());
    else
        fail(QStringLiteral("réponse inattendue du service"));
}

void ReportSender::fail(const QString& reason)
{
    TAPISOL_TRACE(QStringLiteral("MODSTD Rapport d'erreur non reçu : ") + reason);
    m_busy = false;
    emit finished(false, failedText(reason));
}
