#include "Host/CommandLine/SignalNotice.h"

#include <pthread.h>
#include <system_error>
#include <utility>

namespace {

/// Ends the wait. Blocked before the thread starts, so that it is never lost.
constexpr int kEndOfWait = SIGURG;

}  // namespace

SignalNotice::SignalNotice(std::function<void()> onSignal) {
  sigemptyset(&m_signals);
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2, SIGXCPU}) {
    struct sigaction action {};
    // A blocked signal would arrive here even if it is ignored.
    if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) {
      sigaddset(&m_signals, signal);
    }
  }
  sigset_t blocked = m_signals;
  sigaddset(&blocked, kEndOfWait);
  pthread_sigmask(SIG_BLOCK, &blocked, &m_previous);
  try {
    m_thread = std::thread([this, onSignal = std::move(onSignal)] { Wait(onSignal); });
  } catch (const std::exception&) {
    pthread_sigmask(SIG_SETMASK, &m_previous, nullptr);
  }
}

SignalNotice::~SignalNotice() {
  if (m_thread.joinable()) {
    m_isOver = true;
    pthread_kill(m_thread.native_handle(), kEndOfWait);
    m_thread.join();
    pthread_sigmask(SIG_SETMASK, &m_previous, nullptr);
  }
}

void SignalNotice::Wait(const std::function<void()>& onSignal) const {
  sigset_t signals = m_signals;
  sigaddset(&signals, kEndOfWait);
  int signal = 0;
  do {
    sigwait(&signals, &signal);
  } while (!m_isOver && signal == kEndOfWait);
  if (!m_isOver) {
    onSignal();
    pthread_sigmask(SIG_UNBLOCK, &m_signals, nullptr);
    raise(signal);
  }
}
