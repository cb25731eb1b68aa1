#pragma once

/// Shared by the tests of rhohost: a temporary folder, shell commands in it, sounds made by sox and ffmpeg, and checks
/// of the outputs with other programs.

#include "Tests/Support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <sys/types.h>
#include <cstdint>
#include <string>
#include <vector>

/// How a command ended.
struct Outcome {
  int code = 0;  ///< as a shell tells it: 128 + n after signal n
  std::string output;
  std::string errors;
  long peakKiB = 0;  ///< the most memory that it or one of its children had resident
};

/// The properties that a Matroska file must have.
struct Expected {
  unsigned rate = 0;
  unsigned channels = 0;
  unsigned bits = 0;
  double framesPerSecond = 30;
  bool isStream = false;  ///< came through a pipe: no cues, and a duration only if it was known beforehand
};

/// A file as ffprobe sees it; times and durations in sample frames, rounded from the file's own clock.
struct Probe {
  struct Packet {
    long long time = 0;
    long long duration = 0;
    std::size_t size = 0;
  };
  std::vector<Packet> packets;
  long long duration = -1;  ///< -1 when the file does not say
  std::string others;       ///< codec, rate and channels; and ffprobe's complaints
};

using Samples = std::vector<std::int32_t>;

/// A track that ffmpeg decodes.
struct Track {
  std::string file;
  std::size_t index = 0;  ///< among the tracks of the file
  std::string options = std::string();
  std::string inputOptions = std::string();
};

/// A command that starts rhohost, and how it must be refused.
struct Refusal {
  std::string command;
  int code;
  std::vector<const char*> says;  ///< texts in the message
};

class HostTest : public testing::Test {
 public:
  HostTest() { fs::create_directory(m_folder / "files"); }

 protected:
  /// Starts a shell command in the folder, without input. Programs of the build are found by name.
  pid_t Start(const std::string& command) const;
  Outcome Wait(pid_t process) const;
  /// Waits until the command that runs has printed the text.
  void AwaitOutput(const std::string& text) const;
  Outcome Run(const std::string& command) const { return Wait(Start(command)); }
  /// Runs a command that starts rhohost, and sees to it that every line of its errors begins with the program's name.
  Outcome RunHost(const std::string& command) const;
  /// Sees to it that a command is refused, with a message on standard error alone, and changes nothing in the folder.
  void ExpectRefused(const Refusal& refusal) const;

  /// Makes a sound file: a tone of its own in each channel, 32 bits, written by "sox OPTIONS FILE" or "ffmpeg OPTIONS
  /// FILE" as `tool` begins.
  void MakeSound(const std::string& file, unsigned rate, unsigned channels, const std::string& tool,
                 std::size_t frames = kFrames) const;
  static constexpr std::size_t kFrames = 20011;

  /// The samples of each track as ffmpeg decodes them, left-justified in 32 bits. One call for several tracks is much
  /// faster: nearly all of ffmpeg's time is its start.
  std::vector<Samples> Decode(const std::vector<Track>& tracks) const;
  Samples Decode(const std::string& file) const { return Decode(std::vector<Track>{{file}}).front(); }
  /// Sees to it that the files have the same samples.
  void ExpectSameSound(const std::string& expected, const std::vector<std::string>& files) const;
  Probe ProbeFile(const std::string& file, unsigned rate, const std::string& options = "") const;
  /// ffprobe, mkvmerge and mkvinfo on a file of `frames` sample frames: format, every packet's time, duration and size.
  void ExpectJudgesAgree(const std::string& file, const Expected& expected, std::size_t frames) const;

  std::string PathOf(const std::string& file) const { return m_folder / ("files/" + file); }
  std::string Read(const std::string& file) const { return ReadFile(PathOf(file)); }
  void Write(const std::string& file, const std::string& bytes) const { m_folder.Write("files/" + file, bytes); }
  /// Everything in the folder with its size and times.
  std::string Listing() const { return Run("ls -liAR --time-style=full-iso").output; }

  TemporaryFolder m_folder;
};
