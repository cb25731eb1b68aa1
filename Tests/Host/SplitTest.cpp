/// Channels that no layout takes, as tracks of one file: each compared with the encoding of that channel alone.

#include "Tests/Host/HostTest.h"

#include <nlohmann/json.hpp>

namespace {

using testing::HasSubstr;
using Names = std::vector<std::string>;

class SplitTest : public HostTest {
 protected:
  Names TrackNames(const std::string& file) const {
    Names names;
    const auto description = nlohmann::json::parse(Run("mkvmerge -J " + file).output);
    for (const auto& track : description.at("tracks")) {
      names.push_back(track.at("properties").value("track_name", ""));
    }
    return names;
  }

  /// Appends a chunk of even size to a WAV file.
  void AppendChunk(const std::string& file, const std::string& id, const std::string& content) const {
    const auto number = [](std::size_t value) {
      return std::string{static_cast<char>(value), static_cast<char>(value >> 8U), static_cast<char>(value >> 16U), 0};
    };
    std::string bytes = Read(file) + id + number(content.size()) + content;
    Write(file, bytes.replace(4, 4, number(bytes.size() - 8)));
  }
};

TEST_F(SplitTest, EachChannelBecomesATrack) {
  MakeSound("masked.wav", 44100, 5, "ffmpeg -channel_layout 5.0 -c:a pcm_s24le");
  MakeSound("discrete.wav", 48000, 9, "sox -b 16");
  MakeSound("quad.flac", 48000, 4, "sox -b 24");
  MakeSound("recorder.wav", 48000, 3, "sox -b 24");
  AppendChunk("recorder.wav", "iXML",
              "<BWFXML><TRACK_LIST><TRACK><INTERLEAVE_INDEX>3</INTERLEAVE_INDEX><NAME>Boom &amp; "
              "l\xC3\xA4v</NAME></TRACK><TRACK><INTERLEAVE_INDEX>4</INTERLEAVE_INDEX><NAME>x</NAME></TRACK>"
              "</TRACK_LIST></BWFXML> ");
  for (const auto& [input, options, names] : std::vector<std::tuple<std::string, std::string, Names>>{
           {"masked.wav", "", {"FL", "FR", "FC", "BL", "BR"}},
           {"masked.wav", "--rate 48000 --bits 16 --fps 25", {"FL", "FR", "FC", "BL", "BR"}},
           {"discrete.wav",
            "",
            {"Channel 1", "Channel 2", "Channel 3", "Channel 4", "Channel 5", "Channel 6", "Channel 7", "Channel 8",
             "Channel 9"}},
           {"quad.flac", "--fps 1", {"FL", "FR", "BL", "BR"}},
           {"recorder.wav", "", {"Channel 1", "Channel 2", "Boom & l\xC3\xA4v"}},
       }) {
    SCOPED_TRACE(input + " " + options);
    ExpectRefused({"rhohost --quiet " + options + " " + input + " out.mkv", 1, {input.c_str(), "--split"}});
    const Outcome split = RunHost("rhohost --split --verify --json " + options + " " + input + " out.mkv");
    EXPECT_EQ(split.code, 0) << split.errors;
    EXPECT_EQ(TrackNames("out.mkv"), names);
    std::string command = "ffmpeg -v error -i out.mkv";
    std::vector<Track> tracks;
    for (std::size_t track = 0; track < names.size(); ++track) {
      const std::string number = std::to_string(track);
      Run("sox " + input + " one.wav remix " + std::to_string(track + 1));
      ASSERT_EQ(RunHost("rhohost --force " + options + " one.wav " + number + ".mkv").code, 0);
      tracks.insert(tracks.end(), {{"out.mkv", track}, {number + ".mkv"}});
      command += " -map 0:a:" + number + " -c copy -f data ../copy" + number;
    }
    const std::vector<Samples> samples = Decode(tracks);
    const std::string hashes = Run(command + " && xxhsum -H3 ../copy* && rm ../copy*").output;
    for (std::size_t track = 0; track < names.size(); ++track) {
      EXPECT_EQ(samples[2 * track], samples[2 * track + 1]) << track;
      const std::string hash = hashes.substr(hashes.find("/copy" + std::to_string(track) + ") = ") + 10, 16);
      EXPECT_THAT(split.output, HasSubstr(hash));
    }
    Run("rm out.mkv");
  }
}

TEST_F(SplitTest, LayoutsStayWhole) {
  MakeSound("a.wav", 48000, 2, "sox -b 16");
  MakeSound("b.wav", 48000, 6, "sox -b 16");
  MakeSound("c.wav", 48000, 3, "sox -b 16");
  ASSERT_EQ(RunHost("rhohost --quiet a.wav a.mkv && rhohost --quiet b.wav b.mkv").code, 0);
  EXPECT_THAT(RunHost("rhohost --split --to out a.wav b.wav c.wav").errors,
              HasSubstr("3 files encoded, 1 of them split into tracks"));
  EXPECT_EQ(Run("cmp a.mkv out/a.mkv && cmp b.mkv out/b.mkv").code, 0);
  ExpectRefused(
      {"rhohost --split --channels 5.1 b.wav new.mkv", 2, {"--split and --channels cannot be used together"}});
}

}  // namespace
