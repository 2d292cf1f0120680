// Developer logs of every message that crosses the bridge, and the one line that always reaches
// the system log.
//
// The developer logs go to a sink that discards them. Setting the environment variable
// TANDRI_LOG=stderr (read once, at the first log) sends them to standard error instead, in any
// build; a test may install its own sink. Nothing is built while the sink discards, since nothing
// could tell the difference.
#pragma once

#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "tandri/Value.hpp"

namespace tandri {

class JSTandriMessage;

class Logging {
  public:
    using Sink = std::function<void(std::string_view)>;

    /// Hands `text` to the sink (which discards it unless told otherwise).
    static void log(std::string_view text);
    /// Whether anything would receive what `log` is given.
    static bool enabled();
    /// Installs a sink (an empty one restores the default). Not thread-safe: call at start-up.
    static void setSink(Sink sink);

    /// Display text of a value: its literal for anything but a container; for a container its
    /// JSON text pretty-printed with sorted keys, or "null" when it is not valid JSON.
    static std::string prettyEncoded(const std::optional<Value>& value);
};

/// The framed block for a message that came in from a page.
std::string incomingBanner(const JSTandriMessage& message, std::string_view className);
/// The framed block for a message or response going out to a page.
std::string outgoingBanner(std::string_view name, const std::optional<Value>& payload,
                           std::string_view className);
/// The lines joined: two line breaks, the first, then each further one after a line break, and
/// a closing line break, two U+200C and a space.
std::string joinedLines(std::initializer_list<std::string_view> lines);

void logIncomingMessage(const JSTandriMessage& message, std::string_view className);
void logOutgoingMessage(std::string_view name, const std::optional<Value>& payload,
                        std::string_view className);
void logLines(std::initializer_list<std::string_view> lines);

/// Writes "TDC_SDK: <text>" to the system log, always.
void logInProduction(std::string_view text);

/// For a broken installation the library cannot run without (a missing asset of its own
/// bundle): writes the reason to the system log and ends the process.
[[noreturn]] void fatalError(std::string_view reason);

}  // namespace tandri
