#include "Host/Settings/Info.h"

#include "Host/Plugin/CompressorCodes.h"
#include "Host/Settings/SettingJson.h"
#include "Host/Settings/SettingKinds.h"
#include "Host/Settings/SettingText.h"
#include "Host/Settings/SettingTree.h"
#include "Host/Text/Utf8.h"
#include "RHOAPI/RhoapiAudioCodec.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <list>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string_view>
#include <utility>

using Json = nlohmann::ordered_json;

namespace {

/// A text of the module, which may be null and in any encoding.
Json Utf8Json(const char* text) { return ToUtf8(text == nullptr ? "" : text); }

/// Adds the attributes that belong to a setting's kind.
struct OwnAttributes {
  Json& json;

  template <class Number>
  void operator()(INumericSetting<Number>& setting) const {
    json["minimum"] = setting.GetMinValue();
    json["maximum"] = setting.GetMaxValue();
    json["lowLabel"] = Utf8Json(setting.GetLowLabel());
    json["highLabel"] = Utf8Json(setting.GetHighLabel());
    Json& values = json["allowableValues"] = Json::array();
    for (unsigned int index = 0; index < setting.GetNumberOfAllowableValues(); ++index) {
      values.push_back(setting.GetAllowableValue(index));
    }
  }
  void operator()(IEnumSetting& setting) const {
    Json& values = json["allowableValues"] = Json::array();
    for (unsigned int index = 0; index < setting.GetNumberOfAllowableValues(); ++index) {
      values.push_back(Utf8Json(setting.GetAllowableValue(index)));
    }
  }
  void operator()(IFileSetting& setting) const { json["fileFilter"] = Utf8Json(setting.GetQTFileFilter()); }
  void operator()(IUnsignedIntArraySetting& setting) const {
    json["minimum"] = setting.GetMinValue();
    json["maximum"] = setting.GetMaxValue();
    Json& labels = json["valueLabels"] = Json::array();
    for (unsigned int index = 0; index < setting.GetNumberOfValues(); ++index) {
      labels.push_back(Utf8Json(setting.GetValueLabel(index)));
    }
  }
  template <
      OneOf<IBoolSetting, ITextSetting, ITimeCodeSetting, ITimeInOutSetting, IByteArraySetting, ISettingArray> Setting>
  void operator()(Setting& /*setting*/) const {}
  void operator()(const UnknownSetting& /*setting*/) const {}
};

/// Lines of "key  text". Long texts are broken at blanks and continue below their beginning.
class Lines {
 public:
  /// Adds an empty line and the heading, and indents the lines that follow below it.
  void Heading(const std::string& text, unsigned int depth) {
    m_indent.assign(std::size_t{2} * depth, ' ');
    m_text += '\n' + m_indent + text + '\n';
    m_indent += "  ";
  }

  /// An empty text adds no line.
  void Add(std::string key, const std::string& text) {
    if (text.empty()) {
      return;
    }
    key.resize(std::max(key.size() + 1, kKeyWidth), ' ');
    std::string line = m_indent + key;
    const std::size_t start = line.size();
    std::istringstream words(text);
    for (std::string word; words >> word;) {
      // A word that is too long for a line gets one of its own.
      if (line.size() > start && line.size() + 1 + word.size() > kColumns) {
        m_text += line + '\n';
        line.assign(start, ' ');
      }
      line += (line.size() > start ? " " : "") + word;
    }
    m_text += line + '\n';
  }

  std::string Take() { return std::move(m_text); }

 private:
  static constexpr std::size_t kColumns = 80;
  static constexpr std::size_t kKeyWidth = 12;

