#include "Host/Validate/Support/Phases.h"

#include "Host/Validate/Support/CheckedModule.h"
#include "Host/Validate/Support/CompressorUnderTest.h"
#include "Host/Validate/Support/SettingValues.h"
#include "Host/Validate/Support/StreamRun.h"

#include <optional>

namespace {

/// One compressor's life. Looks at no result: other checks do.
void UseCompressor(const CheckedModule& module, const StreamSetup& setup, Bytes input, bool changesSettings,
                   const std::function<void(const char* phase)>& after) {
  CompressorOwner compressor = module.CreateCompressor();
  after("creation");
  for (const NamedSetting& named : ValueSettingsOf(*compressor)) {
    if (changesSettings) {
      MisuseSetting(*named.setting);
      ChangeValue(*named.setting);
    }
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
  SharedLibrary library(path);
  after("loading");
  std::optional<CheckedModule> module;
  std::optional<StreamSetup> setup;
  try {
    module.emplace(path);
    module->Create(0, 0);
    setup = DefaultSetup(*module);
  } catch (const CheckSkipped&) {
  } catch (const CheckFailed&) {
    // Other checks say so.
  }
  after("a refused creation, creation and Release");
  if (setup) {
    const std::vector<unsigned char> input = SomeInput(*setup, setup->format.sampleRate);
    for (const bool changesSettings : {false, true}) {
      UseCompressor(*module, *setup, input, changesSettings, after);
    }
  }
  module.reset();
  library.Unload();
  after("unloading");
}
