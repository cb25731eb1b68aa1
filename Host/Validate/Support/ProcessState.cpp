#include "Host/Validate/Support/ProcessState.h"

#include "Host/Validate/Engine/Check.h"

#include <cfenv>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <limits>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

std::string FileModeMask() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("Umask:")) {
      return line.substr(line.find_last_of(" \t") + 1);
    }
  }
  return "unknown";
}

std::string HandlerText(const struct sigaction& action) {
  const auto address = reinterpret_cast<std::uintptr_t>(action.sa_handler);
  return action.sa_handler == SIG_DFL   ? "the default"
         : action.sa_handler == SIG_IGN ? "ignored"
                                        : fmt::format("a handler at {:#x}", address);
}

bool AreSmallestNumbersZero() {
  volatile double small = std::numeric_limits<double>::min();
  small = small / 2;
  return small == 0;
}

}  // namespace

ProcessState Threads() {
  ProcessState state;
  for (const auto& thread : fs::directory_iterator("/proc/self/task")) {
    state["thread " + thread.path().filename().string()] = "running";
  }
  return state;
}

ProcessState Descriptors() {
  ProcessState state;
  // Bounded by what a process usually may have; reading /proc/self/fd would open one itself.
  for (int descriptor = 0; descriptor < 1024; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) != -1) {
      std::error_code error;
      state[fmt::format("descriptor {}", descriptor)] =
          fs::read_symlink(fmt::format("/proc/self/fd/{}", descriptor), error);
    }
  }
  return state;
}

ProcessState Signals() {
  ProcessState state;
  sigset_t blocked;
  pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    struct sigaction action {};
    if (sigaction(signal, nullptr, &action) == 0) {
      state[fmt::format("signal {}", signal)] =
          HandlerText(action) + (sigismember(&blocked, signal) == 1 ? ", blocked" : "");
    }
  }
  return state;
}

ProcessState Surroundings() {
  ProcessState state{{"locale", std::setlocale(LC_ALL, nullptr)},
                     {"working folder", fs::current_path()},
                     {"file mode mask", FileModeMask()},
                     {"rounding of numbers", std::to_string(std::fegetround())},
                     {"smallest numbers", AreSmallestNumbersZero() ? "count as zero" : "as they are"}};
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text(*entry);
    state["environment variable " + text.substr(0, text.find('='))] = text.substr(text.find('=') + 1);
  }
  return state;
}

void ExpectUnchanged(const ProcessState& before, const ProcessState& after, const std::string& when) {
  const auto value = [](const ProcessState& state, const std::string& name) {
    const auto found = state.find(name);
    return found == state.end() ? std::string("nothing") : found->second;
  };
  ProcessState all = before;
  all.insert(after.begin(), after.end());
  for (const auto& [name, ignored] : all) {
    const std::string is = value(after, name);
    const std::string was = value(before, name);
    ExpectThat(is == was, is, "{} after {} as before: {}", name, when, was);
  }
}

PrintedText::PrintedText()
    : m_file(memfd_create("printed", MFD_CLOEXEC)),
      m_output(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)),
      m_errors(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)) {
  std::fflush(nullptr);
  dup2(m_file, STDOUT_FILENO);
  dup2(m_file, STDERR_FILENO);
}

PrintedText::~PrintedText() {
  std::fflush(nullptr);
  dup2(m_output, STDOUT_FILENO);
  dup2(m_errors, STDERR_FILENO);
  close(m_output);
  close(m_errors);
  close(m_file);
}

std::string PrintedText::Text() const {
  std::fflush(nullptr);
  std::string text(static_cast<std::size_t>(lseek(m_file, 0, SEEK_CUR)), '\0');
  const ssize_t count = pread(m_file, text.data(), text.size(), 0);
  text.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
  return text;
}
