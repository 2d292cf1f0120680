// A small shop with the checkout: a header bar, the shop's own product list, and the checkout
// button packed among its widgets. Build it against the installed library:
//   cmake -S . -B build && cmake --build build        (find_package(tandri COMPONENTS gtk))
//   c++ main.cpp $(pkg-config --cflags --libs tandri-gtk)
// To try it against a staging checkout, set SHOP_CHECKOUT_HOST and SHOP_CHECKOUT_DOMAIN (and
// SHOP_PROXY, SHOP_CERTIFICATE, SHOP_TRUSTED_HOSTS to reach it); it prints each result as a line.

#include <tandri/gtk.hpp>
#include <tandri/tandri.hpp>

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>

namespace {

std::string env(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

GtkWidget* row(const char* name, const char* price) {
    GtkWidget* box = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
    gtk_box_pack_start(GTK_BOX(box), gtk_label_new(name), FALSE, FALSE, 0);
    gtk_box_pack_end(GTK_BOX(box), gtk_label_new(price), FALSE, FALSE, 0);
    g_object_set(box, "margin", 12, nullptr);
    return box;
}

}  // namespace

int main(int argc, char** argv) {
    gtk_init(&argc, &argv);

    // The shop's own window and widgets.
    GtkWidget* window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    gtk_window_set_default_size(GTK_WINDOW(window), 420, 640);
    GtkWidget* header = gtk_header_bar_new();
    gtk_header_bar_set_title(GTK_HEADER_BAR(header), "Example Shop");
    gtk_header_bar_set_show_close_button(GTK_HEADER_BAR(header), TRUE);
    gtk_window_set_titlebar(GTK_WINDOW(window), header);
    GtkWidget* content = gtk_box_new(GTK_ORIENTATION_VERTICAL, 8);
    gtk_container_add(GTK_CONTAINER(window), content);
    GtkWidget* list = gtk_list_box_new();
    gtk_list_box_set_selection_mode(GTK_LIST_BOX(list), GTK_SELECTION_NONE);
    gtk_container_add(GTK_CONTAINER(list), row("Trail shoes", "19.99"));
    gtk_container_add(GTK_CONTAINER(list), row("Socks", "5.00"));
    gtk_container_add(GTK_CONTAINER(list), row("Total", "24.99 USD"));
    gtk_box_pack_start(GTK_BOX(content), list, FALSE, FALSE, 12);
    GtkWidget* status = gtk_label_new("");
    gtk_box_pack_start(GTK_BOX(content), status, FALSE, FALSE, 0);
    g_signal_connect(window, "destroy", G_CALLBACK(gtk_main_quit), nullptr);

    // The checkout, set up over the window.
    tandri::gtk::Options options;
    options.applicationId = "com.example.Shop";
    options.checkoutHost = env("SHOP_CHECKOUT_HOST");
    options.checkoutDomain = env("SHOP_CHECKOUT_DOMAIN");
    options.network.proxy = env("SHOP_PROXY");
    options.network.trustedCertificate = env("SHOP_CERTIFICATE");
    std::istringstream hosts(env("SHOP_TRUSTED_HOSTS"));
    for (std::string host; hosts >> host;) options.network.trustedHosts.push_back(host);
    auto checkout = tandri::gtk::install(GTK_WINDOW(window), options);
    if (!checkout) return 1;

    // The button among the shop's widgets, armed with the purchase.
    tandri::TandriProfile profile(tandri::Environment::Sandbox, std::string("my-api-key"),
                                  std::string("Example Shop"));
    tandri::TandriPurchaseInfo purchase;
    purchase.setObject(tandri::Value("24.99"), tandri::kTotal);
    purchase.setObject(tandri::Value("USD"), tandri::kCurrency);
    tandri::gtk::CheckoutButton button;
    g_object_set(button.widget(), "margin", 20, nullptr);
    gtk_box_pack_end(GTK_BOX(content), button.widget(), FALSE, FALSE, 0);
    button.onCheckout(*checkout, profile, purchase,
                      [status](const tandri::TandriCheckoutResult& r) {
                          const auto last4 = r.lastFourDigits();
                          const std::string text =
                              r.statusName() == "payment.success" && last4 && last4->isString()
                                  ? "Paid with the card ending in " + last4->asString()
                                  : "Checkout ended: " + r.statusName();
                          gtk_label_set_text(GTK_LABEL(status), text.c_str());
                          std::printf("%s\n", r.statusName().c_str());
                          std::fflush(stdout);
                      });

    gtk_widget_show_all(window);
    gtk_main();
    return 0;
}
