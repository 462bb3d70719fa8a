#pragma once

#include "Process/ChildProcess.h"
#include "RecogniserStream.h"

#include <Models/ModelFolder.h>
#include <Protocol/Frames.h>
#include <Protocol/StreamEvent.h>

#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace parlowen::service {

/// One model at work in a process of its own, `parlowen-recogniser`: started at the first need, watched, started anew
/// when it ends or hangs, with the streams that run replayed from what they keep. A model that ends its process by
/// itself `mostDeaths` times, or cannot be loaded, is given up. On the engine's thread.
class RecogniserProcess {
public:
    static constexpr int mostDeaths = 3;

    struct Options {
        std::filesystem::path program;
        std::chrono::milliseconds patience{20'000}; ///< without a word while there is work; then it is killed
        std::chrono::milliseconds loading{60'000};  ///< the same until it is ready
    };
    /// Called once, with its streams, when the model is of no use.
    using GivenUp = std::function<void(std::map<std::uint32_t, RecogniserStreamPtr>, const std::string& why)>;

    RecogniserProcess(boost::asio::io_context& context, Options optionsToUse, recogniser::ModelFolder modelToUse,
                      GivenUp onGivenUp);
    ~RecogniserProcess();
    RecogniserProcess(const RecogniserProcess&) = delete;
    RecogniserProcess& operator=(const RecogniserProcess&) = delete;

    const recogniser::ModelFolder& model() const { return servedModel_; }
    void start();
    void add(const RecogniserStreamPtr& stream);
    void sendAudio(const RecogniserStreamPtr& stream, std::vector<std::int16_t> samples);
    void finish(const RecogniserStreamPtr& stream);
    void remove(const RecogniserStreamPtr& stream);
    /// Streams that it can serve at the same time; none until it said so. Any thread.
    std::optional<std::size_t> capacity() const {
        const auto streamsAtOnce = promised_.load();
        return streamsAtOnce < 0 ? std::nullopt : std::optional(static_cast<std::size_t>(streamsAtOnce));
    }

    /// Of the process that runs; 0 when none does. Any thread.
    int processId() const { return runningId_; }

private:
    using Kind = recogniser::Frame::Kind;
    using Clock = std::chrono::steady_clock;

    void launch();
    void replay(RecogniserStream& stream);
    void sendPieces(std::uint32_t stream, std::span<const std::int16_t> samples);
    void send(Kind kind, std::uint32_t stream, std::string body = {});
    void write();
    void read();
    void handle(const recogniser::Frame& frame);
    void handle(RecogniserStream& stream, const recogniser::StreamEvent& event);
    void checkHello(const std::string& body);
    void onReady(const std::string& body);
    void watch();
    bool isSilent() const;
    void ended();
    void launchLater();
    void giveUp(const std::string& why);

    boost::asio::io_context& io_;
    const Options options_;
    const recogniser::ModelFolder servedModel_;
    GivenUp givenUp_;
    std::map<std::uint32_t, RecogniserStreamPtr> streams_;
    std::atomic<int> promised_ = -1; ///< capacity; -1: none yet

    std::optional<ChildProcess> process_;
    std::atomic<int> runningId_ = 0;
    boost::asio::local::stream_protocol::socket pipe_;
    int errors_ = -1; ///< a file in memory that takes its error output
    recogniser::FrameParser parser_;
    std::array<char, 16'384> received_{};
    std::deque<std::string> unsent_;
    bool writing_ = false;
    bool ready_ = false;
    bool hung_ = false;      ///< it was killed for it
    std::string problem_;    ///< that it named itself
    int deaths_ = 0;         ///< that are the model's doing
    int failuresInARow_ = 0; ///< since it was last ready
    unsigned run_ = 0;       ///< handlers of an earlier one do nothing
    boost::asio::steady_timer pause_;
    boost::asio::steady_timer watchdog_;
    Clock::time_point launchedAt_{};
    Clock::time_point lastWord_{};
};

} // namespace parlowen::service
