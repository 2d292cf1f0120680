// Plays a scenario against the whole library on the simulated platform: host calls, page
// messages, platform events and stored state go in as events; every effect the library has that
// a host, a page or a person could observe comes out, in order, as one JSON text each.
#pragma once

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tandri::simtool {

/// An event the runner cannot play; the text says what is wrong with it.
struct ScenarioError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class ScenarioRunner {
  public:
    using Emit = std::function<void(const std::string& line)>;
    struct Options {
        /// Also report the bridges' developer banners (the log sink) as "trace" effects.
        bool trace = false;
    };

    /// Installs a fresh simulated platform; `emit` receives each effect line as it happens.
    ScenarioRunner(Emit emit, Options options);
    ~ScenarioRunner();
    ScenarioRunner(const ScenarioRunner&) = delete;
    ScenarioRunner& operator=(const ScenarioRunner&) = delete;

    /// Plays one event, given as the text of a JSON object. Throws ScenarioError for an event
    /// it cannot play; effects reported before the error stand.
    void play(std::string_view eventText);

    /// The device's stores (keychain items, preferences, files) as JSON text, to carry them to
    /// a later run, and back. `loadStores` throws ScenarioError for text it cannot read.
    std::string saveStores() const;
    void loadStores(std::string_view text);

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tandri::simtool
