#include "Core/Utils/NotificationCenter.hpp"

#include <algorithm>

namespace tandri {

NotificationCenter& NotificationCenter::defaultCenter() {
    static NotificationCenter center;
    return center;
}

NotificationCenter::Token NotificationCenter::addObserver(std::string name, Block block,
                                                          std::weak_ptr<const void> owner) {
    std::lock_guard lock(mutex_);
    Token token = next_++;
    auto locked = owner.lock();
    bool owned = locked != nullptr;
    entries_.push_back(Entry{token, std::move(name),
                             std::make_shared<const Block>(std::move(block)), std::move(owner),
                             locked.get(), owned});
    return token;
}

void NotificationCenter::removeObserver(Token token) {
    std::lock_guard lock(mutex_);
    std::erase_if(entries_, [token](const Entry& e) { return e.token == token; });
}

void NotificationCenter::removeObserver(const void* owner, std::optional<std::string_view> name) {
    std::lock_guard lock(mutex_);
    std::erase_if(entries_, [&](const Entry& e) {
        return e.owned && e.ownerAddress == owner && (!name || e.name == *name);
    });
}

void NotificationCenter::removeAllObservers() {
    std::lock_guard lock(mutex_);
    entries_.clear();
}

bool NotificationCenter::isLive(Token token) const {
    return std::any_of(entries_.begin(), entries_.end(), [token](const Entry& e) {
        return e.token == token && (!e.owned || !e.owner.expired());
    });
}

void NotificationCenter::post(std::string_view name, Dictionary userInfo,
                              std::shared_ptr<const void> object) {
    std::vector<std::pair<Token, std::shared_ptr<const Block>>> targets;
    {
        std::lock_guard lock(mutex_);
        // Observers whose owner is gone are dropped here; their address may be reused.
        std::erase_if(entries_, [](const Entry& e) { return e.owned && e.owner.expired(); });
        for (const auto& e : entries_) {
            if (e.name == name) targets.emplace_back(e.token, e.block);
        }
    }
    const Notification notification{std::string(name), std::move(userInfo), std::move(object)};
    for (const auto& [token, block] : targets) {
        {
            std::lock_guard lock(mutex_);
            if (!isLive(token)) continue;
        }
        if (*block) (*block)(notification);
    }
}

std::size_t NotificationCenter::observerCount(std::string_view name) const {
    std::lock_guard lock(mutex_);
    return static_cast<std::size_t>(std::count_if(
        entries_.begin(), entries_.end(),
        [&](const Entry& e) { return e.name == name && (!e.owned || !e.owner.expired()); }));
}

}  // namespace tandri
