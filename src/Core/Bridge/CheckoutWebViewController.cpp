#include "Core/Bridge/CheckoutWebViewController.hpp"

#include <string>

#include "Core/Utils/NotificationCenter.hpp"
#include "Platform/Platform.hpp"

namespace tandri {

namespace {

StatusBarStyle modernDarkContent() {
    return Platform::current().osVersion.isAtLeast(13) ? StatusBarStyle::DarkContent
                                                       : StatusBarStyle::Default;
}

}  // namespace

CheckoutWebViewController::~CheckoutWebViewController() {
    NotificationCenter::defaultCenter().removeObserver(this);
}

void CheckoutWebViewController::viewDidLoad() {
    initializeLifecycleListeners();
}

void CheckoutWebViewController::initializeLifecycleListeners() {
    auto& center = NotificationCenter::defaultCenter();
    std::weak_ptr<ViewController> weak = weak_from_this();
    std::shared_ptr<const void> self = shared_from_this();
    auto call = [weak](void (CheckoutWebViewController::*method)()) {
        return [weak, method](const Notification&) {
            if (auto strong = std::static_pointer_cast<CheckoutWebViewController>(weak.lock())) {
                ((*strong).*method)();
            }
        };
    };
    center.addObserver(std::string(NotificationName::ApplicationDidEnterBackground),
                       call(&CheckoutWebViewController::appWillResignActive), self);
    center.addObserver(std::string(NotificationName::ApplicationWillEnterForeground),
                       call(&CheckoutWebViewController::appWillEnterForeground), self);
}

void CheckoutWebViewController::appWillResignActive() {
    auto root = view();
    // A second background entry without a return in between stacks a second overlay; the
    // return takes away only the latest.
    overlayView = View::make(root ? root->frame() : Rect{});
    overlayView->setBackgroundColor(Color::clear());
    root->addSubview(overlayView);
    auto blur = std::make_shared<BlurView>(BlurView::Style::Regular, overlayView->bounds());
    blur->setAutoresizingMask(AutoresizingMask::FlexibleWidth | AutoresizingMask::FlexibleHeight);
    overlayView->addSubview(blur);
}

void CheckoutWebViewController::appWillEnterForeground() {
    if (overlayView) overlayView->removeFromSuperview();
    overlayView.reset();
}

StatusBarStyle CheckoutWebViewController::preferredStatusBarStyle() const {
    return modernDarkContent();
}

void PopupViewController::viewDidLoad() {
    using A = LayoutAttribute;
    auto root = view();
    navigationBar = std::make_shared<NavigationBar>();
    navigationBar->setTranslucent(false);
    root->addSubview(navigationBar);
    navigationBar->setTranslatesAutoresizingMaskIntoConstraints(false);

    webViewHost = std::make_shared<WebViewHost>();
    webViewHost->setWebView(webView_);
    root->addSubview(webViewHost);
    if (webView_) {
        webView_->setUIDelegate(
            std::shared_ptr<UIDelegate>(shared_from_this(), static_cast<UIDelegate*>(this)));
    }
    webViewHost->setBackgroundColor(Color::white());
    webViewHost->setTranslatesAutoresizingMaskIntoConstraints(false);

    // The safe area from iOS 11 on; before, the bar sits under the status bar.
    const auto& platform = Platform::current();
    const bool safe = platform.osVersion.isAtLeast(11);
    root->addConstraints({constrainToEdge(safe, navigationBar, A::Top, root, A::Top,
                                          safe ? 0 : platform.statusBarHeight),
                          constrainToEdge(safe, navigationBar, A::Leading, root, A::Leading),
                          constrainToEdge(safe, navigationBar, A::Trailing, root, A::Trailing),
                          constrainToEdge(safe, webViewHost, A::Leading, root, A::Leading),
                          constrainToEdge(safe, webViewHost, A::Trailing, root, A::Trailing),
                          constrain(webViewHost, A::Top, navigationBar, A::Bottom),
                          constrainToEdge(safe, webViewHost, A::Bottom, root, A::Bottom)});

    auto cancel = std::make_shared<BarButtonItem>();
    cancel->systemItem = BarButtonItem::SystemItem::Cancel;
    std::weak_ptr<ViewController> weak = weak_from_this();
    cancel->action = [weak] {
        if (auto self = std::static_pointer_cast<PopupViewController>(weak.lock())) {
            self->dismissView();
        }
    };
    if (platform.osVersion.isAtLeast(13)) {
        root->setBackgroundColor(Color::systemBackground());
        navigationBar->setBarTintColor(Color::systemGray6());
        cancel->tintColor = Color::systemBlue();
    } else {
        const Color light{242 / 255.0, 242 / 255.0, 247 / 255.0, 1.0, {}};
        root->setBackgroundColor(light);
        navigationBar->setBarTintColor(light);
    }
    navigationBar->setItems({NavigationItem{std::nullopt, nullptr, cancel}});
}

std::shared_ptr<WebView> PopupViewController::webViewCreateWebView(
    WebView&, const std::shared_ptr<WebViewConfiguration>&, const NavigationAction& action) {
    if (!action.targetsMainFrame && action.navigationType == NavigationType::LinkActivated) {
        if (auto& opener = Platform::current().urlOpener) opener->openURL(action.request.url);
    }
    return nullptr;
}

void PopupViewController::webViewDidClose(WebView&) {
    dismissView();
}

void PopupViewController::dismissView() {
    dismissViewControllerAnimated(true);
}

}  // namespace tandri
