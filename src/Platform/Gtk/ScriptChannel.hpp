#pragma once

// UI-process side of the script channel: every web view made in a prepared
// context delivers its pages' posts on the channel, each labelled with the URI
// of the frame that posted it (see WebProcess/ScriptChannelExtension.cpp).

#include <functional>
#include <string>

#include "Platform/Gtk/WebKit.hpp"

namespace tandri::gtk {

struct ChannelPost {
    std::string channel;
    std::string bodyJson;  // empty when the page posted something JSON cannot express
    std::string frameUri;
    bool mainFrame = false;
    std::string topUri;       // the view's top document when the frame posted
    std::string topDocument;  // its identity, for evaluateInDocument
};

class ScriptChannel {
  public:
    using Receiver = std::function<void(WebKitWebView*, const ChannelPost&)>;

    // Must run before the first web view of the context exists. The web-process
    // module is looked for where webExtensionsDirectory() says.
    static void prepareContext(WebKitWebContext* context, const std::string& channel);

    // Delivers the channel's posts of one view until disconnect() or the view goes away.
    static gulong connect(WebKitWebView* view, Receiver receiver);
    static void disconnect(WebKitWebView* view, gulong handlerId);

    /// Runs `script` in the view's top document if it is still `document` (a post's
    /// `topDocument`). The callback (may be empty) hears whether it ran, and its value as JSON
    /// text (empty for undefined or an exception).
    using Evaluated = std::function<void(bool ran, const std::string& json)>;
    static void evaluateInDocument(WebKitWebView* view, const std::string& document,
                                   const std::string& script, Evaluated evaluated);
};

}  // namespace tandri::gtk
