#include "Core/Utils/Logging.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include "Core/Javascript/JSEncodable.hpp"
#include "Core/Javascript/JSTandriMessage.hpp"
#include "Platform/Platform.hpp"
#include "tandri/Json.hpp"

namespace tandri {

namespace {

constexpr std::string_view kStars = "*******************************************";
constexpr std::string_view kZwnj = "\u200c";

struct SinkState {
    Logging::Sink sink;
    bool toStandardError = false;

    SinkState() {
        const char* target = std::getenv("TANDRI_LOG");
        toStandardError = target && std::strcmp(target, "stderr") == 0;
    }
};

SinkState& state() {
    static SinkState s;
    return s;
}

}  // namespace

void Logging::log(std::string_view text) {
    SinkState& s = state();
    if (s.sink) {
        s.sink(text);
    } else if (s.toStandardError) {
        std::cerr << text << '\n' << std::flush;
    }
}

bool Logging::enabled() {
    const SinkState& s = state();
    return s.sink || s.toStandardError;
}

void Logging::setSink(Sink sink) {
    state().sink = std::move(sink);
}

std::string Logging::prettyEncoded(const std::optional<Value>& value) {
    if (!value) return "null";
    if (!value->isArray() && !value->isDictionary()) return jsEncoded(*value);
    auto text = json::write(*value, json::Style::PrettySorted);
    return text ? *text : "null";
}

std::string incomingBanner(const JSTandriMessage& message, std::string_view className) {
    std::string out;
    out.append("\n\n").append(kStars).append("\n<---\n");
    out.append(className).append(".").append(message.name()).append("\n");
    out.append(kStars).append("\n");
    out.append(Logging::prettyEncoded(Value(message.raw()))).append("\n");
    for (int i = 0; i < 4; ++i) out.append(kZwnj);
    out.append(" ");
    return out;
}

std::string outgoingBanner(std::string_view name, const std::optional<Value>& payload,
                           std::string_view className) {
    std::string out;
    out.append("\n\n").append(kStars).append("\n--->\n");
    out.append(className).append(".").append(name).append("\n");
    out.append(kStars).append("\n");
    out.append(Logging::prettyEncoded(payload)).append("\n");
    return out;
}

std::string joinedLines(std::initializer_list<std::string_view> lines) {
    std::string out;
    bool first = true;
    for (std::string_view line : lines) {
        out.append(first ? "\n\n" : "\n").append(line);
        first = false;
    }
    if (first) out.append("\n\n");
    out.append("\n").append(kZwnj).append(kZwnj).append(" ");
    return out;
}

void logIncomingMessage(const JSTandriMessage& message, std::string_view className) {
    if (Logging::enabled()) Logging::log(incomingBanner(message, className));
}

void logOutgoingMessage(std::string_view name, const std::optional<Value>& payload,
                        std::string_view className) {
    if (Logging::enabled()) Logging::log(outgoingBanner(name, payload, className));
}

void logLines(std::initializer_list<std::string_view> lines) {
    if (Logging::enabled()) Logging::log(joinedLines(lines));
}

void logInProduction(std::string_view text) {
    std::string line = "TDC_SDK: ";
    line.append(text);
    if (auto& log = Platform::current().systemLog) log->write(line);
}

void fatalError(std::string_view reason) {
    std::string line = "Fatal error: ";
    line.append(reason);
    logInProduction(line);
    std::fprintf(stderr, "TDC_SDK: %s\n", line.c_str());
    std::abort();
}

}  // namespace tandri
