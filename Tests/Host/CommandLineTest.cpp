/// Commands, options and help: where they may stand, and how wrong ones are refused.

#include "Tests/Host/HostTest.h"

#include <sstream>

namespace {

using testing::HasSubstr;

class CommandLineTest : public HostTest {
 protected:
  CommandLineTest() { MakeSound("in.wav", 44100, 2, "sox -b 16", 999); }
};

TEST_F(CommandLineTest, TakesOptionsBeforeBetweenAndAfter) {
  ASSERT_EQ(Run("cp in.wav ++; cp in.wav '[a,b]'; cp in.wav info").code, 0);
  for (const char* const command : {
           "--bits 24 --fps=25 in.wav --quiet out.mkv",
           "in.wav -qb24 out.mkv --fps 5 --fps 25",
           "in.wav -o out.mkv -q -b 24 --fps 25",
           "-qo out.mkv encode --fps 25 -b24 in.wav",
           "--fps 25 -qb24 -- in.wav out.mkv",
           "--fps 25 -qb24 ++ out.mkv",
           "--fps 25 -qb24 '[a,b]' out.mkv",
           "--fps 25 -qb24 -- info out.mkv",
           "--fps 25 -qb24 ./info out.mkv",
       }) {
    EXPECT_EQ(RunHost(std::string("rhohost ") + command).errors, "") << command;
    ExpectJudgesAgree("out.mkv", {44100, 2, 24, 25}, 999);
    Run("rm out.mkv");
  }
  EXPECT_EQ(RunHost("rhohost --json --set SampleSize=24 info -q").output,
            RunHost("rhohost info --set SampleSize=24 --json").output);
  EXPECT_EQ(RunHost("rhohost --quiet --only load.file validate '" PCM_MODULE "'").output, "");
}

TEST_F(CommandLineTest, NamesTheFirstWrongArgumentAndHowToGetHelp) {
  Write("old.mkv", "old");
  for (const auto& [arguments, says] : std::vector<std::pair<std::string, const char*>>{
           {"--bits x --rate x in.wav old.mkv", "--bits: \"x\""},
           {"in.wav old.mkv -r x -b x", "--rate: \"x\""},
           {"--quiet=1 in.wav old.mkv", "--quiet: takes no value"},
           {"--rate= in.wav old.mkv", "--rate: \"\""},
           {"--bits 7 in.wav old.mkv", "Sample Size: "},
           {"in.wav old.mkv --rate", "--rate: HZ is missing"},
           {"-x in.wav old.mkv", "-x: no such option"},
           {"-qfx in.wav old.mkv", "-x: no such option"},
           {"--rate 48000 info", "\"rhohost info\" has no option --rate"},
           {"info --junit x", "\"rhohost info\" has no option --junit"},
           {"info --module ''", "--module: the name is empty"},
           {"validate --junit ''", "--junit: the name is empty"},
           {"validate --jobs 0 none.so", "--jobs: \"0\" is not a number from 1 to 256"},
           {"info extra", "extra"},
           {"validate", "MODULE is missing"},
           {"in.wav -o a.mkv b.mkv", "one file too many"},
           {"--to new -o a.mkv in.wav", "--to and --output cannot be used together"},
           {"help nothing", "no command \"nothing\""},
       }) {
    ExpectRefused({"rhohost " + arguments, 2, {says, "\nrhohost: \"rhohost help\""}});
  }
}

TEST_F(CommandLineTest, ShowsHelpInEightyColumns) {
  const std::string help = RunHost("rhohost help").output;
  EXPECT_EQ(RunHost("rhohost --help").output, help);
  EXPECT_EQ(RunHost("rhohost in.wav -h").output, help);
  EXPECT_EQ(RunHost("rhohost help info").output, RunHost("rhohost --json info --help").output);
  EXPECT_THAT(help, testing::AllOf(HasSubstr("Examples:"), HasSubstr("Exit codes:"), HasSubstr("Input formats:"),
                                   HasSubstr("\n  -r, --rate HZ "), testing::Not(HasSubstr("Excludes"))));
  std::istringstream lines(help + RunHost("rhohost help info").output + RunHost("rhohost help validate").output);
  for (std::string line; std::getline(lines, line);) {
    EXPECT_LE(line.size(), 80) << line;
  }
}

}  // namespace
