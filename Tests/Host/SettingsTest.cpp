/// What rhohost does with settings, on a module that has every kind of them: it shows them, changes them, files them.

#include "Tests/Host/HostTest.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

namespace {

using nlohmann::json;
using testing::HasSubstr;

class SettingsTest : public HostTest {
 protected:
  Outcome Info(const std::string& options) const {
    return RunHost("rhohost info --module " ALL_SETTINGS " " + options);
  }

  std::map<std::string, json> Described(const std::string& options = "") const {
    const Outcome outcome = Info("--json " + options);
    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    std::map<std::string, json> settings;
    const json description = json::parse(outcome.output);
    for (const json& setting : description["settings"]) {
      EXPECT_TRUE(settings.emplace(setting["name"], setting).second) << "a name that two settings have";
    }
    return settings;
  }

  Outcome SavePreset(const std::string& file, const std::string& options = "") const {
    return RunHost("rhohost --force --module " ALL_SETTINGS " --save-preset " + file + ' ' + options);
  }
};

TEST_F(SettingsTest, ShowsEverySettingInEightyColumns) {
  const auto settings = Described();
  const json& level = settings.at("All/Level");
  EXPECT_EQ(level["allowableValues"], json({-6, 0, 6}));
  EXPECT_TRUE(level["kind"] == "int" && level["value"] == 0 && level["units"] == "dB" && level["depth"] == 1);
  EXPECT_TRUE(level["minimum"] == -6 && level["maximum"] == 6 && level["constrained"] == true);
  const json& note = settings.at("All/Inner/Note");
  EXPECT_TRUE(note["optional"] == true && note["value"].is_null() && note["text"] == "Caf\xC3\xA9 \"=/");
  EXPECT_EQ(settings.at("All/Inner/#5")["presetLabel"], "Note") << "a name that is taken gives way to the place";
  EXPECT_EQ(settings.at("All/Asleep")["active"], false);
  EXPECT_EQ(settings.at("All/Gains")["valueLabels"], json({"left", "right", ""}));
  std::set<json> kinds;
  std::transform(settings.begin(), settings.end(), std::inserter(kinds, kinds.end()),
                 [](const auto& setting) { return setting.second["type"]; });
  EXPECT_EQ(kinds.size(), 12) << "this is to be every kind";

  std::istringstream text(Info("").output);
  std::string all;
  for (std::string line; std::getline(text, line); all += line + '\n') {
    EXPECT_LE(line.size(), 81) << line;  // one column may have two bytes
  }
  for (const auto& [name, setting] : settings) {
    EXPECT_THAT(all, HasSubstr(" " + name + "\n"));
    EXPECT_THAT(all, HasSubstr(setting["units"].get<std::string>()));
  }
}

TEST_F(SettingsTest, CompletionsOfferWhatIsAllowed) {
  std::string expected;
  const json description = json::parse(Info("--json").output);
  for (const json& setting : description["settings"]) {
    const std::string name = setting["name"];
    expected += name + "=\n";
    for (const json& value : setting.value("allowableValues", json::array())) {
      expected += name + "=" + (value.is_string() ? value.get<std::string>() : value.dump()) + "\n";
    }
  }
  EXPECT_EQ(Run("sh " SETTINGS_SCRIPT " --module " ALL_SETTINGS).output, expected);
}

TEST_F(SettingsTest, TakesEveryValueAsItShowsIt) {
  for (const auto& [name, setting] : Described()) {
    if (setting["kind"] == "group" || setting["active"] == false) {
      continue;
    }
    std::string assignment = name;
    assignment.append("=").append(setting["text"].get<std::string>());
    const auto after = Described("--set '" + assignment + "'").at(name);
    EXPECT_EQ(after["text"], setting["text"]) << name;
    EXPECT_EQ(after["specified"] == true, setting["specified"] == true || setting["optional"] == true) << name;
  }
  const auto changed = Described(
      "--set Switch=7 --set Offset=10 --set Rate=25 --set Scale=-1e300 --set 'Mode=CAREFUL, slow' --set Log= "
      "--set Delay=-32768:59:59:65535 --set Gains=7,8,4294967295 --set Key= --set Start=0:00:00:00 "
      "--set 'All/Inner/#1=1-2/3' --set All/Inner/Note=x --set All/Inner/Note= --set Channels=7.1 --set SampleSize=24");
  std::string texts;
  for (const char* const name : {"All/Switch", "All/Offset", "All/Rate", "All/Scale", "All/Mode", "All/Log",
                                 "All/Delay", "All/Gains", "All/Key", "All/Inner/Start", "All/Inner/#1", "DataRate"}) {
    texts += changed.at(name)["text"].get<std::string>() + '|';
  }
  EXPECT_EQ(texts, "7|10|25|-1e+300|Careful, slow||-32768:59:59:65535|7,8,4294967295||0:00:00:00|1-2/3|1058400|");
  EXPECT_EQ(changed.at("All/Inner/Note")["specified"], false);
}

TEST_F(SettingsTest, RefusesWhatASettingDoesNotTakeAndSaysWhatItDoes) {
  for (const auto& [assignment, says] : std::vector<std::pair<std::string, const char*>>{
           {"Switch=yes", "Switch: allowed are true and false, not yes"},
           {"Level=5", "Level: allowed are -6, 0 and 6, not 5"},
           {"Level=6x", "not 6x"},
           {"Offset=11", "Offset: allowed are -10 to 10, not 11"},
           {"Rate=29.9", "not 29.9"},
           {"Mode=Car", "not Car"},
           {"Log=" + std::string(256, 'x'), "at most 255"},
           {"Delay=1:02:03", "hh:mm:ss:mmm"},
           {"Delay=1:256:0:0", "hh:mm:ss:mmm"},
           {"Gains=1,2", "lists of 3 whole numbers"},
           {"Gains=1,2,4294967296", "lists of 3"},
           {"Key=abc", "hexadecimal"},
           {"All/Inner/#1=1/2-3", "IN-OUT/SCALE"},
           {"Asleep=x", "Asleep: the setting is not active"},
           {"All=x", "no values"},
           {"Nothing=1", "All/Inner/Note"},
           {"Note=1", "no setting \"Note\""},
           {"SampleRate", "NAME=VALUE"},
           {"SampleRate=192000", "Sample Rate: allowed are 8000, "},
           {"DataRate=1", "Data Rate: allowed are 176400, not 1"},
       }) {
    ExpectRefused({"rhohost info --module " ALL_SETTINGS " --set '" + assignment + "'", 2, {says}});
  }
}

TEST_F(SettingsTest, FilesChosenValuesAndGetsThemBack) {
  EXPECT_EQ(SavePreset("note", "--set Note=").code, 2) << "\"Note\" could be either of two";
  EXPECT_EQ(SavePreset("changed",
                       "--set SampleRate=96000 --set Mode=Fast --set Level=-6 --set Key=0a --set Gains=7,8,9 "
                       "--set Switch=7 --set Scale=inf --set All/Inner/Note=$(printf 'Caf\\351') --fps 30000/1001")
                .code,
            0);
  const json changed = json::parse(Read("changed"));
  EXPECT_EQ(changed["settings"], json({{"SampleRate", 96000},
                                       {"All/Switch", 7},
                                       {"All/Level", -6},
                                       {"All/Scale", "inf"},
                                       {"All/Mode", "Fast"},
                                       {"All/Gains", {7, 8, 9}},
                                       {"All/Key", "0a"},
                                       {"All/Inner/Note", {{"hex", "436166e9"}}}}))
      << "what was chosen, not the data rate that follows";
  EXPECT_EQ(changed["framesPerSecond"], 30000.0 / 1001);
  EXPECT_EQ(SavePreset("again", "--preset changed").code, 0);
  EXPECT_EQ(Read("again"), Read("changed"));
  const auto described = Described("--preset changed --set Level=6 --set Scale=-0");
  EXPECT_EQ(described.at("All/Level")["value"], 6) << "the command line counts more";
  EXPECT_EQ(described.at("All/Scale")["text"], "-0");
  EXPECT_EQ(described.at("All/Gains")["text"], "7,8,9");

  // A preset of all values, as earlier versions have saved it, edited by hand.
  json all = {{"manufacturer", "TEST"}, {"codec", "0x414C4C01"}, {"settings", json::object()}};
  for (const auto& [name, setting] : Described("--set SampleSize=24")) {
    if (setting["kind"] != "group") {
      all["settings"][name] = setting["value"];
    }
  }
  all["settings"]["SampleRate"] = 48000;
  Write("all", all.dump());
  EXPECT_EQ(Described("--preset all").at("DataRate")["value"], 288000) << "it follows, whatever the preset says";
  EXPECT_EQ(SavePreset("full", "--preset all").code, 0);
  json again = json::parse(Read("full"));
  again["settings"]["DataRate"] = all["settings"]["DataRate"];
  EXPECT_EQ(again, all);

  const auto before = Listing();
  for (const auto& [pointer, value, says] : std::vector<std::tuple<const char*, json, const char*>>{
           {"/settings/All~1Level", 5, "\"All/Level\": Level: allowed are -6, 0 and 6, not 5"},
           {"/settings/All~1Level", "0", "\"All/Level\""},
           {"/settings/All~1Level", nullptr, "not null"},
           {"/settings/All~1Level", 4294967296, "not 4294967296"},
           {"/settings/All~1Switch", "true", "\"All/Switch\""},
           {"/settings/All~1Gains", {1, 2}, "\"All/Gains\""},
           {"/settings/All~1Gains", {1, 2, "3"}, "\"All/Gains\""},
           {"/settings/All~1Scale", "0.5", "\"All/Scale\""},
           {"/settings/All~1Log", {{"hex", "0"}}, "\"All/Log\""},
           {"/settings/Nothing", 1, "\"Nothing\": the compressor has no such setting"},
           {"/settings", 1, "not a preset"},
           {"/framesPerSecond", 0, "\"framesPerSecond\": allowed are numbers from 1, not 0"},
           {"/codec", "LPCM", "another compressor"},
       }) {
    json bad = all;
    bad[json::json_pointer(pointer)] = value;
    Write("bad", bad.dump());
    const Outcome outcome = SavePreset("changed", "--preset bad");
    EXPECT_NE(outcome.code, 0) << bad;
    EXPECT_THAT(outcome.errors, testing::AllOf(HasSubstr("bad: "), HasSubstr(says)));
  }
  Run("rm bad");
  for (const auto& [options, code] : {std::pair("changed --set Level=6", 1), std::pair("none/x --set Level=6", 1),
                                      std::pair("new", 2), std::pair("new --set DataRate=176400", 2)}) {
    EXPECT_EQ(RunHost(std::string("rhohost --module " ALL_SETTINGS " --save-preset ") + options).code, code)
        << "it exists and there is no --force; there is no folder; nothing is chosen";
  }
  EXPECT_EQ(Listing(), before) << "written whole or not at all";
}

TEST_F(SettingsTest, RefusesPresetsWithoutBounds) {
  constexpr long kMostKiB = 1024L * (IS_SANITIZED ? 512 : 64);
  std::string keys;
  for (int key = 0; key < 60000; ++key) {
    keys.append(R"("key)").append(std::to_string(key)).append("\":1,");
  }
  const std::string start = R"({"manufacturer":"ZAV ","codec":"LPCM","settings":{)";
  for (const auto& [text, says] : std::vector<std::pair<std::string, const char*>>{
           {start + keys + "}}", "larger than 64 KiB"},
           {start + keys.substr(0, keys.find("\"key4800\"")) + "\"x\":1}}", "no such setting"},
           {start + '"' + std::string(60000, 'x') + "\":1}}", "no such setting"},
           {start + "\"SampleRate\":\"" + std::string(60000, 'x') + "\"}}", "Sample Rate: allowed are 8000"},
           {std::string(30000, '[') + std::string(30000, ']'), "nested too deeply"},
           {R"({"settings": 1e999})", "not a preset: "},
           {"\xFF\xFE{}", "not a preset: "},
           {start + R"("SampleSize":16,"SampleSize":24}})", "\"SampleSize\" occurs twice"},
           {start + R"("Channels":"Stereo\u0000 "}})", "contains a zero character"},
           {start + std::string("}}\0{", 4), "contains a zero byte"},
       }) {
    Write("preset", text);
    const Outcome outcome = RunHost("rhohost info --preset preset");
    EXPECT_THAT(outcome.errors,
                testing::AllOf(HasSubstr("preset: "), HasSubstr(says), testing::SizeIs(testing::Le(600))));
    EXPECT_LT(outcome.peakKiB, kMostKiB) << says;
  }
  for (const auto& [make, says] : {std::pair("truncate -s 1000M preset", "larger than 64 KiB"),
                                   std::pair("mkdir preset", "neither a regular file"),
                                   std::pair("ln -s /dev/zero preset", "neither a regular file")}) {
    ASSERT_EQ(Run(std::string("rm -r preset; ") + make).code, 0);
    const Outcome outcome = RunHost("rhohost info --preset preset");
    EXPECT_THAT(outcome.errors, HasSubstr(says));
    EXPECT_LT(outcome.peakKiB, kMostKiB) << make;
  }
}

