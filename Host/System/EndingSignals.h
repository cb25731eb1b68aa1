#pragma once

/// Signals that end a process that does not handle them.

#include <csignal>

/// True for every signal whose default action ends the process, but SIGKILL, which nothing can handle. Real-time
/// signals are among them.
inline bool EndsProcess(int signal) {
  switch (signal) {
    case SIGKILL:
    case SIGSTOP:
    case SIGTSTP:
    case SIGTTIN:
    case SIGTTOU:
    case SIGCONT:
    case SIGCHLD:
    case SIGURG:
    case SIGWINCH:
      return false;
    default:
      return signal >= 1 && signal <= SIGRTMAX;
  }
}

/// True for the signals that a thread receives for a fault of its own: the system does not wait for a thread that
/// blocks them, but ends the process.
inline bool IsRaisedByFault(int signal) {
  return signal == SIGABRT || signal == SIGBUS || signal == SIGFPE || signal == SIGILL || signal == SIGSEGV ||
         signal == SIGSYS || signal == SIGTRAP;
}

/// While it lives, the signals that ask this process to end are blocked, and wait. Every RunChild on this thread, and
/// on threads that were started meanwhile, ends its child when one arrives, and returns. The signals take effect when
/// the object is destroyed.
class EndingSignalsHeld {
 public:
  EndingSignalsHeld();
  EndingSignalsHeld(const EndingSignalsHeld&) = delete;
  EndingSignalsHeld& operator=(const EndingSignalsHeld&) = delete;
  ~EndingSignalsHeld();

  /// The signals that it holds: not those that this process ignores.
  const sigset_t& Signals() const { return m_signals; }

 private:
  sigset_t m_signals{};
  sigset_t m_previous{};
};
