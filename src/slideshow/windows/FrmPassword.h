#pragma once

#include "ProjectTypes.h"

#include <QDialog>

class QLabel;
class QLineEdit;

// The small dialog that asks for a project's password before the project is opened for editing or
// played. A wrong password is said beside the field and the user tries again; OK closes the dialog
// only on the right one; Cancel or Escape gives up.
class FrmPassword : public QDialog
{
    Q_OBJECT

public:
    explicit FrmPassword(const ProjectRow& project, QWidget* parent = nullptr);

    /// Accepts when the typed password opens the project; otherwise says so and stays open.
    void accept() override;

    /// Whether the user may open `project`: true at once when it has no password, otherwise true
    /// once the right password was typed, false when the user gave up.
    static bool ask(QWidget* parent, const ProjectRow& project);

private:
    ProjectRow m_project;
    QLineEdit* m_password;
    QLabel* m_wrong;
};
