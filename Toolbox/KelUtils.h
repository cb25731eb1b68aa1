#pragma once

/// The whole toolbox through one include. Each topic has its own header and source.

#include "Toolbox/KelUtils/Checksums/Checksums.h"      // IWYU pragma: export
#include "Toolbox/KelUtils/Files/Copying.h"            // IWYU pragma: export
#include "Toolbox/KelUtils/Files/Files.h"              // IWYU pragma: export
#include "Toolbox/KelUtils/Files/Folders.h"            // IWYU pragma: export
#include "Toolbox/KelUtils/Files/OpenFile.h"           // IWYU pragma: export
#include "Toolbox/KelUtils/Files/OpenFolder.h"         // IWYU pragma: export
#include "Toolbox/KelUtils/Files/Paths.h"              // IWYU pragma: export
#include "Toolbox/KelUtils/Files/Progress.h"           // IWYU pragma: export
#include "Toolbox/KelUtils/Files/RawDumps.h"           // IWYU pragma: export
#include "Toolbox/KelUtils/Files/Removal.h"            // IWYU pragma: export
#include "Toolbox/KelUtils/Files/SearchAndReplace.h"   // IWYU pragma: export
#include "Toolbox/KelUtils/Media/AudioBuffers.h"       // IWYU pragma: export
#include "Toolbox/KelUtils/Media/ChannelModes.h"       // IWYU pragma: export
#include "Toolbox/KelUtils/Media/ColorFormats.h"       // IWYU pragma: export
#include "Toolbox/KelUtils/Media/FrameRates.h"         // IWYU pragma: export
#include "Toolbox/KelUtils/Media/Images.h"             // IWYU pragma: export
#include "Toolbox/KelUtils/Media/RowPacking.h"         // IWYU pragma: export
#include "Toolbox/KelUtils/Media/TimeCodes.h"          // IWYU pragma: export
#include "Toolbox/KelUtils/Numbers/CloseEnough.h"      // IWYU pragma: export
#include "Toolbox/KelUtils/Numbers/SaturatingCast.h"   // IWYU pragma: export
#include "Toolbox/KelUtils/Processes/DebugPrint.h"     // IWYU pragma: export
#include "Toolbox/KelUtils/Processes/Modules.h"        // IWYU pragma: export
#include "Toolbox/KelUtils/Processes/Processes.h"      // IWYU pragma: export
#include "Toolbox/KelUtils/Processes/SystemQueries.h"  // IWYU pragma: export
#include "Toolbox/KelUtils/Text/FourCharacterCodes.h"  // IWYU pragma: export
#include "Toolbox/KelUtils/Text/Identifiers.h"         // IWYU pragma: export
#include "Toolbox/KelUtils/Text/KelStr.h"              // IWYU pragma: export
#include "Toolbox/KelUtils/Text/OrEmpty.h"             // IWYU pragma: export
#include "Toolbox/KelUtils/Text/Text.h"                // IWYU pragma: export
#include "Toolbox/KelUtils/Text/TextEncoding.h"        // IWYU pragma: export
#include "Toolbox/KelUtils/Text/Tokens.h"              // IWYU pragma: export
#include "Toolbox/KelUtils/Text/Trimming.h"            // IWYU pragma: export
