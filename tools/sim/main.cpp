// tandri-sim: replays a scenario (JSON Lines of host calls, page messages, platform events and
// stored state) against the library on the simulated platform and prints every observable effect
// as JSON Lines. See docs/sim.md.

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "Scenario.hpp"

namespace {

constexpr const char* kUsage =
    "usage: tandri-sim [--trace] [--state DIR] [--check EXPECTED.jsonl] [SCENARIO.jsonl | -]\n"
    "  Replays the scenario (standard input when none or -) and prints each effect as one JSON\n"
    "  line. --trace adds the bridges' message banners; --state keeps the device's stores in DIR\n"
    "  between runs; --check compares the output with EXPECTED and prints the differences.\n"
    "  Exit status: 0 done (and matching), 1 output differs, 2 bad scenario or arguments.\n";

std::vector<std::string> readLines(std::istream& in) {
    std::vector<std::string> lines;
    std::string line;
    while (std::getline(in, line)) lines.push_back(line);
    return lines;
}

bool isBlankOrComment(const std::string& line) {
    auto first = line.find_first_not_of(" \t\r");
    return first == std::string::npos || line[first] == '#';
}

/// For a line that changed: the first column where the two differ, with a little of each around it.
std::string whereTheyPart(const std::string& expected, const std::string& actual) {
    std::size_t at = 0;
    while (at < expected.size() && at < actual.size() && expected[at] == actual[at]) ++at;
    const std::size_t from = at > 20 ? at - 20 : 0;
    auto piece = [&](const std::string& line) {
        return line.substr(from,
                           std::min<std::size_t>(60, line.size() - std::min(from, line.size())));
    };
    std::ostringstream out;
    out << "    first difference at column " << (at + 1) << ": expected ..." << piece(expected)
        << "... got ..." << piece(actual) << "...\n";
    return out.str();
}

/// The differences between two lists of lines as a unified-style listing: "-" lines are expected
/// but missing, "+" lines came out unexpectedly, with a little context and line numbers.
std::string diff(const std::vector<std::string>& expected, const std::vector<std::string>& actual) {
    const std::size_t n = expected.size(), m = actual.size();
    // Longest common subsequence, from the end.
    std::vector<std::vector<std::uint32_t>> lcs(n + 1, std::vector<std::uint32_t>(m + 1, 0));
    for (std::size_t i = n; i-- > 0;) {
        for (std::size_t j = m; j-- > 0;) {
            lcs[i][j] = expected[i] == actual[j] ? lcs[i + 1][j + 1] + 1
                                                 : std::max(lcs[i + 1][j], lcs[i][j + 1]);
        }
    }
    struct Row {
        char mark;
        std::size_t line;  // in expected for ' ' and '-', in actual for '+'
        const std::string* text;
    };
    std::vector<Row> rows;
    std::size_t i = 0, j = 0;
    while (i < n || j < m) {
        if (i < n && j < m && expected[i] == actual[j]) {
            rows.push_back({' ', i + 1, &expected[i]});
            ++i, ++j;
        } else if (i < n && (j == m || lcs[i + 1][j] >= lcs[i][j + 1])) {
            rows.push_back({'-', i + 1, &expected[i]});
            ++i;
        } else {
            rows.push_back({'+', j + 1, &actual[j]});
            ++j;
        }
    }
    constexpr std::size_t kContext = 2;
    std::ostringstream out;
    std::size_t lastShown = SIZE_MAX;
    for (std::size_t r = 0; r < rows.size(); ++r) {
        bool near = false;
        for (std::size_t k = (r >= kContext ? r - kContext : 0);
             k < std::min(rows.size(), r + kContext + 1); ++k) {
            near = near || rows[k].mark != ' ';
        }
        if (!near) continue;
        if (lastShown != SIZE_MAX && r != lastShown + 1) out << "  ...\n";
        const char* where = rows[r].mark == '+' ? "output" : "expected";
        out << rows[r].mark << ' ' << where << ':' << rows[r].line << "  " << *rows[r].text << '\n';
        if (rows[r].mark == '+' && r > 0 && rows[r - 1].mark == '-') {
            out << whereTheyPart(*rows[r - 1].text, *rows[r].text);
        }
        lastShown = r;
    }
    return out.str();
}

}  // namespace

