#include "SelfTest.h"

#include "Decoding/Words.h"
#include "Protocol/Frames.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

// The first sentences of the sample interview: 2.4 s from 0.9 s on, after the file's header.
asm(R"(
    .section .rodata
    .balign 2
    .global parlowen_self_test_begin
    .global parlowen_self_test_end
    .hidden parlowen_self_test_begin
    .hidden parlowen_self_test_end
parlowen_self_test_begin:
    .incbin ")" PARLOWEN_SELF_TEST_AUDIO R"(", 28844, 76800
parlowen_self_test_end:
    .previous
)");

extern "C" const std::int16_t parlowen_self_test_begin[];
extern "C" const std::int16_t parlowen_self_test_end[];

namespace parlowen::recogniser {

std::span<const float> selfTestAudio() {
    static const std::vector<float> audio = [] {
        std::vector<float> floats;
        for (const auto* sample = parlowen_self_test_begin; sample != parlowen_self_test_end; ++sample)
            floats.push_back(*sample / 32'768.0F);
        return floats;
    }();
    return audio;
}

bool isSelfTestSentence(std::string_view text) {
    const auto words = wordsOf(text);
    constexpr std::array<std::string_view, 5> expected{"good", "morning", "let", "us", "begin"};
    const auto heard = std::count_if(expected.begin(), expected.end(), [&words](auto wanted) {
        return std::any_of(words.begin(), words.end(), [wanted](const Word& word) { return word.key == wanted; });
    });
    return heard >= 3;
}

} // namespace parlowen::recogniser
