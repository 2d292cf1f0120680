#include "Platform/Gtk/ScriptChannel.hpp"

#include <cstdlib>

namespace tandri::gtk {

namespace {

constexpr const char* kUserMessageName = "tandri.script-message";

gboolean onUserMessage(WebKitWebView* view, WebKitUserMessage* message, gpointer data) {
    const char* name = webkit_user_message_get_name(message);
    if (name == nullptr || std::string_view(name) != kUserMessageName) {
        return FALSE;
    }
    GVariant* parameters = webkit_user_message_get_parameters(message);
    if (parameters == nullptr || !g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sssb)"))) {
        return TRUE;
    }
    const char* channel = nullptr;
    const char* body = nullptr;
    const char* uri = nullptr;
    gboolean mainFrame = FALSE;
    g_variant_get(parameters, "(&s&s&sb)", &channel, &body, &uri, &mainFrame);
    ChannelPost post{channel, body, uri, mainFrame != FALSE};
    (*static_cast<ScriptChannel::Receiver*>(data))(view, post);
    return TRUE;
}

void deleteReceiver(gpointer data, GClosure*) {
    delete static_cast<ScriptChannel::Receiver*>(data);
}

}  // namespace

std::string ScriptChannel::extensionsDirectory() {
    if (const char* dir = std::getenv("TANDRI_WEB_EXTENSIONS_DIR"); dir != nullptr && *dir) {
        return dir;
    }
    return TANDRI_WEB_EXTENSIONS_DIR;
}

void ScriptChannel::prepareContext(WebKitWebContext* context, const std::string& channel) {
    webkit_web_context_set_web_extensions_directory(context, extensionsDirectory().c_str());
    webkit_web_context_set_web_extensions_initialization_user_data(
        context, g_variant_new_string(channel.c_str()));
}

gulong ScriptChannel::connect(WebKitWebView* view, Receiver receiver) {
    return g_signal_connect_data(view, "user-message-received", G_CALLBACK(onUserMessage),
                                 new Receiver(std::move(receiver)), deleteReceiver,
                                 GConnectFlags{});
}

void ScriptChannel::disconnect(WebKitWebView* view, gulong handlerId) {
    g_signal_handler_disconnect(view, handlerId);
}

}  // namespace tandri::gtk
