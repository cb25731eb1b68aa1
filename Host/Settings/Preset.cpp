#include "Host/Settings/Preset.h"

#include "Host/Plugin/CompressorCodes.h"
#include "Host/Settings/SettingJson.h"
#include "Host/Settings/SettingText.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Utf8.h"
#include "RHOAPI/RhoapiAudioCodec.h"
#include "Toolbox/KelUtils/Files/Internal/Descriptor.h"
#include "Toolbox/KelUtils/Platform/Internal/Interrupted.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <nlohmann/json.hpp>
#include <set>

using Json = nlohmann::ordered_json;

namespace {

/// The largest preset in bytes.
constexpr std::size_t kMostBytes = std::size_t{64} * 1024;
/// The most levels of nesting in a preset.
constexpr int kDeepest = 16;
/// The key of the frame-rate hint.
constexpr const char* kFramesPerSecond = "framesPerSecond";

/// JSON as a message quotes it. Invalid UTF-8 is replaced, since dump() would throw.
std::string Abbreviated(const Json& value) {
  return ::Abbreviated(value.dump(-1, ' ', false, Json::error_handler_t::replace));
}

/// Waits until more of a pipe can be read. A pipe without a writer must not block the program forever.
void WaitForPipe(int descriptor, const std::string& path) {
  constexpr int kSeconds = 10;
  pollfd pipe{descriptor, POLLIN, 0};
  // An error or an interruption is left to read(), which the caller repeats.
  if (poll(&pipe, 1, kSeconds * 1000) == 0) {
    throw Failure(fmt::format("{}: not a preset: a pipe from which nothing came for {} s", path, kSeconds));
  }
}

/// The bytes of the file or pipe. Throws Failure for anything else, and for more bytes than a preset may have.
std::string ReadPresetFile(const std::string& path) {
  const Descriptor file(
      // O_NONBLOCK: opening a pipe must not wait for a writer. O_NOCTTY: a terminal must not become the controlling
      // one.
      RetryInterrupted([&path] { return open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK); }));
  struct stat status {};
  if (!file.IsOpen() || fstat(file.Get(), &status) != 0) {
    throw SystemFailure(path, "open the preset", errno);
  }
  const bool isPipe = S_ISFIFO(status.st_mode);
  if (!S_ISREG(status.st_mode) && !isPipe) {
    throw Failure(fmt::format("{}: not a preset: neither a regular file nor a pipe", path));
  }
  // One byte more than allowed, which tells a file that is too large from one that is as large as allowed.
  std::string text(kMostBytes + 1, '\0');
  std::size_t size = 0;
  while (size < text.size()) {
    if (isPipe) {
      WaitForPipe(file.Get(), path);
    }
    const ssize_t count = read(file.Get(), text.data() + size, text.size() - size);
    if (count == 0) {
      break;
    }
    // EAGAIN: a pipe has a writer, but nothing was in it.
    if (count < 0 && errno != EINTR && errno != EAGAIN) {
      throw SystemFailure(path, "read the preset", errno);
    }
    size += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
  }
  if (size > kMostBytes) {
    throw Failure(fmt::format("{}: not a preset: larger than {} KiB", path, kMostBytes / 1024));
  }
  text.resize(size);
  return text;
}

/// Refuses what JSON allows and no preset needs, while a preset is parsed.
class PresetRules {
 public:
  explicit PresetRules(const std::string& path) : m_path(path) {}

  void Check(int depth, Json::parse_event_t event, const Json& parsed) {
    // A preset needs three levels. Copying or showing deep nesting would exhaust the stack.
    if (depth > kDeepest) {
      throw Failure(fmt::format("{}: not a preset: nested too deeply", m_path));
    }
    const std::string* const text = parsed.is_string() ? parsed.get_ptr<const std::string*>() : nullptr;
    if (text != nullptr && text->find('\0') != std::string::npos) {
      throw Failure(fmt::format("{}: not a preset: a text in it contains a zero character", m_path));
    }
    if (event == Json::parse_event_t::object_start) {
      m_keys.emplace_back();
    } else if (event == Json::parse_event_t::object_end) {
      m_keys.pop_back();
    } else if (event == Json::parse_event_t::key && text != nullptr && !m_keys.back().insert(*text).second) {
      // The parser would keep one of the two values.
      throw Failure(fmt::format("{}: not a preset: \"{}\" occurs twice", m_path, ::Abbreviated(*text)));
    }
  }

