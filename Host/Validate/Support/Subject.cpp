#include "Host/Validate/Support/Subject.h"

#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/ShownTexts.h"

#include <malloc.h>

namespace {

/// What `obtain` returns; skips the check when it fails.
template <class Obtain>
auto OrSkip(Obtain obtain) {
  try {
    return obtain();
  } catch (const CheckFailed& failed) {
    throw CheckSkipped{"expected " + failed.expected + ", came " + failed.came};
  }
}

}  // namespace

CheckedModule LoadModule(const std::string& path) {
  return OrSkip([&path] { return CheckedModule(path); });
}

CompressorOwner NewCompressor(const CheckedModule& module) {
  return OrSkip([&module] { return module.CreateCompressor(); });
}

std::vector<NamedSetting> SettingsOf(IAudioCompressor& compressor) {
  return OrSkip([&compressor] {
    for (const ShownText& shown : ShownTextsOf(compressor)) {
      Expect(shown.text != nullptr, shown.what, "null");
    }
    return ListSettings(compressor);
  });
}

std::vector<NamedSetting> ValueSettingsOf(IAudioCompressor& compressor) {
  std::vector<NamedSetting> settings = SettingsOf(compressor);
  std::erase_if(settings, [](const NamedSetting& named) { return named.setting->GetType() == kSettingTypeArray; });
  return settings;
}

void SpoilFreedMemory() { mallopt(M_PERTURB, 0xA5); }
