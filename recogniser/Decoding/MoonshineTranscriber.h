#pragma once

#include "Transcriber.h"

namespace parlowen::recogniser {

/// A Moonshine model of two networks, an encoder and a merged decoder (Jeffries et al., "Moonshine: Speech Recognition
/// for Live Transcription and Voice Commands", 2024). The library only takes the likeliest next token, over and over,
/// and begins with nothing each time; this follows several texts, and begins with what was heard before. Throws
/// std::runtime_error when the networks or the vocabulary are of another make, std::length_error when the vocabulary is
/// too short.
std::unique_ptr<Transcriber> loadMoonshine(const SherpaLibrary& library, const ModelFolder& model);

} // namespace parlowen::recogniser
