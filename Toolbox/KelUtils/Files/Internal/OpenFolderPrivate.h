#pragma once

#include "Toolbox/KelUtils/Files/Internal/FolderListing.h"
#include "Toolbox/KelUtils/Files/OpenFolder.h"

#include <dirent.h>

#include <string>

/// The private part of a TKelOpenFolder. Walks use it directly.
struct [[gnu::visibility("hidden")]] TKelOpenFolder::TPrivate {
  std::string m_folderPath;
  Descriptor m_folder;
  FolderListing m_listing;
  /// The current entry. Its name may be longer than `dirent` declares; it is empty in a listing without entries.
  std::string m_name;
  unsigned char m_type = DT_UNKNOWN;

  explicit TPrivate(const std::string& folderPath);

  bool parseNextItem();
  std::string itemPath() const;
  bool itemIsFolder() const { return m_type == DT_DIR; }
  /// Whether the entry is the folder itself or its parent, or there is no entry.
  bool itemIsDots() const { return m_name.empty() || (itemIsFolder() && (m_name == "." || m_name == "..")); }

  /// Some file systems leave the type of an entry at 0 (unknown). Sets it to the type of the item, following a link.
  /// False, with the type still 0, when that fails.
  RHOAPI_EXPORT static bool fix_DT_UNKNOWN(const std::string& folderPath, dirent& entry);
};

/// Calls `visit` for each entry but "." and "..", with that entry as the current one of `folder`. Ends, and returns
/// false, as soon as `visit` does. A read error ends the walk like the end of the listing (see HasFailed).
template <class Visit>
bool VisitEntries(TKelOpenFolder::TPrivate& folder, Visit visit) {
  do {
    if (!folder.itemIsDots() && !visit()) {
      return false;
    }
  } while (folder.parseNextItem());
  return true;
}
