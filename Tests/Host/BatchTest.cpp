/// Many files at once: which are encoded and where to, what is refused, and that none stands in another's way.

#include "Tests/Host/HostTest.h"

#include <csignal>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

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

  /// Adds files that are not sounds, and sounds that cannot be encoded.
  void AddOthers() const {
    EXPECT_EQ(Run("echo text | tee in/a.txt in/a.nfo in/texts/t.wav >/dev/null; : >in/empty.wav; mkfifo in/fifo.wav; "
                  "ln -s . in/live/self; ln -s none in/dangling.wav; head -c 9999 in/a.wav >in/cut.wav")
                  .code,
              0);
  }

  /// Makes a folder of two sounds: a.wav, and half an hour of silence in an AU file, which does not state its length.
  void MakeLongSound(const std::string& name) const {
    EXPECT_EQ(Run("file=long/" + name + R"(; mkdir long && cp one.wav long/a.wav && printf >$file \
                  '.snd\0\0\0\30\377\377\377\377\0\0\0\3\0\0\254\104\0\0\0\2' && truncate -s 317520024 $file)")
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
  for (const char* const failure :
       {"none.wav: .*No such file.*", "in/fifo.wav: is not a file", "in/.x,y./d.wav: .*37800 Hz.*",
        "in/cut.wav: is incomplete.*", "in/dangling.wav: .*No such file.*", "in/empty.wav: is empty.*",
        "in/texts/t.wav: is not a sound file.*"}) {
    const std::string message = failure;
    EXPECT_THAT(outcome.errors, ContainsRegex("rhohost: " + message + "\n(.*\n)*rhohost: failed: " + message + "\n"));
  }
  EXPECT_THAT(outcome.errors, ContainsRegex("\nrhohost: new/out: 5 files encoded and verified, 3 not sound files, "
                                            "7 failed; 0:00:0[0-9.]+ of sound, [0-9]+ x real time\n$"));
  EXPECT_EQ(Files("new/out"), std::string(kOutputs) + "./one.mkv ");
  EXPECT_EQ(Run("stat -c %a new new/out/live new/out/a.mkv").output, "751\n751\n640\n");
  ExpectSameSound("in/live/deep/.c", {"new/out/live/deep/.c.mkv"});
  ExpectJudgesAgree("new/out/live/b.b.mkv", {48000, 1, 24}, kFrames);
}

TEST_F(BatchTest, GivesWhatOneFileAtATimeGives) {
  ASSERT_EQ(
      Run("mkdir many && cp one.wav many && for i in 1 2 3 4; do cp -r in many/$i; echo text >many/$i/a.txt; done")
          .code,
      0);
  Write("saved", R"({"manufacturer": "ZAV ", "codec": "LPCM", "settings": {"SampleSize": 24}})");
  const Outcome many = RunHost("rhohost --to out --preset saved --set SampleRate=44100 --fps 25 --jobs 16 many");
  EXPECT_THAT(many.errors,
              ContainsRegex("out: 21 files encoded, 16 of them resampled, 16 of them dithered, 4 not sound files;"));
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
           {"--to new --preserve-times --rate 5 in", {"Sample Rate", "5 Hz"}},
       }) {
    ExpectRefused({"rhohost " + arguments, 2, says});
  }
  for (const char* const arguments : {"--to new twin", "--to new --files-from none",
                                      "--to old --list-failed none/list one.wav", "--to new.d one.wav in/a.wav"}) {
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
  ExpectSameSound("in/a.wav", {"in/out/a.mkv"});
}

TEST_F(BatchTest, ReplacesOlderOutputsAndKeepsTimes) {
  ASSERT_EQ(Run("rm -r 'in/[x,y]'; touch -d '2001-02-03 04:05:06.789' in/a.wav").code, 0);
  ASSERT_EQ(RunHost("rhohost --to out --update in").code, 0);
  EXPECT_EQ(Run("stat -c %y in/a.wav").output, Run("stat -c %y out/a.mkv").output);
  const std::string before = Listing();
  EXPECT_THAT(RunHost("rhohost --to out --update in").errors, HasSubstr("0 files encoded, 4 existing ones skipped\n"));
  EXPECT_EQ(Listing(), before);
  EXPECT_EQ(Run("touch -d 2001-02-04 in/a.wav; rhohost --to out --update --list-inputs in").output, "in/./a.wav\n");
  EXPECT_THAT(RunHost("rhohost --to out --update --no-preserve-times in").errors,
              HasSubstr("1 file encoded, 3 existing"));
  EXPECT_EQ(Run("find out/a.mkv -newer in/live/b.b.flac").output, "out/a.mkv\n");
}

TEST_F(BatchTest, TakesTheNearestRateThatIsAllowed) {
  MakeSound("in/fast.wav", 192000, 2, "sox -b 16", 99);
  EXPECT_THAT(RunHost("rhohost --to out --rate nearest in").errors, HasSubstr("6 files encoded, 2 of them resampled"));
  for (const auto& [file, rate] :
       {std::pair{"[x,y]/d", 32000U}, {"fast", 96000U}, {"a", 48000U}, {"live/link", 44100U}}) {
    EXPECT_THAT(ProbeFile(std::string("out/") + file + ".mkv", rate).others, HasSubstr(std::to_string(rate))) << file;
  }
}

