#pragma once

#include <cstdio>
#include <memory>

struct StreamCloser {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};

/// A stream that closes with its owner; a failure to close is ignored.
using OwnedStream = std::unique_ptr<std::FILE, StreamCloser>;

/// fopen with close on exec, which the mode need not name. Null when the path or the mode is null or the file cannot be
/// opened.
OwnedStream OpenStream(const char* path, const char* mode);
