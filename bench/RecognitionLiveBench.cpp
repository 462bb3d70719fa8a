// One, eight and sixteen calls (or one and as many as the argument says) in real time: when words appear, what they
// cost, and what is taken back. The baseline of the cost is the bare library, which decodes every sentence once.
#include "Measure.h"

#include "Decoding/SettledWords.h"
#include "Decoding/Transcriber.h"
#include "Protocol/StreamEvent.h"
#include "Streams/PieceHost.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <mutex>
#include <optional>
#include <span>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

#include "support/RecognitionAudio.h"

namespace {

using namespace parlowen::bench;
using namespace parlowen::testing;
using namespace parlowen::recogniser;
using Clock = std::chrono::steady_clock;

constexpr std::size_t piece = 1'600; // samples that arrive at a time
constexpr std::chrono::milliseconds pieceTime{100};
constexpr std::chrono::milliseconds apart{700}; // the begin of one call and of the next one

using Span = std::pair<std::int64_t, std::int64_t>; ///< from and to, in samples
constexpr std::int64_t frameLength = 160;

int peakAt(const Samples& samples, std::int64_t at) {
    int peak = 0;
    for (const int sample : std::span(samples).subspan(static_cast<std::size_t>(at), frameLength))
        peak = std::max(peak, std::abs(sample));
    return peak;
}

/// Without the noise of the room before and after it: what lies 26 dB and more below the loudest.
Span speechIn(const Samples& samples, Span sound) {
    int loudest = 0;
    for (auto at = sound.first; at < sound.second; at += frameLength)
        loudest = std::max(loudest, peakAt(samples, at));
    while (peakAt(samples, sound.first) * 20 < loudest)
        sound.first += frameLength;
    while (peakAt(samples, sound.second - frameLength) * 20 < loudest)
        sound.second -= frameLength;
    return sound;
}

/// Where somebody speaks: frames of 10 ms above -46 dB, gaps of less than 0.6 s closed.
std::vector<Span> speechOf(const Samples& samples) {
    constexpr std::int64_t shortestGap = 9'600;
    constexpr int threshold = 160;
    std::vector<Span> sounds;
    for (std::int64_t at = 0; at + frameLength <= static_cast<std::int64_t>(samples.size()); at += frameLength) {
        if (peakAt(samples, at) <= threshold)
            continue;
        if (!sounds.empty() && at - sounds.back().second < shortestGap)
            sounds.back().second = at + frameLength;
        else
            sounds.emplace_back(at, at + frameLength);
    }
    for (auto& sound : sounds)
        sound = speechIn(samples, sound);
    return sounds;
}

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
    std::vector<double> firstPartials;     ///< seconds after speech began
    std::vector<double> questions, others; ///< finals of questions and others, after its end
    std::size_t settledWords = 0, settledWrong = 0;
    std::size_t unheard = 0; ///< sounds without a final
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

/// Which of the sounds an utterance is about: the one it shares most with. A sentence that was cut in two has two
/// utterances, of which the last one ends with the sound.
std::size_t soundOf(const StreamEvent& event, const std::vector<Span>& sounds) {
    const auto shared = [&](const auto& sound) {
        return std::min(event.to, sound.second) - std::max(event.from, sound.first);
    };
    const auto best = std::max_element(sounds.begin(), sounds.end(),
                                       [&](const auto& a, const auto& b) { return shared(a) < shared(b); });
    return static_cast<std::size_t>(best - sounds.begin());
}

Call judgeCall(const std::vector<Told>& told, const Samples& samples) {
    struct Sound {
        std::optional<double> firstPartial;
        std::optional<double> final; // the last one
        bool question = false;
    };
    Call call;
    const auto sounds = speechOf(samples);
    std::vector<Sound> heard(sounds.size());
    std::string settledText;
    for (const auto& [event, at] : told) {
        if (event.kind != StreamEvent::Kind::Partial && event.kind != StreamEvent::Kind::Final)
            continue;
        const std::size_t index = soundOf(event, sounds);
        Sound& sound = heard[index];
        if (event.kind == StreamEvent::Kind::Partial) {
            if (!sound.firstPartial)
                sound.firstPartial = at - static_cast<double>(sounds[index].first) / sampleRate;
            settledText = event.text.substr(0, event.settled);
        } else {
            sound.final = at - static_cast<double>(sounds[index].second) / sampleRate;
            sound.question = event.text.ends_with('?');
            const auto settled = wordsOf(std::exchange(settledText, {}));
            call.settledWords += settled.size();
            call.settledWrong += missingIn(settled, wordsOf(event.text));
        }
    }
    for (const Sound& sound : heard) {
        if (sound.firstPartial)
            call.firstPartials.push_back(*sound.firstPartial);
        if (sound.final)
            (sound.question ? call.questions : call.others).push_back(*sound.final);
        else
            ++call.unheard;
    }
    return call;
}

/// The recogniser's streams with a clock.
class Calls {
public:
    Calls(Transcriber& transcriber, const SherpaLibrary& library, const std::filesystem::path& files)
        : host(transcriber, sileroDetectors(library, files / "silero_vad.onnx"),
               PieceHost::Options{std::max(1U, std::thread::hardware_concurrency()), DecodingLoad(2)},
               [this](const Frame& frame) { take(frame); }) {}

