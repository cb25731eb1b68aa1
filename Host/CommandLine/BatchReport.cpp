#include "Host/CommandLine/BatchReport.h"

#include "Host/CommandLine/Progress.h"
#include "Host/System/OutputFile.h"
#include "Host/Text/Errors.h"
#include "Host/Text/Messages.h"
#include "Host/Text/Numbers.h"
#include "Host/Transcode/EncodeFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

BatchReport::BatchReport(const Options& options, const WorkList& list, std::size_t filesToDo, std::uint64_t bytesToDo)
    : m_options(options),
      m_list(list),
      m_events(options.json ? stdout : nullptr),
      m_progress(!options.quiet && !options.dryRun, bytesToDo, filesToDo, m_events),
      m_states(list.items.size()),
      m_texts(list.items.size()) {
  m_counts.clashing = list.clashingFiles;
  m_counts.repeated = list.repeatedFiles;
  m_counts.excluded = list.excludedFiles;
  m_counts.others = list.otherFiles;
  m_counts.failed = list.failures.size();
  m_events.Start(filesToDo, bytesToDo, options.dryRun);
  for (const FailedInput& failure : list.failures) {
    PrintMessage(failure.reason);
    m_events.Failed(failure.path, failure.listName, failure.reason);
  }
}

void BatchReport::Planned(std::size_t index, const FileEncoding& encoding) {
  const std::lock_guard lock(m_mutex);
  // With --json the event is the plan; nothing else may be on standard output.
  m_events.Plan(encoding, m_list.items[index].listName);
  ++m_counts.encoded;
  Complete(index, State::kDone, m_options.json ? "" : PlanText(encoding) + '\n');
}

void BatchReport::Encoded(std::size_t index, const EncodedFile& file) {
  const std::lock_guard lock(m_mutex);
  if (m_isOver) {
    return;
  }
  m_events.Encoded(file);
  m_counts.Add(file);
  if (const std::string notes = NotesText(file); !notes.empty() && !m_options.quiet) {
    m_progress.PrintAbove(fmt::format("{}: {}", file.input, notes));
  }
  Complete(index, State::kDone);
}

void BatchReport::Skipped(std::size_t index) {
  const std::lock_guard lock(m_mutex);
  const WorkItem& item = m_list.items[index];
  if (m_isOver) {
    return;
  }
  m_events.Skipped(item.input, item.output);
  ++m_counts.skipped;
  m_counts.outdated += item.outputIsOlder ? 1 : 0;
  Complete(index, State::kDone);
}

void BatchReport::NotASound(std::size_t index) {
  const std::lock_guard lock(m_mutex);
  ++m_counts.others;
  Complete(index, State::kDone);
}

void BatchReport::Failed(std::size_t index, const std::string& why) {
  const WorkItem& item = m_list.items[index];
  // Most messages name the file already.
  const std::string message = why.starts_with(item.input + ":") ? why : item.input + ": " + why;
  const std::lock_guard lock(m_mutex);
  if (m_isOver) {
    return;
  }
  m_progress.PrintAbove(message);
  m_events.Failed(item.input, item.listName, message);
  ++m_counts.failed;
  Complete(index, State::kFailed, message);
}

void BatchReport::OutOfMemory(std::size_t index) noexcept {
  const std::lock_guard lock(m_mutex);
  // Nothing here allocates memory: End writes the message, when there is some again.
  m_states[index] = State::kFailed;
  m_texts[index].clear();
  ++m_counts.failed;
}

void BatchReport::Complete(std::size_t index, State state, std::string text) {
  m_states[index] = state;
  m_texts[index] = std::move(text);
  if (m_options.dryRun) {
    PrintPlans();
  }
}

void BatchReport::PrintPlans() {
  while (m_nextPlan < m_states.size() && m_states[m_nextPlan] != State::kOpen) {
    const std::size_t index = m_nextPlan++;
    if (m_states[index] == State::kDone && !m_texts[index].empty() && m_printError.empty()) {
      try {
        Print(std::exchange(m_texts[index], {}));
      } catch (const Failure& error) {
        // The first error ends the printing and is kept for Finish: this runs on the threads of the workers.
        m_printError = error.what();
      }
    }
  }
}

bool BatchReport::Finish() {
  const bool isWell = End(false);
  m_events.Check();
  if (!m_printError.empty()) {
    throw Failure(m_printError);
  }
  return isWell;
}

