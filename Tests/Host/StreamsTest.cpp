/// Pipes, and inputs that are shorter, longer or louder than they should be.

#include "Tests/Host/HostTest.h"

#include <fcntl.h>
#include <unistd.h>
#include <cstring>
#include <map>
#include <sstream>
#include <tuple>

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;

/// A WAV file or its beginning, with other sizes of the whole and of the samples.
std::string WithSizes(std::string wav, std::uint32_t whole, std::uint32_t samples) {
  std::memcpy(&wav[4], &whole, 4);
  std::memcpy(&wav[wav.find("data") + 4], &samples, 4);
  return wav;
}

TEST_F(HostTest, ReadsWavFromPipesAsOtherProgramsWriteIt) {
  MakeSound("in.wav", 48000, 2, "sox -b 16");
  for (const std::uint32_t size : {0U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    Write(std::to_string(size), WithSizes(Read("in.wav"), size, size));
  }
  std::vector<std::string> outputs;
  for (const char* const command : {
           "cat in.wav | rhohost - out.mkv",
           "cat 0 | rhohost - out.mkv",
           "cat 2147483647 | rhohost - out.mkv",
           "cat 4294967295 | rhohost - out.mkv",
           "{ head -c 70000 0; sleep 0.3; tail -c +70001 0; } | rhohost - out.mkv",
           R"({ cat in.wav; printf 'LIST\4\0\0\0INFO'; } | rhohost - out.mkv)",
           "sox -V1 in.wav -t wav - | rhohost - out.mkv",
           "sox -V1 in.wav -b 24 -t wav - | rhohost - out.mkv",
           "ffmpeg -v error -i in.wav -metadata title=Pipe -f wav - | rhohost - out.mkv",
           "ffmpeg -v error -i in.wav -rf64 always -f wav - | rhohost - out.mkv",
           "rhohost - out.mkv <in.wav",
           "mkfifo pipe && { cat in.wav >pipe & } && rhohost pipe out.mkv",
           "cat in.wav | rhohost - - | cat >out.mkv",
       }) {
    SCOPED_TRACE(command);
    EXPECT_EQ(RunHost(command).code, 0);
    outputs.push_back(std::to_string(outputs.size()) + ".mkv");
    fs::rename(PathOf("out.mkv"), PathOf(outputs.back()));
  }
  ExpectSameSound("in.wav", outputs);
  EXPECT_EQ(RunHost("head -c 70000 in.wav | rhohost - out.mkv").code, 1);
}

TEST_F(HostTest, EndsWhenItsOutputFailsAlthoughThePipeStaysOpen) {
  // A file of this name must not be taken for the input.
  MakeSound("./-", 48000, 2, "sox -b 16 -t wav", std::size_t{20} * 48000);
  // The shell's own descriptor keeps the pipe open behind the last byte.
  const Outcome outcome =
      Run("mkfifo pipe && exec 3<>pipe && { head -c 420000 ./- >pipe 3>&- & } && "
          "ulimit -f 20 && timeout 20 rhohost - out.mkv <&3");
  EXPECT_EQ(outcome.code, 1);
  EXPECT_THAT(outcome.errors, HasSubstr("File too large"));
}

TEST_F(HostTest, WaitsForAPipeThatItsMakerNeverWaitsFor) {
  MakeSound("in.wav", 48000, 2, "sox -b 16", 99);
  const std::string bytes = Read("in.wav");
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
  ASSERT_LT(ends[1], 10) << "more than a shell can name";
  const pid_t process =
      Start("exec rhohost - out.mkv <&" + std::to_string(ends[0]) + ' ' + std::to_string(ends[1]) + ">&-");
  EXPECT_EQ(write(ends[1], bytes.data(), 99), 99);
  usleep(100'000);
  EXPECT_EQ(write(ends[1], bytes.data() + 99, bytes.size() - 99), bytes.size() - 99);
  close(ends[1]);
  EXPECT_EQ(Wait(process).code, 0);
  ExpectSameSound("in.wav", {"out.mkv"});
  close(ends[0]);
}

TEST_F(HostTest, WritesStreamsThatAPipeCanCarry) {
  MakeSound("in.wav", 44100, 6, "sox -b 24", 3 * kFrames);
  EXPECT_EQ(RunHost("rhohost --fps 25 in.wav - | cat >out.mkv && cat in.wav | rhohost --fps 25 - - >/dev/null").code,
            0);
  ExpectSameSound("in.wav", {"out.mkv"});
  ExpectJudgesAgree("out.mkv", {44100, 6, 24, 25, true}, 3 * kFrames);
  const Outcome broken = RunHost("{ rhohost in.wav -; echo $? >code; } | head -c 9");
  EXPECT_EQ(Read("code"), "1\n");
  EXPECT_THAT(broken.errors, HasSubstr("Broken pipe"));
}

TEST_F(HostTest, SaysHowMuchOfATruncatedFileIsMissing) {
  constexpr unsigned kCut = 1201;
  for (const auto& [file, tool] : std::vector<std::pair<const char*, const char*>>{
           {"cut.wav", "sox -b 16"},
           {"cut24.wav", "sox -b 24"},
           {"cutrf64.wav", "ffmpeg -rf64 always"},
           {"cut.w64", "sox -b 16"},
           {"cut.aiff", "sox -b 16"},
           {"cut.caf", "ffmpeg -c:a pcm_s16be"},
           {"cut.au", "sox -b 16"},
           {"cut.flac", "sox -b 16"},
       }) {
    SCOPED_TRACE(file);
    MakeSound(file, 48000, 2, tool);
    const std::string bytes = Read(file);
    Write(std::string("whole.").append(file), bytes);
    Write(file, bytes.substr(0, bytes.size() - kCut));
    const std::string files = std::string(file).append(" out.mkv");
    const Outcome refused = RunHost("rhohost " + files);
    EXPECT_EQ(refused.code, 1);
    EXPECT_EQ(Read("out.mkv"), "");
    EXPECT_EQ(RunHost("rhohost --allow-truncated " + files).code, 0);
    const std::vector<Samples> samples = Decode({{std::string("whole.").append(file)}, {"out.mkv"}});
    Samples wanted = samples[0];
    const Samples& found = samples[1];
    fs::remove(PathOf("out.mkv"));
    ASSERT_LT(found.size(), wanted.size());
    const std::size_t missing = (wanted.size() - found.size()) / 2;
    EXPECT_GE(missing, kCut / 6);
    EXPECT_THAT(refused.errors, ContainsRegex(" (1201|1202|" + std::to_string(missing) + ") "));
    wanted.resize(found.size());
    EXPECT_EQ(found, wanted);
  }
}

/// Each file goes in by name and by pipe, then cut at 60 %. The line for it: NAME, the exit codes of file and pipe,
/// whether the outputs are equal, the same for the cut file; "told" where its messages say that it may be incomplete,
/// "part" where file and pipe give the same beginning of the sound when truncations are allowed.
TEST_F(HostTest, PipesGiveWhatFilesGiveForEveryFormat) {
  fs::create_directory(PathOf("all"));
  ASSERT_EQ(Run(WRITE_SOUNDS " all").code, 0);
  const Outcome outcome = Run(R"sh(
    encode() { timeout 9 rhohost --no-sync --rate 48000 --bits 24 --force "$@" 2>>messages; echo $? >code; }
    for file in all/*; do
      line=${file#all/}
      rm -f *.mkv messages
      encode "$file" file.mkv; line="$line $(cat code)"
      cat "$file" | encode - pipe.mkv; line="$line $(cat code) $(cmp -s file.mkv pipe.mkv && echo equal)"
      rm -f *.mkv messages
      head -c $(($(stat -c %s "$file") * 6 / 10)) "$file" >cut
      encode cut file.mkv; line="$line $(cat code)"
      grep -q 'may be incomplete' messages && line="$line told"
      cat cut | encode - pipe.mkv; line="$line $(cat code)"
      encode --allow-truncated cut file.mkv; cat cut | encode --allow-truncated - pipe.mkv
      echo "$line $(cmp -s file.mkv pipe.mkv && echo part)"
    done)sh");
  EXPECT_LT(outcome.peakKiB, MEMORY_MIB * 1024);
  std::istringstream lines(outcome.output);
  std::map<std::string, int> kinds;
  for (std::string line; std::getline(lines, line);) {
    const std::string kind = line.substr(line.find(' ') + 1);
    ++kinds[kind];
    EXPECT_THAT(kind,
                testing::AnyOf("0 0 equal 1 1 part", "0 0 equal 1 1 ", "0 1  1 1 ", "0 1  0 told 1 ", "1 1  1 1 "))
        << line;
  }
  EXPECT_GE(kinds["0 0 equal 1 1 part"], 70);  // formats that need a file are the fewer
  EXPECT_LE(kinds["0 0 equal 1 1 "], 1);       // without a sample frame
  EXPECT_LE(kinds["1 1  1 1 "], 5);            // those that libsndfile cannot read itself
}

TEST_F(HostTest, NoBeginningOfASoundPassesForAWholeOne) {
  for (const std::string type : {"wav -b 24", "aiff -b 8", "au -b 16", "voc -b 8"}) {
    Run("sox -n -r 8000 -c 1 " + type.substr(type.find(' ')) + " short." + type.substr(0, type.find(' ')) +
        " synth 0.0005");
  }
  EXPECT_EQ(Run("for file in short.*; do for size in $(seq $(($(stat -c %s $file) - 1))); do head -c $size $file >cut; "
                "rhohost --no-sync --force cut out.mkv && echo $file $size; "
                "cat cut | rhohost --no-sync --force - out.mkv && echo $file $size from a pipe; done; done")
                .output,
            "");
  // Where nothing marks the end, users are told.
  MakeSound("in.wav", 48000, 2, "sox -b 16");
  for (const char* const command :
       {"ffmpeg -v error -i in.wav -f wav - | rhohost - 1.mkv", "lame --quiet -t in.wav in.mp3 && rhohost in.mp3 2.mkv",
        "ffmpeg -v error -i in.wav -f flac - | rhohost - 3.mkv", "sox in.wav in.sf && rhohost in.sf 4.mkv"}) {
    EXPECT_THAT(RunHost(command).errors, HasSubstr("it may be incomplete")) << command;
  }
  // libsndfile counts MPEG frames in WAV files wrongly, and lets libmpg123 write to standard error.
  EXPECT_EQ(RunHost("ffmpeg -v error -i in.wav -c:a libmp3lame mp3.wav && rhohost mp3.wav 6.mkv && cat mp3.wav | "
                    "rhohost - 7.mkv && cmp 6.mkv 7.mkv")
                .code,
            0);
  EXPECT_GE(Decode("6.mkv").size(), 2 * kFrames);
  Write("cut.wav", Read("mp3.wav").substr(0, 5000));
  ExpectRefused({"rhohost cut.wav 8.mkv", 1, {"is incomplete", "missing"}});
  // libsndfile would read the headers of further blocks as samples.
  MakeSound("in.voc", 44100, 1, "ffmpeg -c:a pcm_alaw");
  ExpectRefused({"rhohost in.voc 5.mkv", 1, {"more than one block of sound"}});
}

/// Damage that leaves a file's length as it was, and sounds that end without a word of their length.
TEST_F(HostTest, NoticesDamageThatAFormatCanShow) {
  struct Damage {
    const char* file;
    const char* tool;
    const char* command;  ///< turns $file into damaged
    const char* says;
    bool keepsLength;
  };
  for (const auto& [file, tool, command, says, keepsLength] : {
           Damage{"1.flac", "sox -b 16", "metaflac --preserve-modtime --set-md5sum=0123456789abcdef0123456789abcdef",
                  "do not match the MD5 sum", true},
           Damage{"2.flac", "sox -b 24", "printf Boo | dd of=2.flac bs=1 seek=9000 conv=notrunc status=none",
                  "is damaged", true},
           Damage{"3.flac", "sox -b 24",
                  "metaflac --set-md5sum=00000000000000000000000000000000 3.flac && "
                  "printf Boo | dd of=3.flac bs=1 seek=9000 conv=notrunc status=none",
                  "is damaged", true},
           Damage{"1.oga", "ffmpeg -c:a flac -page_duration 100000",
                  "printf Boo | dd of=1.oga bs=1 seek=90000 conv=notrunc status=none", "are not a page", true},
           Damage{"2.oga", "ffmpeg -c:a flac", "truncate -s -1000", "has no last page", false},
           Damage{"1.ogg", "sox -C 4", "truncate -s -1000", "has no last page", false},
           Damage{"1.opus", "ffmpeg -c:a libopus", "truncate -s -1000", "has no last page", false},
           Damage{"2.mp3", "ffmpeg -c:a libmp3lame", "truncate -s -2000", "are missing", false},
       }) {
    SCOPED_TRACE(file);
    const std::string name = file;
    MakeSound(name, 48000, 2, tool, 5 * kFrames);
    Write("whole." + name, Read(name));
    ASSERT_EQ(Run(std::string(command) + (std::strstr(command, file) == nullptr ? ' ' + name : "")).code, 0);
    ExpectRefused({"rhohost " + name + " out.mkv", 1, {says}});
    const Outcome allowed = RunHost("rhohost --allow-truncated " + name + " out.mkv");
    EXPECT_EQ(allowed.code, 0);
    EXPECT_THAT(allowed.errors, HasSubstr(says));
    const std::vector<Samples> samples = Decode({{"whole." + name}, {"out.mkv"}});
    EXPECT_EQ(samples[1].size() == samples[0].size(), keepsLength);
    fs::remove(PathOf("out.mkv"));
  }
}

TEST_F(HostTest, LargeOrHostileHeadersTakeNeitherTimeNorMemory) {
  MakeSound("in.wav", 48000, 2, "sox -b 16");
  const std::string wav = Read("in.wav");
  const std::string head = wav.substr(0, wav.find("data"));
  MakeSound("in.flac", 48000, 2, "sox -b 16");
  const std::string caf(
      "caff\0\1\0\0desc\0\0\0\0\0\0\0\x20\x40\xE7\x70\0\0\0\0\0lpcm\0\0\0\0\0\0\0\2\0\0\0\1\0\0\0\1\0\0\0\x10"
      "data\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF",
      64);
  std::string manyChunks = head;
  for (int chunk = 0; chunk < 100'000; ++chunk) {
    manyChunks.append("junk\0\0\0\0", 8);
  }
  constexpr std::uintmax_t kSparse = std::uintmax_t{100} << 30;
  for (const auto& [name, bytes, length, command, code] :
       std::vector<std::tuple<const char*, std::string, std::uintmax_t, const char*, int>>{
           {"no samples", head, kSparse, "rhohost sound out.mkv", 1},
           {"zeros follow", wav, kSparse, "rhohost sound out.mkv", 0},
           {"many chunks", manyChunks + wav.substr(head.size()), 0, "rhohost sound out.mkv", 1},
           {"FLAC, empty blocks", "fLaC" + Read("in.flac").substr(4, 38).replace(0, 1, 1, '\0'), kSparse,
            "rhohost sound out.mkv", 1},
           {"FLAC and zeros", Read("in.flac").substr(0, 9000), kSparse, "rhohost sound out.mkv", 1},
           {"CAF without samples", caf, 0, "cat sound | rhohost - out.mkv", 1},
       }) {
    SCOPED_TRACE(name);
    Write("sound", bytes);
    if (length != 0) {
      fs::resize_file(PathOf("sound"), length);
    }
    const Outcome outcome = RunHost(std::string("timeout 9 ").append(command));
    EXPECT_EQ(outcome.code, code);
    EXPECT_LT(outcome.peakKiB, MEMORY_MIB * 1024);
    fs::remove(PathOf("out.mkv"));
  }
}

TEST_F(HostTest, LongSoundsOfEveryDecoderTakeLittleMemory) {
  for (const auto& [file, tool] : std::vector<std::pair<const char*, const char*>>{{"1.flac", "sox -b 16"},
                                                                                   {"1.mp3", "ffmpeg -c:a libmp3lame"},
                                                                                   {"1.ogg", "sox -C 4"},
                                                                                   {"1.w64", "ffmpeg -c:a adpcm_ms"}}) {
    SCOPED_TRACE(file);
    MakeSound(file, 48000, 2, tool, std::size_t{20} * 48000);
    const std::string input = file;
    const std::string pipe =
        input == "1.ogg" ? "" : std::string(" && cat ").append(input).append(" | rhohost --force - out.mkv");
    const Outcome outcome = RunHost("rhohost --force " + input + " out.mkv" + pipe);
    EXPECT_EQ(outcome.code, 0);
    EXPECT_LT(outcome.peakKiB, MEMORY_MIB * 1024);
  }
}

TEST_F(HostTest, BytesBehindTheEndThatTheHeaderStatesAreNotSound) {
  for (const auto& [file, options] : {std::pair("in.avr", "sox -b 16"), std::pair("in.wve", "sox -e a-law")}) {
    MakeSound(file, 8000, 1, options);
    ASSERT_EQ(RunHost(std::string("rhohost -f ") + file + " whole.mkv").code, 0);
    Write(std::string("longer.") + (file + 3), Read(file) + std::string(1000, '\x55'));
    EXPECT_EQ(RunHost(std::string("rhohost -f longer.") + (file + 3) + " longer.mkv").code, 0) << file;
    ExpectSameSound("whole.mkv", {"longer.mkv"});
  }
}

TEST_F(HostTest, AnEmptyRecordingIsARecording) {
  MakeSound("in.wav", 48000, 2, "sox -b 16");
  const std::string header = Read("in.wav");
  const std::string empty = header.substr(0, header.find("data") + 8);
  Write("empty.wav", WithSizes(empty, 36, 0));
  Write("tagged.wav", WithSizes(empty, 48, 0) + std::string("LIST\4\0\0\0INFO", 12));
  for (const char* const command : {"rhohost -f empty.wav out.mkv", "rhohost -f tagged.wav out.mkv"}) {
    EXPECT_EQ(RunHost(command).code, 0);
    EXPECT_EQ(Run("mkvmerge -o ../remuxed.mkv out.mkv").code, 0);
    EXPECT_TRUE(ProbeFile("out.mkv", 48000).packets.empty()) << command;
  }
  EXPECT_THAT(RunHost("cat tagged.wav | rhohost -f - out.mkv").errors, HasSubstr("says that there are no samples"));
  // A recorder that ended before it could write the sizes.
  Write("ended.wav", WithSizes(header, 36, 0));
  for (const char* const command : {"rhohost -f ended.wav out.mkv", "cat ended.wav | rhohost -f - out.mkv"}) {
    SCOPED_TRACE(command);
    EXPECT_EQ(RunHost(command).code, 0);
    ExpectSameSound("in.wav", {"out.mkv"});
  }
}

TEST_F(HostTest, ClampsWhatIsBeyondFullScaleAndCountsIt) {
  // An AU file of floats: 2, -2, infinity, minus infinity, not a number, 0.5, -0.5, 0.
  Write("loud.au", std::string(".snd\0\0\0\x18\0\0\0\x20\0\0\0\6\0\0\x1F\x40\0\0\0\1"
                               "\x40\0\0\0\xC0\0\0\0\x7F\x80\0\0\xFF\x80\0\0\x7F\xC0\0\0\x3F\0\0\0\xBF\0\0\0\0\0\0\0",
                               56));
  const Outcome outcome = RunHost("rhohost loud.au out.mkv");
  EXPECT_EQ(outcome.code, 0);
  EXPECT_THAT(outcome.errors, ContainsRegex(" 5 samples .*clipped"));
  const std::vector<double> wanted{0x7FFFFF, -0x800000, 0x7FFFFF, -0x800000, 0, 0x400000, -0x400000, 0};
  std::vector<double> found;
  for (const std::int32_t sample : Decode("out.mkv")) {
    found.push_back(sample / 256.0);
  }
  EXPECT_THAT(found, testing::Pointwise(testing::DoubleNear(2), wanted));
}

TEST_F(HostTest, ReadsLongFilesAheadToTheSameResult) {
  MakeSound("in.flac", 44100, 2, "sox -b 24", std::size_t{30} * 44100);
  EXPECT_EQ(RunHost("rhohost in.flac ahead.mkv && rhohost --to . in.flac && cmp in.mkv ahead.mkv").code, 0);
  // Damage far in has the same message, after the blocks before it.
  const std::string bytes = Read("in.flac");
  for (const std::string& damaged :
       {bytes.substr(0, bytes.size() * 3 / 4), bytes.substr(0, bytes.size() / 2) + bytes}) {
    Write("bad.flac", damaged);
    const Outcome ahead = RunHost("rhohost bad.flac bad.mkv");
    EXPECT_EQ(ahead.code, 1);
    EXPECT_THAT(RunHost("rhohost --quiet --to other bad.flac").errors, testing::StartsWith(ahead.errors));
    EXPECT_THAT(RunHost("rhohost --allow-truncated bad.flac bad.mkv").errors, ContainsRegex(" missing| damaged"));
    fs::remove(PathOf("bad.mkv"));
  }
}

TEST_F(HostTest, HoursFitInLittleMemoryAndKeepTheirTimes) {
  constexpr unsigned kRate = 11025;
  constexpr unsigned kPacket = 368;
  constexpr std::uint32_t kHours = 3 * 3600 * kRate + 77;
  MakeSound("in.wav", kRate, 2, "sox -b 16");
  const std::string header = Read("in.wav").substr(0, 44);
  Write("in.wav", WithSizes(header, 36 + 4 * kHours, 4 * kHours));
  fs::resize_file(PathOf("in.wav"), 44 + 4 * std::uintmax_t{kHours});
  const Outcome outcome = Run("script -qec 'rhohost in.wav out.mkv' /dev/null");
  EXPECT_EQ(outcome.code, 0);
  EXPECT_LT(outcome.peakKiB, MEMORY_MIB * 1024);
  EXPECT_THAT(outcome.output, ContainsRegex("\r[^\r\n]*%[^\r\n]* left[^\n]*\rrhohost: out.mkv: "));

  const Probe tail = ProbeFile("out.mkv", kRate, "-read_intervals 10790%");
  EXPECT_EQ(tail.duration, kHours);
  ASSERT_FALSE(tail.packets.empty());
  EXPECT_GT(tail.packets.front().time, 10780 * kRate);  // the cues led there
  long long next = tail.packets.front().time / kPacket * kPacket;
  for (const Probe::Packet& packet : tail.packets) {
    ASSERT_EQ(packet.time, next);
    next += packet.duration;
  }
  EXPECT_EQ(next, kHours);
}

TEST_F(HostTest, CountsBeyondFourGibibytes) {
  // A CAF file of 7.1 at 96 kHz and 24 bits: the size of its samples, and 4 bytes of another field, take 33 bits.
  Write("in.caf",
        std::string(
            "caff\0\1\0\0desc\0\0\0\0\0\0\0\x20\x40\xF7\x70\0\0\0\0\0lpcm\0\0\0\2\0\0\0\x18\0\0\0\1\0\0\0\x08\0\0\0\x18"
            "data\0\0\0\1\0\0\x20\4\0\0\0\0",
            68));
  EXPECT_THAT(RunHost("rhohost in.caf out.mkv").errors, HasSubstr("4294975488"));
  fs::resize_file(PathOf("in.caf"), 68 + 0x1'0000'2000);
  EXPECT_THAT(RunHost("rhohost --dry-run in.caf out.mkv").output, HasSubstr("0:31:04.139"));
}

}  // namespace
