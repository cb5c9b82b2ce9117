#pragma once

#include "PictureFormat.h"

class PictureFile;

// Qt's JPEG, GIF and BMP readers return a picture whose missing part is grey or black when the
// file is cut short, and say nothing. A wallpaper half grey is worse than the previous one, so the
// structure of those files is walked first, cheaply, to find out whether they end where they say.
namespace PictureIntegrity {

/// False, with the cause in `reason`, when `file` of `format` is visibly cut short or damaged.
/// Formats whose readers report damage themselves always pass.
bool isComplete(const PictureFile& file, PictureFormat format, QString* reason);

} // namespace PictureIntegrity
