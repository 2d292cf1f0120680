// Simulated clock, URL opener, files, image codec and cookie store: in memory and recording.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "Platform/Clock.hpp"
#include "Platform/Cookies.hpp"
#include "Platform/Files.hpp"
#include "Platform/ImageCodec.hpp"
#include "Platform/URLOpener.hpp"

namespace tandri::sim {

/// Time stands still until the test moves it.
class SimulatedClock final : public Clock {
  public:
    explicit SimulatedClock(double start = 1'700'000'000.0) : now_(start) {}
    double now() const override { return now_; }
    void advance(double seconds) { now_ += seconds; }
    void set(double seconds) { now_ = seconds; }

  private:
    double now_;
};

class SimulatedURLOpener final : public URLOpener {
  public:
    void openURL(const std::string& url) override {
        opened_.push_back(url);
        if (onOpen) onOpen(url);
    }
    const std::vector<std::string>& opened() const { return opened_; }
    std::function<void(const std::string&)> onOpen;

  private:
    std::vector<std::string> opened_;
};

/// A file system in memory. Keep the object (and hand it to the next SimulatedPlatform) to let
/// files outlive a simulated process.
class SimulatedFiles final : public Files {
  public:
    static constexpr const char* kApplicationSupport = "/sim/Library/Application Support";

    std::string applicationSupportDirectory() const override { return kApplicationSupport; }
    bool createDirectories(const std::string& path) override;
    bool writeAtomically(const std::string& path, const ByteBuffer& data) override;
    std::optional<ByteBuffer> read(const std::string& path) const override;
    bool remove(const std::string& path) override;
    bool exists(const std::string& path) const override;

    /// Makes every later write fail (a full disk), or succeed again.
    void setFailWrites(bool fail) { failWrites_ = fail; }
    const std::map<std::string, ByteBuffer>& files() const { return files_; }

  private:
    std::map<std::string, ByteBuffer> files_;
    std::set<std::string> directories_{"/"};
    bool failWrites_ = false;
};

/// A stand-in codec with its own trivial format: "SIMG", width and height as 4-byte big-endian
/// numbers, then the RGBA pixels. `encodePNG` writes that format; `decode` reads only it.
class SimulatedImageCodec final : public ImageCodec {
  public:
    std::optional<Bitmap> decode(const ByteBuffer& data) const override;
    std::optional<ByteBuffer> encodePNG(const Bitmap& image) const override;
};

class SimulatedCookies final : public Cookies {
  public:
    std::vector<Cookie> cookies() const override { return cookies_; }
    std::vector<Cookie> cookiesForURL(const std::string& url) const override;
    void setCookie(const Cookie& cookie) override;
    void deleteCookie(const Cookie& cookie) override;
    CookieAcceptPolicy acceptPolicy() const override { return policy_; }
    void setAcceptPolicy(CookieAcceptPolicy policy) override { policy_ = policy; }

  private:
    std::vector<Cookie> cookies_;
    CookieAcceptPolicy policy_ = CookieAcceptPolicy::Always;
};

}  // namespace tandri::sim
