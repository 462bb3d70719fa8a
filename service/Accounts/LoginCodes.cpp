#include "LoginCodes.h"

#include "Secrets.h"

#include <algorithm>

namespace parlowen::service {

LoginCodes::LoginCodes(LimitClock clock, std::size_t codesOfAnAddress)
    : clock_(std::move(clock))
    , pauses_(1, betweenTwo, clock_)
    , days_(ofANumber, std::chrono::hours(24), clock_)
    , addresses_(codesOfAnAddress, std::chrono::hours(1), clock_) {}

tl::expected<std::string, std::chrono::seconds> LoginCodes::issue(const PhoneNumber& phone, const Asker& asker) {
    const std::string name = nameOf(phone);
    const std::string limitedAs = asker.isKnown ? name + " " + asker.address : name;
    if (const auto wait = enter(limitedAs, asker); wait.count() > 0)
        return tl::unexpected(wait);

    std::string code = randomDigits(6);
    const std::lock_guard lock(mutex_);
    const LimitTime now = clock_();
    std::erase_if(codes_, [&](const auto& entry) {
        return entry.second.goodUntil <= now || (entry.first == name && entry.second.address == asker.address);
    });
    if (codes_.size() >= limitedNames)
        codes_.erase(std::min_element(codes_.begin(), codes_.end(), [](const auto& left, const auto& right) {
            return left.second.goodUntil < right.second.goodUntil;
        }));
    codes_.insert({name, {hashedToken(code), now + lifetime, asker.address, limitedAs}});
    return code;
}

/// What is refused costs nothing: others share the address.
std::chrono::seconds LoginCodes::enter(const std::string& limitedAs, const Asker& asker) {
    const std::string site = siteOf(asker.address);
    if (!asker.isKnown)
        if (const auto wait = addresses_.enter(site); wait.count() > 0)
            return wait;
    auto wait = pauses_.enter(limitedAs);
    if (wait.count() == 0)
        wait = days_.enter(limitedAs);
    if (wait.count() > 0 && !asker.isKnown)
        addresses_.takeBack(site);
    return wait;
}

bool LoginCodes::redeem(const PhoneNumber& phone, std::string_view code, const std::string& address) {
    const std::string given = hashedToken(code);
    const std::lock_guard lock(mutex_);
    auto right = codes_.end();
    for (auto [entry, end] = codes_.equal_range(nameOf(phone)); entry != end; ++entry) {
        Issued& issued = entry->second;
        int& left = address == issued.address ? issued.triesLeft : issued.triesLeftElsewhere;
        if (left > 0 && sameBytes(given, issued.hash) && issued.goodUntil > clock_())
            right = entry;
        left -= left > 0 ? 1 : 0;
    }
    const bool good = right != codes_.end();
    if (good)
        codes_.erase(right);
    return good;
}

bool LoginCodes::isAskedFrom(const PhoneNumber& phone, const std::string& address) {
    const std::lock_guard lock(mutex_);
    const auto [begin, end] = codes_.equal_range(nameOf(phone));
    return std::any_of(begin, end, [&](const auto& entry) {
        const Issued& issued = entry.second;
        return issued.address == address && issued.triesLeft > 0 && issued.goodUntil > clock_();
    });
}

void LoginCodes::forget(const PhoneNumber& phone) {
    const std::lock_guard lock(mutex_);
    codes_.erase(nameOf(phone));
}

void LoginCodes::takeBack(const PhoneNumber& phone, std::string_view code) {
    const std::string hash = hashedToken(code);
    const std::lock_guard lock(mutex_);
    const auto [begin, end] = codes_.equal_range(nameOf(phone));
    const auto known = std::find_if(begin, end, [&hash](const auto& entry) { return entry.second.hash == hash; });
    if (known == end)
        return;
    pauses_.takeBack(known->second.limitedAs);
    days_.takeBack(known->second.limitedAs);
    codes_.erase(known);
}

} // namespace parlowen::service
