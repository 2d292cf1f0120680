#include "Scenario.hpp"

#include <algorithm>
#include <map>
#include <optional>
#include <unordered_map>
#include <vector>

#include "Core/Bridge/CheckoutWebViewBridge.hpp"
#include "Core/Bridge/CheckoutWebViewController.hpp"
#include "Core/Bridge/LoadingSpinnerViewController.hpp"
#include "Core/Bridge/ManualWebViewBridge.hpp"
#include "Core/Bridge/MerchantWebViewBridge.hpp"
#include "Core/Bridge/WebViewUtil.hpp"
#include "Core/Storage/KeychainUtils.hpp"
#include "Core/Storage/KeyedArchive.hpp"
#include "Core/Utils/Base64.hpp"
#include "Core/Utils/Logging.hpp"
#include "Core/Utils/NotificationCenter.hpp"
#include "Core/Utils/URL.hpp"
#include "Platform/Simulated/SimulatedPlatform.hpp"
#include "Public/Hybrid/TandriCheckoutPlugin.hpp"
#include "Public/Native/TandriCheckoutButton.hpp"
#include "Public/Native/TandriCheckoutSDK.hpp"
#include "tandri/Json.hpp"

namespace tandri::simtool {

namespace {

using sim::SimulatedWebView;

constexpr const char* kNotifications[] = {
    "UIApplicationDidEnterBackgroundNotification",
    "UIApplicationWillEnterForegroundNotification",
    "UIApplicationWillResignActiveNotification",
    "UIApplicationDidBecomeActiveNotification",
    "UIKeyboardWillShowNotification",
    "UIKeyboardDidShowNotification",
    "UIKeyboardWillHideNotification",
    "UIKeyboardDidHideNotification",
    "tandriMiniButtonImageChanged",
};

std::string bytesText(const std::vector<std::uint8_t>& bytes) {
    return base64Encode(bytes);
}

/// A value as JSON can carry it: bytes and dates become one-entry objects, other foreign
/// values their type's name.
Value plain(const Value& value) {
    switch (value.type()) {
        case Value::Type::Array: {
            std::vector<Value> out;
            for (const auto& item : value.asArray()) out.push_back(plain(item));
            return Value(Array(std::move(out)));
        }
        case Value::Type::Dictionary: {
            Dictionary out;
            for (const auto& [key, item] : value.asDictionary()) out.set(key, plain(item));
            return Value(std::move(out));
        }
        case Value::Type::Foreign: {
            const auto& foreign = value.asForeign();
            switch (foreign.kind) {
                case ForeignKind::Date:
                    return Value(Dictionary{{"$date", Value(foreign.date)}});
                case ForeignKind::Bytes:
                case ForeignKind::Image:
                    return Value(Dictionary{
                        {foreign.kind == ForeignKind::Bytes ? "$bytes" : "$image",
                         Value(foreign.bytes ? bytesText(*foreign.bytes) : std::string())}});
                case ForeignKind::Closure:
                    return Value(Dictionary{{"$closure", Value(true)}});
                case ForeignKind::Object:
                    return Value(Dictionary{{"$object", Value(foreign.typeName)}});
            }
            return Value();
        }
        default:
            return value;
    }
}

/// The reverse for the stored-state events: {"$bytes": base64} and {"$date": seconds} make
/// bytes and dates; everything else stays.
Value fromPlain(const Value& value) {
    if (value.isArray()) {
        std::vector<Value> out;
        for (const auto& item : value.asArray()) out.push_back(fromPlain(item));
        return Value(Array(std::move(out)));
    }
    if (!value.isDictionary()) return value;
    const auto& dict = value.asDictionary();
    if (dict.size() == 1) {
        if (const Value* b = dict.find("$bytes"); b && b->isString()) {
            return Value::bytes(base64DecodeIgnoringUnknown(b->asString()));
        }
        if (const Value* d = dict.find("$date"); d && d->isNumber()) {
            return Value::date(d->asDouble());
        }
    }
    Dictionary out;
    for (const auto& [key, item] : dict) out.set(key, fromPlain(item));
    return Value(std::move(out));
}

const char* controllerKind(const std::shared_ptr<ViewController>& controller,
                           const std::shared_ptr<ViewController>& host) {
    if (!controller) return "none";
    if (controller == host) return "host";
    if (controller->isLoadingSpinner()) return "spinner";
    if (std::dynamic_pointer_cast<CheckoutWebViewController>(controller)) return "checkout";
    if (std::dynamic_pointer_cast<PopupViewController>(controller)) return "popup";
    return "controller";
}

/// The host application's side of a hybrid page: its new-window callback hands the request to
/// the plugin, as the integration guide tells hosts to.
class HybridHostUIDelegate : public UIDelegate {
  public:
    std::function<void(const NavigationAction&, const std::shared_ptr<WebView>&)> onNewWindow;
    std::shared_ptr<WebView> webViewCreateWebView(
        WebView&, const std::shared_ptr<WebViewConfiguration>& configuration,
        const NavigationAction& action) override {
        auto made = TandriCheckoutPlugin::finishSetupWithRequest(action.request, configuration);
        if (onNewWindow) onNewWindow(action, made);
        return made;
    }
};

}  // namespace

struct ScenarioRunner::Impl {
    Impl(Emit emitLine, Options opts) : emit_(std::move(emitLine)), options(opts) {
        // A fresh process: nothing left from an earlier run in this one.
        SDKSettings::resetCachedWebviewForTesting();
        TinyDelegate::resetForTesting();
        ManualWebViewBridge::resetRegistryForTesting();
        CheckoutWebViewBridge::resetMiniButtonImageForTesting();
        TandriCheckoutPlugin::main()->setTrustedOrigins({});
        host = std::make_shared<ViewController>();
        host->view();
        watchPlatform();
    }

