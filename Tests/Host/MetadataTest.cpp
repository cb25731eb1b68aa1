/// Tags, chapters, pictures and documents of sound files as other people's readers find them in the output.

#include "Tests/Host/HostTest.h"

#include <ostream>
#include <random>

namespace {

using testing::HasSubstr;
using testing::Not;

std::string LittleEndian32(std::size_t value) {
  std::string bytes;
  for (std::size_t shift = 0; shift < 32; shift += 8) {
    bytes += static_cast<char>(value >> shift & 0xFF);
  }
  return bytes;
}

/// A chunk of a RIFF file.
std::string Chunk(const std::string& id, const std::string& content) {
  return id + LittleEndian32(content.size()) + content + (content.size() % 2 != 0 ? std::string(1, '\0') : "");
}

/// How a file is made from in.wav, which has 2 s of 48 kHz, and what its output must have.
struct Tagged {
  const char* file;
  const char* command;
  std::vector<const char*> tags;  ///< "NAME=text", as mkvextract shows them
  const char* title = "T\xC3\xAFtle";
  const char* chapters = "";
  std::vector<const char*> attachments = {};
};

void PrintTo(const Tagged& tagged, std::ostream* out) { *out << tagged.file; }

#define FFMPEG "ffmpeg -v error -nostdin -i in.wav -metadata title=T\xC3\xAFtle -metadata artist=Me "

const Tagged kTagged[] = {
    {"info.wav",
     FFMPEG "-metadata album=Album -metadata date=2001 -metadata track=7 -metadata comment=C -metadata genre=Rock "
            "info.wav",
     {"ARTIST=Me", "ALBUM=Album", "DATE_RECORDED=2001", "PART_NUMBER=7", "COMMENT=C", "GENRE=Rock"}},
    {"rf64.wav", FFMPEG "-rf64 always rf64.wav", {"ARTIST=Me"}},
    {"bext.wav",
     FFMPEG
     "-write_bext 1 -metadata description=What -metadata originator=Who -metadata originator_reference=Ref "
     "-metadata origination_date=2020-01-02 -metadata origination_time=03:04:05 -metadata time_reference=172824000 "
     "-metadata coding_history=A=PCM -metadata umid=0x0102030405060708090A0B0C0D0E0F1011 bext.wav",
     {"DESCRIPTION=What", "ORIGINATOR=Who", "ORIGINATOR_REFERENCE=Ref", "ORIGINATION_DATE=2020-01-02",
      "ORIGINATION_TIME=03:04:05", "TIME_REFERENCE=172824000", "TIMECODE=01:00:00:15", "CODING_HISTORY=A=PCM",
      "UMID=0x01"}},
    {"id3.aiff", FFMPEG "-write_id3v2 1 -f aiff id3.aiff", {"ARTIST=Me"}},
    {"text.aiff", FFMPEG "-metadata comment=C -f aiff text.aiff", {"COMMENT=C"}},
    {"sox.aiff", "sox in.wav --comment Hello sox.aiff", {"COMMENT=Hello"}, ""},
    {"sox.au", "sox in.wav --comment Hello sox.au", {"COMMENT=Hello"}, ""},
    {"names.au", FFMPEG "names.au", {"ARTIST=Me"}},
    {"info.caf", FFMPEG "-metadata composer=Com -metadata own=x info.caf", {"ARTIST=Me", "COMPOSER=Com", "OWN=x"}},
    {"cd.flac",
     "printf 'FILE a WAVE\n TRACK 01 AUDIO\n INDEX 01 00:00:00\n' >cue && sox in.wav -r 44100 cd.wav && "
     "flac -s --cuesheet=cue --tag=ARTIST=Me cd.wav -o cd.flac",
     {"ARTIST=Me"},
     "",
     "CHAPTER01=00:00:00.000\nCHAPTER01NAME=Track 1\n"},
    {"flac.flac",
     "flac -s --picture='3|image/png|Front||p.png' --picture='4|image/png|||p.png' --tag=ARTIST=Me --tag=artist=You "
     "--tag=TITLE=T\xC3\xAFtle --tag=REPLAYGAIN_TRACK_GAIN='-3.00 dB' --tag=LYRICS='la la' --tag=ALBUMARTIST=All "
     "--tag=CHAPTER001=00:00:00.500 --tag=CHAPTER001NAME=One --tag=Own\\ Name=x in.wav -o flac.flac && printf 'FILE a "
     "WAVE\n"
     " TRACK 01 AUDIO\n INDEX 01 00:01:00\n' >cue && metaflac --import-cuesheet-from=cue flac.flac",
     {"ARTIST=Me", "ARTIST=You", "REPLAYGAIN_TRACK_GAIN=-3.00 dB", "LYRICS=la la", "ALBUM_ARTIST=All", "OWN_NAME=x"},
     "T\xC3\xAFtle",
     "CHAPTER01=00:00:00.500\nCHAPTER01NAME=One\nCHAPTER02=00:00:01.000\nCHAPTER02NAME=Track 1\n",
     {"cover.png", "cover (back).png"}},
    {"flac.oga",
     "flac -s --ogg --picture='3|image/png|Front||p.png' --tag=ARTIST=Me --tag=ARTIST=You --tag=TITLE=T\xC3\xAFtle "
     "in.wav -o flac.oga",
     {"ARTIST=Me", "ARTIST=You"},
     "T\xC3\xAFtle",
     "",
     {"cover.png"}},
    {"vorbis.ogg",
     "sox in.wav --add-comment TITLE=T\xC3\xAFtle --add-comment ARTIST=Me --add-comment ARTIST=You vorbis.ogg",
     {"ARTIST=Me", "ARTIST=You"}},
    {"opus.opus",
     "opusenc --quiet --title T\xC3\xAFtle --artist Me --artist You --picture '3|image/png|Front||p.png' in.wav "
     "opus.opus",
     {"ARTIST=Me", "ARTIST=You", "ENCODER=opusenc"},
     "T\xC3\xAFtle",
     "",
     {"cover.png"}},
    {"lame.mp3",
     "lame --quiet --tt T\xC3\xAFtle --ta Me --tl Album --ty 2001 --tc C --tn 7/12 --tv TCOM=Com --tv TXXX=Mood=Good "
     "--tv TSST=Sub --ti p.png "
     "in.wav lame.mp3",
     {"ARTIST=Me", "ALBUM=Album", "DATE_RECORDED=2001", "COMMENT=C", "PART_NUMBER=7/12", "COMPOSER=Com", "MOOD=Good",
      "TSST=Sub"},
     "T\xC3\xAFtle",
     "",
     {"cover.png"}},
    {"chapters.mp3",
     "printf ';FFMETADATA1\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=250\nEND=900\ntitle=One\n' >m && ffmpeg -v error "
     "-nostdin "
     "-i in.wav -i m -map_metadata 1 -metadata artist=Me chapters.mp3",
     {"ARTIST=Me"},
     "",
     "CHAPTER01=00:00:00.250\nCHAPTER01NAME=One\n"},
    {"v1.mp3", "lame --quiet --id3v1-only --tt Old --ta Me in.wav v1.mp3", {"ARTIST=Me"}, "Old"},
};

class MetadataTest : public HostTest {
 protected:
  MetadataTest() {
    MakeSound("in.wav", 48000, 2, "sox -b 16", 96000);
    // 8 x 8 red pixels.
    EXPECT_EQ(Run("base64 -d >p.png <<END\niVBORw0KGgoAAAANSUhEUgAAAAgAAAAICAIAAABLbSncAAAAEU"
                  "lEQVR42mP4z8CAFTEMLQkAKP8/wc53yE8AAAAASUVORK5CYII=\nEND")
                  .code,
              0);
  }

