#pragma once

/// One question that `rhohost validate` asks of a module, and how its answer is given: a check that returns has
/// passed, one that ends with CheckFailed or CheckSkipped says so, and whatever else ends it (another exception, a
/// signal, the time limit) has failed it. Each check runs in a child process of its own, where it is the first to load
/// the module; what it leaves behind there hurts nobody.

#include <span>
#include <string>
#include <string_view>
#include <utility>

/// The module does not do what a host counts on.
struct CheckFailed {
  std::string expected;  ///< "12 sample frames in the last packet"
  std::string came;      ///< "none"
};

/// The check does not apply to this module, or cannot be made here.
struct CheckSkipped {
  std::string reason;  ///< "the module has no setting of several values"
};

/// Throws CheckFailed unless `holds`.
inline void Expect(bool holds, std::string expected, std::string came) {
  if (!holds) {
    throw CheckFailed{std::move(expected), std::move(came)};
  }
}

struct Check {
  /// A group, a dot, what is tried: "stream.block-sizes". What users select it by.
  const char* name;
  /// One sentence for people: what goes wrong in a host when this fails.
  const char* why;
  /// Makes the check on the module at this path.
  void (*run)(const std::string& module);
  /// Put into the environment, "NAME=VALUE" or "" for nothing. With several of them the check is made once in each, in
  /// processes of their own; it has passed when it has in all of them and each has said the same to MustAgree.
  std::span<const char* const> environments = {};
  /// Whether FailingAllocations.h is wanted in the process. Where it cannot be had the check is skipped.
  bool failsAllocations = false;
};

/// In a check with several environments: adds to what must be the same in all of them. Best in words, which a failure
/// shows; large data as a digest.
void MustAgree(std::string_view what);

/// The checks in the order in which they are made, by topic; one source each.
std::span<const Check> LoadingChecks();      ///< "load.": the file, and what loading it changes in the process
std::span<const Check> InformationChecks();  ///< "info.": entry points, codes, creation, slots
std::span<const Check> SettingChecks();      ///< "settings.": names, defaults, ranges, lists, copies, texts
std::span<const Check> StreamChecks();       ///< "stream.": packets of a run, whatever the blocks
std::span<const Check> LifeChecks();         ///< "life.": calls in any order, many objects, memory that runs out
