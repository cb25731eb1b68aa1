// Paths and texts of the module, against slow versions.

#include "Fuzz/Fuzz.h"
#include "Toolbox/KelUtils.h"

void Fuzz(FuzzedDataProvider& data) {
  // Not 0, which stands for the platform's separator in KelJoinPaths.
  const char one = data.ConsumeIntegralInRange('\1', '\x7F');
  const char other = data.ConsumeIntegral<char>();
  const std::string what = data.ConsumeRandomLengthString(20);
  const std::string with = data.ConsumeRandomLengthString(20);
  const std::string text = data.ConsumeRandomLengthString(500);

  Expect(KelReplace(text, what, with) == ReplacedSlowly(text, what, with));
  const bool keepEmpty = what.size() % 2 != 0;
  std::list<std::string> tokens = TokenizedSlowly(text, one, other, keepEmpty);
  std::list<std::string> appended{what};
  const int count = KelTokenize(appended, text, one, other, keepEmpty);
  // KelTokenize appends: what is in the list stays in front.
  tokens.push_front(what);
  Expect(appended == tokens && count + 1 == static_cast<int>(tokens.size()));
  Expect(KelSplitString(text) == TokenizedSlowly(text, ' ', '"', false));
  const bool matches = KelToLowerCase(text.c_str()).ends_with(KelToLowerCase(what.c_str()));
  Expect(KelStrMatchTail(text.c_str(), what.c_str(), true) == matches);
  int number = 0;
  std::istringstream(text.c_str()) >> number;
  Expect(KelConvertToScalar<int>(text.c_str()) == number);

  std::string path = "fails";
  KelSimplifyPath('/' + text, path);
  Expect(path == SimplifiedSlowly('/' + text));
  std::string name;
  const bool isSplit = KelParseFilePath(text, path, name);
  Expect(!isSplit || KelJoinPaths(path, name, 0).ends_with('/' + name));
  Expect(text.empty() || text.find_first_not_of('/', text.find(path + name) + (path + name).size()) > text.size());
  const auto begin = std::min(what.find_first_not_of(one), what.size());
  Expect(KelJoinPaths(text, what, one) == text.substr(0, text.find_last_not_of(one) + 1) + one + what.substr(begin));
  std::string extension;
  std::string changed = text;
  Expect(KelReplaceFilenameExtension(changed, with.c_str(), &extension) == extension.starts_with('.'));
  Expect(text.empty() || changed == text.substr(0, text.size() - extension.size()) + with.substr(0, with.find('\0')));
  Expect(text.ends_with(KelGetFileNameWithExtension(text)) && text.starts_with(KelGetPathFileNameNoExtension(text)));
}
