#pragma once

#include <QDialog>

// The about box: the program's name, version, where its files live, and its licence.
class FrmAbout : public QDialog
{
    Q_OBJECT

public:
    explicit FrmAbout(QWidget* parent = nullptr);
};