 private:
  const std::string& m_path;
  std::vector<std::set<std::string>> m_keys;  ///< of the objects that are being parsed
};

/// Reads and parses the preset. Throws Failure.
Json ReadJson(const std::string& path) {
  const std::string text = ReadPresetFile(path);
  // The parser would take a zero byte behind the value for the end of the text.
  if (text.find('\0') != std::string::npos) {
    throw Failure(fmt::format("{}: not a preset: it contains a zero byte", path));
  }
  PresetRules rules(path);
  try {
    return Json::parse(text, [&rules](int depth, Json::parse_event_t event, const Json& parsed) {
      rules.Check(depth, event, parsed);
      return true;
    });
  } catch (const Json::exception& error) {
    // "[json.exception.parse_error.101] parse error at line 1, ..."
    const std::string what = error.what();
    throw Failure(fmt::format("{}: not a preset: {}", path, ::Abbreviated(what.substr(what.find(' ') + 1))));
  }
}

}  // namespace

bool Choices::Contains(const ISetting* setting) const {
  return std::find(settings.begin(), settings.end(), setting) != settings.end();
}

std::string PresetText(IAudioCompressor& compressor, const Choices& choices) {
  const CompressorCodes codes = CodesOf(compressor);
  Json preset{{"manufacturer", CodeText(codes.manufacturer)}, {"codec", CodeText(codes.codec)}};
  if (choices.framesPerSecond) {
    preset[kFramesPerSecond] = *choices.framesPerSecond;
  }
  Json& values = preset["settings"] = Json::object();
  for (const NamedSetting& named : ListSettings(compressor)) {
    if (choices.Contains(named.setting) && !IsFixed(*named.setting)) {
      values[named.name] = ValueJson(*named.setting);
    }
  }
  return values.empty() && !choices.framesPerSecond ? std::string() : preset.dump(2) + '\n';
}

Preset::Preset(const std::string& path) : m_path(path), m_content(std::make_shared<const Json>(ReadJson(path))) {
  if (!m_content->is_object() || !m_content->contains("settings") || !m_content->at("settings").is_object()) {
    throw Failure(fmt::format("{}: not a preset: no \"settings\"", path));
  }
  if (const auto rate = m_content->find(kFramesPerSecond); rate != m_content->end()) {
    if (!rate->is_number() || rate->get<double>() < 1) {
      throw Failure(
          fmt::format(R"({}: "{}": allowed are numbers from 1, not {})", path, kFramesPerSecond, Abbreviated(*rate)));
    }
    m_framesPerSecond = rate->get<double>();
  }
}

std::vector<Assignment> Preset::AssignmentsFor(IAudioCompressor& compressor,
                                               const std::vector<NamedSetting>& settings) const {
  const CompressorCodes codes = CodesOf(compressor);
  for (const auto& [key, code] : {std::pair("manufacturer", codes.manufacturer), std::pair("codec", codes.codec)}) {
    if (!m_content->contains(key) || m_content->at(key) != CodeText(code)) {
      throw WrongUse(
          fmt::format("{}: a preset of another compressor: \"{}\" is not \"{}\"", m_path, key, CodeText(code)));
    }
  }
  std::vector<Assignment> assignments;
  for (const auto& [key, value] : m_content->at("settings").items()) {
    const std::string source = fmt::format("{}: \"{}\": ", m_path, ::Abbreviated(key));
    ISetting* const setting = FindSetting(settings, key);
    if (setting == nullptr) {
      throw WrongUse(source + "the compressor has no such setting");
    }
    Assignment assignment{
        .setting = setting, .value = ParseJsonValue(*setting, value), .isFromPreset = true, .source = source};
    const bool isUnspecified = value.is_null() && setting->GetIsOptional() != 0;
    if (!assignment.value && !isUnspecified) {
      throw WrongUse(source + Refusal(*setting, value.dump()));
    }
    assignments.push_back(std::move(assignment));
  }
  return assignments;
}
