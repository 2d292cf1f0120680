#include "Platform/SecretService/SecretServiceKeychain.hpp"

#include <libsecret/secret.h>

namespace tandri::secretservice {

namespace {

const SecretSchema* schema() {
    static const SecretSchema kSchema = {"com.tandri.checkout.Keychain",
                                         SECRET_SCHEMA_NONE,
                                         {
                                             {"service", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                             {"account", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                             {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING},
                                         },
                                         0,
                                         nullptr,
                                         nullptr,
                                         nullptr,
                                         nullptr,
                                         nullptr,
                                         nullptr,
                                         nullptr};
    return &kSchema;
}

struct Attributes {
    GHashTable* table;
    Attributes(const std::optional<std::string>& service, const std::string& account)
        : table(g_hash_table_new(g_str_hash, g_str_equal)) {
        if (service)
            g_hash_table_insert(table, const_cast<char*>("service"),
                                const_cast<char*>(service->c_str()));
        g_hash_table_insert(table, const_cast<char*>("account"),
                            const_cast<char*>(account.c_str()));
    }
    ~Attributes() { g_hash_table_unref(table); }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;
};

}  // namespace

bool SecretServiceKeychain::canName(const std::string& account) const {
    constexpr std::size_t kLongestAccount = 1024;
    return account.size() <= kLongestAccount && account.find('\0') == std::string::npos &&
           g_utf8_validate(account.data(), static_cast<gssize>(account.size()), nullptr);
}

std::shared_ptr<SecretServiceKeychain> SecretServiceKeychain::connect(std::string* error) {
    GError* failure = nullptr;
    SecretService* service =
        secret_service_get_sync(SECRET_SERVICE_OPEN_SESSION, nullptr, &failure);
    if (!service) {
        if (error) *error = failure ? failure->message : "no Secret Service";
        if (failure) g_error_free(failure);
        return nullptr;
    }
    g_object_unref(service);
    return std::shared_ptr<SecretServiceKeychain>(new SecretServiceKeychain());
}

bool SecretServiceKeychain::add(const std::optional<std::string>& service,
                                const std::string& account, const std::vector<std::uint8_t>& data) {
    if (!canName(account)) return false;
    remove(service, account);
    gchar* encoded = g_base64_encode(data.data(), data.size());
    Attributes attributes(service, account);
    const std::string label = (service ? *service + " " : std::string()) + account;
    GError* failure = nullptr;
    gboolean stored =
        secret_password_storev_sync(schema(), attributes.table, SECRET_COLLECTION_DEFAULT,
                                    label.c_str(), encoded, nullptr, &failure);
    g_free(encoded);
    if (failure) g_error_free(failure);
    return stored;
}

std::optional<std::vector<std::uint8_t>> SecretServiceKeychain::copyMatching(
    const std::optional<std::string>& service, const std::string& account) {
    if (!canName(account)) return std::nullopt;
    Attributes attributes(service, account);
    GError* failure = nullptr;
    gchar* secret = secret_password_lookupv_sync(schema(), attributes.table, nullptr, &failure);
    if (failure) g_error_free(failure);
    if (!secret) return std::nullopt;
    gsize length = 0;
    guchar* bytes = g_base64_decode(secret, &length);
    secret_password_free(secret);
    std::vector<std::uint8_t> out(bytes, bytes + length);
    g_free(bytes);
    return out;
}

void SecretServiceKeychain::remove(const std::optional<std::string>& service,
                                   const std::string& account) {
    if (!canName(account)) return;
    Attributes attributes(service, account);
    // Each call removes the matching items it finds; repeat until none is left.
    for (int round = 0; round < 64; ++round) {
        GError* failure = nullptr;
        gboolean removed =
            secret_password_clearv_sync(schema(), attributes.table, nullptr, &failure);
        if (failure) g_error_free(failure);
        if (!removed) break;
    }
}

}  // namespace tandri::secretservice
