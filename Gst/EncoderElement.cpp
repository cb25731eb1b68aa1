#include "Gst/EncoderElement.h"

#include "Gst/ModuleEncoder.h"
#include "Gst/SettingProperties.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Numbers.h"

#include <gst/audio/gstaudioencoder.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <utility>

namespace {

enum : unsigned int { kFrameRateId = 1, kFirstSettingId };

/// What belongs to an instance beside GStreamer's part.
struct State {
  explicit State(const std::string& modulePath) : encoder(modulePath) {}

  ModuleEncoder encoder;
  std::mutex frameRateMutex;
  int rateNumerator = 30;
  int rateDenominator = 1;
  GstPadChainFunction baseChain = nullptr;
  GstClockTime nextTime = GST_CLOCK_TIME_NONE;  ///< when the next buffer begins if nothing is missing
  bool holdsSamples = false;                    ///< whether the run was given samples
};

struct Element {
  GstAudioEncoder base;
  State* state;
};

struct ElementClass {
  GstAudioEncoderClass base;
  const ElementDescription* description;
  std::vector<SettingProperty>* properties;
};

ElementClass& ClassOf(gpointer element) { return *reinterpret_cast<ElementClass*>(G_OBJECT_GET_CLASS(element)); }
State& StateOf(gpointer element) { return *static_cast<Element*>(element)->state; }

gpointer g_parentClass = nullptr;
GstAudioEncoderClass& ParentClass() { return *static_cast<GstAudioEncoderClass*>(g_parentClass); }

/// Runs `action`. What it throws becomes an error on the pipeline's bus, and `failed` the result.
template <class Result, class Action>
Result Guard(gpointer element, Result failed, Action action) noexcept {
  try {
    return action();
  } catch (const std::bad_alloc&) {
    GST_ELEMENT_ERROR(element, RESOURCE, NO_SPACE_LEFT, ("Out of memory."), (nullptr));
  } catch (const WrongUse& error) {
    GST_ELEMENT_ERROR(element, STREAM, FORMAT, ("%s.", error.what()), (nullptr));
  } catch (const std::exception& error) {
    GST_ELEMENT_ERROR(element, LIBRARY, ENCODE, ("%s.", error.what()), (nullptr));
  } catch (...) {
    GST_ELEMENT_ERROR(element, LIBRARY, ENCODE, ("The module threw an exception of unknown type."), (nullptr));
  }
  return failed;
}

// ---- Properties ----

void WriteFrameRate(State& state, const GValue* value) {
  const int numerator = gst_value_get_fraction_numerator(value);
  const int denominator = gst_value_get_fraction_denominator(value);
  state.encoder.SetFramesPerSecond(static_cast<double>(numerator) / denominator);
  const std::lock_guard lock(state.frameRateMutex);
  state.rateNumerator = numerator;
  state.rateDenominator = denominator;
}

void SetProperty(GObject* object, guint id, const GValue* value, GParamSpec* pspec) noexcept {
  const auto refuse = [&](const char* why) {
    g_warning("%s: property \"%s\" keeps its value: %s", GST_OBJECT_NAME(object), pspec->name, why);
  };
  try {
    if (id == kFrameRateId) {
      WriteFrameRate(StateOf(object), value);
    } else {
      WriteProperty(StateOf(object).encoder, ClassOf(object).properties->at(id - kFirstSettingId), value);
    }
  } catch (const std::exception& error) {
    refuse(error.what());
  } catch (...) {
    refuse("the module threw an exception of unknown type");
  }
}

void GetProperty(GObject* object, guint id, GValue* value, GParamSpec* pspec) noexcept {
  State& state = StateOf(object);
  if (id == kFrameRateId) {
    const std::lock_guard lock(state.frameRateMutex);
    return gst_value_set_fraction(value, state.rateNumerator, state.rateDenominator);
  }
  try {
    ReadProperty(state.encoder, ClassOf(object).properties->at(id - kFirstSettingId), value);
  } catch (...) {
    // A module that cannot be loaded is an error when the element is opened.
    g_param_value_set_default(pspec, value);
  }
}

// ---- Caps ----

/// The formats that the settings that were chosen leave, and that the next element takes.
GstCaps* GetCaps(GstAudioEncoder* base, GstCaps* filter) noexcept {
  const ElementDescription& element = *ClassOf(base).description;
  ModuleEncoder& encoder = StateOf(base).encoder;
  const auto chosenCaps = [&] {
    OfferedFormats formats = element.formats;
    const auto keep = [&](std::vector<int>& values, const char* standard) {
      const auto text = encoder.Chosen(element.StandardSetting(standard));
      if (const auto number = ParseNumber<int>(text.value_or(""))) {
        values = {*number};
      }
    };
    keep(formats.rates, "sampleRate");
    keep(formats.bits, "sampleSize");
    const auto layout = encoder.Chosen(element.StandardSetting("channels"));
    std::erase_if(formats.layouts, [&](const OfferedLayout& offered) { return layout && offered.name != *layout; });
    return RawCaps(formats, layout.has_value());
  };
  CapsPointer caps = Guard(base, CapsPointer(gst_caps_new_empty()), chosenCaps);
  if (element.makesLinearPcm) {  // what comes out has the caps of what goes in
    caps.reset(gst_pad_peer_query_caps(GST_AUDIO_ENCODER_SRC_PAD(base), caps.get()));
  }
  return filter == nullptr ? caps.release() : gst_caps_intersect_full(filter, caps.get(), GST_CAPS_INTERSECT_FIRST);
}

/// The caps of the packets of a run that takes samples in the format of `info`.
CapsPointer OutputCaps(const ElementDescription& element, const GstAudioInfo& info) {
  if (element.makesLinearPcm) {
    return CapsPointer(gst_audio_info_to_caps(&info));
  }
  CapsPointer caps(gst_caps_copy(element.sourceCaps.get()));
  gst_caps_set_simple(caps.get(), "rate", G_TYPE_INT, info.rate, "channels", G_TYPE_INT, info.channels, nullptr);
  return caps;
}

gboolean SetFormat(GstAudioEncoder* base, GstAudioInfo* info) noexcept {
  return Guard(base, gboolean{FALSE}, [&]() -> gboolean {
    const ElementDescription& element = *ClassOf(base).description;
    State& state = StateOf(base);
    state.holdsSamples = false;
    state.encoder.Begin({.sampleRate = static_cast<unsigned int>(info->rate),
                         .bits = static_cast<unsigned int>(GST_AUDIO_INFO_WIDTH(info)),
                         .channels = static_cast<unsigned int>(info->channels),
                         .speakers = WavSpeakers(*info)});
    const CapsPointer caps = OutputCaps(element, *info);
    const GstClockTime latency = gst_util_uint64_scale_ceil(
        state.encoder.SampleFramesPerPacket() + static_cast<std::uint64_t>(element.codecDelay), GST_SECOND,
        static_cast<std::uint64_t>(info->rate));
    gst_audio_encoder_set_latency(base, latency, latency);
    return gst_audio_encoder_set_output_format(base, caps.get());
  });
}

// ---- Samples ----

struct FinishedPacket {
  BufferPointer buffer;
  int skippedFrames = 0;
  int sampleFrames = 0;
};

ModuleEncoder::Sink CollectIn(std::vector<FinishedPacket>& packets) {
  return [&packets](const RunPacket& packet) {
    BufferPointer buffer(gst_buffer_new_allocate(nullptr, packet.bytes.size(), nullptr));
    if (buffer == nullptr) {
      throw std::bad_alloc();
    }
    gst_buffer_fill(buffer.get(), 0, packet.bytes.data(), packet.bytes.size());
    packets.push_back(
        {std::move(buffer), static_cast<int>(packet.skippedFrames), static_cast<int>(packet.sampleFrames)});
  };
}

/// Hands the packets to the base class, which stamps them and pushes them downstream. An empty buffer must not be handed
/// over; its sample frames count as skipped.
GstFlowReturn Push(GstAudioEncoder* base, std::vector<FinishedPacket>& packets) {
  for (FinishedPacket& packet : packets) {
    GstFlowReturn flow = GST_FLOW_OK;
    if (packet.skippedFrames > 0) {
      flow = gst_audio_encoder_finish_frame(base, nullptr, packet.skippedFrames);
    }
    const bool isEmpty = packet.buffer == nullptr || gst_buffer_get_size(packet.buffer.get()) == 0;
    if (flow == GST_FLOW_OK && !isEmpty) {
      flow = gst_audio_encoder_finish_frame(base, packet.buffer.release(), packet.sampleFrames);
    } else if (flow == GST_FLOW_OK && packet.sampleFrames > 0) {
      flow = gst_audio_encoder_finish_frame(base, nullptr, packet.sampleFrames);
    }
    if (flow != GST_FLOW_OK) {
      return flow;
    }
  }
  return GST_FLOW_OK;
}

GstFlowReturn FinishRun(GstAudioEncoder* base) {
  State& state = StateOf(base);
  state.holdsSamples = false;
  std::vector<FinishedPacket> packets;
  const std::uint64_t rest = state.encoder.Finish(CollectIn(packets));
  packets.push_back({nullptr, static_cast<int>(rest), 0});
  return Push(base, packets);
}

GstFlowReturn HandleFrame(GstAudioEncoder* base, GstBuffer* buffer) noexcept {
  return Guard(base, GST_FLOW_ERROR, [&] {
    if (buffer == nullptr) {
      return FinishRun(base);
    }
    State& state = StateOf(base);
    state.holdsSamples = true;
    GstMapInfo map;
    if (gst_buffer_map(buffer, &map, GST_MAP_READ) == FALSE) {
      throw Failure("the input cannot be mapped into memory");
    }
    const std::unique_ptr<GstBuffer, std::function<void(GstBuffer*)>> unmapper(
        buffer, [&map](GstBuffer* mapped) { gst_buffer_unmap(mapped, &map); });
    std::vector<FinishedPacket> packets;
    state.encoder.Encode({map.data, map.size}, CollectIn(packets));
    return Push(base, packets);
  });
}

/// Raw audio is counted in sample frames, from the time 0 on; the base class counts bytes.
GstFlowReturn PrePush(GstAudioEncoder* base, GstBuffer** buffer) noexcept {
  const auto rate = static_cast<std::uint64_t>(gst_audio_encoder_get_audio_info(base)->rate);
  const auto count = [rate](GstClockTime time) {
    return GST_CLOCK_TIME_IS_VALID(time) ? gst_util_uint64_scale_round(time, rate, GST_SECOND) : GST_BUFFER_OFFSET_NONE;
  };
  *buffer = gst_buffer_make_writable(*buffer);
  const GstClockTime time = GST_BUFFER_PTS(*buffer);
  GST_BUFFER_OFFSET(*buffer) = count(time);
  GST_BUFFER_OFFSET_END(*buffer) = count(GST_CLOCK_TIME_IS_VALID(time) ? time + GST_BUFFER_DURATION(*buffer) : time);
  return GST_FLOW_OK;
}

/// Whether samples are missing before `buffer`, or time goes back.
bool IsDiscontinuous(GstAudioEncoder* base, GstBuffer* buffer) {
  const GstClockTime time = GST_BUFFER_PTS(buffer);
  const GstClockTime expected = StateOf(base).nextTime;
  return GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DISCONT) ||
         std::max(time, expected) - std::min(time, expected) >
             static_cast<GstClockTime>(gst_audio_encoder_get_tolerance(base));
}

