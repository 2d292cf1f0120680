#include "Shop.hpp"

#include <string>
#include <utility>

namespace shop {

namespace {

// The few calls a GTK 3 and a GTK 4 application write differently.
#if GTK_MAJOR_VERSION >= 4
void append(GtkWidget* box, GtkWidget* child, bool expand = false) {
    gtk_widget_set_vexpand(child, expand);
    gtk_box_append(GTK_BOX(box), child);
}
void setMargin(GtkWidget* widget, int margin) {
    gtk_widget_set_margin_start(widget, margin);
    gtk_widget_set_margin_end(widget, margin);
    gtk_widget_set_margin_top(widget, margin);
    gtk_widget_set_margin_bottom(widget, margin);
}
#else
void append(GtkWidget* box, GtkWidget* child, bool expand = false) {
    gtk_box_pack_start(GTK_BOX(box), child, expand, expand, 0);
}
void setMargin(GtkWidget* widget, int margin) {
    g_object_set(widget, "margin", margin, nullptr);
}
#endif

struct Product {
    const char* name;
    const char* price;
};
constexpr Product kProducts[] = {{"Trail shoes", "19.99"}, {"Socks", "5.00"}};
constexpr const char* kTotal = "24.99";

GtkWidget* productRow(const char* name, const char* price, bool bold) {
    GtkWidget* row = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
    GtkWidget* left = gtk_label_new(nullptr);
    GtkWidget* right = gtk_label_new(nullptr);
    const std::string format = bold ? "<b>%s</b>" : "%s";
    char* leftText = g_markup_printf_escaped(format.c_str(), name);
    char* rightText = g_markup_printf_escaped(format.c_str(), price);
    gtk_label_set_markup(GTK_LABEL(left), leftText);
    gtk_label_set_markup(GTK_LABEL(right), rightText);
    g_free(leftText);
    g_free(rightText);
    gtk_widget_set_hexpand(left, TRUE);
    gtk_widget_set_halign(left, GTK_ALIGN_START);
    append(row, left);
    append(row, right);
    setMargin(row, 12);
    return row;
}

}  // namespace

Shop::Shop(Settings settings) {
#if GTK_MAJOR_VERSION >= 4
    window_ = GTK_WINDOW(gtk_window_new());
    gtk_window_set_title(window_, "Sandbox Store");
    gtk_window_set_titlebar(window_, gtk_header_bar_new());
#else
    window_ = GTK_WINDOW(gtk_window_new(GTK_WINDOW_TOPLEVEL));
    GtkWidget* header = gtk_header_bar_new();
    gtk_header_bar_set_title(GTK_HEADER_BAR(header), "Sandbox Store");
    gtk_header_bar_set_show_close_button(GTK_HEADER_BAR(header), TRUE);
    gtk_window_set_titlebar(window_, header);
#endif
    gtk_window_set_default_size(window_, 420, 760);

    // The shop's own content, made before the checkout is set up over the window.
    GtkWidget* content = gtk_box_new(GTK_ORIENTATION_VERTICAL, 8);
#if GTK_MAJOR_VERSION >= 4
    gtk_window_set_child(window_, content);
#else
    gtk_container_add(GTK_CONTAINER(window_), content);
#endif

    tandri::gtk::Options options;
    options.applicationId = "com.example.SandboxStore";
    options.network = settings.network;
    options.checkoutHost = settings.checkoutHost;
    options.checkoutDomain = settings.checkoutDomain;
    options.keychain = settings.keychain;
    checkout_ = tandri::gtk::install(window_, options);
    if (!checkout_) return;

    tandri::TandriProfile profile(tandri::Environment::Sandbox, std::string("sandbox-api-key"),
                                  std::string("Sandbox Store"));
    tandri::TandriPurchaseInfo purchase;
    purchase.setObject(tandri::Value(kTotal), tandri::kTotal);
    purchase.setObject(tandri::Value("USD"), tandri::kCurrency);
    auto done = [this](const tandri::TandriCheckoutResult& result) { showResult(result); };

    if (settings.flow == Flow::Hybrid) {
        // The shop's own page in its own web view (in the checkout's web context, so that it goes
        // through the same network settings); the page opens the checkout window itself.
        page_ = checkout_->newWebView();
        webkit_settings_set_javascript_can_open_windows_automatically(
            webkit_web_view_get_settings(page_), TRUE);
        tandri::gtk::installPlugin(*checkout_, page_);
        webkit_web_view_load_uri(page_, settings.merchantPageUrl.c_str());
        append(content, GTK_WIDGET(page_), true);
        return;
    }

    GtkWidget* list = gtk_list_box_new();
    gtk_list_box_set_selection_mode(GTK_LIST_BOX(list), GTK_SELECTION_NONE);
    for (const auto& product : kProducts)
        gtk_list_box_insert(GTK_LIST_BOX(list), productRow(product.name, product.price, false), -1);
    gtk_list_box_insert(GTK_LIST_BOX(list), productRow("Total", "24.99 USD", true), -1);
    gtk_widget_set_margin_top(list, 12);
    gtk_widget_set_margin_bottom(list, 12);
    append(content, list);
    resultLabel_ = gtk_label_new("");
    append(content, resultLabel_);
    // What the person pays with goes at the bottom.
    GtkWidget* spacer = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    append(content, spacer, true);

    if (settings.flow == Flow::Manual) {
        // The shop's own button: it starts a checkout once the session is ready.
        ownPay_ = gtk_button_new_with_label("Pay with my store's own button");
        setMargin(ownPay_, 20);
        gtk_widget_set_size_request(ownPay_, -1, 56);
        append(content, ownPay_);
        g_signal_connect(ownPay_, "clicked", G_CALLBACK(+[](GtkButton*, gpointer self) {
                             auto* shop = static_cast<Shop*>(self);
                             if (shop->startCheckout_) std::exchange(shop->startCheckout_, {})();
                         }),
                         this);
        tandri::TandriCheckoutSDK::configureManualCheckoutSessionWithProfile(
            profile, purchase, checkout_->screen(),
            [this, started = std::make_shared<bool>(false)](std::function<void()> closure) {
                // First the closure that starts the checkout; once started, the one that lets
                // the page go on, called at once. A re-armed session starts over.
                if (!*started) {
                    startCheckout_ = [closure, started] {
                        *started = true;
                        closure();
                    };
                } else {
                    // Kept until the next checkout: it is what keeps this session alive.
                    *started = false;
                    goOn_ = std::move(closure);
                    goOn_();
                }
            },
            done);
        return;
    }

    button_ = std::make_unique<tandri::gtk::CheckoutButton>();
    setMargin(button_->widget(), 20);
    append(content, button_->widget());
    button_->onCheckout(*checkout_, profile, purchase, done);
}

Shop::~Shop() {
    button_.reset();
    checkout_.reset();
#if GTK_MAJOR_VERSION >= 4
    if (window_) gtk_window_destroy(window_);
#else
    if (window_) gtk_widget_destroy(GTK_WIDGET(window_));
#endif
}

GtkWidget* Shop::payControl() const {
    return ownPay_ ? ownPay_ : button_ ? button_->widget() : nullptr;
}

void Shop::showResult(const tandri::TandriCheckoutResult& result) {
    if (resultLabel_) {
        const auto last4 = result.lastFourDigits();
        const std::string text =
            result.statusName() == "payment.success"
                ? "Paid with the card ending in " +
                      (last4 && last4->isString() ? last4->asString() : std::string("?"))
                : "Checkout ended: " + result.statusName();
        gtk_label_set_text(GTK_LABEL(resultLabel_), text.c_str());
    }
    if (onResult) onResult(result);
}

}  // namespace shop
