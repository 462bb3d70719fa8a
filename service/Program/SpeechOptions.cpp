#include "SpeechOptions.h"

#include <algorithm>
#include <boost/program_options/value_semantic.hpp>
#include <boost/url/parse.hpp>

namespace parlowen::service {

namespace {

namespace po = boost::program_options;
using Problem = std::optional<OptionProblem>;

constexpr unsigned speechLineLength = 110;
constexpr const char* usualLanguages =
    "zh-CN,zh-TW,en-US,en-GB,en-IN,ja-JP,ko-KR,es-ES,es-MX,fr-FR,de-DE,it-IT,pt-BR,ru-RU,nl-NL,pl-PL,tr-TR,ar-EG,hi-IN,"
    "id-ID,th-TH,vi-VN,ca-ES,gl-ES";
constexpr const char* usualRegionLanguages =
    "zh-CN,zh-TW,zh-HK,en-US,en-GB,en-IN,ja-JP,ko-KR,es-ES,es-MX,fr-FR,de-DE,it-IT,pt-BR,ru-RU,nl-NL,pl-PL,tr-TR,ar-EG,"
    "hi-IN,id-ID,th-TH,vi-VN,ca-ES,gl-ES";
constexpr const char* usualTargets = "zh-Hans,zh-Hant,en,ja,ko,es,fr,de,it,pt,ru,nl,pl,tr,ar,hi,id,th,vi,ca";

bool isRegionName(const std::string& text) {
    return !text.empty() && std::all_of(text.begin(), text.end(),
                                        [](char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'); });
}

bool isWebSocket(const std::string& address) {
    const auto parsed = boost::urls::parse_uri(address);
    return parsed && !parsed->host().empty() && parsed->scheme() == "wss" && !parsed->has_query();
}

} // namespace

po::options_description SpeechOptions::description() {
    po::options_description all("Speech services elsewhere (also in the configuration file)", speechLineLength);
    const auto text = [](std::string& value, const char* name) { return po::value(&value)->value_name(name); };
    const auto number = [](int& value, int usual) {
        return po::value(&value)->value_name("NUMBER")->default_value(usual);
    };
    const TranscriptionEndpoint usual;
    const auto seconds = [](std::chrono::milliseconds time) { return static_cast<int>(time.count() / 1'000); };
    // clang-format off
    all.add_options()
        ("speech-url", text(url, "ADDRESS"),
         "where speech is transcribed by the OpenAI protocol (audio/transcriptions), such as http://127.0.0.1:8000/v1")
        ("speech-model", text(model, "NAME"), "the model's name there")
        ("speech-key-file", text(keyFile, "FILE"), "a file of mode 0600 that holds the key, where one is needed")
        ("speech-key-environment", text(keyEnvironment, "NAME"), "or the environment variable that holds it")
        ("speech-languages", text(languages, "LOCALES")->default_value(usualLanguages),
         "what it understands; used for those that no model of this machine does")
        ("speech-everything", po::value(&everything)->value_name("YES-OR-NO")->default_value(usual.everything, "no"),
         "use it also for those that models of this machine understand")
        ("speech-partials", po::value(&partials)->value_name("YES-OR-NO")->default_value(usual.partials, "yes"),
         "send also what is still being said, so that words show while somebody speaks; some twice as much is sent then")
        ("speech-at-once", number(atOnce, usual.streams), "sessions that it serves at the same time; one more is refused")
        ("speech-connect-seconds", number(connectSeconds, seconds(usual.connect)), "to connect in")
        ("speech-reply-seconds", number(replySeconds, seconds(usual.reply)), "for a reply, after which it is asked once more")
        ("region", text(region, "NAME"),
         "a region of the cloud speech service, such as eastasia, that clients are sent to with tokens of its own, in "
         "place of all recognition and translation here")
        ("region-key-file", text(regionKeyFile, "FILE"), "a file of mode 0600 that holds the key that tokens are issued for")
        ("region-key-environment", text(regionKeyEnvironment, "NAME"), "or the environment variable that holds it")
        ("region-token-url", text(regionTokenUrl, "ADDRESS"), "where tokens are issued, where that is not the region's usual place")
        ("region-area", text(regionArea, "ADDRESS"),
         "the speech service's own address (wss://…), where that is not the region's usual place")
        ("region-languages", text(regionLanguages, "LOCALES")->default_value(usualRegionLanguages), "what it understands")
        ("region-translate-to", text(regionTranslateTo, "CODES")->default_value(usualTargets), "what it translates into");
    // clang-format on
    return all;
}

Problem SpeechOptions::apply(TranscriptionEndpoint& endpoint, CloudRegion& cloud) const {
    auto problem = applyEndpoint(endpoint);
    return problem ? problem : applyRegion(cloud);
}

Problem SpeechOptions::applyEndpoint(TranscriptionEndpoint& endpoint) const {
    constexpr int longest = 600; // seconds
    const std::tuple<const char*, int, int> ranges[] = {{"speech-at-once", atOnce, 1'000},
                                                        {"speech-connect-seconds", connectSeconds, longest},
                                                        {"speech-reply-seconds", replySeconds, longest}};
    for (const auto& [option, value, most] : ranges)
        if (auto problem = outOfRange(option, value, 1, most))
            return problem;
    endpoint = {.url = url,
                .model = model,
                .everything = everything,
                .partials = partials,
                .streams = atOnce,
                .connect = std::chrono::seconds(connectSeconds),
                .reply = std::chrono::seconds(replySeconds)};
    if (auto problem = readCodes("speech-languages", languages, endpoint.languages))
        return problem;
    if (auto problem = readKey("speech", keyFile, keyEnvironment, endpoint.key))
        return problem;
    if (url.empty())
        return std::nullopt;
    if (auto problem = checkAddress("speech-url", endpoint.url, !endpoint.key.empty()))
        return problem;
    return model.empty() ? Problem(OptionProblem{"speech-url", "speech-model is missing"}) : std::nullopt;
}

Problem SpeechOptions::applyRegion(CloudRegion& cloud) const {
    cloud = {.name = region,
             .area = regionArea.empty() ? region : regionArea,
             .tokenUrl = regionTokenUrl.empty() ? issuerOf(region) : regionTokenUrl};
    if (auto problem = readCodes("region-languages", regionLanguages, cloud.languages))
        return problem;
    if (auto problem = readCodes("region-translate-to", regionTranslateTo, cloud.translateTo))
        return problem;
    if (auto problem = readKey("region", regionKeyFile, regionKeyEnvironment, cloud.key))
        return problem;
    if (region.empty())
        return std::nullopt;
    if (!isRegionName(region))
        return OptionProblem{"region", "\"" + region + "\" is no name of a region, such as eastasia"};
    if (cloud.key.empty())
        return OptionProblem{"region", "region-key-file or region-key-environment is missing"};
    if (!regionArea.empty() && !isWebSocket(regionArea))
        return OptionProblem{"region-area", "\"" + regionArea + "\" is no address such as wss://speech.example.org"};
    return checkAddress("region-token-url", cloud.tokenUrl, true);
}

} // namespace parlowen::service
