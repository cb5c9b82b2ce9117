#pragma once

#include <QString>

class QSettings;

// Protects the user's values from a settings file that Qt cannot read whole. QSettings rewrites the
// entire file on its next write and silently drops every line it could not parse, so an unreadable
// file is copied aside as "<file>.bad" before anything is written.
namespace SettingsFileGuard {

/// "<path>.bad".
QString badCopyPath(const QString& path);

/// Runs before QSettings opens `path`. Strips a UTF-8 byte-order mark, and re-encodes a file that is
/// not UTF-8 but looks like text as Latin-1 (so "Paramètres" written by a Latin-1 editor still names
/// the group). When the file is rewritten, or is not UTF-8 at all, the original is kept as the .bad
/// copy. Returns true when a copy was kept.
bool repairEncoding(const QString& path);

/// Runs after `settings` has read its file. On a format error, keeps the .bad copy (unless
/// `alreadyKept`) and traces it; on an access error, traces it.
void checkStatus(const QSettings& settings, bool alreadyKept);

} // namespace SettingsFileGuard