/// Gives a buffer without a time that of the end of the last one, or of the segment's beginning.
GstBuffer* Timed(GstAudioEncoder* base, GstBuffer* buffer) {
  if (GST_BUFFER_PTS_IS_VALID(buffer)) {
    return buffer;
  }
  const GstClockTime expected = StateOf(base).nextTime;
  GstBuffer* const timed = gst_buffer_make_writable(buffer);
  GST_BUFFER_PTS(timed) = GST_CLOCK_TIME_IS_VALID(expected) ? expected : GST_AUDIO_ENCODER_INPUT_SEGMENT(base).start;
  return timed;
}

/// The base class lets samples from before and after a discontinuity share a packet; here the packet before it ends.
GstFlowReturn Chain(GstPad* pad, GstObject* parent, GstBuffer* buffer) noexcept {
  auto* const base = GST_AUDIO_ENCODER(parent);
  State& state = StateOf(base);
  GstFlowReturn flow = GST_FLOW_OK;
  buffer = Timed(base, buffer);
  if (state.holdsSamples && IsDiscontinuous(base, buffer)) {
    GST_AUDIO_ENCODER_STREAM_LOCK(base);
    flow = Guard(base, GST_FLOW_ERROR, [base] { return FinishRun(base); });
    GST_AUDIO_ENCODER_STREAM_UNLOCK(base);
  }
  if (flow != GST_FLOW_OK) {
    gst_buffer_unref(buffer);
    return flow;
  }
  const GstClockTime time = GST_BUFFER_PTS(buffer);
  const std::uint64_t size = gst_buffer_get_size(buffer);
  flow = state.baseChain(pad, parent, buffer);
  const GstAudioInfo& info = *gst_audio_encoder_get_audio_info(base);
  if (info.bpf > 0 && info.rate > 0) {
    state.nextTime = time + gst_util_uint64_scale(size / static_cast<std::uint64_t>(info.bpf), GST_SECOND,
                                                  static_cast<std::uint64_t>(info.rate));
  }
  return flow;
}

