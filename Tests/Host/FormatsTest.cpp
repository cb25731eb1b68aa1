/// Every kind of sound file comes out as ffmpeg would have decoded it, sample for sample where nothing has to be
/// converted, and the same bytes each time.

#include "Tests/Host/HostTest.h"

#include <cmath>
#include <cstdlib>
#include <ostream>

namespace {

/// How far from what the other decoder says, in units of the output's last bit.
constexpr float kExact = 0;
constexpr float kDithered = 1.6F;  // triangular dither of one unit, and half a unit of rounding
constexpr float kVorbis = 4;       // here and for Opus: decoders differ in the last bits of a float
constexpr float kMP3 = 12;
constexpr float kADPCM = 25;

struct Sound {
  const char* file;
  unsigned rate;
  unsigned channels;
  const char* tool;  ///< see MakeSound; null for a file that is there already
  unsigned bits;     ///< of the output
  float tolerance;
  double framesPerSecond = 30;
  const char* options = "";
  unsigned outputRate = 0;  ///< when it differs
};

void PrintTo(const Sound& sound, std::ostream* out) { *out << sound.file << ' ' << sound.options; }

#define ALSA "/usr/share/sounds/alsa/"
#define FREEDESKTOP "/usr/share/sounds/freedesktop/stereo/"

const Sound kSounds[] = {
    {"u8.wav", 8000, 1, "sox -b 8 -e unsigned", 16, kExact},
    {"16 bits.wav", 44100, 2, "sox -b 16", 16, kExact},
    {"24\xFF.wav", 48000, 6, "sox -b 24", 24, kExact},
    {"32.wav", 96000, 2, "sox -b 32", 24, kDithered},
    {"float.wav", 88200, 2, "sox -e float -b 32", 24, kDithered},
    {"double.wav", 44100, 1, "sox -e float -b 64", 24, kDithered},
    {"mu-law.wav", 8000, 1, "sox -e u-law", 16, kExact},
    {"a-law.wav", 8000, 1, "sox -e a-law", 16, kExact},
    {"adpcm.wav", 22050, 2, "sox -e ima-adpcm", 16, kADPCM},
    {"rf64.wav", 48000, 8, "ffmpeg -rf64 always -c:a pcm_s24le", 24, kExact},
    {"16.w64", 32000, 8, "ffmpeg -c:a pcm_s16le", 16, kExact},
    {"16.aiff", 16000, 2, "sox -b 16", 16, kExact},
    {"24.aiff", 48000, 6, "ffmpeg -c:a pcm_s24be", 24, kExact},
    {"16.aifc", 64000, 2, "sox -b 16", 16, kExact},
    {"float.aiff", 24000, 2, "ffmpeg -c:a pcm_f32be", 24, kDithered},
    {"16.caf", 44100, 8, "ffmpeg -c:a pcm_s16le", 16, kExact},
    {"16.au", 22050, 1, "sox -b 16", 16, kExact},
    {"16.flac", 44100, 2, "sox -b 16", 16, kExact},
    {"8.flac", 16000, 1, "sox -b 8", 16, kExact},
    {"24.flac", 96000, 6, "sox -b 24", 24, kExact},
    {"7.flac", 48000, 7, "ffmpeg -sample_fmt s16", 16, kExact},
    {"24.oga", 48000, 6, "ffmpeg -c:a flac -sample_fmt s32", 24, kExact},
    {"6.ogg", 48000, 6, "sox -C 4", 24, kVorbis},
    {"8.ogg", 48000, 8, "sox -C 4", 24, kVorbis},
    {"2.opus", 48000, 2, "ffmpeg -c:a libopus", 24, kVorbis},
    {"6.opus", 48000, 6, "ffmpeg -c:a libopus", 24, kVorbis},
    {"1.mp3", 22050, 1, "ffmpeg -c:a libmp3lame", 24, kMP3},
    {"2.mp3", 44100, 2, "ffmpeg -c:a libmp3lame -b:a 192k", 24, kMP3},
    {ALSA "Front_Center.wav", 48000, 1, nullptr, 16, kExact},
    {FREEDESKTOP "window-question.oga", 44100, 2, nullptr, 24, kVorbis},
    // Options override what follows from the input.
    {"more.wav", 44100, 2, "sox -b 16", 24, kExact, 25, "--bits 24 --fps 25"},
    {"fewer.wav", 48000, 6, "sox -b 24", 16, kDithered, 30000 / 1001.0, "--bits 16 --fps 30000/1001 --channels 5.1"},
    {"float16.wav", 48000, 1, "sox -e float -b 32", 16, kDithered, 29.97, "--bits 16 --fps=29.97 --channels Mono"},
    {"up.wav", 44100, 2, "sox -b 16", 16, kDithered, 59.94, "--rate 48000 --fps 59.94", 48000},
    {"down.wav", 192000, 6, "sox -b 24", 24, kDithered, 120, "--rate 96000 --fps 120", 96000},
    {"odd.flac", 37800, 1, "sox -b 16", 16, kDithered, 1, "--rate 11025 --fps 1", 11025},
};

class SoundTest : public HostTest, public testing::WithParamInterface<Sound> {};

TEST_P(SoundTest, ComesOutAsOtherReadersDecodeIt) {
  const Sound& sound = GetParam();
  const std::string input = std::string("'") + sound.file + "'";
  if (sound.tool != nullptr) {
    MakeSound(sound.file, sound.rate, sound.channels, sound.tool);
  }
  const std::string command = "rhohost " + std::string(sound.options);
  const Outcome outcome = RunHost(command + " -- " + input + " 1.mkv && " + command + " --verify -- " + input +
                                  " 2.mkv && cmp 1.mkv 2.mkv");
  ASSERT_EQ(outcome.code, 0) << outcome.errors << outcome.output;

  std::string resampling;
  std::size_t frames = 0;
  if (sound.outputRate != 0) {
    resampling =
        "-af aresample=" + std::to_string(sound.outputRate) + ":resampler=soxr:precision=28:dither_method=none";
    frames = static_cast<std::size_t>(std::lround(static_cast<double>(kFrames) * sound.outputRate / sound.rate));
  }
  const std::vector<Samples> samples = Decode({{sound.file, 0, resampling}, {"1.mkv"}});
  const Samples& wanted = samples[0];
  const Samples& found = samples[1];
  frames = frames == 0 ? wanted.size() / sound.channels : frames;
  ASSERT_EQ(found.size(), frames * sound.channels);
  double worst = 0;
  double squares = 0;
  for (std::size_t index = 0; index < std::min(wanted.size(), found.size()); ++index) {
    const double difference =
        std::ldexp(static_cast<double>(found[index]) - wanted[index], static_cast<int>(sound.bits) - 32);
    worst = std::max(worst, std::fabs(difference));
    squares += difference * difference;
  }
  EXPECT_LE(worst, sound.tolerance);
  if (sound.tolerance == kDithered) {
    EXPECT_NEAR(std::sqrt(squares / static_cast<double>(found.size())), 0.5, 0.03);
  }
  const unsigned rate = sound.outputRate == 0 ? sound.rate : sound.outputRate;
  ExpectJudgesAgree("1.mkv", {rate, sound.channels, sound.bits, sound.framesPerSecond}, frames);
}

/// WAV channel masks, in files that ffmpeg has made with a mask.
TEST_F(HostTest, KeepsToTheLayoutThatAFileStates) {
  struct Mask {
    unsigned channels;
    std::string mask;
    const char* layout;  ///< null where the file is refused
    const char* says;
    const char* options = "";
  };
  constexpr std::size_t kMaskAt = 40;
  for (const auto& [channels, mask, layout, says, options] : {
           Mask{6, "?", "5.1", ""},
           Mask{6, "\x0F\x06", "5.1", ""},
           Mask{8, "\x3F\x06", "7.1", ""},
           Mask{3, "\x07", nullptr, "not 3.0 (FL FR FC)"},
           Mask{2, std::string("\0\x50", 2), nullptr, "not other (TFL TFR): try --channels Stereo"},
           Mask{8, "\xFF", nullptr, "not 7.1(wide) (FL FR FC LFE BL BR FLC FRC): try --channels 7.1"},
           Mask{8, "\xFF", "7.1", "", "--channels 7.1"},
           Mask{6, "", nullptr, "not discrete (6 channels): try --channels 5.1"},
           Mask{2, "", "Stereo", ""},
       }) {
    SCOPED_TRACE(std::to_string(channels) + " " + says);
    fs::remove(PathOf("in.wav"));
    MakeSound("in.wav", 48000, channels, "ffmpeg -c:a pcm_s24le", 99);
    std::string wav = Read("in.wav");
    ASSERT_EQ(wav.substr(20, 2), "\xFE\xFF");
    Write("in.wav", wav.replace(kMaskAt, 4, (mask + std::string(4, '\0')).substr(0, 4)));
    const std::string command = std::string("rhohost --dry-run ").append(options) + " in.wav out.mkv";
    if (layout == nullptr) {
      ExpectRefused({command, 1, {says}});
    } else {
      EXPECT_THAT(RunHost(command).output, testing::HasSubstr(std::string(", ").append(layout)));
    }
  }
}

TEST_F(HostTest, TakesTheBitsThatCountFromTheHeader) {
  Run("sox -n -r 48000 -c 1 -b 24 24.wav synth 0.1 noise && sox 24.wav -b 32 32.wav");
  constexpr std::size_t kValidBitsAt = 38;
  std::string wav = Read("32.wav");
  ASSERT_EQ(wav.substr(20, 2), "\xFE\xFF");
  Write("32.wav", wav.replace(kValidBitsAt, 1, "\x18"));
  EXPECT_EQ(RunHost("rhohost 24.wav 24.mkv && rhohost 32.wav 32.mkv && cmp 24.mkv 32.mkv").code, 0);
}

TEST_F(HostTest, ReadsSamplesWithoutAHeader) {
  MakeSound("in.wav", 48000, 2, "sox -b 16");
  const std::vector<std::string> formats{"u8", "s16be", "s24le", "s24be", "f32le", "f64be", "alaw", "mulaw"};
  std::string encode = "ffmpeg -v error -i in.wav";
  std::vector<Track> tracks;
  for (const std::string& format : formats) {
    encode += " -f " + format + " raw." + format;
    tracks.push_back({"raw." + format, 0, "", "-ar 48000 -ac 2 -f " + format});
    tracks.push_back({format + ".mkv"});
  }
  ASSERT_EQ(Run(encode).code, 0);
  for (const std::string& format : formats) {
    const std::string raw = "rhohost --bits 24 --raw 48000:" + format + ":2 ";
    EXPECT_EQ(RunHost(raw + "raw." + format + ' ' + format + ".mkv && cat raw." + format + " | " + raw +
                      "- 2 && cmp 2 " + format + ".mkv && rm 2")
                  .code,
              0)
        << format;
  }
  const std::vector<Samples> all = Decode(tracks);
  for (std::size_t number = 0; number < all.size(); number += 2) {
    SCOPED_TRACE(tracks[number].file);
    ASSERT_EQ(all[number].size(), all[number + 1].size());
    for (std::size_t index = 0; index < all[number].size(); ++index) {
      ASSERT_LE(std::abs(all[number + 1][index] / 256 - all[number][index] / 256), 2) << index;
    }
  }
  ExpectRefused({"head -c 1001 raw.u8 | rhohost --raw 48000:s16le:2 - out.mkv", 1, {"its last 1 byte does not fill"}});
  ExpectRefused(
      {"rhohost --raw 48000:s16:2 raw.u8 out.mkv", 2, {"\"48000:s16:2\" is not RATE:FORMAT:CHANNELS", "mulaw"}});
}

INSTANTIATE_TEST_SUITE_P(Sounds, SoundTest, testing::ValuesIn(kSounds));

}  // namespace
