#pragma once

#include "Engine.h"

#include <filesystem>
#include <memory>

namespace parlowen::service {

/// Recognition of US English by PocketSphinx, on worker threads of its own. It offers nothing when its model is not
/// installed. A model is loaded when a stream is opened and no idle decoder is there. Its streams must end before it.
class PocketSphinxEngine : public RecognitionEngine {
public:
    struct Options {
        std::filesystem::path models{}; ///< empty: where the library's package puts them
        std::size_t streams = 4;        ///< at the same time; each takes a decoder of some 100 MB
        unsigned threads = 0;           ///< 0: one a processor
    };

    PocketSphinxEngine();
    explicit PocketSphinxEngine(Options options);
    ~PocketSphinxEngine() override;

    std::vector<std::string> locales() const override;
    std::unique_ptr<RecognitionStream> open(std::string_view locale, RecognitionSink sink) override;

private:
    struct Core;
    std::unique_ptr<Core> core;
};

} // namespace parlowen::service
