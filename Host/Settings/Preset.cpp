#include "Host/Settings/Preset.h"

#include "Host/Settings/SettingJson.h"
#include "Host/Settings/SettingTree.h"
#include "Host/System/OutputFile.h"
#include "Host/Text/Errors.h"
#include "RHOAPI/RhoapiAudioCodec.h"

#include <cerrno>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <system_error>

using Json = nlohmann::ordered_json;

namespace {

constexpr int kDeepest = 16;

Json Codes(IAudioCompressor& compressor) {
  unsigned int manufacturer = 0;
  unsigned int codec = 0;
  compressor.GetAudioCompressorInfo(manufacturer, codec);
  return {{"manufacturer", CodeText(manufacturer)}, {"codec", CodeText(codec)}};
}

Json ReadJson(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    throw SystemFailure(path, "open the preset", errno);
  }
  // A preset needs three levels. What is nested without end would exhaust the stack wherever it is copied or shown.
  const auto limitDepth = [&path](int depth, Json::parse_event_t /*event*/, const Json& /*value*/) {
    if (depth > kDeepest) {
      throw Failure(path + ": not a preset: it is nested too deeply");
    }
    return true;
  };
  try {
    return Json::parse(std::string{std::istreambuf_iterator<char>(file), {}}, limitDepth);
  } catch (const std::system_error& error) {
    throw SystemFailure(path, "read the preset", error.code().value());
  } catch (const Json::exception& error) {
    throw Failure(path + ": not a preset: " + error.what());
  }
}

}  // namespace

void SavePreset(const std::string& path, IAudioCompressor& compressor, bool replaceExisting) {
  Json preset = Codes(compressor);
  Json& values = preset["settings"] = Json::object();
  for (const NamedSetting& named : ListSettings(compressor)) {
    if (named.setting->GetType() != kSettingTypeArray) {
      values[named.name] = ValueJson(*named.setting);
    }
  }
  const std::string text = preset.dump(2) + '\n';
  OutputFile file(path, replaceExisting);
  file.Write(text.data(), text.size());
  file.Commit();
}

Preset::Preset(const std::string& path) : m_path(path), m_content(std::make_shared<const Json>(ReadJson(path))) {
  if (!m_content->is_object() || !m_content->contains("settings") || !m_content->at("settings").is_object()) {
    throw Failure(path + ": not a preset: it has no \"settings\"");
  }
}

std::vector<Assignment> Preset::AssignmentsFor(IAudioCompressor& compressor) const {
  const Json codes = Codes(compressor);
  for (const auto& [key, code] : codes.items()) {
    if (!m_content->contains(key) || m_content->at(key) != code) {
      throw WrongUse(m_path + ": a preset of another compressor: \"" + key + "\" is not " + code.dump());
    }
  }
  const auto settings = ListSettings(compressor);
  std::vector<Assignment> assignments;
  for (const auto& [key, value] : m_content->at("settings").items()) {
    const std::string place = m_path + ": \"" + key + "\": ";
    ISetting* const setting = FindSetting(settings, key);
    if (setting == nullptr) {
      throw WrongUse(place + "the compressor has no such setting");
    }
    assignments.push_back({setting, place, [setting, value = value] { SetValueJson(*setting, value); }});
  }
  return assignments;
}
