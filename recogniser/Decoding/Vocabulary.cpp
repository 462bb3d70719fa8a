#include "Vocabulary.h"

#include <boost/archive/iterators/binary_from_base64.hpp>
#include <boost/archive/iterators/transform_width.hpp>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string_view>

namespace parlowen::recogniser {

namespace {

constexpr std::int64_t marks = 3; // unknown, begin, end

/// Throws when it is none.
std::string fromBase64(std::string_view text) {
    using namespace boost::archive::iterators;
    using Bytes = transform_width<binary_from_base64<const char*>, 8, 6>;
    text = text.substr(0, text.find_last_not_of('=') + 1);
    std::string bytes;
    Bytes byte(text.data());
    for (std::size_t i = 0; i < text.size() * 6 / 8; ++i, ++byte)
        bytes += *byte;
    return bytes;
}

bool isMark(std::int64_t token, const std::string& piece) { return token < marks || piece.starts_with("<<ST_"); }

} // namespace

Vocabulary::Vocabulary(const std::filesystem::path& file) {
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line);) {
        const auto blank = line.find(' ');
        if (blank == std::string::npos || line.substr(blank + 1) != std::to_string(pieces_.size()))
            throw std::runtime_error("no vocabulary in base64: " + file.string());
        try {
            pieces_.push_back(fromBase64(std::string_view(line).substr(0, blank)));
        } catch (const std::exception&) {
            throw std::runtime_error("no vocabulary in base64: " + file.string());
        }
    }
}

std::string Vocabulary::textOf(const Tokens& tokens) const {
    std::string text;
    for (const auto token : tokens)
        if (const auto& piece = pieces_.at(static_cast<std::size_t>(token)); !isMark(token, piece))
            text += piece;
    return text;
}

} // namespace parlowen::recogniser
