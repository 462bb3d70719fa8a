#include "TranscriptionEngine.h"

#include "Http/Log.h"
#include "ProbabilityDetector.h"
#include "Speech/DisplayText.h"
#include "Speech/RecogniserStream.h"

#include <Decoding/RepeatGuard.h>
#include <Streams/UtteranceTracker.h>
#include <algorithm>
#include <atomic>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <deque>
#include <thread>

namespace parlowen::service {

namespace {

namespace asio = boost::asio;
using recogniser::StreamEvent;
using Clock = std::chrono::steady_clock;
using Job = recogniser::UtteranceTracker::Job;
using Kind = RecognitionEvent::Kind;
using Trouble = TranscriptionTrouble;

constexpr int newestShare = 4; // of the pace: a quarter is the newest request's

/// What the streams of an endpoint share. On the engine's thread, but for what is atomic.
struct Endpoint {
    Endpoint(TranscriptionEndpoint settingsToUse, TranscriptionEngine::Pace paceToKeep)
        : settings(std::move(settingsToUse))
        , pace(paceToKeep) {}

    void took(Clock::duration time) {
        usual = usual == Clock::duration() ? time : usual + (time - usual) / newestShare;
    }
    bool isFast() const { return settings.partials && usual <= pace.slowest; }

    const TranscriptionEndpoint settings;
    const TranscriptionEngine::Pace pace;
    asio::io_context io;
    Clock::duration usual{};       ///< of a request; 0: none has been answered
    Clock::time_point busyUntil{}; ///< the endpoint asked for it
    std::atomic<int> open = 0;     ///< streams
    UpstreamClient upstream;       ///< last: what it calls posts to `io`
};

/// One stream. All but the construction and what is said otherwise runs on the engine's thread.
class Hearing : public std::enable_shared_from_this<Hearing> {
public:
    Hearing(Endpoint& endpoint, std::string locale, RecognitionSink sink)
        : state(0, std::move(locale), std::move(sink))
        , endpoint_(endpoint)
        , tracker_(0, std::make_unique<ProbabilityDetector>(), [this](const StreamEvent& event) { tell(event); })
        , retry_(endpoint.io) {}

    void take(const std::vector<std::int16_t>& samples) {
        tracker_.append(samples);
        advance();
    }
    void finish() {
        tracker_.finish();
        advance();
    }
    void close() {
        over_ = true;
        drop();
        retry_.cancel();
    }

    RecogniserStream state; ///< its atomic parts are used by the caller's thread, too

private:
    /// A request under way, or one that waits to be sent again.
    struct Sent {
        Job job{};
        std::size_t request = 0;
        Clock::time_point at{};
        bool again = false; ///< the second time
    };

    void advance();
    void dispatch();
    void send(const Job& job, bool again);
    void sendAt(Clock::time_point time);
    void drop();
    void onReply(std::uint64_t job, const Transcription& transcription);
    void onTrouble(const Sent& sent, const Transcription& transcription);
    void give(const Sent& sent, std::optional<std::string> text);
    void fail(Trouble trouble);
    void tell(const StreamEvent& event);

