/// Many files at once: which are encoded and where to, what is refused, and that none stands in another's way.

#include "Tests/Host/HostTest.h"

#include <csignal>

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;

class BatchTest : public HostTest {
 protected:
  BatchTest() {
    EXPECT_EQ(Run("mkdir -p in/live/deep 'in/[x,y]' in/texts").code, 0);
    MakeSound("one.wav", 44100, 2, "sox -b 16");
    MakeSound("in/a.wav", 48000, 2, "sox -b 16");
    MakeSound("in/live/b.b.flac", 48000, 1, "sox -b 24");
    MakeSound("in/live/deep/.c", 96000, 6, "sox -b 24 -t aiff");
    MakeSound("in/[x,y]/d.wav", 37800, 2, "sox -b 16");
    EXPECT_EQ(Run("ln -s ../../one.wav in/live/link.wav").code, 0);
  }

  /// Adds what is no sound and cannot be encoded.
  void AddOthers() const {
    EXPECT_EQ(Run("echo text | tee in/a.txt in/a.nfo in/texts/t.wav >/dev/null; : >in/empty.wav; mkfifo in/fifo.wav; "
                  "ln -s . in/live/self; ln -s none in/dangling.wav; head -c 9999 in/a.wav >in/cut.wav")
                  .code,
              0);
  }

  std::string Files(const std::string& folder) const {
    return Run("cd " + folder + " && find . ! -type d | sort | tr '\\n' ' '").output;
  }
  static constexpr const char* kOutputs = "./a.mkv ./live/b.b.mkv ./live/deep/.c.mkv ./live/link.mkv ";
};

TEST_F(BatchTest, KeepsTheTreeAndNamesWhatFailed) {
  AddOthers();
  const Outcome outcome = RunHost("umask 026; rhohost --verify --to new/out --jobs 1 in one.wav none.wav");
  EXPECT_EQ(outcome.code, 1);
  EXPECT_EQ(outcome.output, "");
  EXPECT_THAT(
      outcome.errors,
      ContainsRegex("^rhohost: none.wav: .*No such file.*\nrhohost: in/fifo.wav: is not a file\n"
                    "rhohost: in/\\[x,y\\]/d.wav: .*37800 Hz.*\n"
                    "rhohost: in/cut.wav: is incomplete.*\nrhohost: in/dangling.wav: .*No such file.*\n"
                    "rhohost: in/empty.wav: is empty.*\nrhohost: in/texts/t.wav: is not a sound file.*\n"
                    "rhohost: new/out: 5 files encoded and verified, 3 not sound files, 7 failed; "
                    "0:00:0[0-9.]+ of sound, [0-9]+ x real time; failed: none.wav, in/fifo.wav, in/.x,y./d.wav, "
                    "in/cut.wav, in/dangling.wav, in/empty.wav, in/texts/t.wav\n$"));
  EXPECT_EQ(Files("new/out"), std::string(kOutputs) + "./one.mkv ");
  EXPECT_EQ(Run("stat -c %a new new/out/live new/out/a.mkv").output, "751\n751\n640\n");
  EXPECT_EQ(Decode("new/out/live/deep/.c.mkv"), Decode("in/live/deep/.c"));
  ExpectJudgesAgree("new/out/live/b.b.mkv", {48000, 1, 24}, kFrames);
}

TEST_F(BatchTest, GivesWhatOneFileAtATimeGives) {
  ASSERT_EQ(
      Run("mkdir many && cp one.wav many && for i in 1 2 3 4; do cp -r in many/$i; echo text >many/$i/a.txt; done; "
          "mkfifo preset")
          .code,
      0);
  Write("saved", R"({"manufacturer": "ZAV ", "codec": "LPCM", "settings": {"SampleSize": 24}})");
  // A pipe can be read only once.
  const Outcome many =
      RunHost("cat saved >preset & rhohost --to out --preset preset --set SampleRate=44100 --fps 25 --jobs 16 many");
  EXPECT_THAT(many.errors,
              HasSubstr("out: 21 files encoded, 4 not sound files, 16 resampled, 16 dithered to fewer bits;"));
  const Outcome single = Run(
      R"(cd many; find . -type f ! -name '*.txt' -o -type l | while read -r file; do
           rhohost --quiet --force --preset ../saved --rate 44100 --fps 25 "$file" ../single.mkv &&
           cmp ../single.mkv "../out/$(echo "$file" | sed 's|\([^/]\)\.[^./]*$|\1|').mkv" && echo
         done | wc -l)");
  EXPECT_EQ(single.output, "21\n") << single.errors;
}

