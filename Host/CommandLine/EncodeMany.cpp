#include "Host/CommandLine/EncodeMany.h"

#include "Host/Audio/SoundInput.h"
#include "Host/CommandLine/BatchProgress.h"
#include "Host/CommandLine/EncodingTexts.h"
#include "Host/CommandLine/OptionValues.h"
#include "Host/CommandLine/Progress.h"
#include "Host/CommandLine/SettingCommands.h"
#include "Host/CommandLine/WorkList.h"
#include "Host/System/CommitGroup.h"
#include "Host/System/Folders.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Messages.h"
#include "Host/Transcode/EncodeFile.h"

#include <fmt/format.h>
#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <new>
#include <numeric>
#include <string_view>
#include <thread>

namespace {

enum Outcome { kEncoded, kSkipped, kNoSound, kFailed, kNumberOfOutcomes };

struct ItemResult {
  ItemResult() = default;
  explicit ItemResult(Outcome itsOutcome) : outcome(itsOutcome) {}

  Outcome outcome = kEncoded;
  bool ranOutOfMemory = false;
  std::string text;    ///< the plan of a dry run
  double seconds = 0;  ///< length of the sound
  Conversion conversion;
};

class Batch {
 public:
  Batch(const Options& options, const EncodingSetup& setup, const WorkList& list)
      : m_setup(setup),
        m_options(options),
        m_list(list),
        m_results(list.items.size()),
        m_progress(!m_options.quiet && !m_options.dryRun, BytesToDo(), FilesToDo()) {}

  /// Encodes all.
  void Run();

  /// Prints the plans or the summary. Returns whether nothing failed.
  bool PrintResults();

 private:
  bool IsToSkip(const WorkItem& item) const { return item.outputExists && m_options.skipExisting; }
  std::uint64_t BytesToDo() const;
  std::size_t FilesToDo() const;
  std::size_t OutdatedFiles() const;

  void Work();
  void Try(std::size_t index, const std::function<void()>& step);
  void Encode(std::size_t index);
  std::size_t CountEncoded(bool Conversion::*kind) const;
  std::string FailedText() const;
  std::string SummaryText() const;

