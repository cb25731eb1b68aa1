#include "Host/Validate/Support/ShownTexts.h"

#include "Host/Settings/SettingKinds.h"
#include "Host/Text/Hexadecimal.h"
#include "Host/Text/Utf8.h"
#include "Host/Validate/Engine/Check.h"
#include "RHOAPI/RhoapiAudioCodec.h"

#include <string_view>
#include <utility>

namespace {

constexpr unsigned int kMost = 10000;
constexpr unsigned int kDeepest = 32;

void ExpectFew(std::size_t count, const std::string& what) {
  ExpectThat(count <= kMost, fmt::to_string(count), "at most {} {}", kMost, what);
}

/// Gathers the texts of a setting and of those it contains.
class Gatherer {
 public:
  void Gather(ISetting* setting, const std::string& prefix, unsigned int place, unsigned int depth) {
    if (setting == nullptr) {
      return;
    }
    ExpectFew(++m_settings, "settings");
    ExpectThat(depth <= kDeepest, "deeper ones", "settings nested at most {} deep", kDeepest);
    const char* const presetLabel = setting->GetPresetLabel();
    const bool hasName = presetLabel != nullptr && *presetLabel != '\0';
    m_name = prefix + (hasName ? ToUtf8(presetLabel) : fmt::format("setting {}", place + 1));
    const unsigned int type = setting->GetType();
    ExpectThat(type >= kSettingTypeBool && type <= kSettingTypeArray, fmt::to_string(type),
               "a type code from 1 to 12 of {}", Named());
    // A time range has neither label, and a container gets its labels later, if at all.
    const bool mayLack = type == kSettingTypeTimeInOut || type == kSettingTypeArray;
    const auto use = mayLack ? ShownText::Use::kExtra : ShownText::Use::kName;
    Add("label", setting->GetLabel(), use);
    Add("preset label", presetLabel, use);
    Add("units", setting->GetUnits());
    Add("optional text", setting->GetOptionalText());
    Add("tool tip", setting->GetToolTipText());
    m_depth = depth;
    VisitSetting(*setting, *this);
  }

  void operator()(ISetting& /*setting*/) {}
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
    const std::string prefix = m_name + '/';
    const unsigned int depth = m_depth + 1;
    for (unsigned int index = 0; index < container.GetNumberOfSettings(); ++index) {
      Gather(container.GetSetting(index), prefix, index, depth);
    }
  }

  void Add(const std::string& attribute, const char* text, ShownText::Use use = ShownText::Use::kExtra) {
    m_texts.push_back({attribute + " of " + Named(), text, use});
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
  unsigned int place = 0;
  for (ISetting* const setting :
       {static_cast<ISetting*>(compressor.GetSampleRateSetting()),
        static_cast<ISetting*>(compressor.GetSampleSizeSetting()),
        static_cast<ISetting*>(compressor.GetChannelModeSetting()),
        static_cast<ISetting*>(compressor.GetDataRateSetting()), compressor.GetNonStandardSettings()}) {
    gatherer.Gather(setting, "", place++, 0);
  }
  return gatherer.Take();
}

std::string Quoted(const char* text) {
  if (text == nullptr) {
    return "null";
  }
  const std::string_view bytes(text);
  return IsUtf8(bytes) ? '"' + std::string(bytes) + '"'
                       : "bytes " + HexText({reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()});
}

std::string Shortened(std::string_view text) {
  constexpr std::size_t kMostShown = 60;
  return ToUtf8(text.substr(0, kMostShown)) + (text.size() > kMostShown ? "..." : "");
}
