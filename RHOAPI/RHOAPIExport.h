#pragma once

/// Marks a declaration as part of the module's exported surface. Everything else is hidden (-fvisibility=hidden), and
/// the version script of the module has the last word on what leaves it.
///
/// No virtual table and no type information leaves the module: they would be weak symbols, shared between the module
/// and whatever else is in the process. The virtual functions of public classes are therefore defined inside their
/// classes, so that every program that derives from one, or copies one, makes its own. Only what is not virtual is
/// exported.
#define RHOAPI_EXPORT [[gnu::visibility("default")]]
