#pragma once

#include "WallpaperBackend.h"

#include <QDBusMessage>
#include <QVariantList>

#include <optional>

// Calls to desktop services on the session bus, each bounded in time, usable from the worker
// thread the renderer applies wallpapers on.
namespace BusCalls {

/// Calls `method` and waits at most `timeoutMs` for the reply. Nothing, with the reason in
/// `error` (a service that is missing, refuses, or does not answer in time) and the D-Bus error
/// name in `errorName` (if given), on failure.
std::optional<QDBusMessage> call(const QString& service, const QString& path, const QString& interface,
    const QString& method, const QVariantList& arguments, QString* error,
    int timeoutMs = WallpaperBackend::CallTimeoutMs, QString* errorName = nullptr);

/// Whether `service` runs on the session bus, or can be started by it.
bool isReachable(const QString& service, QString* reason);

} // namespace BusCalls
