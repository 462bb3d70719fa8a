#include "ChatClient.h"

#include "ChatStreamParser.h"
#include "Http/Log.h"

#include <atomic>
#include <curl/curl.h>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

namespace parlowen::service {

namespace {

using Clock = std::chrono::steady_clock;

constexpr long keptConnections = 16;
constexpr long receiveBytes = 8 * 1024;
constexpr long longestAnswerSeconds = 180;
constexpr long longestIdleSeconds = 900;   // of a kept connection, which libcurl looks at before it is used again
constexpr std::chrono::seconds restFor{5}; // for what follows the end of an answer
constexpr std::chrono::seconds warmFor{30};
constexpr std::chrono::hours longestPause{1};
constexpr int pollMilliseconds = 1'000;

struct FreeEasy {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
struct FreeList {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

std::size_t receivePiece(char* bytes, std::size_t size, std::size_t count, void* request);

/// One request on its way. A receiver that is empty: nobody waits for the answer.
struct Request {
    Request(const ChatEndpoint& endpoint, std::string text, ChatClient::Receiver receiver)
        : body(std::move(text))
        , receive(std::move(receiver))
        , easy(curl_easy_init()) {
        const bool isQuestion = !body.empty();
        set(CURLOPT_URL, (endpoint.url + (isQuestion ? "/chat/completions" : "/models")).c_str());
        set(CURLOPT_PROTOCOLS_STR, "http,https");
        set(CURLOPT_NOPROXY, "localhost,127.0.0.1,::1");
        set(CURLOPT_NOSIGNAL, 1L);
        set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(endpoint.connect.count()));
        set(CURLOPT_TIMEOUT, longestAnswerSeconds);
        set(CURLOPT_BUFFERSIZE, receiveBytes);
        set(CURLOPT_TCP_KEEPALIVE, 1L);
        set(CURLOPT_MAXAGE_CONN, longestIdleSeconds);
        set(CURLOPT_FAILONERROR, isQuestion ? 1L : 0L); // at once, however long the page is that says so
        add("Content-Type: application/json");
        add(isQuestion ? "Accept: text/event-stream" : "Accept: application/json");
        add("Expect:"); // a large question would wait for it
        if (!endpoint.key.empty())
            add("Authorization: Bearer " + endpoint.key);
        set(CURLOPT_HTTPHEADER, headers.get());
        if (isQuestion) {
            set(CURLOPT_POSTFIELDS, body.c_str());
            set(CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
        }
        set(CURLOPT_WRITEFUNCTION, receivePiece);
        set(CURLOPT_WRITEDATA, this);
    }

    template<typename Value>
    void set(CURLoption option, Value value) {
        curl_easy_setopt(easy.get(), option, value);
    }
    void add(const std::string& header) {
        curl_slist* longer = curl_slist_append(headers.get(), header.c_str());
        static_cast<void>(headers.release());
        headers.reset(longer);
    }
    long status() const {
        long code = 0;
        curl_easy_getinfo(easy.get(), CURLINFO_RESPONSE_CODE, &code);
        return code;
    }
    void emit(const ChatEvent& event) {
        if (receive)
            receive(event);
        if (event.isEnd) { // what is left is read so that the connection can be kept
            receive = nullptr;
            ended = Clock::now();
        }
    }
    bool isOverdue() const { return !receive && ended != Clock::time_point() && Clock::now() - ended > restFor; }

    const std::string body; ///< empty: only the list of models is asked for
    ChatClient::Receiver receive;
    ChatStreamParser parser;
    Clock::time_point ended;
    std::unique_ptr<CURL, FreeEasy> easy;
    std::unique_ptr<curl_slist, FreeList> headers;
};

std::size_t receivePiece(char* bytes, std::size_t size, std::size_t count, void* context) {
    auto& request = *static_cast<Request*>(context);
    const bool isQuestion = !request.body.empty();
    if (isQuestion && request.status() != 200)
        return 0; // ends the request
    if (request.receive)
        for (const ChatEvent& event : request.parser.feed({bytes, size * count}))
            request.emit(event);
    return size * count;
}

ChatTrouble troubleOfStatus(long status) {
    switch (status) {
    case 401:
    case 403:
        return ChatTrouble::BadKey;
    case 404:
        return ChatTrouble::NoModel;
    case 429:
        return ChatTrouble::Busy;
    default:
        return ChatTrouble::Refused;
    }
}

ChatEvent endOf(Request& request, CURLcode result) {
    const long status = request.status();
    if (status != 0 && status != 200) {
        curl_off_t pause = 0;
        curl_easy_getinfo(request.easy.get(), CURLINFO_RETRY_AFTER, &pause);
        return {.isEnd = true,
                .trouble = troubleOfStatus(status),
                .pause = std::min<std::chrono::seconds>(std::chrono::seconds(pause), longestPause)};
    }
    if (status == 0)
        return {.isEnd = true, .trouble = ChatTrouble::Unreachable};
    if (result == CURLE_OPERATION_TIMEDOUT)
        return {.isEnd = true, .trouble = ChatTrouble::Endless};
    const auto end = request.parser.finish();
    return result == CURLE_OK && end ? *end : ChatEvent{.isEnd = true, .trouble = ChatTrouble::Cut};
}

} // namespace

struct ChatClient::Core {
    Core() {
        static const CURLcode ready = curl_global_init(CURL_GLOBAL_DEFAULT);
        static_cast<void>(ready);
        multi = curl_multi_init();
        curl_multi_setopt(multi, CURLMOPT_MAXCONNECTS, keptConnections);
        thread = std::thread([this] { run(); });
    }
    ~Core() { curl_multi_cleanup(multi); }
    Core(const Core&) = delete;
    Core& operator=(const Core&) = delete;

