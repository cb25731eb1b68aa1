/// What rhohost makes of system calls that fail, come short or are its last: every one, in turn.

#include "Tests/Host/HostTest.h"

#include <sys/wait.h>
#include <cerrno>
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

class FaultsTest : public HostTest, public testing::WithParamInterface<Scenario> {
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

  /// Puts everything back as it was and runs the command; `fault` is "FUNCTION:NTH:ERROR".
  Outcome RunWithFault(const std::string& command, const std::string& fault) {
    for (const auto& [name, content] : Everything()) {
      const auto old = m_before.find(name);
      if (old == m_before.end()) {
        fs::remove_all(m_folder / "files" / name);
      } else if (old->second != content) {
        Write(name, old->second);
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

  Files m_before;
  Files m_whole;           ///< after a run without a fault
  std::string m_function;  ///< that was struck, empty if none was
  std::string m_file;
  std::string m_open;  ///< descriptors in the end
  std::string m_trace;
};

TEST_P(FaultsTest, EndInAWholeResultOrInATrueMessage) {
  ASSERT_EQ(RunWithFault(GetParam().command, "").code, 0);
  m_whole = Everything();
  const std::string open = m_open;
  std::vector<std::pair<std::string, std::string>> faults{{"*", "5"}, {"*", "5+"}, {"open", "4"}, {"close", "4"}};
  for (const char* const transfer : {"read", "pread", "write", "pwrite"}) {
    faults.insert(faults.end(), {{transfer, "4"}, {transfer, "0"}, {transfer, "0+"}});
  }
  for (const auto& [function, error] : faults) {
    const bool isFailure = error[0] == '5';
    for (int nth = 1;; ++nth) {
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

TEST_P(FaultsTest, AnyCallMayBeTheLast) {
  ASSERT_EQ(RunWithFault(GetParam().command, "").code, 0);
  m_whole = Everything();
  constexpr int kSignals[] = {SIGTERM, SIGKILL, SIGINT, SIGKILL, SIGHUP, SIGKILL, SIGXCPU, SIGKILL, SIGQUIT, SIGKILL};
  for (std::size_t nth = 1; nth == 1 || !m_function.empty(); ++nth) {
    const int signal = kSignals[nth % std::size(kSignals)];
    const Outcome outcome =
        RunWithFault(GetParam().command, "*:" + std::to_string(nth) + ":-" + std::to_string(signal));
    SCOPED_TRACE(m_trace);
    EXPECT_EQ(outcome.code, m_function.empty() ? 0 : 128 + signal);
    ExpectNothingHalf(signal == SIGKILL ? R"((.*/)?\.[^/]*\.rhohost-[0-9a-f]{16}\.tmp)" : "");
    EXPECT_EQ(Run(std::string(GetParam().command) + ' ' + GetParam().again).code, 0);
    const Files files = Everything();
    for (const auto& [name, content] : m_whole) {
      EXPECT_TRUE(files.contains(name) && files.at(name) == content) << name;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(SystemCalls, FaultsTest, testing::ValuesIn(kScenarios),
                         [](const auto& tested) { return tested.param.name; });

}  // namespace
