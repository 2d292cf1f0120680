// Acknowledged means kept: every "set" answered with success reads back equal through "get"
// after a restart, on the SQLite store and on the Secret Service; a "set" answered with an error
// leaves the value before it. The values come from a seeded generator (a failure names its seed
// and index and reproduces): deep nesting up to what the JSON reader takes, large and empty
// containers, Unicode (astral, combining, escaped pairs, NUL, noncharacters), integers beyond
// 2^53 and 2^63, negative zero, the largest and smallest doubles, booleans beside 1 and 0,
// absent beside null, keys holding NUL.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>

#include "Core/Storage/KeychainUtils.hpp"
#include "Core/Storage/Storage.hpp"
#include "Platform/Linux/PersistentStorage.hpp"
#include "Platform/SecretService/SecretServiceKeychain.hpp"
#include "Platform/Simulated/SimulatedPlatform.hpp"
#include "Platform/Sqlite/SqliteStore.hpp"
#include "StoragePage.hpp"
#include "tandri/Json.hpp"

using namespace tandri;
using tandri::test::Page;

namespace {

constexpr std::uint64_t kSeed = 20261123;
constexpr int kValues = 300;
// Each keyring write is a few round trips to the keyring daemon.
constexpr int kKeyringValues = 120;

class Generator {
  public:
    explicit Generator(std::uint64_t seed) : rng_(seed) {}
    std::uint64_t next() { return rng_(); }
    std::uint64_t below(std::uint64_t n) { return next() % n; }
    bool chance(int percent) { return below(100) < static_cast<std::uint64_t>(percent); }

    std::string value(int depth) {
        if (depth < 6 && chance(30)) return chance(50) ? array(depth) : object(depth);
        return scalar();
    }

    // A chain of `levels` arrays and objects around a scalar.
    std::string chain(int levels) {
        std::string open, close;
        for (int i = 0; i < levels; ++i) {
            if (chance(50)) {
                open += "[";
                close = "]" + close;
            } else {
                open += "{" + quoted(text(3)) + ":";
                close = "}" + close;
            }
        }
        return open + scalar() + close;
    }

    std::string scalar() {
        switch (below(5)) {
            case 0:
                return std::vector<std::string>{"null", "true", "false", "0", "1"}[below(5)];
            case 1:
                return integer();
            case 2:
                return floating();
            default:
                return quoted(text(chance(1) ? 20000 : 40));
        }
    }

    std::string integer() {
        static const std::vector<std::string> edges{"9007199254740992",
                                                    "9007199254740993",
                                                    "-9007199254740993",
                                                    "9223372036854775807",
                                                    "-9223372036854775808",
                                                    "9223372036854775808",
                                                    "18446744073709551615",
                                                    "-1",
                                                    "4294967296"};
        if (chance(50)) return edges[below(edges.size())];
        return std::to_string(static_cast<std::int64_t>(next()) >> below(63));
    }

    std::string floating() {
        static const std::vector<std::string> edges{"-0.0",
                                                    "0.0",
                                                    "1.0",
                                                    "-0",
                                                    "1e308",
                                                    "-1.7976931348623157e308",
                                                    "5e-324",
                                                    "2.2250738585072014e-308",
                                                    "0.1",
                                                    "1e-7",
                                                    "123456789.123456789",
                                                    "1E+2"};
        if (chance(50)) return edges[below(edges.size())];
        double d = 0;
        do {
            std::uint64_t bits = next();
            std::memcpy(&d, &bits, sizeof d);
        } while (!std::isfinite(d));
        char buffer[40];
        std::snprintf(buffer, sizeof buffer, "%.17g", d);
        return buffer;
    }

