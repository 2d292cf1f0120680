#include "Platform/Desktop/ViewTree.hpp"

#include <chrono>
#include <cstring>

#include "Core/Views/Layout.hpp"

namespace tandri::desktop {

namespace {

double nowSeconds() {
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

const double kStartSeconds = nowSeconds();

void fingerprint(const View& view, std::uint64_t& h) {
    auto mix = [&h](double v) {
        std::uint64_t bits = 0;
        static_assert(sizeof bits == sizeof v);
        std::memcpy(&bits, &v, sizeof bits);
        h = (h ^ bits) * 1099511628211ULL;
    };
    const Rect f = view.frame();
    mix(f.x), mix(f.y), mix(f.width), mix(f.height);
    mix(view.isHidden() ? 1 : 0), mix(view.alpha());
    if (const auto& c = view.backgroundColor())
        mix(c->red), mix(c->green), mix(c->blue), mix(c->alpha);
    mix(static_cast<double>(reinterpret_cast<std::uintptr_t>(&view)));
    if (auto* image = dynamic_cast<const ImageView*>(&view)) {
        mix(static_cast<double>(reinterpret_cast<std::uintptr_t>(image->image().get())));
    } else if (auto* button = dynamic_cast<const Button*>(&view)) {
        mix(static_cast<double>(reinterpret_cast<std::uintptr_t>(button->image().get())));
    } else if (auto* bar = dynamic_cast<const NavigationBar*>(&view)) {
        mix(static_cast<double>(bar->items().size()));
    }
    mix(static_cast<double>(view.subviews().size()));
    for (const auto& sub : view.subviews()) fingerprint(*sub, h);
}

void collect(const View& view, bool visible, bool interactive, std::vector<HostedWebView>& out) {
    visible = visible && !view.isHidden() && view.alpha() > 0;
    interactive = interactive && view.isUserInteractionEnabled();
    if (auto* host = dynamic_cast<const WebViewHost*>(&view); host && host->webView()) {
        out.push_back({host->webView(), frameInRoot(view), visible, interactive});
    }
    for (const auto& sub : view.subviews()) collect(*sub, visible, interactive, out);
}

}  // namespace

std::uint64_t fingerprintOf(const View& root) {
    std::uint64_t h = 14695981039346656037ULL;
    fingerprint(root, h);
    return h;
}

std::vector<HostedWebView> hostedWebViews(const View& root) {
    std::vector<HostedWebView> out;
    collect(root, true, true, out);
    return out;
}

double animationSeconds() {
    return nowSeconds() - kStartSeconds;
}

}  // namespace tandri::desktop
