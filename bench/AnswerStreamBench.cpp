// What the service adds between a language model and those who wait for its answers: from a question's arrival to the
// request upstream, and from the model's piece to the client's, for one stream and for many at the same time. The
// service is a process of its own, everything on the loopback interface; the baseline are the same streams without it.

#include "Chat/ChatClient.h"
#include "Measure.h"
#include "Resumes/ResumeStore.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/connect.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <list>
#include <nlohmann/json.hpp>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace parlowen;
namespace asio = boost::asio;
using asio::awaitable;
using asio::use_awaitable;
using asio::ip::tcp;
using Clock = std::chrono::steady_clock;

constexpr int manyStreams = 200;
constexpr int questions = 100;
constexpr int piecesOfMany = 150; // five seconds
constexpr auto piecePause = std::chrono::microseconds(33'333);

double now() { return std::chrono::duration<double, std::milli>(Clock::now().time_since_epoch()).count(); }

/// Where each piece is the number of its place and the time at which it was sent.
class Model {
public:
    explicit Model(asio::io_context& io)
        : acceptor_(io, {asio::ip::address_v4::loopback(), 0}) {
        asio::co_spawn(io, accept(), asio::detached);
    }
    std::string authority() const { return "127.0.0.1:" + std::to_string(acceptor_.local_endpoint().port()); }

    int pieces = 1; ///< of an answer
    double lastRequest = 0;

private:
    awaitable<void> accept() {
        while (true)
            asio::co_spawn(acceptor_.get_executor(), serve(co_await acceptor_.async_accept(use_awaitable)),
                           [](const std::exception_ptr&) {});
    }
    awaitable<void> serve(tcp::socket socket) {
        socket.set_option(tcp::no_delay(true));
        for (std::string read;;) {
            const std::size_t head =
                co_await asio::async_read_until(socket, asio::dynamic_buffer(read), "\r\n\r\n", use_awaitable);
            const auto length = read.find("Content-Length: ");
            const std::size_t body = length < head ? std::stoul(read.substr(length + 16)) : 0;
            while (read.size() < head + body) {
                const std::size_t had = read.size();
                read.resize(head + body);
                const std::size_t more =
                    co_await socket.async_read_some(asio::buffer(read.data() + had, read.size() - had), use_awaitable);
                read.resize(had + more);
            }
            lastRequest = now();
            read.erase(0, head + body);
            auto answering = answer(socket);
            co_await std::move(answering);
        }
    }
    static constexpr std::string_view opening =
        "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nTransfer-Encoding: chunked\r\n\r\n";
    static constexpr std::string_view lastChunk = "0\r\n\r\n";

    awaitable<void> answer(tcp::socket& socket) {
        co_await asio::async_write(socket, asio::buffer(opening), use_awaitable);
        asio::steady_timer timer(socket.get_executor(), Clock::now());
        for (int i = 0; i < pieces; ++i) {
            const std::string chunk = chunkOf(pieceOf(i));
            co_await asio::async_write(socket, asio::buffer(chunk), use_awaitable);
            timer.expires_at(timer.expiry() + piecePause);
            co_await timer.async_wait(use_awaitable);
        }
        const std::string done = chunkOf("[DONE]");
        co_await asio::async_write(socket, asio::buffer(done), use_awaitable);
        co_await asio::async_write(socket, asio::buffer(lastChunk), use_awaitable);
    }
    static std::string pieceOf(int number) {
        const std::string content = std::to_string(number) + ":" + std::to_string(now()) + ";";
        return nlohmann::json({{"choices", {{{"delta", {{"content", content}}}}}}}).dump();
    }
    static std::string chunkOf(const std::string& data) {
        std::array<char, 20> size{};
        std::snprintf(size.data(), size.size(), "%zx", data.size() + 8);
        return std::string(size.data()) + "\r\ndata: " + data + "\n\n\r\n";
    }

    tcp::acceptor acceptor_;
};

/// What clients saw.
struct Seen {
    std::vector<double> late; ///< of each piece, in milliseconds
    int whole = 0;            ///< streams of which every piece came, in order
};

/// Takes the pieces out of a stream as they come.
class Reader {
public:
    Reader(Seen& seen, int expected)
        : seen_(seen)
        , expected_(expected) {}

    void take(std::string_view bytes) {
        buffer_.append(bytes);
        constexpr std::string_view mark = R"("content":")";
        for (auto at = buffer_.find(mark); at != std::string::npos; at = buffer_.find(mark)) {
            const auto colon = buffer_.find(':', at + mark.size());
            const auto end = buffer_.find(';', at);
            if (end == std::string::npos || colon > end)
                return;
            inOrder_ = inOrder_ && std::stoi(buffer_.substr(at + mark.size())) == next_++;
            seen_.late.push_back(now() - std::stod(buffer_.substr(colon + 1)));
            buffer_.erase(0, end);
        }
    }
    void finish() { seen_.whole += inOrder_ && next_ == expected_ ? 1 : 0; }

private:
    Seen& seen_;
    const int expected_;
    std::string buffer_;
    int next_ = 0;
    bool inOrder_ = true;
};

