#pragma once

#include <sys/stat.h>

#include <string>

/// Copies the access rights of the file at `oldPath`, which has the status `old`, to the open file `newFile`, which
/// will replace it and holds no data yet:
/// - the owner and the group, if this process may set them;
/// - the access control list and the permissions, without setuid, setgid and sticky bits. Where the group or the list
///   cannot be kept, the new group gets no more rights than everybody has.
/// - extended attributes of the class "user", as far as they can be read and written.
/// Until then `newFile` must grant nothing to group and others; it never grants more than the old file does. Throws
/// Failure, which names `shownTarget`, when the permissions cannot be set.
void KeepAttributes(const std::string& oldPath, const struct stat& old, int newFile, const std::string& shownTarget);
