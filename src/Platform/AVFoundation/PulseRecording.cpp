#include "PulseRecording.h"

#include <PulseAudio/PulseClient.h>

#include <algorithm>
#include <ctime>
#include <utility>

namespace parlowen {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds pauseBetweenAttempts = 100ms, tickLength = 100ms, tickLengthWhileAllIsWell = 500ms;
/// Between two ticks of a program that runs.
constexpr std::chrono::seconds longestTick = 2s;
/// A stream that is not open after this is told of, and asked for less often.
constexpr std::chrono::seconds timeToOpen = 3s;
constexpr std::chrono::milliseconds pauseOnceLate = 1s;
/// A stream that gives nothing for so long is asked about.
constexpr std::chrono::seconds stall = 3s;
/// What a server that hung has kept comes soon after it answers again.
constexpr std::chrono::milliseconds timeForWhatIsLate = 1s;

InputKind kindOf(SessionRoute::What what) {
    switch (what) {
    case SessionRoute::What::Output:
        return InputKind::SystemSound;
    case SessionRoute::What::Application:
        return InputKind::Application;
    case SessionRoute::What::Microphone:
        break;
    }
    return InputKind::Microphone;
}

} // namespace

/// It goes on while the machine is suspended: what was said meanwhile was not heard.
PulseRecording::Time PulseRecording::clock() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return std::chrono::duration_cast<Time>(std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec));
}

PulseRecording::PulseRecording(std::shared_ptr<PulseClient> client, const InputShape& shape,
                               std::uint32_t framesPerBuffer, CaptureSource::Sink sink, InputObserver observer)
    : client_(std::move(client))
    , shape_(shape)
    , framesPerBuffer_(framesPerBuffer)
    , report_(std::move(observer))
    , timeline_(shape.format(), framesPerBuffer,
                [this, sink = std::move(sink)](std::shared_ptr<AVAudioPCMBuffer> buffer) {
                    if (!timeline_.isInterrupted())
                        report_.heard(*buffer, clock());
                    sink(std::move(buffer));
                })
    , choice_(client_->route()->choice().value_or(SessionRoute::Choice()))
    , scout_(shape, framesPerBuffer)
    , ticker_(client_->loopApi(), [this] { tick(); })
    , retry_(client_->loopApi(), [this] { retry(); }) {
    // Without the client's lock: whoever changes the route holds its own.
    routeWatch_ = client_->route()->watch([this] {
        const PulseClient::Lock lock(*client_);
        settle();
    });
    const PulseClient::Lock lock(*client_);
    serverWatch_ = client_->watch([this](const PulseClient::StatePtr&) { settle(); });
    settle();
    ticker_.start(tickLength);
}

PulseRecording::~PulseRecording() {
    routeWatch_.reset();
    const PulseClient::Lock lock(*client_);
    serverWatch_.reset();
    ticker_.stop();
    retry_.stop();
    ping_.reset();
    scout_.stop();
    stream_.reset();
}

/// Brings what is recorded in line with the server's state and with what is to be heard.
void PulseRecording::settle() {
    const PulseClient::StatePtr server = client_->state();
    switch (server->phase) {
    case PulseClient::Phase::Connecting:
        return;
    case PulseClient::Phase::Up:
        useServer(*server);
        return;
    case PulseClient::Phase::Away:
        close();
        report_.serverLost(QString::fromStdString(server->problem));
        return;
    case PulseClient::Phase::Refused:
        close();
        report_.refused(QString::fromStdString(server->problem));
        return;
    }
}

void PulseRecording::useServer(const PulseClient::State& server) {
    takeChoice();
    if (std::exchange(connection_, server.connection) != server.connection)
        close(); // its streams are dead, whether they know it or not
    const bool isChosen = !chosenOutput(server.snapshot, choice_).empty();
    if (server.snapshot.defaultSink != defaultOutput_ || !hearsOutput() || isChosen)
        instead_.clear();
    const std::optional<InputTarget> target =
        inputTarget(server.snapshot, choice_, instead_, stream_ ? stream_->target().playback : PA_INVALID_INDEX);
    if (!target) {
        close();
        const bool application = choice_.what == SessionRoute::What::Application;
        report_.noInput(kindOf(choice_.what), application ? QString::fromStdString(choice_.name) : QString());
        return;
    }
    isPaused_ = target->paused;
    if (!stream_ || !stream_->isGood() || !stream_->target().isSame(*target))
        open(*target);
    else if (wasReady_)
        report_.setDevice(QString::fromStdString(target->name), target->muted);
}

