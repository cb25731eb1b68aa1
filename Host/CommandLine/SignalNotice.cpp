#include "Host/CommandLine/SignalNotice.h"

#include <pthread.h>
#include <utility>

namespace {

/// Sent to the thread to end its wait; ignored by default. It is blocked before the thread starts, so it is never lost.
constexpr int kEndOfWait = SIGURG;

}  // namespace

SignalNotice::SignalNotice(std::function<void()> onSignal) {
  sigemptyset(&m_signals);
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2, SIGXCPU}) {
    struct sigaction action {};
    // sigwait returns blocked signals even if they are ignored.
    if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) {
      sigaddset(&m_signals, signal);
    }
  }
  // Blocked in this thread and in those that it starts, which inherit the mask: the signals wait for the sigwait below.
  sigset_t blocked = m_signals;
  sigaddset(&blocked, kEndOfWait);
  pthread_sigmask(SIG_BLOCK, &blocked, &m_previous);
  try {
    m_thread = std::thread([this, onSignal = std::move(onSignal)] { Wait(onSignal); });
  } catch (const std::exception&) {
    // No thread can be started: the signals take effect at once, as documented.
    pthread_sigmask(SIG_SETMASK, &m_previous, nullptr);
  }
}

SignalNotice::~SignalNotice() {
  if (m_thread.joinable()) {
    m_isOver = true;
    // After m_isOver: the thread must see it when it wakes.
    pthread_kill(m_thread.native_handle(), kEndOfWait);
    m_thread.join();
    pthread_sigmask(SIG_SETMASK, &m_previous, nullptr);
  }
}

void SignalNotice::Wait(const std::function<void()>& onSignal) const {
  sigset_t signals = m_signals;
  sigaddset(&signals, kEndOfWait);
  int signal = 0;
  // Another process may send kEndOfWait too: that is ignored.
  do {
    sigwait(&signals, &signal);
  } while (!m_isOver && signal == kEndOfWait);
  if (!m_isOver) {
    onSignal();
    // Unblocked in this thread alone: raise delivers the signal here, to its handler or with its default action.
    pthread_sigmask(SIG_UNBLOCK, &m_signals, nullptr);
    raise(signal);
  }
}
