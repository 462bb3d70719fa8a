#include "Speech/RecogniserEngine.h"
#include "Speech/RecogniserProcess.h"
#include "support/RecognitionAudio.h"
#include "support/ToldEvents.h"
#include "support/WordErrorRate.h"
#include <boost/asio/post.hpp>
#include <cmath>
#include <gmock/gmock.h>
#include <numbers>
#include <random>

using namespace parlowen::service;
using namespace parlowen::testing;
using namespace std::chrono_literals;
using Kind = RecognitionEvent::Kind;

namespace {

namespace fs = std::filesystem;

const fs::path sampleFolder = PARLOWEN_SOURCE_DIR "/resources/sample-interview";

struct RecogniserEngineTest : testing::Test {
    ModelRegistry::Places places() { return ModelRegistry::Places::ofThisProgram(directory.path()); }

    /// The installed files, linked, in a folder of the test's own.
    fs::path modelCopy(const std::string& folder, const std::string& name) {
        const auto copy = directory.path() / folder / name;
        fs::create_directories(copy);
        for (const auto& file : fs::directory_iterator(places().installed / "moonshine-tiny-en"))
            fs::create_symlink(fs::canonical(file.path()), copy / file.path().filename());
        return copy;
    }

    /// A copy in which a file has other contents.
    void brokenCopy(const std::string& folder, const std::string& name, const std::string& file,
                    const std::string& contents) {
        const auto copy = modelCopy(folder, name);
        fs::remove(copy / file);
        writeFile(copy / file, contents);
    }
    double errorRate(Told& told) {
        return wordErrorRate(contentsOf(sampleFolder / "sample-interview.txt"), told.text());
    }

    TemporaryDirectory directory;
    const std::vector<std::int16_t> audio = samplesOf(sampleFolder / "sample-interview.wav");
};

} // namespace

TEST_F(RecogniserEngineTest, HearsTheSampleInSixSentencesWithTheirPlaces) {
    RecogniserEngine engine(places());
    EXPECT_THAT(engine.locales(), testing::ElementsAre("en-US", "en-GB", "en-IN"));
    Told told;
    const auto stream = engine.open("EN-us", told.sink());
    stream->accept(audio); // long before the model is there
    stream->finish();
    ASSERT_TRUE(told.waitFor(Kind::SpeechEnd));
    const auto finals = told.all(Kind::Final);
    ASSERT_EQ(finals.size(), 6U) << told.text();
    EXPECT_LE(errorRate(told), 0.02) << told.text();
    Ticks end = 0;
    for (const auto& final : finals) {
        EXPECT_GE(final.offset, end);
        EXPECT_GT(final.duration, 20'000'000);
        end = final.offset + final.duration;
    }
    EXPECT_NEAR(static_cast<double>(finals[1].offset), 9.3e7, 0.4e7);
    EXPECT_EQ(told.all(Kind::SpeechStart).size(), 6U);
    EXPECT_GE(told.all(Kind::Partial).size(), 6U);
    EXPECT_FALSE(engine.open("zh-CN", told.sink()));
}

