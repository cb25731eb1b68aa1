#pragma once

/// The whole toolbox through one include. Each topic has a header and a source of its own behind it.

#include "Toolbox/KelUtils/AudioBuffers.h"        // IWYU pragma: export
#include "Toolbox/KelUtils/ChannelModes.h"        // IWYU pragma: export
#include "Toolbox/KelUtils/Checksums.h"           // IWYU pragma: export
#include "Toolbox/KelUtils/CloseEnough.h"         // IWYU pragma: export
#include "Toolbox/KelUtils/ColorFormats.h"        // IWYU pragma: export
#include "Toolbox/KelUtils/Copying.h"             // IWYU pragma: export
#include "Toolbox/KelUtils/Files.h"               // IWYU pragma: export
#include "Toolbox/KelUtils/Folders.h"             // IWYU pragma: export
#include "Toolbox/KelUtils/FourCharacterCodes.h"  // IWYU pragma: export
#include "Toolbox/KelUtils/FrameRates.h"          // IWYU pragma: export
#include "Toolbox/KelUtils/Identifiers.h"         // IWYU pragma: export
#include "Toolbox/KelUtils/Images.h"              // IWYU pragma: export
#include "Toolbox/KelUtils/KelStr.h"              // IWYU pragma: export
#include "Toolbox/KelUtils/Modules.h"             // IWYU pragma: export
#include "Toolbox/KelUtils/OpenFile.h"            // IWYU pragma: export
#include "Toolbox/KelUtils/OpenFolder.h"          // IWYU pragma: export
#include "Toolbox/KelUtils/Paths.h"               // IWYU pragma: export
#include "Toolbox/KelUtils/Processes.h"           // IWYU pragma: export
#include "Toolbox/KelUtils/Progress.h"            // IWYU pragma: export
#include "Toolbox/KelUtils/RawDumps.h"            // IWYU pragma: export
#include "Toolbox/KelUtils/Removal.h"             // IWYU pragma: export
#include "Toolbox/KelUtils/RowPacking.h"          // IWYU pragma: export
#include "Toolbox/KelUtils/SearchAndReplace.h"    // IWYU pragma: export
#include "Toolbox/KelUtils/SystemQueries.h"       // IWYU pragma: export
#include "Toolbox/KelUtils/Text.h"                // IWYU pragma: export
#include "Toolbox/KelUtils/TextEncoding.h"        // IWYU pragma: export
#include "Toolbox/KelUtils/TimeCodes.h"           // IWYU pragma: export
#include "Toolbox/KelUtils/Tokens.h"              // IWYU pragma: export
#include "Toolbox/KelUtils/Trimming.h"            // IWYU pragma: export
