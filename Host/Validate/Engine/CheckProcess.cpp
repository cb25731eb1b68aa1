#include "Host/Validate/Engine/CheckProcess.h"

#include "Host/System/ChildProcess.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Utf8.h"
#include "Host/Validate/Engine/Selection.h"

#include <unistd.h>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <new>
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

const char* VerdictText(Verdict verdict) {
  return verdict == Verdict::kPassed ? "passed" : verdict == Verdict::kFailed ? "failed" : "skipped";
}

std::string ToText(const Answer& answer) {
  const CheckResult& result = answer.result;
  const Json json{{"verdict", VerdictText(result.verdict)},
                  {"expected", ToUtf8(result.expected)},
                  {"came", ToUtf8(result.came)},
                  {"reason", ToUtf8(result.reason)},
                  {"agreement", ToUtf8(answer.agreement)}};
  return json.dump() + '\n';
}

/// Nothing when it is not all there.
std::optional<Answer> FromText(const std::string& text) {
  const Json json = Json::parse(text, nullptr, false);
  if (!json.is_object() || !text.ends_with('\n')) {
    return std::nullopt;
  }
  Answer answer;
  for (const Verdict verdict : {Verdict::kPassed, Verdict::kFailed, Verdict::kSkipped}) {
    if (json.value("verdict", "") == VerdictText(verdict)) {
      answer.result.verdict = verdict;
    }
  }
  answer.result.expected = json.value("expected", "");
  answer.result.came = json.value("came", "");
  answer.result.reason = json.value("reason", "");
  answer.agreement = json.value("agreement", "");
  return answer;
}

CheckResult Failed(std::string expected, std::string came) {
  return {Verdict::kFailed, std::move(expected), std::move(came), {}, {}, 0, false};
}

CheckResult TryCheck(const Check& check, const std::string& module) {
  constexpr const char* kNoException = "no exception from the module";
  try {
    check.run(module);
    return {Verdict::kPassed, {}, {}, {}, {}, 0, false};
  } catch (const CheckFailed& failure) {
    return Failed(failure.expected, failure.came);
  } catch (const CheckSkipped& skipped) {
    return {Verdict::kSkipped, {}, {}, skipped.reason, {}, 0, false};
  } catch (const std::exception& error) {
    return Failed(kNoException, std::string("an exception: ") + error.what());
  } catch (...) {
    return Failed(kNoException, "an exception that is no std::exception");
  }
}

/// The library of Host/Validate/Engine/FailingAllocations.h.
std::string FailingAllocationsPath() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path() / "FailingAllocations.so";
}

Answer Ask(const Check& check, const std::string& environment, const std::string& module,
           std::chrono::milliseconds timeLimit) {
  ChildTask task{{kCheckArgument, check.name, module}, {}, timeLimit};
  if (!environment.empty()) {
    task.environment.push_back(environment);
  }
  if (check.failsAllocations) {
    task.environment.push_back("LD_PRELOAD=" + FailingAllocationsPath());
  }
  const ChildEnd end = RunChild(task);
  std::optional<Answer> answer = end.how == ChildEnd::kExited ? FromText(end.result) : std::nullopt;
  if (!answer) {
    answer.emplace();
    const char* const without = end.how == ChildEnd::kExited ? ", without a result" : "";
    answer->result = Failed("the check to come to its end", "it " + DescribeEnd(end, timeLimit) + without);
  }
  answer->result.printed = end.printed;
  answer->result.isInterrupted = end.how == ChildEnd::kInterrupted;
  return *answer;
}

CheckResult MakeInEnvironments(const Check& check, const std::string& module, std::chrono::milliseconds timeLimit) {
  std::optional<Answer> first;
  for (const char* const environment : check.environments) {
    Answer answer = Ask(check, environment, module, timeLimit);
    const std::string where = *environment == '\0' ? "" : std::string(" (with ") + environment + ")";
    if (answer.result.verdict != Verdict::kPassed) {
      answer.result.came += answer.result.verdict == Verdict::kFailed ? where : "";
      return answer.result;
    }
    if (first && answer.agreement != first->agreement) {
      CheckResult differing = Failed("the same in each process: " + first->agreement, answer.agreement + where);
      differing.printed = answer.result.printed;
      return differing;
    }
    first = first ? first : answer;
  }
  return first->result;
}

}  // namespace

void MustAgree(std::string_view what) { Agreement().append(what); }

CheckResult MakeCheck(const Check& check, const std::string& module, std::chrono::milliseconds timeLimit) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point start = Clock::now();
  CheckResult result;
  if (check.failsAllocations && !std::filesystem::exists(FailingAllocationsPath())) {
    result.verdict = Verdict::kSkipped;
    result.reason = "this installation has no FailingAllocations.so; builds with sanitizers have none";
  } else {
    result = check.environments.empty() ? Ask(check, "", module, timeLimit).result
                                        : MakeInEnvironments(check, module, timeLimit);
  }
  result.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  return result;
}

void MakeCheckInChild(const std::string& name, const std::string& module) {
  BecomeChild();
  unsetenv("LD_PRELOAD");
  // What is printed is to arrive even when the module ends the process in its own way.
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  for (const Check* const check : AllChecks()) {
    if (name == check->name) {
      const CheckResult result = TryCheck(*check, module);
      std::fflush(nullptr);
      WriteResult(ToText({result, Agreement()}));
    }
  }
  // Nothing of the module is to run any more: what it does at the end of a process has its own check.
  _exit(0);
}
