#include "Host/Validate/Engine/CheckProcess.h"

#include "Host/Plugin/ModuleSearch.h"
#include "Host/System/ChildProcess.h"
#include "Host/Text/Hexadecimal.h"
#include "Host/Text/Utf8.h"
#include "Host/Validate/Engine/Seed.h"
#include "Host/Validate/Engine/Selection.h"
#include "Host/Validate/Engine/StepNote.h"

#include <fnmatch.h>
#include <sys/random.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>

using Json = nlohmann::json;

namespace {

/// The texts passed to MustAgree in this process, joined. A function's static, so that no initialization order matters.
std::string& Agreement() {
  static std::string text;
  return text;
}

/// What a child hands to its parent: the result, and its Agreement().
struct Answer {
  CheckResult result;
  std::string agreement;
};

/// The result of a failed check.
CheckResult Failed(std::string expected, std::string actual) {
  CheckResult result;
  result.expected = std::move(expected);
  result.actual = std::move(actual);
  return result;
}

/// The answer as one line of JSON, read by FromText. ToUtf8 because dump() throws on invalid UTF-8, and the texts can
/// contain bytes from the module.
std::string ToText(const Answer& answer) {
  const CheckResult& result = answer.result;
  const Json json{{"verdict", VerdictText(result.verdict)},
                  {"expected", ToUtf8(result.expected)},
                  {"actual", ToUtf8(result.actual)},
                  {"reason", ToUtf8(result.reason)},
                  {"agreement", ToUtf8(answer.agreement)}};
  return json.dump() + '\n';
}

/// Parses the child's output: a random token on the first line, written before the module is loaded, then the token
/// again and the answer. The module shares the child's descriptors and can write to the pipe, but does not know the
/// token, so it cannot forge an answer. Nothing when the answer is missing or incomplete.
std::optional<Answer> FromText(const std::string& text) {
  const std::string token = text.substr(0, text.find('\n'));
  const std::size_t begin = text.find('\n' + token + ' ');
  // Without the final line feed the child ended, or was killed, in the middle of the answer.
  if (token.empty() || begin == std::string::npos || !text.ends_with('\n')) {
    return std::nullopt;
  }
  Answer answer;
  const Json json = Json::parse(text.substr(begin + token.size() + 2), nullptr, false);
  // Bytes between the first line and the answer, or behind the answer, are not the host's.
  if (begin != token.size() || !json.is_object()) {
    answer.result = Failed("nothing written to descriptors of the host",
                           "text from the module in the pipe that this check reports its result through");
    return answer;
  }
  // An unknown text leaves the initial verdict, kFailed.
  for (const Verdict verdict : {Verdict::kPassed, Verdict::kFailed, Verdict::kSkipped}) {
    if (json.value("verdict", "") == VerdictText(verdict)) {
      answer.result.verdict = verdict;
    }
  }
  answer.result.expected = json.value("expected", "");
  answer.result.actual = json.value("actual", "");
  answer.result.reason = json.value("reason", "");
  answer.agreement = json.value("agreement", "");
  return answer;
}

/// Runs the check in this process and turns whatever it throws into a result. Catches everything: an exception that
/// left this function would end the child without a result.
CheckResult TryCheck(const Check& check, const std::string& module) {
  constexpr const char* kNoException = "no exception from the module";
  CheckResult result;
  try {
    check.run(module);
    result.verdict = Verdict::kPassed;
    return result;
  } catch (const CheckFailed& failure) {
    return Failed(failure.expected, failure.actual);
  } catch (const CheckSkipped& skipped) {
    result.verdict = Verdict::kSkipped;
    result.reason = skipped.reason;
    return result;
  } catch (const std::exception& error) {
    return Failed(kNoException, fmt::format("an exception: {}", error.what()));
  } catch (...) {
    return Failed(kNoException, "an exception that is not a std::exception");
  }
}

/// The library of Host/Validate/Engine/FailingAllocations.h; empty when this installation has none.
std::string AllocatorPath() { return FindOwnLibrary("FailingAllocations.so"); }

/// Valgrind's exit code when it has found an error (--error-exitcode). No check ends the child with it: RunCheckInChild
/// exits with 0.
constexpr int kValgrindFoundErrors = 97;

/// False for checks that watch the process or count allocations, because under valgrind those are valgrind's own, and
/// for the longest checks, which valgrind slows down beyond the time limit.
bool CanRunUnderValgrind(const Check& check) {
  static constexpr std::array kExcluded{"process.*",     "threads.small-stack", "stream.input",
                                        "stream.minute", "pcm.long-run",        "pcm.sizes",
                                        "pcm.content",   "life.thousand-*",     "life.even-cost"};
  return !check.needsAllocator && std::none_of(kExcluded.begin(), kExcluded.end(), [&check](const char* pattern) {
    return fnmatch(pattern, check.name, 0) == 0;
  });
}

/// Runs the check in one child with `environment`, "NAME=VALUE" or empty. A child that ends without an answer gives a
/// failure that names the last step.
Answer RunInChild(const Check& check, const std::string& environment, const std::string& module,
                  const CheckSetup& setup) {
  const StepNote step;
  ChildTask task{{kCheckArgument, check.name, module, step.Path()}, {}, setup.timeLimit};
  // One seed for all children, so that a check that runs in several of them does the same in each.
  task.environment.push_back(fmt::format("RHOHOST_SEED={}", Seed()));
  if (!environment.empty()) {
    task.environment.push_back(environment);
  }
  if (setup.underValgrind) {
    // No LD_PRELOAD: here valgrind's own allocator watches the memory.
    task.arguments.front() = kValgrindArgument;
  } else if (const std::string allocator = AllocatorPath(); !allocator.empty()) {
    task.environment.push_back("LD_PRELOAD=" + allocator);
  }
  const ChildEnd end = RunChild(task);
  // An answer of a child that was killed or has crashed does not count, even if it arrived before.
  std::optional<Answer> answer = end.how == ChildEnd::kExited ? FromText(end.result) : std::nullopt;
  if (!answer) {
    answer.emplace();
    const std::string where = step.Text().empty() ? "" : " in or after " + step.Text();
    const char* const without = end.how == ChildEnd::kExited ? ", without a result" : "";
    answer->result =
        Failed("the check to complete", fmt::format("it {}{}", DescribeEnd(end, setup.timeLimit, where), without));
  }
  // Valgrind stops the child at the first error, before it can answer; its report is in what the child printed.
  if (setup.underValgrind && end.how == ChildEnd::kExited && end.code == kValgrindFoundErrors) {
    answer->result = Failed("no memory errors", "valgrind reports some; what it printed says which");
  }
  answer->result.printed = end.printed;
  answer->result.isInterrupted = end.how == ChildEnd::kInterrupted;
  return *answer;
}

/// Runs the check once in each of its environments, of which there is at least one, and returns the first result that
/// is not a pass, a failure if two children disagree on MustAgree, or else the pass.
CheckResult RunInEnvironments(const Check& check, const std::string& module, const CheckSetup& setup) {
  std::optional<Answer> first;
  for (const char* const environment : check.environments) {
    Answer answer = RunInChild(check, environment, module, setup);
    const std::string where = *environment == '\0' ? "" : fmt::format(" (with {})", environment);
    if (answer.result.verdict != Verdict::kPassed) {
      answer.result.actual += answer.result.verdict == Verdict::kFailed ? where : "";
      return answer.result;
    }
    if (first && answer.agreement != first->agreement) {
      CheckResult different = Failed("the same in each process: " + first->agreement, answer.agreement + where);
      different.printed = answer.result.printed;
      return different;
    }
    first = first ? first : answer;
  }
  return first->result;
}

/// 32 hexadecimal digits that a module cannot guess; empty without random bytes, and FromText then finds no answer.
std::string NewToken() {
  std::array<unsigned char, 16> bytes{};
  return getrandom(bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()) ? HexText(bytes) : "";
}

}  // namespace

