// A module whose compressor offers, beside what the Linear PCM compressor does, every kind of setting: nested,
// optional, inactive, and some without a label or with one that is taken.

#include "Plugins/EncodersAndFormatters/PCMPlugin/PCMCompressor.h"
#include "RHOAPI/RhoapiModule.h"

#include <array>
#include <limits>
#include <memory>

namespace {

constexpr unsigned int kManufacturer = FourCharacterCode("TEST");
constexpr unsigned int kCodec = FourCharacterCode("ALL\1");

std::array<int, 3> g_levels{-6, 0, 6};
std::array<double, 3> g_frameRates{23.976, 25.0, 29.97};
std::array<unsigned int, 3> g_gains{1, 2, 3};
std::array<const char*, 3> g_gainLabels{"left", "right", nullptr};
std::array<const char*, 4> g_modes{"Fast", "fast", "Careful, slow", ""};
constexpr std::array<unsigned char, 3> kBytes{0x00, 0xFF, 0x10};

/// Adds a new setting to the container, which comes to own it.
template <class Setting, class... Arguments>
Setting& Add(SettingArray& container, Arguments... arguments) {
  auto setting = std::make_unique<Setting>(arguments...);
  container.AddSetting(setting.get());
  return *setting.release();
}

void MakeOptional(ISetting& setting) { rhoapi_settings::setOptional(&setting, "Use it"); }

void FillInner(SettingArray& inner) {
  inner.SetLabel("Inner");
  inner.SetPresetLabel("Inner");
  auto& frames = Add<TimeCodeSetting>(inner, "Start", "Start", KelTimeCode{1, 2, 3, 0, 4, true});
  frames.SetUseFrameCount(1);
  frames.SetUseDropFrame(1);
  Add<TimeInOutSetting>(inner, 600U, 0U, 6000U);
  inner.AddSetting(nullptr);
  Add<TimeInOutSetting>(inner, 1U, std::numeric_limits<unsigned long long>::max(), 0U);
  MakeOptional(Add<TextSetting>(inner, "Note", "Note", "Caf\xE9 \"=/"));
  Add<BoolSetting>(inner, "Note again", "Note", 2U);
}

class AllSettingsCompressor : public CPCMCompressor {
 public:
  AllSettingsCompressor() : CPCMCompressor(kCodec), m_all(0) {
    m_all.SetPresetLabel("All");
    Add<BoolSetting>(m_all, "Switch", "Switch", 1U);
    auto& level = Add<IntSetting>(m_all, "Level", "Level", 0, -6, 6, 3U, g_levels.data());
    level.SetIsValueConstrained(1);
    level.SetUnits("dB");
    Add<IntSetting>(m_all, "Offset", "Offset", -5, -10, 10, 0U, nullptr);
    Add<DoubleSetting>(m_all, "Rate", "Rate", 29.97, 0.0, 0.0, 3U, g_frameRates.data());
    Add<DoubleSetting>(m_all, "Scale", "Scale", 0.1, 0.0, 0.0, 0U, nullptr);
    MakeOptional(
        Add<EnumSetting>(m_all, "Mode", "Mode", "fast", static_cast<unsigned int>(g_modes.size()), g_modes.data()));
    Add<FileSetting>(m_all, "Log", "Log", "/tmp/log", "*.log");
    Add<TimeCodeSetting>(m_all, "Delay", "Delay", KelTimeCode{-1, 0, 0, 7, 0, false});
    Add<UnsignedIntArraySetting>(m_all, "Gains", "Gains", 3U, g_gains.data(), g_gainLabels.data(), 0U, 9U);
    Add<ByteArraySetting>(m_all, "Key", "Key", kBytes.data(), static_cast<unsigned int>(kBytes.size()));
    auto& asleep = Add<TextSetting>(m_all, "Asleep", "Asleep", "");
    asleep.SetIsActive(0);
    asleep.SetToolTipText("A long explanation that has to be broken into several lines to be shown at eighty columns");
    FillInner(Add<SettingArray>(m_all, 0U));
  }

  const char* GetName() override { return "All Settings"; }
  void GetAudioCompressorInfo(unsigned int& manufacturer, unsigned int& codec) override {
    manufacturer = kManufacturer;
    codec = kCodec;
  }
  ISetting* GetNonStandardSettings() override { return &m_all; }
  IAudioCompressor* CreateCopy() override {
    return NullOnFailure([this]() -> IAudioCompressor* {
      auto copy = std::make_unique<AllSettingsCompressor>();
      copy->CPCMCompressor::operator=(*this);
      copy->m_all = m_all;
      // The copy of a container has no labels.
      static_cast<SettingArray&>(*copy->m_all.GetSetting(m_all.GetNumberOfSettings() - 1)).SetPresetLabel("Inner");
      return copy.release();
    });
  }

 private:
  SettingArray m_all;
};

}  // namespace

extern "C" {

RHOAPI_EXPORT int RhoGetNumberAudioCompressors() { return 1; }

RHOAPI_EXPORT void RhoGetAudioCompressorInfo(unsigned int /*index*/, unsigned int* manufacturer, unsigned int* codec,
                                             unsigned int* version) {
  unsigned int unwanted = 0;
  *(manufacturer != nullptr ? manufacturer : &unwanted) = kManufacturer;
  *(codec != nullptr ? codec : &unwanted) = kCodec;
  *(version != nullptr ? version : &unwanted) = 7;
}

RHOAPI_EXPORT IAudioCompressor* CreateAudioCompressor(unsigned int manufacturer, unsigned int codec) {
  const bool isKnown = manufacturer == kManufacturer && codec == kCodec;
  return isKnown ? NullOnFailure([]() -> IAudioCompressor* { return new AllSettingsCompressor(); }) : nullptr;
}
}
