// A hybrid host: its own page in its own web view talks to the library through the plugin.
#include <cstdio>

#include "Core/Views/ViewController.hpp"
#include "Platform/Simulated/SimulatedPlatform.hpp"
#include "Public/Hybrid/TandriCheckoutPlugin.hpp"

using namespace tandri;

int main() {
    sim::SimulatedPlatform platform;
    auto screen = std::make_shared<ViewController>();
    auto page = platform.webViews().makeWebView();  // the host's own web view

    // Once per content controller: the page's messages now reach the library.
    TandriCheckoutPlugin::configure(*page->configuration()->userContentController, screen);

    // The host's new-window callback hands the checkout window to the library.
    URLRequest request;
    request.url = "https://checkout.tandri.com/pay";
    auto checkoutWindow =
        TandriCheckoutPlugin::finishSetupWithRequest(request, page->configuration());
    std::printf("checkout window made: %s\n", checkoutWindow ? "yes" : "no");
    std::printf("library version: %s\n", TandriCheckoutPlugin::SDK_VERSION().value_or("?").c_str());
    return 0;
}
