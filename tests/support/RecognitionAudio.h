#pragma once

#include "TemporaryDirectory.h"
#include <cstdint>
#include <cstring>
#include <vector>

/// Recordings with their words.
namespace parlowen::testing {

using Samples = std::vector<std::int16_t>; ///< mono, 16 kHz

struct Recording {
    std::string name;
    Samples samples;
    std::string words;
};

inline Samples samplesOf(const std::filesystem::path& wave) {
    const auto bytes = contentsOf(wave);
    const auto data = bytes.find("data") + 8;
    Samples samples((bytes.size() - data) / 2);
    std::memcpy(samples.data(), bytes.data() + data, samples.size() * 2);
    return samples;
}

inline Recording sampleInterview(const std::filesystem::path& source) {
    const auto folder = source / "resources/sample-interview";
    return {"sample", samplesOf(folder / "sample-interview.wav"), contentsOf(folder / "sample-interview.txt")};
}

/// A person; needs Debian's pocketsphinx-testdata.
inline Recording sampleReading(const std::filesystem::path& source) {
    const std::filesystem::path folder = "/usr/share/pocketsphinx/test/data/librivox";
    const Samples pause(16'000 * 12 / 10);
    Samples all = pause;
    for (const char* number : {"0870", "0880", "0890", "0920", "0930"}) {
        const auto part = samplesOf(folder / ("sense_and_sensibility_01_austen_64kb-" + std::string(number) + ".wav"));
        all.insert(all.end(), part.begin(), part.end());
        all.insert(all.end(), pause.begin(), pause.end());
    }
    return {"reading", all, contentsOf(source / "resources/sample-reading/sample-reading.txt")};
}

} // namespace parlowen::testing
