// A complete host with nothing but the headers and dlopen. Loads a module, sets what the command line asks for, and
// encodes 16-bit stereo samples from standard input; the packets' bytes go to standard output, their times to standard
// error.
//
//   plain_host MODULE [SAMPLE_RATE] <samples.raw >packets.raw

#include <RHOAPI/RhoapiAudioCodec.h>

#include <dlfcn.h>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>

namespace {

/// Owners: what a module allocates goes back through its own interface, never through delete.
struct LibraryCloser {
  void operator()(void* library) const { dlclose(library); }
};
struct CompressorReleaser {
  void operator()(IAudioCompressor* compressor) const { compressor->Release(); }
};
struct PacketDestroyer {
  void operator()(IPacket* packet) const { packet->destroy(); }
};

using Library = std::unique_ptr<void, LibraryCloser>;
using Compressor = std::unique_ptr<IAudioCompressor, CompressorReleaser>;
using Packet = std::unique_ptr<IPacket, PacketDestroyer>;

/// An entry point by its name, as a function of type `Function`.
template <class Function>
Function* EntryPoint(const Library& library, const char* name) {
  void* const address = dlsym(library.get(), name);
  if (address == nullptr) {
    throw std::runtime_error(std::string("the module has no entry point ") + name);
  }
  return reinterpret_cast<Function*>(address);
}

/// Modules announce one compressor or more; this host takes the first.
Compressor CreateCompressor(const Library& library) {
  unsigned int manufacturer = 0;
  unsigned int codec = 0;
  unsigned int version = 0;
  const auto info =
      EntryPoint<void(unsigned int, unsigned int*, unsigned int*, unsigned int*)>(library, "RhoGetAudioCompressorInfo");
  const auto create = EntryPoint<IAudioCompressor*(unsigned int, unsigned int)>(library, "CreateAudioCompressor");
  info(0, &manufacturer, &codec, &version);
  Compressor compressor(create(manufacturer, codec));
  if (compressor == nullptr) {
    throw std::runtime_error("the module gives no compressor");
  }
  return compressor;
}

/// The output record. Its owner frees the bundle that the compressor hangs on it.
struct Output : KelEncAudio_t {
  Output() : KelEncAudio_t{} {}
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  ~Output() {
    if (packets != nullptr) {
      packets->destroy();
    }
  }
};

/// Throws unless `status` is success; `action` completes the message.
void Check(RhoStatus status, const char* action) {
  if (status != kRhoStatusSuccess) {
    throw std::runtime_error(std::string("the compressor cannot ") + action);
  }
}

/// Takes the packets out of the bundle: they are the host's then, and freed with destroy().
void WritePackets(IPacketBundle* packets) {
  while (packets != nullptr && packets->size() != 0) {
    const Packet packet(packets->remove(0));
    std::fprintf(stderr, "%llu: %lu bytes\n", packet->getTime(), packet->getDataSize());
    if (std::fwrite(packet->getData(), 1, packet->getDataSize(), stdout) != packet->getDataSize()) {
      throw std::runtime_error("cannot write to standard output");
    }
  }
}

/// Encodes standard input to standard output.
void Encode(IAudioCompressor& compressor) {
  compressor.SetFrameRateHint(25.0);  // packets of 40 ms
  Check(compressor.CompressFrameBegin(nullptr), "begin");
  Output out;
  out.sampleRate = compressor.GetSampleRate();  // becomes the packets' time base
  std::array<unsigned char, 4096> samples{};
  KelAudio_t in{};
  in.data = samples.data();
  while (const std::size_t size = std::fread(samples.data(), 1, samples.size(), stdin)) {
    // 4,096 bytes are whole sample frames of 16-bit stereo. Only the last buffer may end within one.
    in.dataSize = static_cast<unsigned int>(size);
    Check(compressor.CompressFrame(&in, &out), "encode");
    WritePackets(out.packets);
  }
  Check(compressor.CompressFrame(nullptr, &out), "flush");
  WritePackets(out.packets);
  Check(compressor.CompressFrameEnd(), "end");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 && argc != 3) {
    std::fputs("usage: plain_host MODULE [SAMPLE_RATE] <samples.raw >packets.raw\n", stderr);
    return 2;
  }
  try {
    const Library library(dlopen(argv[1], RTLD_NOW | RTLD_LOCAL));
    if (library == nullptr) {
      throw std::runtime_error(dlerror());
    }
    const Compressor compressor = CreateCompressor(library);  // is released before the library is closed
    // A compressor need not have any of these settings.
    if (IUnsignedIntSetting* const rate = compressor->GetSampleRateSetting(); rate != nullptr && argc == 3) {
      rate->SetValue(static_cast<unsigned int>(std::strtoul(argv[2], nullptr, 10)));
    }
    if (IEnumSetting* const channels = compressor->GetChannelModeSetting(); channels != nullptr) {
      channels->SetValue("Stereo");
    }
    // After all changes: settings that depend on others, such as the data rate, follow.
    compressor->ValidateSettings();
    Encode(*compressor);
    return 0;
  } catch (const std::bad_alloc&) {
    std::fputs("plain_host: out of memory\n", stderr);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "plain_host: %s\n", error.what());
  }
  return 1;
}