    ~Impl() {
        // Taking everything down is not part of the scenario: a process simply ends.
        emit_ = [](const std::string&) {};
        Logging::setSink(nullptr);
        TandriCheckoutPlugin::main()->setPresentingViewController(nullptr);
        TandriCheckoutPlugin::main()->merchantBridge.reset();
        SDKSettings::setMarketingUrl(std::nullopt);
        SDKSettings::resetCachedWebviewForTesting();
        ManualWebViewBridge::resetRegistryForTesting();
        TinyDelegate::resetForTesting();
        // The host's window closes: screens still up go (a spinner holds its bridge, whose
        // configuration holds the host's screen, until it is taken down), then what the
        // library still holds goes before the platform that made its views. Work still queued
        // (a scenario that stopped draining) runs first, so a presentation it still had to
        // make is taken down too rather than left holding its bridge.
        for (int round = 0; round < 8; ++round) {
            platform.mainQueue().drain();
            if (!host->presentedViewController()) break;
            while (host->presentedViewController()) {
                if (!ViewController::completeDismissal(host, false)) break;
            }
        }
        button.reset();
        launchers.clear();
        closures.clear();
        merchantPage.reset();
    }

    // ---- effects ----

    void emit(Dictionary effect) {
        emit_(json::write(plain(Value(std::move(effect)))).value_or("{}"));
    }

    std::string nameOf(const WebView* view) {
        auto it = names.find(view);
        return it == names.end() ? std::string("unknown") : it->second;
    }

    void watchPlatform() {
        auto& views = platform.webViews();
        views.onMade = [this](const SimulatedWebView& view) {
            std::string name(1, 'w');
            name += std::to_string(nextView++);
            names[&view] = std::move(name);
            roles.erase(&view);
        };
        views.onEvaluate = [this](const sim::Evaluation& evaluation) {
            emit({{"effect", Value("evaluate")},
                  {"view", Value(nameOf(evaluation.webView))},
                  {"script", Value(evaluation.script)}});
        };
        views.onLoad = [this](const sim::Load& load) {
            if (load.request) {
                std::vector<Value> headers;
                for (const auto& [field, value] : load.request->headers) {
                    headers.emplace_back(Array{Value(field), Value(value)});
                }
                Dictionary effect{{"effect", Value("load")},
                                  {"view", Value(nameOf(load.webView))},
                                  {"url", Value(load.request->url)},
                                  {"method", Value(load.request->method)},
                                  {"headers", Value(Array(std::move(headers)))}};
                if (load.request->body) effect.set("body", Value(*load.request->body));
                emit(std::move(effect));
            } else {
                emit({{"effect", Value("loadHTML")},
                      {"view", Value(nameOf(load.webView))},
                      {"html", Value(load.html)},
                      {"baseURL", load.baseURL ? Value(*load.baseURL) : Value()}});
            }
        };
        views.onDropped = [this](const sim::Evaluation& evaluation) {
            emit({{"effect", Value("dropped")},
                  {"view", Value(nameOf(evaluation.webView))},
                  {"script", Value(evaluation.script)}});
        };
        views.onUserAgent = [this](const SimulatedWebView& view) {
            auto agent = view.customUserAgent();
            emit({{"effect", Value("userAgent")},
                  {"view", Value(nameOf(&view))},
                  {"userAgent", agent ? Value(*agent) : Value()}});
        };
        using Request = sim::SimulatedPresenter::Request;
        platform.presenter().onRequest = [this](const Request& request) {
            Dictionary effect{
                {"effect", Value(request.kind == Request::Kind::Present ? "present" : "dismiss")},
                {"presenting", Value(controllerKind(request.presenting.lock(), host))},
                {"presented", Value(controllerKind(request.presented.lock(), host))},
                {"animated", Value(request.animated)}};
            emit(std::move(effect));
        };
        platform.presenter().onHurry = [this] { emit({{"effect", Value("hurry")}}); };
        platform.presenter().onOutcome = [this](const Request& request) {
            if (request.outcome != Request::Outcome::Refused) return;
            emit(
                {{"effect", Value("refused")},
                 {"request", Value(request.kind == Request::Kind::Present ? "present" : "dismiss")},
                 {"presenting", Value(controllerKind(request.presenting.lock(), host))}});
        };
        platform.systemLog().onLine = [this](std::string_view line) {
            emit({{"effect", Value("systemLog")}, {"line", Value(std::string(line))}});
        };
        platform.urlOpener().onOpen = [this](const std::string& url) {
            emit({{"effect", Value("openURL")}, {"url", Value(url)}});
        };
        platform.biometrics().onPrompt = [this](const std::string& reason) {
            emit({{"effect", Value("biometricPrompt")}, {"reason", Value(reason)}});
        };
        for (const char* name : kNotifications) {
            NotificationCenter::defaultCenter().addObserver(name, [this](const Notification& n) {
                if (postingOurselves) return;
                emit({{"effect", Value("notification")}, {"name", Value(n.name)}});
            });
        }
        if (options.trace) {
            Logging::setSink([this](std::string_view banner) {
                emit({{"effect", Value("trace")}, {"text", Value(std::string(banner))}});
            });
        } else {
            Logging::setSink(nullptr);
        }
    }

