#pragma once

#include "RHOAPI/RHOAPIExport.h"

#include <memory>
#include <string>

/// The entries of one folder, in the order in which the system lists them, "." and ".." among them. The first entry is
/// current from the beginning:
///
///   TKelOpenFolder folder("/tmp/jobs");
///   do {
///     use(folder.itemName());
///   } while (folder.parseNextItem());
///
/// One thread uses an object at a time; different objects are independent.
class RHOAPI_EXPORT TKelOpenFolder {
 public:
  struct TPrivate;

  /// Opens the folder, of which the simplified path counts (KelSimplifyPath). Throws std::runtime_error, and the texts
  /// quote `folderPath` as given:
  ///   "invalid (empty) folder path specified" for an empty path;
  ///   "opendir failed for "PATH"" when there is no such folder or it may not be read;
  ///   "readdir_r failed for "PATH"" when its first entry cannot be read.
  explicit TKelOpenFolder(const std::string& folderPath);
  TKelOpenFolder(const TKelOpenFolder&) = delete;
  TKelOpenFolder& operator=(const TKelOpenFolder&) = delete;
  ~TKelOpenFolder();

  /// The simplified, absolute path.
  const std::string& folderPath() const;

  /// Goes to the next entry. False at the end of the listing or when it cannot be read on; the entry that was current
  /// stays so.
  bool parseNextItem();

  std::string itemName() const;

  /// The folder's path, a separator and the entry's name. In the root folder that makes two separators: "//tmp".
  std::string itemPath() const;

  /// Whether the entry is a folder; a link to one is not.
  bool itemIsFolder() const;

 private:
  std::unique_ptr<TPrivate> m_private;
};
