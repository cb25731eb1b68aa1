#include "Host/Settings/SettingTree.h"
#include "Host/Text/Utf8.h"
#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/CheckedModule.h"
#include "Host/Validate/Support/Slots.h"

#include <algorithm>
#include <array>
#include <limits>
#include <list>
#include <utility>

namespace {

/// What no compressor announces of itself, so that it shows whether anything has been written.
constexpr unsigned int kUntouched = 0xDEADBEEF;

void Counts(const std::string& path) {
  const CheckedModule module(path);
  const std::size_t count = module.Infos().size();
  Expect(std::cmp_equal(module.Count(), count), std::to_string(count) + " compressors each time it is asked",
         std::to_string(module.Count()));
}

void DistinguishesCompressors(const std::string& path) {
  const CheckedModule module(path);
  const auto infos = module.Infos();
  for (auto info = infos.begin(); info != infos.end(); ++info) {
    Expect(info->manufacturer != 0 && info->codec != 0, "codes other than 0", InfoText(*info));
    const auto same = std::find_if(infos.begin(), info, [info](const CompressorInfo& other) {
      return other.manufacturer == info->manufacturer && other.codec == info->codec;
    });
    Expect(same == info, "other codes for compressor " + std::to_string(info - infos.begin()), InfoText(*info));
  }
}

void SkipsNull(const std::string& path) {
  const CheckedModule module(path);
  const auto infos = module.Infos();
  for (unsigned int index = 0; index < infos.size(); ++index) {
    for (unsigned int wanted = 0; wanted < 8; ++wanted) {
      CompressorInfo info{kUntouched, kUntouched, kUntouched};
      CompressorInfo expected = info;
      const auto pointer = [wanted](unsigned int bit, unsigned int& value, unsigned int& expects, unsigned int is) {
        expects = (wanted & bit) != 0 ? is : expects;
        return (wanted & bit) != 0 ? &value : nullptr;
      };
      module.GetInfo(index, pointer(1, info.manufacturer, expected.manufacturer, infos[index].manufacturer),
                     pointer(2, info.codec, expected.codec, infos[index].codec),
                     pointer(4, info.version, expected.version, infos[index].version));
      Expect(info == expected, InfoText(expected) + " where asked, nothing elsewhere", InfoText(info));
    }
  }
}

void BearsAnyIndex(const std::string& path) {
  const CheckedModule module(path);
  const auto before = module.Infos();
  constexpr auto kSignedMost = static_cast<unsigned int>(std::numeric_limits<int>::max());
  for (const unsigned int index :
       {static_cast<unsigned int>(before.size()), kSignedMost, kSignedMost + 1, kSignedMost * 2 + 1}) {
    CompressorInfo info;
    module.GetInfo(index, &info.manufacturer, &info.codec, &info.version);
    module.GetInfo(index, nullptr, nullptr, nullptr);
  }
  Expect(module.Infos() == before, "what the module announces as before", "other codes or another version");
}

void AnnouncesTheSameAnywhere(const std::string& path) {
  const CheckedModule module(path);
  for (const CompressorInfo& info : module.Infos()) {
    const CompressorOwner compressor = module.CreateCompressor(info);
    const char* const name = compressor->GetName();
    MustAgree(InfoText(info) + ", \"" + (name == nullptr ? "" : name) + "\"; ");
  }
}

void RefusesWrongCodes(const std::string& path) {
  const CheckedModule module(path);
  const auto infos = module.Infos();
  constexpr unsigned int kLetterCase = 0x20;
  for (const auto& [manufacturer, codec, version] : infos) {
    for (const auto& [m, c] :
         {std::pair(manufacturer ^ 1, codec), std::pair(manufacturer, codec ^ 1),
          std::pair(manufacturer ^ 1, codec ^ 1), std::pair(manufacturer ^ 0x80000000U, codec),
          std::pair(manufacturer, codec ^ 0x80000000U), std::pair(manufacturer, codec ^ kLetterCase),
          std::pair(codec, manufacturer), std::pair(0U, codec), std::pair(manufacturer, 0U), std::pair(0U, 0U)}) {
      const bool isAnnounced = std::any_of(infos.begin(), infos.end(), [m = m, c = c](const CompressorInfo& info) {
        return info.manufacturer == m && info.codec == c;
      });
      const CompressorOwner compressor(isAnnounced ? nullptr : module.Create(m, c));
      Expect(compressor == nullptr, "no compressor of the codes " + InfoText({m, c, 0}), "one");
    }
  }
}

template <void (*CheckOne)(IAudioCompressor&, const CompressorInfo&)>
void ForEachCompressor(const std::string& path) {
  const CheckedModule module(path);
  for (const CompressorInfo& info : module.Infos()) {
    const CompressorOwner compressor = module.CreateCompressor(info);
    CheckOne(*compressor, info);
  }
}

void ReportsItsCodes(IAudioCompressor& compressor, const CompressorInfo& announced) {
  CompressorInfo own{kUntouched, kUntouched, announced.version};
  compressor.GetAudioCompressorInfo(own.manufacturer, own.codec);
  Expect(own == announced, "the codes that the module announces: " + InfoText(announced), InfoText(own));
}

void HasNames(IAudioCompressor& compressor, const CompressorInfo& /*announced*/) {
  for (const auto& [call, text] :
       {std::pair("GetName", compressor.GetName()), std::pair("GetAbbreviatedName", compressor.GetAbbreviatedName())}) {
    Expect(text != nullptr && *text != '\0', std::string(call) + " to give a text", text == nullptr ? "null" : "none");
    Expect(IsUtf8(text), std::string(call) + " to give UTF-8", text);
  }
}

void HasSlots(IAudioCompressor& compressor, const CompressorInfo& /*announced*/) {
  ExpectSlotsLeadToCode(&compressor, kCompressorSlots, "the compressor");
  for (const NamedSetting& named : ListSettings(compressor)) {
    ExpectSlotsLeadToCode(named.setting, SettingSlots(named.setting->GetType()), "the setting " + named.name);
  }
}

void HasPacketTypes(IAudioCompressor& compressor, const CompressorInfo& /*announced*/) {
  std::list<IPacket::TPacketType> types;
  compressor.QueryPossiblePacketTypes(types);
  const std::size_t count = types.size();
  compressor.QueryPossiblePacketTypes(types);
  Expect(count != 0, "a packet type that the compressor makes", "none");
  Expect(types.size() == count, "each packet type in the list once, however often it is asked for", "more");
  for (const IPacket::TPacketType type : types) {
    Expect(compressor.SetOutputPacketType(type) == 1 && compressor.GetOutputPacketType() == type,
           "to be set to packet type " + std::to_string(type), "a refusal, or another type");
  }
  unsigned int other = 1;
  while (std::find(types.begin(), types.end(), static_cast<IPacket::TPacketType>(other)) != types.end()) {
    ++other;
  }
  Expect(compressor.SetOutputPacketType(static_cast<IPacket::TPacketType>(other)) == 0 &&
             compressor.GetOutputPacketType() == types.back(),
         "packet type " + std::to_string(other) + " to be refused", "it was taken");
}

constexpr std::array<const char*, 2> kTwoProcesses{"", ""};

constexpr auto kChecks = std::to_array<Check>({
    {"info.count", "A host asks for each compressor up to the count.", Counts},
    {"info.distinct-codes", "A host creates compressors by their codes: of two with the same it can have one only.",
     DistinguishesCompressors},
    {"info.null-arguments", "A host passes null for what it does not want to know.", SkipsNull},
    {"info.any-index", "A host whose count is out of date asks for a compressor that is not there.", BearsAnyIndex},
    {"info.same-in-two-processes", "A host files codes in its projects, and finds the compressor by them the next day.",
     AnnouncesTheSameAnywhere, kTwoProcesses},
    {"info.wrong-codes", "A host asks every module for the codes in a project; a wrong one must not answer.",
     RefusesWrongCodes},
    {"info.own-report", "A host files what the object says of itself, and asks the module for it later.",
     ForEachCompressor<ReportsItsCodes>},
    {"info.names", "Users choose by these names; hosts show them as UTF-8.", ForEachCompressor<HasNames>},
    {"info.slots", "A host calls operations by their position: a slot that is missing sends it anywhere.",
     ForEachCompressor<HasSlots>},
    {"info.packet-types", "A host picks a packet type that its files can hold, and counts on getting it.",
     ForEachCompressor<HasPacketTypes>},
});

}  // namespace

std::span<const Check> InformationChecks() { return kChecks; }
