#pragma once

#include "Toolbox/KelUtils/OpenFolder.h"

#include <dirent.h>

#include <string>

/// What a TKelOpenFolder consists of. Internal to the toolbox.
struct TKelOpenFolder::TPrivate {
  std::string m_folderPath;
  dirent m_entry{};
  DIR* m_dir = nullptr;

  explicit TPrivate(const std::string& folderPath);
  TPrivate(const TPrivate&) = delete;
  TPrivate& operator=(const TPrivate&) = delete;
  ~TPrivate();

  bool parseNextItem();
  std::string itemPath() const;

  /// Some file systems leave the type of an entry at 0 (unknown); fills it in from the item itself, following a link.
  /// False, and the type stays 0, when that fails.
  RHOAPI_EXPORT static bool fix_DT_UNKNOWN(const std::string& folderPath, dirent& entry);

 private:
  enum class ReadResult { kEntry, kEnd, kError };
  ReadResult readNext();
};
