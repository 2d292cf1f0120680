// Analytics records of what only native code sees: how long the loading spinner stood, and
// whether the user left it. Records go straight to a page when one can take them, or are parked
// in the preferences until a page says its analytics are ready.
#pragma once

#include <optional>
#include <string>

#include "tandri/Constants.hpp"
#include "tandri/Value.hpp"

namespace tandri {

class DataReporting {
  public:
    /// The spinner's load record; times are seconds since 1970. The two instants go out as
    /// whole milliseconds, the duration as seconds with three decimals; an end before the start
    /// gives a negative duration.
    static Dictionary buildLoadingSpinnerInstrumentationData(double startTime, double endTime);
    /// "intentional" when the user cancelled, "forceful" otherwise.
    static Dictionary buildLoadingSpinnerAbandonmentData(bool userCancelled);
    /// Parks `record` under `key` with the identifiers, replacing what was parked there. Without
    /// both identifiers nothing is kept and a line is logged.
    static void storeGtmData(const Dictionary& record, const std::string& key,
                             const std::optional<std::string>& correlationId,
                             const std::optional<std::string>& visitId);
    /// The parked records, abandonment first, as a JavaScript array literal; each one returned
    /// is removed. Empty parked values are neither returned nor removed.
    static std::string collectStoredGtmData();
};

/// Receives the loading spinner's measurements.
class DataReportingDelegate {
  public:
    virtual ~DataReportingDelegate() = default;
    virtual void recordLoadingSpinnerInstrumentationData(double startTime, double endTime,
                                                         bool afterCancel) = 0;
    virtual void recordLoadingSpinnerAbandonmentData(bool userCancelled) = 0;
};

}  // namespace tandri
