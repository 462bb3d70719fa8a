#pragma once

#include "CaptureLoop.h"

#include <PulseAudio/PulseHandles.h>
#include <QString>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace parlowen {

/// A source of the audio server, and the sound that it gives by itself.
struct PulseSource {
    QString name;
    QString description;    ///< for people; the name when the server has none
    bool isMonitor = false; ///< it gives what a sink plays
    pa_sample_spec spec{};
    pa_channel_map map{};
};

/// A connection to the audio server (that of PULSE_SERVER, else the user's own), with the thread that serves it. No
/// operation waits for the server longer than `patience` seconds.
class CaptureConnection {
public:
    static constexpr int patience = 5;

    enum class Start { Never, IfMissing };

    /// Null without a server, which is started only if asked; the error text, and the library's error code where it is
    /// wanted, then say why.
    static std::unique_ptr<CaptureConnection> open(QString* error, int* code = nullptr, Start start = Start::Never);
    ~CaptureConnection();
    CaptureConnection(const CaptureConnection&) = delete;
    CaptureConnection& operator=(const CaptureConnection&) = delete;

    /// The current default source; none when there is no source, and the error text says why. A server that has only
    /// just started may not have chosen one: it is asked again for up to a second. `patience` holds for the whole call.
    std::optional<PulseSource> defaultSource(QString* error);
    static PulseSource sourceOf(const pa_source_info& info);

    /// Called, under the lock, on the connection's thread whenever the context's state changes. Set it under the lock.
    void onStateChange(std::function<void()> hook) { stateChanged_ = std::move(hook); }
    /// Gives up the context, with all that belongs to it, and begins to connect a new one. Under the lock, on the
    /// connection's thread, and never from a callback of the context.
    void reconnect();
    /// Goes on with a context that is up already, which the hook is not told. Under the lock, on the connection's
    /// thread, and never from a callback of the old context.
    void use(PulseContext context);
    /// Under the lock.
    bool isUp() const;

    /// Holds the connection's thread off while it lives; needed around every call of the library.
    class Lock {
    public:
        explicit Lock(CaptureConnection& connection);
        ~Lock();
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;

    private:
        CaptureLoop& loop_;
    };

    /// Waits, under the lock, until the condition holds; false when it took too long. Whoever changes what the
    /// condition looks at wakes it up with wake(), on the connection's thread.
    bool waitFor(const std::function<bool()>& condition,
                 std::chrono::milliseconds bound = std::chrono::seconds(patience));
    void wake();

    pa_context* context() const { return context_.get(); }
    pa_mainloop_api* loopApi() const { return loop_.api(); }
    /// See CaptureLoop::restUntil().
    void restUntil(CaptureLoop::Clock::time_point time) { loop_.restUntil(time); }
    /// What the library said last: its error code, and that in English.
    int lastErrorCode() const;
    QString lastError() const;

private:
    CaptureConnection();
    bool connect(Start start);
    std::optional<PulseSource> askForDefaultSource(std::chrono::milliseconds bound);
    static void onContextState(pa_context* context, void* data);

    CaptureLoop loop_;
    PulseContext context_;
    std::function<void()> stateChanged_;
};

} // namespace parlowen
