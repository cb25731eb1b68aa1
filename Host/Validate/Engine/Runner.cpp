#include "Host/Validate/Engine/Runner.h"

#include "Host/System/EndingSignals.h"
#include "Host/Validate/Engine/Selection.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <map>
#include <mutex>
#include <set>
#include <string_view>
#include <thread>

namespace {

/// Results by the names of their checks, which are constants.
using Results = std::map<std::string_view, CheckResult>;

/// The checks of one run, shared by the worker threads and the thread that waits for the outcomes. The mutex guards the
/// outcomes, the flags of the finished ones and the error.
class Run {
 public:
  /// `known` are results of checks that have already run or are skipped; Work does not run these again.
  Run(const std::vector<const Check*>& checks, Results known, const std::string& module, const RunnerOptions& options)
      : m_module(module), m_options(options), m_outcomes(checks.size()), m_isDone(checks.size()) {
    for (std::size_t index = 0; index < checks.size(); ++index) {
      m_outcomes[index].check = checks[index];
      if (const auto found = known.find(checks[index]->name); found != known.end()) {
        m_outcomes[index].result = std::move(found->second);
        m_isDone[index] = true;
      }
    }
  }

  /// Runs checks until none is left: the work of one thread.
  void Work() {
    // The counter hands each index to one thread only.
    for (std::size_t index = m_next++; index < m_outcomes.size() && !m_isOver; index = m_next++) {
      if (IsDone(index)) {
        continue;
      }
      CheckResult result;
      // An exception must not leave the thread, which would end the process. Take() throws it to the caller.
      std::exception_ptr error;
      try {
        result = RunCheck(*m_outcomes[index].check, m_module, m_options.setup);
      } catch (...) {
        error = std::current_exception();
      }
      const std::lock_guard lock(m_mutex);
      // An interrupted check has no result. It ends the run: the process has been asked to end.
      m_isOver = m_isOver || error != nullptr || result.isInterrupted;
      m_error = m_error != nullptr ? m_error : error;
      m_outcomes[index].result = std::move(result);
      m_isDone[index] = true;
      m_changed.notify_one();
    }
  }

  /// Waits for the outcome of a check; null when there will be none.
  const CheckOutcome* WaitFor(std::size_t index) {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [&] { return m_isDone[index] || m_isOver; });
    // Once the run is over, this outcome or an earlier one may be missing.
    return m_isOver ? nullptr : &m_outcomes[index];
  }

  /// Starts no further check.
  void Stop() { m_isOver = true; }

  /// The outcomes, once all threads have ended. Throws what ended the run early.
  std::vector<CheckOutcome> Take() {
    if (m_error != nullptr) {
      std::rethrow_exception(m_error);
    }
    return std::move(m_outcomes);
  }

 private:
  /// Locks: the bits of a vector<bool> share bytes, which other threads write to.
  bool IsDone(std::size_t index) {
    const std::lock_guard lock(m_mutex);
    return m_isDone[index];
  }

  const std::string& m_module;
  const RunnerOptions& m_options;
  std::atomic<std::size_t> m_next{0};
  std::atomic<bool> m_isOver{false};
  std::mutex m_mutex;
  std::condition_variable m_changed;
  std::exception_ptr m_error;
  std::vector<CheckOutcome> m_outcomes;
  std::vector<bool> m_isDone;
};

/// Stops the run at the end of the scope, also when `onOutcome` throws: the jthreads join after it is destroyed.
struct Stopper {
  explicit Stopper(Run& stopped) : run(stopped) {}
  Stopper(const Stopper&) = delete;
  Stopper& operator=(const Stopper&) = delete;
  ~Stopper() { run.Stop(); }

  Run& run;
};

/// The check of that name, which must exist: names come from Check::needs.
const Check* FindCheck(const char* name) {
  const std::vector<const Check*> all = AllChecks();
  return *std::find_if(all.begin(), all.end(),
                       [name](const Check* check) { return std::string_view(name) == check->name; });
}

/// The first prerequisite of `check` that is among the failed ones; null when there is none.
const char* FailedNeed(const Check& check, const Results& results) {
  // Prerequisites have prerequisites of their own, up to the loading of the module.
  for (const char* need = check.needs; need != nullptr; need = FindCheck(need)->needs) {
    if (const auto found = results.find(need); found != results.end() && found->second.verdict == Verdict::kFailed) {
      return need;
    }
  }
  return nullptr;
}

/// Runs the prerequisites of `checks`, one at a time. Afterwards `checks` also contains the prerequisites that failed,
/// in the order of AllChecks. Returns the results of the prerequisites and of the checks skipped because of them.
/// When this process is asked to end, `checks` and the results are empty.
Results RunPrerequisites(std::vector<const Check*>& checks, const std::string& module, const RunnerOptions& options) {
  std::set<const Check*> wanted(checks.begin(), checks.end());
  std::set<std::string_view> needed;
  for (const Check* const check : checks) {
    for (const char* need = check->needs; need != nullptr; need = FindCheck(need)->needs) {
      needed.insert(need);
    }
  }
  Results results;
  for (const Check* const check : AllChecks()) {
    // AllChecks lists each prerequisite behind those that it needs itself, so their results are known here.
    if (needed.contains(check->name) && FailedNeed(*check, results) == nullptr) {
      CheckResult& result = results[check->name] = RunCheck(*check, module, options.setup);
      if (result.isInterrupted) {
        checks.clear();
        return {};
      }
      if (result.verdict == Verdict::kFailed) {
        // The user has to see the reason for the skipped checks, even when only those were selected.
        wanted.insert(check);
      }
    }
  }
  checks.clear();
  for (const Check* const check : AllChecks()) {
    if (wanted.contains(check)) {
      checks.push_back(check);
      if (const char* const need = FailedNeed(*check, results)) {
        CheckResult& result = results[check->name];
        result.verdict = Verdict::kSkipped;
        result.reason = fmt::format("{} failed", need);
      }
    }
  }
  return results;
}

}  // namespace

std::vector<CheckOutcome> RunChecks(std::vector<const Check*> checks, const std::string& module,
                                    const RunnerOptions& options,
                                    const std::function<void(const CheckOutcome&)>& onOutcome) {
  // Before any thread starts: threads inherit the blocked signals.
  const EndingSignalsHeld held;
  Results known = RunPrerequisites(checks, module, options);
  Run run(checks, std::move(known), module, options);
  {
    std::vector<std::jthread> workers(std::min<std::size_t>(options.jobs, checks.size()));
    for (std::jthread& worker : workers) {
      worker = std::jthread([&run] { run.Work(); });
    }
    // Declared behind the workers, so that it stops them before they are joined.
    const Stopper stopper{run};
    for (std::size_t index = 0; index < checks.size(); ++index) {
      const CheckOutcome* const outcome = run.WaitFor(index);
      if (outcome == nullptr) {
        break;
      }
      onOutcome(*outcome);
    }
  }
  return run.Take();
}
