#include "Tests/Gst/GstTest.h"

#include <fmt/format.h>

#include <cstdint>
#include <cstdlib>
#include <random>

namespace {

std::vector<std::string>& Warnings() {
  static std::vector<std::string> warnings;
  return warnings;
}

void Keep(const char* domain, GLogLevelFlags level, const char* text, void* /*data*/) {
  if ((level & (G_LOG_LEVEL_ERROR | G_LOG_LEVEL_CRITICAL | G_LOG_LEVEL_WARNING)) != 0) {
    Warnings().push_back(fmt::format("{}: {}", domain == nullptr ? "" : domain, text));
  }
}

/// GStreamer with the plug-in, the elements of the tests and no others; modules in a folder.
class GStreamer : public testing::Environment {
 public:
  void SetUp() override {
    for (const std::string module :
         {PCM_MODULE, ALL_SETTINGS, G711, BAD_MODULES "/NoFrame.so", BAD_MODULES "/TimesJump.so"}) {
      const std::string name = fs::path(module).filename();
      fs::copy(module, m_folder / (name.starts_with("lib") ? name.substr(3) : name));
    }
    for (const auto& [name, value] :
         {std::pair("RHO_PLUGIN_PATH", m_folder.Path().c_str()), std::pair("RHO_MODULE_HELPER", HELPER),
          std::pair("GST_REGISTRY_DISABLE", "yes"), std::pair("GST_PLUGIN_SYSTEM_PATH_1_0", ""),
          std::pair("GST_PLUGIN_PATH_1_0", "")}) {
      setenv(name, value, 1);
    }
    gst_init(nullptr, nullptr);
    for (const char* const plugin :
         {PLUGIN, GST_PLUGINS "/libgstcoreelements.so", GST_PLUGINS "/libgstaudiotestsrc.so"}) {
      GError* error = nullptr;
      ASSERT_NE(gst_plugin_load_file(plugin, &error), nullptr) << error->message;
    }
  }

 private:
  TemporaryFolder m_folder;
};

}  // namespace

std::ostream& operator<<(std::ostream& stream, const Pushed& pushed) {
  return stream << fmt::format("{}+{} ns, frames {} to {}, {} bytes", pushed.time, pushed.duration, pushed.offset,
                               pushed.offsetEnd, pushed.bytes.size());
}

Harness::Harness(const std::string& launchLine, const std::string& caps)
    : m_harness(gst_harness_new_parse(launchLine.c_str())) {
  gst_harness_set_src_caps_str(m_harness, caps.c_str());
}

void Harness::SetCaps(const std::string& text) {
  GstCaps* const caps = gst_caps_from_string(text.c_str());
  Send(gst_event_new_caps(caps));
  gst_caps_unref(caps);
}

GstFlowReturn Harness::Push(const std::string& bytes, GstClockTime time, GstBufferFlags flags) {
  GstBuffer* const buffer = gst_buffer_new_memdup(bytes.data(), bytes.size());
  GST_BUFFER_PTS(buffer) = time;
  GST_BUFFER_FLAG_SET(buffer, flags);
  return gst_harness_push(m_harness, buffer);
}

std::vector<Pushed> Harness::Take() {
  std::vector<Pushed> taken;
  while (GstBuffer* const buffer = gst_harness_try_pull(m_harness)) {
    std::string bytes(gst_buffer_get_size(buffer), '\0');
    gst_buffer_extract(buffer, 0, bytes.data(), bytes.size());
    taken.push_back({GST_BUFFER_PTS(buffer), GST_BUFFER_DURATION(buffer), GST_BUFFER_OFFSET(buffer),
                     GST_BUFFER_OFFSET_END(buffer), bytes});
    gst_buffer_unref(buffer);
  }
  return taken;
}

std::string Harness::OutputCaps() const {
  GstCaps* const caps = gst_pad_get_current_caps(m_harness->sinkpad);
  char* const text = gst_caps_to_string(caps);
  std::string copy = text;
  g_free(text);
  gst_caps_unref(caps);
  return copy;
}

GstTest::GstTest() { g_log_set_default_handler(Keep, nullptr); }
GstTest::~GstTest() { EXPECT_THAT(TakeWarnings(), testing::IsEmpty()); }

std::vector<std::string> GstTest::TakeWarnings() { return std::exchange(Warnings(), {}); }

std::string Caps(const std::string& format, int rate, int channels, const std::string& mask) {
  return fmt::format("audio/x-raw, format=(string){}, layout=(string)interleaved, rate=(int){}, channels=(int){}{}",
                     format, rate, channels, mask.empty() ? "" : ", channel-mask=(bitmask)" + mask);
}

std::string Noise(std::size_t size) {
  std::minstd_rand random(7);
  std::string noise(size, '\0');
  for (char& byte : noise) {
    byte = static_cast<char>(random() >> 8 & 0xFF);
  }
  return noise;
}

int main(int argc, char** argv) {
  testing::InitGoogleMock(&argc, argv);
  testing::AddGlobalTestEnvironment(new GStreamer);
  return RUN_ALL_TESTS();
}
