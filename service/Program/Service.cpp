#include "Service.h"

#include "Accounts/AccountRoutes.h"
#include "Answers/AnswerRoutes.h"
#include "Answers/Outline.h"
#include "Http/Certificates.h"
#include "Http/Log.h"
#include "Http/PrivateFiles.h"
#include "Http/Server.h"
#include "OtherRoutes.h"
#include "Resumes/ResumeRoutes.h"
#include "Speech/Gateway.h"

#include <algorithm>
#include <system_error>

namespace parlowen::service {

namespace {

std::filesystem::path madeDirectory(const std::filesystem::path& directory) {
    makePrivateDirectory(directory);
    return directory;
}

/// The key that signs speech tokens, made at the first start.
std::string speechTokenKey(const std::filesystem::path& file) {
    if (auto kept = readPrivateFile(file); kept && !kept->empty())
        return *std::move(kept);
    std::string made = SpeechTokens::randomKey();
    writePrivateFile(file, made);
    return made;
}

LanguageOffer offerOf(const OfferedLanguages& languages) {
    LanguageOffer offer{languages.recognition, {}};
    for (const LanguagePair& pair : languages.translation) {
        if (std::find(offer.translation.begin(), offer.translation.end(), pair.to) == offer.translation.end())
            offer.translation.push_back(pair.to);
    }
    return offer;
}

Server::Options serverOptions(const ServiceOptions& options, const Service::Tuning& tuning) {
    Server::Options server;
    server.address = boost::asio::ip::make_address(options.address);
    server.port = options.port;
    if (tuning.limits)
        server.limits = *tuning.limits;
    return server;
}

} // namespace

struct Service::Parts {
    Parts(const ServiceOptions& options, const Tuning& tuning)
        : data(madeDirectory(options.data))
        , database(data / "parlowen.db")
        , accounts(database)
        , resumes(database, data / "uploads")
        , speech(tuning.speech ? tuning.speech() : SpeechService::withLocalEngines(data))
        , server(serverOptions(options, tuning), prepareTls(data / "tls"), routes()) {
        speech->tokens.useKey(speechTokenKey(data / "speech-tokens.key"));
        server.start();
    }

    // Files that are read would hold the server's end up.
    ~Parts() { resumes.stop(); }
    Parts(const Parts&) = delete;
    Parts& operator=(const Parts&) = delete;

    Router routes() {
        Router router;
        const Guard signedIn = signedInOnly(accounts);
        addAccountRoutes(router, accounts, [this](std::int64_t userId) { return resumes.profileOf(userId); });
        addResumeRoutes(router, accounts, resumes);
        addAnswerRoutes(router, answers, signedIn, [this](std::string_view token, std::string_view question) {
            const auto user = accounts.userOf(token);
            return user ? resumes.quotesFor(user->id, question) : std::vector<std::string>();
        });
        addLanguageRoutes(
            router, [this] { return offerOf(speech->languages()); }, signedIn);
        addSpeechTokenRoute(
            router, [this] { return speech->tokens.issue(); }, signedIn);
        addSpeechRoutes(router, *speech);
        addVersionRoute(router);
        addMissingRoutes(router, signedIn);
        return router;
    }

    const std::filesystem::path data;
    Database database;
    Accounts accounts;
    Resumes resumes;
    Outline answers;
    std::unique_ptr<SpeechService> speech;
    Server server; ///< the last, so that it ends first: its connections use all of the above
};

Service::Service(const ServiceOptions& options, const Tuning& tuning)
    : parts_(std::make_unique<Parts>(options, tuning))
    , host_(options.address.find(':') == std::string::npos ? options.address : "[" + options.address + "]") {}

Service::~Service() = default;

std::uint16_t Service::port() const { return parts_->server.port(); }

std::string Service::url() const { return "https://" + host_ + ":" + std::to_string(port()); }

std::string serviceVersion() { return PARLOWEN_VERSION; }

} // namespace parlowen::service
