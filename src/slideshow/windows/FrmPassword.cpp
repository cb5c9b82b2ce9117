#include "FrmPassword.h"

#include "InterfaceTexts.h"
#include "ProjectStore.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

constexpr int TextOk = 2600;
constexpr int TextCancel = 2601;
constexpr int TextTitle = 3120;
constexpr int TextPrompt = 3121;
constexpr int TextWrong = 3122;

} // namespace

FrmPassword::FrmPassword(const ProjectRow& project, QWidget* parent)
    : QDialog(parent)
    , m_project(project)
    , m_password(new QLineEdit(this))
    , m_wrong(new QLabel(langText(TextWrong), this))
{
    setObjectName(QStringLiteral("FrmPassword"));
    setWindowTitle(langText(TextTitle));
    setModal(true);

    auto* prompt = new QLabel(langText(TextPrompt).arg(project.Nom), this);
    prompt->setObjectName(QStringLiteral("prompt"));
    prompt->setWordWrap(true);
    prompt->setBuddy(m_password);
    m_password->setObjectName(QStringLiteral("password"));
    m_password->setEchoMode(QLineEdit::Password);
    m_password->setMaxLength(20); // the column's size: a longer text could never match
    m_wrong->setObjectName(QStringLiteral("wrong"));
    m_wrong->setStyleSheet(QStringLiteral("color: #c00000;"));
    m_wrong->hide();

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttons->button(QDialogButtonBox::Ok)->setText(langText(TextOk));
    buttons->button(QDialogButtonBox::Cancel)->setText(langText(TextCancel));
    connect(buttons, &QDialogButtonBox::accepted, this, &FrmPassword::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &FrmPassword::reject);
    connect(m_password, &QLineEdit::textEdited, m_wrong, &QWidget::hide);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(prompt);
    layout->addWidget(m_password);
    layout->addWidget(m_wrong);
    layout->addWidget(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    m_password->setFocus();
}

void FrmPassword::accept()
{
    if (ProjectStore::passwordMatches(m_project, m_password->text())) {
        QDialog::accept();
        return;
    }
    m_wrong->show();
    m_password->selectAll();
    m_password->setFocus();
}

bool FrmPassword::ask(QWidget* parent, const ProjectRow& project)
{
    if (project.Paswd.isEmpty())
        return true;
    FrmPassword dialog(project, parent);
    return dialog.exec() == QDialog::Accepted;
}
