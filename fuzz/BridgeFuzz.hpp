// The whole message path of one kind of bridge under arbitrary input: the fuzzer's bytes become a
// sequence of page messages (any channel, frame, body shape, message name from the real handler
// tables, nested data) interleaved with platform events (navigations finishing or failing, the
// spinner closed, windows opened and closed, time passing, the bridge replaced), played through
// the scenario runner on the simulated platform. Besides crashes and sanitizer reports, every
// input is checked for:
//   - a message from a refused origin has no effect at all: nothing evaluated, presented,
//     opened or reported, and the stores are byte for byte as before. The one exception is a
//     hybrid host's own page ("merchant"): its main frame is heard whatever its origin, and so
//     are frames of origins the host declared; its other frames and the windows it opens are
//     checked like every other page;
//   - every script evaluated in a page is the user-agent probe, a call of a path the page
//     registered (or "(null)") with one valid JSON argument, or a postMessage of a known native
//     event whose JSON cannot break out of its quoted string;
//   - an answer reaches only the document that asked: views get new top documents (maker pages
//     and foreign ones) between messages, frames post from inside foreign top documents, and an
//     answer evaluated in a view whose top document is not the one that asked, or that came
//     from a frame inside a foreign top document (but a hybrid host's own page), breaks it.
// An input may start with scenario lines (JSON Lines, as in tests/scenarios, which seed the
// corpus) up to its first NUL byte; they are played as written, then the rest drives the
// generated events.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>
#include <algorithm>

#include <cctype>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Scenario.hpp"
#include "tandri/Json.hpp"

namespace tandri::fuzzing {

enum class BridgeKind { Mobile, Manual, Merchant, Checkout };

inline void check(bool condition, const char* what, const std::string& detail = "") {
    if (condition) return;
    std::fprintf(stderr, "property broken: %s\n%s\n", what, detail.c_str());
    std::abort();
}

// Paths the fuzzer may register; page data never carries any other.
inline const std::vector<std::string> kPaths = {"p.rx", "rxo.rx", "window.a.b"};
inline const std::vector<std::string> kNames = {"buttonClickEnabled",
                                                "configure",
                                                "dismiss",
                                                "forward",
                                                "get",
                                                "launch",
                                                "newCardArt",
                                                "onButtonFinishedLoad",
                                                "onGtmReady",
                                                "onManualCheckout",
                                                "onNativeButtonClick",
                                                "onTinitReady",
                                                "ready",
                                                "registerMessagePaths",
                                                "result",
                                                "set",
                                                "showLoading",
                                                "purchaseInfo.shipping",
                                                "profile.shipping",
                                                "nope"};
inline const std::vector<std::string> kKeys = {"key",
                                               "value",
                                               "type",
                                               "url",
                                               "method",
                                               "body",
                                               "headers",
                                               "html",
                                               "altText",
                                               "isEnabled",
                                               "reason",
                                               "correlationId",
                                               "visitId",
                                               "options",
                                               "secure",
                                               "requireAuth",
                                               "prompt",
                                               "userInfo",
                                               "enableTransitionSpinner",
                                               "x"};
inline const std::vector<std::string> kAllowedFrames = {
    "https://checkout.tandri.com/pay", "https://tandri.com/", "https://a.b.tandri.com:8443/x?y#z"};
inline const std::vector<std::string> kRefusedFrames = {"https://evil.example/",
                                                        "http://checkout.tandri.com/",
                                                        "https://tandri.com.evil.example/",
                                                        "https://eviltandri.com/",
                                                        "data:text/html,hi",
                                                        "about:blank",
                                                        "",
                                                        "https://checkout.tandri.co/",
                                                        "javascript:alert(1)"};
inline const std::vector<std::string> kPushNames = {
    "pushGtmData", "tandri.sdklite.native-keyboard-open", "tandri.sdklite.native-keyboard-close"};

class BridgeFuzz {
  public:
    BridgeFuzz(BridgeKind kind, FuzzedDataProvider& input) : kind_(kind), in_(input) {}

    void run(std::string_view scenario) {
        simtool::ScenarioRunner runner(
            [this](const std::string& line) { effects_.push_back(line); }, {});
        runner_ = &runner;
        setUp();
        playScenario(scenario);
        for (int step = 0; step < 48 && in_.remaining_bytes() > 0; ++step) playOne();
        runner_ = nullptr;
    }