std::string request(const std::string& method, const std::string& path, const std::string& token,
                    const std::string& body) {
    return method + " " + path +
           " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\nContent-Type: application/json\r\nAuthorization: "
           "Bearer " +
           token + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

template<class Stream>
awaitable<void> readAll(Stream& stream, Reader& reader) {
    std::array<char, 4096> bytes{};
    boost::system::error_code ended;
    while (!ended) {
        const std::size_t count =
            co_await stream.async_read_some(asio::buffer(bytes), asio::redirect_error(use_awaitable, ended));
        reader.take({bytes.data(), count});
    }
    reader.finish();
}

awaitable<void> throughService(asio::ssl::context& tls, tcp::endpoint place, std::string sent, Seen& seen, int pieces,
                               double* asked) {
    asio::ssl::stream<tcp::socket> stream(co_await asio::this_coro::executor, tls);
    co_await stream.next_layer().async_connect(place, use_awaitable);
    stream.next_layer().set_option(tcp::no_delay(true));
    co_await stream.async_handshake(asio::ssl::stream_base::client, use_awaitable);
    if (asked != nullptr)
        *asked = now();
    co_await asio::async_write(stream, asio::buffer(sent), use_awaitable);
    Reader reader(seen, pieces);
    auto reading = readAll(stream, reader);
    co_await std::move(reading);
}

awaitable<void> straight(tcp::endpoint place, Seen& seen, int pieces) {
    tcp::socket socket(co_await asio::this_coro::executor);
    co_await socket.async_connect(place, use_awaitable);
    const std::string sent = request("POST", "/v1/chat/completions", "none", "{}");
    co_await asio::async_write(socket, asio::buffer(sent), use_awaitable);
    Reader reader(seen, pieces);
    auto reading = readAll(socket, reader);
    asio::steady_timer over(socket.get_executor(), piecePause * (pieces + 60));
    over.async_wait([&socket](const boost::system::error_code&) { socket.close(); }); // the model keeps connections
    co_await std::move(reading);
}

/// parlowen-service as a process.
class ServiceProcess {
public:
    explicit ServiceProcess(const std::string& modelAuthority) {
        std::array<int, 2> pipe{};
        if (::pipe(pipe.data()) != 0)
            std::abort();
        process_ = ::fork();
        if (process_ == 0) {
            ::dup2(pipe[1], STDOUT_FILENO);
            ::close(pipe[0]);
            const std::string url = "http://" + modelAuthority + "/v1";
            ::execl(PARLOWEN_BINARY_DIR "/bin/parlowen-service", "parlowen-service", "--listen", "127.0.0.1:0",
                    "--data", data().c_str(), "--create-accounts", "--config", "/dev/null", "--answers-url",
                    url.c_str(), "--answers-model", "m", "--answers-at-once", "1000", "--answers-at-once-per-account",
                    "1000", nullptr);
            ::_exit(127);
        }
        ::close(pipe[1]);
        const std::unique_ptr<FILE, int (*)(FILE*)> output(::fdopen(pipe[0], "r"), ::fclose);
        unsigned port = 0;
        std::array<char, 256> line{};
        while (port == 0 && std::fgets(line.data(), line.size(), output.get()) != nullptr)
            static_cast<void>(std::sscanf(line.data(), "listening on https://127.0.0.1:%u", &port));
        place = {asio::ip::address_v4::loopback(), static_cast<std::uint16_t>(port)};
    }
    ~ServiceProcess() {
        ::kill(process_, SIGTERM);
        ::waitpid(process_, nullptr, 0);
        std::filesystem::remove_all(directory_);
    }
    ServiceProcess(const ServiceProcess&) = delete;
    ServiceProcess& operator=(const ServiceProcess&) = delete;

    std::string data() const { return (directory_ / "data").string(); }
    /// Resident memory, in KiB.
    double memory() const {
        std::ifstream status("/proc/" + std::to_string(process_) + "/status");
        for (std::string line; std::getline(status, line);)
            if (line.starts_with("VmRSS:"))
                return std::stod(line.substr(6));
        return 0;
    }
    /// Of all its threads, in seconds.
    double processorTime() const {
        std::ifstream stat("/proc/" + std::to_string(process_) + "/stat");
        std::string skipped;
        for (int i = 0; i < 13; ++i)
            stat >> skipped;
        long user = 0;
        long system = 0;
        stat >> user >> system;
        return static_cast<double>(user + system) / static_cast<double>(::sysconf(_SC_CLK_TCK));
    }
    tcp::endpoint place;

private:
    static std::filesystem::path temporary() {
        std::string name = (std::filesystem::temp_directory_path() / "answer-bench-XXXXXX").string();
        return ::mkdtemp(name.data());
    }
    const std::filesystem::path directory_ = temporary();
    pid_t process_ = 0;
};

/// As many connections as there will be streams, on which nothing is asked.
class Idle {
public:
    Idle(asio::ssl::context& tls, const tcp::endpoint& place) {
        for (int i = 0; i < manyStreams; ++i) {
            auto& stream = streams_.emplace_back(io_, tls);
            stream.next_layer().connect(place);
            stream.handshake(asio::ssl::stream_base::client);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(300)); // for the service's side of the last ones
    }
    void close() { streams_.clear(); }

private:
    asio::io_context io_;
    std::list<asio::ssl::stream<tcp::socket>> streams_;
};

/// One request; the reply's body.
std::string ask(asio::ssl::context& tls, const tcp::endpoint& place, const std::string& sent) {
    asio::io_context io;
    asio::ssl::stream<tcp::socket> stream(io, tls);
    stream.next_layer().connect(place);
    stream.handshake(asio::ssl::stream_base::client);
    asio::write(stream, asio::buffer(sent));
    std::string reply;
    boost::system::error_code ended;
    asio::read(stream, asio::dynamic_buffer(reply), ended);
    return reply.substr(reply.find("\r\n\r\n") + 4);
}

std::string signIn(asio::ssl::context& tls, const ServiceProcess& service) {
    const std::string body = R"({"country_code":"86","phone":"13800000001","password":"secret-1"})";
    const auto reply =
        nlohmann::json::parse(ask(tls, service.place, request("POST", "/api/v1/user/account/login", "", body)));
    std::ifstream file(PARLOWEN_SOURCE_DIR "/tests/service/Resumes/relevance/english.txt");
    const std::string resume{std::istreambuf_iterator<char>(file), {}};
    service::Database database(std::filesystem::path(service.data()) / "parlowen.db");
    service::ResumeStore store(database);
    store.bind(1, store.add(1, "cv", resume, std::time(nullptr)).id, std::time(nullptr));
    return reply.at("data").at("token");
}

} // namespace

