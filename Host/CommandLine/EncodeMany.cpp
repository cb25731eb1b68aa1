#include "Host/CommandLine/EncodeMany.h"

#include "Host/Audio/SoundInput.h"
#include "Host/CommandLine/BatchReport.h"
#include "Host/CommandLine/Clashes.h"
#include "Host/CommandLine/EncodingTexts.h"
#include "Host/CommandLine/OptionValues.h"
#include "Host/CommandLine/SettingCommands.h"
#include "Host/CommandLine/SignalNotice.h"
#include "Host/CommandLine/WorkList.h"
#include "Host/System/CommitGroup.h"
#include "Host/System/Folders.h"
#include "Host/System/OutputTarget.h"
#include "Host/Text/Messages.h"
#include "Host/Transcode/EncodeFile.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <new>
#include <numeric>
#include <optional>
#include <thread>

namespace {

/// Whether the options want the existing output to stay.
bool IsDone(const Options& options, const WorkItem& item) {
  return item.outputExists && (options.skipExisting || (options.update && !item.outputIsOlder));
}

/// The work on a list of files, shared by a number of threads. The arguments must outlive the object.
class Batch {
 public:
  Batch(const Options& options, const EncodingSetup& setup, const WorkList& list)
      : m_setup(setup), m_options(options), m_list(list), m_report(options, list, FilesToDo(), BytesToDo()) {}

  /// Encodes all. True when no file has failed.
  bool Run();

 private:
  bool IsToSkip(const WorkItem& item) const { return IsDone(m_options, item); }
  /// Of the inputs that are not skipped.
  std::uint64_t BytesToDo() const;
  std::size_t FilesToDo() const;

  /// What each thread does: takes the next item until none is left.
  void Work();
  /// Runs a step for an item and reports what it throws.
  void Try(std::size_t index, const std::function<void()>& step);
  /// Encodes one item and hands its output to the commit group.
  void Encode(std::size_t index);
  /// On the thread of SignalNotice: outputs that are finished get their names, those in progress go with the process.
  void Interrupt() noexcept;

  const EncodingSetup& m_setup;
  const Options& m_options;
  const WorkList& m_list;
  BatchReport m_report;
  CommitGroup m_commits;
  /// The next item that no thread has taken.
  std::atomic<std::size_t> m_next{0};
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

bool Batch::Run() {
  std::exception_ptr error;
  {
    // Before the threads: they inherit its blocked signals. A dry run has nothing to finish.
    std::optional<SignalNotice> notice;
    if (!m_options.dryRun) {
      notice.emplace([this] { Interrupt(); });
    }
    const std::size_t workers = std::min<std::size_t>(m_options.jobs.value_or(DefaultJobs()), FilesToDo());
    std::vector<std::jthread> helpers;
    try {
      // This thread is one of the workers.
      while (helpers.size() + 1 < workers) {
        helpers.emplace_back([this] { Work(); });
      }
    } catch (const std::exception&) {
      // The system gives no more threads: those that run do all the work.
    }
    Work();
    helpers.clear();
    try {
      m_commits.Finish();
    } catch (const std::exception&) {
      // Thrown after the report, which is due in any case.
      error = std::current_exception();
    }
  }
  const bool isWell = m_report.Finish();
  if (error) {
    std::rethrow_exception(error);
  }
  return isWell;
}

void Batch::Interrupt() noexcept {
  try {
    m_commits.Finish();
  } catch (const std::exception& error) {
    PrintMessage(error.what());
  }
  m_report.Interrupt();
}

void Batch::Work() {
  for (std::size_t index = m_next++; index < m_list.items.size(); index = m_next++) {
    Try(index, [this, index] { Encode(index); });
  }
}

void Batch::Try(std::size_t index, const std::function<void()>& step) {
  const WorkItem& item = m_list.items[index];
  try {
    // The handlers below allocate memory too: the outer one catches their std::bad_alloc.
    try {
      step();
    } catch (const OutputExists& error) {
      if (m_options.skipExisting) {
        m_report.Skipped(index);  // another process has just made it
      } else {
        m_report.Failed(index, error.what());
      }
    } catch (const NotASoundFile& error) {
      if (item.isSound) {
        m_report.Failed(index, error.what());
      } else {
        m_report.NotASound(index);
      }
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception& error) {
      m_report.Failed(index, error.what());
    } catch (...) {
      m_report.Failed(index, "the module threw an exception of unknown type");
    }
  } catch (const std::bad_alloc&) {
    m_report.OutOfMemory(index);
  }
}

void Batch::Encode(std::size_t index) {
  const WorkItem& item = m_list.items[index];
  if (IsToSkip(item)) {
    m_report.Skipped(index);
    return;
  }
  // The file counts as done when the last copy is destroyed: on every way out of this function, or after its commit.
  const auto progress = std::make_shared<FileProgress>(m_report.Progress(), item.bytes);
  if (item.outputExists) {
    // Refused before the input is opened, which may be slow.
    CheckOutputTarget(item.output, m_options.force);
  }
  const auto begin = std::chrono::steady_clock::now();
  FileEncoding encoding(m_setup, item.input, item.output);
  if (m_options.dryRun) {
    m_report.Planned(index, encoding);
    return;
  }
  // The folder of all outputs is there.
  if (const std::filesystem::path folder = std::filesystem::path(item.output).parent_path();
      folder != m_options.naming.folder) {
    MakeFolders(folder);
  }
  const EncodingResult result = encoding.Write([&](FileEncoding::Pass pass, std::uint64_t done) {
    progress->Update(encoding.FractionDone(pass, done).value_or(0));
    // Small files of other threads do not wait for a large one.
    m_commits.CommitOverdue();
  });
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
  // Shared, since std::function copies what it holds.
  const auto file = std::make_shared<EncodedFile>(DescribeEncoded(encoding, result, elapsed.count()));
  m_commits.Add(encoding.TakeFile(), [this, index, progress, file](const std::exception_ptr& error) {
    // May run on another thread, and later, with the group's commit.
    Try(index, [&] {
      if (error) {
        std::rethrow_exception(error);
      }
      m_report.Encoded(index, *file);
    });
  });
}

/// Prints the names of the inputs, without opening those that are called like sounds. True when nothing has failed.
bool ListInputs(const Options& options, const WorkList& list) {
  for (const FailedInput& failure : list.failures) {
    PrintMessage(failure.reason);
  }
  for (const WorkItem& item : list.items) {
    if (!IsDone(options, item) && (item.isSound || MayBeSound(item.input))) {
      Print(item.listName + (options.selection.isNullSeparated ? '\0' : '\n'));
    }
  }
  return list.failures.empty();
}

}  // namespace

bool EncodeMany(const Options& options) {
  const EncodingSetup setup(options, options.module, options.Settings());
  // Wrong settings end the run here rather than fail every file.
  CheckSettings(setup);
  const WorkList list = MakeWorkList(SelectFiles(options.selection, options.naming.folder), options.naming);
  if (options.listInputs) {
    return ListInputs(options, list);
  }
  if (!options.dryRun && !list.items.empty()) {
    MakeFolders(options.naming.folder);
  }
  if (!options.dryRun && !options.failedList.empty()) {
    CheckOutputTarget(options.failedList, true);  // now rather than after hours of work
  }
  return Batch(options, setup, list).Run();
}
