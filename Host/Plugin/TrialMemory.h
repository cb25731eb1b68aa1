#pragma once

/// What trials of modules have shown, remembered in the file "rhohost/modules.json" of the user's cache folder
/// ($XDG_CACHE_HOME, or else ~/.cache). An answer belongs to the file as it is: its path, place on disk, size and time
/// of change, and to this version of the program. A cache that cannot be read or written is as good as none; nothing
/// here fails because of it.

#include <optional>
#include <string>

class TrialMemory {
 public:
  /// Looks at the module's file.
  explicit TrialMemory(const std::string& module);

  /// Whether there is a regular file at all.
  bool HasFile() const { return !m_identity.empty(); }

  /// The answer that was kept for the file as it is now.
  std::optional<std::string> Recall() const;

  /// Remembers it, in place of what was remembered for this path.
  void Keep(const std::string& verdict) const;

 private:
  std::string m_path;      ///< the whole one
  std::string m_identity;  ///< empty when there is no such file
};
