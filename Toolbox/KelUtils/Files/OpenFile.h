#pragma once

#include "RHOAPI/RHOAPIExport.h"

#include <cstdio>

/// An open C stream that closes at the end of its scope.
///
///   TKelOpenFile file("/tmp/a.txt", "rb");  // throws when it cannot be opened
///   std::fgets(line, sizeof line, file.m_file);
class RHOAPI_EXPORT TKelOpenFile {
 public:
  /// The stream, for reading and writing. Code that closes it must set it to null.
  FILE* m_file;

  /// fopen with close on exec. Throws std::runtime_error "failed to open "PATH", check read/write privileges." when
  /// that fails; null texts count as empty.
  TKelOpenFile(const char* path, const char* mode);
  TKelOpenFile(const TKelOpenFile&) = delete;
  TKelOpenFile& operator=(const TKelOpenFile&) = delete;
  ~TKelOpenFile();
};