    Endpoint& endpoint_;
    recogniser::UtteranceTracker tracker_;
    std::deque<Job> finals_; ///< that wait for their turn
    std::optional<Sent> sent_;
    asio::steady_timer retry_;
    Clock::time_point calmUntil_{};
    bool served_ = false; ///< the endpoint has taken audio of this stream
    bool over_ = false;
};

void Hearing::advance() {
    if (over_)
        return;
    tracker_.advance();
    dispatch();
}

/// Sends what is due next. What is said stays in order, since one job is under way at a time.
void Hearing::dispatch() {
    if (over_)
        return;
    state.onTaken(tracker_.taken(), 0);
    while (const auto job = tracker_.nextFinalJob())
        finals_.push_back(*job);
    std::erase_if(finals_, [this](const Job& job) { return !tracker_.wants(job); });
    if (sent_ && !tracker_.wants(sent_->job))
        drop();
    if (sent_ && !sent_->job.isForFinal() && !finals_.empty()) {
        const Sent sent = *sent_;
        drop();
        return give(sent, std::nullopt);
    }
    if (sent_)
        return;
    const auto now = Clock::now();
    if (!finals_.empty()) {
        const Job job = finals_.front();
        finals_.pop_front();
        send(job, false);
    } else if (endpoint_.isFast() && now >= calmUntil_ && now >= endpoint_.busyUntil) {
        if (const auto job = tracker_.nextPartialJob(now))
            send(*job, false);
    }
}

void Hearing::send(const Job& job, bool again) {
    sent_ = Sent{job, 0, Clock::now(), again};
    if (endpoint_.busyUntil > sent_->at)
        return sendAt(endpoint_.busyUntil);
    const auto body = std::make_shared<std::string>();
    UpstreamClient::Handlers handlers;
    handlers.take = [body](std::string_view bytes) {
        body->append(bytes);
        return body->size() <= longestReply ? UpstreamClient::Reading::On : UpstreamClient::Reading::Stop;
    };
    handlers.end = [body, &io = endpoint_.io, weak = weak_from_this(),
                    number = job.number](const UpstreamEnd& end) -> std::optional<UpstreamRequest> {
        asio::post(io, [weak, number, transcription = transcriptionOf(end, *body)] {
            if (const auto self = weak.lock())
                self->onReply(number, transcription);
        });
        return std::nullopt;
    };
    sent_->request = endpoint_.upstream.send(
        transcriptionRequest(endpoint_.settings, state.locale, tracker_.samplesOf(job)), std::move(handlers));
}

/// The job of `sent_`, for the second time or once the endpoint may be asked again.
void Hearing::sendAt(Clock::time_point time) {
    if (time - Clock::now() > endpoint_.pace.longestPause)
        return fail(Trouble::Busy);
    retry_.expires_at(time);
    retry_.async_wait([weak = weak_from_this()](const boost::system::error_code& cancelled) {
        const auto self = weak.lock();
        if (!cancelled && self && !self->over_ && self->sent_ && self->sent_->request == 0)
            self->send(self->sent_->job, self->sent_->again);
    });
}

void Hearing::drop() {
    if (sent_ && sent_->request != 0)
        endpoint_.upstream.cancel(sent_->request);
    retry_.cancel();
    sent_.reset();
}

void Hearing::onReply(std::uint64_t job, const Transcription& transcription) {
    if (over_ || !sent_ || sent_->job.number != job || sent_->request == 0)
        return; // it was dropped
    const Sent sent = *std::exchange(sent_, std::nullopt);
    if (transcription.trouble != Trouble::None)
        return onTrouble(sent, transcription);
    served_ = true;
    endpoint_.took(Clock::now() - sent.at);
    const bool loops = recogniser::repeatsItself(transcription.text);
    if (loops && !sent.job.isForFinal())
        return give(sent, std::nullopt);
    give(sent, loops ? recogniser::withoutRepeats(transcription.text) : transcription.text);
}

void Hearing::onTrouble(const Sent& sent, const Transcription& transcription) {
    const auto now = Clock::now();
    logLine("transcription endpoint: " + std::string(wordsFor(transcription.trouble)));
    if (transcription.trouble == Trouble::Busy)
        endpoint_.busyUntil = std::max(endpoint_.busyUntil, now + transcription.pause);
    if (!sent.job.isForFinal()) {
        calmUntil_ = now + endpoint_.pace.calm;
        return give(sent, std::nullopt);
    }
    if (!sent.again) {
        sent_ = Sent{sent.job, 0, now, true};
        return sendAt(std::max(now + endpoint_.pace.retry, endpoint_.busyUntil));
    }
    if (transcription.trouble == Trouble::Refused && served_)
        return give(sent, "");
    fail(transcription.trouble);
}

void Hearing::give(const Sent& sent, std::optional<std::string> text) {
    const auto now = Clock::now();
    tracker_.onText(sent.job, std::move(text), now, now - sent.at);
    dispatch();
}

void Hearing::fail(Trouble trouble) {
    over_ = true;
    sent_.reset();
    RecognitionEvent event{Kind::Failed, "transcription endpoint: " + std::string(wordsFor(trouble)), 0, 0, 0};
    if (trouble == Trouble::Busy)
        event.status = "TooManyRequests";
    state.tell(std::move(event));
}

void Hearing::tell(const StreamEvent& event) {
    const auto told = [&](Kind kind, Ticks offset, Ticks duration) {
        state.tell({kind, withoutProfanity(event.text), offset, duration, 0});
    };
    const Ticks from = ticksOfSamples(event.from);
    const Ticks length = ticksOfSamples(event.to - event.from);
    switch (event.kind) {
    case StreamEvent::Kind::Start:
        return told(Kind::SpeechStart, from, length);
    case StreamEvent::Kind::Partial:
        return told(Kind::Partial, from, length);
    case StreamEvent::Kind::Final:
        state.lastEnd = event.to;
        return told(Kind::Final, from, length);
    case StreamEvent::Kind::End:
        return told(Kind::SpeechEnd, ticksOfSamples(state.lastEnd), 0);
    }
}

/// What the session holds of a stream.
class TranscriptionStream : public RecognitionStream {
public:
    TranscriptionStream(Endpoint& endpoint, std::shared_ptr<Hearing> hearing)
        : endpoint_(endpoint)
        , hearing_(std::move(hearing)) {}
    ~TranscriptionStream() override {
        hearing_->state.closed = true;
        --endpoint_.open;
        asio::post(endpoint_.io, [hearing = hearing_] { hearing->close(); });
    }
    TranscriptionStream(const TranscriptionStream&) = delete;
    TranscriptionStream& operator=(const TranscriptionStream&) = delete;

