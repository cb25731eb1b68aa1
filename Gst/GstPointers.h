#pragma once

#include <gst/gst.h>

#include <memory>

/// Gives back one reference.
struct GstReleaser {
  void operator()(GstCaps* caps) const { gst_caps_unref(caps); }
  void operator()(GstBuffer* buffer) const { gst_buffer_unref(buffer); }
};

/// Owners of one reference.
using CapsPointer = std::unique_ptr<GstCaps, GstReleaser>;
using BufferPointer = std::unique_ptr<GstBuffer, GstReleaser>;
