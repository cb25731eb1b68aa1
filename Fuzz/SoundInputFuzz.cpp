// Sounds from a file and from a pipe, converted, packed and written as Matroska, which is read back. No input may crash
// the host or keep it busy; what a pipe gives is what the file gives.

#include "Fuzz/Fuzz.h"
#include "Host/Audio/SampleConverter.h"
#include "Host/Audio/SoundInput.h"
#include "Host/Matroska/MatroskaReader.h"
#include "Host/Matroska/MatroskaWriter.h"
#include "Host/System/OutputFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <optional>
#include <string>

/// Leaks of the borrowed decoders for damaged sounds: docs/testing.md lists them.
extern "C" [[gnu::used]] const char* __lsan_default_suppressions() {  // NOLINT: the sanitizer's name
  return "leak:libvorbis.so\nleak:libsndfile.so\n";
}
extern "C" [[gnu::used]] const char* __lsan_default_options() { return "print_suppressions=0"; }  // NOLINT: likewise

namespace {

constexpr std::uint64_t kMostFrames = 1U << 18U;  // a small file may hold hours of silence
/// The capacity of the pipes: larger inputs are read from the file alone.
constexpr std::size_t kLargestInput = std::size_t{1} << 20;

/// Encodes a sound and returns the bytes of its samples, which are also those that the Matroska file gives back;
/// nothing if the sound is refused.
std::optional<std::string> Encode(const std::string& input, const std::string& output, Truncation truncation) {
  try {
    const std::unique_ptr<SoundSource> sound = OpenSound(input, truncation, MetadataUse::kRead);
    const unsigned int bits = sound->Format().significantBits > 16 ? 24 : 16;
    // One of the most frequent rates is converted, so that the resampler is used too.
    const unsigned int rate = sound->Format().sampleRate == 44100 ? 48000 : sound->Format().sampleRate;
    SampleConverter converter(sound->Format(), rate, bits);
    OutputFile file(output, true);
    MatroskaWriter writer(file, {.sampleRate = rate,
                                 .channels = sound->Format().channels,
                                 .bitsPerSample = bits,
                                 .sampleFramesPerPacket = 1470,
                                 .sampleFrames = sound->Format().frames,
                                 .metadata = sound->Metadata()});
    std::string written;
    const std::size_t frameSize = std::size_t{bits} / 8 * sound->Format().channels;
    const auto write = [&](SampleConverter::Bytes bytes) {
      writer.WritePacket(bytes, written.size() / frameSize, bytes.size() / frameSize);
      written.append(bytes.begin(), bytes.end());
    };
    std::uint64_t frames = 0;
    SampleMemory memory;
    for (SampleBlock block = sound->Read(memory); block.frames != 0 && frames < kMostFrames;
         block = sound->Read(memory)) {
      frames += block.frames;
      write(converter.Convert(block));
    }
    write(converter.Finish());
    writer.Finish();
    file.Sync();
    MatroskaReader reader(file, written.size(), false);
    std::string read;
    while (const std::optional<MatroskaPacket> packet = reader.Next()) {
      read.append(packet->bytes.begin(), packet->bytes.end());
    }
    Expect(read == written);
    return written;
  } catch (const Failure&) {
    return std::nullopt;
  }
}

/// A pipe that holds `bytes`, by the name of its reading end.
class FilledPipe {
 public:
  explicit FilledPipe(const std::string& bytes) {
    Expect(pipe(m_ends) == 0 && fcntl(m_ends[1], F_SETPIPE_SZ, kLargestInput) >= 0);
    Expect(write(m_ends[1], bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
    close(m_ends[1]);
  }
  FilledPipe(const FilledPipe&) = delete;
  FilledPipe& operator=(const FilledPipe&) = delete;
  ~FilledPipe() { close(m_ends[0]); }

  std::string Path() const { return "/proc/self/fd/" + std::to_string(m_ends[0]); }

 private:
  int m_ends[2]{};
};

}  // namespace

void Fuzz(FuzzedDataProvider& data) {
  static const TemporaryFolder folder;
  const std::string bytes = data.ConsumeRemainingBytesAsString();
  folder.Write("sound", bytes);
  const std::string output = folder / "out.mkv";
  const std::optional<std::string> fromFile = Encode(folder / "sound", output, Truncation::kRefused);
  // A refused file once more with truncation allowed, which decodes as far as possible.
  if (!fromFile) {
    Encode(folder / "sound", output, Truncation::kAllowed);
  }
  if (bytes.size() < kLargestInput) {
    const std::optional<std::string> fromPipe = Encode(FilledPipe(bytes).Path(), output, Truncation::kRefused);
    Expect(!fromFile || !fromPipe || *fromFile == *fromPipe);
    if (!fromPipe) {
      Encode(FilledPipe(bytes).Path(), output, Truncation::kAllowed);
    }
  }
}
