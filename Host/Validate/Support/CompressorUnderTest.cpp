#include "Host/Validate/Support/CompressorUnderTest.h"

#include <malloc.h>

IAudioCompressor* CompressorUnderTest::CreateCopy() {
  IAudioCompressor* const copy = Call("CreateCopy").CreateCopy();
  Expect(copy != &m_compressor, "a new object from CreateCopy", "the compressor itself");
  return copy == nullptr ? nullptr : new CompressorUnderTest(copy);
}

RhoStatus CompressorUnderTest::Release() {
  const RhoStatus status = Call("Release").Release();
  delete this;
  return status;
}

std::vector<NamedSetting> SettingsOf(IAudioCompressor& compressor) {
  NoteStep("listing the settings");
  return ListSettings(compressor);
}

std::vector<NamedSetting> ValueSettingsOf(IAudioCompressor& compressor) {
  std::vector<NamedSetting> settings = SettingsOf(compressor);
  std::erase_if(settings, [](const NamedSetting& named) { return named.setting->GetType() == kSettingTypeArray; });
  return settings;
}

std::string DisplayName(const NamedSetting& named) {
  if (named.name.find('#') == std::string::npos) {
    return '"' + named.name + '"';
  }
  const char* const label = named.setting->GetLabel();
  return label == nullptr || *label == '\0' ? "a setting without a name"
                                            : fmt::format("the setting labelled \"{}\"", label);
}

void SpoilFreedMemory() { mallopt(M_PERTURB, 0xA5); }
