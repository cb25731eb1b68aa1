#pragma once

/// How a name leaves the module.

/// Marks a declaration as exported by the module. Everything else is hidden (-fvisibility=hidden); the version script
/// of the module limits the exports further.
///
/// The module exports no virtual table and no type information: they would be weak symbols, shared between the module
/// and everything else in the process. The virtual functions of public classes are therefore defined inside their
/// classes, so that a program that derives from one or copies one compiles its own. Only functions that are not virtual
/// are exported.
#define RHOAPI_EXPORT [[gnu::visibility("default")]]
