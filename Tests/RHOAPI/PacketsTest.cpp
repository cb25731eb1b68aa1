#include "RHOAPI/RHOAPIPacketBuilder.h"
#include "RHOAPI/RHOAPIPacketBundle.h"
#include "RHOAPI/RhoapiAudioCodec.h"
#include "Tests/Support/Slots.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>
#include <algorithm>
#include <new>

static std::string Answers(const IPacket* packet) { return ReadSlots(packet, 0, "uuqqqb.b."); }

TEST(Packets, SayWhatTheyHoldAndHandItToTheirCopies) {
  auto* const packet = new TRHOAPIPacket(IPacket::kPacketTypeLinearPCM, nullptr, "");
  EXPECT_EQ(Answers(packet), " 24 0 0 1000 0 null null");
  packet->m_track = 1;
  packet->m_time = 1ULL << 40;
  packet->m_timeBase = 2;
  packet->m_duration = 3;
  packet->setDesc("abc");
  packet->setData("data");
  auto* const clone = CallSlot<IPacket*>(packet, 9);
  packet->setData(nullptr);
  EXPECT_EQ(Answers(packet), " 24 1 1099511627776 2 3 abc null");
  CallSlot(packet, 10);
  EXPECT_EQ(Answers(clone), " 24 1 1099511627776 2 3 abc data");
  CallSlot(clone, 12);
  EXPECT_EQ(Answers(OwnedPacket(new TRHOAPIPacket(nullptr)).get()), " 0 0 0 1000 0 null null");
}

RC_GTEST_PROP(PacketBundle, IsAListThatOwnsItsPackets, (const std::vector<std::pair<unsigned char, int>>& steps)) {
  OwnedPacket bundle(new TPacketBundle("desc"));
  std::vector<std::string> expected;
  const auto payload = [](const IPacket* packet) { return packet == nullptr ? "none" : ReadSlots(packet, 7, "b"); };
  for (const auto& [step, number] : steps) {
    const auto index = step / 8 % (expected.size() + 1);
    const auto at = expected.begin() + static_cast<long>(index);
    const auto there = at != expected.end() ? *at : "none";
    OwnedPacket packet(new TRHOAPIPacket(IPacket::kPacketTypeLinearPCM, nullptr, std::to_string(number).c_str()));
    const auto given = payload(packet.get());
    if (step % 8 < 2) {
      packet.reset(CallSlot<IPacket*>(bundle.get(), 16, index));
      RC_ASSERT(payload(packet.get()) == there);
      expected.erase(at, at + (there == "none" ? 0 : 1));
    } else if (step % 8 == 2) {
      RC_ASSERT(CallSlot<IPacket*>(bundle.get(), 18, index, nullptr) == nullptr);
      const OwnedPacket taken(CallSlot<IPacket*>(bundle.get(), 18, index, packet.get()));
      RC_ASSERT(payload(taken.get()) == there);
      if (taken != nullptr) {
        *at = payload(packet.release());
      }
    } else if (step % 8 == 3) {
      OwnedPacket clone(CallSlot<IPacket*>(bundle.get(), 9));
      CallSlot(bundle.get(), 13);
      RC_ASSERT(Answers(bundle.get()) + ReadSlots(bundle.get(), 14, "l") == " 28 0 0 1000 0 desc null 0");
      bundle = std::move(clone);
    } else {
      CallSlot(bundle.get(), 17, nullptr);
      CallSlot(bundle.get(), 17, packet.release());
      expected.push_back(given);
    }
    RC_ASSERT(CallSlot<unsigned long>(bundle.get(), 14) == expected.size());
    for (unsigned long place = 0; place <= expected.size(); ++place) {
      RC_ASSERT(payload(CallSlot<IPacket*>(bundle.get(), 15, place)) ==
                (place < expected.size() ? expected[place] : "none"));
    }
  }
}

TEST(PacketBuilder, GivesAPacketNoMoreThanWasFinished) {
  PacketBuilder builder(IPacket::kPacketTypeLinearPCM, 3);
  std::copy_n("abc", 3, builder.payload());
  EXPECT_EQ(Answers(builder.packet()), " 24 0 0 1000 0 null null") << "not finished";
  builder.finish(2);
  EXPECT_EQ(Answers(OwnedPacket(builder.packet()->clone()).get()), " 24 0 0 1000 0 null ab");
  builder.finish(4);
  EXPECT_EQ(Answers(builder.packet()), " 24 0 0 1000 0 null abc") << "of four bytes there are three";
  builder.packet()->setData("other");
  const OwnedPacket packet(builder.release());
  EXPECT_EQ(Answers(packet.get()), " 24 0 0 1000 0 null other");
  EXPECT_TRUE(builder.packet() == nullptr && builder.payload() == nullptr);
  EXPECT_THROW(PacketBuilder(IPacket::kPacketTypeNone, ~0UL), std::bad_alloc);
}

// A host's own bundle: with other values, a null packet, and a packet whose clone() is null.
struct ForeignBundle : TPacketBundle {
  struct Uncopied : TRHOAPIPacket {
    Uncopied() : TRHOAPIPacket(nullptr) {}
    IPacket* clone() const override { return nullptr; }
  };
  ForeignBundle() : TPacketBundle("before") { setDesc("foreign"); }
  unsigned int getTrack() const override { return 1; }
  unsigned long long getTime() const override { return 2; }
  unsigned long long getTimeBase() const override { return 3; }
  unsigned long long getDuration() const override { return 4; }
  unsigned long size() const override { return 3; }
  IPacket* get(unsigned long index) const override { return m_packets[index].get(); }
  OwnedPacket m_packets[3]{nullptr, OwnedPacket(new Uncopied),
                           OwnedPacket(new TRHOAPIPacket(IPacket::kPacketTypeNone, nullptr, "data"))};
};

TEST(Packets, CopyNothingFromNowhere) {
  struct Hollow : TRHOAPIPacket {
    Hollow() : TRHOAPIPacket(nullptr) {}
    unsigned long getDescriptorSize() const override { return 3; }
    unsigned long getDataSize() const override { return 5; }
  };
  EXPECT_EQ(Answers(OwnedPacket(Hollow().clone()).get()), " 0 0 0 1000 0 null null");
}

TEST(PacketBundle, CopiesAnothersBundle) {
  const OwnedPacket copy(ForeignBundle().clone());
  EXPECT_EQ(Answers(copy.get()) + ReadSlots(copy.get(), 14, "l"), " 28 1 2 3 4 foreign null 1");
  EXPECT_EQ(Answers(static_cast<IPacketBundle*>(copy.get())->get(0)), " 0 0 0 1000 0 null data");
}

TEST(PluginProperties, AnswerInSlotOrder) {
  const PluginProperties standard;
  EXPECT_EQ(ReadSlots(&standard, 2, "uuuu"), " 0 1 1 1");
  auto* const copy = PluginProperties(1, 2, 3, 4).CreateCopy();
  EXPECT_EQ(ReadSlots(copy, 2, "uuuu"), " 1 2 3 4");
  CallSlot(copy, 1);
}
