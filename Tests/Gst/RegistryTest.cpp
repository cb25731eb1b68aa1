/// Which elements there are, as GStreamer's registry keeps it while modules come, go, change and crash.

#include "Tests/Gst/GstTest.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <functional>

namespace {

using testing::HasSubstr;

class RegistryTest : public GstTest {
 protected:
  RegistryTest() {
    fs::create_directory(m_folder / "modules");
    // Counts the children that are started.
    m_folder.Write("helper", fmt::format("#!/bin/sh\necho >>{}/children\nexec {} \"$@\"\n", m_folder.Path(), HELPER));
    fs::permissions(m_folder / "helper", fs::perms::owner_all);
  }

  /// What gst-inspect-1.0 prints in a process of its own, with a registry that outlives it.
  std::string Inspect(const std::string& arguments) const {
    const std::string line = fmt::format(
        "cd {0} && unset GST_REGISTRY_DISABLE && GST_REGISTRY_1_0={0}/registry "
        "GST_PLUGIN_PATH_1_0={1} RHO_PLUGIN_PATH={0}/modules RHO_MODULE_HELPER={0}/helper "
        "G_DEBUG=fatal-warnings gst-inspect-1.0 {2} >printed 2>&1",
        m_folder.Path(), PLUGIN_FOLDER, arguments);
    return std::system(line.c_str()) == 0 ? ReadFile(m_folder / "printed") : "gst-inspect-1.0 failed";
  }

  /// The names of the elements.
  std::string Elements() const {
    const std::string printed = Inspect("--plugin rho");
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

TEST_F(RegistryTest, ElementsFollowTheModules) {
  if (IS_SANITIZED) {
    GTEST_SKIP() << "GStreamer's programs cannot load a plug-in that needs a sanitizer's runtime";
  }
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
    EXPECT_THAT(Inspect("--print-blacklist"), HasSubstr("Total count: 0 blacklisted files"));
  }
}

TEST_F(RegistryTest, InspectingUsesTheDescriptionsInTheRegistry) {
  if (IS_SANITIZED) {
    GTEST_SKIP() << "GStreamer's programs cannot load a plug-in that needs a sanitizer's runtime";
  }
  Put(ALL_SETTINGS, "All.so");
  for (int run = 0; run < 2; ++run) {
    const std::string printed = Inspect("rhoenc-all");
    for (const char* const part :
         {"Codec/Encoder/Audio", "Integer. Range: -6 - 6 Default: 0", "[dB]; allowed: -6, 0, 6",
          "careful-slow     - Careful, slow", "all-mode-specified"}) {
      EXPECT_THAT(printed, HasSubstr(part));
    }
    EXPECT_EQ(Children(), 1);
  }
}

}  // namespace
