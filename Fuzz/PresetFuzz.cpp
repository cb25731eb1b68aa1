// Presets and --set as rhohost reads them, for a compressor with every kind of setting. Whatever they lead to, a preset
// of it leads there again.

#include "Fuzz/Fuzz.h"
#include "Host/Plugin/Module.h"
#include "Host/Settings/Preset.h"
#include "Plugins/EncodersAndFormatters/PCMPlugin/PCMPlugin.h"

void Fuzz(FuzzedDataProvider& data) {
  static const TemporaryFolder folder;
  static const std::string path = folder / "preset";
  const CompressorOwner codec(CreateAudioCompressor(FourCharacterCode("TEST"), FourCharacterCode("ALL\1")));
  const CompressorOwner other(CreateAudioCompressor(FourCharacterCode("TEST"), FourCharacterCode("ALL\1")));
  try {
    if (data.ConsumeBool()) {
      folder.Write("preset", data.ConsumeRemainingBytesAsString());
      Assign(*codec, Preset(path).AssignmentsFor(*codec));
    }
    while (data.remaining_bytes() != 0) {
      Assign(*codec, {ReadAssignment(ListSettings(*codec), data.ConsumeRandomLengthString())});
    }
  } catch (const std::runtime_error&) {  // it is no preset, or one of something else
  }
  SavePreset(path, *codec, true);
  const std::string saved = ReadFile(path);
  Assign(*other, Preset(path).AssignmentsFor(*other));
  SavePreset(path, *other, true);
  Expect(ReadFile(path) == saved);
}
