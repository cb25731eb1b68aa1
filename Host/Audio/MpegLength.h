#pragma once

#include "Host/Audio/InputBytes.h"

/// Whether an MPEG audio file (MP3) states its number of frames, in a Xing or Info header within its first frame,
/// behind an ID3v2 tag if there is one. Otherwise its length can only be guessed from its size and first frames, badly
/// so where the bit rate varies. Throws Failure like InputBytes::ReadAt.
bool StatesMpegLength(InputBytes& bytes);
