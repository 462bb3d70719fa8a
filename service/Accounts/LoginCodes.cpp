#include "LoginCodes.h"

#include "Secrets.h"

#include <algorithm>

namespace parlowen::service {

LoginCodes::LoginCodes(LimitClock clock)
    : clock_(std::move(clock))
    , pauses_(1, betweenTwo, clock_)
    , days_(ofANumber, std::chrono::hours(24), clock_)
    , addresses_(ofAnAddress, std::chrono::hours(1), clock_) {}

tl::expected<std::string, std::chrono::seconds> LoginCodes::issue(const PhoneNumber& phone, const Asker& asker) {
    const std::string name = nameOf(phone);
    const std::string limitedAs = asker.isKnown ? name + " " + asker.address : name;
    auto wait = asker.isKnown ? std::chrono::seconds(0) : addresses_.enter(asker.address);
    if (wait.count() == 0)
        wait = pauses_.enter(limitedAs);
    if (wait.count() == 0)
        wait = days_.enter(limitedAs);
    if (wait.count() > 0)
        return tl::unexpected(wait);

    std::string code = randomDigits(6);
    const std::lock_guard lock(mutex_);
    const LimitTime now = clock_();
    std::erase_if(codes_, [now](const auto& entry) { return entry.second.goodUntil <= now; });
    if (codes_.size() >= limitedNames)
        codes_.erase(std::min_element(codes_.begin(), codes_.end(), [](const auto& left, const auto& right) {
            return left.second.goodUntil < right.second.goodUntil;
        }));
    codes_[name] = {hashedToken(code), now + lifetime, asker.address, limitedAs};
    return code;
}

bool LoginCodes::redeem(const PhoneNumber& phone, std::string_view code, const std::string& address) {
    const std::string given = hashedToken(code);
    const std::lock_guard lock(mutex_);
    // A number without a code costs the same comparison as one with a code.
    const auto known = codes_.find(nameOf(phone));
    const bool matches = sameBytes(given, known == codes_.end() ? hashedToken({}) : known->second.hash);
    if (known == codes_.end())
        return false;
    Issued& issued = known->second;
    int& left = address == issued.address ? issued.triesLeft : issued.triesLeftElsewhere;
    const bool good = left > 0 && matches && issued.goodUntil > clock_();
    left -= left > 0 ? 1 : 0;
    if (good || issued.triesLeft == 0)
        codes_.erase(known);
    return good;
}

bool LoginCodes::isAskedFrom(const PhoneNumber& phone, const std::string& address) {
    const std::lock_guard lock(mutex_);
    const auto known = codes_.find(nameOf(phone));
    return known != codes_.end() && known->second.address == address && known->second.goodUntil > clock_();
}

void LoginCodes::forget(const PhoneNumber& phone) {
    const std::lock_guard lock(mutex_);
    codes_.erase(nameOf(phone));
}

void LoginCodes::takeBack(const PhoneNumber& phone) {
    const std::lock_guard lock(mutex_);
    const auto issued = codes_.extract(nameOf(phone));
    if (issued.empty())
        return;
    pauses_.takeBack(issued.mapped().limitedAs);
    days_.takeBack(issued.mapped().limitedAs);
}

} // namespace parlowen::service
