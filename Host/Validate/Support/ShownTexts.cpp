#include "Host/Validate/Support/ShownTexts.h"

#include "Host/Settings/SettingKinds.h"
#include "Host/Settings/SettingTree.h"
#include "Host/Text/Hexadecimal.h"
#include "Host/Text/Utf8.h"
#include "Host/Validate/Engine/Check.h"
#include "RHOAPI/RhoapiAudioCodec.h"

#include <string_view>
#include <utility>

namespace {

/// More of anything is taken for a fault: walking it could take forever.
constexpr unsigned int kMost = 10000;

/// Fails the check for more than kMost; `what` says of what.
void ExpectFew(std::size_t count, const std::string& what) {
  ExpectThat(count <= kMost, fmt::to_string(count), "at most {} {}", kMost, what);
}

/// Gathers the texts of a setting and of those it contains.
class Gatherer {
 public:
  /// Returns the setting's name.
  std::string Gather(ISetting& setting, const SettingPosition& position) {
    ExpectFew(++m_settings, "settings");
    const char* const presetLabel = setting.GetPresetLabel();
    const bool hasName = presetLabel != nullptr && *presetLabel != '\0';
    m_name = position.prefix + (hasName ? ToUtf8(presetLabel) : fmt::format("setting {}", position.index + 1));
    m_depth = position.depth;
    const unsigned int type = setting.GetType();
    ExpectThat(type >= kSettingTypeBool && type <= kLastSettingType, fmt::to_string(type),
               "a type code from 1 to 12 of {}", Named());
    // A time range has neither label, and a container gets its labels later, if at all.
    const bool mayLack = type == kSettingTypeTimeInOut || type == kSettingTypeArray;
    const auto use = mayLack ? ShownText::Use::kExtra : ShownText::Use::kName;
    // Null texts are kept as such: the check settings.texts reports them.
    Add("label", setting.GetLabel(), use);
    Add("preset label", presetLabel, use);
    Add("units", setting.GetUnits());
    Add("optional text", setting.GetOptionalText());
    Add("tool tip", setting.GetToolTipText());
    VisitSetting(setting, *this);
    return m_name;
  }

  template <OneOf<IBoolSetting, ITimeCodeSetting, ITimeInOutSetting> Setting>
  void operator()(Setting& /*setting*/) {}
  void operator()(const UnknownSetting& /*setting*/) {}
  template <class Number>
  void operator()(INumericSetting<Number>& setting) {
    Add("low label", setting.GetLowLabel());
    Add("high label", setting.GetHighLabel());
    ExpectFew(setting.GetNumberOfAllowableValues(), "allowable values of " + Named());
  }
  void operator()(IEnumSetting& setting) {
    const unsigned int count = setting.GetNumberOfAllowableValues();
    ExpectFew(count, "entries of " + Named());
    for (unsigned int index = 0; index < count; ++index) {
      Add(fmt::format("entry {}", index), setting.GetAllowableValue(index));
    }
    Add("selected entry", setting.GetValue());
  }
  void operator()(IFileSetting& setting) {
    Add("value", setting.GetValue(), ShownText::Use::kValue);
    Add("file filter", setting.GetQTFileFilter());
  }
  void operator()(ITextSetting& setting) { Add("value", setting.GetValue(), ShownText::Use::kValue); }
  void operator()(IUnsignedIntArraySetting& setting) {
    ExpectFew(setting.GetNumberOfValues(), "values of " + Named());
    for (unsigned int index = 0; index < setting.GetNumberOfValues(); ++index) {
      // A value may go without a label: null.
      if (const char* const label = setting.GetValueLabel(index)) {
        Add(fmt::format("label of value {}", index), label);
      }
    }
  }
  void operator()(IByteArraySetting& setting) {
    Expect(setting.GetDataSize() == 0 || setting.GetData() != nullptr, "data of " + Named(), "null");
  }
  void operator()(ISettingArray& container) {
    ExpectFew(container.GetNumberOfSettings(), "settings in " + Named());
    ExpectThat(m_depth < kDeepestSetting || container.GetNumberOfSettings() == 0, "deeper ones",
               "settings nested at most {} deep", kDeepestSetting);
  }

  /// Keeps the pointer, and a copy that shows whether the text has changed since.
  void Add(const std::string& attribute, const char* text, ShownText::Use use = ShownText::Use::kExtra) {
    m_texts.push_back({fmt::format("{} of {}", attribute, Named()), text, text == nullptr ? "" : text, use});
  }

  std::vector<ShownText> Take() { return std::move(m_texts); }

 private:
  std::string Named() const { return '"' + m_name + '"'; }

  std::vector<ShownText> m_texts;
  std::string m_name;  ///< of the setting at hand
  unsigned int m_depth = 0;
  std::size_t m_settings = 0;
};

}  // namespace

std::vector<ShownText> ShownTextsOf(IAudioCompressor& compressor) {
  Gatherer gatherer;
  WalkSettings(compressor, [&gatherer](ISetting& setting, const SettingPosition& position) {
    return gatherer.Gather(setting, position);
  });
  return gatherer.Take();
}

std::string Quoted(const char* text) {
  if (text == nullptr) {
    return "null";
  }
  const std::string_view bytes(text);
  // Bytes that are not UTF-8 would be unreadable, or damage the report.
  return IsUtf8(bytes) ? '"' + std::string(bytes) + '"'
                       : "bytes " + HexText({reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()});
}

std::string Shortened(std::string_view text) {
  constexpr std::size_t kMostShown = 60;
  return ToUtf8(text.substr(0, kMostShown)) + (text.size() > kMostShown ? "..." : "");
}
