#pragma once

/// "rhohost validate MODULE": whether a module keeps what a host counts on.

/// Does what the arguments behind "validate" ask for. The program's exit code: 0 when no check failed, else 1. Throws
/// WrongUse, also when there is no such module, and Failure when it cannot do its work.
int Validate(int argc, const char* const* argv);
