#pragma once

// What a desktop application says when it sets the checkout up, the same on every toolkit
// (<tandri/gtk.hpp>, <tandri/qt.hpp>; each names these in its own namespace as well).

#include <string>
#include <vector>

namespace tandri::desktop {

/// Where keychain items (the values the checkout keeps secret) are kept. Preferences are always
/// in the application's own store.
enum class KeychainStore {
    /// The desktop keyring when one answers, else the application's store; the choice is said
    /// once in the system log.
    Automatic,
    /// The desktop keyring (Secret Service), falling back as Automatic does.
    SecretService,
    /// The application's store only (an SQLite database readable by the user alone).
    ApplicationStore,
};

/// How the checkout pages reach the network. Empty, as in production: directly, trusting the
/// system's certificates. A staging set-up may route through a proxy and trust one more
/// certificate, for the named hosts only. (On Qt WebEngine the proxy is the application's: the
/// engine has no other.)
struct Network {
    std::string proxy;                      // "http://127.0.0.1:8080"; empty: direct
    std::string trustedCertificate;         // a PEM file
    std::vector<std::string> trustedHosts;  // hosts that certificate is trusted for
};

struct Options {
    /// The application's reverse-DNS id, "com.example.shop": names its data directory. Required.
    std::string applicationId;
    /// The application's maker, as the checkout sees it: applications of one vendor share one
    /// device identifier. Default: the application's name as the toolkit knows it (GTK:
    /// g_get_application_name(); Qt: the organization's name, else the application's), else the
    /// application id.
    std::string vendor;
    /// The application's version, as the checkout sees it ("2.4.1"); default: none.
    std::string applicationVersion;
    /// Where the store, the checkout pages' cookies and local storage, and the saved button page
    /// are kept. Default: $XDG_DATA_HOME/<applicationId> (~/.local/share/<applicationId>).
    /// Removing it forgets everything the checkout kept (keyring items apart).
    std::string dataDirectory;
    KeychainStore keychain = KeychainStore::Automatic;
    Network network;
    /// A staging checkout: its host ("checkout.example.test") and the two-label domain its pages
    /// are served from. Empty: the production checkout the library was built for.
    std::string checkoutHost;
    std::string checkoutDomain;
};

}  // namespace tandri::desktop
