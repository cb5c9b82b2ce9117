#include "UnloadAll.h"

#include "Trace.h"

#include <QApplication>
#include <QPointer>
#include <QWidget>

bool isLoadedForm(const QWidget* widget)
{
    return widget && widget->isWindow() && widget->objectName().startsWith(QLatin1String("Frm"));
}

void unloadAllForms()
{
    QList<QPointer<QWidget>> forms;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (isLoadedForm(widget))
            forms.append(widget);
    }
    const qsizetype count = forms.size();
    for (const QPointer<QWidget>& form : forms) {
        if (!form)
            continue; // closed as a side effect of an earlier one
        const QString name = form->objectName();
        TAPISOL_TRACE(QStringLiteral("M1 Unload ") + QString::number(count) + QStringLiteral(", Frm=") + name);
        if (name == QLatin1String("FrmSysTray") || name == QLatin1String("FrmTrace")
            || name == QLatin1String("FrmAlarmTools"))
            continue;
        form->setAttribute(Qt::WA_DeleteOnClose);
        if (!form->close() && form) {
            TAPISOL_TRACE(QStringLiteral("M1 Unload Impossible de décharger ") + name);
        }
    }
}
