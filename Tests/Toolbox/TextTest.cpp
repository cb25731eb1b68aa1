#include "Toolbox/KelUtils.h"

#include "Tests/Support/SlowVersions.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>
#include <algorithm>
#include <functional>
#include <numeric>

namespace {

RC_GTEST_PROP(EncodeBase64, TakesSixBitsASymbol, (const std::vector<unsigned char>& data, std::string out)) {
  std::string expected;
  for (std::size_t first = 0; first < 8 * data.size(); first += 6) {
    std::size_t symbol = 0;
    for (std::size_t bit = std::min(first + 6, 8 * data.size()); bit-- > first;) {
      symbol = symbol * 2 + (data[bit / 8] >> bit % 8) % 2;
    }
    expected += "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_."[symbol];
  }
  KelEncodeBase64(data, out);
  RC_ASSERT(out == expected);
}

// For any number of places where only the beginning matches.
TEST(Replace, FindsTextsBehindFalseStarts) {
  for (unsigned length = 0; length < 60; ++length) {
    const std::string run(length, 'a');
    for (const char* what : {"aab", "aaaaaaaaaaaaaaaaaaaab", "aabaac", "ba"}) {
      const std::string text = run + "b" + run + "c" + run + "bab";
      EXPECT_EQ(KelReplace(text, what, "xy"), ReplacedSlowly(text, what, "xy")) << text << ' ' << what;
    }
  }
}

TEST(Letters, DifferInCaseWithinAsciiOnly) {
  for (int pair = 0x101; pair < 0x10000; pair += pair % 256 == 255 ? 2 : 1) {
    const int left = pair / 256;
    const int right = pair % 256;
    const char text[] = {'x', static_cast<char>(left), '\0', static_cast<char>(right), '\0'};
    const bool letter = (left | 32) >= 'a' && (left | 32) <= 'z';
    ASSERT_EQ(KelStrMatchTail(text, text + 3, false), left == right) << left << ' ' << right;
    ASSERT_EQ(KelStrMatchTail(text, text + 3, true), left == right || (letter && (left ^ right) == 32)) << pair;
    ASSERT_EQ(KelToLowerCase(text)[1], static_cast<char>(letter ? left | 32 : left)) << left;
  }
  EXPECT_FALSE(KelStrMatchTail("mov", ".mov", true) || KelStrMatchTail("aab", "aa", false));
  EXPECT_TRUE(KelStrMatchTail<char>(nullptr, nullptr, false) && KelStrMatchTail("x", "", false));
  EXPECT_EQ(KelConvertToScalar<int>(nullptr), 0);
  EXPECT_EQ(KelToLowerCase(nullptr) + KelToLowerCase("A", nullptr) + KelToLowerCase({"A\0B", 3}),
            std::string("a\0b", 3));
}

TEST(Trim, TakesOneWhiteSpaceFromEachEndOrAWholeRun) {
  for (int byte = 0; byte < 256; ++byte) {
    const bool white = byte == ' ' || (byte >= 9 && byte <= 13);
    std::string text = std::string(2, static_cast<char>(byte)) + '\\' + static_cast<char>(byte);
    KelTrimString(text);
    EXPECT_EQ(text.size(), white ? 2U : 4U) << byte;
  }
  EXPECT_EQ(KelTrimFromHead('0', "000", 0) + KelTrimFromHead('0', "001020", 5), "102");
  EXPECT_EQ(KelTrimFromTail('0', "000", 0) + KelTrimFromTail('0', "010200", 5), "0102");
  EXPECT_EQ(KelTrimFromHead('0', nullptr, 3) + KelTrimFromTail('0', "a\0000", 3), std::string("a\0", 2));
}

TEST(GUID, IsRandomAndInLowerCase) {
  const std::string id = KelGetGUID();
  const std::string other = KelGetGUID();
  const testing::Matcher<std::string> form =
      testing::MatchesRegex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");
  EXPECT_TRUE(form.Matches(id) && form.Matches(other)) << id << ' ' << other;
  const auto same = std::inner_product(id.begin(), id.end(), other.begin(), 0, std::plus<>(), std::equal_to<>());
  EXPECT_LT(same, 24) << "of 36 characters: " << id << ' ' << other;
}

TEST(FourCCCodes, ComeFromTheNameOrItsCharacters) {
  unsigned codes[] = {1, 1};
  const auto codesOf = [&codes](const char* name) {
    return std::tuple{KelGetFourCCCodes(name, codes, codes + 1), codes[0], codes[1]};
  };
  EXPECT_FALSE(KelGetFourCCCodes("LPCMLPCM", codes, nullptr) || KelGetFourCCCodes("LPCMLPCM", nullptr, codes));
  EXPECT_EQ(codesOf(nullptr), std::tuple(false, 1U, 1U)) << "written despite a null argument";
  EXPECT_EQ(codesOf("ZAVQuillVideoCodec1"), std::tuple(true, 0x5A415620U, 0x514C4C31U));
  EXPECT_EQ(codesOf("ZAVMVC1 "), std::tuple(true, 0x4D437074U, 0x56433120U));
  EXPECT_EQ(codesOf("\xFF\xFE\x80\x81VC1 "), std::tuple(true, 0xFFFE8081U, 0x56433120U));
  EXPECT_EQ(codesOf("ninechars"), std::tuple(false, 0U, 0U));
  EXPECT_EQ(KelCharToUInt32(reinterpret_cast<const unsigned char*>("\xFF\xFE\x80\x81")), 0xFFFE8081U);
  EXPECT_EQ(KelCharToUInt32(nullptr), 0U);
}

TEST(ManufacturerAndCodec, AreWrittenMostSignificantByteFirst) {
  char out[] = "0123456789";
  EXPECT_TRUE(KelGetManufactureCodecEightCCString(out, 0x5A415620, 0x4C50434D));
  EXPECT_EQ(std::string(out, 10), std::string("ZAV LPCM\0\x39", 10));
  EXPECT_FALSE(KelGetManufactureCodecEightCCString(nullptr, 0, 0));
}

}  // namespace
