#include "Host/Settings/SettingText.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Utf8.h"
#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/CheckedModule.h"
#include "Host/Validate/Support/CompressorUnderTest.h"
#include "Host/Validate/Support/SettingValues.h"
#include "Host/Validate/Support/Situations.h"
#include "Host/Validate/Support/Slots.h"

#include <algorithm>
#include <array>
#include <limits>
#include <list>
#include <utility>
#include <vector>

namespace {

/// A value that no compressor announces, to see what has been written.
constexpr unsigned int kUntouched = 0xDEADBEEF;

/// The number of compressors is the same each time.
void Counts(const CheckedModule& module) {
  const std::size_t count = module.Infos().size();
  ExpectEqual(count, module.Count(), "number of compressors each time it is asked");
}

/// Every compressor can be created, each time as a new object.
void Creates(const CheckedModule& module) {
  for (const CompressorInfo& info : module.Infos()) {
    const CompressorOwner first = module.CreateCompressor(info);
    const CompressorOwner second = module.CreateCompressor(info);
    IAudioCompressor& object = CompressorUnderTest::Real(*first);
    ExpectThat(&object != &CompressorUnderTest::Real(*second), "the same object twice",
               "a new object from CreateAudioCompressor each time");
    ExpectSlotsLeadToCode(&object, kCompressorSlots, "the compressor");
  }
}

/// No two compressors have the same codes, and no code is 0.
void DistinguishesCompressors(const CheckedModule& module) {
  const auto infos = module.Infos();
  for (auto info = infos.begin(); info != infos.end(); ++info) {
    Expect(info->manufacturer != 0 && info->codec != 0, "codes other than 0", InfoText(*info));
    const auto same = std::find_if(infos.begin(), info, [info](const CompressorInfo& other) {
      return other.manufacturer == info->manufacturer && other.codec == info->codec;
    });
    ExpectThat(same == info, InfoText(*info), "codes of its own for compressor {}", info - infos.begin());
  }
}

/// What RhoGetAudioCompressorInfo writes where it is asked to, by the bits of `wanted`, without a byte more.
CompressorInfo InfoWhereWanted(const CheckedModule& module, unsigned int index, unsigned int wanted) {
  // The results go to every other word; those between show whether more than 32 bits are written.
  std::array<unsigned int, 7> words{};
  words.fill(kUntouched);
  const auto pointer = [&](unsigned int bit) { return (wanted & (1U << bit)) != 0 ? &words[2 * bit + 1] : nullptr; };
  NoteStep("RhoGetAudioCompressorInfo");
  module.GetInfo(index, pointer(0), pointer(1), pointer(2));
  for (std::size_t between = 0; between < words.size(); between += 2) {
    ExpectThat(words[between] == kUntouched, "bytes beside them written", "RhoGetAudioCompressorInfo to write 32 bits");
  }
  return {words[1], words[3], words[5]};
}

/// Each result can be left out by a null pointer, in all eight combinations.
void SkipsNull(const CheckedModule& module) {
  const auto infos = module.Infos();
  for (unsigned int index = 0; index < infos.size(); ++index) {
    for (unsigned int wanted = 0; wanted < 8; ++wanted) {
      const auto where = [wanted](unsigned int bit, unsigned int value) {
        return (wanted & (1U << bit)) != 0 ? value : kUntouched;
      };
      const CompressorInfo expected{where(0, infos[index].manufacturer), where(1, infos[index].codec),
                                    where(2, infos[index].version)};
      const CompressorInfo actual = InfoWhereWanted(module, index, wanted);
      ExpectThat(actual == expected, InfoText(actual), "{} where asked, nothing elsewhere", InfoText(expected));
    }
  }
}

/// An index out of range writes nothing, or what the module announces of one of its compressors.
void TakesAnyIndex(const CheckedModule& module) {
  const auto before = module.Infos();
  // Indexes beyond it are negative in a module that takes them for signed.
  constexpr auto kSignedMost = static_cast<unsigned int>(std::numeric_limits<int>::max());
  for (const unsigned int index :
       {static_cast<unsigned int>(before.size()), 100U, kSignedMost, kSignedMost + 1, kSignedMost * 2 + 1}) {
    const CompressorInfo info = InfoWhereWanted(module, index, 7);
    const bool isUntouched = info == CompressorInfo{kUntouched, kUntouched, kUntouched};
    ExpectThat(isUntouched || std::find(before.begin(), before.end(), info) != before.end(), InfoText(info),
               "an announced compressor, or nothing, for index {}", index);
    InfoWhereWanted(module, index, 0);
  }
  Expect(module.Infos() == before, "what the module announces unchanged", "other codes or another version");
}

/// Codes, versions and names are the same in each process.
void AnnouncesTheSameAnywhere(const CheckedModule& module) {
  for (const CompressorInfo& info : module.Infos()) {
    const char* const name = module.CreateCompressor(info)->GetName();
    MustAgree(fmt::format("{}, \"{}\"; ", InfoText(info), name == nullptr ? "" : name));
  }
}

/// Codes that differ from `code` in a bit, in the order of bytes, or by all of it.
std::vector<unsigned int> CodesUnlike(unsigned int code) {
  std::vector<unsigned int> codes{0, ~0U, ~code, __builtin_bswap32(code), code + 1, code - 1};
  for (unsigned int bit = 0; bit < 32; ++bit) {
    codes.push_back(code ^ (1U << bit));
  }
  for (unsigned int byte = 0; byte < 4; ++byte) {
    for (const unsigned int value : {0U, 0x20U, 0xFFU}) {
      codes.push_back((code & ~(0xFFU << (8 * byte))) | (value << (8 * byte)));
    }
  }
  codes.push_back(code ^ 0x20202020U);  // the other letter case
  std::erase(codes, code);
  return codes;
}

/// Codes that the module does not announce give no compressor.
void RefusesWrongCodes(const CheckedModule& module) {
  const auto infos = module.Infos();
  for (const auto& [manufacturer, codec, version] : infos) {
    std::vector<std::pair<unsigned int, unsigned int>> wrong{{codec, manufacturer}, {0, 0}, {codec, codec}};
    for (const unsigned int code : CodesUnlike(manufacturer)) {
      wrong.emplace_back(code, codec);
    }
    for (const unsigned int code : CodesUnlike(codec)) {
      wrong.emplace_back(manufacturer, code);
      wrong.emplace_back(code, code);
    }
    NoteStep("CreateAudioCompressor with codes that are not announced");
    for (const auto& [m, c] : wrong) {
      // The codes of another compressor of the module are right ones.
      const bool isAnnounced = std::any_of(infos.begin(), infos.end(), [m = m, c = c](const CompressorInfo& info) {
        return info.manufacturer == m && info.codec == c;
      });
      const CompressorOwner compressor(isAnnounced ? nullptr : module.Create(m, c));
      ExpectThat(compressor == nullptr, "one", "no compressor of the codes {} ({:08X} {:08X})", InfoText({m, c, 0}), m,
                 c);
    }
  }
}

void ExpectCodes(IAudioCompressor& compressor, const CompressorInfo& announced, const char* of) {
  std::array<unsigned int, 4> words{};
  words.fill(kUntouched);
  compressor.GetAudioCompressorInfo(words[0], words[2]);
  const CompressorInfo own{words[0], words[2], announced.version};
  ExpectThat(own == announced, InfoText(own), "the codes that the module announces, {}: {}", of, InfoText(announced));
  ExpectThat(words[1] == kUntouched && words[3] == kUntouched, "bytes behind them written",
             "GetAudioCompressorInfo to write 32 bits");
}

/// The compressor and its copies report the codes that the module announces.
void ReportsItsCodes(IAudioCompressor& compressor, const CompressorInfo& announced) {
  ExpectCodes(compressor, announced, "from a new compressor");
  if (const CompressorOwner copy(compressor.CreateCopy()); copy != nullptr) {
    ExpectCodes(*copy, announced, "from a copy");
  }
}

/// The names are UTF-8 texts that never change, also when settings change, and stay valid after the release.
void HasNames(const CheckedModule& module) {
  for (const CompressorInfo& info : module.Infos()) {
    CompressorOwner compressor = module.CreateCompressor(info);
    const std::array names{std::pair("GetName", compressor->GetName()),
                           std::pair("GetAbbreviatedName", compressor->GetAbbreviatedName())};
    std::vector<std::string> texts;
    for (const auto& [call, text] : names) {
      ExpectThat(text != nullptr && *text != '\0', text == nullptr ? "null" : "\"\"", "{} to give a text", call);
      ExpectThat(IsUtf8(text), text, "{} to give UTF-8", call);
      texts.emplace_back(text);
    }
    ExpectThat(texts[1].size() <= texts[0].size(), texts[1], "GetAbbreviatedName to be no longer than \"{}\"",
               texts[0]);
    for (const NamedSetting& named : ValueSettingsOf(*compressor)) {
      ChangeValue(*named.setting);
    }
    const CompressorOwner other = module.CreateCompressor(info);
    for (const auto& [again, text] :
         {std::pair(compressor->GetName(), texts[0]), std::pair(compressor->GetAbbreviatedName(), texts[1]),
          std::pair(other->GetName(), texts[0]), std::pair(other->GetAbbreviatedName(), texts[1])}) {
      ExpectThat(again != nullptr && again == text, again == nullptr ? "null" : again,
                 "the name \"{}\" each time, of each compressor", text);
    }
    compressor.reset();
    NoteStep("reading a name after the release of the compressor");
    for (std::size_t index = 0; index < names.size(); ++index) {
      ExpectThat(names[index].second == texts[index], "other bytes", "the text of {} to be a constant",
                 names[index].first);
    }
  }
}

/// Every operation of every setting leads to code.
void HasSlots(IAudioCompressor& compressor, const CompressorInfo& /*announced*/) {
  for (const NamedSetting& named : SettingsOf(compressor)) {
    ExpectSlotsLeadToCode(named.setting, SettingSlots(named.setting->GetType()), "the setting " + DisplayName(named));
  }
}

/// The settings that a compressor hands out are its own, the same objects each time, of the kinds that hosts take them
/// for.
void HandsOutItsSettings(const CheckedModule& module) {
  const CompressorOwner compressor = module.CreateCompressor();
  const CompressorOwner other = module.CreateCompressor();
  static constexpr std::array kNames{"GetDataRateSetting", "GetSampleSizeSetting", "GetSampleRateSetting",
                                     "GetChannelModeSetting", "GetNonStandardSettings"};
  const auto settingsOf = [](IAudioCompressor& of) {
    return std::array<ISetting*, 5>{of.GetDataRateSetting(), of.GetSampleSizeSetting(), of.GetSampleRateSetting(),
                                    of.GetChannelModeSetting(), of.GetNonStandardSettings()};
  };
  const auto settings = settingsOf(*compressor);
  compressor->ValidateSettings();
  const auto again = settingsOf(*compressor);
  const auto others = settingsOf(*other);
  for (std::size_t index = 0; index < settings.size(); ++index) {
    ISetting* const setting = settings[index];
    ExpectThat(setting == again[index], "another object", "the same object from {} each time", kNames[index]);
    if (setting == nullptr) {
      continue;
    }
    ExpectThat(setting != others[index], "a shared one", "an object of its own from {} of each compressor",
               kNames[index]);
    ExpectEqual(1, std::count(settings.begin(), settings.end(), setting),
                "number of getters that return the object of {}", kNames[index]);
    if (index < 4) {
      ExpectEqual(unsigned{index < 3 ? kSettingTypeUnsignedInt : kSettingTypeEnum}, setting->GetType(),
                  "type code of the setting of {}", kNames[index]);
    }
  }
  for (const unsigned int format : {0U, 1U, ~0U}) {
    ISetting* const setting = compressor->GetSubOutputFormatSetting(format);
    ExpectThat(setting == compressor->GetSubOutputFormatSetting(format), "another object",
               "the same object from GetSubOutputFormatSetting({}) each time", format);
  }
}

/// Every allowable value of the settings that describe the sound, by the setting and by the compressor's own getter.
void TellsItsSettings(IAudioCompressor& compressor, const CompressorInfo& /*announced*/) {
  const auto expectGetters = [&compressor] {
    const auto value = [](const IUnsignedIntSetting* setting) { return setting == nullptr ? 0 : setting->GetValue(); };
    ExpectEqual(value(compressor.GetSampleSizeSetting()), compressor.GetSampleSize(), "GetSampleSize as the setting");
    ExpectEqual(value(compressor.GetSampleRateSetting()), compressor.GetSampleRate(), "GetSampleRate as the setting");
    ExpectEqual(value(compressor.GetDataRateSetting()), compressor.GetDataRate(), "GetDataRate as the setting");
  };
  for (const NamedSetting& named : ValueSettingsOf(compressor)) {
    for (const std::string& text : ValuesToTry(*named.setting)) {
      try {
        SetValueText(*named.setting, text);
      } catch (const WrongUse&) {
        continue;  // no longer allowed since another of its values was set
      }
      expectGetters();
      compressor.ValidateSettings();
      expectGetters();
    }
  }
  if (IEnumSetting* const setting = compressor.GetChannelModeSetting()) {
    for (unsigned int index = 0; index < setting->GetNumberOfAllowableValues(); ++index) {
      setting->SetSelected(index);
      const EChannelMode named = KelGetChannelMode(setting->GetValue());
      // The modes for which IAudioCompressor::GetChannelMode documents Mono.
      const bool isOpen = named == kChannelModeUndefined || named == kChannelMode4_1 || named == kChannelMode2_1 ||
                          named == kChannelModeQuad;
      ExpectEqual(unsigned{isOpen ? kChannelModeMono : named}, unsigned{compressor.GetChannelMode()},
                  "GetChannelMode at \"{}\"", setting->GetValue());
    }
  }
}

/// The optional operations: flags are 0 or 1, and what is not supported touches nothing.
void AnswersOptionalOperations(IAudioCompressor& compressor, const std::string& when) {
  const unsigned int hasDialog = compressor.IsCodecExtendedSettingDialogSupported();
  ExpectThat(hasDialog <= 1, fmt::to_string(hasDialog), "0 or 1 from IsCodecExtendedSettingDialogSupported {}", when);
  if (hasDialog == 0) {
    ExpectThat(compressor.DisplayCodecExtendedSettingDialog() != kRhoStatusSuccess, "success",
               "a status other than success from DisplayCodecExtendedSettingDialog, which is not supported, {}", when);
  }
  std::array<unsigned char, 4> bytes{1, 2, 3, 4};
  const std::array<unsigned char, 4> before = bytes;
  void* data = bytes.data();
  int size = 4;
  if (compressor.GetExtendedSettings(&data, &size) != kRhoStatusSuccess) {
    ExpectThat(data == bytes.data() && size == 4 && bytes == before, "arguments written",
               "GetExtendedSettings, which is not supported, to touch neither argument {}", when);
    ExpectThat(compressor.SetExtendedSettings(bytes.data(), 4) != kRhoStatusSuccess && bytes == before,
               "success, or bytes written",
               "a status other than success from SetExtendedSettings, as from GetExtendedSettings, {}", when);
    compressor.SetExtendedSettings(nullptr, 0);
  }
  const int delay = compressor.GetCodecDelay();
  ExpectThat(delay >= 0, fmt::to_string(delay), "a delay of 0 sample frames or more from GetCodecDelay {}", when);
  ExpectEqual(delay, compressor.GetCodecDelay(), "GetCodecDelay each time {}", when);
  ExpectEqual(0U, compressor.PlaceholderDoesNotCompress(), "PlaceholderDoesNotCompress {}", when);
  auto type = static_cast<EAudioFormatType>(kUntouched);
  const RhoStatus status = compressor.GetAudioFormatType(type);
  ExpectThat(status == kRhoStatusSuccess && type <= kAudioFormatNone,
             fmt::format("{}, type {}", status, unsigned{type}),
             "status 0 and a type from 0 to 12 from GetAudioFormatType {}", when);
}

/// Formats are supported or not, each time the same way; a code that cannot be a format's is not.
void SupportsFormats(IAudioCompressor& compressor, const std::string& when) {
  for (const unsigned int code :
       {FourCharacterCode(" MKV"), FourCharacterCode("UNDF"), FourCharacterCode("QTFF"), 0U}) {
    const unsigned int answer = compressor.IsFormatSupported(code);
    ExpectThat(answer <= 1, fmt::to_string(answer), "0 or 1 from IsFormatSupported({:08X}) {}", code, when);
    compressor.SetFileFormatHint(code);
    compressor.SetStreamModeHint(kOutputStreamModeDefault);
    ExpectEqual(answer, compressor.IsFormatSupported(code), "IsFormatSupported({:08X}) each time {}", code, when);
  }
  for (const unsigned int code : {0U, 1U, 0xFFFFFFFFU, 0x00010203U, FourCharacterCode("?x!~")}) {
    ExpectEqual(0U, compressor.IsFormatSupported(code), "IsFormatSupported({:08X}), which is not a format's code, {}",
                code, when);
  }
  compressor.SetFileFormatHint(FourCharacterCode(" MKV"));
}

void HasPacketTypes(IAudioCompressor& compressor, const CompressorInfo& /*announced*/) {
  using Types = std::list<IPacket::TPacketType>;
  constexpr auto kForeign = static_cast<IPacket::TPacketType>(5);
  Types types;
  compressor.QueryPossiblePacketTypes(types);
  const std::size_t count = types.size();
  Expect(count != 0, "a packet type that the compressor makes", "none");
  const IPacket::TPacketType fresh = compressor.GetOutputPacketType();
  ExpectThat(fresh == IPacket::kPacketTypeNone || std::find(types.begin(), types.end(), fresh) != types.end(),
             fmt::to_string(unsigned{fresh}), "a listed packet type, or 0, as a new compressor's");
  for (const Types& given : {types, Types{kForeign}, Types{types.back(), kForeign}}) {
    Types gathered = given;
    compressor.QueryPossiblePacketTypes(gathered);
    Types expected = given;
    for (const IPacket::TPacketType type : types) {
      add_if_not_already_there(expected, type);
    }
    ExpectThat(gathered == expected, fmt::format("a list of {}", gathered.size()),
               "what is in the list kept, and each packet type added that is not there yet: {} in all",
               expected.size());
  }
  for (const IPacket::TPacketType type : types) {
    ExpectEqual(1U, compressor.SetOutputPacketType(type), "SetOutputPacketType({}), which is listed", unsigned{type});
    ExpectEqual(unsigned{type}, unsigned{compressor.GetOutputPacketType()}, "GetOutputPacketType after it was set");
  }
  std::vector<unsigned int> others{0x80000000U, ~0U};
  for (unsigned int type = 0; type < 300; ++type) {
    others.push_back(type);
    others.push_back(type << 8U);
  }
  for (const unsigned int other : others) {
    const auto type = static_cast<IPacket::TPacketType>(other);
    if (std::find(types.begin(), types.end(), type) == types.end()) {
      ExpectEqual(0U, compressor.SetOutputPacketType(type), "SetOutputPacketType({}), which is not listed", other);
      ExpectEqual(unsigned{types.back()}, unsigned{compressor.GetOutputPacketType()},
                  "GetOutputPacketType after {} was refused", other);
    }
  }
}

/// Runs a check on each compressor as it is created, and on the first in every other situation.
template <void (*kCheck)(IAudioCompressor& compressor, const std::string& when)>
void InEverySituation(const CheckedModule& module) {
  for (const CompressorInfo& info : module.Infos()) {
    kCheck(*module.CreateCompressor(info), "of a new compressor");
  }
  ForEachSituation(module, kCheck);
}

constexpr std::array<const char*, 2> kTwoProcesses{"", ""};

}  // namespace

