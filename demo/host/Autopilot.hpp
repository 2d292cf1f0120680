#pragma once

// The demo's autopilot, the same for every toolkit: it drives the merchant's shop like a person
// (taps, waits, closes a slow loading screen), reads what a person would see (which screen is on
// top, whom the checkout page remembered, what the button shows after a restart) and reports the
// checkout's end as one JSON line. The toolkit's own calls are its `Hands`.
//
//   <demo> [--manual | --hybrid] [--auto success|cancel|error|spinner-cancel|cached-button]
//          [--button-status N] [--screenshots DIR] [--timeout SECONDS]
//
// --manual puts the merchant's own "Pay" control in place of the checkout button and starts a
// manual checkout session from it; --hybrid shows a merchant's own web page instead, talking to
// the library through the hybrid plugin (the checkout opens as a window of that page). With
// --auto it taps the button itself, the checkout page picks a card and pays (or cancels, or
// fails), and the result is printed as one JSON line; the exit status is 0 when the checkout
// ended as asked. "spinner-cancel" meets a slow checkout and closes the loading screen as a
// person would; "cached-button" checks out nothing and reports whether the button shows the page
// saved by an earlier run (with --button-status 404 the live page fails). The store lives under
// $XDG_DATA_HOME/com.example.SandboxStore, so a second run is a restart. With --screenshots each
// screen (cart, loading, checkout, result) is saved as a PNG.

#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Core/Views/ViewController.hpp"
#include "SandboxServer.hpp"
#include "ShopSettings.hpp"
#include "tandri/tandri.hpp"

namespace tandri::demo {

struct Options {
    std::string autoMode;
    bool hybrid = false;
    bool manual = false;
    std::string screenshots;
    int timeoutSeconds = 120;
    int buttonStatus = 200;
};

/// The command line; a wrong one ends the program with its usage (exit status 2).
Options parseOptions(int argc, char** argv, const char* program);

/// The shop's settings for the flow the options ask for, against the local sandbox.
shop::Settings shopSettings(const SandboxServer& sandbox, const Options& options);

/// What the saved button page shows after a restart: whether it is on screen inside the button,
/// whether the live page is, and the colour it paints at its left, halfway down.
struct SavedButtonLook {
    bool savedShown = false;
    bool liveShown = false;
    std::optional<std::array<int, 3>> colour;
    std::optional<std::string> accessibilityLabel;  // what assistive technologies read
};

/// The toolkit's side of the autopilot.
class Hands {
  public:
    virtual ~Hands() = default;
    /// One turn of the toolkit's event loop.
    virtual void pump() = 0;
    /// The controller on top, and the one standing for the shop's own window.
    virtual std::shared_ptr<ViewController> top() = 0;
    virtual std::shared_ptr<ViewController> root() = 0;
    /// A tap at window coordinates on the top screen.
    virtual bool tapScreen(double x, double y) = 0;
    /// A tap at the middle of what the person pays with (the button, or the shop's own).
    virtual void tapPay() = 0;
    /// A picture of the window as it shows now.
    virtual void writeSnapshot(const std::string& path, std::function<void(bool)> done) = 0;
    /// The status line of the merchant's own page (hybrid flow).
    virtual void readMerchantStatus(std::function<void(std::string)> then) = 0;
    /// How the button looks after a restart (the saved page's text is read apart).
    virtual void lookAtSavedButton(std::function<void(SavedButtonLook)> then) = 0;
    /// Whether the button's live page has loaded once (a restart's check waits for it).
    virtual bool buttonPageLoaded() { return true; }
    /// Whether the person closed the shop's window.
    virtual bool windowClosed() = 0;
};

class Autopilot {
  public:
    Autopilot(Options options, Hands& hands, std::string program);

    /// Hand each checkout's end to this (the shop's onResult).
    void onResult(const TandriCheckoutResult& result);
    /// Runs until the checkout ends as the options say (or the time is up, or the window closes);
    /// answers the program's exit status.
    int run();

  private:
    void report(const std::string& status, Dictionary summary);
    void readCheckoutPage(const std::shared_ptr<ViewController>& top);
    void checkSavedButton();

    Options options_;
    Hands& hands_;
    std::string program_;
    std::string wanted_;
    bool done_ = false;
    int exitStatus_ = 1;
    // What the checkout page showed: the user it remembered from an earlier run, its visits, and
    // whether it was ever on screen at all.
    std::optional<std::string> rememberedUser_;
    std::optional<Value> pageVisits_;
    bool sawCheckout_ = false;
    bool readingCheckout_ = false;
    bool readingStatus_ = false;
    bool writing_ = false;  // a picture on its way
    bool checkingSaved_ = false;
    std::optional<Dictionary> lastSavedCheck_;
    std::chrono::steady_clock::time_point settledSince_ = std::chrono::steady_clock::now();
};

}  // namespace tandri::demo
