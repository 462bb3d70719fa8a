#include "Captchas.h"

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
    const LimitTime now = clock_();
    pending_.add(made.id, {static_cast<double>(made.puzzle.x), std::move(asked.answer), now}, address, now);
    return made;
}

tl::expected<std::string, std::chrono::seconds> Captchas::solve(const CaptchaAnswer& answer) {
    const tl::unexpected wrong(std::chrono::seconds(0));
    std::unique_lock lock(mutex_);
    const auto asked = pending_.take(answer.id, clock_());
    lock.unlock();
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
    giveBack(result, answer.address);
    return result;
}

bool Captchas::redeem(const std::string& result) {
    const std::lock_guard lock(mutex_);
    return results_.take(hashedToken(result), clock_()).has_value();
}

void Captchas::giveBack(const std::string& result, const std::string& address) {
    const std::lock_guard lock(mutex_);
    results_.add(hashedToken(result), {}, address, clock_());
}

} // namespace parlowen::service
