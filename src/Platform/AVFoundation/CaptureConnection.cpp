#include "CaptureConnection.h"

#include <algorithm>

namespace parlowen {

namespace {

struct Deadline {
    CaptureConnection* connection;
    bool passed = false;
};

void onDeadline(pa_mainloop_api* /*api*/, pa_time_event* /*event*/, const timeval* /*time*/, void* data) {
    auto* deadline = static_cast<Deadline*>(data);
    deadline->passed = true;
    deadline->connection->wake();
}

struct SourceQuery {
    CaptureConnection* connection;
    std::optional<PulseSource> found;
    bool done = false;
};

void onSource(pa_context* /*context*/, const pa_source_info* info, int last, void* data) {
    auto* query = static_cast<SourceQuery*>(data);
    if (info)
        query->found = CaptureConnection::sourceOf(*info);
    query->done = query->done || last != 0;
    query->connection->wake();
}

} // namespace

CaptureConnection::Lock::Lock(CaptureConnection& connection)
    : loop_(connection.loop_) {
    loop_.lock();
}

CaptureConnection::Lock::~Lock() { loop_.unlock(); }

CaptureConnection::CaptureConnection()
    : context_(pa_context_new(loop_.api(), "Parlowen")) {}

CaptureConnection::~CaptureConnection() {
    {
        const Lock lock(*this);
        context_.reset();
    }
    loop_.stop();
}

void CaptureConnection::onContextState(pa_context* /*context*/, void* data) {
    auto* self = static_cast<CaptureConnection*>(data);
    if (self->stateChanged_)
        self->stateChanged_();
    self->wake();
}

void CaptureConnection::reconnect() {
    context_.reset(pa_context_new(loop_.api(), "Parlowen"));
    pa_context_set_state_callback(context_.get(), onContextState, this);
    pa_context_connect(context_.get(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr);
}

void CaptureConnection::use(PulseContext context) {
    context_ = std::move(context);
    pa_context_set_state_callback(context_.get(), onContextState, this);
}

std::unique_ptr<CaptureConnection> CaptureConnection::open(QString* error, int* code, Start start) {
    std::unique_ptr<CaptureConnection> connection(new CaptureConnection);
    if (connection->connect(start))
        return connection;
    if (code)
        *code = connection->lastErrorCode();
    *error = QStringLiteral("There is no connection to the audio server: %1.").arg(connection->lastError());
    return nullptr;
}

bool CaptureConnection::connect(Start start) {
    pa_context_set_state_callback(context_.get(), onContextState, this);
    loop_.start();
    const Lock lock(*this);
    const pa_context_flags_t flags = start == Start::Never ? PA_CONTEXT_NOAUTOSPAWN : PA_CONTEXT_NOFLAGS;
    if (pa_context_connect(context_.get(), nullptr, flags, nullptr) < 0)
        return false;
    const auto settled = [this] { return isUp() || !PA_CONTEXT_IS_GOOD(pa_context_get_state(context_.get())); };
    return waitFor(settled) && isUp();
}

bool CaptureConnection::isUp() const { return pa_context_get_state(context_.get()) == PA_CONTEXT_READY; }

bool CaptureConnection::waitFor(const std::function<bool()>& condition, std::chrono::milliseconds bound) {
    Deadline deadline{this};
    pa_time_event* timer = pa_context_rttime_new(
        context_.get(),
        pa_rtclock_now() + static_cast<pa_usec_t>(std::max<std::int64_t>(bound.count(), 0)) * PA_USEC_PER_MSEC,
        onDeadline, &deadline);
    while (!condition() && !deadline.passed)
        loop_.wait();
    if (timer)
        loop_.api()->time_free(timer);
    return condition();
}

void CaptureConnection::wake() { loop_.signal(); }

int CaptureConnection::lastErrorCode() const {
    const int code = pa_context_errno(context_.get());
    return code == PA_OK ? PA_ERR_TIMEOUT : code;
}

QString CaptureConnection::lastError() const { return QString::fromUtf8(pa_strerror(lastErrorCode())); }

PulseSource CaptureConnection::sourceOf(const pa_source_info& info) {
    const char* description = info.description ? info.description : info.name;
    return {QString::fromUtf8(info.name), QString::fromUtf8(description), info.monitor_of_sink != PA_INVALID_INDEX,
            info.sample_spec, info.channel_map};
}

std::optional<PulseSource> CaptureConnection::defaultSource(QString* error) {
    constexpr int attempts = 10;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(patience);
    const auto left = [deadline] {
        return std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    };
    const Lock lock(*this);
    std::optional<PulseSource> found = askForDefaultSource(left());
    for (int i = 0; !found && isUp() && i < attempts && left().count() > 0; ++i) {
        waitFor([this] { return !isUp(); }, std::chrono::milliseconds(100));
        found = askForDefaultSource(left());
    }
    if (!found)
        *error = QStringLiteral("The audio server has nothing to record from: %1.").arg(lastError());
    return found;
}

std::optional<PulseSource> CaptureConnection::askForDefaultSource(std::chrono::milliseconds bound) {
    SourceQuery query{this, {}};
    const PulseOperation operation(
        pa_context_get_source_info_by_name(context_.get(), "@DEFAULT_SOURCE@", onSource, &query));
    const auto settled = [this, &query] { return query.done || !isUp(); };
    if (operation)
        waitFor(settled, bound);
    return query.found;
}

} // namespace parlowen
