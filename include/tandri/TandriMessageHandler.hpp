#pragma once

// The names a hybrid host's page uses to talk to the library. Pages post to the message handlers
// "tandriMessage" and "supportsSRC" (window.webkit.messageHandlers.<name>.postMessage(body)).

namespace tandri {

inline constexpr const char* kTandriMessage = "tandriMessage";
inline constexpr const char* kTandriSupportsSRC = "supportsSRC";

class TandriMessageHandler {
  public:
    static const char* configureTandriCheckoutPlugin() { return "configureTandriCheckoutPlugin"; }
    static const char* launchTandriCheckout() { return "launchTandriCheckout"; }
    static const char* tandriMessage() { return kTandriMessage; }
};

}  // namespace tandri
