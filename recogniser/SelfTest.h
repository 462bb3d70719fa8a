#pragma once

#include <span>
#include <string_view>

namespace parlowen::recogniser {

/// A spoken sentence that is part of the program.
std::span<const float> selfTestAudio();

/// Whether a transcript of it is about right.
bool isSelfTestSentence(std::string_view text);

} // namespace parlowen::recogniser
