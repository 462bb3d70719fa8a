#pragma once

#include "Engine.h"
#include "ModelRegistry.h"

#include <memory>

namespace parlowen::service {

/// Recognition by parlowen-recogniser, one process for each model that is in use. It offers what the models of the
/// registry can; streams of a model that is set aside go on with the next one of their language. Its streams must end
/// before it.
class RecogniserEngine : public RecognitionEngine {
public:
    /// The model of `firstLocale` is loaded at once; none when it is empty.
    explicit RecogniserEngine(ModelRegistry::Places places, std::string_view firstLocale = "en-US");
    ~RecogniserEngine() override;

    std::vector<std::string> locales() const override;
    std::unique_ptr<RecognitionStream> open(std::string_view locale, RecognitionSink sink) override;
    /// The processes that run now, for tests.
    std::vector<int> processes() const;

private:
    struct Core;
    std::unique_ptr<Core> core_;
};

} // namespace parlowen::service
