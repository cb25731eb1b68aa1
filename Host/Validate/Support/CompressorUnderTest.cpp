#include "Host/Validate/Support/CompressorUnderTest.h"

#include <malloc.h>

IAudioCompressor* CompressorUnderTest::CreateCopy() {
  IAudioCompressor* const copy = Call("CreateCopy").CreateCopy();
  // Before it is owned: releasing it twice would crash.
  Expect(copy != &m_compressor, "a new object from CreateCopy", "the compressor itself");
  return copy == nullptr ? nullptr : new CompressorUnderTest(copy);
}

RhoStatus CompressorUnderTest::Release() {
  const RhoStatus status = Call("Release").Release();
  // The owner calls Release in place of deleting, and so gives up this object with the module's.
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
  // A '#' is the mark of a name that ListSettings has made up.
  if (named.name.find('#') == std::string::npos) {
    return '"' + named.name + '"';
  }
  const char* const label = named.setting->GetLabel();
  return label == nullptr || *label == '\0' ? "a setting without a name"
                                            : fmt::format("the setting labelled \"{}\"", label);
}

// glibc's M_PERTURB. FailingAllocations.so, where it is loaded, fills freed memory by itself.
void SpoilFreedMemory() { mallopt(M_PERTURB, 0xA5); }
