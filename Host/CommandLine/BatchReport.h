#pragma once

/// Reports on the encoding of many files: each failure when it happens, and everything at the end.

#include "Host/CommandLine/BatchProgress.h"
#include "Host/CommandLine/EncodingTexts.h"
#include "Host/CommandLine/JsonEvents.h"
#include "Host/CommandLine/Options.h"
#include "Host/CommandLine/WorkList.h"

#include <mutex>
#include <string>
#include <vector>

class FileEncoding;

/// Each item of the list gets one report, from any thread; Finish or Interrupt ends them all.
class BatchReport {
 public:
  /// Reports the failures that are in the list already. `filesToDo` and `bytesToDo` are the work; the other arguments
  /// must outlive the object.
  BatchReport(const Options& options, const WorkList& list, std::size_t filesToDo, std::uint64_t bytesToDo);

  BatchProgress& Progress() { return m_progress; }

  /// A dry run: what the encoding would do. Printed in the order of the list.
  void Planned(std::size_t index, const FileEncoding& encoding);
  /// The output has its name.
  void Encoded(std::size_t index, const EncodedFile& file);
  /// The output exists, and the options say to keep it.
  void Skipped(std::size_t index);
  /// A file found in a folder that turned out to be no sound.
  void NotASound(std::size_t index);
  /// Prints the failure at once. `why` may begin with the name of the input or not.
  void Failed(std::size_t index, const std::string& why);
  /// Counts as a failure; allocates nothing.
  void OutOfMemory(std::size_t index) noexcept;

  /// Prints the failures again and what everything came to, and writes the list of failed files. True when no file has
  /// failed. Throws Failure when something cannot be written.
  bool Finish();

  /// The same when a signal ends the program: what has not been reported has not been reached. Later reports are
  /// ignored.
  void Interrupt() noexcept;

 private:
  enum class State : unsigned char { kOpen, kDone, kFailed };

  /// Closes the item, with its plan or the reason of its failure. The caller holds m_mutex.
  void Complete(std::size_t index, State state, std::string text = {});
  /// Prints the plans whose predecessors are all closed, in the order of the list.
  void PrintPlans();
  /// Prints failures and summary, writes the list of failed files. True when no file has failed.
  bool End(bool isInterrupted);
  std::string SummaryText(bool isInterrupted) const;
  void WriteListOfFailed() const;

  const Options& m_options;
  const WorkList& m_list;
  JsonEvents m_events;
  BatchProgress m_progress;
  std::mutex m_mutex;  ///< guards the rest
  BatchCounts m_counts;
  std::vector<State> m_states;
  std::vector<std::string> m_texts;  ///< plans that wait for those before them; why items failed: "" is out of memory
  std::size_t m_nextPlan = 0;
  std::string m_printError;  ///< why a plan could not be printed
  bool m_isOver = false;
};
