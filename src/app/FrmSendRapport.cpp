#include "FrmSendRapport.h"

#include "AppState.h"
#include "InterfaceTexts.h"
#include "ReportSender.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

namespace {

// The explanatory texts, in the order they are shown.
constexpr int kExplanations[] = {2106, 2107, 2002};

bool canShowWindows()
{
    return qobject_cast<QApplication*>(QCoreApplication::instance()) && !QCoreApplication::closingDown();
}

} // namespace

FrmSendRapport::FrmSendRapport(const ErrorRecord& record, const QString& host, QWidget* parent, int timeoutMs)
    : QDialog(parent)
    , m_record(record)
    , m_host(host)
    , m_sender(new ReportSender(this, timeoutMs))
{
    errorHandler().setReportOpen(true);
    setObjectName(QStringLiteral("FrmSendRapport"));
    setWindowTitle(programTitle() + QStringLiteral(" - Rapport d'erreur"));
    buildUi();
    connect(m_sender, &ReportSender::finished, this, &FrmSendRapport::onSent);
}

FrmSendRapport::~FrmSendRapport()
{
    errorHandler().setReportOpen(false);
}

QLabel* FrmSendRapport::addText(int number)
{
    QString text = langText(number);
    text.replace(QLatin1String("%%1"), programTitle());
    auto* label = new QLabel(text, this);
    label->setObjectName(QStringLiteral("LblTexte%1").arg(number));
    label->setWordWrap(true);
    label->setTextFormat(Qt::PlainText);
    return label;
}

void FrmSendRapport::buildUi()
{
    auto* texts = new QVBoxLayout;
    for (int number : kExplanations)
        texts->addWidget(addText(number));

    auto* icon = new QLabel(this);
    const int iconSize = style()->pixelMetric(QStyle::PM_MessageBoxIconSize, nullptr, this);
    icon->setPixmap(style()->standardIcon(QStyle::SP_MessageBoxCritical, nullptr, this).pixmap(iconSize));
    icon->setAlignment(Qt::AlignTop);
    auto* top = new QHBoxLayout;
    top->addWidget(icon);
    top->addLayout(texts, 1);

    m_txtRapport = new QPlainTextEdit(this);
    m_txtRapport->setObjectName(QStringLiteral("TxtRapport"));
    m_txtRapport->setReadOnly(true);
    m_txtRapport->setLineWrapMode(QPlainTextEdit::NoWrap);
    m_txtRapport->hide();

    m_lblStatus = new QLabel(this);
    m_lblStatus->setObjectName(QStringLiteral("LblStatus"));
    m_lblStatus->setWordWrap(true);
    m_lblStatus->setTextFormat(Qt::PlainText);

    m_cmdView = new QPushButton(langText(TextView), this);
    m_cmdView->setObjectName(QStringLiteral("CmdVoir"));
    m_cmdSend = new QPushButton(langText(TextSend), this);
    m_cmdSend->setObjectName(QStringLiteral("CmdEnvoyer"));
    m_cmdSend->setDefault(true);
    m_cmdClose = new QPushButton(langText(TextClose), this);
    m_cmdClose->setObjectName(QStringLiteral("CmdFermer"));
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_cmdView);
    buttons->addStretch(1);
    buttons->addWidget(m_cmdSend);
    buttons->addWidget(m_cmdClose);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(m_txtRapport, 1);
    layout->addWidget(m_lblStatus);
    layout->addLayout(buttons);

    connect(m_cmdView, &QPushButton::clicked, this, &FrmSendRapport::toggleReport);
    connect(m_cmdSend, &QPushButton::clicked, this, &FrmSendRapport::sendReport);
    connect(m_cmdClose, &QPushButton::clicked, this, &QDialog::close);
}

void FrmSendRapport::toggleReport()
{
    const bool show = m_txtRapport->isHidden();
    if (show) {
        // The report keeps CR LF for the service; the text box wants plain line ends.
        QString text = m_record.reportText();
        text.replace(QLatin1String("\r\n"), QLatin1String("\n"));
        m_txtRapport->setPlainText(text);
        m_txtRapport->setMinimumHeight(m_txtRapport->fontMetrics().lineSpacing() * 12);
    }
    m_txtRapport->setVisible(show);
    m_cmdView->setText(langText(show ? TextHide : TextView));
    if (!show)
        m_txtRapport->setMinimumHeight(0);
    adjustSize();
}

void FrmSendRapport::sendReport()
{
    if (!m_sender->send(m_record, m_host))
        return;
    m_cmdSend->setEnabled(false);
    m_lblStatus->setText(langText(TextSending));
}

void FrmSendRapport::onSent(bool accepted, const QString& statusText)
{
    m_lblStatus->setText(statusText);
    // A report that arrived is not sent twice; after a failure the user may try again.
    m_cmdSend->setEnabled(!accepted);
}

bool showReportDialog(const ErrorRecord& record, const QString& host)
{
    if (!canShowWindows())
        return false;
    auto* dialog = new FrmSendRapport(record, host);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->show();
    dialog->raise();
    dialog->activateWindow();
    return true;
}

bool showErrorMessage(const QString& message)
{
    if (!canShowWindows())
        return false;
    QMessageBox::critical(nullptr, programTitle(), message);
    return true;
}
