#pragma once

#include "Host/Audio/InputBytes.h"

/// Whether a file is an Ogg stream that does not end with a complete page marked as the last one, as a truncated file
/// does; false for streams, and in all other formats. Throws Failure like InputBytes::ReadAt.
bool LacksOggEnd(InputBytes& bytes);