/// What hears a call does not turn to the microphone, which would be opened for a moment when the session ends, nor the
/// other way round.
void PulseRecording::takeChoice() {
    const SessionRoute::Choice next = client_->route()->choice().value_or(SessionRoute::Choice());
    const auto isMicrophone = [](const SessionRoute::Choice& one) {
        return one.what == SessionRoute::What::Microphone;
    };
    if (isMicrophone(next) == isMicrophone(choice_))
        choice_ = next;
}

void PulseRecording::open(const InputTarget& target) {
    if (retry_.isRunning() && stream_ && stream_->target().isSame(target))
        return; // it has only just failed
    const bool again = stream_ && stream_->target().isSame(target);
    close();
    openingSince_ = again ? openingSince_ : clock();
    stream_ = std::make_unique<PulseInputStream>(client_->context(), target, shape_, framesPerBuffer_, hooks());
    if (!stream_->isGood())
        streamFailed();
}

PulseInputStream::Hooks PulseRecording::hooks() {
    return {[this] { readAll(); }, [this] { streamChanged(); }};
}

void PulseRecording::close() {
    if (stream_)
        timeline_.interrupt();
    stream_.reset();
    scout_.stop();
    ping_.reset();
    wasReady_ = stalled_ = false;
    ticker_.start(tickLength);
}

void PulseRecording::streamChanged() {
    if (!stream_->isReady()) {
        streamFailed();
        return;
    }
    wasReady_ = true;
    lastData_ = clock();
    tellGap(timeline_.open(clock()));
    reportListening();
}

void PulseRecording::reportListening() {
    const InputTarget& target = stream_->target();
    const QString name = QString::fromStdString(target.name);
    report_.listening(kindOf(target.kind), name, clock());
    report_.setDevice(name, target.muted);
}

/// Not here and now: the stream itself may be calling.
void PulseRecording::streamFailed() {
    timeline_.interrupt();
    const int error = pa_context_errno(client_->context());
    if (wasReady_)
        report_.inputLost();
    else if (error == PA_ERR_ACCESS || error == PA_ERR_NOTSUPPORTED || error == PA_ERR_NOTIMPLEMENTED)
        report_.refused(QString::fromStdString(client_->lastError()));
    wasReady_ = false;
    retry_.start(isLateToOpen() ? pauseOnceLate : pauseBetweenAttempts);
}

bool PulseRecording::isLateToOpen() const { return !wasReady_ && clock() - openingSince_ > timeToOpen; }

void PulseRecording::retry() {
    if (stalled_)
        close(); // the server answers, and the stream still gives nothing
    settle();
}

void PulseRecording::tellGap(const std::optional<CaptureTimeline::Gap>& gap) const {
    if (gap)
        report_.gap(gap->missed, gap->filled);
}

void PulseRecording::readAll() {
    const std::size_t missingBefore = timeline_.framesMissing();
    const std::size_t frames = stream_->readable();
    if (frames == 0)
        return;
    lastData_ = clock();
    if (std::exchange(stalled_, false)) {
        ping_.reset();
        reportListening();
    }
    tellGap(timeline_.arrive(frames, clock()));
    stream_->read(frames, [this](const float* samples, std::size_t count) { timeline_.append(samples, count); });
    const auto last = std::exchange(lastRead_, Clock::now());
    const bool waitedFor = !std::exchange(rested_, false) && lastRead_ - last > 1ms;
    if (frames >= missingBefore)
        restWhileBufferFills(frames, waitedFor);
}

/// The server gives its pieces one after another, of much the same length; only the one that makes a buffer full
/// matters, and the thread should wake for it alone, just after it is there. When it came is known of a piece that was
/// waited for; the pieces after it are expected at their distance, a little earlier each time, until one is waited for
/// again.
void PulseRecording::restWhileBufferFills(std::size_t piece, bool waitedFor) {
    constexpr std::chrono::microseconds after(1000), earlier(30);
    const auto lengthOf = [this](std::size_t frames) {
        return std::chrono::microseconds(frames * PA_USEC_PER_SEC / shape_.spec.rate);
    };
    const std::size_t pieces = (timeline_.framesMissing() + piece - 1) / piece;
    const auto came =
        waitedFor ? lastRead_ + after : std::clamp(expected_, lastRead_ - lengthOf(piece), lastRead_) - earlier;
    expected_ = came + lengthOf(pieces * piece);
    client_->restUntil(expected_);
    rested_ = true;
}