int main(int argc, char** argv) {
    bool trace = false;
    std::string stateDir, checkPath, scenarioPath = "-";
    bool scenarioGiven = false;
    for (int k = 1; k < argc; ++k) {
        std::string arg = argv[k];
        if (arg == "--trace") {
            trace = true;
        } else if ((arg == "--state" || arg == "--check") && k + 1 < argc) {
            (arg == "--state" ? stateDir : checkPath) = argv[++k];
        } else if (arg == "-h" || arg == "--help") {
            std::cout << kUsage;
            return 0;
        } else if ((arg == "-" || arg[0] != '-') && !scenarioGiven) {
            scenarioPath = arg;
            scenarioGiven = true;
        } else {
            std::cerr << "tandri-sim: unexpected argument \"" << arg << "\"\n" << kUsage;
            return 2;
        }
    }

    // The scenario is played as it is read: a long one never sits in memory whole.
    std::ifstream file;
    if (scenarioPath != "-") {
        file.open(scenarioPath);
        if (!file) {
            std::cerr << "tandri-sim: cannot read " << scenarioPath << "\n";
            return 2;
        }
    }
    std::istream& scenario = scenarioPath == "-" ? std::cin : file;
    std::vector<std::string> expected;
    if (!checkPath.empty()) {
        std::ifstream in(checkPath);
        if (!in) {
            std::cerr << "tandri-sim: cannot read " << checkPath << "\n";
            return 2;
        }
        expected = readLines(in);
    }

    // Without --check each effect is printed as it happens, so a run that stops on a bad line
    // still shows everything before it.
    std::vector<std::string> output;
    const bool checking = !checkPath.empty();
    tandri::simtool::ScenarioRunner runner(
        [&](const std::string& line) {
            // Kept only to compare; otherwise printed and forgotten.
            if (checking) {
                output.push_back(line);
            } else {
                std::cout << line << '\n' << std::flush;
            }
        },
        {.trace = trace});

    const std::filesystem::path storesFile = stateDir.empty()
                                                 ? std::filesystem::path()
                                                 : std::filesystem::path(stateDir) / "stores.json";
    const std::string label = scenarioPath == "-" ? "<stdin>" : scenarioPath;
    auto saveStores = [&]() -> bool {
        if (stateDir.empty()) return true;
        std::error_code error;
        std::filesystem::create_directories(stateDir, error);
        const auto temporary = storesFile.string() + ".tmp";
        {
            std::ofstream out(temporary, std::ios::trunc);
            out << runner.saveStores();
            out.flush();
            if (!out) {
                std::cerr << "tandri-sim: cannot write " << temporary << "\n";
                return false;
            }
        }
        std::filesystem::rename(temporary, storesFile, error);
        if (error) {
            std::cerr << "tandri-sim: cannot write " << storesFile << ": " << error.message()
                      << "\n";
            return false;
        }
        return true;
    };
    if (!stateDir.empty() && std::filesystem::exists(storesFile)) {
        std::ifstream in(storesFile);
        std::stringstream text;
        text << in.rdbuf();
        try {
            runner.loadStores(text.str());
        } catch (const tandri::simtool::ScenarioError& error) {
            std::cerr << "tandri-sim: " << storesFile.string() << ": " << error.what() << "\n";
            return 2;
        }
    }

    std::string line;
    for (std::size_t k = 0; std::getline(scenario, line); ++k) {
        if (isBlankOrComment(line)) continue;
        try {
            runner.play(line);
        } catch (const tandri::simtool::ScenarioError& error) {
            if (checking) {
                for (const auto& effect : output) std::cout << effect << '\n';
            }
            std::cout << std::flush;
            std::cerr << "tandri-sim: " << label << ":" << (k + 1) << ": " << error.what() << "\n";
            saveStores();
            return 2;
        }
    }
    if (!saveStores()) return 2;

    if (!checking) return 0;
    if (output == expected) {
        std::cerr << "tandri-sim: " << label << ": " << output.size() << " effects as expected\n";
        return 0;
    }
    std::cout << "tandri-sim: " << label << ": the output differs from " << checkPath << "\n"
              << diff(expected, output);
    return 1;
}
