#include "Host/System/EndingSignals.h"

EndingSignalsHeld::EndingSignalsHeld() {
  sigemptyset(&m_signals);
  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    struct sigaction action {};
    // The two signals that glibc keeps for itself are not known to sigaction.
    const bool isKnown = sigaction(signal, nullptr, &action) == 0;
    // A blocked signal is kept pending even if it is ignored: ignored ones must not be held.
    if (isKnown && EndsProcess(signal) && !IsRaisedByFault(signal) && action.sa_handler != SIG_IGN) {
      sigaddset(&m_signals, signal);
    }
  }
  pthread_sigmask(SIG_BLOCK, &m_signals, &m_previous);
}

EndingSignalsHeld::~EndingSignalsHeld() { pthread_sigmask(SIG_SETMASK, &m_previous, nullptr); }
