#include "Host/CommandLine/Clashes.h"

#include "Host/Audio/SoundInput.h"
#include "Host/CommandLine/RealPaths.h"
#include "Host/Text/Errors.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

namespace fs = std::filesystem;

namespace {

class Settlement {
 public:
  Settlement(WorkList& list, OutputIdentities& identities) : m_list(list), m_identities(identities) {
    for (std::size_t index = 0; index < list.items.size(); ++index) {
      m_sharers[identities.Of(list.items[index].output)].push_back(index);
    }
  }

  void Settle(OnClash onClash) {
    std::vector<std::vector<std::size_t>> clashes;
    for (const auto& [output, indices] : m_sharers) {
      if (indices.size() > 1) {
        clashes.push_back(SoundsAmong(indices));
      }
    }
    for (const std::vector<std::size_t>& clash : clashes) {
      for (std::size_t place = 0; clash.size() > 1 && place < clash.size(); ++place) {
        if (onClash == OnClash::kNumber) {
          Number(clash[place], place);
        } else if (onClash == OnClash::kSkip) {
          m_list.clashingFiles += place == 0 ? 0 : 1;
          Drop(place == 0 ? std::size_t(-1) : clash[place]);
        } else {
          Fail(clash[place], clash[place == 0 ? 1 : 0]);
        }
      }
    }
    std::size_t index = 0;
    std::erase_if(m_list.items, [this, &index](const WorkItem&) { return m_dropped.contains(index++); });
  }

 private:
  /// Drops the others, which would fail or do not matter.
  std::vector<std::size_t> SoundsAmong(const std::vector<std::size_t>& indices) {
    std::vector<std::size_t> sounds;
    for (const std::size_t index : indices) {
      if (MayBeSound(m_list.items[index].input)) {
        sounds.push_back(index);
      } else if (!m_list.items[index].isSound) {
        ++m_list.otherFiles;
        Drop(index);
      }
    }
    return sounds;
  }

  void Number(std::size_t index, std::size_t place) {
    const fs::path output = m_list.items[index].output;
    for (std::size_t number = place + 1; place != 0; ++number) {
      const fs::path numbered =
          output.parent_path() / fmt::format("{}-{}{}", output.stem().native(), number, output.extension().native());
      if (m_sharers.try_emplace(m_identities.Of(numbered), std::vector{index}).second) {
        m_list.items[index].output = numbered;
        return;
      }
    }
  }

  void Fail(std::size_t index, std::size_t other) {
    const WorkItem& item = m_list.items[index];
    m_list.failures.push_back(
        {item.input, item.listName,
         fmt::format("{}: its output {} would also be that of {}: use --on-clash=keep-extension, number or skip",
                     item.input, item.output, m_list.items[other].input)});
    Drop(index);
  }

  void Drop(std::size_t index) { m_dropped.insert(index); }

  WorkList& m_list;
  OutputIdentities& m_identities;
  std::map<std::string, std::vector<std::size_t>> m_sharers;
  std::set<std::size_t> m_dropped;
};

}  // namespace

fs::path OutputIdentities::Follow(const fs::path& output, int linksLeft) {
  const fs::path& folder = RealFolder(output.parent_path());
  fs::path real = folder / output.filename();
  std::error_code error;
  if (linksLeft != 0 && fs::is_symlink(fs::symlink_status(real, error))) {
    return Follow(folder / fs::read_symlink(real, error), linksLeft - 1);
  }
  return real;
}

const fs::path& OutputIdentities::RealFolder(const fs::path& folder) {
  const auto [place, isNew] = m_realFolders.try_emplace(folder);
  if (isNew) {
    try {
      place->second = RealPath(folder);
    } catch (const Failure&) {
      place->second = folder;
    }
  }
  return place->second;
}

bool MayBeSound(const std::string& path) {
  try {
    OpenSound(path, Truncation::kAllowed);
  } catch (const NotASoundFile&) {
    return false;
  } catch (const Failure&) {
    // It exists, or it is damaged: an encoding will tell.
  }
  return true;
}

void SettleClashes(WorkList& list, OutputIdentities& identities, OnClash onClash) {
  Settlement(list, identities).Settle(onClash);
}