    bool accept(std::span<const std::int16_t> samples) override {
        const bool more = hearing_->state.arrived(static_cast<std::int64_t>(samples.size()));
        asio::post(endpoint_.io,
                   [hearing = hearing_, audio = std::vector(samples.begin(), samples.end())] { hearing->take(audio); });
        return more;
    }
    void finish() override {
        asio::post(endpoint_.io, [hearing = hearing_] { hearing->finish(); });
    }

private:
    Endpoint& endpoint_;
    const std::shared_ptr<Hearing> hearing_;
};

} // namespace

struct TranscriptionEngine::Core {
    Core(TranscriptionEndpoint settings, Pace pace)
        : endpoint(std::move(settings), pace)
        , thread([this] {
            const auto working = asio::make_work_guard(endpoint.io);
            endpoint.io.run();
        }) {}
    ~Core() {
        endpoint.upstream.stop();
        endpoint.io.stop();
        thread.join();
    }
    Core(const Core&) = delete;
    Core& operator=(const Core&) = delete;

    Endpoint endpoint;
    std::thread thread; ///< last
};

TranscriptionEngine::TranscriptionEngine(TranscriptionEndpoint endpoint, Pace pace)
    : core_(std::make_unique<Core>(std::move(endpoint), pace)) {}

TranscriptionEngine::~TranscriptionEngine() = default;

std::vector<std::string> TranscriptionEngine::locales() const { return core_->endpoint.settings.languages; }

std::unique_ptr<RecognitionStream> TranscriptionEngine::open(std::string_view locale, RecognitionSink sink) {
    Endpoint& endpoint = core_->endpoint;
    if (++endpoint.open > endpoint.settings.streams) {
        --endpoint.open;
        return nullptr;
    }
    return std::make_unique<TranscriptionStream>(
        endpoint, std::make_shared<Hearing>(endpoint, std::string(locale), std::move(sink)));
}

} // namespace parlowen::service
