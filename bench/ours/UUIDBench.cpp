// Identifiers: read from text, written to a buffer or a string, made. The size is the number of
// characters, for new ones of bytes.

#include "Vq/Platform.h"
#include "Vq/UUID.h"

#include "Bench.h"

#include <string>

namespace {

using Vq::UUID;

constexpr const char* kText = "00112233-4455-6677-8899-aabbccddeeff";
constexpr const wchar_t* kWideText = L"00112233-4455-6677-8899-aabbccddeeff";

void addParse() {
    vqbench::add("uuid.parse", "ours", 36, [](benchmark::State& state) {
        vqbench::require(UUID(kText).asString() == kText);
        const char* text = kText;
        for (auto step : state) {
            benchmark::DoNotOptimize(text);
            UUID id;
            id.initFromString(text, UUID::kTextLength);
            benchmark::DoNotOptimize(&id);
            benchmark::ClobberMemory();
        }
    });
    vqbench::add("uuid.parse.wide", "ours", 36, [](benchmark::State& state) {
        vqbench::require(UUID(kWideText) == UUID(kText));
        const wchar_t* text = kWideText;
        for (auto step : state) {
            benchmark::DoNotOptimize(text);
            UUID id;
            id.initFromString(text, UUID::kTextLength);
            benchmark::DoNotOptimize(&id);
            benchmark::ClobberMemory();
        }
    });
}

void addPrint() {
    vqbench::add("uuid.print", "ours", 36, [](benchmark::State& state) {
        const UUID id(kText);
        char text[UUID::kTextLength + 1];
        id.asString(text);
        vqbench::require(text == std::string(kText));
        for (auto step : state) {
            id.asString(text);
            benchmark::DoNotOptimize(text);
            benchmark::ClobberMemory();
        }
    });
    vqbench::add("uuid.print.string", "ours", 36, [](benchmark::State& state) {
        const UUID id(kText);
        vqbench::require(id.asString() == kText);
        for (auto step : state) {
            const LightweightString<char> text = id.asString();
            benchmark::DoNotOptimize(text.c_str());
        }
    });
    // What the design asks for any text of that length: a block and a count, through the platform.
    vqbench::add("uuid.print.string", "bound.design", 36, [](benchmark::State& state) {
        const std::size_t bytes = sizeof(LightweightString<char>::Impl) + 64;
        int count = 0;
        for (auto step : state) {
            void* const block = OS()->memory()->allocate(bytes);
            OS()->atomics()->atomicIncrement(&count);
            benchmark::DoNotOptimize(block);
            vqbench::require(OS()->atomics()->atomicDecrement(&count) == 0);
            OS()->memory()->deallocate(block);
        }
    });
    vqbench::add("uuid.print.wide", "ours", 36, [](benchmark::State& state) {
        const UUID id(kText);
        vqbench::require(id.asWString() == kWideText);
        wchar_t text[UUID::kTextLength + 1];
        for (auto step : state) {
            id.asWString(text);
            benchmark::DoNotOptimize(text);
            benchmark::ClobberMemory();
        }
    });
}

void addGenerate() {
    vqbench::add("uuid.generate", "ours", 16, [](benchmark::State& state) {
        vqbench::require(UUID::generate().valid() && !(UUID::generate() == UUID::generate()));
        for (auto step : state) {
            UUID id = UUID::generate();
            benchmark::DoNotOptimize(&id);
        }
    });
}

const bool added = [] {
    addParse();
    addPrint();
    addGenerate();
    return true;
}();

} // namespace
