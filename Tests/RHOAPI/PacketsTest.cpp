#include "RHOAPI/RHOAPIPacket.h"
#include "RHOAPI/RHOAPIPacketBundle.h"
#include "RHOAPI/RhoapiAudioCodec.h"
#include "Tests/Support/Slots.h"

#include <gtest/gtest.h>
#include <list>

namespace {

std::string Answers(const IPacket* packet) { return ReadSlots(packet, 0, "uuqqqb.b."); }

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

TEST(PacketBundle, OwnsItsPacketsUntilTheyAreTaken) {
  auto* const bundle = new TPacketBundle("desc");
  const auto held = [](const IPacket* holder) {
    std::string text = ReadSlots(holder, 14, "q");
    for (unsigned long index = 0; const auto* packet = CallSlot<IPacket*>(holder, 15, index); ++index) {
      text += ReadSlots(packet, 7, "b");
    }
    return text;
  };
  OwnedPacket other(new TRHOAPIPacket(IPacket::kPacketTypeLinearPCM, nullptr, "other"));
  for (const char* text : {"a", "b", "c"}) {
    EXPECT_EQ(CallSlot<IPacket*>(bundle, 18, bundle->size(), other.get()), nullptr);
    CallSlot(bundle, 17, new TRHOAPIPacket(IPacket::kPacketTypeLinearPCM, nullptr, text));
    CallSlot(bundle, 17, nullptr);
  }
  EXPECT_EQ(held(bundle), " 3 a b c");
  EXPECT_STREQ(ReadSlots(OwnedPacket(CallSlot<IPacket*>(bundle, 16, 1UL)).get(), 7, "b").c_str(), " b");
  EXPECT_EQ(CallSlot<IPacket*>(bundle, 16, 2UL), nullptr);
  EXPECT_EQ(CallSlot<IPacket*>(bundle, 18, 0UL, nullptr), nullptr);
  EXPECT_EQ(held(bundle), " 2 a c");
  other.reset(CallSlot<IPacket*>(bundle, 18, 0UL, other.release()));
  EXPECT_EQ(ReadSlots(other.get(), 7, "b"), " a");
  const OwnedPacket clone(CallSlot<IPacket*>(bundle, 9));
  CallSlot(bundle, 13);
  EXPECT_EQ(Answers(bundle) + held(bundle), " 28 0 0 1000 0 desc null 0");
  CallSlot(bundle, 10);
  EXPECT_EQ(Answers(clone.get()) + held(clone.get()), " 28 0 0 1000 0 desc null 2 other c");
  const TPacketBundle none(static_cast<const IPacketBundle*>(nullptr));
  EXPECT_EQ(Answers(&none) + held(&none), " 28 0 0 1000 0 null null 0");
}

TEST(AddIfNotAlreadyThere, AddsWhatIsNew) {
  std::list<int> list;
  for (const int value : {24, 28, 24, 28, 5, 28}) {
    add_if_not_already_there(list, value);
  }
  EXPECT_EQ(list, (std::list<int>{24, 28, 5}));
}

TEST(PluginProperties, AnswerInSlotOrder) {
  const PluginProperties standard;
  EXPECT_EQ(ReadSlots(&standard, 2, "uuuu"), " 0 1 1 1");
  auto* const copy = PluginProperties(1, 2, 3, 4).CreateCopy();
  EXPECT_EQ(ReadSlots(copy, 2, "uuuu"), " 1 2 3 4");
  CallSlot(copy, 1);
}

}  // namespace
