#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/ip/address.hpp>
#include <boost/beast/core/buffer_traits.hpp>
#include <boost/beast/core/buffers_range.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/verb.hpp>
#include <boost/optional.hpp>
#include <boost/url/url_view.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace parlowen::service {

using boost::beast::http::verb;

/// Whether two words of a protocol are the same, whatever the case of their ASCII letters. (Beast's own comparison
/// reads a byte behind both.)
bool sameWord(std::string_view a, std::string_view b);

/// Whether the text of a Host header is an address of the loopback interface, or "localhost".
bool namesLoopback(std::string_view host);

/// A request's body as a text that grows as it comes: no room is made for what a header only promises.
struct RequestBody {
    using value_type = std::string;

    class reader {
    public:
        template<bool IsRequest, typename Fields>
        reader(boost::beast::http::header<IsRequest, Fields>&, value_type& text)
            : text_(text) {}
        void init(const boost::optional<std::uint64_t>&, boost::system::error_code& problem) { problem = {}; }
        template<typename Buffers>
        std::size_t put(const Buffers& buffers, boost::system::error_code& problem) {
            problem = {};
            for (const auto buffer : boost::beast::buffers_range_ref(buffers))
                text_.append(static_cast<const char*>(buffer.data()), buffer.size());
            return boost::beast::buffer_bytes(buffers);
        }
        void finish(boost::system::error_code& problem) { problem = {}; }

    private:
        value_type& text_;
    };
};
using RawRequest = boost::beast::http::request<RequestBody>;

/// Takes a body piece by piece where a route does not want it in memory.
class BodySink {
public:
    virtual ~BodySink() = default;
    /// The next bytes of the body. Called on a worker thread, one call at a time, and may block.
    virtual void take(std::string_view bytes) = 0;
};

/// A request as handlers see it. It refers to the raw request, which outlives the handler's run. It is made of the
/// header alone: a guard sees an empty body, a handler the whole one.
class HttpRequest {
public:
    /// Who asked, and where the handler may do what blocks: what takes seconds on the slow workers, which hold nobody
    /// else up.
    struct Origin {
        boost::asio::ip::address peer;
        boost::asio::any_io_executor workers = {};
        boost::asio::any_io_executor slowWorkers = {};
        bool viaProxy = false; ///< a proxy that is trusted passed it on
        std::function<void(std::int64_t user)> signedIn = {};

        /// Who counts as one where something is limited: an IPv4 address, or the 64 bits of an IPv6 network, whose
        /// other 64 its owner chooses at will.
        std::string network() const;
    };

    /// `target` is parsed from the raw request's.
    HttpRequest(const RawRequest& rawRequest, const boost::urls::url_view& target, Origin requestOrigin);

    const RawRequest& raw; ///< as Beast reads it, for the acceptance of a WebSocket
    const verb method;
    const std::string path; ///< decoded, without the query
    std::string rest;       ///< what the "*" of the route's path stands for
    const Origin origin;
    std::unique_ptr<BodySink> sink{}; ///< that took the body, where the route has one; body() is empty then

    const std::string& body() const { return raw.body(); }
    /// The value of a header, its name compared without case; empty when missing.
    std::string_view header(std::string_view name) const;
    /// The decoded value of a query parameter, the first of that name; empty when missing.
    std::string query(std::string_view name) const;
    /// What follows "Bearer " in the Authorization header; empty when missing.
    std::string_view bearerToken() const;
    /// Says whose token it carries, as far as that was looked up: their connections are dealt with as theirs.
    void isOf(std::int64_t user) const {
        if (origin.signedIn)
            origin.signedIn(user);
    }
    /// Whether the request was made on this machine for this machine, as far as can be told: by a loopback name, and
    /// with nothing that proxies add, whether they are known or not.
    bool isLocal() const;

private:
    const boost::urls::url_view target_;
};

/// A request's path and query; none when that is no target of a server's own ("/…"), or wrongly encoded.
std::optional<boost::urls::url_view> parsedTarget(std::string_view target);

struct HttpResponse {
    unsigned status = 200;
    std::string body = {};
    std::string contentType = "application/json; charset=utf-8";
    std::vector<std::pair<std::string, std::string>> headers = {}; ///< further ones
    std::string message = {};                                      ///< what an envelope says to a person, in Chinese

    /// Says it in English, where it is one of the service's own messages.
    void speakEnglish();
};

/// The form of every JSON reply: {"code":0,"message":"","data":…}, compact, UTF-8.
HttpResponse success(const nlohmann::json& data = nullptr, std::string_view message = {});
/// A reply whose code is not 0, with a message for the user. The HTTP status stays 200 unless it is given.
HttpResponse failure(int code, std::string_view message, unsigned status = 200);

HttpResponse badRequest(std::string_view message = "请求格式不正确");
HttpResponse unauthorized();
HttpResponse notFound();
HttpResponse methodNotAllowed(std::string allowed);
HttpResponse tooLarge();
/// Too many of something at a time, as `what` says; how long to wait is told in words and by Retry-After.
HttpResponse busy(std::string_view what, std::chrono::seconds wait);
HttpResponse internalError();

/// How deep objects and arrays of foreign JSON may lie in each other: what walks through a value does so recursively.
inline constexpr int deepestJson = 32;
/// How many values foreign JSON may hold in all.
inline constexpr int mostJsonValues = 20'000;
/// The JSON object in a text of anybody's; none when it is anything else, deeper than `deepestJson` or of more than
/// `mostJsonValues`.
std::optional<nlohmann::json> jsonObject(std::string_view text);
/// A member that is a string; empty when it is missing or anything else.
std::string textMember(const nlohmann::json& object, const char* name);
/// Compact JSON text; bytes that are no UTF-8 are replaced.
std::string compactJson(const nlohmann::json& value);

} // namespace parlowen::service