    /// Whether a frame URL is one the bridges answer: https on the maker's domain. Written
    /// out here on its own rather than asked of the library, which is what is under test.
    static bool allowedFrame(const std::string& url) {
        const std::string scheme = "https://";
        if (url.compare(0, scheme.size(), scheme) != 0) return false;
        std::string host = url.substr(scheme.size());
        host = host.substr(0, host.find_first_of("/:?#"));
        for (auto& c : host) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        const std::string domain = "tandri.com";
        return host == domain || (host.size() > domain.size() + 1 &&
                                  host.compare(host.size() - domain.size() - 1, domain.size() + 1,
                                               "." + domain) == 0);
    }

  private:
    const std::string& pick(const std::vector<std::string>& list) {
        return list[in_.ConsumeIntegralInRange<std::size_t>(0, list.size() - 1)];
    }

    Value data(int depth) {
        switch (in_.ConsumeIntegralInRange<int>(0, depth > 3 ? 4 : 7)) {
            case 0:
                return Value();
            case 1:
                return Value(in_.ConsumeBool());
            case 2:
                return Value::integer(in_.ConsumeIntegral<std::int32_t>());
            case 3:
                return Value(in_.ConsumeFloatingPoint<double>());
            case 4:
                return Value(in_.ConsumeRandomLengthString(40));
            case 5:
                return Value(pick(kNames));
            case 6: {
                std::vector<Value> items;
                for (int n = in_.ConsumeIntegralInRange<int>(0, 3); n > 0; --n) {
                    items.push_back(data(depth + 1));
                }
                return Value(Array(std::move(items)));
            }
            default: {
                Dictionary dict;
                for (int n = in_.ConsumeIntegralInRange<int>(0, 4); n > 0; --n) {
                    dict.set(pick(kKeys), data(depth + 1));
                }
                return Value(std::move(dict));
            }
        }
    }

    Value body() {
        Dictionary body;
        if (in_.ConsumeIntegralInRange<int>(0, 9) > 0) body.set("name", Value(pick(kNames)));
        if (in_.ConsumeIntegralInRange<int>(0, 9) > 0) {
            body.set("id", in_.ConsumeBool() ? Value(in_.ConsumeRandomLengthString(8))
                                             : Value::integer(in_.ConsumeIntegral<std::int8_t>()));
        }
        if (in_.ConsumeBool()) body.set("data", data(0));
        if (in_.ConsumeBool()) body.set("messagePath", Value(pick(kPaths)));
        if (in_.ConsumeBool()) body.set("merchantMessagePath", Value(pick(kPaths)));
        if (in_.ConsumeBool()) body.set("checkoutMessagePath", Value(pick(kPaths)));
        if (in_.ConsumeBool()) {
            Dictionary options;
            options.set(pick(kKeys), data(2));
            body.set("options", Value(std::move(options)));
        }
        if (in_.ConsumeIntegralInRange<int>(0, 15) == 0) return data(0);  // not an object
        return Value(std::move(body));
    }

    std::string view() {
        static const std::vector<std::string> roles = {"button", "manual", "merchant", "checkout",
                                                       "popup"};
        switch (kind_) {
            case BridgeKind::Mobile:
                return in_.ConsumeIntegralInRange<int>(0, 3) ? "button" : pick(roles);
            case BridgeKind::Manual:
                return in_.ConsumeIntegralInRange<int>(0, 3) ? "manual" : pick(roles);
            case BridgeKind::Merchant:
                return in_.ConsumeIntegralInRange<int>(0, 3) ? "merchant" : pick(roles);
            case BridgeKind::Checkout:
                return in_.ConsumeIntegralInRange<int>(0, 3) ? "checkout" : pick(roles);
        }
        return "button";
    }

    /// Remembers every path a page hands over, wherever it sits in what it sends.
    void notePaths(const Value& value) {
        if (value.isArray()) {
            for (const auto& item : value.asArray()) notePaths(item);
        } else if (value.isDictionary()) {
            for (const auto& [key, item] : value.asDictionary()) {
                if (item.isString() && key.size() >= 11 &&
                    key.compare(key.size() - 11, 11, "MessagePath") == 0) {
                    paths_.push_back(item.asString());
                } else if (item.isString() && key == "messagePath") {
                    paths_.push_back(item.asString());
                }
                notePaths(item);
            }
        }
    }