    // JSON string contents (without quotes) of up to `most` pieces.
    std::string text(int most) {
        static const std::vector<std::string> pieces{
            "a",
            "Z",
            " ",
            "~",
            "\\\"",
            "\\\\",
            "\\/",
            "\\n",
            "\\t",
            "\\u0000",
            "\\u001f",
            "\xc3\xa9",          // é
            "e\xcc\x81",         // e and a combining acute
            "\xe4\xb8\xad",      // a CJK character
            "\xf0\x9f\x98\x80",  // an astral emoji, raw
            "\\ud83d\\ude00",    // the same, as an escaped pair
            "\\uD834\\uDD1E",    // another pair, upper-case hex
            "\xef\xbf\xbd",      // U+FFFD
            "\xef\xbf\xbf",      // U+FFFF, a noncharacter
            "\xf4\x8f\xbf\xbf",  // U+10FFFF
            "\xe2\x80\xae",      // right-to-left override
            "\\u00e9",
            "\\uFEFF",
            "tandriMetadata",
            "$text",
            "$entries"};
        std::string out;
        const std::uint64_t count = below(static_cast<std::uint64_t>(most) + 1);
        for (std::uint64_t i = 0; i < count; ++i) out += pieces[below(pieces.size())];
        return out;
    }

    static std::string quoted(const std::string& contents) { return "\"" + contents + "\""; }

  private:
    std::string array(int depth) {
        std::string out = "[";
        // Now and then a long list of scalars at the top.
        const bool long_ = depth == 0 && chance(10);
        const std::uint64_t n = long_ ? 2000 : below(6);
        for (std::uint64_t i = 0; i < n; ++i) {
            out += (i ? "," : "") + (long_ ? scalar() : value(depth + 1));
        }
        return out + "]";
    }
    std::string object(int depth) {
        std::string out = "{";
        const std::uint64_t n = below(6);
        for (std::uint64_t i = 0; i < n; ++i) {
            // Keys repeat now and then ({"a":1,"a":2}), and may hold NUL.
            out += (i ? "," : "") + quoted(chance(10) ? "a" : text(4)) + ":" + value(depth + 1);
        }
        return out + "}";
    }
    std::mt19937_64 rng_;
};

struct Write {
    std::string key;
    std::string body;
    Value expected;  // the value as the reader read it; null for an absent value
};

// Two writes per key: a small first value, then the generated one over it, so that a "set"
// acknowledged but not kept shows as the first value coming back.
std::vector<Write> generateWrites(std::uint64_t seed, int count) {
    Generator gen(seed);
    std::vector<Write> writes;
    const std::vector<std::string> optionSets{"", R"(,"options":{"secure":true})",
                                              R"(,"options":{"requireAuth":true})"};
    for (int i = 0; i < count; ++i) {
        std::string key = "p" + std::to_string(i);
        if (gen.chance(20)) key += "\xc3\xa9\xf0\x9f\x98\x80";
        std::string valueText;
        const std::uint64_t shape = gen.below(100);
        if (shape < 10) {
            valueText =
                gen.chain(1 + static_cast<int>(gen.below(1021)));  // up to the reader's limit
        } else if (shape < 13) {
            valueText = gen.chain(1021);
        } else if (shape < 16) {
            valueText = gen.chance(50) ? "[]" : "{}";
        } else {
            valueText = gen.value(0);
        }
        const bool absent = gen.chance(3);
        const std::string& options = optionSets[gen.below(optionSets.size())];
        for (int round = 0; round < 2; ++round) {
            const std::string value = round == 0 ? "\"first\"" : valueText;
            const std::string id = std::to_string(i) + "." + std::to_string(round);
            std::string data = R"({"key":)" + Generator::quoted(key);
            if (!(round == 1 && absent)) data += R"(,"value":)" + value;
            data += "}";
            Write write{key, R"({"name":"set","id":")" + id + R"(","data":)" + data + options + "}",
                        Value()};
            auto parsed = json::parse(write.body);
            EXPECT_TRUE(parsed) << "seed " << seed << " value " << i << ": " << write.body;
            if (parsed) {
                if (const Value* v = parsed->find("data")->find("value")) write.expected = *v;
            }
            writes.push_back(std::move(write));
        }
    }
    return writes;
}

// Sends every write; "1" for each answered with success, "0" for each answered with an error.
std::string sendAll(const std::vector<Write>& writes) {
    Page page;
    std::string acknowledged;
    for (const auto& write : writes) {
        const std::string answer = page.send(write.body);
        acknowledged += answer.find(R"("error":null)") != std::string::npos ? '1' : '0';
    }
    return acknowledged;
}

bool same(const Value& a, const Value& b) {
    if (a.type() != b.type()) return false;
    switch (a.type()) {
        case Value::Type::Null:
            return true;
        case Value::Type::Number:
            if (a.numberType() != b.numberType()) return false;
            if (a.numberType() == NumberType::Float) {
                const double x = a.asDouble(), y = b.asDouble();
                return std::memcmp(&x, &y, sizeof x) == 0;  // -0.0 is not 0.0
            }
            return a.numberType() == NumberType::Boolean ? a.asBool() == b.asBool()
                                                         : a.asInt() == b.asInt();
        case Value::Type::String:
            return a.asString() == b.asString();
        case Value::Type::Array: {
            if (a.asArray().size() != b.asArray().size()) return false;
            for (std::size_t i = 0; i < a.asArray().size(); ++i) {
                if (!same(a.asArray()[i], b.asArray()[i])) return false;
            }
            return true;
        }
        case Value::Type::Dictionary: {
            const auto& x = a.asDictionary().entries();
            const auto& y = b.asDictionary().entries();
            if (x.size() != y.size()) return false;
            for (std::size_t i = 0; i < x.size(); ++i) {
                if (x[i].first != y[i].first || !same(x[i].second, y[i].second)) return false;
            }
            return true;
        }
        case Value::Type::Foreign:
            return false;
    }
    return false;
}

// In the ports now in force (a new process, or new ports over the same stores): each key reads
// back the last value whose "set" was acknowledged.
void expectEveryAcknowledgedWriteReadsBack(const std::vector<Write>& writes,
                                           const std::string& acknowledged) {
    ASSERT_EQ(acknowledged.size(), writes.size());
    int refused = 0;
    for (std::size_t i = 0; i < writes.size(); i += 2) {
        const Write* kept = acknowledged[i + 1] == '1' ? &writes[i + 1]
                            : acknowledged[i] == '1'   ? &writes[i]
                                                       : nullptr;
        refused += acknowledged[i + 1] == '0';
        std::optional<Value> read;
        bool called = false;
        Storage::getValueForKey(writes[i].key, [&](std::optional<Value> value) {
            read = std::move(value);
            called = true;
        });
        ASSERT_TRUE(called);
        const Value got = read.value_or(Value());
        const Value want = kept ? kept->expected : Value();
        EXPECT_TRUE(same(got, want))
            << "seed " << kSeed << " value " << i / 2 << " (" << writes[i + 1].body.size()
            << " bytes, acknowledged " << acknowledged.substr(i, 2)
            << "): " << writes[i + 1].body.substr(0, 300)
            << "\n read back: " << json::write(got).value_or("<not JSON>").substr(0, 300);
    }
    // Every value the generator makes is one the stores can keep.
    EXPECT_EQ(refused, 0);
}

std::string makeTempDir() {
    char pattern[] = "/tmp/tandri-property-XXXXXX";
    return ::mkdtemp(pattern);
}

}  // namespace

