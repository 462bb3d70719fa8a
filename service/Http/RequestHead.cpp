#include "RequestHead.h"

#include "CountedLine.h"
#include "Log.h"

#include <algorithm>
#include <boost/beast/core/string.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/url/parse.hpp>

namespace parlowen::service {

namespace {

namespace http = boost::beast::http;
using boost::system::error_code;

constexpr std::string_view headEnd = "\r\n\r\n";

/// A line that goes on in the next one, which servers read in different ways.
bool hasFoldedLine(std::string_view head) {
    return head.find("\r\n ") != std::string_view::npos || head.find("\r\n\t") != std::string_view::npos;
}

std::string_view text(boost::beast::string_view value) { return {value.data(), value.size()}; }

constexpr const char* foreignHost = "服务没有允许以这个主机名访问";
constexpr const char* foreignOrigin = "不允许从其他网站访问";

std::optional<HttpResponse> refusalOfHost(const RawRequest& request, const HeadRules& rules) {
    const auto count = request.count(http::field::host);
    if (count == 0 && request.version() < 11)
        return std::nullopt;
    if (count != 1)
        return badRequest("缺少有效的 Host 请求头");
    return isAllowedHost(text(request[http::field::host]), rules) ? std::nullopt
                                                                  : std::optional(failure(403, foreignHost, 403));
}

/// Programs name no origin; a browser names the page's, which must be one of this server's own. Before a server in
/// plain HTTP a proxy may speak TLS.
bool isOwnOrigin(const RawRequest& request, const HeadRules& rules) {
    const auto count = request.count(http::field::origin);
    const std::string host(text(request[http::field::host]));
    const std::string_view origin = text(request[http::field::origin]);
    const bool plain = !rules.tls && sameWord(origin, "http://" + host);
    const bool secure = (rules.tls || !rules.proxies.empty()) && sameWord(origin, "https://" + host);
    return count == 0 || (count == 1 && !host.empty() && (plain || secure));
}

/// Some proxies name a port, too: "192.0.2.1:80", "[2001:db8::1]:80".
std::optional<boost::asio::ip::address> addressIn(std::string_view text) {
    error_code wrong;
    auto address = boost::asio::ip::make_address(std::string(text), wrong);
    if (!wrong)
        return address;
    const auto authority = boost::urls::parse_authority({text.data(), text.size()});
    if (!authority || authority->has_userinfo())
        return std::nullopt;
    address = boost::asio::ip::make_address(authority->host_address(), wrong);
    return wrong ? std::nullopt : std::optional(address);
}

/// Once: it is most often how the proxy is set up. Programs of its machine may ask past it, too.
void noteUnnamed(const boost::asio::ip::address& proxy) {
    static std::atomic<bool> isNoted{false};
    if (!isNoted.exchange(true))
        logLine("the proxy " + proxy.to_string() +
                " sets no X-Forwarded-For: all who come through it count as one (or a program there asked by itself)");
}

} // namespace

std::optional<std::size_t> headLength(std::string_view bytes, std::size_t known) {
    const auto end = bytes.find(headEnd, known - std::min(known, headEnd.size() - 1));
    return end == std::string_view::npos ? std::nullopt : std::optional(end + headEnd.size());
}

error_code parseHead(RequestParser& parser, std::string_view head) {
    error_code problem;
    parser.put(boost::asio::buffer(head), problem);
    return !problem && hasFoldedLine(head) ? make_error_code(http::error::bad_obs_fold) : problem;
}

std::size_t fieldsOf(const RequestParser& parser) {
    const auto& fields = parser.get().base();
    return static_cast<std::size_t>(std::distance(fields.begin(), fields.end()));
}

error_code problemBehindBody(const RequestParser& parser, std::size_t fields) {
    return fieldsOf(parser) == fields ? error_code() : make_error_code(http::error::bad_field);
}

bool isAllowedHost(std::string_view host, const HeadRules& rules) {
    const auto authority = boost::urls::parse_authority({host.data(), host.size()});
    if (!authority || authority->has_userinfo())
        return false;
    const std::string name = authority->host();
    return namesLoopback(host) || std::any_of(rules.hosts.begin(), rules.hosts.end(),
                                              [&name](const std::string& own) { return sameWord(own, name); });
}

std::optional<HttpResponse> refusalOfHead(const RawRequest& request, const HeadRules& rules) {
    const auto encoding = request[http::field::transfer_encoding];
    if (request.count(http::field::transfer_encoding) > 0 && !sameWord(text(encoding), "chunked"))
        return failure(501, "不支持这种传输编码", 501);
    if (request.count(http::field::transfer_encoding) > 0 && request.version() < 11)
        return badRequest();
    if (auto refusal = refusalOfHost(request, rules))
        return refusal;
    if (!isOwnOrigin(request, rules))
        return failure(403, foreignOrigin, 403);
    const auto expectation = request[http::field::expect];
    if (!expectation.empty() && !sameWord(text(expectation), "100-continue"))
        return failure(417, "不支持这种 Expect 请求头", 417);
    return std::nullopt;
}

void noteForeigner(const RawRequest& request, const HeadRules& rules) {
    static OnceAMinute pause;
    constexpr std::size_t longest = 100;
    const std::string_view host = text(request[http::field::host]).substr(0, longest);
    const std::string_view origin = text(request[http::field::origin]).substr(0, longest);
    const bool isForeignHost = !host.empty() && !isAllowedHost(host, rules);
    const bool isForeignOrigin = !isOwnOrigin(request, rules);
    if (!(isForeignHost || isForeignOrigin) || !pause.isDue())
        return;
    logLine(isForeignHost ? "refused: asked for by the name " + compactJson(host) + ", which no --host names"
                          : "refused: a page of " + compactJson(origin) + " asked for " + compactJson(host));
}

bool isWebSocketKey(std::string_view key) {
    constexpr std::size_t length = 24;
    constexpr std::string_view lastDigits = "AQgw"; // four bits of which none counts
    return key.size() == length && key.ends_with("==") && lastDigits.find(key[length - 3]) != std::string_view::npos &&
           std::all_of(key.begin(), key.end() - 2, [](unsigned char c) {
               return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '+' ||
                      c == '/';
           });
}

HttpRequest::Origin originOf(const RawRequest& request, boost::asio::ip::address peer, const HeadRules& rules) {
    HttpRequest::Origin origin{.peer = std::move(peer)};
    origin.viaProxy = std::find(rules.proxies.begin(), rules.proxies.end(), origin.peer) != rules.proxies.end();
    if (!origin.viaProxy)
        return origin;
    std::string_view last;
    const auto fields = request.equal_range("X-Forwarded-For");
    if (fields.first == fields.second)
        noteUnnamed(origin.peer);
    for (auto field = fields.first; field != fields.second; ++field)
        last = text(field->value());
    last.remove_prefix(last.rfind(',') + 1); // npos + 1 is 0
    last.remove_prefix(std::min(last.find_first_not_of(' '), last.size()));
    if (const auto named = addressIn(last))
        origin.peer = *named;
    return origin;
}

std::optional<HttpResponse> replyTo(const error_code& problem) {
    if (problem == http::error::header_limit || problem == http::error::buffer_overflow)
        return failure(431, "请求头过大", 431);
    if (problem == http::error::body_limit)
        return tooLarge();
    const bool silent = problem == http::error::end_of_stream || problem == http::error::partial_message;
    if (!silent && problem.category() == make_error_code(http::error::bad_method).category())
        return badRequest();
    return std::nullopt;
}

HttpResponse crowded(const HttpRequest& request) {
    countedLines().connections.count(CountedLines::Refused, request.origin.peer.to_string());
    return busy("连接的人太多", std::chrono::seconds(3));
}

} // namespace parlowen::service
