#pragma once

#include "RHOAPI/RHOAPIExport.h"

class ISetting;

/// What owners and hosts do with any setting, whatever its kind. Every function takes null and then answers false or
/// does nothing.
namespace rhoapi_settings {

/// Whether the setting's check box is ticked. An optional setting's box is its optional-value-specified flag, whatever
/// its kind; a boolean that is not optional is its own box; any other setting has none, which counts as not ticked.
RHOAPI_EXPORT bool checkboxChecked(ISetting* setting);

/// Unticks that box; nothing when there is none.
RHOAPI_EXPORT void setUnspecified(ISetting* setting);

RHOAPI_EXPORT void setTooltip(ISetting* setting, const char* text);

/// Makes the setting optional, with this text beside its check box.
RHOAPI_EXPORT void setOptional(ISetting* setting, const char* text);

RHOAPI_EXPORT void setActive(ISetting* setting, bool active);

}  // namespace rhoapi_settings