/// Packets also end where it is announced that samples are missing or that a segment has ended, and times begin anew with
/// a segment. The base class does the rest.
gboolean SinkEvent(GstAudioEncoder* base, GstEvent* event) noexcept {
  const GstEventType type = GST_EVENT_TYPE(event);
  if (type == GST_EVENT_GAP || type == GST_EVENT_SEGMENT_DONE) {
    GST_AUDIO_ENCODER_STREAM_LOCK(base);
    Guard(base, GST_FLOW_ERROR, [base] { return FinishRun(base); });
    GST_AUDIO_ENCODER_STREAM_UNLOCK(base);
  }
  const gboolean isHandled = ParentClass().sink_event(base, event);
  if (type == GST_EVENT_SEGMENT) {
    StateOf(base).nextTime = GST_CLOCK_TIME_NONE;
  }
  return isHandled;
}

void Flush(GstAudioEncoder* base) noexcept {
  StateOf(base).holdsSamples = false;
  Guard(base, false, [base] {
    StateOf(base).encoder.Discard();
    return true;
  });
}

gboolean Open(GstAudioEncoder* base) noexcept {
  return Guard(base, gboolean{FALSE}, [base]() -> gboolean {
    StateOf(base).encoder.Load();
    return TRUE;
  });
}

gboolean Stop(GstAudioEncoder* base) noexcept {
  State& state = StateOf(base);
  state.holdsSamples = false;
  state.nextTime = GST_CLOCK_TIME_NONE;
  return Guard(base, gboolean{FALSE}, [&state]() -> gboolean {
    state.encoder.Stop();
    return TRUE;
  });
}

