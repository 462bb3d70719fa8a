#include "SPXPushAudioInputStream.h"

#include <algorithm>
#include <utility>

namespace parlowen {

namespace {

/// A service may be so much behind what it has received: what is settled is sent again as far as this back.
constexpr std::uint64_t unsure = 15 * SpeechBacklog::bytesPerSecond;

/// The front of what is kept is moved away in pieces of 10 s rather than with every buffer.
constexpr std::size_t slack = 10 * SpeechBacklog::bytesPerSecond;

} // namespace

void SpeechBacklog::append(std::string_view bytes) {
    bytes_.append(bytes);
    if (end() - begin() > limit)
        dropBefore(end() - limit);
}

std::string_view SpeechBacklog::read(std::uint64_t position, std::size_t count) const {
    const std::uint64_t from = std::clamp(position, begin(), end());
    return std::string_view(bytes_).substr(spent_ + (from - begin_), count);
}

void SpeechBacklog::dropBefore(std::uint64_t position) {
    const std::uint64_t to = std::clamp(position, begin(), end());
    spent_ += to - begin_;
    begin_ = to;
    if (spent_ < slack)
        return;
    bytes_.erase(0, spent_);
    spent_ = 0;
}

void SPXPushAudioInputStream::write(std::string_view bytes) {
    const std::lock_guard lock(mutex_);
    if (closed_ || bytes.empty())
        return;
    backlog_.append(bytes);
    if (onReadable_ && std::exchange(hungry_, false))
        onReadable_();
}

void SPXPushAudioInputStream::noteGap(double seconds) {
    const std::lock_guard lock(mutex_);
    if (closed_ || seconds <= 0)
        return;
    gaps_.push_back({backlog_.end(), seconds});
    if (onReadable_)
        onReadable_();
}

void SPXPushAudioInputStream::close() {
    const std::lock_guard lock(mutex_);
    if (!std::exchange(closed_, true) && onReadable_)
        onReadable_();
}

double SPXPushAudioInputStream::waitingSeconds() const {
    const std::lock_guard lock(mutex_);
    const std::uint64_t from = std::clamp(std::max(next_, settled_), backlog_.begin(), backlog_.end());
    return static_cast<double>(backlog_.end() - from) / SpeechBacklog::bytesPerSecond;
}

bool SPXPushAudioInputStream::attach(std::function<void()> onReadable) {
    const std::lock_guard lock(mutex_);
    if (onReadable_)
        return false;
    onReadable_ = std::move(onReadable);
    return true;
}

void SPXPushAudioInputStream::detach() {
    const std::lock_guard lock(mutex_);
    onReadable_ = nullptr;
    next_ = settled_;
}

std::uint64_t SPXPushAudioInputStream::rewind() {
    const std::lock_guard lock(mutex_);
    addGap(settled_, backlog_.begin());
    settled_ = std::max(settled_, backlog_.begin());
    next_ = std::max(backlog_.begin(), settled_ - std::min(settled_, unsure));
    return next_;
}

SPXPushAudioInputStream::Piece SPXPushAudioInputStream::read(std::size_t count) {
    const std::lock_guard lock(mutex_);
    hungry_ = !ready(count);
    if (hungry_)
        return {next_, {}, false};
    addGap(next_, backlog_.begin());
    next_ = std::max(next_, backlog_.begin());
    Piece piece{next_, std::string(backlog_.read(next_, count)), false};
    next_ += piece.bytes.size();
    piece.atEnd = closed_ && next_ == backlog_.end();
    return piece;
}

bool SPXPushAudioInputStream::hasMore(std::size_t count) const {
    const std::lock_guard lock(mutex_);
    hungry_ = !ready(count);
    return !hungry_;
}

bool SPXPushAudioInputStream::ready(std::size_t count) const {
    return closed_ || backlog_.end() - std::max(next_, backlog_.begin()) >= count;
}

bool SPXPushAudioInputStream::isRecognized() const {
    const std::lock_guard lock(mutex_);
    return closed_ && backlog_.begin() == backlog_.end();
}

void SPXPushAudioInputStream::release(std::uint64_t position) {
    const std::lock_guard lock(mutex_);
    backlog_.dropBefore(position);
    settled_ = std::max(settled_, position);
}

void SPXPushAudioInputStream::settle(std::uint64_t position) {
    const std::lock_guard lock(mutex_);
    settled_ = std::max(settled_, position);
}

double SPXPushAudioInputStream::takeGaps(std::uint64_t position) {
    const std::lock_guard lock(mutex_);
    double seconds = 0;
    for (; !gaps_.empty() && gaps_.front().position <= position; gaps_.pop_front())
        seconds += gaps_.front().seconds;
    return seconds;
}

bool SPXPushAudioInputStream::hasPassedGap() const {
    const std::lock_guard lock(mutex_);
    return !gaps_.empty() && gaps_.front().position < next_;
}

void SPXPushAudioInputStream::addGap(std::uint64_t from, std::uint64_t to) {
    if (from >= to)
        return;
    const std::uint64_t knownFrom = std::max(from, dropped_.first);
    const std::uint64_t knownTo = std::min(to, dropped_.second);
    const std::uint64_t known = knownFrom < knownTo ? knownTo - knownFrom : 0;
    dropped_ = known > 0 ? std::pair(std::min(from, dropped_.first), to) : std::pair(from, to);
    if (to - from == known)
        return;
    const auto after = std::find_if(gaps_.begin(), gaps_.end(), [to](const Gap& gap) { return gap.position > to; });
    gaps_.insert(after, {to, static_cast<double>(to - from - known) / SpeechBacklog::bytesPerSecond});
}

} // namespace parlowen
