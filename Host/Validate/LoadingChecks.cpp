#include "Host/Validate/Check.h"

#include <dlfcn.h>
#include <array>

namespace {

void Loads(const std::string& module) {
  const std::string path = module.find('/') == std::string::npos ? "./" + module : module;
  void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  Expect(library != nullptr, "a library that can be loaded", library == nullptr ? dlerror() : "");
}

constexpr std::array<Check, 1> kChecks{{
    {"load.at-once", "A host that cannot load the module has no encoder.", Loads},
}};

}  // namespace

std::span<const Check> LoadingChecks() { return kChecks; }