TEST_F(BatchTest, ListsFailedFilesForTheNextRun) {
  AddOthers();
  for (const auto& [option, list] : {std::pair{"", "failed"}, {"--null ", "failed.0"}}) {
    const std::string batch =
        std::string("rhohost --quiet --skip-existing --to out ") + option + "--list-failed " + list;
    EXPECT_EQ(RunHost(batch + " in one.wav").code, 1);
    Run("cp in/cut.wav damaged.wav; cp in/a.wav in/cut.wav");
    EXPECT_EQ(RunHost(batch + " --rate 48000 --files-from " + list).code, 1);
    EXPECT_EQ(Files("out"),
              "./[x,y]/d.mkv ./a.mkv ./cut.mkv ./live/b.b.mkv ./live/deep/.c.mkv ./live/link.mkv ./one.mkv ");
    EXPECT_EQ(Run(std::string("tr '\\0' '\\n' <") + list).output,
              "in/./fifo.wav\nin/./dangling.wav\nin/./empty.wav\nin/./texts/t.wav\n");
    Run("cp damaged.wav in/cut.wav; rm -r out");
  }
}

TEST_F(BatchTest, SaysWhatAnInterruptedRunHasDone) {
  MakeLongSound("c.wav");
  Run("echo text >long/b.wav; ln long/c.wav long/d.wav");
  const pid_t process =
      Start("echo $$ >process; exec rhohost --rate 96000 --jobs 1 --to out --json --list-failed failed long");
  AwaitOutput("b.wav: is not");
  ASSERT_EQ(kill(std::stoi(Read("process")), SIGTERM), 0);
  const Outcome outcome = Wait(process);
  EXPECT_EQ(outcome.code, 128 + SIGTERM);
  EXPECT_THAT(outcome.errors, ContainsRegex("out: interrupted: 1 file encoded, .*1 failed, 2 not reached; "));
  EXPECT_THAT(outcome.output, ContainsRegex("\"event\":\"summary\",\"encoded\":1,.*\"failed\":1,\"notReached\":2,"
                                            "\"interrupted\":true"));
  EXPECT_EQ(Read("failed"), "long/./b.wav\n");
  EXPECT_EQ(Run("ls -A out").output, "a.mkv\n");

  const pid_t single = Start("echo $$ >process; exec rhohost --rate 96000 --json long/c.wav single.mkv");
  AwaitOutput("\"plan\"");
  ASSERT_EQ(kill(std::stoi(Read("process")), SIGTERM), 0);
  EXPECT_THAT(Wait(single).output, ContainsRegex("\"summary\",\"encoded\":0,.*\"notReached\":1,\"interrupted\":true"));
}

TEST_F(BatchTest, PrintsJsonLinesOfOneShape) {
  const std::map<std::string, std::set<std::string>> keys{
      {"start", {"version", "program", "files", "bytes", "dryRun"}},
      {"plan",
       {"input", "listName", "output", "format", "tracks", "framesPerPacket", "frames", "conversion", "verify"}},
      {"progress", {"fraction", "seconds"}},
      {"skipped", {"input", "output"}},
      {"failed", {"input", "listName", "message"}},
      {"encoded",
       {"input", "output", "format", "tracks", "frames", "packets", "conversion", "clippedSamples", "notes", "verified",
        "audioXxh3", "soundSeconds", "seconds"}},
      {"summary",
       {"encoded", "resampled", "dithered", "clipped", "split", "skipped", "outdated", "clashing", "repeated",
        "excluded", "others", "failed", "notReached", "interrupted", "soundSeconds", "seconds"}}};
  const std::string document = ReadFile(SOURCE_FOLDER "/docs/json.md");
  std::set<std::string> seen;
  const std::string batch = "rhohost --json --quiet --skip-existing --to out";
  for (const std::string& command : std::vector<std::string>{
           "rhohost --json --dry-run --quiet one.wav - 2>&1", "rhohost --json --quiet one.wav one.mkv", batch + " in",
           batch + " in \"$(printf 'none\\377')\" 2>/dev/null", batch + " --dry-run in"}) {
    std::istringstream lines(Run(command).output);
    for (std::string line; std::getline(lines, line);) {
      const auto event = nlohmann::json::parse(line);
      std::set<std::string> found;
      for (const auto& [key, value] : event.items()) {
        found.insert(key);
        EXPECT_THAT(document, HasSubstr("`" + key + "`"));
      }
      found.erase("event");
      EXPECT_EQ(found, keys.at(event["event"])) << line;
      seen.insert(event["event"]);
      if (event["event"] == "encoded") {
        const std::string output = event["output"];
        const std::string bits = std::to_string(event["format"]["bits"].get<int>());
        EXPECT_THAT(Run("ffmpeg -v error -i '" + output + "' -f s" + bits + "le - | xxhsum -H3").output,
                    HasSubstr(event["audioXxh3"].get<std::string>()));
      }
    }
  }
  EXPECT_EQ(seen.size(), keys.size());
}

TEST_F(BatchTest, ShowsHowFarItIsAndLeavesOnlyWholeFiles) {
  MakeLongSound("b.au");
  const std::string command = "sh -c 'echo \\$\\$ >process; exec rhohost --rate 96000 --jobs 1 --to out long'";
  const pid_t terminal = Start("exec script -qec \"" + command + "\" /dev/null");
  AwaitOutput("1 of 2 files, ");
  ASSERT_EQ(kill(std::stoi(Read("process")), SIGTERM), 0);
  const Outcome outcome = Wait(terminal);
  EXPECT_EQ(outcome.code, 128 + SIGTERM);
  EXPECT_THAT(outcome.output,
              ContainsRegex("\rrhohost: [0-9]+ %, [0-9]+:[0-9]+ left, 1 of 2 files, [0-9.]+ [kM]B of 317.[0-9] MB"));
  EXPECT_EQ(Run("ls -A out").output, "a.mkv\n");
}

}  // namespace
