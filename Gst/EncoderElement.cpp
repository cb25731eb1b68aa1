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
#include <utility>

namespace {

/// Numbers of the properties. GObject reserves 0.
enum : unsigned int { kFrameRateId = 1, kFirstSettingId };

/// The state of an instance, apart from the base class's.
struct State {
  explicit State(const std::string& modulePath) : encoder(modulePath) {}

  ModuleEncoder encoder;
  /// Guards the fraction, which any thread may read and write. ModuleEncoder has the quotient alone.
  std::mutex frameRateMutex;
  int rateNumerator = 30;
  int rateDenominator = 1;
  /// The base class's chain function, which Chain calls.
  GstPadChainFunction baseChain = nullptr;
  GstClockTime nextTime = GST_CLOCK_TIME_NONE;  ///< when the next buffer begins if nothing is missing
  bool holdsSamples = false;                    ///< whether the run was given samples
};

/// An instance, with the base class first. GObject allocates it as zero bytes and calls no constructor, hence a
/// pointer.
struct Element {
  GstAudioEncoder base;
  State* state;
};

/// A class, with the base class first. GObject constructs no members here either.
struct ElementClass {
  GstAudioEncoderClass base;
  const ElementDescription* description;
  std::vector<SettingProperty>* properties;
};

/// The casts are safe for every instance of a type that RegisterElement registers.
ElementClass& ClassOf(gpointer element) { return *reinterpret_cast<ElementClass*>(G_OBJECT_GET_CLASS(element)); }
State& StateOf(gpointer element) { return *static_cast<Element*>(element)->state; }

/// The class of GstAudioEncoder, which all types of elements share. InitClass sets it.
gpointer g_parentClass = nullptr;
GstAudioEncoderClass& ParentClass() { return *static_cast<GstAudioEncoderClass*>(g_parentClass); }

/// Runs `action` and returns its result. An exception becomes an error message on the pipeline's bus, and the result is
/// `failed`.
template <class Result, class Action>
Result Guard(gpointer element, Result failed, Action action) noexcept {
  try {
    return action();
  } catch (const std::bad_alloc&) {
    GST_ELEMENT_ERROR(element, RESOURCE, NO_SPACE_LEFT, ("Out of memory."), (nullptr));
  } catch (const WrongUse& error) {
    // The input does not fit the settings.
    GST_ELEMENT_ERROR(element, STREAM, FORMAT, ("%s.", error.what()), (nullptr));
  } catch (const std::exception& error) {
    GST_ELEMENT_ERROR(element, LIBRARY, ENCODE, ("%s.", error.what()), (nullptr));
  } catch (...) {
    GST_ELEMENT_ERROR(element, LIBRARY, ENCODE, ("The module threw an exception of unknown type."), (nullptr));
  }
  return failed;
}

/// Sets the frame rate. Throws WrongUse between Begin and Stop and then changes nothing.
void WriteFrameRate(State& state, const GValue* value) {
  const int numerator = gst_value_get_fraction_numerator(value);
  const int denominator = gst_value_get_fraction_denominator(value);
  state.encoder.SetFramesPerSecond(static_cast<double>(numerator) / denominator);
  const std::lock_guard lock(state.frameRateMutex);
  state.rateNumerator = numerator;
  state.rateDenominator = denominator;
}

/// A GObject setter cannot return an error: a value that is refused is a warning, and the property keeps its value.
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

/// Reads a property; gives the default value if the module cannot be loaded.
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

/// The formats that the chosen settings leave and that the next element accepts.
GstCaps* GetCaps(GstAudioEncoder* base, GstCaps* filter) noexcept {
  const ElementDescription& element = *ClassOf(base).description;
  ModuleEncoder& encoder = StateOf(base).encoder;
  const auto chosenCaps = [&] {
    OfferedFormats formats = element.formats;
    // A setting that was chosen leaves one value; the others keep their list.
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
    // A layout that the user has chosen holds whatever speakers the input's channels are for.
    return RawCaps(formats, layout.has_value());
  };
  CapsPointer caps = Guard(base, CapsPointer(gst_caps_new_empty()), chosenCaps);
  if (element.makesLinearPcm) {  // what comes out has the caps of what goes in
    caps.reset(gst_pad_peer_query_caps(GST_AUDIO_ENCODER_SRC_PAD(base), caps.get()));
  }
  // GStreamer's convention: the filter comes first, since its order is the preference of the element that asks.
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

/// Begins a run for samples in the format of `info`, and tells the base class the output's caps and the latency.
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
    // The first sample leaves when its packet is full and the compressor's delay has passed.
    const GstClockTime latency = gst_util_uint64_scale_ceil(
        state.encoder.SampleFramesPerPacket() + static_cast<std::uint64_t>(element.codecDelay), GST_SECOND,
        static_cast<std::uint64_t>(info->rate));
    gst_audio_encoder_set_latency(base, latency, latency);
    return gst_audio_encoder_set_output_format(base, caps.get());
  });
}

/// A packet in a buffer of its own, with the numbers of RunPacket.
struct FinishedPacket {
  BufferPointer buffer;
  int skippedFrames = 0;
  int sampleFrames = 0;
};

/// A sink that appends to `packets`. Packets are pushed later: pushing may block, and a sink runs under a lock.
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

/// Hands the packets to the base class, which stamps them and pushes them downstream. The base class takes no empty
/// buffers: the sample frames of one count as discarded.
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

