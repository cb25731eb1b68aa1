#include "Gst/SettingProperties.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gst/gst.h>

#include <algorithm>
#include <limits>
#include <list>
#include <set>
#include <string_view>

using Json = nlohmann::ordered_json;

namespace {

/// "bit-rate" for "BitRate", "Bit Rate" and "bit_rate". Letters, digits, the characters of `others`, and single
/// hyphens.
std::string Hyphenated(std::string_view text, std::string_view others = "") {
  std::string name;
  char last = '\0';
  for (const char character : text) {
    // Only an upper-case letter after a lower-case one or a digit: "PCM" stays one word.
    const bool isWordStart = g_ascii_isupper(character) && (g_ascii_islower(last) || g_ascii_isdigit(last));
    const bool isKept = g_ascii_isalnum(character) || others.find(character) != std::string_view::npos;
    if ((isWordStart || !isKept) && !name.empty() && name.back() != '-') {
      name += '-';
    }
    if (isKept) {
      name += g_ascii_tolower(character);
    }
    last = character;
  }
  name.erase(name.find_last_not_of('-') + 1);
  return name;
}

/// `name`, or "NAME-2" and so on if that is taken.
template <class IsTaken>
std::string Unique(const std::string& name, IsTaken isTaken) {
  std::string unique = name;
  for (int number = 2; isTaken(unique); ++number) {
    unique = fmt::format("{}-{}", name, number);
  }
  return unique;
}

/// A name that the class does not have yet. GObject wants a letter first.
std::string PropertyName(GObjectClass* elementClass, const std::string& setting) {
  std::string name = Hyphenated(setting);
  if (name.empty() || !g_ascii_isalpha(name.front())) {
    name.insert(0, "setting-");
  }
  return Unique(name, [elementClass](const std::string& taken) {
    return g_object_class_find_property(elementClass, taken.c_str()) != nullptr;
  });
}

/// The texts of an enumeration's values, which live as long as its type: until the process ends.
struct EnumValues {
  std::list<std::string> texts;
  std::vector<GEnumValue> values;
};

/// The enumeration of that name, with `entries` as the names of its values, numbered from 0.
GType EnumType(const std::string& typeName, const std::vector<std::string>& entries) {
  if (const GType known = g_type_from_name(typeName.c_str()); known != 0) {
    return known;
  }
  // GObject keeps the pointers: the texts must not move, and enumerations are never unregistered.
  static std::list<EnumValues> all;
  EnumValues& added = all.emplace_back();
  std::set<std::string> nicks;
  const auto keep = [&added](std::string text) { return added.texts.emplace_back(std::move(text)).c_str(); };
  for (const std::string& entry : entries) {
    const std::string nick = Hyphenated(entry, ".");
    const std::string unique =
        Unique(nick.empty() ? "empty" : nick, [&](const auto& one) { return nicks.contains(one); });
    nicks.insert(unique);
    added.values.push_back({static_cast<int>(added.values.size()), keep(entry), keep(unique)});
  }
  added.values.push_back({0, nullptr, nullptr});
  return g_enum_register_static(typeName.c_str(), added.values.data());
}

/// The text of that key; empty if the description has none.
std::string Text(const Json& setting, const char* key) { return setting.value(key, std::string()); }

/// Whether the setting leaves no choice: its value follows from other settings.
bool IsFixed(const Json& setting) {
  return !setting["optional"].get<bool>() && setting.value("allowableValues", Json::array()).size() == 1;
}

/// The tool tip or else the label, with units and allowable numbers: "Level of the output [dB]; allowed: -6, 0, 6".
std::string Blurb(const Json& setting, const std::string& label) {
  std::string blurb = Text(setting, "toolTip").empty() ? label : Text(setting, "toolTip");
  if (const std::string units = Text(setting, "units"); !units.empty()) {
    blurb += fmt::format(" [{}]", units);
  }
  for (const auto& [key, prefix] : {std::pair("lowLabel", "low end"), std::pair("highLabel", "high end")}) {
    blurb += Text(setting, key).empty() ? "" : fmt::format("; {}: {}", prefix, Text(setting, key));
  }
  const Json values = setting.value("allowableValues", Json::array());
  if (!IsFixed(setting) && !values.empty() && values.front().is_number()) {
    std::vector<std::string> texts;
    std::transform(values.begin(), values.end(), std::back_inserter(texts), [](const Json& one) { return one.dump(); });
    blurb += fmt::format("; allowed: {}", fmt::join(texts, ", "));
  }
  return blurb;
}

/// A number from a description, which has texts for numbers that JSON lacks and null for some of them.
template <class Number>
Number NumberOf(const Json& json, Number otherwise) {
  return json.is_number() ? json.get<Number>() : otherwise;
}

/// A property for a number. Its range holds the default and the allowable values, or else the setting's range. A fixed
/// setting may get any number from other settings.
template <class Number, class Make>
GParamSpec* NumberSpec(const Json& setting, Make make) {
  constexpr Number kLowest = std::numeric_limits<Number>::lowest();
  constexpr Number kHighest = std::numeric_limits<Number>::max();
  auto lowest = NumberOf<Number>(setting["minimum"], kLowest);
  auto highest = NumberOf<Number>(setting["maximum"], kHighest);
  if (const Json& values = setting["allowableValues"]; !values.empty() && !IsFixed(setting)) {
    lowest = NumberOf<Number>(*std::min_element(values.begin(), values.end()), kLowest);
    highest = NumberOf<Number>(*std::max_element(values.begin(), values.end()), kHighest);
  } else if (lowest >= highest || IsFixed(setting)) {
    lowest = kLowest;
    highest = kHighest;
  }
  // An optional setting that is not specified has no value in the description, but a text.
  const Json parsed = Json::parse(Text(setting, "text"), nullptr, false);
  const auto value = NumberOf<Number>(setting["value"].is_null() ? parsed : setting["value"], lowest);
  // GObject refuses a range that does not contain the default.
  return make(std::min(lowest, value), std::max(highest, value), value);
}

/// Adds the properties of settings to a class, one setting after the other.
class Installer {
 public:
  Installer(GObjectClass* elementClass, unsigned int firstId) : m_class(elementClass), m_next(firstId) {}

