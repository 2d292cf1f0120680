#pragma once

// How the demo merchant's shop is set up, the same on every toolkit. Only what a merchant
// includes: the library's public headers.

#include <string>

#include <tandri/desktop.hpp>

namespace shop {

enum class Flow {
    Button,  // the checkout button among the shop's own widgets
    Manual,  // the shop's own "Pay" button starting a manual checkout session
    Hybrid,  // the shop's own web page, talking to the checkout through the plugin
};

struct Settings {
    Flow flow = Flow::Button;
    /// Where the checkout is served (a staging server, here the local sandbox) and how it is
    /// reached; empty in production.
    tandri::desktop::Network network;
    std::string checkoutHost;
    std::string checkoutDomain;
    /// The shop's own page, for the hybrid flow.
    std::string merchantPageUrl;
    tandri::desktop::KeychainStore keychain = tandri::desktop::KeychainStore::Automatic;
};

}  // namespace shop
