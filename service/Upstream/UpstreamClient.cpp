#include "UpstreamClient.h"

#include <algorithm>
#include <curl/curl.h>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

namespace parlowen::service {

namespace {

using Clock = std::chrono::steady_clock;
using Reading = UpstreamClient::Reading;

constexpr long keptConnections = 16;
constexpr long receiveBytes = 2 * 1024;    // of each request; pieces of answers are smaller
constexpr long sendBytes = 16 * 1024;      // the least that libcurl takes; of each request through TLS
constexpr long longestIdleSeconds = 900;   // of a kept connection, which libcurl looks at before it is used again
constexpr std::chrono::seconds restFor{5}; // for what follows what was wanted
constexpr std::chrono::hours longestPause{1};
constexpr int pollMilliseconds = 1'000;
constexpr long ok = 200;
constexpr long refused = 400;

struct FreeEasy {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
struct FreeList {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
struct FreeForm {
    void operator()(curl_mime* form) const { curl_mime_free(form); }
};

std::size_t receiveHeader(char* bytes, std::size_t size, std::size_t count, void* transfer);
std::size_t receiveBody(char* bytes, std::size_t size, std::size_t count, void* transfer);

/// Hosts that are reached directly: this machine, and those that the environment names.
std::string withoutProxy() {
    std::string hosts = "localhost,127.0.0.1,::1";
    for (const char* name : {"no_proxy", "NO_PROXY"})
        if (const char* more = std::getenv(name))
            hosts.append(",").append(more);
    return hosts;
}

/// One request on its way.
struct Transfer {
    Transfer(UpstreamRequest requestToSend, UpstreamClient::Handlers handlersToCall)
        : request(std::move(requestToSend))
        , handlers(std::move(handlersToCall))
        , easy(curl_easy_init()) {
        set(CURLOPT_URL, request.url.c_str());
        set(CURLOPT_PROTOCOLS_STR, "http,https");
        set(CURLOPT_NOPROXY, withoutProxy().c_str());
        set(CURLOPT_QUICK_EXIT, 1L); // a name that is still looked up holds nobody up
        set(CURLOPT_NOSIGNAL, 1L);
        set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(request.connect.count()));
        set(CURLOPT_TIMEOUT_MS, static_cast<long>(request.whole.count()));
        set(CURLOPT_BUFFERSIZE, receiveBytes);
        set(CURLOPT_UPLOAD_BUFFERSIZE, sendBytes);
        set(CURLOPT_TCP_KEEPALIVE, 1L);
        set(CURLOPT_MAXAGE_CONN, longestIdleSeconds);
        for (const std::string& header : request.headers)
            add(header);
        add("Expect:"); // a large body would wait for it
        if (!request.bearer.empty())
            add("Authorization: Bearer " + request.bearer);
        set(CURLOPT_HTTPHEADER, headers.get());
        addBody();
        set(CURLOPT_HEADERFUNCTION, receiveHeader);
        set(CURLOPT_HEADERDATA, this);
        set(CURLOPT_WRITEFUNCTION, receiveBody);
        set(CURLOPT_WRITEDATA, this);
    }

    void addBody() {
        if (!request.form.empty()) {
            form.reset(curl_mime_init(easy.get()));
            for (const UpstreamRequest::Part& part : request.form) {
                curl_mimepart* added = curl_mime_addpart(form.get());
                curl_mime_name(added, part.name.c_str());
                curl_mime_data(added, part.contents.data(), part.contents.size());
                if (!part.fileName.empty())
                    curl_mime_filename(added, part.fileName.c_str());
                if (!part.type.empty())
                    curl_mime_type(added, part.type.c_str());
            }
            set(CURLOPT_MIMEPOST, form.get());
        } else if (request.method == UpstreamRequest::Method::Post) {
            set(CURLOPT_POSTFIELDS, request.body.c_str());
            set(CURLOPT_POSTFIELDSIZE, static_cast<long>(request.body.size()));
        }
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

    /// False ends the request: however long the page is that says no, it is not waited for.
    bool takeHeader(std::string_view line) const {
        const long code = status();
        const bool isEndOfHead = line == "\r\n" || line == "\n";
        const bool isRead = code == refused || request.method == UpstreamRequest::Method::Get;
        return !isEndOfHead || code <= ok || (isRead && request.mostRefusalBytes > 0);
    }
    /// What has gone out takes no room while the reply grows.
    void forgetBody() {
        curl_off_t sent = 0;
        curl_easy_getinfo(easy.get(), CURLINFO_SIZE_UPLOAD_T, &sent);
        if (!request.body.empty() && sent == static_cast<curl_off_t>(request.body.size()))
            std::string().swap(request.body);
    }
    bool takeBody(std::string_view bytes) {
        if (status() != ok) {
            refusal.append(bytes.substr(0, request.mostRefusalBytes - refusal.size()));
            return refusal.size() < request.mostRefusalBytes;
        }
        forgetBody();
        if (!handlers.take)
            return true;
        const Reading reading = handlers.take(bytes);
        if (reading == Reading::Rest) {
            handlers = {};
            restUntil = Clock::now() + restFor;
        }
        return reading != Reading::Stop;
    }

    UpstreamRequest request;
    UpstreamClient::Handlers handlers;
    std::string refusal;
    Clock::time_point restUntil = Clock::time_point::max();
    std::unique_ptr<CURL, FreeEasy> easy;
    std::unique_ptr<curl_slist, FreeList> headers;
    std::unique_ptr<curl_mime, FreeForm> form;
};

std::size_t receiveHeader(char* bytes, std::size_t size, std::size_t count, void* transfer) {
    return static_cast<Transfer*>(transfer)->takeHeader({bytes, size * count}) ? size * count : 0;
}

std::size_t receiveBody(char* bytes, std::size_t size, std::size_t count, void* transfer) {
    return static_cast<Transfer*>(transfer)->takeBody({bytes, size * count}) ? size * count : 0;
}

/// Takes the request's body.
UpstreamEnd endOf(Transfer& transfer, CURLcode result) {
    curl_off_t pause = 0;
    curl_easy_getinfo(transfer.easy.get(), CURLINFO_RETRY_AFTER, &pause);
    const long status = transfer.status();
    const bool isRefused = status != 0 && status != ok;
    return {.status = status,
            .isWhole = result == CURLE_OK,
            .isLate = result == CURLE_OPERATION_TIMEDOUT,
            .words = isRefused || result == CURLE_OK ? "HTTP status " + std::to_string(status)
                                                     : std::string(curl_easy_strerror(result)),
            .refusal = std::move(transfer.refusal),
            .sent = std::move(transfer.request.body),
            .pause = std::min<std::chrono::seconds>(std::chrono::seconds(pause), longestPause)};
}

} // namespace

struct UpstreamClient::Core {
    using TransferPtr = std::unique_ptr<Transfer>;

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
    void start(std::size_t number, TransferPtr transfer);
    TransferPtr remove(std::size_t number);
    void finish(std::size_t number, CURLcode result);
    void finishDone();

