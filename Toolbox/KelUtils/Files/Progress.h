#pragma once

#include <algorithm>
#include <cmath>

/// Turns the progress of single items into an overall fraction, and reports it only when it has advanced by a step of
/// the set precision. Derive from it, implement reportProgress(), and pass the object to the copying functions or call
/// it:
///
///   MyReporter reporter(2, 0.1);   // two items, a report for every tenth of the whole
///   reporter.updateProgress(0.0);  // reports 0.0
///   reporter.updateProgress(0.5);  // half of the first item: reports 0.25
///   reporter.itemFinished();       // reports 0.5
///
/// Every function that returns bool returns true to go on and false to stop. One job at a time uses an object. The
/// order of the virtual operations and of the fields is fixed.
class IKelProgressReporter {
 public:
  /// For `numItems` items; see setPrecision.
  IKelProgressReporter(unsigned int numItems, double precision) : m_numItems(numItems), m_precision(Limit(precision)) {}
  IKelProgressReporter(const IKelProgressReporter&) = default;
  IKelProgressReporter& operator=(const IKelProgressReporter&) = default;
  virtual ~IKelProgressReporter() = default;

  /// Sets the width of one step as a fraction of the whole: 0.01 means at most 101 reports. Anything below 1e-10, or
  /// not a number, becomes 1e-10.
  virtual void setPrecision(double precision) { m_precision = Limit(precision); }

  /// Starts again with `numItems` items; the precision stays.
  virtual void reset(unsigned int numItems) {
    m_numItems = numItems;
    m_itemsFinished = 0;
    m_itemProgress = 0.0;
    m_lastStep = -1;
  }

  /// Sets the progress of the current item (0 to 1). Reports the overall fraction, at most 1, when it lies in a later
  /// step than the last report, and returns the result; otherwise, and always with no items, returns true.
  virtual bool updateProgress(double itemProgress) {
    m_itemProgress = itemProgress;
    if (m_numItems == 0 || std::isnan(itemProgress)) {
      return true;
    }
    const double total = m_numItems;
    const double fraction = std::min(m_itemsFinished + itemProgress, total) / total;
    const double steps = fraction / m_precision;
    const bool isReportedBefore = m_lastStep != -1 && StepIndex(steps) <= static_cast<unsigned int>(m_lastStep);
    if (steps <= -1 || isReportedBefore) {
      return true;
    }
    m_lastStep = static_cast<int>(StepIndex(steps));
    return reportProgress(fraction);
  }

  /// The current item is done and the next one begins; returns the result of updateProgress(0.0).
  virtual bool itemFinished() {
    ++m_itemsFinished;
    return updateProgress(0.0);
  }

  /// Shows or forwards the overall fraction, 0 to 1; false cancels the job. Called on the thread of the job.
  virtual bool reportProgress(double fraction) = 0;

 private:
  static double Limit(double precision) { return precision > 1e-10 ? precision : 1e-10; }

  // A precision of 1e-10 gives more steps than 32 bits can count: from step 2^31 on, four steps share an index.
  static unsigned int StepIndex(double steps) {
    constexpr double kSigned = 2147483648.0;
    return static_cast<unsigned int>(steps < kSigned ? std::max(steps, 0.0) : kSigned + (steps - kSigned) / 4);
  }

  unsigned int m_numItems;
  unsigned int m_itemsFinished = 0;
  double m_itemProgress = 0.0;
  double m_precision;
  int m_lastStep = -1;  // holds a StepIndex, -1 when nothing has been reported
};
