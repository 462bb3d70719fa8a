#pragma once

#include "Speech/Engine.h"
#include <algorithm>
#include <map>
#include <utility>

namespace parlowen::testing {

/// Recognition whose events the test sends itself, through the sink of the newest stream.
class ScriptedEngine : public service::RecognitionEngine {
public:
    struct Heard {
        service::RecognitionSink sink;
        std::vector<std::int16_t> samples;
        bool finished = false;
        bool open = true;
    };

    std::vector<std::string> locales() const override { return {"en-US", "en-GB"}; }
    std::unique_ptr<service::RecognitionStream> open(std::string_view, service::RecognitionSink sink) override {
        if (refuses)
            return nullptr;
        auto stream = std::make_shared<Heard>();
        stream->sink = std::move(sink);
        streams.push_back(stream);
        return std::make_unique<Stream>(stream, takesMore);
    }

    std::vector<std::shared_ptr<Heard>> streams; ///< all that were opened
    bool refuses = false;
    bool takesMore = true;

private:
    class Stream : public service::RecognitionStream {
    public:
        Stream(std::shared_ptr<Heard> stream, const bool& more)
            : heard(std::move(stream))
            , takesMore(more) {}
        ~Stream() override { heard->open = false; }
        bool accept(std::span<const std::int16_t> samples) override {
            heard->samples.insert(heard->samples.end(), samples.begin(), samples.end());
            return takesMore;
        }
        void finish() override { heard->finished = true; }

    private:
        std::shared_ptr<Heard> heard;
        const bool& takesMore;
    };
};

/// Puts the target's code before the text. Counts what it is asked; fails for texts that hold "untranslatable".
struct ScriptedTranslator : service::Translator {
    std::vector<service::LanguagePair> pairs() const override { return {{"en", "es"}, {"en", "fr"}, {"pt", "es"}}; }
    std::function<void()> translate(const service::LanguagePair& pair, std::string_view text, Done done) override {
        asked.emplace_back(text);
        if (stalls) {
            held = std::move(done);
            return [this] { ++dropped, held = nullptr; };
        }
        const bool can = text.find("untranslatable") == std::string_view::npos;
        done(can ? std::optional(pair.to + ":" + std::string(text)) : std::nullopt);
        return {};
    }

    bool isForFinalsAlone() const override { return slow; }

    std::vector<std::string> asked;
    bool slow = false;
    bool stalls = false;
    Done held; ///< of what it was asked last while it stalled
    int dropped = 0;
};

} // namespace parlowen::testing
