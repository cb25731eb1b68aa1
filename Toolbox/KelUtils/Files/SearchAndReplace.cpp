#include "Toolbox/KelUtils/Files/SearchAndReplace.h"

#include "Toolbox/KelUtils/Files/Folders.h"
#include "Toolbox/KelUtils/Files/Internal/UnbufferedFiles.h"
#include "Toolbox/KelUtils/Files/OpenFile.h"
#include "Toolbox/KelUtils/Text/Text.h"

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

// What is no file, such as a device or a link, is left alone.
void RemoveFile(const char* path) {
  struct stat status {};
  if (lstat(path, &status) == 0 && S_ISREG(status.st_mode)) {
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

bool Rewrite(const Replacements& replacements, const std::string& path) {
  const std::string temporary = path + ".tmp";
  if (!KelSearchAndReplace(replacements, path.c_str(), temporary.c_str())) {
    return false;
  }
  if (!KelPathExists(temporary) || std::rename(temporary.c_str(), path.c_str()) != 0) {
    RemoveFile(temporary.c_str());
    return false;
  }
  return true;
}

const char* OrEmpty(const char* text) { return text == nullptr ? "" : text; }

// The answer of `job`; false when it throws, also where memory runs out while it only prepares its paths.
template <class Job>
bool Succeeds(Job job) {
  try {
    return job();
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace

bool KelSearchAndReplace(const std::map<std::string, std::string>& replacements, const char* inPath,
                         const char* outPath) {
  const std::string_view in = OrEmpty(inPath);
  const std::string_view out = OrEmpty(outPath);
  return in != out && Succeeds([&] { return Filter(replacements, in.data(), out.data()); });
}

bool KelSearchAndReplace(const std::map<std::string, std::string>& replacements, const char* path) {
  return Succeeds([&] { return Rewrite(replacements, OrEmpty(path)); });
}

bool KelSearchAndReplace(const char* path, const char* what, const char* with) {
  return Succeeds([&] { return Rewrite({{OrEmpty(what), OrEmpty(with)}}, OrEmpty(path)); });
}
