// One, eight and sixteen calls in real time: when words appear, what they cost, and what is taken back. The baseline of
// the cost is the bare library, which decodes every sentence once.
#include "Measure.h"

#include "Decoding/SettledWords.h"
#include "Decoding/Transcriber.h"
#include "Protocol/StreamEvent.h"
#include "Streams/PieceHost.h"

#include <fstream>
#include <mutex>
#include <sys/resource.h>
#include <thread>

#include "support/RecognitionAudio.h"

namespace {

using namespace parlowen::bench;
using namespace parlowen::testing;
using namespace parlowen::recogniser;
using Clock = std::chrono::steady_clock;

constexpr std::size_t piece = 1'600; // samples that arrive at a time
constexpr std::chrono::milliseconds pieceTime{100};
constexpr std::chrono::milliseconds apart{700}; // the begin of one call and of the next one

double processorSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double residentMegabytes() {
    std::ifstream file("/proc/self/statm");
    double pages = 0;
    file >> pages >> pages;
    return pages * 4'096 / 1e6;
}

struct Told {
    StreamEvent event;
    double at; ///< seconds since the stream began
};

/// What one call came to.
struct Call {
    std::vector<double> firstPartials;     ///< seconds after the first sound
    std::vector<double> questions, others; ///< finals of questions and others, after the last sound
    std::size_t settledWords = 0, settledWrong = 0;
};

/// Settled words that the final does not have, in order.
std::size_t missingIn(const std::vector<Word>& settled, const std::vector<Word>& final) {
    std::size_t missing = 0;
    std::size_t from = 0;
    for (const auto& word : settled) {
        std::size_t i = from;
        while (i < final.size() && final[i].key != word.key)
            ++i;
        missing += i == final.size() ? 1 : 0;
        from = i == final.size() ? from : i + 1;
    }
    return missing;
}

Call judgeCall(const std::vector<Told>& told, const Samples& samples) {
    Call call;
    const auto sounds = soundsOf(samples);
    std::vector<Word> settled;
    std::string settledText;
    bool first = true;
    std::size_t sentence = 0;
    for (const auto& [event, at] : told) {
        if (sentence >= sounds.size())
            break;
        if (event.kind == StreamEvent::Kind::Partial) {
            if (std::exchange(first, false))
                call.firstPartials.push_back(at - static_cast<double>(sounds[sentence].first) / sampleRate);
            settledText = event.text.substr(0, event.settled);
        } else if (event.kind == StreamEvent::Kind::Final) {
            const double after = at - static_cast<double>(sounds[sentence].second) / sampleRate;
            (event.text.ends_with('?') ? call.questions : call.others).push_back(after);
            settled = wordsOf(settledText);
            call.settledWords += settled.size();
            if (std::getenv("SHOW"))
                std::printf("%zu: %.2f %.2f\n  %s\n  %s\n", sentence,
                            call.firstPartials.empty() ? 0 : call.firstPartials.back(), after, settledText.c_str(),
                            event.text.c_str());
            call.settledWrong += missingIn(settled, wordsOf(event.text));
            settledText.clear();
            first = true;
            ++sentence;
        }
    }
    return call;
}

/// All calls hear the recording at the same time, each begins a little after the one before.
std::vector<std::vector<Told>> hear(PieceHost& host, std::mutex& mutex, std::vector<std::vector<Told>>& told,
                                    std::vector<Clock::time_point>& begins, const Samples& samples,
                                    std::uint32_t calls) {
    {
        const std::lock_guard lock(mutex);
        told.assign(calls, {});
        begins.assign(calls, Clock::now());
    }
    const auto begin = Clock::now() + std::chrono::seconds(1 + calls / 8); // opening takes a while
    for (std::uint32_t call = 0; call < calls; ++call) {
        host.handle({Frame::Kind::Open, call + 1, "{}"});
        begins[call] = begin + call * apart;
    }
    const auto pieces = (samples.size() + piece - 1) / piece;
    for (std::size_t tick = 0; tick < pieces + (calls - 1) * (apart / pieceTime); ++tick) {
        std::this_thread::sleep_until(begin + (tick + 1) * pieceTime);
        for (std::uint32_t call = 0; call < calls; ++call) {
            const auto at =
                (tick - call * static_cast<std::size_t>(apart / pieceTime)) * piece; // wraps before its begin
            if (at < samples.size())
                host.handle({Frame::Kind::Audio,
                             call + 1,
                             {reinterpret_cast<const char*>(&samples[at]), std::min(piece, samples.size() - at) * 2}});
        }
    }
    std::this_thread::sleep_for(std::chrono::seconds(2));
    for (std::uint32_t call = 0; call < calls; ++call)
        host.handle({Frame::Kind::Close, call + 1, {}});
    const std::lock_guard lock(mutex);
    return told;
}

double costOfBareLibrary(Transcriber& transcriber, const Samples& samples) {
    const double before = processorSeconds();
    for (const auto& [from, to] : soundsOf(samples)) {
        std::vector<float> floats;
        for (auto i = from; i < to; ++i)
            floats.push_back(static_cast<float>(samples[static_cast<std::size_t>(i)]) / 32'768);
        transcriber.transcribe(floats);
    }
    return processorSeconds() - before;
}

} // namespace

int main(int argc, char** argv) {
    const std::filesystem::path files = PARLOWEN_BINARY_DIR "/lib/parlowen";
    const auto model = ModelFolder::at(files / "models" / (argc > 1 ? argv[1] : "moonshine-base-en"));
    if (!model)
        return std::puts("there is no recogniser here (./dev setup)"), 1;
    const auto& library = SherpaLibrary::load(files);
    const auto transcriber = loadTranscriber(library, *model);
    std::mutex mutex;
    std::vector<std::vector<Told>> told;
    std::vector<Clock::time_point> begins;
    PieceHost host(
        *transcriber, [&] { return makeSileroDetector(library, files / "silero_vad.onnx"); },
        PieceHost::Options{std::max(1U, std::thread::hardware_concurrency()), DecodingLoad(2)},
        [&](const Frame& frame) {
            const std::lock_guard lock(mutex);
            if (frame.kind != Frame::Kind::Event || frame.stream > told.size())
                return;
            const std::chrono::duration<double> at = Clock::now() - begins[frame.stream - 1];
            told[frame.stream - 1].push_back({*decodeStreamEvent(frame.body), at.count()});
        });
    bool met = true;
    double aloneFinal = 0;
    double aloneMemory = 0;
    for (const auto& recording : {sampleInterview(PARLOWEN_SOURCE_DIR), sampleReading(PARLOWEN_SOURCE_DIR)}) {
        const double seconds = static_cast<double>(recording.samples.size()) / sampleRate;
        const double bare = costOfBareLibrary(*transcriber, recording.samples);
        const double before = processorSeconds();
        const auto call = judgeCall(hear(host, mutex, told, begins, recording.samples, 1).front(), recording.samples);
        const double cost = processorSeconds() - before;
        std::printf("-- %s, one call of %.0f s; the bare library decodes it for %.1f %% of a core\n",
                    recording.name.c_str(), seconds, 100 * bare / seconds);
        met &= judge("first partial after the first sound, 95th percentile", percentile(call.firstPartials, 0.95), 0.8,
                     "s");
        met &= judge("final of a question after its last sound, 95th percentile", percentile(call.questions, 0.95), 1.0,
                     "s");
        met &= judge("final of another sentence, 95th percentile", percentile(call.others, 0.95), 1.6, "s");
        met &= judge("settled words that the final takes back",
                     100.0 * static_cast<double>(call.settledWrong) /
                         static_cast<double>(std::max<std::size_t>(1, call.settledWords)),
                     2, "%");
        met &= judge("cost", 100 * cost / seconds, 35, "% of a core");
        if (recording.name == "sample") {
            aloneFinal = percentile(call.questions, 0.95);
            aloneMemory = residentMegabytes();
            met &= judge("memory", aloneMemory, 500, "MB");
        }
    }
    const auto recording = sampleInterview(PARLOWEN_SOURCE_DIR);
    for (const std::uint32_t calls : {8U, 16U}) {
        const double before = processorSeconds();
        std::vector<double> finals;
        for (const auto& one : hear(host, mutex, told, begins, recording.samples, calls)) {
            const auto call = judgeCall(one, recording.samples);
            finals.insert(finals.end(), call.questions.begin(), call.questions.end());
        }
        const double seconds = static_cast<double>(recording.samples.size()) / sampleRate;
        std::printf("-- %u calls at once: %.0f %% of a core, %zu finals\n", calls,
                    100 * (processorSeconds() - before) / seconds, finals.size());
        met &= judge("finals later than alone, 95th percentile", percentile(finals, 0.95) - aloneFinal, 1.0, "s");
        met &= judge("memory for one more call", (residentMegabytes() - aloneMemory) / (calls - 1), 20, "MB");
    }
    return met ? 0 : 1;
}