    void run();
    void begin();
    void remove(std::size_t number);
    void finishDone();

    CURLM* multi;
    std::mutex mutex; ///< of the four that follow
    std::size_t lastNumber = 0;
    std::vector<std::pair<std::size_t, std::unique_ptr<Request>>> begun;
    std::vector<std::size_t> cancelled;
    bool stopping = false;
    std::atomic<Clock::rep> lastUse = 0;
    std::map<std::size_t, std::unique_ptr<Request>> running; ///< of the thread alone
    std::thread thread;
};

void ChatClient::Core::begin() {
    std::vector<std::pair<std::size_t, std::unique_ptr<Request>>> added;
    std::vector<std::size_t> dropped;
    {
        const std::lock_guard lock(mutex);
        added.swap(begun);
        dropped.swap(cancelled);
    }
    for (auto& [number, request] : added) {
        curl_multi_add_handle(multi, request->easy.get());
        running.emplace(number, std::move(request));
    }
    for (const auto& [number, request] : running)
        if (request->isOverdue())
            dropped.push_back(number);
    for (const std::size_t number : dropped)
        remove(number);
}

void ChatClient::Core::remove(std::size_t number) {
    const auto found = running.find(number);
    if (found == running.end())
        return;
    curl_multi_remove_handle(multi, found->second->easy.get());
    running.erase(found);
}

void ChatClient::Core::finishDone() {
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi, &left)) {
        if (message->msg != CURLMSG_DONE)
            continue;
        const CURL* easy = message->easy_handle;
        const CURLcode result = message->data.result;
        for (auto& [number, request] : running) {
            if (request->easy.get() != easy)
                continue;
            if (request->receive) {
                const ChatEvent end = endOf(*request, result);
                if (end.trouble != ChatTrouble::None)
                    logLine("language model: " + std::string(curl_easy_strerror(result)) + ", HTTP status " +
                            std::to_string(request->status()));
                request->emit(end);
            }
            remove(number);
            break;
        }
    }
}

void ChatClient::Core::run() {
    int active = 0;
    while (true) {
        {
            const std::lock_guard lock(mutex);
            if (stopping)
                break;
        }
        begin();
        curl_multi_perform(multi, &active);
        finishDone();
        curl_multi_poll(multi, nullptr, 0, pollMilliseconds, nullptr);
    }
    begin();
    for (auto& [number, request] : running) {
        curl_multi_remove_handle(multi, request->easy.get());
        request->emit({.isEnd = true, .trouble = ChatTrouble::Unreachable});
    }
    running.clear();
}

ChatClient::ChatClient(ChatEndpoint chatEndpoint)
    : endpoint_(std::move(chatEndpoint))
    , core_(std::make_unique<Core>()) {}

ChatClient::~ChatClient() { stop(); }

std::size_t ChatClient::send(std::string body, Receiver receive) {
    core_->lastUse = Clock::now().time_since_epoch().count();
    auto request = std::make_unique<Request>(endpoint_, std::move(body), receive);
    std::size_t number = 0;
    {
        const std::lock_guard lock(core_->mutex);
        if (!core_->stopping) {
            number = ++core_->lastNumber;
            core_->begun.emplace_back(number, std::move(request));
        }
    }
    if (number != 0)
        curl_multi_wakeup(core_->multi);
    else if (receive)
        receive({.isEnd = true, .trouble = ChatTrouble::Unreachable});
    return number;
}

void ChatClient::cancel(std::size_t request) {
    {
        const std::lock_guard lock(core_->mutex);
        core_->cancelled.push_back(request);
    }
    curl_multi_wakeup(core_->multi);
}

void ChatClient::warm() {
    const Clock::time_point last{Clock::duration(core_->lastUse)};
    if (!endpoint_.url.empty() && Clock::now() - last > warmFor)
        send({}, nullptr);
}

void ChatClient::stop() {
    {
        const std::lock_guard lock(core_->mutex);
        core_->stopping = true;
    }
    curl_multi_wakeup(core_->multi);
    if (core_->thread.joinable())
        core_->thread.join();
}

} // namespace parlowen::service
