#include "Host/Validate/Engine/Runner.h"

#include "Host/System/ChildProcess.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>

namespace {

class Run {
 public:
  Run(const std::vector<const Check*>& checks, const std::string& module, const RunnerOptions& options)
      : m_module(module), m_options(options), m_outcomes(checks.size()), m_isDone(checks.size()) {
    std::transform(checks.begin(), checks.end(), m_outcomes.begin(), [](const Check* check) {
      return CheckOutcome{check, {}};
    });
  }

  /// A worker's life.
  void Work() {
    for (std::size_t index = m_next++; index < m_outcomes.size() && !m_isOver; index = m_next++) {
      CheckResult result;
      std::exception_ptr error;
      try {
        result = MakeCheck(*m_outcomes[index].check, m_module, m_options.timeLimit);
      } catch (...) {
        error = std::current_exception();
      }
      const std::lock_guard lock(m_mutex);
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
    return m_isOver ? nullptr : &m_outcomes[index];
  }

  /// No further check is begun.
  void Stop() { m_isOver = true; }

  /// Once no worker lives any more. Throws what ended the run early.
  std::vector<CheckOutcome> Take() {
    if (m_error != nullptr) {
      std::rethrow_exception(m_error);
    }
    return std::move(m_outcomes);
  }

 private:
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

/// Sees to it that the workers come to an end, however the wait for them ends.
struct Stopper {
  explicit Stopper(Run& stopped) : run(stopped) {}
  Stopper(const Stopper&) = delete;
  Stopper& operator=(const Stopper&) = delete;
  ~Stopper() { run.Stop(); }

  Run& run;
};

}  // namespace

std::vector<CheckOutcome> MakeChecks(const std::vector<const Check*>& checks, const std::string& module,
                                     const RunnerOptions& options,
                                     const std::function<void(const CheckOutcome&)>& onOutcome) {
  Run run(checks, module, options);
  {
    const EndingSignalsHeld held;
    std::vector<std::jthread> workers(std::min<std::size_t>(options.jobs, checks.size()));
    for (std::jthread& worker : workers) {
      worker = std::jthread([&run] { run.Work(); });
    }
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
