#include <dlfcn.h>
#include <gtest/gtest.h>
#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>

namespace {

std::string OutputOf(const std::string& command) {
  std::string output;
  std::FILE* const pipe = popen(command.c_str(), "r");
  for (std::array<char, 4096> part{}; std::fgets(part.data(), part.size(), pipe) != nullptr;) {
    output += part.data();
  }
  EXPECT_EQ(pclose(pipe), 0) << command;
  return output;
}

TEST(Module, ExportsWhatIsListedAndNothingToChance) {
  const std::string names = OutputOf("nm -DC --defined-only " MODULE " | cut -d' ' -f2- | LC_ALL=C sort -u");
  std::ifstream list(EXPORTED_NAMES);
  EXPECT_EQ(names, std::string(std::istreambuf_iterator<char>(list), {}));
  EXPECT_FALSE(std::regex_search(names, std::regex("(^|\n)[^TDRB] "))) << "no weak and no unique symbol";
}

TEST(Module, NeedsLittleAndIsHardened) {
  const std::string file = OutputOf("readelf -dlW " MODULE);
  const std::regex needed(R"(\(NEEDED\).*\[(.*)\.so)");
  for (std::sregex_iterator found(file.begin(), file.end(), needed); found != std::sregex_iterator(); ++found) {
    EXPECT_TRUE(
        (std::set<std::string>{"libstdc++", "libgcc_s", "libc", "libm", "libuuid", "libasan", "libubsan"}.contains(
            (*found)[1])));
  }
  EXPECT_TRUE(std::regex_search(file, std::regex("GNU_STACK.* RW  "))) << "an executable stack";
  EXPECT_TRUE(file.find("GNU_RELRO") != std::string::npos && file.find("BIND_NOW") != std::string::npos);
  EXPECT_EQ(file.find("TEXTREL"), std::string::npos);
}

TEST(Module, LeavesNothingBehindWhenUnloaded) {
  for (int cycle = 0; cycle < 10; ++cycle) {
    void* const module = dlopen(MODULE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << dlerror();
    auto* const number = reinterpret_cast<int (*)()>(dlsym(module, "RhoGetNumberAudioCompressors"));
    EXPECT_EQ(number(), 1);
    EXPECT_EQ(dlclose(module), 0);
    EXPECT_EQ(dlopen(MODULE, RTLD_NOW | RTLD_NOLOAD), nullptr) << "still there after cycle " << cycle;
  }
}

}  // namespace
