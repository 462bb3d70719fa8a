#include "WatchedSource.h"

#include <Foundation/Phrase.h>

#include <utility>

namespace parlowen {

namespace {

constexpr Phrase noInput{"there is no input to record from", "没有可录音的输入"};

} // namespace

WatchedSource::WatchedSource(std::unique_ptr<CaptureSource> source, Failed failed)
    : source_(std::move(source))
    , failed_(std::move(failed)) {}

std::optional<AVAudioFormat> WatchedSource::format() {
    std::optional<AVAudioFormat> format = source_->format();
    if (!format)
        fail(noInput.here());
    return format;
}

Result<void> WatchedSource::start(std::uint32_t framesPerBuffer, Sink sink) {
    Result<void> started = source_->start(framesPerBuffer, std::move(sink));
    if (!started)
        fail(started.error());
    return started;
}

void WatchedSource::fail(const QString& problem) {
    if (const Failed failed = std::exchange(failed_, nullptr))
        failed(problem);
}

} // namespace parlowen