  std::string m_indent;
  std::string m_text;
};

/// A string without the quotes that dump() adds; other values as JSON.
std::string PlainText(const Json& value) { return value.is_string() ? value.get<std::string>() : value.dump(); }

/// The elements of an array, separated by commas.
std::string ListText(const Json& values) {
  std::string text;
  for (const Json& value : values) {
    text.append(text.empty() ? "" : ", ").append(PlainText(value));
  }
  return text;
}

/// Adds the lines of one setting. Attributes that the kind lacks, and empty ones, have no line.
void AddSetting(Lines& lines, const Json& setting) {
  const auto text = [&setting](const char* key) { return setting.contains(key) ? PlainText(setting[key]) : ""; };
  const auto list = [&setting](const char* key) { return setting.contains(key) ? ListText(setting[key]) : ""; };
  const bool isGroup = setting["kind"] == "group";
  const bool isOptional = setting["optional"];
  const bool isUnspecified = isOptional && !setting["specified"];

  lines.Heading(text("label").empty() ? text("name") : text("label"), setting["depth"].get<unsigned int>() + 1);
  lines.Add("name", text("name"));
  // The name is the preset label unless the setting is in a container, or its label is taken or missing.
  if (setting["presetLabel"] != setting["name"]) {
    lines.Add("preset", text("presetLabel"));
  }
  lines.Add("kind", text("kind"));
  if (!isGroup) {
    lines.Add("value", (text("text").empty() ? "(empty)" : text("text")) + (isUnspecified ? " (not specified)" : ""));
  }
  lines.Add("units", text("units"));
  lines.Add("allowed", list("allowableValues"));
  if (setting.contains("minimum") && setting["minimum"] != setting["maximum"]) {
    lines.Add("range", text("minimum") + " to " + text("maximum"));
  }
  lines.Add("low end", text("lowLabel"));
  lines.Add("high end", text("highLabel"));
  lines.Add("labels", list("valueLabels"));
  lines.Add("files", text("fileFilter"));
  if (isOptional) {
    lines.Add("optional", text("optionalText").empty() ? "yes" : "yes: " + text("optionalText"));
  }
  if (!setting["active"]) {
    lines.Add("active", "no");
  }
  lines.Add("help", text("toolTip"));
}

/// The role of a setting that every compressor has; empty for additional settings.
std::string_view StandardName(IAudioCompressor& compressor, const ISetting* setting) {
  const std::array<std::pair<const ISetting*, std::string_view>, 4> standard{{
      {compressor.GetSampleRateSetting(), "sampleRate"},
      {compressor.GetSampleSizeSetting(), "sampleSize"},
      {compressor.GetChannelModeSetting(), "channels"},
      {compressor.GetDataRateSetting(), "dataRate"},
  }};
  const auto* const found =
      std::find_if(standard.begin(), standard.end(), [setting](const auto& one) { return one.first == setting; });
  return found == standard.end() ? "" : found->second;
}

}  // namespace

Json DescribeSetting(const NamedSetting& named) {
  ISetting& setting = *named.setting;
  Json json{{"name", named.name},
            {"depth", named.depth},
            {"label", Utf8Json(setting.GetLabel())},
            {"presetLabel", Utf8Json(setting.GetPresetLabel())},
            {"kind", SettingKind(setting)},
            {"type", setting.GetType()},
            {"value", ValueJson(setting)},
            {"text", Utf8Json(ValueText(setting).c_str())},
            {"units", Utf8Json(setting.GetUnits())},
            {"constrained", setting.GetIsValueConstrained() != 0},
            {"optional", setting.GetIsOptional() != 0},
            {"specified", setting.GetIsOptionalValueSpecified() != 0},
            {"optionalText", Utf8Json(setting.GetOptionalText())},
            {"active", setting.GetIsActive() != 0},
            {"toolTip", Utf8Json(setting.GetToolTipText())},
            {"dialogHint", setting.GetDialogHint()}};
  VisitSetting(setting, OwnAttributes{json});
  return json;
}

Json DescribeCompressor(IAudioCompressor& compressor, unsigned int version) {
  const CompressorCodes codes = CodesOf(compressor);
  std::list<IPacket::TPacketType> packetTypes;
  compressor.QueryPossiblePacketTypes(packetTypes);
  EAudioFormatType sampleFormat = kAudioFormatNone;
  compressor.GetAudioFormatType(sampleFormat);

  Json description{{"name", Utf8Json(compressor.GetName())},
                   {"abbreviatedName", Utf8Json(compressor.GetAbbreviatedName())},
                   {"manufacturer", CodeText(codes.manufacturer)},
                   {"codec", CodeText(codes.codec)},
                   {"version", version},
                   {"packetTypes", packetTypes},
                   {"outputPacketType", compressor.GetOutputPacketType()},
                   {"sampleFormat", sampleFormat},
                   {"matroska", compressor.IsFormatSupported(FourCharacterCode(" MKV")) != 0},
                   {"codecDelay", compressor.GetCodecDelay()},
                   {"placeholder", compressor.PlaceholderDoesNotCompress() != 0}};
  Json& settings = description["settings"] = Json::array();
  for (const NamedSetting& named : ListSettings(compressor)) {
    settings.push_back(DescribeSetting(named));
    if (const std::string_view standard = StandardName(compressor, named.setting); !standard.empty()) {
      settings.back()["standard"] = standard;
    }
  }
  return description;
}

std::string DescriptionText(const Json& description) {
  Lines lines;
  lines.Heading(fmt::format("{} ({})", PlainText(description["name"]), PlainText(description["abbreviatedName"])), 0);
  lines.Add("maker", PlainText(description["manufacturer"]));
  lines.Add("codec", PlainText(description["codec"]));
  lines.Add("version", fmt::format("{:#010x}", description["version"].get<unsigned int>()));
  lines.Add("packets", ListText(description["packetTypes"]));
  lines.Add("samples", "format " + PlainText(description["sampleFormat"]));
  lines.Add("Matroska", description["matroska"] ? "yes" : "no");
  for (const Json& setting : description["settings"]) {
    AddSetting(lines, setting);
  }
  // Without the empty line above the first heading.
  return lines.Take().substr(1);
}
