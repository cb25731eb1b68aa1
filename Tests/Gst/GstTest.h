#pragma once

/// What the tests of the GStreamer plug-in share: modules in a folder, an element in a harness, and warnings, none of
/// which a test may leave.

#include "Tests/Support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gst/check/gstharness.h>
#include <gst/gst.h>

#include <memory>
#include <string>
#include <vector>

/// A buffer that an element has pushed.
struct Pushed {
  GstClockTime time = 0;
  GstClockTime duration = 0;
  std::uint64_t offset = 0;
  std::uint64_t offsetEnd = 0;
  std::string bytes;

  bool operator==(const Pushed&) const = default;
};
std::ostream& operator<<(std::ostream& stream, const Pushed& pushed);

/// An element between a source and a sink of the test.
class Harness {
 public:
  Harness(const std::string& launchLine, const std::string& caps);
  Harness(const Harness&) = delete;
  Harness& operator=(const Harness&) = delete;
  ~Harness() { gst_harness_teardown(m_harness); }

  GstFlowReturn Push(const std::string& bytes, GstClockTime time, GstBufferFlags flags = GstBufferFlags{});
  void Send(GstEvent* event) { gst_harness_push_event(m_harness, event); }
  void SetCaps(const std::string& text);
  /// What has come out since the last call.
  std::vector<Pushed> Take();
  /// Caps of what comes out.
  std::string OutputCaps() const;
  GstHarness* Get() const { return m_harness; }

 private:
  GstHarness* m_harness;
};

class GstTest : public testing::Test {
 public:
  GstTest();
  ~GstTest() override;

 protected:
  /// The warnings of GLib and GStreamer since the last call.
  static std::vector<std::string> TakeWarnings();
};

/// "audio/x-raw" caps.
std::string Caps(const std::string& format, int rate, int channels, const std::string& mask = "");
/// Random bytes that are the same in every run.
std::string Noise(std::size_t size);
