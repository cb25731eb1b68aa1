/// The toolbox's operations on files when any of their system calls fails, is interrupted or transfers fewer bytes.

#include "Tests/Support/SystemCalls.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Toolbox/KelUtils.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <algorithm>
#include <regex>

namespace {

std::string Text(bool answer) { return answer ? "true" : "false"; }

/// In a folder with the files "a" and "tree/b/c", each of 20000 bytes.
struct Operation {
  const char* name = "";
  std::string (*run)() = nullptr;  ///< returns the result
  const char* failures = "";       ///< other documented results
  bool isWhole = true;             ///< a failure changes nothing
  const char* unfelt = "-";        ///< functions whose failure is ignored
};

const Operation kOperations[] = {
    {"copy a file", [] { return Text(KelCopyFile("a", "new", nullptr)); },
     "false|failed to (seek|open) \"(a|new)\".*|failed to write to \"new\"", false},
    {"copy a tree", [] { return Text(KelCopy("tree", "new", nullptr)); },
     "false|.*failed.*|copy failed, invalid .*|.*/tree doesn't exist", false},
    {"rewrite", [] { return Text(KelSearchAndReplace("a", "x", "y")); }, "false"},
    {"filter",
     [] {
       return Text(KelSearchAndReplace({{"x", "y"}}, "a", "new"));
     },
     "false"},
    {"load",
     [] {
       std::string data;
       return Text(KelLoadFile(TKelOpenFile("a", "rb").m_file, data));
     },
     "false|failed to open \"a\".*"},
    {"save", [] { return Text(KelSaveFile(TKelOpenFile("new", "wb").m_file, "text")); },
     "false|failed to open \"new\".*", false, "fclose"},
    {"write", [] { return Text(KelWriteFile("new", "text")); }, "false", false},
    {"measure", [] { return std::to_string(KelFileSize("a")); }, "0|-1"},
    {"make folders", [] { return Text(KelEnsureDirectoryPathExists("x/y/z")); }, "false", false},
    {"rename", [] { return Text(kel_rename_UTF8("a", "tree/b/c") == 0); }, "false"},
    {"remove", [] { return Text(kel_remove_UTF8("a") == 0); }, "false"},
    {"remove files", [] { return Text(kel_remove_files_UTF8("tree/b", {"c"})); }, "false"},
    {"remove a tree", [] { return Text(kel_remove_dir_recursively_UTF8("tree")); }, "false", false},
    {"count", [] { return std::to_string(KelCountFiles(".")); }, "[01]|failed to open .*"},
    {"find",
     [] {
       std::list<std::string> names;
       return Text(kel_find_matching_files_UTF8(names, ".", "A"));
     },
     "false"},
    {"ask", [] { return Text(KelPathExists("a") && KelIsPathToFile("a") && KelIsPathToFolder("tree")); }, "false"},
    {"launch", [] { return Text(KelLaunchApplication("true", {}, "", false, false)); }, "false"},
    {"dump", [] { return WriteBitstream(std::string("new").data(), nullptr, 0), Text(true); }, "-", false, ".*"}};

struct Sample : TemporaryFolder {
  Sample() {
    Write("a", std::string(20000, 'x'));
    Write("tree/b/c", std::string(20000, 'x'));
    fs::current_path(Path());
  }
  Sample(const Sample&) = delete;
  Sample& operator=(const Sample&) = delete;
  ~Sample() { fs::current_path("/"); }
};

std::string Answer(const Operation& operation) {
  std::string answer;
  const std::string message = MessageOf([&] { answer = operation.run(); });
  return message == "nothing" ? answer : message;
}

TEST(Faults, AreAnsweredAsDocumentedAndLeaveNothingOpen) {
  for (const Operation& operation : kOperations) {
    std::string answer;
    std::string tree;
    {
      const Sample sample;
      answer = Answer(operation);
      tree = sample.Tree();
    }
    for (const auto& [error, isLasting] : {std::pair(EIO, false), {EIO, true}, {EINTR, false}, {0, false}, {0, true}}) {
      bool occurred = true;
      for (int nth = 1; occurred; ++nth) {
        const Sample sample;
        const std::string before = sample.Tree();
        const auto open = OpenDescriptors();
        std::string answered;
        std::string function;
        {
          const Fault fault("*", nth, error, isLasting);
          answered = Answer(operation);
          occurred = fault.Occurred();
          function = fault.Function();
        }
        SCOPED_TRACE(operation.name + (' ' + std::to_string(nth) + ' ' + std::to_string(error) + ' ') + function);
        EXPECT_EQ(OpenDescriptors(), open);
        if (answered != answer) {
          // Reading the 4 bytes of a process id is the one read that is not continued.
          EXPECT_TRUE(error != 0 || operation.name == std::string("launch"));
          EXPECT_TRUE(std::regex_match(answered, std::regex(operation.failures))) << answered;
          EXPECT_TRUE(!operation.isWhole || sample.Tree() == before);
        } else if (!std::regex_match(function, std::regex(operation.unfelt))) {
          EXPECT_TRUE(sample.Tree() == tree);
        }
      }
    }
  }
}

// The number of descriptors that a program started now would inherit.
std::size_t CountInheritable() {
  const auto isInheritable = [](const auto& entry) {
    return fcntl(std::stoi(entry.path().filename().string()), F_GETFD) == 0;
  };
  return static_cast<std::size_t>(std::count_if(fs::directory_iterator("/proc/self/fd"), {}, isInheritable));
}

TEST(Descriptors, AreNeverInherited) {
  for (const Operation& operation : kOperations) {
    bool occurred = true;
    for (int nth = 1; occurred; ++nth) {
      const Sample sample;
      const std::size_t before = CountInheritable();
      const Fault looks("*", nth, [&] { EXPECT_EQ(CountInheritable(), before) << operation.name; });
      Answer(operation);
      occurred = looks.Occurred();
    }
  }
}

}  // namespace
