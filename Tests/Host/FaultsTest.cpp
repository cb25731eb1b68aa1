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
  const char* again;  ///< completes what an earlier run has left
};

constexpr Scenario kScenarios[] = {
    {"one", "rhohost --force --preset preset --save-preset saved in/a.wav old.mkv", nullptr},
    {"two", "rhohost --rate 44100 in/a.wav new.mkv", nullptr},
    {"pipe", "cat in/a.wav | rhohost --force - old.mkv", nullptr},
    {"long", "rhohost --force --test-signal 30 old.mkv", nullptr},  // disk space is reserved
    {"batch", "rhohost --jobs 1 --to out/deep in", "rhohost --jobs 1 --skip-existing --to out/deep in"}};

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

  void Restore() const {
    for (const auto& [name, content] : Everything()) {
      const auto old = m_before.find(name);
      if (old == m_before.end()) {
        fs::remove_all(m_folder / "files" / name);
      } else if (old->second != content) {
        Write(name, old->second);
      }
    }
  }

  static std::string WithFault(const std::string& command, int nth, const std::string& error) {
    const std::string fault =
        "env LD_PRELOAD=" SYSTEM_CALLS " FAULT='*:" + std::to_string(nth) + ":" + error + "' rhohost";
    return "exec 9>../report; " +
           std::regex_replace(command, std::regex("rhohost"), fault, std::regex_constants::format_first_only);
  }

  /// What the library has written: the function and the file that were struck, and what was open in the end.
  struct Report {
    std::string function;
    std::string file;
    std::string open;
  };
  Report ReadReport() const {
    const std::string text = Read("../report");
    std::smatch parts;
    std::regex_match(text, parts, std::regex("(?:([a-z0-9]+) (?:.*/)?([^/\n]*)\n)?(?:= ([0-9]+)\n)?"));
    const std::regex temporary(R"(\.(.*)\.rhohost-[0-9a-f]{16}\.tmp)");
    return {parts[1], std::regex_replace(parts[2].str(), temporary, "$1"), parts[3]};
  }

  /// Every file is as it was or as it is to be; `leftovers` may lie about.
  void ExpectNothingHalf(const Files& whole, const char* leftovers = nullptr) const {
    Files missing = m_before;
    for (const auto& [name, content] : Everything()) {
      missing.erase(name);
      const auto isIn = [&name = name, &content = content](const Files& files) {
        return files.contains(name) && files.at(name) == content;
      };
      EXPECT_TRUE(isIn(m_before) || isIn(whole) || (leftovers && std::regex_match(name, std::regex(leftovers))))
          << name;
    }
    EXPECT_TRUE(missing.empty());
  }

  Files m_before;
};

TEST_P(FaultsTest, EndInAWholeResultOrInATrueMessage) {
  const std::string command = GetParam().command;
  ASSERT_EQ(RunHost(WithFault(command, 0, "5")).code, 0);
  const Files whole = Everything();
  const std::string open = ReadReport().open;
  for (const std::string error : {"5", "5+", "4", "0", "0+"}) {
    for (int nth = 1;; ++nth) {
      Restore();
      const Outcome outcome = RunHost(WithFault(command, nth, error));
      const Report report = ReadReport();
      if (report.function.empty()) {
        EXPECT_GT(nth, 20);
        break;
      }
      SCOPED_TRACE(error + ' ' + std::to_string(nth) + ' ' + report.function + ' ' + report.file + '\n' +
                   outcome.errors);
      EXPECT_EQ(report.open, open);
      ExpectNothingHalf(whole);
      if (outcome.code == 0) {
        EXPECT_EQ(Everything(), whole);
      } else {
        EXPECT_EQ(outcome.code, 1);
        EXPECT_EQ(error[0], '5');
        EXPECT_THAT(outcome.errors, HasSubstr("Input/output error"));
        EXPECT_THAT(outcome.errors, HasSubstr(report.file));
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(SystemCalls, FaultsTest, testing::ValuesIn(kScenarios),
                         [](const auto& tested) { return tested.param.name; });

}  // namespace
