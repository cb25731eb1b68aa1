#include "Host/CommandLine/Clashes.h"

#include "Host/Audio/SoundInput.h"
#include "Host/System/RealPaths.h"
#include "Host/Text/Errors.h"

#include <fmt/format.h>

#include <set>

namespace fs = std::filesystem;

namespace {

/// Groups the items of a list by the real paths of their outputs, and settles the groups of several items.
class Settlement {
 public:
  Settlement(WorkList& list, OutputIdentities& identities) : m_list(list), m_identities(identities) {
    for (std::size_t index = 0; index < list.items.size(); ++index) {
      m_sharers[identities.Of(list.items[index].output)].push_back(index);
    }
  }

  void Settle(OnClash onClash) {
    // Collected first: Number adds to m_sharers.
    std::vector<std::vector<std::size_t>> clashes;
    for (const auto& [output, indices] : m_sharers) {
      if (indices.size() > 1) {
        clashes.push_back(SoundsAmong(indices));
      }
    }
    for (const std::vector<std::size_t>& clash : clashes) {
      for (std::size_t place = 0; clash.size() > 1 && place < clash.size(); ++place) {
        SettleOne(clash, place, onClash);
      }
    }
    // erase_if asks for each item once, in order, so that `index` counts along.
    std::size_t index = 0;
    std::erase_if(m_list.items, [this, &index](const WorkItem&) { return m_dropped.contains(index++); });
  }

 private:
  /// The items among `indices` that may be sounds. Drops the others, unless they are called like sounds: these stay,
  /// and fail.
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

  /// Settles the item at `place` of a clash, which has at least two items.
  void SettleOne(const std::vector<std::size_t>& clash, std::size_t place, OnClash onClash) {
    if (onClash == OnClash::kFail || onClash == OnClash::kKeepExtension) {
      // Also with kKeepExtension: two files of the same name and extension may lie in different folders.
      Fail(clash[place], clash[place == 0 ? 1 : 0]);
      return;
    }
    if (place == 0) {
      return;  // the first keeps its output
    }
    if (onClash == OnClash::kNumber) {
      Number(clash[place], place);
    } else {
      ++m_list.clashingFiles;
      Drop(clash[place]);
    }
  }

  /// Gives the item the first free name NAME-2, NAME-3 ..., from its place (1 or more) on.
  void Number(std::size_t index, std::size_t place) {
    const fs::path output = m_list.items[index].output;
    for (std::size_t number = place + 1;; ++number) {
      const fs::path numbered =
          output.parent_path() / fmt::format("{}-{}{}", output.stem().native(), number, output.extension().native());
      // Names that other items have, or were given here, are taken.
      if (m_sharers.try_emplace(m_identities.Of(numbered), std::vector{index}).second) {
        m_list.items[index].output = numbered;
        return;
      }
    }
  }

  /// Makes the item a failure whose message names one of the others.
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

const fs::path& OutputIdentities::Of(const std::string& output) {
  const auto [place, isNew] = m_outputs.try_emplace(output, output);
  if (isNew) {
    try {
      const fs::path followed = FollowLinks(output);
      place->second = RealFolder(followed.parent_path()) / followed.filename();
    } catch (const Failure&) {
      // It stays as it is.
    }
  }
  return place->second;
}

const fs::path& OutputIdentities::RealFolder(const fs::path& folder) {
  // Remembered: many outputs share a folder.
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
    // Reads the header only.
    OpenSound(path, Truncation::kAllowed);
  } catch (const NotASoundFile&) {
    return false;
  } catch (const Failure&) {
    // It cannot be read, or is damaged: the encoding reports it.
  }
  return true;
}

void SettleClashes(WorkList& list, OutputIdentities& identities, OnClash onClash) {
  Settlement(list, identities).Settle(onClash);
}
