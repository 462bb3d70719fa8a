#include "Service.h"

#include "Accounts/SignInRoutes.h"
#include "Answers/AnswerRoutes.h"
#include "Answers/Outline.h"
#include "Captcha/CaptchaRoutes.h"
#include "Chat/ChatAnswers.h"
#include "Chat/ChatTranslator.h"
#include "Cloud/TranscriptionEngine.h"
#include "Http/Certificates.h"
#include "Http/CountedLine.h"
#include "Http/Log.h"
#include "Http/PrivateFiles.h"
#include "Http/Server.h"
#include "Http/Workers.h"
#include "OtherRoutes.h"
#include "Resumes/ResumeRoutes.h"
#include "Speech/Gateway.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <system_error>
#include <thread>

namespace parlowen::service {

namespace {

constexpr const char* usualLocale = "en-US"; ///< whose model is ready before anybody asks for it

std::filesystem::path madeDirectory(const std::filesystem::path& directory) {
    makePrivateDirectory(directory);
    requirePrivateDirectory(directory);
    return directory;
}

/// Where the service that runs on a directory said that it listens; empty where it did not.
std::string notedPort(const std::filesystem::path& directory) {
    const auto port = readPrivateFile(directory / "port");
    return port ? port->substr(0, port->find('\n')) : std::string();
}

/// One service a directory. Where its port is taken, too, that is what people want to hear.
std::unique_ptr<DirectoryLock> lockOf(const ServiceOptions& options) {
    if (auto lock = DirectoryLock::take(options.data))
        return lock;
    requireFree(boost::asio::ip::make_address(options.address), options.port);
    const std::string port = notedPort(options.data);
    throw DirectoryInUse(options.data.string() + " is another parlowen-service's, which runs" +
                         (port.empty() ? "" : " at port " + port));
}

/// The key that signs speech tokens, made at the first start.
std::string speechTokenKey(const std::filesystem::path& file) {
    if (auto kept = readPrivateFile(file)) {
        if (kept->size() != SpeechTokens::keyBytes)
            throw std::runtime_error(file.string() + " is no key of " + std::to_string(SpeechTokens::keyBytes) +
                                     " bytes. Remove it to have a new one made.");
        return *std::move(kept);
    }
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
    server.hosts = options.hosts;
    for (const std::string& proxy : options.proxies)
        server.proxies.push_back(boost::asio::ip::make_address(proxy));
    if (tuning.limits)
        server.limits = *tuning.limits;
    return server;
}

/// Captchas go along with the codes that an address may ask for.
std::size_t captchaShare(const ServiceOptions& options) {
    return std::max<std::size_t>(1, static_cast<std::size_t>(options.codesPerAddress) / LoginCodes::ofAnAddress);
}

/// The captcha's page goes by the same names and is passed on by the same proxies.
Server::Options captchaOptions(const ServiceOptions& options, std::uint16_t servicePort) {
    Server::Options page = serverOptions(options, {});
    page.address = boost::asio::ip::make_address(options.captchaAddress);
    page.port = options.captchaPort;
    if (page.port == 0)
        page.port = static_cast<std::uint16_t>(servicePort + 1); // where applications look for it
    page.threads = 1;
    page.limits.connections = 128;
    page.limits.connectionsOfAPeer = page.limits.connections / 2;
    page.limits.reserve = 0; // nobody signs in there
    return page;
}

CodeDelivery deliveryOf(const ServiceOptions& options, const Service::Tuning& tuning) {
    if (tuning.deliver)
        return tuning.deliver;
    return options.smsCommand.empty() ? deliveryOnConsole() : deliveryByCommand(options.smsCommand);
}

/// What recognises and translates here: nothing where clients are sent to a region.
std::unique_ptr<SpeechService> speechOf(const ServiceOptions& options, const Service::Tuning& tuning,
                                        const std::filesystem::path& data) {
    if (!options.region.name.empty())
        return std::make_unique<SpeechService>();
    const TranscriptionEndpoint& elsewhere = options.transcription;
    const auto& languages = elsewhere.languages;
    const bool isElsewhere = !elsewhere.url.empty() && elsewhere.everything &&
                             std::find(languages.begin(), languages.end(), usualLocale) != languages.end();
    auto speech =
        tuning.speech ? tuning.speech() : SpeechService::withLocalEngines(data, isElsewhere ? "" : usualLocale);
    if (!tuning.speech) {
        speech->options.sessions = static_cast<std::size_t>(options.speechPlaces);
        speech->options.sessionsOfAUser = std::max<std::size_t>(1, speech->options.sessions / 4);
    }
    if (elsewhere.url.empty())
        return speech;
    auto engine = std::make_shared<TranscriptionEngine>(elsewhere);
    if (elsewhere.everything)
        speech->engines.addFirst(std::move(engine));
    else
        speech->engines.add(std::move(engine));
    return speech;
}

std::string authority(const std::string& address, std::uint16_t port) {
    return authorityOf(boost::asio::ip::make_address(address), port);
}

/// A language model, and the answers that it gives.
struct LanguageModel {
    LanguageModel(const ServiceOptions& options, AnswerSource& fallback)
        : client(options.chat)
        , answers(client, fallback, options.chatLimits) {
        answers.grounds = [](const Question& question, std::string_view answer) {
            return linesBehind(question.excerpt, question.text, answer);
        };
    }
    ChatClient client;
    ChatAnswers answers;
};

} // namespace

struct Service::Parts {
    Parts(const ServiceOptions& options, const Tuning& tuning)
        : data(madeDirectory(options.data))
        , lock(lockOf(options))
        , database(data / "parlowen.db")
        , accounts(database, std::chrono::steady_clock::now, std::chrono::hours(24 * options.sessionDays),
                   static_cast<std::size_t>(options.codesPerAddress))
        , resumes(database, data / "uploads")
        , speech(speechOf(options, tuning, data))
        , captchas(std::chrono::steady_clock::now, randomBelow, captchaShare(options))
        , signIn{.accounts = accounts,
                 .hashing = hashing,
                 .method = options.loginByCode ? LoginMethod::Code : LoginMethod::Password,
                 .deliver = deliveryOf(options, tuning),
                 .redeemCaptcha = [this](const std::string& result) { return captchas.redeem(result); },
                 .giveCaptchaBack = std::bind_front(&Captchas::giveBack, &captchas),
                 .resumeOf = [this](std::int64_t userId) { return resumes.profileOf(userId); },
                 .createByPassword = options.createAccounts}
        , server(serverOptions(options, tuning), prepareTls(data / "tls"), routes(options)) {
        startSpeechTokens();
        tellWhereNobodyCanSignIn(options);
        server.start();
        if (options.loginByCode)
            startCaptcha(options);
        notePort();
        watch = std::jthread([this](const std::stop_token& stop) { watchSessions(stop); });
    }

