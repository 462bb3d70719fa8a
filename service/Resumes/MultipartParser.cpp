#include "MultipartParser.h"

#include "Http/HttpMessage.h"

// Before Boost 1.83, whose token tables forget to name it.
#include <cstdint>

#include <algorithm>
#include <boost/beast/http/rfc7230.hpp>

namespace parlowen::service {

namespace {

namespace beast = boost::beast;

beast::string_view asBeast(std::string_view text) { return {text.data(), text.size()}; }

/// The parameters of a header's value that begins with `type`, in any case; none when it does not.
std::optional<beast::http::param_list> parametersOf(std::string_view value, std::string_view type) {
    value.remove_prefix(std::min(value.find_first_not_of(" \t"), value.size()));
    if (!sameWord(value.substr(0, type.size()), type))
        return std::nullopt;
    return beast::http::param_list(asBeast(value.substr(type.size())));
}

std::string parameter(const beast::http::param_list& parameters, std::string_view wanted) {
    for (const auto& [name, value] : parameters)
        if (sameWord({name.data(), name.size()}, wanted))
            return std::string(value);
    return {};
}

/// By the header's Content-Disposition; none where there is none of a form.
std::optional<MultipartParser::Part> partOf(std::string_view header) {
    constexpr std::string_view field = "content-disposition:";
    while (!header.empty()) {
        const std::string_view line = header.substr(0, header.find("\r\n"));
        header.remove_prefix(std::min(line.size() + 2, header.size()));
        if (!sameWord(line.substr(0, field.size()), field))
            continue;
        if (const auto parameters = parametersOf(line.substr(field.size()), "form-data"))
            return MultipartParser::Part{parameter(*parameters, "name"), parameter(*parameters, "filename")};
    }
    return std::nullopt;
}

} // namespace

std::optional<std::string> MultipartParser::boundaryOf(std::string_view contentType) {
    const auto parameters = parametersOf(contentType, "multipart/form-data");
    std::string boundary = parameters ? parameter(*parameters, "boundary") : std::string();
    if (boundary.empty() || boundary.size() > 70) // the most that RFC 2046 allows
        return std::nullopt;
    return boundary;
}

void MultipartParser::feed(std::string_view bytes, const Taker& take) {
    if (state_ == State::End || state_ == State::Malformed)
        return; // what follows the end is nobody's
    buffer_.append(bytes);
    while (step(take)) {
    }
}

bool MultipartParser::step(const Taker& take) {
    switch (state_) {
    case State::Content:
        return takeContent(take);
    case State::Delimiter:
        return takeDelimiter();
    case State::Header:
        return takeHeader(take);
    default:
        buffer_.clear();
        return false;
    }
}

bool MultipartParser::takeContent(const Taker& take) {
    const auto found = buffer_.find(delimiter_);
    const std::size_t beginning = std::min(buffer_.size(), delimiter_.size() - 1); // perhaps of a delimiter
    const std::size_t sure = found == std::string::npos ? buffer_.size() - beginning : found;
    if (part_ && sure > 0)
        take(*part_, std::string_view(buffer_).substr(0, sure));
    if (found == std::string::npos) {
        buffer_.erase(0, sure);
        return false;
    }
    buffer_.erase(0, found + delimiter_.size());
    state_ = State::Delimiter;
    return true;
}

/// Of the delimiter's line all that follows the boundary: two dashes at the end of the form, blanks, and a line's end.
bool MultipartParser::takeDelimiter() {
    buffer_.erase(0, std::min(buffer_.find_first_not_of(" \t"), buffer_.size()));
    if (buffer_.size() < 2)
        return false;
    if (buffer_.starts_with("--"))
        state_ = State::End;
    else
        state_ = buffer_.starts_with("\r\n") ? State::Header : State::Malformed;
    return true;
}

bool MultipartParser::takeHeader(const Taker& take) {
    // The buffer begins with the end of the delimiter's line, so that a part without a header ends here too.
    const auto end = buffer_.find("\r\n\r\n");
    if (end == std::string::npos && buffer_.size() <= headerBytes)
        return false;
    part_ = end <= headerBytes ? partOf(std::string_view(buffer_).substr(0, end)) : std::nullopt;
    state_ = part_ ? State::Content : State::Malformed;
    if (part_) {
        take(*part_, {});
        buffer_.erase(0, end + 4);
    }
    return true;
}

} // namespace parlowen::service