TEST_F(SettingsTest, DecideTheFormatOfTheOutput) {
  MakeSound("in.wav", 48000, 2, "sox -b 16");
  MakeSound("in51.wav", 48000, 6, "sox -b 16");
  EXPECT_EQ(RunHost("rhohost --set SampleRate=96000 --set SampleSize=24 --fps 25 --save-preset preset").code, 0);
  EXPECT_EQ(
      RunHost("rhohost --preset preset --rate 88200 --save-preset used --set Channels=Stereo in.wav out.mkv").code, 0);
  EXPECT_EQ(RunHost("rhohost info --preset preset --set SampleRate=48000").code, 0)
      << "the preset's data rate gives way too";
  EXPECT_THAT(RunHost("rhohost info --set SampleRate=96000 --set DataRate=176400").errors,
              HasSubstr("Data Rate: allowed are 384000, not 176400"));
  ExpectJudgesAgree("out.mkv", {.rate = 88200, .channels = 2, .bits = 24, .framesPerSecond = 25}, 36770);
  const json used = json::parse(Read("used"));
  EXPECT_EQ(used["settings"], json({{"SampleRate", 88200}, {"SampleSize", 24}, {"Channels", "Stereo"}}));
  EXPECT_EQ(used["framesPerSecond"], 25);

  EXPECT_EQ(RunHost("rhohost --bits 24 --save-preset b24 in.wav b24.mkv").code, 0);
  EXPECT_EQ(json::parse(Read("b24"))["settings"], json({{"SampleSize", 24}})) << "not what the input decides";
  EXPECT_EQ(RunHost("rhohost --preset b24 --fps 50 in51.wav b51.mkv").code, 0);
  ExpectJudgesAgree("b51.mkv", {.rate = 48000, .channels = 6, .bits = 24, .framesPerSecond = 50}, kFrames);
  const Outcome nothing = RunHost("rhohost --save-preset none in.wav none.mkv");
  EXPECT_EQ(nothing.code, 2);
  EXPECT_THAT(nothing.errors, HasSubstr("--save-preset: nothing to save"));
}

}  // namespace