  /// A WAV file with some chunks before and behind its samples.
  std::string WithChunks(const std::string& before, const std::string& behind) const {
    std::string wav = Read("in.wav");
    wav = wav.insert(wav.find("data"), before) + behind;
    return wav.replace(0, 8, Chunk("RIFF", wav.substr(8)).substr(0, 8));
  }

  std::string Tags(const std::string& file) const {
    return Run("mkvextract " + file +
               " tags - | sed -n 's:.*<Name>\\(.*\\)</Name>.*:\\1:p; s:.*<String>\\(.*\\)</String>.*:\\1:p' | paste "
               "-d= - -")
        .output;
  }
  std::string Chapters(const std::string& file) const { return Run("mkvextract " + file + " chapters -s -").output; }
};

class TaggedTest : public MetadataTest, public testing::WithParamInterface<Tagged> {};

TEST_P(TaggedTest, OtherReadersFindWhatTheFileHad) {
  const Tagged& tagged = GetParam();
  const Outcome made = Run(tagged.command);
  ASSERT_EQ(made.code, 0) << made.errors;
  const Outcome outcome = RunHost("rhohost " + std::string(tagged.file) + " out.mkv");
  ASSERT_EQ(outcome.code, 0) << outcome.errors;
  EXPECT_THAT(outcome.errors, Not(HasSubstr("not kept")));
  const std::string tags = Tags("out.mkv");
  const std::string probed = Run("ffprobe -v error -show_entries format_tags -of default=nw=1 out.mkv").output;
  for (const char* const tag : tagged.tags) {
    EXPECT_THAT("\n" + tags, HasSubstr("\n" + std::string(tag)));
  }
  EXPECT_THAT(probed, testing::AnyOf(HasSubstr(":ARTIST="), HasSubstr(":COMMENT=")));
  EXPECT_THAT(probed, HasSubstr(*tagged.title == '\0' ? "" : "title=" + std::string(tagged.title) + '\n'));
  EXPECT_EQ(Chapters("out.mkv"), tagged.chapters);
  const std::string files = Run("mkvmerge -J out.mkv").output;
  for (std::size_t i = 0; i < tagged.attachments.size(); ++i) {
    const std::string name = tagged.attachments[i];
    EXPECT_THAT(files, HasSubstr("\"file_name\": \"" + name + '"'));
    EXPECT_EQ(Run("mkvextract out.mkv attachments " + std::to_string(i + 1) + ":x >&2 && cmp x p.png").code, 0);
  }
  EXPECT_THAT(Run("mkvinfo -v -v out.mkv").output, Not(testing::ContainsRegex("Unknown element|[Ww]arning|[Ee]rror")));
}

INSTANTIATE_TEST_SUITE_P(Files, TaggedTest, testing::ValuesIn(kTagged));

TEST_F(MetadataTest, ChunksBecomeTagsChaptersAndAttachments) {
  const auto cue = [](unsigned id, unsigned frame) {
    return LittleEndian32(id) + LittleEndian32(frame) + "data" + std::string(8, '\0') + LittleEndian32(frame);
  };
  const auto label = [](unsigned id, const std::string& text) { return Chunk("labl", LittleEndian32(id) + text); };
  const std::string info = Chunk(
      "LIST", "INFO" + Chunk("INAM", "Name") + Chunk("IART", "Caf\xE9") + Chunk("IART", "More") + Chunk("IXYZ", "odd"));
  const std::string documents = Chunk("iXML", "<BWFXML/>") + Chunk("axml", "<ebu/>");
  const std::string cues =
      Chunk("cue ", LittleEndian32(2) + cue(1, 24000) + cue(2, 0)) +
      Chunk("LIST", "adtl" + label(1, std::string(300, 'H')) + Chunk("note", "1234Note") + label(2, "Caf\xE9"));
  Write("chunks.wav", WithChunks(info, cues + documents + Chunk("abcd", "") + Chunk("smpl", std::string(36, 'x'))));

  const Outcome plan = RunHost("rhohost --dry-run chunks.wav out.mkv");
  EXPECT_THAT(plan.output,
              HasSubstr("metadata: TITLE, ARTIST, ARTIST, IXYZ, 2 chapters, iXML.xml (9 bytes), aXML.xml"));
  EXPECT_THAT(plan.output, HasSubstr("\nnot kept: chunk \"note\" in LIST \"adtl\": not supported, chunk \"smpl\" of 36 "
                                     "bytes: not supported\n"));
  EXPECT_THAT(RunHost("rhohost chunks.wav out.mkv").errors, HasSubstr(", chunk \"smpl\" of 36 bytes"));
  EXPECT_EQ(Tags("out.mkv"), "ARTIST=Caf\xC3\xA9\nARTIST=More\nIXYZ=odd\n");
  EXPECT_EQ(Chapters("out.mkv"),
            "CHAPTER01=00:00:00.000\nCHAPTER01NAME=Caf\xC3\xA9\nCHAPTER02=00:00:00.500\nCHAPTER02NAME=" +
                std::string(300, 'H') + '\n');
  EXPECT_EQ(Run("mkvextract out.mkv attachments 1:x 2:y >&2 && cat x y").output, "<BWFXML/><ebu/>");

  const std::string wav = Read("chunks.wav");
  const std::string dataSize = wav.substr(wav.find("data") + 4, 4) + std::string(4, '\0');
  Write("rf64.wav", "RF64\xFF\xFF\xFF\xFFWAVE" +
                        Chunk("ds64", std::string(8, '\0') + dataSize + std::string(12, '\0')) + wav.substr(12));
  EXPECT_EQ(RunHost("rhohost rf64.wav rf64.mkv").code, 0);
  EXPECT_EQ(Chapters("rf64.mkv"), Chapters("out.mkv"));
  Write("bw64.wav", Read("rf64.wav").replace(0, 4, "BW64"));
  EXPECT_EQ(RunHost("rhohost bw64.wav bw64.mkv && cmp rf64.mkv bw64.mkv && cat rf64.wav | rhohost - 1.mkv && cat "
                    "bw64.wav | rhohost - 2.mkv && cmp 1.mkv 2.mkv")
                .code,
            0);

  // Of a pipe there is what precedes the samples.
  Write("before.wav", WithChunks(info + documents, ""));
  EXPECT_EQ(RunHost("cat before.wav | rhohost - pipe.mkv").code, 0);
  EXPECT_EQ(Tags("pipe.mkv"), Tags("out.mkv"));
  EXPECT_EQ(RunHost("rhohost --no-tags chunks.wav bare.mkv && rhohost in.wav plain.mkv && cmp bare.mkv plain.mkv").code,
            0);
}

TEST_F(MetadataTest, TimeReferencesFollowTheOutputsRateAndFrames) {
  Run(FFMPEG "-write_bext 1 -metadata time_reference=172848000 bext.wav");
  EXPECT_EQ(
      RunHost("rhohost --rate 44100 --fps 25 bext.wav pal.mkv && rhohost --fps 30000/1001 bext.wav ntsc.mkv").code, 0);
  EXPECT_THAT(Tags("pal.mkv"), HasSubstr("TIME_REFERENCE=158804100\nTIMECODE=01:00:01:00\n"));
  // 3601 s are 107922.07 frames, counted 30 to a second.
  EXPECT_THAT(Tags("ntsc.mkv"), HasSubstr("TIME_REFERENCE=172848000\nTIMECODE=00:59:57:12\n"));
}

TEST_F(MetadataTest, DamagedMetadataLeavesTheSoundAlone) {
  std::mt19937 random(1);
  for (const Tagged& tagged : kTagged) {
    SCOPED_TRACE(tagged.file);
    ASSERT_EQ(Run(tagged.command).code, 0);
    const std::string bytes = Read(tagged.file);
    for (int damage = 0; damage < 3; ++damage) {
      std::string damaged = bytes;
      for (int i = 0; i < 8; ++i) {
        damaged[random() % 600] = static_cast<char>(random());
      }
      Write(tagged.file, damaged);
      const std::string file = std::string(tagged.file) + ' ';
      const int bare = Run("rhohost --force --no-tags " + file + "bare.mkv").code;
      ASSERT_EQ(Run("rhohost --force " + file + "out.mkv").code, bare);
      ASSERT_LE(bare, 1);
      const char* const compare = "mkvextract out.mkv tracks 0:x >&2 && mkvextract bare.mkv tracks 0:y >&2 && cmp x y";
      EXPECT_EQ(bare == 0 ? Run(compare).code : 0, 0);
    }
  }
  Run("lame --quiet --tt Title in.wav cut.mp3");
  std::string id3 = Read("cut.mp3").substr(0, 128);
  Write("cut.wav",
        WithChunks(Chunk("LIST", "INFO" + Chunk("INAM", "Name").replace(4, 1, 1, '\x7F')) + Chunk("id3 ", id3), ""));
  EXPECT_THAT(RunHost("rhohost cut.wav cut.mkv").errors, HasSubstr("; not kept: end of the RIFF INFO: damaged"));
}

/// Millions of items in little space, frames in frames, and what expands without end: the sound goes on without them.
TEST_F(MetadataTest, AFloodOfMetadataTakesNeitherTimeNorMemory) {
  const auto number = [](std::size_t value) {
    const std::string little = LittleEndian32(value);
    return std::string(little.rbegin(), little.rend());
  };
  const auto frame = [&](const std::string& id, char flags, const std::string& body) {
    return id + number(body.size()) + '\0' + flags + body;
  };
  const auto id3 = [](const std::string& frames) {
    std::string tag("ID3\3\0\0", 6);
    for (const int shift : {21, 14, 7, 0}) {
      tag += static_cast<char>(frames.size() >> shift & 0x7F);
    }
    return tag + frames;
  };
  std::string list = ";FFMETADATA1\n";
  std::string objects;
  std::string nested;
  for (std::size_t left = 20000; left-- != 0;) {
    list += left < 5000 ? "N" + std::to_string(left) + "=x\n" : "";
    objects += frame("GEOB", '\0', std::string("\0a\0f\0d\0x", 8));
    constexpr std::size_t kFixed = 18;
    const std::size_t inner = left * (10 + kFixed);
    nested += "CHAP" + number(kFixed + inner) + std::string(2, '\0') + 'c' + std::string(kFixed - 1, '\0');
  }
  Write("list", list);
  const std::string bomb = Run("python3 -c 'import sys, zlib; "
                               "sys.stdout.buffer.write(bytes([4, 0, 0, 0]) + zlib.compress(bytes(1 << 26), 9))'")
                               .output;
  Write("objects.wav", WithChunks(Chunk("id3 ", id3(objects)), ""));
  Write("nested.wav", WithChunks(Chunk("id3 ", id3(nested)), ""));
  Write("bomb.wav", WithChunks(Chunk("id3 ", id3(frame("APIC", '\x80', bomb))), ""));
  std::string comments;
  for (int i = 0; i < 90000; ++i) {
    comments += LittleEndian32(7) + "A=" + std::to_string(10000 + i);
  }
  comments = std::string(4, '\0') + LittleEndian32(90000) + comments;
  Run("flac -s --no-padding in.wav && ffmpeg -v error -nostdin -i in.wav -i list -map_metadata 1 5000.opus "
      "-map_metadata "
      "1 5000.mp3");
  Write("comments.flac", Read("in.flac").insert(42, '\4' + number(comments.size()).substr(1) + comments));
  Write("items.mp3", Read("5000.mp3") + "APETAGEX" + LittleEndian32(2000) + LittleEndian32(99) + LittleEndian32(5000) +
                         std::string(12, '\0'));
  for (const auto& [file, says] : std::vector<std::pair<const char*, const char*>>{
           {"objects.wav", "too many frames"},
           {"nested.wav", ""},
           {"bomb.wav", "ID3v2 frame APIC: not supported"},
           {"comments.flac", "more than 4096 tags"},
           {"5000.opus", "too many"},
           {"5000.mp3", "too many frames"},
           {"items.mp3", "too many APE items"},
       }) {
    SCOPED_TRACE(file);
    const Outcome outcome = RunHost("timeout 9 rhohost --force " + std::string(file) + " out.mkv");
    EXPECT_EQ(outcome.code, 0);
    EXPECT_THAT(outcome.errors, HasSubstr(says));
    // The figure includes this process's own memory at the start of the program, much of it under a sanitizer.
    EXPECT_LT(outcome.peakKiB, MEMORY_MIB * 1024 * (IS_SANITIZED ? 4 : 1));
  }
}

}  // namespace
