#include "Gateway.h"

#include "ApertiumTranslator.h"
#include "Http/CountedLine.h"
#include "Http/HttpMessage.h"
#include "Http/Workers.h"
#include "RecogniserEngine.h"
#include "SpeechConnection.h"
#include "SpeechPlaces.h"

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>

namespace parlowen::service {

namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;

struct GatewayState {
    GatewayState(SpeechTokens& tokensToUse, const EngineSet& enginesToUse, const SpeechGatewayOptions& optionsToUse)
        : tokens(tokensToUse)
        , engines(enginesToUse)
        , options(optionsToUse)
        , places(options.sessions, options.sessionsOfAUser, options.quiet) {}

    SpeechTokens& tokens;
    const EngineSet& engines;
    const SpeechGatewayOptions options;
    SpeechPlaces places;
};

std::string tokenOf(const HttpRequest& request) {
    constexpr std::string_view scheme = "Bearer ";
    const auto header = request.bearerToken();
    if (!header.empty())
        return std::string(header);
    auto parameter = request.query("Authorization");
    return parameter.starts_with(scheme) ? parameter.substr(scheme.size()) : parameter;
}

/// Refuses an upgrade. Clients of the protocol show people the status line, so that says why.
asio::awaitable<void> refuse(UpgradedStream& stream, HttpResponse response, std::string_view why) {
    http::response<http::string_body> reply(http::int_to_status(response.status), 11);
    reply.reason({why.data(), why.size()});
    reply.set(http::field::content_type, response.contentType);
    for (const auto& [name, value] : response.headers)
        reply.set(name, value);
    reply.keep_alive(false);
    reply.body() = std::move(response.body);
    reply.prepare_payload();
    boost::system::error_code ignored;
    stream.next_layer().expires_after(closingTime);
    co_await http::async_write(stream, reply, asio::redirect_error(asio::use_awaitable, ignored));
    co_await stream.next_layer().async_shutdown(asio::redirect_error(asio::use_awaitable, ignored));
}

asio::awaitable<void> serve(std::shared_ptr<GatewayState> state, const HttpRequest& request, UpgradedStream stream) {
    auto look = [state, given = tokenOf(request)] { return state->tokens.open(given); };
    auto token = co_await onWorker(request.origin.workers, std::move(look));
    if (!token) {
        co_await refuse(stream, unauthorized(), "The speech token is wrong or over, or its user has signed out");
        co_return;
    }
    request.isOf(token->user());
    const auto place = state->places.take(token->user());
    if (!place) {
        countedLines().speech.count(CountedLines::SpeechWithoutPlace, request.origin.peer.to_string());
        co_await refuse(stream, busy("语音识别的连接已满", std::chrono::seconds(5)),
                        "All places for speech, or all that one user gets, are taken, come back in 5 seconds");
        co_return;
    }
    co_await serveSpeech(state->engines, state->options, request, *token, *place, std::move(stream));
}

} // namespace

WebSocketHandler makeSpeechGateway(SpeechTokens& tokens, EngineSet& engines, SpeechGatewayOptions options) {
    auto state = std::make_shared<GatewayState>(tokens, engines, options);
    return
        [state](const HttpRequest& request, UpgradedStream stream) { return serve(state, request, std::move(stream)); };
}

std::unique_ptr<SpeechService> SpeechService::withLocalEngines(const std::filesystem::path& data,
                                                               std::string_view firstLocale) {
    auto speech = std::make_unique<SpeechService>();
    speech->engines.add(std::make_shared<RecogniserEngine>(ModelRegistry::Places::ofThisProgram(data), firstLocale));
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
