#pragma once

#include "Library/SherpaLibrary.h"
#include "Models/ModelFolder.h"
#include "StreamHost.h"

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace parlowen::recogniser {

/// A loaded model that streams by itself: it gets audio piece by piece and tells where an utterance ends.
class StreamingModel {
public:
    /// Throws std::runtime_error when it cannot be loaded. A model that is broken in other ways may end the process.
    StreamingModel(const SherpaLibrary& library, const ModelFolder& model);
    ~StreamingModel();
    StreamingModel(const StreamingModel&) = delete;
    StreamingModel& operator=(const StreamingModel&) = delete;

    const SherpaLibrary& api;
    const sherpa::OnlineRecognizer* const recognizer;
};

/// Streams of such a model. A stream is worked on by one thread at a time, all in turn.
class StreamingHost : public StreamHost {
public:
    StreamingHost(const StreamingModel& modelToUse, unsigned threadCount, Output outputOfFrames);
    ~StreamingHost() override;
    StreamingHost(const StreamingHost&) = delete;
    StreamingHost& operator=(const StreamingHost&) = delete;

    void handle(const Frame& frame) override;

private:
    struct Stream;
    void work();
    std::shared_ptr<Stream> nextStream();
    void decode(Stream& stream, const std::vector<float>& samples, bool last);
    void tell(Stream& stream, bool isFinal);

    const StreamingModel& model_;
    const Output output_;
    std::mutex mutex_; ///< of what follows, and of what a stream waits with
    std::condition_variable wake_;
    std::map<std::uint32_t, std::shared_ptr<Stream>> streams_;
    std::uint32_t lastServed_ = 0;
    bool stopping_ = false;
    std::mutex outputMutex_;
    std::vector<std::thread> threads_;
};

} // namespace parlowen::recogniser