    // ---- which web view is which ----

    void noteLaunchers() {
        auto note = [this](const std::shared_ptr<LaunchingWebViewBridge>& bridge,
                           const char* kind) {
            if (!bridge) return;
            for (const auto& [known, _] : launchers) {
                if (known.lock() == bridge) return;
            }
            launchers.emplace_back(bridge, kind);
        };
        if (button) note(button->bridge, "button");
        note(ManualWebViewBridge::registeredBridge(), "manual");
        note(TandriCheckoutPlugin::main()->merchantBridge, "merchant");
    }

    std::optional<std::string> roleOf(const WebView* view) {
        if (merchantPage && view == merchantPage.get()) return "merchant";
        if (auto cached = SDKSettings::cachedWebviewIfMade(); view == cached.get()) {
            return "cached";
        }
        if (auto probe = TinyDelegate::currentProbeWebView(); view == probe.get()) return "probe";
        for (const auto& [weak, kind] : launchers) {
            auto launcher = weak.lock();
            if (!launcher) continue;
            if (launcher->webView.get() == view) return kind;
            if (launcher->rxoBridge && launcher->rxoBridge->webView.get() == view) {
                return "checkout";
            }
        }
        for (auto vc = host->presentedViewController(); vc; vc = vc->presentedViewController()) {
            auto popup = std::dynamic_pointer_cast<PopupViewController>(vc);
            if (popup && popup->webView().get() == view) return "popup";
        }
        return std::nullopt;
    }

    /// Names the roles of views that have just become recognisable, once each.
    void classify() {
        noteLaunchers();
        for (const auto& weak : platform.webViews().webViews()) {
            auto view = weak.lock();
            if (!view || roles.count(view.get())) continue;
            if (auto role = roleOf(view.get())) {
                roles[view.get()] = *role;
                emit({{"effect", Value("webView")},
                      {"view", Value(nameOf(view.get()))},
                      {"role", Value(*role)}});
            }
        }
    }

    std::shared_ptr<SimulatedWebView> findView(const std::string& reference) {
        classify();
        std::shared_ptr<SimulatedWebView> found;
        for (const auto& weak : platform.webViews().webViews()) {
            auto view = weak.lock();
            if (!view) continue;
            if (names[view.get()] == reference) return view;
            auto role = roles.find(view.get());
            if (role != roles.end() && role->second == reference) found = view;
        }
        return found;
    }

    // ---- the button's state as a person sees it ----

    void watchButton() {
        if (!button) return;
        const auto label = button->accessibilityLabel();
        const bool clickable =
            button->containerView ? button->containerView->isUserInteractionEnabled() : true;
        const bool liveShown = button->liveWebViewHost && !button->liveWebViewHost->isHidden();
        if (!buttonSeen || label != seenLabel) {
            emit({{"effect", Value("button")},
                  {"accessibilityLabel", label ? Value(*label) : Value()}});
        }
        if (buttonSeen && clickable != seenClickable) {
            emit({{"effect", Value("button")}, {"clickEnabled", Value(clickable)}});
        }
        if (buttonSeen && liveShown != seenLiveShown) {
            emit({{"effect", Value("button")}, {"livePageShown", Value(liveShown)}});
        }
        buttonSeen = true;
        seenLabel = label;
        seenClickable = clickable;
        seenLiveShown = liveShown;
    }

