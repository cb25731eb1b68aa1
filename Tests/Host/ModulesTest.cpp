/// rhohost with modules other than its own: it says what is wrong with each, and a good one is called in the documented
/// order.

#include "Tests/Host/HostTest.h"

#include <gmock/gmock.h>
#include <regex>

namespace {

TEST_F(HostTest, SaysWhatIsWrongWithAModule) {
  MakeSound("in.wav", 48000, 2, "sox -b 16");
  Write("out.mkv", "old");
  const std::map<std::string, std::string> before = Contents();
  for (const auto& [module, says] : std::vector<std::pair<std::string, const char*>>{
           {"NoEntryPoint", "no entry point CreateAudioCompressor"},
           {"NoCompressors", "0 compressors"},
           {"NoObject", "no compressor"},
           {"NoRate", "no setting for the sample rate"},
           {"NoMatroska", "Matroska"},
           {"NoPackets", "linear PCM"},
           {"NoBegin", "begin .*80010001"},
           {"NoFrame", "encode .*80010002"},
           {"NoFlush", "flush .*80010002"},
           {"NoEnd", "end .*00000001"},
       }) {
    SCOPED_TRACE(module);
    const Outcome outcome = RunHost("rhohost --force --module " BAD_MODULES "/" + module + ".so in.wav out.mkv");
    EXPECT_EQ(outcome.code, 1);
    EXPECT_TRUE(std::regex_search(outcome.errors, std::regex(says))) << outcome.errors;
    EXPECT_TRUE(Contents() == before);
  }
}

TEST_F(HostTest, CallsAModuleInTheDocumentedOrder) {
  MakeSound("in.wav", 48000, 2, "sox -b 16");
  const Outcome outcome = Run("rhohost --quiet --module " BAD_MODULES "/Healthy.so in.wav out.mkv");
  EXPECT_EQ(outcome.code, 0);
  EXPECT_TRUE(std::regex_search(
      outcome.errors,
      std::regex(
          "ValidateSettings .*IsFormatSupported .*CompressFrameBegin (CompressFrame )+flush CompressFrameEnd Release")))
      << outcome.errors;
  EXPECT_TRUE(std::regex_search(outcome.errors, std::regex("SetFileFormatHint .*CompressFrameBegin")))
      << outcome.errors;
  EXPECT_TRUE(std::regex_search(outcome.errors, std::regex("SetOutputPacketType .*CompressFrameBegin")))
      << outcome.errors;
}

}  // namespace
