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
           {"Asleep=x", "Asleep: not active"},
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

TEST_F(SettingsTest, FilesAllValuesAndGetsThemBack) {
  EXPECT_EQ(SavePreset("first", "--set Scale=-0").code, 0);
  EXPECT_EQ(Described("--preset first").at("All/Scale")["text"], "-0");
  EXPECT_EQ(SavePreset("changed",
                       "--set SampleRate=96000 --set Mode=Fast --set Note= --set Level=-6 --set Key=0a "
                       "--set All/Inner/Note=$(printf 'Caf\\351') --set Scale=inf")
                .code,
            2)
      << "\"Note\" could be either of two";
  EXPECT_EQ(SavePreset("changed",
                       "--set SampleRate=96000 --set Mode=Fast --set Level=-6 --set Key=0a "
                       "--set All/Inner/Note=$(printf 'Caf\\351') --set Scale=inf")
                .code,
            0);
  for (const char* const preset : {"first", "changed"}) {
    EXPECT_EQ(SavePreset("again", std::string("--preset ") + preset).code, 0);
    EXPECT_EQ(Read("again"), Read(preset));
  }
  EXPECT_EQ(json::parse(Read("changed"))["settings"]["All/Inner/Note"], json({{"hex", "436166e9"}}));
  EXPECT_EQ(Described("--preset changed --set Level=6").at("All/Level")["value"], 6) << "the command line counts more";

  const auto before = Listing();
  const json good = json::parse(Read("first"));
  for (const auto& [pointer, value, says] : std::vector<std::tuple<const char*, json, const char*>>{
           {"/settings/All~1Level", 5, "\"All/Level\": Level: allowed are -6, 0 and 6, not 5"},
           {"/settings/All~1Level", "0", "\"All/Level\""},
           {"/settings/All~1Level", nullptr, "not null"},
           {"/settings/All~1Switch", "true", "\"All/Switch\""},
           {"/settings/All~1Gains", {1, 2}, "\"All/Gains\""},
           {"/settings/All~1Gains", {1, 2, "3"}, "\"All/Gains\""},
           {"/settings/All~1Log", {{"hex", "0"}}, "\"All/Log\""},
           {"/settings/Nothing", 1, "\"Nothing\": the compressor has no such setting"},
           {"/settings", {{"DataRate", 176400}, {"SampleRate", 8000}}, "\"DataRate\": Data Rate: allowed are 32000"},
           {"/settings", 1, "not a preset"},
           {"/codec", "LPCM", "another compressor"},
       }) {
    json bad = good;
    bad[json::json_pointer(pointer)] = value;
    Write("bad", bad.dump());
    const Outcome outcome = SavePreset("first", "--preset bad");
    EXPECT_NE(outcome.code, 0) << bad;
    EXPECT_THAT(outcome.errors, testing::AllOf(HasSubstr("bad: "), HasSubstr(says)));
  }
  for (const std::string& value : {std::string(200000, '[') + std::string(200000, ']'), std::string("1e999")}) {
    Write("bad", R"({"settings": {"SampleRate": )" + value + "}}");
    EXPECT_THAT(SavePreset("first", "--preset bad").errors, HasSubstr("bad: not a preset: "));
  }
  Run("rm bad");
  EXPECT_EQ(RunHost("rhohost --save-preset first --module " ALL_SETTINGS).code, 1)
      << "it exists, and there is no --force";
  EXPECT_EQ(RunHost("rhohost --save-preset none/x --module " ALL_SETTINGS).code, 1);
  EXPECT_EQ(Listing(), before) << "written whole or not at all";
}

TEST_F(SettingsTest, DecideTheFormatOfTheOutput) {
  MakeSound("in.wav", 48000, 2, "sox -b 16");
  EXPECT_EQ(RunHost("rhohost --set SampleRate=96000 --set SampleSize=24 --save-preset preset").code, 0);
  EXPECT_EQ(
      RunHost("rhohost --preset preset --rate 88200 --save-preset used --set Channels=Stereo in.wav out.mkv").code, 0);
  EXPECT_EQ(RunHost("rhohost info --preset preset --set SampleRate=48000").code, 0)
      << "the preset's data rate gives way too";
  EXPECT_THAT(RunHost("rhohost info --set SampleRate=96000 --set DataRate=176400").errors,
              HasSubstr("Data Rate: allowed are 384000, not 176400"));
  ExpectJudgesAgree("out.mkv", {.rate = 88200, .channels = 2, .bits = 24}, 36770);
  EXPECT_EQ(json::parse(Read("used"))["settings"]["SampleRate"], 88200);
}

}  // namespace
