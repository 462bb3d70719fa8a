#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// The part of onnxruntime's C interface that is used here. Its functions stand in a table whose order never changes
/// (onnxruntime_c_api.h, "The C API"); version 1 of the table has all of these.
namespace parlowen::recogniser::onnx {

struct Env;
struct MemoryInfo;
struct Session;
struct SessionOptions;
struct Status; ///< null is success
struct Value;

inline constexpr std::uint32_t tableVersion = 1;

using MessageOf = const char* (*)(const Status*);
using CreateEnv = Status* (*)(int logLevel, const char* name, Env**);
using CreateSession = Status* (*)(const Env*, const char* file, const SessionOptions*, Session**);
using Run = Status* (*)(Session*, const void* options, const char* const* inputNames, const Value* const* inputs,
                        std::size_t inputCount, const char* const* outputNames, std::size_t outputCount,
                        Value** outputs);
using CreateSessionOptions = Status* (*)(SessionOptions**);
using SetThreads = Status* (*)(SessionOptions*, int);
using CreateTensorWithData = Status* (*)(const MemoryInfo*, void* data, std::size_t bytes, const std::int64_t* shape,
                                         std::size_t dimensions, int type, Value**);
using CreateCpuMemoryInfo = Status* (*)(int allocator, int memory, MemoryInfo**);
template<typename T>
using Release = void (*)(T*);

struct Table {
    std::array<void*, 2> status;
    MessageOf messageOf;
    CreateEnv createEnv;
    std::array<void*, 3> logging;
    CreateSession createSession;
    void* createSessionFromArray;
    Run run;
    CreateSessionOptions createSessionOptions;
    std::array<void*, 13> optionsOfSessions;
    SetThreads setIntraOpThreads;
    std::array<void*, 24> descriptions;
    CreateTensorWithData createTensorWithData;
    std::array<void*, 19> values;
    CreateCpuMemoryInfo createCpuMemoryInfo;
    std::array<void*, 22> memory;
    Release<Env> releaseEnv;
    Release<Status> releaseStatus;
    Release<MemoryInfo> releaseMemoryInfo;
    Release<Session> releaseSession;
    Release<Value> releaseValue;
    std::array<void*, 3> releaseDescriptions;
    Release<SessionOptions> releaseSessionOptions;
};

struct ApiBase {
    const Table* (*table)(std::uint32_t version);
    const char* (*version)();
};

static_assert(offsetof(Table, createEnv) == 3 * sizeof(void*));
static_assert(offsetof(Table, run) == 9 * sizeof(void*));
static_assert(offsetof(Table, setIntraOpThreads) == 24 * sizeof(void*));
static_assert(offsetof(Table, createTensorWithData) == 49 * sizeof(void*));
static_assert(offsetof(Table, createCpuMemoryInfo) == 69 * sizeof(void*));
static_assert(offsetof(Table, releaseEnv) == 92 * sizeof(void*));
static_assert(offsetof(Table, releaseSessionOptions) == 100 * sizeof(void*));

} // namespace parlowen::recogniser::onnx
