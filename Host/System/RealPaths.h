#pragma once

/// Paths with their symbolic links followed.

#include <filesystem>
#include <string>

/// The path of the file that writing to `path` creates or replaces: `path`, or the end of the symbolic links that it
/// names, which need not exist. Links among its folders stay. Throws Failure, also for links in a circle.
std::string FollowLinks(const std::string& path);

/// The path without links, as far as it exists, and without separators at its end. Throws Failure when it cannot be
/// followed.
std::filesystem::path RealPath(const std::string& path);

/// Whether `path` is `folder` or lies in it, both as RealPath gives them.
bool IsIn(const std::filesystem::path& path, const std::filesystem::path& folder);
