/// What rhohost refuses, how it says so, and that nothing but a whole result ever changes a file.

#include "Tests/Host/HostTest.h"

#include <algorithm>
#include <sstream>
#include <vector>

namespace {

using testing::HasSubstr;

class SafetyTest : public HostTest {
 protected:
  SafetyTest() {
    MakeSound("in.wav", 48000, 2, "sox -b 16");
    Write("old.mkv", "old");
    std::string endless = Read("in.wav");
    Write("endless.wav", endless.replace(endless.find("data") + 4, 4, 4, '\xFF'));
  }
};

TEST_F(SafetyTest, ARefusalSaysWhyAndChangesNothing) {
  MakeSound("fast.wav", 192000, 1, "sox -b 16", 99);
  MakeSound("odd.wav", 37800, 1, "sox -b 16", 99);
  MakeSound("three.wav", 48000, 3, "sox -b 16", 99);
  MakeSound("nine.wav", 48000, 9, "sox -b 16", 99);
  ASSERT_EQ(
      Run("ln in.wav hard.mkv; ln -s in.wav soft.mkv; mkdir folder; mkfifo fifo; echo text >text.wav; : >empty.wav; "
          "head -c 50 in.wav >header.wav")
          .code,
      0);
  const Refusal refusals[] = {
      {"rhohost", 2, {"INPUT"}},
      {"rhohost in.wav", 2, {"OUTPUT"}},
      {"rhohost in.wav new.mkv more.mkv", 2, {"more.mkv"}},
      {"rhohost '' new.mkv", 2, {}},
      {"rhohost --preset '' in.wav new.mkv", 2, {"--preset", "empty"}},
      {"rhohost --module '' in.wav new.mkv", 2, {"--module", "empty"}},
      {"rhohost --unknown in.wav new.mkv", 2, {"--unknown"}},
      {"rhohost --rate fast in.wav new.mkv", 2, {"--rate", "fast"}},
      {"rhohost --rate -1 in.wav new.mkv", 2, {"--rate"}},
      {"rhohost --rate 4294967344 in.wav new.mkv", 2, {"--rate", "4294967344"}},
      {"rhohost --rate 0 in.wav new.mkv", 2, {"Sample Rate", "0 Hz", "8000", "96000"}},
      {"rhohost --rate 192000 in.wav new.mkv", 2, {"Sample Rate", "192000 Hz", "8000", "88200", "try --rate 96000"}},
      {"rhohost fast.wav new.mkv", 1, {"fast.wav: Sample Rate", "192000 Hz", "8000", "88200", "try --rate 96000"}},
      {"rhohost odd.wav new.mkv", 1, {"odd.wav: Sample Rate", "37800 Hz", "try --rate 44100"}},
      {"rhohost --bits 20 in.wav new.mkv", 2, {"Sample Size", "20", "16", "24"}},
      {"rhohost --channels Quad in.wav new.mkv", 2, {"Channels", "Quad", "Mono", "Stereo", "5.1", "6.1", "7.1"}},
      {"rhohost --channels '' in.wav new.mkv", 2, {"Channels", "Mono", "7.1"}},
      {"rhohost --channels 5.1 in.wav new.mkv", 2, {"5.1 has 6 channels, in.wav has 2", "try --channels Stereo"}},
      {"rhohost three.wav new.mkv", 1, {"three.wav: Channels", "3", "Mono", "Stereo", "5.1"}},
      {"rhohost nine.wav new.mkv", 1, {"nine.wav: Channels", "9", "Mono", "Stereo", "5.1"}},
      {"rhohost --fps 0 in.wav new.mkv", 2, {"--fps", "0"}},
      {"rhohost --fps=-25 in.wav new.mkv", 2, {"--fps", "-25"}},
      {"rhohost --fps 25/0 in.wav new.mkv", 2, {"--fps", "25/0"}},
      {"rhohost --fps nan in.wav new.mkv", 2, {"--fps", "nan"}},
      {"rhohost --fps 1e5 in.wav new.mkv", 2, {"packets per second"}},
      {"rhohost --fps 1e-300 in.wav new.mkv", 2, {"--fps"}},
      {"rhohost none.wav new.mkv", 1, {"none.wav", "No such file or directory"}},
      {"rhohost --to folder --files-from /dev/zero", 1, {"/dev/zero", "zero byte", "--null"}},
      {"yes in.wav | tr -d '\\n' | rhohost --to folder --files-from -", 1, {"name 1", "4096 bytes"}},
      {"rhohost 'two\nlines \x1B[7m' new.mkv", 1, {"two?lines ?[7m: ", "No such file or directory"}},
      // NOLINTNEXTLINE(misc-misleading-bidirectional): that is what the terminal must not get.
      {"rhohost 'C1 \xC2\x9B\x37m \xE2\x80\xAEright \xE2\x81\xA6to left \xD8\x9C\xE2\x80\xA8 \x9B "
       "\xC3\xA9\xE3\x82\x8F' new.mkv",
       1,
       {"rhohost: C1 ?7m ?right ?to left ?? ? \xC3\xA9\xE3\x82\x8F: "}},
      {"rhohost folder new.mkv", 1, {"folder", "not a sound file"}},
      {"rhohost text.wav new.mkv", 1, {"text.wav", "not a sound file"}},
      {"rhohost empty.wav new.mkv", 1, {"empty.wav", "empty"}},
      {"rhohost header.wav new.mkv", 1, {"header.wav", "missing"}},
      {"rhohost - new.mkv", 1, {"standard input", "empty"}},
      {"rhohost - new.mkv <&-", 1, {"standard input", "Bad file descriptor"}},
      {"rhohost in.wav old.mkv", 1, {"old.mkv", "exists", "--force"}},
      {"rhohost in.wav folder", 2, {"folder: is a folder", "--to folder"}},
      {"rhohost in.wav none/new.mkv", 1, {"none/new.mkv", "No such file or directory"}},
      {"rhohost in.wav old.mkv/new.mkv", 1, {"old.mkv/new.mkv", "Not a directory"}},
      {"rhohost --force in.wav in.wav", 1, {"in.wav", "input"}},
      {"rhohost --force in.wav hard.mkv", 1, {"hard.mkv", "input"}},
      {"rhohost --force in.wav soft.mkv", 1, {"soft.mkv", "input"}},
      {"rhohost --force - soft.mkv <in.wav", 1, {"soft.mkv", "input"}},
      {"rhohost --force --bits 24 --save-preset soft.mkv in.wav new.mkv", 1, {"soft.mkv", "input"}},
      {"rhohost --bits 24 --save-preset ./new.mkv in.wav new.mkv", 1, {"new.mkv", "output"}},
      {"rhohost --bits 24 --save-preset old.mkv in.wav new.mkv", 1, {"old.mkv", "exists"}},
      {"rhohost --bits 24 --save-preset - in.wav -", 1, {"output"}},
      {"rhohost --preset folder in.wav new.mkv", 1, {"folder", "neither a regular file nor a pipe"}},
      {"rhohost --dry-run --bits 24 --save-preset old.mkv", 1, {"old.mkv", "exists"}},
      {"rhohost --verify in.wav -", 2, {"--verify", "standard output cannot be read back"}},
      {"rhohost --verify in.wav /dev/null", 2, {"--verify", "/dev/null cannot be read back"}},
      {"rhohost --verify in.wav fifo", 2, {"--verify", "fifo cannot be read back"}},
      {"rhohost in.wav - >&-", 1, {"Bad file descriptor"}},
      {"rhohost in.wav /dev/full", 1, {"/dev/full", "No space left on device"}},
      {"rhohost --help >/dev/full", 1, {"No space left on device"}},
      {"(ulimit -f 20; exec rhohost --bits 24 --save-preset new in.wav new.mkv)", 1, {"new.mkv", "File too large"}},
      {"(ulimit -f 20; exec rhohost --force in.wav old.mkv)", 1, {"old.mkv", "File too large"}},
      {"head -c 60000 in.wav | rhohost --force - old.mkv", 1, {"missing"}},
      {"rhohost --force --module none.so in.wav old.mkv", 1, {"none.so"}},
      {"rhohost --force --module in.wav in.wav old.mkv", 1, {"in.wav"}},
  };
  for (const Refusal& refusal : refusals) {
    ExpectRefused(refusal);
  }
}

TEST_F(SafetyTest, NamesCannotCommandTheTerminal) {
  // NOLINTNEXTLINE(misc-misleading-bidirectional): that is what the terminal must not get.
  Write("a\xC2\x9B\x37m\xE2\x80\xAE\x1B[7m\x9B\n.wav", Read("in.wav"));
  for (const char* const command :
       {"rhohost a*.wav old.mkv", "rhohost --dry-run a*.wav new.mkv", "rhohost --to folder a*.wav",
        "rhohost info --module ./a*", "rhohost --set \"$(echo a*)\" in.wav new.mkv", "rhohost validate ./a*.wav",
        "rhohost \"--$(echo a*)\""}) {
    const Outcome outcome = Run(command);
    // NOLINTNEXTLINE(misc-misleading-bidirectional): as above.
    for (const char* const text : {"\xC2\x9B", "\xE2\x80\xAE", "\x1B", "\n.wav"}) {
      EXPECT_THAT(outcome.output + outcome.errors, testing::Not(HasSubstr(text))) << command;
    }
  }
}

TEST_F(SafetyTest, SaysNoMoreThanItWasAsked) {
  const std::string before = Listing();
  const Outcome plan = RunHost("rhohost --dry-run --verify --force --bits 24 --fps 25 in.wav old.mkv");
  EXPECT_EQ(plan.code, 0);
  for (const char* const text :
       {"Linear PCM", "48000 Hz", "24 bits", "Stereo", "1920 sample frames", "old.mkv, Matroska, to be verified"}) {
    EXPECT_THAT(plan.output + plan.errors, HasSubstr(text));
  }
  EXPECT_EQ(RunHost("rhohost --dry-run --bits 24 --save-preset new").output, "preset: new\n");
  for (const char* const option : {"--help", "--version"}) {
    const Outcome told = RunHost(std::string("rhohost ") + option);
    EXPECT_EQ(told.code, 0);
    EXPECT_THAT(told.output, HasSubstr("rhohost"));
    EXPECT_EQ(told.errors, "");
  }
  EXPECT_EQ(Listing(), before);
  const Outcome quiet = RunHost("rhohost --quiet --force in.wav old.mkv");
  EXPECT_EQ(quiet.code, 0);
  EXPECT_EQ(quiet.output + quiet.errors, "");
  const Outcome loud = RunHost("rhohost --verify in.wav new.mkv");
  EXPECT_EQ(loud.output, "");
  EXPECT_EQ(std::count(loud.errors.begin(), loud.errors.end(), '\n'), 1) << loud.errors;
  EXPECT_EQ(Read("new.mkv"), Read("old.mkv"));
  EXPECT_EQ(Run("ls -A").output, "endless.wav\nin.wav\nnew.mkv\nold.mkv\n");
}

TEST_F(SafetyTest, CutsTheStatusLineToTheTerminal) {
  const Outcome outcome = Run(R"(exec script -qec '
      shown() { while kill -0 $! && ! grep -qP "\r[^\r]{$1}" ../output; do sleep .05; done; }
      stty cols 25; rhohost --test-signal 86400 /dev/null & shown 24; stty cols 40; shown 39; kill $!; wait' /dev/null)");
  std::istringstream shown(outcome.output);
  std::vector<std::size_t> lengths;
  for (std::string line; std::getline(shown, line, '\r');) {
    lengths.push_back(line.size());
  }
  ASSERT_THAT(lengths, testing::Contains(24)) << outcome.output;
  EXPECT_EQ(lengths.front(), 0U);
  lengths.erase(lengths.begin());
  lengths.erase(std::unique(lengths.begin(), lengths.end()), lengths.end());
  EXPECT_THAT(lengths, testing::ElementsAre(24, 39)) << outcome.output;
}

struct Change {
  std::string after;
  std::size_t distance;  ///< of the byte that changes, from the end of `after`
  const char* says;
};

TEST_F(SafetyTest, VerifyingFindsWhatHasChangedOnTheDisk) {
  Run("for i in 1 2 3 4 5 6 7 8 9; do cat in.wav in.wav; done >more; cat endless.wav more | rhohost - whole.mkv");
  const std::string whole = Read("whole.mkv");
  const std::string block = "\xA3\x59\x04\x81";
  constexpr std::size_t k12Blocks = std::size_t{12} * 6407;
  for (const auto& [after, distance, says] : {
           Change{"matrosk", 0, "packet 0 at sample frame 0 cannot be read back: its document type is not Matroska"},
           {"A_PCM/INT/LI", 0, "the track's format differs from what was encoded"},
           {"\xB5\x84", 1, "the track's format differs from what was encoded"},
           {"\x9F\x81", 0, "the track's format differs from what was encoded"},
           {"\x62\x64\x81", 0, "the track's format differs from what was encoded"},
           {"\x23\xE3\x83\x84", 1, "packet 0 at sample frame 0 differs from what was encoded"},
           {"\x77\x6D\xE7\x82", 1, "packet 15 at sample frame 24000 is at 24001 in the file"},
           {block, k12Blocks + 1, "packet 12 at sample frame 19200 is at 19201 in the file"},
           {block, k12Blocks + 3, "packet 12 at sample frame 19200 differs from what was encoded"},
           {block, k12Blocks + 6402, "packet 12 at sample frame 19200 differs from what was encoded"},
           {block, k12Blocks - 4, "packet 12 at sample frame 19200 cannot be read back: no valid Matroska element"},
       }) {
    const std::size_t at = whole.find(after) + after.size() + distance;
    ASSERT_LT(at, 500'000U) << "will not be on the disk while rhohost waits for the rest";
    std::ostringstream command;
    command << "{ cat endless.wav more; until [ -s .old.mkv.*.tmp ]; do :; done; printf '\\" << std::oct
            << (static_cast<unsigned char>(whole[at]) ^ 1U) << std::dec << "' | dd bs=1 seek=" << at
            << " conv=notrunc status=none of=$(echo .old.mkv.*.tmp); } | rhohost --verify --force - old.mkv";
    ExpectRefused({command.str(), 1, {"rhohost: old.mkv: ", says}});
  }
}

}  // namespace
