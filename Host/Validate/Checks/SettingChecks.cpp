#include "Host/Validate/Checks/SettingCheckFunctions.h"
#include "Host/Validate/Engine/Check.h"

#include <array>

std::span<const Check> SettingChecks() {
  static constexpr std::array kChecks{
      Check{"settings.texts",
            "A null text crashes hosts, one that is not UTF-8 shows as garbage, one missing as nothing.",
            CheckSettingTexts},
      Check{"settings.preset-labels", "Two settings filed under one name overwrite each other in presets.",
            CheckPresetLabels},
      Check{"settings.defaults", "A dialog that opens with a value it does not offer cannot be confirmed unchanged.",
            CheckDefaults},
      Check{"settings.lists", "Choices that are listed twice, or beyond the range, cannot be made in a dialog.",
            CheckLists},
      Check{"settings.indexes", "An index too far, from an older preset or a stale dialog, must do no harm.",
            CheckIndexes},
      Check{"settings.allowed", "What the user chooses among the choices offered has to be what is encoded.",
            CheckAllowed},
      Check{"settings.not-allowed", "Hosts try values and read back to learn whether they are taken.", CheckNotAllowed},
      Check{"settings.flags", "Check boxes that lose their state or change the value behind them mislead the user.",
            CheckFlags},
      Check{"settings.presets", "A preset that does not bring back the settings it was made of is of no use.",
            CheckPresets},
      Check{"settings.validation", "Hosts validate often; settings that move each time are not what the user chose.",
            CheckValidation},
      Check{"settings.others", "One choice must not leave the others where they cannot be, nor be taken back itself.",
            CheckOthers},
      Check{"settings.copies", "Hosts keep copies of settings for undo; these must not change with the originals.",
            CheckCopies},
      Check{"settings.compressor-copies", "A host that encodes side by side gives each file a copy of the compressor.",
            CheckCompressorCopies},
  };
  return kChecks;
}