const char* VerdictText(Verdict verdict) {
  return verdict == Verdict::kPassed ? "passed" : verdict == Verdict::kFailed ? "failed" : "skipped";
}

void MustAgree(std::string_view what) { Agreement().append(what); }

CheckResult RunCheck(const Check& check, const std::string& module, const CheckSetup& setup) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point start = Clock::now();
  CheckResult result;
  if (setup.underValgrind && !CanRunUnderValgrind(check)) {
    result.verdict = Verdict::kSkipped;
    result.reason = "it cannot run under valgrind";
  } else if (check.needsAllocator && AllocatorPath().empty()) {
    result.verdict = Verdict::kSkipped;
    result.reason = "this installation has no FailingAllocations.so; builds with sanitizers have none";
  } else {
    result = check.environments.empty() ? RunInChild(check, "", module, setup).result
                                        : RunInEnvironments(check, module, setup);
  }
  result.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  return result;
}

void RunCheckInChild(const std::string& name, const std::string& module, const std::string& stepNote) {
  BecomeChild();
  // The library is loaded already. Processes that the module starts must not get it too.
  unsetenv("LD_PRELOAD");
  // Line buffering: printed lines reach the parent even when the module ends the process without flushing.
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  StepNote::Open(stepNote);
  const std::string token = NewToken();
  WriteResult(token + '\n');
  for (const Check* const check : AllChecks()) {
    if (name == check->name) {
      const CheckResult result = TryCheck(*check, module);
      // _exit below does not flush.
      std::fflush(nullptr);
      WriteResult(token + ' ' + ToText({result, Agreement()}));
    }
  }
  // _exit runs no exit handler and no destructor of the module: the check process.exit looks at those.
  _exit(0);
}

void StartValgrindInChild(const std::string& name, const std::string& module, const std::string& stepNote) {
  // The real path: after the exec, /proc/self/exe is valgrind itself.
  const std::string program = std::filesystem::read_symlink("/proc/self/exe");
  const std::string exitCode = fmt::format("--error-exitcode={}", kValgrindFoundErrors);
  execlp("valgrind", "valgrind", "--quiet", "--exit-on-first-error=yes", exitCode.c_str(), program.c_str(),
         kCheckArgument, name.c_str(), module.c_str(), stepNote.c_str(), nullptr);
  // execlp returns only on failure. 127 is the shell's exit code for a command that cannot be found.
  std::perror("valgrind");
  _exit(127);
}
