#include "Host/CommandLine/SignalNotice.h"

#include <pthread.h>
#include <system_error>
#include <utility>

SignalNotice::SignalNotice(std::function<void()> onSignal) {
  sigemptyset(&m_signals);
  for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
    struct sigaction action {};
    // A blocked signal would arrive here even if it is ignored.
    if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) {
      sigaddset(&m_signals, signal);
    }
  }
  pthread_sigmask(SIG_BLOCK, &m_signals, &m_previous);
  try {
    m_thread = std::thread([this, onSignal = std::move(onSignal)] { Wait(onSignal); });
  } catch (const std::exception&) {
    pthread_sigmask(SIG_SETMASK, &m_previous, nullptr);
  }
}

SignalNotice::~SignalNotice() {
  if (m_thread.joinable()) {
    m_isOver = true;
    pthread_kill(m_thread.native_handle(), SIGTERM);
    m_thread.join();
    pthread_sigmask(SIG_SETMASK, &m_previous, nullptr);
  }
}

void SignalNotice::Wait(const std::function<void()>& onSignal) const {
  sigset_t signals = m_signals;
  sigaddset(&signals, SIGTERM);  // the destructor's way to end the wait, even if ignored otherwise
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  int signal = 0;
  do {
    sigwait(&signals, &signal);
  } while (!m_isOver && sigismember(&m_signals, signal) == 0);
  if (!m_isOver) {
    onSignal();
    pthread_sigmask(SIG_UNBLOCK, &m_signals, nullptr);
    raise(signal);
  }
}
