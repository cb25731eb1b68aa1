#include "Host/Validate/Support/Phases.h"

#include "Host/Validate/Support/CheckedModule.h"
#include "Host/Validate/Support/CompressorUnderTest.h"
#include "Host/Validate/Support/SettingValues.h"
#include "Host/Validate/Support/StreamRun.h"

#include <optional>

namespace {

/// The life of one compressor, which is set up as `setup` and encodes `input`. Ignores all results, which
/// other checks look at.
void UseCompressor(const CheckedModule& module, const StreamSetup& setup, Bytes input, bool changesSettings,
                   const std::function<void(const char* phase)>& after) {
  CompressorOwner compressor = module.CreateCompressor();
  after("creation");
  for (const NamedSetting& named : ValueSettingsOf(*compressor)) {
    if (changesSettings) {
      MisuseSetting(*named.setting);
      ChangeValue(*named.setting);
    }
    // Destroyed at once: creating and deleting it belongs to the phase.
    const std::unique_ptr<ISetting> copy(named.setting->CreateCopy());
  }
  compressor->ValidateSettings();
  compressor->GetAbbreviatedName();
  compressor->IsFormatSupported(FourCharacterCode(" MKV"));
  after("the use of settings");
  setup.ApplyHintsTo(*compressor);
  KelAudio_t record = setup.InputRecord();
  compressor->CompressFrameBegin(&record);
  after("CompressFrameBegin");
  OutputRecord out(setup.format.sampleRate);
  for (Bytes left = input; !left.empty();) {
    const Bytes block = left.first(std::min(left.size(), setup.WholeBytes(4000)));
    record = setup.InputRecord(block);
    compressor->CompressFrame(&record, &out);
    left = left.subspan(block.size());
  }
  after("CompressFrame");
  CompressorOwner copy(compressor->CreateCopy());
  after("CreateCopy");
  compressor->CompressFrame(nullptr, &out);
  after("the flush");
  compressor->CompressFrameEnd();
  after("CompressFrameEnd");
  // Refused, or without effect: no output record, no packets per second, no description of the input.
  compressor->CompressFrame(nullptr, nullptr);
  compressor->SetFrameRateHint(0);
  compressor->CompressFrameBegin(nullptr);
  compressor->CompressFrameEnd();
  after("refused calls");
  out.Clear();
  after("the destruction of packets");
  copy.reset();
  compressor.reset();
  after("Release");
}

}  // namespace

void ForEachPhase(const std::string& path, const std::function<void(const char* phase)>& after) {
  // Loaded apart from the module below, so that "loading" is over before anything of it is called.
  SharedLibrary library(path);
  after("loading");
  std::optional<CheckedModule> module;
  std::optional<StreamSetup> setup;
  try {
    module.emplace(path);
    // Codes that no module announces: a refusal.
    module->Create(0, 0);
    setup = DefaultSetup(*module);
  } catch (const CheckSkipped&) {
  } catch (const CheckFailed&) {
    // Both: the module lacks what further phases need. Other checks report that.
  }
  after("a refused creation, creation and Release");
  if (setup) {
    const std::vector<unsigned char> input = SomeInput(*setup, setup->format.sampleRate);
    for (const bool changesSettings : {false, true}) {
      UseCompressor(*module, *setup, input, changesSettings, after);
    }
  }
  module.reset();
  // The last of two references to the library, so this unloads it.
  library.Unload();
  after("unloading");
}
