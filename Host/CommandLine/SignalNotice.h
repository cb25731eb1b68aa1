#pragma once

#include <atomic>
#include <csignal>
#include <functional>
#include <thread>

/// While it lives, the signals by which people and batch systems end programs (SIGHUP, SIGINT, SIGQUIT, SIGTERM,
/// SIGUSR1, SIGUSR2, SIGXCPU) first call a function, on a thread of its own, and then take effect as they would have.
/// Signals that the process ignores stay ignored. Threads that are started later must not unblock them. Where no thread
/// can be had, nothing is called.
class SignalNotice {
 public:
  explicit SignalNotice(std::function<void()> onSignal);
  SignalNotice(const SignalNotice&) = delete;
  SignalNotice& operator=(const SignalNotice&) = delete;
  ~SignalNotice();

 private:
  /// The thread: waits for a signal, calls `onSignal` and raises the signal again, or returns when the object ends.
  void Wait(const std::function<void()>& onSignal) const;

  sigset_t m_signals{};
  sigset_t m_previous{};
  std::atomic<bool> m_isOver{false};
  std::thread m_thread;
};
