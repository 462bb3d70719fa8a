#include "Decoding/Transcriber.h"
#include "Decoding/Words.h"
#include "Protocol/StreamEvent.h"
#include "SelfTest.h"
#include "Streams/PieceHost.h"
#include "Streams/StreamingHost.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <future>
#include <iostream>
#include <nlohmann/json.hpp>
#include <unistd.h>

namespace {

using namespace parlowen::recogniser;
namespace fs = std::filesystem;
using Clock = DecodingLoad::Clock;

enum ExitStatus { ended = 0, cannotStart = 1, wrongOptions = 2 };

struct Options {
    fs::path model;
    fs::path files; ///< where the library and the voice detector lie
    bool trial = false;
    unsigned threads = std::max(1U, std::thread::hardware_concurrency());
};

/// Beside the program when it is installed, else where the build tree has them.
fs::path findFiles() {
    const auto beside = fs::read_symlink("/proc/self/exe").parent_path();
    return fs::exists(beside / "silero_vad.onnx") ? beside : beside.parent_path() / "lib/parlowen/recogniser";
}

std::optional<Options> parse(const std::vector<std::string>& arguments) {
    Options options;
    options.files = findFiles();
    for (std::size_t i = 0; i + 1 < arguments.size(); i += 2) {
        const auto& value = arguments[i + 1];
        if (arguments[i] == "--model" || arguments[i] == "--trial") {
            options.model = value;
            options.trial = arguments[i] == "--trial";
        } else if (arguments[i] == "--files") {
            options.files = value;
        } else if (arguments[i] == "--threads") {
            options.threads = std::clamp(std::atoi(value.c_str()), 1, 64);
        } else {
            return std::nullopt;
        }
    }
    if (options.model.empty() || arguments.size() % 2 != 0)
        return std::nullopt;
    return options;
}

/// The pipe to the service. The library may print to standard output, which therefore goes elsewhere.
class Pipe {
public:
    Pipe()
        : out_(dup(STDOUT_FILENO)) {
        dup2(STDERR_FILENO, STDOUT_FILENO);
    }
    void send(const Frame& frame) {
        const auto bytes = encode(frame);
        const std::lock_guard lock(mutex_);
        std::string_view rest = bytes;
        while (!rest.empty()) {
            const auto count = write(out_, rest.data(), rest.size());
            if (count < 0 && errno != EINTR)
                _exit(ended); // the service is gone
            rest.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
        }
    }
    /// Until the input ends.
    static void receive(StreamHost& host) {
        std::vector<char> buffer(std::size_t{64} * 1024);
        FrameParser parser;
        while (true) {
            const auto count = read(STDIN_FILENO, buffer.data(), buffer.size());
            if (count < 0 && errno == EINTR)
                continue;
            if (count <= 0 || !parser.feed({buffer.data(), static_cast<std::size_t>(count)}))
                return;
            while (const auto frame = parser.next())
                host.handle(*frame);
        }
    }

private:
    const int out_;
    std::mutex mutex_;
};

/// What was loaded, and what serves streams with it.
struct Recogniser {
    std::unique_ptr<Transcriber> transcriber;
    std::unique_ptr<StreamingModel> streaming;
    std::string heard; ///< in the self-test
    DecodingLoad load{1};
};

ModelFolder modelAt(const fs::path& folder) {
    auto model = ModelFolder::at(folder);
    if (!model)
        throw std::runtime_error("no model of a known family lies in " + folder.string());
    return *model;
}

/// Through a stream of its own.
std::string heardBy(const StreamingModel& model, std::span<const float> audio) {
    std::string heard;
    std::promise<void> ended;
    StreamingHost host(model, 1, [&](const Frame& frame) {
        const auto event = frame.kind == Frame::Kind::Event ? decodeStreamEvent(frame.body) : std::nullopt;
        if (event && event->kind == StreamEvent::Kind::Final)
            heard = joined(heard, event->text);
        else if (event && event->kind == StreamEvent::Kind::End)
            ended.set_value();
    });
    std::vector<std::int16_t> samples(audio.size());
    std::transform(audio.begin(), audio.end(), samples.begin(),
                   [](float sample) { return static_cast<std::int16_t>(sample * 32'767); });
    host.handle({Frame::Kind::Open, 1, "{}"});
    host.handle({Frame::Kind::Audio, 1, {reinterpret_cast<const char*>(samples.data()), samples.size() * 2}});
    host.handle({Frame::Kind::Finish, 1, {}});
    ended.get_future().wait();
    return heard;
}

Recogniser load(const SherpaLibrary& library, const ModelFolder& model, unsigned threads) {
    Recogniser recogniser{nullptr, nullptr, {}, DecodingLoad(threads)};
    const auto audio = selfTestAudio();
    const auto hear = [&] {
        return recogniser.streaming ? heardBy(*recogniser.streaming, audio) : finalText(*recogniser.transcriber, audio);
    };
    if (isStreaming(model.family))
        recogniser.streaming = std::make_unique<StreamingModel>(library, model);
    else
        recogniser.transcriber = loadTranscriber(library, model);
    hear(); // the first decoding is slower than all others
    const auto begin = Clock::now();
    recogniser.heard = hear();
    recogniser.load.add(static_cast<double>(audio.size()) / sampleRate, Clock::now() - begin, {}, Clock::now());
    const bool speaksEnglish = std::find(model.languages.begin(), model.languages.end(), "en") != model.languages.end();
    if (recogniser.transcriber && speaksEnglish && !isSelfTestSentence(recogniser.heard))
        throw std::runtime_error("the model does not understand the test sentence; it heard \"" + recogniser.heard +
                                 "\"");
    return recogniser;
}

int serve(const Options& options, Pipe& pipe) {
    const auto model = modelAt(options.model);
    const auto& library = SherpaLibrary::load(options.files);
    const auto recogniser = load(library, model, options.threads);
    pipe.send({Frame::Kind::Ready, 0, capacityBody(recogniser.load.capacity(Clock::now()))});
    const auto output = [&pipe](const Frame& frame) { pipe.send(frame); };
    std::unique_ptr<StreamHost> host;
    if (recogniser.streaming)
        host = std::make_unique<StreamingHost>(*recogniser.streaming, options.threads, output);
    else
        host = std::make_unique<PieceHost>(*recogniser.transcriber,
                                           sileroDetectors(library, options.files / "silero_vad.onnx"),
                                           PieceHost::Options{options.threads, recogniser.load}, output);
    Pipe::receive(*host);
    _exit(ended); // nothing that runs is wanted any more
}

int tryModel(const Options& options) {
    const auto model = modelAt(options.model);
    const auto recogniser = load(SherpaLibrary::load(options.files), model, 1);
    std::cout << nlohmann::json{{"heard", recogniser.heard}}.dump(-1, ' ', false,
                                                                  nlohmann::json::error_handler_t::replace)
              << std::endl;
    _exit(ended);
}

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);
    const auto options = parse({argv + 1, argv + argc});
    if (!options) {
        std::cerr << "Usage: parlowen-recogniser --model FOLDER | --trial FOLDER [--files FOLDER] [--threads N]\n"
                     "Started by parlowen-service, which speaks with it over standard input and output.\n";
        return wrongOptions;
    }
    std::optional<Pipe> pipe;
    try {
        if (options->trial)
            return tryModel(*options);
        pipe.emplace();
        pipe->send({Frame::Kind::Hello, 0, nlohmann::json{{"version", protocolVersion}}.dump()});
        return serve(*options, *pipe);
    } catch (const std::exception& problem) {
        std::cerr << problem.what() << std::endl;
        if (pipe)
            pipe->send({Frame::Kind::Problem, 0, problem.what()});
        _exit(cannotStart);
    }
}
