/// rhohost validate: it finds nothing in sound modules, and in each of the others the one fault that it has.

#include "Tests/Host/HostTest.h"

#include <nlohmann/json.hpp>
#include <regex>

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using Json = nlohmann::json;

struct ModuleCase {
  std::string module;
  std::string finds;         ///< the names of the checks that must fail
  const char* mayFail = "";  ///< a pattern for those that may fail as a consequence
};

void PrintTo(const ModuleCase& tested, std::ostream* out) { *out << tested.module; }

const std::vector<ModuleCase> kModules {
  {PCM_MODULE, ""}, {ALL_SETTINGS, "settings.preset-labels"}, {"NoEntryPoint", "load.entry-points load.hardened"},
      {"CrashesOnLoad", "load.binds-at-once"}, {"ExitsOnLoad", "load.binds-at-once"},
      {"ClaimsToPass", "load.binds-at-once"}, {"PrintsOnLoad", "process.prints-nothing"},
      {"Litters", "process.descriptors process.signals process.surroundings", "process.system-calls"},
      {"NoCompressors", "info.creates"}, {"TwoCompressors", "info.distinct-codes"},
      {"NeedsPointers", "info.null-arguments", "info.any-index"}, {"AnyCodes", "info.wrong-codes"},
      {"Throws", "info.wrong-codes"}, {"OtherCodec", "info.own-report"}, {"CrashesInASlot", "info.names"},
      {"NoPackets", "info.packet-types"}, {"Leaks", "life.thousand-creations", "life.*"},
      {"NoEnd", "life.thousand-runs", "life.*"}, {"NoCopy", "life.copies-in-any-order", "life.*"},
      {"NeedsBegin", "life.calls-in-any-order"}, {"SettingEmpty", "settings.texts"},
      {"SettingNotUtf8", "settings.texts"}, {"SettingNull", "settings.texts"},
      {"SettingOddDefault", "settings.defaults", "settings.*"}, {"SettingListsTwice", "settings.lists", "settings.*"},
      {"SettingTakesNone", "settings.allowed", "settings.*"},
      {"SettingTakesAll", "settings.not-allowed", "settings.compressor.*"},
      {"SettingSharesValue", "settings.copies", "settings.*"},
      {"CopiesNothing", "settings.compressor-copies stream.run-copies", "settings.during-runs"},
      {"NoRespect", "settings.presets settings.validation", "settings.*"},
      {"SkipsSmall", "stream.block-sizes", "stream.*"}, {"ChangesBytes", "stream.bytes", "stream.*"},
      {"TimesJump", "stream.times", "stream.*"}, {"NoHint", "stream.packet-sizes", "stream.flush"},
      {"LosesTail", "stream.flush", "stream.*"}, {"WritesInput", "stream.input"},
      {"ReadsBeyond", "stream.input", IS_SANITIZED ? ".*" : ""}, {"OwnsPackets", "stream.output", "stream.*"},
      {"ClearsBundle", "packets.kept stream.untaken", "(packets|stream).*"}, {"Hoards", "stream.minute"},
      {"GoesOn", "stream.after-flush", "stream.*"},
      {"BeginsOnce", "stream.second-run stream.unfinished-run pcm.changes-during-a-run", "(stream|pcm).*"},
      {"SharesState", "stream.interleaved"}, {"PrintsAtFlush", "process.prints-nothing"},
      {"ReadsInput", "process.descriptors", "process.system-calls"}, {"SetsLocale", "process.surroundings"},
      {"UsesRand", "process.surroundings"}, {"FlushesToZero", "process.surroundings"},
      {"SetsTimer", "process.signals", "process.*"}, {"ChangesMask", "process.privileges", "process.system-calls"},
      {"StartsThread", "process.threads", "process.*"}, {"StartsProcess", "process.threads process.system-calls"},
      {"MakesFile", "process.system-calls"}, {"ExitsOtherwise", "process.exit"}, {"NeedsStack", "threads.small-stack"},
      {"NeedsItsThread", "threads.moves"}, {"SharesScratch", "threads.side-by-side"},
      {"SettingReadsBeyond", "settings.indexes", "settings.*"},
      {"SettingSquashesFlags", "settings.flags", "settings.*"},
      {"SettingSpoilsAnother", "settings.others", "settings.*"},
      {"SettingRemembers", "settings.earlier-choices", "settings.*"},
      {"ExactLayouts", "settings.matching pcm.settings", "(settings|pcm).*"},
      {"BundleRemovesLast", "packets.bundle", "packets.*"}, {"BundleClonesNothing", "packets.clones", "packets.*"},
      {"OtherName", "load.two-copies pcm.identity"}, {"Delays", "pcm.optional-operations"},
      {"IsPlaceholder", "info.optional-operations"}, {"TellsBits", "info.getters"},
      {"NewSettings", "info.setting-objects", "info.*"}, {"AllFormats", "info.file-formats pcm.formats"},
      {"StaleDataRate", "pcm.data-rate"}, {"Overruns", "packets.bundle", "packets.*"}, {"SmallBlocks", "pcm.sizes"},
      {"ReadsSampleCount", "pcm.records", "pcm.*"}, {"OtherStatus", "pcm.refusals", "pcm.*"},
      {"ReopensStream", "pcm.end-of-stream"}, {"RoundsDown", "pcm.rounding", "pcm.*"},
      {"ChangesSilence", "pcm.content"}, {"FloatTimes", "pcm.long-run"},
      {"StaysLoaded", "load.unloads load.ten-times", "load.*"}, {"LoadsOnce", "load.ten-times"},
      {"PrintsLate", "process.exit process.other-threads", "process.*"}, {"ResetsLocale", "process.surroundings"},
      {"CountsUp", "info.count", "info.*"}, {"NewVersion", "info.same-in-two-processes"},
      {"DeniesRelease", "life.release"}, {"ResetsHint", "stream.hints"}, {"AnyPackets", "stream.refusals"},
      {"KeepsKey", "process.surroundings"}, {"UnsafeMemory", "process.privileges"},
      {"CopiesOtherCodec", "info.own-report", "info.*"}, {"TypeOfTheRun", "settings.during-runs", "settings.*"},
      {"BeginsWhenAsked", "stream.questions"}, {"SettingRelabels", "settings.flags", "settings.*"},
      {"SettingUnticks", "settings.flags", "settings.*"}, {"NoTypeAt24Bits", "pcm.data-rate", "pcm.*"},
      {"BeginsInPart", "pcm.refusals", "pcm.*"},
#if !IS_SANITIZED
      {"SettingSlotless", "info.slots", "info.*"}, {"Uninitialised", "life.initialised", "life.*"},
      {"NeedsMemory", "life.no-memory-to-create life.no-memory-to-copy life.no-memory-to-run life.no-memory-to-begin"},
      {"LeaksAt24Bits", "life.leaks", "life.*"}, {"SlowsDown", "life.even-cost"},
      {"AllocatesPerSample", "life.allocations", "life.*"}, {"OtherRefusal", "life.no-memory-to-begin"},
      {"SettingForgetsText", "life.no-memory-to-set"}, {"BundleLeaksClones", "life.no-memory-to-clone"},
      {"BundleRemovesSlowly", "life.even-cost"},
#endif
};

