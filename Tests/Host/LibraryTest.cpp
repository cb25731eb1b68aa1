/// The library for hosts, in C and C++: right use gives packets, wrong use and broken modules give an error text.

#include "Host/Library/rho.h"
#include "Host/Library/rho.hpp"
#include "Tests/Support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <cmath>
#include <csignal>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

namespace {

using nlohmann::json;
using testing::HasSubstr;

std::string Take(char* text) {
  std::string taken = text;
  rho_free(text);
  return taken;
}

/// The text that `function` writes through its last parameter; its error if it fails.
std::string TextOf(const std::function<rho_result(char**)>& function) {
  char* text = nullptr;
  return function(&text) == RHO_OK ? Take(text) : rho_error_text();
}

/// How a call ended, with its error text.
using Tried = std::pair<rho_result, std::string>;
Tried Try(rho_result result) { return {result, rho_error_text()}; }

class LibraryTest : public testing::Test {
 protected:
  void SetUp() override { Create(ALL_SETTINGS); }
  void TearDown() override { Destroy(); }

  void Create(const char* path) {
    Destroy();
    EXPECT_EQ(rho_module_load(path, &m_module), RHO_OK) << rho_error_text();
    EXPECT_EQ(rho_compressor_create(m_module, &m_compressor), RHO_OK) << rho_error_text();
    rho_module_unload(m_module);  // the compressor keeps it
    m_module = nullptr;
  }
  void Destroy() {
    rho_compressor_destroy(m_compressor);  // an encoder keeps it
    rho_encoder_destroy(m_encoder);
    m_compressor = nullptr;
    m_encoder = nullptr;
  }

  std::string Json(const char* name) const {
    return TextOf([&](char** text) { return rho_get_json(m_compressor, name, text); });
  }

  static int Collect(void* context, const rho_packet* packet) {
    static_cast<std::string*>(context)->append(reinterpret_cast<const char*>(packet->bytes), packet->size);
    return 0;
  }

