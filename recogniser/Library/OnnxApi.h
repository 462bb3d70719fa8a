#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

/// The part of onnxruntime's C interface that is used here. Its functions stand in a table whose order never changes
/// (onnxruntime_c_api.h, "The C API"); version 8 of the table has all of these.
namespace parlowen::recogniser::onnx {

struct ArenaConfig;
struct Env;
struct MemoryInfo;
struct Session;
struct SessionOptions;
struct Status; ///< null is success
struct TensorType;
struct Type;
struct Value;

inline constexpr std::uint32_t tableVersion = 8;

using MessageOf = const char* (*)(const Status*);
using CreateEnv = Status* (*)(int logLevel, const char* name, Env**);
using CreateSession = Status* (*)(const Env*, const char* file, const SessionOptions*, Session**);
using Run = Status* (*)(Session*, const void* options, const char* const* inputNames, const Value* const* inputs,
                        std::size_t inputCount, const char* const* outputNames, std::size_t outputCount,
                        Value** outputs);
using CreateSessionOptions = Status* (*)(SessionOptions**);
using SetThreads = Status* (*)(SessionOptions*, int);
using AddSetting = Status* (*)(SessionOptions*, const char* key, const char* value);
using CountOfInputs = Status* (*)(const Session*, std::size_t*);
using TypeOfInput = Status* (*)(const Session*, std::size_t index, Type**);
using AsTensorType = Status* (*)(const Type*, const TensorType**); ///< which is the type's
using ElementOf = Status* (*)(const TensorType*, int* type);
using CountOf = Status* (*)(const TensorType*, std::size_t*);
using DimensionsOf = Status* (*)(const TensorType*, std::int64_t* dimensions, std::size_t count); ///< -1: any
using TypeOfTensor = Status* (*)(const Value*, TensorType**);
using DataOf = Status* (*)(Value*, void**);
using CreateTensorWithData = Status* (*)(const MemoryInfo*, void* data, std::size_t bytes, const std::int64_t* shape,
                                         std::size_t dimensions, int type, Value**);
using CreateCpuMemoryInfo = Status* (*)(int allocator, int memory, MemoryInfo**);
using CreateArenaConfig = Status* (*)(const char* const* keys, const std::size_t* values, std::size_t count,
                                      ArenaConfig**);
using RegisterArena = Status* (*)(Env*, const MemoryInfo*, const ArenaConfig*);
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
    std::array<void*, 5> options;
    CountOfInputs countOfInputs;
    std::array<void*, 2> counts;
    TypeOfInput typeOfInput;
    std::array<void*, 15> descriptions;
    CreateTensorWithData createTensorWithData;
    void* isTensor;
    DataOf dataOf;
    std::array<void*, 3> strings;
    AsTensorType asTensorType;
    std::array<void*, 4> types;
    ElementOf elementOf;
    CountOf dimensionCountOf;
    DimensionsOf dimensionsOf;
    void* symbolicDimensions;
    CountOf elementCountOf;
    TypeOfTensor typeOfTensor;
    std::array<void*, 3> values;
    CreateCpuMemoryInfo createCpuMemoryInfo;
    std::array<void*, 22> memory;
    Release<Env> releaseEnv;
    Release<Status> releaseStatus;
    Release<MemoryInfo> releaseMemoryInfo;
    Release<Session> releaseSession;
    Release<Value> releaseValue;
    void* releaseRunOptions;
    Release<Type> releaseType;
    Release<TensorType> releaseTensorType;
    Release<SessionOptions> releaseSessionOptions;
    std::array<void*, 29> models;
    AddSetting addSetting;
    std::array<void*, 13> allocators;
    RegisterArena registerArena;
    std::array<void*, 12> global;
    Release<ArenaConfig> releaseArenaConfig;
    std::array<void*, 6> providers;
    CreateArenaConfig createArenaConfig;
};

struct ApiBase {
    const Table* (*table)(std::uint32_t version);
    const char* (*version)();
};

static_assert(offsetof(Table, createEnv) == 3 * sizeof(void*));
static_assert(offsetof(Table, run) == 9 * sizeof(void*));
static_assert(offsetof(Table, setIntraOpThreads) == 24 * sizeof(void*));
static_assert(offsetof(Table, countOfInputs) == 30 * sizeof(void*));
static_assert(offsetof(Table, typeOfInput) == 33 * sizeof(void*));
static_assert(offsetof(Table, createTensorWithData) == 49 * sizeof(void*));
static_assert(offsetof(Table, dataOf) == 51 * sizeof(void*));
static_assert(offsetof(Table, asTensorType) == 55 * sizeof(void*));
static_assert(offsetof(Table, dimensionCountOf) == 61 * sizeof(void*));
static_assert(offsetof(Table, typeOfTensor) == 65 * sizeof(void*));
static_assert(offsetof(Table, createCpuMemoryInfo) == 69 * sizeof(void*));
static_assert(offsetof(Table, releaseEnv) == 92 * sizeof(void*));
static_assert(offsetof(Table, releaseSessionOptions) == 100 * sizeof(void*));
static_assert(offsetof(Table, addSetting) == 130 * sizeof(void*));
static_assert(offsetof(Table, registerArena) == 144 * sizeof(void*));
static_assert(offsetof(Table, releaseArenaConfig) == 157 * sizeof(void*));
static_assert(offsetof(Table, createArenaConfig) == 164 * sizeof(void*));

template<typename T>
using Handle = std::unique_ptr<T, Release<T>>;

/// Throws std::runtime_error of what went wrong.
inline void check(const Table& api, Status* status) {
    if (const Handle<Status> problem(status, api.releaseStatus); problem)
        throw std::runtime_error(std::string("the speech library's runtime cannot be used: ") + api.messageOf(status));
}

/// What a function of the table makes of the arguments; throws std::runtime_error.
template<typename T, typename Make, typename... Arguments>
Handle<T> made(const Table& api, Release<T> release, Make make, Arguments... arguments) {
    T* handle = nullptr;
    check(api, make(arguments..., &handle));
    return {handle, release};
}

inline Handle<MemoryInfo> memoryOfProcessor(const Table& api) {
    constexpr int arenaAllocator = 1;
    constexpr int defaultMemory = 0;
    return made(api, api.releaseMemoryInfo, api.createCpuMemoryInfo, arenaAllocator, defaultMemory);
}

} // namespace parlowen::recogniser::onnx
