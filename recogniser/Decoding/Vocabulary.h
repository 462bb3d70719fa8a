#pragma once

#include "TokenSearch.h"

#include <filesystem>
#include <string>
#include <vector>

namespace parlowen::recogniser {

/// The pieces of text that a model's tokens stand for.
class Vocabulary {
public:
    /// A line a token: its bytes in base64, a blank, its number. Throws std::runtime_error for any other file.
    explicit Vocabulary(const std::filesystem::path& file);

    std::size_t size() const { return pieces_.size(); }
    /// Without the marks that are no text. A character may be cut in two at its end.
    std::string textOf(const Tokens& tokens) const;

private:
    std::vector<std::string> pieces_;
};

} // namespace parlowen::recogniser