    void tellWhereNobodyCanSignIn(const ServiceOptions& options) {
        if (!options.loginByCode && !options.createAccounts && !accounts.store().hasUsers())
            logLine("there is no account yet: --set-password makes one, with --create-accounts the first sign-in does");
    }

    /// For another program of this user. A full disk is no reason not to serve.
    void notePort() const {
        try {
            writePrivateFile(data / "port", std::to_string(server.port()) + "\n");
        } catch (const std::system_error& problem) {
            logLine(problem.what());
        }
    }

    void startSpeechTokens() {
        SpeechTokens& tokens = speech->tokens;
        tokens.useKey(speechTokenKey(data / "speech-tokens.key"));
        tokens.recall(accounts.store().speechTokensOfTheLastRun());
        noteEndOfSpeechTokens();
        tokens.setHooks({.lasts = [this](std::string_view session) { return accounts.sessionLasts(session); },
                         .changed =
                             [this](const std::string& token, std::string_view session, bool open) {
                                 boost::asio::post(speechNotes, [this, token, session = std::string(session), open] {
                                     noteSpeechToken(token, session, open);
                                 });
                             }});
    }

    /// The minute that a token opens for after a restart is given once. A full disk is no reason not to serve.
    void noteEndOfSpeechTokens() {
        try {
            accounts.store().endSpeechTokens();
        } catch (const StoreError& problem) {
            logLine(problem.what());
        }
    }

    /// Speech ends with its session, also where that was pushed out by newer ones or its password was changed.
    void watchSessions(const std::stop_token& stop) {
        constexpr std::chrono::seconds every{20};
        std::mutex mutex;
        std::condition_variable_any stopped;
        std::unique_lock hold(mutex);
        while (!stopped.wait_for(hold, stop, every, [&stop] { return stop.stop_requested(); })) {
            countedLines().sayDue();
            try {
                speech->tokens.endLapsed();
                accounts.storeEnded();
                forgetTheDeleted();
            } catch (const StoreError& problem) {
                logLine(problem.what()); // the next time
            }
        }
    }

    /// Those that the operator deleted meanwhile.
    void forgetTheDeleted() {
        if (!model)
            return;
        for (const std::int64_t account : model->answers.exchanges.accounts())
            if (!accounts.store().has(account))
                forget(account);
    }

    /// What is not noted is missed at the next start alone.
    void noteSpeechToken(const std::string& token, const std::string& session, bool open) {
        try {
            accounts.store().noteSpeechToken(token, session, open);
        } catch (const StoreError& problem) {
            logLine(problem.what());
        }
    }

    /// An interview begins.
    void warmModel() {
        if (model)
            model->client.warm();
    }

    std::string speechTokenFor(std::string_view signInToken) {
        warmModel();
        const auto user = accounts.userOf(signInToken);
        return user ? speech->tokens.issue({user->id, Accounts::sessionOf(signInToken)}) : std::string();
    }

