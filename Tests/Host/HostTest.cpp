#include "Tests/Host/HostTest.h"

#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <regex>
#include <sstream>

using testing::ContainsRegex;
using testing::Not;

pid_t HostTest::Start(const std::string& command) const {
  // What runs wild ends after a minute of computing or a gibibyte of writing.
  std::string script = "PATH=" RHOHOST_FOLDER ":$PATH; ulimit -t 60; ulimit -f 2097152; cd '" + m_folder.Path() +
                       "/files' && exec >../output 2>../errors </dev/null; " + command;
  char shell[] = "sh";
  char option[] = "-c";
  char* const arguments[] = {shell, option, script.data(), nullptr};
  pid_t process = -1;
  EXPECT_EQ(posix_spawn(&process, "/bin/sh", nullptr, nullptr, arguments, environ), 0);
  return process;
}

Outcome HostTest::Wait(pid_t process) const {
  int status = 0;
  rusage usage{};
  EXPECT_EQ(wait4(process, &status, 0, &usage), process);
  const int code = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  return {code, Read("../output"), Read("../errors"), usage.ru_maxrss};
}

void HostTest::AwaitOutput(const std::string& text) const {
  while (Read("../output").find(text) == std::string::npos) {
    usleep(1000);
  }
}

Outcome HostTest::RunHost(const std::string& command) const {
  Outcome outcome = Run(command);
  EXPECT_THAT(outcome.errors, testing::MatchesRegex("(rhohost: [^\n\r]+\n)*")) << command;
  return outcome;
}

void HostTest::ExpectRefused(const Refusal& refusal) const {
  SCOPED_TRACE(refusal.command);
  const std::string before = Listing();
  const Outcome outcome = RunHost(refusal.command);
  EXPECT_EQ(outcome.code, refusal.code);
  EXPECT_EQ(outcome.output, "");
  EXPECT_NE(outcome.errors, "");
  for (const char* const text : refusal.says) {
    EXPECT_THAT(outcome.errors, testing::HasSubstr(text));
  }
  EXPECT_EQ(Listing(), before);
}

void HostTest::MakeSound(const std::string& file, unsigned rate, unsigned channels, const std::string& tool,
                         std::size_t frames) const {
  std::ostringstream make;
  make << "sox -R -r " << rate << " -n -c " << channels << " -e signed -b 32 ../base.wav synth " << frames << "s";
  for (unsigned channel = 1; channel <= channels; ++channel) {
    make << " sine " << 200 * channel;
  }
  make << " vol 0.4 && " << (tool.starts_with("sox") ? "sox -D ../base.wav" : "ffmpeg -v error -nostdin -i ../base.wav")
       << tool.substr(tool.find(' ')) << " '" << file << "'";
  const Outcome made = Run(make.str());
  ASSERT_EQ(made.code, 0) << make.str() << "\n" << made.errors;
}

std::vector<Samples> HostTest::Decode(const std::vector<Track>& tracks) const {
  std::ostringstream inputs;
  std::ostringstream outputs;
  for (std::size_t number = 0; number < tracks.size(); ++number) {
    const auto& [file, index, options, inputOptions] = tracks[number];
    inputs << ' ' << inputOptions << " -i '" << file << "'";
    outputs << " -map " << number << ":a:" << index << ' ' << options << " -f s32le ../decoded" << number;
  }
  const Outcome decoded = Run("ffmpeg -v error -nostdin -y" + inputs.str() + outputs.str());
  EXPECT_EQ(decoded.errors, "");
  std::vector<Samples> all;
  for (std::size_t number = 0; number < tracks.size(); ++number) {
    const std::string bytes = Read("../decoded" + std::to_string(number));
    Samples& samples = all.emplace_back(bytes.size() / sizeof(std::int32_t));
    std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(std::int32_t));
  }
  return all;
}

