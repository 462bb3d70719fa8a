#include "RecogniserEngine.h"

#include "Http/HttpMessage.h"
#include "Http/Log.h"
#include "RecogniserProcess.h"

#include <algorithm>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>
#include <mutex>
#include <thread>

namespace parlowen::service {

namespace {

namespace asio = boost::asio;
using recogniser::ModelFolder;

constexpr std::size_t mostWhileLoading = 16; // streams of a model that has not said yet how many it can serve

/// As the registry spells it.
std::string spelled(std::string_view locale, const std::vector<std::string>& offered) {
    const auto same = [locale](const std::string& other) { return sameWord(locale, other); };
    const auto found = std::find_if(offered.begin(), offered.end(), same);
    return found == offered.end() ? std::string(locale) : *found;
}

} // namespace

/// All but the registry is used on the one thread, or under the mutex.
struct RecogniserEngine::Core {
    explicit Core(ModelRegistry::Places places)
        : registry(std::move(places))
        , working(asio::make_work_guard(io))
        , thread([this] { io.run(); }) {}

    ~Core() {
        io.stop();
        thread.join();
    }

    /// The process that serves a model; made at the first call.
    std::shared_ptr<RecogniserProcess> processOf(const ModelFolder& model) {
        auto& process = served[model.name];
        if (!process)
            process = std::make_shared<RecogniserProcess>(
                io, RecogniserProcess::Options{registry.places().program}, model,
                [this, name = model.name](auto streams, const std::string& why) { moveOn(name, streams, why); });
        return process;
    }

    /// Null when no model is left. A busy machine gets no second model: that would make it slower still.
    std::shared_ptr<RecogniserProcess> processFor(const std::string& locale) {
        const auto models = registry.modelsFor(locale);
        return models.empty() ? nullptr : processOf(models.front());
    }

    bool hasRoom(const RecogniserProcess& process) {
        return open[process.model().name] < process.capacity().value_or(mostWhileLoading);
    }

    /// The streams of a model that is of no use any more.
    void moveOn(const std::string& name, const std::map<std::uint32_t, RecogniserStreamPtr>& streams,
                const std::string& why) {
        registry.setAside(name, why);
        for (const auto& [id, stream] : streams) {
            std::shared_ptr<RecogniserProcess> next;
            {
                const std::lock_guard lock(mutex);
                next = processFor(stream->locale);
                assigned[id] = next;
            }
            if (next)
                next->add(stream);
            else
                stream->tell({RecognitionEvent::Kind::Failed, "no model is left for " + stream->locale, 0, 0, 0});
        }
    }

    std::shared_ptr<RecogniserProcess> assignedTo(std::uint32_t id) {
        const std::lock_guard lock(mutex);
        const auto found = assigned.find(id);
        return found == assigned.end() ? nullptr : found->second;
    }

    asio::io_context io;
    ModelRegistry registry;
    std::mutex mutex; ///< of what follows
    std::map<std::string, std::shared_ptr<RecogniserProcess>> served;
    std::map<std::string, std::size_t> open; ///< streams, by the model that they began with
    std::map<std::uint32_t, std::shared_ptr<RecogniserProcess>> assigned;
    std::uint32_t lastId = 0;
    asio::executor_work_guard<asio::io_context::executor_type> working;
    std::thread thread; ///< last
};

namespace {

/// What the session holds of a stream. Calls of one object keep their order on the engine's thread.
template<typename Core>
class EngineStream : public RecognitionStream {
public:
    EngineStream(Core& coreOfEngine, RecogniserStreamPtr streamToUse, std::string nameOfModel)
        : core_(coreOfEngine)
        , stream_(std::move(streamToUse))
        , model_(std::move(nameOfModel)) {
        asio::post(core_.io, [&core = core_, stream = stream_] {
            if (const auto process = core.assignedTo(stream->id))
                process->add(stream);
        });
    }
    EngineStream(const EngineStream&) = delete;
    EngineStream& operator=(const EngineStream&) = delete;

    ~EngineStream() override {
        stream_->closed = true;
        {
            const std::lock_guard lock(core_.mutex);
            --core_.open[model_];
        }
        asio::post(core_.io, [&core = core_, stream = stream_] {
            if (const auto process = core.assignedTo(stream->id))
                process->remove(stream);
            const std::lock_guard lock(core.mutex);
            core.assigned.erase(stream->id);
        });
    }

    bool accept(std::span<const std::int16_t> samples) override {
        const bool more = stream_->arrived(static_cast<std::int64_t>(samples.size()));
        asio::post(core_.io,
                   [&core = core_, stream = stream_, audio = std::vector(samples.begin(), samples.end())]() mutable {
                       if (const auto process = core.assignedTo(stream->id))
                           process->sendAudio(stream, std::move(audio));
                   });
        return more;
    }

    void finish() override {
        asio::post(core_.io, [&core = core_, stream = stream_] {
            if (const auto process = core.assignedTo(stream->id))
                process->finish(stream);
        });
    }

private:
    Core& core_;
    const RecogniserStreamPtr stream_;
    const std::string model_; ///< that it counts for
};

} // namespace

RecogniserEngine::RecogniserEngine(ModelRegistry::Places places, std::string_view firstLocale)
    : core_(std::make_unique<Core>(std::move(places))) {
    if (core_->registry.places().program.empty()) {
        logLine("there is no recogniser on this machine: speech is not recognised, all else works");
        return;
    }
    const std::lock_guard lock(core_->mutex);
    if (const auto process = core_->processFor(std::string(firstLocale)))
        asio::post(core_->io, [process] { process->start(); });
}

RecogniserEngine::~RecogniserEngine() = default;

std::vector<std::string> RecogniserEngine::locales() const { return core_->registry.locales(); }

std::unique_ptr<RecognitionStream> RecogniserEngine::open(std::string_view locale, RecognitionSink sink) {
    const auto wanted = spelled(locale, locales());
    RecogniserStreamPtr stream;
    std::string model;
    {
        const std::lock_guard lock(core_->mutex);
        const auto process = core_->processFor(wanted);
        if (!process || !core_->hasRoom(*process))
            return nullptr;
        model = process->model().name;
        stream = std::make_shared<RecogniserStream>(++core_->lastId, wanted, std::move(sink));
        core_->assigned[stream->id] = process;
        ++core_->open[model];
    }
    return std::make_unique<EngineStream<Core>>(*core_, std::move(stream), std::move(model));
}

std::vector<int> RecogniserEngine::processes() const {
    std::vector<int> running;
    const std::lock_guard lock(core_->mutex);
    for (const auto& [name, process] : core_->served)
        if (const int id = process->processId(); id > 0)
            running.push_back(id);
    return running;
}

} // namespace parlowen::service
