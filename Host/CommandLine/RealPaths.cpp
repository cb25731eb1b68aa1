#include "Host/CommandLine/RealPaths.h"

#include "Host/Text/Errors.h"

#include <algorithm>

namespace fs = std::filesystem;

fs::path RealPath(const std::string& path) {
  std::error_code error;
  // Appending "" adds a separator where there is none, and parent_path removes all of them.
  fs::path real = fs::weakly_canonical((fs::absolute(path.empty() ? "." : path) / "").parent_path(), error);
  if (error) {
    throw SystemFailure(path, "follow the path", error.value());
  }
  return real;
}

bool IsIn(const fs::path& path, const fs::path& folder) {
  // By components: "/ab" does not lie in "/a".
  return std::mismatch(folder.begin(), folder.end(), path.begin(), path.end()).first == folder.end();
}
