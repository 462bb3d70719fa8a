#include "PulseRequest.h"

namespace parlowen {

void PulseConnection::onSuccess(pa_context* context, int success, void* request) {
    static_cast<Request*>(request)->answer({success ? PA_OK : pa_context_errno(context)});
}

void PulseConnection::onIndex(pa_context* context, std::uint32_t index, void* request) {
    static_cast<Request*>(request)->answer({index == PA_INVALID_INDEX ? pa_context_errno(context) : PA_OK, index});
}

PulseConnection::Answer PulseConnection::ask(const Send& send) {
    const auto request = std::make_shared<Request>();
    {
        const PulseLock lock(loop_);
        if (!context_ || pa_context_get_state(context_.get()) != PA_CONTEXT_READY)
            return {PA_ERR_BADSTATE};
        request->operation.reset(send(context_.get(), request.get()));
        if (!request->operation)
            return {pa_context_errno(context_.get())};
        waiting_.push_back(request);
        ++requests_;
    }
    const Answer answer = request->wait(std::chrono::seconds(3));
    const PulseLock lock(loop_);
    std::erase(waiting_, request);
    request->operation.reset();
    return answer;
}

PulseConnection::Answer PulseConnection::setDefaultSink(const std::string& name) {
    return ask([&](pa_context* context, Request* request) {
        return pa_context_set_default_sink(context, name.c_str(), onSuccess, request);
    });
}

PulseConnection::Answer PulseConnection::setDefaultSource(const std::string& name) {
    return ask([&](pa_context* context, Request* request) {
        return pa_context_set_default_source(context, name.c_str(), onSuccess, request);
    });
}

PulseConnection::Answer PulseConnection::loadModule(const char* name, const std::string& arguments) {
    return ask([&](pa_context* context, Request* request) {
        return pa_context_load_module(context, name, arguments.c_str(), onIndex, request);
    });
}

PulseConnection::Answer PulseConnection::unloadModule(std::uint32_t index) {
    return ask([&](pa_context* context, Request* request) {
        return pa_context_unload_module(context, index, onSuccess, request);
    });
}

} // namespace parlowen
