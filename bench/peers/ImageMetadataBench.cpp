// What a user would print records with and parse them by.

#include "Bench.h"

#include <charconv>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#ifdef VQ_PEER_FMT
#include <fmt/compile.h>
#include <fmt/format.h>
#endif
#ifdef VQ_PEER_ABSEIL
#include <absl/strings/numbers.h>
#include <absl/strings/str_cat.h>
#include <absl/strings/str_split.h>
#endif

namespace {

struct Core {
    unsigned int width = 3840;
    unsigned int height = 2160;
    int format = 842094158;
    unsigned short bitsPerComponent = 10;
    unsigned short bitsPerPixel = 20;
    bool set = true;
};

struct Video {
    int scanMode = 2;
    int aspectRatio = 3;
    unsigned int videoFormat = 4000000123U;
    bool set = true;
};

constexpr const char* kCoreText = "Metadata::Core,1,3840,2160,842094158,842094158,10,20,1,";
constexpr const char* kVideoText = "Metadata::Video,1,2,3,4000000123,1,";

template <class Print>
void addPrint(const char* workload, const char* peer, long items, const char* text, Print print) {
    vqbench::add(workload, peer, items, [=](benchmark::State& state) {
        vqbench::require(print() == text);
        for (auto step : state) {
            const std::string made = print();
            benchmark::DoNotOptimize(made.data());
        }
    });
}

template <class Parse> void addParseCore(const char* peer, Parse parse) {
    vqbench::add("metadata.parse.core", peer, 9, [=](benchmark::State& state) {
        const std::string text = kCoreText;
        Core core = {};
        vqbench::require(parse(text, core) && core.width == 3840 && core.format == 842094158 &&
                         core.bitsPerPixel == 20 && core.set);
        for (auto step : state) {
            Core parsed;
            benchmark::DoNotOptimize(parse(text, parsed));
            benchmark::DoNotOptimize(&parsed);
        }
    });
}

template <class Parse> void addParseVideo(const char* peer, Parse parse) {
    vqbench::add("metadata.parse.video", peer, 6, [=](benchmark::State& state) {
        const std::string text = kVideoText;
        Video video = {};
        vqbench::require(parse(text, video) && video.scanMode == 2 &&
                         video.videoFormat == 4000000123U && video.set);
        for (auto step : state) {
            Video parsed;
            benchmark::DoNotOptimize(parse(text, parsed));
            benchmark::DoNotOptimize(&parsed);
        }
    });
}

#ifdef VQ_PEER_ABSEIL
template <class N> bool abslNumber(absl::string_view item, N& number) {
    int signedNumber = 0;
    unsigned int unsignedNumber = 0;
    if (absl::SimpleAtoi(item, &signedNumber)) {
        number = static_cast<N>(signedNumber);
    } else if (absl::SimpleAtoi(item, &unsignedNumber)) {
        number = static_cast<N>(unsignedNumber);
    } else {
        return false;
    }
    return true;
}
#endif

/// One item after the other by `from_chars`.
class Items {
public:
    explicit Items(std::string_view text) : rest_(text) {}

    std::string_view next() {
        const std::size_t end = std::min(rest_.find(','), rest_.size());
        const std::string_view item = rest_.substr(0, end);
        rest_.remove_prefix(std::min(end + 1, rest_.size()));
        return item;
    }
    template <class N> bool number(N& number) {
        const std::string_view item = next();
        return std::from_chars(item.data(), item.data() + item.size(), number).ec == std::errc();
    }
    bool atEnd() const { return rest_.empty(); }

private:
    std::string_view rest_;
};

const bool added = [] {
    addParseCore("std", [](const std::string& text, Core& core) {
        Items items(text);
        int version = 0;
        int set = 0;
        if (items.next() != "Metadata::Core" || !items.number(version) || version != 1)
            return false;
        const bool numbers = items.number(core.width) && items.number(core.height) &&
                             items.number(core.format) && items.number(core.format) &&
                             items.number(core.bitsPerComponent) &&
                             items.number(core.bitsPerPixel) && items.number(set);
        core.set = set != 0;
        return numbers && items.atEnd();
    });
    addParseVideo("std", [](const std::string& text, Video& video) {
        Items items(text);
        int version = 0;
        int set = 0;
        if (items.next() != "Metadata::Video" || !items.number(version) || version != 1) {
            return false;
        }
        const bool numbers = items.number(video.scanMode) && items.number(video.aspectRatio) &&
                             items.number(video.videoFormat) && items.number(set);
        video.set = set != 0;
        return numbers && items.atEnd();
    });
#ifdef VQ_PEER_FMT
    const Core core;
    const Video video;
    addPrint("metadata.print.core", "fmt", 9, kCoreText, [=] {
        return fmt::format(FMT_COMPILE("Metadata::Core,{},{},{},{},{},{},{},{:d},"), 1, core.width,
                           core.height, core.format, core.format, core.bitsPerComponent,
                           core.bitsPerPixel, core.set);
    });
    addPrint("metadata.print.video", "fmt", 6, kVideoText, [=] {
        return fmt::format(FMT_COMPILE("Metadata::Video,{},{},{},{},{:d},"), 1, video.scanMode,
                           video.aspectRatio, video.videoFormat, video.set);
    });
#endif
#ifdef VQ_PEER_ABSEIL
    addPrint("metadata.print.core", "abseil", 9, kCoreText, [=] {
        return absl::StrCat("Metadata::Core,", 1, ",", core.width, ",", core.height, ",",
                            core.format, ",", core.format, ",", core.bitsPerComponent, ",",
                            core.bitsPerPixel, ",", static_cast<int>(core.set), ",");
    });
    addPrint("metadata.print.video", "abseil", 6, kVideoText, [=] {
        return absl::StrCat("Metadata::Video,", 1, ",", video.scanMode, ",", video.aspectRatio, ",",
                            video.videoFormat, ",", static_cast<int>(video.set), ",");
    });
    addParseCore("abseil", [](const std::string& text, Core& parsed) {
        const std::vector<absl::string_view> items = absl::StrSplit(text, ',');
        int version = 0;
        int set = 0;
        if (items.size() != 10 || items[0] != "Metadata::Core" || !abslNumber(items[1], version) ||
            version != 1) {
            return false;
        }
        const bool numbers =
            abslNumber(items[2], parsed.width) && abslNumber(items[3], parsed.height) &&
            abslNumber(items[4], parsed.format) && abslNumber(items[6], parsed.bitsPerComponent) &&
            abslNumber(items[7], parsed.bitsPerPixel) && abslNumber(items[8], set);
        parsed.set = set != 0;
        return numbers;
    });
    addParseVideo("abseil", [](const std::string& text, Video& parsed) {
        const std::vector<absl::string_view> items = absl::StrSplit(text, ',');
        int version = 0;
        int set = 0;
        if (items.size() != 7 || items[0] != "Metadata::Video" || !abslNumber(items[1], version) ||
            version != 1) {
            return false;
        }
        const bool numbers = abslNumber(items[2], parsed.scanMode) &&
                             abslNumber(items[3], parsed.aspectRatio) &&
                             abslNumber(items[4], parsed.videoFormat) && abslNumber(items[5], set);
        parsed.set = set != 0;
        return numbers;
    });
#endif
    return true;
}();

} // namespace
