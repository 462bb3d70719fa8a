#include "RecogniserProcess.h"

#include "DisplayText.h"
#include "Http/Log.h"

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>
#include <csignal>
#include <cstring>
#include <nlohmann/json.hpp>
#include <sys/mman.h>
#include <unistd.h>

namespace parlowen::service {

namespace {

namespace asio = boost::asio;
using boost::system::error_code;
using recogniser::Frame;
using recogniser::StreamEvent;
using namespace std::chrono_literals;

constexpr auto endLimit = 1s;
constexpr auto watchEvery = 1s;
constexpr auto firstPause = 50ms; // doubles with each failure to get ready
constexpr int mostFailures = 8;
constexpr auto deathsForgottenAfter = 1h;          // of service in one go
constexpr std::size_t longestPiece = sampleRate;   // of audio in a frame, in samples
constexpr std::int64_t workThatShows = sampleRate; // samples that wait

std::string bytesOf(std::span<const std::int16_t> samples) {
    std::string bytes(samples.size_bytes(), '\0');
    std::memcpy(bytes.data(), samples.data(), samples.size_bytes());
    return bytes;
}

template<typename Value>
Value member(const std::string& body, const char* name, Value otherwise) {
    const auto json = nlohmann::json::parse(body, nullptr, false);
    const auto found = json.is_object() ? json.find(name) : json.end();
    return json.is_object() && found != json.end() && found->is_number() ? found->get<Value>() : otherwise;
}

std::string describe(const ChildEnd& end) {
    return end.signal != 0 ? "was killed by signal " + std::to_string(end.signal)
                           : "ended with status " + std::to_string(end.status);
}

/// Whether somebody else ended it: the user, or the system when memory ran out.
bool cameFromOutside(const ChildEnd& end) {
    return end.signal == SIGKILL || end.signal == SIGTERM || end.signal == SIGINT || end.signal == SIGHUP;
}

} // namespace

RecogniserProcess::RecogniserProcess(asio::io_context& context, Options optionsToUse,
                                     recogniser::ModelFolder modelToUse, GivenUp onGivenUp)
    : io_(context)
    , options_(std::move(optionsToUse))
    , servedModel_(std::move(modelToUse))
    , givenUp_(std::move(onGivenUp))
    , pipe_(io_)
    , pause_(io_)
    , watchdog_(io_) {}

RecogniserProcess::~RecogniserProcess() {
    error_code ignored;
    pipe_.close(ignored); // the end of its input
    if (process_)
        process_->signal(SIGKILL), process_->end({});
    if (errors_ >= 0)
        close(errors_);
}

void RecogniserProcess::start() {
    if (process_ || !givenUp_)
        return;
    launch();
    watch();
}

void RecogniserProcess::launch() {
    ++run_;
    if (errors_ < 0)
        errors_ = memfd_create("recogniser-errors", MFD_CLOEXEC);
    if (ftruncate(errors_, 0) == 0)
        lseek(errors_, 0, SEEK_SET);
    launchedAt_ = lastWord_ = Clock::now();
    process_ = ChildProcess::start({options_.program.string(), "--model", servedModel_.folder.string()}, errors_);
    if (!process_)
        return giveUp("the recogniser cannot be started: " + options_.program.string());
    runningId_ = process_->id();
    pipe_.assign(asio::local::stream_protocol(), process_->socket());
    parser_ = {};
    unsent_.clear();
    writing_ = ready_ = hung_ = false;
    problem_.clear();
    read();
    for (const auto& [id, stream] : streams_)
        replay(*stream);
}

void RecogniserProcess::replay(RecogniserStream& stream) {
    stream.backlog += stream.taken - stream.audioStart;
    stream.taken = stream.audioStart;
    send(Kind::Open, stream.id, nlohmann::json{{"at", stream.audioStart}}.dump());
    sendPieces(stream.id, stream.audio);
    if (stream.finished)
        send(Kind::Finish, stream.id);
}

void RecogniserProcess::sendPieces(std::uint32_t stream, std::span<const std::int16_t> samples) {
    while (!samples.empty()) {
        const auto piece = samples.first(std::min(samples.size(), longestPiece));
        send(Kind::Audio, stream, bytesOf(piece));
        samples = samples.subspan(piece.size());
    }
}

void RecogniserProcess::add(const RecogniserStreamPtr& stream) {
    if (!givenUp_) // while the stream was on its way here
        return stream->tell({RecognitionEvent::Kind::Failed, "the speech model was set aside", 0, 0, 0});
    streams_[stream->id] = stream;
    if (!process_ && failuresInARow_ == 0)
        start();
    else if (process_)
        replay(*stream);
}

void RecogniserProcess::sendAudio(const RecogniserStreamPtr& stream, std::vector<std::int16_t> samples) {
    if (process_)
        sendPieces(stream->id, samples);
    stream->keep(std::move(samples));
}

void RecogniserProcess::finish(const RecogniserStreamPtr& stream) {
    stream->finished = true;
    if (process_)
        send(Kind::Finish, stream->id);
}

void RecogniserProcess::remove(const RecogniserStreamPtr& stream) {
    if (streams_.erase(stream->id) > 0 && process_)
        send(Kind::Close, stream->id);
}

void RecogniserProcess::send(Kind kind, std::uint32_t stream, std::string body) {
    unsent_.push_back(recogniser::encode({kind, stream, std::move(body)}));
    if (!writing_)
        write();
}

void RecogniserProcess::write() {
    writing_ = !unsent_.empty();
    if (!writing_)
        return;
    const auto bytes = std::make_shared<std::string>(std::move(unsent_.front()));
    unsent_.pop_front();
    // A broken pipe shows itself to the reader.
    asio::async_write(pipe_, asio::buffer(*bytes), [this, bytes, mine = run_](const error_code& failed, std::size_t) {
        if (mine == run_ && !failed)
            write();
    });
}

void RecogniserProcess::read() {
    pipe_.async_read_some(asio::buffer(received_), [this, mine = run_](const error_code& failed, std::size_t count) {
        if (mine != run_ || failed == asio::error::operation_aborted)
            return;
        if (failed || !parser_.feed({received_.data(), count}))
            return ended();
        lastWord_ = Clock::now();
        while (mine == run_) {
            const auto frame = parser_.next();
            if (!frame)
                return read();
            handle(*frame);
        }
    });
}

void RecogniserProcess::handle(const Frame& frame) {
    switch (frame.kind) {
    case Kind::Hello:
        return checkHello(frame.body);
    case Kind::Ready:
        return onReady(frame.body);
    case Kind::Load:
        promised_ = member<int>(frame.body, "capacity", 1);
        return;
    case Kind::Problem:
        problem_ = frame.body;
        return;
    default:
        break;
    }
    const auto found = streams_.find(frame.stream);
    if (found == streams_.end())
        return;
    const auto stream = found->second; // an event may remove it
    if (frame.kind == Kind::Taken)
        stream->onTaken(member<std::int64_t>(frame.body, "taken", 0), member<std::int64_t>(frame.body, "needed", 0));
    else if (const auto event = recogniser::decodeStreamEvent(frame.body); frame.kind == Kind::Event && event)
        handle(*stream, *event);
}

void RecogniserProcess::handle(RecogniserStream& stream, const StreamEvent& event) {
    using Told = RecognitionEvent::Kind;
    const auto tell = [&](Told kind) {
        stream.tell(
            {kind, withoutProfanity(event.text), ticksOfSamples(event.from), ticksOfSamples(event.to - event.from), 0});
    };
    switch (event.kind) {
    case StreamEvent::Kind::Start:
        return tell(Told::SpeechStart);
    case StreamEvent::Kind::Partial:
        return tell(Told::Partial);
    case StreamEvent::Kind::Final:
        stream.lastEnd = event.to;
        stream.forgetBefore(event.to); // it must not be told twice
        return tell(Told::Final);
    case StreamEvent::Kind::End:
        stream.tell({Told::SpeechEnd, {}, ticksOfSamples(stream.lastEnd), 0, 0});
        streams_.erase(stream.id);
    }
}

void RecogniserProcess::checkHello(const std::string& body) {
    const auto version = member<int>(body, "version", 0);
    if (version != recogniser::protocolVersion)
        giveUp("the recogniser speaks version " + std::to_string(version) + " of the protocol, not " +
               std::to_string(recogniser::protocolVersion));
}

void RecogniserProcess::onReady(const std::string& body) {
    ready_ = true;
    failuresInARow_ = 0;
    promised_ = member<int>(body, "capacity", 1);
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - launchedAt_);
    logLine("speech model " + servedModel_.name + " is ready after " + std::to_string(took.count()) +
            " ms; streams at once: " + std::to_string(promised_));
}

