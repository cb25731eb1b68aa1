#include "Host/Encode/Encoder.h"
#include "Host/Library/ModuleDescription.h"
#include "Host/Library/rho.h"
#include "Host/Plugin/Module.h"
#include "Host/Plugin/ModuleSearch.h"
#include "Host/Settings/Assignment.h"
#include "Host/Settings/Info.h"
#include "Host/Settings/Preset.h"
#include "Host/Settings/SettingJson.h"
#include "Host/Settings/SettingText.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Utf8.h"

#include <fmt/format.h>

#include <array>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <nlohmann/json.hpp>
#include <utility>

namespace {

/// A compressor with what it needs and what was chosen for it; an encoder keeps it alive too.
struct CompressorState {
  std::shared_ptr<const Module> module;  ///< unloaded after the compressor is released
  CompressorOwner compressor;
  Choices choices;
  const rho_encoder* encoder = nullptr;  ///< the one whose run has not ended
};

/// The text of rho_error_text. A fixed array, so that even "out of memory" can be stored.
thread_local std::array<char, 1001> t_errorText{};

/// Stores the text for rho_error_text, cut between two characters if it is too long, and returns `result`.
rho_result Note(rho_result result, std::string_view text) noexcept {
  const std::string_view shown = CutToBytes(text, t_errorText.size() - 1);
  t_errorText[shown.copy(t_errorText.data(), shown.size())] = '\0';
  return result;
}

/// Calls `action` and turns what it throws into a result.
template <class Action>
rho_result Guard(Action action) noexcept {
  try {
    action();
    return RHO_OK;
  } catch (const WrongUse& error) {
    return Note(RHO_WRONG_USE, error.what());
  } catch (const std::bad_alloc&) {
    return Note(RHO_OUT_OF_MEMORY, "out of memory");
  } catch (const std::exception& error) {
    return Note(RHO_FAILED, error.what());
  } catch (...) {
    return Note(RHO_FAILED, "the module threw an exception of unknown type");
  }
}

/// The object behind a pointer that must not be null.
template <class Type>
Type& Given(Type* pointer, const char* what) {
  if (pointer == nullptr) {
    throw WrongUse(fmt::format("{} is null", what));
  }
  return *pointer;
}

/// The text at a pointer that must not be null.
std::string GivenText(const char* text, const char* what) { return &Given(text, what); }

/// Stores a copy that rho_free releases.
void StoreCopy(char** result, const std::string& text) {
  // malloc, since rho_free calls free.
  char*& returned = Given(result, "the result");
  auto* const copy = static_cast<char*>(std::malloc(text.size() + 1));
  if (copy == nullptr) {
    throw std::bad_alloc();
  }
  std::memcpy(copy, text.c_str(), text.size() + 1);
  returned = copy;
}

/// The JSON text. Invalid UTF-8 is replaced: a text from a module must not make the call fail.
std::string Dump(const nlohmann::ordered_json& json) {
  return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace

struct rho_module {
  std::shared_ptr<const Module> module;
};

struct rho_compressor {
  std::shared_ptr<CompressorState> state;
};

struct rho_encoder {
  std::shared_ptr<CompressorState> state;
  EncodingFormat format;
  Encoder encoder;
  bool isUsable = true;  ///< false during a call, after a failure and after the end
};

namespace {

/// Throws WrongUse for a null pointer.
CompressorState& StateOf(rho_compressor* compressor) { return *Given(compressor, "the compressor").state; }

/// The state for a function that changes settings.
CompressorState& ChangeableState(rho_compressor* compressor) {
  CompressorState& state = StateOf(compressor);
  if (state.encoder != nullptr) {
    throw WrongUse("an encoder uses the compressor: its settings cannot be changed");
  }
  return state;
}

/// The setting of that name. Throws WrongUse if there is none.
ISetting& Find(CompressorState& state, const char* name) {
  const std::string text = GivenText(name, "the setting's name");
  ISetting* const setting = FindSetting(ListSettings(*state.compressor), text);
  if (setting == nullptr) {
    throw WrongUse(fmt::format("no setting \"{}\"", Abbreviated(text)));
  }
  return *setting;
}

/// Changes settings and adds them to the choices that rho_preset saves.
void AssignAll(CompressorState& state, const std::vector<Assignment>& assignments) {
  // First: without memory for the choices no setting must change.
  state.choices.settings.reserve(state.choices.settings.size() + assignments.size());
  Assign(*state.compressor, assignments);
  for (const Assignment& assignment : assignments) {
    if (!state.choices.Contains(assignment.setting)) {
      state.choices.settings.push_back(assignment.setting);
    }
  }
}

/// Changes one setting. Assign converts the value to the setting's type if that is exact.
rho_result SetValue(rho_compressor* compressor, const char* name, const SettingValue& value) {
  return Guard([&] {
    CompressorState& state = ChangeableState(compressor);
    AssignAll(state, {{.setting = &Find(state, name), .value = value}});
  });
}

/// The JSON of a caller. Throws WrongUse for anything else, and for deep nesting, which would exhaust the stack.
nlohmann::ordered_json ParseJson(const std::string& text) {
  constexpr int kDeepest = 16;
  using Json = nlohmann::ordered_json;
  try {
    return Json::parse(text, [](int depth, Json::parse_event_t /*event*/, const Json& /*value*/) {
      return depth <= kDeepest ? true : throw WrongUse("the JSON is nested too deeply");
    });
  } catch (const Json::exception& error) {
    throw WrongUse(fmt::format("not JSON: {}", error.what()));
  }
}

/// The four-character code of a format, padded at the front: " MKV" for "MKV"; 0, no format, for null and "".
unsigned int FileFormatCode(const char* text) {
  const std::string_view format = text == nullptr ? "" : text;
  if (format.size() > 4) {
    throw WrongUse(fmt::format("\"{}\" is not a code of at most four characters", Abbreviated(format)));
  }
  const std::string padded = fmt::format("{:>4}", format);
  unsigned int code = 0;
  for (const char character : padded) {
    code = code << 8 | static_cast<unsigned char>(character);
  }
  return format.empty() ? 0 : code;
}

/// Runs a step of the encoder. After a failure the encoder can only be destroyed.
template <class Step>
rho_result Run(rho_encoder* encoder, rho_packet_function function, void* context, Step step) {
  return Guard([&] {
    rho_encoder& run = Given(encoder, "the encoder");
    Given(function, "the packet function");
    // Stays false if the step throws. It also stops the packet function from encoding with the same encoder.
    if (!std::exchange(run.isUsable, false)) {
      throw WrongUse("the encoder has failed, has ended or is in use");
    }
    run.isUsable = step(run.encoder, [function, context](const EncodedPacket& packet) {
      const rho_packet record{packet.bytes.data(), packet.bytes.size(), packet.time, packet.sampleFrames};
      if (const int answer = function(context, &record); answer != 0) {
        throw Failure(fmt::format("the packet function returned {}", answer));
      }
    });
    // After Finish the settings can be changed again; the encoder need not be destroyed first.
    run.state->encoder = run.isUsable ? encoder : nullptr;
  });
}

}  // namespace

extern "C" {

const char* rho_error_text(void) { return t_errorText.data(); }

const char* rho_version(void) { return RHOHOST_VERSION; }

void rho_free(char* text) { std::free(text); }

rho_result rho_find_module(const char* name, char** path) {
  return Guard([&] { StoreCopy(path, FindModule(GivenText(name, "the module's name"))); });
}

rho_result rho_list_modules(unsigned int timeout_milliseconds, char** json) {
  return Guard([&] { StoreCopy(json, Dump(DescribeAllModules(std::chrono::milliseconds(timeout_milliseconds)))); });
}

rho_result rho_describe_module(const char* name, unsigned int timeout_milliseconds, char** json) {
  return Guard([&] {
    StoreCopy(json, Dump(DescribeModule(GivenText(name, "the module's name"),
                                        std::chrono::milliseconds(timeout_milliseconds))));
  });
}

rho_result rho_module_load(const char* name, rho_module** module) {
  return Guard([&] {
    Given(module, "the result");
    *module = new rho_module{std::make_shared<const Module>(GivenText(name, "the module's name"))};
  });
}

void rho_module_unload(rho_module* module) { delete module; }

rho_result rho_compressor_create(rho_module* module, rho_compressor** compressor) {
  return Guard([&] {
    Given(compressor, "the result");
    const std::shared_ptr<const Module>& loaded = Given(module, "the module").module;
    auto state = std::make_shared<CompressorState>(CompressorState{loaded, loaded->CreateCompressor(), {}});
    *compressor = new rho_compressor{std::move(state)};
  });
}

void rho_compressor_destroy(rho_compressor* compressor) { delete compressor; }

rho_result rho_describe(rho_compressor* compressor, char** json) {
  return Guard([&] {
    const CompressorState& state = StateOf(compressor);
    StoreCopy(json, Dump(DescribeCompressor(*state.compressor, state.module->Version())));
  });
}

rho_result rho_set(rho_compressor* compressor, const char* assignment) {
  return rho_set_all(compressor, &assignment, 1);
}

rho_result rho_set_all(rho_compressor* compressor, const char* const* assignments, size_t count) {
  return Guard([&] {
    CompressorState& state = ChangeableState(compressor);
    const std::vector<NamedSetting> settings = ListSettings(*state.compressor);
    std::vector<Assignment> parsed;
    for (size_t index = 0; index < count; ++index) {
      parsed.push_back(ParseAssignment(settings, GivenText((&Given(assignments, "the list"))[index], "an assignment")));
    }
    AssignAll(state, parsed);
  });
}

rho_result rho_set_integer(rho_compressor* compressor, const char* name, int64_t value) {
  // Either type serves: the conversion to the setting's type is exact or refused.
  if (std::in_range<int>(value)) {
    return SetValue(compressor, name, static_cast<int>(value));
  }
  if (std::in_range<unsigned int>(value)) {
    return SetValue(compressor, name, static_cast<unsigned int>(value));
  }
  return Note(RHO_WRONG_USE, "the number is beyond what any setting takes");
}

rho_result rho_set_double(rho_compressor* compressor, const char* name, double value) {
  return SetValue(compressor, name, value);
}

rho_result rho_set_json(rho_compressor* compressor, const char* name, const char* json) {
  return Guard([&] {
    CompressorState& state = ChangeableState(compressor);
    ISetting& setting = Find(state, name);
    const nlohmann::ordered_json value = ParseJson(GivenText(json, "the value"));
    Assignment assignment{.setting = &setting, .value = ParseJsonValue(setting, value)};
    if (!assignment.value && !(value.is_null() && setting.GetIsOptional() != 0)) {
      throw WrongUse(Refusal(setting, Dump(value)));
    }
    AssignAll(state, {assignment});
  });
}

rho_result rho_get_text(rho_compressor* compressor, const char* name, char** text) {
  return Guard([&] { StoreCopy(text, ToUtf8(ValueText(Find(StateOf(compressor), name)))); });
}

rho_result rho_get_json(rho_compressor* compressor, const char* name, char** json) {
  return Guard([&] { StoreCopy(json, Dump(ValueJson(Find(StateOf(compressor), name)))); });
}

rho_result rho_get_integer(rho_compressor* compressor, const char* name, int64_t* value) {
  return Guard([&] {
    const SettingValue held = GetValue(Find(StateOf(compressor), name));
    const auto* const natural = std::get_if<unsigned int>(&held);
    const auto* const whole = std::get_if<int>(&held);
    if (natural == nullptr && whole == nullptr) {
      throw WrongUse(fmt::format("\"{}\" is not a whole number", Abbreviated(name)));
    }
    Given(value, "the result") = natural != nullptr ? int64_t{*natural} : int64_t{*whole};
  });
}

rho_result rho_get_double(rho_compressor* compressor, const char* name, double* value) {
  return Guard([&] {
    const SettingValue held = GetValue(Find(StateOf(compressor), name));
    // If the nested call fails, it stores its own error text, which the one below replaces.
    int64_t whole = 0;
    if (const auto* const number = std::get_if<double>(&held)) {
      Given(value, "the result") = *number;
    } else if (rho_get_integer(compressor, name, &whole) == RHO_OK) {
      Given(value, "the result") = static_cast<double>(whole);
    } else {
      throw WrongUse(fmt::format("\"{}\" is not a number", Abbreviated(name)));
    }
  });
}

rho_result rho_set_frame_rate(rho_compressor* compressor, double frames_per_second) {
  return Guard([&] {
    CompressorState& state = ChangeableState(compressor);
    if (!std::isfinite(frames_per_second) || frames_per_second < 1) {
      throw WrongUse(fmt::format("{} is not a frame rate of 1 or more", frames_per_second));
    }
    state.choices.framesPerSecond = frames_per_second;
  });
}

rho_result rho_load_preset(rho_compressor* compressor, const char* path) {
  return Guard([&] {
    CompressorState& state = ChangeableState(compressor);
    const Preset preset(GivenText(path, "the path"));
    AssignAll(state, preset.AssignmentsFor(*state.compressor, ListSettings(*state.compressor)));
    state.choices.framesPerSecond = preset.FramesPerSecond() ? preset.FramesPerSecond() : state.choices.framesPerSecond;
  });
}

rho_result rho_preset(rho_compressor* compressor, char** json) {
  return Guard([&] {
    const CompressorState& state = StateOf(compressor);
    Given(json, "the result");
    const std::string text = PresetText(*state.compressor, state.choices);
    if (text.empty()) {
      throw WrongUse("nothing was chosen that a preset could hold");
    }
    StoreCopy(json, text);
  });
}

rho_result rho_encoder_create(rho_compressor* compressor, const char* file_format, rho_encoder** encoder) {
  return Guard([&] {
    CompressorState& state = ChangeableState(compressor);
    Given(encoder, "the result");
    EncoderOptions options{.fileFormat = FileFormatCode(file_format)};
    options.framesPerSecond = state.choices.framesPerSecond.value_or(options.framesPerSecond);
    const EncodingFormat format = ChooseFormat(*state.compressor, nullptr);
    *encoder = new rho_encoder{compressor->state, format, Encoder(*state.compressor, format, options)};
    state.encoder = *encoder;
  });
}

void rho_encoder_destroy(rho_encoder* encoder) {
  if (encoder == nullptr) {
    return;
  }
  const std::unique_ptr<rho_encoder> owner(encoder);
  if (encoder->state->encoder == encoder) {
    encoder->state->encoder = nullptr;
    // Ends the run, so that the compressor can begin another. There is nobody to report an error to.
    Guard([encoder] { encoder->state->compressor->CompressFrameEnd(); });
  }
}

rho_result rho_encoder_format(const rho_encoder* encoder, rho_format* format) {
  return Guard([&] {
    const rho_encoder& run = Given(encoder, "the encoder");
    Given(format, "the result") = {.sample_rate = run.format.sampleRate,
                                   .bits = run.format.bits,
                                   .channels = run.format.channels,
                                   .bytes_per_sample_frame = run.format.BytesPerSampleFrame(),
                                   .sample_frames_per_packet = run.encoder.SampleFramesPerPacket(),
                                   .packet_type = run.encoder.PacketType()};
  });
}

rho_result rho_encode(rho_encoder* encoder, const void* bytes, size_t size, rho_packet_function function,
                      void* context) {
  return Run(encoder, function, context, [&](Encoder& run, const Encoder::PacketSink& sink) {
    // `bytes` may be null for no bytes.
    const void* const start = size == 0 ? bytes : &Given(static_cast<const unsigned char*>(bytes), "the data");
    run.Encode({static_cast<const unsigned char*>(start), size}, sink);
    return true;
  });
}

rho_result rho_finish(rho_encoder* encoder, rho_packet_function function, void* context) {
  return Run(encoder, function, context, [](Encoder& run, const Encoder::PacketSink& sink) {
    run.Finish(sink);
    return false;
  });
}
}
