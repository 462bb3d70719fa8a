#include "LoopbackSetup.h"

#include "PulseConnection.h"

#include <future>

namespace parlowen {

namespace {

constexpr std::chrono::seconds patience{3};

/// Tells once whether the server was reached.
class Reached {
public:
    PulseConnection::Hooks hooks() {
        return {[this](const PulseSnapshot&) { tell(true); }, [this] { tell(false); }};
    }
    bool wait() {
        std::future<bool> answer = promise_.get_future();
        return answer.wait_for(patience) == std::future_status::ready && answer.get();
    }

private:
    void tell(bool reached) {
        if (!std::exchange(told_, true))
            promise_.set_value(reached);
    }

    std::promise<bool> promise_;
    bool told_ = false; // the connection's thread alone
};

} // namespace

std::optional<QString> createNullSink(const std::string& name, const std::string& description,
                                      const std::string& address) {
    Reached reached;
    PulseConnection connection(address, reached.hooks());
    if (!reached.wait())
        return QStringLiteral("no audio server answers");
    // PulseAudio needs the inner quotes and PipeWire the outer ones too, or the description ends at its first blank.
    const std::string arguments =
        "sink_name=" + name + " rate=48000 channels=2 sink_properties=\"device.description='" + description + "'\"";
    // A sink that never takes sound back gives it to its monitor at once, not up to two seconds late. Servers that do
    // not know the word refuse it.
    PulseConnection::Answer answer = connection.loadModule("module-null-sink", arguments + " norewinds=1");
    if (answer.error == PA_ERR_MODINITFAILED || answer.error == PA_ERR_INVALID)
        answer = connection.loadModule("module-null-sink", arguments);
    if (answer.error == PA_OK)
        return std::nullopt;
    return QString::fromUtf8(pa_strerror(answer.error));
}

} // namespace parlowen
