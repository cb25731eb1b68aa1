#pragma once

/// Inspects the target of an output, a path or "-", before anything is created.

#include "Host/Text/Errors.h"

#include <sys/stat.h>

#include <optional>
#include <string>

/// The Failure of a target that exists and may not be replaced.
class OutputExists : public Failure {
 public:
  explicit OutputExists(const std::string& target);
};

struct OutputTarget {
  std::string path;                           ///< with symbolic links followed
  std::string folder{};                       ///< of the path; empty if isWrittenDirectly
  bool isWrittenDirectly = false;             ///< standard output, a FIFO, a device: no temporary file
  std::optional<struct stat> replacedFile{};  ///< the status of the regular file that will be replaced
};

/// Throws Failure for what an OutputFile could not be made of: nothing or a terminal, a folder, an existing file or
/// block device unless `replaceExisting`. Does not look at the folder.
OutputTarget InspectTarget(const std::string& target, bool replaceExisting);

/// Throws what InspectTarget throws, and Failure for a folder that does not exist or does not let files be created.
void CheckOutputTarget(const std::string& target, bool replaceExisting);

/// Whether an OutputFile would write to `target` without a temporary file, and so could not be read back.
bool IsWrittenDirectly(const std::string& target);
