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

/// What this process has given to MustAgree.
std::string& Agreement() {
  static std::string text;
  return text;
}

struct Answer {
  CheckResult result;
  std::string agreement;
};

CheckResult Failed(std::string expected, std::string actual) {
  CheckResult result;
  result.expected = std::move(expected);
  result.actual = std::move(actual);
  return result;
}

std::string ToText(const Answer& answer) {
  const CheckResult& result = answer.result;
  const Json json{{"verdict", VerdictText(result.verdict)},
                  {"expected", ToUtf8(result.expected)},
                  {"actual", ToUtf8(result.actual)},
                  {"reason", ToUtf8(result.reason)},
                  {"agreement", ToUtf8(answer.agreement)}};
  return json.dump() + '\n';
}

/// What the child wrote: a line with a token of its own, before it loaded the module, then the token and its answer.
/// The module, which shares the child's descriptors, cannot know the token. Nothing when the answer is missing.
std::optional<Answer> FromText(const std::string& text) {
  const std::string token = text.substr(0, text.find('\n'));
  const std::size_t begin = text.find('\n' + token + ' ');
  if (token.empty() || begin == std::string::npos || !text.ends_with('\n')) {
    return std::nullopt;
  }
  Answer answer;
  const Json json = Json::parse(text.substr(begin + token.size() + 2), nullptr, false);
  if (begin != token.size() || !json.is_object()) {
    answer.result = Failed("nothing written to descriptors of the host",
                           "text from the module in the pipe that this check reports its result through");
    return answer;
  }
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

constexpr int kValgrindFoundErrors = 97;

/// Not those that watch the process or count allocations, which are valgrind's there, and not the longest.
bool CanRunUnderValgrind(const Check& check) {
  static constexpr std::array kExcluded{"process.*",     "threads.small-stack", "stream.input",
                                        "stream.minute", "pcm.long-run",        "pcm.sizes",
                                        "pcm.content",   "life.thousand-*",     "life.even-cost"};
  return !check.needsAllocator && std::none_of(kExcluded.begin(), kExcluded.end(), [&check](const char* pattern) {
    return fnmatch(pattern, check.name, 0) == 0;
  });
}

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
    task.arguments.front() = kValgrindArgument;
  } else if (const std::string allocator = AllocatorPath(); !allocator.empty()) {
    task.environment.push_back("LD_PRELOAD=" + allocator);
  }
  const ChildEnd end = RunChild(task);
  std::optional<Answer> answer = end.how == ChildEnd::kExited ? FromText(end.result) : std::nullopt;
  if (!answer) {
    answer.emplace();
    const std::string where = step.Text().empty() ? "" : " in or after " + step.Text();
    const char* const without = end.how == ChildEnd::kExited ? ", without a result" : "";
    answer->result =
        Failed("the check to complete", fmt::format("it {}{}", DescribeEnd(end, setup.timeLimit, where), without));
  }
  if (setup.underValgrind && end.how == ChildEnd::kExited && end.code == kValgrindFoundErrors) {
    answer->result = Failed("no memory errors", "valgrind reports some; what it printed says which");
  }
  answer->result.printed = end.printed;
  answer->result.isInterrupted = end.how == ChildEnd::kInterrupted;
  return *answer;
}

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
  unsetenv("LD_PRELOAD");
  // What is printed is to arrive even when the module ends the process.
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  StepNote::Open(stepNote);
  const std::string token = NewToken();
  WriteResult(token + '\n');
  for (const Check* const check : AllChecks()) {
    if (name == check->name) {
      const CheckResult result = TryCheck(*check, module);
      std::fflush(nullptr);
      WriteResult(token + ' ' + ToText({result, Agreement()}));
    }
  }
  // Without running any more code of the module: what it does when a process exits is the subject of a check.
  _exit(0);
}

void StartValgrindInChild(const std::string& name, const std::string& module, const std::string& stepNote) {
  const std::string program = std::filesystem::read_symlink("/proc/self/exe");
  const std::string exitCode = fmt::format("--error-exitcode={}", kValgrindFoundErrors);
  execlp("valgrind", "valgrind", "--quiet", "--exit-on-first-error=yes", exitCode.c_str(), program.c_str(),
         kCheckArgument, name.c_str(), module.c_str(), stepNote.c_str(), nullptr);
  std::perror("valgrind");
  _exit(127);
}
