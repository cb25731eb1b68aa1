/// rhohost with modules other than its own: it says what is wrong with each, and a good one is called in the documented
/// order.

#include "Tests/Host/HostTest.h"

#include <utility>

namespace {

using testing::ContainsRegex;

TEST_F(HostTest, SaysWhatIsWrongWithAModule) {
  MakeSound("in.wav", 48000, 2, "sox -b 16");
  Write("out.mkv", "old");
  for (const auto& [module, says] : std::vector<std::pair<std::string, std::vector<const char*>>>{
           {"NoEntryPoint", {"no entry point CreateAudioCompressor"}},
           {"NoCompressors", {"0 compressors"}},
           {"NoObject", {"returns no compressor"}},
           {"NoRate", {"no setting for the sample rate"}},
           {"NoRespect", {"does not keep to 48000 Hz"}},
           {"NoMatroska", {"file format \" MKV\""}},
           {"NoPackets", {"linear PCM"}},
           {"NoBegin", {"cannot begin", "80010001"}},
           {"NoFrame", {"cannot encode", "80010002"}},
           {"NoFlush", {"cannot flush", "80010002"}},
           {"NoEnd", {"cannot end", "00000001"}},
       }) {
    ExpectRefused({"rhohost --force --module " BAD_MODULES "/" + module + ".so in.wav out.mkv", 1, says});
  }
  const std::string lacking = " --module " BAD_MODULES "/NoRate.so";
  EXPECT_THAT(RunHost("rhohost info" + lacking).output, ContainsRegex("SampleSize")) << "what there is can be shown";
  EXPECT_EQ(RunHost("rhohost --bits 24 --save-preset preset" + lacking).code, 0) << "and filed";
}

TEST_F(HostTest, CallsAModuleInTheDocumentedOrder) {
  MakeSound("in.wav", 48000, 2, "sox -b 16");
  const Outcome outcome = Run("rhohost --quiet --module " BAD_MODULES "/Healthy.so in.wav out.mkv");
  EXPECT_EQ(outcome.code, 0);
  for (const char* const order : {"ValidateSettings .*CompressFrameBegin", "SetFileFormatHint .*CompressFrameBegin",
                                  "IsFormatSupported .*CompressFrameBegin", "SetOutputPacketType .*CompressFrameBegin",
                                  "CompressFrameBegin (CompressFrame )+flush CompressFrameEnd Release $"}) {
    EXPECT_THAT(outcome.errors, ContainsRegex(order));
  }
}

}  // namespace