TEST(StoredValuesProperty, EveryAcknowledgedWriteReadsBackAfterARestartOnSqlite) {
    const auto writes = generateWrites(kSeed, kValues);
    const std::string dir = makeTempDir();
    const std::string db = dir + "/storage.db";
    const std::string answers = dir + "/acknowledged";
    auto installSqlite = [&](sim::SimulatedPlatform&) {
        Platform ports = Platform::current();
        ASSERT_TRUE(linux_storage::installStoragePorts(ports, "test",
                                                       linux_storage::KeychainBackend::Sqlite, db));
        Platform::install(std::move(ports));
    };
    // The writer is a process of its own; what it was told goes to a file.
    pid_t writer = ::fork();
    if (writer == 0) {
        int code = 1;
        {
            sim::SimulatedPlatform platform;
            installSqlite(platform);
            std::ofstream(answers) << sendAll(writes);
            code = 0;
        }
        ::_exit(code);
    }
    int status = 0;
    ::waitpid(writer, &status, 0);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);

    sim::SimulatedPlatform platform;
    installSqlite(platform);
    platform.biometrics().setSensor(BiometryKind::Fingerprint, true);
    std::string acknowledged;
    std::ifstream(answers) >> acknowledged;
    expectEveryAcknowledgedWriteReadsBack(writes, acknowledged);
    std::filesystem::remove_all(dir);
}

