#include "FrmAbout.h"

#include "AppPaths.h"
#include "AppState.h"
#include "InterfaceTexts.h"

#include <QDialogButtonBox>
#include <QIcon>
#include <QLabel>
#include <QVBoxLayout>

FrmAbout::FrmAbout(QWidget* parent)
    : QDialog(parent)
{
    setObjectName(QStringLiteral("FrmAbout"));
    setWindowTitle(langText(373).remove(QStringLiteral("...")));
    setWindowIcon(QIcon(AppPaths::readOnlyDataDir() + QStringLiteral("icons/tapisol.svg")));

    auto* icon = new QLabel(this);
    icon->setPixmap(windowIcon().pixmap(64, 64));
    icon->setAlignment(Qt::AlignCenter);

    auto* text = new QLabel(this);
    text->setObjectName(QStringLiteral("LblInfos"));
    text->setTextFormat(Qt::RichText);
    text->setAlignment(Qt::AlignCenter);
    text->setTextInteractionFlags(Qt::TextSelectableByMouse);
    text->setWordWrap(true);
    text->setFixedWidth(400); // a long data path or sentence wraps instead of widening the box
    text->setText(QStringLiteral("<h2>%1 %2</h2><p>%3</p><p><small>%4<br>%5</small></p>")
                      .arg(programTitle(), QStringLiteral(TAPISOL_VERSION_STRING), langText(2121),
                          langText(2122).arg(AppPaths::dataDir().toHtmlEscaped()), langText(2123)));

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(icon);
    layout->addWidget(text);
    layout->addWidget(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);
}
