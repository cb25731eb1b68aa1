#pragma once

#include "RHOAPI/RHOAPIExport.h"

#include <cstdio>

/// An open C stream and its end.
///
///   TKelOpenFile file("/tmp/a.txt", "rb");  // throws when it cannot be opened
///   std::fgets(line, sizeof line, file.m_file);
class RHOAPI_EXPORT TKelOpenFile {
 public:
  /// The stream, to read and write through. An owner that closes it sets it to null.
  FILE* m_file;

  /// Opens as fopen does, and so that programs started meanwhile do not inherit the file. Throws std::runtime_error
  /// "failed to open "PATH", check read/write privileges." when that fails; null texts count as empty.
  TKelOpenFile(const char* path, const char* mode);
  TKelOpenFile(const TKelOpenFile&) = delete;
  TKelOpenFile& operator=(const TKelOpenFile&) = delete;
  ~TKelOpenFile();
};