    void settle() {
        if (autoDrain) platform.mainQueue().drain();
        classify();
        watchButton();
        // Every evaluation and load has been reported as it happened; the platform's own
        // records of them would only grow with the length of the scenario.
        platform.webViews().clearEvaluations();
        platform.webViews().clearLoads();
    }

    // ---- host callbacks ----

    ManualWebViewBridge::ReadyHandler readyHandler(std::string from) {
        return [this, from](std::function<void()> closure) {
            closures.push_back(std::move(closure));
            emit({{"effect", Value("host.ready")},
                  {"from", Value(from)},
                  {"closure", Value::integer(static_cast<std::int64_t>(closures.size()))}});
        };
    }

    std::function<void(const TandriCheckoutResult&)> resultHandler(std::string from) {
        return [this, from](const TandriCheckoutResult& result) {
            emit({{"effect", Value("host.result")},
                  {"from", Value(from)},
                  {"status", Value(result.statusName())},
                  {"statusCode", Value::integer(static_cast<std::int64_t>(result.statusCode()))},
                  {"payload", result.data() ? Value(*result.data()) : Value()}});
        };
    }

    // ---- reading events ----

    [[noreturn]] static void fail(const std::string& what) { throw ScenarioError(what); }
    static std::string quoted(std::string_view key) {
        std::string text(1, '"');
        text.append(key);
        text.push_back('"');
        return text;
    }

    static const Value* field(const Dictionary& event, std::string_view key) {
        return event.find(key);
    }
    static std::string stringField(const Dictionary& event, std::string_view key) {
        const Value* v = event.find(key);
        if (!v || !v->isString()) fail(quoted(key) + " must be a string");
        return v->asString();
    }
    static std::optional<std::string> optionalString(const Dictionary& event,
                                                     std::string_view key) {
        const Value* v = event.find(key);
        if (!v || v->isNull()) return std::nullopt;
        if (!v->isString()) fail(quoted(key) + " must be a string");
        return v->asString();
    }
    static bool boolField(const Dictionary& event, std::string_view key, bool fallback) {
        const Value* v = event.find(key);
        if (!v) return fallback;
        if (!v->isBoolean()) fail(quoted(key) + " must be true or false");
        return v->asBool();
    }
    static double numberField(const Dictionary& event, std::string_view key) {
        const Value* v = event.find(key);
        if (!v || !v->isNumber() || v->isBoolean()) {
            fail(quoted(key) + " must be a number");
        }
        return v->asDouble();
    }

    std::shared_ptr<SimulatedWebView> viewField(const Dictionary& event) {
        auto reference = stringField(event, "view");
        auto view = findView(reference);
        if (!view) fail("no web view \"" + reference + "\"");
        return view;
    }

    void fillInitInfo(TInitInfo& info, const Dictionary& event, std::string_view key) {
        const Value* v = event.find(key);
        if (!v) return;
        if (!v->isDictionary()) fail(quoted(key) + " must be an object");
        for (const auto& [option, value] : v->asDictionary()) {
            if (option == "dataRequests") {
                if (!value.isDictionary()) fail("\"dataRequests\" must be an object");
                for (const auto& [name, answer] : value.asDictionary()) {
                    info.setObject(
                        Value::closure([answer = fromPlain(answer)](const std::optional<Value>&,
                                                                    AnswerClosure answerWith) {
                            answerWith(answer);
                        }),
                        name);
                }
                continue;
            }
            info.setObject(fromPlain(value), option);
        }
    }

    std::shared_ptr<ViewController> presentedSpinner() const {
        for (auto vc = host->presentedViewController(); vc; vc = vc->presentedViewController()) {
            if (vc->isLoadingSpinner()) return vc;
        }
        return nullptr;
    }

    void postNotification(std::string_view name) {
        postingOurselves = true;
        NotificationCenter::defaultCenter().post(name);
        postingOurselves = false;
    }

    static std::optional<std::string> serviceField(const Dictionary& event) {
        const Value* v = event.find("service");
        if (!v) return KeychainUtils::accessGroup();
        if (v->isNull()) return std::nullopt;
        if (!v->isString()) fail("\"service\" must be a string or null");
        return v->asString();
    }

