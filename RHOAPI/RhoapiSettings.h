#pragma once

/// All concrete settings and their helpers through one include. Behind it each topic has a header and a source of its
/// own.

#include "RHOAPI/RhoapiSettings/EnumTexts.h"           // IWYU pragma: export
#include "RHOAPI/RhoapiSettings/EnumeratedSettings.h"  // IWYU pragma: export
#include "RHOAPI/RhoapiSettings/NumericSettings.h"     // IWYU pragma: export
#include "RHOAPI/RhoapiSettings/SettingContainers.h"   // IWYU pragma: export
#include "RHOAPI/RhoapiSettings/SettingHelpers.h"      // IWYU pragma: export
#include "RHOAPI/RhoapiSettings/ValueSettings.h"       // IWYU pragma: export
