#pragma once

// What Tapisol and the slideshow player `defilor` agree on when one starts the other. Both sides
// include this header; change a value only in both programs at once.
//
// The caller writes `ProjectKey` and `TypeProject` in the Diaporama settings group, makes sure they
// are on disk, then starts the player with:
//   /preview      the assistant shows the project being edited (otherwise absent)
//   /trace        the caller writes a trace log (otherwise absent)
//   /tpdiaporama  started by Tapisol, not as a screen saver or from a file manager
//   the token     from the assistant only: the player trusts the project settings it finds only
//                 when the token is there and right
namespace PlayerHandOff {

/// The launch token: a slash and twelve hexadecimal digits ("TAPISO" in ASCII).
inline constexpr char Token[] = "/54415049534F";

/// The player's file name in the program's folder.
inline constexpr char ProgramName[] = "defilor";

/// Values of the setting `TypeProject`.
namespace ProjectType {
/// No project: the player shows the pictures its own settings name. The setting's default.
inline constexpr int None = 0;
/// The stored project whose DiaporamaDesc.KeyAuto is `ProjectKey`.
inline constexpr int Stored = 1;
} // namespace ProjectType

} // namespace PlayerHandOff
