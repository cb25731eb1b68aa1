#pragma once

#include "Toolbox/KelUtils/Files/OpenFolder.h"

#include <dirent.h>

#include <memory>
#include <string>
#include <string_view>

/// What a TKelOpenFolder consists of. Internal to the toolbox.
struct [[gnu::visibility("hidden")]] TKelOpenFolder::TPrivate {
  struct CloseFolder {
    void operator()(DIR* dir) const { closedir(dir); }
  };

  std::string m_folderPath;
  dirent m_entry{};
  std::unique_ptr<DIR, CloseFolder> m_dir;

  explicit TPrivate(const std::string& folderPath);

  bool parseNextItem();
  std::string itemPath() const;
  bool itemIsFolder() const { return m_dir != nullptr && m_entry.d_type == DT_DIR; }
  /// Whether the entry is the folder itself or the one above. An empty name stands for a listing without entries.
  bool itemIsDots() const;

  /// Some file systems leave the type of an entry at 0 (unknown); fills it in from the item itself, following a link.
  /// False, and the type stays 0, when that fails.
  RHOAPI_EXPORT static bool fix_DT_UNKNOWN(const std::string& folderPath, dirent& entry);

 private:
  enum class ReadResult { kEntry, kEnd, kError };
  ReadResult readNext();
};

/// Calls `visit` once for each entry but "." and "..", which is then the current one of `folder`. As soon as it answers
/// false the walk ends and answers false.
template <class Visit>
bool VisitEntries(TKelOpenFolder::TPrivate& folder, Visit visit) {
  do {
    if (!folder.itemIsDots() && !visit()) {
      return false;
    }
  } while (folder.parseNextItem());
  return true;
}
