#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace parlowen::service {

/// Takes a `multipart/form-data` body (RFC 7578) apart while it comes, in pieces of any size.
class MultipartParser {
public:
    struct Part {
        std::string name;
        std::string fileName; ///< as it was sent; empty where the part is no file
    };
    /// Gets the next bytes of a part's content; of an empty part nothing at all, but the end of its header.
    using Taker = std::function<void(const Part&, std::string_view bytes)>;

    static constexpr std::size_t headerBytes = 8'192; ///< of one part; a longer one is malformed

    explicit MultipartParser(const std::string& boundary)
        : delimiter_("\r\n--" + boundary) {}

    /// The boundary that a Content-Type names; none when that is no multipart form.
    static std::optional<std::string> boundaryOf(std::string_view contentType);

    void feed(std::string_view bytes, const Taker& take);
    /// Whether the last delimiter was there, and all was well formed up to it.
    bool isComplete() const { return state_ == State::End; }

private:
    enum class State { Content, Delimiter, Header, End, Malformed };

    /// One step of taking the buffer apart; false when it needs more bytes.
    bool step(const Taker& take);
    bool takeContent(const Taker& take);
    bool takeDelimiter();
    bool takeHeader(const Taker& take);

    const std::string delimiter_;
    State state_ = State::Content; ///< at first the preamble's, which belongs to no part
    std::string buffer_ = "\r\n";  ///< the first delimiter may have no line before it
    std::optional<Part> part_;     ///< none in the preamble
};

} // namespace parlowen::service
