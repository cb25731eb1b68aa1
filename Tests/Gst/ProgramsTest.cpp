/// GStreamer's own programs: pipelines beside rhohost, and which elements there are while modules come, go and crash.

#include "Tests/Support/TemporaryFolder.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <cstdlib>
#include <functional>

namespace {

using testing::EndsWith;
using testing::HasSubstr;

/// GStreamer's programs, with the plug-in, the modules in a folder and a registry that outlives them.
class ProgramTest : public testing::Test {
 protected:
  ProgramTest() {
    // Counts the children that describe modules.
    m_folder.Write("helper", fmt::format("#!/bin/sh\necho >>{}/children\nexec {} \"$@\"\n", m_folder.Path(), HELPER));
    fs::permissions(m_folder / "helper", fs::perms::owner_all);
    fs::create_directory(m_folder / "modules");
  }
  void SetUp() override {
    if (IS_SANITIZED) {
      GTEST_SKIP() << "GStreamer's programs cannot load a plug-in that needs a sanitizer's runtime";
    }
  }

  /// Runs a shell command in the folder; what it prints, and behind it its exit code.
  std::string Run(const std::string& command) const {
    const std::string line = fmt::format(
        "cd {0} && unset GST_PLUGIN_SYSTEM_PATH_1_0 GST_REGISTRY_DISABLE && export GST_REGISTRY_1_0={0}/registry "
        "GST_PLUGIN_PATH_1_0={1} RHO_PLUGIN_PATH={0}/modules RHO_MODULE_HELPER={0}/helper G_DEBUG=fatal-warnings "
        "RHO_LIVE_SECONDS=${{RHO_LIVE_SECONDS:-3}} && "
        "({2}) >printed 2>&1; echo \"exit code $?\" >>printed",
        m_folder.Path(), PLUGIN_FOLDER, command);
    return std::system(line.c_str()) == 0 ? ReadFile(m_folder / "printed") : "no shell";
  }

  /// The names of the elements.
  std::string Elements() const {
    const std::string printed = Run("gst-inspect-1.0 --plugin rho");
    EXPECT_THAT(printed, EndsWith("exit code 0\n"));
    std::string names;
    for (auto at = printed.find("rhoenc-"); at != std::string::npos; at = printed.find("rhoenc-", at + 1)) {
      names += printed.substr(at + 7, printed.find(':', at) - at - 7) + ' ';
    }
    return names;
  }

  std::string Module(const std::string& name) const { return m_folder / ("modules/" + name); }
  void Put(const std::string& module, const std::string& name) const {
    fs::create_directories(fs::path(Module(name)).parent_path());
    fs::copy(module, Module(name), fs::copy_options::overwrite_existing);
  }
  std::size_t Children() const { return ReadFile(m_folder / "children").size(); }