  rho_module* m_module = nullptr;
  rho_compressor* m_compressor = nullptr;
  rho_encoder* m_encoder = nullptr;
};

TEST_F(LibraryTest, SettingsHaveTypedValuesTextsAndJson) {
  const std::vector<const char*> texts{"SampleRate=96000", "Mode=careful, slow", "Note again=3"};
  EXPECT_EQ(rho_set_all(m_compressor, texts.data(), 2), RHO_OK) << rho_error_text();
  EXPECT_EQ(rho_set_integer(m_compressor, "SampleSize", 24), RHO_OK) << rho_error_text();
  EXPECT_EQ(rho_set_integer(m_compressor, "Scale", 2), RHO_OK) << "a number of another type that is exact";
  EXPECT_EQ(rho_set_double(m_compressor, "Rate", 23.976), RHO_OK) << rho_error_text();
  EXPECT_EQ(rho_set_double(m_compressor, "Offset", -7.0), RHO_OK) << "the same";
  EXPECT_EQ(rho_set_json(m_compressor, "Gains", "[4, 5, 6]"), RHO_OK) << rho_error_text();
  int64_t whole = 0;
  double number = 0;
  EXPECT_EQ(rho_get_integer(m_compressor, "DataRate", &whole), RHO_OK);
  EXPECT_EQ(whole, 96000 * 2 * 3) << "it follows";
  EXPECT_EQ(rho_get_double(m_compressor, "Rate", &number), RHO_OK);
  EXPECT_EQ(number, 23.976);
  EXPECT_EQ(Json("Mode") + Json("Gains") + Json("Scale") + Json("Offset"), "\"Careful, slow\"[4,5,6]2.0-7");

  const TemporaryFolder folder;
  EXPECT_EQ(rho_set_frame_rate(m_compressor, 25), RHO_OK);
  const std::string preset = TextOf([&](char** text) { return rho_preset(m_compressor, text); });
  EXPECT_EQ(json::parse(preset)["settings"].size(), 7);
  folder.Write("preset", preset);
  Create(ALL_SETTINGS);
  EXPECT_EQ(rho_load_preset(m_compressor, (folder / "preset").c_str()), RHO_OK) << rho_error_text();
  EXPECT_EQ(TextOf([&](char** text) { return rho_preset(m_compressor, text); }), preset);
}

TEST_F(LibraryTest, EncodesAndAllowsNothingMeanwhile) {
  Create(PCM_MODULE);
  std::string taken;
  rho_format format{};
  ASSERT_EQ(rho_encoder_create(m_compressor, "MKV", &m_encoder), RHO_OK) << rho_error_text();
  ASSERT_EQ(rho_encoder_format(m_encoder, &format), RHO_OK);
  EXPECT_EQ(format.sample_frames_per_packet, 1470);
  EXPECT_EQ(rho_set(m_compressor, "SampleRate=48000"), RHO_WRONG_USE);
  rho_encoder* second = nullptr;
  EXPECT_EQ(rho_encoder_create(m_compressor, "MKV", &second), RHO_WRONG_USE);
  const std::string samples(std::size_t{100003} * format.bytes_per_sample_frame, 'x');
  EXPECT_EQ(rho_encode(m_encoder, samples.data(), samples.size(), Collect, &taken), RHO_OK) << rho_error_text();
  EXPECT_EQ(rho_encode(m_encoder, nullptr, 0, Collect, &taken), RHO_OK);
  rho_compressor* const compressor = m_compressor;
  EXPECT_EQ(rho_finish(m_encoder, Collect, &taken), RHO_OK) << rho_error_text();
  EXPECT_EQ(taken, samples);
  EXPECT_EQ(rho_finish(m_encoder, Collect, &taken), RHO_WRONG_USE);
  EXPECT_EQ(rho_set(compressor, "SampleRate=48000"), RHO_OK) << rho_error_text();

  // A finished encoder that is destroyed late does not end the run of the next one.
  ASSERT_EQ(rho_encoder_create(compressor, "MKV", &second), RHO_OK) << rho_error_text();
  rho_encoder_destroy(std::exchange(m_encoder, second));
  EXPECT_EQ(rho_set(compressor, "SampleRate=44100"), RHO_WRONG_USE);
  EXPECT_EQ(rho_encode(m_encoder, samples.data(), samples.size(), Collect, &taken), RHO_OK) << rho_error_text();

  // After each kind of failure the compressor can begin anew.
  const auto stop = [](void*, const rho_packet*) { return 7; };
  for (const auto& [size, function, result, says] :
       {std::tuple{samples.size() - 1, &LibraryTest::Collect, RHO_WRONG_USE, "whole sample frames"},
        std::tuple{samples.size(), +stop, RHO_FAILED, "returned 7"}}) {
    rho_encoder_destroy(m_encoder);
    m_encoder = nullptr;
    ASSERT_EQ(rho_encoder_create(m_compressor, nullptr, &m_encoder), RHO_OK) << rho_error_text();
    EXPECT_EQ(rho_encode(m_encoder, samples.data(), size, function, &taken), result);
    EXPECT_THAT(rho_error_text(), HasSubstr(says));
    EXPECT_EQ(rho_finish(m_encoder, function, &taken), RHO_WRONG_USE);
  }
}

TEST_F(LibraryTest, WrongUseIsAnErrorText) {
  char* text = nullptr;
  int64_t whole = 0;
  double number = 0;
  rho_format format{};
  for (const auto& [tried, says] : std::vector<std::pair<Tried, const char*>>{
           {Try(rho_find_module(nullptr, &text)), "name is null"},
           {Try(rho_find_module("PCMPlugin", nullptr)), "result is null"},
           {Try(rho_module_load("x", nullptr)), "result is null"},
           {Try(rho_compressor_create(nullptr, &m_compressor)), "module is null"},
           {Try(rho_describe(nullptr, &text)), "compressor is null"},
           {Try(rho_set(m_compressor, nullptr)), "assignment is null"},
           {Try(rho_set_all(m_compressor, nullptr, 1)), "list is null"},
           {Try(rho_set(m_compressor, "Level")), "expected NAME=VALUE"},
           {Try(rho_set(m_compressor, ("x" + std::string(100000, 'y') + "=1").c_str())), "no setting \"xyy"},
           {Try(rho_set(m_compressor, "Level=5")), "allowed are -6, 0 and 6, not 5"},
           {Try(rho_set(m_compressor, "Asleep=x")), "not active"},
           {Try(rho_set_integer(m_compressor, "SampleRate", -1)), "not -1"},
           {Try(rho_set_integer(m_compressor, "SampleRate", INT64_MAX)), "beyond"},
           {Try(rho_set_double(m_compressor, "SampleRate", 44100.5)), "not 44100.5"},
           {Try(rho_set_double(m_compressor, "Offset", 1e30)), "not 1e+30"},
           {Try(rho_set_integer(m_compressor, "Mode", 1)), "not 1"},
           {Try(rho_set_json(m_compressor, "Level", "{")), "not JSON"},
           {Try(rho_set_json(m_compressor, "Level", "null")), "not null"},
           {Try(rho_set_json(m_compressor, "Level", std::string(100000, '[').c_str())), "nested too deeply"},
           {Try(rho_get_text(m_compressor, "All/Nothing", &text)), "no setting"},
           {Try(rho_get_integer(m_compressor, "Mode", &whole)), "not a whole number"},
           {Try(rho_get_double(m_compressor, "Mode", &number)), "not a number"},
           {Try(rho_set_frame_rate(m_compressor, NAN)), "frame rate"},
           {Try(rho_preset(m_compressor, &text)), "nothing was chosen"},
           {Try(rho_encoder_create(m_compressor, "TOO LONG", &m_encoder)), "at most four characters"},
           {Try(rho_encoder_format(nullptr, &format)), "encoder is null"},
           {Try(rho_encode(nullptr, nullptr, 0, Collect, nullptr)), "encoder is null"},
       }) {
    EXPECT_EQ(tried.first, RHO_WRONG_USE) << says;
    EXPECT_THAT(tried.second, testing::AllOf(HasSubstr(says), testing::SizeIs(testing::Le(600))));
  }
  rho_compressor_destroy(nullptr);
  rho_module_unload(nullptr);
  rho_encoder_destroy(nullptr);
  rho_free(nullptr);
}

TEST_F(LibraryTest, CppClassesThrowErrorsAndPassOnThoseOfTheSink) {
  rho::Compressor compressor = rho::Module(ALL_SETTINGS).CreateCompressor();
  compressor.Set("SampleRate", std::uint64_t{96000});
  compressor.Set("Rate", 23.976F);
  compressor.Set("Mode", "careful, slow");
  compressor.SetJson("Gains", "[4,5,6]");
  EXPECT_EQ(compressor.GetInteger("SampleRate"), 96000);
  EXPECT_EQ(compressor.GetDouble("Rate"), 23.976F);
  EXPECT_EQ(compressor.GetText("Mode") + compressor.GetJson("Gains"), "Careful, slow[4,5,6]");
  EXPECT_EQ(json::parse(compressor.PresetText())["settings"].size(), 4);
  const std::string zero("a\0b", 3);
  for (const auto& [use, says] : std::vector<std::pair<std::function<void()>, const char*>>{
           {[&] { compressor.Set("SampleRate", std::numeric_limits<std::uint64_t>::max()); }, "beyond"},
           {[&] { compressor.Set("SampleRate", -1); }, "not -1"},
           {[&] {
              compressor.SetAll({"SampleRate=48000", "Mode=" + zero});
            },
            "zero byte"},
           {[&] { compressor.GetText(zero); }, "zero byte"},
           {[&] { compressor.SetFrameRate(0); }, "frame rate"},
           {[&] { rho::Encoder(compressor, "TOO LONG"); }, "at most four characters"}}) {
    EXPECT_THROW(use(), rho::WrongUse);
    EXPECT_THAT(MessageOf(use), HasSubstr(says));
  }
  EXPECT_THROW(compressor.SetAll({"SampleRate=8000", "Mode=", "Scale=7", "Level=5"}), rho::WrongUse);
  EXPECT_EQ(compressor.GetText("SampleRate") + compressor.GetJson("Mode") + compressor.GetText("Scale"),
            "96000\"Careful, slow\"0.1")
      << "nothing of a refused list is set";
  EXPECT_THROW(rho::DescribeModule(BAD_MODULES "/CrashesOnLoad.so"), rho::Error);

  rho::Compressor pcm = rho::Module(PCM_MODULE).CreateCompressor();
  const std::string samples(std::size_t{44100} * 4, 'x');
  std::string taken;
  const auto append = [&taken](const rho::Packet& packet) {
    taken.append(reinterpret_cast<const char*>(packet.bytes), packet.size);
  };
  {
    rho::Encoder stopped(pcm);
    EXPECT_THROW(stopped.Encode(samples.data(), samples.size(), [](const rho::Packet&) { throw 7; }), int);
    EXPECT_THROW(stopped.Finish(append), rho::WrongUse);
  }
  rho::Encoder encoder(pcm, "MKV");
  EXPECT_THROW(pcm.Set("SampleRate", 48000), rho::WrongUse);
  encoder.Encode(samples.data(), samples.size(), append);
  encoder.Finish(append);
  EXPECT_EQ(taken, samples);
  EXPECT_EQ(encoder.Format().sample_frames_per_packet, 1470);
}

TEST_F(LibraryTest, BrokenModulesDoNotHurtTheHost) {
  for (const auto& [module, says] : {std::pair("CrashesOnLoad", "crashed on loading (SIGABRT)"),
                                     std::pair("ExitsOnLoad", "ended the process on loading"),
                                     std::pair("HangsOnLoad", "hung on loading for more than 2.5 s"),
                                     std::pair("NoEntryPoint", "no entry point CreateAudioCompressor"),
                                     std::pair("NoObject", "returns no compressor")}) {
    const std::string path = std::string(BAD_MODULES "/") + module + ".so";
    const unsigned int limit = path.ends_with("HangsOnLoad.so") ? 2500 : 30000;
    EXPECT_THAT(TextOf([&](char** text) { return rho_describe_module(path.c_str(), limit, text); }), HasSubstr(says));
  }
  std::signal(SIGCHLD, SIG_IGN);  // as in some hosts: the system then keeps no status of children
  EXPECT_THAT(TextOf([](char** text) { return rho_describe_module(BAD_MODULES "/CrashesOnLoad.so", 30000, text); }),
              HasSubstr("ended on loading; whether by a crash is unknown"));
  std::signal(SIGCHLD, SIG_DFL);
  EXPECT_THAT(TextOf([&](char** text) { return rho_find_module("libc.so.6", text); }), HasSubstr("no module"));
  EXPECT_THAT(TextOf([&](char** text) { return rho_find_module("PCMPlugin", text); }),
              testing::EndsWith("PCMPlugin.bundle/Contents/x86_64-linux/PCMPlugin.so"));
  Create(BAD_MODULES "/NoFrame.so");
  std::string taken;
  ASSERT_EQ(rho_encoder_create(m_compressor, "MKV", &m_encoder), RHO_OK) << rho_error_text();
  EXPECT_EQ(rho_encode(m_encoder, "abcd", 4, Collect, &taken), RHO_FAILED);
  EXPECT_THAT(rho_error_text(), HasSubstr("cannot encode at sample frame 0 (status 80010002)"));
}

}  // namespace