    /// Each call hears the recording, and begins a little after the one before.
    std::vector<Call> hear(const Samples& samples, std::uint32_t calls) {
        open(calls);
        const auto pieces = (samples.size() + piece - 1) / piece;
        const auto shift = static_cast<std::size_t>(apart / pieceTime);
        for (std::size_t tick = 0; tick < pieces + (calls - 1) * shift; ++tick) {
            std::this_thread::sleep_until(begins.front() + (tick + 1) * pieceTime);
            for (std::uint32_t call = 0; call < calls; ++call)
                if (const auto at = (tick - call * shift) * piece; at < samples.size()) // wraps before its begin
                    host.handle(
                        {Frame::Kind::Audio,
                         call + 1,
                         {reinterpret_cast<const char*>(&samples[at]), std::min(piece, samples.size() - at) * 2}});
        }
        std::this_thread::sleep_for(std::chrono::seconds(2));
        megabytes = residentMegabytes();
        std::vector<Call> judged;
        for (std::uint32_t call = 0; call < calls; ++call) {
            host.handle({Frame::Kind::Close, call + 1, {}});
            const std::lock_guard lock(mutex);
            judged.push_back(judgeCall(told[call], samples));
        }
        return judged;
    }

    double megabytes = 0; ///< while the last ones were open

private:
    void open(std::uint32_t calls) {
        {
            const std::lock_guard lock(mutex);
            told.assign(calls, {});
            begins.assign(calls, Clock::now() + std::chrono::seconds(1 + calls / 8)); // opening takes a while
            for (std::uint32_t call = 0; call < calls; ++call)
                begins[call] += call * apart;
        }
        for (std::uint32_t call = 0; call < calls; ++call)
            host.handle({Frame::Kind::Open, call + 1, "{}"});
    }
    void take(const Frame& frame) {
        const std::lock_guard lock(mutex);
        if (frame.kind != Frame::Kind::Event)
            return;
        const std::chrono::duration<double> at = Clock::now() - begins[frame.stream - 1];
        told[frame.stream - 1].push_back({*decodeStreamEvent(frame.body), at.count()});
    }

