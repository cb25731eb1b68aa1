#include "Gst/ModuleCatalog.h"

#include "Host/Library/ModuleDescription.h"
#include "Host/Plugin/ModuleSearch.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Hexadecimal.h"
#include "Host/Text/Utf8.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <chrono>
#include <utility>

using Json = nlohmann::ordered_json;

namespace {

/// The time limit for one module. Applications wait for it when they build GStreamer's registry.
constexpr std::chrono::seconds kTimeLimit{5};

/// A text that changes when the file at `path` is changed or replaced; empty if there is no file. The path is in
/// hexadecimal since it may have any bytes. The time of the last status change counts too: a program can set the time
/// of the last modification back.
std::string Identity(const std::string& path) {
  struct stat file {};
  if (stat(path.c_str(), &file) != 0) {
    return {};
  }
  return fmt::format("{} {} {} {} {}.{:09} {}.{:09}",
                     HexText({reinterpret_cast<const unsigned char*>(path.data()), path.size()}), file.st_dev,
                     file.st_ino, file.st_size, file.st_mtim.tv_sec, file.st_mtim.tv_nsec, file.st_ctim.tv_sec,
                     file.st_ctim.tv_nsec);
}

/// The module's entry in the cache: {"description": ...} or {"error": ...}.
Json Describe(const std::string& file) {
  try {
    return {{"description", DescribeModule(file, kTimeLimit)}};
  } catch (const Failure& failure) {
    return {{"error", ToUtf8(failure.what())}};
  }
}

}  // namespace

ModuleCatalog ReadCatalog(const std::string& cache) {
  // A cache that is not JSON counts as empty.
  const Json known = Json::parse(cache, nullptr, false);
  Json kept = Json::object();
  ModuleCatalog catalog;
  for (const FoundModule& found : ListModules()) {
    if (found.isHidden) {
      continue;
    }
    const std::string file = ModuleFile(found.path);
    const std::string identity = Identity(file);
    // A bundle without a library has no identity: it is described each time, which gives the error.
    const bool isKnown = !identity.empty() && known.is_object() && known.contains(identity);
    Json answer = isKnown ? known[identity] : Describe(file);
    if (answer.contains("description")) {
      catalog.entries.push_back({found.name, found.path, answer["description"]});
    } else {
      catalog.refusals.push_back(fmt::format("{}: {}", found.path, answer["error"].get<std::string>()));
    }
    if (!identity.empty()) {
      kept[identity] = std::move(answer);
    }
  }
  // ASCII with escapes: GStreamer's registry stores texts in UTF-8. Modules that are gone are left out.
  catalog.cache = kept.dump(-1, ' ', true);
  return catalog;
}
