// A complete host with the library for hosts. Without arguments it lists the modules. With a module it sets what the
// command line asks for and encodes samples from standard input, in the format that it prints; the packets' bytes go to
// standard output, their times to standard error.
//
//   library_host
//   library_host MODULE [NAME=VALUE...] <samples.raw >packets.raw

#include <rho.hpp>

#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

/// Encodes standard input to standard output. Throws what rho.hpp documents, and for errors of the streams.
void Encode(rho::Compressor& compressor) {
  rho::Encoder encoder(compressor);
  const rho::Format format = encoder.Format();
  std::fprintf(stderr, "%u Hz, %u bits, %u channels, at most %llu sample frames a packet\n", format.sample_rate,
               format.bits, format.channels, static_cast<unsigned long long>(format.sample_frames_per_packet));

  const auto write = [](const rho::Packet& packet) {
    std::fprintf(stderr, "%llu: %zu bytes\n", static_cast<unsigned long long>(packet.time), packet.size);
    if (std::fwrite(packet.bytes, 1, packet.size, stdout) != packet.size) {
      throw std::runtime_error("cannot write to standard output");
    }
  };
  // Buffers of any length, in whole sample frames. Less than one at the end of the input is dropped.
  std::vector<unsigned char> samples(std::size_t{1000} * format.bytes_per_sample_frame);
  while (const std::size_t frames = std::fread(samples.data(), format.bytes_per_sample_frame, 1000, stdin)) {
    encoder.Encode(samples.data(), frames * format.bytes_per_sample_frame, write);
  }
  if (std::ferror(stdin) != 0) {
    throw std::runtime_error("cannot read standard input");
  }
  encoder.Finish(write);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    if (argc == 1) {
      std::printf("%s\n", rho::ListModules().c_str());
      return 0;
    }
    rho::DescribeModule(argv[1]);  // in a child process: throws for a module that crashes or hangs
    rho::Compressor compressor = rho::Module(argv[1]).CreateCompressor();
    // All at once, since values may depend on each other: the order on the command line does not matter.
    compressor.SetAll(std::vector<std::string>(argv + 2, argv + argc));
    compressor.SetFrameRate(25);  // packets of 40 ms
    Encode(compressor);
    return 0;
  } catch (const rho::WrongUse& error) {
    std::fprintf(stderr, "library_host: %s\n", error.what());
    return 2;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "library_host: %s\n", error.what());
    return 1;
  }
}
