// Search and replace in files, with keys and lines that cross the borders of the pieces that are read.

#include "Fuzz/Fuzz.h"
#include "Toolbox/KelUtils.h"

void Fuzz(FuzzedDataProvider& data) {
  static const TemporaryFolder folder;
  std::map<std::string, std::string> replacements;
  for (int count = data.ConsumeIntegralInRange(0, 3); count > 0; --count) {
    const std::string what = data.ConsumeRandomLengthString(8);
    replacements[what] = data.ConsumeRandomLengthString(4);
  }
  // Files are read in pieces of 64 KiB: keys come to lie around their borders.
  const auto near = data.ConsumeIntegralInRange<std::size_t>(65000, 66000);
  const auto pieces = data.ConsumeIntegralInRange<std::size_t>(0, 2);
  const std::string text =
      std::string(near * pieces, data.ConsumeIntegral<char>()) + data.ConsumeRemainingBytesAsString();
  const std::string path = folder.Write("file", text);
  const std::string copy = folder / "copy";
  Expect(KelSearchAndReplace(replacements, path.c_str(), copy.c_str()) && ReadFile(path) == text);
  Expect(ReadFile(copy) == FilteredSlowly(text, replacements));
  Expect(KelSearchAndReplace(replacements, path.c_str()) && ReadFile(path) == ReadFile(copy));
}
