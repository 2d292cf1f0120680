#include "Platform/Gtk/ScriptChannel.hpp"

#include <memory>

#include "Platform/Gtk/WebExtensionsDirectory.hpp"

namespace tandri::gtk {

namespace {

constexpr const char* kUserMessageName = "tandri.script-message";
constexpr const char* kEvaluateMessageName = "tandri.evaluate";

gboolean onUserMessage(WebKitWebView* view, WebKitUserMessage* message, gpointer data) {
    const char* name = webkit_user_message_get_name(message);
    if (name == nullptr || std::string_view(name) != kUserMessageName) {
        return FALSE;
    }
    GVariant* parameters = webkit_user_message_get_parameters(message);
    if (parameters == nullptr || !g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sssbss)"))) {
        return TRUE;
    }
    const char* channel = nullptr;
    const char* body = nullptr;
    const char* uri = nullptr;
    gboolean mainFrame = FALSE;
    const char* topUri = nullptr;
    const char* topDocument = nullptr;
    g_variant_get(parameters, "(&s&s&sb&s&s)", &channel, &body, &uri, &mainFrame, &topUri,
                  &topDocument);
    ChannelPost post{channel, body, uri, mainFrame != FALSE, topUri, topDocument};
    (*static_cast<ScriptChannel::Receiver*>(data))(view, post);
    return TRUE;
}

void deleteReceiver(gpointer data, GClosure*) {
    delete static_cast<ScriptChannel::Receiver*>(data);
}

}  // namespace

void ScriptChannel::prepareContext(WebKitWebContext* context, const std::string& channel) {
    setWebProcessModule(context, webExtensionsDirectory().c_str(),
                        g_variant_new_string(channel.c_str()));
}

gulong ScriptChannel::connect(WebKitWebView* view, Receiver receiver) {
    return g_signal_connect_data(view, "user-message-received", G_CALLBACK(onUserMessage),
                                 new Receiver(std::move(receiver)), deleteReceiver,
                                 GConnectFlags{});
}

void ScriptChannel::disconnect(WebKitWebView* view, gulong handlerId) {
    g_signal_handler_disconnect(view, handlerId);
}

void ScriptChannel::evaluateInDocument(WebKitWebView* view, const std::string& document,
                                       const std::string& script, Evaluated evaluated) {
    auto* message = webkit_user_message_new(
        kEvaluateMessageName, g_variant_new("(ss)", document.c_str(), script.c_str()));
    webkit_web_view_send_message_to_page(
        view, message, nullptr,
        +[](GObject* source, GAsyncResult* result, gpointer data) {
            std::unique_ptr<Evaluated> callback(static_cast<Evaluated*>(data));
            WebKitUserMessage* reply = webkit_web_view_send_message_to_page_finish(
                WEBKIT_WEB_VIEW(source), result, nullptr);
            bool ran = false;
            std::string json;
            if (reply != nullptr) {
                GVariant* parameters = webkit_user_message_get_parameters(reply);
                if (parameters != nullptr &&
                    g_variant_is_of_type(parameters, G_VARIANT_TYPE("(bs)"))) {
                    gboolean done = FALSE;
                    const char* text = nullptr;
                    g_variant_get(parameters, "(b&s)", &done, &text);
                    ran = done != FALSE;
                    json = text;
                }
                g_object_unref(reply);
            }
            if (*callback) (*callback)(ran, json);
        },
        new Evaluated(std::move(evaluated)));
}

}  // namespace tandri::gtk
