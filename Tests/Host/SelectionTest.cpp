/// Which files are encoded and where to: names, lists, rules, clashes; rsync is asked what its rules mean.

#include "Tests/Host/HostTest.h"

#include <random>

namespace {

using testing::HasSubstr;

class SelectionTest : public HostTest {
 protected:
  SelectionTest() { MakeSound("sound", 8000, 1, "sox -b 16 -t wav", 9); }

  /// Makes copies of one sound, and the folders that they lie in.
  void MakeCopies(const std::string& names) const {
    const Outcome made =
        Run("for name in " + names + "; do mkdir -p \"$(dirname \"$name\")\" && cp sound \"$name\"; done");
    ASSERT_EQ(made.code, 0) << made.errors;
  }

  /// The outputs of a run into "out", sorted, which are gone afterwards.
  std::string Outputs(const std::string& arguments, int code = 0) const {
    const Outcome outcome = RunHost(arguments);
    EXPECT_EQ(outcome.code, code) << arguments << '\n' << outcome.errors;
    return Run("[ ! -e out ] || (cd out && find . ! -type d -printf '%P ' | tr ' ' '\\n' | LC_ALL=C sort | tr '\\n' ' "
               "'); "
               "rm -rf out")
        .output;
  }
};

TEST_F(SelectionTest, KeepsPathsAsRsyncDoes) {
  MakeCopies("music/live/b.wav music/live/deep/c.wav music/a.wav loose.wav other/d.wav");
  Write("crlf", "music/a.wav\r\n\r\nother/d.wav");
  const std::string folder = PathOf("");
  for (const auto& [inputs, outputs] : std::vector<std::pair<std::string, const char*>>{
           {"music loose.wav", "a.mkv live/b.mkv live/deep/c.mkv loose.mkv "},
           {"loose.wav music ./loose.wav music/live/../a.wav music", "a.mkv live/b.mkv live/deep/c.mkv loose.mkv "},
           {"music/live/b.wav " + folder + "other/d.wav", "b.mkv d.mkv "},
           {"music/./live other/./d.wav", "d.mkv live/b.mkv live/deep/c.mkv "},
           {folder + "./music/live/b.wav", "music/live/b.mkv "},
           {"--files-from crlf loose.wav", "loose.mkv music/a.mkv other/d.mkv "},
           {"--files-from - <crlf", "music/a.mkv other/d.mkv "},
           {"--files-from list.0 --null", "music/a.mkv music/live/b.mkv music/live/deep/c.mkv "},
           {"--files-from list", "music/a.mkv music/live/b.mkv music/live/deep/c.mkv "},
           {"--files-from list --files-from crlf --suffix mka",
            "music/a.mka music/live/b.mka music/live/deep/c.mka other/d.mka "},
       }) {
    Run("find ./music -name '*.wav' -print0 >list.0; find music -type d -o -print >list");
    EXPECT_EQ(Outputs("rhohost --to out " + inputs), outputs) << inputs;
  }
  EXPECT_THAT(RunHost("cd other; echo ../loose.wav | rhohost --to ../out --files-from -").errors, HasSubstr("\"/./\""));
  EXPECT_EQ(Outputs("cd other; echo .././loose.wav | rhohost --to ../out --files-from -"), "loose.mkv ");
}

TEST_F(SelectionTest, TakesRulesAsRsyncDoes) {
  MakeCopies(
      "tree/c tree/ac tree/bc tree/a/c tree/a/bc tree/b/c tree/b/ac tree/b/a/c tree/b/a/bc tree/b/ab/a/c tree/ab/c "
      "tree/ab/b/ac");
  const std::vector<std::string> pieces{"*", "**",   "?",    "a",      "b",   "c",  "/",
                                        "/", "[ab]", "[^a]", "[!b-c]", "\\a", "***"};
  std::mt19937 random(14);
  for (int round = 0; round < 40; ++round) {
    std::string rules;
    for (auto rule = random() % 3 + 1; rule != 0; --rule) {
      rules += random() % 3 == 0 ? " --include '" : " --exclude '";
      for (auto piece = random() % 4 + 1; piece != 0; --piece) {
        rules += pieces[random() % pieces.size()];
      }
      rules += "'";
    }
    const std::string expected =
        Run("rsync -r --dry-run --out-format=%n" + rules + " tree/ none/ | grep -v '/$' | LC_ALL=C sort").output;
    const std::string actual = Run("rhohost --to none --dry-run" + rules +
                                   " tree | sed -n 's|^output: none/\\(.*\\).mkv, Matroska$|\\1|p' | LC_ALL=C sort")
                                   .output;
    EXPECT_EQ(actual, expected) << rules;
  }
}

TEST_F(SelectionTest, SettlesClashes) {
  MakeCopies("in/t.wav in/t.flac in/t.b/u.wav in/t-2.wav");
  Run("echo text >in/t.txt");
  const Outcome failing = RunHost("rhohost --to out in");
  EXPECT_EQ(failing.code, 1);
  EXPECT_THAT(failing.errors,
              HasSubstr("in/t.wav: its output out/t.mkv would also be that of in/t.flac: use --on-clash"));
  EXPECT_THAT(failing.errors,
              HasSubstr("in/t.flac: its output out/t.mkv would also be that of in/t.wav: use --on-clash"));
  Run("rm -r out");
  EXPECT_EQ(Outputs("rhohost --to out in", 1), "t-2.mkv t.b/u.mkv ");
  EXPECT_EQ(Outputs("rhohost --to out --on-clash skip in"), "t-2.mkv t.b/u.mkv t.mkv ");
  EXPECT_EQ(Outputs("rhohost --to out --on-clash number in"), "t-2.mkv t-3.mkv t.b/u.mkv t.mkv ");
  EXPECT_EQ(Outputs("rhohost --to out --on-clash keep-extension in"),
            "t-2.wav.mkv t.b/u.wav.mkv t.flac.mkv t.wav.mkv ");
}

TEST_F(SelectionTest, PutsOutputsBesideInputsAndNowhereElse) {
  MakeCopies("in/a.wav in/live/b.wav in/bad.wav");
  Run("echo text >in/bad.wav; echo text >in/notes; mkdir away");
  for (const char* const summary : {"2 files encoded, 1 not a sound file, 1 failed",
                                    "0 files encoded, 2 existing ones skipped, 3 not sound files, 1 failed"}) {
    const Outcome outcome = RunHost("rhohost --to in --suffix mka --skip-existing in");
    EXPECT_THAT(outcome.errors, HasSubstr("in/bad.wav: is not a sound file"));
    EXPECT_THAT(outcome.errors, HasSubstr(summary));
    EXPECT_EQ(outcome.code, 1);
  }
  EXPECT_EQ(Outputs("rm in/*.mka in/bad.wav; mkdir out; ln -s ../away out/live; rhohost --to out in", 1),
            "a.mkv live ");
  EXPECT_EQ(Run("ls away").output, "");
  ExpectRefused({"rhohost in/a.wav out.wav", 2, {"out.wav", ".mkv or .mka"}});
  EXPECT_EQ(RunHost("rhohost --quiet --force in/a.wav out.wav").errors, "");
}

}  // namespace