    CURLM* multi;
    std::mutex mutex; ///< of the four that follow
    std::size_t lastNumber = 0;
    std::vector<std::pair<std::size_t, TransferPtr>> begun;
    std::vector<std::size_t> cancelled;
    bool stopping = false;
    std::map<std::size_t, TransferPtr> running; ///< of the thread alone
    std::thread thread;
};

void UpstreamClient::Core::start(std::size_t number, TransferPtr transfer) {
    curl_multi_add_handle(multi, transfer->easy.get());
    running.emplace(number, std::move(transfer));
}

void UpstreamClient::Core::begin() {
    std::vector<std::pair<std::size_t, TransferPtr>> added;
    std::vector<std::size_t> dropped;
    {
        const std::lock_guard lock(mutex);
        added.swap(begun);
        dropped.swap(cancelled);
    }
    for (auto& [number, transfer] : added)
        start(number, std::move(transfer));
    for (const auto& [number, transfer] : running)
        if (Clock::now() > transfer->restUntil)
            dropped.push_back(number);
    for (const std::size_t number : dropped)
        remove(number);
}

UpstreamClient::Core::TransferPtr UpstreamClient::Core::remove(std::size_t number) {
    const auto found = running.find(number);
    if (found == running.end())
        return nullptr;
    TransferPtr transfer = std::move(found->second);
    curl_multi_remove_handle(multi, transfer->easy.get());
    running.erase(found);
    return transfer;
}

void UpstreamClient::Core::finish(std::size_t number, CURLcode result) {
    const TransferPtr transfer = remove(number);
    if (!transfer->handlers.end)
        return;
    if (auto next = transfer->handlers.end(endOf(*transfer, result)))
        start(number, std::make_unique<Transfer>(*std::move(next), std::move(transfer->handlers)));
}

void UpstreamClient::Core::finishDone() {
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi, &left)) {
        if (message->msg != CURLMSG_DONE)
            continue;
        const CURLcode result = message->data.result;
        const auto done =
            std::find_if(running.begin(), running.end(),
                         [easy = message->easy_handle](const auto& entry) { return entry.second->easy.get() == easy; });
        if (done != running.end())
            finish(done->first, result);
    }
}

void UpstreamClient::Core::run() {
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
    while (!running.empty()) {
        const TransferPtr transfer = remove(running.begin()->first);
        if (transfer->handlers.end)
            transfer->handlers.end({.isWhole = false, .words = "the service ends"});
    }
}

UpstreamClient::UpstreamClient()
    : core_(std::make_unique<Core>()) {}

UpstreamClient::~UpstreamClient() { stop(); }

std::size_t UpstreamClient::send(UpstreamRequest request, Handlers handlers) {
    const auto end = handlers.end;
    auto transfer = std::make_unique<Transfer>(std::move(request), std::move(handlers));
    std::size_t number = 0;
    {
        const std::lock_guard lock(core_->mutex);
        if (!core_->stopping) {
            number = ++core_->lastNumber;
            core_->begun.emplace_back(number, std::move(transfer));
        }
    }
    if (number != 0)
        curl_multi_wakeup(core_->multi);
    else if (end)
        end({.isWhole = false, .words = "the service ends"});
    return number;
}

void UpstreamClient::cancel(std::size_t number) {
    {
        const std::lock_guard lock(core_->mutex);
        core_->cancelled.push_back(number);
    }
    curl_multi_wakeup(core_->multi);
}

void UpstreamClient::stop() {
    {
        const std::lock_guard lock(core_->mutex);
        core_->stopping = true;
    }
    curl_multi_wakeup(core_->multi);
    if (core_->thread.joinable())
        core_->thread.join();
}

} // namespace parlowen::service
