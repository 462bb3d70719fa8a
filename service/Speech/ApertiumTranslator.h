#pragma once

#include "Engine.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace parlowen::service {

class ChildPipe;

/// Translation by Apertium. One pipeline of its programs is kept running for each direction, started at the first text
/// and again whenever it ended. It offers the directions whose mode files are installed.
class ApertiumTranslator : public Translator {
public:
    struct Options {
        std::filesystem::path modes = "/usr/share/apertium/modes";
        std::chrono::milliseconds limit{5'000}; ///< for one text; the pipeline is started anew after it
    };

    ApertiumTranslator();
    explicit ApertiumTranslator(Options options);
    ~ApertiumTranslator() override;

    std::vector<LanguagePair> pairs() const override;
    /// Blocks, as translation() does, until `done` was called.
    std::function<void()> translate(const LanguagePair& pair, std::string_view text, Done done) override;
    std::optional<std::string> translation(const LanguagePair& pair, std::string_view text);
    void stop() override;

private:
    struct Direction;
    const Options options_;
    std::vector<std::unique_ptr<Direction>> directions_;
};

/// Plain text for Apertium's programs: what they read as markup is escaped, and an end of a sentence that is not shown
/// is put after it, without which they hold the last words back.
std::string apertiumInput(std::string_view text);
/// The text in their answer: without escapes, that end, or blanks that follow a blank.
std::string textOfApertium(std::string_view output);

} // namespace parlowen::service
