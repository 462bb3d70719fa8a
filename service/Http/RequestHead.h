#pragma once

#include "HttpMessage.h"

#include <boost/asio/buffer.hpp>
#include <boost/beast/http/parser.hpp>

namespace parlowen::service {

using RequestParser = boost::beast::http::request_parser<RequestBody>;

/// By what names a server may be asked, and by whom a request may be passed on.
struct HeadRules {
    bool tls = true; ///< what an Origin of the server's own begins with; without it, and with proxies, either way
    std::vector<std::string> hosts;                ///< in lower case; beside these, names of the loopback interface
    std::vector<boost::asio::ip::address> proxies; ///< whose X-Forwarded-For is believed
};

/// How long a request's header is, with the empty line that ends it; none while that is missing. `known` bytes were
/// looked through before.
std::optional<std::size_t> headLength(std::string_view bytes, std::size_t known);

/// Takes a whole header in, which `head` is. What it reports is a problem of the parser's, or a folded line.
boost::system::error_code parseHead(RequestParser& parser, std::string_view head);

/// How many fields of a header were read so far.
std::size_t fieldsOf(const RequestParser& parser);
/// What is wrong with a whole request whose header had so many fields: others behind its body, which nobody checked.
boost::system::error_code problemBehindBody(const RequestParser& parser, std::size_t fields);

/// Whether a Host header names the server: an address of the loopback interface, "localhost" or one of the rules'.
bool isAllowedHost(std::string_view host, const HeadRules& rules);

/// Why a request is not served, as far as its header tells by itself: an encoding that nobody knows (501), not exactly
/// one Host (400), a foreign one or a foreign Origin (403), an unknown expectation (417).
std::optional<HttpResponse> refusalOfHead(const RawRequest& request, const HeadRules& rules);

/// Tells the log of a request by a name that is not the server's, or by another server's page, once a minute at most:
/// most often the operator has yet to name it, or a proxy changes the name.
void noteForeigner(const RawRequest& request, const HeadRules& rules);

/// Whether that is the key of a WebSocket's client: 16 bytes in base64.
bool isWebSocketKey(std::string_view key);

/// Who asked: of a request that a known proxy passed on, the last address that it names.
HttpRequest::Origin originOf(const RawRequest& request, boost::asio::ip::address peer, const HeadRules& rules);

/// The reply to a request that could not be read, or none when there is nobody to reply to.
std::optional<HttpResponse> replyTo(const boost::system::error_code& problem);

/// The reply to a request for which there is no room, which the log counts.
HttpResponse crowded(const HttpRequest& request);

} // namespace parlowen::service
