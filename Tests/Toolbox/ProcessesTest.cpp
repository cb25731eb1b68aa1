#include "Tests/Support/SystemCalls.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Toolbox/KelUtils/Processes/DebugPrint.h"
#include "Toolbox/KelUtils/Processes/Modules.h"
#include "Toolbox/KelUtils/Processes/Processes.h"
#include "Toolbox/KelUtils/Processes/SystemQueries.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <cerrno>
#include <csignal>

namespace {

bool Launch(const std::string& program, const std::list<std::string>& arguments, const std::string& folder) {
  const auto before = OpenDescriptors();
  const bool result = KelLaunchApplication(program, arguments, folder, false, false);
  EXPECT_EQ(OpenDescriptors(), before);
  EXPECT_TRUE(waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD) << "a process is left";
  return result;
}

TEST(DetachedLaunch, RunsOnItsOwnWithExactlyTheseArguments) {
  const TemporaryFolder folder;
  mkfifo((folder / "result").c_str(), 0600);
  // The test reads the program's output from a FIFO, which needs no waiting time.
  const char* const script =
      "exec > result; echo \"$#|$1|$2|$PWD\"; cut -d' ' -f4,6 /proc/$$/stat; grep SigIgn /proc/$$/status;"
      "ls -l /proc/self/fd";
  EXPECT_TRUE(Launch("sh", {"-c", script, "sh", "a \"b\" $HOME '", ""}, folder.Path()));
  std::ifstream result(folder / "result");
  std::string line;
  std::getline(result, line);
  EXPECT_EQ(line, "2|a \"b\" $HOME '||" + folder.Path());
  pid_t parent = 0;
  pid_t session = 0;
  unsigned long ignored = 0;
  result >> parent >> session >> line >> std::hex >> ignored;
  EXPECT_TRUE(parent != getpid() && session != getsid(0));
  EXPECT_NE(ignored & (1UL << (SIGPIPE - 1)), 0U);
  const auto own = OpenDescriptors();
  while (result >> line) {
    EXPECT_TRUE(!line.starts_with("pipe:") || own.contains(line)) << "a pipe of the launch";
  }
}

TEST(DetachedLaunch, ReportsEveryFailure) {
  const TemporaryFolder folder;
  EXPECT_FALSE(Launch(folder / "none", {}, "") || Launch(folder.Write("not executable", ""), {}, "") ||
               Launch("true", {}, folder / "none"));
  for (const auto& [call, nth] : {std::pair("fork", 1), {"fork", 2}, {"pipe", 1}, {"pipe", 2}}) {
    const Fault fault(call, nth, EAGAIN);
    EXPECT_FALSE(Launch("true", {}, "")) << call << nth;
    // The second fork is in another process.
    EXPECT_TRUE(fault.Occurred() || nth == 2) << call;
  }
}

TEST(WaitingLaunch, GoesThroughTheShell) {
  const TemporaryFolder folder;
  EXPECT_TRUE(KelLaunchApplication("touch", {"a b", "c"}, folder.Path(), true, false));
  EXPECT_EQ(folder.Tree(), "a b= c= ");
  EXPECT_TRUE(KelLaunchApplication("test", {"-d", "."}, "", true, true));
  EXPECT_TRUE(KelLaunchApplication("true", {}, folder / "none", true, false)) << "the folder is not entered";
  EXPECT_FALSE(KelLaunchApplication("false", {}, "", true, false) ||
               KelLaunchApplication("/none", {}, "", true, false));
  CKelStr<char> command;
  EXPECT_EQ(KelCreateProcessUtf8(command), 0);
  command.assign("exit 3");
  EXPECT_EQ(KelCreateProcessUtf8(command), 3 << 8);
}

TEST(WaitingLaunch, GetsTheStatusWhateverBecomesOfSIGCHLD) {
  for (const auto& [handler, flags] : {std::pair(SIG_IGN, 0), {SIG_DFL, SA_NOCLDWAIT}, {SIG_DFL, 0}}) {
    struct sigaction action {};
    struct sigaction before {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigaction(SIGCHLD, &action, &before);
    EXPECT_TRUE(KelLaunchApplication("true", {}, "", true, false));
    EXPECT_TRUE(KelLaunchApplication("sh", {"-c", "true & wait"}, "", true, false)) << "by default in the program";
    EXPECT_FALSE(KelLaunchApplication("false", {}, "", true, false));
    EXPECT_TRUE(Launch("true", {}, ""));
    sigaction(SIGCHLD, &before, nullptr);
  }
}

TEST(SafeCalls, GoOnWhenInterrupted) {
  for (const int flags : {0, 4, O_NONBLOCK}) {
    int ends[2];
    char received = 0;
    ASSERT_EQ(kel_safe_pipe(ends, flags), 0);
    for (const auto& [call, end] : {std::pair("write", ends[1]), std::pair("read", ends[0])}) {
      EXPECT_TRUE(fcntl(end, F_GETFD) == FD_CLOEXEC && (fcntl(end, F_GETFL) & O_NONBLOCK) == (flags ? O_NONBLOCK : 0));
      const Fault fault(call, 1, EINTR);
      EXPECT_EQ(end == ends[1] ? kel_safe_write(end, "x", 1) : kel_safe_read(end, &received, 1), 1);
    }
    EXPECT_TRUE(received == 'x' && kel_safe_close(ends[0]) == 0);
    const Fault fault("close", 1, EINTR);
    EXPECT_EQ(kel_safe_close(ends[1]), -1);
    EXPECT_EQ(errno, EBADF) << "closed already by the first of two calls";
  }
  EXPECT_TRUE(kel_safe_waitpid(-1, nullptr, 0) == -1 && errno == ECHILD);
}

int g_ends[2];

TEST(SafeCalls, WaitForAProcessThroughSignals) {
  ASSERT_EQ(kel_safe_pipe(g_ends, 0), 0);
  const pid_t child = fork();
  if (child == 0) {
    char received = 0;
    _exit(read(g_ends[0], &received, 1) == 1 ? 7 : 1);
  }
  // The signal, which interrupts the call, makes the process end.
  struct sigaction action {};
  struct sigaction before {};
  action.sa_handler = [](int /*signal*/) { kel_safe_write(g_ends[1], "x", 1); };
  sigaction(SIGALRM, &action, &before);
  alarm(1);
  int status = 0;
  EXPECT_TRUE(kel_safe_waitpid(child, &status, 0) == child && WEXITSTATUS(status) == 7);
  sigaction(SIGALRM, &before, nullptr);
  EXPECT_TRUE(kel_safe_close(g_ends[0]) == 0 && kel_safe_close(g_ends[1]) == 0);
}

TEST(Modules, AreFoundThreeLevelsAboveTheFolder) {
  const std::string own = KelGetCurrentDllPath().m_data;
  EXPECT_TRUE(own.ends_with("/") && fs::exists(own + "PCMPlugin.so")) << own;
  const TemporaryFolder folder;
  fs::create_directories(folder / "Tool.bundle/Contents/MacOS");
  fs::copy_file(own + "PCMPlugin.so", folder / "other.so");
  void* library = KelLoadLibrary("other.so", (folder / "Tool.bundle/Contents/MacOS").c_str());
  ASSERT_NE(library, nullptr);
  const void* const symbol = KelGetSymbolAddr(library, "CreateAudioCompressor");
  CKelStr<char> fileName;
  EXPECT_TRUE(KelGetModuleFilename(symbol, fileName) && fs::canonical(fileName.m_data) == folder / "other.so");
  EXPECT_EQ(KelGetSymbolAddr(library, "none"), nullptr);
  EXPECT_TRUE(KelUnloadLibrary(&library) && library == nullptr);
  EXPECT_FALSE(KelUnloadLibrary(&library) || KelUnloadLibrary(nullptr) || KelGetModuleFilename(&own, fileName));
  EXPECT_EQ(fs::path(fileName.m_data).filename(), "other.so") << "unchanged";
  EXPECT_TRUE(KelLoadLibrary("none.so", nullptr) == nullptr && KelLoadLibrary(nullptr, "") == nullptr);
}

// Run by the test below in a copy of this program: writes its path to a file, before and after removing itself.
TEST(CopyOfThisProgram, TellsItsPath) {
  if (const char* const result = std::getenv("PATH_OF_THE_COPY")) {
    std::string path = "unchanged";
    std::ofstream file(result);
    file << (KelGetCurrentExecutableAbsoluteFileName(path) ? "" : "fails: ") << path << '\n';
    fs::remove(fs::read_symlink("/proc/self/exe"));
    file << (KelGetCurrentExecutableAbsoluteFileName(path) ? "" : "fails: ") << path << '\n';
  }
}

TEST(SystemQueries, FindTheProgramAtAnyPath) {
  const TemporaryFolder folder;
  const std::string result = folder / "result";
  const std::string deep = folder / (std::string(250, 'a') + "/" + std::string(250, 'b') + "/" + std::string(250, 'c'));
  fs::create_directories(deep);
  const std::string name = "program (deleted)";
  // The real path: under valgrind a copy of /proc/self/exe fails.
  const fs::path self = fs::read_symlink("/proc/self/exe");
  const std::string longest = deep + "/" + std::string(1022 - deep.size(), 'd');
  for (const std::string& path : {folder / "program", folder / name, longest, longest + "d"}) {
    std::error_code other;
    fs::create_hard_link(self, path, other);
    if (other) {
      fs::copy_file(self, path);
    }
    const std::string command = "PATH_OF_THE_COPY='" + result + "' '" + path + "' --gtest_filter=CopyOfThisProgram.*";
    ASSERT_EQ(std::system((command + " > /dev/null").c_str()), 0);
    const std::string expected = path.size() < 1024 ? path : "fails: unchanged";
    EXPECT_EQ(ReadFile(result), expected + "\n" + expected + "\n");
  }
}

TEST(SystemQueries, TellAboutThisProgram) {
  std::string program;
  std::string folder;
  EXPECT_TRUE(KelGetCurrentExecutableAbsoluteFileName(program) && KelGetFolderPathForCurrentExecutable(folder));
  EXPECT_EQ(program + " " + folder, fs::read_symlink("/proc/self/exe").string() + " " +
                                        fs::read_symlink("/proc/self/exe").parent_path().string() + "/");
  EXPECT_EQ(KelGetNumberProcessorsInSystem(), sysconf(_SC_NPROCESSORS_ONLN));
  setenv("HOME", "/some/where", 1);
  EXPECT_EQ(KelGetCurrentUserHomeDir(), "/some/where");
  unsetenv("HOME");
  EXPECT_EQ(KelGetCurrentUserHomeDir(), "");
  testing::internal::CaptureStderr();
  svdprintf("%d%%%s", 7, std::string(600, 'x').c_str());
  svdprintf(nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "7%" + std::string(509, 'x'));
}

}  // namespace
