#include "HttpMessage.h"

#include <algorithm>
#include <boost/beast/core/string.hpp>

namespace parlowen::service {

namespace {

using Parameters = std::vector<std::pair<std::string, std::string>>;

int hexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

std::string_view target(const RawRequest& raw) {
    const auto text = raw.target();
    return {text.data(), text.size()};
}

Parameters parsedQuery(std::string_view text) {
    Parameters parameters;
    const auto start = text.find('?');
    std::string_view rest = start == std::string_view::npos ? std::string_view() : text.substr(start + 1);
    while (!rest.empty()) {
        const std::string_view pair = rest.substr(0, rest.find('&'));
        rest.remove_prefix(std::min(rest.size(), pair.size() + 1));
        const auto equals = std::min(pair.find('='), pair.size());
        const std::string_view value = equals < pair.size() ? pair.substr(equals + 1) : std::string_view();
        parameters.emplace_back(percentDecoded(pair.substr(0, equals), true), percentDecoded(value, true));
    }
    return parameters;
}

} // namespace

std::string percentDecoded(std::string_view text, bool plusIsSpace) {
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool complete = text[i] == '%' && i + 2 < text.size();
        const int high = complete ? hexDigit(text[i + 1]) : -1;
        const int low = complete ? hexDigit(text[i + 2]) : -1;
        if (high >= 0 && low >= 0) {
            decoded.push_back(static_cast<char>(high * 16 + low));
            i += 2;
        } else {
            decoded.push_back(plusIsSpace && text[i] == '+' ? ' ' : text[i]);
        }
    }
    return decoded;
}

HttpRequest::HttpRequest(const RawRequest& rawRequest, Origin requestOrigin)
    : raw(rawRequest)
    , method(rawRequest.method())
    , path(percentDecoded(target(rawRequest).substr(0, target(rawRequest).find('?')), false))
    , body(rawRequest.body())
    , origin(std::move(requestOrigin))
    , parameters_(parsedQuery(target(rawRequest))) {}

std::string_view HttpRequest::header(std::string_view name) const {
    const auto value = raw[boost::beast::string_view(name.data(), name.size())];
    return {value.data(), value.size()};
}

std::string HttpRequest::query(std::string_view name) const {
    const auto found = std::find_if(parameters_.begin(), parameters_.end(),
                                    [name](const auto& parameter) { return parameter.first == name; });
    return found == parameters_.end() ? std::string() : found->second;
}

std::string_view HttpRequest::bearerToken() const {
    constexpr std::string_view scheme = "Bearer ";
    const std::string_view value = header("Authorization");
    const std::string_view start = value.substr(0, scheme.size());
    if (!boost::beast::iequals({start.data(), start.size()}, {scheme.data(), scheme.size()}))
        return {};
    return value.substr(scheme.size());
}

bool HttpRequest::isLocal() const {
    return origin.peer.is_loopback() && header("Forwarded").empty() && header("X-Forwarded-For").empty();
}

} // namespace parlowen::service