    void play(Dictionary event) {
        notePaths(Value(event));
        const std::string text = *json::write(Value(std::move(event)));
        // TANDRI_FUZZ_SHOW=1 prints the events an input plays, to turn a finding into a scenario.
        static const bool show = std::getenv("TANDRI_FUZZ_SHOW") != nullptr;
        if (show) std::fprintf(stderr, "%s\n", text.c_str());
        try {
            runner_->play(text);
        } catch (const simtool::ScenarioError&) {
            // An event that does not apply now (no such view yet, no spinner): skipped.
        }
    }

    void setUp() {
        switch (kind_) {
            case BridgeKind::Mobile:
                play({{"event", Value("button.arm")},
                      {"profile", Value(Dictionary{{"apiKey", Value("k")}})}});
                break;
            case BridgeKind::Manual:
                play({{"event", Value("manual.open")}});
                break;
            case BridgeKind::Merchant:
                play({{"event", Value("plugin.install")}});
                break;
            case BridgeKind::Checkout:
                play({{"event", Value("button.arm")}});
                play({{"event", Value("message")},
                      {"view", Value("button")},
                      {"body", *json::parse(R"({"name":"configure","id":"c","messagePath":"p.rx",)"
                                            R"("data":{"url":"https://checkout.tandri.com/pay",)"
                                            R"("messagePath":"rxo.rx"}})")}});
                break;
        }
        checkScripts();
    }

    void playScenario(std::string_view text) {
        bool& hybrid = hybrid_;
        for (int lines = 0; !text.empty() && lines < 64; ++lines) {
            const auto end = text.find('\n');
            std::string line(text.substr(0, end));
            text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
            auto event = json::parse(line);
            if (!event || !event->isDictionary()) continue;
            const Value* name = event->find("event");
            if (!name || !name->isString()) continue;
            hybrid = hybrid || name->asString().rfind("plugin.", 0) == 0;
            declaredOrigins_ = declaredOrigins_ || name->asString() == "plugin.setTrustedOrigins";
            const Value* frame = event->find("frame");
            const bool refused = name->asString() == "message" && frame && frame->isString() &&
                                 !allowedFrame(frame->asString()) &&
                                 !hostPageMayPost(event->asDictionary());
            if (refused) {
                playRefused(event->asDictionary());
            } else {
                if (name->asString() == "message") noteQuestion(event->asDictionary());
                const Value* view = event->find("view");
                const std::string resolved =
                    view && view->isString() ? resolve(view->asString()) : std::string();
                play(event->asDictionary());
                if (name->asString() == "navigation.commit") ++documents_[resolved];
            }
            checkScripts();
        }
    }

    void playOne() {
        const int what = in_.ConsumeIntegralInRange<int>(0, 15);
        if (what <= 6) {
            const bool refused = what >= 5;
            Dictionary event{{"event", Value("message")}, {"view", Value(view())}};
            event.set("frame", Value(refused ? pick(kRefusedFrames) : pick(kAllowedFrames)));
            bool topRefused = false;
            if (in_.ConsumeIntegralInRange<int>(0, 7) == 0) {
                event.set("mainFrame", Value(false));
                // A frame inside a top document of its own choosing.
                if (in_.ConsumeBool()) {
                    topRefused = in_.ConsumeBool();
                    event.set("top",
                              Value(topRefused ? pick(kRefusedFrames) : pick(kAllowedFrames)));
                }
            }
            if (in_.ConsumeIntegralInRange<int>(0, 15) == 0) {
                event.set("channel", Value(in_.ConsumeBool() ? "supportsSRC" : "other"));
            }
            if (in_.ConsumeIntegralInRange<int>(0, 9) == 0) {
                event.set("text", Value(in_.ConsumeRandomLengthString(64)));
            } else {
                event.set("body", body());
            }
            // Inside a hybrid host's own page a frame of the maker's is heard whatever the top.
            const bool heard = hostPageMayPost(event) || (hostPage(event) && !refused);
            if ((refused || topRefused) && !heard) {
                playRefused(std::move(event));
            } else {
                noteQuestion(event);
                play(std::move(event));
            }
        } else if (what == 7) {
            if (in_.ConsumeBool()) {
                // A new top document: the page navigates, reloads or steps through history.
                const std::string name = view();
                Dictionary event{{"event", Value("navigation.commit")}, {"view", Value(name)}};
                if (in_.ConsumeBool()) {
                    event.set("url", Value(in_.ConsumeBool() ? pick(kRefusedFrames)
                                                             : pick(kAllowedFrames)));
                }
                const std::string resolved = resolve(name);
                play(std::move(event));
                ++documents_[resolved];
            } else {
                play({{"event", Value("navigation.finish")}, {"view", Value(view())}});
            }
        } else if (what == 8) {
            play({{"event", Value("navigation.fail")},
                  {"view", Value(view())},
                  {"provisional", Value(in_.ConsumeBool())},
                  {"error", Value("lost")}});
        } else if (what == 9) {
            play({{"event", Value("spinner.close")}});
        } else if (what == 10) {
            play({{"event", Value("window.open")},
                  {"view", Value(view())},
                  {"url", Value(in_.ConsumeBool() ? "https://checkout.tandri.com/pay"
                                                  : "https://bank.example/3ds")},
                  {"byLink", Value(in_.ConsumeBool())}});
        } else if (what == 11) {
            play({{"event", Value("window.close")}, {"view", Value(view())}});
        } else if (what == 12) {
            play({{"event", Value("time.advance")},
                  {"seconds", Value(in_.ConsumeFloatingPointInRange<double>(0, 30))}});
        } else if (what == 13) {
            play({{"event", Value("closure.call")},
                  {"closure", Value::integer(in_.ConsumeIntegralInRange<int>(1, 4))}});
        } else if (what == 14) {
            play({{"event", Value("keyboard")}, {"shown", Value(in_.ConsumeBool())}});
        } else {
            // The bridge goes: the host re-arms, opens a new session or changes screens.
            switch (kind_) {
                case BridgeKind::Mobile:
                case BridgeKind::Checkout:
                    play({{"event", Value("button.arm")}});
                    break;
                case BridgeKind::Manual:
                    play({{"event", Value("manual.open")}});
                    break;
                case BridgeKind::Merchant:
                    play({{"event", Value("plugin.setPresenting")},
                          {"controller", in_.ConsumeBool() ? Value("host") : Value()}});
                    break;
            }
        }
        checkScripts();
    }

