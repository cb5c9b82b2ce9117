#pragma once

#include "WallpaperBackend.h"

// The back end of last resort: it sets nothing and says why, so that a session with no usable back
// end still runs the rest of the program and the trace tells the user what is missing.
class NullBackend final : public WallpaperBackend
{
public:
    /// `reason` is the sentence every failed apply reports (for example why no other back end runs).
    explicit NullBackend(QString reason);

    QString name() const override;
    /// Always true: this back end runs anywhere, which is why it comes last.
    bool isAvailable(QString* reason = nullptr) const override;
    /// Changes nothing and returns false with the reason given at construction.
    bool apply(const WallpaperTarget& target, QString* error) override;
    bool handsOverFile() const override { return false; }

private:
    QString m_reason;
};
