#include "UploadTokens.h"

#include "Accounts/Secrets.h"

#include <algorithm>

namespace parlowen::service {

std::string UploadTokens::issue(const Owner& owner) {
    std::string token = randomToken();
    const std::lock_guard lock(mutex_);
    const TimePoint now = clock_();
    std::erase_if(grants_, [now](const auto& entry) { return entry.second.goodUntil <= now; });
    const auto isTheirs = [&owner](const auto& entry) { return entry.second.owner.user == owner.user; };
    if (static_cast<std::size_t>(std::count_if(grants_.begin(), grants_.end(), isTheirs)) >= ofAUser) {
        auto oldest = grants_.end();
        for (auto entry = grants_.begin(); entry != grants_.end(); ++entry)
            if (isTheirs(*entry) && (oldest == grants_.end() || entry->second.goodUntil < oldest->second.goodUntil))
                oldest = entry;
        grants_.erase(oldest);
    }
    grants_[hashedToken(token)] = {owner, now + lifetime};
    return token;
}

std::optional<UploadTokens::Owner> UploadTokens::ownerOf(std::string_view token) {
    const std::lock_guard lock(mutex_);
    const auto found = grants_.find(hashedToken(token));
    if (found == grants_.end() || found->second.goodUntil <= clock_())
        return std::nullopt;
    return found->second.owner;
}

void UploadTokens::forget(std::int64_t userId) {
    const std::lock_guard lock(mutex_);
    std::erase_if(grants_, [userId](const auto& entry) { return entry.second.owner.user == userId; });
}

} // namespace parlowen::service