  TemporaryFolder m_folder;
};

TEST_F(ProgramTest, GivesTheSamplesAndPacketsOfRhohost) {
  Put(PCM_MODULE, "PCMPlugin.so");
  for (const auto* const sound :
       {"-b 16 -c 1 -r 8000", "-b 16 -c 2 -r 44100", "-b 24 -c 6 -r 48000", "-b 24 -c 8 -r 96000"}) {
    // The commands of docs/gstreamer.md, word for word.
    EXPECT_EQ(Run(fmt::format(
                  "sox -R -n {} in.wav synth 1.234 pinknoise gain -3 && sed -n '/^```sh$/,/^```$/{{/^```/!p}}' {} "
                  ">commands && sh -e commands >/dev/null && {} -q -f --fps 25 in.wav rho.mkv && for name in "
                  "out rho; do ffprobe -v error -show_entries stream=codec_name,channels,sample_rate:packet="
                  "size,data_hash -show_data_hash md5 $name.mkv >$name.txt && ffmpeg -v error -y -i $name.mkv "
                  "-f s32le $name.raw; done && ffmpeg -v error -y -i in.wav -f s32le in.raw && cmp out.txt "
                  "rho.txt && cmp out.raw in.raw && test $(grep -c size out.txt) = 31",
                  sound, DOCUMENT, RHOHOST)),
              "exit code 0\n")
        << sound;
  }
}

TEST_F(ProgramTest, LiveSourcesLoseNothing) {
  Put(PCM_MODULE, "PCMPlugin.so");
  EXPECT_EQ(Run("gst-launch-1.0 -v audiotestsrc is-live=true num-buffers=$((100 * $RHO_LIVE_SECONDS)) "
                "samplesperbuffer=441 ! audio/x-raw,format=S24LE,rate=44100,channels=2 ! rhoenc-pcmplugin ! "
                "fakesink sync=true silent=false | sed -n 's/.*offset: \\([0-9]*\\), offset_end: \\([0-9]*\\),.*/\\1 "
                "\\2/p' | awk 'NR > 1 && $1 != end { print \"break\" } { end = $2; sum += $2 - $1 } END { print sum / "
                "44100 / ENVIRON[\"RHO_LIVE_SECONDS\"] }'"),
            "1\nexit code 0\n");
}

TEST_F(ProgramTest, ElementsFollowTheModules) {
  const std::string bundle = "Late.bundle/Contents/x86_64-linux/Late.so";
  struct Step {
    const char* what;
    std::function<void()> change;
    const char* elements;
    std::size_t children;  ///< that are started
  };
  for (const Step& step : std::vector<Step>{
           {"no modules", [] {}, "", 0},
           {"broken ones",
            [&] {
              for (const char* const fault : {"CrashesOnLoad", "ExitsOnLoad", "NoObject", "IsPlaceholder"}) {
                Put(fmt::format(BAD_MODULES "/{}.so", fault), fmt::format("{}.so", fault));
              }
              m_folder.Write("modules/Text.so", "not a library");
            },
            "", 5},
           {"a sound one", [&] { Put(PCM_MODULE, "My PCM_1.so"); }, "my-pcm-1 ", 6},
           {"nothing new", [] {}, "my-pcm-1 ", 0},
           {"a mended one", [&] { Put(PCM_MODULE, "CrashesOnLoad.so"); }, "crashesonload my-pcm-1 ", 6},
           {"one that breaks", [&] { Put(BAD_MODULES "/NoEntryPoint.so", "My PCM_1.so"); }, "crashesonload ", 6},
           {"a bundle without its library", [&] { fs::create_directory(Module("Late.bundle")); }, "crashesonload ", 7},
           {"a bundle with it", [&] { Put(PCM_MODULE, bundle); }, "crashesonload late ", 7},
           {"the library is removed from it", [&] { fs::remove(Module(bundle)); }, "crashesonload ", 7},
           {"the helper is missing", [&] { fs::rename(m_folder / "helper", m_folder / "away"); }, "", 0},
           {"the helper is back", [&] { fs::rename(m_folder / "away", m_folder / "helper"); }, "crashesonload ", 7},
           {"none is left", [&] { fs::remove_all(m_folder / "modules"); }, "", 0},
       }) {
    SCOPED_TRACE(step.what);
    const std::size_t before = Children();
    step.change();
    EXPECT_EQ(Elements(), step.elements);
    EXPECT_EQ(Children() - before, step.children);
    EXPECT_THAT(Run("gst-inspect-1.0 --print-blacklist"), HasSubstr("Total count: 0 blacklisted files"));
  }
}

TEST_F(ProgramTest, InspectingUsesTheDescriptionsInTheRegistry) {
  Put(ALL_SETTINGS, "All.so");
  for (int run = 0; run < 2; ++run) {
    const std::string printed = Run("gst-inspect-1.0 rhoenc-all");
    for (const char* const part :
         {"Codec/Encoder/Audio", "Integer. Range: -6 - 6 Default: 0", "[dB]; allowed: -6, 0, 6",
          "careful-slow     - Careful, slow", "all-mode-specified"}) {
      EXPECT_THAT(printed, HasSubstr(part));
    }
    EXPECT_EQ(Children(), 1);
  }
}

}  // namespace
