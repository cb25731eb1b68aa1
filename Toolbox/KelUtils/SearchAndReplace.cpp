#include "Toolbox/KelUtils/SearchAndReplace.h"

#include "Toolbox/KelUtils/Descriptor.h"
#include "Toolbox/KelUtils/Folders.h"
#include "Toolbox/KelUtils/OpenFile.h"
#include "Toolbox/KelUtils/Text.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using Replacements = std::map<std::string, std::string>;

constexpr std::size_t kPiece = 64UL * 1024;

// Puts pieces of a file together to lines and writes each line, replaced, as soon as it is complete.
class LineReplacer {
 public:
  LineReplacer(const Replacements& replacements, FILE* output) : m_replacements(replacements), m_output(output) {}

  void Take(std::string_view piece) {
    for (std::size_t end = piece.find('\n'); end != std::string_view::npos; end = piece.find('\n')) {
      m_line.append(piece.substr(0, end));
      EndLine();
      piece.remove_prefix(end + 1);
    }
    m_line.append(piece);
  }

  // Whether everything could be written.
  bool Finish() {
    EndLine();
    Write();
    return m_isWritten;
  }

 private:
  void EndLine() {
    m_line.resize(std::min(m_line.find('\0'), m_line.size()));
    if (!m_line.empty()) {
      for (const auto& [what, with] : m_replacements) {
        m_line = KelReplace(m_line, what, with);
      }
      m_pending.append(m_line).push_back('\n');
      if (m_pending.size() >= kPiece) {
        Write();
      }
    }
    m_line.clear();
  }

  void Write() {
    m_isWritten = std::fwrite(m_pending.data(), 1, m_pending.size(), m_output) == m_pending.size() && m_isWritten;
    m_pending.clear();
  }

  const Replacements& m_replacements;
  FILE* m_output;
  std::string m_line;
  std::string m_pending;
  bool m_isWritten = true;
};

bool FilterStream(const Replacements& replacements, FILE* input, FILE* output) {
  std::vector<char> piece(kPiece);
  LineReplacer replacer(replacements, output);
  while (const std::size_t held = std::fread(piece.data(), 1, piece.size(), input)) {
    replacer.Take({piece.data(), held});
  }
  return std::ferror(input) == 0 && replacer.Finish();
}

bool IsSameFile(FILE* file, const char* path) {
  struct stat left {};
  struct stat right {};
  return fstat(fileno(file), &left) == 0 && stat(path, &right) == 0 && IsSameItem(left, right);
}

// What is no file, such as a device, is left alone.
void RemoveFile(const char* path) {
  struct stat status {};
  if (stat(path, &status) == 0 && S_ISREG(status.st_mode)) {
    std::remove(path);
  }
}

bool WriteFiltered(const Replacements& replacements, FILE* input, TKelOpenFile& output) {
  const bool isFiltered = FilterStream(replacements, input, output.m_file);
  return std::fclose(std::exchange(output.m_file, nullptr)) == 0 && isFiltered;
}

bool Filter(const Replacements& replacements, const char* inPath, const char* outPath) {
  const TKelOpenFile input(inPath, "rb");
  if (IsSameFile(input.m_file, outPath)) {
    return false;
  }
  TKelOpenFile output(outPath, "wb");
  try {
    if (WriteFiltered(replacements, input.m_file, output)) {
      return true;
    }
  } catch (const std::exception&) {
    // Memory ran out, which is a failure like any other.
  }
  RemoveFile(outPath);
  return false;
}

std::string OrEmpty(const char* text) { return text == nullptr ? "" : text; }

}  // namespace

bool KelSearchAndReplace(const std::map<std::string, std::string>& replacements, const char* inPath,
                         const char* outPath) {
  const std::string in = OrEmpty(inPath);
  const std::string out = OrEmpty(outPath);
  try {
    return in != out && Filter(replacements, in.c_str(), out.c_str());
  } catch (const std::exception&) {
    return false;
  }
}

bool KelSearchAndReplace(const std::map<std::string, std::string>& replacements, const char* path) {
  const std::string original = OrEmpty(path);
  const std::string temporary = original + ".tmp";
  if (!KelSearchAndReplace(replacements, original.c_str(), temporary.c_str()) || !KelPathExists(temporary)) {
    return false;
  }
  if (std::rename(temporary.c_str(), original.c_str()) != 0) {
    RemoveFile(temporary.c_str());
    return false;
  }
  return true;
}

bool KelSearchAndReplace(const char* path, const char* what, const char* with) {
  return KelSearchAndReplace({{OrEmpty(what), OrEmpty(with)}}, path);
}
