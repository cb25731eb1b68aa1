#pragma once

#include "Toolbox/KelUtils/Platform/Internal/Platform.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <vector>

/// Whether the type is one that Linux (cifs, smb3) or macOS (smbfs) gives to mounted SMB shares.
inline bool IsSmbVolume(const Mount& mount) {
  constexpr std::array<std::string_view, 3> kTypes{"smbfs", "cifs", "smb3"};
  return std::find(kTypes.begin(), kTypes.end(), mount.type) != kTypes.end();
}

/// The result of ConvertMacPathToUnc with this table of mounted file systems: the first SMB volume that contains `path`
/// decides.
inline std::string ConvertToUnc(const std::string& path, const std::vector<Mount>& mounts) {
  const auto covers = [&path](const Mount& mount) {
    return IsSmbVolume(mount) && !mount.mountedOn.empty() && path.starts_with(mount.mountedOn + "/");
  };
  const auto volume = std::find_if(mounts.begin(), mounts.end(), covers);
  if (volume == mounts.end()) {
    return path;
  }
  std::string unc = volume->source;
  // Without an "@" the position is npos, and npos + 1 is 0.
  unc.erase(0, unc.find('@') + 1);
  constexpr std::string_view kServiceName = "._smb._tcp.local";
  const auto service = unc.find(kServiceName);
  if (service != std::string::npos && service > 1) {
    unc.erase(service, kServiceName.size());
  }
  return unc.append(path, volume->mountedOn.size());
}
