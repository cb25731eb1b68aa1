#include <dlfcn.h>
#include <gtest/gtest.h>
#include <cstdio>
#include <string>

static std::string OutputOf(const char* command) {
  std::string output;
  std::FILE* const pipe = popen(command, "r");
  for (int character = 0; (character = std::fgetc(pipe)) != EOF;) {
    output += static_cast<char>(character);
  }
  EXPECT_EQ(pclose(pipe), 0) << command;
  return output;
}

TEST(Module, ExportsWhatIsListedAndNothingToChance) {
  // The size_t of operator new is the only type with another name on machines with 32-bit words.
  EXPECT_EQ(
      OutputOf("nm -DC --defined-only " MODULE " | cut -d' ' -f2- | sed 's/new(unsigned int)/new(unsigned long)/' |"
               " LC_ALL=C sort -u | diff " EXPORTED_NAMES " - || true"),
      "");
  EXPECT_EQ(OutputOf("nm -D --defined-only " MODULE " | grep -v ' [TDRB] ' || true"), "") << "weak or unique symbols";
}

TEST(Module, NeedsLittleAndIsHardened) {
  EXPECT_EQ(OutputOf("readelf -dW " MODULE
                     " | grep NEEDED | grep -vE '(std[c][+][+]|gcc_s|c|m|uuid|asan|ubsan)[.]so' || true"),
            "");
  const std::string file = OutputOf("readelf -dlW " MODULE);
  for (const char* wanted : {"GNU_RELRO", "BIND_NOW", "GNU_STACK"}) {
    EXPECT_NE(file.find(wanted), std::string::npos) << wanted;
  }
  for (const char* unwanted : {"RWE", "TEXTREL"}) {
    EXPECT_EQ(file.find(unwanted), std::string::npos) << unwanted;
  }
}

TEST(Module, LeavesNothingBehindWhenUnloaded) {
  for (int cycle = 0; cycle < 10; ++cycle) {
    void* const module = dlopen(MODULE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << dlerror();
    EXPECT_EQ(reinterpret_cast<int (*)()>(dlsym(module, "RhoGetNumberAudioCompressors"))(), 1);
    EXPECT_EQ(dlclose(module), 0);
    EXPECT_EQ(dlopen(MODULE, RTLD_NOW | RTLD_NOLOAD), nullptr) << "still there after cycle " << cycle;
  }
}
