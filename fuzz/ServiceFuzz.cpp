#include "Chat/ChatStreamParser.h"
#include "Http/RequestHead.h"
#include "Http/Router.h"
#include "Program/Options.h"
#include "Resumes/DocxText.h"
#include "Resumes/MultipartParser.h"
#include "Resumes/ResumeExcerpt.h"
#include "Resumes/TextExtraction.h"
#include "Speech/SpeechSession.h"

#include <Wire/SpeechMessage.h>
#include <boost/asio/io_context.hpp>
#include <cstdint>
#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>

// One program a function of `Targets`; PARLOWEN_FUZZED names it.

namespace {

using namespace parlowen::service;

/// A promise that the code makes was broken.
void require(bool kept) {
    if (!kept)
        std::abort();
}

/// The input as a file in memory that can be opened by this path, until the next one.
std::filesystem::path inputFile(std::string_view contents) {
    static const int descriptor = ::memfd_create("input", MFD_CLOEXEC);
    require(::ftruncate(descriptor, 0) == 0);
    require(::pwrite(descriptor, contents.data(), contents.size(), 0) == static_cast<ssize_t>(contents.size()));
    return "/proc/self/fd/" + std::to_string(descriptor);
}

/// Recognises one word in every piece of audio, and translates it at once.
struct EngineOfOneWord : RecognitionEngine, Translator {
    struct Stream : RecognitionStream {
        explicit Stream(RecognitionSink takeEvent)
            : sink(std::move(takeEvent)) {}
        bool accept(std::span<const std::int16_t> samples) override {
            sink({RecognitionEvent::Kind::Partial, "word", ticksOfSamples(static_cast<std::int64_t>(samples.size()))});
            return samples.size() % 2 == 0;
        }
        void finish() override {
            sink({RecognitionEvent::Kind::Final, "word"});
            sink({RecognitionEvent::Kind::SpeechEnd, {}});
        }
        RecognitionSink sink;
    };
    std::vector<std::string> locales() const override { return {"en-US"}; }
    std::unique_ptr<RecognitionStream> open(std::string_view, RecognitionSink sink) override {
        return std::make_unique<Stream>(std::move(sink));
    }
    std::vector<LanguagePair> pairs() const override { return {{"en", "es"}}; }
    std::optional<std::string> translate(const LanguagePair&, std::string_view text) override {
        return std::string(text);
    }
};

struct Targets {
    /// A request's header, its target and its body, in two pieces as a connection reads them.
    static void http(std::string_view bytes) {
        static const HeadRules rules{true, {"example.org"}, {boost::asio::ip::make_address("127.0.0.1")}};
        const auto length = headLength(bytes, 0);
        RequestParser parser;
        parser.header_limit(8'192);
        parser.body_limit(boost::none);
        if (!length || parseHead(parser, bytes.substr(0, *length)))
            return;
        if (const auto refusal = refusalOfHead(parser.get(), rules))
            return require(refusal->status >= 400);
        const auto target = parsedTarget(parser.get().target());
        if (!target)
            return;
        const HttpRequest request(parser.get(), *target, originOf(parser.get(), rules.proxies.front(), rules));
        require(!request.path.empty() && !request.isLocal());
        request.query("a");
        isWebSocketKey(request.header("Sec-WebSocket-Key"));
        parser.body_limit(1'024);
        std::string_view rest = bytes.substr(*length);
        boost::system::error_code problem;
        while (!rest.empty() && !problem && !parser.is_done()) {
            const std::size_t taken = parser.put(boost::asio::buffer(rest), problem);
            rest.remove_prefix(taken);
            if (taken == 0)
                break;
        }
        require(request.body().size() <= 1'024);
    }
    static void json(std::string_view bytes) {
        const auto value = jsonObject(bytes);
        if (!value)
            return;
        textMember(*value, "txt");
        require(value->is_object() && jsonObject(compactJson(*value)));
    }
    /// What a language model answers, cut where the first byte says.
    static void events(std::string_view bytes) {
        if (bytes.empty())
            return;
        const auto cut = std::min<std::size_t>(static_cast<unsigned char>(bytes[0]), bytes.size() - 1);
        bytes.remove_prefix(1);
        const auto textOf = [](const std::vector<std::string_view>& pieces) {
            ChatStreamParser parser;
            std::string text;
            for (const auto piece : pieces)
                for (const ChatEvent& event : parser.feed(piece))
                    text += event.isEnd ? "end" : event.piece;
            return text;
        };
        require(textOf({bytes}) == textOf({bytes.substr(0, cut), bytes.substr(cut)}));
    }
    static void multipart(std::string_view bytes) {
        const auto line = std::min(bytes.find('\n'), bytes.size());
        const auto boundary = MultipartParser::boundaryOf(bytes.substr(0, line));
        MultipartParser parser(boundary.value_or("b"));
        std::size_t taken = 0;
        bytes.remove_prefix(line);
        for (std::size_t at = 0; at < bytes.size(); at += 7)
            parser.feed(bytes.substr(at, 7),
                        [&](const MultipartParser::Part&, std::string_view piece) { taken += piece.size(); });
        require(taken <= bytes.size());
    }
    static void frames(std::string_view bytes) {
        using namespace parlowen::wire;
        if (const auto message = decodeText(bytes)) {
            const std::string again = encode(*message); // with a blank behind each colon
            require(again.size() - message->body.size() > maxHeaderBlock || decodeText(again));
        }
        if (const auto message = decodeBinary(bytes))
            require(message->binary && message->body.size() <= maxPayload);
        PcmInput whole;
        whole.feed(bytes);
    }
    /// Frames of a connection: each begins with a byte that says its kind and one or two with its length.
    static void messages(std::string_view bytes) {
        static const EngineSet engines = [] {
            EngineSet set;
            const auto engine = std::make_shared<EngineOfOneWord>();
            set.add(std::static_pointer_cast<RecognitionEngine>(engine));
            set.add(std::static_pointer_cast<Translator>(engine));
            return set;
        }();
        boost::asio::io_context io;
        std::size_t sent = 0;
        SpeechSession session(engines, settingsOfRequest("/stt/speech/universal/v2", [](auto) { return "en-US"; }),
                              {[&](const std::string& frame) { sent += frame.size(); },
                               [&](std::function<void()> act) { boost::asio::post(io, std::move(act)); }, [] {},
                               io.get_executor()});
        while (bytes.size() > 2) {
            const bool isText = (bytes[0] & 1) == 0;
            const auto length =
                static_cast<std::size_t>(static_cast<unsigned char>(bytes[1]) * (bytes[0] & 2 ? 16 : 1));
            const std::string_view frame = bytes.substr(2, length);
            const auto close = isText ? session.onText(frame) : session.onBinary(frame);
            io.poll();
            io.restart();
            if (close)
                return require(close->reason.size() <= 123);
            bytes.remove_prefix(std::min(bytes.size(), 2 + length));
        }
    }
    static void docx(std::string_view bytes) {
        fileKind(bytes.substr(0, 1'024));
        try {
            docxText(inputFile(bytes));
        } catch (const DocxError&) {
        }
    }
    /// The lines of a resume, which is what a reader of a file wrote.
    static void text(std::string_view bytes) {
        const std::string lines = tidiedLines(bytes, bytes.size() % 2 == 0);
        for (const auto& quote : bearingOn(lines, bytes.substr(0, 40)).quotes)
            require(!quote.empty());
    }
    static void config(std::string_view bytes) {
        const auto options = parseOptions({"--config", inputFile(bytes).string()});
        require(options.has_value() || !options.error().empty());
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Targets::PARLOWEN_FUZZED({reinterpret_cast<const char*>(data), size});
    return 0;
}
