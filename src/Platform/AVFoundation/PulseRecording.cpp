#include "PulseRecording.h"

#include <algorithm>
#include <utility>

namespace parlowen {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds pauseBetweenAttempts = 100ms, tickLength = 100ms, tickLengthWhileAllIsWell = 500ms;
/// Between two ticks of a program that runs.
constexpr std::chrono::seconds longestTick = 2s;

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

PulseRecording::Time PulseRecording::clock() { return Time{static_cast<Time::rep>(pa_rtclock_now())}; }

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
    if (!instead_.empty() && (server.snapshot.defaultSink != defaultOutput_ || !hearsOutput()))
        instead_.clear();
    const std::optional<InputTarget> target = inputTarget(server.snapshot, choice_, instead_);
    if (!target) {
        close();
        const bool application = choice_.what == SessionRoute::What::Application;
        report_.noInput(kindOf(choice_.what), application ? QString::fromStdString(choice_.name) : QString());
        return;
    }
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
    close();
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
    retry_.start(pauseBetweenAttempts);
}

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
    else
        timeline_.fill(now);
    report_.tick(now);
    const PulseClient::StatePtr server = client_->state();
    if (server->phase == PulseClient::Phase::Up && wasReady_) {
        lookForStall(now);
        lookElsewhere(server->snapshot, now);
    }
    const bool well = wasReady_ && !timeline_.isInterrupted() && !scout_.target();
    ticker_.start(well ? tickLengthWhileAllIsWell : tickLength);
}

} // namespace parlowen
