#pragma once

#include "RHOAPI/RHOAPIExport.h"

#include <memory>
#include <string>

/// The entries of one folder in the system's order, "." and ".." included. After construction the first entry is
/// current:
///
///   TKelOpenFolder folder("/tmp/jobs");
///   do {
///     use(folder.itemName());
///   } while (folder.parseNextItem());
///
/// One thread at a time may use an object; different objects are independent.
class RHOAPI_EXPORT TKelOpenFolder {
 public:
  struct TPrivate;

  /// Opens the folder at the simplified path (KelSimplifyPath). Throws std::runtime_error with a text that quotes
  /// `folderPath` as given:
  ///   "invalid (empty) folder path specified" for an empty path;
  ///   "opendir failed for "PATH"" when there is no such folder or it may not be read;
  ///   "readdir_r failed for "PATH"" when its first entry cannot be read.
  explicit TKelOpenFolder(const std::string& folderPath);
  TKelOpenFolder(const TKelOpenFolder&) = delete;
  TKelOpenFolder& operator=(const TKelOpenFolder&) = delete;
  ~TKelOpenFolder();

  /// The simplified, absolute path.
  const std::string& folderPath() const;

  /// Makes the next entry current. False at the end of the listing and on a read error; the current entry then does not
  /// change.
  bool parseNextItem();

  /// The entry's name, of any length that the file system supports.
  std::string itemName() const;

  /// The folder's path, a separator and the entry's name. In the root folder that gives two separators: "//tmp".
  std::string itemPath() const;

  /// Whether the entry is a folder. A link to a folder is not, except on a file system that does not report the types
  /// of its entries.
  bool itemIsFolder() const;

 private:
  std::unique_ptr<TPrivate> m_private;
};
