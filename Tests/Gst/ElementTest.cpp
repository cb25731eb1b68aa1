/// Elements in a harness: samples in, buffers out, as GStreamer counts them.

#include "Tests/Support/TemporaryFolder.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gst/check/gstharness.h>
#include <gst/gst.h>

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

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
    g_log_set_default_handler(Keep, nullptr);
    for (const char* const plugin : {PLUGIN, GST_PLUGINS "/libgstcoreelements.so"}) {
      GError* error = nullptr;
      ASSERT_NE(gst_plugin_load_file(plugin, &error), nullptr) << error->message;
    }
  }

 private:
  TemporaryFolder m_folder;
};

const testing::Environment* const g_gstreamer = testing::AddGlobalTestEnvironment(new GStreamer);

/// A buffer that an element has pushed.
struct Pushed {
  GstClockTime time = 0;
  GstClockTime duration = 0;
  std::uint64_t offset = 0;
  std::uint64_t offsetEnd = 0;
  std::string bytes;

  bool operator==(const Pushed&) const = default;
};
std::ostream& operator<<(std::ostream& stream, const Pushed& pushed) {
  return stream << fmt::format("{}+{} ns, frames {} to {}, {} bytes", pushed.time, pushed.duration, pushed.offset,
                               pushed.offsetEnd, pushed.bytes.size());
}

/// An element between a source and a sink of the test.
class Harness {
 public:
  Harness(const std::string& launchLine, const std::string& caps)
      : m_harness(gst_harness_new_parse(launchLine.c_str())) {
    gst_harness_set_src_caps_str(m_harness, caps.c_str());
  }
  Harness(const Harness&) = delete;
  Harness& operator=(const Harness&) = delete;
  ~Harness() { gst_harness_teardown(m_harness); }

  GstHarness* Get() const { return m_harness; }
  void Send(GstEvent* event) { gst_harness_push_event(m_harness, event); }
  void SetCaps(const std::string& text) {
    GstCaps* const caps = gst_caps_from_string(text.c_str());
    Send(gst_event_new_caps(caps));
    gst_caps_unref(caps);
  }
  GstFlowReturn Push(const std::string& bytes, GstClockTime time, GstBufferFlags flags = GstBufferFlags{}) {
    GstBuffer* const buffer = gst_buffer_new_memdup(bytes.data(), bytes.size());
    GST_BUFFER_PTS(buffer) = time;
    GST_BUFFER_FLAG_SET(buffer, flags);
    return gst_harness_push(m_harness, buffer);
  }

  /// The buffers that have come out since the last call.
  std::vector<Pushed> Take() {
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

  std::string OutputCaps() const {
    GstCaps* const caps = gst_pad_get_current_caps(m_harness->sinkpad);
    char* const text = gst_caps_to_string(caps);
    std::string copy = text;
    g_free(text);
    gst_caps_unref(caps);
    return copy;
  }

 private:
  GstHarness* m_harness;
};

/// Elements, which may not leave warnings.
class ElementTest : public testing::Test {
 public:
  ~ElementTest() override { EXPECT_THAT(TakeWarnings(), IsEmpty()); }

