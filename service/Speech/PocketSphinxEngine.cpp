#include "PocketSphinxEngine.h"

#include "UtteranceStream.h"

#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>
#include <thread>

namespace parlowen::service {

namespace {

constexpr std::int64_t mostBacklog = sampleRate * std::int64_t{30}; // about a megabyte
constexpr std::string_view offeredLocale = "en-US";

using Strand = boost::asio::strand<boost::asio::thread_pool::executor_type>;

/// What the jobs of a stream share. It lives until the last of them is done.
struct StreamState {
    StreamState(DecoderPool& pool, RecognitionSink sinkForEvents)
        : sink(std::move(sinkForEvents))
        , stream(pool, sink) {}

    void taken(std::int64_t samples) {
        const auto left = backlog -= samples;
        if (left < mostBacklog / 2 && callerWaits.exchange(false))
            sink({RecognitionEvent::Kind::Drained, {}, 0, 0, 0});
    }

    const RecognitionSink sink;
    UtteranceStream stream;
    std::atomic<std::int64_t> backlog = 0; ///< samples that no job has taken yet
    std::atomic<bool> callerWaits = false;
};

class SphinxStream : public RecognitionStream {
public:
    SphinxStream(Strand strandToUse, std::shared_ptr<StreamState> stateToUse, std::atomic<std::size_t>& counter)
        : strand(std::move(strandToUse))
        , state(std::move(stateToUse))
        , open(counter) {
        // A model that has to be loaded first is ready when the first words come.
        boost::asio::post(strand, [state = state] { state->stream.prepare(); });
    }
    SphinxStream(const SphinxStream&) = delete;
    SphinxStream& operator=(const SphinxStream&) = delete;

    ~SphinxStream() override {
        state->stream.cancel();
        --open;
    }

    bool accept(std::span<const std::int16_t> samples) override {
        const auto count = static_cast<std::int64_t>(samples.size());
        const bool full = (state->backlog += count) > mostBacklog;
        if (full)
            state->callerWaits = true;
        boost::asio::post(strand, [state = state, count, audio = std::vector(samples.begin(), samples.end())] {
            state->stream.process(audio);
            state->taken(count);
        });
        return !full;
    }

    void finish() override {
        boost::asio::post(strand, [state = state] { state->stream.finish(); });
    }

private:
    Strand strand;
    std::shared_ptr<StreamState> state;
    std::atomic<std::size_t>& open;
};

} // namespace

struct PocketSphinxEngine::Core {
    explicit Core(Options optionsToUse)
        : options(std::move(optionsToUse))
        , model(DecoderModel::english(options.models.empty() ? PARLOWEN_POCKETSPHINX_MODELS : options.models))
        , decoders(model, options.streams)
        , isOffered(model.exists())
        , workers(options.threads > 0 ? options.threads : std::max(1U, std::thread::hardware_concurrency())) {}

    const Options options;
    const DecoderModel model;
    DecoderPool decoders;
    const bool isOffered;
    std::atomic<std::size_t> openStreams = 0;
    boost::asio::thread_pool workers; // last: its threads end before the rest goes
};

PocketSphinxEngine::PocketSphinxEngine()
    : PocketSphinxEngine(Options{}) {}

PocketSphinxEngine::PocketSphinxEngine(Options options)
    : core(std::make_unique<Core>(std::move(options))) {}

PocketSphinxEngine::~PocketSphinxEngine() {
    core->workers.stop();
    core->workers.join();
}

std::vector<std::string> PocketSphinxEngine::locales() const {
    return core->isOffered ? std::vector{std::string(offeredLocale)} : std::vector<std::string>();
}

std::unique_ptr<RecognitionStream> PocketSphinxEngine::open(std::string_view, RecognitionSink sink) {
    if (!core->isOffered)
        return nullptr;
    if (++core->openStreams > core->options.streams) {
        --core->openStreams;
        return nullptr;
    }
    return std::make_unique<SphinxStream>(boost::asio::make_strand(core->workers),
                                          std::make_shared<StreamState>(core->decoders, std::move(sink)),
                                          core->openStreams);
}

} // namespace parlowen::service