  void Add(const Json& setting) {
    const auto kind = setting["kind"].get<std::string>();
    // Neither has a value.
    if (kind == "group" || kind == "unknown") {
      return;
    }
    m_name = PropertyName(m_class, setting["name"]);
    m_label = Text(setting, "label").empty() ? m_name : Text(setting, "label");
    m_blurb = Blurb(setting, m_label);
    // Mutable up to the state READY: settings cannot be changed during a run.
    m_flags = static_cast<GParamFlags>(G_PARAM_READABLE |
                                       (IsFixed(setting) ? 0 : G_PARAM_WRITABLE | GST_PARAM_MUTABLE_READY));
    SettingProperty property{.setting = setting["name"], .entries = {}};
    Install(MakeSpec(setting, kind, property), property);
    if (setting["optional"]) {
      m_name = PropertyName(m_class, m_name + "-specified");
      const std::string text = Text(setting, "optionalText");
      m_blurb = fmt::format("{}: whether {} has a value", text.empty() ? "Optional" : text, m_label);
      property.kind = SettingProperty::Kind::kSpecified;
      Install(BoolSpec(setting["specified"]), property);
    }
  }

  std::vector<SettingProperty> Take() { return std::move(m_properties); }

 private:
  /// Numbers the property and keeps what ReadProperty and WriteProperty need. The class takes over `pspec`.
  void Install(GParamSpec* pspec, const SettingProperty& property) {
    g_object_class_install_property(m_class, m_next++, pspec);
    m_properties.push_back(property);
  }

  GParamSpec* BoolSpec(bool value) const {
    return g_param_spec_boolean(m_name.c_str(), m_label.c_str(), m_blurb.c_str(), value ? TRUE : FALSE, m_flags);
  }

