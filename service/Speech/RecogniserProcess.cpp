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
    : io(context)
    , options(std::move(optionsToUse))
    , servedModel(std::move(modelToUse))
    , givenUp(std::move(onGivenUp))
    , pipe(io)
    , pause(io)
    , watchdog(io) {}

RecogniserProcess::~RecogniserProcess() {
    error_code ignored;
    pipe.close(ignored); // the end of its input
    if (process)
        process->signal(SIGKILL), process->end({});
    if (errors >= 0)
        close(errors);
}

void RecogniserProcess::start() {
    if (process || !givenUp)
        return;
    launch();
    watch();
}

void RecogniserProcess::launch() {
    ++run;
    if (errors < 0)
        errors = memfd_create("recogniser-errors", MFD_CLOEXEC);
    if (ftruncate(errors, 0) == 0)
        lseek(errors, 0, SEEK_SET);
    launchedAt = lastWord = Clock::now();
    process = ChildProcess::start({options.program.string(), "--model", servedModel.folder.string()}, errors);
    if (!process)
        return giveUp("the recogniser cannot be started: " + options.program.string());
    runningId = process->id();
    pipe.assign(asio::local::stream_protocol(), process->socket());
    parser = {};
    unsent.clear();
    writing = ready = hung = false;
    problem.clear();
    read();
    for (const auto& [id, stream] : streams)
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
    if (!givenUp)
        return;
    streams[stream->id] = stream;
    if (!process && failuresInARow == 0)
        start();
    else if (process)
        replay(*stream);
}

void RecogniserProcess::sendAudio(const RecogniserStreamPtr& stream, std::vector<std::int16_t> samples) {
    if (process)
        sendPieces(stream->id, samples);
    stream->keep(std::move(samples));
}

void RecogniserProcess::finish(const RecogniserStreamPtr& stream) {
    stream->finished = true;
    if (process)
        send(Kind::Finish, stream->id);
}

void RecogniserProcess::remove(const RecogniserStreamPtr& stream) {
    if (streams.erase(stream->id) > 0 && process)
        send(Kind::Close, stream->id);
}

void RecogniserProcess::send(Kind kind, std::uint32_t stream, std::string body) {
    unsent.push_back(recogniser::encode({kind, stream, std::move(body)}));
    if (!writing)
        write();
}

void RecogniserProcess::write() {
    writing = !unsent.empty();
    if (!writing)
        return;
    const auto bytes = std::make_shared<std::string>(std::move(unsent.front()));
    unsent.pop_front();
    // A broken pipe shows itself to the reader.
    asio::async_write(pipe, asio::buffer(*bytes), [this, bytes, mine = run](const error_code& failed, std::size_t) {
        if (mine == run && !failed)
            write();
    });
}

void RecogniserProcess::read() {
    pipe.async_read_some(asio::buffer(received), [this, mine = run](const error_code& failed, std::size_t count) {
        if (mine != run || failed == asio::error::operation_aborted)
            return;
        if (failed || !parser.feed({received.data(), count}))
            return ended();
        lastWord = Clock::now();
        while (mine == run) {
            const auto frame = parser.next();
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
        promised = member<int>(frame.body, "capacity", 1);
        return;
    case Kind::Problem:
        problem = frame.body;
        return;
    default:
        break;
    }
    const auto found = streams.find(frame.stream);
    if (found == streams.end())
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
        streams.erase(stream.id);
    }
}

void RecogniserProcess::checkHello(const std::string& body) {
    const auto version = member<int>(body, "version", 0);
    if (version != recogniser::protocolVersion)
        giveUp("the recogniser speaks version " + std::to_string(version) + " of the protocol, not " +
               std::to_string(recogniser::protocolVersion));
}

void RecogniserProcess::onReady(const std::string& body) {
    ready = true;
    failuresInARow = 0;
    promised = member<int>(body, "capacity", 1);
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - launchedAt);
    logLine("speech model " + servedModel.name + " is ready after " + std::to_string(took.count()) +
            " ms; streams at once: " + std::to_string(promised));
}

void RecogniserProcess::watch() {
    watchdog.expires_after(watchEvery);
    watchdog.async_wait([this](const error_code& failed) {
        if (failed || !givenUp)
            return;
        if (process && isSilent()) {
            logLine("speech model " + servedModel.name + " hangs: it is started anew");
            hung = true;
            process->signal(SIGKILL);
            lastWord = Clock::now();
        }
        watch();
    });
}

bool RecogniserProcess::isSilent() const {
    const auto silence = Clock::now() - lastWord;
    if (!ready)
        return silence > options.loading;
    return silence > options.patience && std::any_of(streams.begin(), streams.end(), [](const auto& entry) {
               return entry.second->finished || entry.second->backlog > workThatShows;
           });
}

void RecogniserProcess::ended() {
    error_code ignored;
    const auto end = process->end(endLimit);
    pipe.close(ignored);
    process.reset();
    runningId = 0;
    ++run;
    promised = -1;
    if (!problem.empty())
        return giveUp(problem);
    const bool blamed = hung || !cameFromOutside(end);
    deaths += blamed ? 1 : 0;
    failuresInARow += ready ? 0 : 1;
    const auto words = lastLineOf(errors);
    logLine("the recogniser with model " + servedModel.name + " " + describe(end) +
            (words.empty() ? "" : ": " + words));
    if (deaths >= mostDeaths)
        return giveUp("it ended the recogniser " + std::to_string(deaths) + " times");
    if (failuresInARow >= mostFailures)
        return giveUp("the recogniser did not get ready " + std::to_string(failuresInARow) + " times in a row");
    launchLater();
}

void RecogniserProcess::launchLater() {
    if (failuresInARow == 0)
        return launch();
    pause.expires_after(firstPause * (1 << failuresInARow));
    pause.async_wait([this](const error_code& failed) {
        if (!failed && givenUp)
            launch();
    });
}

void RecogniserProcess::giveUp(const std::string& why) {
    logLine("speech model " + servedModel.name + " is set aside: " + why);
    error_code ignored;
    pipe.close(ignored);
    ++run;
    if (process) {
        process->signal(SIGKILL);
        process->end({});
        process.reset();
    }
    watchdog.cancel();
    const auto tell = std::exchange(givenUp, nullptr);
    if (tell)
        tell(std::exchange(streams, {}), why);
}

} // namespace parlowen::service