    // What is read and hashed, and answers that run, would hold the server's end up.
    ~Parts() {
        resumes.stop();
        hashing.stop();
        speech->engines.stop();
        if (model)
            model->client.stop();
        if (region)
            region->stop();
        server.stop();
        speechNotes.join();
        countedLines().sayRest();
    }
    Parts(const Parts&) = delete;
    Parts& operator=(const Parts&) = delete;

    /// A server of its own, in plain HTTP.
    void startCaptcha(const ServiceOptions& options) {
        Router pages;
        addCaptchaRoutes(pages, captchas);
        captchaServer.emplace(captchaOptions(options, server.port()), std::nullopt, std::move(pages));
        try {
            captchaServer->start();
        } catch (const AddressInUse& problem) {
            throw AddressInUse(std::string("the captcha's page (--captcha-listen): ") + problem.what());
        }
    }

    /// Adds what is known of its asker to a question.
    boost::asio::awaitable<void> fill(std::string_view token, Question& question,
                                      const boost::asio::any_io_executor& workers) {
        auto look = [&] { return accounts.userOf(token); };
        const auto user = co_await onWorker(workers, std::move(look));
        if (!user)
            co_return;
        question.account = user->id;
        auto search = resumes.bearingOn(user->id, question.text);
        ResumeBearing bearing = co_await std::move(search);
        question.quotes = std::move(bearing.quotes);
        question.excerpt = std::move(bearing.excerpt);
        if (model)
            question.earlier = model->answers.exchanges.of(user->id);
    }

    void forget(std::int64_t userId) {
        resumes.forget(userId);
        speech->tokens.endUser(userId);
        if (model)
            model->answers.exchanges.forget(userId);
    }

    Router routes(const ServiceOptions& options) {
        if (!options.chat.url.empty())
            model.emplace(options, outlines);
        if (model && !options.chat.translateTo.empty())
            speech->engines.add(std::make_shared<ChatTranslator>(model->client, options.chat.translateTo));
        Router router;
        const Guard signedIn = signedInOnly(accounts);
        addSignInRoutes(router, signIn);
        addAccountRoutes(router, accounts, signIn.resumeOf,
                         {.user = [this](std::int64_t userId) { forget(userId); },
                          .session = [this](std::string_view session) { speech->tokens.endSession(session); }});
        addResumeRoutes(router, accounts, resumes);
        addAnswerRoutes(router, model ? static_cast<AnswerSource&>(model->answers) : outlines, signedIn,
                        [this](std::string_view token, Question& question,
                               const boost::asio::any_io_executor& workers) { return fill(token, question, workers); });
        addSpeechTokenRoutes(router, signedIn, options.region);
        addSpeechRoutes(router, *speech);
        addVersionRoute(router);
        addDescriptionRoute(router);
        addCountryRoute(router);
        addContactRoutes(router, options.contact);
        return router;
    }

    /// Tokens of this service's own gateway, or of a region, with the languages that they are good for.
    void addSpeechTokenRoutes(Router& router, const Guard& signedIn, const CloudRegion& cloud) {
        if (!cloud.name.empty())
            region.emplace(cloud);
        addLanguageRoutes(
            router,
            [this] {
                return region ? LanguageOffer{region->region().languages, region->region().translateTo}
                              : offerOf(speech->languages());
            },
            signedIn);
        const auto ofRegion = [this] {
            warmModel();
            return region->token();
        };
        if (region)
            return addRegionTokenRoute(router, ofRegion, cloud.area, signedIn);
        addSpeechTokenRoute(
            router, [this](std::string_view signInToken) { return speechTokenFor(signInToken); }, signedIn);
    }

    const std::filesystem::path data;
    const std::unique_ptr<DirectoryLock> lock;
    Database database;
    Accounts accounts;
    Resumes resumes;
    Outline outlines;
    std::optional<LanguageModel> model;
    std::unique_ptr<SpeechService> speech;
    std::optional<RegionTokens> region;
    Captchas captchas;
    HashingQueue hashing;
    const SignInParts signIn;
    boost::asio::thread_pool speechNotes{1}; ///< in order
    std::optional<Server> captchaServer;
    Server server; ///< ends before what its connections use, which is all of the above
    std::jthread watch;
};

Service::Service(const ServiceOptions& options, const Tuning& tuning)
    : parts_(std::make_unique<Parts>(options, tuning))
    , url_("https://" + authority(options.address, parts_->server.port())) {
    if (parts_->captchaServer)
        captchaUrl_ = "http://" + authority(options.captchaAddress, parts_->captchaServer->port()) + "/";
}

Service::~Service() = default;

std::uint16_t Service::port() const { return parts_->server.port(); }

std::string serviceVersion() { return PARLOWEN_VERSION; }

} // namespace parlowen::service
