#pragma once

#include "Toolbox/KelUtils/Numbers/SaturatingCast.h"

#include <algorithm>
#include <cmath>

/// Turns the progress of single items into an overall fraction, and passes it on only when it has advanced by a step of
/// the set precision. Derive, supply reportProgress(), and hand the object to the copying functions or call it so:
///
///   MyReporter reporter(2, 0.1);   // two items, a report for every tenth of the whole
///   reporter.updateProgress(0.0);  // reports 0.0
///   reporter.updateProgress(0.5);  // half of the first item: reports 0.25
///   reporter.itemFinished();       // reports 0.5
///
/// Every answer is true to go on and false to stop. One job uses an object at a time. The order of the virtual
/// operations is fixed, and so is the order of the fields; nothing is inserted.
class IKelProgressReporter {
 public:
  IKelProgressReporter(unsigned int numItems, double precision) : m_numItems(numItems), m_precision(Limit(precision)) {}
  IKelProgressReporter(const IKelProgressReporter&) = default;
  IKelProgressReporter& operator=(const IKelProgressReporter&) = default;
  virtual ~IKelProgressReporter() = default;

  /// Width of one step as a fraction of the whole: 0.01 means at most 101 reports. Not below 1e-10 (that is what
  /// anything smaller, and what is not a number, becomes).
  virtual void setPrecision(double precision) { m_precision = Limit(precision); }

  /// Starts anew with `numItems` items; the precision stays.
  virtual void reset(unsigned int numItems) {
    m_numItems = numItems;
    m_itemsFinished = 0;
    m_itemProgress = 0.0;
    m_lastStep = -1;
  }

  /// Says that the current item is `itemProgress` done (0 to 1). Reports the overall fraction, at most 1, when it is in
  /// a later step than the last report, and returns the answer; true when there is nothing to report. With no items
  /// there never is.
  virtual bool updateProgress(double itemProgress) {
    m_itemProgress = itemProgress;
    if (m_numItems == 0 || std::isnan(itemProgress)) {
      return true;
    }
    const double total = m_numItems;
    const double fraction = std::min(m_itemsFinished + itemProgress, total) / total;
    const int step = SaturatingCast<int>(fraction / m_precision);
    if (step <= m_lastStep) {
      return true;
    }
    m_lastStep = step;
    return reportProgress(fraction);
  }

  /// Says that the current item is done and the next one begins; answers as updateProgress(0.0) does.
  virtual bool itemFinished() {
    ++m_itemsFinished;
    return updateProgress(0.0);
  }

  /// Shows or forwards the overall fraction, 0 to 1; false cancels the job. Called on the working thread.
  virtual bool reportProgress(double fraction) = 0;

 private:
  static double Limit(double precision) { return precision > 1e-10 ? precision : 1e-10; }

  unsigned int m_numItems;
  unsigned int m_itemsFinished = 0;
  double m_itemProgress = 0.0;
  double m_precision;
  int m_lastStep = -1;
};
