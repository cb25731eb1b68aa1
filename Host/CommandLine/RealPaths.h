#pragma once

#include <filesystem>
#include <string>

/// The path without links, as far as it exists, and without separators at its end. Throws Failure when it cannot be
/// followed.
std::filesystem::path RealPath(const std::string& path);

/// Whether `path` is `folder` or lies in it, both as RealPath gives them.
bool IsIn(const std::filesystem::path& path, const std::filesystem::path& folder);
