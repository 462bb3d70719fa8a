#pragma once

#include "Decoder.h"
#include "Engine.h"
#include "VoiceActivity.h"

#include <atomic>
#include <vector>

namespace parlowen::service {

/// One stream's audio on its way through voice activity and a decoder. One thread at a time, but for cancel().
class UtteranceStream {
public:
    UtteranceStream(DecoderPool& poolOfDecoders, RecognitionSink sinkForEvents);
    ~UtteranceStream();
    UtteranceStream(const UtteranceStream&) = delete;
    UtteranceStream& operator=(const UtteranceStream&) = delete;

    /// Gets the decoder, which process() does otherwise.
    void prepare() {
        if (!cancelled)
            haveDecoder();
    }
    void process(std::span<const std::int16_t> samples);
    void finish();
    /// Work that runs stops soon, and no event comes any more. Any thread.
    void cancel() { cancelled = true; }

private:
    bool haveDecoder();
    void handle(const VoiceActivityDetector::Event& event);
    void begin(std::int64_t at);
    void decodeUpTo(std::int64_t end);
    void reportPartial();
    void end(std::int64_t at);
    void dropAudioBefore(std::int64_t sample);
    void report(RecognitionEvent::Kind kind, std::string text, std::int64_t from, std::int64_t to,
                double confidence = 0);
    void fail(const char* why);

    DecoderPool& pool;
    const RecognitionSink sink;
    std::atomic<bool> cancelled = false; ///< or failed
    std::unique_ptr<Decoder> decoder;
    VoiceActivityDetector detector;
    std::vector<std::int16_t> audio; ///< kept: what an utterance may still need
    std::int64_t audioStart = 0;     ///< sample number of its first
    std::int64_t utteranceStart = 0; ///< sample numbers, while somebody speaks
    std::int64_t decodedUpTo = 0;    ///<
    std::int64_t nextPartial = 0;    ///<
    std::int64_t lastSpeechEnd = 0;  ///<
    bool decoding = false;
    std::string lastPartial;
};

} // namespace parlowen::service
