#include "Captchas.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace parlowen::service {

namespace {

constexpr std::array<const char*, 10> digitWords{"零", "一", "二", "三", "四", "五", "六", "七", "八", "九"};
constexpr std::size_t digitsShown = 7;
constexpr std::size_t digitsAsked = 4;

struct Question {
    std::string text;
    std::string answer;
};

/// Digits in words, some of which are to be typed in another order.
Question question(const RandomBelow& random) {
    std::array<std::uint32_t, digitsShown> shown{};
    Question result{"请依次输入下面第 ", {}};
    for (auto& digit : shown)
        digit = random(10);
    for (std::size_t i = 0; i < digitsAsked; ++i) {
        const std::uint32_t place = random(digitsShown);
        result.text += (i == 0 ? "" : "、") + std::to_string(place + 1);
        result.answer += static_cast<char>('0' + shown.at(place));
    }
    result.text += " 个数字：";
    for (std::size_t i = 0; i < digitsShown; ++i)
        result.text.append(i == 0 ? "" : "，").append(digitWords.at(shown.at(i)));
    return result;
}

/// Drops what is over, and the oldest where that leaves no room.
template<typename Map, typename TimeOf>
void keepBounded(Map& map, LimitTime now, TimeOf timeOf) {
    std::erase_if(map, [&](const auto& entry) { return timeOf(entry.second) + Captchas::lifetime <= now; });
    if (map.size() >= Captchas::kept)
        map.erase(std::min_element(map.begin(), map.end(), [&](const auto& left, const auto& right) {
            return timeOf(left.second) < timeOf(right.second);
        }));
}

} // namespace

Captchas::Captchas(LimitClock clock, RandomBelow random, std::size_t share)
    : clock_(std::move(clock))
    , random_(std::move(random))
    , addresses_(ofAnAddress * share, lifetime, clock_)
    , inWords_(inWordsOfAnAddress * share, std::chrono::hours(1), clock_) {}

tl::expected<Captcha, std::chrono::seconds> Captchas::make(const std::string& address) {
    if (const auto wait = addresses_.enter(siteOf(address)); wait.count() > 0)
        return tl::unexpected(wait);
    Question asked = question(random_);
    Captcha made{randomToken(), drawPuzzle(random_), std::move(asked.text)};
    const std::lock_guard lock(mutex_);
    keepBounded(pending_, clock_(), [](const Pending& pending) { return pending.made; });
    pending_[made.id] = {static_cast<double>(made.puzzle.x), std::move(asked.answer), clock_()};
    return made;
}

std::optional<Captchas::Pending> Captchas::take(const std::string& id) {
    const std::lock_guard lock(mutex_);
    auto entry = pending_.extract(id);
    if (entry.empty() || entry.mapped().made + lifetime <= clock_())
        return std::nullopt;
    return std::move(entry.mapped());
}

tl::expected<std::string, std::chrono::seconds> Captchas::solve(const CaptchaAnswer& answer) {
    const tl::unexpected wrong(std::chrono::seconds(0));
    const auto asked = take(answer.id);
    if (!asked)
        return wrong;
    if (!answer.text.empty())
        if (const auto wait = inWords_.enter(siteOf(answer.address)); wait.count() > 0)
            return tl::unexpected(wait);
    const auto elapsed = clock_() - asked->made;
    const bool right = answer.text.empty()
                           ? std::abs(answer.x - asked->x) <= tolerance &&
                                 isDrag(answer.trace, answer.x, std::chrono::ceil<std::chrono::milliseconds>(elapsed))
                           : elapsed >= reading && answer.text == asked->answer;
    if (!right)
        return wrong;
    std::string result = randomToken();
    giveBack(result);
    return result;
}

bool Captchas::redeem(const std::string& result) {
    const std::lock_guard lock(mutex_);
    const auto entry = results_.extract(hashedToken(result));
    return !entry.empty() && entry.mapped() + lifetime > clock_();
}

void Captchas::giveBack(const std::string& result) {
    const std::lock_guard lock(mutex_);
    keepBounded(results_, clock_(), [](LimitTime given) { return given; });
    results_[hashedToken(result)] = clock_();
}

} // namespace parlowen::service
