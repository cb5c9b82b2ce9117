#include "FrmHotKeys.h"

#include "AppState.h"
#include "HotkeyText.h"
#include "InterfaceTexts.h"
#include "VirtualKeys.h"

#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QShortcut>
#include <QUrl>
#include <QVBoxLayout>

// The field a combination is typed in: every key goes to the dialog's capture, except those
// that move through the dialog.
class KeyCapture : public QLineEdit
{
public:
    explicit KeyCapture(FrmHotKeys* dialog)
        : m_dialog(dialog)
    {
        setReadOnly(true);
        setAlignment(Qt::AlignCenter);
    }

protected:
    void keyPressEvent(QKeyEvent* event) override
    {
        switch (event->key()) {
        case Qt::Key_Tab:
        case Qt::Key_Backtab:
        case Qt::Key_Escape:
        case Qt::Key_Return:
        case Qt::Key_Enter:
            QLineEdit::keyPressEvent(event);
            return;
        case Qt::Key_Control:
        case Qt::Key_Alt:
        case Qt::Key_Shift:
        case Qt::Key_Meta:
        case Qt::Key_AltGr:
            return; // a modifier alone is not a key yet
        default:
            m_dialog->take(event->key(), event->modifiers());
        }
    }

private:
    FrmHotKeys* m_dialog;
};

FrmHotKeys::FrmHotKeys(const QString& action, int modifiers, int code, BoundTo boundTo, QWidget* parent)
    : QDialog(parent)
    , m_boundTo(std::move(boundTo))
{
    setObjectName(QStringLiteral("FrmHotKeys"));
    setWindowTitle(langText(2640));
    auto* layout = new QVBoxLayout(this);
    auto* prompt = new QLabel(langText(2641).arg(action));
    prompt->setWordWrap(true);
    layout->addWidget(prompt);
    m_field = new KeyCapture(this);
    m_field->setObjectName(QStringLiteral("capture"));
    m_field->setPlaceholderText(langText(2645));
    m_field->setToolTip(langText(2647));
    layout->addWidget(m_field);
    m_status = new QLabel;
    m_status->setWordWrap(true);
    m_status->setStyleSheet(QStringLiteral("color: #c04000;"));
    layout->addWidget(m_status);
    m_buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel | QDialogButtonBox::Help);
    m_buttons->button(QDialogButtonBox::Ok)->setText(langText(2600));
    m_buttons->button(QDialogButtonBox::Cancel)->setText(langText(2601));
    m_buttons->button(QDialogButtonBox::Help)->setText(langText(2603));
    auto* none = m_buttons->addButton(langText(2644), QDialogButtonBox::ResetRole);
    connect(none, &QPushButton::clicked, this, [this] { show(0, 0); });
    connect(m_buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(m_buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_buttons, &QDialogButtonBox::helpRequested, this,
        [] { QDesktopServices::openUrl(QUrl::fromLocalFile(appState().helpFile)); });
    auto* help = new QShortcut(QKeySequence::HelpContents, this);
    connect(help, &QShortcut::activated, m_buttons, &QDialogButtonBox::helpRequested);
    layout->addWidget(m_buttons);
    show(modifiers, code);
    m_field->setFocus();
}

void FrmHotKeys::show(int modifiers, int code)
{
    m_modifiers = code ? modifiers : 0;
    m_code = code;
    m_field->setText(hotkeyText(m_modifiers, m_code));
    const QString other = code && m_boundTo ? m_boundTo(m_modifiers, m_code) : QString();
    m_status->setText(other.isEmpty() ? QString() : langText(2643).arg(other));
}

bool FrmHotKeys::take(int qtKey, Qt::KeyboardModifiers qtModifiers)
{
    const int code = VirtualKeys::fromQtKey(qtKey, qtModifiers & Qt::KeypadModifier);
    int modifiers = 0;
    if (qtModifiers & Qt::ControlModifier)
        modifiers |= HotkeyModifier::Ctrl;
    if (qtModifiers & Qt::AltModifier)
        modifiers |= HotkeyModifier::Alt;
    if (qtModifiers & Qt::ShiftModifier)
        modifiers |= HotkeyModifier::Shift;
    if (qtModifiers & Qt::MetaModifier)
        modifiers |= HotkeyModifier::Win;
    if (code == 0)
        return false;
    if (modifiers == 0 && !VirtualKeys::isFunctionKey(code)) {
        m_status->setText(langText(2642));
        return false;
    }
    show(modifiers, code);
    return true;
}

std::optional<std::pair<int, int>> FrmHotKeys::capture(
    QWidget* parent, const QString& action, int modifiers, int code, const BoundTo& boundTo)
{
    FrmHotKeys dialog(action, modifiers, code, boundTo, parent);
    if (dialog.exec() != QDialog::Accepted)
        return std::nullopt;
    return std::pair {dialog.modifiers(), dialog.code()};
}
