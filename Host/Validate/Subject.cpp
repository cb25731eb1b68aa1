#include "Host/Validate/Subject.h"

#include "Host/Errors.h"
#include "Host/Validate/Check.h"
#include "Host/Validate/ShownTexts.h"

namespace {

/// What `obtain` returns; skips the check when that fails.
template <class Obtain>
auto OrSkip(Obtain obtain) {
  try {
    return obtain();
  } catch (const Failure& failure) {
    throw CheckSkipped{failure.what()};
  }
}

}  // namespace

Module LoadModule(const std::string& path) {
  return OrSkip([&path] { return Module(path); });
}

CompressorOwner NewCompressor(const Module& module) {
  return OrSkip([&module] { return module.CreateCompressor(); });
}

std::vector<NamedSetting> SettingsOf(IAudioCompressor& compressor) {
  try {
    for (const ShownText& shown : ShownTextsOf(compressor)) {
      Expect(shown.text != nullptr, shown.what, "null");
    }
  } catch (const CheckFailed& failed) {
    throw CheckSkipped{"the settings cannot be walked: expected " + failed.expected + ", came " + failed.came};
  }
  return ListSettings(compressor);
}

std::vector<NamedSetting> ValueSettingsOf(IAudioCompressor& compressor) {
  std::vector<NamedSetting> settings = SettingsOf(compressor);
  std::erase_if(settings, [](const NamedSetting& named) { return named.setting->GetType() == kSettingTypeArray; });
  return settings;
}