    void dump() {
        std::vector<Value> items;
        Dictionary metadata;
        for (const auto& [service, account] : platform.keychain().items()) {
            auto data = platform.keychain().copyMatching(service, account);
            if (!data) continue;
            Value shown;
            if (auto archived = KeyedArchive::unarchiveOrText(*data)) {
                shown = *archived;
            } else {
                shown = Value(Dictionary{{"$bytes", Value(bytesText(*data))}});
            }
            const std::string suffix = "tandriMetadata";
            if (service == KeychainUtils::accessGroup() && account.size() > suffix.size() &&
                account.ends_with(suffix)) {
                metadata.set(account.substr(0, account.size() - suffix.size()), shown);
                continue;
            }
            items.emplace_back(Dictionary{{"service", service.empty() ? Value() : Value(service)},
                                          {"account", Value(account)},
                                          {"value", shown}});
        }
        Dictionary preferences;
        for (const auto& key : platform.userDefaults().keys()) {
            if (auto value = platform.userDefaults().objectForKey(key))
                preferences.set(key, *value);
        }
        std::vector<Value> files;
        for (const auto& [path, data] : platform.files().files()) {
            files.emplace_back(
                Dictionary{{"path", Value(path)},
                           {"bytes", Value::integer(static_cast<std::int64_t>(data.size()))}});
        }
        emit({{"effect", Value("dump")},
              {"keychain", Value(Array(std::move(items)))},
              {"preferences", Value(std::move(preferences))},
              {"metadata", Value(std::move(metadata))},
              {"files", Value(Array(std::move(files)))}});
    }

    void play(const Dictionary& event);

