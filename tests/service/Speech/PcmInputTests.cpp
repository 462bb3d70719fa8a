#include "Speech/PcmInput.h"

#include <Wire/SpeechMessage.h>
#include <gtest/gtest.h>

using namespace parlowen::service;
using parlowen::wire::waveHeader;

namespace {

const std::string pcm("\x01\x00\xff\xff\x00\x80\xff\x7f\x34\x12", 10);
const std::vector<std::int16_t> samples{1, -1, -32'768, 32'767, 0x1234};

std::vector<std::int16_t> fedInTwo(const std::string& bytes, std::size_t cut) {
    PcmInput input;
    std::vector<std::int16_t> result;
    for (const auto& piece : {bytes.substr(0, cut), bytes.substr(cut)})
        if (const auto part = input.feed(piece))
            result.insert(result.end(), part->begin(), part->end());
    return result;
}

} // namespace

TEST(PcmInput, IsReadWithAndWithoutHeaderCutAnywhere) {
    for (const auto& bytes : {waveHeader() + pcm, pcm})
        for (std::size_t cut = 0; cut <= bytes.size(); ++cut)
            EXPECT_EQ(fedInTwo(bytes, cut), samples) << bytes.size() << " cut at " << cut;
}

TEST(PcmInput, OtherFormatsAreRefused) {
    EXPECT_FALSE(PcmInput().feed(waveHeader(8'000)));
    EXPECT_FALSE(PcmInput().feed(waveHeader(16'000, 2)));
    EXPECT_FALSE(PcmInput().feed(waveHeader(16'000, 1, 8)));
    EXPECT_FALSE(PcmInput().feed("RIFF" + std::string(60, 'x')));
}
