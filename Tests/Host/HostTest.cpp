#include "Tests/Host/HostTest.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <regex>
#include <spawn.h>
#include <sstream>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

HostTest::HostTest() {
  std::string name = testing::TempDir() + "rhohost-test-XXXXXX";
  m_folder = ::mkdtemp(name.data());
  static const bool isFound [[maybe_unused]] = ::setenv("PATH", (RHOHOST_FOLDER ":" + std::string(std::getenv("PATH"))).c_str(), 1) == 0;
  fs::create_directory(m_folder / "work");
}

HostTest::~HostTest() { fs::remove_all(m_folder); }

pid_t HostTest::Start(const std::string& command) const {
  std::string script = "cd '" + m_folder.string() + "/work' && exec >../output 2>../errors </dev/null; " + command;
  char shell[] = "sh";
  char option[] = "-c";
  char* const arguments[] = {shell, option, script.data(), nullptr};
  pid_t process = -1;
  EXPECT_EQ(::posix_spawn(&process, "/bin/sh", nullptr, nullptr, arguments, environ), 0);
  return process;
}

Outcome HostTest::Wait(pid_t process) const {
  int status = 0;
  rusage usage{};
  EXPECT_EQ(::wait4(process, &status, 0, &usage), process);
  const int code = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  return {code, Read("../output"), Read("../errors"), usage.ru_maxrss};
}

Outcome HostTest::RunHost(const std::string& command) const {
  Outcome outcome = Run(command);
  EXPECT_TRUE(std::regex_match(outcome.errors, std::regex("(rhohost: [^\n\r]+\n)*"))) << command << "\n" << outcome.errors;
  return outcome;
}

void HostTest::MakeSound(const std::string& file, unsigned rate, unsigned channels, const std::string& tool,
                         unsigned frames) const {
  std::ostringstream make;
  make << "sox -R -r " << rate << " -n -c " << channels << " -b 24 ../base.wav synth " << frames << "s";
  for (unsigned channel = 1; channel <= channels; ++channel) {
    make << " sine " << 200 * channel;
  }
  make << " vol 0.4 && ";
  const std::string options = tool.substr(tool.find(' '));
  if (tool.starts_with("sox")) {
    make << "sox -D ../base.wav" << options;
  } else {
    make << "ffmpeg -v error -nostdin -i ../base.wav" << options;
  }
  make << " '" << file << "'";
  const Outcome made = Run(make.str());
  ASSERT_EQ(made.code, 0) << make.str() << "\n" << made.errors;
}

std::vector<std::int32_t> HostTest::Decode(const std::string& file, const std::string& options) const {
  const Outcome decoded = Run("ffmpeg -v error -nostdin -i '" + file + "' " + options + " -f s32le -");
  EXPECT_EQ(decoded.errors, "") << file;
  std::vector<std::int32_t> samples(decoded.output.size() / sizeof(std::int32_t));
  std::memcpy(samples.data(), decoded.output.data(), samples.size() * sizeof(std::int32_t));
  return samples;
}

void HostTest::ExpectJudgesAgree(const std::string& file, const Expected& expected, std::size_t frames) const {
  std::istringstream probe(Run("ffprobe -v warning -show_entries stream=codec_name,sample_rate,channels:format=duration:"
                               "packet=pts_time,duration_time,size -of csv '" + file + "' 2>&1").output);
  const unsigned bytesPerFrame = expected.channels * expected.bits / 8;
  const auto framesPerPacket = static_cast<std::size_t>(expected.rate / expected.framesPerSecond + 0.5);
  std::size_t seen = 0;
  std::string rest;
  for (std::string line; std::getline(probe, line);) {
    double time = -1;
    double duration = -1;
    std::size_t size = 0;
    if (std::sscanf(line.c_str(), "packet,%lf,%lf,%zu", &time, &duration, &size) == 3) {
      const std::size_t inPacket = std::min(framesPerPacket, frames - seen);
      ASSERT_EQ(std::lround(time * expected.rate), seen) << line;
      ASSERT_EQ(std::lround(duration * expected.rate), inPacket) << line;
      ASSERT_EQ(size, inPacket * bytesPerFrame) << line;
      seen += inPacket;
    } else if (std::sscanf(line.c_str(), "format,%lf", &duration) == 1) {
      EXPECT_EQ(std::lround(duration * expected.rate), frames) << line;
    } else if (line != "format,N/A" || !expected.isStream) {
      rest += line;
    }
  }
  EXPECT_EQ(seen, frames);
  std::ostringstream stream;
  stream << "stream,pcm_s" << expected.bits << "le," << expected.rate << ',' << expected.channels;
  EXPECT_EQ(rest, stream.str());

  const Outcome merged = Run("mkvmerge -o ../remuxed.mkv '" + file + "'");
  EXPECT_EQ(merged.code, 0) << merged.output;
  const Outcome info = Run("mkvinfo -v -v '" + file + "'");
  EXPECT_EQ(info.code, 0);
  EXPECT_FALSE(std::regex_search(info.output + info.errors, std::regex("unknown|warning|error|invalid", std::regex::icase)))
      << info.output << info.errors;
  EXPECT_NE(info.output.find("Bit depth: " + std::to_string(expected.bits)), std::string::npos);
  const auto halfSeconds = static_cast<double>(frames) * 2 / expected.rate;
  const std::regex cue("\\+ Cue point");
  const auto cues = std::distance(std::sregex_iterator(info.output.begin(), info.output.end(), cue), {});
  EXPECT_NEAR(static_cast<double>(cues), expected.isStream ? 0 : halfSeconds, expected.isStream ? 0 : halfSeconds / 4 + 1);
}

std::string HostTest::Read(const std::string& file) const {
  std::ifstream stream(m_folder / "work" / file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

void HostTest::Write(const std::string& file, const std::string& bytes) const {
  std::ofstream(m_folder / "work" / file, std::ios::binary) << bytes;
}

std::map<std::string, std::string> HostTest::Contents() const {
  std::map<std::string, std::string> contents;
  for (const fs::directory_entry& entry : fs::directory_iterator(m_folder / "work")) {
    const std::string name = entry.path().filename();
    contents[name] = entry.is_symlink() ? fs::read_symlink(entry).string() : Read(name);
  }
  return contents;
}
