#include "Streams/NoiseReduction.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

using parlowen::recogniser::NoiseReduction;
using Samples = std::vector<std::int16_t>;

namespace {

Samples reduced(const Samples& samples, std::size_t piece) {
    NoiseReduction reduction;
    Samples all;
    const auto add = [&all](const Samples& more) { all.insert(all.end(), more.begin(), more.end()); };
    for (std::size_t at = 0; at < samples.size(); at += piece)
        add(reduction.feed(std::span(samples).subspan(at, std::min(piece, samples.size() - at))));
    add(reduction.finish());
    return all;
}

double power(std::span<const std::int16_t> samples) {
    double sum = 0;
    for (const double sample : samples)
        sum += sample * sample;
    return sum / static_cast<double>(samples.size());
}

} // namespace

TEST(NoiseReduction, TakesNoiseAwayAndLeavesWhatIsLoudInItsPlace) {
    std::mt19937 random(1); // NOLINT(cert-msc51-cpp): the same noise every time
    std::normal_distribution<double> noise(0, 300);
    Samples samples(48'123);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<std::int16_t>(
            noise(random) + (i >= 32'000 && i < 40'000 ? 9'000 * std::sin(0.2 * static_cast<double>(i)) : 0));
    const auto whole = reduced(samples, 1'600);
    EXPECT_EQ(whole.size(), samples.size());
    EXPECT_EQ(reduced(samples, 777), whole) << "however it arrives";
    EXPECT_EQ(reduced({1, 2, 3}, 3).size(), 3U) << "less than a frame";
    const auto part = [](const Samples& of, std::size_t at, std::size_t count) {
        return std::span(of).subspan(at, count);
    };
    EXPECT_LT(power(part(whole, 16'000, 8'000)), 0.2 * power(part(samples, 16'000, 8'000)));
    EXPECT_GT(power(part(whole, 32'400, 7'200)), 0.5 * power(part(samples, 32'400, 7'200)));
    EXPECT_LT(power(part(whole, 31'500, 400)), 0.1 * power(part(whole, 32'100, 400))) << "it begins where it did";
}
