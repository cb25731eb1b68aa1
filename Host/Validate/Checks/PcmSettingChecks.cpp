#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/CompressorUnderTest.h"
#include "Host/Validate/Support/EntryMatch.h"
#include "Host/Validate/Support/LinearPcm.h"
#include "Host/Validate/Support/ShownTexts.h"
#include "Host/Validate/Support/Situations.h"

#include <array>
#include <list>
#include <string_view>

namespace {

/// The only file format that Linear PCM supports.
constexpr unsigned int kMatroska = FourCharacterCode(" MKV");

/// Fails the check unless `actual` is the text `expected`; `what` names it: "the name during a run".
void ExpectText(std::string_view expected, const char* actual, std::string_view what) {
  ExpectThat(actual != nullptr && actual == expected, Quoted(actual), "{} \"{}\"", what, expected);
}

/// Codes, names and version are those of Linear PCM, whatever state the compressor is in.
void IsWhatItSays(const CheckedModule& module) {
  const CompressorOwner compressor = module.CreateCompressor();
  const CompressorInfo announced = module.Infos().front();
  ExpectThat(announced.codec == FourCharacterCode("LPCM"), InfoText(announced), "the codec code LPCM");
  ForEachSituation(module, [](IAudioCompressor& asked, const std::string& when) {
    ExpectText("Linear PCM", asked.GetName(), "the name " + when);
    ExpectText("LPCM", asked.GetAbbreviatedName(), "the abbreviated name " + when);
    unsigned int manufacturer = 0;
    unsigned int codec = 0;
    asked.GetAudioCompressorInfo(manufacturer, codec);
    ExpectEqual(unsigned{FourCharacterCode("LPCM")}, codec, "codec code {}", when);
  });
  ExpectEqual(1, module.Count(), "number of compressors");
  // A module with one compressor does not read the index.
  for (const unsigned int index : {1U, 7U, ~0U}) {
    CompressorInfo info;
    module.GetInfo(index, &info.manufacturer, &info.codec, &info.version);
    ExpectThat(info == announced, InfoText(info), "{} for index {} too", InfoText(announced), index);
  }
  // Only for modules that export the symbol, as PCMPlugin does.
  if (const auto* const version = static_cast<unsigned int*>(module.GetLibrary().Find("kPCMCodecVersion"))) {
    ExpectEqual(*version, announced.version, "announced version, as in kPCMCodecVersion");
  }
}

/// No dialog, no extended settings, no delay, and no settings besides the standard ones.
void ExpectNoOptionalOperations(IAudioCompressor& compressor, const std::string& when) {
  void* data = nullptr;
  int size = 0;
  ExpectEqual(0U, compressor.IsCodecExtendedSettingDialogSupported(), "IsCodecExtendedSettingDialogSupported {}", when);
  ExpectEqual(kRhoStatusNotSupported, compressor.DisplayCodecExtendedSettingDialog(),
              "DisplayCodecExtendedSettingDialog {}", when);
  ExpectEqual(kRhoStatusNotSupported, compressor.GetExtendedSettings(&data, &size), "GetExtendedSettings {}", when);
  ExpectEqual(kRhoStatusNotSupported, compressor.SetExtendedSettings(&size, 4), "SetExtendedSettings {}", when);
  ExpectEqual(kRhoStatusNotSupported, compressor.GetExtendedSettings(nullptr, nullptr),
              "GetExtendedSettings(null, null) {}", when);
  ExpectEqual(0, compressor.GetCodecDelay(), "GetCodecDelay {}", when);
  ExpectEqual(0U, compressor.PlaceholderDoesNotCompress(), "PlaceholderDoesNotCompress {}", when);
  Expect(compressor.GetNonStandardSettings() == nullptr, "null from GetNonStandardSettings " + when, "a setting");
  const auto expectNone = [&](unsigned int index) {
    ExpectThat(compressor.GetSubOutputFormatSetting(index) == nullptr, "a setting",
               "null from GetSubOutputFormatSetting({}) {}", index, when);
  };
  // From both ends of the range: 0 to 99, and the largest indexes.
  for (unsigned int index = 0; index < 100; ++index) {
    expectNone(index);
    expectNone(~index);
  }
  expectNone(kMatroska);
}

void HasNoOptionalOperations(const CheckedModule& module) { ForEachSituation(module, ExpectNoOptionalOperations); }

/// Codes of formats that are not Matroska.
std::vector<unsigned int> OtherFormats() {
  std::vector<unsigned int> others{0, ~0U, ~kMatroska, __builtin_bswap32(kMatroska), kMatroska ^ 0x20202020U};
  for (const char* const text : {"UNDF", "MKV ", " mkv", "MKVA", "WEBM", "MPG4", "MOV ", "WAVE", "WAV ", "QTFF", " MP4",
                                 " AVI", "AIFF", "MXF "}) {
    others.push_back(static_cast<unsigned int>(text[0]) << 24U | static_cast<unsigned int>(text[1]) << 16U |
                     static_cast<unsigned int>(text[2]) << 8U | static_cast<unsigned int>(text[3]));
  }
  // A comparison of fewer than all bits would take one of these for Matroska.
  for (unsigned int bit = 0; bit < 32; ++bit) {
    others.push_back(kMatroska ^ (1U << bit));
  }
  return others;
}

/// Matroska is the only format and linear PCM the only packet type, whatever format the host has hinted at.
void SupportsMatroskaOnly(const CheckedModule& module) {
  ForEachSituation(module, [others = OtherFormats()](IAudioCompressor& compressor, const std::string& when) {
    for (const unsigned int hint : {kMatroska, FourCharacterCode("UNDF"), FourCharacterCode("WAVE")}) {
      compressor.SetFileFormatHint(hint);
      ExpectEqual(1U, compressor.IsFormatSupported(kMatroska), "IsFormatSupported(' MKV') {}", when);
      for (const unsigned int code : others) {
        ExpectEqual(0U, compressor.IsFormatSupported(code), "IsFormatSupported({:08X}) {}", code, when);
      }
    }
    std::list<IPacket::TPacketType> types;
    compressor.QueryPossiblePacketTypes(types);
    ExpectThat(types == std::list{IPacket::kPacketTypeLinearPCM}, "others", "packet type 24 and no other {}", when);
    ExpectEqual(unsigned{IPacket::kPacketTypeLinearPCM}, unsigned{compressor.GetOutputPacketType()},
                "output packet type {}", when);
  });
}

/// The attributes of a setting for a number. The value is that of a new compressor.
struct NumberTable {
  const char* label;
  const char* presetLabel;
  unsigned int value;
  unsigned int min;
  unsigned int max;
  std::span<const unsigned int> allowed;
};

/// The attributes that all kinds have: these labels, no other texts, active and not optional.
void ExpectAttributes(const ISetting& setting, const char* label, const char* presetLabel, unsigned int hint,
                      unsigned int isConstrained) {
  ExpectText(label, setting.GetLabel(), "the label");
  ExpectText(presetLabel, setting.GetPresetLabel(), "the preset label");
  for (const auto& [what, text] :
       {std::pair("units", setting.GetUnits()), std::pair("tool tip", setting.GetToolTipText()),
        std::pair("optional text", setting.GetOptionalText())}) {
    ExpectThat(text != nullptr && *text == '\0', Quoted(text), "no {} of \"{}\"", what, label);
  }
  ExpectEqual(hint, setting.GetDialogHint(), "dialog hint of \"{}\"", label);
  ExpectEqual(isConstrained, setting.GetIsValueConstrained(), "GetIsValueConstrained of \"{}\"", label);
  ExpectEqual(1U, setting.GetIsActive(), "GetIsActive of \"{}\"", label);
  ExpectEqual(0U, setting.GetIsOptional(), "GetIsOptional of \"{}\"", label);
  ExpectEqual(0U, setting.GetIsOptionalValueSpecified(), "GetIsOptionalValueSpecified of \"{}\"", label);
}

/// The setting has exactly the attributes and the list of the table.
void ExpectNumbers(const IUnsignedIntSetting* setting, const NumberTable& table) {
  ExpectThat(setting != nullptr, "null", "the setting \"{}\"", table.label);
  ExpectAttributes(*setting, table.label, table.presetLabel, 1, 0);
  ExpectText("", setting->GetLowLabel(), "the low label");
  ExpectText("", setting->GetHighLabel(), "the high label");
  ExpectEqual(table.value, setting->GetValue(), "value of \"{}\"", table.label);
  ExpectEqual(table.min, setting->GetMinValue(), "minimum of \"{}\"", table.label);
  ExpectEqual(table.max, setting->GetMaxValue(), "maximum of \"{}\"", table.label);
  ExpectEqual(table.allowed.size(), setting->GetNumberOfAllowableValues(), "number of values of \"{}\"", table.label);
  for (unsigned int index = 0; index < table.allowed.size(); ++index) {
    ExpectEqual(table.allowed[index], setting->GetAllowableValue(index), "value {} of \"{}\"", index, table.label);
  }
}

/// A new compressor has the documented settings, defaults and lists, and its channel setting selects by text as
/// RhoapiSettings.h documents it.
void OffersItsSettings(const CheckedModule& module) {
  // 44,100 Hz × 2 channels × 2 bytes.
  static constexpr std::array kDefaultDataRate{176400U};
  const CompressorOwner compressor = module.CreateCompressor();
  ExpectNumbers(compressor->GetDataRateSetting(), {"Data Rate", "DataRate", 176400, 0, 0, kDefaultDataRate});
  ExpectNumbers(compressor->GetSampleSizeSetting(), {"Sample Size", "SampleSize", 16, 16, 24, kPcmSizes});
  ExpectNumbers(compressor->GetSampleRateSetting(), {"Sample Rate", "SampleRate", 44100, 8000, 96000, kPcmRates});
  IEnumSetting* const channels = compressor->GetChannelModeSetting();
  Expect(channels != nullptr, "the setting \"Channels\"", "null");
  ExpectAttributes(*channels, "Channels", "Channels", 5, 1);
  ExpectText("Stereo", channels->GetValue(), "channels");
  ExpectEqual(kPcmLayouts.size(), channels->GetNumberOfAllowableValues(), "number of channel layouts");
  for (unsigned int index = 0; index < kPcmLayouts.size(); ++index) {
    ExpectText(kPcmLayouts[index].name, channels->GetAllowableValue(index), "the channel layout");
  }
  const std::vector<std::string> entries = EntriesOf(*channels);
  for (const std::string& text : TextsToMatch(entries)) {
    const std::size_t match = MatchOf(entries, text);
    for (unsigned int start = 0; start < entries.size(); ++start) {
      channels->SetSelected(start);
      channels->SetValue(text.c_str());
      // A text that matches no entry changes nothing.
      const std::size_t expected = match < entries.size() ? match : start;
      ExpectThat(channels->GetValue() == entries[expected], channels->GetValue(), "channels {} after SetValue({})",
                 entries[expected], Quoted(text.c_str()));
    }
  }
}

/// Brings the compressor to these values, and expects what follows from them.
void ExpectConsequences(IAudioCompressor& compressor, unsigned int size, unsigned int rate, const PcmLayout& layout) {
  const std::string with = fmt::format("{} bits, {} Hz, {}", size, rate, layout.name);
  compressor.GetSampleSizeSetting()->SetValue(size);
  compressor.GetSampleRateSetting()->SetValue(rate);
  compressor.GetChannelModeSetting()->SetValue(layout.name);
  compressor.ValidateSettings();
  ExpectEqual(size, compressor.GetSampleSize(), "sample size with {}", with);
  ExpectEqual(rate, compressor.GetSampleRate(), "sample rate with {}", with);
  ExpectEqual(layout.channels, compressor.GetChannelModeSetting()->GetSelected(), "GetSelected of channels with {}",
              with);
  ExpectEqual(unsigned{KelGetChannelMode(layout.name)}, unsigned{compressor.GetChannelMode()}, "GetChannelMode with {}",
              with);
  // Modulo 2^32, as the compressor computes it.
  const unsigned int dataRate = size / 8 * layout.channels * rate;
  const IUnsignedIntSetting& setting = *compressor.GetDataRateSetting();
  ExpectEqual(dataRate, compressor.GetDataRate(), "data rate with {}", with);
  ExpectEqual(dataRate, setting.GetValue(), "value of the data rate setting with {}", with);
  ExpectEqual(1U, setting.GetNumberOfAllowableValues(), "number of data rates to choose from with {}", with);
  ExpectEqual(dataRate, setting.GetAllowableValue(0), "data rate to choose with {}", with);
  EAudioFormatType type{};
  const RhoStatus status = compressor.GetAudioFormatType(type);
  ExpectThat(status == kRhoStatusSuccess, StatusText(status), "{} from GetAudioFormatType with {}",
             StatusText(kRhoStatusSuccess), with);
  ExpectEqual(unsigned{size == 24 ? kAudioFormat24Bit : kAudioFormat16Bit}, unsigned{type},
              "GetAudioFormatType with {}", with);
  ExpectEqual(unsigned{IPacket::kPacketTypeLinearPCM}, unsigned{compressor.GetOutputPacketType()},
              "output packet type with {}", with);
}

/// The data rate follows the other settings, also at values that are not on their lists, and in copies.
void DerivesTheDataRate(const CheckedModule& module) {
  const CompressorOwner compressor = module.CreateCompressor();
  for (const PcmLayout& layout : kPcmLayouts) {
    for (const unsigned int size : {16U, 24U, 8U, 20U, 31U, 7U, 0U}) {
      for (const unsigned int rate : kPcmRates) {
        ExpectConsequences(*compressor, size, rate, layout);
      }
      for (const unsigned int rate : {0U, 1U, 12345U, 192000U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        ExpectConsequences(*compressor, size, rate, layout);
      }
      compressor->GetSampleRateSetting()->SetValue(22050);  // not validated: a copy is
      const CompressorOwner copy(compressor->CreateCopy());
      Expect(copy != nullptr, "a copy from CreateCopy", "null");
      ExpectEqual(size / 8 * layout.channels * 22050, copy->GetDataRate(), "data rate of a copy with {} bits, {}", size,
                  layout.name);
      ExpectConsequences(*copy, 16, 48000, layout);
    }
  }
}

}  // namespace

std::span<const Check> PcmSettingChecks() {
  static constexpr auto kChecks = std::to_array<Check>({
      {"pcm.identity", "Projects and presets find Linear PCM by its codes, people by its names.",
       OnLinearPcm<IsWhatItSays>, kHasSettings},
      {"pcm.optional-operations", "A host shows buttons and makes room for delays that a compressor announces.",
       OnLinearPcm<HasNoOptionalOperations>, kHasSettings},
      {"pcm.formats", "A host offers Linear PCM in Matroska files; in others its packets mean something else.",
       OnLinearPcm<SupportsMatroskaOnly>, kHasSettings},
      {"pcm.settings", "Presets and scripts name settings and values as they were when they were written.",
       OnLinearPcm<OffersItsSettings>, kHasSettings},
      {"pcm.data-rate", "A host reserves room and bandwidth by the data rate that it is told.",
       OnLinearPcm<DerivesTheDataRate>, kHasSettings},
  });
  return kChecks;
}