TEST_F(RecogniserEngineTest, NoiseHumAndTypingGiveNoWordAndAReadingItsOwn) {
    std::vector<std::int16_t> sounds;
    std::mt19937 random(7); // NOLINT(cert-msc51-cpp): the same noise every time
    std::normal_distribution<double> noise(0, 2'000);
    for (int i = 0; i < 30 * sampleRate; ++i) {
        const double second = static_cast<double>(i) / sampleRate;
        const double hum = 6'000 * std::sin(2 * std::numbers::pi * 50 * second);
        const double click = 9 * noise(random) * std::exp(-std::fmod(second, 0.17) * 300);
        sounds.push_back(static_cast<std::int16_t>(std::clamp(second < 10   ? noise(random)
                                                              : second < 20 ? hum
                                                                            : click,
                                                              -32'000.0, 32'000.0)));
    }
    const auto reading = sampleReading(PARLOWEN_SOURCE_DIR);
    sounds.insert(sounds.end(), reading.samples.begin(), reading.samples.end());
    RecogniserEngine engine(places());
    Told told;
    const auto stream = engine.open("en-GB", told.sink());
    stream->accept(sounds);
    stream->finish();
    ASSERT_TRUE(told.waitFor(Kind::SpeechEnd));
    EXPECT_EQ(told.all(Kind::Final).size(), 5U) << told.text();
    EXPECT_GT(told.all(Kind::SpeechStart).front().offset, ticksOfSamples(30 * sampleRate));
    EXPECT_LE(wordErrorRate(reading.words, told.text()), 0.05) << told.text();
}

TEST_F(RecogniserEngineTest, KilledTenTimesItLosesAndDoublesNoWord) {
    RecogniserEngine engine(places());
    Told told;
    const auto stream = engine.open("en-US", told.sink());
    std::size_t sent = 0;
    const auto feed = [&](std::size_t upTo) {
        for (; sent < upTo; sent += 1'600)
            stream->accept(std::span(audio).subspan(sent, std::min<std::size_t>(1'600, upTo - sent)));
    };
    const auto words = [](const auto& events) {
        return std::count_if(events.begin(), events.end(), [](const auto& event) {
            return event.kind == Kind::Partial || event.kind == Kind::Final;
        });
    };
    std::ptrdiff_t seen = 0;
    for (std::size_t kills = 1; kills <= 10; ++kills) {
        feed(audio.size() * kills / 11 / 1'600 * 1'600);
        ASSERT_TRUE(told.waitUntil([&](const auto& events) { return words(events) > seen; })) << kills;
        const auto running = engine.processes();
        ASSERT_EQ(running.size(), 1U);
        ASSERT_EQ(kill(running.front(), SIGKILL), 0);
        told.waitUntil([&](const auto& events) {
            seen = words(events);
            return engine.processes() != running;
        });
    }
    feed(audio.size());
    stream->finish();
    ASSERT_TRUE(told.waitFor(Kind::SpeechEnd));
    EXPECT_EQ(told.all(Kind::Final).size(), 6U) << told.text();
    // A sentence that begins a moment elsewhere is heard a little otherwise: "No, but he is" for "Nobody is".
    EXPECT_LE(errorRate(told), 0.08) << told.text();
    const auto said = wordsOf(contentsOf(sampleFolder / "sample-interview.txt")).size();
    EXPECT_NEAR(static_cast<double>(wordsOf(told.text()).size()), static_cast<double>(said), 2) << told.text();
}

TEST_F(RecogniserEngineTest, AProcessThatHangsIsReplaced) {
    boost::asio::io_context io;
    const auto model = *parlowen::recogniser::ModelFolder::at(places().installed / "moonshine-tiny-en");
    Told told;
    const auto stream = std::make_shared<RecogniserStream>(1, "en-US", told.sink());
    RecogniserProcess process(io, {places().program, 5s}, model, // a busy machine is slow to answer
                              [](const auto&, const std::string& why) { FAIL() << why; });
    process.add(stream);
    process.sendAudio(stream, {audio.begin(), audio.begin() + 4 * sampleRate});
    const std::jthread thread([&io] { io.run(); });
    ASSERT_TRUE(told.waitFor(Kind::Partial));
    const int hung = process.processId();
    ASSERT_EQ(kill(hung, SIGSTOP), 0);
    boost::asio::post(io, [&] {
        process.sendAudio(stream, {audio.begin() + 4 * sampleRate, audio.begin() + 9 * sampleRate});
        process.finish(stream);
    });
    EXPECT_TRUE(told.waitFor(Kind::SpeechEnd));
    EXPECT_NE(process.processId(), hung);
    EXPECT_THAT(told.text(), testing::HasSubstr("last job"));
    io.stop();
}

TEST_F(RecogniserEngineTest, ManyStreamsAtOnceAndNoMoreThanItCanServe) {
    RecogniserEngine engine(places());
    Told first;
    const auto warm = engine.open("en-US", first.sink());
    warm->accept(std::span(audio).first(9 * sampleRate));
    ASSERT_TRUE(first.waitFor(Kind::Final)); // now it has said how many it serves
    std::vector<std::unique_ptr<Told>> told;
    std::vector<std::unique_ptr<RecognitionStream>> streams;
    while (auto stream = engine.open("en-US", told.emplace_back(std::make_unique<Told>())->sink()))
        streams.push_back(std::move(stream));
    told.pop_back();
    EXPECT_LE(streams.size(), 64U);
    const auto running = engine.processes();
    for (const auto& stream : streams)
        stream->accept(std::span(audio).first(16 * sampleRate));
    streams.resize(std::min<std::size_t>((streams.size() + 1) / 2, 4)); // work for the others waits
    for (const auto& stream : streams)
        stream->finish();
    for (std::size_t i = 0; i < streams.size(); ++i) {
        ASSERT_TRUE(told[i]->waitFor(Kind::SpeechEnd));
        EXPECT_EQ(told[i]->text(), told.front()->text());
        EXPECT_EQ(told[i]->all(Kind::Final).size(), 2U);
    }
    EXPECT_EQ(engine.processes(), running) << "who leaves does not end it";
}

TEST_F(RecogniserEngineTest, ModelsThatAreBrokenAreNamedAndTheServiceLives) {
    const auto half = contentsOf(places().installed / "moonshine-tiny-en/encoder_model.onnx").substr(0, 1'000'000);
    brokenCopy("models", "a-cut-file-en", "encoder_model.onnx", half);
    brokenCopy("models", "a-wrong-file-en", "decoder_model_merged.onnx", "no network at all");
    brokenCopy("models", "b-tokens-en", "tokens.txt", "these are no tokens\n");
    brokenCopy("models", "c-tokens-short-en", "tokens.txt", "PHVuaz4= 0\n");
    modelCopy("models", "d-good-fr");
    fs::create_directories(directory.path() / "models/e-empty");
    ModelRegistry registry(places());
    std::map<std::string, std::string> problems;
    for (const auto& entry : registry.triedEntries())
        problems[entry.model.name] = entry.problem;
    EXPECT_EQ(problems.size(), 7U);
    for (const char* name : {"a-cut-file-en", "a-wrong-file-en", "b-tokens-en", "c-tokens-short-en"})
        EXPECT_THAT(problems[name], testing::HasSubstr("trial")) << name;
    EXPECT_EQ(problems["d-good-fr"], "");
    EXPECT_THAT(registry.locales(), testing::ElementsAre("en-US", "en-GB", "en-IN", "fr-FR"));
    EXPECT_EQ(registry.modelsFor("en-US").front().name, "moonshine-base-en");
    writeFile(directory.path() / "models/d-good-fr/model.json", R"({"languages": ["en", "fr"], "preferred": true})");
    EXPECT_EQ(registry.modelsFor("en-US").front().name, "d-good-fr");
}

TEST_F(RecogniserEngineTest, AModelThatGoesBadIsSetAsideAndTheNextOneTakesOver) {
    auto changed = places();
    changed.installed = directory.path() / "installed";
    modelCopy("installed", "moonshine-tiny-en");
    // Such tokens end the process without a word.
    brokenCopy("installed", "moonshine-base-en", "tokens.txt", "these are no tokens\n");
    RecogniserEngine engine(changed);
    Told told;
    const auto stream = engine.open("en-US", told.sink());
    stream->accept(std::span(audio).first(9 * sampleRate));
    stream->finish();
    ASSERT_TRUE(told.waitFor(Kind::SpeechEnd));
    EXPECT_THAT(told.text(), testing::HasSubstr("ast job"));
    changed.program.clear(); // a machine without a recogniser
    RecogniserEngine none(changed);
    EXPECT_TRUE(none.locales().empty());
    EXPECT_FALSE(none.open("en-US", told.sink()));
}