  const EncodingSetup& m_setup;
  const Options& m_options;
  const WorkList& m_list;
  std::vector<ItemResult> m_results;  ///< one an item
  std::atomic<std::size_t> m_next{0};
  BatchProgress m_progress;
  CommitGroup m_commits;
  std::array<std::size_t, kNumberOfOutcomes> m_numbers{};
};

std::uint64_t Batch::BytesToDo() const {
  return std::accumulate(
      m_list.items.begin(), m_list.items.end(), std::uint64_t{0},
      [this](std::uint64_t sum, const WorkItem& item) { return sum + (IsToSkip(item) ? 0 : item.bytes); });
}

std::size_t Batch::FilesToDo() const {
  return m_list.items.size() -
         static_cast<std::size_t>(std::count_if(m_list.items.begin(), m_list.items.end(),
                                                [this](const auto& item) { return IsToSkip(item); }));
}

void Batch::Run() {
  for (const FailedInput& failure : m_list.failures) {
    PrintMessage(failure.reason);
  }
  const std::size_t workers = std::min<std::size_t>(m_options.jobs.value_or(DefaultJobs()), FilesToDo());
  std::vector<std::jthread> helpers;
  try {
    while (helpers.size() + 1 < workers) {
      helpers.emplace_back([this] { Work(); });
    }
  } catch (const std::exception&) {
    // There are no more threads or no memory for them to be had: fewer do the same work.
  }
  Work();
  helpers.clear();
  m_commits.Finish();
}

void Batch::Work() {
  for (std::size_t index = m_next++; index < m_results.size(); index = m_next++) {
    Try(index, [this, index] { Encode(index); });
  }
}

/// The result of a step that throws is what it throws.
void Batch::Try(std::size_t index, const std::function<void()>& step) {
  const WorkItem& item = m_list.items[index];
  ItemResult& result = m_results[index];
  const auto fail = [&](const std::string& why) {
    result = ItemResult{kFailed};
    m_progress.PrintAbove(why.starts_with(item.input + ":") ? why : item.input + ": " + why);
  };
  try {
    try {
      step();
    } catch (const OutputExists& error) {
      if (m_options.skipExisting) {
        result = ItemResult{kSkipped};  // another process has just made it
      } else {
        fail(error.what());
      }
    } catch (const NotASoundFile& error) {
      if (item.isSound) {
        fail(error.what());
      } else {
        result = ItemResult{kNoSound};
      }
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception& error) {
      fail(error.what());
    } catch (...) {
      fail("the module threw an exception of unknown type");
    }
  } catch (const std::bad_alloc&) {
    // There is no memory for a message either, until the other files are done.
    result = ItemResult{kFailed};
    result.ranOutOfMemory = true;
  }
}

void Batch::Encode(std::size_t index) {
  const WorkItem& item = m_list.items[index];
  if (IsToSkip(item)) {
    m_results[index] = ItemResult{kSkipped};
    return;
  }
  const auto progress = std::make_shared<FileProgress>(m_progress, item.bytes);
  if (item.outputExists) {
    CheckOutputTarget(item.output, m_options.force);
  }
  FileEncoding encoding(m_setup, item.input, item.output);
  if (m_options.dryRun) {
    m_results[index].text = PlanText(encoding);
    m_results[index].conversion = ConversionOf(encoding);
    return;
  }
  MakeFolders(std::filesystem::path(item.output).parent_path());
  const double whole = static_cast<double>(encoding.SampleFrames().value_or(0)) * (m_options.verify ? 2 : 1);
  const EncodingResult result = encoding.Write([&](FileEncoding::Pass pass, std::uint64_t done) {
    const double before = pass == FileEncoding::Pass::kVerifying ? 0.5 : 0;
    progress->Update(whole > 0 ? before + static_cast<double>(done) / whole : 0);
    m_commits.CommitOverdue();
  });
  m_results[index].seconds = static_cast<double>(result.sampleFrames) / encoding.Format().sampleRate;
  m_results[index].conversion = ConversionOf(encoding);
  if (const std::string notes = NotesText(result); !notes.empty() && !m_options.quiet) {
    m_progress.PrintAbove(fmt::format("{}: {}", item.input, notes));
  }
  m_commits.Add(encoding.TakeFile(), [this, index, progress](const std::exception_ptr& error) {
    if (error) {
      Try(index, [&error] { std::rethrow_exception(error); });
    }
  });
}

bool Batch::PrintResults() {
  m_progress.Clear();
  for (std::size_t index = 0; index < m_results.size(); ++index) {
    const ItemResult& result = m_results[index];
    ++m_numbers[result.outcome];
    if (result.ranOutOfMemory) {
      PrintMessage(m_list.items[index].input + ": out of memory");
    } else if (!result.text.empty()) {
      Print(result.text + "\n");
    }
  }
  m_numbers[kNoSound] += m_list.otherFiles;
  m_numbers[kFailed] += m_list.failures.size();
  if (!m_options.quiet) {
    PrintMessage(SummaryText());
  }
  return m_numbers[kFailed] == 0;
}

std::size_t Batch::OutdatedFiles() const {
  return static_cast<std::size_t>(std::count_if(m_list.items.begin(), m_list.items.end(), [this](const auto& item) {
    return IsToSkip(item) && item.outputIsOlder;
  }));
}

std::size_t Batch::CountEncoded(bool Conversion::*kind) const {
  return static_cast<std::size_t>(std::count_if(m_results.begin(), m_results.end(), [kind](const auto& result) {
    return result.outcome == kEncoded && result.conversion.*kind;
  }));
}

/// The inputs that failed, the first few by name.
std::string Batch::FailedText() const {
  constexpr std::size_t kMostNamed = 10;
  std::vector<std::string_view> names;
  for (const FailedInput& failure : m_list.failures) {
    names.emplace_back(failure.path);
  }
  for (std::size_t index = 0; index < m_results.size(); ++index) {
    if (m_results[index].outcome == kFailed) {
      names.emplace_back(m_list.items[index].input);
    }
  }
  const std::size_t others = names.size() - std::min(names.size(), kMostNamed);
  names.resize(names.size() - others);
  return fmt::format("{}{}", fmt::join(names, ", "), others == 0 ? "" : fmt::format(" and {} more", others));
}

std::string Batch::SummaryText() const {
  std::string text = m_options.naming.folder + ": " + CountText(m_numbers[kEncoded], "file", "files") +
                     (m_options.dryRun ? " to encode" : " encoded") +
                     (!m_options.verify  ? ""
                      : m_options.dryRun ? " and verify"
                                         : " and verified");
  const auto add = [&text](std::size_t number, const char* singular, const char* plural) {
    text += number == 0 ? "" : ", " + CountText(number, singular, plural);
  };
  add(m_numbers[kSkipped], "existing one skipped", "existing ones skipped");
  add(OutdatedFiles(), "of them older than its input", "of them older than their inputs");
  add(m_list.clashingFiles, "skipped for its output", "skipped for their outputs");
  add(m_list.repeatedFiles, "named again", "named again");
  add(m_list.excludedFiles, "excluded", "excluded");
  add(m_numbers[kNoSound], "not a sound file", "not sound files");
  add(m_numbers[kFailed], "failed", "failed");
  add(CountEncoded(&Conversion::isResampled), "resampled", "resampled");
  add(CountEncoded(&Conversion::isDithered), "dithered to fewer bits", "dithered to fewer bits");
  if (m_numbers[kEncoded] != 0 && !m_options.dryRun) {
    const double seconds = std::accumulate(m_results.begin(), m_results.end(), 0.0,
                                           [](double sum, const auto& result) { return sum + result.seconds; });
    text += "; " + TimeText(static_cast<std::uint64_t>(std::llround(seconds * 1000)), 1000) + " of sound, " +
            fmt::format("{} x real time", static_cast<unsigned long long>(seconds / m_progress.Seconds()));
  }
  if (m_numbers[kFailed] != 0) {
    text += "; failed: " + FailedText();
  }
  return text;
}

}  // namespace

bool EncodeMany(const Options& options) {
  const EncodingSetup setup(options, options.module, options.Settings());
  CheckSettings(setup);
  const WorkList list = MakeWorkList(SelectFiles(options.selection, options.naming.folder), options.naming);
  if (!options.dryRun && !list.items.empty()) {
    MakeFolders(options.naming.folder);
  }
  Batch batch(options, setup, list);
  batch.Run();
  return batch.PrintResults();
}
