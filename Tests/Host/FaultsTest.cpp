/// What rhohost makes of system calls that fail, come short or are its last: every one, in turn.

#include "Tests/Host/HostTest.h"

#include <chrono>
#include <csignal>
#include <map>
#include <regex>

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using Files = std::map<std::string, std::string>;

struct Scenario {
  const char* name;
  const char* command;
  const char* again = "";  ///< what to add for completing what an earlier run has left
};

constexpr Scenario kScenarios[] = {{"one", "rhohost --force --preset preset --save-preset saved in/a.wav old.mkv"},
                                   {"two", "rhohost --rate 44100 in/a.wav new.mkv", "--force"},
                                   {"pipe", "cat in/a.wav | rhohost --force - old.mkv"},
                                   {"long", "rhohost --force --test-signal 24 old.mkv"},  // disk space is reserved
                                   {"batch", "rhohost --jobs 1 --to out/deep in", "--skip-existing"}};

class FaultsTest : public HostTest {
 protected:
  FaultsTest() {
    EXPECT_EQ(Run("mkdir -p in/sub").code, 0);
    MakeSound("in/a.wav", 48000, 2, "sox -b 16", 150000);
    MakeSound("in/sub/b.flac", 48000, 1, "sox -b 24");
    Write("in/c.txt", "text");
    Write("old.mkv", "old");
    Write("saved", "old");
    Write("preset", R"({"manufacturer": "ZAV ", "codec": "LPCM", "settings": {"SampleSize": 24}})");
    m_before = Everything();
  }

  Files Everything() const {
    Files files;
    for (const auto& entry : fs::recursive_directory_iterator(m_folder / "files")) {
      const std::string name = entry.path().lexically_relative(m_folder / "files");
      files.emplace(name, entry.is_directory() ? "a folder" : Read(name));
    }
    return files;
  }

  /// Puts everything back as it was and runs the command with a fault as Tests/Support/SystemCalls.h writes it.
  Outcome RunWithFault(const std::string& command, const std::string& fault) {
    for (const auto& [name, content] : Everything()) {
      if (!m_before.contains(name)) {
        fs::remove_all(m_folder / "files" / name);
      }
    }
    for (const auto& [name, content] : m_before) {
      if (content != "a folder" && content != Read(name)) {
        Write(name, content);
      }
    }
    const std::string program = "env LD_PRELOAD=" SYSTEM_CALLS " FAULT='" + fault + "' rhohost";
    Outcome outcome = Run("exec 9>../report; " + std::regex_replace(command, std::regex("rhohost"), program));
    const std::string text = Read("../report");
    std::smatch parts;
    std::regex_match(text, parts, std::regex("(?:([a-z0-9]+) (?:.*/)?([^/\n]*)\n)?(?:= ([0-9]+)\n)?"));
    const std::regex temporary(R"(\.(.*)\.rhohost-[0-9a-f]{16}\.tmp)");
    m_function = parts[1];
    m_file = std::regex_replace(parts[2].str(), temporary, "$1");
    m_file = m_file.starts_with("pipe:") ? "standard input" : m_file;
    m_open = parts[3];
    m_trace = fault + ' ' + m_function + ' ' + m_file + '\n' + outcome.errors;
    return outcome;
  }

  /// Every file is as it was or as it is to be; files that match `leftovers` may lie about.
  void ExpectNothingHalf(const std::string& leftovers = "") const {
    const Files files = Everything();
    const auto isIn = [](const auto& item, const Files& other) {
      return other.contains(item.first) && other.at(item.first) == item.second;
    };
    for (const auto& item : files) {
      EXPECT_TRUE(isIn(item, m_before) || isIn(item, m_whole) || std::regex_match(item.first, std::regex(leftovers)))
          << item.first;
    }
    for (const auto& item : m_before) {
      EXPECT_TRUE(files.contains(item.first)) << item.first;
    }
  }

  void ExpectWhole() const {
    const Files files = Everything();
    for (const auto& [name, content] : m_whole) {
      EXPECT_TRUE(files.contains(name) && files.at(name) == content) << name;
    }
  }

  static constexpr const char* kTemporary = R"((.*/)?\.[^/]*\.rhohost-[0-9a-f]{16}\.tmp)";
  Files m_before;
  Files m_whole;           ///< after a run without a fault
  std::string m_function;  ///< that was struck, empty if none was
  std::string m_file;
  std::string m_open;  ///< descriptors in the end
  std::string m_trace;
};

class EveryCall : public FaultsTest, public testing::WithParamInterface<Scenario> {};

TEST_P(EveryCall, ThatFailsEndsInAWholeResultOrATrueMessage) {
  ASSERT_EQ(RunWithFault(GetParam().command, "").code, 0);
  m_whole = Everything();
  const std::string open = m_open;
  std::vector<std::pair<std::string, std::string>> faults{{"*", "5"}, {"*", "5+"}, {"open", "4"}, {"close", "4"}};
  for (const char* const transfer : {"read", "pread", "write", "pwrite"}) {
    faults.insert(faults.end(), {{transfer, "4"}, {transfer, "0"}, {transfer, "0+"}});
  }
  for (const auto& [function, error] : faults) {
    const bool isFailure = error[0] == '5';
    for (int nth = 1;; nth += STEP) {
      const Outcome outcome = RunWithFault(GetParam().command, function + ':' + std::to_string(nth) + ':' + error);
      if (m_function.empty()) {
        EXPECT_GT(nth, function == "*" ? 20 : 0);
        break;
      }
      SCOPED_TRACE(m_trace);
      EXPECT_EQ(m_open, open);
      ExpectNothingHalf();
      if (outcome.code == 0 || !isFailure) {
        EXPECT_EQ(outcome.code, 0);
        EXPECT_TRUE(Everything() == m_whole);
      } else {
        EXPECT_EQ(outcome.code, 1);
        EXPECT_THAT(outcome.errors, HasSubstr("Input/output error"));
        // What fails again later may be what is spoken of; and folders above may be named by what lies in them.
        const bool isAbove = m_folder.native().find('/' + m_file) != std::string::npos || m_file == "files";
        EXPECT_TRUE(error == "5+" || isAbove || outcome.errors.find(m_file) != std::string::npos);
      }
    }
  }
}