class ValidateTest : public HostTest, public testing::WithParamInterface<ModuleCase> {};

TEST_P(ValidateTest, FindsTheFault) {
  const auto& [module, finds, mayFail] = GetParam();
  const std::string path = module.starts_with('/') ? module : BAD_MODULES "/" + module + ".so";
  // The groups of the checks that are to find the fault: a module costs half a second, not two and a half.
  const std::string only = std::regex_replace(finds, std::regex(R"((\w+)\.\S+)"), " --only '$1.*'");
  const Outcome outcome = RunHost("rhohost validate --json " + path + only);
  const Json report = Json::parse(outcome.output);
  std::string failed;
  for (const Json& check : report["checks"]) {
    const std::string name = check["name"];
    const bool isWanted = finds.find(name) != std::string::npos;
    if (check["verdict"] == "failed" && (isWanted || !std::regex_match(name, std::regex(mayFail)))) {
      failed.append(failed.empty() ? "" : " ").append(name);
    }
  }
  EXPECT_EQ(failed, finds) << outcome.output;
  EXPECT_EQ(outcome.code, finds.empty() ? 0 : 1);
}

INSTANTIATE_TEST_SUITE_P(Modules, ValidateTest, testing::ValuesIn(kModules),
                         [](const auto& tested) { return std::filesystem::path(tested.param.module).stem().string(); });