void HostTest::ExpectSameSound(const std::string& expected, const std::vector<std::string>& files) const {
  std::vector<Track> tracks{{expected}};
  for (const std::string& file : files) {
    tracks.push_back({file});
  }
  const std::vector<Samples> all = Decode(tracks);
  for (std::size_t number = 1; number < all.size(); ++number) {
    EXPECT_EQ(all[number], all.front()) << tracks[number].file;
  }
}

Probe HostTest::ProbeFile(const std::string& file, unsigned rate, const std::string& options) const {
  std::istringstream lines(Run("ffprobe -v warning -of csv -show_entries packet=pts,duration,size:format=duration:"
                               "stream=codec_name,sample_rate,channels,time_base " +
                               options + " '" + file + "' 2>&1")
                               .output);
  Probe probe;
  double seconds = 0;
  long numerator = 0;
  long denominator = 1;
  for (std::string line; std::getline(lines, line);) {
    Probe::Packet packet;
    if (std::sscanf(line.c_str(), "packet,%lld,%lld,%zu", &packet.time, &packet.duration, &packet.size) == 3) {
      probe.packets.push_back(packet);
    } else if (std::sscanf(line.c_str(), "format,%lf", &seconds) == 1) {
      probe.duration = std::llround(seconds * rate);
    } else if (std::sscanf(line.c_str(), "stream,%*[^,],%*d,%*d,%ld/%ld", &numerator, &denominator) == 2) {
      probe.others += line.substr(0, line.rfind(','));
    } else if (line != "format,N/A") {
      probe.others += line;
    }
  }
  const double framesPerTick = static_cast<double>(numerator) / static_cast<double>(denominator) * rate;
  for (Probe::Packet& packet : probe.packets) {
    packet.time = std::llround(static_cast<double>(packet.time) * framesPerTick);
    packet.duration = std::llround(static_cast<double>(packet.duration) * framesPerTick);
  }
  return probe;
}

void HostTest::ExpectJudgesAgree(const std::string& file, const Expected& expected, std::size_t frames) const {
  const Probe probe = ProbeFile(file, expected.rate);
  std::ostringstream stream;
  stream << "stream,pcm_s" << expected.bits << "le," << expected.rate << ',' << expected.channels;
  EXPECT_EQ(probe.others, stream.str());
  if (!expected.isStream || probe.duration >= 0) {
    EXPECT_EQ(probe.duration, frames);
  }
  const auto framesPerPacket = static_cast<std::size_t>(std::lround(expected.rate / expected.framesPerSecond));
  std::size_t seen = 0;
  for (const Probe::Packet& packet : probe.packets) {
    const std::size_t inPacket = std::min(framesPerPacket, frames - seen);
    ASSERT_EQ(packet.time, seen);
    ASSERT_EQ(packet.duration, inPacket);
    ASSERT_EQ(packet.size, inPacket * expected.channels * expected.bits / 8);
    seen += inPacket;
  }
  EXPECT_EQ(seen, frames);

  const Outcome merged = Run("mkvmerge -o ../remuxed.mkv '" + file + "'");
  EXPECT_EQ(merged.code, 0) << merged.output;
  const Outcome info = Run("mkvinfo -v -v '" + file + "'");
  EXPECT_EQ(info.code, 0);
  EXPECT_THAT(info.output + info.errors, Not(ContainsRegex("[Uu]nknown element|[Ww]arning|[Ee]rror|[Ii]nvalid")));
  EXPECT_THAT(info.output, ContainsRegex("Bit depth: " + std::to_string(expected.bits)));
  const std::regex cue("Cue point");
  const std::vector<std::smatch> cues(std::sregex_iterator(info.output.begin(), info.output.end(), cue), {});
  const double halfSeconds = expected.isStream ? 0 : static_cast<double>(frames) * 2 / expected.rate;
  EXPECT_NEAR(static_cast<double>(cues.size()), halfSeconds, halfSeconds / 4 + (expected.isStream ? 0 : 1));
}
