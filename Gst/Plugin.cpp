// The plug-in: registers an element for each module.

#include "Gst/EncoderElement.h"
#include "Gst/ModuleCatalog.h"
#include "Host/Library/ModuleDescription.h"
#include "Host/Plugin/ModuleSearch.h"
#include "Host/Text/Errors.h"

#include <gst/gst.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <iterator>
#include <list>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

namespace {

/// The structure and its field in GStreamer's registry that hold the text of ModuleCatalog::cache.
constexpr const char* kCacheName = "rho-modules";
constexpr const char* kCacheField = "descriptions";

/// The category of this plug-in's warnings, for GST_DEBUG=rho:2.
GstDebugCategory* Category() {
  static GstDebugCategory* const category = _gst_debug_category_new("rho", 0, "Encoder modules");
  return category;
}

/// An array as GStreamer takes it, ended by a null pointer. It points into `texts`.
std::vector<const char*> Pointers(const std::vector<std::string>& texts) {
  std::vector<const char*> pointers;
  std::transform(texts.begin(), texts.end(), std::back_inserter(pointers), [](const auto& one) { return one.c_str(); });
  pointers.push_back(nullptr);
  return pointers;
}

/// gst_plugin_add_dependency with containers. GStreamer copies the texts.
void AddDependency(GstPlugin* plugin, const std::vector<std::string>& variables, const std::vector<std::string>& paths,
                   const std::vector<std::string>& names, GstPluginDependencyFlags flags) {
  gst_plugin_add_dependency(plugin, Pointers(variables).data(), Pointers(paths).data(), Pointers(names).data(), flags);
}

/// Lets GStreamer load the plug-in again for its registry when a module comes, goes or changes.
void AddDependencies(GstPlugin* plugin) {
  std::vector<std::string> folders = ModuleFolders();
  const std::string own = OwnFolder();
  // Libraries beside the plug-in are other plug-ins: only bundles count there.
  std::erase(folders, own);
  AddDependency(plugin, {"RHO_PLUGIN_PATH", "XDG_DATA_HOME/rho/plugins", "HOME/.local/share/rho/plugins"}, folders,
                {".so", ".bundle"}, GST_PLUGIN_DEPENDENCY_FLAG_FILE_NAME_IS_SUFFIX);
  AddDependency(plugin, {}, {own}, {".bundle"}, GST_PLUGIN_DEPENDENCY_FLAG_FILE_NAME_IS_SUFFIX);
  for (const FoundModule& module : ListModules()) {
    // The library inside a bundle can change while the bundle's folder does not.
    if (const fs::path file = ModuleFile(module.path); file != module.path) {
      AddDependency(plugin, {}, {file.parent_path()}, {file.filename()}, GST_PLUGIN_DEPENDENCY_FLAG_NONE);
    }
  }
  for (const fs::path program : ModuleHelperPrograms()) {
    AddDependency(plugin, {"RHO_MODULE_HELPER"}, {program.parent_path()}, {program.filename()},
                  GST_PLUGIN_DEPENDENCY_FLAG_NONE);
  }
}

/// The modules, described anew where GStreamer's registry has no descriptions of their files.
ModuleCatalog CachedCatalog(GstPlugin* plugin) {
  const GstStructure* const cached = gst_plugin_get_cache_data(plugin);
  const char* const text = cached == nullptr ? nullptr : gst_structure_get_string(cached, kCacheField);
  const std::string known = text == nullptr ? "" : text;
  ModuleCatalog catalog = ReadCatalog(known);
  if (catalog.cache != known) {
    gst_plugin_set_cache_data(
        plugin, gst_structure_new(kCacheName, kCacheField, G_TYPE_STRING, catalog.cache.c_str(), nullptr));
  }
  return catalog;
}

/// Registers an element for each module that can be used; the others are warnings.
void RegisterElements(GstPlugin* plugin) {
  // Types keep pointers to their descriptions until the process ends, and a list never moves its elements.
  static std::list<ElementDescription> elements;
  const ModuleCatalog catalog = CachedCatalog(plugin);
  for (const std::string& refusal : catalog.refusals) {
    GST_CAT_WARNING(Category(), "no element for %s", refusal.c_str());
  }
  std::set<std::string> names;
  for (const CatalogEntry& entry : catalog.entries) {
    try {
      ElementDescription element = DescribeElement(entry);
      // Different module names may lead to the same element name, as "A B" and "A-B".
      if (!names.insert(element.name).second) {
        throw Failure("another module's element has the name " + element.name);
      }
      RegisterElement(plugin, elements.emplace_back(std::move(element)));
    } catch (const std::exception& error) {
      GST_CAT_WARNING(Category(), "no element for %s: %s", entry.path.c_str(), error.what());
    }
  }
}

/// GStreamer's entry point.
gboolean Init(GstPlugin* plugin) noexcept {
  try {
    AddDependencies(plugin);
    RegisterElements(plugin);
  } catch (const std::exception& error) {
    // A plug-in that fails is not loaded again before its own file changes.
    GST_CAT_ERROR(Category(), "%s", error.what());
  }
  return TRUE;
}

}  // namespace

#define PACKAGE "rho"
GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, rho, "Audio encoder modules", Init, RHO_VERSION,
                  GST_LICENSE_UNKNOWN, "rho", "Unknown package origin")
