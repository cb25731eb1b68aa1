#pragma once

#include <cstdio>
#include <memory>

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

/// A stream that is closed with its owner; failures to close go unseen.
using OwnedFile = std::unique_ptr<std::FILE, FileCloser>;

/// Null when there is no path or the file cannot be opened. An "e" in `mode` keeps the file from programs started
/// meanwhile.
inline OwnedFile OpenFile(const char* path, const char* mode) {
  return OwnedFile(path == nullptr ? nullptr : std::fopen(path, mode));
}
