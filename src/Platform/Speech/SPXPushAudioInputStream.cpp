#include "SPXPushAudioInputStream.h"

#include <algorithm>
#include <utility>

namespace parlowen {

void SPXPushAudioInputStream::write(std::string_view bytes) { write(std::string(bytes)); }

void SPXPushAudioInputStream::write(std::string&& bytes) {
    const std::lock_guard lock(mutex_);
    if (closed_ || reader_ == Reader::Gone || bytes.empty() || bytes.size() > maxWaiting - waiting_)
        return;
    const bool wasEmpty = waiting_ == 0;
    waiting_ += bytes.size();
    chunks_.push_back(std::move(bytes));
    if (wasEmpty && onReadable_)
        onReadable_();
}

void SPXPushAudioInputStream::close() {
    const std::lock_guard lock(mutex_);
    if (std::exchange(closed_, true))
        return;
    if (onReadable_)
        onReadable_();
}

bool SPXPushAudioInputStream::attach(std::function<void()> onReadable) {
    const std::lock_guard lock(mutex_);
    if (reader_ != Reader::None)
        return false;
    reader_ = Reader::Attached;
    onReadable_ = std::move(onReadable);
    return true;
}

void SPXPushAudioInputStream::detach() {
    const std::lock_guard lock(mutex_);
    reader_ = Reader::Gone;
    onReadable_ = nullptr;
    chunks_.clear();
    firstChunkRead_ = 0;
    waiting_ = 0;
}

void SPXPushAudioInputStream::read(std::size_t maxBytes, std::string& bytes) {
    const std::lock_guard lock(mutex_);
    while (maxBytes > 0 && !chunks_.empty()) {
        const std::string& chunk = chunks_.front();
        const std::size_t count = std::min(maxBytes, chunk.size() - firstChunkRead_);
        bytes.append(chunk, firstChunkRead_, count);
        firstChunkRead_ += count;
        maxBytes -= count;
        waiting_ -= count;
        if (firstChunkRead_ == chunk.size()) {
            chunks_.pop_front();
            firstChunkRead_ = 0;
        }
    }
}

bool SPXPushAudioInputStream::atEnd() const {
    const std::lock_guard lock(mutex_);
    return closed_ && waiting_ == 0;
}

} // namespace parlowen
