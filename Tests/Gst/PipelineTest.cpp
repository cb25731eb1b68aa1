/// Whole pipelines: as GStreamer's own program runs them, and from a live source.

#include "Tests/Gst/GstTest.h"

#include <fmt/format.h>

#include <cstdlib>

namespace {

class PipelineTest : public GstTest {
 protected:
  /// Runs a shell command in a folder of its own; what it prints.
  std::string Run(const std::string& command) const {
    const std::string line = fmt::format(
        "cd {} && unset GST_PLUGIN_SYSTEM_PATH_1_0 GST_REGISTRY_DISABLE && export "
        "GST_REGISTRY_1_0={}/registry GST_PLUGIN_PATH_1_0={} G_DEBUG=fatal-warnings "
        "RHO_PLUGIN_PATH={} && ({}) >printed 2>&1; echo \"exit code $?\" >>printed",
        m_folder.Path(), m_folder.Path(), PLUGIN_FOLDER, fs::path(PCM_MODULE).parent_path().native(), command);
    EXPECT_EQ(std::system(line.c_str()), 0);
    return ReadFile(m_folder / "printed");
  }

  TemporaryFolder m_folder;
};

TEST_F(PipelineTest, GivesTheSamplesAndPacketsOfRhohost) {
  if (IS_SANITIZED) {
    GTEST_SKIP() << "GStreamer's programs cannot load a plug-in that needs a sanitizer's runtime";
  }
  for (const auto* const sound :
       {"-b 16 -c 1 -r 8000", "-b 16 -c 2 -r 44100", "-b 24 -c 6 -r 48000", "-b 24 -c 8 -r 96000"}) {
    SCOPED_TRACE(sound);
    EXPECT_EQ(
        Run(fmt::format(
            "sox -R -n {} in.wav synth 1.234 pinknoise gain -3 && gst-launch-1.0 -q filesrc "
            "location=in.wav ! wavparse ! rhoenc-pcmplugin frame-rate=25 ! matroskamux ! filesink "
            "location=gst.mkv && {} -q -f --fps 25 in.wav rho.mkv && for name in gst rho; do ffprobe -v "
            "error -show_entries stream=codec_name,channels,sample_rate:packet=size,data_hash "
            "-show_data_hash md5 $name.mkv >$name.txt && ffmpeg -v error -y -i $name.mkv -f s32le "
            "$name.raw; done && ffmpeg -v error -y -i in.wav -f s32le in.raw && cmp gst.txt rho.txt && cmp gst.raw "
            "in.raw && test $(grep -c size gst.txt) = 31",
            sound, RHOHOST)),
        "exit code 0\n");
  }
}

TEST_F(PipelineTest, LiveSourcesLoseNothing) {
  const char* const minutes = std::getenv("RHO_LIVE_SECONDS");
  const int seconds = minutes == nullptr ? 3 : std::atoi(minutes);
  GstElement* const pipeline = gst_parse_launch(
      fmt::format("audiotestsrc is-live=true wave=white-noise num-buffers={} samplesperbuffer=441 ! "
                  "audio/x-raw,format=S24LE,rate=44100,channels=2 ! rhoenc-pcmplugin ! fakesink name=sink sync=true "
                  "signal-handoffs=true",
                  seconds * 100)
          .c_str(),
      nullptr);
  ASSERT_NE(pipeline, nullptr);
  struct Heard {
    std::uint64_t frames = 0;
    std::uint64_t next = 0;
    int packets = 0;
    int breaks = 0;
  } heard;
  GstElement* const sink = gst_bin_get_by_name(GST_BIN(pipeline), "sink");
  const auto hear = +[](GstElement*, GstBuffer* buffer, GstPad*, Heard* to) {
    to->breaks += to->packets != 0 && GST_BUFFER_OFFSET(buffer) != to->next ? 1 : 0;
    to->frames += gst_buffer_get_size(buffer) / 6;
    to->next = GST_BUFFER_OFFSET_END(buffer);
    ++to->packets;
  };
  g_signal_connect(sink, "handoff", G_CALLBACK(hear), &heard);
  gst_element_set_state(pipeline, GST_STATE_PLAYING);
  GstBus* const bus = gst_element_get_bus(pipeline);
  GstMessage* const last =
      gst_bus_timed_pop_filtered(bus, static_cast<GstClockTime>(seconds + 20) * GST_SECOND,
                                 static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR | GST_MESSAGE_QOS));
  ASSERT_NE(last, nullptr);
  EXPECT_STREQ(GST_MESSAGE_TYPE_NAME(last), "eos");
  gst_message_unref(last);
  gst_element_set_state(pipeline, GST_STATE_NULL);
  EXPECT_EQ(heard.packets, seconds * 30);
  EXPECT_EQ(heard.frames, static_cast<std::uint64_t>(seconds) * 44100);
  EXPECT_EQ(heard.breaks, 0);
  gst_object_unref(bus);
  gst_object_unref(sink);
  gst_object_unref(pipeline);
}

}  // namespace
