// Records as text and back. The size is the number of items in the text.

#include "Vq/ImageMetadata.h"

#include "Bench.h"

namespace {

using Narrow = LightweightString<char>;
namespace Core = Vq::Image::Core;
namespace Video = Vq::Image::Video;

Core::Data core() {
    return Core::Data(3840, 2160, static_cast<Vq::Image::Format>(842094158), 10, 20, true);
}

Video::Data video() {
    return Video::Data(static_cast<Vq::Image::ScanMode>(2), static_cast<Vq::Image::AspectRatio>(3),
                       4000000123U, true);
}

template <class Record>
void addRecord(const char* print, const char* parse, long items, Record record, const char* text) {
    vqbench::add(print, "ours", items, [=](benchmark::State& state) {
        vqbench::require(record.asString() == text);
        for (auto step : state) {
            const Narrow printed = record.asString();
            benchmark::DoNotOptimize(printed.c_str());
        }
    });
    vqbench::add(parse, "ours", items, [=](benchmark::State& state) {
        const Narrow given(text);
        vqbench::require(Record(given).asString() == text);
        for (auto step : state) {
            Record parsed(given);
            benchmark::DoNotOptimize(&parsed);
        }
    });
}

const bool added = [] {
    addRecord("metadata.print.core", "metadata.parse.core", 9, core(),
              "Metadata::Core,1,3840,2160,842094158,842094158,10,20,1,");
    addRecord("metadata.print.video", "metadata.parse.video", 6, video(),
              "Metadata::Video,1,2,3,4000000123,1,");
    return true;
}();

} // namespace