void RecogniserProcess::watch() {
    watchdog_.expires_after(watchEvery);
    watchdog_.async_wait([this](const error_code& failed) {
        if (failed || !givenUp_)
            return;
        if (process_ && isSilent()) {
            logLine("speech model " + servedModel_.name + " hangs: it is started anew");
            hung_ = true;
            process_->signal(SIGKILL);
            lastWord_ = Clock::now();
        }
        watch();
    });
}

bool RecogniserProcess::isSilent() const {
    const auto silence = Clock::now() - lastWord_;
    if (!ready_)
        return silence > options_.loading;
    return silence > options_.patience && std::any_of(streams_.begin(), streams_.end(), [](const auto& entry) {
               return entry.second->finished || entry.second->backlog > workThatShows;
           });
}

void RecogniserProcess::ended() {
    error_code ignored;
    const auto end = process_->end(endLimit);
    pipe_.close(ignored);
    process_.reset();
    runningId_ = 0;
    ++run_;
    promised_ = -1;
    if (!problem_.empty())
        return giveUp(problem_);
    const bool blamed = hung_ || !cameFromOutside(end);
    if (Clock::now() - launchedAt_ > deathsForgottenAfter)
        deaths_ = 0;
    deaths_ += blamed ? 1 : 0;
    failuresInARow_ += ready_ ? 0 : 1;
    const auto words = lastLineOf(errors_);
    logLine("the recogniser with model " + servedModel_.name + " " + describe(end) +
            (words.empty() ? "" : ": " + words));
    if (deaths_ >= mostDeaths)
        return giveUp("it ended the recogniser " + std::to_string(deaths_) + " times");
    if (failuresInARow_ >= mostFailures)
        return giveUp("the recogniser did not get ready " + std::to_string(failuresInARow_) + " times in a row");
    launchLater();
}

void RecogniserProcess::launchLater() {
    if (failuresInARow_ == 0)
        return launch();
    pause_.expires_after(firstPause * (1 << failuresInARow_));
    pause_.async_wait([this](const error_code& failed) {
        if (!failed && givenUp_)
            launch();
    });
}

void RecogniserProcess::giveUp(const std::string& why) {
    logLine("speech model " + servedModel_.name + " is set aside: " + why);
    error_code ignored;
    pipe_.close(ignored);
    ++run_;
    if (process_) {
        process_->signal(SIGKILL);
        process_->end({});
        process_.reset();
    }
    watchdog_.cancel();
    const auto tell = std::exchange(givenUp_, nullptr);
    if (tell)
        tell(std::exchange(streams_, {}), why);
}

} // namespace parlowen::service
