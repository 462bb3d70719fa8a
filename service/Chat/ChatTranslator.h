#pragma once

#include "ChatClient.h"
#include "Speech/Engine.h"

#include <atomic>

namespace parlowen::service {

/// Translation by a language model, of finished texts alone: it takes too long for those that still grow. No thread
/// waits for it. Thread-safe.
class ChatTranslator : public Translator {
public:
    /// `targets` are codes such as "zh-Hans". The client outlives this; once it is stopped nothing is translated.
    ChatTranslator(ChatClient& client, std::vector<std::string> targets)
        : client_(client)
        , targets_(std::move(targets)) {}

    /// From every language that has a name to every target of another language.
    std::vector<LanguagePair> pairs() const override;
    bool isForFinalsAlone() const override { return true; }
    std::function<void()> translate(const LanguagePair& pair, std::string_view text, Done done) override;

    static constexpr std::chrono::seconds limit{8}; ///< for one text
    static constexpr int atOnce = 8;                ///< texts; one more is not translated

private:
    ChatClient& client_;
    const std::vector<std::string> targets_;
    const std::shared_ptr<std::atomic<int>> running_ = std::make_shared<std::atomic<int>>(0);
};

} // namespace parlowen::service
