#include "Download.h"

#include "Http/HttpMessage.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <curl/curl.h>
#include <memory>
#include <openssl/evp.h>
#include <stdexcept>
#include <thread>
#include <utility>

namespace parlowen::service {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int tries = 5; // without a byte in between
constexpr auto firstPause = 200ms;
constexpr long connectSeconds = 20;
constexpr long stalledSeconds = 30;
constexpr long rangeNotSatisfiable = 416;

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using FileHandle = std::unique_ptr<std::FILE, CloseFile>;
struct FreeCurl {
    void operator()(CURL* curl) const { curl_easy_cleanup(curl); }
};
using CurlHandle = std::unique_ptr<CURL, FreeCurl>;

std::uintmax_t sizeOf(const fs::path& file) {
    std::error_code error;
    const auto size = fs::file_size(file, error);
    return error ? 0 : size;
}

/// One attempt.
struct Transfer {
    const Download& download;
    FileHandle file;
    std::uintmax_t have; ///< bytes in the file
    int writeError = 0;
    Clock::time_point lastBytes = Clock::now();
    bool stalls = false;

    void look() {
        const bool isLong = Clock::now() - lastBytes >= download.stall;
        if (isLong && !std::exchange(stalls, true) && download.stalled)
            download.stalled();
    }

    std::size_t take(const char* bytes, std::size_t count) {
        errno = 0;
        if (std::fwrite(bytes, 1, count, file.get()) != count || std::fflush(file.get()) != 0) {
            writeError = errno;
            return CURL_WRITEFUNC_ERROR;
        }
        have += count;
        lastBytes = Clock::now();
        stalls = false;
        if (download.progress)
            download.progress(have, download.bytes);
        return count;
    }
};

std::size_t onBytes(char* bytes, std::size_t size, std::size_t count, void* transfer) {
    return static_cast<Transfer*>(transfer)->take(bytes, size * count);
}

int onTick(void* transfer, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    static_cast<Transfer*>(transfer)->look();
    return 0;
}

enum class Outcome { Done, Again };

[[noreturn]] void refuseUnsafe(const Download& download) {
    throw std::runtime_error(download.address + ": without a known checksum only https is taken");
}

/// Throws what a second attempt would not mend.
Outcome attempt(const Download& download, std::string& problem) {
    const CurlHandle curl(curl_easy_init());
    Transfer transfer{download, FileHandle(std::fopen(download.file.c_str(), "ab")), sizeOf(download.file)};
    if (!transfer.file)
        throw std::runtime_error("cannot write " + download.file.string() + ": " + std::strerror(errno));
    curl_easy_setopt(curl.get(), CURLOPT_URL, download.address.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_PROTOCOLS_STR, download.sha256.empty() ? "https" : "https,http");
    curl_easy_setopt(curl.get(), CURLOPT_REDIR_PROTOCOLS_STR, download.sha256.empty() ? "https" : "https,http");
    curl_easy_setopt(curl.get(), CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_FAILONERROR, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_CONNECTTIMEOUT, connectSeconds);
    curl_easy_setopt(curl.get(), CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_LOW_SPEED_TIME, stalledSeconds);
    curl_easy_setopt(curl.get(), CURLOPT_RESUME_FROM_LARGE, static_cast<curl_off_t>(transfer.have));
    curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, onBytes);
    curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &transfer);
    curl_easy_setopt(curl.get(), CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(curl.get(), CURLOPT_XFERINFOFUNCTION, onTick);
    curl_easy_setopt(curl.get(), CURLOPT_XFERINFODATA, &transfer);
    const CURLcode code = curl_easy_perform(curl.get());
    long status = 0;
    curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &status);
    if (code == CURLE_OK)
        return Outcome::Done;
    if (transfer.writeError != 0)
        throw std::runtime_error("cannot write " + download.file.string() + ": " + std::strerror(transfer.writeError));
    if (code == CURLE_UNSUPPORTED_PROTOCOL)
        refuseUnsafe(download);
    if (status == rangeNotSatisfiable) { // the file is whole, or another one than the server's: the sum will tell
        problem.clear();
        return Outcome::Done;
    }
    if (code == CURLE_RANGE_ERROR) { // a server that sends files as a whole only
        transfer.file.reset();
        fs::remove(download.file);
        return attempt(download, problem);
    }
    if (code == CURLE_HTTP_RETURNED_ERROR && status < 500)
        throw std::runtime_error(download.address + ": the server answers HTTP " + std::to_string(status));
    problem = download.address + ": " + curl_easy_strerror(code);
    return Outcome::Again;
}

void check(const Download& download) {
    const auto refuse = [&download](const std::string& why) {
        fs::remove(download.file);
        throw std::runtime_error(download.file.filename().string() + " " + why + "; it was removed");
    };
    if (const auto size = sizeOf(download.file); download.bytes != 0 && size != download.bytes)
        refuse("has " + std::to_string(size) + " bytes, not " + std::to_string(download.bytes));
    if (download.sha256.empty())
        return;
    if (const auto sum = sha256Of(download.file); sum != download.sha256)
        refuse("has the SHA-256 sum " + sum + ", not " + download.sha256);
}

} // namespace

void requireSafe(const Download& download) {
    constexpr std::string_view safe = "https://";
    if (download.sha256.empty() && !sameWord(download.address.substr(0, safe.size()), safe))
        refuseUnsafe(download);
}

void fetch(const Download& download) {
    requireSafe(download);
    auto pause = firstPause;
    auto have = sizeOf(download.file); // the most so far: a server that knows no ranges begins anew
    if (download.bytes == 0 || have < download.bytes) {
        std::string problem;
        for (int left = tries; attempt(download, problem) == Outcome::Again;) {
            const auto now = sizeOf(download.file);
            const bool gotOn = now > have;
            have = std::max(have, now);
            left = gotOn ? tries : left - 1;
            pause = gotOn ? firstPause : 2 * pause;
            if (left == 0)
                throw std::runtime_error(problem +
                                         (now > 0 ? "; what is there is kept, and another try goes on from it" : ""));
            std::this_thread::sleep_for(pause);
        }
    }
    check(download);
}

std::string sha256Of(const fs::path& path) {
    const FileHandle file(std::fopen(path.c_str(), "rb"));
    if (!file)
        throw std::runtime_error("cannot read " + path.string());
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr);
    std::array<unsigned char, 65'536> bytes{};
    while (const auto count = std::fread(bytes.data(), 1, bytes.size(), file.get()))
        EVP_DigestUpdate(context.get(), bytes.data(), count);
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned length = 0;
    EVP_DigestFinal_ex(context.get(), digest.data(), &length);
    std::string text;
    for (unsigned i = 0; i < length; ++i) {
        constexpr std::string_view digits = "0123456789abcdef";
        text += digits[digest[i] >> 4];
        text += digits[digest[i] & 15];
    }
    return text;
}

} // namespace parlowen::service