TEST_P(EveryCall, MayBeTheLast) {
  ASSERT_EQ(RunWithFault(GetParam().command, "").code, 0);
  m_whole = Everything();
  constexpr int kSignals[] = {SIGTERM, SIGKILL, SIGINT, SIGKILL, SIGHUP, SIGKILL, SIGXCPU, SIGKILL, SIGQUIT, SIGKILL};
  for (std::size_t nth = 1; nth == 1 || !m_function.empty(); nth += STEP) {
    const int signal = kSignals[nth / STEP % std::size(kSignals)];
    const Outcome outcome =
        RunWithFault(GetParam().command, "*:" + std::to_string(nth) + ":-" + std::to_string(signal));
    SCOPED_TRACE(m_trace);
    EXPECT_EQ(outcome.code, m_function.empty() ? 0 : 128 + signal);
    ExpectNothingHalf(signal == SIGKILL ? kTemporary : "");
    EXPECT_EQ(Run(std::string(GetParam().command) + ' ' + GetParam().again).code, 0);
    ExpectWhole();
  }
}

TEST_F(FaultsTest, TheInputMayChangeBeforeAnyCall) {
  const std::string command = "rhohost --force in/a.wav old.mkv";
  ASSERT_EQ(RunWithFault("rhohost --force in/sub/b.flac old.mkv", "").code, 0);
  const std::string other = Read("old.mkv");
  ASSERT_EQ(RunWithFault(command, "").code, 0);
  const std::string whole = Read("old.mkv");
  for (const std::string change : {"truncate -s 0 in/a.wav", "truncate -s 99999 in/a.wav", "rm in/a.wav",
                                   "cat in/sub/b.flac >>in/a.wav", "mv in/sub/b.flac in/a.wav"}) {
    for (int nth = 1; nth == 1 || !m_function.empty(); nth += STEP) {
      const Outcome outcome = RunWithFault(command, "*:" + std::to_string(nth) + ':' + change);
      SCOPED_TRACE(m_trace);
      const std::string result = Read("old.mkv");
      if (outcome.code == 0) {
        EXPECT_TRUE(result == whole || (change[0] == 'm' && result == other));
      } else {
        EXPECT_EQ(std::to_string(outcome.code) + result, "1old");
        EXPECT_THAT(outcome.errors, testing::StartsWith("rhohost: in/a.wav: "));
        EXPECT_TRUE(change[0] == 't' || change[0] == 'r');
      }
      EXPECT_EQ(Run("ls -A").output, "in\nold.mkv\npreset\nsaved\n");
    }
  }
}

TEST_F(FaultsTest, KillsAtAnyMomentOfABatchLeaveWholeFiles) {
  const std::string command = "rhohost --jobs 2 --skip-existing --to out in";
  const auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(Run(command).code, 0);
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  m_whole = Everything();
  for (int kill = 1; kill <= 100; ++kill) {
    const std::string signal = kill % 4 == 0 ? "TERM" : "KILL";
    Run("rm -rf out; timeout -s " + signal + ' ' + std::to_string(seconds * kill / 100) + ' ' + command);
    ExpectNothingHalf(signal == "KILL" ? kTemporary : "");
    if (kill % 10 == 0) {
      EXPECT_EQ(Run(command).code, 0);
      ExpectWhole();
    }
  }
}

TEST_F(FaultsTest, AFullDiskIsSaidAndHurtsNothing) {
  const Outcome outcome = Run(R"(exec unshare --map-root-user --mount sh -c '
      mkdir disk && mount -t tmpfs -o size=256k none disk && rhohost --quiet in/sub/b.flac whole.mkv
      for fill in 0 90000 199000 235000 999999; do
        echo old >disk/old.mkv && head -c $fill /dev/zero 2>/dev/null >disk/fill
        rhohost --quiet --force in/sub/b.flac disk/old.mkv 2>&1
        echo $? $(cmp -s whole.mkv disk/old.mkv || cat disk/old.mkv) $(ls -A disk); rm disk/fill
      done
      rhohost --quiet --jobs 1 --to disk/out in 2>&1
      echo $? $(find disk/out -type f); mount -o remount,size=4m none disk
      rhohost --quiet --to disk/out --skip-existing in
      echo $? $(find disk/out -type f | sort)')");
  const std::string full = "rhohost: disk/old.mkv: cannot write: No space left on device\n1 old fill old.mkv\n";
  EXPECT_EQ(outcome.output, "0 fill old.mkv\n0 fill old.mkv\n" + full + full + full +
                                "rhohost: in/a.wav: disk/out/a.mkv: cannot write: No space left on device\n"
                                "1 disk/out/sub/b.mkv\n0 disk/out/a.mkv disk/out/sub/b.mkv\n");
  EXPECT_EQ(outcome.errors, "");
}

INSTANTIATE_TEST_SUITE_P(SystemCalls, EveryCall, testing::ValuesIn(kScenarios),
                         [](const auto& tested) { return tested.param.name; });

}  // namespace
