// What a device list with names and UIDs costs on a server with 200 sinks: how many requests, and how long from nothing
// (connection included) and once the state is known, each against one bare listing of the sinks by the client library.
#include "Measure.h"

#include <CoreAudio/AudioPropertyData.h>
#include <CoreAudio/PulseAudioServer.h>
#include <PulseAudio/PulseClient.h>
#include <support/PrivateAudioServer.h>

#include <QCoreApplication>
#include <cstdlib>
#include <memory>
#include <pulse/pulseaudio.h>

namespace {

using namespace parlowen;

constexpr int sinkCount = 200;

/// Lists the sinks and nothing else, on the calling thread.
class BareClient {
public:
    explicit BareClient(const std::string& address) {
        pa_context_connect(context_.get(), address.c_str(), PA_CONTEXT_NOAUTOSPAWN, nullptr);
        while (pa_context_get_state(context_.get()) != PA_CONTEXT_READY)
            pa_mainloop_iterate(loop_.get(), 1, nullptr);
    }

    int listSinks() {
        listed_ = 0;
        const std::unique_ptr<pa_operation, Deleter> operation(
            pa_context_get_sink_info_list(context_.get(), onSink, this));
        while (pa_operation_get_state(operation.get()) == PA_OPERATION_RUNNING)
            pa_mainloop_iterate(loop_.get(), 1, nullptr);
        return listed_;
    }

private:
    struct Deleter {
        void operator()(pa_mainloop* loop) const { pa_mainloop_free(loop); }
        void operator()(pa_operation* operation) const { pa_operation_unref(operation); }
        void operator()(pa_context* context) const {
            pa_context_disconnect(context);
            pa_context_unref(context);
        }
    };

    static void onSink(pa_context* /*context*/, const pa_sink_info* info, int end, void* self) {
        if (end == 0)
            static_cast<BareClient*>(self)->listed_ += info->description ? 1 : 0;
    }

    std::unique_ptr<pa_mainloop, Deleter> loop_{pa_mainloop_new()};
    std::unique_ptr<pa_context, Deleter> context_{pa_context_new(pa_mainloop_get_api(loop_.get()), "bare")};
    int listed_ = 0;
};

/// How many devices have a name and a UID.
int readDevices(AudioServer& server) {
    std::vector<std::byte> list, name, uid;
    server.getPropertyData(kAudioObjectSystemObject, {fourCC("dev#")}, {}, list);
    int whole = 0;
    for (const AudioObjectID device : propertyValues<AudioObjectID>(list).value_or(std::vector<AudioObjectID>())) {
        const bool named = server.getPropertyData(device, {fourCC("lnam")}, {}, name) == kAudioHardwareNoError;
        const bool known = server.getPropertyData(device, {fourCC("uid ")}, {}, uid) == kAudioHardwareNoError;
        whole += named && known ? 1 : 0;
    }
    return whole;
}

QStringList manySinks() {
    QStringList modules;
    for (int i = 0; i < sinkCount; ++i)
        modules << QStringLiteral("module-null-sink sink_name=sink%1 sink_properties='device.description=\"Sink %1\"'")
                       .arg(i);
    return modules;
}

std::shared_ptr<PulseClient> knownClient(const std::string& address) {
    auto client = std::make_shared<PulseClient>(address);
    client->waitUntilKnown(std::chrono::seconds(5));
    return client;
}

bool showRequests(const std::string& address) {
    const auto client = knownClient(address);
    PulseAudioServer server(client);
    const int devices = readDevices(server);
    const auto [requests, rounds] = client->traffic();
    std::printf("%d devices with name and UID: %zu requests in %zu round\n", devices, requests, rounds);
    return devices == sinkCount + 1 &&   // the loop-back device beside them
           rounds == 1 && requests == 5; // the state is four lists; the fifth subscribes to changes
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    const parlowen::testing::PrivatePulseAudio daemon(manySinks());
    const std::string address = daemon.address().toStdString();
    if (!daemon.isReady() || BareClient(address).listSinks() != sinkCount) {
        std::fputs("The audio server with its sinks does not start.\n", stderr);
        return EXIT_FAILURE;
    }
    bool met = showRequests(address);

    const auto fromNothing = bench::compare(
        [&] {
            PulseAudioServer server(knownClient(address));
            readDevices(server);
        },
        [&] { BareClient(address).listSinks(); }, 15, 2);
    PulseAudioServer server(knownClient(address));
    BareClient client(address);
    readDevices(server);
    const auto known = bench::compare([&] { readDevices(server); }, [&] { client.listSinks(); }, 15, 10);
    std::printf("from nothing: %.0f us, bare listing of the sinks %.0f us\n", fromNothing.subject,
                fromNothing.baseline);
    std::printf("once known: %.0f us, bare listing of the sinks %.0f us\n", known.subject, known.baseline);
    met = bench::judge("from nothing, against one bare listing", fromNothing.ratio, 4, "times") && met;
    met = bench::judge("once known, against one bare listing", known.ratio, 1, "times") && met;
    return met ? EXIT_SUCCESS : EXIT_FAILURE;
}