    std::mutex mutex;
    std::vector<std::vector<Told>> told;
    std::vector<Clock::time_point> begins;
    PieceHost host; // last: it ends first
};

double costOfBareLibrary(Transcriber& transcriber, const Samples& samples) {
    const double before = processorSeconds();
    for (const auto& [from, to] : speechOf(samples)) {
        std::vector<float> floats;
        for (auto i = from; i < to; ++i)
            floats.push_back(static_cast<float>(samples[static_cast<std::size_t>(i)]) / 32'768);
        transcriber.transcribe(floats, Search::Fast, {});
    }
    return processorSeconds() - before;
}

/// In a process of its own, whose memory goes with it. Nothing may run here yet.
std::vector<double> costsOfBareLibrary(const std::filesystem::path& files, const ModelFolder& model,
                                       const std::vector<Recording>& recordings) {
    std::vector<double> costs(recordings.size());
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0)
        return costs;
    const auto child = fork();
    if (child == 0) {
        const auto bare = loadBareTranscriber(SherpaLibrary::load(files), model);
        for (const auto& recording : recordings) {
            const double cost = costOfBareLibrary(*bare, recording.samples);
            [[maybe_unused]] const auto written = write(ends[1], &cost, sizeof cost);
        }
        _exit(0);
    }
    close(ends[1]);
    for (double& cost : costs)
        if (read(ends[0], &cost, sizeof cost) != sizeof cost)
            cost = std::nan("");
    close(ends[0]);
    waitpid(child, nullptr, 0);
    return costs;
}

/// So often, each time a little later within the pieces that arrive: where they are cut is chance.
Samples repeated(const Samples& samples, std::size_t times) {
    Samples result;
    for (std::size_t time = 0; time < times; ++time) {
        result.insert(result.end(), piece * time / times, 0);
        result.insert(result.end(), samples.begin(), samples.end());
    }
    return result;
}

/// What one call is told, and what it costs. Gives the 95th percentile of the finals of questions.
double judgeOne(Calls& calls, const Recording& recording, double costOfBare, bool& met) {
    const auto samples = repeated(recording.samples, 3);
    const double seconds = static_cast<double>(samples.size()) / sampleRate;
    const double before = processorSeconds();
    const auto call = calls.hear(samples, 1).front();
    const double cost = processorSeconds() - before;
    std::printf("-- %s, one call of %.0f s; the bare library decodes it for %.1f %% of a core\n",
                recording.name.c_str(), seconds,
                100 * costOfBare * sampleRate / static_cast<double>(recording.samples.size()));
    std::printf("     first partial after speech began, median: %.3f s\n", median(call.firstPartials));
    met &= judge("first partial after speech began, 95th percentile", percentile(call.firstPartials, 0.95), 0.8, "s");
    if (!call.questions.empty())
        met &= judge("final of a question after its end, 95th percentile", percentile(call.questions, 0.95), 1, "s");
    if (!call.others.empty())
        met &= judge("final of another sentence, 95th percentile", percentile(call.others, 0.95), 1.6, "s");
    const auto settled = static_cast<double>(std::max<std::size_t>(1, call.settledWords));
    met &= judge("settled words that the final takes back", 100.0 * static_cast<double>(call.settledWrong) / settled, 2,
                 "%");
    met &= judge("sounds without a final", static_cast<double>(call.unheard), 0, "");
    met &= judge("cost", 100 * cost / seconds, 35, "% of a core");
    return percentile(call.questions, 0.95);
}

void judgeMany(Calls& calls, const Recording& recording, std::uint32_t count, double alone, bool& met) {
    const double before = processorSeconds();
    const double memory = residentMegabytes();
    std::vector<double> finals;
    std::size_t unheard = 0;
    for (const auto& call : calls.hear(recording.samples, count)) {
        finals.insert(finals.end(), call.questions.begin(), call.questions.end());
        unheard += call.unheard;
    }
    const double seconds = static_cast<double>(recording.samples.size()) / sampleRate;
    std::printf("-- %u calls at once: %.0f %% of a core, %zu finals of questions\n", count,
                100 * (processorSeconds() - before) / seconds, finals.size());
    met &= judge("finals later than alone, 95th percentile", percentile(finals, 0.95) - alone, 1.0, "s");
    met &= judge("sounds without a final", static_cast<double>(unheard), 0, "");
    met &= judge("memory for one more call", (calls.megabytes - memory) / (count - 1), 20, "MB");
}

} // namespace

int main(int argc, char** argv) {
    const std::filesystem::path files = PARLOWEN_BINARY_DIR "/lib/parlowen/recogniser";
    const auto model = ModelFolder::at(files / "models/moonshine-base-en");
    if (!model)
        return std::puts("there is no recogniser here (./dev setup)"), 1;
    const auto sample = sampleInterview(PARLOWEN_SOURCE_DIR);
    const auto reading = sampleReading(PARLOWEN_SOURCE_DIR);
    const auto costs = costsOfBareLibrary(files, *model, {sample, reading});
    const auto& library = SherpaLibrary::load(files);
    const auto transcriber = loadTranscriber(library, *model);
    Calls calls(*transcriber, library, files);
    bool met = true;
    const double alone = judgeOne(calls, sample, costs[0], met);
    met &= judge("memory", residentMegabytes(), 500, "MB");
    if (argc == 1)
        judgeOne(calls, reading, costs[1], met);
    for (const int count : argc > 1 ? std::vector<int>{std::atoi(argv[1])} : std::vector<int>{8, 16})
        judgeMany(calls, sample, static_cast<std::uint32_t>(std::clamp(count, 2, 64)), alone, met);
    return met ? 0 : 1;
}
