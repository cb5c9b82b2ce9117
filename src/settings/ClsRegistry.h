#pragma once

#include "ClsRegistryBase.h"

#include <QHash>

// The settings object the program uses. Besides the store it holds the settings dialog's preview:
// between beginPreview() and endPreview() the getter returns the dialog's current, unsaved values
// (checked by the same rules), so the tray, the calendar and the notes show a change before it is
// saved. The dialog saves with set() and then ends the preview; cancelling only ends it.
//
// One object serves the whole program: registry() creates it on first use (for the XDG folders of
// that moment) and releaseRegistry(), called when the program unloads, writes and destroys it.
class ClsRegistry : public ClsRegistryBase
{
public:
    using ClsRegistryBase::ClsRegistryBase;

    /// The previewed value of `number` while a preview is open and the dialog set one, otherwise the
    /// stored value; both checked by the row's rule.
    QVariant get(int number) const override;

    /// Starts a preview with no overridden value.
    void beginPreview();
    /// Overrides `number` until endPreview(); false outside a preview or for a reserved number.
    bool setPreviewValue(int number, const QVariant& value);
    /// Drops every previewed value; the getter returns the stored values again.
    void endPreview();
    /// True between beginPreview() and endPreview().
    bool isPreviewing() const { return m_previewing; }

private:
    bool m_previewing = false;
    QHash<int, QVariant> m_preview;
};

/// The program's settings object, created on first use.
ClsRegistry& registry();

/// Writes and destroys the program's settings object; the next registry() creates a new one.
void releaseRegistry();
