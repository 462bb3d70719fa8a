#include "WatchedSource.h"

#include <utility>

namespace parlowen {

WatchedSource::WatchedSource(std::unique_ptr<CaptureSource> source, Failed failed)
    : source_(std::move(source))
    , failed_(std::move(failed)) {}

std::optional<AVAudioFormat> WatchedSource::format() {
    std::optional<AVAudioFormat> format = source_->format();
    if (!format)
        fail(QStringLiteral("there is no input to record from"));
    return format;
}

std::optional<QString> WatchedSource::start(std::uint32_t framesPerBuffer, Sink sink) {
    std::optional<QString> problem = source_->start(framesPerBuffer, std::move(sink));
    if (problem)
        fail(*problem);
    return problem;
}

void WatchedSource::fail(const QString& problem) {
    if (const Failed failed = std::exchange(failed_, nullptr))
        failed(problem);
}

} // namespace parlowen
