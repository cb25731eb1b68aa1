#pragma once

/// Libraries loaded at run time, and the file that the plug-in itself was loaded from.

#include "RHOAPI/RHOAPIExport.h"
#include "Toolbox/KelUtils/Text/KelStr.h"

/// Loads the library of that file name from three levels above `folder`, or above the plug-in's own folder when that is
/// null: for a module in Tool.bundle/Contents/MacOS/ that is the folder which holds Tool.bundle. All its symbols are
/// bound at once. Null when it cannot be loaded.
///   KelLoadLibrary("libx.so", "/a/Tool.bundle/Contents/MacOS") loads /a/libx.so
RHOAPI_EXPORT void* KelLoadLibrary(const char* fileName, const char* folder);

/// Lets go of a library and sets the handle to null; false, with the handle kept, when it is none.
RHOAPI_EXPORT bool KelUnloadLibrary(void** handle);

/// Address of a symbol of the library; null when it has none of that name. With a null handle the system searches the
/// whole program instead.
RHOAPI_EXPORT void* KelGetSymbolAddr(void* handle, const char* name);

/// The file of the module that `address` lies in, as it was named when it was loaded. False, and `fileName` as it was,
/// when it lies in none.
RHOAPI_EXPORT bool KelGetModuleFilename(const void* address, CKelStr<char>& fileName);

/// The folder of the plug-in's own file, with a trailing separator; the separator alone when it cannot be found. It is
/// relative, to the working directory of that time, when the plug-in was loaded by a relative path.
RHOAPI_EXPORT CKelStr<char> KelGetCurrentDllPath();
