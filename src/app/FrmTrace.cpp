#include "FrmTrace.h"

#include "AppState.h"

#include <QGuiApplication>
#include <QListWidget>
#include <QScreen>
#include <QVBoxLayout>

FrmTrace::FrmTrace(QWidget* parent)
    : QWidget(parent, Qt::Window)
    , m_list(new QListWidget(this))
{
    setObjectName(QStringLiteral("FrmTrace"));
    setWindowTitle(programTitle() + QStringLiteral(" - Trace"));
    m_list->setObjectName(QStringLiteral("LstTrace"));
    m_list->setUniformItemSizes(true); // keeps appending cheap with thousands of lines
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_list);

    // Bottom-right corner of the primary screen, out of the way of the desktop's centre.
    const QRect area = QGuiApplication::primaryScreen() ? QGuiApplication::primaryScreen()->availableGeometry()
                                                        : QRect(0, 0, 1024, 768);
    const QSize size(qMin(640, area.width() / 2), qMin(320, area.height() / 3));
    setGeometry(QRect(area.bottomRight() - QPoint(size.width() + 16, size.height() + 48), size));
}

void FrmTrace::appendLine(const QString& line)
{
    if (m_list->count() >= MaxLines)
        delete m_list->takeItem(0);
    m_list->addItem(line);
    m_list->setCurrentRow(m_list->count() - 1);
    m_list->scrollToBottom();
}

int FrmTrace::lineCount() const
{
    return m_list->count();
}