void PulseRecording::tick() {
    const Time now = clock();
    if (now - std::exchange(lastTick_, now) > longestTick)
        lastData_ = now; // the program itself was stopped: what came meanwhile is still to be read
    else if (wasReady_ && (isPaused_ || stream_->isAsleep()))
        timeline_.rest(now);
    else
        timeline_.fill(now);
    report_.tick(now);
    const PulseClient::StatePtr server = client_->state();
    if (server->phase == PulseClient::Phase::Up && wasReady_) {
        lookForStall(now);
        lookElsewhere(server->snapshot, now);
    } else if (server->phase == PulseClient::Phase::Up && stream_ && isLateToOpen()) {
        report_.refused(QString::fromStdString(client_->lastError()));
    }
    const bool well = wasReady_ && !timeline_.isInterrupted() && !scout_.isListening();
    ticker_.start(well ? tickLengthWhileAllIsWell : tickLength);
}

// What a recording does at each tick: it finds out whether the server still answers, and whether the call is elsewhere.
/// A server that hangs sends nothing, and neither does a stream that was forgotten: only the latter's server answers.
void PulseRecording::lookForStall(Time now) {
    if (stream_->isAsleep() || isPaused_)
        lastData_ = now;
    if (now - lastData_ < stall)
        return;
    if (std::exchange(stalled_, true))
        return;
    timeline_.interrupt();
    report_.serverLost(QStringLiteral("the audio server does not answer"));
    ping_.reset(pa_context_get_server_info(
        client_->context(),
        [](pa_context*, const pa_server_info*, void* self) { static_cast<PulseRecording*>(self)->serverAnswered(); },
        this));
}

void PulseRecording::serverAnswered() {
    if (stalled_)
        retry_.start(timeForWhatIsLate);
}

void PulseRecording::lookElsewhere(const PulseSnapshot& server, Time now) {
    if (!hearsOutput() || stalled_)
        return;
    const bool isChosen = !chosenOutput(server, choice_).empty();
    const std::string& heard = stream_->target().sink;
    const OutputTurn turn = instead_.empty()
                                ? OutputTurn::away(server, heard, isChosen, report_.quiet(now), scout_.scouted())
                                : OutputTurn::back(server, heard, scout_.scouted());
    if (turn.isOver) {
        instead_.clear();
        settle();
        return;
    }
    const PulseEndpoint* other = server.sink(turn.watch);
    const auto target = outputTarget(server, other);
    if (!target) {
        scout_.stop();
        report_.setElsewhere({}, {});
        return;
    }
    scout_.watch(client_->context(), *target);
    if (turn.offers)
        report_.setElsewhere(QString::fromStdString(other->name), QString::fromStdString(other->description));
    if (turn.turns) {
        defaultOutput_ = server.defaultSink;
        turnTo(instead_.empty() ? other->name : std::string());
    }
}

/// Hears the output that the scout listens to, from a second ago, and lets the scout listen to the other one.
void PulseRecording::turnTo(const std::string& output) {
    instead_ = output;
    std::vector<float> kept;
    std::unique_ptr<PulseInputStream> heard = std::exchange(stream_, scout_.release(kept));
    stream_->setHooks(hooks());
    scout_.adopt(std::move(heard));
    reportListening();
    report_.setElsewhere({}, {});
    timeline_.append(kept.data(), kept.size() / shape_.spec.channels);
}

namespace {

/// A capture in the shape that what is heard has at the start. It needs no server to start, and waits for none.
class PulseCapture : public CaptureSource {
public:
    PulseCapture(std::shared_ptr<PulseClient> client, InputObserver observer)
        : client_(std::move(client))
        , observer_(std::move(observer)) {}

    std::optional<AVAudioFormat> format() override { return shape().format(); }

    Result<void> start(std::uint32_t framesPerBuffer, Sink sink) override {
        if (recording_)
            return failure(QStringLiteral("The input is being captured already."));
        recording_ = std::make_unique<PulseRecording>(client_, shape(), framesPerBuffer, std::move(sink), observer_);
        return {};
    }

    void stop() override {
        recording_.reset();
        shape_.reset();
    }

private:
    const InputShape& shape() {
        if (!shape_)
            shape_ = InputShape::of(inputTarget(client_->state()->snapshot, client_->route()->choice()));
        return *shape_;
    }

    const std::shared_ptr<PulseClient> client_;
    const InputObserver observer_;
    std::optional<InputShape> shape_; ///< as last looked up
    std::unique_ptr<PulseRecording> recording_;
};

} // namespace

CaptureSourceFactory inputCapture(InputObserver observer) {
    return [observer = std::move(observer)] { return std::make_unique<PulseCapture>(PulseClient::shared(), observer); };
}

} // namespace parlowen