 protected:
  /// The warnings of GLib and GStreamer since the last call.
  static std::vector<std::string> TakeWarnings() { return std::exchange(Warnings(), {}); }
};

/// "audio/x-raw" caps.
std::string Caps(const std::string& format, int rate, int channels, const std::string& mask = "") {
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

GstClockTime TimeOf(std::uint64_t frames, int rate) {
  return gst_util_uint64_scale(frames, GST_SECOND, static_cast<std::uint64_t>(rate));
}

/// `bytes` in packets of `packet` sample frames, the first of them beginning at the frame `begin` of the stream.
std::vector<Pushed> Cut(const std::string& bytes, std::size_t frameBytes, std::size_t packet, int rate,
                        std::uint64_t begin = 0) {
  std::vector<Pushed> packets;
  for (std::size_t frame = 0; frame < bytes.size() / frameBytes; frame += packet) {
    const std::string part = bytes.substr(frame * frameBytes, packet * frameBytes);
    const std::size_t end = frame + part.size() / frameBytes;
    const GstClockTime time = TimeOf(begin, rate) + TimeOf(frame, rate);
    packets.push_back({time, TimeOf(begin, rate) + TimeOf(end, rate) - time, begin + frame, begin + end, part});
  }
  return packets;
}

TEST_F(ElementTest, EachPacketIsOneBufferWithItsTime) {
  std::minstd_rand random(1);
  for (const auto& [channels, mask] :
       {std::pair(1, ""), std::pair(2, "0x0000000000000003"), std::pair(6, "0x000000000000003f"),
        std::pair(6, "0x0000000000000c0f"), std::pair(7, "0x0000000000000d0f"), std::pair(8, "0x0000000000000c3f")}) {
    for (const auto& [format, size, rate, frameRate, packet] :
         {std::tuple("S16LE", 2, 44100, "30/1", 1470U), std::tuple("S24LE", 3, 96000, "25/1", 3840U),
          std::tuple("S24LE", 3, 11025, "30000/1001", 368U), std::tuple("S16LE", 2, 8000, "1/1", 8000U)}) {
      const std::string caps = Caps(format, rate, channels, mask);
      SCOPED_TRACE(caps);
      Harness harness(fmt::format("rhoenc-pcmplugin frame-rate={}", frameRate), caps);
      const auto frameBytes = static_cast<std::size_t>(size) * static_cast<std::size_t>(channels);
      const std::string samples = Noise(20011 * frameBytes);
      for (std::size_t frame = 0; frame < 20011;) {
        const std::size_t frames = 1 + random() % 3000;
        EXPECT_EQ(harness.Push(samples.substr(frame * frameBytes, frames * frameBytes), TimeOf(frame, rate)),
                  GST_FLOW_OK);
        frame += frames;
      }
      harness.Send(gst_event_new_eos());
      EXPECT_EQ(harness.Take(), Cut(samples, frameBytes, packet, rate));
      EXPECT_EQ(harness.OutputCaps(), caps);
      EXPECT_EQ(gst_harness_query_latency(harness.Get()),
                gst_util_uint64_scale_ceil(packet, GST_SECOND, static_cast<guint64>(rate)));
    }
  }
}

/// What happens between two stretches of 1,000 sample frames, of which the first begins at 0.
struct Break {
  const char* what;
  std::uint64_t secondBegin;  ///< in sample frames
  GstBufferFlags flags;
  std::function<void(Harness&)> happens;
  std::size_t keptOfFirst;  ///< sample frames of the first stretch that come out
  bool isBreak;             ///< whether the second one begins a packet
  bool isTimed = true;      ///< whether the second one's buffer has a time
};

TEST_F(ElementTest, PacketsEndAtBreaks) {
  constexpr int kRate = 8000;
  const auto nothing = [](Harness&) {};
  const auto segment = [](Harness& harness) {
    GstSegment whole;
    gst_segment_init(&whole, GST_FORMAT_TIME);
    harness.Send(gst_event_new_segment(&whole));
  };
  const auto flush = [segment](Harness& harness) {
    harness.Send(gst_event_new_flush_start());
    harness.Send(gst_event_new_flush_stop(TRUE));
    segment(harness);
  };
  const auto caps = [](int rate) { return [rate](Harness& harness) { harness.SetCaps(Caps("S16LE", rate, 2)); }; };
  for (const Break& tried : std::vector<Break>{
           {"nothing", 1000, {}, nothing, 1000, false},
           {"less jitter than the tolerance", 1007, {}, nothing, 1000, false},
           {"no time", 1000, {}, nothing, 1000, false, false},
           {"another segment, no time", 0, {}, segment, 1000, true, false},
           {"a gap", 1400, {}, nothing, 1000, true},
           {"an event for a gap",
            1000,
            {},
            [](Harness& h) { h.Send(gst_event_new_gap(TimeOf(1000, kRate), 0)); },
            1000,
            true},
           {"time goes back", 333, {}, nothing, 1000, true},
           {"a discontinuity", 1000, GST_BUFFER_FLAG_DISCONT, nothing, 1000, true},
           {"a flush", 40000, GST_BUFFER_FLAG_DISCONT, flush, 960, true},
           {"another segment", 0, {}, segment, 1000, true},
           {"the same caps", 1000, {}, caps(kRate), 1000, false},
           {"other caps and back", 1000, {}, [&](Harness& h) { caps(11025)(h), caps(kRate)(h); }, 1000, false},
       }) {
    SCOPED_TRACE(tried.what);
    Harness harness("rhoenc-pcmplugin frame-rate=25", Caps("S16LE", kRate, 2));
    const std::string samples = Noise(std::size_t{1000} * 4);
    EXPECT_EQ(harness.Push(samples, 0), GST_FLOW_OK);
    tried.happens(harness);
    EXPECT_EQ(
        harness.Push(samples, tried.isTimed ? TimeOf(tried.secondBegin, kRate) : GST_CLOCK_TIME_NONE, tried.flags),
        GST_FLOW_OK);
    harness.Send(gst_event_new_eos());
    std::vector<Pushed> expected = Cut(samples.substr(0, tried.keptOfFirst * 4), 4, 320, kRate);
    if (tried.isBreak) {
      const std::vector<Pushed> second = Cut(samples, 4, 320, kRate, tried.secondBegin);
      expected.insert(expected.end(), second.begin(), second.end());
    } else {
      expected = Cut(samples + samples, 4, 320, kRate);
    }
    std::vector<Pushed> pushed = harness.Take();
    ASSERT_EQ(pushed.size(), expected.size());
    for (std::size_t index = 0; tried.secondBegin == 1007 && index < pushed.size(); ++index) {
      // The times follow upstream's from the second stretch on.
      EXPECT_EQ(pushed[index].bytes, expected[index].bytes);
      EXPECT_EQ(pushed[index].time, expected[index].time + (index > 3 ? TimeOf(7, kRate) : 0));
      pushed[index] = expected[index];
    }
    EXPECT_EQ(pushed, expected);
  }
}

TEST_F(ElementTest, FormatsChangeInMidStream) {
  Harness harness("rhoenc-pcmplugin frame-rate=25", Caps("S16LE", 8000, 2));
  const std::string samples = Noise(6000);
  harness.Push(samples, 0);
  harness.SetCaps(Caps("S24LE", 16000, 1));
  harness.Push(samples, TimeOf(1500, 8000));
  harness.Send(gst_event_new_eos());
  std::vector<Pushed> expected = Cut(samples, 4, 320, 8000);
  const std::vector<Pushed> second = Cut(samples, 3, 640, 16000, 3000);
  expected.insert(expected.end(), second.begin(), second.end());
  EXPECT_EQ(harness.Take(), expected);
  EXPECT_EQ(harness.OutputCaps(), Caps("S24LE", 16000, 1));
}

TEST_F(ElementTest, OtherPacketsHaveCapsOfTheirOwn) {
  Harness harness("rhoenc-g711 frame-rate=25 companding-law=mu-law", Caps("S16LE", 8000, 1));
  harness.Push(Noise(2000), 0);
  harness.Push(Noise(2000), TimeOf(1400, 8000));
  harness.Send(gst_event_new_eos());
  std::vector<std::uint64_t> offsets;
  for (const Pushed& pushed : harness.Take()) {
    EXPECT_EQ(pushed.bytes.size(), pushed.offsetEnd - pushed.offset);
    offsets.push_back(pushed.offset);
  }
  EXPECT_THAT(offsets, ElementsAre(0, 320, 640, 960, 1400, 1720, 2040, 2360));
  EXPECT_THAT(harness.OutputCaps(), HasSubstr("audio/x-rho, manufacturer=(string)"));
}

std::string ValueOf(GstElement* element, const char* property) {
  GValue value{};
  g_object_get_property(G_OBJECT(element), property, &value);
  char* const text = gst_value_serialize(&value);
  std::string copy = text == nullptr ? "NULL" : text;
  g_free(text);
  g_value_unset(&value);
  return copy;
}

TEST_F(ElementTest, SettingsAreProperties) {
  GstElement* const element = gst_element_factory_make("rhoenc-allsettings", nullptr);
  ASSERT_NE(element, nullptr);
  for (const auto& [property, first, set, held, warning] :
       std::vector<std::tuple<const char*, const char*, const char*, const char*, const char*>>{
           {"sample-rate", "44100", "48000", "48000", ""},
           {"sample-rate", "48000", "12000", "48000", "allowed are 8000, "},
           {"data-rate", "192000", "1", "192000", ""},
           {"channels", "stereo", "5.1", "5.1", ""},
           {"all-switch", "true", "false", "false", ""},
           {"all-level", "0", "6", "6", ""},
           {"all-level", "6", "5", "6", "allowed are -6, 0 and 6, not 5"},
           {"all-level", "6", "7", "6", "out of range"},
           {"all-rate", "29.969999999999999", "25", "25", ""},
           {"all-scale", "0.10000000000000001", "1e300", "1.0000000000000001e+300", ""},
           {"all-mode", "fast-2", "careful-slow", "careful-slow", ""},
           {"all-mode-specified", "true", "false", "false", ""},
           {"all-gains", R"("1\,2\,3")", "4,5,6", R"("4\,5\,6")", ""},
           {"all-key", "00ff10", "xy", "00ff10", "hexadecimal"},
           {"all-asleep", R"("")", "x", R"("")", "not active"},
           {"all-inner-5", "true", "false", "false", ""},
       }) {
    SCOPED_TRACE(fmt::format("{}={}", property, set));
    EXPECT_EQ(ValueOf(element, property), first);
    gst_util_set_object_arg(G_OBJECT(element), property, set);
    EXPECT_EQ(ValueOf(element, property), held);
    const std::vector<std::string> warnings = TakeWarnings();
    EXPECT_EQ(warnings.size(), *warning == '\0' ? 0 : 1);
    EXPECT_THAT(warnings.empty() ? "" : warnings[0], HasSubstr(warning));
  }
  unsigned int count = 0;
  GParamSpec** const pspecs = g_object_class_list_properties(G_OBJECT_GET_CLASS(element), &count);
  for (GParamSpec* const pspec : std::vector<GParamSpec*>(pspecs, pspecs + count)) {
    GValue value{};
    g_value_init(&value, pspec->value_type);
    g_param_value_set_default(pspec, &value);
    EXPECT_FALSE(g_param_value_validate(pspec, &value)) << pspec->name << ": the default is not in the range";
    g_object_get_property(G_OBJECT(element), pspec->name, &value);
    EXPECT_FALSE(g_param_value_validate(pspec, &value)) << pspec->name << ": the value is not in the range";
    g_value_unset(&value);
    EXPECT_STRNE(g_param_spec_get_blurb(pspec), "") << pspec->name;
  }
  g_free(pspecs);
  gst_object_unref(element);
}

TEST_F(ElementTest, ChosenSettingsLimitCaps) {
  const auto limited = [](const std::string& settings) {
    GstElement* const element = gst_parse_launch(("rhoenc-pcmplugin " + settings).c_str(), nullptr);
    GstPad* const pad = gst_element_get_static_pad(element, "sink");
    std::string allowed;
    for (const auto& [name, caps] :
         {std::pair("16 bits ", Caps("S16LE", 48000, 2)), std::pair("24 bits ", Caps("S24LE", 48000, 2)),
          std::pair("44.1 kHz ", Caps("S16LE", 44100, 2)), std::pair("5.1 ", Caps("S24LE", 48000, 6, "0x3f")),
          std::pair("6.0 ", Caps("S24LE", 48000, 6, "0x13d")), std::pair("3.0 ", Caps("S24LE", 48000, 3, "0x7"))}) {
      GstCaps* const tried = gst_caps_from_string(caps.c_str());
      allowed += gst_pad_query_accept_caps(pad, tried) != FALSE ? name : "";
      gst_caps_unref(tried);
    }
    gst_object_unref(pad);
    gst_object_unref(element);
    return allowed;
  };
  EXPECT_EQ(limited(""), "16 bits 24 bits 44.1 kHz 5.1 ");
  EXPECT_EQ(limited("sample-rate=48000 sample-size=24"), "24 bits 5.1 ");
  EXPECT_EQ(limited("channels=5.1"), "5.1 6.0 ");
}

TEST_F(ElementTest, FaultsOfModulesAreErrorsOnTheBus) {
  for (const auto& [element, says] : {std::pair("rhoenc-noframe", "cannot encode at sample frame 0"),
                                      std::pair("rhoenc-timesjump", "does not continue the stream")}) {
    Harness harness(element, Caps("S16LE", 8000, 2));
    GstBus* const bus = gst_bus_new();
    gst_element_set_bus(harness.Get()->element, bus);
    EXPECT_EQ(harness.Push(Noise(8000), 0), GST_FLOW_ERROR);
    GstMessage* const message = gst_bus_pop_filtered(bus, GST_MESSAGE_ERROR);
    ASSERT_NE(message, nullptr);
    GError* error = nullptr;
    gst_message_parse_error(message, &error, nullptr);
    EXPECT_THAT(error->message, HasSubstr(says));
    g_error_free(error);
    gst_message_unref(message);
    gst_element_set_bus(harness.Get()->element, nullptr);
    gst_object_unref(bus);
  }
}

TEST_F(ElementTest, SettingsKeepTheirValuesWhileSamplesAreEncoded) {
  Harness harness("rhoenc-pcmplugin", Caps("S16LE", 8000, 2));
  harness.Push(Noise(8000), 0);
  GstElement* const element = gst_harness_find_element(harness.Get(), "rhoenc-pcmplugin");
  for (const auto& [state, held, warnings] :
       {std::tuple(GST_STATE_PLAYING, "8000", 1), {GST_STATE_READY, "48000", 0}}) {
    gst_element_set_state(element, state);
    gst_util_set_object_arg(G_OBJECT(element), "sample-rate", "48000");
    EXPECT_EQ(ValueOf(element, "sample-rate"), held);
    EXPECT_EQ(TakeWarnings().size(), warnings);
  }
  gst_object_unref(element);
}

TEST_F(ElementTest, ChangesStatesAThousandTimes) {
  GstElement* const element = gst_element_factory_make("rhoenc-pcmplugin", nullptr);
  g_object_set(element, "sample-rate", 48000U, nullptr);
  for (int change = 0; change < 250; ++change) {
    for (const GstState state : {GST_STATE_READY, GST_STATE_PAUSED, GST_STATE_READY, GST_STATE_NULL}) {
      ASSERT_EQ(gst_element_set_state(element, state), GST_STATE_CHANGE_SUCCESS);
    }
  }
  EXPECT_EQ(ValueOf(element, "sample-rate"), "48000");
  gst_object_unref(element);
}

}  // namespace
