// Analytics records of what only native code sees: how long the loading spinner stood, and
// whether the user left it. Records go straight to a page when one can take them, or are parked
// in the preferences until a page says its analytics are ready.
#pragma once

#include <optional>
#include <string>

#include "tandri/Value.hpp"

namespace tandri {

// ---- Record keys and storage keys ----
inline constexpr const char* kGtmEvent = "event";
inline constexpr const char* kGtmEventCategory = "event_category";
inline constexpr const char* kGtmEventAction = "event_action";
inline constexpr const char* kGtmEventLabel = "event_label";
inline constexpr const char* kGtmScreenName = "screen_name";
inline constexpr const char* kGtmScreenLoadTime = "screen_load_time";
inline constexpr const char* kGtmScreenStartTime = "screen_start_time";
inline constexpr const char* kGtmScreenEndTime = "screen_end_time";
inline constexpr const char* kGtmAbandonmentType = "abandonment_type";
inline constexpr const char* kGtmStorageKeyAbandonment = "com.tandri.gtm.abandonment";
inline constexpr const char* kGtmStorageKeySpinnerLoad = "com.tandri.gtm.spinnerload";
/// The name under which records are pushed to a page.
inline constexpr const char* kTandriPostMessageGTMData = "pushGtmData";

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
