#pragma once

/// Loading libraries at run time, and the file from which the plug-in itself was loaded.

#include "RHOAPI/RHOAPIExport.h"
#include "Toolbox/KelUtils/Text/KelStr.h"

/// Loads the library `fileName` from three levels above `folder`, by default (null) the plug-in's own folder. For a
/// module in Tool.bundle/Contents/MacOS/ that is the folder that contains Tool.bundle. Binds all symbols at once. Null
/// when the library cannot be loaded.
///   KelLoadLibrary("libx.so", "/a/Tool.bundle/Contents/MacOS") loads /a/libx.so
RHOAPI_EXPORT void* KelLoadLibrary(const char* fileName, const char* folder);

/// Unloads a library and sets the handle to null; false, with the handle unchanged, when it is not a handle.
RHOAPI_EXPORT bool KelUnloadLibrary(void** handle);

/// The address of a symbol of the library; null when there is none. With a null handle the system searches the whole
/// program.
RHOAPI_EXPORT void* KelGetSymbolAddr(void* handle, const char* name);

/// The file of the module that contains `address`, under the name by which it was loaded. False, with `fileName`
/// unchanged, when no module contains it.
RHOAPI_EXPORT bool KelGetModuleFilename(const void* address, CKelStr<char>& fileName);

/// The folder of the plug-in's own file, with a trailing separator; only the separator when it is unknown. When the
/// plug-in was loaded by a relative path, the folder is relative to the working directory of that time.
RHOAPI_EXPORT CKelStr<char> KelGetCurrentDllPath();