// ---- The type ----

void Finalize(GObject* object) noexcept {
  delete static_cast<Element*>(static_cast<gpointer>(object))->state;
  G_OBJECT_CLASS(g_parentClass)->finalize(object);
}

void InitClass(gpointer type, gpointer data) noexcept {
  const auto& description = *static_cast<const ElementDescription*>(data);
  g_parentClass = g_type_class_peek_parent(type);
  auto& elementClass = *static_cast<ElementClass*>(type);
  elementClass.description = &description;

  auto* const objectClass = static_cast<GObjectClass*>(type);
  objectClass->set_property = SetProperty;
  objectClass->get_property = GetProperty;
  objectClass->finalize = Finalize;
  g_object_class_install_property(
      objectClass, kFrameRateId,
      gst_param_spec_fraction("frame-rate", "Frame rate", "Packets per second", 1, 1, G_MAXINT, 1, 30, 1,
                              static_cast<GParamFlags>(G_PARAM_READWRITE | GST_PARAM_MUTABLE_READY)));
  // Classes live until the process ends.
  elementClass.properties = std::make_unique<std::vector<SettingProperty>>(
                                InstallProperties(objectClass, description.settings, kFirstSettingId))
                                .release();

  auto* const gstClass = static_cast<GstElementClass*>(type);
  gst_element_class_set_metadata(gstClass, description.longName.c_str(), "Codec/Encoder/Audio",
                                 description.details.c_str(), description.author.c_str());
  const CapsPointer sinkCaps = RawCaps(description.formats, true);
  gst_element_class_add_pad_template(gstClass,
                                     gst_pad_template_new("sink", GST_PAD_SINK, GST_PAD_ALWAYS, sinkCaps.get()));
  gst_element_class_add_pad_template(
      gstClass, gst_pad_template_new("src", GST_PAD_SRC, GST_PAD_ALWAYS, description.sourceCaps.get()));

  elementClass.base.open = Open;
  elementClass.base.stop = Stop;
  elementClass.base.getcaps = GetCaps;
  elementClass.base.sink_event = SinkEvent;
  elementClass.base.set_format = SetFormat;
  elementClass.base.handle_frame = HandleFrame;
  elementClass.base.pre_push = PrePush;
  elementClass.base.flush = Flush;
}

void InitInstance(GTypeInstance* instance, gpointer type) noexcept {
  auto* const element = static_cast<Element*>(static_cast<gpointer>(instance));
  element->state = std::make_unique<State>(static_cast<ElementClass*>(type)->description->modulePath).release();
  GstPad* const pad = GST_AUDIO_ENCODER_SINK_PAD(instance);
  element->state->baseChain = GST_PAD_CHAINFUNC(pad);
  gst_pad_set_chain_function(pad, Chain);
}

}  // namespace

bool RegisterElement(GstPlugin* plugin, const ElementDescription& element) {
  const std::string typeName = "Rho" + element.name.substr(std::string("rho").size());
  GType type = g_type_from_name(typeName.c_str());
  if (type == 0) {
    const GTypeInfo info{.class_size = sizeof(ElementClass),
                         .base_init = nullptr,
                         .base_finalize = nullptr,
                         .class_init = InitClass,
                         .class_finalize = nullptr,
                         .class_data = &element,
                         .instance_size = sizeof(Element),
                         .n_preallocs = 0,
                         .instance_init = InitInstance,
                         .value_table = nullptr};
    type = g_type_register_static(GST_TYPE_AUDIO_ENCODER, typeName.c_str(), &info, GTypeFlags{});
  }
  return gst_element_register(plugin, element.name.c_str(), GST_RANK_NONE, type) != FALSE;
}
