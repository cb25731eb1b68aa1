#include "Toolbox/KelUtils/Files/SearchAndReplace.h"

#include "Toolbox/KelUtils/Files/Internal/UnbufferedFiles.h"
#include "Toolbox/KelUtils/Text/OrEmpty.h"
#include "Toolbox/KelUtils/Text/Text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <string_view>
#include <vector>

namespace {

using Replacements = std::map<std::string, std::string>;

// Joins pieces of a file to lines and writes each line, replaced, when it is complete.
class LineReplacer {
 public:
  LineReplacer(const Replacements& replacements, const Descriptor& output)
      : m_replacements(replacements), m_output(output) {}

  // False when writing fails.
  bool Take(std::string_view piece) {
    for (std::size_t end = piece.find('\n'); end != std::string_view::npos; end = piece.find('\n')) {
      m_line.append(piece.substr(0, end));
      EndLine();
      piece.remove_prefix(end + 1);
    }
    m_line.append(piece);
    return Write();
  }

  // Ends the last line; false when writing fails.
  bool Finish() {
    EndLine();
    return Write();
  }

 private:
  void EndLine() {
    m_line.resize(std::min(m_line.find('\0'), m_line.size()));
    if (!m_line.empty()) {
      for (const auto& [what, with] : m_replacements) {
        m_line = KelReplace(m_line, what, with);
      }
      m_pending.append(m_line).push_back('\n');
    }
    m_line.clear();
  }

  bool Write() {
    const bool isWritten = WriteFully(m_output, m_pending.data(), m_pending.size());
    m_pending.clear();
    return isWritten;
  }

  const Replacements& m_replacements;
  const Descriptor& m_output;
  std::string m_line;
  std::string m_pending;
};

bool Filter(const Replacements& replacements, const Descriptor& input, const Descriptor& output) {
  std::vector<char> piece(64UL * 1024);
  LineReplacer replacer(replacements, output);
  for (;;) {
    const long held = ReadSome(input, piece.data(), piece.size());
    if (held <= 0) {
      return held == 0 && replacer.Finish();
    }
    if (!replacer.Take({piece.data(), static_cast<std::size_t>(held)})) {
      return false;
    }
  }
}

// The answer of `job`; false when it throws, for which memory must run out.
template <class Job>
bool Succeeds(Job job) {
  try {
    return job();
  } catch (const std::exception&) {
    return false;
  }
}

// Removes the file at `path` if it is the one that was opened with this status. Leaves links, devices and the like.
void RemoveWritten(const std::string& path, const struct stat& written) {
  const struct stat status = StatusOf(path);
  if (S_ISREG(status.st_mode) && IsSameItem(status, written)) {
    unlink(path.c_str());
  }
}

bool FilterFile(const Replacements& replacements, const std::string& inPath, const std::string& outPath) {
  const Descriptor input = OpenForReading(inPath);
  const struct stat inStatus = StatusOf(input);
  if (!IsKnown(inStatus) || IsFolder(inStatus)) {
    return false;
  }
  // Was opened without waiting for a writer, but its reader waits for what is written.
  if (S_ISFIFO(inStatus.st_mode)) {
    fcntl(input.Get(), F_SETFL, 0);
  }
  const bool isNew = !IsKnown(StatusOf(outPath));
  Descriptor output = OpenForWriting(outPath);
  const struct stat outStatus = StatusOf(output);
  if (!IsKnown(outStatus) || IsSameItem(inStatus, outStatus)) {
    if (isNew) {
      unlink(outPath.c_str());
    }
    return false;
  }
  const bool isWritten = Succeeds(
      [&] { return MakeEmpty(output, outStatus) && Filter(replacements, input, output) && output.Close() == 0; });
  if (!isWritten) {
    RemoveWritten(outPath, outStatus);
  }
  return isWritten;
}

bool Rewrite(const Replacements& replacements, const std::string& path) {
  const std::string temporary = path + ".tmp";
  const Descriptor input = OpenForReading(path);
  const struct stat inStatus = StatusOf(input);
  const struct stat inTheWay = StatusOf(temporary);
  const bool isInput = IsKnown(inTheWay) && IsSameItem(inStatus, inTheWay);
  if (!S_ISREG(inStatus.st_mode) || isInput) {
    return false;
  }
  unlink(temporary.c_str());
  Descriptor output = CreateNew(temporary);
  if (!output.IsOpen()) {
    return false;
  }
  const struct stat outStatus = StatusOf(output);
  const bool isRewritten = Succeeds([&] {
    return TakePermissions(output, inStatus) && Filter(replacements, input, output) && output.Close() == 0 &&
           IsSameItem(outStatus, StatusOf(temporary)) && std::rename(temporary.c_str(), path.c_str()) == 0;
  });
  if (!isRewritten) {
    RemoveWritten(temporary, outStatus);
  }
  return isRewritten;
}

}  // namespace

bool KelSearchAndReplace(const std::map<std::string, std::string>& replacements, const char* inPath,
                         const char* outPath) {
  const std::string_view in = OrEmpty(inPath);
  const std::string_view out = OrEmpty(outPath);
  return in != out && Succeeds([&] { return FilterFile(replacements, OrEmpty(inPath), OrEmpty(outPath)); });
}

bool KelSearchAndReplace(const std::map<std::string, std::string>& replacements, const char* path) {
  return Succeeds([&] { return Rewrite(replacements, OrEmpty(path)); });
}

bool KelSearchAndReplace(const char* path, const char* what, const char* with) {
  return Succeeds([&] { return Rewrite({{OrEmpty(what), OrEmpty(with)}}, OrEmpty(path)); });
}
