// Presets and --set as rhohost reads them, for a compressor with every kind of setting. Whatever they lead to, a preset
// of all settings leads to it again.

#include "Fuzz/Fuzz.h"
#include "Host/Plugin/Module.h"
#include "Host/Settings/Preset.h"
#include "Plugins/EncodersAndFormatters/PCMPlugin/PCMPlugin.h"

namespace {

/// The preset with the values of all settings but containers, which have none.
std::string PresetOfAll(IAudioCompressor& codec, std::optional<double> framesPerSecond) {
  Choices all{.framesPerSecond = framesPerSecond};
  for (const NamedSetting& named : ListSettings(codec)) {
    if (named.setting->GetType() != kSettingTypeArray) {
      all.settings.push_back(named.setting);
    }
  }
  return PresetText(codec, all);
}

}  // namespace

void Fuzz(FuzzedDataProvider& data) {
  static const TemporaryFolder folder;
  static const std::string path = folder / "preset";
  // Two compressors with a setting of every kind: the other one loads what this one saves.
  const CompressorOwner codec(CreateAudioCompressor(FourCharacterCode("TEST"), FourCharacterCode("ALL\1")));
  const CompressorOwner other(CreateAudioCompressor(FourCharacterCode("TEST"), FourCharacterCode("ALL\1")));
  std::optional<double> framesPerSecond;
  try {
    if (data.ConsumeBool()) {
      folder.Write("preset", data.ConsumeRemainingBytesAsString());
      const Preset preset(path);
      Assign(*codec, preset.AssignmentsFor(*codec, ListSettings(*codec)));
      framesPerSecond = preset.FramesPerSecond();
    }
    while (data.remaining_bytes() != 0) {
      Assign(*codec, {ParseAssignment(ListSettings(*codec), data.ConsumeRandomLengthString())});
    }
  } catch (const std::runtime_error& error) {  // not a preset, or of another compressor
    Expect(std::string_view(error.what()).size() < 2000);
  }
  // Also after a refusal: whatever has been set until then can be saved and loaded.
  const std::string saved = PresetOfAll(*codec, framesPerSecond);
  folder.Write("preset", saved);
  const Preset preset(path);
  Assign(*other, preset.AssignmentsFor(*other, ListSettings(*other)));
  Expect(PresetOfAll(*other, preset.FramesPerSecond()) == saved);
}
