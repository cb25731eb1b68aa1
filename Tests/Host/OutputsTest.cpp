/// What becomes of outputs when the system, the folder around them or other programs get in the way: power failures,
/// signals, rights of replaced files, file systems with little to offer.

#include "Tests/Host/HostTest.h"

#include <sys/xattr.h>
#include <unistd.h>
#include <algorithm>
#include <csignal>
#include <sstream>

namespace {

using testing::HasSubstr;

class OutputsTest : public HostTest {
 protected:
  OutputsTest() {
    MakeSound("in.wav", 48000, 2, "sox -b 16");
    EXPECT_EQ(Run("rhohost in.wav ../whole.mkv").code, 0);
    Write("old.mkv", "old");
  }

  /// "rhohost" with a fault as Tests/Support/SystemCalls.h writes it.
  static std::string WithFault(const std::string& fault) {
    return "LD_PRELOAD=" SYSTEM_CALLS " FAULT='" + fault + "' " ENVIRONMENT " rhohost ";
  }

  bool IsWhole(const std::string& file) const { return Read(file) == Read("../whole.mkv"); }
};

/// What may be on the disk after a power failure, from the calls that came before it: data that was not forced is lost,
/// and any rename may have happened or not. After each call a name must lead to nothing, to the old file or to all of
/// the new one.
class DiskModel {
 public:
  void Add(const std::string& function, const std::string& path) {
    const std::size_t end = path.find(".rhohost-");
    const std::size_t name = path.rfind('/') + 1;
    const bool isTemporary = end != std::string::npos;
    const std::string file = isTemporary ? path.substr(0, name) + path.substr(name + 1, end - name - 1) : path;
    if (function == "syncfs") {
      m_unforced.clear();
      m_unforcedNames.clear();
    } else if (function == "fsync") {
      m_unforced.erase(file);
      std::erase_if(m_unforcedNames,
                    [&path](const std::string& renamed) { return fs::path(renamed).parent_path() == path; });
    } else if (isTemporary && (function == "openat" || function.find("write") != std::string::npos)) {
      m_unforced.insert(file);
    } else if (function.starts_with("rename")) {
      m_names += 1;
      m_unforcedNames.insert(path);
    }
    m_damaged += std::any_of(m_unforcedNames.begin(), m_unforcedNames.end(),
                             [this](const std::string& renamed) { return m_unforced.contains(renamed); });
  }

  int m_names = 0;                        ///< that outputs have taken
  int m_damaged = 0;                      ///< calls after which a name may lead to an empty or incomplete file
  std::set<std::string> m_unforcedNames;  ///< that may not be on the disk

 private:
  std::set<std::string> m_unforced;  ///< files, by their final names, with data that may not be on the disk
};

TEST_F(OutputsTest, APowerFailureLeavesOldOrWholeFiles) {
  ASSERT_EQ(Run("mkdir -p in/sub; for i in $(seq 20); do ln in.wav in/$i.wav; ln in.wav in/sub/$i.wav; done").code, 0);
  for (const auto& [arguments, names, isForced] : std::vector<std::tuple<std::string, int, bool>>{
           {"in.wav new.mkv", 1, true},
           {"--force --verify --bits 24 --save-preset saved in.wav old.mkv", 2, true},
           {"--jobs 1 --to one in", 40, true},
           {"--jobs 3 --to many in", 40, true},
           {"--no-sync --jobs 1 --to loose in", 40, false},
       }) {
    SCOPED_TRACE(arguments);
    EXPECT_EQ(Run("exec 9>../calls; " + WithFault("trace") + arguments).code, 0);
    DiskModel disk;
    int waits = 0;
    std::istringstream calls(Read("../calls"));
    for (std::string function, path; calls >> function && std::getline(calls >> std::ws, path);) {
      disk.Add(function, path);
      waits += function.find("sync") != std::string::npos ? 1 : 0;
    }
    EXPECT_EQ(disk.m_names, names);
    EXPECT_EQ(disk.m_damaged == 0, isForced);
    EXPECT_EQ(disk.m_unforcedNames.empty(), isForced);
    EXPECT_LE(waits, isForced ? 6 : 0) << "small files are to share their waits";
  }
}

TEST_F(OutputsTest, EverySignalThatEndsTheProgramRemovesTheTemporaryFile) {
  const std::set<int> others{SIGKILL, SIGSTOP, SIGTSTP,  SIGTTIN, SIGTTOU, SIGCONT,
                             SIGCHLD, SIGURG,  SIGWINCH, SIGPIPE, SIGXFSZ};
  const std::set<int> ofSanitizers{SIGSEGV, SIGBUS, SIGFPE, SIGILL};
  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    const bool isOfTheLibrary = signal >= 32 && signal < SIGRTMIN;
    if (others.contains(signal) || isOfTheLibrary || (IS_SANITIZED && ofSanitizers.contains(signal))) {
      continue;
    }
    EXPECT_EQ(Run(WithFault("write:1:-" + std::to_string(signal)) + "--force in.wav old.mkv").code, 128 + signal);
    EXPECT_EQ(Run("ls -A").output, "in.wav\nold.mkv\n") << signal;
  }
  EXPECT_TRUE(Read("old.mkv") == "old");
}

/// An access control list as the attribute of the file system holds it: user::rw-, user:12345:USER, group::---,
/// mask::r--, other::---.
std::string AccessList(char user) {
  const std::string none(4, '\xFF');
  return std::string("\2\0\0\0\1\0\6\0", 8) + none + std::string("\2\0", 2) + user + std::string("\0\x39\x30\0\0", 5) +
         std::string("\4\0\0\0", 4) + none + std::string("\x10\0\4\0", 4) + none + std::string("\x20\0\0\0", 4) + none;
}

