#include "UtteranceStream.h"

#include "DisplayText.h"

#include <algorithm>

namespace parlowen::service {

namespace {

constexpr std::int64_t decodePiece = sampleRate / 10;
constexpr std::int64_t partialEvery = sampleRate * 3 / 10;

} // namespace

UtteranceStream::UtteranceStream(DecoderPool& poolOfDecoders, RecognitionSink sinkForEvents)
    : pool(poolOfDecoders)
    , sink(std::move(sinkForEvents)) {}

UtteranceStream::~UtteranceStream() {
    if (decoder)
        pool.giveBack(std::move(decoder));
}

void UtteranceStream::process(std::span<const std::int16_t> samples) {
    if (cancelled || !haveDecoder())
        return;
    audio.insert(audio.end(), samples.begin(), samples.end());
    for (const auto& event : detector.feed(samples))
        handle(event);
    if (decoding)
        decodeUpTo(audioStart + static_cast<std::int64_t>(audio.size()));
    dropAudioBefore(decoding ? decodedUpTo : detector.earliestStart());
}

void UtteranceStream::finish() {
    if (cancelled)
        return;
    if (const auto event = detector.finish())
        handle(*event);
    report(RecognitionEvent::Kind::SpeechEnd, {}, lastSpeechEnd, lastSpeechEnd);
}

bool UtteranceStream::haveDecoder() {
    if (decoder)
        return true;
    decoder = pool.take();
    if (decoder)
        decoder->startStream();
    else
        fail("the speech model cannot be loaded");
    return decoder != nullptr;
}

void UtteranceStream::handle(const VoiceActivityDetector::Event& event) {
    if (event.kind == VoiceActivityDetector::Event::Kind::Start) {
        begin(event.at);
    } else {
        decodeUpTo(event.decided);
        end(event.at);
    }
}

void UtteranceStream::begin(std::int64_t at) {
    if (cancelled)
        return;
    if (!decoder->startUtterance())
        return fail("the decoder does not start");
    decoding = true;
    utteranceStart = decodedUpTo = at;
    nextPartial = at + partialEvery;
    lastPartial.clear();
    report(RecognitionEvent::Kind::SpeechStart, {}, at, at);
}

void UtteranceStream::decodeUpTo(std::int64_t end) {
    while (decoding && !cancelled && decodedUpTo < end) {
        const auto count = std::min(decodePiece, end - decodedUpTo);
        const auto first = static_cast<std::size_t>(decodedUpTo - audioStart);
        if (!decoder->process(std::span(audio).subspan(first, static_cast<std::size_t>(count))))
            return fail("the decoder gave up");
        decodedUpTo += count;
        if (decodedUpTo >= nextPartial)
            reportPartial();
    }
}

void UtteranceStream::reportPartial() {
    nextPartial = decodedUpTo + partialEvery;
    auto text = partialText(decoder->words());
    if (text.empty() || text == lastPartial)
        return;
    report(RecognitionEvent::Kind::Partial, text, utteranceStart, decodedUpTo);
    lastPartial = std::move(text);
}

void UtteranceStream::end(std::int64_t at) {
    if (!decoding)
        return;
    decoding = false;
    lastSpeechEnd = at;
    if (cancelled)
        return;
    const auto result = decoder->endUtterance();
    report(RecognitionEvent::Kind::Final, sentenceText(result.words), utteranceStart, at, result.confidence);
}

void UtteranceStream::dropAudioBefore(std::int64_t sample) {
    const auto count = std::clamp<std::int64_t>(sample - audioStart, 0, static_cast<std::int64_t>(audio.size()));
    audio.erase(audio.begin(), audio.begin() + count);
    audioStart += count;
}

void UtteranceStream::report(RecognitionEvent::Kind kind, std::string text, std::int64_t from, std::int64_t to,
                             double confidence) {
    if (!cancelled)
        sink({kind, std::move(text), ticksOfSamples(from), ticksOfSamples(to - from), confidence});
}

void UtteranceStream::fail(const char* why) {
    report(RecognitionEvent::Kind::Failed, why, 0, 0);
    cancelled = true;
    decoding = false;
}

} // namespace parlowen::service
