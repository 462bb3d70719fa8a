#pragma once

#include "Accounts/Limits.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace parlowen::service {

/// What waits under a name until it is taken, for so long and no more than so many of them. Beyond these the oldest one
/// of the site with the most goes, so that a few that ask for many push out nobody who has few. Not thread-safe.
template<typename Value>
class ExpiringEntries {
public:
    ExpiringEntries(std::chrono::seconds lifetime, std::size_t most)
        : lifetime_(lifetime)
        , most_(most) {}

    void add(std::string name, Value value, const std::string& address, LimitTime now) {
        std::erase_if(entries_, [&](const auto& entry) { return isOver(entry.second, now); });
        if (entries_.size() >= most_)
            makeRoom();
        entries_.insert_or_assign(std::move(name), Entry{std::move(value), siteOf(address), now});
    }
    /// None when it is unknown or over.
    std::optional<Value> take(const std::string& name, LimitTime now) {
        auto node = entries_.extract(name);
        if (node.empty() || isOver(node.mapped(), now))
            return std::nullopt;
        return std::move(node.mapped().value);
    }

private:
    struct Entry {
        Value value;
        std::string site;
        LimitTime added;
    };

    bool isOver(const Entry& entry, LimitTime now) const { return entry.added + lifetime_ <= now; }

    void makeRoom() {
        std::map<std::string_view, int> held;
        for (const auto& [_, entry] : entries_)
            ++held[entry.site];
        const auto rank = [&held](const auto& entry) {
            return std::pair(-held[entry.second.site], entry.second.added);
        };
        entries_.erase(std::min_element(entries_.begin(), entries_.end(), [&rank](const auto& left, const auto& right) {
            return rank(left) < rank(right);
        }));
    }

    const std::chrono::seconds lifetime_;
    const std::size_t most_;
    std::map<std::string, Entry> entries_;
};

} // namespace parlowen::service
