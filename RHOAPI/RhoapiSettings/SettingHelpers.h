#pragma once

#include "RHOAPI/RHOAPIExport.h"

class ISetting;

/// Operations on settings of any kind, for owners and hosts. For a null setting every function returns false or does
/// nothing.
namespace rhoapi_settings {

/// Whether the setting's check box is ticked: for an optional setting of any kind the optional-value-specified flag,
/// for a boolean that is not optional its value. Other settings have no check box, which counts as not ticked.
RHOAPI_EXPORT bool checkboxChecked(ISetting* setting);

/// Unticks that check box; does nothing when there is none.
RHOAPI_EXPORT void setUnspecified(ISetting* setting);

/// Sets the tool tip.
RHOAPI_EXPORT void setTooltip(ISetting* setting, const char* text);

/// Makes the setting optional, with this text beside its check box.
RHOAPI_EXPORT void setOptional(ISetting* setting, const char* text);

/// Enables or disables the setting.
RHOAPI_EXPORT void setActive(ISetting* setting, bool active);

}  // namespace rhoapi_settings