    void playRefused(Dictionary event) {
        const std::string before = runner_->saveStores();
        const std::size_t mark = effects_.size();
        play(std::move(event));
        std::string seen;
        for (std::size_t k = mark; k < effects_.size(); ++k) {
            // A channel nobody listens on is the platform's business, not the bridge's.
            if (effects_[k].rfind(R"({"effect":"unheard")", 0) == 0) continue;
            seen += effects_[k] + "\n";
        }
        check(seen.empty(), "a refused message had an effect", seen);
        check(runner_->saveStores() == before, "a refused message changed the stores");
    }

    /// The call's argument is JSON but for "__proto__" keys, which must be in computed form
    /// (["__proto__"]) so that they make own properties: a plain one breaks the property, a
    /// computed one is turned back into JSON to be read.
    static std::string withPlainProtoKeys(std::string text) {
        // In the library's compact JSON these characters occur only as a key.
        const std::string key = "\"__proto__\":";
        check(text.find(key) == std::string::npos,
              "a \"__proto__\" key that would set the prototype", text);
        const std::string computed = "[\"__proto__\"]:";
        for (auto at = text.find(computed); at != std::string::npos; at = text.find(computed, at)) {
            text.replace(at, computed.size(), key);
            at += key.size();
        }
        return text;
    }

    bool validCall(const std::string& script) const {
        for (const auto& path : paths_) {
            if (script.size() < path.size() + 2 || script.compare(0, path.size(), path) != 0 ||
                script[path.size()] != '(' || script.back() != ')') {
                continue;
            }
            auto argument = json::parse(withPlainProtoKeys(
                script.substr(path.size() + 1, script.size() - path.size() - 2)));
            if (argument && argument->isDictionary()) return true;
        }
        return false;
    }

    static bool validPush(const std::string& script) {
        const std::string head = "window.postMessage('", tail = "', '*');";
        if (script.rfind(head, 0) != 0 || script.size() < head.size() + tail.size() ||
            script.compare(script.size() - tail.size(), tail.size(), tail) != 0) {
            return false;
        }
        std::string inner = script.substr(head.size(), script.size() - head.size() - tail.size());
        if (inner.find('\'') != std::string::npos || inner.find('\n') != std::string::npos) {
            return false;  // it would leave its quoted string
        }
        for (const auto& name : kPushNames) {
            if (inner.rfind(name + "--", 0) == 0) {
                return json::parse(std::string_view(inner).substr(name.size() + 2)).has_value();
            }
        }
        return false;
    }

