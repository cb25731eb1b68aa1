/// What packing costs, at several sizes of the host's buffers: 44100 Hz, 16-bit stereo, 30 packets a second. Every way
/// of doing it works on the same input in turns of a few milliseconds, so that whatever else the machine does falls on
/// all alike; the counters give each one's median time against that of the floor, a plain copy.

#include "Plugins/EncodersAndFormatters/PCMPlugin/PCMPlugin.h"
#include "RHOAPI/RhoapiAudioCodec.h"

#include <benchmark/benchmark.h>
#ifdef HAVE_LIBAVUTIL
extern "C" {
#include <libavutil/audio_fifo.h>
}
#endif

#include <algorithm>
#include <chrono>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kFrameBytes = 4;
constexpr std::size_t kPacketFrames = 1470;
constexpr std::size_t kPacketBytes = kPacketFrames * kFrameBytes;

/// A way to take in one buffer of the host's.
using Way = std::function<void(unsigned char* data, std::size_t size)>;

/// The floor: one copy to the same place.
Way CopyOnly(std::size_t size) {
  return [target = std::make_shared<std::vector<unsigned char>>(size)](unsigned char* data, std::size_t bytes) {
    std::memcpy(target->data(), data, bytes);
    benchmark::DoNotOptimize(target->data());
    benchmark::ClobberMemory();
  };
}

/// One copy into packet-sized blocks. `fresh` ones are taken from the heap as they are needed and freed when the call
/// has filled them; others are kept, as many as a call fills.
Way CopyIntoBlocks(std::size_t size, bool fresh) {
  struct State {
    std::vector<std::unique_ptr<unsigned char[]>> blocks;
    std::size_t block = 0;
    std::size_t filled = 0;
  };
  auto state = std::make_shared<State>();
  state->blocks.resize(size / kPacketBytes + 2);
  return [state, fresh](unsigned char* data, std::size_t bytes) {
    auto& [blocks, block, filled] = *state;
    while (bytes != 0) {
      if (blocks[block] == nullptr) {
        blocks[block] = std::make_unique_for_overwrite<unsigned char[]>(kPacketBytes);
      }
      const std::size_t taken = std::min(bytes, kPacketBytes - filled);
      std::memcpy(blocks[block].get() + filled, data, taken);
      benchmark::ClobberMemory();
      data += taken;
      bytes -= taken;
      filled = (filled + taken) % kPacketBytes;
      block += filled == 0 ? 1 : 0;
    }
    for (std::size_t done = 0; fresh && done < block; ++done) {
      blocks[done].reset();
    }
    std::swap(blocks[0], blocks[block]);
    block = 0;
  };
}

/// The compressor, its packets removed and destroyed after each call.
Way Pack() {
  struct State {
    IAudioCompressor* codec = CreateAudioCompressor(0x5A415620, 0x4C50434D);
    KelEncAudio_t out{};
    State() { codec->CompressFrameBegin(nullptr); }
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() {
      codec->Release();
      if (out.packets != nullptr) {
        out.packets->destroy();
      }
    }
  };
  return [state = std::make_shared<State>()](unsigned char* data, std::size_t bytes) {
    KelAudio_t in{};
    in.data = data;
    in.dataSize = static_cast<unsigned int>(bytes);
    state->out.sampleRate = 44100;
    state->codec->CompressFrame(&in, &state->out);
    if (state->out.packets != nullptr) {
      while (IPacket* const packet = state->out.packets->remove(0)) {
        benchmark::DoNotOptimize(packet->getData());
        packet->destroy();
      }
    }
  };
}

#ifdef HAVE_LIBAVUTIL
/// libavutil's queue of samples: written call by call, read packet by packet.
Way Fifo() {
  const std::shared_ptr<AVAudioFifo> fifo(av_audio_fifo_alloc(AV_SAMPLE_FMT_S16, 2, kPacketFrames), av_audio_fifo_free);
  return [fifo, packet = std::vector<unsigned char>(kPacketBytes)](unsigned char* data, std::size_t bytes) mutable {
    void* planes = data;
    av_audio_fifo_write(fifo.get(), &planes, static_cast<int>(bytes / kFrameBytes));
    while (av_audio_fifo_size(fifo.get()) >= static_cast<int>(kPacketFrames)) {
      void* target = packet.data();
      av_audio_fifo_read(fifo.get(), &target, kPacketFrames);
      benchmark::DoNotOptimize(packet.data());
    }
  };
}
#endif

double Median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

void Packing(benchmark::State& state) {
  const std::size_t size = static_cast<std::size_t>(state.range(0)) * kFrameBytes;
  // As a host would, every call brings other samples: the source moves through ten seconds of them. How fast a copy is
  // depends on how source and target lie to each other within a page, so each turn also starts elsewhere.
  constexpr std::size_t kPage = 4096;
  constexpr std::size_t kInput = 441000 * kFrameBytes;
  std::vector<unsigned char> input(kPage + kInput, 1);
  std::size_t offset = 0;
  std::map<std::string, Way> ways{{"floor", CopyOnly(size)},
                                  {"kept", CopyIntoBlocks(size, false)},
                                  {"fresh", CopyIntoBlocks(size, true)},
                                  {"module", Pack()}};
#ifdef HAVE_LIBAVUTIL
  ways["fifo"] = Fifo();
#endif
  const std::size_t calls = std::max<std::size_t>(1, (std::size_t{1} << 23) / (size + 64));
  std::map<std::string, std::vector<double>> seconds;
  for (auto _ : state) {
    offset = (offset + 832) % kPage;
    for (const auto& [name, way] : ways) {
      const auto start = std::chrono::steady_clock::now();
      std::size_t place = 0;
      for (std::size_t call = 0; call < calls; ++call) {
        way(input.data() + offset + place, size);
        place = kInput - place < 2 * size ? 0 : place + size;
      }
      seconds[name].push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
  }
  const double floor = Median(seconds["floor"]);
  for (const auto& [name, times] : seconds) {
    state.counters[name] = Median(times) / floor;
  }
  state.counters["module/kept"] = Median(seconds["module"]) / Median(seconds["kept"]);
  state.counters["floor_ns"] = floor / static_cast<double>(calls) * 1e9;
}
BENCHMARK(Packing)->ArgName("frames")->Arg(1)->Arg(64)->Arg(1000)->Arg(1470)->Arg(4096)->Arg(441000)->Iterations(64);

}  // namespace

BENCHMARK_MAIN();
