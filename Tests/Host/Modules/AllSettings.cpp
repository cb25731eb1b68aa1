// A module whose compressor offers, beside what the Linear PCM compressor does, every kind of setting: nested,
// optional, inactive, and some without a label or with one that is taken.

#include "Plugins/EncodersAndFormatters/PCMPlugin/PCMCompressor.h"

#include <array>
#include <limits>

namespace {

constexpr unsigned int kManufacturer = FourCharacterCode("TEST");
constexpr unsigned int kCodec = FourCharacterCode("ALL\1");

std::array<int, 3> g_levels{-6, 0, 6};
std::array<double, 3> g_frameRates{23.976, 25.0, 29.97};
std::array<unsigned int, 3> g_gains{1, 2, 3};
std::array<const char*, 3> g_gainLabels{"left", "right", nullptr};
std::array<const char*, 4> g_modes{"Fast", "fast", "Careful, slow", ""};
constexpr std::array<unsigned char, 3> kBytes{0x00, 0xFF, 0x10};

template <class Setting>
Setting* Optional(Setting* setting) {
  rhoapi_settings::setOptional(setting, "Use it");
  return setting;
}

SettingArray* MakeInner() {
  auto* const inner = new SettingArray(0);
  inner->SetLabel("Inner");
  inner->SetPresetLabel("Inner");
  auto* const frames = new TimeCodeSetting("Start", "Start", {1, 2, 3, 0, 4, true});
  frames->SetUseFrameCount(1);
  frames->SetUseDropFrame(1);
  inner->AddSetting(frames);
  inner->AddSetting(new TimeInOutSetting(600, 0, 6000));
  inner->AddSetting(nullptr);
  inner->AddSetting(new TimeInOutSetting(1, std::numeric_limits<unsigned long long>::max(), 0));
  inner->AddSetting(Optional(new TextSetting("Note", "Note", "Caf\xE9 \"=/")));
  inner->AddSetting(new BoolSetting("Note again", "Note", 2));
  return inner;
}

class AllSettingsCompressor : public CPCMCompressor {
 public:
  AllSettingsCompressor() : CPCMCompressor(kCodec), m_all(0) {
    m_all.SetPresetLabel("All");
    m_all.AddSetting(new BoolSetting("Switch", "Switch", 1));
    auto* const level = new IntSetting("Level", "Level", 0, -6, 6, 3, g_levels.data());
    level->SetIsValueConstrained(1);
    level->SetUnits("dB");
    m_all.AddSetting(level);
    m_all.AddSetting(new IntSetting("Offset", "Offset", -5, -10, 10, 0, nullptr));
    m_all.AddSetting(new DoubleSetting("Rate", "Rate", 29.97, 0, 0, 3, g_frameRates.data()));
    m_all.AddSetting(new DoubleSetting("Scale", "Scale", 0.1, 0, 0, 0, nullptr));
    m_all.AddSetting(
        Optional(new EnumSetting("Mode", "Mode", "fast", static_cast<unsigned int>(g_modes.size()), g_modes.data())));
    m_all.AddSetting(new FileSetting("Log", "Log", "/tmp/log", "*.log"));
    m_all.AddSetting(new TimeCodeSetting("Delay", "Delay", {-1, 0, 0, 7, 0, false}));
    m_all.AddSetting(new UnsignedIntArraySetting("Gains", "Gains", 3, g_gains.data(), g_gainLabels.data(), 0, 9));
    m_all.AddSetting(new ByteArraySetting("Key", "Key", kBytes.data(), static_cast<unsigned int>(kBytes.size())));
    auto* const asleep = new TextSetting("Asleep", "Asleep", "");
    asleep->SetIsActive(0);
    asleep->SetToolTipText("A long explanation that has to be broken into several lines to be shown at eighty columns");
    m_all.AddSetting(asleep);
    m_all.AddSetting(MakeInner());
  }

  const char* GetName() override { return "All Settings"; }
  void GetAudioCompressorInfo(unsigned int& manufacturer, unsigned int& codec) override {
    manufacturer = kManufacturer;
    codec = kCodec;
  }
  ISetting* GetNonStandardSettings() override { return &m_all; }
  IAudioCompressor* CreateCopy() override {
    auto* const copy = new AllSettingsCompressor;
    copy->CPCMCompressor::operator=(*this);
    copy->m_all = m_all;
    // The copy of a container has no labels.
    auto& inner = static_cast<SettingArray&>(*copy->m_all.GetSetting(m_all.GetNumberOfSettings() - 1));
    inner.SetLabel("Inner");
    inner.SetPresetLabel("Inner");
    return copy;
  }

 private:
  SettingArray m_all;
};

}  // namespace

extern "C" {

RHOAPI_EXPORT int RhoGetNumberAudioCompressors() { return 1; }

RHOAPI_EXPORT void RhoGetAudioCompressorInfo(unsigned int /*index*/, unsigned int* manufacturer, unsigned int* codec,
                                             unsigned int* version) {
  *manufacturer = kManufacturer;
  *codec = kCodec;
  if (version != nullptr) {
    *version = 7;
  }
}

RHOAPI_EXPORT IAudioCompressor* CreateAudioCompressor(unsigned int /*manufacturer*/, unsigned int /*codec*/) {
  return new AllSettingsCompressor();
}
}
