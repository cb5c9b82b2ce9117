#pragma once

// Makes the HEIF/AVIF and metafile decoders available to PictureDecoding in this process. Called
// by the decoding helper only: libwmf keeps each rendered bitmap for the life of the process, and
// the helper is the process that retires when it grows.
namespace LibraryCodecs {

void install();

} // namespace LibraryCodecs