TEST(SecretServiceStoredValuesProperty, EveryAcknowledgedWriteReadsBackAfterARestart) {
    if (!std::getenv("TANDRI_REQUIRE_SECRET_SERVICE")) {
        GTEST_SKIP() << "needs the keyring started by scripts/test-secret-service.sh";
    }
    const auto writes = generateWrites(kSeed + 1, kKeyringValues);
    const std::string dir = makeTempDir();
    const std::string db = dir + "/storage.db";
    auto install = [&] {
        Platform ports = Platform::current();
        ASSERT_TRUE(linux_storage::installStoragePorts(
            ports, "test", linux_storage::KeychainBackend::SecretService, db));
        Platform::install(std::move(ports));
    };
    std::string acknowledged;
    {
        sim::SimulatedPlatform platform;
        install();
        ASSERT_TRUE(dynamic_cast<secretservice::SecretServiceKeychain*>(
            Platform::current().keychain.get()));
        acknowledged = sendAll(writes);
    }
    {
        // New ports over the same keyring and database: a restart, as far as the stores go.
        sim::SimulatedPlatform platform;
        install();
        platform.biometrics().setSensor(BiometryKind::Fingerprint, true);
        expectEveryAcknowledgedWriteReadsBack(writes, acknowledged);
        for (std::size_t i = 0; i < writes.size(); i += 2) {
            KeychainUtils::clearValueForKey(Value(writes[i].key));
            MetaStore::clearValueForKey(writes[i].key);
        }
    }
    std::filesystem::remove_all(dir);
}

namespace {

// Stores that refuse every write (a full disk, a locked keyring).
class RefusingKeychain final : public Keychain {
  public:
    bool add(const std::optional<std::string>&, const std::string&,
             const std::vector<std::uint8_t>&) override {
        return false;
    }
    std::optional<std::vector<std::uint8_t>> copyMatching(const std::optional<std::string>&,
                                                          const std::string&) override {
        return std::nullopt;
    }
    void remove(const std::optional<std::string>&, const std::string&) override {}
};

class RefusingUserDefaults final : public UserDefaults {
  public:
    std::optional<Value> objectForKey(const std::string&) override { return std::nullopt; }
    bool setObject(const std::string&, const Value&) override { return false; }
    void removeObject(const std::string&) override {}
};

}  // namespace

TEST(StoredValuesProperty, AWriteAStoreRefusesIsAnsweredWithAnError) {
    sim::SimulatedPlatform platform;
    Page page;
    const std::string notKept =
        R"(","name":"result","data":null,"error":"Cannot store value, it was not kept"}))";
    const std::string ok = R"(","name":"result","data":null,"error":null}))";
    const std::string secure =
        R"({"name":"set","id":"1","data":{"key":"k","value":"v"},"options":{"secure":true}})";
    const std::string plain = R"({"name":"set","id":"2","data":{"key":"k","value":"v"}})";

    // Preferences refuse: a plain value is not kept, a secure one is.
    const auto defaults = Platform::current().userDefaults;
    Platform::current().userDefaults = std::make_shared<RefusingUserDefaults>();
    EXPECT_EQ(page.send(plain), "P({\"id\":\"2" + notKept);
    EXPECT_EQ(page.send(secure), "P({\"id\":\"1" + ok);
    // The keychain refuses: neither is (a plain value's metadata lives in the keychain). The
    // empty key, which keeps nothing and which "get" refuses, is answered as ever.
    Platform::current().keychain = std::make_shared<RefusingKeychain>();
    Platform::current().userDefaults = defaults;
    EXPECT_EQ(page.send(secure), "P({\"id\":\"1" + notKept);
    EXPECT_EQ(page.send(plain), "P({\"id\":\"2" + notKept);
    EXPECT_EQ(page.send(R"({"name":"set","id":"3","data":{"key":"","value":"v"}})"),
              "P({\"id\":\"3" + ok);
}
