#pragma once

// The base of every bridge: one web view, one channel ("tandriMessage"), a
// table of message handlers, and the path from a page's message to the
// script that answers it. Bridges are made through create() functions that
// return shared pointers, because the channel refers back to them weakly.

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include "Core/Bridge/MessageHandler.hpp"
#include "Core/Javascript/JSResult.hpp"
#include "Core/Javascript/JSTandriMessage.hpp"
#include "Platform/WebView.hpp"

namespace tandri {

class JSBridge : public std::enable_shared_from_this<JSBridge> {
  public:
    static constexpr const char* kChannelName = "tandriMessage";
    using MessageHandlers = std::unordered_map<std::string, MessageHandler>;

    /// A bridge listening on `webView`'s channel with an empty handler table.
    static std::shared_ptr<JSBridge> create(std::shared_ptr<WebView> webView);
    virtual ~JSBridge();
    JSBridge(const JSBridge&) = delete;
    JSBridge& operator=(const JSBridge&) = delete;

    /// The name used for this bridge in the logs.
    virtual std::string className() const { return "JSBridge"; }

    // What every bridge provides.
    std::shared_ptr<WebView> webView;
    MessageHandlers messageHandlers;
    std::optional<std::string> messageHandlerPath;
    bool isLinkedCheckoutBridge = false;
    /// Accepts messages from any frame; only for pages that are the merchant's own.
    bool allowSecurityCheckBypass = false;

    /// Registers the channel with the bridge's web view and starts a fresh, empty handler table.
    static void setupHandlers(const std::shared_ptr<JSBridge>& bridge);

    /// A page's message arrives.
    void userContentControllerDidReceiveScriptMessage(UserContentController& controller,
                                                      const ScriptMessage& message);

    /// Answers `message` in `webView` with `result` through the bridge's page function; with a
    /// `document`, only while the view still shows the document that asked.
    static void sendMessageResponse(const std::shared_ptr<JSBridge>& bridge,
                                    const JSTandriMessage& message,
                                    const std::optional<JSResult>& result,
                                    const std::shared_ptr<WebView>& webView,
                                    const std::string& document = {});

    /// "forward" messages of each page go to the other page, whole.
    static void observeForwardMessagesFor(const std::shared_ptr<JSBridge>& a,
                                          const std::shared_ptr<JSBridge>& b);
    static void forwarding(const std::shared_ptr<JSBridge>& source,
                           const std::shared_ptr<JSBridge>& target);

    /// Pushes `data` to the target's page as a window message "<receiver>--<json>".
    static void forwardDataFromNative(const std::string& receiver, const std::optional<Value>& data,
                                      const std::shared_ptr<JSBridge>& target);

    /// The storage handlers every bridge answers "get" and "set" with (the same closures on
    /// every call).
    static const MessageHandler& onGet();
    static const MessageHandler& onSet();

  protected:
    explicit JSBridge(std::shared_ptr<WebView> view);
    /// Whether the frame that posted `message` may use this bridge: https on the maker's
    /// domain, main frame or not, in a top document that is itself https on the maker's domain
    /// (answers are evaluated in the top document, so a foreign page must not be able to read
    /// them through a frame of ours). A bridge whose pages are heard more widely widens it.
    virtual bool frameIsAllowed(const ScriptMessage& message);
    /// Whether a URL is https on the maker's domain.
    bool urlIsAllowed(const std::string& url);

  private:
    /// Pages post from the same frames over and over: the last verdicts, by URL.
    struct Verdict {
        std::string url;
        std::string domain;
        bool allowed = false;
    };
    Verdict lastVerdicts_[2];
    unsigned nextVerdict_ = 0;
    /// Whether this bridge put its own handler on the channel (and so takes it off when it
    /// goes); a bridge that adopted a page someone else listens to leaves that listener be.
    bool registeredChannel_ = false;
};

}  // namespace tandri
