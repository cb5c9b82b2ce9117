#pragma once

#include <QDialog>

#include <functional>
#include <optional>

class QLabel;
class QDialogButtonBox;
class KeyCapture;

// Captures one key combination for a hot key: the modifiers and the key as the settings keep
// them, shown as the menu shows them. A key without a modifier is refused (the function keys
// aside); a combination already bound to another action is said before it is taken.
class FrmHotKeys : public QDialog
{
    Q_OBJECT

public:
    /// Says which other action (if any) holds a combination.
    using BoundTo = std::function<QString(int modifiers, int code)>;

    FrmHotKeys(const QString& action, int modifiers, int code, BoundTo boundTo, QWidget* parent = nullptr);

    int modifiers() const { return m_modifiers; }
    int code() const { return m_code; }

    /// Opens the dialog; the chosen pair (code 0: no binding), or nothing when cancelled.
    static std::optional<std::pair<int, int>> capture(
        QWidget* parent, const QString& action, int modifiers, int code, const BoundTo& boundTo);

    /// Takes a key as the capture field does (also for tests): false when refused.
    bool take(int qtKey, Qt::KeyboardModifiers qtModifiers);

private:
    void show(int modifiers, int code);

    BoundTo m_boundTo;
    KeyCapture* m_field = nullptr;
    QLabel* m_status = nullptr;
    QDialogButtonBox* m_buttons = nullptr;
    int m_modifiers = 0;
    int m_code = 0;
};