/// Pushes the packets that are left and ends the run. The next samples begin another one.
GstFlowReturn FinishRun(GstAudioEncoder* base) {
  State& state = StateOf(base);
  state.holdsSamples = false;
  std::vector<FinishedPacket> packets;
  const std::uint64_t rest = state.encoder.Finish(CollectIn(packets));
  // Reports the sample frames that no packet stands for as discarded: the base class stamps what follows by all of
  // them.
  packets.push_back({nullptr, static_cast<int>(rest), 0});
  return Push(base, packets);
}

/// The base class calls this with whole sample frames, and with null to drain the encoder.
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

/// Sets the offsets to the numbers of sample frames since the time 0. The base class sets numbers of bytes.
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
  // An unknown expected time is GST_CLOCK_TIME_NONE, the largest number: the difference exceeds every tolerance.
  return GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DISCONT) ||
         std::max(time, expected) - std::min(time, expected) >
             static_cast<GstClockTime>(gst_audio_encoder_get_tolerance(base));
}

/// Gives a buffer without a time the end of the last buffer, or the start of the segment.
GstBuffer* Timed(GstAudioEncoder* base, GstBuffer* buffer) {
  if (GST_BUFFER_PTS_IS_VALID(buffer)) {
    return buffer;
  }
  const GstClockTime expected = StateOf(base).nextTime;
  GstBuffer* const timed = gst_buffer_make_writable(buffer);
  GST_BUFFER_PTS(timed) = GST_CLOCK_TIME_IS_VALID(expected) ? expected : GST_AUDIO_ENCODER_INPUT_SEGMENT(base).start;
  return timed;
}

/// Ends the packet at a discontinuity. The base class would let samples from before and after it share one.
GstFlowReturn Chain(GstPad* pad, GstObject* parent, GstBuffer* buffer) noexcept {
  auto* const base = GST_AUDIO_ENCODER(parent);
  State& state = StateOf(base);
  GstFlowReturn flow = GST_FLOW_OK;
  buffer = Timed(base, buffer);
  if (state.holdsSamples && IsDiscontinuous(base, buffer)) {
    // The lock that the base class holds while it encodes and pushes.
    GST_AUDIO_ENCODER_STREAM_LOCK(base);
    flow = Guard(base, GST_FLOW_ERROR, [base] { return FinishRun(base); });
    GST_AUDIO_ENCODER_STREAM_UNLOCK(base);
  }
  if (flow != GST_FLOW_OK) {
    gst_buffer_unref(buffer);
    return flow;
  }
  // Read before the call, which takes over the buffer.
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

/// Ends the packet at an event for a gap or for a segment's end. A new segment starts the times again. The base class
/// does the rest.
gboolean SinkEvent(GstAudioEncoder* base, GstEvent* event) noexcept {
  const GstEventType type = GST_EVENT_TYPE(event);
  if (type == GST_EVENT_GAP || type == GST_EVENT_SEGMENT_DONE) {
    GST_AUDIO_ENCODER_STREAM_LOCK(base);
    // An event has no flow to return. Guard reports exceptions; the next buffer meets any other failure again.
    Guard(base, GST_FLOW_ERROR, [base] { return FinishRun(base); });
    GST_AUDIO_ENCODER_STREAM_UNLOCK(base);
  }
  const gboolean isHandled = ParentClass().sink_event(base, event);
  if (type == GST_EVENT_SEGMENT) {
    StateOf(base).nextTime = GST_CLOCK_TIME_NONE;
  }
  return isHandled;
}

/// Drops what the run holds: GStreamer flushes before it seeks.
void Flush(GstAudioEncoder* base) noexcept {
  StateOf(base).holdsSamples = false;
  Guard(base, false, [base] {
    StateOf(base).encoder.Discard();
    return true;
  });
}

/// Loads the module when the element leaves the state NULL, so that a module that cannot be used fails at once.
gboolean Open(GstAudioEncoder* base) noexcept {
  return Guard(base, gboolean{FALSE}, [base]() -> gboolean {
    StateOf(base).encoder.Load();
    return TRUE;
  });
}

/// Ends the run when the element goes back to READY. The module stays loaded: it holds the settings that were chosen.
gboolean Stop(GstAudioEncoder* base) noexcept {
  State& state = StateOf(base);
  state.holdsSamples = false;
  state.nextTime = GST_CLOCK_TIME_NONE;
  return Guard(base, gboolean{FALSE}, [&state]() -> gboolean {
    state.encoder.Stop();
    return TRUE;
  });
}

/// GObject's destructor.
void Finalize(GObject* object) noexcept {
  delete static_cast<Element*>(static_cast<gpointer>(object))->state;
  G_OBJECT_CLASS(g_parentClass)->finalize(object);
}

/// GObject's class initialiser. `data` is the ElementDescription that RegisterElement has passed on.
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

/// GObject's constructor. `type` is the instance's class.
void InitInstance(GTypeInstance* instance, gpointer type) noexcept {
  auto* const element = static_cast<Element*>(static_cast<gpointer>(instance));
  element->state = std::make_unique<State>(static_cast<ElementClass*>(type)->description->modulePath).release();
  GstPad* const pad = GST_AUDIO_ENCODER_SINK_PAD(instance);
  // The base class has created the pad and set its own chain function already.
  element->state->baseChain = GST_PAD_CHAINFUNC(pad);
  gst_pad_set_chain_function(pad, Chain);
}

}  // namespace

bool RegisterElement(GstPlugin* plugin, const ElementDescription& element) {
  // "Rhoenc-pcmplugin" for "rhoenc-pcmplugin".
  const std::string typeName = "Rho" + element.name.substr(std::string("rho").size());
  // GObject registers a name once in a process, and GStreamer may initialise the plug-in more than once.
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
  // No rank: applications choose such an encoder by its name, never by its caps.
  return gst_element_register(plugin, element.name.c_str(), GST_RANK_NONE, type) != FALSE;
}
