#pragma once

/// One check of `rhohost validate` and how it reports its result: a check that returns has passed, one that throws
/// CheckFailed or CheckSkipped has failed or was skipped, and any other end (another exception, a signal, the time
/// limit) is a failure. Each check runs in a child process of its own, which loads the module for the first time.

#include <fmt/format.h>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

/// The module does not do what a host relies on.
struct CheckFailed {
  std::string expected;  ///< "12 sample frames in the last packet"
  std::string actual;    ///< "none"
};

/// The check does not apply to this module, or cannot run here.
struct CheckSkipped {
  std::string reason;  ///< "the module has no setting of several values"
};

/// Throws CheckFailed unless `holds`.
inline void Expect(bool holds, std::string expected, std::string actual) {
  if (!holds) {
    throw CheckFailed{std::move(expected), std::move(actual)};
  }
}

/// The same, where the texts cost more than the question: `what`, formatted with the values behind it, is what was
/// expected.
template <class... Values>
void ExpectThat(bool holds, std::string_view actual, fmt::format_string<Values...> what, Values&&... values) {
  if (!holds) {
    throw CheckFailed{fmt::format(what, std::forward<Values>(values)...), std::string(actual)};
  }
}

/// Throws CheckFailed unless both are equal; `what`, formatted with the values behind it, says what they are.
template <class Value, class Actual, class... Values>
void ExpectEqual(const Value& expected, const Actual& actual, fmt::format_string<Values...> what, Values&&... values) {
  const bool isEqual = [&] {
    if constexpr (std::is_integral_v<Value> && std::is_integral_v<Actual>) {
      return std::cmp_equal(expected, actual);
    } else {
      return expected == actual;
    }
  }();
  if (!isEqual) {
    throw CheckFailed{fmt::format("{}: {}", fmt::format(what, std::forward<Values>(values)...), expected),
                      fmt::format("{}", actual)};
  }
}

/// Notes what the child does now. When it crashes or hangs, the report names the last step.
void NoteStep(std::string_view step);

struct Check {
  /// Group, dot, subject: "stream.block-sizes". Users select checks by it.
  const char* name;
  /// One sentence for people: what goes wrong in a host when this fails.
  const char* why;
  /// Runs the check on the module at this path.
  void (*run)(const std::string& module);
  /// The check that must have passed before, by name; null for none. When it fails, this one is skipped.
  const char* needs = nullptr;
  /// Added to the environment, "NAME=VALUE" or "" for nothing. With several of them the check runs once in each, in a
  /// process of its own; it passes when it passes in all of them and each has given the same to MustAgree.
  std::span<const char* const> environments = {};
  /// Whether it needs the library of FailingAllocations.h. Where there is none the check is skipped.
  bool needsAllocator = false;
};

/// In a check with several environments: adds to what must be the same in all of them. Best in words, which a failure
/// shows; large data as a digest.
void MustAgree(std::string_view what);

/// The prerequisites of the others, in this order.
inline constexpr const char* kLoads = "load.binds-at-once";
inline constexpr const char* kHasEntryPoints = "load.entry-points";
inline constexpr const char* kHasCompressors = "info.creates";
inline constexpr const char* kHasSettings = "settings.texts";

/// The checks in the order in which they run, by topic; one source each.
std::span<const Check> LoadingChecks();            ///< "load.": the file, loading and unloading
std::span<const Check> ProcessChecks();            ///< "process.": what a module does to the process
std::span<const Check> InformationChecks();        ///< "info.": entry points, codes, creation, slots
std::span<const Check> SettingOfferChecks();       ///< "settings.": names, defaults, ranges, lists
std::span<const Check> SettingChangeChecks();      ///< "settings.": which values are taken, flags, presets
std::span<const Check> SettingDependenceChecks();  ///< "settings.": what settings do to one another
std::span<const Check> SettingCopyChecks();        ///< "settings.": copies
std::span<const Check> StreamPacketChecks();       ///< "stream.": the packets of a run
std::span<const Check> StreamMemoryChecks();       ///< "stream.": who owns the input and the packets
std::span<const Check> PacketChecks();             ///< "packets.": packets and bundles as objects
std::span<const Check> StreamRunChecks();          ///< "stream.": runs one after the other and side by side
std::span<const Check> StreamHintChecks();         ///< "stream.": hints and refusals
std::span<const Check> PcmSettingChecks();         ///< "pcm.": names, settings and answers of Linear PCM
std::span<const Check> PcmStreamChecks();          ///< "pcm.": runs of Linear PCM
std::span<const Check> ThreadChecks();             ///< "threads.": other threads, several at a time
std::span<const Check> LifeChecks();               ///< "life.": calls in any order, many objects, copies
std::span<const Check> AllocationChecks();         ///< "life.": memory that runs out
std::span<const Check> CostChecks();               ///< "life.": leaks, and the cost of a run against its length
