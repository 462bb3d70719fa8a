#include "StreamingHost.h"

#include "Protocol/StreamEvent.h"

#include <cstring>
#include <stdexcept>
#include <utility>

namespace parlowen::recogniser {

namespace {

using Kind = StreamEvent::Kind;

// The library's own rules for an endpoint, in seconds.
constexpr float silenceWithoutWords = 2.4F;
constexpr float silenceAfterWords = 0.8F;
constexpr float longestUtterance = 20;
constexpr std::size_t lastSilence = sampleRate / 2; // lets the last words out of the network

sherpa::OnlineRecognizerConfig configOf(const SherpaLibrary& library, const ModelFolder& model) {
    const auto file = [&model](const char* part) { return model.files.at(part).c_str(); };
    sherpa::OnlineRecognizerConfig config{};
    config.features = {sampleRate, 80};
    config.model.tokens = file("tokens");
    config.model.threads = 1;
    config.model.provider = library.provider.c_str();
    config.decodingMethod = "greedy_search";
    config.enableEndpoint = 1;
    config.silenceWithoutWords = silenceWithoutWords;
    config.silenceAfterWords = silenceAfterWords;
    config.longestUtterance = longestUtterance;
    if (model.family == ModelFamily::StreamingZipformer) {
        config.model.transducer = {file("encoder"), file("decoder"), file("joiner")};
    } else {
        config.model.paraformerEncoder = file("encoder");
        config.model.paraformerDecoder = file("decoder");
    }
    return config;
}

} // namespace

StreamingModel::StreamingModel(const SherpaLibrary& library, const ModelFolder& model)
    : api(library)
    , recognizer([&] {
        const auto config = configOf(library, model);
        return library.createOnline(&config);
    }()) {
    if (!recognizer)
        throw std::runtime_error("the speech library does not take the model");
}

StreamingModel::~StreamingModel() { api.destroyOnline(recognizer); }

struct StreamingHost::Stream {
    Stream(const StreamingModel& modelOfStream, std::uint32_t number, std::int64_t at)
        : model(modelOfStream)
        , handle(model.api.createOnlineStream(model.recognizer))
        , id(number)
        , position(at)
        , utteranceFrom(at) {}
    ~Stream() { model.api.destroyOnlineStream(handle); }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    const StreamingModel& model;
    const sherpa::OnlineStream* const handle;
    const std::uint32_t id;
    std::vector<float> waiting;
    bool finished = false;
    bool busy = false;
    bool ended = false;

    // Of the thread that works on it.
    std::int64_t position;
    std::int64_t utteranceFrom;
    std::string lastText;
};

StreamingHost::StreamingHost(const StreamingModel& modelToUse, unsigned threadCount, Output outputOfFrames)
    : model_(modelToUse)
    , output_([this, out = std::move(outputOfFrames)](const Frame& frame) {
        const std::lock_guard lock(outputMutex_);
        out(frame);
    }) {
    for (unsigned i = 0; i < threadCount; ++i)
        threads_.emplace_back([this] { work(); });
}

StreamingHost::~StreamingHost() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    for (auto& thread : threads_)
        thread.join();
}

void StreamingHost::handle(const Frame& frame) {
    const std::lock_guard lock(mutex_);
    if (frame.kind == Frame::Kind::Open) {
        streams_[frame.stream] = std::make_shared<Stream>(model_, frame.stream, startOf(frame));
    } else if (const auto found = streams_.find(frame.stream); found != streams_.end()) {
        auto& stream = *found->second;
        if (frame.kind == Frame::Kind::Close) {
            streams_.erase(found);
        } else if (frame.kind == Frame::Kind::Finish) {
            stream.finished = true;
        } else if (frame.kind == Frame::Kind::Audio) {
            for (std::size_t at = 0; at + 1 < frame.body.size(); at += 2) {
                std::int16_t sample = 0;
                std::memcpy(&sample, frame.body.data() + at, sizeof sample);
                stream.waiting.push_back(sample / 32'768.0F);
            }
        }
    }
    wake_.notify_one();
}

std::shared_ptr<StreamingHost::Stream> StreamingHost::nextStream() {
    auto candidate = streams_.upper_bound(lastServed_);
    for (std::size_t i = 0; i < streams_.size(); ++i, ++candidate) {
        if (candidate == streams_.end())
            candidate = streams_.begin();
        auto& stream = *candidate->second;
        if (stream.busy || stream.ended || (stream.waiting.empty() && !stream.finished))
            continue;
        stream.busy = true;
        lastServed_ = candidate->first;
        return candidate->second;
    }
    return nullptr;
}

void StreamingHost::work() {
    std::unique_lock lock(mutex_);
    while (true) {
        std::shared_ptr<Stream> stream;
        wake_.wait(lock, [this, &stream] { return stopping_ || (stream = nextStream()); });
        if (stopping_)
            return;
        const auto samples = std::exchange(stream->waiting, {});
        const bool last = stream->finished;
        lock.unlock();
        decode(*stream, samples, last);
        lock.lock();
        stream->busy = false;
        stream->ended = last;
        wake_.notify_one();
    }
}

void StreamingHost::decode(Stream& stream, const std::vector<float>& samples, bool last) {
    const auto& api = model_.api;
    api.acceptOnline(stream.handle, sampleRate, samples.data(), static_cast<std::int32_t>(samples.size()));
    stream.position += static_cast<std::int64_t>(samples.size());
    if (last) {
        const std::vector<float> silence(lastSilence);
        api.acceptOnline(stream.handle, sampleRate, silence.data(), static_cast<std::int32_t>(silence.size()));
        api.finishOnline(stream.handle);
    }
    while (api.onlineReady(model_.recognizer, stream.handle))
        api.decodeOnline(model_.recognizer, stream.handle);
    const bool isEnd = last || api.onlineEndpoint(model_.recognizer, stream.handle);
    tell(stream, isEnd);
    if (isEnd) {
        if (!last)
            api.resetOnline(model_.recognizer, stream.handle);
        stream.utteranceFrom = stream.position;
        stream.lastText.clear();
    }
    output_({Frame::Kind::Taken, stream.id, takenBody(stream.position, stream.utteranceFrom)});
    if (last)
        output_(
            {Frame::Kind::Event, stream.id, encode(StreamEvent{Kind::End, {}, 0, stream.position, stream.position})});
}

void StreamingHost::tell(Stream& stream, bool isFinal) {
    const std::unique_ptr<const sherpa::OnlineResult, void (*)(const sherpa::OnlineResult*)> result(
        model_.api.onlineResult(model_.recognizer, stream.handle), model_.api.destroyOnlineResult);
    std::string text = result && result->text ? result->text : "";
    if (text.empty() || (!isFinal && text == stream.lastText))
        return;
    const auto event = [&](Kind kind, std::string words) {
        output_({Frame::Kind::Event, stream.id,
                 encode(StreamEvent{kind, std::move(words), 0, stream.utteranceFrom, stream.position})});
    };
    if (stream.lastText.empty())
        event(Kind::Start, {});
    event(isFinal ? Kind::Final : Kind::Partial, text);
    stream.lastText = std::move(text);
}

} // namespace parlowen::recogniser