    sim::SimulatedPlatform platform;
    Emit emit_;
    Options options;
    std::shared_ptr<ViewController> host;
    std::unordered_map<const WebView*, std::string> names;
    std::unordered_map<const WebView*, std::string> roles;
    int nextView = 1;
    std::vector<std::pair<std::weak_ptr<LaunchingWebViewBridge>, std::string>> launchers;
    std::shared_ptr<TandriCheckoutButton> button;
    bool buttonSeen = false;
    std::optional<std::string> seenLabel;
    bool seenClickable = true;
    bool seenLiveShown = false;
    std::shared_ptr<WebView> merchantPage;
    std::shared_ptr<HybridHostUIDelegate> hybridHost;
    std::vector<std::function<void()>> closures;
    bool autoDrain = true;
    bool postingOurselves = false;
};

void ScenarioRunner::Impl::play(const Dictionary& event) {
    const std::string name = stringField(event, "event");

    // ---- host calls ----
    if (name == "configure") {
        TandriCheckoutSDK::configure();
    } else if (name == "setMarketingUrl") {
        auto url = optionalString(event, "url");
        if (url && !URL::parse(*url)) fail("\"url\" is not a URL");
        SDKSettings::setMarketingUrl(url ? URL::parse(*url) : std::nullopt);
    } else if (name == "button.create") {
        Rect frame{0, 0, 320, 50};
        button = TandriCheckoutButton::initWithFrame(frame);
        buttonSeen = false;
    } else if (name == "button.arm") {
        TandriProfile profile;
        TandriPurchaseInfo purchase;
        fillInitInfo(profile, event, "profile");
        fillInitInfo(purchase, event, "purchaseInfo");
        if (!button) {
            button = TandriCheckoutButton::initWithFrame({0, 0, 320, 50});
            buttonSeen = false;
        }
        button->onCheckoutWithProfile(
            profile, purchase, host, readyHandler("button"),
            [this] {
                emit({{"effect", Value("host.buttonTapped")}});
            },
            resultHandler("button"));
    } else if (name == "button.setStyle") {
        if (!button) fail("no button: create or arm one first");
        button->setStyle(static_cast<std::int64_t>(numberField(event, "style")));
    } else if (name == "button.setStandardStyle") {
        if (!button) fail("no button: create or arm one first");
        button->setStandardStyle(boolField(event, "standard", true));
    } else if (name == "button.tap") {
        if (!button) fail("no button: create or arm one first");
        if (!button->containerView || button->containerView->gestureRecognizers().empty()) {
            emit({{"effect", Value("tapIgnored")}, {"reason", Value("the button is not armed")}});
        } else if (!button->containerView->isUserInteractionEnabled()) {
            emit({{"effect", Value("tapIgnored")}, {"reason", Value("clicks are disabled")}});
        } else {
            button->containerView->gestureRecognizers().at(0).fire();
        }
    } else if (name == "manual.open") {
        TandriProfile profile;
        TandriPurchaseInfo purchase;
        fillInitInfo(profile, event, "profile");
        fillInitInfo(purchase, event, "purchaseInfo");
        TandriCheckoutSDK::configureManualCheckoutSessionWithProfile(
            profile, purchase, host, readyHandler("manual"), resultHandler("manual"));
    } else if (name == "closure.call" || name == "closure.drop") {
        const double number = numberField(event, "closure");
        if (number < 1 || number > static_cast<double>(closures.size()) ||
            number != static_cast<double>(static_cast<std::size_t>(number))) {
            fail("no closure " + json::numberText(Value(number)));
        }
        auto& closure = closures[static_cast<std::size_t>(number) - 1];
        if (name == "closure.drop") {
            closure = nullptr;
        } else if (!closure) {
            fail("closure " + json::numberText(Value(number)) + " was dropped");
        } else {
            auto keep = closure;
            keep();
        }
    } else if (name == "plugin.install") {
        if (!merchantPage) {
            merchantPage = platform.webViews().makeWebView();
            auto url = optionalString(event, "url").value_or("https://shop.example/checkout");
            static_cast<SimulatedWebView&>(*merchantPage).setURL(url);
            hybridHost = std::make_shared<HybridHostUIDelegate>();
            hybridHost->onNewWindow = [this](const NavigationAction& action,
                                             const std::shared_ptr<WebView>& made) {
                emit({{"effect", Value("host.newWindow")},
                      {"url", Value(action.request.url)},
                      {"view", made ? Value(nameOf(made.get())) : Value()}});
            };
            merchantPage->setUIDelegate(hybridHost);
        }
        TandriCheckoutPlugin::configure(*merchantPage->configuration()->userContentController,
                                        host);
    } else if (name == "plugin.setPresenting") {
        const Value* controller = field(event, "controller");
        if (controller && !controller->isNull() &&
            !(controller->isString() && controller->asString() == "host")) {
            fail("\"controller\" must be \"host\" or null");
        }
        TandriCheckoutPlugin::main()->setPresentingViewController(
            controller && !controller->isNull() ? host : nullptr);
    } else if (name == "plugin.setTrustedOrigins") {
        const Value* origins = field(event, "origins");
        if (!origins || !origins->isArray()) fail("\"origins\" must be an array of strings");
        std::vector<std::string> texts;
        for (const auto& origin : origins->asArray()) {
            if (!origin.isString()) fail("\"origins\" must be an array of strings");
            texts.push_back(origin.asString());
        }
        TandriCheckoutPlugin::main()->setTrustedOrigins(texts);
    } else if (name == "plugin.finishSetup") {
        URLRequest request;
        request.url = stringField(event, "url");
        if (auto method = optionalString(event, "method")) request.method = *method;
        auto configuration =
            merchantPage ? merchantPage->configuration() : platform.webViews().makeConfiguration();
        auto made = TandriCheckoutPlugin::finishSetupWithRequest(request, configuration);
        emit({{"effect", Value("finishSetup")},
              {"view", made ? Value(nameOf(made.get())) : Value()}});
    }
    // ---- page events ----
    else if (name == "message") {
        auto view = viewField(event);
        auto frame = optionalString(event, "frame").value_or(view->url().value_or("about:blank"));
        auto channel = optionalString(event, "channel").value_or(JSBridge::kChannelName);
        const bool mainFrame = boolField(event, "mainFrame", true);
        auto top = optionalString(event, "top");
        bool heard = false;
        if (const Value* raw = field(event, "text")) {
            if (!raw->isString()) fail("\"text\" must be a string");
            heard = view->postJSON(channel, raw->asString(), frame, mainFrame, top);
        } else {
            const Value* body = field(event, "body");
            heard = view->post(channel, body ? std::optional<Value>(*body) : std::nullopt, frame,
                               mainFrame, top);
        }
        if (!heard) {
            emit({{"effect", Value("unheard")},
                  {"view", Value(nameOf(view.get()))},
                  {"channel", Value(channel)}});
        }
    }
    // ---- platform events ----
    else if (name == "navigation.start") {
        viewField(event)->startProvisionalNavigation();
    } else if (name == "navigation.commit") {
        // A new top document in the view; with a URL, the view now shows it.
        auto view = viewField(event);
        if (auto url = optionalString(event, "url")) view->setURL(*url);
        view->commitDocument();
    } else if (name == "navigation.finish") {
        auto view = viewField(event);
        view->finishNavigation(view->lastNavigation());
    } else if (name == "navigation.fail") {
        auto view = viewField(event);
        auto error = optionalString(event, "error").value_or("The network connection was lost.");
        if (boolField(event, "provisional", false)) {
            view->failProvisionalNavigation(view->lastNavigation(), error);
        } else {
            view->failNavigation(view->lastNavigation(), error);
        }
    } else if (name == "response") {
        auto view = viewField(event);
        NavigationResponse response;
        response.url = optionalString(event, "url").value_or(view->url().value_or("about:blank"));
        response.statusCode = static_cast<int>(numberField(event, "status"));
        response.forMainFrame = boolField(event, "mainFrame", true);
        auto policy = view->respond(response);
        emit({{"effect", Value("responsePolicy")},
              {"view", Value(nameOf(view.get()))},
              {"policy", !policy                                      ? Value()
                         : *policy == NavigationResponsePolicy::Allow ? Value("allow")
                                                                      : Value("cancel")}});
    } else if (name == "window.open") {
        auto view = viewField(event);
        NavigationAction action;
        action.request.url = stringField(event, "url");
        action.navigationType = boolField(event, "byLink", false) ? NavigationType::LinkActivated
                                                                  : NavigationType::Other;
        auto made = view->openWindow(action);
        emit({{"effect", Value("window")},
              {"opener", Value(nameOf(view.get()))},
              {"view", made ? Value(nameOf(made.get())) : Value()}});
        if (made) {
            if (auto opened = std::dynamic_pointer_cast<SimulatedWebView>(made)) {
                opened->setURL(action.request.url);
            }
        }
    } else if (name == "window.close") {
        viewField(event)->closeWindow();
    } else if (name == "keyboard") {
        const bool shown = boolField(event, "shown", true);
        postNotification(shown ? NotificationName::KeyboardWillShow
                               : NotificationName::KeyboardWillHide);
        postNotification(shown ? NotificationName::KeyboardDidShow
                               : NotificationName::KeyboardDidHide);
    } else if (name == "app") {
        auto state = stringField(event, "state");
        if (state == "background") {
            postNotification(NotificationName::ApplicationDidEnterBackground);
        } else if (state == "foreground") {
            postNotification(NotificationName::ApplicationWillEnterForeground);
        } else if (state == "resignActive") {
            postNotification(NotificationName::ApplicationWillResignActive);
        } else if (state == "becomeActive") {
            postNotification(NotificationName::ApplicationDidBecomeActive);
        } else {
            fail("\"state\" must be background, foreground, resignActive or becomeActive");
        }
    } else if (name == "spinner.close") {
        auto spinner = std::dynamic_pointer_cast<LoadingSpinnerViewController>(presentedSpinner());
        if (!spinner) fail("no spinner on screen");
        spinner->closeButton->sendActions(ControlEvent::TouchUpInside);
    } else if (name == "biometrics") {
        auto sensor = stringField(event, "sensor");
        auto answer = optionalString(event, "answer").value_or("ask");
        if (answer != "yes" && answer != "no" && answer != "ask") {
            fail("\"answer\" must be yes, no or ask");
        }
        if (sensor == "none") {
            platform.biometrics().removeSensor();
        } else if (sensor == "fingerprint" || sensor == "face") {
            platform.biometrics().setSensor(
                sensor == "face" ? BiometryKind::Face : BiometryKind::Fingerprint, answer == "yes");
        } else {
            fail("\"sensor\" must be fingerprint, face or none");
        }
        platform.biometrics().setAnswerLater(answer == "ask");
    } else if (name == "biometric.answer") {
        if (!platform.biometrics().answer(boolField(event, "passes", false))) {
            fail("no biometric prompt is waiting");
        }
    } else if (name == "time.advance") {
        const double seconds = numberField(event, "seconds");
        if (seconds < 0) fail("time does not go back");
        platform.clock().advance(seconds);
    } else if (name == "drain") {
        platform.mainQueue().drain();
    } else if (name == "autoDrain") {
        autoDrain = boolField(event, "on", true);
    }
    // ---- state ----
    else if (name == "keychain.set") {
        auto service = serviceField(event);
        auto account = stringField(event, "account");
        std::vector<std::uint8_t> data;
        if (auto raw = optionalString(event, "text")) {
            data.assign(raw->begin(), raw->end());
        } else if (const Value* value = field(event, "value")) {
            auto archived = KeyedArchive::archive(fromPlain(*value));
            if (!archived) fail("\"value\" cannot be archived");
            data = *archived;
        } else {
            fail("\"keychain.set\" needs \"value\" or \"text\"");
        }
        platform.keychain().add(service, account, data);
    } else if (name == "keychain.remove") {
        platform.keychain().remove(serviceField(event), stringField(event, "account"));
    } else if (name == "defaults.set") {
        auto key = stringField(event, "key");
        const Value* value = field(event, "value");
        if (!value || value->isNull()) {
            platform.userDefaults().removeObject(key);
        } else {
            platform.userDefaults().setObject(key, fromPlain(*value));
        }
    } else if (name == "device") {
        auto& device = platform.device();
        if (auto v = optionalString(event, "systemVersion")) device.systemVersion_ = *v;
        if (auto v = optionalString(event, "model")) device.model_ = *v;
        if (auto v = optionalString(event, "identifierForVendor")) device.vendorId_ = *v;
        if (auto v = optionalString(event, "idiom")) {
            if (*v == "phone")
                device.idiom_ = DeviceIdiom::Phone;
            else if (*v == "pad")
                device.idiom_ = DeviceIdiom::Pad;
            else if (*v == "desktop")
                device.idiom_ = DeviceIdiom::Desktop;
            else
                fail("\"idiom\" must be phone, pad or desktop");
        }
    } else if (name == "osVersion") {
        const Value* minor = field(event, "minor");
        platform.setOSVersion(static_cast<int>(numberField(event, "major")),
                              minor ? static_cast<int>(numberField(event, "minor")) : 0);
    } else if (name == "bundle") {
        auto& bundle = platform.bundle();
        if (field(event, "libraryVersion"))
            bundle.libraryVersion_ = optionalString(event, "libraryVersion");
        if (field(event, "hostVersion")) bundle.hostVersion_ = optionalString(event, "hostVersion");
        if (const Value* info = field(event, "info")) {
            if (!info->isDictionary()) fail("\"info\" must be an object");
            for (const auto& [key, value] : info->asDictionary()) {
                bundle.hostInfo_.set(key, fromPlain(value));
            }
        }
    } else if (name == "files.failWrites") {
        platform.files().setFailWrites(boolField(event, "on", true));
    } else if (name == "miniButtonImage") {
        auto image = TandriCheckoutButton::miniButtonImage();
        emit({{"effect", Value("miniButtonImage")},
              {"name", image ? Value(image->name.empty() ? "card art" : image->name) : Value()},
              {"width", Value::integer(image ? image->width : 0)},
              {"height", Value::integer(image ? image->height : 0)}});
    } else if (name == "dump") {
        dump();
    } else if (name == "note") {
        emit({{"effect", Value("note")}, {"text", Value(stringField(event, "text"))}});
    } else {
        fail("unknown event \"" + name + "\"");
    }
    settle();
}

ScenarioRunner::ScenarioRunner(Emit emit, Options options)
    : impl_(std::make_unique<Impl>(std::move(emit), options)) {}

ScenarioRunner::~ScenarioRunner() = default;

void ScenarioRunner::play(std::string_view eventText) {
    auto parsed = json::parse(eventText);
    if (!parsed) throw ScenarioError("not a JSON text");
    if (!parsed->isDictionary()) throw ScenarioError("an event must be a JSON object");
    impl_->play(parsed->asDictionary());
}

std::string ScenarioRunner::saveStores() const {
    auto& platform = impl_->platform;
    std::vector<Value> keychain;
    for (const auto& [service, account] : platform.keychain().items()) {
        auto data = platform.keychain().copyMatching(service, account);
        if (!data) continue;
        keychain.emplace_back(Dictionary{{"service", service.empty() ? Value() : Value(service)},
                                         {"account", Value(account)},
                                         {"data", Value(base64Encode(*data))}});
    }
    std::vector<Value> preferences;
    for (const auto& key : platform.userDefaults().keys()) {
        auto value = platform.userDefaults().objectForKey(key);
        auto archived = value ? KeyedArchive::archive(*value) : std::nullopt;
        if (!archived) continue;
        preferences.emplace_back(
            Dictionary{{"key", Value(key)}, {"archive", Value(base64Encode(*archived))}});
    }
    std::vector<Value> files;
    for (const auto& [path, data] : platform.files().files()) {
        files.emplace_back(Dictionary{{"path", Value(path)}, {"data", Value(base64Encode(data))}});
    }
    return json::write(Value(Dictionary{{"keychain", Value(Array(std::move(keychain)))},
                                        {"preferences", Value(Array(std::move(preferences)))},
                                        {"files", Value(Array(std::move(files)))}}),
                       json::Style::Pretty)
               .value_or("{}") +
           "\n";
}

void ScenarioRunner::loadStores(std::string_view text) {
    auto parsed = json::parse(text);
    if (!parsed || !parsed->isDictionary()) throw ScenarioError("the stores are not a JSON object");
    auto& platform = impl_->platform;
    auto list = [&](std::string_view key) -> const Array& {
        static const Array none;
        const Value* v = parsed->find(key);
        if (!v) return none;
        if (!v->isArray()) throw ScenarioError(Impl::quoted(key) + " must be an array");
        return v->asArray();
    };
    auto textOf = [](const Value& entry, std::string_view key) -> std::string {
        const Value* v = entry.find(key);
        if (!v || !v->isString()) {
            throw ScenarioError("a stored entry lacks its \"" + std::string(key) + "\"");
        }
        return v->asString();
    };
    for (const auto& item : list("keychain")) {
        const Value* service = item.find("service");
        platform.keychain().add(
            service && service->isString() ? std::optional(service->asString()) : std::string(),
            textOf(item, "account"), base64DecodeIgnoringUnknown(textOf(item, "data")));
    }
    for (const auto& item : list("preferences")) {
        auto value = KeyedArchive::unarchive(base64DecodeIgnoringUnknown(textOf(item, "archive")));
        if (!value) throw ScenarioError("a stored preference cannot be read");
        platform.userDefaults().setObject(textOf(item, "key"), *value);
    }
    for (const auto& item : list("files")) {
        auto path = textOf(item, "path");
        auto slash = path.rfind('/');
        if (slash != std::string::npos && slash > 0)
            platform.files().createDirectories(path.substr(0, slash));
        platform.files().writeAtomically(path, base64DecodeIgnoringUnknown(textOf(item, "data")));
    }
}

}  // namespace tandri::simtool