void BatchReport::Interrupt() noexcept {
  try {
    End(true);
  } catch (const std::exception& error) {
    PrintMessage(error.what());
  }
}

bool BatchReport::End(bool isInterrupted) {
  const std::lock_guard lock(m_mutex);
  // Reports that come later, from threads that still run after a signal, change nothing.
  m_isOver = true;
  m_progress.Clear();
  m_counts.notReached = static_cast<std::size_t>(std::count(m_states.begin(), m_states.end(), State::kOpen));
  for (std::size_t index = 0; index < m_states.size(); ++index) {
    if (m_states[index] == State::kFailed && m_texts[index].empty()) {
      m_texts[index] = m_list.items[index].input + ": out of memory";
      PrintMessage(m_texts[index]);
      m_events.Failed(m_list.items[index].input, m_list.items[index].listName, m_texts[index]);
    }
  }
  if (!m_options.quiet) {
    // Once more, together: the messages of the failures have scrolled away in a long run.
    for (const FailedInput& failure : m_list.failures) {
      PrintMessage("failed: " + failure.reason);
    }
    for (std::size_t index = 0; index < m_states.size(); ++index) {
      if (m_states[index] == State::kFailed) {
        PrintMessage("failed: " + m_texts[index]);
      }
    }
    PrintMessage(SummaryText(isInterrupted));
  }
  m_events.Summary(m_counts, isInterrupted, m_progress.Seconds());
  WriteListOfFailed();
  return m_counts.failed == 0;
}

std::string BatchReport::SummaryText(bool isInterrupted) const {
  std::string text =
      fmt::format("{}: {}{}{}{}", m_options.naming.folder, isInterrupted ? "interrupted: " : "",
                  CountText(m_counts.encoded, "file", "files"), m_options.dryRun ? " to encode" : " encoded",
                  !m_options.verify  ? ""
                  : m_options.dryRun ? " and verify"
                                     : " and verified");
  const auto add = [&text](std::size_t number, const char* singular, const char* plural) {
    text += number == 0 ? "" : ", " + CountText(number, singular, plural);
  };
  add(m_counts.resampled, "of them resampled", "of them resampled");
  add(m_counts.dithered, "of them dithered", "of them dithered");
  add(m_counts.clipped, "of them clipped", "of them clipped");
  add(m_counts.split, "of them split into tracks", "of them split into tracks");
  add(m_counts.skipped, "existing one skipped", "existing ones skipped");
  add(m_counts.outdated, "of them older than its input", "of them older than their inputs");
  add(m_counts.clashing, "clashing one skipped", "clashing ones skipped");
  add(m_counts.repeated, "repeated", "repeated");
  add(m_counts.excluded, "excluded", "excluded");
  add(m_counts.others, "not a sound file", "not sound files");
  add(m_counts.failed, "failed", "failed");
  add(m_counts.notReached, "not reached", "not reached");
  // Zeros alone would not say why nothing was encoded.
  if (m_list.items.empty() && m_counts.others + m_counts.excluded + m_counts.failed == 0) {
    text += ": there are no files in the inputs";
  }
  if (m_counts.encoded != 0 && !m_options.dryRun) {
    // Rounded down: a speed is never overstated.
    const double sound = m_counts.soundSeconds;
    text += fmt::format("; {} of sound, {:.0f} x real time",
                        TimeText(static_cast<std::uint64_t>(std::llround(sound * 1000)), 1000),
                        std::floor(sound / m_progress.Seconds()));
  }
  return text;
}

void BatchReport::WriteListOfFailed() const {
  if (m_options.failedList.empty() || m_options.dryRun) {
    return;
  }
  // The list of an earlier run is replaced, also by an empty one.
  OutputFile file(m_options.failedList, true);
  const auto add = [this, &file](const std::string& name) {
    file.Write(name.data(), name.size());
    file.Write(m_options.selection.isNullSeparated ? "\0" : "\n", 1);
  };
  for (const FailedInput& failure : m_list.failures) {
    add(failure.listName);
  }
  for (std::size_t index = 0; index < m_states.size(); ++index) {
    if (m_states[index] == State::kFailed) {
      add(m_list.items[index].listName);
    }
  }
  file.Commit();
}
