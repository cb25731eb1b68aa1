#pragma once

/// Which checks there are, and which of them are to run.

#include "Host/Validate/Engine/Check.h"

#include <string>
#include <vector>

/// All checks, group by group.
std::vector<const Check*> AllChecks();

/// Those whose name matches one of the patterns `only`, or all when it is empty, less those whose name matches one of
/// `skip`. A pattern has the shell's wildcards and matches whole names: "stream.*". Throws WrongUse when none is left,
/// and for a pattern that matches no check at all.
std::vector<const Check*> SelectChecks(const std::vector<std::string>& only, const std::vector<std::string>& skip);
