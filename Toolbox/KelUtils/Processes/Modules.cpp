#include "Toolbox/KelUtils/Processes/Modules.h"

#include "Toolbox/KelUtils/Files/Paths.h"
#include "Toolbox/KelUtils/Text/Text.h"

#include <dlfcn.h>

namespace {

/// Appends a separator unless `folder` ends with one; a text without a buffer becomes the separator alone.
void EndWithSeparator(CKelStr<char>& folder) {
  if (!KelStrMatchTail<char>(folder.m_data, kDirSeparator, true)) {
    folder += kDirSeparator;
  }
}

}  // namespace

void* KelLoadLibrary(const char* fileName, const char* folder) {
  CKelStr<char> path;
  if (folder == nullptr) {
    path = KelGetCurrentDllPath();
  } else {
    path.assign(folder);
  }
  EndWithSeparator(path);
  path += "../../../";
  path += fileName;
  return dlopen(path.m_data, RTLD_NOW);
}

bool KelUnloadLibrary(void** handle) {
  if (handle == nullptr || *handle == nullptr || dlclose(*handle) != 0) {
    return false;
  }
  *handle = nullptr;
  return true;
}

void* KelGetSymbolAddr(void* handle, const char* name) { return name == nullptr ? nullptr : dlsym(handle, name); }

bool KelGetModuleFilename(const void* address, CKelStr<char>& fileName) {
  Dl_info info{};
  if (dladdr(address, &info) == 0) {
    return false;
  }
  fileName.assign(info.dli_fname);
  return true;
}

CKelStr<char> KelGetCurrentDllPath() {
  // The address of a local constant: a program that defines a function of the same name would replace an exported one.
  static const char kOwnAddress = 0;
  CKelStr<char> folder;
  CKelStr<char> name;
  CKelStr<char> fileName;
  if (KelGetModuleFilename(&kOwnAddress, fileName)) {
    KelParseFilePath(fileName, folder, name);
  }
  EndWithSeparator(folder);
  return folder;
}
