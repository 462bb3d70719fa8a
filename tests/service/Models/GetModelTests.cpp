#include "Models/Download.h"
#include "Models/ModelCatalogue.h"
#include "Models/ModelInstaller.h"
#include "support/TemporaryDirectory.h"
#include "support/Testing.h"
#include <Models/ModelFolder.h>
#include <archive.h>
#include <httplib.h>
#include <nlohmann/json.hpp>

using namespace parlowen::service;
using namespace parlowen::testing;

namespace {

/// Plain HTTP on the loopback interface: the files of a folder, with ranges, and with faults.
class FileServer {
public:
    explicit FileServer(std::filesystem::path folder) {
        server.set_keep_alive_max_count(1);
        server.Get("/(.*)", [this, folder = std::move(folder)](const auto& request, httplib::Response& reply) {
            ++requests;
            const auto file = folder / request.matches[1].str();
            if (stalls.exchange(false))
                std::this_thread::sleep_for(std::chrono::seconds(2));
            if (!knowsRanges) // which the library would heed, or refuse
                const_cast<httplib::Request&>(request).ranges.clear();
            if (!std::filesystem::exists(file))
                reply.status = 404;
            else
                reply.set_content_provider(std::filesystem::file_size(file), "application/octet-stream", giver(file));
        });
        port = server.bind_to_any_port("127.0.0.1");
        thread = std::thread([this] { server.listen_after_bind(); });
    }
    ~FileServer() {
        server.stop();
        thread.join();
    }

    std::string base() const { return "http://127.0.0.1:" + std::to_string(port) + "/"; }

