// Notifications by name: observers register a closure for a name and are called, in the order
// they registered, for every post of that name. Used on the main thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tandri/Value.hpp"

namespace tandri {

namespace NotificationName {
inline constexpr std::string_view ApplicationDidEnterBackground =
    "UIApplicationDidEnterBackgroundNotification";
inline constexpr std::string_view ApplicationWillEnterForeground =
    "UIApplicationWillEnterForegroundNotification";
inline constexpr std::string_view ApplicationWillResignActive =
    "UIApplicationWillResignActiveNotification";
inline constexpr std::string_view ApplicationDidBecomeActive =
    "UIApplicationDidBecomeActiveNotification";
inline constexpr std::string_view KeyboardWillShow = "UIKeyboardWillShowNotification";
inline constexpr std::string_view KeyboardWillHide = "UIKeyboardWillHideNotification";
inline constexpr std::string_view KeyboardDidShow = "UIKeyboardDidShowNotification";
inline constexpr std::string_view KeyboardDidHide = "UIKeyboardDidHideNotification";
/// Posted when a new mini-button card image has been stored.
inline constexpr std::string_view MiniButtonImageChanged = "tandriMiniButtonImageChanged";
}  // namespace NotificationName

struct Notification {
    std::string name;
    Dictionary userInfo;
    /// The object the notification is about (for the card image: its Bitmap), if any.
    std::shared_ptr<const void> object;
};

class NotificationCenter {
  public:
    using Token = std::uint64_t;
    using Block = std::function<void(const Notification&)>;

    /// The process-wide centre.
    static NotificationCenter& defaultCenter();

    /// Calls `block` for each post of `name` until removed. With an `owner`, the observer is
    /// also dropped once the owner is gone, so a forgotten removal never calls into a dead
    /// object; `owner` also names the observer for removal by owner.
    Token addObserver(std::string name, Block block, std::weak_ptr<const void> owner = {});
    void removeObserver(Token token);
    /// Removes every observer of `owner`, or only those for `name` when one is given.
    void removeObserver(const void* owner, std::optional<std::string_view> name = std::nullopt);

    /// Forgets every observer (a fresh process, in tests).
    void removeAllObservers();

    /// Delivers at once to the observers registered for `name` when the post starts; one
    /// removed during delivery is not called afterwards.
    void post(std::string_view name, Dictionary userInfo = {},
              std::shared_ptr<const void> object = nullptr);

    /// How many live observers are registered for `name`.
    std::size_t observerCount(std::string_view name) const;

  private:
    struct Entry {
        Token token;
        std::string name;
        std::shared_ptr<const Block> block;
        std::weak_ptr<const void> owner;
        const void* ownerAddress;
        bool owned;
    };
    bool isLive(Token token) const;

    mutable std::mutex mutex_;
    std::vector<Entry> entries_;
    Token next_ = 1;
};

}  // namespace tandri
