#include "Host/Validate/Engine/Selection.h"

#include "Host/Text/Errors.h"

#include <fnmatch.h>
#include <algorithm>

namespace {

/// fnmatch(3) without flags: '*' also matches the dots between the parts of a name.
bool Matches(const std::string& pattern, const Check* check) { return fnmatch(pattern.c_str(), check->name, 0) == 0; }

bool MatchesOneOf(const std::vector<std::string>& patterns, const Check* check) {
  return std::any_of(patterns.begin(), patterns.end(),
                     [check](const std::string& pattern) { return Matches(pattern, check); });
}

/// Throws WrongUse for a pattern that matches no check, which is most likely misspelt.
void RefuseUnmatched(const char* option, const std::vector<std::string>& patterns,
                     const std::vector<const Check*>& checks) {
  for (const std::string& pattern : patterns) {
    if (std::none_of(checks.begin(), checks.end(),
                     [&pattern](const Check* check) { return Matches(pattern, check); })) {
      throw WrongUse(fmt::format("{}: no check is called \"{}\" (--list shows them)", option, pattern));
    }
  }
}

}  // namespace

std::vector<const Check*> AllChecks() {
  std::vector<const Check*> checks;
  for (const auto& group :
       {LoadingChecks(), ProcessChecks(), InformationChecks(), SettingOfferChecks(), SettingChangeChecks(),
        SettingDependenceChecks(), SettingCopyChecks(), PacketChecks(), StreamPacketChecks(), StreamMemoryChecks(),
        StreamRunChecks(), StreamHintChecks(), PcmSettingChecks(), PcmStreamChecks(), ThreadChecks(), LifeChecks(),
        AllocationChecks(), CostChecks()}) {
    for (const Check& check : group) {
      checks.push_back(&check);
    }
  }
  return checks;
}

std::vector<const Check*> SelectChecks(const std::vector<std::string>& only, const std::vector<std::string>& skip) {
  std::vector<const Check*> checks = AllChecks();
  RefuseUnmatched("--only", only, checks);
  RefuseUnmatched("--skip", skip, checks);
  std::erase_if(checks, [&](const Check* check) {
    return (!only.empty() && !MatchesOneOf(only, check)) || MatchesOneOf(skip, check);
  });
  if (checks.empty()) {
    throw WrongUse("--skip leaves no check to run");
  }
  return checks;
}
