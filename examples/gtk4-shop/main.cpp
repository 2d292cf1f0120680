// A small GNOME shop with the checkout: a libadwaita window with its header bar, the shop's own
// list of products, and the checkout button among its widgets. Build it against the installed
// library:
//   cmake -S . -B build && cmake --build build   (find_package(tandri COMPONENTS gtk4))
//   c++ -std=c++20 main.cpp $(pkg-config --cflags --libs tandri-gtk4 libadwaita-1)
// To try it against a staging checkout, set SHOP_CHECKOUT_HOST and SHOP_CHECKOUT_DOMAIN (and
// SHOP_PROXY, SHOP_CERTIFICATE, SHOP_TRUSTED_HOSTS to reach it); it prints each result as a line.

#include <adwaita.h>

#include <tandri/gtk4.hpp>
#include <tandri/tandri.hpp>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>

namespace {

std::string env(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

GtkWidget* row(const char* name, const char* price) {
    GtkWidget* item = adw_action_row_new();
    adw_preferences_row_set_title(ADW_PREFERENCES_ROW(item), name);
    adw_action_row_add_suffix(ADW_ACTION_ROW(item), gtk_label_new(price));
    return item;
}

// What the shop keeps while its window is open.
struct Shop {
    std::shared_ptr<tandri::gtk::Installation> checkout;
    std::unique_ptr<tandri::gtk::CheckoutButton> button;
    GtkWidget* status = nullptr;
};

void activate(GtkApplication* app, gpointer data) {
    auto* shop = static_cast<Shop*>(data);

    // The shop's own window and widgets.
    GtkWidget* window = adw_application_window_new(app);
    gtk_window_set_title(GTK_WINDOW(window), "Example Shop");
    gtk_window_set_default_size(GTK_WINDOW(window), 420, 640);
    GtkWidget* content = gtk_box_new(GTK_ORIENTATION_VERTICAL, 12);
    gtk_box_append(GTK_BOX(content), adw_header_bar_new());
    GtkWidget* products = adw_preferences_group_new();
    adw_preferences_group_set_title(ADW_PREFERENCES_GROUP(products), "Your cart");
    adw_preferences_group_add(ADW_PREFERENCES_GROUP(products), row("Trail shoes", "19.99"));
    adw_preferences_group_add(ADW_PREFERENCES_GROUP(products), row("Socks", "5.00"));
    adw_preferences_group_add(ADW_PREFERENCES_GROUP(products), row("Total", "24.99 USD"));
    gtk_widget_set_margin_start(products, 12);
    gtk_widget_set_margin_end(products, 12);
    gtk_box_append(GTK_BOX(content), products);
    shop->status = gtk_label_new("");
    gtk_widget_set_vexpand(shop->status, TRUE);
    gtk_widget_set_valign(shop->status, GTK_ALIGN_START);
    gtk_box_append(GTK_BOX(content), shop->status);
    adw_application_window_set_content(ADW_APPLICATION_WINDOW(window), content);

    // The checkout, set up over the window.
    tandri::gtk::Options options;
    options.applicationId = "com.example.Shop";
    options.applicationVersion = "1.0";
    options.checkoutHost = env("SHOP_CHECKOUT_HOST");
    options.checkoutDomain = env("SHOP_CHECKOUT_DOMAIN");
    options.network.proxy = env("SHOP_PROXY");
    options.network.trustedCertificate = env("SHOP_CERTIFICATE");
    std::istringstream hosts(env("SHOP_TRUSTED_HOSTS"));
    for (std::string host; hosts >> host;) options.network.trustedHosts.push_back(host);
    shop->checkout = tandri::gtk::install(GTK_WINDOW(window), options);
    if (!shop->checkout) {
        g_application_quit(G_APPLICATION(app));
        return;
    }

    // The button among the shop's widgets, armed with the purchase.
    tandri::TandriProfile profile(tandri::Environment::Sandbox, std::string("my-api-key"),
                                  std::string("Example Shop"));
    tandri::TandriPurchaseInfo purchase;
    purchase.setObject(tandri::Value("24.99"), tandri::kTotal);
    purchase.setObject(tandri::Value("USD"), tandri::kCurrency);
    shop->button = std::make_unique<tandri::gtk::CheckoutButton>();
    GtkWidget* pay = shop->button->widget();
    gtk_widget_set_margin_start(pay, 20);
    gtk_widget_set_margin_end(pay, 20);
    gtk_widget_set_margin_bottom(pay, 20);
    gtk_box_append(GTK_BOX(content), pay);
    GtkWidget* status = shop->status;
    shop->button->onCheckout(
        *shop->checkout, profile, purchase, [status](const tandri::TandriCheckoutResult& r) {
            const auto last4 = r.lastFourDigits();
            const std::string text =
                r.statusName() == "payment.success" && last4 && last4->isString()
                    ? "Paid with the card ending in " + last4->asString()
                    : "Checkout ended: " + r.statusName();
            gtk_label_set_text(GTK_LABEL(status), text.c_str());
            std::printf("%s\n", r.statusName().c_str());
            std::fflush(stdout);
        });
    gtk_window_present(GTK_WINDOW(window));
}

}  // namespace

int main(int argc, char** argv) {
    Shop shop;
    AdwApplication* app = adw_application_new("com.example.Shop", G_APPLICATION_DEFAULT_FLAGS);
    g_signal_connect(app, "activate", G_CALLBACK(activate), &shop);
    const int status = g_application_run(G_APPLICATION(app), argc, argv);
    // The checkout goes before the window it was set up over.
    shop.button.reset();
    shop.checkout.reset();
    g_object_unref(app);
    return status;
}
