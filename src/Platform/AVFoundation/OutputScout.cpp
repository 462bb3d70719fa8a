#include "OutputScout.h"

#include "InputReport.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace parlowen {

OutputScout::OutputScout(const InputShape& shape, std::uint32_t framesPerPiece)
    : shape_(shape)
    , framesPerPiece_(framesPerPiece) {}

PulseInputStream::Hooks OutputScout::hooks() {
    return {[this] { read(); }, [] {}};
}

void OutputScout::watch(pa_context* context, const InputTarget& target) {
    if (stream_ && stream_->isGood() && stream_->target().isSame(target))
        return;
    begin(std::make_unique<PulseInputStream>(context, target, shape_, framesPerPiece_, hooks()));
}

void OutputScout::adopt(std::unique_ptr<PulseInputStream> stream) {
    stream->setHooks(hooks());
    begin(std::move(stream));
}

void OutputScout::begin(std::unique_ptr<PulseInputStream> stream) {
    stop();
    stream_ = std::move(stream);
}

OutputTurn::Scouted OutputScout::scouted() const {
    if (!stream_)
        return {};
    return {stream_->target().sink, secondsOf(sounding_), secondsOf(silent_)};
}

void OutputScout::stop() {
    stream_.reset();
    kept_.clear();
    sounding_ = silent_ = 0;
}

std::unique_ptr<PulseInputStream> OutputScout::release(std::vector<float>& kept) {
    kept.assign(kept_.begin(), kept_.end());
    std::unique_ptr<PulseInputStream> stream = std::move(stream_);
    stop();
    return stream;
}

void OutputScout::read() {
    stream_->read(stream_->readable(), [this](const float* samples, std::size_t frames) { take(samples, frames); });
}

void OutputScout::take(const float* samples, std::size_t frames) {
    const std::size_t count = frames * shape_.spec.channels;
    const bool sound = samples && std::any_of(samples, samples + count, [](float sample) {
                           return std::abs(sample) >= InputReport::nearSilence;
                       });
    sounding_ += sound ? frames : 0;
    silent_ = sound ? 0 : silent_ + frames;
    if (samples)
        kept_.insert(kept_.end(), samples, samples + count);
    else
        kept_.insert(kept_.end(), count, 0.F);
    const std::size_t most = std::size_t{shape_.spec.rate} * shape_.spec.channels; // a second
    if (kept_.size() > most)
        kept_.erase(kept_.begin(), kept_.end() - static_cast<std::ptrdiff_t>(most));
}

} // namespace parlowen