    void checkScripts() {
        for (; checked_ < effects_.size(); ++checked_) {
            const auto& line = effects_[checked_];
            if (line.rfind(R"({"effect":"webView")", 0) == 0) {
                auto effect = json::parse(line);
                if (effect && effect->find("role") && effect->find("view")) {
                    roles_[effect->find("role")->asString()] = effect->find("view")->asString();
                }
                continue;
            }
            if (line.rfind(R"({"effect":"evaluate")", 0) != 0) continue;
            auto effect = json::parse(line);
            check(effect && effect->find("script"), "an evaluate effect without a script", line);
            const auto& script = effect->find("script")->asString();
            check(script == "navigator.userAgent" || validCall(script) || validPush(script),
                  "a script of an unexpected form", script);
            checkAnswerDocument(effect->find("view")->asString(), script);
        }
    }

    /// A view named by role is the view that last took that role.
    std::string resolve(const std::string& name) const {
        auto found = roles_.find(name);
        return found != roles_.end() ? found->second : name;
    }

    /// Remembers which top document a question was asked from.
    void noteQuestion(const Dictionary& event) {
        const Value* body = event.find("body");
        const Value* view = event.find("view");
        if (!body || !body->isDictionary() || !view || !view->isString()) return;
        const Value* id = body->find("id");
        if (!id || !id->isString()) return;
        const std::string resolved = resolve(view->asString());
        asked_[resolved + "\n" + id->asString()] = documents_[resolved];
    }

    /// An answer (a page call with a response object) must reach the document that asked.
    void checkAnswerDocument(const std::string& view, const std::string& script) {
        const auto open = script.find('(');
        if (open == std::string::npos || script.back() != ')') return;
        auto argument =
            json::parse(std::string_view(script).substr(open + 1, script.size() - open - 2));
        if (!argument || !argument->isDictionary()) return;
        const Value* name = argument->find("name");
        const Value* id = argument->find("id");
        if (!name || !name->isString() || name->asString() != "result" || !id || !id->isString()) {
            return;
        }
        auto found = asked_.find(view + "\n" + id->asString());
        if (found == asked_.end()) return;  // asked in a scenario line, or by another view
        check(found->second == documents_[view], "an answer reached a document that did not ask",
              script);
    }

    BridgeKind kind_;
    FuzzedDataProvider& in_;
    simtool::ScenarioRunner* runner_ = nullptr;
    std::vector<std::string> effects_;
    std::size_t checked_ = 0;
    std::vector<std::string> paths_{"(null)"};
    /// Whether the message comes from inside a hybrid host's own page.
    bool hostPage(const Dictionary& event) const {
        if (!hybrid_) return false;
        const Value* view = event.find("view");
        if (!view || !view->isString()) return false;
        const std::string& name = view->asString();
        return name == "merchant" || name.rfind('w', 0) == 0;
    }

    /// Whether a message from a frame off the maker's domain may still be heard: only inside a
    /// hybrid host's own page, from its main frame or (once the host declared origins) any of
    /// its frames. Windows the page opens share its channel but not this trust.
    bool hostPageMayPost(const Dictionary& event) const {
        if (!hybrid_) return false;
        const Value* view = event.find("view");
        if (!view || !view->isString()) return false;
        // The host's page by role, or by a view name a scenario line may use for it.
        const std::string& name = view->asString();
        if (name != "merchant" && name.rfind('w', 0) != 0) return false;
        const Value* main = event.find("mainFrame");
        return declaredOrigins_ || !main || !main->isBoolean() || main->asBool();
    }

    // A hybrid host is present (its page's main frame is heard whatever its origin).
    bool hybrid_ = kind_ == BridgeKind::Merchant;
    // The host declared trusted origins in a scenario line.
    bool declaredOrigins_ = false;
    // Views by role, as the runner names them; each view's top document, by number; and the
    // document each question (view and id) was asked from.
    std::map<std::string, std::string> roles_;
    std::map<std::string, int> documents_;
    std::map<std::string, int> asked_;
};

/// One fuzz input for a bridge of `kind`: scenario lines up to the first NUL, then the bytes
/// that choose the messages and events.
inline int fuzzOneInput(BridgeKind kind, const std::uint8_t* data, std::size_t size) {
    const auto* text = reinterpret_cast<const char*>(data);
    std::size_t cut = 0;
    while (cut < size && text[cut] != '\0') ++cut;
    const std::size_t rest = std::min(size, cut + 1);
    FuzzedDataProvider input(data + rest, size - rest);
    BridgeFuzz(kind, input).run(std::string_view(text, cut));
    return 0;
}

}  // namespace tandri::fuzzing