int main() {
    std::signal(SIGPIPE, SIG_IGN);
    asio::io_context modelIo;
    Model model(modelIo);
    std::thread modelThread([&] { modelIo.run(); });
    bool met = true;
    {
        const ServiceProcess service(model.authority());
        asio::ssl::context tls(asio::ssl::context::tls_client);
        const std::string token = signIn(tls, service);
        const std::string question = request("POST", "/api/v1/ai/meeting", token,
                                             R"({"type":1,"txt":"Have you led a team before?","prompt":"engineer"})");
        asio::io_context io;
        const auto run = [&io] {
            io.restart();
            io.run();
        };
        ask(tls, service.place, request("GET", "/api/v1/microsoft/get_token", token, ""));

        std::vector<double> toRequest;
        Seen one;
        for (int i = 0; i < questions; ++i) {
            double asked = 0;
            asio::co_spawn(io, throughService(tls, service.place, question, one, 1, &asked), asio::detached);
            run();
            toRequest.push_back(model.lastRequest - asked);
        }
        std::printf("%d questions one by one, with a resume: first %.2f ms, median %.2f ms\n", questions,
                    toRequest.front(), bench::median(toRequest));
        met &= bench::judge("question to request, 95th percentile", bench::percentile(toRequest, 0.95), 5, "ms");
        met &= bench::judge("model's piece to client's piece, 95th percentile", bench::percentile(one.late, 0.95), 5,
                            "ms");

        model.pieces = piecesOfMany;
        const tcp::endpoint modelPlace = {asio::ip::address_v4::loopback(),
                                          static_cast<std::uint16_t>(std::stoul(model.authority().substr(10)))};
        Seen direct;
        for (int i = 0; i < manyStreams; ++i)
            asio::co_spawn(io, straight(modelPlace, direct, piecesOfMany), asio::detached);
        run();

        const double fresh = service.memory();
        Idle idle(tls, service.place);
        const double before = service.memory();
        idle.close();
        const double busy = service.processorTime();
        double most = 0;
        Seen many;
        for (int i = 0; i < manyStreams; ++i)
            asio::co_spawn(io, throughService(tls, service.place, question, many, piecesOfMany, nullptr),
                           asio::detached);
        asio::steady_timer look(io);
        std::function<void()> watch = [&] {
            most = std::max(most, service.memory());
            if (many.whole == 0) {
                look.expires_after(std::chrono::milliseconds(200));
                look.async_wait([&](const boost::system::error_code&) { watch(); });
            }
        };
        watch();
        run();
        const auto early = std::count_if(many.late.begin(), many.late.end(), [](double late) { return late < 50; });
        std::printf("%d streams of %d pieces: %d whole and in order, median %.2f ms late, 99th percentile %.2f ms; "
                    "without the service %.2f ms\n",
                    manyStreams, piecesOfMany, many.whole, bench::median(many.late), bench::percentile(many.late, 0.99),
                    bench::percentile(direct.late, 0.99));
        met &= bench::judge("streams that are not whole", manyStreams - many.whole, 0, "");
        met &= bench::judge("pieces 50 ms late or more",
                            100.0 - 100.0 * static_cast<double>(early) / static_cast<double>(many.late.size()), 1, "%");
        std::printf("%.0f %% of a processor; an idle TLS connection %.1f KiB\n",
                    100 * (service.processorTime() - busy) /
                        std::chrono::duration<double>(piecePause * piecesOfMany).count(),
                    (before - fresh) / manyStreams);
        met &= bench::judge("memory of a stream with its TLS connection", (most - fresh) / manyStreams, 64, "KiB");
    }
    modelIo.stop();
    modelThread.join();
    return met ? 0 : 1;
}
