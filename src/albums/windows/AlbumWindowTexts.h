#pragma once

#include "InterfaceTexts.h"

#include <QLocale>
#include <QStringList>

// Small helpers for the texts of the album windows.
namespace AlbumWindowTexts {

/// `control` with the interface text `tip` as its tool tip.
template <typename Control> Control* withTip(Control* control, int tip)
{
    control->setToolTip(langText(tip));
    return control;
}

/// The entries of a list text ("a|b|c").
inline QStringList langList(int number)
{
    return langText(number).split(QLatin1Char('|'));
}

/// Dates and numbers written in the interface language.
inline QLocale interfaceLocale()
{
    const QString code = interfaceTexts().code();
    if (code == QLatin1String("FRA"))
        return QLocale(QLocale::French, QLocale::France);
    if (code == QLatin1String("ENG"))
        return QLocale(QLocale::English, QLocale::UnitedKingdom);
    return QLocale();
}

} // namespace AlbumWindowTexts
