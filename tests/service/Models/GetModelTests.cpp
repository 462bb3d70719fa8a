#include "FileServer.h"
#include "Models/Download.h"
#include "Models/ModelInstaller.h"
#include "support/FileSizeLimit.h"

#include <archive.h>
#include <chrono>
#include <cstdio>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <sys/wait.h>

using namespace parlowen::service;
using namespace parlowen::testing;
using ::testing::HasSubstr;

namespace {

namespace fs = std::filesystem;

const fs::path installed = PARLOWEN_BINARY_DIR "/lib/parlowen/models/moonshine-tiny-en";

/// A model on a server, and a service's data directory to fetch it into.
class GetModel : public ::testing::Test {
protected:
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

    /// The program's exit status and what it said.
    std::pair<int, std::string> program(const std::string& options, const std::string& before = "") {
        nlohmann::json files;
        for (const auto& file : entry.files)
            files.push_back({{"path", file.path}, {"bytes", file.bytes}, {"sha256", file.sha256}});
        const auto catalogue = directory.path() / "catalogue.json";
        writeFile(catalogue, nlohmann::json{{"base", "http://127.0.0.1:1/"},
                                            {"models", {{{"name", "my-en"}, {"languages", {"en"}}, {"files", files}}}}}
                                 .dump());
        const auto command = "exec 2>&1; " + before + " '" PARLOWEN_SERVICE "' --data '" + data.string() +
                             "' --catalogue '" + catalogue.string() + "' " + options;
        FILE* pipe = ::popen(command.c_str(), "r");
        std::string said;
        std::array<char, 4096> bytes{};
        while (const auto count = std::fread(bytes.data(), 1, bytes.size(), pipe))
            said.append(bytes.data(), count);
        const int status = ::pclose(pipe);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, said};
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
    {
        const FileSizeLimit full(1'000'000);
        EXPECT_THAT(install(server.base()), HasSubstr("cannot write"));
    }
    auto& sum = entry.files.front().sha256;
    const auto right = std::exchange(sum, std::string(64, '0'));
    EXPECT_THAT(install(server.base()), HasSubstr("SHA-256"));
    sum = "";
    EXPECT_THAT(install(server.base()), HasSubstr("only https"));
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
    entry.files = {{"model.tar.bz2", fs::file_size(archive), sha256Of(archive)}};
    FileServer server(files);
    EXPECT_EQ(install(server.base()), "");
    EXPECT_EQ(sha256Of(place() / "encoder_model.onnx"), sha256Of(installed / "encoder_model.onnx"));
    EXPECT_FALSE(fs::exists(place() / "deep"));
    EXPECT_FALSE(fs::exists(data / "models/outside") || fs::exists(data / "outside"));
}

TEST_F(GetModel, TheProgramGoesOnAfterAKillAndTriesTheModel) {
    FileServer server(installed);
    const auto fetch = "--get-model my-en --mirror " + server.base();
    server.cutAfter = 2'000'000; // slow, since it pauses after each cut
    program(fetch, "timeout -s KILL 1");
    ASSERT_FALSE(fs::exists(place()));
    ASSERT_GT(server.served, 0U);
    server.cutAfter = 0;
    const auto again = program(fetch);
    EXPECT_EQ(again.first, 0) << again.second;
    EXPECT_LT(server.served, entry.bytes() + 2'500'000) << "it went on from what was there";
    EXPECT_THAT(again.second, HasSubstr("languages: en"));
    EXPECT_THAT(program("--models").second, HasSubstr("my-en\n    Moonshine, 29 MB, licence: unknown"));
    EXPECT_EQ(program("--get-model nothing").first, 1);
}
