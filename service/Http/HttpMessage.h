#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/ip/address.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/verb.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace parlowen::service {

using boost::beast::http::verb;
using RawRequest = boost::beast::http::request<boost::beast::http::string_body>;

/// A request as handlers see it. It refers to the raw request, which outlives the handler's run.
class HttpRequest {
public:
    /// Who asked, and where the handler may do what blocks.
    struct Origin {
        boost::asio::ip::address peer;
        boost::asio::any_io_executor workers;
    };

    HttpRequest(const RawRequest& rawRequest, Origin requestOrigin);

    const RawRequest& raw; ///< as Beast read it, for the acceptance of a WebSocket
    const verb method;
    const std::string path; ///< decoded, without the query
    const std::string& body;
    const Origin origin;

    /// The value of a header, its name compared without case; empty when missing.
    std::string_view header(std::string_view name) const;
    /// The decoded value of a query parameter; empty when missing.
    std::string query(std::string_view name) const;
    /// What follows "Bearer " in the Authorization header; empty when missing.
    std::string_view bearerToken() const;
    /// Whether the request was made on this machine, and was not passed on by a proxy.
    bool isLocal() const;

private:
    std::vector<std::pair<std::string, std::string>> parameters_;
};

struct HttpResponse {
    unsigned status = 200;
    std::string body = {};
    std::string contentType = "application/json; charset=utf-8";
    std::vector<std::pair<std::string, std::string>> headers = {}; ///< further ones
};

/// Undoes percent encoding; a "%" that no two hex digits follow stays as it is. `plusIsSpace` for query values.
std::string percentDecoded(std::string_view text, bool plusIsSpace);

} // namespace parlowen::service
