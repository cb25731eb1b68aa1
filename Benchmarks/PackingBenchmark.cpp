// What packing costs, at several sizes of the host's buffers: 44100 Hz, 16-bit stereo, 30 packets a second.

#include "Benchmarks/Ratios.h"
#include "Plugins/EncodersAndFormatters/PCMPlugin/PCMPlugin.h"
#include "RHOAPI/RhoapiAudioCodec.h"

#include <benchmark/benchmark.h>
#ifdef HAVE_LIBAVUTIL
extern "C" {
#include <libavutil/audio_fifo.h>
}
#endif
#ifdef HAVE_GSTREAMER
#include <gst/base/gstadapter.h>
#endif

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

/// 16-bit stereo, and the sizes that follow for packets of 1/30 s and for an input of ten seconds.
constexpr std::size_t kFrameBytes = 4;
constexpr std::size_t kPacketFrames = 1470;
constexpr std::size_t kPacketBytes = kPacketFrames * kFrameBytes;
constexpr std::size_t kPage = 4096;
constexpr std::size_t kInput = 441000 * kFrameBytes;

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
    // The last block is partly filled: the next call continues it.
    std::swap(blocks[0], blocks[block]);
    block = 0;
  };
}

/// The compressor, its packets removed and destroyed after each call that has made some. The host keeps its records, as
/// README shows.
Way Pack(std::size_t /*size*/) {
  struct State {
    // 'ZAV ', 'LPCM'.
    IAudioCompressor* codec = CreateAudioCompressor(0x5A415620, 0x4C50434D);
    KelAudio_t in{};
    KelEncAudio_t out{};
    State() {
      codec->CompressFrameBegin(nullptr);
      out.sampleRate = 44100;
    }
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
    auto& [codec, in, out] = *state;
    in.data = data;
    in.dataSize = static_cast<unsigned int>(bytes);
    codec->CompressFrame(&in, &out);
    while (out.sampleCount != 0 && out.packets->size() != 0) {
      IPacket* const packet = out.packets->remove(0);
      benchmark::DoNotOptimize(packet->getData());
      packet->destroy();
    }
  };
}

#ifdef HAVE_LIBAVUTIL
/// libavutil's queue of samples: written call by call, read packet by packet.
Way Fifo(std::size_t /*size*/) {
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

#ifdef HAVE_GSTREAMER
/// GStreamer's queue of bytes: a buffer a call, taken out packet by packet.
Way Adapter(std::size_t /*size*/) {
  gst_init(nullptr, nullptr);
  const std::shared_ptr<GstAdapter> adapter(gst_adapter_new(), g_object_unref);
  return [adapter](unsigned char* data, std::size_t bytes) {
    gst_adapter_push(adapter.get(), gst_buffer_new_memdup(data, bytes));
    while (GstBuffer* const packet = gst_adapter_take_buffer(adapter.get(), kPacketBytes)) {
      GstMapInfo map{};
      gst_buffer_map(packet, &map, GST_MAP_READ);
      benchmark::DoNotOptimize(map.data);
      gst_buffer_unmap(packet, &map);
      gst_buffer_unref(packet);
    }
  };
}
#endif

/// Registers one way for buffers of `frames` sample frames.
void RegisterPacking(const std::string& side, std::size_t frames, Way (*makeWay)(std::size_t size)) {
  // As a host would, every call brings other samples: the source moves through ten seconds of them. How fast a copy is
  // depends on how source and target lie to each other within a page, so each run also starts elsewhere.
  static std::vector<unsigned char> input(kPage + kInput, 1);
  static std::size_t offset = 0;
  benchmark::RegisterBenchmark(("pack " + std::to_string(frames) + "/" + side).c_str(),
                               [frames, makeWay](benchmark::State& state) {
                                 const std::size_t size = frames * kFrameBytes;
                                 const Way way = makeWay(size);
                                 offset = (offset + 832) % kPage;
                                 std::size_t place = 0;
                                 for (auto _ : state) {
                                   way(input.data() + offset + place, size);
                                   place = kInput - place < 2 * size ? 0 : place + size;
                                 }
                               });
}

}  // namespace

int main(int argc, char** argv) {
  for (const std::size_t frames :
       std::initializer_list<std::size_t>{1, 4, 16, 64, 256, 1000, 1470, 4096, 16'384, 65'536, 441'000}) {
    RegisterPacking("memcpy", frames, CopyOnly);
    RegisterPacking("kept blocks", frames, [](std::size_t size) { return CopyIntoBlocks(size, false); });
    RegisterPacking("fresh blocks", frames, [](std::size_t size) { return CopyIntoBlocks(size, true); });
    RegisterPacking("ours", frames, Pack);
#ifdef HAVE_LIBAVUTIL
    RegisterPacking("FIFO", frames, Fifo);
#endif
#ifdef HAVE_GSTREAMER
    RegisterPacking("adapter", frames, Adapter);
#endif
  }
  return RunAndPrintRatios(argc, argv);
}
