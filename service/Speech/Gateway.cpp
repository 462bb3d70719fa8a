#include "Gateway.h"

#include "ApertiumTranslator.h"
#include "Http/HttpMessage.h"
#include "RecogniserEngine.h"
#include "SpeechConnection.h"

#include <atomic>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>

namespace parlowen::service {

namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;

constexpr std::chrono::seconds refusalLimit{10};

struct GatewayState {
    GatewayState(SpeechTokens& tokensToUse, const EngineSet& enginesToUse, const SpeechGatewayOptions& optionsToUse)
        : tokens(tokensToUse)
        , engines(enginesToUse)
        , options(optionsToUse) {}

    SpeechTokens& tokens;
    const EngineSet& engines;
    const SpeechGatewayOptions options;
    std::atomic<std::size_t> open = 0;
};

/// One of the places for connections; none when all are taken.
class Place {
public:
    static std::optional<Place> take(const std::shared_ptr<GatewayState>& state) {
        if (++state->open <= state->options.sessions)
            return Place(state);
        --state->open;
        return std::nullopt;
    }
    Place(Place&&) noexcept = default;
    Place& operator=(Place&&) = delete;
    ~Place() {
        if (state_)
            --state_->open;
    }

private:
    explicit Place(std::shared_ptr<GatewayState> state)
        : state_(std::move(state)) {}
    std::shared_ptr<GatewayState> state_;
};

std::string tokenOf(const HttpRequest& request) {
    constexpr std::string_view scheme = "Bearer ";
    const auto header = request.bearerToken();
    if (!header.empty())
        return std::string(header);
    auto parameter = request.query("Authorization");
    return parameter.starts_with(scheme) ? parameter.substr(scheme.size()) : parameter;
}

asio::awaitable<void> refuse(TlsStream& stream, HttpResponse response) {
    http::response<http::string_body> reply(http::int_to_status(response.status), 11);
    reply.set(http::field::content_type, response.contentType);
    reply.keep_alive(false);
    reply.body() = std::move(response.body);
    reply.prepare_payload();
    boost::system::error_code ignored;
    boost::beast::get_lowest_layer(stream).expires_after(refusalLimit);
    co_await http::async_write(stream, reply, asio::redirect_error(asio::use_awaitable, ignored));
    co_await stream.async_shutdown(asio::redirect_error(asio::use_awaitable, ignored));
}

asio::awaitable<void> serve(std::shared_ptr<GatewayState> state, const HttpRequest& request, TlsStream stream) {
    const auto token = state->tokens.open(tokenOf(request));
    if (!token) {
        co_await refuse(stream, unauthorized());
        co_return;
    }
    const auto place = Place::take(state);
    if (!place) {
        co_await refuse(stream, failure(503, "语音识别的连接已满，请稍后再试", 503));
        co_return;
    }
    co_await serveSpeech(state->engines, state->options, request, std::move(stream));
}

} // namespace

WebSocketHandler makeSpeechGateway(SpeechTokens& tokens, EngineSet& engines, SpeechGatewayOptions options) {
    auto state = std::make_shared<GatewayState>(tokens, engines, options);
    return [state](const HttpRequest& request, TlsStream stream) { return serve(state, request, std::move(stream)); };
}

std::unique_ptr<SpeechService> SpeechService::withLocalEngines(const std::filesystem::path& data,
                                                               SpeechGatewayOptions options) {
    auto speech = std::make_unique<SpeechService>();
    speech->options = options;
    speech->engines.add(std::make_shared<RecogniserEngine>(ModelRegistry::Places::ofThisProgram(data)));
    speech->engines.add(std::make_shared<ApertiumTranslator>());
    return speech;
}

void addSpeechRoutes(Router& router, SpeechService& speech) {
    const auto gateway = makeSpeechGateway(speech.tokens, speech.engines, speech.options);
    for (const char* path :
         {"/stt/speech/universal/v2", "/speech/recognition/interactive/cognitiveservices/v1",
          "/speech/recognition/conversation/cognitiveservices/v1", "/speech/recognition/dictation/cognitiveservices/v1",
          "/speech/translation/cognitiveservices/v1"})
        router.webSocket(path, gateway);
}

} // namespace parlowen::service
