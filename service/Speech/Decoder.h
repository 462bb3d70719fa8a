#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

namespace parlowen::service {

/// Where the files of a PocketSphinx model for one language lie.
struct DecoderModel {
    std::filesystem::path acoustic;   ///< directory
    std::filesystem::path language;   ///< n-gram file
    std::filesystem::path dictionary; ///< pronunciations

    /// The English model below a directory of models, such as /usr/share/pocketsphinx/model.
    static DecoderModel english(const std::filesystem::path& models);
    bool exists() const;
};

/// A PocketSphinx decoder: audio of one utterance after the other becomes words. One thread at a time.
///
/// A decoder takes some 100 MB: the library maps the acoustic model's senone table into memory, which decoders then
/// share, but gives each its own language model and dictionary, since searching writes to caches inside them.
class Decoder {
public:
    /// Takes a third of a second and more; null when the model cannot be read.
    static std::unique_ptr<Decoder> load(const DecoderModel& model);
    virtual ~Decoder() = default;

    /// Forgets what it adapted to: another speaker begins.
    virtual void startStream() = 0;
    virtual bool startUtterance() = 0;
    /// Mono, 16 kHz. False when the library gives up.
    virtual bool process(std::span<const std::int16_t> samples) = 0;
    /// The words so far, in lower case.
    virtual std::string words() = 0;
    struct Result {
        std::string words;
        double confidence = 0; ///< 0 to 1
    };
    virtual Result endUtterance() = 0;
};

/// Decoders that wait for work. Thread-safe.
class DecoderPool {
public:
    /// Keeps at most `keep` idle decoders.
    DecoderPool(DecoderModel modelToLoad, std::size_t keep);

    /// An idle decoder, or a newly loaded one; null when the model cannot be read.
    std::unique_ptr<Decoder> take();
    void giveBack(std::unique_ptr<Decoder> decoder);

private:
    const DecoderModel model;
    const std::size_t mostIdle;
    std::mutex mutex;   ///< of the list
    std::mutex loading; ///< one load at a time
    std::vector<std::unique_ptr<Decoder>> idle;
};

} // namespace parlowen::service
