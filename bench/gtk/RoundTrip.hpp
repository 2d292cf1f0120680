#pragma once

// What the round-trip programs share: arrival times per run, the intervals
// between them as per-round-trip times, percentiles, and the JSON they write
// for the plotting script.

#include <glib.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace tandri::bench {

using Clock = std::chrono::steady_clock;

struct Run {
    const char* name;
    std::vector<double> arrivals;  // seconds
    int target = 0;

    void arrive() {
        arrivals.push_back(std::chrono::duration<double>(Clock::now().time_since_epoch()).count());
    }
    bool done() const { return static_cast<int>(arrivals.size()) >= target; }
};

inline std::vector<double> intervalsMicros(const Run& run) {
    std::vector<double> out;
    for (size_t i = 1; i < run.arrivals.size(); ++i) {
        out.push_back((run.arrivals[i] - run.arrivals[i - 1]) * 1e6);
    }
    return out;
}

inline double percentile(std::vector<double> values, double p) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    size_t index = static_cast<size_t>(p * static_cast<double>(values.size() - 1) + 0.5);
    return values[index];
}

/// Runs the main loop until `done`, or until `limit` has passed; answers `done()`.
inline bool spin(const std::function<bool()>& done,
                 std::chrono::seconds limit = std::chrono::seconds(30)) {
    auto deadline = Clock::now() + limit;
    while (!done() && Clock::now() < deadline) {
        if (!g_main_context_iteration(nullptr, FALSE)) g_usleep(50);
    }
    return done();
}

/// "[N] [--json FILE]": the number of round trips (at least 10, 2000 by default) and where to
/// write every interval, if anywhere.
inline void parseArguments(int argc, char** argv, int& n, const char*& jsonPath) {
    n = 2000;
    jsonPath = nullptr;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--json" && i + 1 < argc) {
            jsonPath = argv[++i];
        } else {
            n = std::max(10, std::atoi(argv[i]));
        }
    }
}

struct Summary {
    double median, p90, p99;
};

/// Prints each run's percentiles, the ratio of the last run to the first, and (with a path)
/// writes every interval as JSON: {"n":…,"runs":[{"name":…,"micros":[…]},…]}.
inline std::vector<Summary> report(const std::vector<const Run*>& runs, int n,
                                   const char* jsonPath) {
    FILE* json = jsonPath ? std::fopen(jsonPath, "w") : nullptr;
    if (json) std::fprintf(json, "{\"n\":%d,\"runs\":[", n);
    std::vector<Summary> out;
    for (size_t r = 0; r < runs.size(); ++r) {
        auto values = intervalsMicros(*runs[r]);
        Summary s{percentile(values, 0.5), percentile(values, 0.9), percentile(values, 0.99)};
        out.push_back(s);
        std::printf("%-17s median %7.1f us  p90 %7.1f us  p99 %7.1f us  (%zu round trips)\n",
                    runs[r]->name, s.median, s.p90, s.p99, values.size());
        if (json) {
            std::fprintf(json, "%s{\"name\":\"%s\",\"micros\":[", r ? "," : "", runs[r]->name);
            for (size_t i = 0; i < values.size(); ++i) {
                std::fprintf(json, "%s%.1f", i ? "," : "", values[i]);
            }
            std::fprintf(json, "]}");
        }
    }
    if (out.size() >= 2) {
        std::printf("ratio: median %.3f  p99 %.3f\n", out.back().median / out.front().median,
                    out.back().p99 / out.front().p99);
    }
    if (json) {
        std::fprintf(json, "]}\n");
        std::fclose(json);
    }
    return out;
}

}  // namespace tandri::bench
