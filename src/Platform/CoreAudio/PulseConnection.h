#pragma once

#include "PulseRound.h"

#include <PulseAudio/PulseHandles.h>
#include <PulseAudio/SecondLook.h>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace parlowen {

/// A connection to the audio server that keeps a snapshot of its state current, and that comes back by itself, after
/// pauses from a tenth of a second to two seconds, when the server was away. See SecondLook for why it looks twice.
class PulseConnection {
public:
    /// Called on the main loop's thread; neither may call the connection.
    struct Hooks {
        std::function<void(PulseSnapshot)> changed;
        std::function<void()> unreachable; ///< the server is gone, or an attempt to reach it failed
    };

    PulseConnection(std::string address, Hooks hooks);
    /// After it no hook is called any more.
    ~PulseConnection();
    PulseConnection(const PulseConnection&) = delete;
    PulseConnection& operator=(const PulseConnection&) = delete;

    struct Answer {
        int error = PA_OK;                      ///< a PA_ERR_ code
        std::uint32_t index = PA_INVALID_INDEX; ///< of a module that was loaded
    };

    // Each waits for the answer, at most three seconds (PA_ERR_TIMEOUT). Any thread but the main loop's.
    Answer setDefaultSink(const std::string& name);
    Answer setDefaultSource(const std::string& name);
    Answer loadModule(const char* name, const std::string& arguments);
    Answer unloadModule(std::uint32_t index);

    std::size_t requestCount() const { return requests_; }
    std::size_t roundCount() const { return rounds_; }

private:
    struct Request;
    using Send = std::function<pa_operation*(pa_context*, Request*)>;

    Answer ask(const Send& send);
    static void onSuccess(pa_context* context, int success, void* request);
    static void onIndex(pa_context* context, std::uint32_t index, void* request);

    void connect();
    void watch();
    void stateChanged();
    void follow();
    void subscribe();
    void readState();
    void serverLost();
    void retryLater();
    static void onSecondLook(pa_context* context, const pa_server_info* info, void* connection);
    bool hasMissed(const pa_server_info& info) const;
    void takeOver();

    const std::string address_;
    const Hooks hooks_;
    std::atomic<std::size_t> requests_ = 0, rounds_ = 0;
    PulseLoop loop_;
    // Under the main loop's lock:
    PulseContext context_;
    PulseOperation subscription_;
    std::unique_ptr<PulseRound> round_;
    bool outdated_ = false; // something changed since the round was begun
    std::vector<std::shared_ptr<Request>> waiting_;
    std::string defaultSink_, defaultSource_; // as of the last round
    std::chrono::milliseconds pause_;
    PulseTimer retry_;
    SecondLook secondLook_;
};

} // namespace parlowen