TEST_F(OutputsTest, AReplacedFileKeepsItsRightsFromTheFirstByte) {
  const std::string path = PathOf("old.mkv");
  const auto attribute = [&path](const char* name) {
    char value[256];
    return std::string(
        value, static_cast<std::size_t>(std::max<ssize_t>(getxattr(path.c_str(), name, value, sizeof value), 0)));
  };
  const auto set = [](const std::string& file, const char* name, const std::string& value) {
    return setxattr(file.c_str(), name, value.data(), value.size(), 0) == 0;
  };
  const auto replaceAt = [this](const char* call) {
    const std::string look = "stat -c %a .old.mkv.*.tmp >../mode";
    EXPECT_EQ(Run("umask 0; " + WithFault(std::string(call) + ":1:" + look) + "--force in.wav old.mkv").code, 0);
    EXPECT_TRUE(IsWhole("old.mkv"));
    return Read("../mode");
  };
  fs::permissions(path, fs::perms(04640));
  EXPECT_EQ(replaceAt("fchmod"), "600\n");
  EXPECT_EQ(replaceAt("write"), "640\n");
  if (!set(path, "user.note", "mine") || !set(path, "system.posix_acl_access", AccessList('\4'))) {
    GTEST_SKIP() << "the file system has no access control lists";
  }
  EXPECT_EQ(replaceAt("write"), "640\n");
  EXPECT_EQ(attribute("system.posix_acl_access"), AccessList('\4'));
  EXPECT_EQ(attribute("user.note"), "mine");

  // New files in the folder get a list of their own, which must not be added to the old file's rights.
  removexattr(path.c_str(), "system.posix_acl_access");
  fs::permissions(path, fs::perms(0640));
  ASSERT_TRUE(set(PathOf("."), "system.posix_acl_default", AccessList('\6')));
  EXPECT_EQ(replaceAt("write"), "640\n");
  EXPECT_EQ(attribute("system.posix_acl_access"), "");
  removexattr(PathOf(".").c_str(), "system.posix_acl_default");

  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can make files of other users";
  }
  EXPECT_EQ(Run("chown 12345:12346 old.mkv && rhohost --force in.wav old.mkv && stat -c '%u:%g %a' old.mkv").output,
            "12345:12346 640\n");
  // Another user keeps neither owner nor group: the group gets what others have.
  EXPECT_EQ(
      Run("chmod 777 . && chmod 755 .. && chmod 664 old.mkv && setpriv --reuid 12347 --regid 12347 --clear-groups "
          "rhohost --force in.wav old.mkv && stat -c '%u:%g %a' old.mkv")
          .output,
      "12347:12347 644\n");
}

TEST_F(OutputsTest, FileSystemsWithNeitherExclusiveRenamesNorLinksGetOutputs) {
  const std::string exfat = WithFault("renameat2|linkat:1:95+");
  EXPECT_EQ(Run(exfat + "in.wav new.mkv").code, 0);
  EXPECT_TRUE(IsWhole("new.mkv"));
  MakeSound("../long.wav", 48000, 2, "sox -b 16", 500'000);  // more than pipes hold: the output exists before its end
  const Outcome late = Run("{ cat ../long.wav; echo mine >late.mkv; } | " + exfat + "- late.mkv");
  EXPECT_EQ(late.code, 1);
  EXPECT_THAT(late.errors, HasSubstr("late.mkv: exists already"));
  EXPECT_EQ(Run("cat late.mkv; ls -A").output, "mine\nin.wav\nlate.mkv\nnew.mkv\nold.mkv\n");
}

TEST_F(OutputsTest, TheFolderMayBeRenamedAndTheTemporaryFileNotReplaced) {
  EXPECT_EQ(Run("mkdir a; " + WithFault("fsync:1:mv a b") + "in.wav a/new.mkv").code, 0);
  EXPECT_TRUE(IsWhole("b/new.mkv"));
  EXPECT_EQ(Run(WithFault("fsync:1:mv b c; kill -TERM $PPID; sleep 9") + "--force in.wav b/new.mkv").code,
            128 + SIGTERM);
  EXPECT_EQ(Run("ls -A . c").output, ".:\nc\nin.wav\nold.mkv\n\nc:\nnew.mkv\n");
  const Outcome swapped = Run(WithFault("fsync:1:for f in .old.mkv.*; do echo theirs >other; mv other $f; done") +
                              "--force in.wav old.mkv");
  EXPECT_EQ(swapped.code, 1);
  EXPECT_THAT(swapped.errors, HasSubstr("old.mkv: another program has removed or replaced the temporary file"));
  EXPECT_EQ(Run("cat old.mkv .old.mkv.*").output, "oldtheirs\n");
}

TEST_F(OutputsTest, ALongNameIsCutBetweenCharacters) {
  const std::string name = "a$(printf '\\303\\251%.0s' $(seq 120)).mkv";
  EXPECT_EQ(
      Run(WithFault("write:1:ls -A | iconv -f UTF-8 -t UTF-16 >/dev/null && ls -A >../names") + "in.wav " + name).code,
      0);
  EXPECT_THAT(Read("../names"), HasSubstr("\xC3\xA9.rhohost-"));
}

TEST_F(OutputsTest, FewDescriptorsAreEnough) {
  EXPECT_EQ(Run("ulimit -n 14; rhohost --module " BAD_MODULES "/Healthy.so in.wav new.mkv").code, 0);
  EXPECT_TRUE(IsWhole("new.mkv"));
}

}  // namespace
