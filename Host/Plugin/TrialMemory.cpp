#include "Host/Plugin/TrialMemory.h"

#include "Host/System/OutputFile.h"
#include "Host/Text/Utf8.h"

#include <sys/stat.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

namespace fs = std::filesystem;
using Json = nlohmann::json;

namespace {

/// Beyond so many modules it is time to begin anew.
constexpr std::size_t kMostModules = 100;
constexpr std::uintmax_t kMostBytes = std::uintmax_t{1024} * 1024;

/// Empty when there is no such folder. A relative path in the environment does not count.
fs::path CacheFile() {
  const auto folder = [](const char* variable) {
    const char* const value = std::getenv(variable);
    return value != nullptr && *value == '/' ? fs::path(value) : fs::path();
  };
  const fs::path home = folder("HOME");
  const fs::path cache = folder("XDG_CACHE_HOME").empty() && !home.empty() ? home / ".cache" : folder("XDG_CACHE_HOME");
  return cache.empty() ? cache : cache / "rhohost" / "modules.json";
}

/// Empty when there is none, or something else in its place.
Json ReadCache(const fs::path& file) {
  std::error_code error;
  if (!fs::is_regular_file(file, error) || fs::file_size(file, error) > kMostBytes || error) {
    return Json::object();
  }
  std::ifstream stream(file);
  Json cache = Json::parse(stream, nullptr, false);
  return cache.is_object() ? cache : Json::object();
}

void WriteCache(const fs::path& file, const Json& cache) {
  std::error_code error;
  if (fs::exists(file, error) && !fs::is_regular_file(file, error)) {
    return;
  }
  fs::create_directories(file.parent_path(), error);
  const std::string text = cache.dump(1) + '\n';
  OutputFile output(file, true);
  output.Write(text.data(), text.size());
  output.Commit();
}

std::string IdentityOf(const struct stat& status) {
  std::string text = RHOHOST_VERSION;
  for (const auto number : {static_cast<long long>(status.st_dev), static_cast<long long>(status.st_ino),
                            static_cast<long long>(status.st_size), static_cast<long long>(status.st_mtim.tv_sec),
                            static_cast<long long>(status.st_mtim.tv_nsec)}) {
    text.append(" ").append(std::to_string(number));
  }
  return text;
}

}  // namespace

TrialMemory::TrialMemory(const std::string& module) {
  struct stat status {};
  std::error_code error;
  if (stat(module.c_str(), &status) == 0 && S_ISREG(status.st_mode)) {
    m_path = ToUtf8(fs::absolute(module, error).native());
    m_identity = IdentityOf(status);
  }
}

std::optional<std::string> TrialMemory::Recall() const {
  const fs::path file = CacheFile();
  const Json cache = file.empty() ? Json::object() : ReadCache(file);
  const auto found = cache.find(m_path);
  if (found == cache.end() || !found->is_object() || found->value("file", Json()) != m_identity ||
      !found->value("verdict", Json()).is_string()) {
    return std::nullopt;
  }
  return found->value("verdict", std::string());
}

void TrialMemory::Keep(const std::string& verdict) const {
  const fs::path file = CacheFile();
  if (file.empty()) {
    return;
  }
  try {
    Json cache = ReadCache(file);
    if (cache.size() >= kMostModules) {
      cache = Json::object();
    }
    cache[m_path] = {{"file", m_identity}, {"verdict", verdict}};
    WriteCache(file, cache);
  } catch (const std::exception&) {
    // It will be asked again next time.
  }
}
