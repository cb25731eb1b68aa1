#include "Host/Validate/Engine/Check.h"
#include "Host/Validate/Engine/Seed.h"
#include "Host/Validate/Support/CompressorUnderTest.h"
#include "Host/Validate/Support/MemoryUsage.h"
#include "Host/Validate/Support/StreamRun.h"
#include "RHOAPI/RHOAPIPacketBundle.h"

#include <algorithm>
#include <array>
#include <memory>
#include <random>
#include <utility>

namespace {

using OwnedBundle = std::unique_ptr<IPacketBundle, PacketDestroyer>;

/// A bundle with the packets of a run, at least six of them, and records of those.
struct Filled {
  OwnedBundle bundle;
  std::vector<PacketRecord> records;
};

/// The packets are `times` as large as usual.
Filled FillBundle(const CheckedModule& module, unsigned int times = 1) {
  StreamSetup setup = DefaultSetup(module);
  setup.framesPerSecond /= times;
  const CompressorOwner compressor = setup.NewCompressor(module);
  OutputRecord out(setup.format.sampleRate);
  const std::vector<unsigned char> input = SomeInput(setup, 20 * setup.SampleFramesPerPacket() + 7);
  ExpectEqual(kRhoStatusSuccess, RunInto(*compressor, setup, input, out), "status of a run");
  if (out.packets == nullptr || out.packets->size() < 6) {
    throw CheckSkipped{"a run of twenty video frames gives fewer than six packets"};
  }
  Filled filled{OwnedBundle(std::exchange(out.packets, nullptr)), {}};
  filled.records = RecordsOf(filled.bundle.get());
  NoteStep("using a bundle");
  return filled;
}

/// The bundle holds exactly these packets, and nothing at indexes beyond them.
void ExpectPackets(const IPacketBundle& bundle, const std::vector<PacketRecord>& expected, const char* when) {
  ExpectEqual(expected.size(), bundle.size(), "size of a bundle {}", when);
  ExpectSamePackets(expected, RecordsOf(&bundle), fmt::format("in a bundle {}", when));
  for (const unsigned long index : {bundle.size(), bundle.size() + 1, ~0UL}) {
    ExpectThat(bundle.get(index) == nullptr, "a packet", "null from get({}) of a bundle of {} packets", index,
               bundle.size());
  }
}

/// A bundle is a packet without payload, of type 28.
void ExpectIsBundle(const IPacketBundle& bundle) {
  ExpectEqual(unsigned{IPacket::kPacketTypeBundle}, unsigned{bundle.getType()}, "type of a bundle");
  ExpectThat(bundle.getData() == nullptr && bundle.getDataSize() == 0, "some", "no payload of a bundle");
  ExpectThat((bundle.getDescriptor() == nullptr) == (bundle.getDescriptorSize() == 0), "another address",
             "a descriptor of a bundle that is null if its size is 0");
  ExpectThat(bundle.getTimeBase() != 0, "0", "a time base of a bundle");
}

/// Random operations on a bundle, which has the packets of `expected`, do to it what they do to a list.
void ExpectLikeAList(IPacketBundle& bundle, std::vector<PacketRecord> expected) {
  constexpr int kSteps = 300;
  const std::string seed = SeedText();
  std::mt19937_64 random(Seed());
  // The packets that are added are clones of these.
  const OwnedBundle source(static_cast<IPacketBundle*>(bundle.clone()));
  for (int step = 0; step < kSteps; ++step) {
    const IPacket& next = *source->get(static_cast<unsigned long>(step) % source->size());
    const auto index = static_cast<unsigned long>(random() % (expected.size() + 1));
    const char* operation = "append";
    OwnedPacket taken;
    // Of 32 steps about 1 clears, 15 append, 4 replace and 12 remove, half of these from the front, as hosts do.
    if (const auto choice = random() % 32; choice == 0) {
      operation = "clear";
      bundle.clear();
      expected.clear();
    } else if (choice < 16 || index == expected.size()) {
      OwnedPacket added(next.clone());
      expected.push_back(RecordOf(added.get()));
      bundle.append(added.release());
    } else if (choice < 20) {
      operation = "replace";
      OwnedPacket added(next.clone());
      expected.push_back(RecordOf(added.get()));
      // Both "replace" and "remove" leave the packet that is taken out at the end of `expected`, where it is compared
      // below.
      std::iter_swap(expected.begin() + static_cast<std::ptrdiff_t>(index), expected.end() - 1);
      taken.reset(bundle.replace(index, added.release()));
    } else {
      operation = "remove";
      const unsigned long from = choice < 26 ? 0 : index;
      std::rotate(expected.begin() + static_cast<std::ptrdiff_t>(from),
                  expected.begin() + static_cast<std::ptrdiff_t>(from) + 1, expected.end());
      taken.reset(bundle.remove(from));
    }
    const std::string after = fmt::format("after random operation {}, {} at {}{}", step, operation, index, seed);
    if (*operation == 'r') {
      ExpectSamePackets({expected.back()}, {RecordOf(taken.get())}, after);
      expected.pop_back();
    }
    ExpectPackets(bundle, expected, after.c_str());
  }
  const OwnedBundle copy(static_cast<IPacketBundle*>(bundle.clone()));
  ExpectPackets(*copy, expected, "that is a clone of one after random operations");
}

/// The operations of a bundle do what IPacketBundle documents, at valid indexes and beyond the end.
void RemovesAndReplaces(const CheckedModule& module) {
  auto [bundle, expected] = FillBundle(module);
  ExpectIsBundle(*bundle);
  ExpectPackets(*bundle, expected, "after a run");
  const auto at = [&list = expected](std::size_t index) { return list.begin() + static_cast<std::ptrdiff_t>(index); };
  for (const std::size_t index : {std::size_t{2}, std::size_t{0}, expected.size() - 3}) {
    const OwnedPacket removed(bundle->remove(static_cast<unsigned long>(index)));
    ExpectThat(removed != nullptr, "null", "a packet from remove({})", index);
    ExpectSamePackets({*at(index)}, {RecordOf(removed.get())}, fmt::format("from remove({})", index));
    expected.erase(at(index));
    ExpectPackets(*bundle, expected, "after remove");
  }
  for (const unsigned long index : {bundle->size(), ~0UL}) {
    ExpectThat(bundle->remove(index) == nullptr, "a packet", "null from remove({}), which is beyond the end", index);
    OwnedPacket other(bundle->get(0)->clone());
    ExpectThat(bundle->replace(index, other.get()) == nullptr, "a packet",
               "null from replace({}), which is beyond the end", index);
  }
  ExpectThat(bundle->replace(1, nullptr) == nullptr, "a packet", "null from replace with a null packet");
  ExpectPackets(*bundle, expected, "after calls that were refused");

  OwnedPacket last(bundle->get(bundle->size() - 1)->clone());
  const OwnedPacket replaced(bundle->replace(1, last.release()));
  ExpectThat(replaced != nullptr, "null", "the packet that stood there from replace(1)");
  ExpectSamePackets({expected[1]}, {RecordOf(replaced.get())}, "from replace(1)");
  expected[1] = expected.back();
  ExpectPackets(*bundle, expected, "after replace");

  bundle->append(replaced->clone());
  expected.push_back(RecordOf(replaced.get()));
  bundle->append(nullptr);
  ExpectPackets(*bundle, expected, "after append, and append of null");
  ExpectLikeAList(*OwnedBundle(static_cast<IPacketBundle*>(bundle->clone())), expected);
  while (bundle->size() != 0) {
    OwnedPacket(bundle->remove(0)).reset();
  }
  ExpectPackets(*bundle, {}, "that is emptied from the front");
  bundle->append(replaced->clone());
  ExpectPackets(*bundle, {RecordOf(replaced.get())}, "that is filled again");
  bundle->clear();
  ExpectPackets(*bundle, {}, "after clear");
  ExpectIsBundle(*bundle);
}

/// Clones of bundles and packets are equal to the original and do not change when it is destroyed.
void ClonesIndependently(const CheckedModule& module) {
  auto [bundle, expected] = FillBundle(module, 16);
  OwnedBundle copy(static_cast<IPacketBundle*>(bundle->clone()));
  Expect(copy != nullptr && copy.get() != bundle.get(), "a new bundle from clone", "null, or the bundle itself");
  ExpectIsBundle(*copy);
  ExpectSamePackets({RecordOf(bundle.get())}, {RecordOf(copy.get())}, "as a clone of a bundle");
  for (unsigned long index = 0; index < bundle->size(); ++index) {
    ExpectThat(copy->get(index) != bundle->get(index), "the same ones", "packets of its own in a clone of a bundle");
  }
  // A packet in which no field has its default: another bundle, with one of the clones in it.
  OwnedPacket packet(bundle->remove(3));
  const OwnedPacket clone(packet->clone());
  const OwnedPacket cloneOfClone(clone->clone());
  ExpectThat(clone != nullptr && clone != packet, "null, or the packet itself", "a new packet from clone");
  ExpectThat(clone->getData() != packet->getData() || packet->getDataSize() == 0, "the same address",
             "bytes of its own in a clone");
  packet.reset();
  bundle.reset();
  LookForSpoiltMemory();
  ExpectSamePackets({expected[3], expected[3]}, {RecordOf(clone.get()), RecordOf(cloneOfClone.get())},
                    "as a clone, when the original is destroyed");
  ExpectPackets(*copy, expected, "that is a clone, when the original is destroyed");
  copy->append(cloneOfClone->clone());
  expected.push_back(expected[3]);
  ExpectPackets(*copy, expected, "that is a clone, after append");
  OwnedBundle empty(static_cast<IPacketBundle*>(copy->clone()));
  empty->clear();
  ExpectPackets(*OwnedBundle(static_cast<IPacketBundle*>(empty->clone())), {}, "that is a clone of an empty one");
  ExpectPackets(*copy, expected, "whose clone is emptied");
}

/// Whatever a host has in the record's bundle stays in front of what a call adds.
void AddsToWhatIsThere(const CheckedModule& module) {
  const StreamSetup setup = DefaultSetup(module);
  const std::vector<unsigned char> input = SomeInput(setup);
  auto [bundle, expected] = FillBundle(module);
  const CompressorOwner compressor = setup.NewCompressor(module);
  OutputRecord out(setup.format.sampleRate);
  out.packets = bundle.release();
  IPacketBundle* const before = out.packets;
  const std::vector<PacketRecord> once = EncodeAtOnce(module, setup, input);
  for (int run = 0; run < 50; ++run) {
    ExpectEqual(kRhoStatusSuccess, RunInto(*compressor, setup, input, out), "status of a run");
    Append(expected, once);
  }
  Expect(out.packets == before, "the host's bundle in the output record", "another one");
  ExpectPackets(*out.packets, expected, "that the host has put into the output record");
}

}  // namespace

std::span<const Check> PacketChecks() {
  static constexpr auto kChecks = std::to_array<Check>({
      {"packets.bundle", "Hosts take packets out in their own order, and put others in.", OnModule<RemovesAndReplaces>,
       kHasSettings},
      {"packets.clones", "Hosts keep clones of packets when they destroy the originals.", OnModule<ClonesIndependently>,
       kHasSettings},
      {"packets.kept", "Hosts gather the packets of several runs in one bundle.", OnModule<AddsToWhatIsThere>,
       kHasSettings},
  });
  return kChecks;
}
