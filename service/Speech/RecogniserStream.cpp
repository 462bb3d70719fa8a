#include "RecogniserStream.h"

#include <algorithm>
#include <utility>

namespace parlowen::service {

bool RecogniserStream::arrived(std::int64_t samples) {
    const bool full = (backlog += samples) > mostBacklog;
    if (full)
        callerWaits = true;
    return !full;
}

void RecogniserStream::keep(std::vector<std::int16_t> samples) {
    audio.insert(audio.end(), samples.begin(), samples.end());
}

void RecogniserStream::onTaken(std::int64_t upTo, std::int64_t needed) {
    const auto before = std::exchange(taken, std::max(taken, upTo));
    const auto left = backlog -= taken - before;
    forgetBefore(needed);
    if (left < mostBacklog / 2 && callerWaits.exchange(false))
        tell({RecognitionEvent::Kind::Drained, {}, 0, 0, 0});
}

void RecogniserStream::forgetBefore(std::int64_t position) {
    const auto count = std::clamp<std::int64_t>(position - audioStart, 0, static_cast<std::int64_t>(audio.size()));
    audio.erase(audio.begin(), audio.begin() + count);
    audioStart += count;
}

void RecogniserStream::tell(RecognitionEvent event) const {
    if (!closed)
        sink(std::move(event));
}

} // namespace parlowen::service
