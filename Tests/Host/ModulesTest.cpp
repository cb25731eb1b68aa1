/// rhohost with modules other than its own: it says what is wrong with each, and a good one is called in the documented
/// order.

#include "Tests/Host/HostTest.h"

#include <nlohmann/json.hpp>
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

TEST_F(HostTest, FindsModulesInTheFoldersForThem) {
  ASSERT_EQ(Run("mkdir -p a b/Empty.bundle b/Good.bundle/Contents/x86_64-linux data/rho/plugins; cd " BAD_MODULES
                " && cp CrashesOnLoad.so NoEntryPoint.so Healthy.so \"$OLDPWD/a\" && cp Healthy.so \"$OLDPWD/b\" && "
                "cp NoRate.so \"$OLDPWD/data/rho/plugins\"; cd \"$OLDPWD\"; echo text >a/Text.so; echo >a/Text.txt; "
                "cp " PCM_MODULE " b/Good.bundle/Contents/x86_64-linux/Good.so; cp a/Healthy.so here.so")
                .code,
            0);
  const std::string found = "export RHO_PLUGIN_PATH=$PWD/a:$PWD/none:$PWD/b XDG_DATA_HOME=$PWD/data; rhohost ";
  std::vector<std::pair<std::string, std::string>> modules;
  for (const nlohmann::json& module : nlohmann::json::parse(RunHost(found + "list --json").output)) {
    const std::string error = module.contains("error") ? module["error"] : module["description"]["name"];
    modules.emplace_back(module["name"].get<std::string>() + (module["hidden"] == true ? " hidden" : ""), error);
  }
  const auto is = [](const char* name, const char* says) { return testing::Pair(name, testing::HasSubstr(says)); };
  EXPECT_THAT(modules, testing::ElementsAre(is("CrashesOnLoad", "crashed on loading (SIGABRT)"), is("Healthy", "PCM"),
                                            is("NoEntryPoint", "no entry point"), is("Text", "cannot load the module"),
                                            is("Empty", "cannot load the module"), is("Good", "PCM"),
                                            is("Healthy hidden", "PCM"), is("NoRate", "PCM"), is("PCMPlugin", "PCM")));
  // Parents may have children ignore SIGCHLD.
  EXPECT_THAT(RunHost("trap '' CHLD; " + found + "list").output,
              ContainsRegex("CrashesOnLoad\n +.*a/CrashesOnLoad.so\n +cannot use .* crashed on loading"));
  for (const char* const module : {"Good", "Good.bundle", "b/Good.bundle", "./b/Good.bundle/", "NoRate", "NoRate.so"}) {
    EXPECT_EQ(RunHost(found + "info --quiet --module " + module).code, 0) << module;
  }
  EXPECT_EQ(RunHost(found + "validate --only 'load.entry*' b/Good.bundle").code, 0);
  for (const auto& [module, says] :
       {std::pair("libm.so.6", "no module \"libm.so.6\" in "), std::pair("here.so", "\"./here.so\" is the one"),
        std::pair("Good.so", "no module"), std::pair("b/Empty.bundle", "cannot load"), std::pair("''", "")}) {
    EXPECT_THAT(RunHost(found + "info --module " + module).errors, testing::HasSubstr(says)) << module;
  }
}

}  // namespace
