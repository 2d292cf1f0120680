#include "Core/Utils/DataReporting.hpp"

#include <cstdio>

#include "Core/Javascript/JSEncodable.hpp"
#include "Core/Storage/KeychainUtils.hpp"
#include "Core/Storage/Storage.hpp"
#include "Core/Utils/Logging.hpp"
#include "Core/Utils/URL.hpp"

namespace tandri {

namespace {

std::string formatted(const char* format, double value) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, format, value);
    return buffer;
}

bool hasEntries(const Value& value) {
    if (value.isDictionary()) return !value.asDictionary().empty();
    if (value.isArray()) return !value.asArray().empty();
    return false;
}

}  // namespace

Dictionary DataReporting::buildLoadingSpinnerInstrumentationData(double startTime, double endTime) {
    const char* name = "Spinner Screen Load";
    Dictionary record;
    record.set(kGtmEvent, Value(name));
    record.set(kGtmEventCategory, Value(name));
    record.set(kGtmEventAction, Value(name));
    record.set(kGtmEventLabel, Value("Spinner Screen Load - Foreground"));
    record.set(kGtmScreenName, Value(name));
    record.set(kGtmScreenLoadTime, Value(formatted("%.03f", endTime - startTime)));
    record.set(kGtmScreenStartTime, Value(formatted("%.0f", startTime * 1000)));
    record.set(kGtmScreenEndTime, Value(formatted("%.0f", endTime * 1000)));
    return record;
}

Dictionary DataReporting::buildLoadingSpinnerAbandonmentData(bool userCancelled) {
    Dictionary record;
    record.set(kGtmEvent, Value("abandonment"));
    record.set(kGtmEventAction, Value("abandonment"));
    record.set(kGtmEventLabel, Value("abandonment"));
    record.set(kGtmAbandonmentType, Value(userCancelled ? "intentional" : "forceful"));
    return record;
}

void DataReporting::storeGtmData(const Dictionary& record, const std::string& key,
                                 const std::optional<std::string>& correlationId,
                                 const std::optional<std::string>& visitId) {
    if (isNilOrBlank(correlationId) || isNilOrBlank(visitId)) {
        logLines({"Failed to store GTM data because correlationId or visitId were missing."});
        return;
    }
    Dictionary parked;
    parked.set("gtmEvent", Value(record));
    parked.set("correlationId", Value(*correlationId));
    parked.set("visitId", Value(*visitId));
    Storage::setValue(Value(std::move(parked)), key);
}

std::string DataReporting::collectStoredGtmData() {
    Array records;
    for (const char* key : {kGtmStorageKeyAbandonment, kGtmStorageKeySpinnerLoad}) {
        auto parked = UserDefaultsUtils::getValueForKey(key);
        if (parked && hasEntries(*parked)) {
            records.push_back(*parked);
            UserDefaultsUtils::clearValueForKey(Value(key));
        }
    }
    return jsEncoded(Value(std::move(records)));
}

}  // namespace tandri
