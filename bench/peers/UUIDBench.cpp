// What a user would read, write and make identifiers with.

#include "Bench.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include <sys/random.h>

#ifdef VQ_PEER_QT
#include <QByteArray>
#include <QUuid>
#endif
#ifdef VQ_PEER_BOOST
#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_generators.hpp>
#include <boost/uuid/uuid_io.hpp>
#endif
#ifdef VQ_PEER_LIBUUID
#include <uuid/uuid.h>
#endif

namespace {

constexpr const char* kText = "00112233-4455-6677-8899-aabbccddeeff";

template <class Parse> void addParse(const char* peer, Parse parse) {
    vqbench::add("uuid.parse", peer, 36, [=](benchmark::State& state) {
        const char* text = kText;
        const auto id = parse(text);
        vqbench::require(std::memcmp(&id, "\0\x11\x22\x33", 4) == 0 ||
                         std::memcmp(&id, "\x33\x22\x11\0", 4) == 0);
        for (auto step : state) {
            benchmark::DoNotOptimize(text);
            auto made = parse(text);
            benchmark::DoNotOptimize(&made);
            benchmark::ClobberMemory();
        }
    });
}

/// `print` takes a buffer of 37 characters.
template <class Print> void addPrint(const char* peer, Print print) {
    vqbench::add("uuid.print", peer, 36, [=](benchmark::State& state) {
        char text[37] = {};
        print(text);
        vqbench::require(std::string_view(text, 36) == kText);
        for (auto step : state) {
            print(text);
            benchmark::DoNotOptimize(text);
            benchmark::ClobberMemory();
        }
    });
}

template <class Print> void addPrintString(const char* peer, Print print) {
    vqbench::add("uuid.print.string", peer, 36, [=](benchmark::State& state) {
        vqbench::require(std::string_view(print().data(), 36) == kText);
        for (auto step : state) {
            const auto text = print();
            benchmark::DoNotOptimize(text.data());
        }
    });
}

template <class Generate> void addGenerate(const char* peer, Generate generate) {
    vqbench::add("uuid.generate", peer, 16, [=](benchmark::State& state) mutable {
        const auto first = generate();
        const auto second = generate();
        vqbench::require(std::memcmp(&first, &second, sizeof first) != 0);
        for (auto step : state) {
            auto id = generate();
            benchmark::DoNotOptimize(&id);
        }
    });
}

using Bytes = std::array<unsigned char, 16>;

/// The kernel's randomness in larger pieces: what remains is copying 16 bytes, and the kernel.
class BufferedRandom {
public:
    Bytes operator()() {
        if (used_ == sizeof buffer_) {
            vqbench::require(::getrandom(buffer_, sizeof buffer_, 0) == sizeof buffer_);
            used_ = 0;
        }
        Bytes bytes;
        std::memcpy(bytes.data(), buffer_ + used_, sizeof bytes);
        used_ += sizeof bytes;
        bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);
        bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);
        return bytes;
    }

private:
    unsigned char buffer_[512];
    std::size_t used_ = sizeof buffer_;
};

Bytes scanned(const char* text) {
    unsigned int v[16] = {};
    std::sscanf(text, "%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-%02x%02x%02x%02x%02x%02x", v,
                v + 1, v + 2, v + 3, v + 4, v + 5, v + 6, v + 7, v + 8, v + 9, v + 10, v + 11,
                v + 12, v + 13, v + 14, v + 15);
    Bytes bytes;
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(v[i]);
    return bytes;
}

const bool added = [] {
    addParse("std", scanned);
    addGenerate("bound.getrandom", BufferedRandom());
#ifdef VQ_PEER_QT
    addParse("quuid", [](const char* text) { return QUuid::fromString(QLatin1String(text, 36)); });
    const QUuid quuid(kText);
    addPrintString("quuid", [=] { return quuid.toByteArray(QUuid::WithoutBraces); });
    addGenerate("quuid", [] { return QUuid::createUuid(); });
#endif
#ifdef VQ_PEER_BOOST
    addParse("boost",
             [](const char* text) { return boost::uuids::string_generator()(text, text + 36); });
    const boost::uuids::uuid boostId = boost::uuids::string_generator()(kText);
    addPrintString("boost", [=] { return boost::uuids::to_string(boostId); });
    addGenerate("boost", [] {
        static boost::uuids::random_generator generator;
        return generator();
    });
#endif
#ifdef VQ_PEER_LIBUUID
    struct Uuid {
        uuid_t bytes;
    };
    addParse("libuuid", [](const char* text) {
        Uuid id;
        uuid_parse(text, id.bytes);
        return id;
    });
    Uuid libuuidId;
    uuid_parse(kText, libuuidId.bytes);
    addPrint("libuuid", [=](char* text) { uuid_unparse_lower(libuuidId.bytes, text); });
    addGenerate("libuuid", [] {
        Uuid id;
        uuid_generate_random(id.bytes);
        return id;
    });
#endif
    return true;
}();

} // namespace