  /// Makes the property's GParamSpec and completes `property`.
  GParamSpec* MakeSpec(const Json& setting, const std::string& kind, SettingProperty& property) const {
    using Kind = SettingProperty::Kind;
    const auto number = [this](auto* make) {
      return [this, make](auto lowest, auto highest, auto value) {
        return make(m_name.c_str(), m_label.c_str(), m_blurb.c_str(), lowest, highest, value, m_flags);
      };
    };
    const std::string text = Text(setting, "text");
    if (kind == "bool") {
      property.kind = Kind::kBool;
      // By the text, which an optional setting has even when it is not specified.
      return BoolSpec(text != "false" && text != "0");
    }
    if (kind == "int") {
      property.kind = Kind::kInt;
      return NumberSpec<int>(setting, number(g_param_spec_int));
    }
    if (kind == "unsigned") {
      property.kind = Kind::kUnsigned;
      return NumberSpec<unsigned int>(setting, number(g_param_spec_uint));
    }
    if (kind == "double") {
      property.kind = Kind::kDouble;
      return NumberSpec<double>(setting, number(g_param_spec_double));
    }
    if (kind == "enum") {
      std::vector<std::string> entries = setting["allowableValues"];
      // An enumeration needs a default: a setting without a selected entry becomes a text below.
      if (const auto found = std::find(entries.begin(), entries.end(), text); found != entries.end()) {
        const std::string typeName = fmt::format("{}-{}", G_OBJECT_CLASS_NAME(m_class), m_name);
        const auto index = static_cast<int>(found - entries.begin());
        property.kind = Kind::kEnum;
        property.entries = entries;
        return g_param_spec_enum(m_name.c_str(), m_label.c_str(), m_blurb.c_str(), EnumType(typeName, entries), index,
                                 m_flags);
      }
    }
    return g_param_spec_string(m_name.c_str(), m_label.c_str(), m_blurb.c_str(), text.c_str(), m_flags);
  }

  GObjectClass* m_class;
  unsigned int m_next;
  std::vector<SettingProperty> m_properties;
  // of the property that is being made
  std::string m_name;
  std::string m_label;
  std::string m_blurb;
  GParamFlags m_flags{};
};

/// The number in `value`; 0 if the module gave the setting a value of another type.
template <class Number>
Number Held(const SettingValue& value) {
  const auto* const number = std::get_if<Number>(&value);
  return number == nullptr ? Number{} : *number;
}

}  // namespace

std::vector<SettingProperty> InstallProperties(GObjectClass* elementClass, const Json& settings, unsigned int firstId) {
  Installer installer(elementClass, firstId);
  for (const Json& setting : settings) {
    installer.Add(setting);
  }
  return installer.Take();
}

void ReadProperty(ModuleEncoder& encoder, const SettingProperty& property, GValue* value) {
  const SettingState state = encoder.Get(property.setting);
  switch (property.kind) {
    case SettingProperty::Kind::kBool:
      return g_value_set_boolean(value, Held<unsigned int>(state.value) != 0 ? TRUE : FALSE);
    case SettingProperty::Kind::kInt:
      return g_value_set_int(value, Held<int>(state.value));
    case SettingProperty::Kind::kUnsigned:
      return g_value_set_uint(value, Held<unsigned int>(state.value));
    case SettingProperty::Kind::kDouble:
      return g_value_set_double(value, Held<double>(state.value));
    case SettingProperty::Kind::kEnum: {
      const auto found = std::find(property.entries.begin(), property.entries.end(), state.text);
      return g_value_set_enum(value,
                              found == property.entries.end() ? 0 : static_cast<int>(found - property.entries.begin()));
    }
    case SettingProperty::Kind::kText:
      return g_value_set_string(value, state.text.c_str());
    case SettingProperty::Kind::kSpecified:
      return g_value_set_boolean(value, state.isSpecified ? TRUE : FALSE);
  }
}

void WriteProperty(ModuleEncoder& encoder, const SettingProperty& property, const GValue* value) {
  switch (property.kind) {
    case SettingProperty::Kind::kBool:
      return encoder.Set(property.setting, g_value_get_boolean(value) != FALSE ? 1U : 0U);
    case SettingProperty::Kind::kInt:
      return encoder.Set(property.setting, g_value_get_int(value));
    case SettingProperty::Kind::kUnsigned:
      return encoder.Set(property.setting, g_value_get_uint(value));
    case SettingProperty::Kind::kDouble:
      return encoder.Set(property.setting, g_value_get_double(value));
    case SettingProperty::Kind::kEnum:
      return encoder.SetText(property.setting, property.entries.at(static_cast<std::size_t>(g_value_get_enum(value))));
    case SettingProperty::Kind::kText: {
      const char* const text = g_value_get_string(value);
      return encoder.SetText(property.setting, text == nullptr ? "" : text);
    }
    case SettingProperty::Kind::kSpecified:
      return encoder.SetIsSpecified(property.setting, g_value_get_boolean(value) != FALSE);
  }
}
