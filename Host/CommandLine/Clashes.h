#pragma once

/// Inputs that would have the same output.

#include "Host/CommandLine/WorkList.h"

#include <filesystem>
#include <map>
#include <string>
#include <unordered_map>

/// Tells outputs apart by the file that would be made or replaced, where links lead to it.
class OutputIdentities {
 public:
  /// The real path of the output. One that cannot be followed is returned as it is: nothing can be written there.
  /// Each output is looked at once.
  const std::filesystem::path& Of(const std::string& output);

 private:
  /// The folder without links; unchanged if they cannot be followed.
  const std::filesystem::path& RealFolder(const std::filesystem::path& folder);

  std::unordered_map<std::string, std::filesystem::path> m_outputs;
  std::map<std::string, std::filesystem::path> m_realFolders;
};

/// Whether the file at `path` can be read as a sound, or cannot be read at all and so may be one.
bool MayBeSound(const std::string& path);

/// Leaves one item for each output, or gives the others outputs of their own. Opens files only where several of
/// them would have the same output, since those that are not sounds do not count.
void SettleClashes(WorkList& list, OutputIdentities& identities, OnClash onClash);
