#include "FrmWait.h"

#include "AppState.h"
#include "InterfaceTexts.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

constexpr int TextCancel = 3066;
constexpr int TipCancel = 3067;
// Often enough for a smooth bar and a live program, rarely enough to cost nothing.
constexpr int EventsEveryMs = 40;

} // namespace

FrmWait::FrmWait(const QString& caption, bool cancellable, QWidget* parent)
    : QDialog(parent, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint)
{
    setObjectName(QStringLiteral("FrmWait"));
    setWindowTitle(programTitle());
    // Only the window it works for waits; the tray menu and the other windows stay usable.
    setWindowModality(parent ? Qt::WindowModal : Qt::ApplicationModal);

    m_caption = new QLabel(caption, this);
    m_caption->setObjectName(QStringLiteral("caption"));
    m_caption->setWordWrap(true);
    m_bar = new QProgressBar(this);
    m_bar->setObjectName(QStringLiteral("progress"));
    m_bar->setRange(0, 0);
    m_bar->setMinimumWidth(360);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_caption);
    layout->addWidget(m_bar);
    if (cancellable) {
        m_cancel = new QPushButton(langText(TextCancel), this);
        m_cancel->setObjectName(QStringLiteral("cancel"));
        m_cancel->setToolTip(langText(TipCancel));
        connect(m_cancel, &QPushButton::clicked, this, &FrmWait::reject);
        auto* buttons = new QHBoxLayout;
        buttons->addStretch();
        buttons->addWidget(m_cancel);
        layout->addLayout(buttons);
    }
    layout->setSizeConstraint(QLayout::SetFixedSize);
    m_sinceEvents.start();
}

void FrmWait::setCaption(const QString& caption)
{
    m_caption->setText(caption);
}

void FrmWait::step(int done, int total)
{
    if (m_bar->maximum() != total)
        m_bar->setRange(0, qMax(0, total));
    m_bar->setValue(qBound(0, done, qMax(0, total)));
    if (done < total && m_sinceEvents.elapsed() < EventsEveryMs)
        return;
    m_sinceEvents.restart();
    QCoreApplication::processEvents();
}

void FrmWait::reject()
{
    if (!m_cancel) // Escape on a task that cannot stop
        return;
    if (!m_cancelled) {
        m_cancelled = true;
        m_cancel->setEnabled(false);
        emit cancelled();
    }
}

void FrmWait::closeEvent(QCloseEvent* event)
{
    // The window goes when its task ends (the caller hides it); a click on the title bar's close
    // button is a request to cancel.
    if (event->spontaneous()) {
        event->ignore();
        reject();
        return;
    }
    QDialog::closeEvent(event);
}