std::span<const Check> InformationChecks() {
  static constexpr auto kChecks = std::to_array<Check>({
      {kHasCompressors, "A host creates each compressor that a module announces, up to the count.", OnModule<Creates>,
       kHasEntryPoints},
      {"info.count", "A host asks for each compressor up to the count.", OnModule<Counts>, kHasCompressors},
      {"info.distinct-codes", "A host creates compressors by their codes: of two with the same it can have one only.",
       OnModule<DistinguishesCompressors>, kHasCompressors},
      {"info.null-arguments", "A host passes null for what it does not want to know.", OnModule<SkipsNull>,
       kHasCompressors},
      {"info.any-index", "A host whose count is out of date asks for a compressor that is not there.",
       OnModule<TakesAnyIndex>, kHasCompressors},
      {"info.same-in-two-processes", "A host files codes in its projects, and needs them to find the compressor later.",
       OnModule<AnnouncesTheSameAnywhere>, kHasCompressors, kTwoProcesses},
      {"info.wrong-codes", "A host asks every module for the codes in a project; a wrong one must not answer.",
       OnModule<RefusesWrongCodes>, kHasCompressors},
      {"info.own-report", "A host files what the object says of itself, and asks the module for it later.",
       OnEachCompressor<ReportsItsCodes>, kHasCompressors},
      {"info.names", "Users choose by these names; hosts show them as UTF-8.", OnModule<HasNames>, kHasSettings},
      {"info.slots", "A host calls operations by position: a missing slot makes it jump anywhere.",
       OnEachCompressor<HasSlots>, kHasSettings},
      {"info.setting-objects", "A host keeps pointers to the settings, and calls them as what their getters stand for.",
       OnModule<HandsOutItsSettings>, kHasSettings},
      {"info.getters", "A host that reads the sample rate from the compressor must not get another than the setting's.",
       OnEachCompressor<TellsItsSettings>, kHasSettings},
      {"info.optional-operations", "A host asks what else a compressor can do, and believes the answer.",
       OnModule<InEverySituation<AnswersOptionalOperations>>, kHasSettings},
      {"info.file-formats", "A host offers a compressor for those formats that it supports, and no others.",
       OnModule<InEverySituation<SupportsFormats>>, kHasCompressors},
      {"info.packet-types", "A host picks a packet type that its files can hold, and relies on getting it.",
       OnEachCompressor<HasPacketTypes>, kHasCompressors},
  });
  return kChecks;
}
