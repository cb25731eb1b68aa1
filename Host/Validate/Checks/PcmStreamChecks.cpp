#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Support/CompressorUnderTest.h"
#include "Host/Validate/Support/LinearPcm.h"
#include "Host/Validate/Support/StreamRun.h"
#include "RHOAPI/RHOAPIPacketBundle.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>

namespace {

/// A value for reserved fields.
constexpr unsigned int kOther = 0x12345678;

/// A record whose every field but data, size and sample rate contradicts them.
KelAudio_t OddInput(Bytes bytes) {
  KelAudio_t record{};
  record.time = 1;
  record.timeScale = 3;
  record.duration = 5;
  record.format = kAudioFormatNone;
  record.channels = 77;
  record.sampleRate = 11;
  record.sampleCount = 13;
  record.dataSize = static_cast<unsigned int>(bytes.size());
  record.reserved1 = kOther;
  record.data = const_cast<unsigned char*>(bytes.data());
  record.reserved2 = kOther;
  return record;
}

/// An output record whose fields can be told from one another.
void FillOddly(KelEncAudio_t& out) {
  out.time = 1001;
  out.timeScale = 1003;
  out.duration = 1005;
  out.format = static_cast<EAudioFormatType>(7);
  out.channels = 1007;
  out.sampleCount = 1009;
  out.dataSize = 1011;
  out.data = reinterpret_cast<unsigned char*>(&out);
}

/// Fails the check unless `after` has the fields of `before` that no compressor writes.
void ExpectOtherFieldsKept(const KelEncAudio_t& before, const KelEncAudio_t& after) {
  ExpectThat(after.format == before.format && after.channels == before.channels &&
                 after.sampleRate == before.sampleRate && after.dataSize == before.dataSize &&
                 after.reserved1 == before.reserved1 && after.data == before.data &&
                 after.reserved2 == before.reserved2,
             "another value", "format, channels, sample rate, data and reserved fields of the output record unchanged");
}

/// Fails the check unless `call` has returned the status `expected`.
void ExpectStatus(RhoStatus expected, RhoStatus actual, const std::string& call) {
  ExpectThat(expected == actual, StatusText(actual), "{} from {}", StatusText(expected), call);
}

/// What a stream of linear PCM is packed into: computed here, from the input alone.
std::vector<PacketRecord> PackedLike(const StreamSetup& setup, unsigned int timeBase, Bytes input) {
  std::vector<PacketRecord> packets;
  const std::size_t full = setup.SampleFramesPerPacket() * setup.format.BytesPerSampleFrame();
  for (std::uint64_t time = 0; !input.empty(); time += setup.SampleFramesPerPacket()) {
    const Bytes payload = input.first(std::min(input.size(), full));
    packets.push_back({.type = IPacket::kPacketTypeLinearPCM,
                       .track = 0,
                       .time = time,
                       .timeBase = timeBase,
                       .duration = 0,
                       .descriptor = {},
                       .payload = {payload.begin(), payload.end()}});
    input = input.subspan(payload.size());
  }
  return packets;
}

/// The setups that differ in the size of a sample frame.
template <class CheckOne>
void ForEachSampleFrame(const CheckOne& checkOne) {
  std::size_t turn = 0;
  for (const unsigned int bits : kPcmSizes) {
    for (const PcmLayout& layout : kPcmLayouts) {
      checkOne(PcmSetup(kPcmRates[++turn % kPcmRates.size()], bits, layout.name, 25));
    }
  }
}

/// The compressor reads the data, their size and the output's sample rate alone: the other fields may hold anything.
/// Blocks may begin at odd addresses and end within a sample frame.
void ReadsDataOnly(const CheckedModule& module) {
  ForEachSampleFrame([&module](const StreamSetup& setup) {
    const std::size_t frame = setup.format.BytesPerSampleFrame();
    const std::vector<unsigned char> input = SomeInput(setup);
    const CompressorOwner compressor = setup.NewCompressor(module);
    // Not the compressor's sample rate: the time base of the packets is the output record's.
    const unsigned int rate = setup.format.sampleRate + 1;
    OutputRecord out(rate);
    KelAudio_t format = OddInput(input);
    const KelAudio_t formatBefore = format;
    ExpectStatus(kRhoStatusSuccess, compressor->CompressFrameBegin(&format), "CompressFrameBegin");
    ExpectInputKept(formatBefore, format, "CompressFrameBegin");
    std::uint64_t emitted = 0;
    std::size_t block = 0;
    std::vector<unsigned char> odd;
    for (Bytes left = input; !left.empty() || block == 0; ++block) {
      // Blocks of 0 to 89 sample frames and part of one more, which the compressor ignores. The byte in front makes the
      // address odd.
      const std::size_t whole = std::min(left.size(), (block * 37 % 90) * frame);
      const std::size_t part = block % frame;
      odd.assign(1, 0xEE);
      odd.insert(odd.end(), left.begin(), left.begin() + static_cast<std::ptrdiff_t>(whole));
      odd.insert(odd.end(), part, 0xEE);
      KelAudio_t in = OddInput(Bytes(odd).subspan(1));
      const KelAudio_t inBefore = in;
      FillOddly(out);
      const KelEncAudio_t outBefore = static_cast<const KelEncAudio_t&>(out);
      const unsigned long packetsBefore = out.packets == nullptr ? 0 : out.packets->size();
      ExpectStatus(kRhoStatusSuccess, compressor->CompressFrame(&in, &out), "CompressFrame");
      ExpectInputKept(inBefore, in, "CompressFrame");
      ExpectOtherFieldsKept(outBefore, out);
      std::uint64_t count = 0;
      for (unsigned long index = packetsBefore; out.packets != nullptr && index < out.packets->size(); ++index) {
        count += out.packets->get(index)->getDataSize() / frame;
      }
      ExpectEqual(emitted, out.time, "time of the output record with {}", setup.name);
      ExpectEqual(rate, out.timeScale, "time scale of the output record, its sample rate, with {}", setup.name);
      ExpectEqual(count, out.sampleCount, "sample count of the output record with {}", setup.name);
      ExpectEqual(count, out.duration, "duration of the output record with {}", setup.name);
      emitted += count;
      left = left.subspan(whole);
    }
    ExpectStatus(kRhoStatusSuccess, compressor->CompressFrame(nullptr, &out), "the flush");
    const PacketRecord bundle{.type = IPacket::kPacketTypeBundle, .timeBase = 1000, .descriptor = {}, .payload = {}};
    ExpectSamePackets({bundle}, {RecordOf(out.packets)}, "as the bundle of a record");
    ExpectSamePackets(PackedLike(setup, rate, input), RecordsOf(out.packets),
                      "from records whose other fields contradict the data, with " + setup.name);
  });
}

/// The output record as bytes, to see whether anything of it changes.
std::vector<unsigned char> BytesOf(const KelEncAudio_t& out) {
  const auto* const first = reinterpret_cast<const unsigned char*>(&out);
  return {first, first + sizeof(KelEncAudio_t)};
}

/// Refused calls return the documented status and change nothing: the run continues after them.
void RefusesWithoutEffect(const CheckedModule& module) {
  const StreamSetup setup = PcmSetup(44100, 16, "Stereo", 30);
  // What is set at refused calls of CompressFrameBegin: a part of it that took effect would change the packets.
  const StreamSetup other = PcmSetup(44100, 24, "7.1", 25);
  const std::vector<unsigned char> input = SomeInput(setup);
  const CompressorOwner fresh = module.CreateCompressor();
  OutputRecord out(setup.format.sampleRate);
  KelAudio_t in = setup.InputRecord(input);
  ExpectStatus(kRhoStatusBadArgument, fresh->CompressFrame(&in, &out), "CompressFrame before CompressFrameBegin");
  ExpectStatus(kRhoStatusBadArgument, fresh->CompressFrame(nullptr, &out), "a flush before CompressFrameBegin");
  ExpectStatus(kRhoStatusSuccess, fresh->CompressFrameEnd(), "CompressFrameEnd before CompressFrameBegin");

  const CompressorOwner compressor = setup.NewCompressor(module);
  // Begins a run, makes the call when `given` bytes of the input have been handed over, and completes the run.
  const auto runWith = [&](std::size_t given, RhoStatus expected, const std::string& call, const auto& make) {
    const auto give = [&](Bytes bytes) {
      KelAudio_t record = setup.InputRecord(bytes);
      if (!bytes.empty()) {
        ExpectStatus(kRhoStatusSuccess, compressor->CompressFrame(&record, &out), "CompressFrame");
      }
    };
    ExpectStatus(kRhoStatusSuccess, compressor->CompressFrameBegin(nullptr), "CompressFrameBegin");
    give(Bytes(input).first(given));
    FillOddly(out);
    ExpectStatus(expected, make(), call);
    setup.ApplyTo(*compressor);
    out.sampleRate = setup.format.sampleRate;
    give(Bytes(input).subspan(given));
    ExpectStatus(kRhoStatusSuccess, compressor->CompressFrame(nullptr, &out), "the flush");
    ExpectSamePackets(PackedLike(setup, setup.format.sampleRate, input), RecordsOf(out.packets),
                      fmt::format("of a run with {} after {} bytes", call, given));
    ExpectStatus(kRhoStatusSuccess, compressor->CompressFrameEnd(), "CompressFrameEnd");
    out.Clear();
  };
  const auto refuseAll = [&](std::size_t given) {
    const auto refuse = [&](unsigned int outputRate, const std::string& call, const auto& make) {
      runWith(given, kRhoStatusBadArgument, call, [&] {
        out.sampleRate = outputRate;
        const std::vector<unsigned char> before = BytesOf(out);
        const RhoStatus status = make();
        ExpectThat(BytesOf(out) == before, "another value in it", "the output record unchanged by {}", call);
        return status;
      });
    };
    const unsigned int rate = setup.format.sampleRate;
    refuse(rate, "CompressFrame without an output record", [&] { return compressor->CompressFrame(&in, nullptr); });
    refuse(rate, "a flush without an output record", [&] { return compressor->CompressFrame(nullptr, nullptr); });
    KelAudio_t withoutData = in;
    withoutData.data = nullptr;
    refuse(rate, "CompressFrame with a size but no data",
           [&] { return compressor->CompressFrame(&withoutData, &out); });
    refuse(0, "CompressFrame with an output sample rate of 0", [&] { return compressor->CompressFrame(&in, &out); });
    refuse(0, "a flush with an output sample rate of 0", [&] { return compressor->CompressFrame(nullptr, &out); });
    const auto refuseBegin = [&](const std::string& reason, const auto& spoil) {
      refuse(rate, "CompressFrameBegin " + reason, [&] {
        other.ApplyTo(*compressor);
        spoil();
        return compressor->CompressFrameBegin(nullptr);
      });
    };
    using Limits = std::numeric_limits<double>;
    for (const double hint : {0.0, -0.0, -25.0, Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN(), 88201.0,
                              1e9, 1e-5, Limits::denorm_min()}) {
      refuseBegin(fmt::format("at a hint of {}", hint), [&] { compressor->SetFrameRateHint(hint); });
    }
    for (const unsigned int size : {0U, 7U}) {
      refuseBegin(fmt::format("with {} bits", size), [&] { compressor->GetSampleSizeSetting()->SetValue(size); });
    }
    refuseBegin("with 0 Hz", [&] { compressor->GetSampleRateSetting()->SetValue(0); });
    KelAudio_t withNothing = withoutData;
    withNothing.dataSize = 0;
    runWith(given, kRhoStatusSuccess, "CompressFrame with no data of size 0",
            [&] { return compressor->CompressFrame(&withNothing, &out); });
  };
  // Before the first block, within the first packet and a later one, and before the flush.
  for (const std::size_t given :
       {std::size_t{0}, setup.WholeBytes(2500), setup.WholeBytes(input.size() / 2), input.size()}) {
    refuseAll(given);
  }
}

/// After the flush nothing is touched until CompressFrameEnd; CompressFrameBegin does not reopen the stream.
void EndsAtTheFlush(const CheckedModule& module) {
  const StreamSetup setup = PcmSetup(48000, 24, "5.1", 25);
  const std::vector<unsigned char> input = SomeInput(setup);
  const CompressorOwner compressor = setup.NewCompressor(module);
  OutputRecord out(setup.format.sampleRate);
  KelAudio_t in = setup.InputRecord(input);
  for (int run = 0; run < 2; ++run) {
    ExpectStatus(kRhoStatusSuccess, compressor->CompressFrameBegin(nullptr), "CompressFrameBegin");
    for (const bool hasInput : {run == 0, false}) {  // the second run ends with nothing to flush
      ExpectStatus(kRhoStatusSuccess, compressor->CompressFrame(hasInput ? &in : nullptr, &out), "CompressFrame");
    }
    const auto expectEnded = [&](IAudioCompressor& ended, const char* when) {
      const std::vector<PacketRecord> packets = RecordsOf(out.packets);
      FillOddly(out);
      const std::vector<unsigned char> before = BytesOf(out);
      for (KelAudio_t* const record : {&in, static_cast<KelAudio_t*>(nullptr)}) {
        ExpectStatus(kRhoStatusSuccess, ended.CompressFrame(record, nullptr),
                     fmt::format("CompressFrame without output {}", when));
        ExpectStatus(kRhoStatusSuccess, ended.CompressFrame(record, &out), fmt::format("CompressFrame {}", when));
      }
      KelAudio_t withoutData = in;
      withoutData.data = nullptr;
      ExpectStatus(kRhoStatusSuccess, ended.CompressFrame(&withoutData, &out),
                   fmt::format("CompressFrame without data {}", when));
      ExpectThat(BytesOf(out) == before, "another value in it", "the output record unchanged by CompressFrame {}",
                 when);
      ExpectSamePackets(packets, RecordsOf(out.packets), fmt::format("in the record after CompressFrame {}", when));
    };
    expectEnded(*compressor, "after the flush");
    const CompressorOwner copy(compressor->CreateCopy());
    Expect(copy != nullptr, "a copy from CreateCopy", "null");
    expectEnded(*copy, "of a copy made after the flush");
    compressor->CompressFrameBegin(nullptr);
    expectEnded(*compressor, "after the flush and CompressFrameBegin, without CompressFrameEnd");
    ExpectStatus(kRhoStatusSuccess, compressor->CompressFrameEnd(), "CompressFrameEnd");
    ExpectStatus(kRhoStatusSuccess, compressor->CompressFrameEnd(), "a second CompressFrameEnd");
    out.Clear();
  }
  // CompressFrameEnd without CompressFrameBegin: the run continues with its sizes and counters.
  StreamRun first(*compressor, setup);
  const std::size_t half = setup.WholeBytes(input.size() / 2);
  std::vector<PacketRecord> packets = first.Give(Bytes(input).first(half)).packets;
  first.End();
  Append(packets, first.Give(Bytes(input).subspan(half)).packets);
  Append(packets, first.Flush().packets);
  first.End();
  ExpectSamePackets(PackedLike(setup, setup.format.sampleRate, input), packets,
                    "of a run with CompressFrameEnd in between");
}

/// Changes of settings and hints during a run take effect at the next CompressFrameBegin.
void KeepsSettingsDuringARun(const CheckedModule& module) {
  const StreamSetup setup = PcmSetup(32000, 16, "Stereo", 24);
  const StreamSetup next = PcmSetup(96000, 24, "7.1", 50);
  const std::vector<unsigned char> input = SomeInput(setup);
  const CompressorOwner compressor = setup.NewCompressor(module);
  StreamRun run(*compressor, setup);
  std::vector<PacketRecord> packets;
  std::size_t turn = 0;
  for (Bytes left = input; !left.empty(); ++turn) {
    const Bytes block = left.first(std::min(left.size(), setup.WholeBytes(3000)));
    Append(packets, run.Give(block).packets);
    left = left.subspan(block.size());
    (turn % 2 == 0 ? next : setup).ApplyTo(*compressor);
    compressor->SetFileFormatHint(FourCharacterCode("UNDF") + static_cast<unsigned int>(turn));
    compressor->SetStreamModeHint(static_cast<EOutputStreamMode>(turn));
  }
  next.ApplyTo(*compressor);
  Append(packets, run.Flush().packets);
  run.End();
  ExpectSamePackets(PackedLike(setup, setup.format.sampleRate, input), packets,
                    "of a run during which settings and hints change");
  const std::vector<unsigned char> nextInput = SomeInput(next);
  ExpectSamePackets(PackedLike(next, next.format.sampleRate, nextInput), Encode(*compressor, next, nextInput, {999}),
                    "of the next run, with the settings as they were changed");
  for (unsigned int hint = 0; hint < 8; ++hint) {
    compressor->SetStreamModeHint(static_cast<EOutputStreamMode>(hint));
    compressor->SetFileFormatHint(hint);
    ExpectSamePackets(PackedLike(next, next.format.sampleRate, nextInput), Encode(*compressor, next, nextInput, {999}),
                      fmt::format("of a run at the stream mode and file format hint {}", hint));
  }
}

/// The number of sample frames in a packet is the sample rate over the hint, to the nearest whole number, halves up.
void RoundsPacketSizes(const CheckedModule& module) {
  const auto expectSize = [](IAudioCompressor& compressor, unsigned int rate, double hint, const char* how) {
    OutputRecord out(rate);
    ExpectStatus(kRhoStatusSuccess, compressor.CompressFrameBegin(nullptr),
                 fmt::format("CompressFrameBegin at a hint of {}", hint));
    const auto expected = static_cast<std::uint64_t>(std::floor(rate / hint + 0.5));
    const std::vector<unsigned char> input((expected + 1) * 2, 1);
    KelAudio_t in{};
    in.data = const_cast<unsigned char*>(input.data());
    in.dataSize = static_cast<unsigned int>(input.size());
    compressor.CompressFrame(&in, &out);
    compressor.CompressFrame(nullptr, &out);
    compressor.CompressFrameEnd();
    ExpectThat(out.packets != nullptr && out.packets->size() > 0, "none", "packets at a hint of {}", hint);
    ExpectEqual(2 * expected, out.packets->get(0)->getDataSize(), "bytes in a packet of {} Hz mono at a hint of {}{}",
                rate, hint, how);
  };
  for (const unsigned int rate : kPcmRates) {
    const CompressorOwner compressor = PcmSetup(rate, 16, "Mono", 25).NewCompressor(module);
    for (unsigned int hint = 2; hint < 500; ++hint) {
      if (2 * rate / hint % 2 != 0) {  // the quotient is nearly a half, or is one
        compressor->SetFrameRateHint(hint);
        expectSize(*compressor, rate, hint, "");
      }
    }
    // Usual frame rates, then quotients of exactly a half, of one and less (one sample frame per packet), and just
    // below a half.
    for (const double hint : {23.976,
                              24000.0 / 1001,
                              24.0,
                              25.0,
                              29.97,
                              30000.0 / 1001,
                              30.0,
                              50.0,
                              59.94,
                              60000.0 / 1001,
                              60.0,
                              1.0,
                              0.5,
                              0.1,
                              2.0,
                              8.0,
                              12.5,
                              15.0,
                              47.952,
                              100.0,
                              119.88,
                              120.0,
                              240.0,
                              999.0,
                              7999.0,
                              rate / 2.5,
                              rate / 3.5,
                              rate / 1.5,
                              rate * 1.0,
                              rate * 1.25,
                              rate * 2.0,
                              2.0 * rate / 441.0,
                              2.0 * rate / 1471.0,
                              rate / 1000.4999999,
                              rate / 20.499999999}) {
      compressor->SetFrameRateHint(hint);
      compressor->ValidateSettings();
      expectSize(*compressor, rate, hint, "");
      expectSize(*CompressorOwner(compressor->CreateCopy()), rate, hint, " in a copy");
    }
  }
  const CompressorOwner fresh = module.CreateCompressor();
  fresh->GetChannelModeSetting()->SetValue("Mono");
  expectSize(*fresh, 44100, 30, ", which a new compressor has");
  for (const unsigned int rate : {30U, 12345U, 192000U}) {
    fresh->GetSampleRateSetting()->SetValue(rate);
    expectSize(*fresh, rate, 30, ", a rate that is not on the list");
  }
}

/// The payloads are the input's bytes, whatever these are: silence, constants, ramps, full scale.
void PassesEveryContent(const CheckedModule& module) {
  ForEachSampleFrame([&module](const StreamSetup& setup) {
    const std::size_t size = SomeInput(setup).size();
    std::vector<std::vector<unsigned char>> contents;
    for (const int value : {0x00, 0x01, 0x7F, 0x80, 0xFF}) {
      contents.emplace_back(size, static_cast<unsigned char>(value));
    }
    // All values of 16 bits, low byte first, in ascending order.
    std::vector<unsigned char> ramp(std::max<std::size_t>(size, setup.WholeBytes(0x20000 + 48)));
    for (std::size_t at = 0; at < ramp.size(); ++at) {
      ramp[at] = static_cast<unsigned char>(at % 2 == 0 ? at / 2 : at / 512);
    }
    contents.push_back(std::move(ramp));
    // The least and the greatest 16-bit sample in turn: 0x8000 and 0x7FFF.
    std::vector<unsigned char> extremes(size);
    for (std::size_t at = 0; at < size; ++at) {
      extremes[at] = static_cast<unsigned char>(at % 4 == 1 ? 0x80 : at % 4 == 2 ? 0xFF : at % 4 == 3 ? 0x7F : 0);
    }
    contents.push_back(std::move(extremes));
    for (const std::vector<unsigned char>& content : contents) {
      ExpectSamePackets(PackedLike(setup, setup.format.sampleRate, content),
                        Encode(*setup.NewCompressor(module), setup, content, {1471, 0, 3}),
                        fmt::format("of input that begins with bytes {:02x} {:02x} {:02x} {:02x}, with {}", content[0],
                                    content[1], content[2], content[3], setup.name));
    }
  });
}

/// Packets and blocks far larger than usual, and packets of one sample frame, in their tens of thousands.
void PacksAnySize(const CheckedModule& module) {
  // Packets of 1.15 MB, all from one block.
  const StreamSetup large = PcmSetup(96000, 24, "7.1", 2);
  const std::vector<unsigned char> input = SomeInput(large, 3 * large.SampleFramesPerPacket() + 5);
  ExpectSamePackets(PackedLike(large, large.format.sampleRate, input),
                    Encode(*large.NewCompressor(module), large, input, {input.size(), 1}), "with " + large.name);
  // Packets of 4 MiB, so that few of them hold a block of 64 MiB.
  const StreamSetup usual = PcmSetup(32000, 16, "Stereo", 1.0 / 32);
  const std::vector<unsigned char> second = SomeInput(usual, usual.SampleFramesPerPacket());
  std::vector<unsigned char> block;
  for (int part = 0; part < 16; ++part) {
    block.insert(block.end(), second.begin(), second.end());
  }
  const CompressorOwner compressor = usual.NewCompressor(module);
  OutputRecord out(usual.format.sampleRate);
  KelAudio_t in = usual.InputRecord(block);
  ExpectStatus(kRhoStatusSuccess, compressor->CompressFrameBegin(nullptr), "CompressFrameBegin");
  ExpectStatus(kRhoStatusSuccess, compressor->CompressFrame(&in, &out), "CompressFrame of a block of 64 MiB");
  ExpectEqual(16U, out.packets == nullptr ? 0 : out.packets->size(), "packets from a block of 64 MiB");
  for (unsigned long index = 0; index < 16; ++index) {
    const IPacket& packet = *out.packets->get(index);
    ExpectEqual(index * usual.SampleFramesPerPacket(), packet.getTime(), "time of packet {} of a block of 64 MiB",
                index);
    ExpectThat(
        packet.getDataSize() == second.size() && std::memcmp(packet.getData(), second.data(), second.size()) == 0,
        "others", "the bytes of the input in packet {} of a block of 64 MiB", index);
  }
  ExpectEqual(16 * usual.SampleFramesPerPacket(), out.sampleCount, "sample count for a block of 64 MiB");
  ExpectEqual(16 * usual.SampleFramesPerPacket(), out.duration, "duration for a block of 64 MiB");
  const StreamSetup small = PcmSetup(8000, 16, "Mono", 8000);
  const std::vector<unsigned char> many = SomeInput(small, 70000);
  ExpectSamePackets(PackedLike(small, small.format.sampleRate, many), EncodeAtOnce(module, small, many),
                    "of one sample frame each, with " + small.name);
}

/// Times are exact beyond 2^32 sample frames, and beyond the whole numbers that a float holds. Compares every packet's
/// time and some of its bytes.
void CountsBeyond32Bits(const CheckedModule& module) {
  // Blocks that stay in a processor's cache, and times that a float does not hold exactly.
  constexpr unsigned int kSampleFrames = 32767;
  const StreamSetup setup = PcmSetup(8000, 16, "Mono", 8000.0 / kSampleFrames);
  const std::vector<unsigned char> input = SomeInput(setup, kSampleFrames);
  const CompressorOwner compressor = setup.NewCompressor(module);
  OutputRecord out(setup.format.sampleRate);
  ExpectStatus(kRhoStatusSuccess, compressor->CompressFrameBegin(nullptr), "CompressFrameBegin");
  for (std::uint64_t time = 0; time < (std::uint64_t{1} << 32U) + 4 * std::uint64_t{kSampleFrames};
       time += kSampleFrames) {
    KelAudio_t in = setup.InputRecord(input);
    ExpectStatus(kRhoStatusSuccess, compressor->CompressFrame(&in, &out), "CompressFrame");
    ExpectThat(out.packets != nullptr && out.packets->size() == 1, "another number",
               "one packet of {} sample frames at a time", kSampleFrames);
    const OwnedPacket packet(out.packets->remove(0));
    ExpectEqual(time, packet->getTime(), "time of the packet at sample frame {}", time);
    ExpectEqual(time, out.time, "time of the output record at sample frame {}", time);
    ExpectEqual(kSampleFrames, out.duration, "duration of the output record at sample frame {}", time);
    ExpectThat(packet->getDataSize() == input.size() && std::memcmp(packet->getData(), input.data(), 4096) == 0,
               "others", "the bytes of the input in the packet at sample frame {}", time);
  }
}

}  // namespace