    std::atomic<std::size_t> cutAfter = 0; ///< each connection ends after so many bytes of a file; 0: none does
    std::atomic<bool> knowsRanges = true;
    std::atomic<bool> stalls = false;    ///< the next reply comes late
    std::atomic<std::size_t> served = 0; ///< bytes of files
    std::atomic<int> requests = 0;

private:
    httplib::ContentProvider giver(const std::filesystem::path& file) {
        return [this, contents = contentsOf(file), sent = std::size_t{0}](std::size_t from, std::size_t length,
                                                                          httplib::DataSink& sink) mutable {
            const std::size_t room = cutAfter > 0 ? cutAfter - sent : length;
            const std::size_t count = std::min({length, room, std::size_t{100'000}});
            sent += count;
            served += count;
            return count > 0 && sink.write(contents.data() + from, count);
        };
    }

    httplib::Server server;
    int port = 0;
    std::thread thread;
};

namespace fs = std::filesystem;

const fs::path installed = PARLOWEN_BINARY_DIR "/lib/parlowen/recogniser/models/moonshine-tiny-en";

/// A model on a server, and a service's data directory to fetch it into.
struct GetModel : ::testing::Test {
    GetModel() {
        fs::create_directories(data);
        for (const auto& file : fs::directory_iterator(installed)) {
            const auto name = file.path().filename().string();
            entry.files.push_back({name, fs::file_size(file.path()), sha256Of(file.path())});
        }
        entry.name = "my-en";
        entry.languages = {"en"};
    }
    fs::path place() const { return data / "models/my-en"; }
    /// What it throws; empty when it works.
    std::string install(const std::string& base) {
        const bool before = fs::exists(place());
        try {
            ModelInstaller{data / "models", base, [](const std::string&) {}}.install(entry);
            return "";
        } catch (const std::exception& problem) {
            EXPECT_EQ(fs::exists(place()), before);
            return problem.what();
        }
    }
    ShellRun program(const std::string& options, const std::string& before = "") {
        nlohmann::json files;
        for (const auto& file : entry.files)
            files.push_back({{"path", file.path}, {"bytes", file.bytes}, {"sha256", file.sha256}});
        const auto catalogue = directory.path() / "catalogue.json";
        writeFile(catalogue, nlohmann::json{{"base", "http://127.0.0.1:1/"},
                                            {"models", {{{"name", "my-en"}, {"languages", {"en"}}, {"files", files}}}}}
                                 .dump());
        return ShellRun(before + " '" PARLOWEN_SERVICE "' --data '" + data.string() + "' --catalogue '" +
                        catalogue.string() + "' " + options);
    }

    TemporaryDirectory directory;
    const fs::path data = directory.path() / "data";
    CatalogueEntry entry;
};

} // namespace

TEST_F(GetModel, ConnectionsThatAreCutAreGoneOnWith) {
    FileServer server(installed);
    server.cutAfter = 3'000'000;
    EXPECT_EQ(install(server.base()), "");
    EXPECT_EQ(server.served, entry.bytes()) << "no byte twice";
    EXPECT_GT(server.requests, 8);
    EXPECT_EQ(sha256Of(place() / "encoder_model.onnx"), sha256Of(installed / "encoder_model.onnx"));
    EXPECT_FALSE(fs::exists(data / "models/.fetching-my-en"));
    EXPECT_THAT(install(server.base()), HasSubstr("is there already")) << "and it stays";
}

TEST_F(GetModel, WhatIsWrongIsNeverUsed) {
    FileServer server(installed);
    auto& sum = entry.files.front().sha256;
    const auto right = std::exchange(sum, "");
    EXPECT_THAT(install(server.base()), HasSubstr("only https"));
    EXPECT_FALSE(fs::exists(data / "models"));
    sum = right;
    {
        const FileSizeLimit full(1'000'000);
        EXPECT_THAT(install(server.base()), HasSubstr("cannot write"));
    }
    sum = std::string(64, '0');
    EXPECT_THAT(install(server.base()), HasSubstr("SHA-256"));
    sum = right;
    entry.files.back().bytes += 1;
    EXPECT_THAT(install(server.base()), HasSubstr("bytes, not"));
    entry.files.back().bytes -= 1;
    entry.files.push_back({"missing", 1, right});
    EXPECT_THAT(install(server.base()), HasSubstr("HTTP 404"));
    entry.files.pop_back();
    entry.unpackedBytes = std::uintmax_t{1} << 50;
    EXPECT_THAT(install(server.base()), HasSubstr("free; the model needs"));
    entry.unpackedBytes = 0;
    fs::resize_file(data / "models/.fetching-my-en" / entry.files.front().path, 1'000);
    server.knowsRanges = false; // what is there of the last try is sent again
    EXPECT_EQ(install(server.base()), "");
}

TEST_F(GetModel, ArchivesUnpackIntoTheirFolderAlone) {
    const auto files = directory.path() / "files";
    fs::create_directories(files / "name/inner");
    fs::copy(installed, files / "name");
    writeFile(files / "name/inner/deep", "x");
    writeFile(files / "outside", "x");
    const auto archive = files / "model.tar.bz2"; // an archive without compression is one as well
    ASSERT_EQ(std::system(("cd '" + files.string() +
                           "' && tar -cPf model.tar.bz2 --transform 's,^outside$,../../outside,' "
                           "name outside")
                              .c_str()),
              0);
    FileServer server(files);
    ASSERT_EQ(std::system(("cd '" + files.string() + "' && tar -cf other.tar.bz2 name/tokens.txt").c_str()), 0);
    fs::copy_file(files / "name/encoder_model.onnx", files / "no.tar.bz2");
    for (const auto& [name, problem] : {std::pair("other.tar.bz2", "known family (tokens.txt); it was removed"),
                                        {"no.tar.bz2", "Unrecognized archive format; it was removed"}}) {
        entry.files = {{name, 0, sha256Of(files / name)}};
        EXPECT_THAT(install(server.base()), HasSubstr(problem));
        EXPECT_FALSE(fs::exists(data / "models/.fetching-my-en")) << "hundreds of MB of no use";
    }
    entry.files = {{"model.tar.bz2", fs::file_size(archive), sha256Of(archive)}};
    EXPECT_EQ(install(server.base()), "");
    EXPECT_EQ(sha256Of(place() / "encoder_model.onnx"), sha256Of(installed / "encoder_model.onnx"));
    EXPECT_FALSE(fs::exists(place() / "deep"));
    EXPECT_FALSE(fs::exists(data / "models/outside") || fs::exists(data / "outside"));
}

TEST_F(GetModel, APauseIsTold) {
    FileServer server(installed);
    server.stalls = true;
    int told = 0;
    Download download{
        server.base() + "tokens.txt", directory.path() / "tokens.txt", 0, sha256Of(installed / "tokens.txt"), {}};
    download.stalled = [&told] { ++told; };
    download.stall = std::chrono::milliseconds(300);
    fetch(download);
    EXPECT_EQ(told, 1);
}

TEST_F(GetModel, TheProgramGoesOnAfterAKillAndTriesTheModel) {
    FileServer server(installed);
    const auto fetch = "--get-model my-en --mirror " + server.base();
    server.cutAfter = 2'000'000; // slow, since it pauses after each cut
    program(fetch, "sh -c '\"$@\" & until find " + data.string() +
                       " -type f -size +1 | grep -q .; do sleep 0.05; done; kill -9 $!' sh");
    ASSERT_FALSE(fs::exists(place()));
    server.cutAfter = 0;
    const auto again = program(fetch);
    EXPECT_EQ(again.status, 0) << again.output;
    EXPECT_LT(server.served, entry.bytes() + 2'500'000) << "it went on from what was there";
    EXPECT_THAT(again.output, HasSubstr("languages: en"));
    writeFile(place() / "model.json", "{\"languages\": [\"en\"],\n}");
    EXPECT_THAT(
        program("--models").output,
        AllOf(HasSubstr("speech model my-en: model.json is passed over: its line 2 is no JSON\n"),
              HasSubstr("my-en\n    Moonshine, 29 MB, licence: unknown\n    languages: en\n    model.json is")));
    EXPECT_EQ(program("--get-model nothing").status, 1);
    EXPECT_THAT(program("--get-model moonshine-base-en").output, HasSubstr("came with the program"));
}

TEST(ModelCatalogue, SaysWhatIsMissingOrWrong) {
    for (const auto& [model, problem] : {std::pair(R"("name": "m")", "m\" of the catalogue has no \"languages\""),
                                         {R"("name": "m", "languages": 1)", "has a \"languages\" of the wrong kind"}})
        EXPECT_THAT(std::bind(ModelCatalogue::parse, R"({"base": "", "models": [{)" + std::string(model) + "}]}"),
                    ::testing::ThrowsMessage<std::runtime_error>(HasSubstr(problem)));
}

TEST(ModelFolder, IsToldByTheNamesOfItsFiles) {
    using Files = std::vector<std::string>;
    const std::tuple<std::string, Files, std::string> cases[] = {
        {"first", {"encoder_model.onnx", "decoder_model_merged.ort"}, "Moonshine encoder_model.onnx en "},
        {"tiny",
         {"a.en-encoder.int8.onnx", "a.en-encoder.onnx", "a.en-decoder.onnx"},
         "Whisper a.en-encoder.int8.onnx en "},
        {"bilingual-zh-de", {"encoder.onnx", "decoder.onnx", "joiner.onnx"}, "transducer encoder.onnx zh de "},
        {"streaming-fr", {"encoder.onnx", "decoder.onnx", "joiner.onnx"}, "streaming Zipformer encoder.onnx fr "},
        {"para", {"encoder.int8.onnx", "decoder.int8.onnx"}, "streaming Paraformer encoder.int8.onnx "},
        {"sense", {"model.onnx"}, "SenseVoice  zh en ja ko yue "}};
    const TemporaryDirectory directory;
    for (const auto& [name, files, expected] : cases) {
        fs::create_directories(directory.path() / name);
        for (const auto& file : files)
            writeFile(directory.path() / name / file, "x");
        EXPECT_FALSE(parlowen::recogniser::ModelFolder::at(directory.path() / name)) << "without tokens";
        writeFile(directory.path() / name / "tokens.txt", "a 1\n<|zh|> 2\n");
        const auto model = parlowen::recogniser::ModelFolder::at(directory.path() / name).value();
        std::string told = nameOf(model.family);
        told += " " + (model.files.contains("encoder") ? model.files.at("encoder").filename().string() : "") + " ";
        for (const auto& language : model.languages)
            told += language + " ";
        EXPECT_EQ(told, expected);
        writeFile(directory.path() / name / "model.json", R"({"languages": "fr", "licence": "MIT", "prefered": true})");
        const auto described = parlowen::recogniser::ModelFolder::at(directory.path() / name).value();
        EXPECT_THAT(described.remark, HasSubstr("passed over: \"languages\", \"prefered\"; it"));
        EXPECT_EQ(described.licence, "MIT") << "what is right counts";
    }
}