TEST_F(BatchTest, RefusesBeforeAnythingIsWritten) {
  ASSERT_EQ(
      Run("mkdir old twin; cp one.wav twin; cp one.wav twin/one.aiff; cp one.wav old/x.wav; ln in/a.wav old/a.mkv; "
          "mkdir links; ln -s ../in/live links/more; ln -s more links/deep; mkdir new.d; ln -s a.mkv new.d/one.mkv")
          .code,
      0);
  const std::string before = Listing();
  for (const auto& [arguments, says] : std::vector<std::pair<std::string, std::vector<const char*>>>{
           {"--to new", {"INPUT"}},
           {"--to '' in", {"--to", "empty"}},
           {"--to new in ''", {"empty"}},
           {"--to new -", {"standard input"}},
           {"--to new in - <one.wav", {"standard input"}},
           {"--to new --on-clash maybe in", {"--on-clash", "\"maybe\"", "keep-extension"}},
           {"--to new --suffix .wav in", {"--suffix", "\".wav\""}},
           {"--exclude x one.wav new.mkv", {"--exclude", "--to"}},
           {"--to old --force old in/a.wav", {"old/a.mkv", "in/a.wav", "overwrite"}},
           {"--to old --force one.wav in/a.wav", {"old/a.mkv", "in/a.wav", "overwrite"}},
           {"--to new --jobs 0 in", {"--jobs", "\"0\""}},
           {"--to new --jobs 257 in", {"--jobs", "256"}},
           {"--jobs 2 one.wav new.mkv", {"--jobs", "--to"}},
           {"--skip-existing one.wav new.mkv", {"--skip-existing", "--to"}},
           {"--to new --force --skip-existing in", {"--force", "--skip-existing"}},
           {"--to new --save-preset p in", {"--save-preset", "--to"}},
           {"--to new --test-signal 1 in", {"--test-signal", "--to"}},
           {"--to new --rate 5 in", {"Sample Rate", "5 Hz"}},
       }) {
    ExpectRefused({"rhohost " + arguments, 2, says});
  }
  for (const char* const arguments : {"--to new twin", "--to new --files-from none", "--to new.d one.wav in/a.wav"}) {
    EXPECT_EQ(RunHost(std::string("rhohost --quiet ") + arguments).code, 1) << arguments;
  }
  const Outcome plan = RunHost("rhohost --to new/out --rate 48000 --dry-run in");
  EXPECT_EQ(plan.code, 0);
  EXPECT_THAT(plan.output, ContainsRegex("input: in/\\[x,y\\]/d.wav.*\n.*37800 to 48000 Hz.*\n.*\noutput: new/out/"));
  EXPECT_THAT(plan.errors, HasSubstr("5 files to encode"));
  EXPECT_EQ(RunHost("rhohost --to one.wav in").code, 1);
  EXPECT_EQ(Listing(), before);
}

TEST_F(BatchTest, GoesOnWhereTheSystemGivesLittle) {
  // More folders in each other than files may be open, their path too long where it is to go, and no room for a thread.
  const Outcome outcome = RunHost(
      "d=$(printf %0200d 0); p=in; for i in $(seq 19); do p=$p/$d; done; mkdir -p $p; cp one.wav $p; "
      "ulimit -n 14; ulimit -s 100000000000; rhohost --jobs 2 --to $d/$d/$d/$d in");
  EXPECT_THAT(outcome.errors,
              ContainsRegex("in/0.*/one.wav: .*: File name too long\n(.*\n)*.*: 4 files encoded, 2 failed;"));
}

TEST_F(BatchTest, GoesOnWhereItWas) {
  const std::string command = "rhohost --rate 48000 --to in/out in";
  ASSERT_EQ(RunHost(command).code, 0);
  ASSERT_EQ(Run("echo old >in/out/a.mkv; touch -d tomorrow in/a.wav; rm -r in/out/live").code, 0);
  // Two at a time do not hurt each other.
  EXPECT_EQ(RunHost(command + " --skip-existing & " + command + " --skip-existing && wait $!").code, 0);
  EXPECT_EQ(Read("in/out/a.mkv"), "old\n");
  EXPECT_EQ(Files("in/out"), "./[x,y]/d.mkv " + std::string(kOutputs));
  const std::string before = Listing();
  EXPECT_THAT(RunHost(command + " --skip-existing").errors,
              HasSubstr(": 0 files encoded, 5 existing ones skipped, 1 of them older than its input\n"));
  const Outcome refused = RunHost(command + " --quiet");
  EXPECT_EQ(refused.code, 1);
  EXPECT_THAT(refused.errors, HasSubstr("in/a.wav: in/out/a.mkv: exists already"));
  EXPECT_EQ(Listing(), before);
  EXPECT_EQ(RunHost(command + " --force --quiet").errors, "");
  EXPECT_EQ(Decode("in/out/a.mkv"), Decode("in/a.wav"));
}

TEST_F(BatchTest, ShowsHowFarItIsAndLeavesOnlyWholeFiles) {
  // Half an hour of silence in an AU file, which says nothing of its length.
  ASSERT_EQ(Run(R"(mkdir long && cp one.wav long/a.wav &&
      printf '.snd\0\0\0\30\377\377\377\377\0\0\0\3\0\0\254\104\0\0\0\2' >long/b.au && truncate -s 317520024 long/b.au)")
                .code,
            0);
  const std::string command = "sh -c 'echo \\$\\$ >process; exec rhohost --rate 96000 --jobs 1 --to out long'";
  const pid_t terminal = Start("exec script -qec \"" + command + "\" /dev/null");
  while (Read("../output").find("1 of 2 files, ") == std::string::npos) {
  }
  ASSERT_EQ(kill(std::stoi(Read("process")), SIGTERM), 0);
  const Outcome outcome = Wait(terminal);
  EXPECT_EQ(outcome.code, 128 + SIGTERM);
  EXPECT_THAT(outcome.output,
              ContainsRegex("\rrhohost: [0-9]+ %, [0-9.]+ MB of 317.[0-9] MB, 1 of 2 files, [0-9]+:[0-9]+ left"));
  EXPECT_EQ(Run("ls -A out").output, "a.mkv\n");
}

}  // namespace
