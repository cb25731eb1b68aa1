#pragma once

/// The whole toolbox through one include. Each topic has a header and a source of its own behind it.

#include "Toolbox/KelUtils/AudioBuffers.h"  // IWYU pragma: export
#include "Toolbox/KelUtils/ChannelModes.h"  // IWYU pragma: export
