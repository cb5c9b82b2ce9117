#pragma once

// For tests of windows: the Alt+letter mnemonics that the controls showing at once share. Two
// controls with the same letter make Qt move the focus between them instead of acting, so a
// user of the keyboard cannot reach the second one.
#include <QAbstractButton>
#include <QGroupBox>
#include <QLabel>
#include <QMap>
#include <QMenuBar>
#include <QStringList>
#include <QTabBar>
#include <QWidget>

namespace Mnemonics {

/// The letter after the single '&' of `text` ("&&" is a literal ampersand), lower case; a null
/// character when there is none.
inline QChar letterOf(const QString& text)
{
    for (qsizetype i = 0; i + 1 < text.size(); ++i) {
        if (text.at(i) != QLatin1Char('&'))
            continue;
        if (text.at(i + 1) != QLatin1Char('&'))
            return text.at(i + 1).toLower();
        ++i;
    }
    return {};
}

/// Each letter that two or more visible controls of `window` share, with their texts.
inline QStringList clashes(const QWidget* window)
{
    QMap<QChar, QStringList> owners;
    const auto note = [&](const QString& text) {
        if (const QChar letter = letterOf(text); !letter.isNull())
            owners[letter] << text;
    };
    for (const QWidget* widget : window->findChildren<QWidget*>()) {
        if (!widget->isVisibleTo(window))
            continue;
        if (const auto* button = qobject_cast<const QAbstractButton*>(widget))
            note(button->text());
        else if (const auto* label = qobject_cast<const QLabel*>(widget); label && label->buddy())
            note(label->text());
        else if (const auto* box = qobject_cast<const QGroupBox*>(widget))
            note(box->title());
        else if (const auto* tabs = qobject_cast<const QTabBar*>(widget)) {
            for (int i = 0; i < tabs->count(); ++i)
                note(tabs->tabText(i));
        } else if (const auto* menus = qobject_cast<const QMenuBar*>(widget)) {
            for (const QAction* action : menus->actions())
                note(action->text());
        }
    }
    QStringList found;
    for (auto it = owners.cbegin(); it != owners.cend(); ++it) {
        if (it.value().size() > 1)
            found << QStringLiteral("%1: %2").arg(it.key(), it.value().join(QStringLiteral(" / ")));
    }
    return found;
}

} // namespace Mnemonics