/// What is left of a hung module: not even the process that it has started itself.
constexpr const char* kWaitForTheDead =
    "; code=$?; timeout 9 sh -c 'while grep -s State:.[^Z] /proc/$(cat grandchild)/status; do sleep .01; done' && "
    "exit $code";

TEST_F(HostTest, EndsAHungModuleWithAllThatItHasStarted) {
  const std::string validate = "rhohost validate " BAD_MODULES "/Hangs.so --only life.thousand-runs --timeout ";
  const Outcome late = Run(validate + "1" + kWaitForTheDead);
  EXPECT_EQ(late.code, 1) << late.errors;
  EXPECT_THAT(
      late.output,
      ContainsRegex("FAILED +life.thousand-runs\n +expected .*\n +actual +it hung in or after CompressFrame for "
                    "more than 1 s"));
  EXPECT_EQ(Run("rm grandchild; " + validate + "99 & until [ -s grandchild ]; do sleep .01; done; kill $!; wait $!" +
                kWaitForTheDead)
                .code,
            128 + 15);
}

TEST_F(HostTest, ReportsValidationInFormsForPrograms) {
  const std::string validate = "rhohost validate ./PrintsOnLoad.so --only load.entry-points --only 'process.p*g' ";
  ASSERT_EQ(Run("cp " BAD_MODULES "/PrintsOnLoad.so .").code, 0);
  const Outcome outcome = RunHost(validate + "--json --junit report.xml --html report.html --skip load.hardened");
  const Json report = Json::parse(outcome.output);
  EXPECT_EQ(report["passed"].dump() + report["failed"].dump() + report["skipped"].dump(), "110");
  EXPECT_EQ(report["checks"][1]["actual"], "Welcome \u00FF\u0001<&]]>\n");
  EXPECT_EQ(RunHost("xmllint --noout report.xml && xmllint --xpath 'concat(/testsuites/@failures, "
                    "//testcase[failure]/@name, //failure/@message)' report.xml")
                .output,
            "1prints-nothingexpected nothing printed by loading, actual Welcome \u00FF?<&]]>\n\n");
  EXPECT_EQ(RunHost("xmllint --html --xpath 'concat(//article/h3, //article//dd[2])' report.html 2>complaints; "
                    "grep 'end tag' complaints")
                .output,
            "process.prints-nothingWelcome \u00FF?<&]]>\n\n");
  for (const auto& [options, says] : std::vector<std::pair<std::string, std::string>>{
           {"--only nothing*", "--only: no check is called \"nothing*\" (--list shows them)"},
           {"--skip '*'", "--skip leaves no check to run"},
           {"--jobs 0", "--jobs: \"0\" is not a number from 1 to 256"},
           {"--junit PrintsOnLoad.so --force",
            "PrintsOnLoad.so: is the module itself: name another file for the report"},
           {"; RHOHOST_SEED=abc rhohost validate PrintsOnLoad.so",
            "RHOHOST_SEED: \"abc\" is not a number from 0 to 18446744073709551615"},
           {"; rhohost validate none.so", "none.so: cannot read the module: No such file or directory"},
       }) {
    const Outcome refused = RunHost(validate + options);
    EXPECT_EQ(refused.code, 2);
    EXPECT_THAT(refused.errors, HasSubstr("rhohost: " + says + '\n'));
  }
  EXPECT_THAT(RunHost(validate + "--junit report.xml").errors, HasSubstr("report.xml: exists already"));
  EXPECT_EQ(RunHost(validate + "--json --html kept.html >/dev/full").code, 1);
  EXPECT_THAT(Read("kept.html"), HasSubstr("prints-nothing"));
}

TEST_F(HostTest, SurvivesAModuleThatTakesItsProcessDown) {
  MakeSound("in.wav", 48000, 2, "sox -b 16");
  Write("out.mkv", "old");
  const std::string before = Listing();
  for (const auto& [module, says] : {std::pair("CrashesOnLoad", "it crashed on loading (SIGABRT)"),
                                     std::pair("ExitsOnLoad", "it ended the process on loading (exit code 0)")}) {
    const Outcome outcome =
        RunHost("rhohost --force --module " BAD_MODULES "/" + std::string(module) + ".so in.wav out.mkv");
    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.errors, std::string("rhohost: cannot use the module: ") + says + '\n');
    EXPECT_EQ(Listing(), before);
  }
}

}  // namespace