std::span<const Check> PcmStreamChecks() {
  static constexpr auto kChecks = std::to_array<Check>({
      {"pcm.records", "Hosts fill in records as they are used to; only data, size and output rate count.",
       OnLinearPcm<ReadsDataOnly>, kHasSettings},
      {"pcm.refusals", "A host that errs once must get the documented status, and lose nothing of the run.",
       OnLinearPcm<RefusesWithoutEffect>, kHasSettings},
      {"pcm.end-of-stream", "After the flush a host may still call, by mistake, and must not spoil what it has.",
       OnLinearPcm<EndsAtTheFlush>, kHasSettings},
      {"pcm.changes-during-a-run", "A user may move a control while the host encodes; the file must stay one piece.",
       OnLinearPcm<KeepsSettingsDuringARun>, kHasSettings},
      {"pcm.rounding", "A packet holds one video frame's sound; a sample frame more or less drifts away from it.",
       OnLinearPcm<RoundsPacketSizes>, kHasSettings},
      {"pcm.content", "Silence, full scale and every value between are sound, and come out as they went in.",
       OnLinearPcm<PassesEveryContent>, kHasSettings},
      {"pcm.sizes", "Low frame rates and whole files in memory give large packets and blocks.",
       OnLinearPcm<PacksAnySize>, kHasSettings},
      {"pcm.long-run", "Recordings of a day and more pass 2^32 sample frames.", OnLinearPcm<CountsBeyond32Bits>,
       kHasSettings},
  });
  return kChecks;
}
