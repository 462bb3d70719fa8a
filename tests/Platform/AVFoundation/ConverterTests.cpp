#include "Sounds.h"
#include "support/Testing.h"
#include <random>

namespace parlowen::testing {
namespace {

Wave clickAt(std::size_t at) {
    return [at](std::size_t frame, int) { return frame == at ? 0.9 : 0.0; };
}

/// All that is not the tone of `cycles` a sample, in dB relative to the tone, in the worst block of 1024 samples; the
/// first 400, a resampler's start, are left out. By least squares: the tone that comes nearest is taken away.
double worstImpurity(const std::vector<double>& samples, double cycles) {
    constexpr std::size_t block = 1024, resamplerStart = 400;
    double worst = samples.size() < resamplerStart + block ? 0 : -200;
    for (std::size_t start = resamplerStart; start + block <= samples.size(); start += block / 2) {
        double ss = 0, cc = 0, sc = 0, xs = 0, xc = 0, xx = 0;
        for (std::size_t i = start; i < start + block; ++i) {
            const double turn = 2 * std::numbers::pi * cycles * static_cast<double>(i);
            const double sine = std::sin(turn), cosine = std::cos(turn), x = samples[i];
            ss += sine * sine, cc += cosine * cosine, sc += sine * cosine;
            xs += x * sine, xc += x * cosine, xx += x * x;
        }
        const double tone = (xs * xs * cc - 2 * xs * xc * sc + xc * xc * ss) / (ss * cc - sc * sc);
        worst = std::max(worst, 10 * std::log10(std::max(xx - tone, 1e-9) / tone));
    }
    return worst;
}

/// That a tone of 1 kHz, half of full scale, bends nowhere more than at its top, as it would at a click.
void expectNoClick(const std::vector<double>& samples, std::size_t from) {
    const double bend = 16384 * std::pow(2 * std::numbers::pi / 16, 2);
    for (std::size_t i = from; i + 1 < samples.size(); ++i)
        ASSERT_LT(std::abs(samples[i + 1] - 2 * samples[i] + samples[i - 1]), 1.05 * bend) << i;
}

} // namespace

TEST(Converter, IsMadeOnlyForWhatItCanDo) {
    const auto stereo = AVAudioFormat::make(AVAudioCommonFormat::Int16, 16000, 2, true);
    EXPECT_EQ(AVAudioConverter::make(floatFormat(48000, 2), floatFormat(16000, 1)), nullptr);
    EXPECT_EQ(AVAudioConverter::make(floatFormat(48000, 2), *stereo), nullptr);
    EXPECT_EQ(AVAudioConverter::make(floatFormat(10, 2), speechFormat()), nullptr);
    EXPECT_EQ(AVAudioConverter::make(floatFormat(1e9, 2), speechFormat()), nullptr);
    EXPECT_FALSE(AVAudioFormat::make(AVAudioCommonFormat::Int16, std::nan(""), 2, true));
    EXPECT_FALSE(AVAudioFormat::make(AVAudioCommonFormat::Int16, 48000, 0, true));
    EXPECT_EQ(AVAudioPCMBuffer::make(floatFormat(48000, 8), std::numeric_limits<std::uint32_t>::max()), nullptr);
    const Buffer buffer = AVAudioPCMBuffer::make(floatFormat(48000, 2), 100);
    buffer->setFrameLength(101);
    EXPECT_EQ(buffer->frameLength(), 100U);
    EXPECT_EQ(buffer->int16ChannelData(0), nullptr);
}

/// A steady level shows a frame that was left out anywhere: it would stay 0.
TEST(Converter, FillsExactlyTheFramesAskedForAtAnyRateAndSize) {
    const Wave level = [](std::size_t, int channel) { return channel == 0 ? 0.75 : 0.25; };
    for (const double rate : {8000., 11025., 16000., 44100., 48000., 192000.})
        for (const int channels : {1, 2})
            for (const std::uint32_t size : {2048U, 1023U, 37U}) {
                SCOPED_TRACE(::testing::Message() << rate << " Hz, " << channels << " channels, " << size << " frames");
                const std::vector<std::uint32_t> sizes(8192 / size + 200 / askedFor(size, rate) + 2, size);
                const std::vector<double> out = converted(floatFormat(rate, channels), sizes, level);
                ASSERT_EQ(out.size(), sizes.size() * askedFor(size, rate));
                const double expected = 32768 * (channels == 1 ? 0.75 : 0.5);
                const auto [least, most] = std::minmax_element(out.begin() + 160, out.end());
                EXPECT_NEAR(*least, expected, expected / 100);
                EXPECT_NEAR(*most, expected, expected / 100);
            }
}

/// Sizes that are no exact ratio of the rates stretch the sound a little, and with it the tone.
TEST(Converter, KeepsAToneCleanAndShowsNoSeam) {
    for (const double rate : {8000., 16000., 48000., 96000.}) {
        SCOPED_TRACE(rate);
        const std::vector<std::uint32_t> sizes(static_cast<std::size_t>(rate / 2048) + 4, 2048);
        const std::vector<double> out = converted(floatFormat(rate, 2), sizes, toneOf(1000, rate));
        EXPECT_LT(worstImpurity(out, 1000 / rate * 2048 / askedFor(2048, rate)), -60);
    }
    std::minstd_rand random(7); // the same sizes each time
    std::vector<std::uint32_t> odd(60);
    std::ranges::generate(odd, [&random] { return 400 + random() % 3800; });
    // Here each size is another ratio of its own, so the pitch wavers a little; there must be no click.
    for (const double rate : {11025., 44100., 48000.}) // the first leaves samples over from buffer to buffer
        expectNoClick(converted(floatFormat(rate, 2), odd, toneOf(1000, rate)), 401);
}

TEST(Converter, ABufferAskedForInAnotherLengthAtTheSameRateLeavesNoSeamEither) {
    const auto converter = AVAudioConverter::make(floatFormat(16000, 1), speechFormat());
    std::vector<double> out;
    std::size_t frame = 0;
    for (const std::uint32_t asked : {800U, 800U, 796U, 800U, 800U}) {
        const Buffer input = bufferOf(floatFormat(16000, 1), 800, toneOf(1000, 16000), frame);
        const Buffer output = AVAudioPCMBuffer::make(speechFormat(), asked);
        output->setFrameLength(asked);
        ASSERT_TRUE(converter->convert(*output, [&input] { return input; }));
        out.insert(out.end(), output->int16ChannelData(0), output->int16ChannelData(0) + asked);
        frame += 800;
    }
    expectNoClick(out, 1610); // it is delayed from the first stretched buffer on, where it may repeat a little
}

TEST(Converter, AveragesEveryChannelOfEveryLayout) {
    const Wave wave = [](std::size_t frame, int channel) { return channel == 5 ? 0.6 * (frame % 7 / 7.0) : 0.0; };
    const std::vector<double> expected =
        converted(floatFormat(16000, 1), {700}, [&wave](std::size_t frame, int) { return wave(frame, 5) / 6; });
    const auto integers = AVAudioFormat::make(AVAudioCommonFormat::Int16, 16000, 6, false);
    for (const AVAudioFormat& format : {floatFormat(16000, 6), floatFormat(16000, 6, false), *integers}) {
        const std::vector<double> out = converted(format, {700}, wave);
        ASSERT_EQ(out.size(), expected.size());
        for (std::size_t i = 0; i < out.size(); ++i)
            ASSERT_NEAR(out[i], expected[i], 1) << i;
    }
}

TEST(Converter, StaysSoundWhateverComesIn) {
    const std::unique_ptr<AVAudioConverter> converter = AVAudioConverter::make(floatFormat(48000, 1), speechFormat());
    const Buffer output = bufferOf(speechFormat(), 682, clickAt(0));
    const auto convert = [&](const Buffer& input) { return converter->convert(*output, [&input] { return input; }); };
    const auto level = [](double value) {
        return bufferOf(floatFormat(48000, 1), 2048, [value](std::size_t, int) { return value; });
    };
    EXPECT_FALSE(convert(nullptr));
    EXPECT_FALSE(convert(bufferOf(floatFormat(48000, 1), 0, clickAt(0))));
    EXPECT_FALSE(convert(bufferOf(floatFormat(44100, 1), 2048, clickAt(0))));
    for (const double value : {std::nan(""), HUGE_VAL, -HUGE_VAL, 1e30})
        EXPECT_TRUE(convert(level(value)));
    EXPECT_EQ(output->int16ChannelData(0)[681], 32767);
    EXPECT_TRUE(convert(level(-3)));
    EXPECT_EQ(output->int16ChannelData(0)[681], -32768);
    EXPECT_TRUE(convert(level(0.25)));
    EXPECT_NEAR(output->int16ChannelData(0)[681], 8192, 80);
    const Buffer oneBad = level(0.25);
    oneBad->floatChannelData(0)[1000] = std::nanf("");
    EXPECT_TRUE(convert(oneBad));
    for (int i = 1; i < 681; ++i)
        EXPECT_NEAR(output->int16ChannelData(0)[i], 8000, 4000) << i;
}

} // namespace parlowen::testing
